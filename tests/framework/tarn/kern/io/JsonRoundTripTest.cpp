#include <string>

#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

/// What is written as JSON is what is read: the same content, and from that the same text.
namespace tarn::kern::jsontest {
namespace {

void expectEqual(const Model& left, const Model& right) {
  const auto difference = firstDifference(left, right);
  EXPECT_FALSE(difference) << difference->text();
}

TEST(JsonRoundTrip, KeepsModelsDrawnByChance) {
  for (std::uint32_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = emptyModel();
    fillByChance(model, seed, seed);
    for (const bool skipsDefaults : {true, false}) {
      const std::string text = written(model, skipsDefaults);
      ASSERT_TRUE(bedrock::i18n::isValidUtf8(text));
      const Model again = read(text);
      expectEqual(model, again);
      ASSERT_TRUE(written(again, skipsDefaults) == text);
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST(JsonRoundTrip, KeepsAnEmptyModel) {
  EXPECT_EQ(written(emptyModel()), R"({"version":"1.0","packageUris":[],"entries":[]})");
  EXPECT_EQ(read(written(emptyModel()))->getElementCount(), 0U);
}

}  // namespace
}  // namespace tarn::kern::jsontest
