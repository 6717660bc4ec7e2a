#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "XmlTestSupport.h"

/// Documents of older package versions.
namespace tarn::kern::xmltest {
namespace {

using meta::MetaRegistry;
using meta::StandardTypes;
using testing::ElementsAre;
using testing::HasSubstr;

class XmlEvolution : public testing::Test {
 protected:
  XmlEvolution() {
    if (MetaRegistry::getInstance()->getPackageForFamily(u"shelving")) return;
    meta::PackageBuilder package(u"shelving");
    package.family(u"shelving", u"2.0");
    package.addEnum(u"Mood").literal(u"calm", 0).literal(u"wild", 1);
    auto& point = package.addDataType(u"Size");
    point.attribute(u"width", StandardTypes::integerMeta);
    auto& book = package.addClass(u"Book");
    book.attribute(u"title", StandardTypes::stringMeta);
    book.attribute(u"pages", StandardTypes::integerMeta);
    book.attribute(u"tags", StandardTypes::stringMeta).many();
    book.attribute(u"mood", u"Mood");
    book.attribute(u"moods", u"Mood").many();
    book.attribute(u"prices", StandardTypes::integerMeta).many();
    book.attribute(u"weight", StandardTypes::realMeta);
    book.attribute(u"size", point).many();
    book.attribute(u"notes", StandardTypes::stringToStringMapMeta);
    book.reference(u"sequel", book);
    book.reference(u"related", book).many();
    auto& shelf = package.addClass(u"Shelf");
    shelf.composite(u"books", book).many();
    shelf.composite(u"best", book);
    package.registerPackage();
    evolution::Evolution(u"shelving")
        .from(u"1.0")
        .to(u"2.0")
        .renameClass(u"Volume", u"Book")
        .renameProperty(u"Book", u"label", u"title")
        .toCollection(u"Book", u"tags")
        .registerEvolution();
  }

  static std::string document(const std::string& version, const std::string& content) {
    const std::string uri = bedrock::i18n::to_string(MetaRegistry::schemaBaseUri()) + "shelving/" + version;
    return "<s:Shelf xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:s=\"" +
           uri + "\" xmi:id=\"_00000000-0000-0000-0000-000000000001\">" + content + "</s:Shelf>";
  }
  static std::string title(const ModelElement& book) {
    return book ? bedrock::i18n::to_string(book->get<ustring>(u"title")) : std::string("-");
  }
  static Model readVersioned(const std::string& text, bool evolves = true) {
    const Model model = Model::create(ModelSpec());
    io::XmlParser parser;
    parser.setModel(model);
    parser.getCustomizer()->setEvolveIfNeeded(evolves);
    parser.parseString(text);
    return model;
  }
};

TEST_F(XmlEvolution, AdaptsOlderContentWhileItIsRead) {
  const std::string text =
      document("1.0",
               "<books xsi:type=\"s:Volume\" xmi:id=\"_00000000-0000-0000-0000-000000000002\" label=\"one\" tags=\"x\" "
               "weight=\"Infinity\" mood=\"wild\" sequel=\"_00000000-0000-0000-0000-000000000003\" "
               "related=\"_00000000-0000-0000-0000-000000000003 _00000000-0000-0000-0000-000000000002\">"
               "<size width=\"3\"/><notes key=\"k\" value=\"v\"/><pages>12</pages></books>"
               "<best xsi:type=\"s:Volume\" xmi:id=\"_00000000-0000-0000-0000-000000000003\" label=\"two\" "
               "sequel=\"//@books.0\"/>");
  const Model model = readVersioned(text);
  const ModelElement one = elementOf(model, 2);
  const ModelElement two = elementOf(model, 3);
  ASSERT_TRUE(one);
  ASSERT_TRUE(two);
  EXPECT_EQ(title(one), "one");
  EXPECT_EQ(one->get<std::int32_t>(u"pages"), 12);
  EXPECT_EQ(one->peekCollection<ustring>(one->property(u"tags")), (std::vector<ustring>{u"x"}));
  EXPECT_EQ(one->get<std::int64_t>(u"mood"), 1);
  EXPECT_EQ(one->get<double>(u"weight"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(one->get<StringToStringMap>(u"notes"), (StringToStringMap{{u"k", u"v"}}));
  EXPECT_EQ(one->get<ModelElement>(u"sequel"), two);
  EXPECT_EQ(two->get<ModelElement>(u"sequel"), one);
  EXPECT_EQ(one->peekElements(one->property(u"related")).size(), 2U);
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"best"), two);
  // What is written now is of the current version, and names the type of every element.
  EXPECT_THAT(written(model), HasSubstr("<books xsi:type=\"shelving:Book\""));
  EXPECT_EQ(readVersioned(written(model))->getElementCount(), 3U);
}

TEST_F(XmlEvolution, TakesAnAttributeForTheOneEntryOfACollection) {
  const Model model = readVersioned(
      document("1.0",
               "<books xsi:type=\"s:Volume\" xmi:id=\"_00000000-0000-0000-0000-000000000002\" moods=\"wild\" "
               "prices=\"400000000\"/>"));
  const ModelElement book = elementOf(model, 2);
  EXPECT_THAT(written(model), HasSubstr("<moods>wild</moods>"));
  EXPECT_EQ(book->peekCollection<std::int32_t>(book->property(u"prices")), (std::vector<std::int32_t>{400000000}));
}

TEST_F(XmlEvolution, NamesTheSwitchWhenOldContentDoesNotFit) {
  const std::string text = document("1.0", "<books xsi:type=\"s:Volume\" label=\"one\"/>");
  try {
    readVersioned(text, false);
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_THAT(error.what(), HasSubstr("setEvolveIfNeeded(true)"));
  }
  EXPECT_EQ(readVersioned(document("1.0", "<books xsi:type=\"s:Book\" title=\"t\"/>"), false)->getElementCount(), 2U);
}

TEST_F(XmlEvolution, RefusesContentOfANewerVersion) {
  try {
    readVersioned(document("3.0", ""));
    FAIL();
  } catch (const KernelError& error) {
    EXPECT_THAT(error.what(), HasSubstr("3.0"));
    EXPECT_THAT(error.what(), HasSubstr("2.0"));
  }
}

TEST_F(XmlEvolution, LeavesTheModelAsItWasWhenOldContentIsRefused) {
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  EXPECT_THROW(parser.parseString(document("1.0", "<books xsi:type=\"s:Volume\" xmi:id=\"a\" nothing=\"x\"/>")),
               KernelError);
  EXPECT_EQ(model->getElementCount(), 0U);
}

}  // namespace
}  // namespace tarn::kern::xmltest
