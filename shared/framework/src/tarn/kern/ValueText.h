#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <tarn/kern/Value.h>

namespace tarn::kern::internal {

/// Writes values for messages: a line that a person can take in at once, never an exception for what a value holds.
///
/// `String "text"`, `Color blue (7)`, `Point {x: 1, y: 2}`, `Integer [3] {1, 2, 3}`, `String (absent)`. Long texts,
/// long collections and deep nesting end in "...".
class ValueText {
 public:
  [[nodiscard]] std::string describe(const Value& value);

 private:
  void writeTyped(const Value& value);
  void writeContent(const Value& value);
  void writePlain(const Value& value);
  void writeEnum(const Value& value);
  void writeElement(const ModelElement& element);
  void writeData(const ReflectiveDataType& data);
  void writePrimitive(const meta::PrimitiveType& type, const Value& value);
  void writeForeign();
  void writeMap(const StringToStringMap& map);
  void writeEntries(const Value& value);
  void writeQuoted(std::u16string_view text);
  template <class Range, class Write>
  void writeList(const Range& range, Write write);
  [[nodiscard]] bool isFull() const noexcept { return fText.size() >= kFullBytes; }

  static constexpr std::size_t kFullBytes = 160;  // nothing more is begun then
  static constexpr std::size_t kLongText = 60;
  static constexpr std::size_t kDeepest = 3;

  std::string fText;
  std::size_t fDepth = 0;
};

}  // namespace tarn::kern::internal
