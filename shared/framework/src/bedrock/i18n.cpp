#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <ostream>

#include <bedrock/i18n.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace bedrock::i18n {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

constexpr bool isSurrogate(char32_t unit) { return (unit & 0xFFFFF800U) == 0xD800U; }
constexpr bool isHighSurrogate(char32_t unit) { return (unit & 0xFFFFFC00U) == 0xD800U; }
constexpr bool isLowSurrogate(char32_t unit) { return (unit & 0xFFFFFC00U) == 0xDC00U; }

constexpr char32_t joinSurrogates(char32_t high, char32_t low) {
  return 0x10000U + ((high - 0xD800U) << 10U) + (low - 0xDC00U);
}

// Blocks of eight: most names and texts are ASCII for long stretches, and one test for eight units makes those several
// times faster than unit by unit. The portable forms below do the same work on two 64-bit words.

/// Copies eight units as bytes if all are ASCII.
inline bool narrowEight(const char16_t* in, char* out) {
#if defined(__SSE2__)
  const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  const __m128i high = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80)));
  if (_mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) != 0xFFFF) return false;
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
#else
  std::array<std::uint64_t, 2> words;
  std::memcpy(words.data(), in, sizeof words);
  if (((words[0] | words[1]) & 0xFF80FF80FF80FF80U) != 0) return false;
  for (int i = 0; i < 8; ++i) out[i] = static_cast<char>(in[i]);
#endif
  return true;
}

/// Copies eight bytes as units if all are ASCII.
inline bool widenEight(const char* in, char16_t* out) {
  std::uint64_t word;
  std::memcpy(&word, in, sizeof word);
  if ((word & 0x8080808080808080U) != 0) return false;
#if defined(__SSE2__)
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
#else
  for (int i = 0; i < 8; ++i) out[i] = static_cast<char16_t>(in[i]);
#endif
  return true;
}

inline bool eightAreAscii(const char* in) {
  std::uint64_t word;
  std::memcpy(&word, in, sizeof word);
  return (word & 0x8080808080808080U) == 0;
}

/// Writes a number above 0x7F. Surrogates are numbers like any other here: that is what keeps lone ones.
inline char* writeSequence(char32_t number, char* out) {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
  if (number < 0x800) {
    put(0xC0U | (number >> 6U));
  } else {
    if (number < 0x10000) {
      put(0xE0U | (number >> 12U));
    } else {
      put(0xF0U | (number >> 18U));
      put(0x80U | ((number >> 12U) & 0x3FU));
    }
    put(0x80U | ((number >> 6U) & 0x3FU));
  }
  put(0x80U | (number & 0x3FU));
  return out;
}

/// Converts what begins before `stop`; a pair that begins there may reach up to `end`. Needs 3 bytes of room per unit
/// up to `stop`, and one more. Moves `in` behind what it took.
char* encode(const char16_t*& in, const char16_t* stop, const char16_t* end, char* out) {
  while (in < stop) {
    if (stop - in >= 8 && narrowEight(in, out)) {
      in += 8;
      out += 8;
      continue;
    }
    // Here at least one of the next units is not ASCII or the text nearly ends: as far as that one, unit by unit.
    while (in < stop && *in < 0x80) *out++ = static_cast<char>(*in++);
    while (in < stop && *in >= 0x80) {
      char32_t number = *in++;
      if (isHighSurrogate(number) && in < end && isLowSurrogate(*in)) number = joinSurrogates(number, *in++);
      out = writeSequence(number, out);
    }
  }
  return out;
}

/// One UTF-8 sequence, or the maximal part of one that could still have become valid.
struct Sequence {
  char32_t number;
  unsigned length;  ///< bytes it takes, at least 1
  bool complete;
};

constexpr bool isContinuation(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

/// Reads the sequence at `in` < `end`, surrogates' forms included.
Sequence readSequence(const char* in, const char* end) {
  const auto byteAt = [in](unsigned i) { return static_cast<unsigned char>(in[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {0, 1, false};
  const unsigned length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  const auto available = static_cast<std::size_t>(end - in);
  // These bounds of the second byte are what keeps overlong forms and numbers above U+10FFFF out.
  const unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = lead == 0xF4 ? 0x8F : 0xBF;
  if (available < 2 || byteAt(1) < lowest || byteAt(1) > highest) return {0, 1, false};
  char32_t number = lead & (0x7FU >> length);
  number = (number << 6U) | (byteAt(1) & 0x3FU);
  for (unsigned i = 2; i < length; ++i) {
    if (i >= available || !isContinuation(byteAt(i))) return {0, i, false};
    number = (number << 6U) | (byteAt(i) & 0x3FU);
  }
  return {number, length, true};
}

inline char16_t* writeUnits(char32_t number, char16_t* out) {
  if (number >= 0x10000) {
    *out++ = static_cast<char16_t>(0xD7C0U + (number >> 10U));
    *out++ = static_cast<char16_t>(0xDC00U | (number & 0x3FFU));
  } else {
    *out++ = static_cast<char16_t>(number);
  }
  return out;
}

/// The inverse of `encode`, with the same use of `stop` and `end`. Needs one unit of room per byte up to `stop`, and
/// four more.
char16_t* decode(const char*& in, const char* stop, const char* end, char16_t* out) {
  const auto byteAt = [&in](unsigned i) { return static_cast<unsigned char>(in[i]); };
  while (in < stop) {
    if (stop - in >= 8 && widenEight(in, out)) {
      in += 8;
      out += 8;
      continue;
    }
    while (in < stop && byteAt(0) < 0x80) *out++ = static_cast<char16_t>(*in++);
    while (in < stop && byteAt(0) >= 0x80) {
      // The two frequent forms without the general machinery.
      const unsigned char lead = byteAt(0);
      if (lead >= 0xC2 && lead < 0xE0 && end - in >= 2 && isContinuation(byteAt(1))) {
        *out++ = static_cast<char16_t>(((lead & 0x1FU) << 6U) | (byteAt(1) & 0x3FU));
        in += 2;
      } else if (lead > 0xE0 && lead < 0xF0 && end - in >= 3 && isContinuation(byteAt(1)) &&
                 isContinuation(byteAt(2))) {
        *out++ = static_cast<char16_t>(((lead & 0x0FU) << 12U) | ((byteAt(1) & 0x3FU) << 6U) | (byteAt(2) & 0x3FU));
        in += 3;
      } else {
        const Sequence sequence = readSequence(in, end);
        in += sequence.length;
        out = writeUnits(sequence.complete ? sequence.number : kReplacement, out);
      }
    }
  }
  return out;
}

/// Input units or bytes per step. Steps go through a buffer on the stack, which costs one copy within the first-level
/// cache and saves both a counting pass and a string that is filled with zeros first.
constexpr std::ptrdiff_t kStep = 512;

using EncodeBuffer = std::array<char, 3 * (kStep + 1)>;
using DecodeBuffer = std::array<char16_t, kStep + 4>;

/// Appends the conversion of all input, in steps; takes everything back when memory runs out.
template <class Buffer, class Out, class In, class Convert>
void appendInSteps(Out& out, const In* in, const In* end, Convert convert) {
  const std::size_t before = out.size();
  Buffer buffer;
  try {
    while (in < end) {
      const In* stop = in + std::min(kStep, end - in);
      const auto* last = convert(in, stop, end, buffer.data());
      out.append(buffer.data(), static_cast<std::size_t>(last - buffer.data()));
    }
  } catch (...) {
    out.resize(before);
    throw;
  }
}

}  // namespace

void appendUtf8(std::string& out, std::u16string_view text) {
  appendInSteps<EncodeBuffer>(out, text.data(), text.data() + text.size(), encode);
}

void appendUstring(ustring& out, std::string_view utf8) {
  appendInSteps<DecodeBuffer>(out, utf8.data(), utf8.data() + utf8.size(), decode);
}

std::string ustring_to_utf8(std::u16string_view text) {
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  if (end - in <= kStep) {  // the rule for names: one conversion, one string of the right size
    EncodeBuffer buffer;
    const char* last = encode(in, end, end, buffer.data());
    return {buffer.data(), static_cast<std::size_t>(last - buffer.data())};
  }
  std::string utf8;
  utf8.reserve(text.size());
  appendUtf8(utf8, text);
  return utf8;
}

ustring utf8_to_ustring(std::string_view utf8) {
  const char* in = utf8.data();
  const char* const end = in + utf8.size();
  if (end - in <= kStep) {
    DecodeBuffer buffer;
    const char16_t* last = decode(in, end, end, buffer.data());
    return {buffer.data(), static_cast<std::size_t>(last - buffer.data())};
  }
  ustring text;
  text.reserve(utf8.size() / 2);  // right for two-byte scripts, one growth away for the others
  appendUstring(text, utf8);
  return text;
}

std::string to_string(const ustring& text) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  std::string out;
  std::u16string_view rest = text;
  for (std::size_t lone = findLoneSurrogate(rest); lone != std::u16string_view::npos; lone = findLoneSurrogate(rest)) {
    appendUtf8(out, rest.substr(0, lone));
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += kHexDigits[(unsigned{rest[lone]} >> shift) & 0xFU];
    rest.remove_prefix(lone + 1);
  }
  appendUtf8(out, rest);
  return out;
}

std::ostream& operator<<(std::ostream& stream, const ustring& text) { return stream << ustring_to_utf8(text); }

std::size_t findInvalidUtf8(std::string_view bytes) noexcept {
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  for (const char* in = begin; in < end;) {
    if (end - in >= 8 && eightAreAscii(in)) {
      in += 8;
      continue;
    }
    const Sequence sequence = readSequence(in, end);
    if (!sequence.complete || isSurrogate(sequence.number)) return static_cast<std::size_t>(in - begin);
    in += sequence.length;
  }
  return std::string_view::npos;
}

std::size_t findLoneSurrogate(std::u16string_view text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isSurrogate(text[i])) continue;
    const bool isPair = isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1]);
    if (!isPair) return i;
    ++i;
  }
  return std::u16string_view::npos;
}

}  // namespace bedrock::i18n
