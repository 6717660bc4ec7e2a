#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/io/ParseError.h>

#include "XmlTestSupport.h"
#include "support/TemporaryFolder.h"

/// What XMI documents of the field may look like.
namespace tarn::kern::xmltest {
namespace {

using bedrock::i18n::to_string;
using bedrock::i18n::utf8_to_ustring;
using testing::ElementsAre;
using testing::HasSubstr;

// --- Identity.

TEST(XmlParser, MakesUuidsFromIdsOrPlacesSoThatTwoReadingsAreEqual) {
  const std::string text = document("Node", "name=\"r\"", "<children name=\"a\"/><children xmi:id=\"x\" name=\"b\"/>");
  EXPECT_FALSE(firstDifference(read(text), read(text)));
  const Model model = read(text);
  EXPECT_EQ(model->getElementCount(), 3U);
  // The place of the first child does not depend on what follows, nor does an id on its place.
  const Model other = read(document("Node", "name=\"r\"", "<children xmi:id=\"x\" name=\"b\"/>"));
  const ModelElement byId = model->getAllElements(FindElementBehavior::Anywhere)[2];
  EXPECT_TRUE(other->findElement(byId->getUuid(), FindElementBehavior::Anywhere));
}

TEST(XmlParser, TakesUuidsAsTheyAreAndMakesOneOfOtherText) {
  const Model model = read(document("Node", "xmi:uuid=\"00000000-0000-0000-0000-000000000001\""));
  EXPECT_TRUE(elementOf(model, 1));
  const Model odd = read(document("Node", "xmi:uuid=\"not-a-uuid\""));
  EXPECT_FALSE(rootOf(odd)->getUuid().is_nil());
}

TEST(XmlParser, FindsTheUuidInAnIdOfOurForm) {
  const Model model = read(document("Node", "xmi:id=\"_00000000-0000-0000-0000-000000000001\""));
  EXPECT_TRUE(elementOf(model, 1));
}

TEST(XmlParser, RefusesAnIdentityThatIsGivenTwice) {
  EXPECT_THAT(errorOf(document("Node", "xmi:id=\"x\" xmi:uuid=\"00000000-0000-0000-0000-000000000001\"",
                               "<children xmi:id=\"x\" xmi:uuid=\"00000000-0000-0000-0000-000000000002\"/>")),
              HasSubstr("the xmi:id \"x\" is given to two elements"));
  EXPECT_THAT(errorOf(document("Node", "xmi:uuid=\"00000000-0000-0000-0000-000000000001\"",
                               "<children xmi:uuid=\"00000000-0000-0000-0000-000000000001\"/>")),
              HasSubstr("00000000-0000-0000-0000-000000000001"));
}

// --- References.

std::string withReference(const std::string& reference) {
  return document("Node", "name=\"r\" xmi:id=\"root\"",
                  "<children name=\"a\"><children name=\"aa\"/><only name=\"only\"/></children>"
                  "<children name=\"b\" xmi:id=\"id of b\"/>"
                  "<children name=\"c\" xmi:id=\"c\" next=\"" +
                      reference + "\"/>");
}

std::string targetOfReference(const std::string& reference) {
  const Model model = read(withReference(reference));
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    if (nameOf(element) == "c") return targetOf(element, u"next");
  }
  return "no c";
}

TEST(XmlParser, UnderstandsEveryFormOfReference) {
  EXPECT_EQ(targetOfReference("c"), "c");
  EXPECT_EQ(targetOfReference("#c"), "c");
  EXPECT_EQ(targetOfReference("/"), "r");
  EXPECT_EQ(targetOfReference("#/"), "r");
  EXPECT_EQ(targetOfReference("//@children.1"), "b");
  EXPECT_EQ(targetOfReference("#//@children.0/@children.0"), "aa");
  EXPECT_EQ(targetOfReference("//@children.0/@only"), "only");
  EXPECT_EQ(targetOfReference("/0/@children.1"), "b");
  EXPECT_EQ(targetOfReference("//a/aa"), "aa");
  EXPECT_EQ(targetOfReference("/a/aa"), "aa");
  EXPECT_EQ(targetOfReference("#//a"), "a");
  EXPECT_EQ(targetOfReference("//@children[name='b']"), "b");
  EXPECT_EQ(targetOfReference("j:Node #//a"), "a");
  EXPECT_EQ(targetOfReference(""), "-");
}

TEST(XmlParser, FindsTargetsInAnyRoot) {
  const Model model =
      read(documentOf("<j:Node name=\"x\" next=\"/1\"/><j:Node name=\"y\" next=\"#/0\"><children name=\"yy\"/></j:Node>"
                      "<j:Node name=\"z\" next=\"/1/@children.0\"/>"));
  EXPECT_EQ(model->getTopLevelElements().size(), 3U);
  EXPECT_EQ(targetOf(rootOf(model), u"next"), "y");
  EXPECT_EQ(targetOf(model->getTopLevelElements()[1], u"next"), "x");
  EXPECT_EQ(targetOf(model->getTopLevelElements()[2], u"next"), "yy");
}

TEST(XmlParser, TakesReferencesAsElementsToo) {
  const Model model = read(document(
      "Node", "name=\"r\" xmi:id=\"r\"",
      "<children name=\"a\" xmi:id=\"a\"/><children name=\"b\" xmi:id=\"b\"/>"
      "<others href=\"#b\"/><others xsi:type=\"j:Node\" href=\"#a\"/><others xmi:idref=\"r\"/><next>a</next>"));
  EXPECT_THAT(targetsOf(rootOf(model), u"others"), ElementsAre("b", "a", "r"));
  EXPECT_EQ(targetOf(rootOf(model), u"next"), "a");
}

TEST(XmlParser, KeepsTheListedOrderOfBothEndsOfAPair) {
  const Model model = read(document("Node", "name=\"r\" xmi:id=\"r\" owned=\"c b a\"",
                                    "<children name=\"a\" xmi:id=\"a\" owner=\"r\"/>"
                                    "<children name=\"b\" xmi:id=\"b\" owner=\"r\"/>"
                                    "<children name=\"c\" xmi:id=\"c\" owner=\"r\"/>"));
  EXPECT_THAT(targetsOf(rootOf(model), u"owned"), ElementsAre("c", "b", "a"));
  EXPECT_THAT(targetsOf(rootOf(model), u"children"), ElementsAre("a", "b", "c"));
}

TEST(XmlParser, NamesAReferenceThatLeadsNowhere) {
  EXPECT_THAT(errorOf(withReference("nobody")), HasSubstr("XML text:2:"));
  EXPECT_THAT(errorOf(withReference("nobody")),
              HasSubstr("\"next\" refers to \"nobody\", but the document has no such element"));
  for (const char* path : {"//@children.9", "//@nothing.0", "/7", "//@children.0/@only/@only", "//zzz", "//@children.x",
                           "//@children[name='zzz']", "//@children[", "//", "/0/", "///"}) {
    EXPECT_THAT(errorOf(withReference(path)), HasSubstr("has no such element")) << path;
  }
}

TEST(XmlParser, LeavesOutWhatRefersToADocumentThatIsNotThere) {
  const jsontest::CapturedLog log;
  EXPECT_EQ(targetOfReference("nowhere.xmi#//@children.0"), "-");
  EXPECT_EQ(targetOfReference("http://example.org/model.xmi#x"), "-");
  EXPECT_THAT(log.text(), HasSubstr("\"nowhere.xmi#//@children.0\""));
  EXPECT_EQ(targetOfReference("urn:uuid:00000000-0000-0000-0000-000000000099"), "-");
}

TEST(XmlParser, ReadsTheDocumentsThatOneRefersToOnce) {
  const testsupport::TemporaryFolder folder;
  const auto save = [&](const std::string& name, const std::string& text) {
    std::filesystem::create_directories((folder.path() / name).parent_path());
    std::ofstream(folder.path() / name, std::ios::binary) << text;
  };
  save("main.xmi", document("Node", "name=\"main\"",
                            "<children name=\"a\" next=\"inner/other.xmi#o1\"/>"
                            "<children name=\"b\" next=\"j:Node inner/other%2Exmi#//@children.0\"/>"
                            "<next href=\"mapped:/x.xmi#/\"/>"));
  save("inner/other.xmi",
       document("Node", "name=\"other\" xmi:id=\"o\" next=\"../main.xmi#/\"", "<children name=\"o1\" xmi:id=\"o1\"/>"));

  save("mapped.xmi", document("Node", "name=\"mapped\""));
  io::XmlParser parser;
  const Model model = emptyModel();
  parser.setModel(model);
  parser.mapUri(u"mapped:/x.xmi", utf8_to_ustring((folder.path() / "mapped.xmi").string()));
  parser.parseFile(utf8_to_ustring((folder.path() / "main.xmi").string()));
  const std::vector<ModelElement> roots = model->getTopLevelElements();
  ASSERT_EQ(roots.size(), 3U);
  EXPECT_EQ(targetOf(roots[0], u"next"), "mapped");
  EXPECT_EQ(model->getElementCount(), 6U);
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    if (nameOf(element) == "a" || nameOf(element) == "b") {
      EXPECT_EQ(targetOf(element, u"next"), "o1");
    } else if (nameOf(element) == "other") {
      EXPECT_EQ(targetOf(element, u"next"), "main");
    }
  }
}

TEST(XmlParser, NamesAFileThatCannotBeRead) {
  io::XmlParser parser;
  parser.setModel(emptyModel());
  try {
    parser.parseFile(u"/does/not/exist.xmi");
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_THAT(error.what(), HasSubstr("/does/not/exist.xmi: the file cannot be opened"));
  }
}

// --- Shapes.

TEST(XmlParser, TakesAttributesAsElements) {
  const Model model = read(document("Node", "", "<name>a &lt;b&gt;\n c</name><count> 12 </count>"));
  EXPECT_EQ(nameOf(rootOf(model)), "a <b>\n c");
  EXPECT_EQ(rootOf(model)->get<std::int32_t>(u"count"), 12);
}

TEST(XmlParser, TakesTypesFromXsiAndFromXmi) {
  const Model model =
      read(document("Node", "", "<children xsi:type=\"j:Special\"/><children xmi:type=\"j:Special\"/>"));
  for (const ModelElement& child : rootOf(model)->contents()) {
    EXPECT_EQ(to_string(child->getMetaClass()->getName()), "Special");
  }
  EXPECT_EQ(rootOf(model)->contents().size(), 2U);
}

TEST(XmlParser, TakesNilAsAbsent) {
  const Model model = read(document("Plain", "", "<defaultString xsi:nil=\"true\"/><string xsi:nil=\"1\"/>"));
  EXPECT_FALSE(rootOf(model)->getOptional<ustring>(rootOf(model)->property(u"defaultString")));
  const Model withGap = read(document("Node", "", "<only xsi:nil=\"true\"/><next xsi:nil=\"true\"/>"));
  EXPECT_EQ(withGap->getElementCount(), 1U);
}

TEST(XmlParser, UnderstandsDefaultNamespacesAndOtherPrefixes) {
  const std::string text =
      "<Node xmlns=\"urn:jsontest\" xmlns:x=\"http://www.omg.org/spec/XMI/20131001\" x:version=\"2.0\" name=\"r\">"
      "<children xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" i:type=\"Special\" x:id=\"c\" name=\"c\"/>"
      "<p:children xmlns:p=\"urn:jsontest\" name=\"d\"/></Node>";
  const Model model = read(text);
  EXPECT_THAT(targetsOf(rootOf(model), u"children"), ElementsAre("c", "d"));
}

TEST(XmlParser, IgnoresWhatOtherToolsNoteDown) {
  const Model model =
      read(documentOf("<xmi:Documentation exporter=\"x\"><a>b</a></xmi:Documentation>"
                      "<j:Node name=\"r\" xml:space=\"preserve\" xsi:schemaLocation=\"a b\">"
                      "<xmi:Extension><x y=\"z\"/>text</xmi:Extension></j:Node>"));
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(XmlParser, ReadsMapsCollectionsAndDataValues) {
  const Model model =
      read(document("Plain", "manyInteger=\"1 +2\n-3\"",
                    "<map key=\"a\" value=\"1\"/><map><value>2</value><key>b</key></map><map key=\"a\" value=\"3\"/>"
                    "<manyString/><manyString> x </manyString><point x=\"1\" y=\"2\"><label>l</label></point>"
                    "<manyPoint x=\"3\" y=\"4\"/><manyPoint x=\"5\" y=\"6\"/>"));
  const ModelElement root = rootOf(model);
  EXPECT_EQ(root->get<StringToStringMap>(u"map"), (StringToStringMap{{u"a", u"3"}, {u"b", u"2"}}));
  EXPECT_EQ(root->peekCollection<std::int32_t>(root->property(u"manyInteger")), (std::vector<std::int32_t>{1, 2, -3}));
  EXPECT_EQ(root->peekCollection<ustring>(root->property(u"manyString")), (std::vector<ustring>{u"", u" x "}));
  EXPECT_EQ(root->get<ReflectiveDataType>(u"point").get<ustring>(u"label"), u"l");
  EXPECT_EQ(root->getPropertyValue(root->property(u"manyPoint"), ReflectionPrivateTag::PUBLIC_ACCESS)
                .toPrimitiveCollection()
                .size(),
            2U);
}

TEST(XmlParser, ReadsReferencesInsideDataValues) {
  const Model model =
      read(documentOf("<j:Lines xmi:id=\"l\"><line name=\"n\" target=\"n\">"
                      "<inner><targets href=\"#n\"/><targets href=\"#m\"/></inner></line></j:Lines>"
                      "<j:Node name=\"n\" xmi:id=\"n\"/><j:Node name=\"m\" xmi:id=\"m\"/>"));
  const auto line = rootOf(model)->get<ReflectiveDataType>(u"line");
  EXPECT_EQ(nameOf(line.get<ModelElement>(u"target")), "n");
}

TEST(XmlParser, UnderstandsTheSpellingsOfOtherTools) {
  const Model model =
      read(document("Plain", "boolean=\"1\" real=\"INF\" integer=\" +7 \" color=\"-7\" money=\"12 EUR\""));
  const ModelElement root = rootOf(model);
  EXPECT_TRUE(root->get<bool>(u"boolean"));
  EXPECT_EQ(root->get<double>(u"real"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(root->get<std::int32_t>(u"integer"), 7);
  EXPECT_EQ(root->get<std::int64_t>(u"color"), -7);
}

TEST(XmlParser, LeavesOmittedPropertiesOutAndTakesTheWayBackFromTheNesting) {
  const Model hidden = read(document("Hidden", "derived=\"1\" transient=\"2\" guarded=\"3\" readOnly=\"4\""));
  EXPECT_FALSE(rootOf(hidden)->getOptional<std::int32_t>(rootOf(hidden)->property(u"derived")));
  EXPECT_EQ(rootOf(hidden)->get<std::int32_t>(u"readOnly"), 4);
  const Model tree = read(document("Node", "name=\"r\"", "<children parent=\"//@children.5\"/>"));
  EXPECT_EQ(targetOf(rootOf(tree)->contents()[0], u"parent"), "r");
}

// --- Encodings.

std::string asUtf16(const std::string& utf8, bool isBigEndian) {
  std::string bytes = isBigEndian ? "\xFE\xFF" : "\xFF\xFE";
  for (const char16_t unit : utf8_to_ustring(utf8)) {
    const auto high = static_cast<char>(static_cast<unsigned>(unit) >> 8U);
    const auto low = static_cast<char>(unit & 0xFF);
    bytes += isBigEndian ? high : low;
    bytes += isBigEndian ? low : high;
  }
  return bytes;
}

TEST(XmlParser, UnderstandsTheUsualEncodings) {
  const std::string body = "<j:Node" + kDeclarations + " name=\"\xC3\xA4\xE2\x82\xAC\"/>";
  const auto name = [](const std::string& text) { return nameOf(rootOf(read(text))); };
  EXPECT_EQ(name(body), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(name("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>" + body), "\xC3\xA4\xE2\x82\xAC");
  const std::string declared = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + body;
  EXPECT_EQ(name(asUtf16(declared, true)), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(name(asUtf16(declared, false)), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(name("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><j:Node" + kDeclarations + " name=\"\xE4\"/>"),
            "\xC3\xA4");
  EXPECT_THAT(errorOf("<?xml version=\"1.0\" encoding=\"EBCDIC\"?>" + body), HasSubstr("UTF-8, UTF-16 or ISO-8859-1"));
  EXPECT_THAT(errorOf("<j:Node" + kDeclarations + " name=\"\xE4\"/>"), HasSubstr("no well-formed XML"));
}

// --- Faults.

TEST(XmlParser, SaysWhereAndWhatIsWrong) {
  EXPECT_THAT(errorOf(document("Node", "naem=\"x\"")),
              HasSubstr("XML text:2:1, at /: \"jsontest.Node\" has no property \"naem\"; did you mean \"name\"?"));
  EXPECT_THAT(
      errorOf(document("Node", "", "\n  <children><chidlren/></children>")),
      HasSubstr("XML text:3:13, at //@children.0: \"jsontest.Node\" has no property \"chidlren\"; did you mean"));
  EXPECT_THAT(errorOf(document("Nod", "")), HasSubstr("has no class \"Nod\"; did you mean \"Node\"?"));
  EXPECT_THAT(errorOf(document("Node", "count=\"many\"")),
              HasSubstr("expected a value of the type \"Integer\", found \"many\""));
  EXPECT_THAT(errorOf(document("Node", "count=\"99999999999\"")), HasSubstr("found \"99999999999\""));
  EXPECT_THAT(errorOf(document("Plain", "color=\"gren\"")),
              HasSubstr("expected a literal of the enum \"jsontest.Color\", found \"gren\"; did you mean \"green\"?"));
  EXPECT_THAT(errorOf(document("Plain", "money=\"cheap\"")), HasSubstr("jsontest.Money"));
  EXPECT_THAT(errorOf(document("Node", "", "<children xsi:type=\"j:Stranger\"/>")), HasSubstr("Stranger"));
  EXPECT_THAT(errorOf(document("Node", "", "<children xsi:type=\"j:Point\"/>")), HasSubstr("is no class"));
  EXPECT_THAT(errorOf(document("Shape", "")), HasSubstr("abstract"));
  EXPECT_THAT(errorOf(document("Point", "")), HasSubstr("only elements can be roots"));
  EXPECT_THAT(errorOf(document("Node", "", "text")), HasSubstr("text stands where elements are expected: \"text\""));
  EXPECT_THAT(errorOf(document("Node", "", "<only/><only/>")), HasSubstr("\"only\" holds one element, but several"));
  EXPECT_THAT(errorOf(document("Node", "xmi:id=\"a\" next=\"a a\"")), HasSubstr("refers to one element, but several"));
  EXPECT_THAT(errorOf(document("Node", "", "<next name=\"x\"/>")), HasSubstr("expected href or xmi:idref"));
  EXPECT_THAT(errorOf(document("Node", "", "<next/>")), HasSubstr("expected href or xmi:idref"));
  EXPECT_THAT(errorOf(document("Node", "", "<name><b/></name>")), HasSubstr("stands inside a plain value"));
  EXPECT_THAT(errorOf(document("Plain", "map=\"x\"")), HasSubstr("expected a child element, found an attribute"));
  EXPECT_THAT(errorOf(document("Plain", "", "<map kez=\"x\"/>")), HasSubstr("no \"kez\""));
  EXPECT_THAT(errorOf(document("Plain", "", "<point x=\"1\"/><point x=\"2\"/>")),
              HasSubstr("holds one value, but several"));
  EXPECT_THAT(errorOf(document("Plain", "", "<point z=\"1\"/>")),
              HasSubstr("\"jsontest.Point\" has no property \"z\""));
  EXPECT_THAT(errorOf(document("Node", "y:id=\"1\"")), HasSubstr("prefix \"y\""));
  EXPECT_THAT(errorOf("<Node/>"), HasSubstr("no default namespace"));
  EXPECT_THAT(errorOf("<y:Node/>"), HasSubstr("the prefix \"y\" is not declared"));
  EXPECT_THAT(
      errorOf("<a:Node xmlns:a=\"urn:jsontes\"/>"),
      HasSubstr("no package with the URI \"urn:jsontes\" is registered: load its meta-model first; did you mean "
                "\"urn:jsontest\"?"));
}

TEST(XmlParser, CallsTheTextByItsName) {
  io::XmlParser parser;
  parser.setModel(emptyModel());
  parser.getCustomizer()->setSourceName("plan.xmi");
  try {
    parser.parseString("<x>");
    FAIL();
  } catch (const io::ParseError& error) {
    EXPECT_EQ(error.sourceName(), "plan.xmi");
    EXPECT_EQ(error.line(), 1U);
  }
}

TEST(XmlParser, LeavesTheModelAsItWasWhenItRefusesAText) {
  const Model model = emptyModel();
  newElement(model, u"Node", 1);
  Transaction outer = model->beginTransaction(false);
  EXPECT_THROW(readInto(model, document("Node", "", "<children/><children/><nothing/>")), io::ParseError);
  EXPECT_EQ(model->getElementCount(), 1U);
  EXPECT_EQ(model->getTransactionDepth(), 1U);
  readInto(model, document("Node", "", "<children/>"));
  EXPECT_EQ(model->getElementCount(), 3U);
  outer.rollBack();
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(XmlParser, NeedsAModel) { EXPECT_THROW(io::XmlParser().parseString("<x/>"), KernelError); }

}  // namespace
}  // namespace tarn::kern::xmltest
