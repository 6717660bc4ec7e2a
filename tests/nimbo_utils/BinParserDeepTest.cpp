#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "quillon/nimbo/BinParser.h"
#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/ReaderMetaModel.h"
#include "support/Sanitizers.h"

/// Nesting costs memory, never the stack: however deep elements and values contain each other, they are read on the
/// ordinary stack of whoever calls.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using testsupport::HandmadeStream;

constexpr auto kDepth = static_cast<std::int64_t>(testsupport::kManyLevels);

boost::uuids::uuid uuidOf(std::int64_t number) {
  boost::uuids::uuid uuid{};
  std::memcpy(uuid.data, &number, sizeof number);
  return uuid;
}

ModelElement elementNumber(const Model& model, std::int64_t number) {
  return model->findElement(uuidOf(number), kern::FindElementBehavior::Anywhere);
}

std::string repeated(const std::string& bytes, std::int64_t times) {
  std::string all;
  all.reserve(bytes.size() * static_cast<std::size_t>(times));
  for (std::int64_t time = 0; time < times; ++time) all += bytes;
  return all;
}

// Streams are laid out record by record.
// clang-format off

/// Boxes 1 to kDepth, each within the one before, their lists of properties still open. `firstProperty` stands in front
/// of the second box, `laterProperty` in front of each further one.
std::string openBoxes(const std::string& firstProperty, const std::string& laterProperty) {
  testsupport::sampleMetaModel();
  std::string bytes = HandmadeStream().root().id(1).newType(1, u"sample.Box").append(uuidOf(1)).full().container();
  for (std::int64_t number = 2; number <= kDepth; ++number) {
    bytes += number == 2 ? firstProperty : laterProperty;
    HandmadeStream record;
    bytes += record.id(number).id(-1).append(uuidOf(number)).full().payload().substr(8);  // without package URIs
  }
  return bytes;
}

std::string pieces(const HandmadeStream& stream) { return stream.payload().substr(8); }

std::string openBoxesBySingleProperty() {
  return openBoxes(pieces(HandmadeStream().newProperty(1, u"content").tag('m')),
                   pieces(HandmadeStream().id(-1).tag('m')));
}

std::string closed(std::string open) { return open + repeated(std::string(8, '\0'), kDepth) + "n"; }

TEST(BinParserDeep, ReadsAChainOfSingleContainedElements) {
  const Model model = testsupport::loaded(closed(openBoxesBySingleProperty()));
  EXPECT_EQ(model->getElementCount(), static_cast<std::size_t>(kDepth));
  EXPECT_EQ(model->getTopLevelElements().size(), 1U);
  EXPECT_EQ(elementNumber(model, kDepth)->container(), elementNumber(model, kDepth - 1));
}

TEST(BinParserDeep, ReadsAChainOfElementsInCollections) {
  const std::string open = openBoxes(pieces(HandmadeStream().newProperty(1, u"parts").tag('[').tag('m').count(1)),
                                     pieces(HandmadeStream().id(-1).tag('[').tag('m').count(1)));
  const Model model = testsupport::loaded(closed(open));
  EXPECT_EQ(model->getElementCount(), static_cast<std::size_t>(kDepth));
  EXPECT_EQ(elementNumber(model, kDepth)->container(), elementNumber(model, kDepth - 1));
}

TEST(BinParserDeep, ReadsAChainOfPlainReferences) {
  testsupport::sampleMetaModel();
  std::string bytes = HandmadeStream().root().id(1).newType(1, u"sample.Box").append(uuidOf(1)).full()
      .newProperty(1, u"link").tag('m').id(2).id(-1).append(uuidOf(2)).reference().noMore().container();
  const std::string link = pieces(HandmadeStream().id(-1).tag('m'));
  for (std::int64_t number = 2; number < kDepth; ++number) {
    bytes += pieces(HandmadeStream().root().id(-number).full()) + link +
             pieces(HandmadeStream().id(number + 1).id(-1).append(uuidOf(number + 1)).reference().noMore());
  }
  bytes += pieces(HandmadeStream().root().id(-kDepth).full().noMore().end());
  const Model model = testsupport::loaded(bytes);
  EXPECT_EQ(model->getElementCount(), static_cast<std::size_t>(kDepth));
  EXPECT_EQ(elementNumber(model, kDepth - 1)->get<ModelElement>(u"link"), elementNumber(model, kDepth));
}

std::string openLevels() {
  testsupport::registerReaderMetaModel();
  const std::string inner = pieces(HandmadeStream().id(-2).tag('[').tag('r').count(1).id(-2));
  return HandmadeStream().root().newElement(1, 1, u"reading.Levels", 1).full()
      .newProperty(1, u"levels").tag('r').newType(2, u"reading.Level")
      .newProperty(2, u"inner").tag('[').tag('r').count(1).id(-2).container() +
         repeated(inner, kDepth - 2);
}

TEST(BinParserDeep, ReadsStructuredValuesInsideEachOther) {
  const Model model = testsupport::loaded(openLevels() + repeated(std::string(8, '\0'), kDepth + 1) + "n");
  ASSERT_EQ(model->getElementCount(), 1U);
  const ModelElement root = model->getTopLevelElements().at(0);
  const auto* level = root->peek<kern::ReflectiveDataType>(root->property(u"levels"));
  ASSERT_NE(level, nullptr);
  const kern::meta::Property inner = level->getType()->getProperty(u"inner");
  std::int64_t depth = 1;
  for (auto levels = level->peekValues(inner); !levels.empty(); ++depth) {
    levels = levels[0].peek<kern::ReflectiveDataType>()->peekValues(inner);
  }
  EXPECT_EQ(depth, kDepth);
}

TEST(BinParserDeep, ComesBackUpWithAnExceptionFromElements) {
  EXPECT_EQ(testsupport::failureOfLoading(openBoxesBySingleProperty() + pieces(HandmadeStream().id(-2))),
            testsupport::failedCheck("index < fTables.properties.size()"));
}

TEST(BinParserDeep, ComesBackUpWithAnExceptionFromStructuredValues) {
  EXPECT_EQ(testsupport::failureOfLoading(openLevels() + pieces(HandmadeStream().newProperty(3, u"depth"))),
            "Could not find property \"depth\" in type Level.");
}

TEST(BinParserDeep, NoticesTheEndOfAStreamThatStopsAtTheDeepestPoint) {
  EXPECT_EQ(testsupport::failureOfLoading(openBoxesBySingleProperty()),
            testsupport::failedCheck("t == SerializationTag::MODEL_ELEMENT"));
}

// clang-format on

}  // namespace
}  // namespace quillon::nimbo
