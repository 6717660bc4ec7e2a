#include "PendingReferences.h"

#include <span>
#include <utility>

#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/Collections.h>

namespace quillon::nimbo {

using tarn::kern::ElementCollection;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::Value;

void PendingReferences::flush() {
  const std::size_t ownerCount = std::exchange(fOwnerCount, 0);
  const std::size_t targetCount = std::exchange(fTargetCount, 0);
  Records records;
  for (std::size_t i = 0; i < targetCount; ++i) {
    records[i] = fTargets[i] == kNull ? nullptr : fElements.find(fTargets[i])->element.get();
  }
  for (std::size_t i = 0; i < ownerCount; ++i) {
    const Owner& owner = fOwners[i];
    if (owner.isCollection) {
      appendMembers(owner, records, i + 1 < ownerCount ? fOwners[i + 1].firstTarget : targetCount);
    } else {
      setReference(owner, records[owner.firstTarget]);
    }
  }
}

void PendingReferences::setReference(const Owner& owner, ModelElement::Impl* target) {
  const tarn::kern::meta::Property& property = owner.property->property;
  if (target != nullptr || owner.property->isOptional) {
    tarn::kern::bulk::setTarget(*owner.element, property, target, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  } else {
    owner.element->setPropertyValue(property, Value::createEmptyValue(property->getType(), true),
                                    ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
}

/// An empty collection takes all of them in one step, with the same result.
void PendingReferences::appendMembers(const Owner& owner, const Records& records, std::size_t end) {
  const tarn::kern::meta::Property& property = owner.property->property;
  const std::span members(records.data() + owner.firstTarget, end - owner.firstTarget);
  if (owner.element->peekElements(property).empty()) {
    tarn::kern::bulk::assignTargets(*owner.element, property, members, ReflectionPrivateTag::PRIVILEGED_ACCESS);
    return;
  }
  const Value value = owner.element->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  for (ModelElement::Impl* member : members) value.toElementCollection().addElement(ModelElement(member));
}

}  // namespace quillon::nimbo
