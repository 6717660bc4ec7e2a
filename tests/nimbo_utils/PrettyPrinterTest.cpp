#include <functional>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/StringStream.h"
#include "support/PrintingMetaModel.h"
#include "support/Sanitizers.h"
#include "support/TestMetaModel.h"

/// The tree, its numbers, and what is hidden. Descriptions are DescriptionPrintingTest's, single values
/// ValuePrintingTest's, whole pages ReportPageTest's.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using meta::Property;
using testing::HasSubstr;
using testing::Not;
using testsupport::addElement;
using testsupport::addValue;
using testsupport::emptyModel;
using testsupport::newPrinted;
using testsupport::newSample;
using testsupport::onSmallStack;
using testsupport::withoutAddresses;

class PrettyPrinterTest : public testing::Test {
 protected:
  Model fModel = emptyModel();
};

std::string textOf(PrettyPrinter& printer, const Model& model) {
  std::ostringstream os;
  printer.print(os, model);
  return std::move(os).str();
}

std::string textOf(PrettyPrinter& printer, const ModelElement& element) {
  std::ostringstream os;
  printer.emitElement(os, element, "", true);
  return std::move(os).str();
}

template <class Printed>
std::string textOf(const Printed& printed) {
  PrettyPrinter printer;
  return textOf(printer, printed);
}

std::string markupOf(PrettyPrinter& printer, const ModelElement& element) {
  html::StringStream os;
  printer.emitElement(os, element, "", true);
  return withoutAddresses(os.str());
}

std::string markupOf(const ModelElement& element) {
  PrettyPrinter printer;
  return markupOf(printer, element);
}

std::string nbsp(std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += "&nbsp;";
  return text;
}

/// The model of the class's own example.
ModelElement examplePackage(const Model& model) {
  const ModelElement package = newPrinted(model, u"Package", 1);
  package->set(u"name", u"top");
  addElement(package, u"parts", newPrinted(model, u"Part", 2));
  const ModelElement part = newPrinted(model, u"Part", 3);
  part->set(u"size", std::int32_t{3});
  addElement(package, u"parts", part);
  package->set(u"owner", newPrinted(model, u"Team", 4));
  return package;
}

// --- The walk, on both kinds of stream.

TEST_F(PrettyPrinterTest, PrintsAModelAsAnIndentedTree) {
  examplePackage(fModel);
  std::ostringstream os;
  print(os, fModel);
  EXPECT_EQ(os.str(),
            "  Package {\n"
            "      name: \"top\"\n"
            "      parts: {\n"
            "          [0]: Part\n"
            "          [1]: Part {\n"
            "              size: 3\n"
            "          }\n"
            "      }\n"
            "      owner: Team\n"
            "  }\n"
            "  Team\n");
}

TEST_F(PrettyPrinterTest, PrintsTheSameTreeAsMarkup) {
  EXPECT_EQ(markupOf(examplePackage(fModel)),
            "<a name=\"1\"></a><span class='expander' id='Q1'>-</span>&nbsp;"
            "<span class='entry' id='J1'>Package</span>&nbsp;{<span class='tree' id='O1'><br/>\n" +
                nbsp(6) + "<span class='keyword'>name</span>:&nbsp;&quot;top&quot;<br/>\n" +
                "<a name=\"@\"></a><span class='expander' id='Q@'>-</span>" + nbsp(1 + 4) +
                "<span class='keyword'>parts</span>:&nbsp;{<span class='tree' id='O@'><br/>\n" + "<a name=\"2\"></a>" +
                nbsp(10) + "<span class='keyword'>[0]</span>:&nbsp;<span class='entry' id='J2'>Part</span><br/>\n" +
                "<a name=\"3\"></a><span class='expander' id='Q3'>-</span>" + nbsp(1 + 8) +
                "<span class='keyword'>[1]</span>:&nbsp;<span class='entry' id='J3'>Part</span>&nbsp;{"
                "<span class='tree' id='O3'><br/>\n" +
                nbsp(14) + "<span class='keyword'>size</span>:&nbsp;3<br/>\n" + nbsp(10) + "</span>}<br/>\n" + nbsp(6) +
                "</span>}<br/>\n" + nbsp(6) +
                "<span class='keyword'>owner</span>:&nbsp;<span class='entry' id='J4'>Team</span><br/>\n" + nbsp(2) +
                "</span>}<br/>\n");
}

TEST_F(PrettyPrinterTest, GivesTheTreesOfBothOutputsTheSameText) {
  const ModelElement package = examplePackage(fModel);
  html::StringStream plain(false);
  PrettyPrinter().emitElement(plain, package, "", true);
  EXPECT_EQ(plain.str(), textOf(package));
}

TEST_F(PrettyPrinterTest, PrintsNothingOfAnEmptyModel) { EXPECT_EQ(textOf(emptyModel()), ""); }

TEST_F(PrettyPrinterTest, PrintsTopLevelElementsOnlyAndInTheirOrder) {
  newPrinted(fModel, u"Team");
  examplePackage(fModel);
  newPrinted(fModel, u"Part");
  const std::string text = textOf(fModel);
  EXPECT_TRUE(text.starts_with("  Team\n  Package {\n")) << text;
  EXPECT_TRUE(text.ends_with("  }\n  Team\n  Part\n")) << text;
}

TEST_F(PrettyPrinterTest, PrintsPropertiesInTheOrderOfTheirDefinitionInheritedOnesFirst) {
  const ModelElement tail = newSample(fModel, u"ChainTail", 1);
  for (const char16_t* name : {u"beta", u"mid", u"alpha", u"zeta"}) tail->set(name, std::int32_t{1});
  EXPECT_EQ(textOf(tail), "  ChainTail {\n      zeta: 1\n      alpha: 1\n      mid: 1\n      beta: 1\n  }\n");
}

TEST_F(PrettyPrinterTest, LabelsAnElementWithTheGivenName) {
  PrettyPrinter printer;
  const ModelElement team = newPrinted(fModel, u"Team");
  std::ostringstream os;
  printer.emitElement(os, team, "who", true);
  printer.emitElement(os, team, "", false);
  EXPECT_EQ(os.str(), "  who: Team\n  Team\n");
}

TEST_F(PrettyPrinterTest, NeverExpandsAReference) {
  PrettyPrinter printer;
  const ModelElement package = examplePackage(fModel);
  std::ostringstream os;
  printer.emitElement(os, package, "", false);
  EXPECT_EQ(os.str(), "  Package\n");
}

TEST_F(PrettyPrinterTest, PrintsTheMembersOfACollectionOfReferencesAsOneLineEach) {
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  for (const std::int32_t size : {7, 8}) {
    const ModelElement part = newPrinted(fModel, u"Part");
    part->set(u"size", size);
    addElement(shelf, u"links", part);
  }
  EXPECT_EQ(textOf(shelf), "  Shelf {\n      links: {\n          [0]: Part\n          [1]: Part\n      }\n  }\n");
}

TEST_F(PrettyPrinterTest, ComesToAnEndWhereReferencesGoInCircles) {
  const ModelElement box = newSample(fModel, u"Box", 1);
  const ModelElement content = newSample(fModel, u"Box", 2);
  box->set(u"name", u"outer");
  content->set(u"name", u"inner");
  box->set(u"content", content);
  box->set(u"link", box);
  content->set(u"link", box);
  EXPECT_EQ(textOf(box),
            "  Box {\n      name: \"outer\"\n      content: Box {\n          name: \"inner\"\n          link: Box\n"
            "      }\n      link: Box\n  }\n");
}

TEST_F(PrettyPrinterTest, PrintsTheValuesOfACollectionOnOneLine) {
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  for (const std::int32_t number : {3, -1, 3}) addValue(shelf, u"numbers", Value(number));
  EXPECT_EQ(textOf(shelf), "  Shelf {\n      numbers: {3, -1, 3}\n  }\n");
  EXPECT_THAT(markupOf(shelf), HasSubstr("<br/>\n<a name=\"@\"></a>" + nbsp(6) +
                                         "<span class='keyword'>numbers</span>:&nbsp;{3,&nbsp;-1,&nbsp;3}<br/>\n"));
}

TEST_F(PrettyPrinterTest, TakesAnUpperBoundOfZeroForSingle) {
  const ModelElement zero = newPrinted(fModel, u"Zero");
  zero->set(u"part", newPrinted(fModel, u"Part"));
  zero->set(u"size", std::int32_t{4});
  EXPECT_EQ(textOf(zero), "  Zero {\n      part: Part\n      size: 4\n  }\n");
}

TEST_F(PrettyPrinterTest, PrintsADestroyedElementAsOneLine) {
  const ModelElement package = examplePackage(fModel);
  package->destroy();
  EXPECT_EQ(textOf(package), "  Package\n");
}

TEST_F(PrettyPrinterTest, ConvertsNamesAndTextsToUtf8) {
  const ModelElement package = newPrinted(fModel, u"Package");
  package->set(u"name", u"\u00FC\u6F22\U0001F642");
  EXPECT_THAT(textOf(package), HasSubstr("name: \"\xC3\xBC\xE6\xBC\xA2\xF0\x9F\x99\x82\"\n"));
}

// --- What is hidden.

TEST_F(PrettyPrinterTest, HidesDefaultsEmptyCollectionsAndNullReferences) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  EXPECT_EQ(textOf(quiet), "  Quiet\n");
  EXPECT_EQ(markupOf(quiet), "<a name=\"1\"></a>&nbsp;&nbsp;<span class='entry' id='J1'>Quiet</span><br/>\n");
}

TEST_F(PrettyPrinterTest, ShowsDefaultsWhenAsked) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  EXPECT_EQ(textOf(PrettyPrinter().emitDefaultValues(true), quiet), "  Quiet {\n      count: 5\n  }\n");
}

TEST_F(PrettyPrinterTest, ShowsEmptyCollectionsWhenAsked) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  PrettyPrinter printer;
  printer.emitEmptyCollections(true);
  EXPECT_EQ(textOf(printer, quiet), "  Quiet {\n      sizes: {}\n      parts: {}\n  }\n");
  EXPECT_THAT(markupOf(printer, quiet),
              HasSubstr("<br/>\n<a name=\"@\"></a>" + nbsp(6) + "<span class='keyword'>sizes</span>:&nbsp;{}<br/>\n" +
                        "<a name=\"@\"></a>" + nbsp(6) + "<span class='keyword'>parts</span>:&nbsp;{}<br/>\n"));
}

TEST_F(PrettyPrinterTest, ShowsNullElementsWhenAsked) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  PrettyPrinter printer;
  printer.emitNullElements(true);
  EXPECT_EQ(textOf(printer, quiet), "  Quiet {\n      owner: <null>\n  }\n");
  EXPECT_THAT(markupOf(printer, quiet),
              HasSubstr(nbsp(6) + "<span class='keyword'>owner</span>:&nbsp;&lt;null&gt;<br/>\n"));
}

TEST_F(PrettyPrinterTest, TakesItsFlagsInOneChainAndBackAgain) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  PrettyPrinter printer;
  printer.emitDefaultValues(true).emitEmptyCollections(true).emitNullElements(true);
  EXPECT_EQ(textOf(printer, quiet),
            "  Quiet {\n      count: 5\n      sizes: {}\n      parts: {}\n      owner: <null>\n  }\n");
  printer.emitNullElements(false).emitEmptyCollections(false).emitDefaultValues(false);
  EXPECT_EQ(textOf(printer, quiet), "  Quiet\n");
}

TEST_F(PrettyPrinterTest, ShowsAnAbsentValueWithoutDefault) {
  EXPECT_EQ(textOf(newSample(fModel, u"Defaults", 1)), "  Defaults {\n      plain: <null>\n  }\n");
}

TEST_F(PrettyPrinterTest, ShowsAValueThatWasMadeAbsentAgainstItsDefault) {
  const ModelElement part = newPrinted(fModel, u"Part");
  part->unset(part->property(u"size"));
  EXPECT_EQ(textOf(part), "  Part {\n      size: <null>\n  }\n");
}

TEST_F(PrettyPrinterTest, LeavesNullMembersOutAndUsesTheirIndexUp) {
  const ModelElement box = newSample(fModel, u"Box", 1);
  box->set(u"name", u"x");
  addElement(box, u"links", box);
  addElement(box, u"links", ModelElement());
  addElement(box, u"links", box);
  EXPECT_EQ(textOf(box),
            "  Box {\n      name: \"x\"\n      links: {\n          [0]: Box\n          [2]: Box\n      }\n  }\n");
  EXPECT_THAT(textOf(PrettyPrinter().emitNullElements(true), box),
              HasSubstr("          [0]: Box\n          [1]: <null>\n          [2]: Box\n"));
}

TEST_F(PrettyPrinterTest, HidesACollectionOfNothingButNullMembers) {
  const ModelElement box = newSample(fModel, u"Box", 1);
  addElement(box, u"links", ModelElement());
  EXPECT_THAT(textOf(box), Not(HasSubstr("links")));
  EXPECT_THAT(textOf(PrettyPrinter().emitNullElements(true), box), HasSubstr("links: {\n          [0]: <null>\n"));
  EXPECT_THAT(textOf(PrettyPrinter().emitEmptyCollections(true), box), HasSubstr("links: {\n      }\n"));
}

TEST_F(PrettyPrinterTest, PassesOverPropertiesThatCannotBeRead) {
  const ModelElement safe = newPrinted(fModel, u"Safe");
  safe->set(u"before", std::int32_t{1});
  safe->set(u"after", std::int32_t{2});
  addValue(safe, u"codes", Value(std::int32_t{9}));
  const std::string expected = "  Safe {\n      before: 1\n      after: 2\n  }\n";
  EXPECT_EQ(textOf(safe), expected);
  EXPECT_EQ(textOf(PrettyPrinter().emitDefaultValues(true).emitEmptyCollections(true).emitNullElements(true), safe),
            expected);
}

TEST_F(PrettyPrinterTest, TellsOfAPropertyWhetherItCanBeRead) {
  const PrettyPrinter printer;
  const ModelElement safe = newPrinted(fModel, u"Safe");
  EXPECT_FALSE(printer.isPropertyToFullyHide(safe, safe->property(u"before")));
  EXPECT_TRUE(printer.isPropertyToFullyHide(safe, safe->property(u"code")));
  EXPECT_TRUE(printer.isPropertyToFullyHide(safe, safe->property(u"keys")));
  EXPECT_TRUE(printer.isPropertyToHideInTree(safe, safe->property(u"code")));
  EXPECT_TRUE(printer.isPropertyToFullyHide(safe, testsupport::printedClass(u"Part")->getProperty(u"size")));
  EXPECT_TRUE(printer.isPropertyToFullyHide(safe, Property()));
  EXPECT_TRUE(printer.isPropertyToFullyHide(ModelElement(), safe->property(u"before")));
}

TEST_F(PrettyPrinterTest, PrintsTheCollectionOfADestroyedOwnerNowhere) {
  const ModelElement package = examplePackage(fModel);
  const Property parts = package->property(u"parts");
  package->destroy();
  EXPECT_TRUE(PrettyPrinter().isPropertyToFullyHide(package, parts));
}

// --- Numbers.

TEST_F(PrettyPrinterTest, NumbersElementsAtFirstMention) {
  const ModelElement package = examplePackage(fModel);
  PrettyPrinter printer;
  const ModelElement team = package->get<ModelElement>(u"owner");
  EXPECT_EQ(printer.elemId(team), "1");
  textOf(printer, package);
  EXPECT_EQ(printer.elemId(package), "2");
  EXPECT_EQ(printer.elemId(team), "1");
  EXPECT_EQ(printer.elemId(fModel->findElement(testsupport::uuidEndingIn(3), kern::FindElementBehavior::InMemory)),
            "4");
}

TEST_F(PrettyPrinterTest, GivesNullTheNumberZeroAndNoOtherOne) {
  PrettyPrinter printer;
  EXPECT_EQ(printer.elemId(ModelElement()), "0");
  EXPECT_EQ(printer.elemId(newPrinted(fModel, u"Team")), "1");
  EXPECT_EQ(printer.elemId(nullptr), "0");
}

TEST_F(PrettyPrinterTest, KeepsNumbersFromPrintToPrint) {
  const ModelElement package = examplePackage(fModel);
  PrettyPrinter printer;
  const std::string first = markupOf(printer, package);
  EXPECT_EQ(markupOf(printer, package), first);
  EXPECT_EQ(printer.elemId(newPrinted(fModel, u"Team")), "5");
}

TEST_F(PrettyPrinterTest, NumbersByUuidWhateverTheModel) {
  PrettyPrinter printer;
  EXPECT_EQ(printer.elemId(newPrinted(fModel, u"Team", 7)), "1");
  EXPECT_EQ(printer.elemId(newPrinted(fModel, u"Team", 8)), "2");
  const Model other = emptyModel();
  EXPECT_EQ(printer.elemId(newPrinted(other, u"Part", 7)), "1");
}

TEST_F(PrettyPrinterTest, NumbersOnPlainStreamsAsOnPages) {
  const ModelElement package = examplePackage(fModel);
  PrettyPrinter printer;
  textOf(printer, package);
  PrettyPrinter other;
  EXPECT_EQ(markupOf(printer, package), markupOf(other, package));
}

TEST_F(PrettyPrinterTest, GoesOnNumberingInACopy) {
  const ModelElement a = newPrinted(fModel, u"Team");
  const ModelElement b = newPrinted(fModel, u"Team");
  PrettyPrinter printer;
  printer.emitNullElements(true);
  printer.elemId(a);

  PrettyPrinter copy(printer);
  EXPECT_EQ(copy.elemId(b), "2");
  EXPECT_EQ(copy.elemId(a), "1");
  EXPECT_FALSE(copy.isElementToHideInTree(nullptr));

  PrettyPrinter assigned;
  assigned.elemId(b);
  assigned = printer;
  EXPECT_EQ(assigned.elemId(a), "1");
  EXPECT_EQ(assigned.elemId(newPrinted(fModel, u"Team")), "2");
  EXPECT_EQ(assigned.elemId(b), "3");
  EXPECT_FALSE(assigned.isElementToHideInTree(nullptr));
}

// --- Names of things.

TEST_F(PrettyPrinterTest, NamesElementsWithoutMarkup) {
  PrettyPrinter printer;
  EXPECT_EQ(printer.elemStr(newPrinted(fModel, u"Team")), "Team");
  EXPECT_EQ(printer.elemStr(nullptr), "<null>");
}

TEST_F(PrettyPrinterTest, NamesAddressesAsAStreamDoes) {
  const int object = 0;
  std::ostringstream os;
  os << static_cast<const void*>(&object);
  EXPECT_EQ(PrettyPrinter::ptrId(&object), os.str());
  EXPECT_EQ(PrettyPrinter::ptrId(nullptr), "nullptr");
  EXPECT_EQ(PrettyPrinter::ptrId(reinterpret_cast<const void*>(~std::uintptr_t{0})), "0xffffffffffffffff");
}

TEST_F(PrettyPrinterTest, BearsTheSameIdForACollectionAtEveryRead) {
  const ModelElement package = examplePackage(fModel);
  html::StringStream first;
  html::StringStream second;
  PrettyPrinter().emitElement(first, package, "", true);
  PrettyPrinter().emitElement(second, package, "", true);
  EXPECT_EQ(first.str(), second.str());
}

TEST_F(PrettyPrinterTest, IndentsByFourColumnsALevelAndTwoWithoutAnExpander) {
  class Recording : public PrettyPrinter {
   public:
    void emitElementProperty(std::ostream&, const ModelElement&, const Property&) override {
      widths = {indent(true).size(), indent(false).size()};
    }
    std::pair<std::size_t, std::size_t> widths;
  } printer;
  EXPECT_EQ(printer.indent(true), "");
  EXPECT_EQ(printer.indent(false), "  ");
  textOf(printer, examplePackage(fModel));
  EXPECT_EQ(printer.widths, std::pair(std::size_t{4}, std::size_t{6}));
  EXPECT_EQ(printer.indent(false), "  ");
}

TEST_F(PrettyPrinterTest, WritesIndentationOfAnyWidth) {
  // 600 levels are more than two blocks of blanks.
  class Nesting : public PrettyPrinter {
   public:
    void emitElementProperty(std::ostream& os, const ModelElement& element, const Property& property) override {
      if (--levels > 0) {
        emitElement(os, element, "", true);
      } else {
        PrettyPrinter::emitElementProperty(os, element, property);
        expected = indent(false) + "size: 3\n";
      }
    }
    int levels = 600;
    std::string expected;
  } printer;
  const ModelElement part = newPrinted(fModel, u"Part");
  part->set(u"size", std::int32_t{3});
  const std::string text = textOf(printer, part);
  EXPECT_EQ(printer.expected.size(), std::size_t{600 * 4 + 2 + 8});
  EXPECT_THAT(text, HasSubstr("{\n" + printer.expected));
}

// --- Derived printers.

/// Flattens every collection of elements.
class Flattening : public PrettyPrinter {
 public:
  bool isPropertyToFlattenInTree(const Property&) const override { return true; }
};

TEST_F(PrettyPrinterTest, FlattensACollectionIntoItsOwnersLevel) {
  const ModelElement package = examplePackage(fModel);
  Flattening printer;
  EXPECT_EQ(textOf(printer, package),
            "  Package {\n"
            "      name: \"top\"\n"
            "      /* parts */\n"
            "      Part\n"
            "      Part {\n"
            "          size: 3\n"
            "      }\n"
            "\n"
            "      owner: Team\n"
            "  }\n");
  EXPECT_THAT(markupOf(printer, package),
              HasSubstr("<a name=\"@\"></a><span class='expander' id='Q@'>-</span>" + nbsp(1 + 4) +
                        "<span class='comment'>/*&nbsp;parts&nbsp;*/</span><br/>\n<span class='tree' id='O@'>"
                        "<a name=\"2\"></a>" +
                        nbsp(6) + "<span class='entry' id='J2'>Part</span><br/>\n"));
  EXPECT_THAT(markupOf(printer, package),
              HasSubstr(nbsp(6) + "</span>}<br/>\n<br/>\n</span>" + nbsp(6) + "<span class='keyword'>owner</span>"));
}

TEST_F(PrettyPrinterTest, FlattensAnEmptyCollectionIntoACommentAndABlankLine) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  Flattening printer;
  printer.emitEmptyCollections(true);
  EXPECT_EQ(textOf(printer, quiet), "  Quiet {\n      sizes: {}\n      /* parts */\n\n  }\n");
  EXPECT_THAT(markupOf(printer, quiet), HasSubstr("<a name=\"@\"></a>" + nbsp(6) +
                                                  "<span class='comment'>/*&nbsp;parts&nbsp;*/</span><br/>\n<br/>\n"));
}

TEST_F(PrettyPrinterTest, AsksForFlatteningOfClassTypedCollectionsOnly) {
  class Asking : public PrettyPrinter {
   public:
    bool isPropertyToFlattenInTree(const Property& property) const override {
      asked.push_back(bedrock::i18n::ustring_to_utf8(property->getName()));
      return false;
    }
    mutable std::vector<std::string> asked;
  } printer;
  textOf(printer, examplePackage(fModel));
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  addValue(shelf, u"numbers", Value(std::int32_t{1}));
  textOf(printer, shelf);
  EXPECT_THAT(printer.asked, testing::ElementsAre("parts"));
}

/// Decorates elements with their names.
class Naming : public PrettyPrinter {
 public:
  void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) override {
    PrettyPrinter::emitElementEntry(os, element, composite);
    os << (composite ? " " : "->") << html::tag2{"span", "named", "litText"};
  }
};

TEST_F(PrettyPrinterTest, LetsAnOverrideDecorateEntriesEverywhere) {
  const ModelElement package = examplePackage(fModel);
  Naming printer;
  const std::string text = textOf(printer, package);
  EXPECT_TRUE(text.starts_with("  Package named {\n")) << text;
  EXPECT_THAT(text, HasSubstr("owner: Team->named\n"));
  EXPECT_EQ(printer.elemStr(package), "Package->named");
  EXPECT_THAT(markupOf(printer, package),
              HasSubstr("<span class='entry' id='J4'>Team</span>-&gt;<span class='litText'>named</span><br/>\n"));
}

TEST_F(PrettyPrinterTest, NamesAnElementWithoutEntryByAnUnderscore) {
  class Silent : public PrettyPrinter {
   public:
    void emitElementEntry(std::ostream&, const ModelElement&, bool) override {}
  } printer;
  const ModelElement package = examplePackage(fModel);
  EXPECT_EQ(printer.elemStr(package), "_");
  EXPECT_EQ(printer.elemStr(nullptr), "<null>");
  EXPECT_THAT(textOf(printer, package), HasSubstr("owner: \n"));
}

TEST_F(PrettyPrinterTest, LetsAnOverrideHideElementsAndProperties) {
  class Hiding : public PrettyPrinter {
   public:
    bool isElementToHideInTree(const ModelElement& element) const override {
      return PrettyPrinter::isElementToHideInTree(element) || element->getMetaClass()->getName() == u"Part";
    }
    bool isPropertyToFullyHide(const ModelElement& element, const Property& property) const override {
      return property->getName() == u"name" || PrettyPrinter::isPropertyToFullyHide(element, property);
    }
  } printer;
  examplePackage(fModel);
  newPrinted(fModel, u"Part");
  EXPECT_EQ(textOf(printer, fModel), "  Package {\n      owner: Team\n  }\n  Team\n");
  printer.emitEmptyCollections(true);
  EXPECT_EQ(textOf(printer, fModel), "  Package {\n      parts: {\n      }\n      owner: Team\n  }\n  Team\n");
}

TEST_F(PrettyPrinterTest, KeepsTheProtectionOfAnOverrideThatCallsTheDefault) {
  class Selective : public PrettyPrinter {
   public:
    bool isPropertyToHideInTree(const ModelElement& element, const Property& property) const override {
      return property->getName() == u"before" || PrettyPrinter::isPropertyToHideInTree(element, property);
    }
  } printer;
  const ModelElement safe = newPrinted(fModel, u"Safe");
  safe->set(u"after", std::int32_t{2});
  EXPECT_EQ(textOf(printer, safe), "  Safe {\n      after: 2\n  }\n");
}

TEST_F(PrettyPrinterTest, LetsAnOverrideWriteAPropertyInItsOwnWay) {
  class Own : public PrettyPrinter {
   public:
    void emitElementProperty(std::ostream& os, const ModelElement& element, const Property& property) override {
      if (property->getName() == u"parts") {
        os << indent(false) << "and parts\n";
      } else {
        PrettyPrinter::emitElementProperty(os, element, property);
      }
    }
  } printer;
  EXPECT_EQ(textOf(printer, examplePackage(fModel)),
            "  Package {\n      name: \"top\"\n      and parts\n      owner: Team\n  }\n");
}

TEST_F(PrettyPrinterTest, LetsAnOverrideTreatSomeTypesOfValuesItself) {
  class Marking : public PrettyPrinter {
   public:
    void emitValue(std::ostream& os, const Type& type, const Value& value, bool optional) override {
      if (meta::StandardTypes::integerMeta == type) os << "number ";
      PrettyPrinter::emitValue(os, type, value, optional);
    }
  } printer;
  const std::string text = textOf(printer, examplePackage(fModel));
  EXPECT_THAT(text, HasSubstr("name: \"top\"\n"));
  EXPECT_THAT(text, HasSubstr("size: number 3\n"));
}

// --- Failures.

TEST_F(PrettyPrinterTest, PassesOnWhatAnOverrideThrowsAndStaysIndented) {
  class Throwing : public PrettyPrinter {
   public:
    void emitValue(std::ostream&, const Type&, const Value&, bool) override { throw 42; }
  } printer;
  const ModelElement package = examplePackage(fModel);
  std::ostringstream os;
  EXPECT_THROW(printer.emitElement(os, package, "", true), int);
  EXPECT_EQ(os.str(), "  Package {\n      name: ");
  EXPECT_EQ(printer.indent(true), "    ");
}

TEST_F(PrettyPrinterTest, PassesOnWhatTheStreamThrows) {
  class Full : public std::streambuf {
  } full;
  std::ostream os(&full);
  os.exceptions(std::ios_base::badbit);
  PrettyPrinter printer;
  EXPECT_THROW(printer.emitElement(os, examplePackage(fModel), "", true), std::ios_base::failure);
}

TEST_F(PrettyPrinterTest, RefusesNullModelsAndElements) {
  PrettyPrinter printer;
  std::ostringstream os;
  EXPECT_THROW(printer.print(os, Model()), std::invalid_argument);
  EXPECT_THROW(print(os, Model()), std::invalid_argument);
  EXPECT_THROW(printer.emitElementDef(os, nullptr), std::invalid_argument);
  const ModelElement team = newPrinted(fModel, u"Team");
  EXPECT_THROW(printer.emitElementProperty(os, team, Property()), std::invalid_argument);
  EXPECT_THROW(printer.emitElementProperty(os, nullptr, testsupport::printedClass(u"Part")->getProperty(u"size")),
               std::invalid_argument);
  EXPECT_EQ(os.str(), "");
}

TEST_F(PrettyPrinterTest, WritesNoNullElementUnlessAsked) {
  PrettyPrinter printer;
  std::ostringstream os;
  printer.emitElement(os, nullptr, "x", true);
  EXPECT_EQ(os.str(), "");
  printer.emitNullElements(true);
  printer.emitElement(os, nullptr, "x", true);
  printer.emitElementEntry(os, nullptr, false);
  EXPECT_EQ(os.str(), "  x: <null>\n<null>");
}

// --- Depth.

/// A chain of boxes, each in the one before.
ModelElement chainOfBoxes(const Model& model, std::size_t depth) {
  const meta::Class box = testsupport::sampleMetaModel().classNamed(u"Box");
  const Property content = box->getProperty(u"content");
  const Property name = box->getProperty(u"name");
  const ModelElement first = box->instantiate(model, {});
  ModelElement last = first;
  last->set(name, u"b");
  for (std::size_t i = 1; i < depth; ++i) {
    const ModelElement next = box->instantiate(model, {});
    next->set(name, u"b");
    last->set(content, next);
    last = next;
  }
  return first;
}

TEST_F(PrettyPrinterTest, PrintsDeepContainmentOnASmallStack) {
  constexpr std::size_t kDepth = 1000;
  chainOfBoxes(fModel, kDepth);
  std::string expected = "  Box {\n";
  for (std::size_t level = 1; level < kDepth; ++level) {
    const std::string blanks(level * 4 + 2, ' ');
    expected += blanks + "name: \"b\"\n" + blanks + "content: Box {\n";
  }
  expected += std::string(kDepth * 4 + 2, ' ') + "name: \"b\"\n";
  for (std::size_t level = kDepth; level-- > 0;) expected += std::string(level * 4 + 2, ' ') + "}\n";
  std::string text;
  onSmallStack([&] { text = textOf(fModel); });
  EXPECT_TRUE(text == expected);
}

/// The whole text of such a depth would be terabytes of blanks, so it goes to a stream that takes nothing.
TEST_F(PrettyPrinterTest, WalksContainmentOfAnyDepth) {
  constexpr std::size_t kDepth = testsupport::kManyLevels;
  class Counting : public PrettyPrinter {
   public:
    void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) override {
      ++entries;
      PrettyPrinter::emitElementEntry(os, element, composite);
    }
    std::size_t entries = 0;
  } printer;
  const ModelElement first = chainOfBoxes(fModel, kDepth);
  std::ostream os(nullptr);
  printer.print(os, fModel);
  EXPECT_EQ(printer.entries, kDepth);
  EXPECT_EQ(printer.indent(true), "");
  EXPECT_EQ(printer.elemId(first), "1");
}

}  // namespace
}  // namespace quillon::nimbo
