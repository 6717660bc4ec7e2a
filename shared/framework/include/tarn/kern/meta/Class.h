#pragma once

#include <memory>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/meta/Property.h>

namespace tarn::kern {
class Model;
namespace internal {
struct Layout;  // where each property lies in an instance
}
}  // namespace tarn::kern

namespace tarn::kern::meta {

/// The record of a type with attributes.
class TARN_EXPORT StructuredType::Impl : public Type::Impl {
 public:
  /// The property of that name, own or inherited, or a null handle.
  [[nodiscard]] virtual Property getProperty(const ustring& name) const;
  /// The attributes that this type itself declares, not inherited ones.
  [[nodiscard]] const ElementMap<ustring, Property>& getOwnedAttributes() const noexcept { return fOwnedAttributes; }
  /// The same in the order of the definition.
  [[nodiscard]] const std::vector<Property>& getOwnedAttributesInOrder() const noexcept { return fOwnedInOrder; }
  /// All properties: inherited ones first, each type's in the order of the definition.
  [[nodiscard]] const std::vector<Property>& getAllProperties() const noexcept { return fAllProperties; }

  /// For the kernel only.
  [[nodiscard]] const kern::internal::Layout& layout() const noexcept { return *fLayout; }

 protected:
  Impl(Kind kind, ustring name);
  ~Impl() override;

 private:
  friend class internal::MetaFactory;
  ElementMap<ustring, Property> fOwnedAttributes;
  std::vector<Property> fOwnedInOrder;
  std::vector<Property> fAllProperties;
  ElementMap<ustring, Property> fByName;
  std::unique_ptr<const kern::internal::Layout> fLayout;
};

inline StructuredType::StructuredType(Impl* impl) noexcept : Type(impl) {}
inline StructuredType::Impl* StructuredType::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline StructuredType::Impl* StructuredType::operator->() const noexcept { return get(); }

/// The record of a class. A class has one superclass; further supertypes may be listed, whose attributes are then
/// copied into the class once each. ModelElement::metaClass() is the root of all superclass chains.
class TARN_EXPORT Class::Impl final : public StructuredType::Impl {
 public:
  /// A null handle at the root.
  [[nodiscard]] const Class& getSuperclass() const noexcept { return fSuperclass; }
  /// The further supertypes, in the order of the definition.
  [[nodiscard]] const std::vector<Class>& getFurtherSupertypes() const noexcept { return fFurtherSupertypes; }
  [[nodiscard]] bool isAbstract() const noexcept { return fIsAbstract; }
  /// True for this class, its superclasses, and the closure of the further supertypes.
  [[nodiscard]] bool conformsTo(Type other) const override;

  /// A new top-level element of this class; its properties show their defaults. The nil uuid asks for a fresh random
  /// one.
  /// @throws InstantiationError when the class is abstract, the model null, or the uuid taken in that model.
  [[nodiscard]] ModelElement instantiate(const Model& model, const boost::uuids::uuid& uuid) const;

  /// Those of getAllProperties whose type is no class, and those whose type is one; same order.
  [[nodiscard]] const std::vector<Property>& getAllPrimitiveProperties() const noexcept { return fPrimitiveProperties; }
  [[nodiscard]] const std::vector<Property>& getAllClassProperties() const noexcept { return fClassProperties; }

 private:
  friend class internal::MetaFactory;
  explicit Impl(ustring name);
  ~Impl() override;

  Class fSuperclass;
  std::vector<Class> fFurtherSupertypes;
  std::vector<const Type::Impl*> fConformsTo;  // sorted by address
  bool fIsAbstract = false;
  std::vector<Property> fPrimitiveProperties;
  std::vector<Property> fClassProperties;
};

inline Class::Class(Impl* impl) noexcept : StructuredType(impl) {}
inline Class::Impl* Class::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Class::Impl* Class::operator->() const noexcept { return get(); }

/// The record of a structured data type: values with attributes and no identity.
class TARN_EXPORT DataType::Impl final : public StructuredType::Impl {
 private:
  friend class internal::MetaFactory;
  explicit Impl(ustring name);
  ~Impl() override;
};

inline DataType::DataType(Impl* impl) noexcept : StructuredType(impl) {}
inline DataType::Impl* DataType::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline DataType::Impl* DataType::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
