#pragma once

#include <string>
#include <string_view>

/// Character tests of the package files' own syntax. They are plain ASCII on purpose: <cctype> follows the locale and
/// is undefined for negative characters, which any file may contain.
namespace debian_packages {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isLetter(char c) { return isUpper(c) || (c >= 'a' && c <= 'z'); }
constexpr bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }
constexpr bool isSpace(char c) { return isBlank(c) || (c >= '\n' && c <= '\r'); }
constexpr char toLower(char c) { return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string toLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = toLower(c);
  return lower;
}

constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (toLower(a[i]) != toLower(b[i])) return false;
  }
  return true;
}

/// The text without the blanks, line ends and the like around it.
constexpr std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

/// Cuts the first word off `rest`; empty at the end. Words are separated by any white space.
constexpr std::string_view nextWord(std::string_view& rest) {
  rest = trimmed(rest);
  std::size_t length = 0;
  while (length < rest.size() && !isSpace(rest[length])) ++length;
  const std::string_view word = rest.substr(0, length);
  rest.remove_prefix(length);
  return word;
}

/// Cuts the first line, without its end, off `rest`, which must not be empty.
constexpr std::string_view nextLine(std::string_view& rest) {
  const std::size_t end = rest.find('\n');
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return line;
}

}  // namespace debian_packages
