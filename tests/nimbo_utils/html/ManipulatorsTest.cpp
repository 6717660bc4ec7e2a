#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/StringStream.h"

namespace quillon::nimbo::html {
namespace {

template <typename... Parts>
std::string onPage(const Parts&... parts) {
  StringStream os;
  (os << ... << parts);
  return os.str();
}

template <typename... Parts>
std::string onPlain(const Parts&... parts) {
  std::ostringstream os;
  (os << ... << parts);
  return os.str();
}

static_assert(std::is_aggregate_v<tag> && std::is_aggregate_v<tag2> && std::is_aggregate_v<etag>);
static_assert(std::is_aggregate_v<preformatted> && std::is_aggregate_v<href> && std::is_aggregate_v<expander>);
static_assert(std::is_aggregate_v<def> && std::is_empty_v<tree> && std::is_empty_v<etree>);
static_assert(std::is_empty_v<defs> && std::is_empty_v<edefs>);

TEST(IsHTMLStream, IsFalseOnStreamsThatThisLayerDidNotMake) {
  std::ostringstream text;
  StringStream plain(false);
  EXPECT_FALSE(isHTMLStream(std::cout));
  EXPECT_FALSE(isHTMLStream(text));
  EXPECT_FALSE(isHTMLStream(plain));
}

TEST(IsHTMLStream, IsTrueOnAStringStream) {
  StringStream byDefault;
  StringStream asked(true);
  EXPECT_TRUE(isHTMLStream(byDefault));
  EXPECT_TRUE(isHTMLStream(asked));
}

TEST(IsHTMLStream, IsFalseOnAPlainStreamThatTookOverThePageStreamsFormat) {
  StringStream page;
  std::ostringstream text;
  text.copyfmt(page);
  EXPECT_FALSE(isHTMLStream(text));
  text << tag{"b"} << "a < b" << etag{"b"} << preformatted{"<"} << defs{} << edefs{};
  EXPECT_EQ(text.str(), "a < b<");
}

TEST(Manipulators, EachReturnsTheStreamItWasGiven) {
  std::ostringstream text;
  StringStream page;
  for (std::ostream* os : {static_cast<std::ostream*>(&text), static_cast<std::ostream*>(&page)}) {
    EXPECT_EQ(&(*os << tag{"b"}), os);
    EXPECT_EQ(&(*os << tag2{"b", "x"}), os);
    EXPECT_EQ(&(*os << etag{"b"}), os);
    EXPECT_EQ(&(*os << preformatted{"x"}), os);
    EXPECT_EQ(&(*os << href{"#1", "x"}), os);
    EXPECT_EQ(&(*os << href{"", "x"}), os);
    EXPECT_EQ(&(*os << expander{"1"}), os);
    EXPECT_EQ(&(*os << tree{}), os);
    EXPECT_EQ(&(*os << etree{}), os);
    EXPECT_EQ(&(*os << defs{}), os);
    EXPECT_EQ(&(*os << def{"a", "b", "1"}), os);
    EXPECT_EQ(&(*os << edefs{}), os);
  }
}

TEST(Tag, WritesClassAndIdOnlyWhenGiven) {
  EXPECT_EQ(onPage(tag{"span"}), "<span>");
  EXPECT_EQ(onPage(tag{"span", "keyword"}), "<span class='keyword'>");
  EXPECT_EQ(onPage(tag{"span", "", "12"}), "<span id='J12'>");
  EXPECT_EQ(onPage(tag{"span", "entry", "12"}), "<span class='entry' id='J12'>");
}

TEST(Tag, PutsTheLetterOfItsClassBeforeTheId) {
  const std::pair<const char*, const char*> letters[] = {
      {"desc", "D12"},     {"desc_hdr", "B12"},  {"descName", "S12"},      {"descAddr", "T12"}, {"expander", "Q12"},
      {"tree", "O12"},     {"entry", "J12"},     {"keyword", "J12"},       {"descItem", "J12"}, {"attrName", "J12"},
      {"desc_tbl", "J12"}, {"Desc", "J12"},      {"desc ", "J12"},         {"desc_", "J12"},    {"des", "J12"},
      {"toggle", "J12"},   {"expanders", "J12"}, {"onoff expander", "J12"}};
  for (const auto& [cls, id] : letters) {
    EXPECT_EQ(onPage(tag{"span", cls, "12"}), std::string("<span class='") + cls + "' id='" + id + "'>");
  }
}

TEST(Tag, EndsTheLineAfterADivOnly) {
  EXPECT_EQ(onPage(tag{"div", "desc", "12"}), "<div class='desc' id='D12'>\n");
  EXPECT_EQ(onPage(etag{"div"}), "</div>\n");
  EXPECT_EQ(onPage(tag{"p"}, etag{"p"}), "<p></p>");
}

TEST(Tag, LeavesOnlyTheTextOnAPlainStream) {
  StringStream plain(false);
  plain << tag{"div", "c", "1"} << "a b" << etag{"div"};
  EXPECT_EQ(plain.str(), "a b");
  EXPECT_EQ(onPlain(tag{"div", "c", "1"}, "a b", etag{"div"}), "a b");
}

TEST(Tag, EscapesOnlyTheTextOnAPage) { EXPECT_EQ(onPage(tag{"b"}, "a b", etag{"b"}), "<b>a&nbsp;b</b>"); }

TEST(Tag, IsNotTornByAWidthThatTheCallerSetForTheText) {
  EXPECT_EQ(onPage(std::setw(3), tag{"b"}, "x", etag{"b"}), "<b>&nbsp;&nbsp;x</b>");
}

TEST(Tag2, WrapsItsEscapedContents) {
  EXPECT_EQ(onPage(tag2{"span", "a<b"}), "<span>a&lt;b</span>");
  EXPECT_EQ(onPage(tag2{"span", "Part", "entry", "7"}), "<span class='entry' id='J7'>Part</span>");
  EXPECT_EQ(onPage(tag2{"div", "x", "desc", "7"}), "<div class='desc' id='D7'>\nx</div>\n");
  EXPECT_EQ(onPlain(tag2{"span", "a<b", "entry", "7"}), "a<b");
}

TEST(Preformatted, PassesEveryStreamUntouched) {
  EXPECT_EQ(onPage(preformatted{"<a name=\"1\"> &\\\n</a>"}), "<a name=\"1\"> &\\\n</a>");
  EXPECT_EQ(onPlain(preformatted{"<a name=\"1\">"}), "<a name=\"1\">");
}

TEST(Href, IsALinkAroundItsEscapedText) {
  EXPECT_EQ(onPage(href{"#12", "a b"}), "<a href='#12'>a&nbsp;b</a>");
  EXPECT_EQ(onPage(href{"#12", "x", "_top"}), "<a target='_top' href='#12'>x</a>");
  EXPECT_EQ(onPage(href{"#12", "{...}", "", "attrId"}), "<a class='attrId' href='#12'>{...}</a>");
  EXPECT_EQ(onPage(href{"#12", "x", "_top", "attrId"}), "<a target='_top' class='attrId' href='#12'>x</a>");
  EXPECT_EQ(onPlain(href{"#12", "a b", "_top", "attrId"}), "a b");
}

TEST(Href, WithoutALinkIsASpanAndNeverAnA) {
  EXPECT_EQ(onPage(href{"", "a b"}), "<span>a&nbsp;b</span>");
  EXPECT_EQ(onPage(href{"", "x", "_top", "attrId"}), "<span class='attrId'>x</span>");
  EXPECT_EQ(onPlain(href{"", "a b"}), "a b");
}

TEST(Expander, IsAButtonAndASpace) {
  EXPECT_EQ(onPage(expander{"12"}), "<span class='expander' id='Q12'>-</span>&nbsp;");
  EXPECT_EQ(onPage(expander{"12", true}), "<span class='expander' id='Q12'>-</span>&nbsp;");
}

TEST(Expander, TakesTheSameColumnsOnAPlainStreamUnlessToldOtherwise) {
  EXPECT_EQ(onPlain(expander{"12"}), "  ");
  EXPECT_EQ(onPlain(expander{"12", false}), "  ");
  EXPECT_EQ(onPlain(expander{"12", true}), "");
}

TEST(Tree, IsThePaneAroundIt) {
  EXPECT_EQ(onPage(tree{}, "x", etree{}),
            "<div class=content onmouseover='processMouseOver(event);' onmouseout='processMouseOut(event);' "
            "oncontextmenu='return processContextMenu(event);'>\n"
            "x</div>\n");
  EXPECT_EQ(onPlain(tree{}, "x", etree{}), "x");
}

TEST(Defs, HoldADummyEntryEvenWhenEmpty) {
  EXPECT_EQ(onPage(defs{}, edefs{}),
            "<div class=desc_tbl>\n"
            "<div class=desc_tbl_inner>\n"
            "<script type=\"text/javascript\">\n"
            "descDefs = {\n"
            "'Ddummy': \"\"\n"
            "};\n"
            "</script>\n"
            "</div>\n"
            "</div>\n");
  EXPECT_EQ(onPlain(defs{}, edefs{}), "");
}

/// What `parts` become between defs and edefs, without the fixed text around them.
template <typename... Parts>
std::string withinDefs(const Parts&... parts) {
  static const std::string kHead =
      "<div class=desc_tbl>\n<div class=desc_tbl_inner>\n<script type=\"text/javascript\">\ndescDefs = {\n'Ddummy': \"";
  static const std::string kEnd = "\"\n};\n</script>\n</div>\n</div>\n";
  const std::string text = onPage(defs{}, parts..., edefs{});
  EXPECT_TRUE(text.starts_with(kHead) && text.ends_with(kEnd)) << text;
  return text.substr(kHead.size(), text.size() - kHead.size() - kEnd.size());
}

TEST(Def, ClosesTheEntryBeforeItAndOpensItsOwn) {
  EXPECT_EQ(withinDefs(def{"Part", "p 1", "12", "#12"}, etag{"div"}),
            "\",\n"
            "'D12': \"<div class='desc' id='D12'>\\\n"
            "<div class='desc_hdr' id='B12'>\\\n"
            "<span class='descName' id='S12'>Part</span>"
            "<span class='descAddr' id='T12'><a href='#12'>p&nbsp;1</a></span></div>\\\n"
            "</div>\\\n");
}

TEST(Def, WithoutALinkShowsTheBareAddress) {
  EXPECT_EQ(withinDefs(def{"a<b", "x & y", "3"}, etag{"div"}),
            "\",\n"
            "'D3': \"<div class='desc' id='D3'>\\\n"
            "<div class='desc_hdr' id='B3'>\\\n"
            "<span class='descName' id='S3'>a&lt;b</span>"
            "<span class='descAddr' id='T3'>x&nbsp;&amp;&nbsp;y</span></div>\\\n"
            "</div>\\\n");
}

TEST(Def, WithoutAnIdHasNoAddress) {
  EXPECT_EQ(withinDefs(def{"name", "addr", "", "#1"}, etag{"div"}),
            "\",\n"
            "'D': \"<div class='desc'>\\\n"
            "<div class='desc_hdr'>\\\n"
            "<span class='descName'>name</span></div>\\\n"
            "</div>\\\n");
}

TEST(Def, LeavesNameAndAddressOnAPlainStream) {
  EXPECT_EQ(onPlain(def{"name", "addr", "12", "#12"}), "nameaddr");
  EXPECT_EQ(onPlain(def{"name", "addr"}), "name");
}

TEST(Defs, EscapeModelTextForTheStringItLiesIn) {
  EXPECT_EQ(withinDefs("say \"hi\" \\ 'x'"), "say&nbsp;&quot;hi&quot;&nbsp;\\&nbsp;'x'");
  EXPECT_EQ(withinDefs("a\nb"), "a<br/>\\\nb");
  EXPECT_EQ(withinDefs("a\tb"), "a\\\tb");
}

TEST(Defs, EscapeRawMarkupForTheStringItLiesIn) {
  EXPECT_EQ(withinDefs(tag{"span", "a\"b\\c"}), "<span class='a\\\"b\\\\c'>");
  EXPECT_EQ(withinDefs(preformatted{"\n \t<&>"}), "\\\n \\\t<&>");
}

TEST(Defs, DoNotOutliveTheirEnd) {
  EXPECT_EQ(onPage(defs{}, edefs{}, preformatted{"\"\\\n"}).substr(onPage(defs{}, edefs{}).size()), "\"\\\n");
  EXPECT_EQ(onPage(defs{}, edefs{}, "\"\\\n").substr(onPage(defs{}, edefs{}).size()), "&quot;\\<br/>\n");
}

TEST(Tree, DoesNotChangeTheModeOfAString) {
  const std::string text = withinDefs(tree{}, etree{}, preformatted{"\""});
  EXPECT_TRUE(text.ends_with("</div>\\\n\\\"")) << text;
}

}  // namespace
}  // namespace quillon::nimbo::html
