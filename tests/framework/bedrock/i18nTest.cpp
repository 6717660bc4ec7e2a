#include <array>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <bedrock/i18n.h>

namespace bedrock::i18n {
namespace {

static_assert(std::is_same_v<ustring, std::basic_string<char16_t>>);

/// UTF-8 written the slow way, straight from the definition: what the fast loops are compared with.
std::string plainUtf8(const ustring& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t number = text[i];
    const bool isHigh = number >= 0xD800 && number <= 0xDBFF;
    if (isHigh && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      number = 0x10000 + (number - 0xD800) * 0x400 + (text[++i] - 0xDC00U);
    }
    std::vector<std::uint32_t> bytes;
    if (number < 0x80) {
      bytes = {number};
    } else if (number < 0x800) {
      bytes = {0xC0 + number / 64, 0x80 + number % 64};
    } else if (number < 0x10000) {
      bytes = {0xE0 + number / 4096, 0x80 + number / 64 % 64, 0x80 + number % 64};
    } else {
      bytes = {0xF0 + number / 262144, 0x80 + number / 4096 % 64, 0x80 + number / 64 % 64, 0x80 + number % 64};
    }
    for (const std::uint32_t byte : bytes) out += static_cast<char>(byte);
  }
  return out;
}

ustring randomText(std::mt19937& random, std::size_t length) {
  // Mostly ASCII, with every other kind of unit at the borders between kinds; surrogates meet in every order.
  static constexpr std::array<char16_t, 16> kSpecial{0x00,   0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800, 0xDBFF,
                                                     0xDC00, 0xDFFF, 0xE000, 0xFFFD, 0xFFFF, 0xE9,   0x4E2D, 0xFEFF};
  ustring text;
  const auto specialsPerSixteen = random() % 17;
  while (text.size() < length) {
    const bool isSpecial = random() % 16 < specialsPerSixteen;
    text += isSpecial ? kSpecial[random() % kSpecial.size()] : static_cast<char16_t>(u' ' + random() % 95);
  }
  return text;
}

TEST(I18n, GivesEachRangeOfCharactersItsUtf8Form) {
  EXPECT_EQ(ustring_to_utf8(u""), "");
  EXPECT_EQ(ustring_to_utf8(u"abc"), "abc");
  EXPECT_EQ(ustring_to_utf8(u"\u0080\u07FF"), "\xC2\x80\xDF\xBF");
  EXPECT_EQ(ustring_to_utf8(u"\u0800\uFFFF"), "\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(ustring_to_utf8(u"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  EXPECT_EQ(ustring_to_utf8(ustring(u"a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(utf8_to_ustring("Gr\xC3\xB6\xC3\x9F"
                            "e \xE4\xB8\xAD \xF0\x9F\x98\x80"),
            u"Gr\u00F6\u00DFe \u4E2D \U0001F600");
}

TEST(I18n, TakesTextInEveryFormItComesIn) {
  const ustring text = u"x\u00E9";
  const std::string utf8 = "x\xC3\xA9";
  EXPECT_EQ(ustring_to_utf8(text), utf8);
  EXPECT_EQ(ustring_to_utf8(std::u16string_view(text)), utf8);
  EXPECT_EQ(ustring_to_utf8(u"x\u00E9"), utf8);
  EXPECT_EQ(utf8_to_ustring(utf8), text);
  EXPECT_EQ(utf8_to_ustring(std::string_view(utf8)), text);
  EXPECT_EQ(utf8_to_ustring("x\xC3\xA9"), text);
}

TEST(I18n, KeepsALoneSurrogateAsItsThreeByteForm) {
  const std::string utf8 = ustring_to_utf8(ustring{u'a', 0xD800, u'b', 0xDFFF});
  EXPECT_EQ(utf8,
            "a\xED\xA0\x80"
            "b\xED\xBF\xBF");
  EXPECT_EQ(utf8_to_ustring(utf8), (ustring{u'a', 0xD800, u'b', 0xDFFF}));
}

TEST(I18n, KeepsEveryOrderOfSurrogates) {
  // All texts of up to five units out of a high one, a low one and a letter.
  constexpr std::array<char16_t, 3> kUnits{0xD83D, 0xDE00, u'x'};
  for (unsigned length = 0; length <= 5; ++length) {
    unsigned count = 1;
    for (unsigned i = 0; i < length; ++i) count *= 3;
    for (unsigned code = 0; code < count; ++code) {
      ustring text;
      for (unsigned i = 0, rest = code; i < length; ++i, rest /= 3) text += kUnits[rest % 3];
      const std::string utf8 = ustring_to_utf8(text);
      ASSERT_EQ(utf8, plainUtf8(text));
      ASSERT_EQ(utf8_to_ustring(utf8), text);
    }
  }
}

TEST(I18n, KeepsEverySingleUnit) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const ustring text(1, static_cast<char16_t>(unit));
    const std::string utf8 = ustring_to_utf8(text);
    ASSERT_EQ(utf8, plainUtf8(text)) << unit;
    ASSERT_EQ(utf8_to_ustring(utf8), text) << unit;
  }
}

TEST(I18n, KeepsEveryCharacterBeyondTheFirstPlane) {
  ustring text;
  for (std::uint32_t number = 0x10000; number <= 0x10FFFF; ++number) {
    text += static_cast<char16_t>(0xD800 + (number - 0x10000) / 0x400);
    text += static_cast<char16_t>(0xDC00 + (number - 0x10000) % 0x400);
  }
  const std::string utf8 = ustring_to_utf8(text);
  EXPECT_EQ(utf8, plainUtf8(text));
  EXPECT_EQ(utf8_to_ustring(utf8), text);
}

TEST(I18n, KeepsRandomTextOfEveryLength) {
  std::mt19937 random(20200131);
  for (unsigned round = 0; round < 4000; ++round) {
    // Beyond 512 units the conversion goes in steps; pairs and sequences must survive the seams.
    const std::size_t length = round % 4 == 0 ? 480 + random() % 1200 : random() % 60;
    const ustring text = randomText(random, length);
    const std::string utf8 = ustring_to_utf8(text);
    ASSERT_EQ(utf8, plainUtf8(text));
    ASSERT_EQ(utf8_to_ustring(utf8), text);
    ASSERT_EQ(isValidUtf8(utf8), findLoneSurrogate(text) == std::u16string_view::npos);
  }
}

TEST(I18n, ReadsPairsThatWereWrittenAsTwoThreeByteForms) {
  EXPECT_EQ(utf8_to_ustring("\xED\xA0\xBD\xED\xB8\x80"), u"\U0001F600");
}

TEST(I18n, PutsOneReplacementForEachMaximalIllFormedPart) {
  const struct {
    const char* bytes;
    const char16_t* text;
  } kCases[] = {
      {"a\x80z", u"a\uFFFDz"},                            // a continuation byte alone
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong: C0 begins nothing
      {"\xC1\xBF", u"\uFFFD\uFFFD"},                      //
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            // overlong in three
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},            //
      {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong in four
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  //
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  //
      {"\xFE\xFF", u"\uFFFD\uFFFD"},                      // never in UTF-8
      {"\xC3", u"\uFFFD"},                                // cut at the end
      {"\xE4\xB8", u"\uFFFD"},                            //
      {"\xF0\x9F\x98", u"\uFFFD"},                        //
      {"\xC3z", u"\uFFFDz"},                              // cut by the next character, which stays
      {"\xE4\xB8z", u"\uFFFDz"},                          //
      {"\xF0\x9F\x98z", u"\uFFFDz"},                      //
      {"\xE4\xC3\xA9", u"\uFFFD\u00E9"},                  // cut by the next sequence, which stays
      {"\xF0\x9F\xE4\xB8\xAD", u"\uFFFD\u4E2D"},          //
      {"a\xF1\x80\x80\xE1\x80\xC2"
       "b\x80"
       "c\x80\xBF"
       "d",
       u"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd"},
  };
  for (const auto& given : kCases) {
    EXPECT_EQ(utf8_to_ustring(given.bytes), given.text) << testing::PrintToString(given.bytes);
    EXPECT_FALSE(isValidUtf8(given.bytes)) << testing::PrintToString(given.bytes);
  }
}

TEST(I18n, FindsTheFirstOffenderInUtf8) {
  EXPECT_EQ(findInvalidUtf8(""), std::string_view::npos);
  EXPECT_EQ(findInvalidUtf8("plain text of some length"), std::string_view::npos);
  EXPECT_EQ(findInvalidUtf8("\xC2\x80\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
            std::string_view::npos);
  EXPECT_EQ(findInvalidUtf8("\x80"), 0U);
  EXPECT_EQ(findInvalidUtf8("plain text of some length\xFF"), 25U);
  EXPECT_EQ(findInvalidUtf8("\xC3\xA9\xE4\xB8"), 2U);
  EXPECT_EQ(findInvalidUtf8("ab\xED\xA0\x80"), 2U);  // the form of a surrogate
  EXPECT_EQ(findInvalidUtf8("ab\xED\xBF\xBF"), 2U);
  EXPECT_EQ(findInvalidUtf8(std::string_view("a\0b", 3)), std::string_view::npos);
}

TEST(I18n, AgreesWithItselfOnRandomBytes) {
  // Damaged text: valid UTF-8 with bytes overwritten. What reads without a replacement is valid, and only that.
  std::mt19937 random(7);
  for (unsigned round = 0; round < 20000; ++round) {
    std::string bytes = plainUtf8(randomText(random, random() % 40));
    for (auto i = random() % 4; i > 0 && !bytes.empty(); --i) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    const ustring text = utf8_to_ustring(bytes);
    ASSERT_LE(text.size(), bytes.size());
    const std::size_t offender = findInvalidUtf8(bytes);
    if (offender == std::string_view::npos) {
      ASSERT_EQ(ustring_to_utf8(text), bytes);
    } else {
      ASSERT_TRUE(isValidUtf8(std::string_view(bytes).substr(0, offender)));
    }
  }
}

TEST(I18n, FindsTheFirstLoneSurrogate) {
  EXPECT_EQ(findLoneSurrogate(u"plain \U0001F600"), std::u16string_view::npos);
  EXPECT_EQ(findLoneSurrogate(ustring{u'a', 0xD800}), 1U);
  EXPECT_EQ(findLoneSurrogate(ustring{0xDC00, u'a'}), 0U);
  EXPECT_EQ(findLoneSurrogate(ustring{0xD83D, 0xDE00, 0xDE00}), 2U);
  EXPECT_EQ(findLoneSurrogate(ustring{0xD83D, 0xD83D, 0xDE00}), 0U);
}

TEST(I18n, ShowsALoneSurrogateInMessagesAsItsEscape) {
  EXPECT_EQ(to_string(u"Gr\u00F6\u00DFe \U0001F600"),
            "Gr\xC3\xB6\xC3\x9F"
            "e \xF0\x9F\x98\x80");
  EXPECT_EQ(to_string(ustring{u'a', 0xD80F, u'b', 0xDFFF, 0xDC00}), "a\\uD80Fb\\uDFFF\\uDC00");
  EXPECT_EQ(to_string(u""), "");
}

TEST(I18n, AppendsBehindWhatIsThere) {
  std::string bytes = "<";
  appendUtf8(bytes, u"\u00E9");
  EXPECT_EQ(bytes, "<\xC3\xA9");
  ustring text = u"<";
  appendUstring(text, "\xC3\xA9");
  EXPECT_EQ(text, u"<\u00E9");
}

TEST(I18n, PrintsAsUtf8) {
  using bedrock::i18n::operator<<;
  std::ostringstream stream;
  stream << ustring(u"Gr\u00F6\u00DFe") << '|' << std::setw(4) << ustring(u"ab") << '|';
  EXPECT_EQ(stream.str(),
            "Gr\xC3\xB6\xC3\x9F"
            "e|  ab|");
}

}  // namespace
}  // namespace bedrock::i18n
