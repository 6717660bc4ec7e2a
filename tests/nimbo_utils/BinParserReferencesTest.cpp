#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/ReaderMetaModel.h"

/// References that contain nothing are set in groups. That must not show: not in their order, not in what an id means,
/// and not in what is refused.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using testing::ElementsAre;
using testsupport::elementOf;
using testsupport::HandmadeStream;
using testsupport::loaded;

// Streams are laid out record by record.
// clang-format off

HandmadeStream boxes() {
  testsupport::sampleMetaModel();
  testsupport::registerReaderMetaModel();
  return HandmadeStream();
}

/// A root Box 1, its list of properties open.
HandmadeStream openBox() {
  return boxes().root().newElement(1, 1, u"sample.Box", 1).full();
}

std::vector<int> linksOf(const Model& model, std::uint8_t last) {
  const ModelElement box = elementOf(model, last);
  std::vector<int> found;
  for (const ModelElement::Impl* target : box->peekElements(box->property(u"links"))) {
    found.push_back(target == nullptr ? 0 : target->getUuid().data[15]);
  }
  return found;
}

TEST(BinParserReferences, KeepTheOrderOfAListThatIsLongerThanAGroup) {
  HandmadeStream stream = openBox().newProperty(1, u"links").tag('[').tag('m').count(202).id(-1).reference();
  stream.newElement(2, -1, 2).reference();
  for (int i = 0; i < 200; ++i) i % 7 == 0 ? stream.id(0) : stream.id(i % 3 == 0 ? -1 : -2).reference();
  const Model model = loaded(stream.noMore().root().id(-2).full().noMore().end().container());
  std::vector<int> expected = {1, 2};
  for (int i = 0; i < 200; ++i) expected.push_back(i % 7 == 0 ? 0 : i % 3 == 0 ? 1 : 2);
  EXPECT_EQ(linksOf(model, 1), expected);
}

TEST(BinParserReferences, AppendWhenACollectionComesTwice) {
  const Model model = loaded(openBox()
      .newProperty(1, u"links").tag('[').tag('m').count(1).id(-1).reference()
      .newProperty(2, u"link").tag('m').id(-1).reference()
      .id(-1).tag('[').tag('m').count(2).id(0).id(-1).reference()
      .noMore().end().container());
  EXPECT_THAT(linksOf(model, 1), ElementsAre(1, 0, 1));
}

TEST(BinParserReferences, MayBeNullWhereOneIsRequired) {
  kern::meta::PackageBuilder builder(u"requiredReferences");
  auto& follower = builder.addClass(u"Follower");
  follower.reference(u"leader", follower).required();
  builder.registerPackage();
  const Model model = loaded(HandmadeStream().root().newElement(1, 1, u"requiredReferences.Follower", 1).full()
      .newProperty(1, u"leader").tag('m').id(-1).reference()
      .id(-1).tag('m').id(0)
      .noMore().end().container());
  const ModelElement element = elementOf(model, 1);
  EXPECT_FALSE(element->get<ModelElement>(u"leader"));
  EXPECT_TRUE(element->incomingReferences().empty());
}

TEST(BinParserReferences, TheLastOneOfASinglePropertyStays) {
  const std::string toItselfThenNull = openBox().newProperty(1, u"link").tag('m').id(-1).reference()
      .id(-1).tag('m').id(0).noMore().end().container();
  EXPECT_FALSE(elementOf(loaded(toItselfThenNull), 1)->get<ModelElement>(u"link"));
  const std::string toItselfThenAbsent = openBox().newProperty(1, u"link").tag('m').id(-1).reference()
      .id(-1).tag('n').noMore().end().container();
  EXPECT_FALSE(elementOf(loaded(toItselfThenAbsent), 1)->get<ModelElement>(u"link"));
  const std::string nullThenToItself = openBox().newProperty(1, u"link").tag('m').id(0)
      .id(-1).tag('m').id(-1).reference().noMore().end().container();
  const Model model = loaded(nullThenToItself);
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"link"), elementOf(model, 1));
}

TEST(BinParserReferences, MeanTheElementThatTheIdNamedWhenTheyWereRead) {
  const Model model = loaded(openBox().newProperty(1, u"links").tag('[').tag('m').count(3)
      .newElement(2, -1, 2).reference()
      .newElement(2, -1, 3).reference()   // the id means another element from here on
      .id(-2).reference()
      .noMore()
      .root().id(-2).full().noMore()
      .end().container());
  EXPECT_THAT(linksOf(model, 1), ElementsAre(2, 3, 3));
}

TEST(BinParserReferences, MayBringContentsWithReferencesOfTheirOwn) {
  const Model model = loaded(openBox()
      .newProperty(1, u"link").tag('m').newElement(2, -1, 2).full()
          .id(-1).tag('m').id(-1).reference().noMore()
      .newProperty(2, u"links").tag('[').tag('m').count(3).id(-1).reference()
          .newElement(3, -1, 3).full().id(-2).tag('[').tag('m').count(1).id(-2).reference().noMore()
          .id(-2).reference()
      .noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"link"), elementOf(model, 2));
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"link"), elementOf(model, 1));
  EXPECT_THAT(linksOf(model, 1), ElementsAre(1, 3, 2));
  EXPECT_THAT(linksOf(model, 3), ElementsAre(2));
}

TEST(BinParserReferences, OfAnotherClassAreRefused) {
  const std::string stream = openBox().newProperty(1, u"link").tag('m').newElement(2, 2, u"reading.Stranger", 2)
      .reference().noMore().root().id(-2).full().noMore().end().container();
  EXPECT_EQ(testsupport::castFailureOfLoading(stream), u"reading.Stranger");
}

// clang-format on

}  // namespace
}  // namespace quillon::nimbo
