#pragma once

#include <cstddef>
#include <functional>

#include <tarn/export.h>
#include <tarn/kern/ElementHandle.h>

/// The handles of the meta-model. They mirror their records: a Class is a StructuredType is a Type is a NamedElement is
/// a ModelElement. The records are described in the header named after each. They are immortal and never change once
/// their package is registered, so handles to them may be used from any thread.
///
/// A Class may be passed where a Type is expected; the way back is narrow<Class>(type), null when it is none.
namespace tarn::kern::meta {

class TARN_EXPORT NamedElement : public ModelElement {
 public:
  class Impl;
  NamedElement() noexcept = default;
  NamedElement(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit NamedElement(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind != ModelElement::Impl::Kind::Element; }
};

class TARN_EXPORT Package : public NamedElement {
 public:
  class Impl;
  Package() noexcept = default;
  Package(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Package(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::Package; }
};

class TARN_EXPORT EnumLiteral : public NamedElement {
 public:
  class Impl;
  EnumLiteral() noexcept = default;
  EnumLiteral(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit EnumLiteral(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::EnumLiteral; }
};

/// A named element that has a type. Property is the one there is.
class TARN_EXPORT TypedElement : public NamedElement {
 public:
  class Impl;
  TypedElement() noexcept = default;
  TypedElement(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit TypedElement(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::Property; }
};

class TARN_EXPORT Property : public TypedElement {
 public:
  class Impl;
  Property() noexcept = default;
  Property(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Property(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::Property; }
};

class TARN_EXPORT Type : public NamedElement {
 public:
  class Impl;
  Type() noexcept = default;
  Type(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Type(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind >= ModelElement::Impl::Kind::Class; }
};

/// A type with attributes: a Class or a DataType.
class TARN_EXPORT StructuredType : public Type {
 public:
  class Impl;
  StructuredType() noexcept = default;
  StructuredType(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit StructuredType(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept {
    return kind == ModelElement::Impl::Kind::Class || kind == ModelElement::Impl::Kind::DataType;
  }
};

class TARN_EXPORT Class : public StructuredType {
 public:
  class Impl;
  Class() noexcept = default;
  Class(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Class(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::Class; }

  /// The class that describes all classes.
  static const Class& metaClass();
};

class TARN_EXPORT DataType : public StructuredType {
 public:
  class Impl;
  DataType() noexcept = default;
  DataType(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit DataType(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::DataType; }

  /// The class that describes all data types.
  static const Class& metaClass();
};

class TARN_EXPORT PrimitiveType : public Type {
 public:
  class Impl;
  PrimitiveType() noexcept = default;
  PrimitiveType(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit PrimitiveType(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept {
    return kind == ModelElement::Impl::Kind::PrimitiveType;
  }

  /// The class that describes all primitive types.
  static const Class& metaClass();
};

class TARN_EXPORT Enum : public Type {
 public:
  class Impl;
  Enum() noexcept = default;
  Enum(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Enum(Impl* impl) noexcept;
  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;
  static bool accepts(ModelElement::Impl::Kind kind) noexcept { return kind == ModelElement::Impl::Kind::Enum; }

  /// The class that describes all enums.
  static const Class& metaClass();
};

}  // namespace tarn::kern::meta

namespace tarn::kern::internal {

/// True when the type is an Enum. A null type is none.
[[nodiscard]] TARN_EXPORT bool isEnumType(const meta::Type& type) noexcept;

struct HashOfHandle {
  [[nodiscard]] std::size_t operator()(const ModelElement& handle) const noexcept {
    return hashOfAddress(handle.get());
  }
};
}  // namespace tarn::kern::internal

// clang-format off
template <> struct std::hash<tarn::kern::meta::NamedElement> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::Package> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::EnumLiteral> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::TypedElement> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::Property> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::Type> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::StructuredType> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::Class> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::DataType> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::PrimitiveType> : tarn::kern::internal::HashOfHandle {};
template <> struct std::hash<tarn::kern::meta::Enum> : tarn::kern::internal::HashOfHandle {};
// clang-format on
