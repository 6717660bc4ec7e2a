#include <vector>

#include <tarn/kern/BulkCopy.h>
#include <tarn/kern/Collections.h>

#include "ModelCore.h"
#include "StorageDispatch.h"

namespace tarn::kern::bulk {

namespace {

using internal::ElementRecord;
using internal::SlotInfo;
using internal::SlotShape;

const ReflectionPrivateTag& privileged() { return ReflectionPrivateTag::PRIVILEGED_ACCESS; }

void copySingle(const SlotInfo& slot, const ElementRecord& source, ElementRecord& target) {
  if (slot.storage == StorageType::Map) {
    return target.slot<internal::MapSlot>(slot).assign(source.slot<internal::MapSlot>(slot));
  }
  const bool isPresent = internal::isPresent(source.area(), slot);
  if (!isPresent && !internal::isPresent(target.area(), slot)) return;
  internal::dispatchSingle(slot.storage, [&]<class T>(internal::TypeTag<T>) {
    if constexpr (std::same_as<T, Value>) {
      internal::putSingle(slot, target.area(), internal::readSingle(slot, source.area()));
    } else {
      target.slot<T>(slot) = isPresent ? source.slot<T>(slot) : T();
      internal::setPresent(target.area(), slot, isPresent);
    }
  });
}

template <class T>
void copyVector(const SlotInfo& slot, const ElementRecord& source, ElementRecord& target) {
  const auto& from = source.slot<std::vector<T>>(slot);
  auto& to = target.slot<std::vector<T>>(slot);
  if (from.empty() && to.empty()) return;
  std::vector<T> copy(from);
  target.core->forgetValues(&to);
  to.swap(copy);
}

void copySlot(const SlotInfo& slot, const ElementRecord& source, ElementRecord& target) {
  switch (slot.shape) {
    case SlotShape::Single:
      return copySingle(slot, source, target);
    case SlotShape::Typed:
      return internal::dispatchContiguous(slot.storage,
                                          [&]<class T>(internal::TypeTag<T>) { copyVector<T>(slot, source, target); });
    case SlotShape::Generic:
      return copyVector<Value>(slot, source, target);
    case SlotShape::Reference:
    case SlotShape::Elements:
    case SlotShape::Container:
      return;
  }
}

/// True when nobody can tell how a change comes about, and the slots of both are the same.
bool mayCopySlots(const ElementRecord& source, const ElementRecord& target) {
  source.ensureReadable();
  target.ensureReadable();
  return &source != &target && &source.layout() == &target.layout() && target.core->observers().empty() &&
         target.core->mayOverwrite(target);
}

void copyThroughValue(const meta::Property& property, const ModelElement::Impl& source, ModelElement::Impl& target) {
  const Value value = source.getPropertyValue(property, privileged());
  if (property->isCollection()) {
    const Value live = target.getPropertyValue(property, privileged());
    live.toPrimitiveCollection().assignValues(value.toPrimitiveCollection().getAllValues());
  } else {
    target.setPropertyValue(property, value, privileged());
  }
}

}  // namespace

void copyValues(const ModelElement::Impl& source, ModelElement::Impl& target) {
  constexpr auto kElement = ModelElement::Impl::Kind::Element;
  if (source.kind() == kElement && target.kind() == kElement) {
    const auto& from = static_cast<const ElementRecord&>(source);
    auto& to = static_cast<ElementRecord&>(target);
    if (mayCopySlots(from, to)) {
      for (const SlotInfo& slot : from.layout().slots) {
        if (!slot.property->isOmitted) copySlot(slot, from, to);
      }
      return;
    }
  }
  for (const meta::Property& property : source.getMetaClass()->getAllPrimitiveProperties()) {
    if (!property->isOmitted) copyThroughValue(property, source, target);
  }
}

}  // namespace tarn::kern::bulk
