#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/StringStream.h"

namespace quillon::nimbo::html {
namespace {

/// Every byte but those that the escaping knows.
std::string ordinaryBytes() {
  std::string bytes;
  for (int ch = 0; ch < 256; ++ch) {
    if (std::string("\n \"&<>\\").find(static_cast<char>(ch)) == std::string::npos && ch >= ' ') {
      bytes.push_back(static_cast<char>(ch));
    }
  }
  return bytes;
}

std::string controlsWithoutNewline() {
  std::string bytes;
  for (int ch = 0; ch < ' '; ++ch) {
    if (ch != '\n') bytes.push_back(static_cast<char>(ch));
  }
  return bytes;
}

std::string withBackslashes(const std::string& bytes) {
  std::string text;
  for (const char ch : bytes) (text += '\\') += ch;
  return text;
}

/// What `text` becomes as text of the model, outside or inside a script's string.
std::string escaped(const std::string& text, bool jsString) {
  StringStream os;
  if (jsString) os << defs{};
  const std::size_t start = os.str().size();
  os << text;
  return os.str().substr(start);
}

/// What `text` becomes as markup.
std::string raw(const std::string& text, bool jsString) {
  StringStream os;
  if (jsString) os << defs{};
  const std::size_t start = os.str().size();
  os << preformatted{text};
  return os.str().substr(start);
}

TEST(StringStream, EscapesTextForHtml) {
  EXPECT_EQ(escaped("\n", false), "<br/>\n");
  EXPECT_EQ(escaped(" \"&<>\\'", false), "&nbsp;&quot;&amp;&lt;&gt;\\'");
  EXPECT_EQ(escaped(controlsWithoutNewline(), false), controlsWithoutNewline());
  EXPECT_EQ(escaped(ordinaryBytes(), false), ordinaryBytes());
}

TEST(StringStream, EscapesTextForHtmlWithinAScriptsString) {
  EXPECT_EQ(escaped("\n", true), "<br/>\\\n");
  EXPECT_EQ(escaped(" \"&<>\\'", true), "&nbsp;&quot;&amp;&lt;&gt;\\'");
  EXPECT_EQ(escaped(controlsWithoutNewline(), true), withBackslashes(controlsWithoutNewline()));
  EXPECT_EQ(escaped(ordinaryBytes(), true), ordinaryBytes());
}

TEST(StringStream, EscapesMarkupWithinAScriptsStringForTheScriptOnly) {
  EXPECT_EQ(raw("\n", true), "\\\n");
  EXPECT_EQ(raw(" \"&<>\\'", true), " \\\"&<>\\\\'");
  EXPECT_EQ(raw(controlsWithoutNewline(), true), withBackslashes(controlsWithoutNewline()));
  EXPECT_EQ(raw(ordinaryBytes(), true), ordinaryBytes());
}

TEST(StringStream, PassesMarkupUnchangedOutsideScripts) {
  const std::string all = controlsWithoutNewline() + "\n \"&<>\\'" + ordinaryBytes();
  EXPECT_EQ(raw(all, false), all);
}

TEST(StringStream, KeepsUtf8Whole) {
  const std::string text = "\xC3\xA4\xE6\xBC\xA2\xF0\x9F\x99\x82\xFF";  // the last is not even UTF-8
  EXPECT_EQ(escaped(text, false), text);
  EXPECT_EQ(escaped(text, true), text);
}

TEST(StringStream, EscapesWhateverIsFormatted) {
  StringStream os;
  os << 12 << ' ' << 0.5 << ' ' << true << std::endl << 'x';
  EXPECT_EQ(os.str(), "12&nbsp;0.5&nbsp;1<br/>\nx");
  EXPECT_TRUE(os.good());
}

TEST(StringStream, PassesEverythingWhenPlain) {
  const std::string all = controlsWithoutNewline() + "\n \"&<>\\'" + ordinaryBytes();
  StringStream os(false);
  os << all << preformatted{all} << defs{} << all << edefs{};
  EXPECT_EQ(os.str(), all + all + all);
}

TEST(StringStream, WritesNeitherPageHeadNorLegend) {
  StringStream os;
  EXPECT_EQ(os.str(), "");
}

TEST(StringStream, GivesACopyAtAnyTime) {
  StringStream os;
  os << "a";
  const std::string first = os.str();
  os << std::flush << "b";
  EXPECT_EQ(first, "a");
  EXPECT_EQ(os.str(), "ab");
}

TEST(StringStream, IgnoresTheEndOfFileCharacter) {
  StringStream os;
  EXPECT_EQ(os.rdbuf()->sputn("", 0), 0);
  os.put(static_cast<char>(std::char_traits<char>::eof()));  // a byte of 255, which is not the end of file
  EXPECT_EQ(os.str(), "\xFF");
}

TEST(StringStream, SurvivesBeingRedirectedWhileItIsDestroyed) {
  std::ostringstream other;
  {
    StringStream os;
    std::streambuf* const own = os.rdbuf(other.rdbuf());
    EXPECT_FALSE(isHTMLStream(os));
    EXPECT_EQ(os.str(), "");
    os << tag{"b"} << "a b";
    os.rdbuf(own);
    EXPECT_TRUE(isHTMLStream(os));
  }
  EXPECT_EQ(other.str(), "a b");
}

TEST(StringStream, IsDestroyedQuietlyWithExceptionsEnabled) {
  StringStream os;
  os.exceptions(std::ios_base::badbit | std::ios_base::failbit);
  os << "x";
  EXPECT_EQ(os.str(), "x");
}

}  // namespace
}  // namespace quillon::nimbo::html
