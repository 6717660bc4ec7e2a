#pragma once

#include <cstdint>
#include <limits>

#include <boost/optional.hpp>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Type.h>

namespace tarn::kern::meta {

/// The record of everything that has a type.
class TARN_EXPORT TypedElement::Impl : public NamedElement::Impl {
 public:
  [[nodiscard]] const Type& getType() const noexcept { return fType; }

 protected:
  Impl(Kind kind, ustring name);
  ~Impl() override;

 private:
  friend class internal::MetaFactory;
  Type fType;
};

inline TypedElement::TypedElement(Impl* impl) noexcept : NamedElement(impl) {}
inline TypedElement::Impl* TypedElement::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline TypedElement::Impl* TypedElement::operator->() const noexcept { return get(); }

/// An attribute or reference of a class, or an attribute of a data type. The attributes below are plain members; they
/// are set while the package is defined and constant afterwards.
class TARN_EXPORT Property::Impl final : public TypedElement::Impl {
 public:
  /// The upper bound of an unlimited collection.
  static constexpr std::uint32_t kUnlimited = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t lower = 0;
  /// 0 and 1 are single-valued, everything above is a collection.
  std::uint32_t upper = 1;
  /// The property owns its target.
  bool isComposite = false;
  /// Derived or transient: the value is neither copied nor written to any format.
  bool isOmitted = false;
  bool isDerived = false;
  bool isTransient = false;
  /// The members of a collection are distinct; adding one that is there does nothing.
  bool isUnique = false;
  bool isOrdered = true;
  /// Public access may not write.
  bool isReadOnly = false;
  /// Public access may not read or write: the read throws.
  bool isGuarded = false;
  /// The collection never reports storage kind 1: its entries are reached by the generic operations only.
  bool usesGenericStorage = false;

  /// What a new instance shows. None for collections, maps and class-typed properties.
  [[nodiscard]] const boost::optional<Value>& defaultValue() const noexcept { return fDefault; }
  /// The other end of a bidirectional reference, or a null handle.
  [[nodiscard]] const Property& getOpposite() const noexcept { return fOpposite; }
  /// The property of the target class by whose value the members of this one are told apart, or a null handle.
  [[nodiscard]] const Property& getQualifiedBy() const noexcept { return fQualifiedBy; }
  /// The class or data type that declares it.
  [[nodiscard]] StructuredType getOwner() const noexcept { return fOwner; }
  /// For a property that a class copied from a further supertype: the property it was copied from, otherwise null.
  [[nodiscard]] Property getOrigin() const noexcept { return fOrigin; }
  [[nodiscard]] bool isCollection() const noexcept { return upper > 1; }
  /// True when the type is a class.
  [[nodiscard]] bool isReference() const noexcept { return fIsReference; }
  /// Position in the layout of the declaring type and of everything derived from it.
  [[nodiscard]] std::uint32_t slotIndex() const noexcept { return fSlotIndex; }

 private:
  friend class internal::MetaFactory;
  explicit Impl(ustring name);
  ~Impl() override;

  boost::optional<Value> fDefault;
  Property fOpposite;
  Property fQualifiedBy;
  StructuredType fOwner;
  Property fOrigin;
  std::uint32_t fSlotIndex = 0;
  bool fIsReference = false;
};

inline Property::Property(Impl* impl) noexcept : TypedElement(impl) {}
inline Property::Impl* Property::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Property::Impl* Property::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
