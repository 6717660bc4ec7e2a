#pragma once

#include <string>
#include <utility>
#include <vector>

#include <tarn/kern/meta/ElementMap.h>
#include <tarn/kern/meta/Handles.h>

namespace tarn::kern::meta {

namespace internal {
class MetaFactory;  // makes and seals the records; the only writer
}

/// A note that tools attach to a meta-model element; the kernel keeps it and gives it no meaning.
struct Annotation {
  ustring source;
  std::vector<std::pair<ustring, ustring>> details;

  friend bool operator==(const Annotation&, const Annotation&) = default;
};

/// The record of every named part of the meta-model: packages, types, properties, literals.
/// Immutable once its package is registered; lives as long as the process.
class TARN_EXPORT NamedElement::Impl : public ModelElement::Impl {
 public:
  [[nodiscard]] const ustring& getName() const noexcept { return fName; }
  [[nodiscard]] const std::vector<Annotation>& getAnnotations() const noexcept { return fAnnotations; }

  [[nodiscard]] const Class& getMetaClass() const override;

 protected:
  Impl(Kind kind, ustring name);
  ~Impl() override;

 private:
  friend class internal::MetaFactory;
  ustring fName;
  std::vector<Annotation> fAnnotations;
};

inline NamedElement::NamedElement(Impl* impl) noexcept : ModelElement(impl) {}
inline NamedElement::Impl* NamedElement::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline NamedElement::Impl* NamedElement::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
