#pragma once

#include <string>
#include <string_view>

#include <tarn/kern/meta/NamedElement.h>

/// What Ecore says of a meta-model beyond what the kernel knows: kept in an annotation of this source, so that it can
/// be written back, and used by the XML reader and writer. The keys are listed in docs/formats/ecore.md.
namespace tarn::kern::ecore {

inline constexpr std::u16string_view kFacetSource = u"urn:tarn:ecore";

/// The annotation with the facets, or nullptr.
[[nodiscard]] inline const meta::Annotation* facetsOf(const meta::NamedElement& element) noexcept {
  for (const meta::Annotation& annotation : element->getAnnotations()) {
    if (annotation.source == kFacetSource) return &annotation;
  }
  return nullptr;
}

/// The facet of that key, or nullptr.
[[nodiscard]] inline const ustring* findFacet(const meta::NamedElement& element, std::u16string_view key) noexcept {
  const meta::Annotation* facets = facetsOf(element);
  if (facets == nullptr) return nullptr;
  for (const auto& [name, value] : facets->details) {
    if (name == key) return &value;
  }
  return nullptr;
}

[[nodiscard]] inline bool hasFacet(const meta::NamedElement& element, std::u16string_view key) noexcept {
  return findFacet(element, key) != nullptr;
}

}  // namespace tarn::kern::ecore
