#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/OFStream.h"

// The fixed text of a page, as it stands in the file. What it does in a browser is tested under tests/page.
namespace quillon::nimbo::html {
namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// The file of an empty model.
std::string emptyPage() {
  std::string folder = (fs::temp_directory_path() / "nimbo-page-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
  const std::string path = folder + "/page.html";
  {
    OFStream os(path);
    os << tree{} << etree{} << defs{} << edefs{};
  }
  std::string page = contentsOf(path);
  fs::remove_all(folder);
  return page;
}

std::string between(const std::string& text, const std::string& from, const std::string& to) {
  const std::size_t start = text.find(from);
  const std::size_t end = text.find(to, start + from.size());
  if (start == std::string::npos || end == std::string::npos) return "no " + from + " ... " + to;
  return text.substr(start + from.size(), end - start - from.size());
}

const fs::path kPage = fs::path(NIMBO_SOURCE_ROOT) / "shared/nimbo_utils/src/html/page";

TEST(PageTemplate, BeginsWithTheDeclarationAndTheEncoding) {
  EXPECT_TRUE(emptyPage().starts_with(R"(<!DOCTYPE HTML PUBLIC "-//W3C//DTD HTML 4.01 Transitional//EN" )"
                                      R"("http://www.w3.org/TR/html4/loose.dtd">
<html>
<head>
<meta http-equiv="Content-Type" content="text/html;charset=utf-8">
<style type="text/css" media="screen">
)"));
}

TEST(PageTemplate, HoldsTheStyleSheetAndTheScriptAsTheyStandInTheirFiles) {
  const std::string page = emptyPage();
  EXPECT_EQ(between(page, "<style type=\"text/css\" media=\"screen\">\n", "</style>\n"),
            contentsOf(kPage / "ReportPage.css"));
  const std::string script = between(page, "<script type=\"text/javascript\">\n", "</script>\n");
  for (const auto& entry : fs::directory_iterator(kPage / "script")) {
    EXPECT_NE(script.find(contentsOf(entry.path())), std::string::npos) << entry.path();
  }
}

TEST(PageTemplate, HasASecondStyleForOneBrowser) {
  EXPECT_EQ(between(emptyPage(), "<!--[if IE]>\n", "<![endif]-->"), R"(<style type="text/css" media="screen">
span.attrName { float: left; }
div.colorShadow, div.contextShadow { filter: alpha(opacity=50); }
</style>
)");
}

TEST(PageTemplate, ContinuesWithBodyBarAndMenus) {
  EXPECT_EQ(between(emptyPage(), "</head>\n", "<!-- End of boilerplate -->\n"),
            R"(<body onload='initAll()' onmousedown='return processMouseDown(event);' )"
            R"(onmouseup='return processMouseUp(event);' onClick='return processClick(event);' )"
            R"(onmousemove='return processMouseMove(event);' bgcolor=white>
<div class="topbar">
<form class="myform" name="view" action="" onsubmit="processButton(this); return false;">)"
            R"(<input type="submit" value="Infix" id="view" class="button"></form>
<form class="myform" name="box" action="" onsubmit="processButton(this); return false;">)"
            R"(<input type="submit" value="Box" id="box" class="button"></form>
<form class="myform" name="legend" action="" onsubmit="processButton(this); return false;">)"
            R"(<input type="submit" value="Legend" id="legend" class="button"></form>
<form class="myform" name="colors" action="" onsubmit="processBrewer(this); return false;">)"
            R"(<input type="submit" value="Colorset" id="colors" class="button"></form>
<form class="myform" name="addressForm" action="">Address: )"
            R"(<input type="text" name="iAddress" class="address" onKeyPress="return processKeyPress(this,event);">)"
            R"(<input type="text" name="iFeedback" id="oFeedback" class="feedback" readonly></form>
</div>
<div class="colorMenu"><ul class="colorList"></ul></div>
<div class="colorShadow"></div>
<div class="contextMenu"><ul class="contextList"></ul></div>
<div class="contextShadow"></div>
)");
}

TEST(PageTemplate, OfAnEmptyModelIsComplete) {
  EXPECT_EQ(between(emptyPage(), "<!-- End of boilerplate -->\n", "<div class=\"legend\">"),
            R"(<div class=content onmouseover='processMouseOver(event);' onmouseout='processMouseOut(event);' )"
            R"(oncontextmenu='return processContextMenu(event);'>
</div>
<div class=desc_tbl>
<div class=desc_tbl_inner>
<script type="text/javascript">
descDefs = {
'Ddummy': ""
};
</script>
</div>
</div>
<!-- Legend and end -->
)");
}

TEST(PageTemplate, EndsWithTheLegend) {
  EXPECT_EQ(between(emptyPage(), "<!-- Legend and end -->\n", "</html>\n"),
            R"(<div class="legend">
<div class="legend_hdr">Legend</div>
<span class="onoff expander" id="QAonoff_ex">-</span><span class="tree" id="OAonoff_ex"><span class="legend-item">)"
            R"(<span class="on"> = collapse</span><span class="off"> = expand</span></span></span>
<span class="bracket">#(</span><span class="legend-item"> = expr node </span>
<span class="bracket2">#(</span><span class="legend-item"> = const node</span>
<span class="op">+</span><span class="legend-item"> = operator</span>
<span class="keyword">if</span><span class="legend-item"> = keyword</span>
<span class="pskeyword">label</span><span class="legend-item"> = pseudo keyword</span>
<span class="regiondesc">Chain</span><span class="legend-item"> = region</span>
<span class="litText">"hi"</span><span class="legend-item"> = string, literal text</span>
</div>
</body>
)");
}

/// All that a printer, this library's or a derived one, may rely on being styled.
TEST(PageTemplate, StylesEveryClassThatPrintersMayUse) {
  const std::string style = contentsOf(kPage / "ReportPage.css");
  for (const std::string selector : {"body",
                                     "html",
                                     "div.topbar",
                                     "div.desc_tbl",
                                     "div.desc_tbl_inner",
                                     "div.content",
                                     "div.legend",
                                     "div.desc",
                                     "div.desc div.desc",
                                     "div.descItem",
                                     "div.desc_hdr",
                                     "span.keyword",
                                     "span.comment",
                                     "span.entry",
                                     "div.descItem span.entry",
                                     "span.attrName",
                                     "span.descName",
                                     "span.descItem",
                                     "span.descAddr",
                                     "span.attrNum",
                                     "span.attrEnum",
                                     "span.attrType",
                                     "span.attrBool",
                                     "span.attrId",
                                     "a.attrId",
                                     "span.attrBad",
                                     "span.string",
                                     "span.tree",
                                     "span.expander",
                                     "span.pskeyword",
                                     "span.warning",
                                     "span.error",
                                     "span.litText",
                                     "span.textBox",
                                     "div.stat",
                                     "div.constant",
                                     "span.top-constant",
                                     "span.expr",
                                     "div.expr-cont",
                                     "span.expr-align",
                                     "span.top-expr",
                                     "div.control-expr",
                                     "div.scope",
                                     "div.scopes",
                                     "div.scope_entry",
                                     "div.scope_entry_list",
                                     "span.region",
                                     "span.regiondesc",
                                     "span.bracket",
                                     "span.bracket2",
                                     "span.oper",
                                     "span.op",
                                     "span.op2",
                                     "span.inop",
                                     "span.preop",
                                     "span.in-plain",
                                     ".myform",
                                     ".button",
                                     ".address",
                                     ".feedback",
                                     "span.legend-item",
                                     "div.legend_hdr",
                                     "div.colorMenu",
                                     "div.colorShadow",
                                     "ul.colorList",
                                     "div.contextMenu",
                                     "div.contextShadow",
                                     "ul.contextList",
                                     "li.contextOption",
                                     "li.colorItem",
                                     "span.colorName",
                                     "span.square",
                                     "span.on",
                                     "span.off"}) {
    const std::size_t at = style.find("\n" + selector);
    const bool first =
        at != std::string::npos && std::string(" ,{:").find(style[at + 1 + selector.size()]) != std::string::npos;
    EXPECT_TRUE(first || style.find(", " + selector + " ") != std::string::npos ||
                style.find(", " + selector + ",") != std::string::npos)
        << selector;
  }
}

}  // namespace
}  // namespace quillon::nimbo::html
