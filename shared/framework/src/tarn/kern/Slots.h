#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <tarn/kern/Value.h>

#include "Layout.h"

/// What can be done with one slot of an instance, whatever the instance is. `area` is the beginning of the slot area:
/// the presence words, then the slots. Nothing here knows of models, transactions or opposites.
namespace tarn::kern::internal {

/// Makes the shapes that differ between elements and data values. Everything else is the same for both.
class SlotMaker {
 public:
  virtual void constructElements(void* slot, const SlotInfo& info) = 0;
  virtual void destroyElements(void* slot, const SlotInfo& info) noexcept = 0;
  virtual void constructMap(void* slot, const SlotInfo& info) = 0;  // a StringToStringMap or a class derived from it
  virtual void destroyMap(void* slot, const SlotInfo& info) noexcept = 0;

 protected:
  ~SlotMaker() = default;
};
/// Constructs all slots and gives them their defaults. Strong guarantee: when it throws, nothing is left constructed.
/// `area` need not be cleared.
void constructSlots(const Layout& layout, std::byte* area, SlotMaker& maker);
/// The same without the defaults: everything is absent or empty.
void constructEmptySlots(const Layout& layout, std::byte* area, SlotMaker& maker);
void destroySlots(const Layout& layout, std::byte* area, SlotMaker& maker) noexcept;

template <class T>
[[nodiscard]] T& slotAs(std::byte* area, const SlotInfo& slot) noexcept {
  return *reinterpret_cast<T*>(area + slot.offset);
}
template <class T>
[[nodiscard]] const T& slotAs(const std::byte* area, const SlotInfo& slot) noexcept {
  return *reinterpret_cast<const T*>(area + slot.offset);
}

[[nodiscard]] inline bool isPresent(const std::byte* area, const SlotInfo& slot) noexcept {
  if (slot.presenceBit == SlotInfo::kNoPresence) return true;
  const auto* words = reinterpret_cast<const std::uint64_t*>(area);
  return ((words[slot.presenceBit / 64U] >> (slot.presenceBit % 64U)) & 1U) != 0;
}
inline void setPresent(std::byte* area, const SlotInfo& slot, bool present) noexcept {
  if (slot.presenceBit == SlotInfo::kNoPresence) return;
  auto& word = reinterpret_cast<std::uint64_t*>(area)[slot.presenceBit / 64U];
  const std::uint64_t bit = std::uint64_t{1} << (slot.presenceBit % 64U);
  word = present ? (word | bit) : (word & ~bit);
}

// --- Slots of shape Single. They hold the C++ object of their storage type; those of data and custom types hold a
// Value, which is then always of the property's type and empty when absent.

/// The content as a Value of the property's type: a snapshot; absent values are empty values. Not for maps.
[[nodiscard]] Value readSingle(const SlotInfo& slot, const std::byte* area);
/// Moves the content out, leaving the slot absent. Not for maps.
[[nodiscard]] Value takeSingle(const SlotInfo& slot, std::byte* area) noexcept;
/// Moves the value in, or makes the slot absent when it is empty. The value must have passed normalised(). Not for
/// maps.
void putSingle(const SlotInfo& slot, std::byte* area, Value&& value) noexcept;

/// Checks that `value` may stand in a single-valued slot, or as one entry of a collection (`asEntry`: then it may not
/// be absent), of plain type, and gives it in the form that is stored: enum numbers as 64 bits, absent values as empty
/// values of the property's type. @throws the cast failure with the value's type.
[[nodiscard]] Value normalised(const SlotInfo& slot, Value value, bool asEntry);
/// Checks that an element may stand in a class-typed slot: its class conforms, or it is null. @throws the cast failure
/// with the element's class.
void checkConforms(const SlotInfo& slot, const ModelElement& element);
/// Whether elements of that layout may.
[[nodiscard]] bool conforms(const SlotInfo& slot, const Layout& layout);
/// The element in a value for a class-typed single slot; null for absent. @throws the cast failure as above.
[[nodiscard]] ModelElement elementOf(const SlotInfo& slot, const Value& value);

}  // namespace tarn::kern::internal
