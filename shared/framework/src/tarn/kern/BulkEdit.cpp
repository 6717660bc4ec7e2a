#include <algorithm>
#include <array>
#include <vector>

#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/Collections.h>

#include "ModelCore.h"

namespace tarn::kern::bulk {

namespace {

using internal::ElementRecord;
using internal::Layout;
using internal::SlotInfo;
using internal::SlotShape;

/// True when the addresses alone tell that the targets may stand in the slot.
bool areKnownToFit(const internal::ModelCore& core, const SlotInfo& slot,
                   std::span<ModelElement::Impl* const> targets) {
  const Layout* last = nullptr;  // most targets are of one class
  return std::all_of(targets.begin(), targets.end(), [&](ModelElement::Impl* target) {
    if (target == nullptr) return true;
    const Layout* layout = core.layoutByAddress(static_cast<ElementRecord*>(target));
    if (layout == last && last != nullptr) return true;
    if (layout == nullptr || !internal::conforms(slot, *layout)) return false;
    last = layout;
    return true;
  });
}

}  // namespace

void setTarget(ModelElement::Impl& element, const meta::Property& property, ModelElement::Impl* target,
               const ReflectionPrivateTag& access) {
  if (element.kind() == ModelElement::Impl::Kind::Element) {
    auto& record = static_cast<ElementRecord&>(element);
    const SlotInfo& slot = record.slotForWrite(property, access);
    const bool isFree = slot.shape == SlotShape::Reference && record.core->mayOverwritePlain(record, slot);
    if (isFree && areKnownToFit(*record.core, slot, {&target, 1})) {
      return record.core->overwritePlainReference(record, slot, static_cast<ElementRecord*>(target));
    }
  }
  if (target != nullptr) {
    element.set<ModelElement>(property, ModelElement(target), access);
  } else {
    element.unset(property, access);
  }
}

void assignTargets(ModelElement::Impl& element, const meta::Property& property,
                   std::span<ModelElement::Impl* const> targets, const ReflectionPrivateTag& access) {
  std::array<ElementRecord*, internal::ElementList::kLong - 1> members;
  if (element.kind() == ModelElement::Impl::Kind::Element && targets.size() <= members.size()) {
    auto& record = static_cast<ElementRecord&>(element);
    const SlotInfo& slot = record.slotForRead(property, access);  // as whoever reads the collection to change it
    const bool isFree = slot.shape == SlotShape::Elements && record.core->observers().empty() &&
                        record.core->mayOverwritePlain(record, slot);
    if (isFree && areKnownToFit(*record.core, slot, targets)) {
      std::transform(targets.begin(), targets.end(), members.begin(),
                     [](ModelElement::Impl* target) { return static_cast<ElementRecord*>(target); });
      return record.core->overwritePlainList(record, slot, std::span(members).first(targets.size()));
    }
  }
  const Value live = element.getPropertyValue(property, access);
  live.toElementCollection().assign(std::vector<ModelElement>(targets.begin(), targets.end()));
}

}  // namespace tarn::kern::bulk
