#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>

#include <boost/optional.hpp>

#include <tarn/export.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Handles.h>

namespace tarn::kern {

namespace internal {
class DataRecord;
}

/// An instance of a structured data type: a value with attributes, compared by content, copied deep.
///
/// Attributes behave like an element's properties: a new instance shows the defaults; a collection or map attribute is
/// read as a live value that changes this instance (and keeps working, on its own, when the instance is gone).
/// Attributes of a class type are plain references without opposites; a destroyed target reads as null. A moved-from
/// instance may only be assigned to or destroyed. Nesting may be of any depth.
class TARN_EXPORT ReflectiveDataType {
 public:
  /// An empty instance. @throws KernelError for a null type.
  explicit ReflectiveDataType(const meta::DataType& type);
  ReflectiveDataType(const ReflectiveDataType& other);
  ReflectiveDataType(ReflectiveDataType&& other) noexcept;
  ReflectiveDataType& operator=(const ReflectiveDataType& other);
  ReflectiveDataType& operator=(ReflectiveDataType&& other) noexcept;
  ~ReflectiveDataType();

  [[nodiscard]] const meta::DataType& getType() const noexcept;

  /// @throws PropertyError when the type lacks the property.
  [[nodiscard]] Value getPropertyValue(const meta::Property& property) const;
  /// @throws PropertyError as above; the cast failure when the value does not fit the property's type and multiplicity.
  void setPropertyValue(const meta::Property& property, const Value& value);
  /// The same for a value that is given away: large data values then move in.
  void setPropertyValue(const meta::Property& property, Value&& value);

  template <class T>
  [[nodiscard]] T get(std::u16string_view property) const {
    return getPropertyValue(propertyNamed(property)).get<T>();
  }
  /// T as for ModelElement::Impl::set: a number also sets an enum.
  template <class T>
  ReflectiveDataType& set(std::u16string_view property, T object);

  /// A single value where it is stored, or nullptr when absent; valid until the instance changes. T as for get, but not
  /// ModelElement. Reading nested data values in this way copies nothing. @throws the cast failure when T does not fit.
  template <class T>
  [[nodiscard]] const T* peek(const meta::Property& property) const;
  /// The entries of a collection that is not stored contiguously, in place. @throws the cast failure for any other
  /// property.
  [[nodiscard]] std::span<const Value> peekValues(const meta::Property& property) const;

  /// The instance as a Value. There is always one: the reflective form is the native form of every data type.
  [[nodiscard]] boost::optional<Value> toNonReflectiveDataTypeValue() const&;
  /// Takes the content instead of copying it: a reader that builds nested values from the inside spares a copy per
  /// level.
  [[nodiscard]] boost::optional<Value> toNonReflectiveDataTypeValue() &&;

  friend TARN_EXPORT bool operator==(const ReflectiveDataType& a, const ReflectiveDataType& b);
  friend TARN_EXPORT std::strong_ordering operator<=>(const ReflectiveDataType& a, const ReflectiveDataType& b);
  [[nodiscard]] std::size_t hash() const;

 private:
  [[nodiscard]] meta::Property propertyNamed(std::u16string_view name) const;
  [[nodiscard]] ValueMeta metaOf(const meta::Property& property) const;
  [[nodiscard]] const void* peekObject(const meta::Property& property, StorageType storage, bool acceptsEnum) const;
  internal::DataRecord* fRecord;
};

template <class T>
ReflectiveDataType& ReflectiveDataType::set(std::u16string_view name, T object) {
  const meta::Property property = propertyNamed(name);
  if constexpr (IntegerValueType<T>) {
    if (const ValueMeta meta = metaOf(property); internal::isEnumType(meta.getType())) {
      setPropertyValue(property, Value(meta, object));
      return *this;
    }
  }
  if constexpr (std::same_as<T, Value>) {
    setPropertyValue(property, object);
  } else if constexpr (StandardValueType<T> || std::same_as<T, ReflectiveDataType> ||
                       std::derived_from<T, ModelElement>) {
    setPropertyValue(property, Value(std::move(object)));
  } else if constexpr (std::convertible_to<T, std::u16string_view>) {
    setPropertyValue(property, Value(ustring(std::u16string_view(object))));
  } else {
    setPropertyValue(property, Value(metaOf(property), std::move(object)));
  }
  return *this;
}

template <class T>
const T* ReflectiveDataType::peek(const meta::Property& property) const {
  static_assert(!std::same_as<T, ModelElement>, "a target is read by get<ModelElement>()");
  const void* object = peekObject(property, internal::StorageOf<T>::kType, std::same_as<T, std::int64_t>);
  if constexpr (internal::StorageOf<T>::kType == StorageType::Custom) {
    return object == nullptr ? nullptr : static_cast<const Value*>(object)->template peek<T>();
  } else {
    return static_cast<const T*>(object);
  }
}

}  // namespace tarn::kern
