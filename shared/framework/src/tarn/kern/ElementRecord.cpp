#include "ElementRecord.h"

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>

#include "ErrorTexts.h"
#include "LiveValues.h"
#include "ModelCore.h"
#include "ValueAccess.h"

namespace tarn::kern {

const ReflectionPrivateTag ReflectionPrivateTag::PUBLIC_ACCESS(false);
const ReflectionPrivateTag ReflectionPrivateTag::PRIVILEGED_ACCESS(true);

namespace internal {

static_assert(sizeof(MapSlot) <= kMapSlotBytes, "layouts reserve this many bytes for a map");

ElementRecord::ElementRecord(const meta::Class& type, const boost::uuids::uuid& uuid, ModelCore& theCore,
                             std::uint32_t place) noexcept
    : ModelElement::Impl(Kind::Element, uuid),
      core(&theCore),
      fClass(type),
      fLayout(&type->layout()),
      index(place),
      born(0) {
  fRecordKind = RecordKind::Element;
}

ElementRecord::~ElementRecord() = default;

void ElementRecord::lastHandleGone() const noexcept {
  core->recordReleased(const_cast<ElementRecord*>(this));  // the record is mutable memory of the core
}

void ElementRecord::makeReadable() const {
  if (state == State::Unloaded) return core->load(const_cast<ElementRecord&>(*this));  // what is read does not change
  throw DestroyedElementError(texts::destroyed(*this));
}

void ElementRecord::refuseRead(const meta::Property& property, const SlotInfo* slot) const {
  if (slot != nullptr) throw PropertyError(texts::guardedProperty(*this, property));
  throw PropertyError(property ? texts::foreignProperty(*this, property) : texts::nullProperty(*this));
}

void ElementRecord::refuseWrite(const meta::Property& property) const {
  throw PropertyError(texts::readOnlyProperty(*this, property));
}

ElementRecord* ElementRecord::containerThrough(const SlotInfo& info) const noexcept {
  if (container == nullptr) return nullptr;
  const SlotInfo* there = container->layout().find(info.property->getOpposite().get());
  return there != nullptr && there->index == containerSlot ? container : nullptr;
}

namespace {

Value referenceValue(const SlotInfo& slot, ElementRecord* target) {
  if (target == nullptr) return Value::createEmptyValue(slot.property->getType(), slot.property->lower != 0);
  return Value(ModelElement(target));
}

}  // namespace

Value ElementRecord::getPropertyValue(const meta::Property& property, const ReflectionPrivateTag& access) const {
  const SlotInfo& info = slotForRead(property, access);
  auto& self = const_cast<ElementRecord&>(*this);  // live values change the element that they were read from
  switch (info.shape) {
    case SlotShape::Single:
      if (info.storage == StorageType::Map) return LiveValueFactory::make(self, info);
      return readSingle(info, area());
    case SlotShape::Reference:
      return referenceValue(info, self.reference(info));
    case SlotShape::Container:
      return referenceValue(info, containerThrough(info));
    case SlotShape::Typed:
    case SlotShape::Generic:
    case SlotShape::Elements:
      break;
  }
  return LiveValueFactory::make(self, info);
}

namespace {

/// The record of an element that is to be referred to; nullptr for null. @throws ContainmentError for meta elements.
ElementRecord* targetOf(const ModelElement& element) {
  ElementRecord* record = recordOf(element);
  if (element && record == nullptr) throw ContainmentError(texts::notInAModel(*element));
  return record;
}

/// The record of the element in a value for a class-typed single slot; nullptr for absent.
ElementRecord* targetIn(const SlotInfo& slot, const Value& value) {
  const auto* stored = ValueAccess::stored<ModelElement>(value);
  const bool isPlain =
      stored != nullptr && *stored && value.getMeta().upper == 1 && (*stored)->getMetaClass() == value.getType();
  if (!isPlain) return targetOf(elementOf(slot, value));  // says what is wrong
  checkConforms(slot, *stored);
  return targetOf(*stored);
}

}  // namespace

void ElementRecord::setPropertyValue(const meta::Property& property, const Value& value,
                                     const ReflectionPrivateTag& access) {
  const SlotInfo& info = slotForWrite(property, access);
  switch (info.shape) {
    case SlotShape::Single:
      if (info.storage == StorageType::Map) {
        const Value content = normalised(info, value, false);
        if (content.hasObject()) {
          slot<MapSlot>(info).assign(content.toStringToStringMap());
        } else {
          slot<MapSlot>(info).clear();
        }
        return;
      }
      core->setSingle(*this, info, normalised(info, value, false));
      return;
    case SlotShape::Reference:
      core->setReference(*this, info, targetIn(info, value));
      return;
    case SlotShape::Container:
      core->setContainer(*this, info, targetIn(info, value));
      return;
    case SlotShape::Typed:
    case SlotShape::Generic:
    case SlotShape::Elements:
      break;
  }
  throwCannotCast(value.getType());
}

// --- Slots particular to elements.

void ElementSlotMaker::constructElements(void* slot, const SlotInfo&) { new (slot) ElementList(); }
void ElementSlotMaker::destroyElements(void* slot, const SlotInfo&) noexcept {
  std::destroy_at(static_cast<ElementList*>(slot));
}
void ElementSlotMaker::constructMap(void* slot, const SlotInfo& info) { new (slot) MapSlot(fRecord, info); }
void ElementSlotMaker::destroyMap(void* slot, const SlotInfo&) noexcept {
  std::destroy_at(static_cast<MapSlot*>(slot));
}

void MapSlot::beforeChange() {
  fOwner.ensureReadable();
  fOwner.core->beforeMapChange(fOwner);
}

void MapSlot::fill(ustring key, ustring value) {
  MapUndo entry(MapUndo::Kind::Entry);
  entry.entries.emplace_back(std::move(key), std::move(value));
  entry.entry = entry.entries.begin();
  entry.next = fEntries.end();
  entry.apply(*this);
}

void MapSlot::afterChange(std::unique_ptr<MapUndo> undo) noexcept {
  fOwner.core->afterMapChange(fOwner, fInfo, std::move(undo));
}

bool MapSlot::recordsChanges() const noexcept { return fOwner.core->recordsMapChange(fOwner); }

// --- What the values of elements need to know.

void checkOwnerAlive(const CountedImpl& owner) {
  if (owner.recordKind() == CountedImpl::RecordKind::Element) static_cast<const ElementRecord&>(owner).ensureReadable();
}

}  // namespace internal

// --- The operations of ModelElement::Impl that are the same for all records of a model.

using internal::ElementRecord;
using internal::SlotInfo;
using internal::SlotShape;
namespace texts = internal::texts;

namespace {

/// The record behind an Impl that is an element of a model. @throws PropertyError for the meta-model.
const ElementRecord& recordFrom(const ModelElement::Impl& impl) {
  if (impl.kind() != ModelElement::Impl::Kind::Element) throw PropertyError(texts::metaElementHasNoProperties(impl));
  return static_cast<const ElementRecord&>(impl);
}

ElementRecord& mutableRecord(const ModelElement::Impl& impl) {
  return const_cast<ElementRecord&>(recordFrom(impl));  // packing a list changes no content
}

meta::Property handleOf(const SlotInfo& slot) {
  return meta::Property(const_cast<meta::Property::Impl*>(slot.property));  // handles are not const
}

}  // namespace

ModelElement::Impl::~Impl() = default;

Value ModelElement::Impl::getPropertyValue(const meta::Property&, const ReflectionPrivateTag&) const {
  throw PropertyError(texts::metaElementHasNoProperties(*this));
}

void ModelElement::Impl::setPropertyValue(const meta::Property&, const Value&, const ReflectionPrivateTag&) {
  throw PropertyError(texts::metaElementIsFixed(*this));
}

ModelElement ModelElement::Impl::container() const {
  if (fKind != Kind::Element) return {};
  const auto& record = static_cast<const ElementRecord&>(*this);
  if (!record.isLive()) return {};
  record.ensureReadable();
  return ModelElement(record.container);
}

meta::Property ModelElement::Impl::containerProperty() const {
  if (fKind != Kind::Element) return {};
  const auto& record = static_cast<const ElementRecord&>(*this);
  if (!record.isLive()) return {};
  record.ensureReadable();
  if (record.container == nullptr) return {};
  return handleOf(record.container->layout().slots[record.containerSlot]);
}

Model ModelElement::Impl::getModel() const {
  if (fKind != Kind::Element) return {};
  const auto& record = static_cast<const ElementRecord&>(*this);
  return record.isLive() ? Model(record.core->model()) : Model();
}

bool ModelElement::Impl::isDestroyed() const noexcept {
  return fKind == Kind::Element && !static_cast<const ElementRecord*>(this)->isLive();
}

void ModelElement::Impl::destroy() {
  if (fKind != Kind::Element) throw KernelError(texts::metaElementIsFixed(*this));
  auto& record = static_cast<ElementRecord&>(*this);
  if (record.isLive()) record.core->destroy(record);
}

std::vector<IncomingReference> ModelElement::Impl::incomingReferences() const {
  ElementRecord& record = mutableRecord(*this);
  record.ensureReadable();
  return record.core->incomingReferences(record);
}

std::vector<ModelElement> ModelElement::Impl::contents() const {
  ElementRecord& record = mutableRecord(*this);
  record.ensureReadable();
  std::vector<ModelElement> found;
  for (const std::uint16_t index : record.layout().composites) {
    const SlotInfo& slot = record.layout().slots[index];
    if (slot.shape == SlotShape::Reference) {
      if (record.reference(slot) != nullptr) found.emplace_back(record.reference(slot));
      continue;
    }
    const internal::ElementList& list = record.list(slot);
    for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
      if (ElementRecord* member = internal::memberAt(list, i)) found.emplace_back(member);
    }
  }
  return found;
}

std::string ModelElement::Impl::describe() const {
  using bedrock::i18n::to_string;
  if (fKind != Kind::Element) {
    const auto& named = static_cast<const meta::NamedElement::Impl&>(*this);
    return "the meta-model element \"" + to_string(named.getName()) + "\"";
  }
  const auto& record = static_cast<const ElementRecord&>(*this);
  std::vector<std::string> steps;
  const ElementRecord* root = &record;
  for (; root->container != nullptr && root->isLive(); root = root->container) {
    const SlotInfo& slot = root->container->layout().slots[root->containerSlot];
    std::string step = "/" + to_string(slot.property->getName());
    if (slot.shape == SlotShape::Elements) {
      const internal::ElementList& list = root->container->list(slot);
      std::size_t position = 0;
      for (std::uint32_t i = 0; i < list.physicalSize() && internal::memberAt(list, i) != root; ++i) {
        if (!internal::ElementList::isHole(list.at(i))) ++position;
      }
      step += "[" + std::to_string(position) + "]";
    }
    steps.push_back(std::move(step));
  }
  std::string text = to_string(root->getMetaClass()->getName());
  for (std::size_t i = steps.size(); i-- > 0;) text += steps[i];
  return text + " (" + to_string(getMetaClass()->getName()) + " " + boost::lexical_cast<std::string>(getUuid()) + ")";
}

void ModelElement::Impl::unset(const meta::Property& property, const ReflectionPrivateTag& access) {
  if (!property) throw PropertyError(texts::nullProperty(*this));
  setPropertyValue(property, Value::createEmptyValue(property->getType(), false), access);
}

meta::Property ModelElement::Impl::property(std::u16string_view name) const {
  meta::Property found = getMetaClass()->getProperty(ustring(name));
  if (!found) throw PropertyError(texts::unknownProperty(*this, name));
  return found;
}

ModelElement::Impl::Peeked ModelElement::Impl::peekObject(const meta::Property& property, StorageType storage,
                                                          bool acceptsEnum, const ReflectionPrivateTag& access) const {
  const ElementRecord& record = recordFrom(*this);
  const SlotInfo& slot = record.slotForRead(property, access);
  const bool isEnum = slot.storage == StorageType::Enum;
  const bool fits = slot.storage == storage || (isEnum && acceptsEnum);
  if (slot.shape != SlotShape::Single || !fits) internal::throwCannotCast(slot.property->getType());
  const void* object = internal::isPresent(record.area(), slot) ? record.area() + slot.offset : nullptr;
  if (object != nullptr && slot.storage == StorageType::Data)
    object = static_cast<const Value*>(object)->peek<ReflectiveDataType>();
  return {object, isEnum};
}

void* ModelElement::Impl::placeToOverwrite(const meta::Property& property, StorageType storage,
                                           const ReflectionPrivateTag& access) {
  if (fKind != Kind::Element) return nullptr;
  auto& record = static_cast<ElementRecord&>(*this);
  const SlotInfo& slot = record.slotForWrite(property, access);
  const bool fits = slot.storage == storage || (slot.storage == StorageType::Enum && storage == StorageType::Integer64);
  if (slot.shape != SlotShape::Single || !fits || !record.core->mayOverwrite(record)) return nullptr;
  internal::setPresent(record.area(), slot, true);
  return record.area() + slot.offset;
}

const void* ModelElement::Impl::peekVector(const meta::Property& property, StorageType storage) const {
  const ElementRecord& record = recordFrom(*this);
  const SlotInfo& slot = record.slotForRead(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  if (slot.shape != SlotShape::Typed || slot.storage != storage) internal::throwCannotCast(slot.property->getType());
  return record.area() + slot.offset;
}

ModelElement::Impl* ModelElement::Impl::peekElement(const meta::Property& property) const {
  ElementRecord& record = mutableRecord(*this);
  const SlotInfo& slot = record.slotForRead(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  if (slot.shape == SlotShape::Container) return record.containerThrough(slot);
  if (slot.shape != SlotShape::Reference) internal::throwCannotCast(slot.property->getType());
  return record.reference(slot);
}

std::span<ModelElement::Impl* const> ModelElement::Impl::peekElements(const meta::Property& property) const {
  ElementRecord& record = mutableRecord(*this);
  const SlotInfo& slot = record.slotForRead(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  if (slot.shape != SlotShape::Elements) internal::throwCannotCast(slot.property->getType());
  if (!record.core->pack(record, slot)) throw std::bad_alloc();
  const internal::ElementList& list = record.list(slot);
  return {list.data(), list.physicalSize()};
}

// --- Making elements.

namespace meta {

ModelElement Class::Impl::instantiate(const Model& model, const boost::uuids::uuid& uuid) const {
  const Class self(const_cast<Impl*>(this));  // handles are not const
  if (fIsAbstract) throw InstantiationError(texts::abstractClass(self));
  if (!model) throw InstantiationError(texts::nullModel(self));
  return ModelElement(model->core().create(self, uuid));
}

}  // namespace meta

}  // namespace tarn::kern
