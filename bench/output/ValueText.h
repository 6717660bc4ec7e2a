#pragma once

// Values as text, by the shortest way: what the printed text and the page have in common.

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ByteBuffer.h"
#include "Description.h"

namespace bench::limit {

inline constexpr std::array<std::string_view, 4> kVisibilities{"public", "protected", "private", "package"};

inline void putChars(ByteBuffer& out, std::string_view text) { out.putBytes(text.data(), text.size()); }

inline void putBlanks(ByteBuffer& out, std::size_t count) {
  char* at = out.extend(count);
  std::memset(at, ' ', count);
}

template <class Number>
void putNumber(ByteBuffer& out, Number number) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  out.putBytes(text.data(), static_cast<std::size_t>(end - text.data()));
}

/// With six digits, as streams write it.
inline void putReal(ByteBuffer& out, double number) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 6).ptr;
  out.putBytes(text.data(), static_cast<std::size_t>(end - text.data()));
}

/// As UTF-8. @pre well-formed
void putUtf8(ByteBuffer& out, std::u16string_view text);

/// 2020-Jan-31 13:05:09.123456, without the fraction where it is zero.
void putTime(ByteBuffer& out, Microseconds time);

/// In groups of 8-4-4-4-12 digits.
void putUuid(ByteBuffer& out, const Uuid& uuid);

}  // namespace bench::limit
