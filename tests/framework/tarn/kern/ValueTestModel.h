#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

/// The meta-model of the tests of values: "valuetest", registered at first use.
namespace tarn::kern::valuetest {

/// What values of the custom type Money hold; its text form is the number of cents.
struct Money {
  std::int64_t cents = 0;
  friend auto operator<=>(const Money&, const Money&) = default;
  [[nodiscard]] std::size_t hash() const { return static_cast<std::size_t>(cents); }
};
/// What values of the custom type Blob hold: larger than what a Value has room for, without order and hash.
struct Blob {
  std::u16string name;
  std::u16string content;
  friend bool operator==(const Blob&, const Blob&) = default;
};

/// Color: red 0, green 1, blue -7, alsoBlue -7; Size: small 0, huge 4294967296.
[[nodiscard]] meta::Enum color();
[[nodiscard]] meta::Enum size();

/// Money and Blob.
[[nodiscard]] meta::Type money();
[[nodiscard]] meta::Type blob();

/// Point: x, y (Integer, required).
[[nodiscard]] meta::DataType point();
/// Sheet, an attribute of every kind, each optional: text, stdText, int32, int8, int16, int64, uint8, uint16, uint64,
/// natural, real, flag, id, time (the standard types), color (default green), title (String, default "untitled"),
/// point, price (Money), target (Box), notes (map), and the collections numbers, flags, texts, reals (contiguous),
/// generic (Integer, generic), colors, points, prices, targets.
[[nodiscard]] meta::DataType sheet();
/// Nest: number (Integer), inner (Nest, many).
[[nodiscard]] meta::DataType nest();

/// Box: name (String), numbers (Integer, many), notes (map), parts (Box, composite, many), friend (Box), friends (Box,
/// many), sheet (Sheet), nest (Nest), sheets (Sheet, many), colors (Color, many), computed (Integer, derived). BigBox
/// extends Box.
[[nodiscard]] meta::Class box();
[[nodiscard]] meta::Class bigBox();

[[nodiscard]] meta::Property propertyOf(const meta::StructuredType& type, std::u16string_view name);
[[nodiscard]] meta::EnumLiteral literalOf(const meta::Enum& type, std::u16string_view name);

/// An empty model, and an element in it; each uuid ends in `last`.
[[nodiscard]] Model emptyModel();
ModelElement newElement(const Model& model, const meta::Class& type, std::uint8_t last);

/// A Nest that holds another one, and so on: `depth` of them.
[[nodiscard]] ReflectiveDataType nested(std::size_t depth);

/// How deep nesting is tested: deep enough for any stack to overflow.
[[nodiscard]] std::size_t deep() noexcept;

}  // namespace tarn::kern::valuetest
