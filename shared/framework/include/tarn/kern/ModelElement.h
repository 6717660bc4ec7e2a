#pragma once

/// Elements of models: the handle ModelElement, its record ModelElement::Impl, and their typed reads and writes.

#include <tarn/kern/ElementHandle.h>
#include <tarn/kern/StorageType.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Property.h>

namespace tarn::kern {

/// One incoming reference: `element` refers to the asked element through `property`.
struct IncomingReference {
  ModelElement element;
  meta::Property property;
};

template <class T>
T ModelElement::Impl::get(const meta::Property& property, const ReflectionPrivateTag& access) const {
  if constexpr (StandardValueType<T> && !std::same_as<T, StringToStringMap>) {
    const Peeked peeked = peekObject(property, internal::StorageOf<T>::kType, IntegerValueType<T>, access);
    if (peeked.object == nullptr) return T();
    if constexpr (IntegerValueType<T>) {
      if (peeked.isEnum) return static_cast<T>(*static_cast<const std::int64_t*>(peeked.object));
    }
    return *static_cast<const T*>(peeked.object);
  } else {
    return getPropertyValue(property, access).template get<T>();
  }
}

template <class T>
T ModelElement::Impl::get(std::u16string_view name) const {
  return get<T>(property(name));
}

template <class T>
boost::optional<T> ModelElement::Impl::getOptional(const meta::Property& property) const {
  return getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS).template getOptional<T>();
}

template <class T>
void ModelElement::Impl::set(const meta::Property& property, T value, const ReflectionPrivateTag& access) {
  if constexpr (StandardValueType<T> || std::same_as<T, ReflectiveDataType> || std::derived_from<T, ModelElement>) {
    if constexpr (StandardValueType<T> && !std::same_as<T, StringToStringMap>) {
      if (void* place = placeToOverwrite(property, internal::StorageOf<T>::kType, access)) {
        *static_cast<T*>(place) = std::move(value);
        return;
      }
    }
    if constexpr (IntegerValueType<T>) {
      if (property && internal::isEnumType(property->getType())) {
        setPropertyValue(property, Value(ValueMeta(property->getType(), ValueFlags::Single), value), access);
        return;
      }
    }
    setPropertyValue(property, Value(std::move(value)), access);
  } else if constexpr (std::convertible_to<T, std::u16string_view>) {
    setPropertyValue(property, Value(ustring(std::u16string_view(value))), access);
  } else {
    setPropertyValue(property, Value(ValueMeta(property->getType(), ValueFlags::Single), std::move(value)), access);
  }
}

template <class T>
void ModelElement::Impl::set(std::u16string_view name, T value) {
  set(property(name), std::move(value));
}

template <class T>
const T* ModelElement::Impl::peek(const meta::Property& property) const {
  static_assert(!std::same_as<T, ModelElement>, "a target is read by peekElement");
  const Peeked peeked = peekObject(property, internal::StorageOf<T>::kType, std::same_as<T, std::int64_t>,
                                   ReflectionPrivateTag::PRIVILEGED_ACCESS);
  if constexpr (internal::StorageOf<T>::kType == StorageType::Custom) {
    const auto* boxed = static_cast<const Value*>(peeked.object);
    return boxed == nullptr ? nullptr : boxed->peek<T>();
  } else {
    return static_cast<const T*>(peeked.object);
  }
}

template <class T>
const std::vector<T>& ModelElement::Impl::peekCollection(const meta::Property& property) const {
  static_assert(ContiguousValueType<T>, "only contiguous collections can be read in place");
  return *static_cast<const std::vector<T>*>(peekVector(property, internal::StorageOf<T>::kType));
}

}  // namespace tarn::kern
