#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/Cloner.h"
#include "quillon/nimbo/Duplicate.h"
#include "support/EveryAllocation.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"
#include "support/SmallStack.h"

/// Whichever allocation fails, once or for good: a loading that fails leaves the model as it was, a saving that fails
/// does not touch it, and nothing is lost.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using testsupport::emptyModel;
using testsupport::failEveryAllocation;
using Failing = testsupport::AllocationLimit::Failing;

constexpr BinFormat kFormats[] = {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd,
                                  BinFormat::Json,   BinFormat::JsonZlib,   BinFormat::JsonZstd};

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

class AllocationFailure : public testing::TestWithParam<Failing> {
 protected:
  /// Whatever brings the elements of `sample()` into a model: all of them, or none.
  template <class Fill>
  static void expectAllOrNothing(Fill fill) {
    const std::size_t elements = sample()->getElementCount();
    const Model untouched = inhabited();
    Model model;
    const long failures = failEveryAllocation(
        GetParam(), [&] { model = inhabited(); }, [&] { fill(model); },
        [&](bool failed) {
          EXPECT_EQ(model->getTransactionDepth(), 0U);
          if (failed) {
            EXPECT_TRUE(kern::modelsEqual(model, untouched));
          } else {
            EXPECT_EQ(model->getElementCount(), elements + untouched->getElementCount());
          }
        });
    EXPECT_GT(failures, 50);
  }

  /// Whatever makes a text of a model: the right one, or a failure that is told.
  template <class Write>
  static void expectTextOrFailure(Write write) {
    const Model model = sample();
    const Model same = sample();
    const std::string whole = write(model);
    std::string text;
    const long failures = failEveryAllocation(
        GetParam(), [&] { text.clear(); }, [&] { text = write(model); },
        [&](bool failed) {
          if (!failed) {
            EXPECT_EQ(text, whole);
          }
          EXPECT_TRUE(kern::modelsEqual(model, same));
        });
    EXPECT_GT(failures, 20);
  }
};

TEST_P(AllocationFailure, OfALoadingLeavesTheModelAsItWas) {
  const Model source = sample();
  for (const BinFormat format : kFormats) {
    SCOPED_TRACE(static_cast<char>(format));
    const std::string container = testsupport::saved(source->getTopLevelElements(), format);
    expectAllOrNothing([&](const Model& model) { testsupport::loadInto(model, container); });
  }
}

template <class Parser>
void parseInto(const Model& model, const std::string& text) {
  Parser parser;
  parser.setModel(model);
  parser.parseString(text);
}

template <class Serializer>
std::string textOf(const Model& model) {
  std::string text;
  Serializer().serialize(model, kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

TEST_P(AllocationFailure, OfReadingATextLeavesTheModelAsItWas) {
  const Model source = sample();
  const std::string json = textOf<kern::io::JSONSerializer>(source);
  expectAllOrNothing([&](const Model& model) { parseInto<kern::io::JSONParser>(model, json); });
  const std::string xml = textOf<kern::io::XmlSerializer>(source);
  expectAllOrNothing([&](const Model& model) { parseInto<kern::io::XmlParser>(model, xml); });
}

TEST_P(AllocationFailure, OfCloningLeavesTheTargetAsItWas) {
  const Model source = sample();
  const Model same = sample();
  expectAllOrNothing([&](const Model& model) { Cloner(model).clone(source->getTopLevelElements()); });
  expectAllOrNothing([&](const Model& model) { static_cast<void>(duplicate(source->getTopLevelElements(), model)); });
  EXPECT_TRUE(kern::modelsEqual(source, same));
}

TEST_P(AllocationFailure, OfWritingATextIsToldAndHarmless) {
  expectTextOrFailure(&textOf<kern::io::JSONSerializer>);
  expectTextOrFailure(&textOf<kern::io::XmlSerializer>);
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

/// So deep that the thread's stack does not do: its first further piece of stack, and all that a thread keeps, are got
/// while memory fails.
TEST_P(AllocationFailure, OfAThreadsFirstDeepCallIsTold) {
  constexpr std::uint32_t kDepth = 3000;
  const Model model = emptyModel();
  kern::ModelElement last = testsupport::newSample(model, u"Box", 1);
  for (std::uint32_t i = 1; i < kDepth; ++i) {
    const kern::ModelElement box =
        testsupport::sampleMetaModel().classNamed(u"Box")->instantiate(model, boost::uuids::uuid{});
    last->set(u"content", box);
    last = box;
  }
  const std::string whole = testsupport::saved(model->getTopLevelElements());
  bool failed = true;
  for (long count = 0; failed && count < 10'000; ++count) {
    std::string bytes;
    testsupport::onSmallStack([&] {  // starting a thread is the system's affair: memory fails within it
      const testsupport::AllocationLimit limit(count, GetParam());
      try {
        const Model copy = testsupport::loaded(whole);
        bytes = testsupport::saved(copy->getTopLevelElements(), BinFormat::BinaryZstd);
      } catch (const std::exception&) {
      }
      failed = limit.wasReached();
    });
    EXPECT_TRUE(failed || !bytes.empty());
  }
  EXPECT_FALSE(failed) << "it never gets by";
}

INSTANTIATE_TEST_SUITE_P(Allocations, AllocationFailure, testing::Values(Failing::Once, Failing::ForGood),
                         [](const auto& tested) { return tested.param == Failing::Once ? "Once" : "ForGood"; });

}  // namespace
}  // namespace quillon::nimbo
