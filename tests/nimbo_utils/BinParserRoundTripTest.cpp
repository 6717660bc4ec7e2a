#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// What was saved is what is loaded: the same content, and from that the same bytes.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using testsupport::emptyModel;
using testsupport::loaded;
using testsupport::saved;

constexpr BinFormat kBinaryFormats[] = {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd,
                                        BinFormat::Default};

void expectEqual(const Model& left, const Model& right) {
  const auto difference = kern::firstDifference(left, right);
  EXPECT_FALSE(difference) << difference->text();
}

/// @pre what the model holds is what hangs on the roots, and none of these refers to a later one.
void expectRoundTrip(const Model& model) {
  const std::vector<ModelElement> roots = model->getTopLevelElements();
  const std::string bytes = saved(roots);
  for (const BinFormat format : kBinaryFormats) {
    SCOPED_TRACE(static_cast<int>(format));
    const Model again = loaded(saved(roots, format));
    expectEqual(model, again);
    EXPECT_EQ(saved(again->getTopLevelElements()), bytes);
  }
}

TEST(BinParserRoundTrip, KeepsAnEmptyModel) { expectRoundTrip(emptyModel()); }

TEST(BinParserRoundTrip, KeepsEveryKindOfValueInEveryShape) {
  testsupport::moneySerializer();
  const Model model = emptyModel();
  testsupport::fillEverything(model);
  expectRoundTrip(model);
}

TEST(BinParserRoundTrip, KeepsReferencesAndContainment) {
  const Model model = emptyModel();
  testsupport::fillReferences(model);
  expectRoundTrip(model);
}

TEST(BinParserRoundTrip, KeepsNestedDataValues) {
  const Model model = emptyModel();
  const ModelElement target = testsupport::newSample(model, u"Box", 1);
  testsupport::fillLines(model, target);
  expectRoundTrip(model);
}

TEST(BinParserRoundTrip, KeepsDefaultsThatWereChangedAndThoseThatWereNot) {
  const Model model = emptyModel();
  const ModelElement changed = testsupport::newSample(model, u"Defaults", 1);
  changed->set(u"count", std::int32_t{6});
  changed->unset(changed->property(u"ratio"));
  changed->set(u"color", std::int64_t{0});
  changed->unset(changed->property(u"text"));
  testsupport::newSample(model, u"Defaults", 2);
  expectRoundTrip(model);
}

TEST(BinParserRoundTrip, TurnsARequiredAbsentValueIntoItsZeroOnce) {
  const Model model = emptyModel();
  const ModelElement element = testsupport::newSample(model, u"RequiredInteger", 1);
  const Model once = loaded(saved({element}));
  EXPECT_FALSE(element->peek<std::int32_t>(element->property(u"value")));
  EXPECT_TRUE(once->getTopLevelElements().at(0)->peek<std::int32_t>(element->property(u"value")));
  expectRoundTrip(once);
}

TEST(BinParserRoundTrip, KeepsModelsDrawnByChance) {
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = emptyModel();
    testsupport::fillByChance(model, seed, seed * 3);
    expectRoundTrip(model);
  }
}

TEST(BinParserRoundTrip, KeepsContentWhereRootsReferForwardAlthoughTheirOrderMayChange) {
  const Model model = emptyModel();
  const ModelElement first = testsupport::newSample(model, u"Box", 1);
  testsupport::newSample(model, u"Box", 2);
  first->set(u"link", testsupport::newSample(model, u"Box", 3));
  const Model again = loaded(saved(model->getTopLevelElements()));
  ASSERT_EQ(again->getElementCount(), 3U);
  EXPECT_EQ(testsupport::elementOf(again, 1)->get<ModelElement>(u"link"), testsupport::elementOf(again, 3));
  // Once in the order of its first mentions, the model keeps that order.
  const std::string bytes = saved(again->getTopLevelElements());
  EXPECT_EQ(saved(loaded(bytes)->getTopLevelElements()), bytes);
}

TEST(BinParserRoundTrip, ReadsFromAFileWhoseBufferEndsAnywhere) {
  testsupport::moneySerializer();
  const Model model = emptyModel();
  testsupport::fillEverything(model);
  testsupport::fillByChance(model, 7, 2000);
  const std::string path = testing::TempDir() + "BinParserRoundTripTest.bin";
  std::ofstream(path, std::ios::binary) << saved(model->getTopLevelElements());
  std::ifstream file(path, std::ios::binary);
  BinParser parser;
  parser.parse(file);
  expectEqual(model, parser.getModel());
  EXPECT_EQ(file.get(), 0);  // the first of the eight bytes behind the end
}

}  // namespace
}  // namespace quillon::nimbo
