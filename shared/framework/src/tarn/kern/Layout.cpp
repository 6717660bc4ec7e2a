#include "Layout.h"

#include <cassert>
#include <string>

#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/ValueTyped.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "Slots.h"

namespace tarn::kern::internal {
namespace {

struct SlotSize {
  std::size_t bytes;
  std::size_t alignment;
};

template <class T>
constexpr SlotSize sizeOf() noexcept {
  static_assert(alignof(T) <= kSlotAlignment, "the slot area is not aligned for it");
  return {sizeof(T), alignof(T)};
}

SlotSize sizeOfSingle(StorageType storage) noexcept {
  switch (storage) {
    case StorageType::String:
      return sizeOf<ustring>();
    case StorageType::Integer:
      return sizeOf<std::int32_t>();
    case StorageType::Integer8:
      return sizeOf<std::int8_t>();
    case StorageType::Integer16:
      return sizeOf<std::int16_t>();
    case StorageType::Integer64:
      return sizeOf<std::int64_t>();
    case StorageType::Real:
      return sizeOf<double>();
    case StorageType::Boolean:
      return sizeOf<bool>();
    case StorageType::UnlimitedNatural:
      return sizeOf<std::uint32_t>();
    case StorageType::UInteger8:
      return sizeOf<std::uint8_t>();
    case StorageType::UInteger16:
      return sizeOf<std::uint16_t>();
    case StorageType::UInteger64:
      return sizeOf<std::uint64_t>();
    case StorageType::Uuid:
      return sizeOf<boost::uuids::uuid>();
    case StorageType::StdString:
      return sizeOf<std::string>();
    case StorageType::DateTime:
      return sizeOf<boost::posix_time::ptime>();
    case StorageType::Map:
      return {kMapSlotBytes, kSlotAlignment};
    case StorageType::Enum:
      return sizeOf<std::int64_t>();
    case StorageType::Data:
    case StorageType::Custom:
      return sizeOf<Value>();
    case StorageType::Element:
      return sizeOf<void*>();
  }
  return {0, 1};
}
static_assert(sizeof(StringToStringMap) <= kMapSlotBytes);
static_assert(sizeof(ModelElement) == sizeof(void*), "a reference is a handle in data values, a pointer in elements");

SlotSize sizeOf(const SlotInfo& slot) noexcept {
  switch (slot.shape) {
    case SlotShape::Single:
      return sizeOfSingle(slot.storage);
    case SlotShape::Reference:
      return sizeOf<void*>();
    case SlotShape::Typed:
      // A packed bit vector counts bits too, so it is larger than the others, which are alike.
      return slot.storage == StorageType::Boolean ? sizeOf<std::vector<bool>>() : sizeOf<std::vector<std::int32_t>>();
    case SlotShape::Generic:
      return sizeOf<std::vector<Value>>();
    case SlotShape::Elements:
      return {kElementListBytes, kSlotAlignment};
    case SlotShape::Container:
      return {0, 1};
  }
  return {0, 1};
}
static_assert(sizeof(std::vector<ModelElement>) <= kElementListBytes);

bool holdsObject(const SlotInfo& slot, bool isData) noexcept {
  switch (slot.shape) {
    case SlotShape::Single:
      return slot.storage == StorageType::String || slot.storage == StorageType::StdString ||
             slot.storage == StorageType::Map || slot.storage == StorageType::Data ||
             slot.storage == StorageType::Custom;
    case SlotShape::Reference:
      return isData;  // a handle there, a raw pointer in elements
    case SlotShape::Typed:
    case SlotShape::Generic:
    case SlotShape::Elements:
      return true;
    case SlotShape::Container:
      return false;
  }
  return false;
}

SlotShape shapeOf(const meta::Property::Impl& property, StorageType storage) noexcept {
  const meta::Property& opposite = property.getOpposite();
  if (property.isReference()) {
    if (!property.isComposite && opposite && opposite->isComposite) return SlotShape::Container;
    return property.isCollection() ? SlotShape::Elements : SlotShape::Reference;
  }
  if (!property.isCollection()) return SlotShape::Single;
  const bool isContiguous = static_cast<std::uint8_t>(storage) < kContiguousStorageTypes;
  return isContiguous && !property.usesGenericStorage ? SlotShape::Typed : SlotShape::Generic;
}

}  // namespace

StorageType storageTypeOf(const meta::Type& type) noexcept {
  using Kind = ModelElement::Impl::Kind;
  if (type->kind() == Kind::Class) return StorageType::Element;
  if (type->kind() == Kind::DataType) return StorageType::Data;
  if (type->kind() == Kind::Enum) return StorageType::Enum;
  for (std::uint8_t i = 0; i <= static_cast<std::uint8_t>(StorageType::Map); ++i) {
    const auto storage = static_cast<StorageType>(i);
    if (standardTypeOf(storage) == type) return storage;
  }
  return StorageType::Custom;
}

Layout::Layout(const meta::StructuredType& laidOut, const std::vector<meta::Property>& allProperties)
    : type(laidOut), isData(laidOut->kind() == ModelElement::Impl::Kind::DataType) {
  assert(allProperties.size() <= kMaxProperties);
  describeSlots(allProperties);
  placeSlots();
  listSlotsByUse();
  drawImage();
}

const SlotInfo* Layout::findByOrigin(const meta::Property::Impl* property) const noexcept {
  const auto at = std::lower_bound(
      fByOrigin.begin(), fByOrigin.end(), property,
      [](const OriginEntry& entry, const meta::Property::Impl* wanted) { return std::less<>()(entry.first, wanted); });
  return at != fByOrigin.end() && at->first == property ? &slots[at->second] : nullptr;
}

void Layout::describeSlots(const std::vector<meta::Property>& allProperties) {
  std::uint16_t presenceBits = 0;
  slots.reserve(allProperties.size());
  for (const meta::Property& property : allProperties) {
    SlotInfo slot;
    slot.property = property.get();
    slot.index = static_cast<std::uint16_t>(slots.size());
    assert(property->slotIndex() == slot.index);
    slot.storage = storageTypeOf(property->getType());
    slot.shape = shapeOf(*property.get(), slot.storage);
    slot.isComposite = property->isComposite;
    const meta::Property& opposite = property->getOpposite();
    slot.isPaired = opposite && !property->isComposite && !opposite->isComposite;
    if (slot.shape == SlotShape::Single && slot.storage != StorageType::Map) slot.presenceBit = presenceBits++;
    if (property->getOrigin()) fByOrigin.emplace_back(property->getOrigin().get(), slot.index);
    slots.push_back(slot);
  }
  std::sort(fByOrigin.begin(), fByOrigin.end(),
            [](const OriginEntry& a, const OriginEntry& b) { return std::less<>()(a.first, b.first); });
  presenceWords = (presenceBits + 63U) / 64U;
}

void Layout::placeSlots() {
  std::size_t end = presenceWords * sizeof(std::uint64_t);
  // From the strictest alignment to the loosest, so that nothing is lost between them. Every size is a multiple of its
  // alignment.
  for (std::size_t alignment = kSlotAlignment; alignment > 0; alignment /= 2) {
    for (SlotInfo& slot : slots) {
      const SlotSize size = sizeOf(slot);
      if (size.alignment != alignment) continue;
      assert(end % alignment == 0);
      slot.offset = static_cast<std::uint32_t>(end);
      end += size.bytes;
    }
  }
  sizeBytes = static_cast<std::uint32_t>((end + kSlotAlignment - 1) / kSlotAlignment * kSlotAlignment);
}

void Layout::listSlotsByUse() {
  for (const SlotInfo& slot : slots) {
    if (holdsObject(slot, isData)) constructed.push_back(slot.index);
    if (slot.property->defaultValue()) withDefault.push_back(slot.index);
    if (slot.isComposite) composites.push_back(slot.index);
    if (slot.isReferenceLike() && !slot.isComposite && !slot.isPaired) plainReferences.push_back(slot.index);
    if (slot.isPaired) paired.push_back(slot.index);
    const bool isValue =
        slot.shape == SlotShape::Single && (slot.storage == StorageType::Data || slot.storage == StorageType::Custom);
    if (slot.shape == SlotShape::Generic || isValue) handleHolders.push_back(slot.index);
  }
}

void Layout::drawImage() {
  image.resize(sizeBytes);
  for (const std::uint16_t index : withDefault) {
    const SlotInfo& slot = slots[index];
    if (holdsObject(slot, isData)) {
      withOwningDefault.push_back(index);
    } else if (const boost::optional<Value>& value = slot.property->defaultValue(); value->hasObject()) {
      putSingle(slot, image.data(), Value(*value));
    }
  }
}

}  // namespace tarn::kern::internal
