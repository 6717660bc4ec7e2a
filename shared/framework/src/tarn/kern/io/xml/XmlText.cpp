#include "XmlText.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include <bedrock/i18n.h>

namespace tarn::kern::io::xml {

namespace {

enum class Treatment : std::uint8_t { Plain, Escape, Refuse };

constexpr std::array<Treatment, 128> treatments(TextPlace place) {
  std::array<Treatment, 128> table{};
  for (std::size_t c = 0; c < 0x20; ++c) table[c] = Treatment::Refuse;
  const bool isAttribute = place == TextPlace::Attribute;
  table['\t'] = isAttribute ? Treatment::Escape : Treatment::Plain;
  table['\n'] = isAttribute ? Treatment::Escape : Treatment::Plain;
  table['\r'] = Treatment::Escape;  // parsers turn it into a line feed everywhere
  table['&'] = Treatment::Escape;
  table['<'] = Treatment::Escape;
  table['>'] = isAttribute ? Treatment::Plain : Treatment::Escape;  // "]]>" must not stand in content
  table['"'] = isAttribute ? Treatment::Escape : Treatment::Plain;
  return table;
}

constexpr std::array<std::array<Treatment, 128>, 2> kTreatments = {treatments(TextPlace::Attribute),
                                                                   treatments(TextPlace::Content)};

void appendReference(std::string& out, char32_t unit) {
  switch (unit) {
    case U'&':
      out += "&amp;";
      break;
    case U'<':
      out += "&lt;";
      break;
    case U'>':
      out += "&gt;";
      break;
    case U'"':
      out += "&quot;";
      break;
    case U'\t':
      out += "&#9;";
      break;
    case U'\n':
      out += "&#10;";
      break;
    default:
      out += "&#13;";
      break;
  }
}

bool isHighSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }

// Writes the bytes of one code point at `to`; the caller has made room for four.
char* encode(char* to, char32_t point) noexcept {
  if (point < 0x800) {
    *to++ = static_cast<char>(0xC0 | (point >> 6));
  } else {
    if (point < 0x10000) {
      *to++ = static_cast<char>(0xE0 | (point >> 12));
    } else {
      *to++ = static_cast<char>(0xF0 | (point >> 18));
      *to++ = static_cast<char>(0x80 | ((point >> 12) & 0x3F));
    }
    *to++ = static_cast<char>(0x80 | ((point >> 6) & 0x3F));
  }
  *to++ = static_cast<char>(0x80 | (point & 0x3F));
  return to;
}

}  // namespace

std::size_t appendEscaped(std::string& out, std::u16string_view text, TextPlace place) {
  const auto& table = kTreatments[static_cast<std::size_t>(place)];
  // A stretch is encoded beside the string and appended at once: a check for room per character would cost more than
  // the character. Three bytes per unit are enough, and four for a pair.
  constexpr std::size_t kLongestStretch = 256;
  std::array<char, kLongestStretch * 3 + 4> stretch;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t end = std::min(text.size(), i + kLongestStretch);
    char* to = stretch.data();
    bool mustEscape = false;
    for (; i < end; ++i) {
      const char16_t unit = text[i];
      if (unit < 0x80) {
        if (table[unit] != Treatment::Plain) {
          mustEscape = true;
          break;
        }
        *to++ = static_cast<char>(unit);
      } else if (isHighSurrogate(unit)) {
        if (i + 1 == text.size() || !isLowSurrogate(text[i + 1])) return i;
        to = encode(to, 0x10000U + ((static_cast<char32_t>(unit) - 0xD800U) << 10) + (text[i + 1] - 0xDC00U));
        ++i;
      } else if (isLowSurrogate(unit) || unit >= 0xFFFE) {
        return i;
      } else {
        to = encode(to, unit);
      }
    }
    out.append(stretch.data(), static_cast<std::size_t>(to - stretch.data()));
    if (!mustEscape) continue;
    if (table[text[i]] == Treatment::Refuse) return i;
    appendReference(out, text[i]);
    ++i;
  }
  return kNoOffender;
}

std::size_t appendEscapedUtf8(std::string& out, std::string_view utf8, TextPlace place) {
  if (const std::size_t at = bedrock::i18n::findInvalidUtf8(utf8); at != std::string_view::npos) return at;
  const auto& table = kTreatments[static_cast<std::size_t>(place)];
  std::size_t begin = 0;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    // U+FFFE and U+FFFF are EF BF BE and EF BF BF.
    if (byte == 0xEF && utf8.substr(i, 2) == "\xEF\xBF" && static_cast<unsigned char>(utf8[i + 2]) >= 0xBE) return i;
    if (byte >= 0x80 || table[byte] == Treatment::Plain) continue;
    if (table[byte] == Treatment::Refuse) return i;
    out.append(utf8, begin, i - begin);
    appendReference(out, byte);
    begin = i + 1;
  }
  out.append(utf8, begin);
  return kNoOffender;
}

}  // namespace tarn::kern::io::xml
