#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/evolution/Evolver.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

/// Documents of older package versions.
namespace tarn::kern::jsontest {
namespace {

using meta::StandardTypes;
using testing::HasSubstr;
using testing::StartsWith;

/// Version 2.0 of the family "jsonages" is registered; in 1.0 Book was called Volume, its title label, and pages was
/// text.
void registerAges() {
  static const bool kDone = [] {
    static_cast<void>(color());
    meta::PackageBuilder package(u"jsonages");
    package.family(u"jsonages", u"2.0");
    package.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1);
    auto& place = package.addDataType(u"Place");
    place.attribute(u"shelf", StandardTypes::integerMeta).required();
    auto& book = package.addClass(u"Book");
    book.attribute(u"title", StandardTypes::stringMeta);
    book.attribute(u"pages", StandardTypes::integerMeta);
    book.attribute(u"genre", u"Genre");
    book.attribute(u"place", place).required();
    book.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
    book.attribute(u"weight", StandardTypes::realMeta).required();
    book.attribute(u"weights", StandardTypes::realMeta).many();
    book.attribute(u"money", u"jsontest.Money");
    book.composite(u"parts", book).many();
    book.reference(u"sequel", book);
    package.registerPackage();
    evolution::Evolution evolution(u"jsonages");
    evolution.from(u"1.0").to(u"2.0");
    evolution.renameClass(u"Volume", u"Book");
    evolution.renameProperty(u"Book", u"label", u"title");
    evolution.changeType(u"Book", u"pages", u"String", u"Integer");
    evolution.renameLiteral(u"Genre", u"roman", u"novel");
    evolution.registerEvolution();
    return true;
  }();
  static_cast<void>(kDone);
}

std::string documentOf(const std::string& version, const std::string& entries) {
  return R"({"entries":[)" + entries + R"(],"packageUris":["tarn://schema/jsonages/)" + version +
         R"(","urn:unknown","tarn://schema/nobody/1.0"],"version":"1.0"})";
}

std::string entry(int last, const std::string& content, const std::string& className = "Volume") {
  return "\n"
         R"({"content":)" +
         content + R"(,"type":"jsonages.)" + className + R"(","uuid":"00000000-0000-0000-0000-)" + "00000000000" +
         std::to_string(last) + R"("})";
}

std::string reference(int last) {
  return R"({"type":"jsonages.Volume","uuid":"00000000-0000-0000-0000-00000000000)" + std::to_string(last) + R"("})";
}

Model readWith(const std::string& text, bool evolves = true) {
  registerAges();
  const Model model = emptyModel();
  io::JSONParser parser;
  parser.getCustomizer()->setEvolveIfNeeded(evolves);
  parser.setModel(model);
  parser.parseString(text);
  return model;
}

template <class Error = io::ParseError>
std::string errorWith(const std::string& text, bool evolves = true) {
  try {
    static_cast<void>(readWith(text, evolves));
  } catch (const Error& error) {
    return error.what();
  }
  return "no error";
}

TEST(JsonEvolution, BringsOlderContentUpToDate) {
  const Model model = readWith(
      documentOf("1.0", entry(1, R"({"label":"a","pages":"12","genre":"roman","sequel":)" + reference(2) +
                                     R"(,"parts":[)" + entry(3, R"({"label":"c"})") + "," + reference(4) + "]}") +
                            "," + entry(2, "null") + "," + entry(4, R"({"label":"d"})")));
  const ModelElement book = elementOf(model, 1);
  EXPECT_EQ(book->get<ustring>(u"title"), u"a");
  EXPECT_EQ(book->get<std::int32_t>(u"pages"), 12);
  EXPECT_EQ(book->get<std::int64_t>(u"genre"), 0);
  EXPECT_EQ(book->get<ModelElement>(u"sequel"), elementOf(model, 2));
  EXPECT_EQ(book->contents(), (std::vector{elementOf(model, 3), elementOf(model, 4)}));
  EXPECT_EQ(elementOf(model, 4)->get<ustring>(u"title"), u"d");
  EXPECT_EQ(model->getElementCount(), 4U);
}

TEST(JsonEvolution, KeepsEveryKindOfValueOnTheWay) {
  const std::string content =
      R"({"genre":1,"place":{"content":{"shelf":3},"type":"jsonages.Place"},"notes":{"z":"1","a":"2"},)"
      R"("weight":null,"weights":[0.1,null,"-inf",1e-999],"money":"12 EUR"})";
  std::string renamed = documentOf("1.0", entry(1, content));
  const Model evolved = readWith(renamed);
  const Model current = readWith(documentOf("2.0", entry(1, content, "Book")));
  const auto difference = firstDifference(evolved, current);
  EXPECT_FALSE(difference) << difference->text();
  EXPECT_TRUE(std::isnan(elementOf(evolved, 1)->get<double>(u"weight")));
}

TEST(JsonEvolution, TellsMapsFromWhatLooksLikeAReference) {
  const std::string map = R"({"type":"x","uuid":"00000000-0000-0000-0000-0000000000ab"})";
  const Model model = readWith(documentOf("1.0", entry(1, R"({"notes":)" + map + "}") + "," +
                                                     entry(2, R"({"notes":{"content":"x","type":"y"}})") + "," +
                                                     entry(3, R"({"notes":{}})")));
  const auto notesOf = [&](std::uint8_t last) {
    const ModelElement book = elementOf(model, last);
    return book->get<StringToStringMap>(book->property(u"notes"));
  };
  EXPECT_EQ(notesOf(1), (StringToStringMap{{u"type", u"x"}, {u"uuid", u"00000000-0000-0000-0000-0000000000ab"}}));
  EXPECT_EQ(notesOf(2), (StringToStringMap{{u"content", u"x"}, {u"type", u"y"}}));
  EXPECT_TRUE(notesOf(3).empty());
}

TEST(JsonEvolution, KeepsTheRulesForElements) {
  const CapturedLog log;
  const Model model = readWith(documentOf(
      "1.0", "null," + reference(2) + "," + entry(1, R"({"sequel":)" + reference(3) + "}") + "," + entry(2, "{}")));
  EXPECT_EQ(model->getElementCount(), 2U);
  EXPECT_EQ(
      log.text(),
      "Warning: A dangling reference to the Book element with UUID 00000000-0000-0000-0000-000000000003 was parsed.\n");
  EXPECT_EQ(
      errorWith(documentOf("1.0", entry(1, "{}") + "," + entry(1, "{}"))),
      "JSON text:3:1, at entries[1]: Error: A Book element with UUID 00000000-0000-0000-0000-000000000001 already "
      "exists in the target model.");
}

TEST(JsonEvolution, ReadsCurrentContentDirectly) {
  const std::string content = entry(1, R"({"title":"a","pages":12})", "Book");
  EXPECT_EQ(elementOf(readWith(documentOf("2.0", content)), 1)->get<ustring>(u"title"), u"a");
  EXPECT_EQ(elementOf(readWith(R"({"entries":[)" + content + "]}"), 1)->get<ustring>(u"title"), u"a");
  EXPECT_EQ(elementOf(readWith(R"({"packageUris":[],"entries":[)" + content + "]}"), 1)->get<ustring>(u"title"), u"a");
}

TEST(JsonEvolution, OrdersTopLevelElementsAsTheDirectWayDoes) {
  const auto orderIn = [](const std::string& version, const std::string& className, const std::string& name) {
    const auto book = [&](int last, int sequel) {
      std::string to = reference(sequel);
      to.replace(to.find("Volume"), 6, className);
      return entry(last, "{\"" + name + R"(":"x","sequel":)" + to + "}", className);
    };
    std::vector<std::uint8_t> order;
    const Model model = readWith(
        documentOf(version, book(5, 3) + "," + book(1, 4) + "," + book(3, 1) + "," + book(2, 2) + "," + book(4, 5)));
    for (const ModelElement& element : model->getTopLevelElements()) order.push_back(element->getUuid().data[15]);
    return order;
  };
  const std::vector<std::uint8_t> direct = orderIn("2.0", "Book", "title");
  EXPECT_EQ(direct.size(), 5U);
  EXPECT_EQ(orderIn("1.0", "Volume", "label"), direct);
}

TEST(JsonEvolution, ReadsAsItStandsWhenToldTo) {
  EXPECT_EQ(
      elementOf(readWith(documentOf("1.0", entry(1, R"({"title":"a"})", "Book")), false), 1)->get<ustring>(u"title"),
      u"a");
  EXPECT_EQ(
      errorWith(documentOf("1.0", entry(1, R"({"label":"a"})", "Book")), false),
      "JSON text:2:13, at entries[0].content.label: expected a property of jsonages.Book, found \"label\"; the content "
      "was written with tarn://schema/jsonages/1.0 (current is 2.0): let it be adapted by setEvolveIfNeeded(true)");
  EXPECT_THAT(errorWith(documentOf("1.0", entry(1, "null")), false), HasSubstr("setEvolveIfNeeded(true)"));
  EXPECT_THAT(errorWith(documentOf("2.0", entry(1, R"({"label":"a"})", "Book")), false),
              Not(HasSubstr("setEvolveIfNeeded")));
}

TEST(JsonEvolution, RefusesContentOfANewerVersion) {
  EXPECT_THAT((errorWith<evolution::EvolutionError>(documentOf("3.0", entry(1, "null")))),
              AllOf(HasSubstr("3.0"), HasSubstr("2.0")));
}

TEST(JsonEvolution, NamesThePlaceOfWhatDoesNotFit) {
  EXPECT_THAT((errorWith<KernelError>(documentOf("1.0", entry(1, R"({"nowhere":1})")))), HasSubstr("nowhere"));
  EXPECT_THAT(errorWith(documentOf("1.0", entry(1, R"({"place":{"content":{"shelf":3000000000}}})"))),
              AllOf(StartsWith("JSON text:2:41, at entries[0].place.shelf: "),
                    HasSubstr("expected a whole number from -2147483648 to 2147483647, found the number 3000000000")));
  EXPECT_EQ(
      errorWith(documentOf("1.0", "7")),
      "JSON text:1:13, at entries[0]: expected an element with \"type\" and \"uuid\", or null, found the number 7");
  EXPECT_EQ(
      errorWith(documentOf("1.0", entry(1, R"({"notes":{"a":1}})"))),
      "JSON text:2:21, at entries[0].content.notes: expected an element with \"type\" and \"uuid\", a data value with "
      "\"content\", or an object of texts, found an object");
  EXPECT_EQ(errorWith(documentOf("1.0", entry(1, R"({"notes":{"a":"1","a":"2"}})"))),
            "JSON text:2:30, at entries[0].content.notes.a: the key \"a\" comes twice in one object");
  EXPECT_EQ(errorWith(documentOf("1.0", entry(1, R"({"label":"1","label":"2"})"))),
            "JSON text:2:25, at entries[0].content.label: the key \"label\" comes twice in one object");
}

TEST(JsonEvolution, LeavesTheModelAsItWasWhenItFails) {
  registerAges();
  const Model model = emptyModel();
  newElement(model, u"Node", 9);
  EXPECT_THROW(readInto(model, documentOf("1.0", entry(1, "{}") + "," + entry(2, R"({"label":7})"))), KernelError);
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(JsonEvolution, EvolvesDeepContent) {
  constexpr int kLevels = 50'000;
  std::string text = R"({"content":null)";
  std::string begin;
  std::string end;
  for (int i = 1; i < kLevels; ++i) begin += R"({"content":{"parts":[)";
  for (int i = 0; i < kLevels; ++i) {
    std::string digits = std::to_string(i + 1);
    digits.insert(0, 12 - digits.size(), '0');
    end += R"(,"type":"jsonages.Volume","uuid":"00000000-0000-0000-0000-)" + digits + "\"}";
    if (i + 1 < kLevels) end += "]}";
  }
  EXPECT_EQ(readWith(documentOf("1.0", begin + text + end))->getElementCount(), static_cast<std::size_t>(kLevels));
}

}  // namespace
}  // namespace tarn::kern::jsontest
