#pragma once

#include <cstddef>
#include <vector>

#include <tarn/kern/Value.h>

#include "Journal.h"
#include "Layout.h"

namespace tarn::kern::internal {

/// The operations on a std::vector<T> whose T is known by a slot only: a contiguous storage type, or Value for generic
/// storage. Values that go in have passed normalised().
struct VectorOps {
  std::size_t (*size)(const void* vector) noexcept;
  /// Room for that many more entries; grows geometrically. Throws std::bad_alloc and changes nothing then.
  void (*reserve)(void* vector, std::size_t more);
  Value (*at)(const SlotInfo& slot, const void* vector, std::size_t index);
  std::size_t (*find)(const void* vector, const Value& value) noexcept;  // size when there is none
  // The following never fail: there is room.
  void (*insert)(void* vector, std::size_t index, Value&& value) noexcept;
  Value (*take)(const SlotInfo& slot, void* vector, std::size_t index) noexcept;  // erases
  Value (*exchange)(const SlotInfo& slot, void* vector, std::size_t index, Value&& value) noexcept;
  void (*move)(void* vector, std::size_t from, std::size_t to) noexcept;
  void (*swapWith)(void* vector, JournalPayload& payload) noexcept;  // the payload is a VectorPayload<T>
};

template <class T>
struct VectorPayload final : JournalPayload {
  std::vector<T> content;
};

/// @pre the slot's shape is Typed or Generic.
[[nodiscard]] const VectorOps& vectorOpsOf(const SlotInfo& slot) noexcept;

}  // namespace tarn::kern::internal
