#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinSerializer.h"
#include "support/Loading.h"
#include "support/RandomMetaModel.h"
#include "support/Saving.h"

/// Whatever the meta-model, and whatever the model: what was saved is what is loaded, and gives the same bytes.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;

class RandomMetaModelTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(RandomMetaModelTest, KeepsItsModels) {
  testsupport::RandomMetaModel drawn(GetParam());
  for (std::size_t elements = 0; elements < 40; elements += 3) {
    SCOPED_TRACE(elements);
    const Model model = drawn.drawModel(elements);
    const std::string bytes = testsupport::saved(model->getTopLevelElements());
    for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
      const Model again = testsupport::loaded(testsupport::saved(model->getTopLevelElements(), format));
      const auto difference = kern::firstDifference(model, again);
      ASSERT_FALSE(difference) << difference->text();
      ASSERT_EQ(testsupport::saved(again->getTopLevelElements()), bytes);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomMetaModelTest, testing::Range(1U, 41U));

}  // namespace
}  // namespace quillon::nimbo
