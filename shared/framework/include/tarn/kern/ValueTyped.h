#pragma once

// The templates of Value. Included at the end of Value.h; never include it alone.

#include <bit>
#include <cstring>
#include <memory>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/hashers.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace tarn::kern {

namespace internal {

/// The standard type that holds a storage type; filled before any Value can be made.
[[nodiscard]] TARN_EXPORT const meta::PrimitiveType& standardTypeOf(StorageType storage) noexcept;

/// Equality, order and hash of a stored object. Reals compare by bit pattern, times so that a special value equals itself.
template <class T>
struct StoredTraits {
  static bool equal(const T& a, const T& b) {
    if constexpr (std::same_as<T, double>) {
      return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
    } else {
      return a == b;
    }
  }

  static std::strong_ordering order(const T& a, const T& b) {
    if constexpr (std::same_as<T, double>) {
      return std::strong_order(a, b);
    } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
      return orderOfTimes(a, b);
    } else if constexpr (std::three_way_comparable<T, std::strong_ordering>) {
      return a <=> b;
    } else if constexpr (requires { { a < b } -> std::convertible_to<bool>; }) {
      return a < b ? std::strong_ordering::less : (b < a ? std::strong_ordering::greater : std::strong_ordering::equal);
    } else {
      throw KernelError(std::string("values of the C++ type ") + typeid(T).name() +
                        " have no order: give the type an operator< before sorting them");
    }
  }

  static std::size_t hash(const T& object) {
    if constexpr (std::same_as<T, double>) {
      return std::hash<std::uint64_t>()(std::bit_cast<std::uint64_t>(object));
    } else if constexpr (std::same_as<T, boost::uuids::uuid> || std::same_as<T, boost::posix_time::ptime>) {
      return static_cast<std::size_t>(services::hashers::NimboHasher<T>()(object));
    } else if constexpr (requires { { object.hash() } -> std::convertible_to<std::size_t>; }) {
      return object.hash();
    } else if constexpr (requires { { std::hash<T>()(object) } -> std::convertible_to<std::size_t>; }) {
      return std::hash<T>()(object);
    } else {
      return 0;
    }
  }

 private:
  static std::strong_ordering orderOfTimes(const boost::posix_time::ptime& a, const boost::posix_time::ptime& b) {
    if (a == b) return std::strong_ordering::equal;
    if (a.is_not_a_date_time() || b.is_not_a_date_time()) {
      return a.is_not_a_date_time() ? std::strong_ordering::less : std::strong_ordering::greater;
    }
    return a < b ? std::strong_ordering::less : std::strong_ordering::greater;
  }
};

template <class T>
inline constexpr bool kStoredInline =
    sizeof(T) <= 32 && alignof(T) <= alignof(std::max_align_t) && std::is_nothrow_move_constructible_v<T>;

template <class T>
const StoredOps& storedOpsOf() {
  static constexpr StoredOps kOps = {
      &typeid(T),
      kStoredInline<T>,
      [](void* object) noexcept {
        if constexpr (kStoredInline<T>) {
          std::destroy_at(static_cast<T*>(object));
        } else {
          delete static_cast<T*>(object);  // the box made by clone or emplace
        }
      },
      [](const void* object, void* space) -> void* {
        if constexpr (kStoredInline<T>) {
          return new (space) T(*static_cast<const T*>(object));
        } else {
          return new T(*static_cast<const T*>(object));  // owned by the Value
        }
      },
      [](void* object, void* space) noexcept -> void* {
        if constexpr (kStoredInline<T>) {
          void* moved = new (space) T(std::move(*static_cast<T*>(object)));
          std::destroy_at(static_cast<T*>(object));
          return moved;
        } else {
          return object;
        }
      },
      [](const void* a, const void* b) {
        return StoredTraits<T>::equal(*static_cast<const T*>(a), *static_cast<const T*>(b));
      },
      [](const void* a, const void* b) {
        return StoredTraits<T>::order(*static_cast<const T*>(a), *static_cast<const T*>(b));
      },
      [](const void* object) { return StoredTraits<T>::hash(*static_cast<const T*>(object)); },
  };
  return kOps;
}

}  // namespace internal

template <class T>
void Value::emplace(T object) {
  if constexpr (internal::kStoredInline<T>) {
    fObject = new (fSpace) T(std::move(object));
  } else {
    fObject = new T(std::move(object));  // owned: freed by the operations' destroy
  }
  fOps = &internal::storedOpsOf<T>();
}

template <StandardValueType T>
Value::Value(T object) : fMeta(internal::standardTypeOf(internal::StorageOf<T>::kType), ValueFlags::Single) {
  emplace(std::move(object));
}

template <class T>
Value::Value(const ValueMeta& meta, T object) : fMeta(meta) {
  if constexpr (std::integral<T> && !std::same_as<T, std::int64_t>) {
    if (internal::isEnumType(meta.getType())) {
      emplace(static_cast<std::int64_t>(object));
      return;
    }
  }
  if constexpr (std::derived_from<T, ModelElement>) {
    emplace(ModelElement(object));
  } else {
    emplace(std::move(object));
  }
}

template <class T>
T Value::get() const {
  if constexpr (std::same_as<T, ModelElement>) {
    return checkedElement();
  } else {
    const T* object = nullptr;
    if constexpr (IntegerValueType<T>) {
      checkStandard(internal::StorageOf<T>::kType, true);
      if (fObject != nullptr && internal::isEnumType(getType())) {
        return static_cast<T>(*static_cast<const std::int64_t*>(checkedObject(typeid(std::int64_t))));
      }
    }
    if constexpr (std::same_as<T, StringToStringMap>) {
      return T(toStringToStringMap());
    } else if constexpr (std::same_as<T, ReflectiveDataType>) {
      return toReflectiveDataType();
    } else if constexpr (StandardValueType<T>) {
      object = peek<T>();
      return object == nullptr ? T() : *object;
    } else {
      object = peek<T>();
      if (object == nullptr) internal::throwCannotCast(getType());
      return *object;
    }
  }
}

template <class T>
boost::optional<T> Value::getOptional() const {
  if constexpr (StandardValueType<T> && !std::same_as<T, StringToStringMap>) {
    checkStandard(internal::StorageOf<T>::kType, IntegerValueType<T>);
  }
  if (fObject == nullptr || fMeta.upper != 1) return boost::none;
  return get<T>();
}

template <class T>
const T* Value::peek() const {
  static_assert(!std::same_as<T, ModelElement>, "an element is read by get<ModelElement>()");
  if constexpr (StandardValueType<T>) checkStandard(internal::StorageOf<T>::kType, false);
  if (fObject == nullptr) return nullptr;
  return static_cast<const T*>(checkedObject(typeid(T)));
}

}  // namespace tarn::kern
