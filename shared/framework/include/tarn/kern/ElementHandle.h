#pragma once

// The handle and record of elements. Include <tarn/kern/ModelElement.h>, which adds the bodies of the templates.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <boost/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/export.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Handle.h>

namespace tarn::kern {

using ustring = std::u16string;

class Model;
class Value;
enum class StorageType : std::uint8_t;
class ElementCollection;
class PrimitiveCollection;
class StringToStringMap;
namespace meta {
class Class;
class Property;
}  // namespace meta

/// The access level of a reflective read or write. Privileged access reads guarded properties and writes read-only
/// ones; public access is refused there. Readers of files, the cloner and the store use privileged access.
class TARN_EXPORT ReflectionPrivateTag {
 public:
  static const ReflectionPrivateTag PUBLIC_ACCESS;
  static const ReflectionPrivateTag PRIVILEGED_ACCESS;

  ReflectionPrivateTag(const ReflectionPrivateTag&) = delete;
  ReflectionPrivateTag& operator=(const ReflectionPrivateTag&) = delete;
  [[nodiscard]] bool isPrivileged() const noexcept { return fPrivileged; }

 private:
  constexpr explicit ReflectionPrivateTag(bool privileged) noexcept : fPrivileged(privileged) {}
  bool fPrivileged;
};

/// The part of an element's record that holds its identity.
class TARN_EXPORT ElementImpl : public internal::CountedImpl {
 public:
  /// The element's identity: the same uuid in two models marks the same logical element. Also answers when destroyed.
  [[nodiscard]] const boost::uuids::uuid& getUuid() const noexcept { return fUuid; }

 protected:
  explicit ElementImpl(const boost::uuids::uuid& uuid) noexcept : fUuid(uuid) {}

 private:
  boost::uuids::uuid fUuid;
};

/// Names one element of a Model, or one element of the meta-model. Equality is identity of the record.
///
/// The handle does not keep the element in its model: after the element was destroyed, or its model is gone, the handle
/// stays safe to hold, copy and compare; reads and writes through it throw DestroyedElementError.
class TARN_EXPORT ModelElement : public HandleBase {
 public:
  class Impl;

  ModelElement() noexcept = default;
  ModelElement(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor): a null handle is written nullptr
  explicit ModelElement(Impl* impl) noexcept;

  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl& operator*() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;

  /// The class of all elements, the root of the class tree. It owns no attributes.
  static const meta::Class& metaClass();

  friend bool operator==(const ModelElement& a, const ModelElement& b) noexcept { return a.fRecord == b.fRecord; }
  /// By address: an arbitrary order that is stable while the records live.
  friend std::strong_ordering operator<=>(const ModelElement& a, const ModelElement& b) noexcept {
    return std::compare_three_way()(a.fRecord, b.fRecord);
  }

 private:
  friend struct std::hash<ModelElement>;
};

struct IncomingReference;

/// The record behind a ModelElement. Elements of models and of the meta-model are both reached through it; the latter
/// have no readable properties.
///
/// Every operation that takes a property throws PropertyError when the element's class lacks it, and
/// DestroyedElementError when the element is destroyed. Threads: those of the element's model.
class TARN_EXPORT ModelElement::Impl : public ElementImpl {
 public:
  /// What the record is; narrowing a handle is a test of this tag (see narrow()).
  enum class Kind : std::uint8_t { Element, Package, EnumLiteral, Property, Class, DataType, PrimitiveType, Enum };
  [[nodiscard]] Kind kind() const noexcept { return fKind; }

  /// The element's class. Also answers when destroyed.
  [[nodiscard]] virtual const meta::Class& getMetaClass() const = 0;

  /// The current value: a snapshot of a single value, live access to a collection or map (see Value).
  /// @throws PropertyError when the property is guarded and the access is public.
  [[nodiscard]] virtual Value getPropertyValue(const meta::Property& property,
                                               const ReflectionPrivateTag& access) const;

  /// Writes a single-valued property; the containment, opposites and back references follow. An empty value clears it.
  /// A map property takes a map, replacing the content, or an empty value, clearing it.
  /// @throws the cast failure naming the value's type when the value does not fit the property's type and multiplicity;
  ///   PropertyError for a read-only or guarded property under public access;
  ///   ContainmentError when the element would contain itself or the target lives in another model.
  virtual void setPropertyValue(const meta::Property& property, const Value& value, const ReflectionPrivateTag& access);

  /// The owning element, or null. A destroyed element has none.
  [[nodiscard]] ModelElement container() const;
  /// The composite property of container() that holds this element, or null.
  [[nodiscard]] meta::Property containerProperty() const;

  /// The model that the element lives in; null for destroyed elements and for the meta-model.
  [[nodiscard]] Model getModel() const;

  /// Removes the element and all it contains from its model; every reference to them becomes null or leaves its
  /// collection. Destroying a destroyed element does nothing.
  void destroy();
  [[nodiscard]] bool isDestroyed() const noexcept;

  /// What refers to this element by references that do not contain it, each once, in no particular order.
  [[nodiscard]] std::vector<IncomingReference> incomingReferences() const;
  /// What the composite properties hold, in the order of getAllProperties and of the collections.
  [[nodiscard]] std::vector<ModelElement> contents() const;

  /// Where the element stands, for messages: `Database/packages[3]{zlib1g}`-like path of property names and positions
  /// from its root, the class's name and the uuid.
  [[nodiscard]] std::string describe() const;

  // --- Typed convenience: the same reads and writes without the trip through a Value. T is the C++ type that the
  // property's standard type holds (see meta/StandardTypes.h), std::int64_t for enums, ModelElement for classes,
  // ReflectiveDataType for data types, the registered type for custom primitive types.

  /// The value, or T() when absent. @throws the cast failure when T does not fit.
  template <class T>
  [[nodiscard]] T get(const meta::Property& property,
                      const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS) const;
  template <class T>
  [[nodiscard]] T get(std::u16string_view property) const;
  /// None exactly when the property is absent.
  template <class T>
  [[nodiscard]] boost::optional<T> getOptional(const meta::Property& property) const;

  template <class T>
  void set(const meta::Property& property, T value,
           const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);
  template <class T>
  void set(std::u16string_view property, T value);
  /// Makes a single-valued property absent.
  void unset(const meta::Property& property, const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

  /// The property of that name of the element's class. @throws PropertyError that suggests the nearest name.
  [[nodiscard]] meta::Property property(std::u16string_view name) const;

  // --- Reading in place, for code that visits whole models. What comes back is valid until the property or the model
  // changes next. Access is privileged. A type that does not fit throws the cast failure.

  /// A single value where it is stored, or nullptr when absent. T as for get, but not ModelElement.
  template <class T>
  [[nodiscard]] const T* peek(const meta::Property& property) const;
  /// The contiguous storage of a collection whose storage kind is 1 (PrimitiveCollection::getStorageKind).
  template <class T>
  [[nodiscard]] const std::vector<T>& peekCollection(const meta::Property& property) const;
  /// The target of a single-valued reference, or nullptr.
  [[nodiscard]] Impl* peekElement(const meta::Property& property) const;
  /// The members of a class-typed collection, null members included.
  [[nodiscard]] std::span<Impl* const> peekElements(const meta::Property& property) const;

 protected:
  Impl(Kind kind, const boost::uuids::uuid& uuid) noexcept : ElementImpl(uuid), fKind(kind) {}
  ~Impl() override;

  Kind fKind;

 private:
  struct Peeked {
    const void* object;  // nullptr when absent
    bool isEnum;         // then the object is a std::int64_t
  };
  /// @throws the cast failure unless the property is single and held as `storage`, or is an enum and `acceptsEnum`.
  [[nodiscard]] Peeked peekObject(const meta::Property& property, StorageType storage, bool acceptsEnum,
                                  const ReflectionPrivateTag& access) const;
  /// The place of a single plain value, marked as present, when it may be overwritten there; nullptr when the change
  /// has to go through setPropertyValue. @throws as setPropertyValue does for the property
  [[nodiscard]] void* placeToOverwrite(const meta::Property& property, StorageType storage,
                                       const ReflectionPrivateTag& access);
  [[nodiscard]] const void* peekVector(const meta::Property& property, StorageType storage) const;
};

inline ModelElement::ModelElement(Impl* impl) noexcept : HandleBase(impl) {}
inline ModelElement::Impl* ModelElement::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline ModelElement::Impl* ModelElement::operator->() const noexcept { return get(); }
inline ModelElement::Impl& ModelElement::operator*() const noexcept { return *get(); }

/// The same record under a more special handle, or null when it is not of that kind: `narrow<meta::Class>(type)`.
template <class Handle>
[[nodiscard]] Handle narrow(const ModelElement& element) noexcept {
  if (!element || !Handle::accepts(element->kind())) return Handle();
  return Handle(static_cast<typename Handle::Impl*>(element.get()));
}

}  // namespace tarn::kern

template <>
struct std::hash<tarn::kern::ModelElement> {
  [[nodiscard]] std::size_t operator()(const tarn::kern::ModelElement& element) const noexcept {
    return tarn::kern::hashOfAddress(element.fRecord);
  }
};
