#pragma once

#include <compare>
#include <cstddef>

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
/// Attributes behave like an element's properties: a new instance shows the defaults; a collection or map attribute is read
/// as a live value that changes this instance (and keeps working, on its own, when the instance is gone). Attributes of a
/// class type are plain references without opposites; a destroyed target reads as null.
/// A moved-from instance may only be assigned to or destroyed. Nesting may be of any depth.
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
  /// @throws PropertyError as above or for a collection; the cast failure when the value does not fit.
  void setPropertyValue(const meta::Property& property, const Value& value);

  template <class T>
  [[nodiscard]] T get(std::u16string_view property) const {
    return getPropertyValue(propertyNamed(property)).get<T>();
  }
  template <class T>
  ReflectiveDataType& set(std::u16string_view property, T object);

  /// The instance as a Value. There is always one: the reflective form is the native form of every data type.
  [[nodiscard]] boost::optional<Value> toNonReflectiveDataTypeValue() const;

  friend TARN_EXPORT bool operator==(const ReflectiveDataType& a, const ReflectiveDataType& b);
  friend TARN_EXPORT std::strong_ordering operator<=>(const ReflectiveDataType& a, const ReflectiveDataType& b);
  [[nodiscard]] std::size_t hash() const;

 private:
  [[nodiscard]] meta::Property propertyNamed(std::u16string_view name) const;
  internal::DataRecord* fRecord;
};

template <class T>
ReflectiveDataType& ReflectiveDataType::set(std::u16string_view property, T object) {
  setPropertyValue(propertyNamed(property), Value(std::move(object)));
  return *this;
}

}  // namespace tarn::kern
