#include "Slots.h"

#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>

#include "StorageDispatch.h"
#include "ValueAccess.h"

namespace tarn::kern::internal {

namespace {

[[nodiscard]] const meta::Type& typeOf(const SlotInfo& slot) noexcept { return slot.property->getType(); }

[[nodiscard]] ValueMeta singleMetaOf(const SlotInfo& slot) { return ValueMeta(typeOf(slot), ValueFlags::Single); }

[[nodiscard]] bool isMap(const SlotInfo& slot) noexcept {
  return slot.shape == SlotShape::Single && slot.storage == StorageType::Map;
}

// --- Construction.

/// Cleared memory is a number already; only what owns something is constructed.
void constructSingle(void* place, const SlotInfo& slot) {
  dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (std::same_as<T, Value>) {
      new (place) Value(Value::createEmptyValue(typeOf(slot), false));
    } else if constexpr (!std::is_trivially_destructible_v<T>) {
      new (place) T();
    }
  });
}

void destroySingle(void* place, const SlotInfo& slot) noexcept {
  dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (!std::is_trivially_destructible_v<T>) std::destroy_at(static_cast<T*>(place));
  });
}

void constructSlot(const Layout& layout, void* place, const SlotInfo& slot, SlotMaker& maker) {
  switch (slot.shape) {
    case SlotShape::Single:
      return isMap(slot) ? maker.constructMap(place, slot) : constructSingle(place, slot);
    case SlotShape::Reference:
      if (layout.isData) new (place) ModelElement();
      return;
    case SlotShape::Typed:
      return dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) { new (place) std::vector<T>(); });
    case SlotShape::Generic:
      new (place) std::vector<Value>();
      return;
    case SlotShape::Elements:
      return maker.constructElements(place, slot);
    case SlotShape::Container:
      return;
  }
}

void destroySlot(const Layout& layout, void* place, const SlotInfo& slot, SlotMaker& maker) noexcept {
  switch (slot.shape) {
    case SlotShape::Single:
      return isMap(slot) ? maker.destroyMap(place, slot) : destroySingle(place, slot);
    case SlotShape::Reference:
      if (layout.isData) std::destroy_at(static_cast<ModelElement*>(place));
      return;
    case SlotShape::Typed:
      return dispatchContiguous(slot.storage,
                                [&]<class T>(TypeTag<T>) { std::destroy_at(static_cast<std::vector<T>*>(place)); });
    case SlotShape::Generic:
      std::destroy_at(static_cast<std::vector<Value>*>(place));
      return;
    case SlotShape::Elements:
      return maker.destroyElements(place, slot);
    case SlotShape::Container:
      return;
  }
}

/// The slots of `constructed` up to `count`, last first.
void destroyFirst(std::size_t count, const Layout& layout, std::byte* area, SlotMaker& maker) noexcept {
  while (count > 0) {
    const SlotInfo& slot = layout.slots[layout.constructed[--count]];
    destroySlot(layout, area + slot.offset, slot, maker);
  }
}

void applyDefaults(const Layout& layout, std::byte* area) {
  for (const std::uint16_t index : layout.withOwningDefault) {
    const SlotInfo& slot = layout.slots[index];
    const boost::optional<Value>& value = slot.property->defaultValue();
    if (value && value->hasObject()) putSingle(slot, area, Value(*value));
  }
}

// --- Checks.

/// True when the value's object is of the C++ type that values of the property have.
bool holdsFittingObject(const SlotInfo& slot, const Value& value) {
  if (slot.storage == StorageType::Map) return ValueAccess::kind(value) == StoredKind::Map;
  if (slot.storage == StorageType::Data) {
    const auto* data = ValueAccess::stored<ReflectiveDataType>(value);
    return data != nullptr && data->getType() == typeOf(slot);
  }
  if (slot.storage == StorageType::Custom) {
    const auto primitive = narrow<meta::PrimitiveType>(typeOf(slot));
    return primitive && primitive->storedType() == *ValueAccess::ops(value).type;
  }
  return dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) { return ValueAccess::isStored(value, typeid(T)); });
}

}  // namespace

namespace {

/// Makes the objects that the slots hold, on cleared memory but for the numbers that may lie in it.
void constructObjects(const Layout& layout, std::byte* area, SlotMaker& maker) {
  std::size_t done = 0;
  try {
    for (; done < layout.constructed.size(); ++done) {
      const SlotInfo& slot = layout.slots[layout.constructed[done]];
      constructSlot(layout, area + slot.offset, slot, maker);
    }
  } catch (...) {
    destroyFirst(done, layout, area, maker);
    throw;
  }
}

}  // namespace

void constructEmptySlots(const Layout& layout, std::byte* area, SlotMaker& maker) {
  std::memset(area, 0, layout.sizeBytes);
  constructObjects(layout, area, maker);
}

void constructSlots(const Layout& layout, std::byte* area, SlotMaker& maker) {
  if (layout.sizeBytes != 0) std::memcpy(area, layout.image.data(), layout.sizeBytes);
  constructObjects(layout, area, maker);
  if (layout.withOwningDefault.empty()) return;
  try {
    applyDefaults(layout, area);
  } catch (...) {
    destroySlots(layout, area, maker);
    throw;
  }
}

void destroySlots(const Layout& layout, std::byte* area, SlotMaker& maker) noexcept {
  destroyFirst(layout.constructed.size(), layout, area, maker);
}

Value readSingle(const SlotInfo& slot, const std::byte* area) {
  if (!isPresent(area, slot)) return Value::createEmptyValue(typeOf(slot), false);
  return dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) -> Value {
    if constexpr (std::same_as<T, Value>) {
      return slotAs<Value>(area, slot);
    } else {
      return Value(singleMetaOf(slot), T(slotAs<T>(area, slot)));
    }
  });
}

Value takeSingle(const SlotInfo& slot, std::byte* area) noexcept {
  if (!isPresent(area, slot)) return Value::createEmptyValue(typeOf(slot), false);
  setPresent(area, slot, false);
  return dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) -> Value {
    if constexpr (std::same_as<T, Value>) {
      return std::move(slotAs<Value>(area, slot));  // leaves an absent value of the type
    } else {
      return Value(singleMetaOf(slot), std::exchange(slotAs<T>(area, slot), T()));
    }
  });
}

void putSingle(const SlotInfo& slot, std::byte* area, Value&& value) noexcept {
  setPresent(area, slot, value.hasObject());
  dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    T& place = slotAs<T>(area, slot);
    if constexpr (std::same_as<T, Value>) {
      place = std::move(value);
    } else if (T* object = ValueAccess::stored<T>(value)) {
      place = std::move(*object);
    } else {
      place = T();
    }
  });
}

Value normalised(const SlotInfo& slot, Value value, bool asEntry) {
  const bool fits =
      value.getMeta() == singleMetaOf(slot) && (value.hasObject() ? holdsFittingObject(slot, value) : !asEntry);
  if (!fits) throwCannotCast(value.getType());
  if (slot.storage == StorageType::Map && !ValueAccess::isStored(value, typeid(StringToStringMap)) &&
      value.hasObject()) {
    return Value(
        StringToStringMap(ValueAccess::map(value)));  // an entry must not stay tied to the map of another element
  }
  return value;
}

void checkConforms(const SlotInfo& slot, const ModelElement& element) {
  if (!element) return;
  const meta::Class& type = element->getMetaClass();
  if (type != typeOf(slot) && !type->conformsTo(typeOf(slot))) throwCannotCast(type);
}

bool conforms(const SlotInfo& slot, const Layout& layout) {
  if (layout.type == typeOf(slot)) return true;
  const auto type = narrow<meta::Class>(layout.type);
  return type && type->conformsTo(typeOf(slot));
}

ModelElement elementOf(const SlotInfo& slot, const Value& value) {
  if (value.getMeta().upper != 1) throwCannotCast(value.getType());
  ModelElement element = value.get<ModelElement>();
  checkConforms(slot, element);
  return element;
}

}  // namespace tarn::kern::internal
