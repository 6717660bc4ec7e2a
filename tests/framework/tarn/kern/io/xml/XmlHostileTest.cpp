#include <chrono>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Testing.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "XmlTestSupport.h"
#include "support/Sanitizers.h"

/// Documents that mean harm, or are damaged.
namespace tarn::kern::xmltest {
namespace {

using testing::HasSubstr;

constexpr std::size_t kDeep = testsupport::kManyLevels;

TEST(XmlHostile, RefusesEveryDocumentType) {
  const std::string body =
      document("Node", "name=\"&a;\"").substr(std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>").size());
  for (const char* type : {"<!DOCTYPE x>", "<!DOCTYPE x SYSTEM \"file:///etc/passwd\">",
                           "<!DOCTYPE x PUBLIC \"a\" \"http://127.0.0.1/x.dtd\">", "<!DOCTYPE x [<!ENTITY a \"b\">]>",
                           "<!DOCTYPE x [<!ENTITY a SYSTEM \"/etc/passwd\">]>",
                           "<!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"}) {
    EXPECT_THAT(errorOf(type + body), HasSubstr("a document type declaration (<!DOCTYPE x>) is not accepted")) << type;
  }
}

TEST(XmlHostile, KnowsNoEntitiesButThePredefinedOnes) {
  EXPECT_EQ(nameOf(rootOf(read(document("Node", "name=\"&lt;&gt;&amp;&quot;&apos;&#65;&#x42;\"")))), "<>&\"'AB");
  EXPECT_THAT(errorOf(document("Node", "name=\"&nbsp;\"")), HasSubstr("an entity is used that nothing defines"));
  EXPECT_NE(errorOf(document("Node", "name=\"&#0;\"")), "no error");
  EXPECT_NE(errorOf(document("Node", "name=\"&#xD800;\"")), "no error");
}

TEST(XmlHostile, ReadsAMillionLevels) {
  std::string text = "<j:Node" + kDeclarations + ">";
  for (std::size_t i = 1; i < kDeep; ++i) text += "<only>";
  for (std::size_t i = 1; i < kDeep; ++i) text += "</only>";
  text += "</j:Node>";
  const Model model = read(text);
  EXPECT_EQ(model->getElementCount(), kDeep);
  const std::string again = written(model);
  EXPECT_EQ(read(again)->getElementCount(), kDeep);
}

TEST(XmlHostile, ReadsAMillionLevelsThatMeanNothing) {
  std::string text = "<j:Node" + kDeclarations + "><xmi:Extension>";
  for (std::size_t i = 0; i < kDeep; ++i) text += "<a>";
  for (std::size_t i = 0; i < kDeep; ++i) text += "</a>";
  EXPECT_EQ(read(text + "</xmi:Extension></j:Node>")->getElementCount(), 1U);
}

TEST(XmlHostile, TakesTimeInProportionToTheNumberOfAttributes) {
  const auto secondsFor = [](std::size_t count) {
    std::string text = "<j:Node" + kDeclarations + "><xmi:Extension><a";
    for (std::size_t i = 0; i < count; ++i) text += " a" + std::to_string(i) + "=\"1\"";
    text += "/></xmi:Extension></j:Node>";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(read(text)->getElementCount(), 1U);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  EXPECT_LT(secondsFor(200'000), 5.0);  // a quadratic reader takes minutes
}

TEST(XmlHostile, TakesManyNamespaceDeclarations) {
  std::string text = "<j:Node" + kDeclarations + ">";
  for (std::size_t i = 0; i < 20'000; ++i) text += "<children xmlns:n" + std::to_string(i) + "=\"urn:x\"/>";
  EXPECT_EQ(read(text + "</j:Node>")->getElementCount(), 20'001U);
}

/// A document with a bit of everything.
std::string sample() {
  return documentOf(
      "<j:Node name=\"r\" xmi:id=\"r\" next=\"//@children.0\"><children xsi:type=\"j:Special\" xmi:id=\"c\" "
      "name=\"c\"/>"
      "<children name=\"d\" others=\"r c\"/><only xsi:nil=\"true\"/><path href=\"#c\"/></j:Node>"
      "<j:Plain color=\"green\" real=\"0.5\" manyInteger=\"1 2\"><map key=\"k\" value=\"v\"/><point x=\"1\" y=\"2\"/>"
      "<manyString>s</manyString></j:Plain><j:Lines><line target=\"c\"><inner name=\"i\"/></line></j:Lines>");
}

void mustReadOrRefuse(const std::string& text) {
  const Model model = emptyModel();
  try {
    readInto(model, text);
  } catch (const io::ParseError&) {
    EXPECT_EQ(model->getElementCount(), 0U);
  }
}

TEST(XmlHostile, SurvivesEveryCut) {
  const jsontest::CapturedLog log;
  const std::string text = sample();
  EXPECT_EQ(errorOf(text), "no error");
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_NE(errorOf(text.substr(0, size)), "no error") << size;
  }
}

TEST(XmlHostile, SurvivesEveryFlippedBit) {
  const jsontest::CapturedLog log;
  std::string text = sample();
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      const char before = text[i];
      text[i] = static_cast<char>(static_cast<unsigned>(text[i]) ^ (1U << bit));
      mustReadOrRefuse(text);
      text[i] = before;
    }
  }
}

TEST(XmlHostile, SurvivesPiecesInTheWrongPlaces) {
  const jsontest::CapturedLog log;
  const std::string text = sample();
  std::mt19937 random(7);
  for (std::size_t i = 0; i < 3000; ++i) {
    std::string mutant = text;
    const std::size_t from = random() % text.size();
    const std::size_t size = random() % 40;
    mutant.insert(random() % mutant.size(), text.substr(from, size));
    mutant.erase(random() % mutant.size(), random() % 10);
    mustReadOrRefuse(mutant);
  }
}

}  // namespace
}  // namespace tarn::kern::xmltest
