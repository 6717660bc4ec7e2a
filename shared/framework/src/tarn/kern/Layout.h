#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include <tarn/kern/StorageType.h>
#include <tarn/kern/meta/Class.h>

/// Where the properties of a class or data type lie in an instance.
///
/// An instance is one block: a header (element or data record), then the presence bits, then one slot per property.
/// Slots of plain values hold the C++ object itself. The index of a property's slot is the same in the declaring type
/// and in all that derive from it by the superclass chain; the offset is each layout's own.
namespace tarn::kern::internal {

/// What an element reserves for the objects that only its own record knows: its list of elements, its live map.
inline constexpr std::size_t kElementListBytes = 24;
inline constexpr std::size_t kMapSlotBytes = 64;
/// The alignment of the slot area, and the strictest one of a slot.
inline constexpr std::size_t kSlotAlignment = 8;
/// The most properties of one type, inherited ones included: a slot's index has 16 bits.
inline constexpr std::size_t kMaxProperties = 65'000;

/// How a value of that type is held.
[[nodiscard]] StorageType storageTypeOf(const meta::Type& type) noexcept;

enum class SlotShape : std::uint8_t {
  Single,     ///< one plain value, with a presence bit; a map has none, it is always there
  Reference,  ///< one element: a raw pointer in elements, a handle in data values; null is absence
  Typed,      ///< std::vector<T> of a contiguous storage type
  Generic,    ///< std::vector<Value>
  Elements,   ///< ElementList in elements, std::vector<ModelElement> in data values
  Container,  ///< the way back of a composite property: no storage, read off the container
};

struct SlotInfo {
  static constexpr std::uint16_t kNoPresence = 0xFFFF;

  const meta::Property::Impl* property = nullptr;
  std::uint32_t offset = 0;  // from the beginning of the slot area
  std::uint16_t index = 0;
  std::uint16_t presenceBit = kNoPresence;
  StorageType storage = StorageType::Custom;
  SlotShape shape = SlotShape::Single;
  bool isComposite = false;
  bool isPaired = false;  // has an opposite that is not composite on either side: both ends are listed in slots

  [[nodiscard]] bool isReferenceLike() const noexcept {
    return shape == SlotShape::Reference || shape == SlotShape::Elements;
  }
};

struct Layout {
  /// Lays out a type whose getAllProperties is complete and whose properties bear their slot index: the position in
  /// getAllProperties. Properties with an origin are also found under it.
  Layout(const meta::StructuredType& laidOut, const std::vector<meta::Property>& allProperties);

  /// The slot of the property, or nullptr when the type lacks it.
  [[nodiscard]] const SlotInfo* find(const meta::Property::Impl* property) const noexcept {
    if (property == nullptr) return nullptr;
    const std::uint32_t index = property->slotIndex();
    if (index < slots.size() && slots[index].property == property) [[likely]]
      return &slots[index];
    return findByOrigin(property);
  }

  meta::StructuredType type;
  bool isData = false;
  std::uint32_t sizeBytes = 0;      // of the slot area: presence words and slots; a multiple of kSlotAlignment
  std::uint32_t presenceWords = 0;  // of 64 bits each
  std::vector<SlotInfo> slots;

  // Slots by use, as indices into `slots`, so that walks touch only what matters.
  std::vector<std::uint16_t> constructed;  // hold an object that needs construction and destruction
  std::vector<std::uint16_t> withDefault;
  std::vector<std::uint16_t> withOwningDefault;  // of those, the ones whose object owns memory: not in `image`
  std::vector<std::uint16_t> composites;
  std::vector<std::uint16_t> plainReferences;  // neither composite nor paired nor the way back
  std::vector<std::uint16_t> paired;
  std::vector<std::uint16_t> handleHolders;  // may hold handles to elements inside values

  /// The slot area of a new instance before anything that owns memory is constructed in it: zeros, and the defaults of
  /// plain numbers. Most classes give many of their properties such a default, so a new element starts as a copy of it.
  std::vector<std::byte> image;

 private:
  using OriginEntry = std::pair<const meta::Property::Impl*, std::uint16_t>;

  [[nodiscard]] const SlotInfo* findByOrigin(const meta::Property::Impl* property) const noexcept;

  void describeSlots(const std::vector<meta::Property>& allProperties);
  void placeSlots();
  void listSlotsByUse();
  void drawImage();
  std::vector<OriginEntry> fByOrigin;  // sorted by address
};

}  // namespace tarn::kern::internal
