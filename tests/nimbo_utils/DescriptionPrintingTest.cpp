#include <ostream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/StringStream.h"
#include "support/PrintingMetaModel.h"
#include "support/TestMetaModel.h"

/// The descriptions of elements in the table of a page.
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
using testsupport::withoutAddresses;

class DescriptionPrinting : public testing::Test {
 protected:
  Model fModel = emptyModel();
};

/// On a plain stream, where rows run together.
std::string textOf(PrettyPrinter& printer, const ModelElement& element) {
  std::ostringstream os;
  printer.emitElementDef(os, element);
  return withoutAddresses(std::move(os).str());
}

std::string markupOf(PrettyPrinter& printer, const ModelElement& element) {
  html::StringStream os;
  printer.emitElementDef(os, element);
  return withoutAddresses(os.str());
}

std::string markupOf(const ModelElement& element) {
  PrettyPrinter printer;
  return markupOf(printer, element);
}

/// The rows of one property, on a stream outside the table, where lines end as they are.
std::string rowsOf(PrettyPrinter& printer, const ModelElement& element, const std::u16string& property) {
  html::StringStream os;
  printer.emitElementPropertyDef(os, element, element->property(property));
  return withoutAddresses(os.str());
}

std::string rowsOf(const ModelElement& element, const std::u16string& property) {
  PrettyPrinter printer;
  return rowsOf(printer, element, property);
}

std::string row(const std::string& name, const std::string& value) {
  return "<div class='descItem'>\n<span class='attrName'>" + name + "</span>" + value + "</div>\n";
}
std::string itemRow(const std::string& name, const std::string& cls, const std::string& value) {
  return row(name, "<span class='" + cls + "'>" + value + "</span>");
}
std::string entryRow(const std::string& name, const std::string& id, const std::string& text) {
  return row(name, "<span class='entry' id='J" + id + "'>" + text + "</span>");
}
std::string linkRow(const std::string& name, const std::string& text) {
  return row(name, "<a class='attrId' href='#@'>" + text + "</a>");
}

ModelElement packageWithParts(const Model& model) {
  const ModelElement package = newPrinted(model, u"Package", 1);
  package->set(u"name", u"top");
  addElement(package, u"parts", newPrinted(model, u"Part", 2));
  package->set(u"owner", newPrinted(model, u"Team", 3));
  return package;
}

/// Hides the properties of these names in the tree only.
class Hiding : public PrettyPrinter {
 public:
  explicit Hiding(std::u16string name) : fName(std::move(name)) {}
  bool isPropertyToHideInTree(const ModelElement& element, const Property& property) const override {
    return property->getName() == fName || PrettyPrinter::isPropertyToHideInTree(element, property);
  }

 private:
  std::u16string fName;
};

// --- The whole description.

TEST_F(DescriptionPrinting, DescribesAnElement) {
  const ModelElement package = packageWithParts(fModel);
  html::StringStream os;
  PrettyPrinter printer;
  os << html::defs{};
  printer.emitElementDef(os, package);
  os << html::edefs{};
  EXPECT_EQ(withoutAddresses(os.str()),
            "<div class=desc_tbl>\n"
            "<div class=desc_tbl_inner>\n"
            "<script type=\"text/javascript\">\n"
            "descDefs = {\n"
            "'Ddummy': \"\",\n"
            "'D1': \"<div class='desc' id='D1'>\\\n"
            "<div class='desc_hdr' id='B1'>\\\n"
            "<span class='descName' id='S1'>Package</span>"
            "<span class='descAddr' id='T1'><a href='#1'>Package</a></span></div>\\\n"
            "<div class='descItem'>\\\n"
            "<span class='attrName'>UUID</span>"
            "<span class='attrId'>00000000-0000-0000-0000-000000000001</span></div>\\\n"
            "<div class='descItem'>\\\n"
            "<span class='attrName'>name</span><span class='attrId'>top</span></div>\\\n"
            "<div class='descItem'>\\\n"
            "<span class='attrName'>parts</span><a class='attrId' href='#@'>{...}</a></div>\\\n"
            "<div class='descItem'>\\\n"
            "<span class='attrName'>owner</span><span class='entry' id='J2'>Team</span></div>\\\n"
            "</div>\\\n"
            "\"\n"
            "};\n"
            "</script>\n"
            "</div>\n"
            "</div>\n");
}

TEST_F(DescriptionPrinting, WritesNamesAndValuesWithoutSeparatorsOnAPlainStream) {
  PrettyPrinter printer;
  EXPECT_EQ(textOf(printer, packageWithParts(fModel)),
            "PackagePackageUUID00000000-0000-0000-0000-000000000001nametopparts{...}ownerTeam");
}

TEST_F(DescriptionPrinting, KeepsModelTextFromEndingTheString) {
  const ModelElement package = newPrinted(fModel, u"Package");
  package->set(u"name", u"a \"b\"\nc");
  EXPECT_THAT(markupOf(package), HasSubstr("<span class='attrId'>a&nbsp;&quot;b&quot;<br/>\\\nc</span>"));
}

TEST_F(DescriptionPrinting, NamesTheContainerWhereThereIsOne) {
  const ModelElement package = packageWithParts(fModel);
  const ModelElement part = fModel->findElement(testsupport::uuidEndingIn(2), kern::FindElementBehavior::InMemory);
  PrettyPrinter printer;
  printer.elemId(package);
  EXPECT_THAT(markupOf(printer, part),
              HasSubstr("<span class='attrName'>container</span><span class='entry' id='J1'>Package</span></div>\\\n"
                        "</div>\\\n"));
  EXPECT_THAT(markupOf(printer, package), Not(HasSubstr("container")));
}

TEST_F(DescriptionPrinting, ShowsANullContainerAsNumberZeroWhenAsked) {
  PrettyPrinter printer;
  printer.emitNullElements(true);
  EXPECT_THAT(markupOf(printer, newPrinted(fModel, u"Team")),
              HasSubstr("<span class='attrName'>container</span><span class='entry' id='J0'>&lt;null&gt;</span>"));
}

TEST_F(DescriptionPrinting, LeavesOutWhatCannotBeRead) {
  const ModelElement safe = newPrinted(fModel, u"Safe", 1);
  safe->set(u"before", std::int32_t{1});
  safe->set(u"after", std::int32_t{2});
  PrettyPrinter printer;
  printer.emitDefaultValues(true).emitEmptyCollections(true);
  EXPECT_EQ(textOf(printer, safe), "SafeSafeUUID00000000-0000-0000-0000-000000000001before1after2");
}

TEST_F(DescriptionPrinting, PassesOnWhatCannotBeReadWhenAskedForItDirectly) {
  const ModelElement safe = newPrinted(fModel, u"Safe");
  EXPECT_THROW(rowsOf(safe, u"code"), kern::PropertyError);
}

// --- References.

TEST_F(DescriptionPrinting, ShowsATargetAsItsEntry) {
  EXPECT_EQ(rowsOf(packageWithParts(fModel), u"owner"), entryRow("owner", "1", "Team"));
}

TEST_F(DescriptionPrinting, ShowsANullTargetOnlyWhenAsked) {
  const ModelElement package = newPrinted(fModel, u"Package");
  EXPECT_EQ(rowsOf(package, u"owner"), "");
  PrettyPrinter printer;
  printer.emitNullElements(true);
  EXPECT_EQ(rowsOf(printer, package, u"owner"), entryRow("owner", "0", "&lt;null&gt;"));
}

TEST_F(DescriptionPrinting, ShowsATargetThatTheTreeHides) {
  Hiding printer(u"owner");
  EXPECT_EQ(rowsOf(printer, packageWithParts(fModel), u"owner"), entryRow("owner", "1", "Team"));
}

TEST_F(DescriptionPrinting, LinksAShownCollection) {
  EXPECT_EQ(rowsOf(packageWithParts(fModel), u"parts"), linkRow("parts", "{...}"));
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  addValue(shelf, u"numbers", Value(std::int32_t{3}));
  EXPECT_EQ(rowsOf(shelf, u"numbers"), linkRow("numbers", "{...}"));
}

TEST_F(DescriptionPrinting, LinksToWhereTheTreeShowsTheCollection) {
  const ModelElement package = packageWithParts(fModel);
  PrettyPrinter printer;
  html::StringStream rows;
  printer.emitElementPropertyDef(rows, package, package->property(u"parts"));
  const std::string text = rows.str();
  const std::size_t from = text.find("href='#") + 7;
  const std::string id = text.substr(from, text.find('\'', from) - from);
  html::StringStream tree;
  printer.emitElement(tree, package, "", true);
  EXPECT_THAT(tree.str(), HasSubstr("<a name=\"" + id + "\"></a><span class='expander' id='Q" + id + "'>"));
  EXPECT_THAT(tree.str(), HasSubstr("<span class='tree' id='O" + id + "'>"));
}

TEST_F(DescriptionPrinting, ShowsEmptyCollectionsOnlyWhenAsked) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  EXPECT_EQ(rowsOf(quiet, u"parts"), "");
  EXPECT_EQ(rowsOf(quiet, u"sizes"), "");
  PrettyPrinter printer;
  printer.emitEmptyCollections(true);
  EXPECT_EQ(rowsOf(printer, quiet, u"parts"), linkRow("parts", "{}"));
  EXPECT_EQ(rowsOf(printer, quiet, u"sizes"), linkRow("sizes", "{}"));
}

TEST_F(DescriptionPrinting, LinksAnEmptyCollectionAlsoWhereTheTreeHidesIt) {
  Hiding printer(u"parts");
  printer.emitEmptyCollections(true);
  EXPECT_EQ(rowsOf(printer, newPrinted(fModel, u"Quiet"), u"parts"), linkRow("parts", "{}"));
}

TEST_F(DescriptionPrinting, SpellsOutTheElementsThatTheTreeHides) {
  const ModelElement package = packageWithParts(fModel);
  addElement(package, u"parts", newPrinted(fModel, u"Part", 9));
  Hiding printer(u"parts");
  EXPECT_EQ(rowsOf(printer, package, u"parts"), itemRow("parts", "attrId", "") +
                                                    entryRow("&nbsp;&nbsp;[0]", "1", "Part") +
                                                    entryRow("&nbsp;&nbsp;[1]", "2", "Part"));
}

TEST_F(DescriptionPrinting, SpellsOutTheNullMembersOfACollectionThatHoldsNothingElse) {
  const ModelElement box = newSample(fModel, u"Box", 1);
  addElement(box, u"links", ModelElement());
  EXPECT_EQ(rowsOf(box, u"links"), itemRow("links", "attrId", "") + entryRow("&nbsp;&nbsp;[0]", "0", "&lt;null&gt;"));
}

TEST_F(DescriptionPrinting, SpellsOutTheValuesThatTheTreeHides) {
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  addValue(shelf, u"numbers", Value(std::int32_t{3}));
  addValue(shelf, u"numbers", Value(std::int32_t{-1}));
  Hiding printer(u"numbers");
  EXPECT_EQ(rowsOf(printer, shelf, u"numbers"), itemRow("numbers", "attrId", "") +
                                                    itemRow("&nbsp;&nbsp;[0]", "attrNum", "3") +
                                                    itemRow("&nbsp;&nbsp;[1]", "attrNum", "-1"));
}

TEST_F(DescriptionPrinting, SpellsOutTheCollectionsOfAnElementThatTheTreeHides) {
  class HidingAll : public PrettyPrinter {
   public:
    bool isElementToHideInTree(const ModelElement&) const override { return true; }
  } printer;
  const ModelElement shelf = newPrinted(fModel, u"Shelf");
  addValue(shelf, u"numbers", Value(std::int32_t{3}));
  EXPECT_EQ(rowsOf(printer, shelf, u"numbers"),
            itemRow("numbers", "attrId", "") + itemRow("&nbsp;&nbsp;[0]", "attrNum", "3"));
}

// --- Values.

TEST_F(DescriptionPrinting, ShowsDefaultsOnlyWhenAsked) {
  const ModelElement quiet = newPrinted(fModel, u"Quiet");
  EXPECT_EQ(rowsOf(quiet, u"count"), "");
  PrettyPrinter printer;
  printer.emitDefaultValues(true);
  EXPECT_EQ(rowsOf(printer, quiet, u"count"), itemRow("count", "attrNum", "5"));
}

TEST_F(DescriptionPrinting, ShowsAnAbsentValueWithoutDefault) {
  EXPECT_EQ(rowsOf(newSample(fModel, u"Defaults", 1), u"plain"), itemRow("plain", "attrNum", "&lt;null&gt;"));
}

TEST_F(DescriptionPrinting, ShowsASingleValueThatTheTreeHides) {
  Hiding printer(u"name");
  EXPECT_EQ(rowsOf(printer, packageWithParts(fModel), u"name"), itemRow("name", "attrId", "top"));
}

// --- Derived printers.

TEST_F(DescriptionPrinting, LetsAnOverrideAddRowsAtTheEnd) {
  class Adding : public PrettyPrinter {
   public:
    void emitElementDefExtras(std::ostream& os, const ModelElement& element) override {
      os << html::tag2{"span", "note of " + elemStr(element), "attrType"};
    }
  } printer;
  const std::string text = markupOf(printer, packageWithParts(fModel));
  EXPECT_TRUE(
      text.ends_with("<span class='entry' id='J2'>Team</span></div>\\\n"
                     "<span class='attrType'>note&nbsp;of&nbsp;Package</span></div>\\\n"))
      << text;
}

TEST_F(DescriptionPrinting, TakesTheNamesOfElementsFromTheirEntries) {
  class Named : public PrettyPrinter {
   public:
    void emitElementEntry(std::ostream& os, const ModelElement& element, bool) override {
      os << "<" << elemId(element) << ">";
    }
  } printer;
  const std::string text = markupOf(printer, packageWithParts(fModel));
  EXPECT_THAT(text, HasSubstr("<span class='descName' id='S1'>Package</span>"
                              "<span class='descAddr' id='T1'><a href='#1'>&lt;1&gt;</a></span>"));
  EXPECT_THAT(text, HasSubstr("<span class='entry' id='J2'>&lt;2&gt;</span>"));
}

TEST_F(DescriptionPrinting, LeavesOutWhatAnOverrideFullyHides) {
  class Selective : public PrettyPrinter {
   public:
    bool isPropertyToFullyHide(const ModelElement& element, const Property& property) const override {
      return property->getName() == u"name" || PrettyPrinter::isPropertyToFullyHide(element, property);
    }
  } printer;
  EXPECT_EQ(textOf(printer, packageWithParts(fModel)),
            "PackagePackageUUID00000000-0000-0000-0000-000000000001parts{...}ownerTeam");
}

TEST_F(DescriptionPrinting, LetsAnOverrideTreatSomeTypesOfValuesItself) {
  class Masking : public PrettyPrinter {
   public:
    void emitValueDescItem(std::ostream& os, const std::string& name, const Type& type, const Value& value,
                           bool optional) override {
      if (name == "name") {
        os << "(hidden)";
      } else {
        PrettyPrinter::emitValueDescItem(os, name, type, value, optional);
      }
    }
  } printer;
  EXPECT_EQ(rowsOf(printer, packageWithParts(fModel), u"name"), "(hidden)");
}

}  // namespace
}  // namespace quillon::nimbo
