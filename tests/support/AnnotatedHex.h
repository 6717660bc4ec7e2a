#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

/// Bytes as people can check them: hexadecimal with a remark behind each piece, in tests and in the format documents.
///
///   EXPECT_BYTES(stream.str(), R"(
///     42                         # letter "B"
///     01 00 00 00 00 00 00 00    # one used package
///   )");
///
/// Each line holds any number of bytes of two digits, with or without blanks between them; "#" starts a remark.
namespace testsupport {

struct AnnotatedLine {
  std::size_t offset = 0;  ///< of the line's first byte
  std::string bytes;
  std::string remark;
};

namespace detail {

inline int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

inline std::string parseDigits(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (std::isspace(static_cast<unsigned char>(text[at])) != 0) continue;
    const int high = hexDigit(text[at]);
    const int low = at + 1 < text.size() ? hexDigit(text[at + 1]) : -1;
    if (high < 0 || low < 0) throw std::invalid_argument("not annotated hex: \"" + std::string(text) + "\"");
    bytes.push_back(static_cast<char>(high * 16 + low));
    ++at;
  }
  return bytes;
}

inline std::string toHex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += digits;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace detail

/// The lines that hold bytes. Throws `std::invalid_argument` with the offending line.
inline std::vector<AnnotatedLine> parseAnnotatedLines(std::string_view annotatedHex) {
  std::vector<AnnotatedLine> lines;
  std::size_t offset = 0;
  std::istringstream text{std::string(annotatedHex)};
  for (std::string line; std::getline(text, line);) {
    const std::size_t hash = std::min(line.find('#'), line.size());
    AnnotatedLine parsed{offset, detail::parseDigits(std::string_view(line).substr(0, hash)), line.substr(hash)};
    offset += parsed.bytes.size();
    if (!parsed.bytes.empty()) lines.push_back(std::move(parsed));
  }
  return lines;
}

/// The bytes alone.
inline std::string fromAnnotatedHex(std::string_view annotatedHex) {
  std::string bytes;
  for (const AnnotatedLine& line : parseAnnotatedLines(annotatedHex)) bytes += line.bytes;
  return bytes;
}

inline std::string toByteString(std::string_view bytes) { return std::string(bytes); }
inline std::string toByteString(const std::vector<std::uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

/// Names the first line that differs with its remark, and shows what stands there instead.
inline testing::AssertionResult compareBytes(const char* actualText, const char*, const std::string& actual,
                                             std::string_view annotatedHex) {
  const std::vector<AnnotatedLine> lines = parseAnnotatedLines(annotatedHex);
  std::size_t expectedSize = 0;
  for (const AnnotatedLine& line : lines) {
    expectedSize = line.offset + line.bytes.size();
    const std::string found = line.offset < actual.size() ? actual.substr(line.offset, line.bytes.size()) : "";
    if (found == line.bytes) continue;
    const auto differs = std::mismatch(found.begin(), found.end(), line.bytes.begin(), line.bytes.end()).first;
    return testing::AssertionFailure() << actualText << " (" << actual.size() << " bytes) differs at offset "
                                       << line.offset + static_cast<std::size_t>(differs - found.begin())
                                       << ", in the line of offset " << line.offset << ":\n  expected  "
                                       << detail::toHex(line.bytes) << "   " << line.remark << "\n  found     "
                                       << detail::toHex(found) << "\n  whole     " << detail::toHex(actual);
  }
  if (actual.size() == expectedSize) return testing::AssertionSuccess();
  return testing::AssertionFailure() << actualText << " has " << actual.size() - expectedSize
                                     << " bytes behind the expected " << expectedSize << ":\n  "
                                     << detail::toHex(std::string_view(actual).substr(expectedSize));
}

/// The text of the fenced block that begins with "```hex " and `name`, in a document of this repository; `document` is
/// its path from the top. Throws `std::runtime_error` if there is none.
inline std::string documentedHex(const std::string& document, const std::string& name) {
  std::ifstream file(std::string(NIMBO_SOURCE_ROOT) + "/" + document);
  std::string block;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (inside && line == "```") return block;
    if (inside) block += line + "\n";
    if (line == "```hex " + name) inside = true;
  }
  throw std::runtime_error(document + " has no finished block \"```hex " + name + "\"");
}

}  // namespace testsupport

/// Passes if `actual`, a string or a vector of `uint8_t`, holds exactly the bytes of `annotatedHex`.
#define EXPECT_BYTES(actual, annotatedHex) \
  EXPECT_PRED_FORMAT2(testsupport::compareBytes, testsupport::toByteString(actual), annotatedHex)
