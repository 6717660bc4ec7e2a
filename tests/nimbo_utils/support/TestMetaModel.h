#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/MetaRegistry.h>

/// Meta-models for the tests of everything that reads and writes models. Registered at first use, once per process.
namespace testsupport {

/// "demo", of the worked example in docs/formats/binary.md: one class Node with count (Integer, required) and label
/// (String, optional), no defaults. Its URI is "urn:demo".
struct DemoMetaModel {
  tarn::kern::meta::Package package;
  tarn::kern::meta::Class node;
  tarn::kern::meta::Property count;
  tarn::kern::meta::Property label;
};
const DemoMetaModel& demoMetaModel();

/// The C++ type of the custom primitive types of "sample".
struct Money {
  std::int64_t cents = 0;
  friend auto operator<=>(const Money&, const Money&) = default;
};

/// "sample", URI "urn:sample": every kind of property, each alone in a class of its own and all together in one.
///
/// Enums       Color (red 0, green 1, blue 7), Grade (good 1, fair 2: no literal 0)
/// Data types  Point (x, y: Integer, required)
///             Line (from, to: Point, required; color: Color, required, default green; labels: String, many;
///             target: Box; via: Point, many; scratch: Integer, transient)
/// Custom      Money, for which tests register a serializer, and Opaque, which has none; both hold a testsupport::Money
///
/// For each T of kindNames() the class Required<T>, Optional<T>, Many<T> and Generic<T> (a collection that is kept out
/// of contiguous storage), each with the one property "value" without default; of StringToStringMap no collections.
///
/// Everything: the properties required<T>, optional<T>, many<T>, generic<T> of all kinds, without those that the binary
///             form refuses when they are absent (optional data types, maps and custom values), and name (String)
/// Defaults:   count (Integer, required, default 5), ratio (Real, default 0.5), color (Color, required, default blue),
///             text (String, default "none"), plain (Integer, optional, no default)
/// Box:        name (String), content (Box, composite, single), parts (Box, composite, many, opposite owner), owner
/// (Box),
///             link (Box), links (Box, many, not unique)
/// BigBox:     a Box with size (Integer)
/// Chain:      zeta, alpha (Integer); ChainTail extends Chain with mid, beta (Integer): for the order of properties
/// Omitting:   derived, transient, kept (Integer)
/// Bag:        items (Box, composite, many, qualified by name)
/// Index:      entries (Box, many, not composite, qualified by name): refused by the binary form
/// Friend:     friends (Friend, many, opposite friendOf), friendOf (Friend, many): refused by the binary form
/// Graded:     grade (Grade, optional)
/// Lines:      line (Line, required), lines (Line, many)
/// Opaques:    value (Opaque, required)
struct SampleMetaModel {
  tarn::kern::meta::Package package;

  /// The class, data type, enum, or custom type of that name. Throws std::out_of_range when there is none.
  [[nodiscard]] tarn::kern::meta::Type type(const std::u16string& name) const;
  [[nodiscard]] tarn::kern::meta::Class classNamed(const std::u16string& name) const;
  [[nodiscard]] tarn::kern::meta::DataType dataTypeNamed(const std::u16string& name) const;
  [[nodiscard]] tarn::kern::meta::Enum enumNamed(const std::u16string& name) const;
};
const SampleMetaModel& sampleMetaModel();

/// The fifteen standard types by name, then Color, Point and Money.
const std::vector<std::u16string>& kindNames();

/// 16 bytes: 15 zeros and `last`.
[[nodiscard]] boost::uuids::uuid uuidEndingIn(std::uint8_t last);

/// An empty model.
[[nodiscard]] tarn::kern::Model emptyModel();

/// A new top-level element of that class of "sample"; its uuid ends in `last`.
tarn::kern::ModelElement newSample(const tarn::kern::Model& model, const std::u16string& className, std::uint8_t last);

}  // namespace testsupport
