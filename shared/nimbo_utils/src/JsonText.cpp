#include "JsonText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include <bedrock/i18n.h>

namespace quillon::nimbo {

namespace {

/// What stands in a JSON string as it is: everything but control characters, the quotation mark, the backslash, and
/// bytes of which only their neighbours tell whether they are text.
constexpr std::array<bool, 256> kIsPlain = [] {
  std::array<bool, 256> isPlain{};
  for (std::size_t byte = 0x20; byte < 0x80; ++byte) isPlain[byte] = byte != '"' && byte != '\\';
  return isPlain;
}();

/// True if all of eight bytes are plain.
bool areEightPlain(const char* bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  constexpr std::uint64_t kHighs = 0x8080808080808080U;
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  // A byte below n, or equal to c (then it is 0 in the exclusive or, so below 1), borrows from its own high bit.
  const auto below = [](std::uint64_t value, std::uint64_t n) { return (value - kOnes * n) & ~value & kHighs; };
  return ((word & kHighs) | below(word, 0x20) | below(word ^ (kOnes * '"'), 1) | below(word ^ (kOnes * '\\'), 1)) == 0;
}

std::size_t plainBeginning(std::string_view text) {
  std::size_t size = 0;
  while (text.size() - size >= 8 && areEightPlain(text.data() + size)) size += 8;
  while (size < text.size() && kIsPlain[static_cast<unsigned char>(text[size])]) ++size;
  return size;
}

void appendEscape(std::string& out, unsigned char byte) {
  constexpr std::string_view kNamed = "\b\t\n\f\r\"\\";
  constexpr std::string_view kNames = "btnfr\"\\";
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += '\\';
  if (const std::size_t named = kNamed.find(static_cast<char>(byte)); named != std::string_view::npos) {
    out += kNames[named];
    return;
  }
  out += "u00";
  out += kDigits[byte >> 4U];
  out += kDigits[byte & 15U];
}

[[gnu::noinline]] void appendEscaped(std::string& out, std::string_view text, std::size_t plainBytes) {
  if (!bedrock::i18n::isValidUtf8(text)) {
    // The library throws, and its exception tells the byte; should it ever come to another view of a text, its own
    // text counts.
    const std::string quoted =
        nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
    out.append(quoted, 1, quoted.size() - 2);
    return;
  }
  std::size_t begin = 0;
  for (std::size_t i = plainBytes; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80 || kIsPlain[byte]) continue;
    out.append(text, begin, i - begin);
    appendEscape(out, byte);
    begin = i + 1;
  }
  out.append(text, begin);
}

template <class Number>
void appendDigits(std::string& out, Number number) {
  std::array<char, 24> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  out.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

}  // namespace

void appendJsonInteger(std::string& out, std::int64_t number) { appendDigits(out, number); }

void appendJsonInteger(std::string& out, std::uint64_t number) { appendDigits(out, number); }

/// The library's digits are not always the shortest that std::to_chars would find, nor in its form, so they are the
/// library's own. What makes them has no public name; json(number).dump() is ten times as slow.
void appendJsonReal(std::string& out, double number) {
  if (!std::isfinite(number)) {
    out += "null";
    return;
  }
  std::array<char, 64> digits;
  const char* const end = nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), number);
  out.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

void appendJsonString(std::string& out, std::string_view text) {
  const std::size_t plainBytes = plainBeginning(text);
  out += '"';
  if (plainBytes == text.size()) [[likely]] {
    out += text;
  } else {
    appendEscaped(out, text, plainBytes);
  }
  out += '"';
}

}  // namespace quillon::nimbo
