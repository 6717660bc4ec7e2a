#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "XmlTestSupport.h"

/// What is written, byte for byte where it matters, and that all of it comes back.
namespace tarn::kern::xmltest {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<j:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:j=\"urn:jsontest\"";

std::string withPrefix(std::string text) {
  for (const auto& [from, to] : {std::pair("jsontest:", "j:"), std::pair("xmlns:jsontest", "xmlns:j")}) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
      text.replace(at, std::string(from).size(), to);
    }
  }
  return text;
}

void expectEqual(const Model& left, const Model& right) {
  const auto difference = firstDifference(left, right);
  EXPECT_FALSE(difference) << difference->text();
}

/// Text that JSON escapes, since it is hard to spell, becomes plain: XML would refuse some of it.
std::string withoutEscapes(const std::string& json) {
  std::string plain;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const bool isEscape = json[i] == '\\' && i + 1 < json.size();
    if (isEscape && json[i + 1] == 'u') {
      plain += 'u';
      ++i;
    } else if (isEscape) {
      plain += json.substr(i++, 2);
    } else {
      plain += json[i];
    }
  }
  for (const char* hard : {"\xEF\xBF\xBE", "\xEF\xBF\xBF", "\\b", "\\f"}) {
    for (std::size_t at = plain.find(hard); at != std::string::npos; at = plain.find(hard, at)) {
      plain.replace(at, std::string(hard).size(), std::string(hard)[0] == '\\' ? "?" : "FFFE");
    }
  }
  return plain;
}

TEST(XmlSerializer, WritesOneRootWithItsContentByteForByte) {
  const Model model = emptyModel();
  const ModelElement root = newElement(model, u"Node", 1);
  root->set<ustring>(u"name", u"a & <b> \"c\"\n\t\r");
  root->set<std::int32_t>(u"count", 6);
  const ModelElement child = newElement(model, u"Special", 2);
  child->set<ustring>(u"name", u"child");
  child->set<ModelElement>(u"next", root);
  add(root, u"children", child);
  EXPECT_EQ(withPrefix(written(model)),
            std::string(kHead) +
                " xmi:uuid=\"00000000-0000-0000-0000-000000000001\" xmi:id=\"_00000000-0000-0000-0000-000000000001\""
                " name=\"a &amp; &lt;b> &quot;c&quot;&#10;&#9;&#13;\" count=\"6\">\n"
                "  <children xsi:type=\"j:Special\" xmi:uuid=\"00000000-0000-0000-0000-000000000002\""
                " xmi:id=\"_00000000-0000-0000-0000-000000000002\" name=\"child\""
                " next=\"_00000000-0000-0000-0000-000000000001\"/>\n"
                "</j:Node>\n");
}

TEST(XmlSerializer, WritesAnEmptyModelAsAnEmptyDocument) {
  EXPECT_EQ(written(emptyModel()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xmi:XMI xmi:version=\"2.0\" "
            "xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"/>\n");
  EXPECT_EQ(read(written(emptyModel()))->getElementCount(), 0U);
}

TEST(XmlSerializer, WritesSeveralRootsInsideXmi) {
  const Model model = emptyModel();
  newElement(model, u"Node", 1);
  newElement(model, u"Stranger", 2);
  const std::string text = withPrefix(written(model));
  EXPECT_THAT(text, HasSubstr("\n  <j:Node xmi:uuid=\"00000000-0000-0000-0000-000000000001\""));
  EXPECT_THAT(text, HasSubstr("\n  <j:Stranger xmi:uuid=\"00000000-0000-0000-0000-000000000002\""));
  EXPECT_THAT(text, HasSubstr("</xmi:XMI>\n"));
  expectEqual(model, read(text));
}

TEST(XmlSerializer, LeavesDefaultsOutOnlyWhenAsked) {
  const Model model = emptyModel();
  newElement(model, u"Node", 1);
  EXPECT_THAT(written(model, true), Not(HasSubstr("count")));
  EXPECT_THAT(written(model, false), HasSubstr(" count=\"5\""));
}

TEST(XmlSerializer, SaysThatAValueIsAbsentWhereADefaultWouldShow) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  plain->unset(plain->property(u"defaultString"));
  const std::string text = written(model);
  EXPECT_THAT(text, HasSubstr("<defaultString xsi:nil=\"true\"/>"));
  EXPECT_FALSE(rootOf(read(text))->getOptional<ustring>(plain->property(u"defaultString")));
  expectEqual(model, read(text));
}

TEST(XmlSerializer, NamesATargetOutsideItsElementsByUuid) {
  const Model model = emptyModel();
  const ModelElement inside = newElement(model, u"Node", 1);
  const ModelElement outside = newElement(model, u"Node", 2);
  inside->set<ModelElement>(u"next", outside);
  const std::string text = written(std::vector<ModelElement>{inside});
  EXPECT_THAT(text, HasSubstr("<next href=\"urn:uuid:00000000-0000-0000-0000-000000000002\"/>"));
  const Model other = emptyModel();
  newElement(other, u"Node", 2);
  readInto(other, text);
  EXPECT_EQ(elementOf(other, 1)->get<ModelElement>(u"next"), elementOf(other, 2));
}

TEST(XmlSerializer, WritesAnElementInsideAnotherOneOnce) {
  const Model model = emptyModel();
  const ModelElement root = newElement(model, u"Node", 1);
  const ModelElement child = newElement(model, u"Node", 2);
  add(root, u"children", child);
  const std::string text = written(std::vector<ModelElement>{child, root, root});
  expectEqual(model, read(text));
}

TEST(XmlSerializer, KeepsGapsInCollections) {
  const Model model = emptyModel();
  const ModelElement root = newElement(model, u"Node", 1);
  add(root, u"path", root);
  add(root, u"path", nullptr);
  add(root, u"path", root);
  const std::string text = written(model);
  EXPECT_THAT(text, HasSubstr("<path xsi:nil=\"true\"/>"));
  expectEqual(model, read(text));
}

TEST(XmlSerializer, NamesWhatXmlCannotCarry) {
  const auto refusalOf = [](const char16_t* property, const ustring& text) {
    const Model model = emptyModel();
    newElement(model, u"Plain", 1)->set<ustring>(property, text);
    try {
      static_cast<void>(written(model));
    } catch (const io::XmlWriteError& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_THAT(refusalOf(u"string", ustring(u"a\u0001b")),
              HasSubstr("property \"string\": XML cannot carry the text: U+0001"));
  EXPECT_THAT(refusalOf(u"string", ustring(u"a\u0001b")), HasSubstr("00000000-0000-0000-0000-000000000001"));
  EXPECT_THAT(refusalOf(u"string", ustring(1, u'\0')), HasSubstr("U+0000"));
  EXPECT_THAT(refusalOf(u"string", ustring(1, char16_t{0xD800})), HasSubstr("U+D800"));
  EXPECT_THAT(refusalOf(u"string", ustring(1, char16_t{0xDC00})), HasSubstr("U+DC00"));
  EXPECT_THAT(refusalOf(u"string", ustring(1, char16_t{0xFFFE})), HasSubstr("U+FFFE"));
  EXPECT_THAT(refusalOf(u"string", ustring(1, char16_t{0xFFFF})), HasSubstr("U+FFFF"));
  EXPECT_EQ(refusalOf(u"string", u"\u00e4\u20ac\U0001F600\n\t\r"), "no error");
}

TEST(XmlSerializer, RefusesBytesThatAreNoUtf8) {
  const Model model = emptyModel();
  newElement(model, u"Plain", 1)->set<std::string>(u"stdString", "a\xFF");
  std::string text = "kept";
  io::XmlSerializer serializer;
  EXPECT_THROW(serializer.serialize(model, io::SerializationOutput::forUTF8String(text)), io::XmlWriteError);
  EXPECT_EQ(text, "kept");
}

TEST(XmlSerializer, KeepsRealsToTheLastBit) {
  const Model model = emptyModel();
  const ModelElement plain = newElement(model, u"Plain", 1);
  const Value live = plain->getPropertyValue(plain->property(u"manyReal"), ReflectionPrivateTag::PRIVILEGED_ACCESS);
  for (const double number :
       {0.1, -0.0, 5e-324, 1.7976931348623157e308, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(), 1.0 / 3}) {
    live.toPrimitiveCollection().addValue(Value(number));
  }
  const std::string text = written(model);
  EXPECT_THAT(text, HasSubstr("<manyReal>-Infinity</manyReal>"));
  expectEqual(model, read(text));
}

TEST(XmlSerializer, TellsOtherToolsWhereTheMetaModelLies) {
  const Model model = emptyModel();
  newElement(model, u"Node", 1);
  io::XmlSerializer serializer;
  serializer.setSchemaLocation(u"urn:jsontest", u"test.ecore");
  serializer.setSchemaLocation(u"urn:other", u"other.ecore");
  std::string text;
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  EXPECT_THAT(text, HasSubstr(" xsi:schemaLocation=\"urn:jsontest test.ecore\""));
  expectEqual(model, read(text));
}

TEST(XmlSerializer, SpellsNamesThatXmlHasNoNamesFor) {
  meta::PackageBuilder package(u"odd names");
  package.uri(u"urn:odd");
  auto& odd = package.addClass(u"1st class");
  odd.attribute(u"a b", meta::StandardTypes::stringMeta);
  odd.attribute(u"xmlns", meta::StandardTypes::stringMeta);
  odd.attribute(u"_x0041_", meta::StandardTypes::stringMeta);
  odd.composite(u"part\u00e9", odd).many();
  const meta::Class type = narrow<meta::Class>(package.registerPackage()->getTypes().begin()->second);
  const Model model = Model::create(ModelSpec());
  const ModelElement root = type->instantiate(model, uuidOf(1));
  root->set<ustring>(u"a b", u"1");
  root->set<ustring>(u"xmlns", u"2");
  root->set<ustring>(u"_x0041_", u"3");
  add(root, u"part\u00e9", type->instantiate(model, uuidOf(2)));
  const std::string text = written(model);
  EXPECT_THAT(text, HasSubstr("<odd_x0020_names:_x0031_st_x0020_class"));
  EXPECT_THAT(text, HasSubstr(" a_x0020_b=\"1\""));
  expectEqual(model, read(text));
}

TEST(XmlRoundTrip, KeepsModelsDrawnByChance) {
  std::size_t tried = 0;
  for (std::uint32_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE(seed);
    const Model any = emptyModel();
    jsontest::fillByChance(any, seed, seed);
    const Model model = jsontest::read(withoutEscapes(jsontest::written(any)));
    ++tried;
    for (const bool skipsDefaults : {true, false}) {
      const std::string text = written(model, skipsDefaults);
      const Model again = read(text);
      expectEqual(model, again);
      ASSERT_TRUE(written(again, skipsDefaults) == text);
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_EQ(tried, 80U);
}

TEST(XmlRoundTrip, EndsInTheSameBytesByWayOfOtherFormats) {
  const Model any = emptyModel();
  jsontest::fillByChance(any, 4711, 60);
  const Model model = jsontest::read(withoutEscapes(jsontest::written(any)));
  const std::string text = written(model);
  const std::string json = jsontest::written(model);
  const Model byXmlAndJson = jsontest::read(jsontest::written(read(text)));
  EXPECT_TRUE(written(byXmlAndJson) == text);
  const Model byJsonAndXml = read(written(jsontest::read(json)));
  EXPECT_TRUE(jsontest::written(byJsonAndXml) == json);
}

}  // namespace
}  // namespace tarn::kern::xmltest
