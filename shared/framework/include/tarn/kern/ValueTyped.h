#pragma once

// The templates of Value. Included at the end of Value.h; never include it alone.

#include <bit>
#include <concepts>
#include <memory>
#include <string_view>
#include <type_traits>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/hashers.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace tarn::kern {

namespace internal {

/// The standard type that holds a storage type; filled before any Value can be made.
[[nodiscard]] TARN_EXPORT const meta::PrimitiveType& standardTypeOf(StorageType storage) noexcept;

/// Equality, order and hash of a stored object. Reals compare by bit pattern, times so that a special value equals
/// itself.
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
    } else if constexpr (requires {
                           { a < b } -> std::convertible_to<bool>;
                         }) {
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
    } else if constexpr (requires {
                           { object.hash() } -> std::convertible_to<std::size_t>;
                         }) {
      return object.hash();
    } else if constexpr (requires {
                           { std::hash<T>()(object) } -> std::convertible_to<std::size_t>;
                         }) {
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

/// How a stored object shows itself as a collection or map. Specialised for the kernel's live maps.
template <class T>
struct StoredView {
  static constexpr StoredKind kKind = std::derived_from<T, PrimitiveCollection> ? StoredKind::PrimitiveCollection
                                      : std::derived_from<T, ElementCollection> ? StoredKind::ElementCollection
                                      : std::derived_from<T, StringToStringMap> ? StoredKind::Map
                                                                                : StoredKind::Plain;
  static void* of(T& object) {
    if constexpr (kKind == StoredKind::PrimitiveCollection) {
      return static_cast<PrimitiveCollection*>(&object);
    } else if constexpr (kKind == StoredKind::ElementCollection) {
      return static_cast<ElementCollection*>(&object);
    } else {
      return static_cast<StringToStringMap*>(&object);
    }
  }
};

template <class T>
inline constexpr bool kStoredInline = sizeof(T) <= kInlineBytes &&
                                      alignof(T) <= kInlineAlignment&& std::is_nothrow_move_constructible_v<T>;

template <class T>
void destroyStored(void* object) noexcept {
  if constexpr (kStoredInline<T>) {
    std::destroy_at(static_cast<T*>(object));
  } else {
    delete static_cast<T*>(object);  // the box made by clone or emplace
  }
}

template <class T>
void* cloneStored(const void* object, void* inlineSpace) {
  if constexpr (kStoredInline<T>) {
    return new (inlineSpace) T(*static_cast<const T*>(object));
  } else {
    return new T(*static_cast<const T*>(object));  // owned by the Value
  }
}

template <class T>
void* relocateStored(void* object, void* inlineSpace) noexcept {
  if constexpr (kStoredInline<T>) {
    void* moved = new (inlineSpace) T(std::move(*static_cast<T*>(object)));
    std::destroy_at(static_cast<T*>(object));
    return moved;
  } else {
    return object;
  }
}

template <class T>
const StoredOps& storedOpsOf() {
  if constexpr (StoredView<T>::kKind != StoredKind::Plain) {
    static constexpr StoredOps kOps = {
        &typeid(T),
        kStoredInline<T>,
        StoredView<T>::kKind,
        &destroyStored<T>,
        &cloneStored<T>,
        &relocateStored<T>,
        nullptr,
        nullptr,
        nullptr,
        [](void* object) { return StoredView<T>::of(*static_cast<T*>(object)); },
    };
    return kOps;
  } else {
    static constexpr StoredOps kOps = {
        &typeid(T),
        kStoredInline<T>,
        StoredKind::Plain,
        &destroyStored<T>,
        &cloneStored<T>,
        &relocateStored<T>,
        [](const void* a, const void* b) {
          return StoredTraits<T>::equal(*static_cast<const T*>(a), *static_cast<const T*>(b));
        },
        [](const void* a, const void* b) {
          return StoredTraits<T>::order(*static_cast<const T*>(a), *static_cast<const T*>(b));
        },
        [](const void* object) { return StoredTraits<T>::hash(*static_cast<const T*>(object)); },
        nullptr,
    };
    return kOps;
  }
}

}  // namespace internal

// Moves and destruction are inline: every property read passes them.

inline void Value::moveObjectFrom(Value& other) noexcept {
  if (other.fObject == nullptr) return;
  fOps = other.fOps;
  fObject = fOps->relocate(std::exchange(other.fObject, nullptr), fSpace);
}

inline void Value::clear() noexcept {
  if (fObject != nullptr) fOps->destroy(std::exchange(fObject, nullptr));
}

inline Value::Value(Value&& other) noexcept : fMeta(other.fMeta) { moveObjectFrom(other); }

inline Value& Value::operator=(Value&& other) noexcept {
  if (this == &other) return *this;
  // The old content may own `other`, or end while something of its own is read: take it out first.
  Value old(fMeta);
  old.moveObjectFrom(*this);
  fMeta = other.fMeta;
  moveObjectFrom(other);
  return *this;
}

inline Value::~Value() { clear(); }

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
  if constexpr ((std::integral<T> && !std::same_as<T, std::int64_t>) || std::is_enum_v<T>) {
    if (internal::isEnumType(meta.getType())) {
      emplace(static_cast<std::int64_t>(object));
      return;
    }
  }
  if constexpr (std::derived_from<T, ModelElement>) {
    emplace(ModelElement(object));
  } else if constexpr (std::convertible_to<T, std::u16string_view> && std::is_pointer_v<T>) {
    emplace(ustring(object));  // a pointer to text would not outlive its text
  } else {
    emplace(std::move(object));
  }
}

template <class T>
T Value::get() const {
  if constexpr (std::same_as<T, ModelElement>) {
    return checkedElement();
  } else if constexpr (std::same_as<T, StringToStringMap>) {
    return T(toStringToStringMap());
  } else if constexpr (std::same_as<T, ReflectiveDataType>) {
    const T* data = peek<T>();
    return data == nullptr ? T(dataType()) : *data;
  } else {
    if constexpr (IntegerValueType<T> && !std::same_as<T, std::int64_t>) {
      if (fMeta.upper == 1 && internal::isEnumType(getType())) {
        const std::int64_t* number = peek<std::int64_t>();
        return number == nullptr ? T() : static_cast<T>(*number);
      }
    }
    const T* object = peek<T>();
    if (object != nullptr) return *object;
    if constexpr (StandardValueType<T>) {
      return T();
    } else {
      internal::throwCannotCast(getType());
    }
  }
}

template <class T>
boost::optional<T> Value::getOptional() const {
  if constexpr (std::same_as<T, ModelElement>) {
    if (fObject == nullptr) static_cast<void>(checkedElement());
  } else if constexpr (StandardValueType<T> || std::same_as<T, ReflectiveDataType>) {
    checkStandard(internal::StorageOf<T>::kType, IntegerValueType<T>);
  } else {
    checkCustom(typeid(T));
  }
  if (fObject == nullptr) return boost::none;
  return get<T>();
}

template <class T>
const T* Value::peek() const {
  static_assert(!std::same_as<T, ModelElement>, "an element is read by get<ModelElement>()");
  if constexpr (std::same_as<T, StringToStringMap>) {
    checkStandard(StorageType::Map, false);
    return fObject == nullptr ? nullptr : &toStringToStringMap();
  } else {
    if constexpr (StandardValueType<T> || std::same_as<T, ReflectiveDataType>) {
      checkStandard(internal::StorageOf<T>::kType, std::same_as<T, std::int64_t>);
    } else {
      checkCustom(typeid(T));
    }
    return fObject == nullptr ? nullptr : static_cast<const T*>(checkedObject(typeid(T)));
  }
}

}  // namespace tarn::kern
