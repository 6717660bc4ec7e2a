#include <string>
#include <utility>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Class.h>

#include "DataRecord.h"
#include "LiveValues.h"
#include "NearestName.h"
#include "ValueAccess.h"

namespace tarn::kern {

using internal::DataRecord;
using internal::SlotInfo;
using internal::SlotShape;

namespace {

[[nodiscard]] std::string nameOf(const meta::DataType& type) {
  return bedrock::i18n::to_string(type->getQualifiedName());
}

[[nodiscard]] std::string nameOf(const meta::Property& property) {
  return property ? "\"" + bedrock::i18n::to_string(property->getName()) + "\"" : std::string("(a null handle)");
}

[[nodiscard]] const meta::DataType& checkedType(const meta::DataType& type) {
  if (!type) throw KernelError("a data value needs a data type, and the handle is null");
  return type;
}

[[nodiscard]] const SlotInfo& slotOf(const DataRecord& record, const meta::Property& property) {
  if (const SlotInfo* slot = record.layout().find(property.get())) return *slot;
  throw PropertyError("the data type " + nameOf(record.type()) + " has no property " + nameOf(property) +
                      (property && record.type()->getProperty(property->getName())
                           ? ": the one of that name is another; take it from the data type"
                           : ""));
}

[[nodiscard]] bool isLive(const SlotInfo& slot) noexcept {
  return slot.shape == SlotShape::Typed || slot.shape == SlotShape::Generic || slot.shape == SlotShape::Elements ||
         (slot.shape == SlotShape::Single && slot.storage == StorageType::Map);
}

void setMap(const SlotInfo& slot, StringToStringMap& map, const Value& value) {
  if (value.getMeta() != ValueMeta(slot.property->getType(), ValueFlags::Single)) {
    internal::throwCannotCast(value.getType());
  }
  if (value.hasObject()) {
    map.assign(value.toStringToStringMap());
  } else {
    map.clear();
  }
}

void setReference(const SlotInfo& slot, ModelElement& place, const Value& value) {
  ModelElement element = internal::elementOf(slot, value);
  if (element && element->isDestroyed()) {
    throw DestroyedElementError("the property \"" + bedrock::i18n::to_string(slot.property->getName()) +
                                "\" of a data value cannot refer to a destroyed element: " + element->describe());
  }
  place = std::move(element);
}

}  // namespace

ReflectiveDataType::ReflectiveDataType(const meta::DataType& type) : fRecord(DataRecord::create(checkedType(type))) {}

ReflectiveDataType::ReflectiveDataType(const ReflectiveDataType& other)
    : fRecord(other.fRecord == nullptr ? nullptr : bedrock::stack::callDeep([&] { return other.fRecord->clone(); })) {}

ReflectiveDataType::ReflectiveDataType(ReflectiveDataType&& other) noexcept
    : fRecord(std::exchange(other.fRecord, nullptr)) {}

ReflectiveDataType& ReflectiveDataType::operator=(const ReflectiveDataType& other) {
  if (this != &other) *this = ReflectiveDataType(other);
  return *this;
}

ReflectiveDataType& ReflectiveDataType::operator=(ReflectiveDataType&& other) noexcept {
  if (this == &other) return *this;
  DataRecord* old = std::exchange(fRecord, std::exchange(other.fRecord, nullptr));
  if (old != nullptr) old->release();
  return *this;
}

ReflectiveDataType::~ReflectiveDataType() {
  if (fRecord != nullptr) fRecord->release();
}

const meta::DataType& ReflectiveDataType::getType() const noexcept {
  static const meta::DataType kNone;
  return fRecord == nullptr ? kNone : fRecord->type();
}

Value ReflectiveDataType::getPropertyValue(const meta::Property& property) const {
  const SlotInfo& slot = slotOf(*fRecord, property);
  if (isLive(slot)) return LiveValueFactory::make(*fRecord, slot);
  if (slot.shape == SlotShape::Single) return internal::readSingle(slot, fRecord->area());
  const ModelElement target = internal::liveTarget(internal::slotAs<ModelElement>(fRecord->area(), slot));
  return target ? Value(target) : Value::createEmptyValue(slot.property->getType(), false);
}

void ReflectiveDataType::setPropertyValue(const meta::Property& property, const Value& value) {
  setPropertyValue(property, Value(value));
}

void ReflectiveDataType::setPropertyValue(const meta::Property& property, Value&& value) {
  const SlotInfo& slot = slotOf(*fRecord, property);
  switch (slot.shape) {
    case SlotShape::Single:
      if (slot.storage == StorageType::Map) {
        return setMap(slot, internal::slotAs<StringToStringMap>(fRecord->area(), slot), value);
      }
      return internal::putSingle(slot, fRecord->area(), internal::normalised(slot, std::move(value), false));
    case SlotShape::Reference:
      return setReference(slot, internal::slotAs<ModelElement>(fRecord->area(), slot), value);
    case SlotShape::Typed:
    case SlotShape::Generic:
    case SlotShape::Elements:
    case SlotShape::Container:
      internal::throwCannotCast(value.getType());
  }
}

boost::optional<Value> ReflectiveDataType::toNonReflectiveDataTypeValue() const& { return Value(*this); }
boost::optional<Value> ReflectiveDataType::toNonReflectiveDataTypeValue() && { return Value(std::move(*this)); }

bool operator==(const ReflectiveDataType& a, const ReflectiveDataType& b) {
  if (a.fRecord == b.fRecord) return true;
  if (a.fRecord == nullptr || b.fRecord == nullptr || a.getType() != b.getType()) return false;
  return bedrock::stack::callDeep([&] { return a.fRecord->equals(*b.fRecord); });
}

std::strong_ordering operator<=>(const ReflectiveDataType& a, const ReflectiveDataType& b) {
  if (a.fRecord == b.fRecord) return std::strong_ordering::equal;
  if (const auto order = internal::orderOfTypes(a.getType(), b.getType()); order != 0) return order;
  return bedrock::stack::callDeep([&] { return a.fRecord->compare(*b.fRecord); });
}

std::size_t ReflectiveDataType::hash() const {
  return fRecord == nullptr ? 0 : bedrock::stack::callDeep([&] { return fRecord->hash(); });
}

meta::Property ReflectiveDataType::propertyNamed(std::u16string_view name) const {
  const meta::DataType type = getType();
  if (meta::Property property = type->getProperty(ustring(name))) return property;
  internal::NearestName nearest(name);
  for (const meta::Property& known : type->getAllProperties()) nearest.offer(known->getName());
  throw PropertyError("the data type " + nameOf(type) + " has no property \"" +
                      bedrock::i18n::to_string(ustring(name)) + "\"" + nearest.suggestion());
}

const void* ReflectiveDataType::peekObject(const meta::Property& property, StorageType storage,
                                           bool acceptsEnum) const {
  const SlotInfo& slot = slotOf(*fRecord, property);
  const bool fits = slot.shape == SlotShape::Single &&
                    (slot.storage == storage || (acceptsEnum && slot.storage == StorageType::Enum));
  if (!fits) internal::throwCannotCast(property->getType());
  if (!internal::isPresent(fRecord->area(), slot)) return nullptr;
  if (storage != StorageType::Data) return fRecord->area() + slot.offset;
  return internal::ValueAccess::stored<ReflectiveDataType>(internal::slotAs<Value>(fRecord->area(), slot));
}

std::span<const Value> ReflectiveDataType::peekValues(const meta::Property& property) const {
  const SlotInfo& slot = slotOf(*fRecord, property);
  if (slot.shape != SlotShape::Generic) internal::throwCannotCast(property->getType());
  return internal::slotAs<std::vector<Value>>(fRecord->area(), slot);
}

ValueMeta ReflectiveDataType::metaOf(const meta::Property& property) const {
  return ValueMeta(property->getType(), ValueFlags::Single);
}

}  // namespace tarn::kern
