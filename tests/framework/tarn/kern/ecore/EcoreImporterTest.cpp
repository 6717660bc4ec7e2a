#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "PackageText.h"
#include "support/TemporaryFolder.h"

/// What Ecore documents may say, and that it comes back when they are written.
namespace tarn::kern::ecore {
namespace {

using bedrock::i18n::to_string;
using bedrock::i18n::utf8_to_ustring;
using ecore_tests::packageText;
using meta::MetaRegistry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string kDeclarations =
    R"( xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore")";

std::string document(const std::string& content, const std::string& name = "p") {
  return "<?xml version=\"1.0\"?>\n<ecore:EPackage" + kDeclarations + " name=\"" + name +
         "\" nsURI=\"urn:test:" + name + "\" nsPrefix=\"" + name + "\">\n" + content + "\n</ecore:EPackage>";
}

std::string type(const char* name) {
  return "eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//" + std::string(name) + "\"";
}

std::string classText(const std::string& name, const std::string& features, const std::string& attributes = {}) {
  return "<eClassifiers xsi:type=\"ecore:EClass\" name=\"" + name + "\" " + attributes + ">" + features +
         "</eClassifiers>\n";
}
std::string attributeText(const std::string& name, const std::string& rest, const std::string& content = {}) {
  return "<eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + name + "\" " + rest + ">" + content +
         "</eStructuralFeatures>";
}
std::string referenceText(const std::string& name, const std::string& rest, const std::string& content = {}) {
  return "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"" + name + "\" " + rest + ">" + content +
         "</eStructuralFeatures>";
}

/// Begins and ends with a registry that knows the kernel's own types only.
class Ecore : public testing::Test {
 protected:
  Ecore() { MetaRegistry::getInstance()->reset(); }
  ~Ecore() override { MetaRegistry::getInstance()->reset(); }

  meta::Package import(const std::string& text) {
    EcoreImporter importer;
    const meta::Package package = importer.importText(text).front();
    fWarnings = importer.warnings();
    return package;
  }

  /// Imports, and holds what is written, read and written again to the same content.
  meta::Package importAndReturn(const std::string& text) {
    const meta::Package package = import(text);
    const std::string written = EcoreExporter().toText(package);
    MetaRegistry::getInstance()->reset();
    const meta::Package again = EcoreImporter().importText(written).front();
    EXPECT_EQ(packageText(package), packageText(again)) << written;
    EXPECT_EQ(EcoreExporter().toText(again), written);
    return again;
  }

  static std::string errorOf(const std::string& text) {
    try {
      EcoreImporter().importText(text, "bad.ecore");
    } catch (const EcoreError& error) {
      EXPECT_TRUE(MetaRegistry::getInstance()->getPackages().empty());
      return error.what();
    }
    return "no error";
  }

  static meta::Class classOf(const meta::Package& package, const char16_t* name) {
    const auto at = package->getTypes().find(name);
    return at == package->getTypes().end() ? meta::Class() : narrow<meta::Class>(at->second);
  }
  static std::string typeOf(const meta::Package& package, const char16_t* owner, const char16_t* property) {
    return to_string(classOf(package, owner)->getProperty(property)->getType()->getQualifiedName());
  }

  std::vector<std::string> fWarnings;
};

TEST_F(Ecore, ReadsPackagesInsidePackages) {
  const meta::Package package =
      importAndReturn(document("<eSubpackages name=\"inner\" nsURI=\"urn:test:inner\" nsPrefix=\"i\">" +
                               classText("A", referenceText("b", "eType=\"#//B\"")) + "</eSubpackages>" +
                               classText("B", referenceText("a", "eType=\"#//inner/A\""))));
  ASSERT_EQ(package->getPackages().size(), 1U);
  EXPECT_EQ(to_string(package->getPackages()[0]->getUri()), "urn:test:inner");
  EXPECT_EQ(typeOf(package, u"B", u"a"), "p.inner.A");
  EXPECT_EQ(typeOf(package->getPackages()[0], u"A", u"b"), "p.B");
}

TEST_F(Ecore, ReadsSeveralRoots) {
  const std::string text =
      "<xmi:XMI" + kDeclarations + "><ecore:EPackage name=\"one\">" +
      classText("A", referenceText("b", "eType=\"/1/B\"") + attributeText("t", "eType=\"#/1/Text\"")) +
      "</ecore:EPackage><ecore:EPackage name=\"two\" nsURI=\"urn:two\">" + classText("B", "") +
      "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"Text\" instanceClassName=\"java.lang.String\"/>"
      "</ecore:EPackage></xmi:XMI>";
  EcoreImporter importer;
  const std::vector<meta::Package> packages = importer.importText(text);
  ASSERT_EQ(packages.size(), 2U);
  EXPECT_EQ(to_string(packages[0]->getUri()), "urn:one");
  EXPECT_EQ(typeOf(packages[0], u"A", u"b"), "two.B");
  const std::string written = EcoreExporter().toText(packages);
  EXPECT_THAT(written, HasSubstr("eType=\"#/1/B\""));
  EXPECT_THAT(written, HasSubstr("eType=\"#/1/Text\""));
  MetaRegistry::getInstance()->reset();
  const std::vector<meta::Package> again = EcoreImporter().importText(written);
  EXPECT_EQ(packageText(packages[0]) + packageText(packages[1]), packageText(again[0]) + packageText(again[1]));
}

TEST_F(Ecore, ReadsBoundsAndFlags) {
  const meta::Package package = importAndReturn(document(classText(
      "A",
      attributeText("one", type("EInt") + " lowerBound=\"1\"") +
          attributeText("many", type("EString") + " upperBound=\"-1\"") +
          attributeText("bag", type("EString") + " upperBound=\"-1\" unique=\"false\" ordered=\"false\"") +
          attributeText("some", type("EString") + " lowerBound=\"2\" upperBound=\"5\"") +
          attributeText("any", type("EString") + " upperBound=\"-2\"") +
          attributeText("fixed", type("EString") + " changeable=\"false\" unsettable=\"true\" iD=\"true\"") +
          attributeText("derived", type("EString") + " derived=\"true\" volatile=\"true\" transient=\"true\"") +
          attributeText("held", type("EString") + " transient=\"true\"") +
          attributeText("volatileOnly", type("EString") + " volatile=\"true\"") +
          referenceText("own", "eType=\"#//A\" containment=\"true\" upperBound=\"-1\" resolveProxies=\"false\""))));
  const meta::Class a = classOf(package, u"A");
  const auto property = [&](const char16_t* name) { return a->getProperty(name); };
  EXPECT_EQ(property(u"one")->lower, 1U);
  EXPECT_TRUE(property(u"many")->isUnique);
  EXPECT_FALSE(property(u"bag")->isUnique);
  EXPECT_FALSE(property(u"bag")->isOrdered);
  EXPECT_EQ(property(u"some")->upper, 5U);
  EXPECT_EQ(property(u"any")->upper, meta::Property::Impl::kUnlimited);
  EXPECT_TRUE(property(u"fixed")->isReadOnly);
  EXPECT_TRUE(property(u"derived")->isOmitted);
  EXPECT_TRUE(property(u"held")->isOmitted);
  EXPECT_FALSE(property(u"volatileOnly")->isOmitted);  // files hold it: Ecore's own eType is such a feature
  EXPECT_TRUE(property(u"own")->isComposite);
  const std::string written = EcoreExporter().toText(package);
  for (const char* kept : {"upperBound=\"-2\"", "unsettable=\"true\"", "iD=\"true\"", "resolveProxies=\"false\"",
                           "volatile=\"true\"", "changeable=\"false\"", "unique=\"false\"", "ordered=\"false\""}) {
    EXPECT_THAT(written, HasSubstr(kept));
  }
}

TEST_F(Ecore, ReadsDefaults) {
  const meta::Package package = importAndReturn(document(
      "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"Color\"><eLiterals name=\"red\" value=\"3\" literal=\"RED!\"/>"
      "<eLiterals name=\"green\" value=\"4\"/></eClassifiers>" +
      classText("A", attributeText("text", type("EString") + " defaultValueLiteral=\"\"") +
                         attributeText("number", type("EInt") + " defaultValueLiteral=\"-7\"") +
                         attributeText("real", type("EFloat") + " defaultValueLiteral=\"1.50f\"") +
                         attributeText("flag", type("EBoolean") + " defaultValueLiteral=\"true\"") +
                         attributeText("wrong", type("EInt") + " defaultValueLiteral=\"seven\"") +
                         attributeText("many", type("EInt") + " upperBound=\"-1\" defaultValueLiteral=\"1\"") +
                         attributeText("byLiteral", "eType=\"#//Color\" defaultValueLiteral=\"RED!\"") +
                         attributeText("byName", "eType=\"#//Color\" defaultValueLiteral=\"green\"") +
                         attributeText("needed", "eType=\"#//Color\" lowerBound=\"1\"") +
                         attributeText("optional", "eType=\"#//Color\""))));
  const meta::Class a = classOf(package, u"A");
  const auto initial = [&](const char16_t* name) {
    const auto& value = a->getProperty(name)->defaultValue();
    return value ? value->describe() : std::string("none");
  };
  EXPECT_EQ(initial(u"text"), "String \"\"");
  EXPECT_EQ(initial(u"number"), "Integer -7");
  EXPECT_EQ(initial(u"real"), "Real 1.5");
  EXPECT_EQ(initial(u"flag"), "Boolean true");
  EXPECT_EQ(initial(u"wrong"), "none");
  EXPECT_EQ(initial(u"many"), "none");
  EXPECT_EQ(initial(u"byLiteral"), "p.Color red (3)");
  EXPECT_EQ(initial(u"byName"), "p.Color green (4)");
  EXPECT_EQ(initial(u"needed"), "p.Color red (3)");  // the first literal, as Ecore defines it
  EXPECT_EQ(initial(u"optional"), "none");
  const std::string written = EcoreExporter().toText(package);
  EXPECT_THAT(written, HasSubstr("defaultValueLiteral=\"1.50f\""));
  EXPECT_THAT(written, HasSubstr("defaultValueLiteral=\"seven\""));
  EXPECT_THAT(written, HasSubstr("literal=\"RED!\""));
}

TEST_F(Ecore, UsesTheTextOfALiteralInFiles) {
  const meta::Package package =
      import(document("<eClassifiers xsi:type=\"ecore:EEnum\" name=\"Color\"><eLiterals name=\"red\" "
                      "literal=\"RED!\"/></eClassifiers>" +
                      classText("A", attributeText("color", "eType=\"#//Color\"") +
                                         attributeText("id", type("EString") + " iD=\"true\"") +
                                         referenceText("next", "eType=\"#//A\""))));
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseString("<p:A xmlns:p=\"urn:test:p\" color=\"RED!\" id=\"the id\" next=\"/\"/>");
  EXPECT_EQ(model->getTopLevelElements()[0]->get<std::int64_t>(u"color"), 0);
  std::string text;
  io::XmlSerializer().serialize(model, io::SerializationOutput::forUTF8String(text));
  EXPECT_THAT(text, HasSubstr("color=\"RED!\""));
  // The value of an id attribute names the element.
  const Model byId = Model::create(ModelSpec());
  parser.setModel(byId);
  parser.parseString("<p:A xmlns:p=\"urn:test:p\" color=\"red\" id=\"x1\" next=\"x1\"/>");
  EXPECT_EQ(byId->getTopLevelElements()[0]->get<ModelElement>(u"next"), byId->getTopLevelElements()[0]);
}

TEST_F(Ecore, TiesOpposites) {
  const meta::Package package = importAndReturn(
      document(classText("A", referenceText(
                                  "bs", "eType=\"#//B\" upperBound=\"-1\" containment=\"true\" eOpposite=\"#//B/a\"")) +
               classText("B", referenceText("a", "eType=\"#//A\" eOpposite=\"#//A/bs\"") +
                                  referenceText("odd", "eType=\"#//A\" eOpposite=\"#//A/bs\""))));
  EXPECT_EQ(classOf(package, u"A")->getProperty(u"bs")->getOpposite(), classOf(package, u"B")->getProperty(u"a"));
  EXPECT_FALSE(classOf(package, u"B")->getProperty(u"odd")->getOpposite());
  EXPECT_THAT(EcoreExporter().toText(package), HasSubstr("name=\"odd\" eType=\"#//A\" eOpposite=\"#//A/bs\""));
}

TEST_F(Ecore, TellsWhichOppositesItDoesNotTakeOver) {
  import(document(classText("Base", "") +
                  classText("A", referenceText("x", "eType=\"#//B\" eOpposite=\"#//B/y\"") +
                                     referenceText("self", "eType=\"#//A\" eOpposite=\"#//A/self\"")) +
                  classText("B", referenceText("y", "eType=\"#//Base\" eOpposite=\"#//A/x\""))));
  ASSERT_EQ(fWarnings.size(), 3U);
  EXPECT_THAT(fWarnings[0], HasSubstr("EReference \"x\": its opposite \"#//B/y\" is not taken over"));
  EXPECT_THAT(fWarnings[1], HasSubstr("cannot be its own opposite"));
  EXPECT_THAT(fWarnings[0], HasSubstr("Ecore text:"));
}

TEST_F(Ecore, TakesTheFirstSupertypeAsSuperclassAndCopiesFromTheOthers) {
  const meta::Package package = importAndReturn(
      document(classText("Top", attributeText("t", type("EString"))) +
               classText("L", attributeText("l", type("EString")), "eSuperTypes=\"#//Top\"") +
               classText("R", attributeText("r", type("EString")) + referenceText("m", "eType=\"#//R\""),
                         "eSuperTypes=\"#//Top\"") +
               classText("Both", "", "eSuperTypes=\"#//L #//R\" abstract=\"true\" interface=\"true\"")));
  const meta::Class both = classOf(package, u"Both");
  EXPECT_EQ(both->getSuperclass(), classOf(package, u"L"));
  EXPECT_THAT(both->getFurtherSupertypes(), ElementsAre(classOf(package, u"R")));
  EXPECT_TRUE(both->conformsTo(classOf(package, u"R")));
  EXPECT_EQ(both->getAllProperties().size(), 4U);  // t once
  EXPECT_TRUE(both->isAbstract());
}

TEST_F(Ecore, LeavesOutWhatWouldClashWithAnInheritedFeature) {
  const meta::Package package = importAndReturn(document(
      classText("A", attributeText("n", type("EString"))) + classText("B", attributeText("n", type("EString"))) +
      classText("C", attributeText("n", type("EInt")), "eSuperTypes=\"#//A\"") +
      classText("D", "", "eSuperTypes=\"#//A #//B\"")));
  EXPECT_EQ(typeOf(package, u"C", u"n"), "String");
  EXPECT_TRUE(classOf(package, u"D")->getFurtherSupertypes().empty());
  EXPECT_THAT(EcoreExporter().toText(package), HasSubstr("name=\"n\" eType=\"ecore:EDataType "
                                                         "http://www.eclipse.org/emf/2002/Ecore#//EInt\""));
}

TEST_F(Ecore, FollowsReferencesToOtherFilesByPathAndByUri) {
  const testsupport::TemporaryFolder folder;
  const auto save = [&](const std::string& name, const std::string& text) {
    std::filesystem::create_directories((folder.path() / name).parent_path());
    std::ofstream(folder.path() / name, std::ios::binary) << text;
  };
  save("main.ecore", document(classText("A",
                                        referenceText("b", "eType=\"ecore:EClass inner/b.ecore#//B\"") +
                                            referenceText("c", "eType=\"ecore:EClass http://example.org/c#//C\""),
                                        "eSuperTypes=\"inner/b.ecore#//B\""),
                              "main"));
  save("inner/b.ecore", document(classText("B", referenceText("a", "eType=\"ecore:EClass ../main.ecore#//A\"")), "b"));
  save("elsewhere/c.ecore", document(classText("C", ""), "c"));
  EcoreImporter importer;
  importer.mapUri(u"http://example.org/c", utf8_to_ustring((folder.path() / "elsewhere/c.ecore").string()));
  const meta::Package package = importer.importFile(utf8_to_ustring((folder.path() / "main.ecore").string())).front();
  EXPECT_TRUE(importer.warnings().empty());
  EXPECT_EQ(importer.documents().size(), 3U);
  EXPECT_EQ(typeOf(package, u"A", u"b"), "b.B");
  EXPECT_EQ(typeOf(package, u"A", u"c"), "c.C");
  EXPECT_EQ(typeOf(package, u"A", u"a"), "main.A");
  EcoreExporter exporter;
  exporter.setLocation(u"urn:test:b", "inner/b.ecore");
  EXPECT_THAT(exporter.toText(package), HasSubstr("eType=\"ecore:EClass inner/b.ecore#//B\""));
  EXPECT_THAT(exporter.toText(package), HasSubstr("eType=\"ecore:EClass urn:test:c#//C\""));
}

TEST_F(Ecore, UsesPackagesThatAreRegisteredAlready) {
  import(document(classText("B", "") +
                      "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"Count\" instanceClassName=\"int\"/>"
                      "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"><eLiterals name=\"e\"/></eClassifiers>",
                  "b"));
  const meta::Package package =
      import(document(classText("A",
                                referenceText("b", "eType=\"ecore:EClass urn:test:b#//B\"") +
                                    attributeText("c", "eType=\"ecore:EDataType urn:test:b#//Count\"") +
                                    attributeText("e", "eType=\"ecore:EEnum urn:test:b#//E\" lowerBound=\"1\""),
                                "eSuperTypes=\"ecore:EClass urn:test:b#//B\"")));
  EXPECT_EQ(typeOf(package, u"A", u"b"), "b.B");
  EXPECT_EQ(typeOf(package, u"A", u"c"), "Integer");
  EXPECT_EQ(to_string(classOf(package, u"A")->getSuperclass()->getQualifiedName()), "b.B");
  import(document(classText("Other", ""), "b"));
  ASSERT_EQ(fWarnings.size(), 1U);
  EXPECT_THAT(fWarnings[0], HasSubstr("is registered already"));
}

TEST_F(Ecore, PutsAStubInPlaceOfAClassThatIsNotThere) {
  const meta::Package package =
      importAndReturn(document(classText("A",
                                         referenceText("b", "eType=\"ecore:EClass missing.ecore#//B\"") +
                                             referenceText("c", "eType=\"ecore:EClass missing.ecore#//B\"") +
                                             attributeText("d", "eType=\"ecore:EDataType missing.ecore#//D\""),
                                         "eSuperTypes=\"missing.ecore#//S\"")));
  EXPECT_EQ(typeOf(package, u"A", u"b"), typeOf(package, u"A", u"c"));
  EXPECT_EQ(typeOf(package, u"A", u"d"), "String");
  EXPECT_THAT(fWarnings,
              testing::Contains(HasSubstr("\"missing.ecore#//S\" is not to be found: an empty class stands")));
  EXPECT_THAT(fWarnings, testing::Contains(HasSubstr("the attribute holds text")));
  EXPECT_THAT(EcoreExporter().toText(package), HasSubstr("eType=\"ecore:EClass missing.ecore#//B\""));
}

TEST_F(Ecore, KnowsTheDataTypesOfEcoreAndXmlSchema) {
  const std::string xml = "eType=\"ecore:EDataType http://www.eclipse.org/emf/2003/XMLType#//";
  const meta::Package package = importAndReturn(document(classText(
      "A", attributeText("a", type("ELongObject")) + attributeText("b", type("EDate")) +
               attributeText("c", type("EByte")) + attributeText("d", xml + "UnsignedInt\"") +
               attributeText("e", xml + "NCName\"") + attributeText("f", xml + "Double\"") +
               referenceText("any", "eType=\"ecore:EClass http://www.eclipse.org/emf/2002/Ecore#//EObject\"") +
               referenceText("meta", "eType=\"ecore:EClass http://www.eclipse.org/emf/2002/Ecore#//EClass\""))));
  EXPECT_EQ(typeOf(package, u"A", u"a"), "Integer64");
  EXPECT_EQ(typeOf(package, u"A", u"b"), "String");
  EXPECT_EQ(typeOf(package, u"A", u"c"), "Integer8");
  EXPECT_EQ(typeOf(package, u"A", u"d"), "UnlimitedNatural");
  EXPECT_EQ(typeOf(package, u"A", u"e"), "String");
  EXPECT_EQ(typeOf(package, u"A", u"f"), "Real");
  EXPECT_EQ(typeOf(package, u"A", u"meta"), "ecore.EClass");
  EXPECT_EQ(classOf(package, u"A")->getProperty(u"any")->getType(), ModelElement::metaClass());
  EXPECT_THAT(EcoreExporter().toText(package), HasSubstr("Ecore#//EDate"));
}

TEST_F(Ecore, KeepsOwnDataTypesForTheWayBack) {
  const meta::Package package = importAndReturn(document(
      "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"Url\" instanceClassName=\"java.net.URL\" "
      "serializable=\"false\">"
      "<eAnnotations source=\"s\"><details key=\"k\" value=\"v\"/></eAnnotations></eClassifiers>"
      "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"Count\" instanceClassName=\"int\"/>" +
      classText("A", attributeText("url", "eType=\"#//Url\"") + attributeText("count", "eType=\"#//Count\""))));
  EXPECT_EQ(typeOf(package, u"A", u"url"), "String");
  EXPECT_EQ(typeOf(package, u"A", u"count"), "Integer");
  const std::string written = EcoreExporter().toText(package);
  EXPECT_THAT(written, HasSubstr("name=\"url\" eType=\"#//Url\""));
  EXPECT_THAT(written, HasSubstr("name=\"Url\" instanceClassName=\"java.net.URL\" serializable=\"false\""));
}

TEST_F(Ecore, ErasesGenericsAndKeepsThem) {
  const meta::Package package = importAndReturn(document(
      classText("Box", "<eTypeParameters name=\"T\"><eBounds eClassifier=\"#//Thing\"/></eTypeParameters>" +
                           referenceText("content", "", "<eGenericType eTypeParameter=\"#//Box/T\"/>") +
                           attributeText("list", "",
                                         "<eGenericType eClassifier=\"#//List\"><eTypeArguments/></eGenericType>")) +
      classText("Thing", "") +
      classText("Big",
                "<eGenericSuperTypes eClassifier=\"#//Box\"><eTypeArguments "
                "eClassifier=\"#//Thing\"/></eGenericSuperTypes>") +
      "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"List\" instanceClassName=\"java.util.List\">"
      "<eTypeParameters name=\"E\"/></eClassifiers>"));
  EXPECT_EQ(typeOf(package, u"Box", u"content"), "p.Thing");
  EXPECT_EQ(typeOf(package, u"Box", u"list"), "String");
  EXPECT_EQ(classOf(package, u"Big")->getSuperclass(), classOf(package, u"Box"));
  const std::string written = EcoreExporter().toText(package);
  EXPECT_THAT(written, HasSubstr("<eGenericType eTypeParameter=\"#//Box/T\"/>"));
  EXPECT_THAT(written, HasSubstr("<eGenericSuperTypes eClassifier=\"#//Box\">"));
}

TEST_F(Ecore, ReadsTheMembersOfAFeatureMap) {
  const std::string extended = "http:///org/eclipse/emf/ecore/util/ExtendedMetaData";
  const std::string member =
      "<eAnnotations source=\"" + extended + "\"><details key=\"group\" value=\"#group:0\"/></eAnnotations>";
  const meta::Package package = importAndReturn(document(classText(
      "A",
      attributeText(
          "group", type("EFeatureMapEntry") + " upperBound=\"-1\"",
          "<eAnnotations source=\"" + extended + "\"><details key=\"kind\" value=\"group\"/></eAnnotations>") +
          referenceText("a",
                        "eType=\"#//A\" upperBound=\"-1\" containment=\"true\" derived=\"true\" transient=\"true\" "
                        "volatile=\"true\"",
                        member))));
  EXPECT_TRUE(classOf(package, u"A")->getProperty(u"group")->isOmitted);
  EXPECT_FALSE(classOf(package, u"A")->getProperty(u"a")->isOmitted);
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseString("<p:A xmlns:p=\"urn:test:p\"><a/><a><a/></a></p:A>");
  EXPECT_EQ(model->getElementCount(), 4U);
}

TEST_F(Ecore, TakesMapsOfTextsAsMapsAndOtherEntriesAsElements) {
  const meta::Package package = importAndReturn(document(
      classText("A", referenceText("notes",
                                   "eType=\"ecore:EClass http://www.eclipse.org/emf/2002/"
                                   "Ecore#//EStringToStringMapEntry\" upperBound=\"-1\" containment=\"true\"") +
                         referenceText("table", "eType=\"#//Entry\" upperBound=\"-1\" containment=\"true\"")) +
      classText("Entry", attributeText("key", type("EString")) + referenceText("value", "eType=\"#//A\""),
                "instanceClassName=\"java.util.Map$Entry\"")));
  EXPECT_EQ(typeOf(package, u"A", u"notes"), "StringToStringMap");
  EXPECT_EQ(typeOf(package, u"A", u"table"), "p.Entry");
}

TEST_F(Ecore, KeepsOperationsAndAnnotations) {
  const meta::Package package = importAndReturn(document(
      "<eAnnotations source=\"top\"><details key=\"a\" value=\"1&#10;2\"/><details key=\"b\"/></eAnnotations>" +
      classText("A",
                "<eAnnotations source=\"c\" references=\"#//A/f\"/><eOperations name=\"run\" eType=\"#//A\">"
                "<eParameters name=\"x\" " +
                    type("EInt") + "/></eOperations>" +
                    attributeText("f", type("EString"), "<eAnnotations source=\"doc\"/>"))));
  ASSERT_EQ(package->getAnnotations().size(), 1U);
  EXPECT_EQ(package->getAnnotations()[0].details[0].second, u"1\n2");
  const std::string written = EcoreExporter().toText(package);
  EXPECT_THAT(written, HasSubstr("<eOperations name=\"run\" eType=\"#//A\">"));
  EXPECT_THAT(written, HasSubstr("references=\"#//A/f\""));
}

TEST_F(Ecore, BendsWhatTheKernelDoesNotTake) {
  const meta::Package package = importAndReturn(document(classText(
      "dotted.Name",
      attributeText("low", type("EString") + " lowerBound=\"3\" upperBound=\"2\"") +
          referenceText("own", "eType=\"#//dotted.Name\" containment=\"true\" upperBound=\"-1\" unique=\"false\"") +
          referenceText("none", "") + attributeText("twice", type("EInt")) + attributeText("twice", type("EString")))));
  EXPECT_TRUE(classOf(package, u"dotted_Name"));
  EXPECT_THAT(fWarnings.size(), 4U);
  EXPECT_THAT(EcoreExporter().toText(package), HasSubstr("name=\"dotted.Name\""));
}

// --- Faults.

TEST_F(Ecore, NamesFileLineAndFault) {
  EXPECT_EQ(errorOf("hello"), "bad.ecore:1:1: no well-formed XML: syntax error");
  EXPECT_THAT(errorOf(""), HasSubstr("bad.ecore:1:1: the document ends before an element"));
  EXPECT_THAT(errorOf("<!DOCTYPE a><a/>"), HasSubstr("bad.ecore:1:12: a document type declaration"));
  EXPECT_THAT(errorOf("<ecore:EPacka" + kDeclarations + "/>"),
              HasSubstr("bad.ecore:1:1: expected an ecore:EPackage of the namespace "
                        "http://www.eclipse.org/emf/2002/Ecore, found <ecore:EPacka>: this is no Ecore meta-model"));
  EXPECT_THAT(errorOf("<EPackage/>"), HasSubstr("this is no Ecore meta-model"));
  EXPECT_THAT(errorOf(document("<eClassifers/>")),
              HasSubstr("bad.ecore:3:1: eClassifers: Ecore has no <eClassifers> in an "
                        "EPackage, only eAnnotations, eClassifiers, eSubpackages, "
                        "eFactoryInstance; did you mean \"eClassifiers\"?"));
  EXPECT_THAT(errorOf(document("<eClassifiers name=\"A\"/>")),
              HasSubstr("expected an EClass, an EEnum or an EDataType"));
  EXPECT_THAT(errorOf(document(classText("", ""))), HasSubstr("it has no name"));
  EXPECT_THAT(errorOf(document(classText("A", referenceText("b", "eType=\"#//B\"")))),
              HasSubstr("bad.ecore:3:49: \"b\" refers to \"#//B\", but there is no such element"));
  EXPECT_THAT(errorOf(document(classText("A", "", "eSuperTypes=\"#//B\""))), HasSubstr("\"A\" refers to \"#//B\""));
  EXPECT_THAT(
      errorOf(document(classText("A", "", "eSuperTypes=\"#//B\"") + classText("B", "", "eSuperTypes=\"#//A\""))),
      HasSubstr("bad.ecore:3:1: EClass \"A\": the class derives from itself: \"A\" -> \"B\" -> \"A\""));
  EXPECT_THAT(errorOf(document(classText("A", attributeText("a", "eType=\"#//A\"")))), HasSubstr("is no data type"));
  EXPECT_THAT(errorOf(document(classText("A", referenceText("a", "eType=\"#//E\"")) +
                               "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"/>")),
              HasSubstr("it refers to EEnum \"E\", which is no class"));
  EXPECT_THAT(errorOf(document(classText("A", attributeText("a", "eType=\"#//E\" defaultValueLiteral=\"x\"")) +
                               "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"/>")),
              HasSubstr("is no literal of its enum"));
  EXPECT_THAT(errorOf(document(classText("A", attributeText("a", "eType=\"#//E\" lowerBound=\"1\"")) +
                               "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"/>")),
              HasSubstr("no literal that it could hold"));
  EXPECT_THAT(errorOf(document("<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"><eLiterals name=\"a\" value=\"x\"/>"
                               "</eClassifiers>")),
              HasSubstr("its value \"x\" is no number"));
}

TEST_F(Ecore, RefusesAPackageThatNoReferenceCouldName) {
  for (const std::string uri : {"urn:p q", "urn:p#", "urn:p\nq"}) {
    EXPECT_THAT(errorOf("<ecore:EPackage" + kDeclarations + " name=\"p\" nsURI=\"" + uri + "\" nsPrefix=\"p\"/>"),
                HasSubstr("holds a blank or a \"#\", so that no reference could name the package"))
        << uri;
  }
}

TEST_F(Ecore, MakesAUriThatReferencesCanNameOfAnyName) {
  const meta::Package package = importAndReturn("<ecore:EPackage" + kDeclarations + " name=\"a b#c\">" +
                                                classText("A", "") + "</ecore:EPackage>");
  EXPECT_EQ(package->getUri(), u"urn:a_b_c");
}

TEST_F(Ecore, SurvivesEveryCutAndManyFlips) {
  const std::string text = document(
      "<eAnnotations source=\"s\"><details key=\"k\" value=\"v\"/></eAnnotations>" +
      classText("A", referenceText("b", "eType=\"#//B\" eOpposite=\"#//B/a\"") + attributeText("n", type("EString"))) +
      classText("B", referenceText("a", "eType=\"#//A\" eOpposite=\"#//A/b\""), "eSuperTypes=\"#//A\"") +
      "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"><eLiterals name=\"a\"/></eClassifiers>");
  const auto mustReadOrRefuse = [](const std::string& mutant) {
    MetaRegistry::getInstance()->reset();
    try {
      EcoreImporter().importText(mutant);
    } catch (const KernelError&) {
      EXPECT_TRUE(MetaRegistry::getInstance()->getPackages().empty());
    }
  };
  for (std::size_t size = 0; size < text.size(); size += 3) mustReadOrRefuse(text.substr(0, size));
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string mutant = text;
    mutant[i] = static_cast<char>(static_cast<unsigned>(mutant[i]) ^ (1U << (i % 8)));
    mustReadOrRefuse(mutant);
  }
}

// --- Ecore itself.

TEST_F(Ecore, IsAModelOfItself) {
  const meta::Package package = ecorePackage();
  EXPECT_EQ(ecorePackage(), package);
  EXPECT_EQ(to_string(package->getUri()), "http://www.eclipse.org/emf/2002/Ecore");
  const std::string text = EcoreExporter().toText(package);
  EXPECT_THAT(text, HasSubstr("name=\"eType\" eType=\"#//EClassifier\""));
  EXPECT_THAT(text, HasSubstr("name=\"name\" eType=\"#//EString\""));
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseString(text);
  ASSERT_EQ(model->getTopLevelElements().size(), 1U);
  EXPECT_EQ(model->getTopLevelElements()[0]->contents().size(), 53U);  // 20 classes and 33 data types
  std::string written;
  io::XmlSerializer().serialize(model, io::SerializationOutput::forUTF8String(written));
  const Model again = Model::create(ModelSpec());
  parser.setModel(again);
  parser.parseString(written);
  const auto difference = firstDifference(model, again);
  EXPECT_FALSE(difference) << difference->text();
  // And it is what the importer makes of it.
  MetaRegistry::getInstance()->reset();
  EXPECT_EQ(packageText(EcoreImporter().importText(text).front()), packageText(package));
}

TEST_F(Ecore, ReadsAMetaModelAsAModelTogetherWithWhatItRefersTo) {
  static_cast<void>(ecorePackage());
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseString(document(classText("A", attributeText("n", type("EString")))));
  ASSERT_EQ(model->getTopLevelElements().size(), 2U);  // the package, and Ecore, which EString belongs to
  const ModelElement attribute = model->getTopLevelElements()[0]->contents()[0]->contents()[0];
  EXPECT_EQ(to_string(attribute->get<ModelElement>(u"eType")->get<ustring>(u"name")), "EString");
}

// --- Packages that were defined in C++.

TEST_F(Ecore, WritesWhatWasDefinedInCpp) {
  meta::PackageBuilder builder(u"shop");
  builder.family(u"shop", u"1.2");
  builder.annotate({u"note", {{u"k", u"v"}}});
  auto& mood = builder.addEnum(u"Mood").literal(u"calm", 0).literal(u"wild", std::int64_t{1} << 40U);
  auto& price = builder.addDataType(u"Price");
  price.attribute(u"amount", meta::StandardTypes::integer64Meta).required();
  auto& named = builder.addClass(u"Named").makeAbstract();
  named.attribute(u"name", meta::StandardTypes::stringMeta).required();
  auto& item = builder.addClass(u"Item").extends(named);
  auto& shop = builder.addClass(u"Shop").extends(named);
  item.attribute(u"price", price).required();
  item.attribute(u"discounts", price).many();
  item.attribute(u"mood", mood).defaultsTo(u"wild");
  item.attribute(u"id", meta::StandardTypes::uuidMeta);
  item.attribute(u"when", meta::StandardTypes::dateTimeMeta);
  item.attribute(u"bytes", meta::StandardTypes::stdstringMeta);
  item.attribute(u"small", meta::StandardTypes::uinteger8Meta).defaultsTo(std::uint8_t{3});
  item.attribute(u"wide", meta::StandardTypes::uinteger64Meta);
  item.attribute(u"ratio", meta::StandardTypes::realMeta).defaultsTo(0.25);
  item.attribute(u"notes", meta::StandardTypes::stringToStringMapMeta).required();
  item.attribute(u"secret", meta::StandardTypes::integerMeta).guarded();
  item.attribute(u"numbers", meta::StandardTypes::integerMeta).many().genericStorage();
  item.reference(u"shop", shop).opposite(u"items");
  shop.composite(u"items", item).many().opposite(u"shop").qualifiedBy(u"name");
  shop.reference(u"anything", meta::Type(ModelElement::metaClass()));
  const meta::Package package = builder.registerPackage();
  const std::string before = packageText(package);
  const std::string text = EcoreExporter().toText(package);
  EXPECT_THAT(text, HasSubstr("nsPrefix=\"shop\""));
  EXPECT_THAT(text, HasSubstr("eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString\""));
  EXPECT_THAT(text, HasSubstr("eKeys=\"#//Named/name\""));
  EXPECT_THAT(text, Not(HasSubstr("\"-\"")));
  MetaRegistry::getInstance()->reset();
  EcoreImporter importer;
  const meta::Package again = importer.importText(text).front();
  EXPECT_TRUE(importer.warnings().empty());
  EXPECT_EQ(before, packageText(again)) << text;
}

TEST_F(Ecore, WritesCustomTypesAsDataTypesOfText) {
  meta::PackageBuilder builder(u"custom");
  builder.addPrimitive<int>(
      u"Code", [](const int&) { return ustring(u"1"); }, [](const ustring&) { return 1; });
  builder.addClass(u"A").attribute(u"code", u"Code");
  const std::string text = EcoreExporter().toText(builder.registerPackage());
  EXPECT_THAT(text, HasSubstr("<eClassifiers xsi:type=\"ecore:EDataType\" name=\"Code\""));
  MetaRegistry::getInstance()->reset();
  EXPECT_EQ(typeOf(EcoreImporter().importText(text).front(), u"A", u"code"), "String");
}

}  // namespace
}  // namespace tarn::kern::ecore
