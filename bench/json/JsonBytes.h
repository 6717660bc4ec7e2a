#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "ByteBuffer.h"
#include "Description.h"

namespace bench::limit {

/// The pieces of a JSON text, for straight-line writers to derive from.
class JsonBytes {
 protected:
  explicit JsonBytes(ByteBuffer& out) : fOut(out) {}

  void put(std::string_view text) { fOut.putBytes(text.data(), text.size()); }

  /// 36 characters, without quotation marks.
  void uuid(const Uuid& uuid) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    char* at = fOut.extend(36);
    for (std::size_t i = 0; i < uuid.size(); ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
      *at++ = kDigits[uuid[i] >> 4U];
      *at++ = kDigits[uuid[i] & 15U];
    }
  }

  template <class List, class Write>
  void list(const List& entries, Write write) {
    char separator = '[';
    for (const auto& entry : entries) {
      fOut.put(separator);
      separator = ',';
      write(entry);
    }
    put(separator == '[' ? "[]" : "]");
  }

  template <class T>
  void number(T value) {
    constexpr std::size_t kLongest = 32;
    char* const begin = fOut.extend(kLongest);
    fOut.shrink(kLongest - static_cast<std::size_t>(std::to_chars(begin, begin + kLongest, value).ptr - begin));
  }

  void text(std::u16string_view units) {
    const std::size_t room = 2 + 6 * units.size();
    char* const begin = fOut.extend(room);
    char* at = begin;
    *at++ = '"';
    for (std::size_t i = 0; i < units.size(); ++i) {
      const char16_t unit = units[i];
      if (unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\') {
        *at++ = static_cast<char>(unit);
      } else {
        at = special(at, units, i);
      }
    }
    *at++ = '"';
    fOut.shrink(room - static_cast<std::size_t>(at - begin));
  }

  static char* special(char* at, std::u16string_view units, std::size_t& i) {
    const unsigned unit = units[i];
    if (unit == '"' || unit == '\\') {
      *at++ = '\\';
      *at++ = static_cast<char>(unit);
    } else if (unit == '\n') {
      *at++ = '\\';
      *at++ = 'n';
    } else if (unit < 0x800) {
      *at++ = static_cast<char>(0xC0U | unit >> 6U);
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    } else if (unit >= 0xD800 && unit < 0xDC00) {
      const unsigned number = 0x10000U + ((unit & 0x3FFU) << 10U) + (units[++i] & 0x3FFU);
      *at++ = static_cast<char>(0xF0U | number >> 18U);
      *at++ = static_cast<char>(0x80U | (number >> 12U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (number >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (number & 0x3FU));
    } else {
      *at++ = static_cast<char>(0xE0U | unit >> 12U);
      *at++ = static_cast<char>(0x80U | (unit >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    }
    return at;
  }

 private:
  ByteBuffer& fOut;
};

}  // namespace bench::limit
