#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include <tarn/export.h>

/// Text and its conversions. Inside, text is UTF-16 (`ustring`); bytes that leave the process are UTF-8 in
/// `std::string`.
///
/// No ustring is refused: a lone surrogate, which UTF-16 data of foreign origin may hold, becomes the three-byte form
/// that UTF-8's scheme gives its number, and comes back from it. So utf8_to_ustring(ustring_to_utf8(t)) == t for every
/// t, and a stray unit is never silently lost between two files. Writers of formats that demand well-formed text ask
/// findLoneSurrogate first; readers of such formats ask findInvalidUtf8.
///
/// Threads: pure functions. Errors: std::bad_alloc and std::length_error of the strings alone.
namespace bedrock::i18n {

/// UTF-16 text in code units; the length counts a surrogate pair as two. No promise of well-formedness.
using ustring = std::u16string;

/// The UTF-8 form. A surrogate pair gives one four-byte sequence, a lone surrogate its three-byte form (ED A0..BF xx).
[[nodiscard]] TARN_EXPORT std::string ustring_to_utf8(std::u16string_view text);
[[nodiscard]] inline std::string ustring_to_utf8(const ustring& text) {
  return ustring_to_utf8(std::u16string_view(text));
}
[[nodiscard]] inline std::string ustring_to_utf8(const char16_t* text) {
  return ustring_to_utf8(std::u16string_view(text));
}

/// The inverse of ustring_to_utf8. Three-byte forms of surrogates are taken as units (two that form a pair become that
/// pair). Other malformed input never throws, as this runs on names in error texts too: each maximal ill-formed part
/// (the longest beginning of a sequence that could still have become valid, else one byte) becomes one U+FFFD, and
/// reading goes on behind it, so that no valid character is swallowed. Where that is not good enough, test with
/// findInvalidUtf8 first.
[[nodiscard]] TARN_EXPORT ustring utf8_to_ustring(std::string_view utf8);
[[nodiscard]] inline ustring utf8_to_ustring(const std::string& utf8) {
  return utf8_to_ustring(std::string_view(utf8));
}
[[nodiscard]] inline ustring utf8_to_ustring(const char* utf8) { return utf8_to_ustring(std::string_view(utf8)); }

/// Text for messages: always well-formed UTF-8. Same as ustring_to_utf8, but a lone surrogate shows as its escape
/// (backslash, "uD800"), so that a log or a terminal stays readable and still tells which unit it was.
[[nodiscard]] TARN_EXPORT std::string to_string(const ustring& text);

/// Prints ustring_to_utf8(text) as one formatted output (width and fill count bytes). As a ustring is a standard
/// string, name lookup does not come here by itself: users write `using bedrock::i18n::operator<<;`.
TARN_EXPORT std::ostream& operator<<(std::ostream& stream, const ustring& text);

/// Appends what ustring_to_utf8(text) would give, without a temporary. On an exception `out` is unchanged.
TARN_EXPORT void appendUtf8(std::string& out, std::u16string_view text);

/// Appends what utf8_to_ustring(utf8) would give, without a temporary. On an exception `out` is unchanged.
TARN_EXPORT void appendUstring(ustring& out, std::string_view utf8);

/// Offset of the first byte that does not begin a well-formed UTF-8 sequence (surrogates, overlong forms, numbers above
/// U+10FFFF and cut sequences are not well-formed), or std::string_view::npos when there is none.
[[nodiscard]] TARN_EXPORT std::size_t findInvalidUtf8(std::string_view bytes) noexcept;

/// True when all of `bytes` is well-formed UTF-8, the empty text included.
[[nodiscard]] inline bool isValidUtf8(std::string_view bytes) noexcept {
  return findInvalidUtf8(bytes) == std::string_view::npos;
}

/// Index of the first surrogate that is not half of a pair, or std::u16string_view::npos when the text is well-formed.
[[nodiscard]] TARN_EXPORT std::size_t findLoneSurrogate(std::u16string_view text) noexcept;

}  // namespace bedrock::i18n
