#pragma once

#include <vector>

#include <tarn/kern/meta/NamedElement.h>

namespace tarn::kern::meta {

/// A named set of types, identified by a URI.
///
/// A package whose URI is MetaRegistry::schemaBaseUri() + family + "/" + version is one version of a family; of several
/// registered versions the highest is the current one. A package with any other URI is a family of its own.
class TARN_EXPORT Package::Impl final : public NamedElement::Impl {
 public:
  /// The names of the enclosing packages and this one, joined by ".".
  [[nodiscard]] const ustring& getQualifiedName() const noexcept { return fQualifiedName; }
  [[nodiscard]] const ustring& getUri() const noexcept { return fUri; }
  /// The family and version within the schema base URI; both empty for a package outside it.
  [[nodiscard]] const ustring& getFamily() const noexcept { return fFamily; }
  [[nodiscard]] const ustring& getVersion() const noexcept { return fVersion; }
  /// The enclosing package, or null.
  [[nodiscard]] Package getOwningPackage() const noexcept { return fOwner; }

  [[nodiscard]] const ElementMap<ustring, Type>& getTypes() const noexcept { return fTypes; }
  /// In the order of the definition.
  [[nodiscard]] const std::vector<Type>& getTypesInOrder() const noexcept { return fTypesInOrder; }
  [[nodiscard]] const std::vector<Package>& getPackages() const noexcept { return fPackages; }

 private:
  friend class internal::MetaFactory;
  explicit Impl(ustring name);
  ~Impl() override;

  ustring fQualifiedName;
  ustring fUri;
  ustring fFamily;
  ustring fVersion;
  Package fOwner;
  ElementMap<ustring, Type> fTypes;
  std::vector<Type> fTypesInOrder;
  std::vector<Package> fPackages;
};

inline Package::Package(Impl* impl) noexcept : NamedElement(impl) {}
inline Package::Impl* Package::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Package::Impl* Package::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
