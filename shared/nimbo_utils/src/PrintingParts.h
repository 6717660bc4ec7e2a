#pragma once

#include <cstddef>
#include <string>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/NamedElement.h>
#include <tarn/kern/meta/Property.h>

/// What the parts of the printer (tree, descriptions, values) agree on.
namespace quillon::nimbo::detail {

inline constexpr const char* kNullText = "<null>";
inline constexpr const char* kUnsupportedText = "<unsupported>";

[[nodiscard]] inline std::string nameOf(const tarn::kern::meta::NamedElement& named) {
  return bedrock::i18n::ustring_to_utf8(named->getName());
}

/// An upper bound of 0 counts as single.
[[nodiscard]] inline bool isMany(const tarn::kern::meta::Property& property) { return property->upper > 1; }
[[nodiscard]] inline bool isOptional(const tarn::kern::meta::Property& property) { return property->lower == 0; }

/// What numbers the members of a collection.
[[nodiscard]] inline std::string memberLabel(std::size_t index) {
  return std::string("[").append(std::to_string(index)).append("]");
}

/// True when a public read of the property works, found out without making a value of it; false when that has to be
/// tried. @throws what reading throws
[[nodiscard]] bool isReadInPlace(const tarn::kern::ModelElement& element, const tarn::kern::meta::Property& property);

}  // namespace quillon::nimbo::detail
