#include "LiveValues.h"

#include <tarn/kern/Errors.h>
#include <tarn/kern/meta/Property.h>

#include "Slots.h"

namespace tarn::kern {

namespace internal {

namespace {

/// The map of a copied value.
class SnapshotMap final : public StringToStringMap {
 public:
  explicit SnapshotMap(const StringToStringMap& content) : StringToStringMap(content) {}

 protected:
  void beforeChange() override {
    throw SnapshotError(
        "this map is the snapshot that copying a Value makes, so a change would be lost; change the map through the "
        "Value "
        "that getPropertyValue returned, or move that Value instead of copying it");
  }
};

}  // namespace

LiveMap::LiveMap(const LiveMap& other) : fSnapshot(std::make_unique<SnapshotMap>(other.map())) {
  fMap = fSnapshot.get();
}

StringToStringMap& LiveMap::map() const {
  if (fOwner) checkOwnerAlive(*fOwner.get());
  return *fMap;
}

}  // namespace internal

Value LiveValueFactory::make(internal::CountedImpl& owner, const internal::SlotInfo& slot) {
  if (slot.storage != StorageType::Map || slot.shape != internal::SlotShape::Single) {
    return internal::makeLiveCollection(owner, slot);
  }
  auto& map = internal::slotAs<StringToStringMap>(internal::slotAreaOf(owner), slot);
  return Value(ValueMeta(slot.property->getType(), ValueFlags::Single), internal::LiveMap(owner, map));
}

}  // namespace tarn::kern
