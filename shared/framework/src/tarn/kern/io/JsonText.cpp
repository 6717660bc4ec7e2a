#include "JsonText.h"

#include <algorithm>
#include <cmath>

#include <bedrock/i18n.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarn::kern::io {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

bool isPlain(char16_t unit) noexcept { return unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\'; }
bool isHighSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(char16_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }

#if defined(__SSE2__)
constexpr std::ptrdiff_t kStep = 8;

/// Writes eight units as eight characters. False when one of them does not stand for itself; then what was written does
/// not count.
bool writeEightPlain(char* out, const char16_t* units) noexcept {
  const __m128i wide = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
  const __m128i isAscii =
      _mm_cmpeq_epi16(_mm_and_si128(wide, _mm_set1_epi16(static_cast<short>(0xFF80))), _mm_setzero_si128());
  const __m128i narrow = _mm_packus_epi16(wide, wide);
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  const __m128i isControl = _mm_cmpeq_epi8(_mm_max_epu8(narrow, lastControl), lastControl);
  const __m128i isMark =
      _mm_or_si128(_mm_cmpeq_epi8(narrow, _mm_set1_epi8('"')), _mm_cmpeq_epi8(narrow, _mm_set1_epi8('\\')));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), narrow);
  return _mm_movemask_epi8(isAscii) == 0xFFFF && (_mm_movemask_epi8(_mm_or_si128(isControl, isMark)) & 0xFF) == 0;
}
#endif

}  // namespace

JsonText::JsonText(std::string& out)
    : fOut(out),
      fBuffer(std::make_unique_for_overwrite<char[]>(kBufferBytes)),
      fAt(fBuffer.get()),
      fEnd(fAt + kBufferBytes) {}

void JsonText::flush() {
  fOut.append(fBuffer.get(), static_cast<std::size_t>(fAt - fBuffer.get()));
  fAt = fBuffer.get();
}

void JsonText::putLong(std::string_view text) {
  flush();
  fOut.append(text);
}

void JsonText::real(double value) {
  if (!std::isfinite(value)) {
    put('"');
    put(nameOfSpecialReal(value));
    put('"');
    return;
  }
  need(kLongestReal);
  fAt = writeReal(fAt, value);
}

void JsonText::escapeControl(char c) {
  need(kLongestUnit);
  *fAt++ = '\\';
  switch (c) {
    case '"':
    case '\\':
      *fAt++ = c;
      return;
    case '\b':
      *fAt++ = 'b';
      return;
    case '\f':
      *fAt++ = 'f';
      return;
    case '\n':
      *fAt++ = 'n';
      return;
    case '\r':
      *fAt++ = 'r';
      return;
    case '\t':
      *fAt++ = 't';
      return;
    default:
      --fAt;
      escapeUnit(static_cast<unsigned char>(c));
  }
}

void JsonText::escapeUnit(char16_t unit) {
  need(kLongestUnit);
  *fAt++ = '\\';
  *fAt++ = 'u';
  for (unsigned shift = 16; shift > 0; shift -= 4) *fAt++ = kHexDigits[(unit >> (shift - 4)) & 15U];
}

void JsonText::string(std::u16string_view text) {
  put('"');
  const char16_t* at = text.data();
  const char16_t* const end = at + text.size();
#if defined(__SSE2__)
  while (end - at >= kStep) {
    need(kStep);
    if (writeEightPlain(fAt, at)) {
      fAt += kStep;
      at += kStep;
    } else {
      at = unitsOneByOne(at, at + kStep, end);
    }
  }
#endif
  unitsOneByOne(at, end, end);
  put('"');
}

/// Writes the units before `stop`, and the second half of a pair that `stop` would part. @return behind the last one
const char16_t* JsonText::unitsOneByOne(const char16_t* at, const char16_t* stop, const char16_t* end) {
  while (at < stop) {
    const char16_t unit = *at++;
    if (isPlain(unit)) {
      put(static_cast<char>(unit));
    } else if (unit < 0x80) {
      escapeControl(static_cast<char>(unit));
    } else if (isHighSurrogate(unit) && at != end && isLowSurrogate(*at)) {
      need(4);
      const unsigned number = 0x10000U + ((unit & 0x3FFU) << 10U) + (*at++ & 0x3FFU);
      *fAt++ = static_cast<char>(0xF0U | number >> 18U);
      *fAt++ = static_cast<char>(0x80U | (number >> 12U & 0x3FU));
      *fAt++ = static_cast<char>(0x80U | (number >> 6U & 0x3FU));
      *fAt++ = static_cast<char>(0x80U | (number & 0x3FU));
    } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
      escapeUnit(unit);
    } else {
      need(3);
      if (unit < 0x800) {
        *fAt++ = static_cast<char>(0xC0U | unit >> 6U);
      } else {
        *fAt++ = static_cast<char>(0xE0U | unit >> 12U);
        *fAt++ = static_cast<char>(0x80U | (unit >> 6U & 0x3FU));
      }
      *fAt++ = static_cast<char>(0x80U | (unit & 0x3FU));
    }
  }
  return at;
}

void JsonText::bytes(std::string_view text) {
  put('"');
  for (;;) {
    const std::size_t bad = std::min(bedrock::i18n::findInvalidUtf8(text), text.size());
    wellFormed(text.substr(0, bad));
    if (bad == text.size()) break;
    escapeUnit(static_cast<char16_t>(0xDC00U + static_cast<unsigned char>(text[bad])));
    text.remove_prefix(bad + 1);
  }
  put('"');
}

void JsonText::wellFormed(std::string_view utf8) {
  const auto isSpecial = [](char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; };
  while (!utf8.empty()) {
    const auto run = static_cast<std::size_t>(std::find_if(utf8.begin(), utf8.end(), isSpecial) - utf8.begin());
    put(utf8.substr(0, run));
    if (run == utf8.size()) return;
    escapeControl(utf8[run]);
    utf8.remove_prefix(run + 1);
  }
}

std::string asJsonString(std::u16string_view text) {
  std::string json;
  JsonText out(json);
  out.string(text);
  out.flush();
  return json;
}

}  // namespace tarn::kern::io
