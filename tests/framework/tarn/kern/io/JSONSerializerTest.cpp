#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/io/JSONSerializer.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

namespace tarn::kern::jsontest {
namespace {

using testing::HasSubstr;

constexpr const char* kUuid1 = "00000000-0000-0000-0000-000000000001";

/// What stands between the brackets of "entries".
std::string entriesOf(const std::string& text) {
  const std::string begin = R"("entries":[)";
  const std::size_t at = text.find(begin) + begin.size();
  return text.substr(at, text.size() - at - 2);
}

/// The content of the first entry, which is an element of that class with uuid 1.
std::string contentOf(const ModelElement& element, bool skipsDefaults = true) {
  const std::string head = R"({"type":")" +
                           bedrock::i18n::ustring_to_utf8(element->getMetaClass()->getQualifiedName()) +
                           R"(","uuid":")" + kUuid1 + R"(","content":)";
  const std::string entries = entriesOf(written(std::vector<ModelElement>{element}, skipsDefaults));
  EXPECT_TRUE(entries.starts_with(head)) << entries;
  return entries.substr(head.size(), entries.size() - head.size() - 1);
}

void setString(const ModelElement& element, ustring text) { element->set(u"string", std::move(text)); }

TEST(JSONSerializer, WritesTheDocumentsFrame) {
  const Model model = emptyModel();
  newElement(model, u"Stranger", 1)->set(u"name", u"x");
  EXPECT_EQ(written(model), R"({"version":"1.0","packageUris":["urn:jsontest"],"entries":[{"type":"jsontest.Stranger",)"
                            R"("uuid":"00000000-0000-0000-0000-000000000001","content":{"name":"x"}}]})");
}

TEST(JSONSerializer, WritesNoContentAsNull) {
  const Model model = emptyModel();
  EXPECT_EQ(contentOf(newElement(model, u"Plain", 1)), "null");
}

TEST(JSONSerializer, WritesEverythingWhenDefaultsAreNotSkipped) {
  const Model model = emptyModel();
  EXPECT_EQ(contentOf(newElement(model, u"Node", 1), false),
            R"({"name":null,"count":5,"children":[],"only":null,"next":null,"others":[],"path":[],"left":null,)"
            R"("right":null,"owner":null,"owned":[],"friends":[],"friendOf":[],"keyed":[]})");
  EXPECT_THAT(contentOf(newElement(emptyModel(), u"Plain", 1), false), HasSubstr(R"("map":{},"optionalMap":{})"));
}

TEST(JSONSerializer, LeavesOutDefaultsOnly) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"defaultInteger", std::int32_t{7});
  plain->set(u"integer", std::int32_t{0});
  plain->set(u"defaultString", u"other");
  plain->unset(plain->property(u"defaultReal"));
  plain->set(u"defaultBoolean", false);
  EXPECT_EQ(contentOf(plain), R"({"defaultString":"other","integer":0,"defaultReal":null,"defaultBoolean":false})");
}

TEST(JSONSerializer, TellsANegativeZeroFromADefaultOfZero) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"real", -0.0);
  EXPECT_EQ(contentOf(plain), R"({"real":-0})");
}

TEST(JSONSerializer, WritesExactNumbers) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"integer64", std::numeric_limits<std::int64_t>::min());
  plain->set(u"uInteger64", std::numeric_limits<std::uint64_t>::max());
  plain->set(u"integer8", std::int8_t{-128});
  plain->set(u"uInteger8", std::uint8_t{255});
  plain->set(u"real", 0.1);
  EXPECT_EQ(contentOf(plain),
            R"({"integer8":-128,"integer64":-9223372036854775808,"uInteger8":255,"uInteger64":18446744073709551615,)"
            R"("real":0.1})");
}

TEST(JSONSerializer, NamesWhatIsNoNumber) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"real", std::numeric_limits<double>::quiet_NaN());
  plain->set(u"requiredReal", std::numeric_limits<double>::infinity());
  plain->set(u"defaultReal", -std::numeric_limits<double>::infinity());
  EXPECT_EQ(contentOf(plain), R"({"real":"NaN","requiredReal":"inf","defaultReal":"-inf"})");
}

TEST(JSONSerializer, EscapesWhatMustBeEscaped) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  setString(plain, std::u16string(u"\"\\/\b\f\n\r\t\0\x1f\x7f", 11));
  EXPECT_EQ(contentOf(plain), "{\"string\":\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0000\\u001f\x7f\"}");
  setString(plain, u"ä€😀");
  EXPECT_EQ(contentOf(plain), R"({"string":"ä€😀"})");
}

TEST(JSONSerializer, EscapesLoneSurrogates) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  setString(plain, ustring{0xD800, u'x', 0xDFFF, 0xDC00, 0xD83D, 0xDE00, 0xD83D});
  EXPECT_EQ(contentOf(plain), R"({"string":"\ud800x\udfff\udc00😀\ud83d"})");
}

TEST(JSONSerializer, EscapesAtEveryPositionOfALongText) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  for (std::size_t at = 0; at < 40; ++at) {
    ustring text(40, u'x');
    text[at] = u'"';
    setString(plain, text);
    EXPECT_EQ(contentOf(plain), R"({"string":")" + std::string(at, 'x') + "\\\"" + std::string(39 - at, 'x') + "\"}");
    text[at] = 0xD83D;
    if (at + 1 < 40) text[at + 1] = 0xDE00;
    setString(plain, text);
    const std::string middle = at + 1 < 40 ? "😀" + std::string(38 - at, 'x') : "\\ud83d";
    EXPECT_EQ(contentOf(plain), R"({"string":")" + std::string(at, 'x') + middle + "\"}");
  }
}

TEST(JSONSerializer, EscapesBytesThatAreNoUtf8) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"stdString", std::string("ä\xFF\x80\n\xED\xA0\x80"));
  EXPECT_EQ(contentOf(plain), R"({"stdString":"ä\udcff\udc80\n\udced\udca0\udc80"})");
}

TEST(JSONSerializer, WritesTimesUuidsAndCustomValuesAsTexts) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"dateTime", boost::posix_time::ptime(boost::gregorian::date(2021, 2, 3), boost::posix_time::seconds(4)));
  plain->set(u"uUID", uuidOf(0xAB));
  plain->set(u"money", Money{-3, u"EUR"});
  EXPECT_EQ(contentOf(plain),
            R"({"uUID":"00000000-0000-0000-0000-0000000000ab","dateTime":"2021-02-03T00:00:04.000000",)"
            R"("money":"-3 EUR"})");
}

TEST(JSONSerializer, WritesEnumsByLiteralAndOtherwiseByNumber) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->set(u"color", std::int64_t{-7});  // two literals share it: the first by name
  plain->set(u"requiredColor", std::int64_t{4294967296});
  plain->set(u"defaultColor", std::int64_t{99});
  EXPECT_EQ(contentOf(plain), R"({"color":"alsoBlue","requiredColor":"far","defaultColor":99})");
}

TEST(JSONSerializer, WritesCollectionsInTheirOrder) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  const auto addTo = [&](std::u16string_view name, const Value& value) {
    const Value live = plain->getPropertyValue(plain->property(name), ReflectionPrivateTag::PUBLIC_ACCESS);
    live.toPrimitiveCollection().addValue(value);
  };
  addTo(u"manyInteger", std::int32_t{2});
  addTo(u"manyInteger", std::int32_t{1});
  addTo(u"manyBoolean", true);
  addTo(u"manyBoolean", false);
  addTo(u"manyString", u"b");
  addTo(u"generic", std::int32_t{3});
  addTo(u"manyColor", Value(ValueMeta(color(), ValueFlags::Single), std::int64_t{1}));
  EXPECT_EQ(
      contentOf(plain),
      R"({"manyString":["b"],"manyInteger":[2,1],"manyBoolean":[true,false],"manyColor":["green"],"generic":[3]})");
}

TEST(JSONSerializer, KeepsTheOrderOfMaps) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  const Value live = plain->getPropertyValue(plain->property(u"map"), ReflectionPrivateTag::PUBLIC_ACCESS);
  for (const char16_t* key : {u"z", u"a", u""}) {
    live.toStringToStringMap().insert(key, u"v", CollisionResolution::Replace);
  }
  EXPECT_EQ(contentOf(plain), R"({"map":{"z":"v","a":"v","":"v"}})");
}

TEST(JSONSerializer, WritesDataValuesInside) {
  const Model model = emptyModel();
  const ModelElement lines = newElement(model, u"Lines", 1);
  ReflectiveDataType point(dataTypeNamed(u"Point"));
  point.set(u"x", std::int32_t{1});
  ReflectiveDataType inner(dataTypeNamed(u"Line"));
  ReflectiveDataType line(dataTypeNamed(u"Line"));
  const auto addTo = [](ReflectiveDataType& data, std::u16string_view name, const ReflectiveDataType& entry) {
    const Value live = data.getPropertyValue(data.getType()->getProperty(ustring(name)));
    live.toPrimitiveCollection().addValue(Value(entry));
  };
  addTo(line, u"points", point);
  addTo(line, u"inner", inner);
  line.set(u"target", newElement(model, u"Special", 2));
  lines->set(u"line", line);
  EXPECT_EQ(contentOf(lines),
            R"({"line":{"type":"jsontest.Line","content":{"points":[{"type":"jsontest.Point","content":{"x":1}}],)"
            R"("inner":[{"type":"jsontest.Line","content":null}],)"
            R"("target":{"type":"jsontest.Special","uuid":"00000000-0000-0000-0000-000000000002"}}}})");
}

TEST(JSONSerializer, NestsWhatIsContainedAndRefersToTheRest) {
  const Model model = emptyModel();
  const ModelElement parent = newElement(model, u"Node", 1);
  const ModelElement child = newElement(model, u"Special", 2);
  add(parent, u"children", child);
  parent->set(u"next", child);
  add(child, u"path", nullptr);
  add(child, u"path", parent);
  EXPECT_EQ(contentOf(parent),
            R"({"children":[{"type":"jsontest.Special","uuid":"00000000-0000-0000-0000-000000000002",)"
            R"("content":{"path":[null,{"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000001"}]}}],)"
            R"("next":{"type":"jsontest.Special","uuid":"00000000-0000-0000-0000-000000000002"}})");
}

TEST(JSONSerializer, WritesBothEndsOfAPair) {
  const Model model = emptyModel();
  const ModelElement left = newElement(model, u"Node", 1);
  const ModelElement right = newElement(model, u"Node", 2);
  left->set(u"right", right);
  EXPECT_EQ(contentOf(left), R"({"right":{"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000002"}})");
  EXPECT_THAT(written(model),
              HasSubstr(R"("left":{"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000001"})"));
}

TEST(JSONSerializer, LeavesOutOmittedPropertiesAndKeepsGuardedOnes) {
  const Model model = emptyModel();
  const ModelElement hidden = newElement(model, u"Hidden", 1);
  for (const char16_t* name : {u"derived", u"transient", u"guarded", u"readOnly"}) {
    hidden->set(hidden->property(name), std::int32_t{1}, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  EXPECT_EQ(contentOf(hidden), R"({"guarded":1,"readOnly":1})");
}

TEST(JSONSerializer, WritesChosenElementsOnceEach) {
  const Model model = emptyModel();
  const ModelElement parent = newElement(model, u"Node", 1);
  const ModelElement child = newElement(model, u"Node", 2);
  const ModelElement other = newElement(model, u"Node", 3);
  add(parent, u"children", child);
  const std::string parentText =
      R"({"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000001","content":{"children":[)"
      R"({"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000002","content":null}]}})";
  const std::string childReference = R"({"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000002"})";
  const std::string childText =
      R"({"type":"jsontest.Node","uuid":"00000000-0000-0000-0000-000000000002","content":null})";
  using Elements = std::vector<ModelElement>;
  EXPECT_EQ(entriesOf(written(Elements{child})), childText);
  EXPECT_EQ(entriesOf(written(Elements{child, parent})), childReference + "," + parentText);
  EXPECT_EQ(entriesOf(written(Elements{child, child})), childText + "," + childReference);
  EXPECT_EQ(entriesOf(written(Elements{nullptr, parent, child})), "null," + parentText + "," + childReference);
  EXPECT_EQ(entriesOf(written(Elements{})), "");
  EXPECT_EQ(read(written(Elements{child, parent, other}))->getElementCount(), 3U);
}

TEST(JSONSerializer, WritesALongChainOfChosenElementsInTimeThatGrowsWithIt) {
  const Model model = emptyModel();
  std::vector<ModelElement> chain = {newElement(model, u"Node", 1)};
  for (int i = 0; i < 30'000; ++i) {
    chain.push_back(classNamed(u"Node")->instantiate(model, {}));
    chain[chain.size() - 2]->set(u"only", chain.back());
  }
  EXPECT_EQ(read(written(chain))->getElementCount(), chain.size());
}

TEST(JSONSerializer, AppendsToTheStringAndAddsNothingWhenItFails) {
  std::string text = "before ";
  io::JSONSerializer serializer;
  serializer.serialize(emptyModel(), io::SerializationOutput::forUTF8String(text));
  EXPECT_EQ(text, R"(before {"version":"1.0","packageUris":[],"entries":[]})");
  const Model model = emptyModel();
  const ModelElement gone = newElement(model, u"Node", 1);
  gone->destroy();
  text = "before";
  const auto output = io::SerializationOutput::forUTF8String(text);
  EXPECT_THROW(serializer.serialize(std::vector{newElement(model, u"Node", 2), gone}, output), DestroyedElementError);
  EXPECT_THROW(serializer.serialize(std::vector<ModelElement>{classNamed(u"Node")}, output), KernelError);
  EXPECT_THROW(serializer.serialize(Model(), output), KernelError);
  EXPECT_EQ(text, "before");
}

TEST(JSONSerializer, GivesTheSameTextForTheSameContent) {
  const Model model = emptyModel();
  fillByChance(model, 3, 200);
  EXPECT_EQ(written(model), written(model));
  EXPECT_EQ(written(model, false), written(model, false));
}

}  // namespace
}  // namespace tarn::kern::jsontest
