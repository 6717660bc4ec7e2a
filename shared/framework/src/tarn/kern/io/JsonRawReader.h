#pragma once

#include <cstdint>

#include <tarn/kern/io/RawElement.h>

#include "JsonDocument.h"

namespace tarn::kern::io {

/// Turns the entries of a JSON document into raw content, of whatever meta-model. What an object is, its keys tell:
/// with "type" and "uuid" an element, or a reference where "content" is missing; with "content" a data value; anything
/// else must be a map of texts. A map that happens to look like a reference is told apart later, by the type of its
/// property.
///
/// Content is visited in the order of the text, which makes lines and columns cheap. @throws ParseError
class JsonRawReader {
 public:
  explicit JsonRawReader(const JsonDocument& document) : fText(document.text()) {}

  /// An element, a reference, or null.
  [[nodiscard]] RawValue entry(const JsonNode& node);

 private:
  struct Shape;

  [[nodiscard]] RawValue value(const JsonNode& node);
  [[nodiscard]] RawValue object(const JsonNode& node);
  [[nodiscard]] RawValue map(const JsonNode& node);
  [[nodiscard]] std::vector<RawProperty> properties(const JsonNode& content);
  [[nodiscard]] RawPosition positionOf(const JsonNode& node);

  std::string_view fText;
  // The position that was asked for last; the next one is most often a little further on.
  std::size_t fOffset = 0;
  std::size_t fLineStart = 0;
  std::uint32_t fLine = 1;
};

}  // namespace tarn::kern::io
