#include "VectorOps.h"

#include <algorithm>
#include <utility>

#include "Slots.h"

namespace tarn::kern::internal {

namespace {

/// An object of T out of a value that was checked to hold one.
template <class T>
T objectOf(Value&& value) noexcept {
  if constexpr (std::same_as<T, Value>) {
    return std::move(value);
  } else {
    const T* object = value.peek<T>();
    return object == nullptr ? T() : std::move(const_cast<T&>(*object));  // the value is ours and dies here
  }
}

template <class T>
Value valueOf(const SlotInfo& slot, T&& object) {
  if constexpr (std::same_as<std::remove_cvref_t<T>, Value>) {
    return std::forward<T>(object);
  } else {
    return Value(ValueMeta(slot.property->getType(), ValueFlags::Single),
                 std::remove_cvref_t<T>(std::forward<T>(object)));
  }
}

template <class T>
struct OpsFor {
  using Vector = std::vector<T>;
  static Vector& of(void* vector) noexcept { return *static_cast<Vector*>(vector); }
  static const Vector& of(const void* vector) noexcept { return *static_cast<const Vector*>(vector); }
  static typename Vector::difference_type offset(std::size_t index) noexcept {
    return static_cast<typename Vector::difference_type>(index);
  }

  static std::size_t size(const void* vector) noexcept { return of(vector).size(); }
  static void reserve(void* vector, std::size_t more) {
    Vector& v = of(vector);
    if (v.size() + more > v.capacity()) v.reserve(std::max(v.size() + more, v.capacity() * 2));
  }
  static Value at(const SlotInfo& slot, const void* vector, std::size_t index) {
    return valueOf<const T&>(slot, of(vector)[index]);
  }
  static std::size_t find(const void* vector, const Value& value) noexcept {
    const Vector& v = of(vector);
    if constexpr (std::same_as<T, Value>) {
      return static_cast<std::size_t>(std::find(v.begin(), v.end(), value) - v.begin());
    } else {
      const T& wanted = *value.peek<T>();
      return static_cast<std::size_t>(
          std::find_if(v.begin(), v.end(), [&](const T& entry) { return StoredTraits<T>::equal(entry, wanted); }) -
          v.begin());
    }
  }
  static void insert(void* vector, std::size_t index, Value&& value) noexcept {
    Vector& v = of(vector);
    v.insert(v.begin() + offset(index), objectOf<T>(std::move(value)));
  }
  static Value take(const SlotInfo& slot, void* vector, std::size_t index) noexcept {
    Vector& v = of(vector);
    T object = std::move(v[index]);
    v.erase(v.begin() + offset(index));
    return valueOf<T>(slot, std::move(object));
  }
  static Value exchange(const SlotInfo& slot, void* vector, std::size_t index, Value&& value) noexcept {
    Vector& v = of(vector);
    T old = std::move(v[index]);
    v[index] = objectOf<T>(std::move(value));
    return valueOf<T>(slot, std::move(old));
  }
  static void move(void* vector, std::size_t from, std::size_t to) noexcept {
    Vector& v = of(vector);
    if (from < to) {
      std::rotate(v.begin() + offset(from), v.begin() + offset(from) + 1, v.begin() + offset(to) + 1);
    } else {
      std::rotate(v.begin() + offset(to), v.begin() + offset(from), v.begin() + offset(from) + 1);
    }
  }
  static void swapWith(void* vector, JournalPayload& payload) noexcept {
    of(vector).swap(static_cast<VectorPayload<T>&>(payload).content);
  }

  static constexpr VectorOps kOps = {size, reserve, at, find, insert, take, exchange, move, swapWith};
};

/// bool has no T& to move from.
template <>
Value OpsFor<bool>::at(const SlotInfo& slot, const void* vector, std::size_t index) {
  return valueOf<bool>(slot, static_cast<bool>(of(vector)[index]));
}

}  // namespace

const VectorOps& vectorOpsOf(const SlotInfo& slot) noexcept {
  if (slot.shape == SlotShape::Generic) return OpsFor<Value>::kOps;
  switch (slot.storage) {
    case StorageType::String:
      return OpsFor<ustring>::kOps;
    case StorageType::Integer:
      return OpsFor<std::int32_t>::kOps;
    case StorageType::Integer8:
      return OpsFor<std::int8_t>::kOps;
    case StorageType::Integer16:
      return OpsFor<std::int16_t>::kOps;
    case StorageType::Integer64:
      return OpsFor<std::int64_t>::kOps;
    case StorageType::Real:
      return OpsFor<double>::kOps;
    case StorageType::Boolean:
      return OpsFor<bool>::kOps;
    case StorageType::UnlimitedNatural:
      return OpsFor<std::uint32_t>::kOps;
    case StorageType::UInteger8:
      return OpsFor<std::uint8_t>::kOps;
    case StorageType::UInteger16:
      return OpsFor<std::uint16_t>::kOps;
    case StorageType::UInteger64:
      return OpsFor<std::uint64_t>::kOps;
    case StorageType::Uuid:
      return OpsFor<boost::uuids::uuid>::kOps;
    case StorageType::StdString:
      return OpsFor<std::string>::kOps;
    case StorageType::DateTime:
    case StorageType::Map:
    case StorageType::Enum:
    case StorageType::Data:
    case StorageType::Custom:
    case StorageType::Element:
      break;  // never contiguous
  }
  return OpsFor<Value>::kOps;
}

}  // namespace tarn::kern::internal
