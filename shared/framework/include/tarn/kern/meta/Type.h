#pragma once

#include <functional>
#include <typeindex>

#include <tarn/kern/meta/NamedElement.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::meta {

/// The record of every type: classes, data types, enums, primitive types.
class TARN_EXPORT Type::Impl : public NamedElement::Impl {
 public:
  /// The owning package's qualified name, ".", the simple name; the simple name alone without package. The name by
  /// which MetaRegistry::getType finds the type, and under which a binary stream names it.
  [[nodiscard]] const ustring& getQualifiedName() const noexcept { return fQualifiedName; }
  [[nodiscard]] Package getOwningPackage() const noexcept { return fPackage; }
  /// True when the type is `other` or derives from it.
  [[nodiscard]] virtual bool conformsTo(Type other) const;

 protected:
  Impl(Kind kind, ustring name);
  ~Impl() override;

 private:
  friend class internal::MetaFactory;
  ustring fQualifiedName;
  Package fPackage;
};

inline Type::Type(Impl* impl) noexcept : NamedElement(impl) {}
inline Type::Impl* Type::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Type::Impl* Type::operator->() const noexcept { return get(); }

/// A primitive type: one of the fifteen standard types, or a custom type that an application registered with a C++ type
/// and its text form (see PackageBuilder::addPrimitive).
class TARN_EXPORT PrimitiveType::Impl final : public Type::Impl {
 public:
  /// True for the fifteen types of StandardTypes.
  [[nodiscard]] bool isStandard() const noexcept { return !fToText; }
  /// The C++ type that a value of this type stores.
  [[nodiscard]] std::type_index storedType() const noexcept { return fStoredType; }

  /// The text form of a value of a custom type, and back. The text formats and the store carry it.
  /// @pre !isStandard(). @throws what the registered functions throw on bad text.
  [[nodiscard]] ustring toText(const Value& value) const;
  [[nodiscard]] Value fromText(const ustring& text) const;

 private:
  friend class internal::MetaFactory;
  Impl(ustring name, std::type_index storedType);
  ~Impl() override;

  std::type_index fStoredType;
  std::function<ustring(const Value&)> fToText;
  std::function<Value(const PrimitiveType&, const ustring&)> fFromText;
};

inline PrimitiveType::PrimitiveType(Impl* impl) noexcept : Type(impl) {}
inline PrimitiveType::Impl* PrimitiveType::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline PrimitiveType::Impl* PrimitiveType::operator->() const noexcept { return get(); }

}  // namespace tarn::kern::meta
