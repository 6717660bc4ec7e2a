#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/EveryAllocation.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// Whichever allocation fails, once or for good: a loading that fails leaves the model as it was, a saving that fails
/// does not touch it, and nothing is lost.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using testsupport::emptyModel;
using testsupport::failEveryAllocation;
using Failing = testsupport::AllocationLimit::Failing;

constexpr BinFormat kFormats[] = {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd};

/// Something of everything, in few elements: the test takes the square of the time.
Model sample() {
  testsupport::moneySerializer();
  const Model model = emptyModel();
  testsupport::fillReferences(model);
  testsupport::fillLines(model, testsupport::newSample(model, u"Box", 101));
  return model;
}

/// What stands in a model before something is loaded into it.
Model inhabited() {
  const Model model = emptyModel();
  testsupport::newSample(model, u"Box", 201)->set(u"name", u"it was there before");
  testsupport::newSample(model, u"Defaults", 202);
  return model;
}

class AllocationFailure : public testing::TestWithParam<Failing> {};

TEST_P(AllocationFailure, OfALoadingLeavesTheModelAsItWas) {
  const Model source = sample();
  const Model untouched = inhabited();
  for (const BinFormat format : kFormats) {
    SCOPED_TRACE(static_cast<char>(format));
    const std::string container = testsupport::saved(source->getTopLevelElements(), format);
    Model model;
    const long failures = failEveryAllocation(
        GetParam(), [&] { model = inhabited(); }, [&] { testsupport::loadInto(model, container); },
        [&](bool failed) {
          EXPECT_EQ(model->getTransactionDepth(), 0U);
          if (failed) {
            EXPECT_TRUE(kern::modelsEqual(model, untouched));
          } else {
            EXPECT_EQ(model->getElementCount(), source->getElementCount() + untouched->getElementCount());
          }
        });
    EXPECT_GT(failures, 50);
  }
}

TEST_P(AllocationFailure, OfASavingIsToldAndHarmless) {
  const Model model = sample();
  const Model same = sample();
  for (const BinFormat format : kFormats) {
    SCOPED_TRACE(static_cast<char>(format));
    const std::string whole = testsupport::saved(model->getTopLevelElements(), format);
    std::unique_ptr<std::ostringstream> stream;
    BinSerializer serializer;
    const long failures = failEveryAllocation(
        GetParam(), [&] { stream = std::make_unique<std::ostringstream>(); },
        [&] { serializer.serialize(model->getTopLevelElements(), *stream, format); },
        [&](bool failed) {
          // A stream keeps its own failures to itself unless it is told otherwise.
          if (!failed && stream->good()) {
            EXPECT_EQ(stream->str(), whole);
          }
          EXPECT_TRUE(kern::modelsEqual(model, same));
        });
    EXPECT_GT(failures, 20);
    std::ostringstream again;
    serializer.serialize(model->getTopLevelElements(), again, format);
    EXPECT_EQ(again.str(), whole) << "the serializer is of no use any more";
  }
}

INSTANTIATE_TEST_SUITE_P(Allocations, AllocationFailure, testing::Values(Failing::Once, Failing::ForGood),
                         [](const auto& tested) { return tested.param == Failing::Once ? "Once" : "ForGood"; });

}  // namespace
}  // namespace quillon::nimbo
