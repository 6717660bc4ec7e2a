#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "JsonArena.h"
#include "JsonText.h"

/// The writer is there for depth and speed alone: each text must be the one that the JSON library itself would write.
namespace quillon::nimbo {
namespace {

using nlohmann::json;

std::string jsonText(const json& document) {
  std::string text;
  appendJsonText(text, document);
  return text;
}

std::string libraryText(const json& document) { return document.dump(-1, ' ', false, json::error_handler_t::strict); }

void expectLibraryText(const json& document) {
  const std::string expected = libraryText(document);
  EXPECT_EQ(jsonText(document), expected);
}

/// The text of the library's exception for a document that it refuses.
template <class Write>
std::string refusal(Write write) {
  try {
    write();
  } catch (const json::type_error& error) {
    return error.what();
  }
  ADD_FAILURE() << "not refused";
  return {};
}

TEST(JsonText, WritesEachKindOfValue) {
  EXPECT_EQ(jsonText(nullptr), "null");
  EXPECT_EQ(jsonText(true), "true");
  EXPECT_EQ(jsonText(false), "false");
  EXPECT_EQ(jsonText(json::object()), "{}");
  EXPECT_EQ(jsonText(json::array()), "[]");
  EXPECT_EQ(jsonText("text"), "\"text\"");
  EXPECT_EQ(jsonText({{"b", {1, -2}}, {"a", nullptr}}), R"({"a":null,"b":[1,-2]})");
}

TEST(JsonText, WritesTheExtremesOfIntegers) {
  EXPECT_EQ(jsonText(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(jsonText(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(jsonText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(jsonText(0), "0");
}

TEST(JsonText, WritesNumbersWithFractionsAsTheLibraryDoes) {
  EXPECT_EQ(jsonText(0.0), "0.0");
  EXPECT_EQ(jsonText(-0.0), "-0.0");
  EXPECT_EQ(jsonText(1.0), "1.0");
  EXPECT_EQ(jsonText(0.1), "0.1");
  EXPECT_EQ(jsonText(1e300), "1e+300");
  EXPECT_EQ(jsonText(std::nan("")), "null");
  EXPECT_EQ(jsonText(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(jsonText(-std::numeric_limits<double>::infinity()), "null");
  expectLibraryText(std::numeric_limits<double>::denorm_min());
  expectLibraryText(std::numeric_limits<double>::max());
}

TEST(JsonText, EscapesEachByteThatNeedsIt) {
  for (int byte = 0; byte < 0x80; ++byte) {
    SCOPED_TRACE(byte);
    expectLibraryText(std::string(1, static_cast<char>(byte)));
    expectLibraryText("ab" + std::string(2, static_cast<char>(byte)) + "c");
  }
  EXPECT_EQ(jsonText(std::string("\0\x1f\"\\\b\t\n\f\r\x7f/", 11)), "\"\\u0000\\u001f\\\"\\\\\\b\\t\\n\\f\\r\x7f/\"");
}

TEST(JsonText, KeepsTextBeyondAsciiAsItIs) {
  EXPECT_EQ(jsonText("\u00e4\u20ac\U0001f600"), "\"\u00e4\u20ac\U0001f600\"");
  expectLibraryText("\u00e4\n\u20ac\"\U0001f600");
  expectLibraryText(json{{"\u00e4\t", 1}});
}

TEST(JsonText, RefusesWhatIsNoUtf8AsTheLibraryDoes) {
  for (const std::string& bad : {std::string("\xff"), std::string("ab\x80"), std::string("a\xc3"), std::string("\xc3("),
                                 std::string("\xe2\x82"), std::string("\xed\xa0\x80"), std::string("\xc0\x80"),
                                 std::string("\xf4\x90\x80\x80"), std::string("\"\xf0\x9f\x98")}) {
    const std::string expected = refusal([&] { static_cast<void>(libraryText(bad)); });
    EXPECT_EQ(refusal([&] { static_cast<void>(jsonText(bad)); }), expected);
    EXPECT_EQ(refusal([&] { static_cast<void>(jsonText(json{{bad, 1}})); }), expected);
    EXPECT_EQ(refusal([&] { static_cast<void>(jsonText(json{1, {{"a", bad}}})); }), expected);
  }
}

/// Texts of a few bytes, most of them harmless.
class RandomDocuments {
 public:
  explicit RandomDocuments(std::uint32_t seed) : fRandom(seed) {}

  json value(unsigned depth) {
    switch (upTo(depth == 0 ? 6 : 9)) {
      case 0:
        return nullptr;
      case 1:
        return upTo(1) == 0;
      case 2:
        return static_cast<std::int64_t>(number());
      case 3:
        return number();
      case 4:
        return fraction();
      case 5:
      case 6:
        return text();
      case 7: {
        json array = json::array();
        for (auto count = upTo(5); count > 0; --count) array.push_back(value(depth - 1));
        return array;
      }
      default: {
        json object = json::object();
        for (auto count = upTo(5); count > 0; --count) object[text()] = value(depth - 1);
        return object;
      }
    }
  }

 private:
  std::uint64_t upTo(std::uint64_t most) { return fRandom() % (most + 1); }
  std::uint64_t number() { return fRandom() >> upTo(63); }
  double fraction() {
    const std::uint64_t bits = fRandom();
    double any = 0;
    static_assert(sizeof bits == sizeof any);
    std::memcpy(&any, &bits, sizeof any);
    return upTo(1) == 0 ? any : static_cast<double>(static_cast<std::int64_t>(upTo(2000)) - 1000) / 8;
  }
  std::string text() {
    std::string made;
    for (auto count = upTo(8); count > 0; --count) {
      const char* const parts[] = {"a", "Zz", "\n", "\"", "\\", "\x01", "\u00e4", "\U0001f600", " "};
      made += upTo(4) == 0 ? parts[upTo(8)] : "plain";
    }
    return made;
  }

  std::mt19937_64 fRandom;
};

TEST(JsonText, WritesDocumentsDrawnByChanceAsTheLibraryDoes) {
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    SCOPED_TRACE(seed);
    expectLibraryText(RandomDocuments(seed).value(6));
  }
}

TEST(JsonText, WritesNumbersDrawnByChanceAsTheLibraryDoes) {
  std::mt19937_64 random(1);
  for (int count = 0; count < 50'000; ++count) {
    const std::uint64_t bits = random();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    expectLibraryText(number);
  }
}

TEST(JsonText, WritesAMillionLevels) {
  constexpr std::size_t kLevels = 500'000;
  json document = 1;
  for (std::size_t level = 0; level < kLevels; ++level) {
    json object = json::object();
    object["a"] = std::move(document);
    document = json::array();
    document.push_back(std::move(object));
  }
  std::string expected;
  for (std::size_t level = 0; level < kLevels; ++level) expected += "[{\"a\":";
  expected += '1';
  for (std::size_t level = 0; level < kLevels; ++level) expected += "}]";
  EXPECT_EQ(jsonText(document), expected);
}

TEST(JsonText, ComesBackUpFromADeepDocumentThatItRefuses) {
  json document = "\xff";
  for (std::size_t level = 0; level < 200'000; ++level) {
    json array = json::array();
    array.push_back(std::move(document));
    document = std::move(array);
  }
  EXPECT_NE(refusal([&] { static_cast<void>(jsonText(document)); }).find("invalid UTF-8 byte at index 0"),
            std::string::npos);
}

// --- Documents in an arena.

/// The same document, built anew where ArenaJson has its memory.
ArenaJson inArena(const json& document) {
  switch (document.type()) {
    case json::value_t::object: {
      ArenaJson object = ArenaJson::object();
      for (const auto& [key, value] : document.items()) object[ArenaString(key)] = inArena(value);
      return object;
    }
    case json::value_t::array: {
      ArenaJson array = ArenaJson::array();
      for (const json& value : document) array.push_back(inArena(value));
      return array;
    }
    case json::value_t::string:
      return ArenaString(document.get_ref<const std::string&>());
    case json::value_t::boolean:
      return document.get<bool>();
    case json::value_t::number_integer:
      return document.get<std::int64_t>();
    case json::value_t::number_unsigned:
      return document.get<std::uint64_t>();
    case json::value_t::number_float:
      return document.get<double>();
    default:
      return nullptr;
  }
}

TEST(JsonArena, HoldsDocumentsThatGiveTheSameText) {
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    const json document = RandomDocuments(seed).value(6);
    const JsonArena arena;
    std::string text;
    appendJsonText(text, inArena(document));
    EXPECT_EQ(text, libraryText(document));
  }
}

TEST(JsonArena, NeedsNoDestructionOfWhatItHolds) {
  JsonArena arena;
  auto& document = arena.make<ArenaJson>();
  document = ArenaString(1'000'000, 'x');
  for (int level = 0; level < 1'000'000; ++level) {
    ArenaJson array = ArenaJson::array();
    array.push_back(std::move(document));
    document = std::move(array);
  }
}

TEST(JsonArena, GivesAlignedMemoryOfAnySizeThatIsNobodyElses) {
  JsonArena arena;
  std::mt19937 random(1);
  std::vector<std::pair<unsigned char*, std::size_t>> pieces;
  for (unsigned count = 0; count < 5000; ++count) {
    const std::size_t alignment = std::size_t{1} << random() % 5;
    const std::size_t size = random() % 100 == 0 ? random() % 300'000 : random() % 200;
    auto* const piece = static_cast<unsigned char*>(arena.allocate(size, alignment));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece) % alignment, 0U);
    std::memset(piece, static_cast<int>(count % 251), size);
    pieces.emplace_back(piece, size);
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const auto [piece, size] = pieces[i];
    EXPECT_EQ(std::count(piece, piece + size, static_cast<unsigned char>(i % 251)), static_cast<std::ptrdiff_t>(size));
  }
}

TEST(JsonArena, GivesWayToOneThatIsMadeLater) {
  const JsonArena outer;
  EXPECT_EQ(JsonArena::latest(), &outer);
  {
    const JsonArena inner;
    EXPECT_EQ(JsonArena::latest(), &inner);
  }
  EXPECT_EQ(JsonArena::latest(), &outer);
}

}  // namespace
}  // namespace quillon::nimbo
