#pragma once

#include <compare>
#include <utility>

#include <tarn/kern/Value.h>

namespace tarn::kern::internal {

/// The kernel's way to what a Value stores, past the checked reads.
class ValueAccess {
 public:
  /// The stored object when its C++ type is T, otherwise nullptr.
  template <class T>
  [[nodiscard]] static T* stored(Value& value) noexcept {
    return isStored(value, typeid(T)) ? static_cast<T*>(value.fObject) : nullptr;
  }
  template <class T>
  [[nodiscard]] static const T* stored(const Value& value) noexcept {
    return isStored(value, typeid(T)) ? static_cast<const T*>(value.fObject) : nullptr;
  }
  [[nodiscard]] static bool isStored(const Value& value, const std::type_info& type) noexcept {
    return value.fObject != nullptr && *value.fOps->type == type;
  }

  /// A value whose object is made in place. Live values are made with every read of a collection.
  template <class T, class... Arguments>
  [[nodiscard]] static Value make(const meta::Type& type, ValueFlags flags, Arguments&&... arguments) {
    static_assert(kStoredInline<T>);
    Value value(ValueMeta(type, flags));
    value.fObject = new (value.fSpace) T(std::forward<Arguments>(arguments)...);
    value.fOps = &storedOpsOf<T>();
    return value;
  }

  /// Plain when nothing is stored.
  [[nodiscard]] static StoredKind kind(const Value& value) noexcept {
    return value.fObject == nullptr ? StoredKind::Plain : value.fOps->kind;
  }
  /// The collection or map. @pre kind(value) is not Plain. @throws DestroyedElementError
  [[nodiscard]] static void* view(const Value& value) { return value.fOps->asView(value.fObject); }
  [[nodiscard]] static PrimitiveCollection& primitives(const Value& value) {
    return *static_cast<PrimitiveCollection*>(view(value));
  }
  [[nodiscard]] static ElementCollection& elements(const Value& value) {
    return *static_cast<ElementCollection*>(view(value));
  }
  [[nodiscard]] static StringToStringMap& map(const Value& value) {
    return *static_cast<StringToStringMap*>(view(value));
  }

  [[nodiscard]] static const StoredOps& ops(const Value& value) noexcept { return *value.fOps; }
  [[nodiscard]] static const void* object(const Value& value) noexcept { return value.fObject; }
};

/// True when values of the type are elements. A null type is none.
[[nodiscard]] bool isClassType(const meta::Type& type);
/// By name, so that sorted values come in the same order in every run; the address parts the versions of one type.
[[nodiscard]] std::strong_ordering orderOfTypes(const meta::Type& a, const meta::Type& b);

}  // namespace tarn::kern::internal
