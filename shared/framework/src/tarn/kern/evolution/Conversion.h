#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "TypeTable.h"

/// What becomes of plain values when the type of their property changes.
namespace tarn::kern::evolution::internal {

/// A type as conversions see it.
struct ContentType {
  enum class Kind : unsigned char {
    Unknown,
    Text,
    Integer,
    Real,
    Boolean,
    Uuid,
    DateTime,
    Literal,
    Custom,
    Map,
    Data,
    Element
  };

  Kind kind = Kind::Unknown;
  ustring name;  // qualified
  // Integer: the range.
  std::int64_t lowest = 0;
  std::uint64_t highest = 0;
  // Literal: names and, as far as they are known, numbers.
  std::map<ustring, std::optional<std::int64_t>, std::less<>> literals;

  static ContentType of(const ustring& qualifiedName, const TypeTable& types);
};

/// Why no standard conversion leads from one to the other: nothing, or the end of a message.
[[nodiscard]] std::string faultOfConversion(const ContentType& from, const ContentType& to);

/// Converts a single value in place; null stays null. @return nothing, or why this value cannot be converted.
/// @pre faultOfConversion is empty.
[[nodiscard]] std::string convert(io::RawValue& value, const ContentType& from, const ContentType& to);

/// Why a value that a step names does not suit a property of that type: nothing, or the end of a message.
[[nodiscard]] std::string faultOfContent(const io::RawValue& value, const ContentType& type);

}  // namespace tarn::kern::evolution::internal
