#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>

/// The meta-model of the random edits: "edits", registered at first use. Its one class "Thing" has a property of every
/// kind that there is.
namespace edittest {

/// What the values of a property are. Which they are is said by numbers: 0, 1, 2 … stand for as many different values.
enum class Kind : std::uint8_t {
  Text,
  StdText,
  Int8,
  Int16,
  Int32,
  Int64,
  UInt8,
  UInt16,
  UInt64,
  Natural,
  Real,
  Boolean,
  Uuid,
  Time,
  Map,
  Color,  ///< an enum
  Money,  ///< a custom type
  Point,  ///< a data type of two numbers
  Sheet,  ///< a data type with collections, a map and a data value inside
};
inline constexpr std::size_t kKinds = 19;

/// How many different values of a kind there are to choose from.
[[nodiscard]] int valuesOf(Kind kind);
[[nodiscard]] tarn::kern::Value valueOf(Kind kind, int number);

enum class Shape : std::uint8_t {
  Value,      ///< a single value
  Values,     ///< a collection of values
  LiveMap,    ///< a map whose entries are edited
  Reference,  ///< one element
  WayBack,    ///< one element: the container through the composite property that is its opposite
  Elements,   ///< a collection of elements
};

inline constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// One property, as both the model and its plain double know it.
struct PropertyInfo {
  tarn::kern::meta::Property property;
  std::string name;
  Shape shape = Shape::Value;
  Kind kind = Kind::Text;
  bool isUnique = false;
  bool isComposite = false;
  bool isQualified = false;
  bool mayBeAbsent = false;
  std::size_t opposite = kNone;  ///< its place among the properties
};

[[nodiscard]] const std::vector<PropertyInfo>& properties();
[[nodiscard]] tarn::kern::meta::Class thing();

}  // namespace edittest
