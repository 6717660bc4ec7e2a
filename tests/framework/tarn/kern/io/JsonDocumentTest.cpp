#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "JsonDocument.h"

namespace tarn::kern::io {
namespace {

std::string errorOf(std::string_view text) {
  try {
    const JsonDocument document(text, "f.json");
  } catch (const ParseError& error) {
    return error.what();
  }
  return "no error";
}

/// The content once more, without blanks, strings as they are spelled.
std::string spelled(const JsonNode& node) {
  switch (node.kind()) {
    case JsonKind::Null:
      return "null";
    case JsonKind::False:
      return "false";
    case JsonKind::True:
      return "true";
    case JsonKind::Number:
      return std::string(node.raw());
    case JsonKind::String:
      return '"' + std::string(node.raw()) + '"';
    case JsonKind::Array: {
      std::string text;
      for (const JsonNode& entry : node.entries()) text += (text.empty() ? "" : ",") + spelled(entry);
      return '[' + text + ']';
    }
    case JsonKind::Object: {
      std::string text;
      for (const JsonMember& member : node.members()) {
        text += (text.empty() ? "" : ",") + spelled(member.key) + ':' + spelled(member.value);
      }
      return '{' + text + '}';
    }
  }
  return {};
}

TEST(JsonDocument, HoldsEveryKindOfValue) {
  const std::string text = R"({"a":[],"b":{},"c":[1,-2.5e+3,true,false,null,"x"],"":{"d":[[[{}]]]},"a":0})";
  const JsonDocument document(text);
  EXPECT_EQ(spelled(document.root()), text);
}

TEST(JsonDocument, PassesOverBlanks) {
  const std::string text = " \t\r\n{ \"a\" : [ 1 , 2 ] , \"b\" :\n{ } , \"c\":[ ] } \n";
  const JsonDocument document(text);
  EXPECT_EQ(spelled(document.root()), R"({"a":[1,2],"b":{},"c":[]})");
}

TEST(JsonDocument, TakesAnyValueAtTheTop) {
  for (const char* text : {"null", "true", "false", "0", "-0", "1e5", "\"\"", "[]", "{}"}) {
    const JsonDocument document(text);
    EXPECT_EQ(spelled(document.root()), text);
  }
}

TEST(JsonDocument, ResolvesEscapes) {
  const std::string text = R"(["\"\\\/\b\f\n\r\t","\u00e4\u20AC\ud83d\ude00","a\u0000b","\ud800x\udfff","plain ä😀"])";
  const JsonDocument document(text);
  auto entry = document.root().entries().begin();
  EXPECT_EQ((*entry).text(), u"\"\\/\b\f\n\r\t");
  EXPECT_EQ((*++entry).text(), u"ä€😀");
  EXPECT_EQ((*entry).utf8(), "ä€😀");
  EXPECT_EQ((*++entry).text(), std::u16string(u"a\0b", 3));
  const std::u16string lone = {0xD800, u'x', 0xDFFF};
  EXPECT_EQ((*++entry).text(), lone);
  EXPECT_EQ((*entry).utf8(), "\xED\xA0\x80x\xED\xBF\xBF");
  EXPECT_EQ((*++entry).text(), u"plain ä😀");
  EXPECT_TRUE((*entry).isVerbatim());
  EXPECT_FALSE((*entry).isPlainAscii());
}

TEST(JsonDocument, FindsTheFirstMemberOfAName) {
  const std::string text = R"({"x":1,"\u0061":2,"a":3})";
  const JsonDocument document(text);
  EXPECT_EQ(document.root().find("a").raw(), "2");
  EXPECT_FALSE(document.root().find("b"));
}

TEST(JsonDocument, ReadsStringsOfEveryLengthUpToTheEnd) {
  // The end of a string meets every position within the blocks that are looked at together.
  for (std::size_t length = 0; length < 70; ++length) {
    const std::string inside(length, 'x');
    const std::string text = '"' + inside + '"';
    const JsonDocument document(text);
    EXPECT_EQ(document.root().raw(), inside);
    EXPECT_TRUE(document.root().isPlainAscii());
    EXPECT_NE(errorOf('"' + inside), "no error");
    for (std::size_t at = 0; at < length; ++at) {
      std::string broken = text;
      broken[1 + at] = '\x1f';
      EXPECT_EQ(errorOf(broken), "f.json:1:" + std::to_string(at + 2) +
                                     ": expected control characters to be escaped, found the byte 0x1f");
    }
  }
}

TEST(JsonDocument, RefusesWhatIsNoJson) {
  EXPECT_EQ(errorOf(""), "f.json:1:1: expected a JSON value, found the end of the text");
  EXPECT_EQ(errorOf(" \n "), "f.json:2:2: expected a JSON value, found the end of the text");
  EXPECT_EQ(errorOf("nul"), "f.json:1:1: expected a JSON value, found 'n'");
  EXPECT_EQ(errorOf("[1,]"), "f.json:1:4, at [1]: expected a JSON value, found ']'");
  EXPECT_EQ(errorOf("[1 2]"), "f.json:1:4, at [1]: expected ',' or ']', found '2'");
  EXPECT_EQ(errorOf("[1}"), "f.json:1:3, at [1]: expected ',' or ']', found '}'");
  EXPECT_EQ(errorOf("{\"a\":1]"), "f.json:1:7: expected ',' or '}', found ']'");
  EXPECT_EQ(errorOf("{\"a\":1,}"), "f.json:1:8: expected a key in double quotes, found '}'");
  EXPECT_EQ(errorOf("{a:1}"), "f.json:1:2: expected a key in double quotes, found 'a'");
  EXPECT_EQ(errorOf("{\"a\" 1}"), "f.json:1:6, at a: expected ':', found '1'");
  EXPECT_EQ(errorOf("{\"a\":}"), "f.json:1:6, at a: expected a JSON value, found '}'");
  EXPECT_EQ(errorOf("['x']"), "f.json:1:2, at [0]: expected a JSON value, found '''");
  EXPECT_EQ(errorOf("// no\n1"), "f.json:1:1: expected a JSON value, found '/'");
  EXPECT_EQ(errorOf("NaN"), "f.json:1:1: expected a JSON value, found 'N'");
}

TEST(JsonDocument, RefusesWhatFollowsTheValue) {
  EXPECT_EQ(errorOf("{} {}"), "f.json:1:4: expected the end of the text, found '{'");
  EXPECT_EQ(errorOf("1,"), "f.json:1:2: expected the end of the text, found ','");
  EXPECT_EQ(errorOf(std::string_view("[]\0", 3)), "f.json:1:3: expected the end of the text, found the byte 0x00");
}

TEST(JsonDocument, RefusesNumbersOfOtherForms) {
  for (const char* text : {"01", "+1", "1.", ".5", "-", "-a", "1e", "1e+", "0x1", "1_000", "--1", "1.e5", "Infinity"}) {
    EXPECT_NE(errorOf(text), "no error") << text;
  }
  EXPECT_EQ(errorOf("1."), "f.json:1:3: expected a digit behind the decimal point, found the end of the text");
  EXPECT_EQ(errorOf("1e+x"), "f.json:1:4: expected a digit of the exponent, found 'x'");
  EXPECT_EQ(errorOf("-x"), "f.json:1:2: expected a digit behind '-', found 'x'");
}

TEST(JsonDocument, KeepsNumbersOfAnySizeAsTheyAreSpelled) {
  const std::string text = '[' + std::string(100'000, '9') + ",1e999999999999999999999]";
  const JsonDocument document(text);
  EXPECT_EQ((*document.root().entries().begin()).raw().size(), 100'000U);
}

TEST(JsonDocument, RefusesBrokenStrings) {
  EXPECT_EQ(errorOf("\"abc"), "f.json:1:5: expected '\"' at the end of the string, found the end of the text");
  EXPECT_EQ(errorOf("\"a\nb\""), "f.json:1:3: expected control characters to be escaped, found the byte 0x0a");
  EXPECT_EQ(errorOf(R"("\x")"), "f.json:1:3: expected one of \"\\/bfnrtu behind the backslash, found 'x'");
  EXPECT_EQ(errorOf(R"("\)"),
            "f.json:1:3: expected one of \"\\/bfnrtu behind the backslash, found the end of the text");
  EXPECT_EQ(errorOf(R"("\u12g4")"), "f.json:1:6: expected four hexadecimal digits behind \\u, found 'g'");
  EXPECT_EQ(errorOf(R"("\u12)"), "f.json:1:6: expected four hexadecimal digits behind \\u, found the end of the text");
}

TEST(JsonDocument, RefusesWhatIsNotUtf8) {
  EXPECT_EQ(errorOf("[\"ab\xFFq\"]"), "f.json:1:5, at [0]: expected text in UTF-8, found the byte 0xff");
  EXPECT_EQ(errorOf("\"\xC3\""), "f.json:1:2: expected text in UTF-8, found the byte 0xc3");
  EXPECT_EQ(errorOf("\"\xED\xA0\x80\""), "f.json:1:2: expected text in UTF-8, found the byte 0xed");  // a surrogate
  EXPECT_EQ(errorOf("\"\xC0\x80\""), "f.json:1:2: expected text in UTF-8, found the byte 0xc0");      // too long a form
  EXPECT_EQ(errorOf("\"\xF4\x90\x80\x80\""), "f.json:1:2: expected text in UTF-8, found the byte 0xf4");
  EXPECT_EQ(errorOf("\xC3\xA4"), "f.json:1:1: expected a JSON value, found the byte 0xc3");
  EXPECT_EQ(errorOf("{\"\xFF\":1}"), "f.json:1:3: expected text in UTF-8, found the byte 0xff");
}

TEST(JsonDocument, RefusesAByteOrderMark) {
  EXPECT_EQ(errorOf("\xEF\xBB\xBF{}"),
            "f.json:1:1: expected a JSON value, found a byte-order mark; save the text as UTF-8 without one");
  EXPECT_NE(errorOf(std::string_view("\xFF\xFE{\0}\0", 6)), "no error");
}

TEST(JsonDocument, NamesThePlaceOfEveryNode) {
  const std::string text = "{\n  \"entries\": [ {},\n    {\"odd key\": [7,8]} ]\n}";
  const JsonDocument document(text, "f.json");
  const JsonNode entries = document.root().find("entries");
  EXPECT_EQ(document.root().place().text(), "f.json:1:1");
  EXPECT_EQ(entries.place().text(), "f.json:2:14, at entries");
  const JsonNode second = *++entries.entries().begin();
  EXPECT_EQ(second.place().text(), "f.json:3:5, at entries[1]");
  EXPECT_EQ((*second.members().begin()).key.place().text(), "f.json:3:6, at entries[1][\"odd key\"]");
  const JsonNode eight = *++second.find("odd key").entries().begin();
  EXPECT_EQ(eight.place().text(), "f.json:3:20, at entries[1][\"odd key\"][1]");
  try {
    eight.fail("a text", "; put it in quotes");
    FAIL();
  } catch (const ParseError& error) {
    EXPECT_STREQ(error.what(),
                 "f.json:3:20, at entries[1][\"odd key\"][1]: expected a text, found the number 8; put it in quotes");
    EXPECT_EQ(error.sourceName(), "f.json");
    EXPECT_EQ(error.line(), 3U);
    EXPECT_EQ(error.column(), 20U);
    EXPECT_EQ(error.path(), "entries[1][\"odd key\"][1]");
    EXPECT_EQ(error.expected(), "a text");
    EXPECT_EQ(error.found(), "the number 8");
  }
}

TEST(JsonDocument, NamesThePlaceOfAnErrorWithinOpenContainers) {
  EXPECT_EQ(errorOf(R"({"a":[0,{"b":[1,[2],x)"), "f.json:1:21, at a[1].b[2]: expected a JSON value, found 'x'");
  EXPECT_EQ(errorOf(R"({"a":{},"b":{"c":1},"d":x)"), "f.json:1:25, at d: expected a JSON value, found 'x'");
}

TEST(JsonDocument, ShortensWhatIsLongInMessages) {
  const std::string text = '"' + std::string(59, 'x') + "ääää" + '"';
  const JsonDocument document(text);
  EXPECT_EQ(document.root().describe(), "the text \"" + std::string(59, 'x') + "...\"");
  std::string nested;
  for (int i = 0; i < 1000; ++i) nested += "[0,";
  const std::string error = errorOf(nested + "x");
  EXPECT_LT(error.size(), 300U);
  EXPECT_NE(error.find("[1][1]...[1][1]"), std::string::npos) << error;
}

TEST(JsonDocument, ReadsAMillionLevels) {
  constexpr std::size_t kLevels = 1'000'000;
  const std::string arrays = std::string(kLevels, '[') + std::string(kLevels, ']');
  const JsonDocument document(arrays);
  EXPECT_EQ(document.nodeCount(), kLevels);
  std::string objects;
  for (std::size_t i = 0; i < kLevels; ++i) objects += "{\"a\":";
  EXPECT_NE(errorOf(objects), "no error");
  objects += "1" + std::string(kLevels, '}');
  EXPECT_EQ(JsonDocument(objects).nodeCount(), 2 * kLevels + 1);
}

TEST(JsonDocument, EndsEveryTruncationAndFlipInAnErrorOrADocument) {
  const std::string text =
      "{\"a\":[1,-2.5e+3,true,false,null,\"x\\u00e4\\n\xC3\xA4\"],\"b\":{\"\":{}}, \"c\" : [[],[[0]]]}";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_NE(errorOf(std::string_view(text).substr(0, length)), "no error") << length;
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string flipped = text;
      flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << bit));
      try {
        const JsonDocument document(flipped);
        EXPECT_FALSE(spelled(document.root()).empty());
      } catch (const ParseError& error) {
        EXPECT_GT(error.line(), 0U);
        EXPECT_FALSE(error.expected().empty());
      }
    }
  }
}

}  // namespace
}  // namespace tarn::kern::io
