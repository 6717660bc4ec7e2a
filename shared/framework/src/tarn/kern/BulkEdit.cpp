#include <algorithm>
#include <array>
#include <vector>

#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/Collections.h>

#include "ModelCore.h"

namespace tarn::kern::bulk {

namespace {

using kern::internal::ElementList;
using kern::internal::ElementRecord;
using kern::internal::Layout;
using kern::internal::ModelCore;
using kern::internal::SlotInfo;
using kern::internal::SlotShape;

/// True when the addresses alone tell that the targets may stand in the slot.
bool areKnownToFit(const ModelCore& core, const SlotInfo& slot, std::span<ModelElement::Impl* const> targets) {
  const Layout* last = nullptr;  // most targets are of one class
  return std::all_of(targets.begin(), targets.end(), [&](ModelElement::Impl* target) {
    if (target == nullptr) return true;
    // No static cast before the answer is there: it may be an element of the meta-model, which is no such record.
    const Layout* layout = core.layoutByAddress(reinterpret_cast<ElementRecord*>(target));
    if (layout == last && last != nullptr) return true;
    if (layout == nullptr || !kern::internal::conforms(slot, *layout)) return false;
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
  std::array<ElementRecord*, ElementList::kLong - 1> members;
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

void append(ModelElement::Impl& element, const meta::Property& property, ModelElement::Impl& member,
            const ReflectionPrivateTag& access) {
  constexpr auto kElement = ModelElement::Impl::Kind::Element;
  if (element.kind() == kElement && member.kind() == kElement) {
    auto& record = static_cast<ElementRecord&>(element);
    auto& added = static_cast<ElementRecord&>(member);
    const SlotInfo& slot = record.slotForRead(property, access);
    const bool isQuiet = slot.shape == SlotShape::Elements && record.core->observers().empty();
    if (isQuiet && kern::internal::conforms(slot, added.layout())) {
      record.core->insert(record, slot, ElementList::kNone, &added);
      return;
    }
  }
  const Value live = element.getPropertyValue(property, access);
  live.toElementCollection().addElement(ModelElement(&member));
}

namespace internal {

void* vectorToOverwrite(ModelElement::Impl& element, const meta::Property& property, StorageType storage,
                        const ReflectionPrivateTag& access) {
  if (element.kind() != ModelElement::Impl::Kind::Element) return nullptr;
  auto& record = static_cast<ElementRecord&>(element);
  const SlotInfo& slot = record.slotForRead(property, access);
  const bool fits = slot.shape == SlotShape::Typed && slot.storage == storage && !slot.property->isUnique;
  if (!fits || !record.core->observers().empty() || !record.core->mayOverwrite(record)) return nullptr;
  return record.area() + slot.offset;
}

}  // namespace internal

}  // namespace tarn::kern::bulk
