#include <cmath>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>

#include "framework/tarn/kern/io/JsonTestModel.h"
#include "support/Sanitizers.h"

namespace tarn::kern::jsontest {
namespace {

using testing::HasSubstr;

std::string uuidText(int last) { return "00000000-0000-0000-0000-00000000000" + std::to_string(last); }
std::string reference(int last, const std::string& className = "Node") {
  return R"({"type":"jsontest.)" + className + R"(","uuid":")" + uuidText(last) + "\"}";
}
std::string element(int last, const std::string& content, const std::string& className = "Node") {
  return R"({"type":"jsontest.)" + className + R"(","uuid":")" + uuidText(last) + R"(","content":)" + content + "}";
}
/// The element 1 of class Plain with that content.
ModelElement plainOf(const std::string& content, Model& keep) {
  keep = read(document(element(1, content, "Plain")));
  return elementOf(keep, 1);
}

// --- The document.

TEST(JSONParser, ReadsKeysInAnyOrder) {
  const Model model =
      read(R"({"entries":[{"content":{"next":{"uuid":"00000000-0000-0000-0000-000000000002","type":"jsontest.Node"},)"
           R"("name":"a"},"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000001"},)"
           R"({"uuid":"00000000-0000-0000-0000-000000000002","content":null,"type":"jsontest.Node"}],)"
           R"("packageUris":["urn:jsontest"],"version":"1.0"})");
  EXPECT_EQ(model->getElementCount(), 2U);
  EXPECT_EQ(elementOf(model, 1)->get<ustring>(u"name"), u"a");
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 2));
}

TEST(JSONParser, ReadsADocumentWithoutPackagesAndVersion) {
  EXPECT_EQ(read(R"({"entries":[]})")->getElementCount(), 0U);
  EXPECT_EQ(read(R"({"entries":[null,)" + element(1, "{}") + "]}")->getElementCount(), 1U);
}

TEST(JSONParser, RefusesADocumentOfAnotherShape) {
  EXPECT_EQ(errorOf("[]"), "JSON text:1:1: expected an object with \"entries\", found an array");
  EXPECT_EQ(errorOf("{}"), "JSON text:1:1: expected an object with \"entries\", found an object");
  EXPECT_EQ(errorOf(R"({"entries":{}})"), "JSON text:1:12, at entries: expected an array of elements, found an object");
  EXPECT_EQ(errorOf(R"({"entries":[7]})"),
            "JSON text:1:13, at entries[0]: expected an element or null, found the number 7");
  EXPECT_EQ(errorOf(R"({"entries":[],"extra":1})"),
            "JSON text:1:15, at extra: expected \"version\", \"packageUris\" or \"entries\" as a key, found \"extra\"");
  EXPECT_EQ(errorOf(R"({"entries":[],"entries":[]})"),
            "JSON text:1:15, at entries: the key \"entries\" comes twice in one object");
  EXPECT_EQ(errorOf(R"({"version":"2.0","entries":[]})"),
            "JSON text:1:12, at version: expected \"1.0\", found the text \"2.0\"");
  EXPECT_EQ(errorOf(R"({"version":1.0,"entries":[]})"),
            "JSON text:1:12, at version: expected \"1.0\", found the number 1.0");
  EXPECT_EQ(errorOf(R"({"packageUris":"x","entries":[]})"),
            "JSON text:1:16, at packageUris: expected an array of package URIs, found the text \"x\"");
  EXPECT_EQ(errorOf(R"({"packageUris":[1],"entries":[]})"),
            "JSON text:1:17, at packageUris[0]: expected a package URI, found the number 1");
}

TEST(JSONParser, CallsTheTextByItsName) {
  io::JSONParser parser;
  parser.getCustomizer()->setSourceName("debian.json");
  parser.setModel(emptyModel());
  try {
    parser.parseString("x");
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_STREQ(error.what(), "debian.json:1:1: expected a JSON value, found 'x'");
  }
}

TEST(JSONParser, WantsAModel) {
  io::JSONParser parser;
  try {
    parser.parseString("{}");
    FAIL();
  } catch (const KernelError& error) {
    EXPECT_THAT(error.what(), HasSubstr("setModel"));
  }
  EXPECT_TRUE(parser.getCustomizer()->getEvolveIfNeeded());
}

// --- Elements.

TEST(JSONParser, RefusesElementsOfAnotherShape) {
  const std::string type = R"("type":"jsontest.Node")";
  const std::string uuid = R"("uuid":"00000000-0000-0000-0000-000000000001")";
  const auto error = [](const std::string& entry) { return errorOf(R"({"entries":[)" + entry + "]}"); };
  const std::string place = "JSON text:1:13, at entries[0]: ";
  EXPECT_EQ(error("{" + uuid + "}"), place + "expected the class as a text under \"type\", found an object");
  EXPECT_EQ(error("{" + type + "}"), place + "expected an element with \"uuid\", found an object");
  EXPECT_EQ(error(R"({"type":7})"),
            "JSON text:1:21, at entries[0].type: expected the class as a text under \"type\", found the number 7");
  EXPECT_EQ(error("{" + type + R"(,"uuid":"x"})"),
            "JSON text:1:44, at entries[0].uuid: expected a uuid such as \"00112233-4455-6677-8899-aabbccddeeff\", "
            "found the text \"x\"");
  EXPECT_THAT(error("{" + type + R"(,"uuid":"00000000-0000-0000-0000-000000000000"})"),
              HasSubstr("a uuid that is not nil"));
  EXPECT_EQ(error("{" + type + "," + type + "}"),
            "JSON text:1:37, at entries[0].type: the key \"type\" comes twice in one object");
  EXPECT_EQ(error("{" + type + "," + uuid + R"(,"x":1})"),
            "JSON text:1:83, at entries[0].x: expected \"type\", \"uuid\" or \"content\" as a key, found \"x\"");
  EXPECT_THAT(error("{" + type + "," + uuid + R"(,"content":[]})"),
              HasSubstr("at entries[0].content: expected an object of properties or null, found an array"));
}

TEST(JSONParser, SuggestsNamesThatAreMeant) {
  EXPECT_EQ(errorOf(document(element(1, "null", "Nod"))),
            "JSON text:1:68, at entries[0].type: expected the qualified name of a registered class, found the text "
            "\"jsontest.Nod\"; did you mean \"jsontest.Node\"?");
  EXPECT_THAT(errorOf(R"({"entries":[{"type":"nowhere.AtAll","uuid":"00000000-0000-0000-0000-000000000001"}]})"),
              HasSubstr("; register its package before reading"));
  EXPECT_THAT(errorOf(document(element(1, "null", "Point"))),
              HasSubstr("expected the qualified name of a registered class"));
  EXPECT_EQ(
      errorOfContent("Node", R"({"nane":"x"})"),
      "2, at entries[0].content.nane: expected a property of jsontest.Node, found \"nane\"; did you mean \"name\"?");
  EXPECT_EQ(
      errorOfContent("Plain", R"({"color":"grean"})"),
      "10, at entries[0].content.color: expected a literal of jsontest.Color, found the text \"grean\"; did you mean "
      "\"green\"?");
}

TEST(JSONParser, RefusesAnAbstractClass) {
  EXPECT_THAT(errorOf(document(element(1, "null", "Shape"))), HasSubstr("at entries[0]: "));
  EXPECT_THAT(errorOf(document(element(1, "null", "Shape"))), HasSubstr("abstract"));
}

TEST(JSONParser, RefusesAPropertyThatComesTwice) {
  EXPECT_EQ(errorOfContent("Node", R"({"name":"a","name":"b"})"),
            "13, at entries[0].content.name: the key \"name\" comes twice in one object");
  EXPECT_EQ(errorOfContent("Node", R"({"name":"a","n\u0061me":"b"})"),
            "13, at entries[0].content.name: the key \"name\" comes twice in one object");
  EXPECT_EQ(errorOfContent("Plain", R"({"manyInteger":[],"integer":1,"manyInteger":[1]})"),
            "31, at entries[0].content.manyInteger: the key \"manyInteger\" comes twice in one object");
  EXPECT_EQ(errorOfContent("Plain", R"({"map":{"a":"1","a":"2"}})"),
            "17, at entries[0].content.map.a: the key \"a\" comes twice in one object");
}

TEST(JSONParser, ReadsEscapedNames) {
  const Model model = read(R"({"entr\u0069es":[{"\u0074ype":"jsontest.N\u006fde","uuid":"0000000\u0030-0000-0000-0000-)"
                           R"(000000000001","content":{"n\u0061me":"x"}}]})");
  EXPECT_EQ(elementOf(model, 1)->get<ustring>(u"name"), u"x");
}

// --- References.

TEST(JSONParser, ReadsReferencesForwardAndBackward) {
  const Model model = read(
      document(element(1, R"({"next":)" + reference(2) + "}") + "," +
               element(2, R"({"next":)" + reference(1) + R"(,"others":[)" + reference(2) + "," + reference(1) + "]}")));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 2));
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"next"), elementOf(model, 1));
  EXPECT_EQ(model->getTopLevelElements(), (std::vector{elementOf(model, 1), elementOf(model, 2)}));
}

TEST(JSONParser, ReadsContentsThatComeBeforeOrBehindTheirReference) {
  const CapturedLog log;
  const Model model = read(
      document(element(1, R"({"next":)" + reference(3) + R"(,"children":[)" + element(3, R"({"name":"c"})") + "]}")));
  EXPECT_EQ(elementOf(model, 3)->container(), elementOf(model, 1));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next")->get<ustring>(u"name"), u"c");
  EXPECT_EQ(log.text(), "");
}

TEST(JSONParser, KeepsTheListedOrderWhateverTheOpposites) {
  // 1 owns 2 and 3; by the time its list is read, 3 has claimed to be owned.
  const Model model = read(document(element(3, R"({"owner":)" + reference(1) + "}") + "," +
                                    element(1, R"({"owned":[)" + reference(2) + "," + reference(3) + "]}") + "," +
                                    element(2, R"({"owner":)" + reference(1) + "}")));
  const Value owned = elementOf(model, 1)->getPropertyValue(elementOf(model, 1)->property(u"owned"),
                                                            ReflectionPrivateTag::PUBLIC_ACCESS);
  EXPECT_EQ(owned.toElementCollection().getAllElements(), (std::vector{elementOf(model, 2), elementOf(model, 3)}));
}

TEST(JSONParser, TakesTheWayBackToTheContainer) {
  const Model model = read(document(element(
      1, R"({"children":[)" + element(3, "{}") + "," + element(2, R"({"parent":)" + reference(1) + "}") + "]}")));
  EXPECT_EQ(elementOf(model, 1)->contents(), (std::vector{elementOf(model, 3), elementOf(model, 2)}));
}

TEST(JSONParser, DestroysWhatIsOnlyReferredTo) {
  const CapturedLog log;
  const Model model =
      read(document(element(1, R"({"next":)" + reference(2, "Special") + R"(,"others":[)" + reference(3) + "]}")));
  EXPECT_EQ(model->getElementCount(), 1U);
  EXPECT_FALSE(elementOf(model, 1)->get<ModelElement>(u"next"));
  EXPECT_EQ(elementOf(model, 1)->peekElements(elementOf(model, 1)->property(u"others")).size(), 0U);
  EXPECT_EQ(log.text(),
            "Warning: A dangling reference to the Special element with UUID 00000000-0000-0000-0000-000000000002 was "
            "parsed.\n"
            "Warning: A dangling reference to the Node element with UUID 00000000-0000-0000-0000-000000000003 was "
            "parsed.\n");
}

TEST(JSONParser, NotesReferencesToWhatTheModelHolds) {
  const Model model = emptyModel();
  newElement(model, u"Node", 2);
  const CapturedLog log;
  readInto(model, document(element(1, R"({"next":)" + reference(2) + R"(,"others":[)" + reference(2) + "]}")));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 2));
  EXPECT_EQ(log.text(),
            "Note: A reference to the already existing Node element with UUID 00000000-0000-0000-0000-000000000002 was "
            "parsed.\n");
}

TEST(JSONParser, RefusesAnElementOfAnotherClassThanTheModelHolds) {
  const Model model = emptyModel();
  newElement(model, u"Special", 2);
  try {
    readInto(model, document(element(1, R"({"next":)" + reference(2) + "}")));
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_EQ(error.problem(),
              "Error: A reference to the Node element with UUID 00000000-0000-0000-0000-000000000002 was parsed but "
              "matches an existing Special element in the target model.");
    EXPECT_EQ(error.path(), "entries[0].content.next");
  }
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(JSONParser, RefusesContentsThatAreThereAlready) {
  const Model model = emptyModel();
  newElement(model, u"Node", 1);
  const std::string problem =
      "Error: A Node element with UUID 00000000-0000-0000-0000-000000000001 already exists in the target model.";
  try {
    readInto(model, document(element(1, "null")));
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_EQ(error.problem(), problem);
  }
  EXPECT_EQ(errorOf(document(element(1, "null") + "," + element(1, "{}"))),
            "JSON text:1:146, at entries[1]: " + problem);
  EXPECT_THAT(errorOf(document(element(1, R"({"only":)" + element(1, "{}") + "}"))), HasSubstr(problem));
}

TEST(JSONParser, ReadsAnElementThatRefersToItself) {
  const Model model = read(document(element(1, R"({"next":)" + reference(1) + "}")));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 1));
}

TEST(JSONParser, RefusesAnElementThatContainsItself) {
  EXPECT_THAT(errorOf(document(element(1, R"({"only":)" + reference(1) + "}"))),
              HasSubstr("at entries[0].content.only: "));
}

TEST(JSONParser, RefusesATargetOfAnotherClass) {
  EXPECT_EQ(errorOfContent("Node", R"({"next":)" + reference(2, "Stranger") + "}"),
            "9, at entries[0].content.next: expected an element of jsontest.Node, found one of jsontest.Stranger");
  EXPECT_EQ(
      errorOfContent("Node", R"({"others":[null,)" + reference(2, "Stranger") + "]}"),
      "17, at entries[0].content.others[1]: expected an element of jsontest.Node, found one of jsontest.Stranger");
  EXPECT_EQ(errorOfContent("Node", R"({"next":7})"),
            "9, at entries[0].content.next: expected an element or null, found the number 7");
  EXPECT_EQ(errorOfContent("Node", R"({"others":null})"),
            "11, at entries[0].content.others: expected an array of elements, found null");
}

// --- Values.

TEST(JSONParser, ReadsEveryIntegerAtItsBounds) {
  Model model;
  const ModelElement plain =
      plainOf(R"({"integer8":-128,"integer16":-32768,"integer":-2147483648,"integer64":-9223372036854775808,)"
              R"("uInteger8":255,"uInteger16":65535,"unlimitedNatural":4294967295,"uInteger64":18446744073709551615})",
              model);
  EXPECT_EQ(plain->get<std::int8_t>(u"integer8"), std::numeric_limits<std::int8_t>::min());
  EXPECT_EQ(plain->get<std::int64_t>(u"integer64"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(plain->get<std::uint32_t>(u"unlimitedNatural"), std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(plain->get<std::uint64_t>(u"uInteger64"), std::numeric_limits<std::uint64_t>::max());
}

TEST(JSONParser, RefusesIntegersBeyondTheirBounds) {
  EXPECT_EQ(errorOfContent("Plain", R"({"integer8":128})"),
            "13, at entries[0].content.integer8: expected a whole number from -128 to 127, found the number 128");
  for (const char* content :
       {R"({"integer8":-129})", R"({"integer16":32768})", R"({"integer":2147483648})",
        R"({"integer64":9223372036854775808})", R"({"uInteger8":256})", R"({"uInteger8":-1})",
        R"({"uInteger16":65536})", R"({"unlimitedNatural":-1})", R"({"uInteger64":18446744073709551616})",
        R"({"integer":1.5})", R"({"integer":1e2})", R"({"integer":"1"})", R"({"integer":true})", R"({"integer":[]})",
        R"({"manyInteger":[1,null]})", R"({"manyInteger":7})", R"({"manyInteger":null})",
        R"({"color":9223372036854775808})", R"({"color":true})"}) {
    EXPECT_THAT(errorOfContent("Plain", content), HasSubstr(": expected a")) << content;
  }
}

TEST(JSONParser, ReadsReals) {
  Model model;
  const ModelElement plain = plainOf(
      R"({"real":1e-5,"requiredReal":"-inf","defaultReal":7,"manyReal":[0.1,null,"NaN","inf",-0.0,1e-999]})", model);
  EXPECT_EQ(plain->get<double>(u"real"), 1e-5);
  EXPECT_EQ(plain->get<double>(u"requiredReal"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(plain->get<double>(u"defaultReal"), 7.0);
  const std::vector<double>& many = plain->peekCollection<double>(plain->property(u"manyReal"));
  ASSERT_EQ(many.size(), 6U);
  EXPECT_TRUE(std::isnan(many[1]) && std::isnan(many[2]) && std::signbit(many[4]));
  EXPECT_EQ(many[5], 0.0);
  EXPECT_THAT(errorOfContent("Plain", R"({"real":1e999})"), HasSubstr("expected a number within the range of a Real"));
  EXPECT_THAT(errorOfContent("Plain", R"({"real":"1.5"})"), HasSubstr(R"(expected a number, "NaN", "inf" or "-inf")"));
}

TEST(JSONParser, ReadsNullAsAbsenceAndWhereThatCannotBeAsNan) {
  Model model;
  const ModelElement plain =
      plainOf(R"({"real":null,"requiredReal":null,"defaultReal":null,"defaultString":null,"defaultInteger":null,)"
              R"("defaultColor":null,"money":null,"point":null,"map":null})",
              model);
  EXPECT_FALSE(plain->peek<double>(plain->property(u"real")));
  EXPECT_TRUE(std::isnan(plain->get<double>(u"requiredReal")));
  EXPECT_FALSE(plain->peek<double>(plain->property(u"defaultReal")));
  EXPECT_FALSE(plain->peek<ustring>(plain->property(u"defaultString")));
  EXPECT_FALSE(plain->peek<std::int32_t>(plain->property(u"defaultInteger")));
  EXPECT_FALSE(plain->peek<std::int64_t>(plain->property(u"defaultColor")));
}

TEST(JSONParser, ReadsTextsWithBrokenSurrogates) {
  Model model;
  const ModelElement plain = plainOf(
      R"({"string":"\ud83dx\ude00","manyString":["\ud83d\ude00","\ude00\ud83d"],"map":{"\ud800":"\udfff"}})", model);
  EXPECT_EQ(plain->get<ustring>(u"string"), (ustring{0xD83D, u'x', 0xDE00}));
  const auto& many = plain->peekCollection<ustring>(plain->property(u"manyString"));
  EXPECT_EQ(many, (std::vector<ustring>{u"😀", {0xDE00, 0xD83D}}));
}

TEST(JSONParser, ReadsBytes) {
  Model model;
  const ModelElement plain = plainOf(R"({"stdString":"ä\udcff\u00e4\n","manyStdString":["","\udc80"]})", model);
  EXPECT_EQ(plain->get<std::string>(u"stdString"), "ä\xFFä\n");
  EXPECT_THAT(errorOfContent("Plain", R"({"stdString":"\ud800"})"), HasSubstr("only U+DC80 to U+DCFF may stand alone"));
}

TEST(JSONParser, ReadsTextsTimesUuidsAndCustomValues) {
  Model model;
  const ModelElement plain =
      plainOf(R"({"uUID":"00000000-0000-0000-0000-0000000000AB","dateTime":"2021-02-03T00:00:04.5","money":"12 EUR",)"
              R"("manyMoney":["1 A","2 B"]})",
              model);
  EXPECT_EQ(plain->get<boost::uuids::uuid>(u"uUID"), uuidOf(0xAB));
  EXPECT_EQ(plain->get<Money>(u"money"), (Money{12, u"EUR"}));
  EXPECT_THAT(errorOfContent("Plain", R"({"dateTime":"yesterday"})"),
              HasSubstr("at entries[0].content.dateTime: expected a time such as"));
  EXPECT_THAT(errorOfContent("Plain", R"({"dateTime":7})"), HasSubstr("found the number 7"));
  EXPECT_EQ(
      errorOfContent("Plain", R"({"money":"EUR"})"),
      "10, at entries[0].content.money: expected the text of a jsontest.Money, found the text \"EUR\"; money is an "
      "amount, a blank, a currency");
  EXPECT_THAT(errorOfContent("Plain", R"({"money":12})"), HasSubstr("expected the text of a jsontest.Money"));
  EXPECT_THAT(errorOfContent("Plain", R"({"string":12})"), HasSubstr("expected a text, found the number 12"));
  EXPECT_THAT(errorOfContent("Plain", R"({"boolean":1})"), HasSubstr("expected true or false, found the number 1"));
}

TEST(JSONParser, ReadsEnumsByLiteralAndByNumber) {
  Model model;
  const ModelElement plain =
      plainOf(R"({"color":"blue","requiredColor":-99,"manyColor":["far",1,"gr\u0065en"]})", model);
  EXPECT_EQ(plain->get<std::int64_t>(u"color"), -7);
  EXPECT_EQ(plain->get<std::int64_t>(u"requiredColor"), -99);
  const Value many = plain->getPropertyValue(plain->property(u"manyColor"), ReflectionPrivateTag::PUBLIC_ACCESS);
  EXPECT_EQ(many.toPrimitiveCollection().getValue(0).get<std::int64_t>(), 4294967296);
  EXPECT_EQ(many.toPrimitiveCollection().getValue(2).get<std::int64_t>(), 1);
}

TEST(JSONParser, ReadsMapsInTheirOrder) {
  Model model;
  const ModelElement plain = plainOf(R"({"map":{"z":"1","a":"2","":""}})", model);
  const Value live = plain->getPropertyValue(plain->property(u"map"), ReflectionPrivateTag::PUBLIC_ACCESS);
  std::vector<ustring> keys;
  for (const auto& [key, text] : live.toStringToStringMap()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<ustring>{u"z", u"a", u""}));
  EXPECT_THAT(errorOfContent("Plain", R"({"map":{"a":1}})"), HasSubstr("at entries[0].content.map.a: expected a text"));
  EXPECT_THAT(errorOfContent("Plain", R"({"map":[]})"), HasSubstr("expected an object of texts"));
}

TEST(JSONParser, ReadsDataValues) {
  const Model model = read(document(
      element(
          1,
          R"({"line":{"content":{"points":[{"type":"jsontest.Point","content":{"x":1,"y":2}},{"content":null}],"target":)" +
              reference(2) +
              R"(,"inner":[{"content":{"name":null},"type":"jsontest.Line"}],"color":"red","notes":{"k":"v"},)" +
              R"("price":"1 X"}}})",
          "Lines") +
      "," + element(2, "null")));
  const auto line = elementOf(model, 1)->get<ReflectiveDataType>(u"line");
  EXPECT_EQ(line.get<ModelElement>(u"target"), elementOf(model, 2));
  EXPECT_EQ(line.get<ustring>(u"name"), u"line");
  EXPECT_EQ(line.get<std::int64_t>(u"color"), 0);
  const Value points = line.getPropertyValue(line.getType()->getProperty(u"points"));
  ASSERT_EQ(points.toPrimitiveCollection().size(), 2U);
  EXPECT_EQ(points.toPrimitiveCollection().getValue(0).get<ReflectiveDataType>().get<std::int32_t>(u"y"), 2);
}

TEST(JSONParser, RefusesDataValuesOfAnotherShape) {
  EXPECT_EQ(errorOfContent("Plain", R"({"point":{"type":"jsontest.Line","content":null}})"),
            "18, at entries[0].content.point.type: expected \"jsontest.Point\", found the text \"jsontest.Line\"");
  EXPECT_EQ(errorOfContent("Plain", R"({"point":{"type":"jsontest.Point"}})"),
            "10, at entries[0].content.point: expected a value of a data type with \"content\", found an object");
  EXPECT_EQ(errorOfContent("Plain", R"({"point":{"content":{"z":1}}})"),
            "22, at entries[0].content.point.content.z: expected a property of jsontest.Point, found \"z\"");
  EXPECT_THAT(errorOfContent("Plain", R"({"point":{"content":{},"uuid":"x"}})"),
              HasSubstr(R"(expected "type" or "content" as a key, found "uuid")"));
  EXPECT_THAT(errorOfContent("Plain", R"({"point":7})"),
              HasSubstr("expected a value of a data type, found the number 7"));
  EXPECT_THAT(errorOfContent("Plain", R"({"manyPoint":[null]})"),
              HasSubstr("expected a value of a data type, found null"));
}

// --- Failing, size, depth.

TEST(JSONParser, LeavesTheModelAsItWasWhenItFails) {
  const Model model = emptyModel();
  fillByChance(model, 5, 50);
  const std::string before = written(model, false);
  const std::string text = document(element(1, R"({"children":[)" + element(2, "{}") + R"(],"name":7})"));
  EXPECT_THROW(readInto(model, text), io::ParseError);
  EXPECT_EQ(written(model, false), before);
  readInto(model, document(element(1, "null")));  // and usable
  EXPECT_TRUE(elementOf(model, 1));
}

TEST(JSONParser, TakesPartInAnOpenTransaction) {
  const Model model = emptyModel();
  Transaction outer = model->beginTransaction(false);
  readInto(model, document(element(1, "null")));
  outer.rollBack();
  EXPECT_EQ(model->getElementCount(), 0U);
}

class CountingObserver : public ModelObserver {
 public:
  void changed(const ModelChange& change) override { created += change.created.size(); }
  void collectionCommitted(const AbstractOwnedCollection& collection) override {
    collections.push_back(collection.getProperty()->getName());
  }
  std::size_t created = 0;
  std::vector<ustring> collections;
};

TEST(JSONParser, TellsObserversOfWhatItReads) {
  const std::string text = document(element(1, R"({"children":[)" + element(3, "{}") + "," + element(2, "null") +
                                                   R"(],"owned":[)" + reference(2) + "," + reference(3) + "]}") +
                                    "," + element(4, R"({"manyInteger":[2,1]})", "Plain"));
  const Model model = emptyModel();
  CountingObserver observer;
  model->addObserver(&observer);
  readInto(model, text);
  model->removeObserver(&observer);
  EXPECT_EQ(observer.created, 4U);
  EXPECT_THAT(observer.collections, testing::IsSupersetOf({u"children", u"owned", u"manyInteger"}));
  const Model silent = read(text);
  EXPECT_TRUE(modelsEqual(model, silent));
}

TEST(JSONParser, KeepsUniqueCollectionsUnique) {
  const Model model = read(document(element(1, R"({"marks":["a","b","a"]})", "Hidden")));
  EXPECT_EQ(elementOf(model, 1)->peekCollection<ustring>(elementOf(model, 1)->property(u"marks")),
            (std::vector<ustring>{u"a", u"b"}));
  const Model twice = read(document(element(1, R"({"others":[)" + reference(1) + "," + reference(1) + "]}")));
  EXPECT_EQ(elementOf(twice, 1)->peekElements(elementOf(twice, 1)->property(u"others")).size(), 1U);
}

TEST(JSONParser, IsUndoneAsOneStep) {
  const Model model = emptyModel();
  newElement(model, u"Node", 9);
  model->setUndoLimit(5);
  const std::string before = written(model);
  readInto(model, document(element(1, R"({"next":)" + reference(9) + R"(,"children":[)" + element(2, "{}") + "]}")));
  const std::string after = written(model);
  model->undo();
  EXPECT_EQ(written(model), before);
  model->redo();
  EXPECT_EQ(written(model), after);
}

TEST(JSONParser, KeepsTheListedOrderOfContents) {
  // The content of 2 lets 3 into the same list before its turn, and 4 is moved away again.
  const Model model = read(document(element(
      1, R"({"children":[)" + element(2, R"({"next":)" + element(3, R"({"parent":)" + reference(1) + "}") + "}") + "," +
             element(4, "null") + "," + reference(3) + "," + reference(4) + "]}")));
  EXPECT_EQ(elementOf(model, 1)->contents(),
            (std::vector{elementOf(model, 2), elementOf(model, 4), elementOf(model, 3)}));
}

TEST(JSONParser, ReadsOneTextAfterTheOther) {
  const Model model = emptyModel();
  io::JSONParser parser;
  parser.setModel(model);
  parser.parseString(document(element(1, "null")));
  parser.parseString(document(element(2, R"({"next":)" + reference(1) + "}")));
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"next"), elementOf(model, 1));
}

TEST(JSONParser, ReadsAMillionLevelsOfElementsWithSortedKeys) {
  // "content" comes before "type" and "uuid", so that nothing is known of an element before all inside it has passed.
  const std::size_t levels = testsupport::kManyLevels;
  const auto uuid = [](std::size_t number) {
    std::string text = "00000000-0000-0000-0000-000000000000";
    for (std::size_t at = text.size(); number > 0; number /= 10) text[--at] = static_cast<char>('0' + number % 10);
    return text;
  };
  std::string text = R"({"entries":[)";
  for (std::size_t i = 1; i < levels; ++i) text += R"({"content":{"only":)";
  text += R"({"content":null)";
  for (std::size_t i = levels; i > 0; --i) {
    text += R"(,"type":"jsontest.Node","uuid":")" + uuid(i) + "\"}";
    if (i > 1) text += "}";
  }
  text += R"(],"packageUris":[],"version":"1.0"})";
  const Model model = read(text);
  EXPECT_EQ(model->getElementCount(), levels);
  EXPECT_EQ(model->getTopLevelElements().size(), 1U);
  const Model again = read(written(model));
  EXPECT_TRUE(modelsEqual(model, again));
}

TEST(JSONParser, ReadsDeeplyNestedDataValues) {
  const std::size_t levels = testsupport::kManyLevels / 10;
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += R"({"content":{"inner":[)";
  text += R"({"content":null})";
  for (std::size_t i = 0; i < levels; ++i) text += "]}}";
  const Model model = read(document(element(1, R"({"line":)" + text + "}", "Lines")));
  const Model again = read(written(model));
  EXPECT_TRUE(modelsEqual(model, again));
}

TEST(JSONParser, EndsEveryTruncationAndFlipInAnErrorOrAModel) {
  std::vector<std::string> texts = {
      document(element(
          1, R"({"name":"aä","children":[)" + element(2, R"({"next":)" + reference(1) + "}") + R"(],"path":[null]})")),
      document(element(1,
                       R"({"integer":1,"real":-2.5e3,"string":"\u00e4\n","map":{"a":"b"},"point":{"content":{"x":1}},)"
                       R"("manyColor":["red",7],"money":"1 E","dateTime":"2021-02-03T00:00:04.5","boolean":true})",
                       "Plain"))};
  const Model random = emptyModel();
  fillByChance(random, 11, 3);
  texts.push_back(written(random));
  for (const std::string& text : texts) {
    for (std::size_t length = 0; length < text.size(); ++length) {
      EXPECT_NE(errorOf(text.substr(0, length)), "no error");
    }
    for (std::size_t at = 0; at < text.size(); ++at) {
      std::string flipped = text;
      flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << (at % 8)));
      const Model model = emptyModel();
      try {
        readInto(model, flipped);
        static_cast<void>(written(model));
      } catch (const io::ParseError& error) {
        EXPECT_GT(error.line(), 0U);
        EXPECT_EQ(model->getElementCount(), 0U);
      }
    }
  }
}

}  // namespace
}  // namespace tarn::kern::jsontest
