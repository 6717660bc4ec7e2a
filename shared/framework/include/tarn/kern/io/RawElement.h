#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <bedrock/i18n.h>
#include <tarn/export.h>

/// The content of an element before any meta-model has been asked: what a reader of JSON, XML or a store has read,
/// under the names that the file uses. Evolution works on this form alone, so that a step is written once for all
/// formats.
///
/// Plain values: they own what they hold, compare by content, and share nothing. Nesting may have any depth; copying,
/// comparing and destroying are safe for it. Threads: as for any value.
namespace tarn::kern::io {

using bedrock::i18n::ustring;

class RawValue;
struct RawElement;

/// Where something stands in its source: line and column count from 1 (the column in bytes); 0 where the source has no
/// lines.
struct RawPosition {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

/// A named value. Names may repeat; readers keep the file's order.
struct RawProperty;

/// A reference to an element that stands elsewhere. The type name may be empty, where the file names none.
struct TARN_EXPORT RawReference {
  ustring typeName;
  boost::uuids::uuid uuid = {};
  friend bool operator==(const RawReference&, const RawReference&) = default;
};

/// A value of a structured data type: qualified type name (may be empty, where the file names none) and properties.
struct TARN_EXPORT RawData {
  ustring typeName;
  std::vector<RawProperty> properties;
  RawData();
  RawData(const RawData&);
  RawData(RawData&&) noexcept;
  RawData& operator=(const RawData&);
  RawData& operator=(RawData&&) noexcept;
  ~RawData();
};

/// A number as its file spells it, decimal: nothing is lost on the way, whatever its size. "NaN", "inf" and "-inf"
/// stand for what numbers cannot spell.
struct TARN_EXPORT RawNumber {
  std::string text;
  friend bool operator==(const RawNumber&, const RawNumber&) = default;
};

/// One value. A file whose values are all text (XML) gives Text for numbers, truth values and literals too; what turns
/// raw content into elements accepts the text form for every plain type.
class TARN_EXPORT RawValue {
 public:
  using Text = ustring;
  using List = std::vector<RawValue>;
  using Map = std::vector<std::pair<ustring, ustring>>;  ///< in insertion order
  using Element = std::unique_ptr<RawElement>;           ///< contents that stand here; never null
  enum class Kind : std::uint8_t { Null, Boolean, Number, Text, List, Map, Data, Reference, Element };

  RawValue() noexcept;             // Null
  RawValue(bool value);            // NOLINT(google-explicit-constructor)
  RawValue(RawNumber value);       // NOLINT(google-explicit-constructor)
  RawValue(Text value);            // NOLINT(google-explicit-constructor)
  RawValue(const char16_t* text);  // NOLINT(google-explicit-constructor)
  RawValue(List value);            // NOLINT(google-explicit-constructor)
  RawValue(Map value);             // NOLINT(google-explicit-constructor)
  RawValue(RawData value);         // NOLINT(google-explicit-constructor)
  RawValue(RawReference value);    // NOLINT(google-explicit-constructor)
  RawValue(RawElement value);      // NOLINT(google-explicit-constructor)
  RawValue(const RawValue& other);
  RawValue(RawValue&& other) noexcept;
  RawValue& operator=(const RawValue& other);
  RawValue& operator=(RawValue&& other) noexcept;
  ~RawValue();

  [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(fContent.index()); }
  [[nodiscard]] bool isNull() const noexcept { return kind() == Kind::Null; }

  /// Access by kind. @throws std::bad_variant_access when the value is of another kind.
  [[nodiscard]] bool boolean() const { return std::get<bool>(fContent); }
  [[nodiscard]] const std::string& number() const { return std::get<RawNumber>(fContent).text; }
  [[nodiscard]] const ustring& text() const { return std::get<Text>(fContent); }
  [[nodiscard]] const List& list() const { return std::get<List>(fContent); }
  [[nodiscard]] List& list() { return std::get<List>(fContent); }
  [[nodiscard]] const Map& map() const { return std::get<Map>(fContent); }
  [[nodiscard]] Map& map() { return std::get<Map>(fContent); }
  [[nodiscard]] const RawData& data() const { return std::get<RawData>(fContent); }
  [[nodiscard]] RawData& data() { return std::get<RawData>(fContent); }
  [[nodiscard]] const RawReference& reference() const { return std::get<RawReference>(fContent); }
  [[nodiscard]] RawReference& reference() { return std::get<RawReference>(fContent); }
  [[nodiscard]] const RawElement& element() const { return *std::get<Element>(fContent); }
  [[nodiscard]] RawElement& element() { return *std::get<Element>(fContent); }

  friend TARN_EXPORT bool operator==(const RawValue& a, const RawValue& b);

  RawPosition position;  ///< not part of the comparison

 private:
  std::variant<std::monostate, bool, RawNumber, Text, List, Map, RawData, RawReference, Element> fContent;
};

struct TARN_EXPORT RawProperty {
  ustring name;
  RawValue value;
  friend bool operator==(const RawProperty&, const RawProperty&) = default;
};

/// One element: qualified class name, uuid, and its properties in the file's order.
struct TARN_EXPORT RawElement {
  ustring typeName;
  boost::uuids::uuid uuid = {};
  std::vector<RawProperty> properties;
  RawPosition position;  ///< not part of the comparison

  /// The first property of that name, or nullptr.
  [[nodiscard]] const RawValue* find(std::u16string_view name) const noexcept;
  [[nodiscard]] RawValue* find(std::u16string_view name) noexcept;
  /// The value of that name, made (Null) at the end when there is none.
  [[nodiscard]] RawValue& get(std::u16string_view name);
  /// Takes every property of that name out. @return how many there were.
  std::size_t remove(std::u16string_view name);

  friend TARN_EXPORT bool operator==(const RawElement& a, const RawElement& b);
};

TARN_EXPORT bool operator==(const RawData& a, const RawData& b);

}  // namespace tarn::kern::io
