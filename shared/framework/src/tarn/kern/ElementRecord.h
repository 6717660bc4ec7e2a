#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/StringToStringMap.h>

#include "ElementList.h"
#include "Layout.h"
#include "Slots.h"

namespace tarn::kern::internal {

class ModelCore;

/// One element of a model: this header and behind it, in the same block, the slots that the class's layout describes.
///
/// The model owns the record; handles only keep its memory. Slots of shape Reference hold an ElementRecord*, those of
/// shape Elements an ElementList, maps a MapSlot.
class ElementRecord final : public ModelElement::Impl {
 public:
  enum class State : std::uint8_t {
    Live,
    Unloaded,  ///< of a bound store: the identity is known, the slots are not filled yet
    Dead,      ///< destroyed; the content is still there while a transaction or the history may bring it back
    Gone,      ///< destroyed for good: the slots are empty
  };

  ElementRecord(const meta::Class& type, const boost::uuids::uuid& uuid, ModelCore& core, std::uint32_t index) noexcept;
  ~ElementRecord() override;

  [[nodiscard]] const meta::Class& getMetaClass() const override { return fClass; }
  [[nodiscard]] Value getPropertyValue(const meta::Property& property,
                                       const ReflectionPrivateTag& access) const override;
  void setPropertyValue(const meta::Property& property, const Value& value,
                        const ReflectionPrivateTag& access) override;

  [[nodiscard]] const Layout& layout() const noexcept { return *fLayout; }
  [[nodiscard]] std::byte* area() noexcept { return reinterpret_cast<std::byte*>(this) + sizeof(ElementRecord); }
  [[nodiscard]] const std::byte* area() const noexcept {
    return reinterpret_cast<const std::byte*>(this) + sizeof(ElementRecord);
  }
  template <class T>
  [[nodiscard]] T& slot(const SlotInfo& info) noexcept {
    return slotAs<T>(area(), info);
  }
  template <class T>
  [[nodiscard]] const T& slot(const SlotInfo& info) const noexcept {
    return slotAs<T>(area(), info);
  }
  [[nodiscard]] ElementRecord*& reference(const SlotInfo& info) noexcept { return slot<ElementRecord*>(info); }
  [[nodiscard]] ElementList& list(const SlotInfo& info) noexcept { return slot<ElementList>(info); }
  [[nodiscard]] const ElementList& list(const SlotInfo& info) const noexcept { return slot<ElementList>(info); }

  [[nodiscard]] bool isLive() const noexcept { return state <= State::Unloaded; }
  /// The one check that every access passes. @throws DestroyedElementError
  void ensureReadable() const {
    if (state != State::Live) makeReadable();
  }
  /// The slot of a property after all checks of access. @throws PropertyError, DestroyedElementError
  [[nodiscard]] const SlotInfo& slotForRead(const meta::Property& property, const ReflectionPrivateTag& access) const {
    ensureReadable();
    const SlotInfo* slot = fLayout->find(property.get());
    if (slot == nullptr || (slot->property->isGuarded && !access.isPrivileged())) refuseRead(property, slot);
    return *slot;
  }
  [[nodiscard]] const SlotInfo& slotForWrite(const meta::Property& property, const ReflectionPrivateTag& access) const {
    const SlotInfo& slot = slotForRead(property, access);
    if (slot.property->isReadOnly && !access.isPrivileged()) refuseWrite(property);
    return slot;
  }

  /// What a slot of shape Container reads as.
  [[nodiscard]] ElementRecord* containerThrough(const SlotInfo& info) const noexcept;

  /// The count of handles, as the owner of the record's memory sees it.
  [[nodiscard]] bool hasHandles() const noexcept { return isHeld(); }
  void freeWithLastHandle() noexcept { fFreedWithLastHandle = true; }

  // The core's book-keeping; only ModelCore writes it. What is asked of the target of every reference stands in front,
  // so that the bytes from the count to the layout lie as close together as they can: targets are seldom in the cache.
  State state = State::Live;
  bool mayHaveContents = false;  // never lowered: a container that is known to be empty cannot close a cycle
  bool isLeaving = false;        // belongs to the set that is being destroyed
  bool isFromStore = false;      // came from the bound store: older than everything that was made since the binding
  std::uint16_t containerSlot = 0;
  ModelCore* core;

 private:
  meta::Class fClass;
  const Layout* fLayout;

 public:
  ElementRecord* container = nullptr;
  std::uint32_t index;            // in the core's table
  std::uint32_t topPosition = 0;  // in the core's list of top-level elements, while there is no container
  std::uint32_t born;             // serial of the transaction level it was made in

 private:
  void makeReadable() const;
  [[noreturn]] void refuseRead(const meta::Property& property, const SlotInfo* slot) const;
  [[noreturn]] void refuseWrite(const meta::Property& property) const;
  void lastHandleGone() const noexcept override;
};
static_assert(sizeof(ElementRecord) % 8 == 0, "the slots follow the header directly");

/// Constructs and destroys the slots whose shape is particular to elements.
class ElementSlotMaker final : public SlotMaker {
 public:
  explicit ElementSlotMaker(ElementRecord& record) noexcept : fRecord(record) {}
  void constructElements(void* slot, const SlotInfo& info) override;
  void destroyElements(void* slot, const SlotInfo& info) noexcept override;
  void constructMap(void* slot, const SlotInfo& info) override;
  void destroyMap(void* slot, const SlotInfo& info) noexcept override;

 private:
  ElementRecord& fRecord;
};

/// The map in an element's slot: changes go into the model's journal.
class MapSlot final : public StringToStringMap {
 public:
  MapSlot(ElementRecord& owner, const SlotInfo& info) noexcept : fOwner(owner), fInfo(info) {}
  MapSlot(const MapSlot&) = delete;
  MapSlot& operator=(const MapSlot&) = delete;

  /// Appends an entry that comes from a store, which is no change. @pre the key is not there.
  void fill(ustring key, ustring value);

 protected:
  void beforeChange() override;
  void afterChange(std::unique_ptr<MapUndo> undo) noexcept override;
  [[nodiscard]] bool recordsChanges() const noexcept override;

 private:
  ElementRecord& fOwner;
  const SlotInfo& fInfo;
};

/// The member at a physical position; nullptr for null members and for holes.
[[nodiscard]] inline ElementRecord* memberAt(const ElementList& list, std::uint32_t position) noexcept {
  ElementList::Member* member = list.at(position);
  return ElementList::isHole(member) ? nullptr : static_cast<ElementRecord*>(member);
}

/// Narrows a handle to the record of a model's element; nullptr for null and for meta elements.
[[nodiscard]] inline ElementRecord* recordOf(const ModelElement& element) noexcept {
  if (!element || element->kind() != ModelElement::Impl::Kind::Element) return nullptr;
  return static_cast<ElementRecord*>(element.get());
}

}  // namespace tarn::kern::internal
