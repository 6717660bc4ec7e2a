#include "DebianVersion.h"

#include <limits>

#include "Ascii.h"

namespace debian_packages {
namespace {

/// Where a character stands among the non-digits. The end of the text and a digit are both 0: what ends earlier is
/// smaller, except against a tilde. Letters come before all other characters.
int weight(std::string_view text, std::size_t at) {
  if (at >= text.size() || isDigit(text[at])) return 0;
  const char c = text[at];
  if (isLetter(c)) return c;
  if (c == '~') return -1;
  // dpkg compares signed characters, so bytes beyond ASCII come between the letters and the punctuation.
  return static_cast<signed char>(c) + 256;
}

bool isNonDigitAt(std::string_view text, std::size_t at) { return at < text.size() && !isDigit(text[at]); }

/// Cuts the number at `at` out, without leading zeros. It may have any length, so it stays a text.
std::string_view takeNumber(std::string_view text, std::size_t& at) {
  while (at < text.size() && text[at] == '0') ++at;
  const std::size_t begin = at;
  while (at < text.size() && isDigit(text[at])) ++at;
  return text.substr(begin, at - begin);
}

/// Compares upstream with upstream, or revision with revision: runs of non-digits and of digits by turns.
std::weak_ordering compareParts(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() || j < b.size()) {
    while (isNonDigitAt(a, i) || isNonDigitAt(b, j)) {
      if (const auto order = weight(a, i) <=> weight(b, j); order != 0) return order;
      ++i;  // equal weights: both are the same non-digit, so neither runs beyond its end
      ++j;
    }
    const std::string_view numberA = takeNumber(a, i);
    const std::string_view numberB = takeNumber(b, j);
    if (const auto order = numberA.size() <=> numberB.size(); order != 0) return order;
    if (const int order = numberA.compare(numberB); order != 0) return order <=> 0;
  }
  return std::weak_ordering::equivalent;
}

[[noreturn]] void refuse(std::string_view text, const char* why) {
  throw VersionError("version '" + std::string(text) + "' has bad syntax: " + why);
}

std::int32_t parseEpoch(std::string_view digits, std::string_view text) {
  const bool negative = !digits.empty() && digits.front() == '-';
  if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
  if (digits.empty() || !isDigit(digits.front())) refuse(text, "epoch in version is empty");
  std::int64_t epoch = 0;
  bool tooBig = false;
  for (const char c : digits) {
    if (!isDigit(c)) refuse(text, "epoch in version is not number");
    epoch = epoch * 10 + (c - '0');
    tooBig = tooBig || epoch > std::numeric_limits<std::int32_t>::max();
    if (tooBig) epoch = 1;  // go on: a letter further behind is the more telling fault
  }
  if (negative && epoch != 0) refuse(text, "epoch in version is negative");
  if (tooBig) refuse(text, "epoch in version is too big");
  return static_cast<std::int32_t>(epoch);
}

}  // namespace

DebianVersion DebianVersion::parse(std::string_view text) {
  std::string_view rest = text;
  while (!rest.empty() && isBlank(rest.front())) rest.remove_prefix(1);
  while (!rest.empty() && isBlank(rest.back())) rest.remove_suffix(1);
  if (rest.empty()) refuse(text, "version string is empty");
  if (rest.find_first_of(" \t") != std::string_view::npos) refuse(text, "version string has embedded spaces");

  DebianVersion version;
  if (const std::size_t colon = rest.find(':'); colon != std::string_view::npos) {
    version.fEpoch = parseEpoch(rest.substr(0, colon), text);
    rest.remove_prefix(colon + 1);
    if (rest.empty()) refuse(text, "nothing after colon in version number");
  }
  if (const std::size_t hyphen = rest.rfind('-'); hyphen != std::string_view::npos) {
    version.fRevision = rest.substr(hyphen + 1);
    rest = rest.substr(0, hyphen);
    if (version.fRevision.empty()) refuse(text, "revision number is empty");
  }
  if (rest.empty()) refuse(text, "version number is empty");
  version.fUpstream = rest;
  return version;
}

std::string DebianVersion::text() const {
  std::string text;
  if (fEpoch != 0 || fUpstream.find(':') != std::string::npos || fRevision.find(':') != std::string::npos) {
    text = std::to_string(fEpoch) + ':';
  }
  text += fUpstream;
  if (!fRevision.empty()) text += '-' + fRevision;
  return text;
}

std::weak_ordering operator<=>(const DebianVersion& a, const DebianVersion& b) noexcept {
  if (a.fEpoch != b.fEpoch) return a.fEpoch <=> b.fEpoch;
  if (const auto order = compareParts(a.fUpstream, b.fUpstream); order != 0) return order;
  return compareParts(a.fRevision, b.fRevision);
}

}  // namespace debian_packages
