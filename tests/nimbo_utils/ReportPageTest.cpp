#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/OFStream.h"
#include "support/PrintingMetaModel.h"
#include "support/TestMetaModel.h"

/// Whole pages as generateHTMLFile writes them. What they do in a browser is told by the tests in tests/page.
namespace quillon::nimbo {
namespace {

namespace fs = std::filesystem;
namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using testsupport::addElement;
using testsupport::emptyModel;
using testsupport::newPrinted;
using testsupport::withoutAddresses;

const char* const kContentOpening =
    "<div class=content onmouseover='processMouseOver(event);' onmouseout='processMouseOut(event);' "
    "oncontextmenu='return processContextMenu(event);'>\n";
const char* const kTableOpening =
    "<div class=desc_tbl>\n<div class=desc_tbl_inner>\n<script type=\"text/javascript\">\ndescDefs = {\n'Ddummy': \"";
const char* const kTableClosing = "\"\n};\n</script>\n</div>\n</div>\n";

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class ReportPage : public testing::Test {
 protected:
  ReportPage() {
    std::string pattern = (fs::temp_directory_path() / "nimbo-report-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    fFolder = pattern;
  }
  ~ReportPage() override { fs::remove_all(fFolder); }

  [[nodiscard]] std::string path() const { return (fFolder / "page.html").string(); }

  /// A page with this between its head and its end.
  [[nodiscard]] std::string pageAround(const std::string& middle) const {
    const std::string other = (fFolder / "empty.html").string();
    { html::OFStream os(other); }
    std::string page = contentsOf(other);
    const std::string mark = "<!-- End of boilerplate -->\n";
    return page.insert(page.find(mark) + mark.size(), middle);
  }

  [[nodiscard]] std::string page() const { return withoutAddresses(contentsOf(path())); }

  fs::path fFolder;
};

ModelElement teamAndPackage(const Model& model) {
  newPrinted(model, u"Team", 1);
  const ModelElement package = newPrinted(model, u"Package", 2);
  package->set(u"name", u"a\nb");
  addElement(package, u"parts", newPrinted(model, u"Part", 3));
  return package;
}

const char* const kTreeOfTeamAndPackage =
    "<a name=\"1\"></a>&nbsp;&nbsp;<span class='entry' id='J1'>Team</span><br/>\n"
    "<a name=\"2\"></a><span class='expander' id='Q2'>-</span>&nbsp;<span class='entry' id='J2'>Package</span>"
    "&nbsp;{<span class='tree' id='O2'><br/>\n"
    "&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;<span class='keyword'>name</span>:&nbsp;&quot;a<br/>\nb&quot;<br/>\n"
    "<a name=\"@\"></a><span class='expander' id='Q@'>-</span>&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;"
    "<span class='keyword'>parts</span>:&nbsp;{<span class='tree' id='O@'><br/>\n"
    "<a name=\"3\"></a>&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;"
    "<span class='keyword'>[0]</span>:&nbsp;<span class='entry' id='J3'>Part</span><br/>\n"
    "&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</span>}<br/>\n"
    "&nbsp;&nbsp;</span>}<br/>\n";

std::string descriptionHead(const std::string& id, const std::string& name) {
  return "\",\n'D" + id + "': \"<div class='desc' id='D" + id + "'>\\\n<div class='desc_hdr' id='B" + id +
         "'>\\\n<span class='descName' id='S" + id + "'>" + name + "</span><span class='descAddr' id='T" + id +
         "'><a href='#" + id + "'>" + name +
         "</a></span></div>\\\n"
         "<div class='descItem'>\\\n<span class='attrName'>UUID</span>"
         "<span class='attrId'>00000000-0000-0000-0000-00000000000" +
         id + "</span></div>\\\n";
}

TEST_F(ReportPage, HoldsTheTreeThenADescriptionOfEveryElement) {
  const Model model = emptyModel();
  teamAndPackage(model);
  generateHTMLFile(path(), model);
  EXPECT_EQ(
      page(),
      pageAround(kContentOpening + std::string(kTreeOfTeamAndPackage) + "</div>\n" + kTableOpening +
                 descriptionHead("1", "Team") + "</div>\\\n" + descriptionHead("2", "Package") +
                 "<div class='descItem'>\\\n<span class='attrName'>name</span><span class='attrId'>a<br/>\\\nb</span>"
                 "</div>\\\n"
                 "<div class='descItem'>\\\n<span class='attrName'>parts</span><a class='attrId' href='#@'>{...}</a>"
                 "</div>\\\n</div>\\\n" +
                 descriptionHead("3", "Part") +
                 "<div class='descItem'>\\\n<span class='attrName'>container</span>"
                 "<span class='entry' id='J2'>Package</span></div>\\\n</div>\\\n" +
                 kTableClosing));
}

TEST_F(ReportPage, IsCompleteForAnEmptyModel) {
  generateHTMLFile(path(), emptyModel());
  EXPECT_EQ(page(), pageAround(std::string(kContentOpening) + "</div>\n" + kTableOpening + kTableClosing));
}

TEST_F(ReportPage, GoesOnWithTheNumbersOfItsPrinter) {
  const Model model = emptyModel();
  teamAndPackage(model);
  PrettyPrinter printer;
  printer.elemId(model->findElement(testsupport::uuidEndingIn(3), kern::FindElementBehavior::InMemory));
  printer.generateHTMLFile(path(), model);
  EXPECT_THAT(page(), testing::HasSubstr("<span class='entry' id='J1'>Part</span>"));
  EXPECT_THAT(page(), testing::HasSubstr("'D1': \"<div class='desc' id='D1'>\\\n<div class='desc_hdr' id='B1'>\\\n"
                                         "<span class='descName' id='S1'>Part</span>"));
}

TEST_F(ReportPage, IsClosedWhenAWalkThrows) {
  class Throwing : public PrettyPrinter {
   public:
    void emitElementDefExtras(std::ostream&, const ModelElement&) override { throw std::runtime_error("no more"); }
  } printer;
  const Model model = emptyModel();
  teamAndPackage(model);
  EXPECT_THROW(printer.generateHTMLFile(path(), model), std::runtime_error);
  EXPECT_EQ(page(), pageAround(kContentOpening + std::string(kTreeOfTeamAndPackage) + "</div>\n" + kTableOpening +
                               descriptionHead("1", "Team")));
}

TEST_F(ReportPage, IsLostInSilenceWhenItsFolderIsMissing) {
  const std::string missing = (fFolder / "no" / "page.html").string();
  const Model model = emptyModel();
  teamAndPackage(model);
  EXPECT_NO_THROW(generateHTMLFile(missing, model));
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(ReportPage, LeavesTheFileAloneForANullModel) {
  EXPECT_THROW(generateHTMLFile(path(), Model()), std::invalid_argument);
  EXPECT_FALSE(fs::exists(path()));
}

}  // namespace
}  // namespace quillon::nimbo
