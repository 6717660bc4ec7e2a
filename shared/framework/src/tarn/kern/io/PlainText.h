#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

/// The text forms of plain values that are the same in all text formats.
namespace tarn::kern::io {

inline constexpr std::size_t kUuidLength = 36;

/// Writes the lower-case form with dashes to `out`, which has room for kUuidLength characters.
void writeUuid(char* out, const boost::uuids::uuid& uuid) noexcept;
/// Reads that form, in either case. None for anything else.
[[nodiscard]] std::optional<boost::uuids::uuid> readUuid(std::string_view text) noexcept;

/// Bytes that are not all UTF-8 stand in a text as UTF-8 but for those that are part of no well-formed sequence: each
/// of these is the lone low surrogate U+DC00 plus the byte. This gives the bytes back; none when other surrogates stand
/// alone.
[[nodiscard]] std::optional<std::string> bytesOf(std::u16string_view text);

/// What a Real that is no number is called: "NaN", "inf", "-inf"; a NaN with other bits than the usual one, so that
/// nothing is lost, "NaN(fff8000000000001)". @pre the number is not finite
[[nodiscard]] std::string nameOfSpecialReal(double number);
/// The inverse. None for anything else.
[[nodiscard]] std::optional<double> specialRealNamed(std::string_view text) noexcept;

/// The longest decimal form that writeReal gives.
inline constexpr std::size_t kLongestReal = 32;
/// Writes the shortest decimal number that reads back as the same one. @return behind the last character
/// @pre finite, and room for kLongestReal characters
char* writeReal(char* out, double number) noexcept;
/// Reads a decimal number, rounding to the nearest. None when `text` is not one, or lies beyond the range of a double.
[[nodiscard]] std::optional<double> readReal(std::string_view text) noexcept;

/// Reads an integer without fraction or exponent. None when `text` is not one or does not fit T.
template <class T>
[[nodiscard]] std::optional<T> readInteger(std::string_view text) noexcept;

}  // namespace tarn::kern::io
