#pragma once

#include <cstddef>
#include <memory>

#include <tarn/kern/Collections.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>

#include "Layout.h"

namespace tarn::kern {

namespace internal {

/// Keeps the memory of a record, whatever it is.
class OwnerHandle : public HandleBase {
 public:
  OwnerHandle() noexcept = default;
  explicit OwnerHandle(CountedImpl& owner) noexcept : HandleBase(&owner) {}
  [[nodiscard]] CountedImpl* get() const noexcept { return fRecord; }
};

/// What a live map value stores: the map in its slot, and the owner that keeps the slot's memory. Copying it gives a
/// detached snapshot: a map of its own that refuses changes.
class LiveMap {
 public:
  LiveMap(CountedImpl& owner, StringToStringMap& map) noexcept : fOwner(owner), fMap(&map) {}
  /// @throws DestroyedElementError, as every other use.
  LiveMap(const LiveMap& other);
  LiveMap(LiveMap&&) noexcept = default;
  LiveMap& operator=(const LiveMap&) = delete;
  ~LiveMap() = default;

  /// @throws DestroyedElementError when the owner was destroyed.
  [[nodiscard]] StringToStringMap& map() const;

 private:
  OwnerHandle fOwner;  // null for a snapshot
  StringToStringMap* fMap;
  std::unique_ptr<StringToStringMap> fSnapshot;  // then it is what fMap points to
};

template <>
struct StoredView<LiveMap> {
  static constexpr StoredKind kKind = StoredKind::Map;
  static void* of(LiveMap& object) { return &object.map(); }
};
static_assert(kStoredInline<LiveMap>);

// --- Given by the owners of live values, elements and data values.

/// @throws DestroyedElementError when `owner` is a destroyed element; a data value is always alive.
void checkOwnerAlive(const CountedImpl& owner);
/// The beginning of the slots of an element or data value.
[[nodiscard]] std::byte* slotAreaOf(CountedImpl& owner) noexcept;
/// The live value of a slot of shape Typed, Generic or Elements.
[[nodiscard]] Value makeLiveCollection(CountedImpl& owner, const SlotInfo& slot);

}  // namespace internal

/// Makes the Values of collection and map properties.
class LiveValueFactory {
 public:
  /// The live value of a slot of shape Typed, Generic or Elements, or of a map. `owner` is the element or data record.
  [[nodiscard]] static Value make(internal::CountedImpl& owner, const internal::SlotInfo& slot);
};

}  // namespace tarn::kern
