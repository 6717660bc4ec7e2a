#include "PlainText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include <bedrock/i18n.h>

namespace tarn::kern::io {

namespace {

/// Both digits of every byte, so that a uuid takes sixteen copies of two characters.
constexpr std::array<char, 512> kHexPairs = [] {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::array<char, 512> pairs{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    pairs[2 * byte] = kDigits[byte >> 4U];
    pairs[2 * byte + 1] = kDigits[byte & 15U];
  }
  return pairs;
}();

constexpr std::uint8_t kNoDigit = 0xFF;
constexpr std::array<std::uint8_t, 256> kHexValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t i = 0; i < 10; ++i) values[static_cast<std::size_t>('0') + i] = i;
  for (std::uint8_t i = 0; i < 6; ++i) {
    values[static_cast<std::size_t>('a') + i] = static_cast<std::uint8_t>(10 + i);
    values[static_cast<std::size_t>('A') + i] = static_cast<std::uint8_t>(10 + i);
  }
  return values;
}();

/// Where the two digits of each byte stand in the text.
constexpr std::array<std::uint8_t, 16> kUuidPlaces = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::array<std::uint8_t, 4> kUuidDashes = {8, 13, 18, 23};

constexpr std::uint64_t kUsualNan = std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());

/// Whether a decimal number that is far from one is large or small: by the power of ten of its first digit.
bool isAboveOne(std::string_view text) noexcept {
  const std::size_t exponentAt = std::min(text.find_first_of("eE"), text.size());
  const std::string_view digits = text.substr(0, exponentAt);
  const std::size_t first = digits.find_first_of("123456789");
  const std::size_t point = std::min(digits.find('.'), digits.size());
  if (first == std::string_view::npos) return false;
  const bool isBeforePoint = first < point;
  const auto places = static_cast<std::int64_t>(isBeforePoint ? point - first : first - point);

  std::string_view exponentText = text.substr(std::min(exponentAt + 1, text.size()));
  if (exponentText.starts_with('+')) exponentText.remove_prefix(1);
  std::int64_t exponent = 0;
  const auto result = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (result.ec == std::errc::result_out_of_range) return !exponentText.starts_with('-');
  return exponent > (isBeforePoint ? -places : places);
}

/// Any number of digits. @param text without its sign
template <class T>
std::optional<T> readLongInteger(std::string_view text, bool isNegative) noexcept {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
  constexpr std::uint64_t kMostNegative = std::is_signed_v<T> ? kLargest + 1 : 0;
  if (number > (isNegative ? kMostNegative : kLargest)) return std::nullopt;
  return static_cast<T>(isNegative ? 0 - number : number);
}

}  // namespace

void writeUuid(char* out, const boost::uuids::uuid& uuid) noexcept {
  for (const std::uint8_t dash : kUuidDashes) out[dash] = '-';
  for (std::size_t i = 0; i < kUuidPlaces.size(); ++i) {
    std::memcpy(out + kUuidPlaces[i], &kHexPairs[std::size_t{2} * uuid.data[i]], 2);
  }
}

std::optional<boost::uuids::uuid> readUuid(std::string_view text) noexcept {
  if (text.size() != kUuidLength) return std::nullopt;
  for (const std::uint8_t dash : kUuidDashes) {
    if (text[dash] != '-') return std::nullopt;
  }
  boost::uuids::uuid uuid;
  std::uint8_t seen = 0;
  for (std::size_t i = 0; i < kUuidPlaces.size(); ++i) {
    const std::uint8_t high = kHexValues[static_cast<unsigned char>(text[kUuidPlaces[i]])];
    const std::uint8_t low = kHexValues[static_cast<unsigned char>(text[kUuidPlaces[i] + std::size_t{1}])];
    uuid.data[i] = static_cast<std::uint8_t>(static_cast<unsigned>(high) << 4U | low);
    seen = static_cast<std::uint8_t>(seen | high | low);
  }
  if (seen > 15) return std::nullopt;  // at least one was kNoDigit
  return uuid;
}

std::optional<std::string> bytesOf(std::u16string_view text) {
  std::string bytes;
  while (!text.empty()) {
    const std::size_t run = std::min(bedrock::i18n::findLoneSurrogate(text), text.size());
    bedrock::i18n::appendUtf8(bytes, text.substr(0, run));
    text.remove_prefix(run);
    if (text.empty()) break;
    const auto byte = static_cast<unsigned>(text.front()) - 0xDC00U;
    if (byte < 0x80 || byte > 0xFF) return std::nullopt;
    bytes += static_cast<char>(byte);
    text.remove_prefix(1);
  }
  return bytes;
}

std::string nameOfSpecialReal(double number) {
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  const auto bits = std::bit_cast<std::uint64_t>(number);
  if (bits == kUsualNan) return "NaN";
  std::string name = "NaN(";
  for (unsigned shift = 64; shift > 0; shift -= 8) name.append(&kHexPairs[2 * ((bits >> (shift - 8)) & 0xFFU)], 2);
  return name + ")";
}

std::optional<double> specialRealNamed(std::string_view text) noexcept {
  if (text == "inf") return std::numeric_limits<double>::infinity();
  if (text == "-inf") return -std::numeric_limits<double>::infinity();
  if (text == "NaN") return std::bit_cast<double>(kUsualNan);
  constexpr std::string_view kBegin = "NaN(";
  constexpr std::size_t kDigits = 16;
  if (text.size() != kBegin.size() + kDigits + 1 || !text.starts_with(kBegin) || text.back() != ')')
    return std::nullopt;
  std::uint64_t bits = 0;
  const char* const digits = text.data() + kBegin.size();
  const auto [end, error] = std::from_chars(digits, digits + kDigits, bits, 16);
  const auto number = std::bit_cast<double>(bits);
  if (error != std::errc() || end != digits + kDigits || !std::isnan(number)) return std::nullopt;
  return number;
}

char* writeReal(char* out, double number) noexcept { return std::to_chars(out, out + kLongestReal, number).ptr; }

std::optional<double> readReal(std::string_view text) noexcept {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ptr != end || text.empty()) return std::nullopt;
  if (result.ec == std::errc()) return std::isfinite(number) ? std::optional(number) : std::nullopt;
  // Out of range is both too large, and too small to be told from zero. The latter is mere rounding.
  if (result.ec != std::errc::result_out_of_range || isAboveOne(text)) return std::nullopt;
  return text.front() == '-' ? -0.0 : 0.0;
}

template <class T>
std::optional<T> readInteger(std::string_view text) noexcept {
  using Unsigned = std::make_unsigned_t<T>;
  constexpr std::size_t kSafeDigits = std::numeric_limits<T>::digits10;  // any number of so many digits fits
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  if (text.empty() || text.size() > kSafeDigits) return readLongInteger<T>(text, isNegative);
  Unsigned number = 0;
  for (const char c : text) {
    const auto digit = static_cast<unsigned char>(c - '0');
    if (digit > 9) return std::nullopt;
    number = static_cast<Unsigned>(number * 10U + digit);
  }
  if (!isNegative) return static_cast<T>(number);
  if constexpr (std::is_unsigned_v<T>) {
    return number == 0 ? std::optional<T>(0) : std::nullopt;
  } else {
    return static_cast<T>(-static_cast<T>(number));
  }
}

template std::optional<std::int8_t> readInteger(std::string_view) noexcept;
template std::optional<std::int16_t> readInteger(std::string_view) noexcept;
template std::optional<std::int32_t> readInteger(std::string_view) noexcept;
template std::optional<std::int64_t> readInteger(std::string_view) noexcept;
template std::optional<std::uint8_t> readInteger(std::string_view) noexcept;
template std::optional<std::uint16_t> readInteger(std::string_view) noexcept;
template std::optional<std::uint32_t> readInteger(std::string_view) noexcept;
template std::optional<std::uint64_t> readInteger(std::string_view) noexcept;

}  // namespace tarn::kern::io
