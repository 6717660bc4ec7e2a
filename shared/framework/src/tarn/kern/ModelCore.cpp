#include "ModelCore.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <unordered_set>
#include <utility>

#include <tarn/kern/hashers.h>

#include "ErrorTexts.h"
#include "RandomUuid.h"
#include "VectorOps.h"

namespace tarn::kern::internal {

namespace {

constexpr std::size_t kWorthTidying = 1024;

/// Closing the holes of a list shows nowhere; reading does it too.
bool isChange(const JournalEntry& entry) noexcept {
  return entry.kind != JournalEntry::Kind::ListPacked && entry.kind != JournalEntry::Kind::ListUnpacked;
}

/// What contains, and what is paired, cannot hold a member twice, whatever the definition says.
bool isUnique(const SlotInfo& slot) noexcept { return slot.property->isUnique || slot.isComposite || slot.isPaired; }

void dropHandlesWithin(ElementRecord& record) noexcept {
  // Values may hold handles, to each other's elements too: records that held each other so would never be freed.
  for (const std::uint16_t index : record.layout().handleHolders) {
    const SlotInfo& slot = record.layout().slots[index];
    if (slot.shape == SlotShape::Generic) {
      record.slot<std::vector<Value>>(slot).clear();
    } else {
      const Value dropped = takeSingle(slot, record.area());
    }
  }
}

}  // namespace

// --- Lifetime of the core and of records.

void ModelCore::removeUser() noexcept {
  --fUsers;
  deleteIfUnused();
}

void ModelCore::deleteIfUnused() noexcept {
  if (fUsers == 0 && fSurvivors == 0)
    delete this;  // the last of model, transactions and handles; see the class comment
}

void ModelCore::modelGone() noexcept {
  fModel = nullptr;
  fObservers.clear();
  letStoreGo();
  destroyContent();
  removeUser();
}

void ModelCore::destroyContent() noexcept {
  fLevels.clear();
  fJournal.clear();
  fUndo.clear();
  fRedo.clear();
  fBackReferences.reset();
  retireAll();
  fUuids.clear();
  fTop.clear();
  fTopCount = 0;
  fLiveCount = 0;
  fFreed = 0;
}

void ModelCore::freeRecord(ElementRecord* record) noexcept {
  const Layout& layout = record->layout();
  if (!fUniqueValues.empty()) {
    for (const SlotInfo& slot : layout.slots) forgetValues(&record->slot<char>(slot));
  }
  ElementSlotMaker maker(*record);
  destroySlots(layout, record->area(), maker);
  record->~ElementRecord();
  fPool.free(record, layout);
}

// An element ends in two steps, the first for all that end together: values of one may hold handles to another, and
// must be gone before it is known which records are still held.
void ModelCore::beginRetirement(ElementRecord& record) noexcept {
  if (fStore != nullptr) fStore->forget(record);
  record.state = ElementRecord::State::Gone;
  record.container = nullptr;
  dropHandlesWithin(record);
}

void ModelCore::endRetirement(ElementRecord& record) noexcept {
  if (record.hasHandles()) {
    record.freeWithLastHandle();
    ++fSurvivors;
  } else {
    freeRecord(&record);
  }
}

/// Ends the elements that `forEach(visit)` visits, each once in a call. Where no value can hold a handle, both steps
/// are taken in one call: each record comes to the cache once.
template <class ForEach, class Begin>
void ModelCore::retireEach(ForEach forEach, Begin begin) noexcept {
  if (fMayHoldHandles) {
    forEach(begin);
    forEach([this](ElementRecord& record) { endRetirement(record); });
    return;
  }
  forEach([&](ElementRecord& record) {
    begin(record);
    endRetirement(record);
  });
}

void ModelCore::retireAll() noexcept {
  std::vector<ElementRecord*> records;
  records.swap(fTable);
  std::erase(records, nullptr);
  const auto forEachRecord = [&](auto visit) {
    for (ElementRecord* record : records) visit(*record);
  };
  retireEach(forEachRecord, [this](ElementRecord& record) { beginRetirement(record); });
}

void ModelCore::recordReleased(ElementRecord* record) noexcept {
  freeRecord(record);
  --fSurvivors;
  deleteIfUnused();
}

// --- Elements.

ElementRecord* ModelCore::create(const meta::Class& type, const boost::uuids::uuid& uuid) {
  const boost::uuids::uuid identity = uuid.is_nil() ? randomUuid() : uuid;
  ElementRecord* taken = find(identity);
  if (taken == nullptr && fStore != nullptr && !uuid.is_nil()) taken = fStore->find(identity);
  if (taken != nullptr) throw InstantiationError(texts::uuidTaken(type, *taken));
  if (fTable.size() >= ElementList::kNone - 1) throw InstantiationError(texts::modelFull());

  ChangeScope scope(*this);
  if (fTable.size() == fTable.capacity()) fTable.reserve(fTable.size() * 2 + 16);
  if (fTop.size() == fTop.capacity()) fTop.reserve(fTop.size() * 2 + 16);
  fUuids.reserveOne([&](std::uint32_t at) { return fTable[at] != nullptr; });
  if (fBackReferences != nullptr) fBackReferences->heads.resize(fTable.size() + 1, 0);

  const Layout& layout = type->layout();
  const std::size_t bytes = sizeof(ElementRecord) + layout.sizeBytes;
  const auto place = static_cast<std::uint32_t>(fTable.size());
  void* block = fPool.allocate(layout, bytes);
  auto* record = new (block) ElementRecord(type, identity, *this, place);
  try {
    ElementSlotMaker maker(*record);
    constructSlots(layout, record->area(), maker);
  } catch (...) {
    record->~ElementRecord();
    fPool.free(block, layout);
    throw;
  }
  record->born = fSerial;
  record->topPosition = static_cast<std::uint32_t>(fTop.size());
  fCreatedSinceSerial = true;
  fMayHoldHandles |= !layout.handleHolders.empty();
  fTable.push_back(record);
  fTop.push_back(place);
  fUuids.insert(identity, place);
  ++fTopCount;
  ++fLiveCount;
  scope.done();
  return record;
}

ElementRecord* ModelCore::find(const boost::uuids::uuid& uuid) const noexcept {
  const std::int64_t place = fUuids.find(uuid, [&](std::uint32_t at) {
    const ElementRecord* record = fTable[at];
    return record != nullptr && record->isLive() && record->getUuid() == uuid;
  });
  return place < 0 ? nullptr : fTable[static_cast<std::size_t>(place)];
}

/// The list of top-level elements is only ever appended to; what left it is told by the records themselves.
ElementRecord* ModelCore::topLevelAt(std::size_t position) const noexcept {
  const std::uint32_t place = fTop[position];
  ElementRecord* record = place < fTable.size() ? fTable[place] : nullptr;
  const bool stands = record != nullptr && record->topPosition == position && record->container == nullptr;
  return stands && record->isLive() ? record : nullptr;
}

std::vector<ModelElement> ModelCore::topLevelElements() const {
  std::vector<ModelElement> elements;
  elements.reserve(fTopCount);
  for (std::size_t i = 0; i < fTop.size(); ++i) {
    if (ElementRecord* record = topLevelAt(i)) elements.emplace_back(record);
  }
  return elements;
}

// --- Raw changes.

void ModelCore::reserveJournal(std::size_t more) {
  if (!fLevels.empty()) fJournal.reserve(fJournal.size() + more);
}

JournalEntry& ModelCore::record(JournalEntry::Kind kind, ElementRecord& element, const SlotInfo& slot) noexcept {
  assert(fJournal.size() < fJournal.capacity());
  JournalEntry& entry = fJournal.append();
  entry.kind = kind;
  entry.element = &element;
  entry.slot = slot.index;
  return entry;
}

void ModelCore::rawSetReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target) {
  ElementRecord*& current = element.reference(slot);
  if (isJournaled(element)) record(JournalEntry::Kind::Reference, element, slot).other = current;
  current = target;
  if (target != nullptr && !slot.isComposite && !slot.isPaired) noteReference(element, target);
}

void ModelCore::rawInsert(ElementRecord& element, const SlotInfo& slot, std::uint32_t position, ElementRecord* member) {
  element.list(slot).insertAt(position, member);
  if (isJournaled(element)) {
    JournalEntry& entry = record(JournalEntry::Kind::ListInserted, element, slot);
    entry.a = position;
    entry.other = member;
  }
  if (member != nullptr && !slot.isComposite && !slot.isPaired) noteReference(element, member);
}

void ModelCore::rawRemove(ElementRecord& element, const SlotInfo& slot, std::uint32_t position) {
  ElementList& list = element.list(slot);
  const bool asHole = list.removesByHole(position);
  auto* member = static_cast<ElementRecord*>(asHole ? list.makeHole(position) : list.eraseAt(position));
  if (!isJournaled(element)) return;
  JournalEntry& entry = record(asHole ? JournalEntry::Kind::ListHole : JournalEntry::Kind::ListErased, element, slot);
  entry.a = position;
  entry.other = member;
}

void ModelCore::rawSetContainer(ElementRecord& element, ElementRecord* container, std::uint16_t slot) {
  if (isJournaled(element)) {
    JournalEntry& entry = fJournal.append();
    entry.kind = JournalEntry::Kind::Container;
    entry.element = &element;
    entry.other = element.container;
    entry.a = element.containerSlot;
    entry.b = element.topPosition;
  }
  if (element.container == nullptr && element.isLive()) --fTopCount;
  element.container = container;
  element.containerSlot = slot;
  if (container != nullptr) {
    container->mayHaveContents = true;
    return;
  }
  assert(fTop.size() < fTop.capacity());
  element.topPosition = static_cast<std::uint32_t>(fTop.size());
  fTop.push_back(element.index);
  if (element.isLive()) ++fTopCount;
}

void ModelCore::swapLife(ElementRecord& element, bool alive) noexcept {
  if (element.isLive() == alive) return;
  element.state = alive ? ElementRecord::State::Live : ElementRecord::State::Dead;
  if (alive) {
    ++fLiveCount;
    if (element.container == nullptr) ++fTopCount;
  } else {
    --fLiveCount;
    if (element.container == nullptr) --fTopCount;
    fMayHaveUnreadable = true;
  }
}

void ModelCore::rawKill(ElementRecord& element) {
  if (!fLevels.empty()) {  // also for what the level itself made: its end must know of it
    JournalEntry& entry = fJournal.append();
    entry.kind = JournalEntry::Kind::Killed;
    entry.element = &element;
  }
  swapLife(element, false);
}

bool ModelCore::restrictToOlder(JournalEntry& entry, std::uint32_t serial) noexcept {
  if (!concernsLife(entry.kind)) return entry.element->born < serial;
  const bool isInList = entry.b != JournalEntry::kElsewhere;
  if (isInList && entry.element->container->born >= serial) entry.b = JournalEntry::kElsewhere;
  return true;
}

/// The list's part of an entry that an element was destroyed or revived by.
void ModelCore::applyToPlace(JournalEntry& entry) noexcept {
  if (entry.b == JournalEntry::kElsewhere) return;
  ElementRecord& element = *entry.element;
  ElementRecord& parent = *element.container;
  ElementList& list = parent.list(parent.layout().slots[element.containerSlot]);
  const bool comesBack = entry.kind == JournalEntry::Kind::Killed;
  if (entry.b == JournalEntry::kHole) {
    comesBack ? list.fillHole(entry.a, &element) : static_cast<void>(list.makeHole(entry.a));
  } else {
    comesBack ? list.insertAt(entry.a, &element) : static_cast<void>(list.eraseAt(entry.a));
  }
}

void ModelCore::apply(JournalEntry& entry) noexcept {
  using Kind = JournalEntry::Kind;
  ElementRecord& element = *entry.element;
  const SlotInfo& slot = element.layout().slots[entry.slot];  // meaningless, and unused, where no slot is concerned
  const auto noteIfPlain = [&](const ElementRecord* target) {
    if (target != nullptr && !slot.isComposite && !slot.isPaired) noteReference(element, target);
  };
  if (slot.shape == SlotShape::Typed || slot.shape == SlotShape::Generic) forgetValues(&element.slot<char>(slot));
  switch (entry.kind) {
    case Kind::Single: {
      auto& payload = static_cast<ValuePayload&>(*entry.payload);
      Value current = takeSingle(slot, element.area());
      putSingle(slot, element.area(), std::move(payload.value));
      payload.value = std::move(current);
      break;
    }
    case Kind::Reference:
      std::swap(element.reference(slot), entry.other);
      noteIfPlain(element.reference(slot));
      break;
    case Kind::ListInserted:
      element.list(slot).eraseAt(entry.a);
      entry.kind = Kind::ListErased;
      break;
    case Kind::ListErased:
      element.list(slot).insertAt(entry.a, entry.other);
      noteIfPlain(entry.other);
      entry.kind = Kind::ListInserted;
      break;
    case Kind::ListHole:
      element.list(slot).fillHole(entry.a, entry.other);
      noteIfPlain(entry.other);
      entry.kind = Kind::ListFilled;
      break;
    case Kind::ListFilled:
      element.list(slot).makeHole(entry.a);
      entry.kind = Kind::ListHole;
      break;
    case Kind::ListPacked:
      element.list(slot).restoreHoles(static_cast<PositionsPayload&>(*entry.payload).positions);
      entry.kind = Kind::ListUnpacked;
      break;
    case Kind::ListUnpacked:
      element.list(slot).removeHoles();
      entry.kind = Kind::ListPacked;
      break;
    case Kind::ListMoved:
      element.list(slot).moveEntry(entry.b, entry.a);
      std::swap(entry.a, entry.b);
      break;
    case Kind::ListSwapped: {
      ElementList& list = element.list(slot);
      list.swap(static_cast<ListPayload&>(*entry.payload).list);
      for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
        noteIfPlain(memberAt(list, i));
      }
      break;
    }
    case Kind::VectorInserted:
      static_cast<ValuePayload&>(*entry.payload).value =
          vectorOpsOf(slot).take(slot, &element.slot<char>(slot), entry.a);
      entry.kind = Kind::VectorErased;
      break;
    case Kind::VectorErased:
      vectorOpsOf(slot).insert(&element.slot<char>(slot), entry.a,
                               std::move(static_cast<ValuePayload&>(*entry.payload).value));
      entry.kind = Kind::VectorInserted;
      break;
    case Kind::VectorChanged: {
      auto& payload = static_cast<ValuePayload&>(*entry.payload);
      payload.value = vectorOpsOf(slot).exchange(slot, &element.slot<char>(slot), entry.a, std::move(payload.value));
      break;
    }
    case Kind::VectorMoved:
      vectorOpsOf(slot).move(&element.slot<char>(slot), entry.b, entry.a);
      std::swap(entry.a, entry.b);
      break;
    case Kind::VectorSwapped:
      vectorOpsOf(slot).swapWith(&element.slot<char>(slot), *entry.payload);
      break;
    case Kind::Map:
      static_cast<MapPayload&>(*entry.payload).undo->apply(element.slot<MapSlot>(slot));
      break;
    case Kind::Container: {
      const bool wasTop = element.container == nullptr;
      std::swap(element.container, entry.other);
      const std::uint32_t slotIndex = element.containerSlot;
      element.containerSlot = static_cast<std::uint16_t>(entry.a);
      entry.a = slotIndex;
      std::swap(element.topPosition, entry.b);
      const bool isTop = element.container == nullptr;
      if (element.isLive() && wasTop != isTop) isTop ? ++fTopCount : --fTopCount;
      break;
    }
    case Kind::Killed:
      swapLife(element, true);
      applyToPlace(entry);
      entry.kind = Kind::Revived;
      break;
    case Kind::Revived:
      swapLife(element, false);
      applyToPlace(entry);
      entry.kind = Kind::Killed;
      break;
  }
}

// --- Single values, vectors and maps.

void ModelCore::setSingle(ElementRecord& element, const SlotInfo& slot, Value value) {
  if (mayOverwrite(element)) {
    putSingle(slot, element.area(), std::move(value));
    return;
  }
  ChangeScope scope(*this);
  if (isJournaled(element)) {
    auto payload = std::make_unique<ValuePayload>(Value::createEmptyValue(slot.property->getType(), false));
    reserveJournal(1);
    payload->value = takeSingle(slot, element.area());
    record(JournalEntry::Kind::Single, element, slot).payload = std::move(payload);
  }
  putSingle(slot, element.area(), std::move(value));
  scope.done();
}

bool ModelCore::holdsValue(ElementRecord& element, const SlotInfo& slot, const Value& value) {
  const VectorOps& ops = vectorOpsOf(slot);
  const void* vector = &element.slot<char>(slot);
  const std::size_t size = ops.size(vector);
  if (size < ElementList::kLong) return ops.find(vector, value) != size;
  auto& places = fUniqueValues[vector];
  for (std::size_t i = places.size(); i < size; ++i) places.emplace(ops.at(slot, vector, i).hash(), i);
  const auto [first, last] = places.equal_range(value.hash());
  return std::any_of(first, last, [&](const auto& place) { return ops.at(slot, vector, place.second) == value; });
}

void ModelCore::vectorInsert(ElementRecord& element, const SlotInfo& slot, std::size_t index, Value value) {
  ChangeScope scope(*this);
  const VectorOps& ops = vectorOpsOf(slot);
  void* vector = &element.slot<char>(slot);
  if (index != ops.size(vector)) forgetValues(vector);  // what is appended joins the hash when next asked
  ops.reserve(vector, 1);
  if (isJournaled(element)) {
    auto payload = std::make_unique<ValuePayload>(Value::createEmptyValue(slot.property->getType(), false));
    reserveJournal(1);
    JournalEntry& entry = record(JournalEntry::Kind::VectorInserted, element, slot);
    entry.a = static_cast<std::uint32_t>(index);
    entry.payload = std::move(payload);
  }
  ops.insert(vector, index, std::move(value));
  scope.done();
}

void ModelCore::vectorErase(ElementRecord& element, const SlotInfo& slot, std::size_t index) {
  ChangeScope scope(*this);
  const VectorOps& ops = vectorOpsOf(slot);
  void* vector = &element.slot<char>(slot);
  forgetValues(vector);
  if (isJournaled(element)) {
    auto payload = std::make_unique<ValuePayload>(Value::createEmptyValue(slot.property->getType(), false));
    reserveJournal(1);
    payload->value = ops.take(slot, vector, index);
    JournalEntry& entry = record(JournalEntry::Kind::VectorErased, element, slot);
    entry.a = static_cast<std::uint32_t>(index);
    entry.payload = std::move(payload);
  } else {
    const Value dropped = ops.take(slot, vector, index);
  }
  scope.done();
}

void ModelCore::vectorSet(ElementRecord& element, const SlotInfo& slot, std::size_t index, Value value) {
  ChangeScope scope(*this);
  void* vector = &element.slot<char>(slot);
  forgetValues(vector);
  std::unique_ptr<ValuePayload> payload;
  if (isJournaled(element)) {
    payload = std::make_unique<ValuePayload>(Value::createEmptyValue(slot.property->getType(), false));
    reserveJournal(1);
  }
  Value old = vectorOpsOf(slot).exchange(slot, vector, index, std::move(value));
  if (payload != nullptr) {
    payload->value = std::move(old);
    JournalEntry& entry = record(JournalEntry::Kind::VectorChanged, element, slot);
    entry.a = static_cast<std::uint32_t>(index);
    entry.payload = std::move(payload);
  }
  scope.done();
}

void ModelCore::vectorMove(ElementRecord& element, const SlotInfo& slot, std::size_t from, std::size_t to) {
  ChangeScope scope(*this);
  if (isJournaled(element)) {
    reserveJournal(1);
    JournalEntry& entry = record(JournalEntry::Kind::VectorMoved, element, slot);
    entry.a = static_cast<std::uint32_t>(from);
    entry.b = static_cast<std::uint32_t>(to);
  }
  forgetValues(&element.slot<char>(slot));
  vectorOpsOf(slot).move(&element.slot<char>(slot), from, to);
  scope.done();
}

void ModelCore::vectorSwap(ElementRecord& element, const SlotInfo& slot, std::unique_ptr<JournalPayload> content) {
  ChangeScope scope(*this);
  reserveJournal(1);
  forgetValues(&element.slot<char>(slot));
  vectorOpsOf(slot).swapWith(&element.slot<char>(slot), *content);
  if (isJournaled(element)) record(JournalEntry::Kind::VectorSwapped, element, slot).payload = std::move(content);
  scope.done();
}

bool ModelCore::recordsMapChange(const ElementRecord& element) const noexcept {
  return fLevels.empty() ? fUndoLimit > 0 || !fObservers.empty() || fStore != nullptr : isJournaled(element);
}

void ModelCore::beforeMapChange(ElementRecord& element) {
  if (!recordsMapChange(element)) return;
  auto payload = std::make_unique<MapPayload>(nullptr);
  // The change itself follows the call, so the level of a change outside transactions stays open until afterMapChange.
  if (fLevels.empty()) {
    fJournal.reserve(fJournal.size() + 1);
    static_cast<void>(begin(true));
  } else {
    reserveJournal(1);
  }
  fMapPayload = std::move(payload);
}

void ModelCore::afterMapChange(ElementRecord& element, const SlotInfo& slot, std::unique_ptr<MapUndo> undo) noexcept {
  if (undo == nullptr || fMapPayload == nullptr) return;
  fMapPayload->undo = std::move(undo);
  record(JournalEntry::Kind::Map, element, slot).payload = std::move(fMapPayload);
  if (fLevels.size() > 1 || !fLevels.back().isImplicit) return;
  try {
    commit(fLevels.back().id, boost::none);
  } catch (...) {
    endLevelWithoutHistory();  // the change was made and cannot fail any more: what is lost is that it could be undone
  }
}

// --- References, containment, opposites.

void ModelCore::checkTarget(const ElementRecord& element, const SlotInfo& slot, const ElementRecord* target) const {
  if (target == nullptr) return;
  target->ensureReadable();
  if (target->core != element.core) throw ContainmentError(texts::otherModel(element, slot, *target));
}

void ModelCore::checkNoCycle(const ElementRecord& parent, const SlotInfo& slot, const ElementRecord& child) const {
  if (&parent != &child && !child.mayHaveContents) return;  // what holds nothing cannot hold the parent
  // The way up from a deep parent can be long, and so can the walk through all that the child contains. Each is tried
  // for a while, then the other for twice as long: in all it takes a few times what the shorter one takes.
  const ElementRecord* above = &parent;
  for (std::size_t steps = 16;; steps *= 2) {
    for (std::size_t i = 0; i < steps; ++i) {
      if (above == nullptr) return;
      if (above == &child) throw ContainmentError(texts::containmentCycle(parent, slot, child));
      above->ensureReadable();
      above = above->container;
    }
    if (containsFewerThan(child, steps)) break;
  }
  // All that the child contains is at hand, and is less than what stands above the parent. The parent stands among it
  // exactly if the child stands above the parent within as many steps as there are elements: those have been looked at.
}

/// Whether the element has fewer than `limit` elements below itself, found in a time that is proportional to the limit.
bool ModelCore::containsFewerThan(const ElementRecord& element, std::size_t limit) const {
  std::vector<const ElementRecord*> open = {&element};
  std::size_t looked = 0;
  while (!open.empty()) {
    const ElementRecord& current = *open.back();
    open.pop_back();
    current.ensureReadable();
    if (!current.mayHaveContents) continue;
    const Layout& layout = current.layout();
    for (const std::uint16_t index : layout.composites) {
      const SlotInfo& slot = layout.slots[index];
      const bool isSingle = slot.shape == SlotShape::Reference;
      const std::uint32_t size = isSingle ? 1 : current.list(slot).physicalSize();
      if (size >= limit - looked) return false;
      looked += size;
      for (std::uint32_t i = 0; i < size; ++i) {
        const ElementRecord* member = isSingle ? current.slot<ElementRecord*>(slot) : memberAt(current.list(slot), i);
        if (member != nullptr) open.push_back(member);
      }
    }
  }
  return true;
}

const SlotInfo& ModelCore::oppositeSlot(const SlotInfo& slot, const ElementRecord& target) const {
  const SlotInfo* opposite = target.layout().find(slot.property->getOpposite().get());
  assert(opposite != nullptr && "registration checks that opposites fit");
  return *opposite;
}

bool ModelCore::holds(ElementRecord& element, const SlotInfo& slot, ElementRecord* member) const noexcept {
  if (slot.isComposite) return member->container == &element && member->containerSlot == slot.index;
  if (slot.shape == SlotShape::Reference) return element.reference(slot) == member;
  return element.list(slot).find(member) != ElementList::kNone;
}

void ModelCore::unlink(ElementRecord& owner, const SlotInfo& slot, ElementRecord* target) {
  if (slot.shape == SlotShape::Reference) {
    if (owner.reference(slot) == target) rawSetReference(owner, slot, nullptr);
    return;
  }
  ElementList& list = owner.list(slot);
  const std::uint32_t last = list.physicalSize() - 1;  // none is past all positions
  const bool isLast = isUnique(slot) && last < list.physicalSize() && list.at(last) == target;
  const std::uint32_t position = isLast ? last : list.find(target);
  if (position != ElementList::kNone) rawRemove(owner, slot, position);
}

/// Takes a contained element out of its place; it has no container until the caller gives it one.
void ModelCore::detach(ElementRecord& child) {
  if (child.container == nullptr) return;
  ElementRecord& parent = *child.container;
  unlink(parent, parent.layout().slots[child.containerSlot], &child);
}

/// Makes `target`'s end of a pair refer to `element`, whose own end is the caller's.
void ModelCore::linkOpposite(ElementRecord& element, const SlotInfo& slot, ElementRecord& target) {
  const SlotInfo& opposite = oppositeSlot(slot, target);
  if (opposite.shape == SlotShape::Elements) {
    ElementList& list = target.list(opposite);
    if (list.find(&element) == ElementList::kNone) rawInsert(target, opposite, list.physicalSize(), &element);
    return;
  }
  ElementRecord* previous = target.reference(opposite);
  if (previous == &element) return;
  if (previous != nullptr) unlink(*previous, oppositeSlot(opposite, *previous), &target);
  rawSetReference(target, opposite, &element);
}

void ModelCore::unlinkOpposite(ElementRecord& element, const SlotInfo& slot, ElementRecord& target) {
  unlink(target, oppositeSlot(slot, target), &element);
}

namespace {
/// The most raw changes that linking one pair of elements can take: both old partners let go, both ends are set, the
/// child leaves its old place and gets its new one.
constexpr std::size_t kChangesPerLink = 8;
}  // namespace

void ModelCore::setReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target) {
  element.ensureReadable();
  checkTarget(element, slot, target);
  ElementRecord* old = element.reference(slot);
  if (old == target) return;
  if (slot.isComposite && target != nullptr) checkNoCycle(element, slot, *target);
  needPartners(slot, old);
  needPartners(slot, target);

  ChangeScope scope(*this);
  reserveJournal(kChangesPerLink);
  if (slot.isComposite) {
    if (fTop.size() + 1 > fTop.capacity()) fTop.reserve(fTop.size() * 2 + 16);
    if (target != nullptr) {
      if (target->container != nullptr) {
        const SlotInfo& place = target->container->layout().slots[target->containerSlot];
        if (place.shape == SlotShape::Elements) target->container->list(place).prepareRemoval();
      }
      detach(*target);
    }
    if (old != nullptr) rawSetContainer(*old, nullptr, 0);
    rawSetReference(element, slot, target);
    if (target != nullptr) rawSetContainer(*target, &element, slot.index);
  } else if (slot.isPaired) {
    if (old != nullptr) {
      const SlotInfo& opposite = oppositeSlot(slot, *old);
      if (opposite.shape == SlotShape::Elements) old->list(opposite).prepareRemoval();
    }
    if (target != nullptr) {
      const SlotInfo& opposite = oppositeSlot(slot, *target);
      if (opposite.shape == SlotShape::Elements) target->list(opposite).reserve(1);
    }
    if (old != nullptr) unlinkOpposite(element, slot, *old);
    if (target != nullptr) linkOpposite(element, slot, *target);
    rawSetReference(element, slot, target);
  } else {
    rawSetReference(element, slot, target);
  }
  scope.done();
}

void ModelCore::setContainer(ElementRecord& element, const SlotInfo& slot, ElementRecord* container) {
  ElementRecord* current = element.containerThrough(slot);
  if (current == container) return;
  if (container != nullptr) {
    checkTarget(element, slot, container);
    const SlotInfo& opposite = oppositeSlot(slot, *container);
    if (opposite.shape == SlotShape::Reference) {
      setReference(*container, opposite, &element);
    } else {
      insert(*container, opposite, ElementList::kNone, &element);
    }
    return;
  }
  const SlotInfo& place = current->layout().slots[element.containerSlot];
  if (place.shape == SlotShape::Reference) {
    setReference(*current, place, nullptr);
  } else {
    remove(*current, place, &element);
  }
}

bool ModelCore::pack(ElementRecord& element, const SlotInfo& slot) {
  ElementList& list = element.list(slot);
  if (list.holes() == 0) return true;
  if (!isJournaled(element) && !(fLevels.empty() && keepsHistory())) {
    list.removeHoles();
    return true;
  }
  try {
    auto payload = std::make_unique<PositionsPayload>();
    payload->positions = list.holePositions();
    Journal own;
    Journal& journal = fLevels.empty() ? own : fJournal;
    journal.reserve(journal.size() + 1);
    JournalEntry& entry = journal.append();
    entry.kind = JournalEntry::Kind::ListPacked;
    entry.element = &element;
    entry.slot = slot.index;
    entry.payload = std::move(payload);
    if (fLevels.empty()) keepPacking(own);
    list.removeHoles();
    return true;
  } catch (const std::bad_alloc&) {
    return false;  // the holes stay; whoever asks has to count
  }
}

/// Takes over the entries of lists that were packed between two kept transactions: whichever of the two is replayed
/// next, it must find the holes that its positions count.
void ModelCore::keepPacking(Journal& entries) {
  if (entries.empty() || (fUndo.empty() && fRedo.empty())) return;
  Journal forRedo;  // these in front of what the next redo applies
  if (!fRedo.empty()) {
    Journal& after = fRedo.front().entries;
    forRedo.reserve(entries.size() + after.size());
    for (std::size_t i = entries.size(); i-- > 0;) {  // a redo applies forward what an undo applies backward
      auto payload = std::make_unique<PositionsPayload>();
      payload->positions = static_cast<const PositionsPayload&>(*entries[i].payload).positions;
      JournalEntry& copy = forRedo.append();
      copy.kind = entries[i].kind;
      copy.slot = entries[i].slot;
      copy.element = entries[i].element;
      copy.payload = std::move(payload);
    }
  }
  if (!fUndo.empty()) {
    Journal& before = fUndo.back().entries;
    before.reserve(before.size() + entries.size());
    for (JournalEntry& entry : entries) before.append() = std::move(entry);
  }
  if (!fRedo.empty()) {
    Journal& after = fRedo.front().entries;
    for (JournalEntry& entry : after) forRedo.append() = std::move(entry);
    after.swap(forRedo);
  }
  entries.clear();
}

std::uint32_t ModelCore::physicalIndex(ElementRecord& element, const SlotInfo& slot, std::size_t index) {
  const ElementList& list = element.list(slot);
  const std::uint32_t known = list.positionOf(static_cast<std::uint32_t>(index));
  if (known != ElementList::kNone) return known;
  if (pack(element, slot)) return static_cast<std::uint32_t>(index);
  std::uint32_t position = 0;
  for (std::size_t left = index;; ++position) {
    if (ElementList::isHole(list.at(position))) continue;
    if (left-- == 0) return position;
  }
}

/// Reserves for, and makes, one member's entry; the list has room and the position is physical.
void ModelCore::insertChecked(ElementRecord& element, const SlotInfo& slot, std::uint32_t position,
                              ElementRecord* member) {
  needPartners(slot, member);
  element.list(slot).reserve(1);
  reserveJournal(kChangesPerLink);
  if (member == nullptr) {
    rawInsert(element, slot, position, nullptr);
  } else if (slot.isComposite) {
    if (member->container != nullptr) {
      const SlotInfo& place = member->container->layout().slots[member->containerSlot];
      if (place.shape == SlotShape::Elements) member->container->list(place).prepareRemoval();
    }
    detach(*member);
    rawInsert(element, slot, position, member);
    rawSetContainer(*member, &element, slot.index);
  } else {
    if (slot.isPaired) {
      const SlotInfo& opposite = oppositeSlot(slot, *member);
      if (opposite.shape == SlotShape::Elements) {
        member->list(opposite).reserve(1);
      } else if (ElementRecord* previous = member->reference(opposite); previous != nullptr && previous != &element) {
        const SlotInfo& theirs = oppositeSlot(opposite, *previous);
        if (theirs.shape == SlotShape::Elements) previous->list(theirs).prepareRemoval();
      }
      linkOpposite(element, slot, *member);
    }
    rawInsert(element, slot, position, member);
  }
}

bool ModelCore::insert(ElementRecord& element, const SlotInfo& slot, std::size_t index, ElementRecord* member) {
  element.ensureReadable();
  checkTarget(element, slot, member);
  if (member != nullptr && isUnique(slot) && holds(element, slot, member)) return false;
  if (member != nullptr && slot.isComposite) checkNoCycle(element, slot, *member);

  ChangeScope scope(*this);
  const std::size_t size = element.list(slot).size();
  const std::uint32_t position =
      index >= size ? element.list(slot).physicalSize() : physicalIndex(element, slot, index);
  insertChecked(element, slot, position, member);
  scope.done();
  return true;
}

void ModelCore::removeChecked(ElementRecord& element, const SlotInfo& slot, std::uint32_t position) {
  ElementList& list = element.list(slot);
  ElementRecord* member = memberAt(list, position);
  needPartners(slot, member);
  reserveJournal(kChangesPerLink);
  list.prepareRemoval();
  if (slot.isComposite && member != nullptr && fTop.size() == fTop.capacity()) fTop.reserve(fTop.size() * 2 + 16);
  if (slot.isPaired && member != nullptr) {
    const SlotInfo& opposite = oppositeSlot(slot, *member);
    if (opposite.shape == SlotShape::Elements) member->list(opposite).prepareRemoval();
  }
  rawRemove(element, slot, position);
  if (member == nullptr) return;
  if (slot.isComposite) {
    rawSetContainer(*member, nullptr, 0);
  } else if (slot.isPaired) {
    unlinkOpposite(element, slot, *member);
  }
}

bool ModelCore::remove(ElementRecord& element, const SlotInfo& slot, ElementRecord* member) {
  element.ensureReadable();
  const std::uint32_t position = element.list(slot).find(member);
  if (position == ElementList::kNone) return false;
  ChangeScope scope(*this);
  removeChecked(element, slot, position);
  if (element.list(slot).wantsCompaction()) pack(element, slot);
  scope.done();
  return true;
}

void ModelCore::removeAt(ElementRecord& element, const SlotInfo& slot, std::size_t index) {
  ChangeScope scope(*this);
  removeChecked(element, slot, physicalIndex(element, slot, index));
  if (element.list(slot).wantsCompaction()) pack(element, slot);
  scope.done();
}

void ModelCore::move(ElementRecord& element, const SlotInfo& slot, std::size_t from, std::size_t to) {
  ChangeScope scope(*this);
  if (!pack(element, slot)) throw std::bad_alloc();
  reserveJournal(1);
  element.list(slot).moveEntry(static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(to));
  if (isJournaled(element)) {
    JournalEntry& entry = record(JournalEntry::Kind::ListMoved, element, slot);
    entry.a = static_cast<std::uint32_t>(from);
    entry.b = static_cast<std::uint32_t>(to);
  }
  scope.done();
}

void ModelCore::overwritePlainReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target) noexcept {
  element.reference(slot) = target;
  if (target != nullptr) noteReference(element, target);
}

void ModelCore::overwritePlainList(ElementRecord& element, const SlotInfo& slot,
                                   std::span<ElementRecord* const> members) {
  ElementList list;
  list.reserve(static_cast<std::uint32_t>(members.size()));
  const bool unique = isUnique(slot);
  for (ElementRecord* member : members) {
    if (member != nullptr && unique && list.find(member) != ElementList::kNone) continue;
    list.insertAt(list.physicalSize(), member);
  }
  element.list(slot).swap(list);
  for (const ElementRecord* member : members) {
    if (member != nullptr) noteReference(element, member);
  }
}

void ModelCore::assign(ElementRecord& element, const SlotInfo& slot, std::span<ElementRecord* const> members) {
  if (members.size() < ElementList::kLong && mayOverwritePlain(element, slot)) {
    for (const ElementRecord* member : members) checkTarget(element, slot, member);
    return overwritePlainList(element, slot, members);
  }
  // What is to be there, each once where the collection is unique.
  const bool unique = isUnique(slot);
  std::vector<ElementRecord*> wanted;
  std::unordered_set<const ElementRecord*> seen;
  wanted.reserve(members.size());
  for (ElementRecord* member : members) {
    checkTarget(element, slot, member);
    if (member != nullptr && unique && !seen.insert(member).second) continue;
    if (member != nullptr && slot.isComposite) checkNoCycle(element, slot, *member);
    wanted.push_back(member);
  }

  ChangeScope scope(*this, ChangeScope::Kind::Nested);
  if (slot.isComposite || slot.isPaired) {
    // Let go what is not wanted, link what is new, and let the order follow from one exchange of the whole list.
    std::vector<ElementRecord*> old;
    old.reserve(element.list(slot).size());
    for (std::uint32_t i = 0; i < element.list(slot).physicalSize(); ++i) {
      if (ElementRecord* member = memberAt(element.list(slot), i)) old.push_back(member);
    }
    for (ElementRecord* member : old) {
      if (!seen.contains(member)) removeChecked(element, slot, element.list(slot).find(member));
    }
    for (ElementRecord* member : wanted) {
      if (member != nullptr && !holds(element, slot, member)) {
        insertChecked(element, slot, element.list(slot).physicalSize(), member);
      }
    }
  }
  auto payload = std::make_unique<ListPayload>();
  payload->list.reserve(static_cast<std::uint32_t>(wanted.size()));
  for (ElementRecord* member : wanted) payload->list.insertAt(payload->list.physicalSize(), member);
  reserveJournal(1);
  element.list(slot).swap(payload->list);
  if (!slot.isComposite && !slot.isPaired) {
    for (const ElementRecord* member : wanted) {
      if (member != nullptr) noteReference(element, member);
    }
  }
  if (isJournaled(element)) record(JournalEntry::Kind::ListSwapped, element, slot).payload = std::move(payload);
  scope.done();
}

// --- Destruction.

void ModelCore::collectContents(ElementRecord& element, std::vector<ElementRecord*>& found) const {
  found.push_back(&element);
  for (std::size_t next = found.size() - 1; next < found.size(); ++next) {
    ElementRecord& current = *found[next];
    current.ensureReadable();
    if (!current.mayHaveContents) continue;
    const Layout& layout = current.layout();
    for (const std::uint16_t index : layout.composites) {
      const SlotInfo& slot = layout.slots[index];
      if (slot.shape == SlotShape::Reference) {
        if (current.reference(slot) != nullptr) found.push_back(current.reference(slot));
        continue;
      }
      const ElementList& list = current.list(slot);
      for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
        if (ElementRecord* member = memberAt(list, i)) found.push_back(member);
      }
    }
  }
}

/// Takes an element that is about to be destroyed out of its place. It keeps its way back, so that reviving it needs no
/// entry of its own; who asks a destroyed element for its container gets none.
void ModelCore::leavePlace(ElementRecord& element) {
  if (element.container == nullptr) return;
  ElementRecord& parent = *element.container;
  const SlotInfo& place = parent.layout().slots[element.containerSlot];
  if (place.shape == SlotShape::Elements) parent.list(place).prepareRemoval();
  detach(element);
  if (place.shape == SlotShape::Elements && parent.list(place).wantsCompaction()) pack(parent, place);
}

/// The end of an element that holds nothing and is referred to by nothing: it leaves its list and its life in one
/// entry. What that takes is reserved already.
void ModelCore::killInPlace(ElementRecord& element) {
  ElementRecord* parent = element.container;
  const SlotInfo* place = parent == nullptr ? nullptr : &parent->layout().slots[element.containerSlot];
  if (place == nullptr || place->shape != SlotShape::Elements) {
    leavePlace(element);
    rawKill(element);
    return;
  }
  ElementList& list = parent->list(*place);
  list.prepareRemoval();
  const std::uint32_t last = list.physicalSize() - 1;
  const std::uint32_t position = list.at(last) == &element ? last : list.find(&element);
  const bool asHole = list.removesByHole(position);
  asHole ? list.makeHole(position) : list.eraseAt(position);
  rawKill(element);
  if (isJournaled(*parent)) {
    JournalEntry& entry = fJournal[fJournal.size() - 1];
    entry.a = position;
    entry.b = asHole ? JournalEntry::kHole : JournalEntry::kErased;
  }
  if (list.wantsCompaction()) pack(*parent, *place);
}

/// The short way for an element that holds nothing and that nothing refers to, which most are that are destroyed: all
/// that its change needs can be reserved beforehand, so it takes neither a level of its own nor a list of what goes.
bool ModelCore::destroyAlone(ElementRecord& element) {
  const bool isAlone =
      !element.mayHaveContents && element.layout().paired.empty() && fBackReferences->heads[element.index] == 0;
  if (!isAlone) return false;
  ChangeScope scope(*this);
  reserveJournal(kChangesPerLink);
  killInPlace(element);
  scope.done();
  return true;
}

void ModelCore::destroy(ElementRecord& element) {
  if (fStore != nullptr) loadForDestruction(element);
  needBackReferences();
  if (destroyAlone(element)) return;
  std::vector<ElementRecord*> leaving;
  collectContents(element, leaving);

  ChangeScope scope(*this, ChangeScope::Kind::Nested);
  struct Marks {  // taken off on every way out
    const std::vector<ElementRecord*>& records;
    explicit Marks(const std::vector<ElementRecord*>& r) noexcept : records(r) {
      for (ElementRecord* record : records) record->isLeaving = true;
    }
    Marks(const Marks&) = delete;
    Marks& operator=(const Marks&) = delete;
    ~Marks() { takeOff(); }
    void takeOff() noexcept {
      if (!std::exchange(areOn, false)) return;
      for (ElementRecord* record : records) record->isLeaving = false;
    }
    bool areOn = true;
  } marks(leaving);

  reserveJournal(2);
  leavePlace(element);
  for (ElementRecord* record : leaving) clearReferencesTo(*record);
  reserveJournal(leaving.size());
  for (ElementRecord* record : leaving) rawKill(*record);
  marks.takeOff();  // the end of a change outside transactions frees the records
  scope.done();
}

/// Takes the target out of the slots of all elements that stay.
void ModelCore::clearReferencesTo(ElementRecord& target) {
  const Layout& layout = target.layout();
  for (const std::uint16_t index : layout.paired) {
    const SlotInfo& slot = layout.slots[index];
    const auto letGo = [&](ElementRecord* partner) {
      if (partner == nullptr || partner->isLeaving) return;
      reserveJournal(2);
      const SlotInfo& opposite = oppositeSlot(slot, *partner);
      if (opposite.shape == SlotShape::Elements) partner->list(opposite).prepareRemoval();
      unlink(*partner, opposite, &target);
      if (opposite.shape == SlotShape::Elements && partner->list(opposite).wantsCompaction()) pack(*partner, opposite);
    };
    if (slot.shape == SlotShape::Reference) {
      letGo(target.reference(slot));
    } else {
      const ElementList& list = target.list(slot);
      for (std::uint32_t i = 0; i < list.physicalSize(); ++i) letGo(memberAt(list, i));
    }
  }
  forEachReferrer(target, [&](ElementRecord& referrer) {
    if (!referrer.isLeaving) clearPlainReferences(referrer, target);
  });
}

void ModelCore::clearPlainReferences(ElementRecord& referrer, ElementRecord& target) {
  const Layout& layout = referrer.layout();
  for (const std::uint16_t index : layout.plainReferences) {
    const SlotInfo& slot = layout.slots[index];
    if (slot.shape == SlotShape::Reference) {
      if (referrer.reference(slot) != &target) continue;
      reserveJournal(1);
      rawSetReference(referrer, slot, nullptr);
      continue;
    }
    ElementList& list = referrer.list(slot);
    for (;;) {  // a collection that is not unique may hold it several times
      const std::uint32_t position = list.find(&target);
      if (position == ElementList::kNone) break;
      reserveJournal(2);
      list.prepareRemoval();
      rawRemove(referrer, slot, position);
    }
    if (list.wantsCompaction()) pack(referrer, slot);
  }
}

// --- Back references.

void ModelCore::noteReference(const ElementRecord& referrer, const ElementRecord* target) noexcept {
  fMayHaveReferences = true;
  if (fBackReferences == nullptr) return;
  try {
    BackReferences& refs = *fBackReferences;
    std::uint32_t& head = refs.heads[target->index];
    if (head != 0 && refs.nodes[head - 1].referrer == referrer.index) return;
    refs.nodes.push_back({referrer.index, head});
    head = static_cast<std::uint32_t>(refs.nodes.size());
  } catch (const std::bad_alloc&) {
    fBackReferences.reset();  // made anew when needed
  }
}

namespace {

/// Passes references on a few at a time, so that their targets, which lie anywhere in memory, are on their way to the
/// cache while others are dealt with.
template <class Take>
class ReferenceQueue {
 public:
  explicit ReferenceQueue(Take take) : fTake(std::move(take)) {}
  void add(const ElementRecord& referrer, const ElementRecord* target) {
    if (target == nullptr) return;
    __builtin_prefetch(&target->index);
    fPending[fCount++] = {&referrer, target};
    if (fCount == kAtOnce) flush();
  }
  void flush() {
    for (std::size_t i = 0; i < fCount; ++i) fTake(*fPending[i].first, fPending[i].second);
    fCount = 0;
  }

 private:
  static constexpr std::size_t kAtOnce = 32;
  std::array<std::pair<const ElementRecord*, const ElementRecord*>, kAtOnce> fPending;
  std::size_t fCount = 0;
  Take fTake;
};

}  // namespace

void ModelCore::needBackReferences() {
  if (fBackReferences != nullptr) return;
  auto made = std::make_unique<BackReferences>();
  made->heads.resize(fTable.size(), 0);
  if (fMayHaveReferences) made->nodes.reserve(fTable.size());
  fBackReferences = std::move(made);
  if (fMayHaveReferences) noteAllReferences();
  if (fBackReferences == nullptr) throw std::bad_alloc();
  fBackReferences->madeWith = fBackReferences->nodes.size();
}

void ModelCore::noteAllReferences() noexcept {
  ReferenceQueue references(
      [this](const ElementRecord& referrer, const ElementRecord* target) { noteReference(referrer, target); });
  // Destroyed elements that may come back count too: their references come back with them.
  for (ElementRecord* record : fTable) {
    if (record == nullptr) continue;
    const Layout& layout = record->layout();
    for (const std::uint16_t index : layout.plainReferences) {
      const SlotInfo& slot = layout.slots[index];
      if (slot.shape == SlotShape::Reference) {
        references.add(*record, record->reference(slot));
        continue;
      }
      const ElementList& list = record->list(slot);
      for (std::uint32_t i = 0; i < list.physicalSize(); ++i) references.add(*record, memberAt(list, i));
    }
  }
  references.flush();
}

template <class Visit>
void ModelCore::forEachReferrer(const ElementRecord& target, Visit visit) {
  // Collected first: the visit may add nodes. A referrer may stand in the chain several times.
  std::vector<std::uint32_t> places;
  const BackReferences& refs = *fBackReferences;
  for (std::uint32_t node = refs.heads[target.index]; node != 0; node = refs.nodes[node - 1].next) {
    places.push_back(refs.nodes[node - 1].referrer);
  }
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  for (const std::uint32_t place : places) {
    ElementRecord* referrer = place < fTable.size() ? fTable[place] : nullptr;
    if (referrer != nullptr && referrer->isLive()) visit(*referrer);
  }
}

std::vector<IncomingReference> ModelCore::incomingReferences(ElementRecord& target) {
  std::vector<IncomingReference> found;
  const Layout& layout = target.layout();
  for (const std::uint16_t index : layout.paired) {
    const SlotInfo& slot = layout.slots[index];
    const auto add = [&](ElementRecord* partner) {
      if (partner == nullptr) return;
      const SlotInfo& opposite = oppositeSlot(slot, *partner);
      found.push_back({ModelElement(partner),
                       meta::Property(const_cast<meta::Property::Impl*>(opposite.property))});  // handles are not const
    };
    if (slot.shape == SlotShape::Reference) {
      add(target.reference(slot));
    } else {
      for (std::uint32_t i = 0; i < target.list(slot).physicalSize(); ++i) add(memberAt(target.list(slot), i));
    }
  }
  if (fStore != nullptr) fStore->loadReferrers(target);
  needBackReferences();
  forEachReferrer(target, [&](ElementRecord& referrer) {
    for (const std::uint16_t index : referrer.layout().plainReferences) {
      const SlotInfo& slot = referrer.layout().slots[index];
      if (!holds(referrer, slot, &target)) continue;
      found.push_back({ModelElement(&referrer), meta::Property(const_cast<meta::Property::Impl*>(slot.property))});
    }
  });
  return found;
}

// --- Transactions.

std::uint64_t ModelCore::begin(bool isImplicit) {
  if (fLevels.size() == fLevels.capacity()) fLevels.reserve(fLevels.size() * 2 + 4);
  if (fCreatedSinceSerial) {
    ++fSerial;
    fCreatedSinceSerial = false;
  }
  fLevels.push_back(
      {fNextLevel, fSerial, fJournal.size(), static_cast<std::uint32_t>(fTable.size()), fTop.size(), isImplicit});
  return fNextLevel++;
}

bool ModelCore::isOpen(std::uint64_t level) const noexcept {
  return std::any_of(fLevels.begin(), fLevels.end(), [&](const Level& l) { return l.id == level; });
}

std::size_t ModelCore::levelPosition(std::uint64_t level) const {
  const auto found = std::find_if(fLevels.begin(), fLevels.end(), [&](const Level& l) { return l.id == level; });
  if (found == fLevels.end()) throw TransactionError(texts::transactionEnded());
  if (found + 1 != fLevels.end()) throw TransactionError(texts::innerTransactionOpen());
  return static_cast<std::size_t>(found - fLevels.begin());
}

TransactionResult ModelCore::commit(std::uint64_t level, const boost::optional<Value>& note) {
  const std::size_t position = levelPosition(level);
  const Level ending = fLevels[position];
  bool changed = hasCreatedSince(ending.tableStart);
  for (std::size_t i = ending.journalStart; !changed && i < fJournal.size(); ++i) changed = isChange(fJournal[i]);
  const TransactionResult result = changed ? TransactionResult::Done : TransactionResult::Nothing;
  if (position > 0) {
    fLevels.pop_back();
    return result;
  }
  if (fNextCommitFailure && !ending.isImplicit) {
    const std::string text = *std::exchange(fNextCommitFailure, std::nullopt);
    throw TransactionError(text);
  }

  // Whatever can fail comes before the point of no return.
  const auto tableEnd = static_cast<std::uint32_t>(fTable.size());
  std::optional<ModelChange> report;
  std::list<Step> kept;
  if (changed && (fUndoLimit > 0 || !fObservers.empty())) {
    fJournal.eraseIf([&](JournalEntry& entry) { return !restrictToOlder(entry, ending.serial); });
    if (!fObservers.empty()) {
      report = netChanges(fJournal, ending.tableStart, tableEnd, false);
      report->note = note;
    }
    if (fUndoLimit > 0) {
      kept.emplace_back();
      kept.front().tableStart = ending.tableStart;
      kept.front().tableEnd = tableEnd;
    }
  }
  if (fStore != nullptr) {
    const StoreHooks::Changes changes{fJournal, ending.tableStart, tableEnd, false};
    ending.isImplicit ? fStore->note(changes) : fStore->write(changes);
  }
  if (!changed) keepPacking(fJournal);

  fLevels.pop_back();
  if (!kept.empty()) {
    kept.front().entries.swap(fJournal);
    dropRedo();
    fUndo.splice(fUndo.end(), kept);
    trimUndo();
  } else {
    discardKilled(fJournal);
  }
  fJournal.clear();
  tidy();
  if (report) tellChange(*report);
  return result;
}

void ModelCore::undoLevel() noexcept {
  const Level ending = fLevels.back();
  for (std::size_t i = fJournal.size(); i-- > ending.journalStart;) {
    JournalEntry& entry = fJournal[i];
    if (restrictToOlder(entry, ending.serial)) apply(entry);
  }
  fJournal.truncate(ending.journalStart);
  for (std::size_t i = ending.tableStart; i < fTable.size(); ++i) {
    if (fTable[i] != nullptr && !fTable[i]->isFromStore) swapLife(*fTable[i], false);
  }
  discardDead(ending.tableStart, static_cast<std::uint32_t>(fTable.size()));
  // All of them are null now, but for what the store brought in the meantime.
  std::size_t end = fTable.size();
  while (end > ending.tableStart && fTable[end - 1] == nullptr) --end;
  fFreed -= fTable.size() - end;
  fTable.resize(end);
  if (fBackReferences != nullptr) fBackReferences->heads.resize(end);
  if (fStore == nullptr) fTop.resize(ending.topStart);
  fLevels.pop_back();
  if (fLevels.empty()) tidy();
}

/// The way out when memory is too short for a report or for history: what was done stays, and is final.
void ModelCore::endLevelWithoutHistory() noexcept {
  fLevels.pop_back();
  discardKilled(fJournal);
  fJournal.clear();
  dropRedo();
  while (!fUndo.empty()) {
    discardKilled(fUndo.front().entries);
    fUndo.pop_front();
  }
}

TransactionResult ModelCore::rollBack(std::uint64_t level) {
  const std::size_t position = levelPosition(level);
  const Level& ending = fLevels[position];
  const bool changed = fJournal.size() > ending.journalStart || hasCreatedSince(ending.tableStart);
  undoLevel();
  return changed ? TransactionResult::Done : TransactionResult::Nothing;
}

void ModelCore::abandon(std::uint64_t level) noexcept {
  if (!isOpen(level)) return;
  for (bool last = false; !last;) {
    last = fLevels.back().id == level;
    undoLevel();
  }
}

ModelChange ModelCore::netChanges(const Journal& entries, std::uint32_t tableStart, std::uint32_t tableEnd,
                                  bool backwards) const {
  ModelChange change;
  std::unordered_set<std::uint64_t> seen;
  const auto isNew = [&](const ElementRecord* e) {
    return e->index >= tableStart && e->index < tableEnd && !e->isFromStore;
  };
  const auto isFirst = [&](const ElementRecord* element, std::uint16_t slot) {
    return seen.insert((std::uint64_t{element->index} << 16U) | slot).second;
  };
  const auto noteChange = [&](ElementRecord* element, std::uint16_t slot) {
    const meta::Property::Impl* property = element->layout().slots[slot].property;
    change.changed.push_back({ModelElement(element), meta::Property(const_cast<meta::Property::Impl*>(property))});
  };
  const std::size_t count = entries.size();
  for (std::size_t i = 0; i < count; ++i) {
    const JournalEntry& entry = entries[backwards ? count - 1 - i : i];
    ElementRecord* element = entry.element;
    if (concernsLife(entry.kind) && entry.b != JournalEntry::kElsewhere) {
      ElementRecord* parent = element->container;
      const bool isOld = parent->isLive() && !isNew(parent);
      if (isOld && isFirst(parent, element->containerSlot)) noteChange(parent, element->containerSlot);
    }
    if (isNew(element)) continue;
    if (concernsLife(entry.kind)) {
      (element->isLive() ? change.created : change.destroyed).emplace_back(element);
      continue;
    }
    if (!element->isLive() || entry.kind == JournalEntry::Kind::Container) continue;
    if (entry.kind == JournalEntry::Kind::ListPacked || entry.kind == JournalEntry::Kind::ListUnpacked) continue;
    if (!isFirst(element, entry.slot)) continue;
    const SlotInfo& slot = element->layout().slots[entry.slot];
    // The first entry of a slot holds what was there before.
    if (entry.kind == JournalEntry::Kind::Single &&
        static_cast<const ValuePayload&>(*entry.payload).value == readSingle(slot, element->area())) {
      continue;
    }
    if (entry.kind == JournalEntry::Kind::Reference && entry.other == element->reference(slot)) continue;
    noteChange(element, entry.slot);
  }
  for (std::uint32_t i = tableStart; i < tableEnd; ++i) {
    ElementRecord* element = fTable[i];
    if (element == nullptr || element->isFromStore) continue;
    if (element->isLive()) change.created.emplace_back(element);
    if (backwards && !element->isLive()) change.destroyed.emplace_back(element);
  }
  return change;
}

void ModelCore::discardKilled(Journal& entries) noexcept {
  const auto forEachKilled = [&](auto visit) {
    for (JournalEntry& entry : entries) {
      entry.payload.reset();
      if (entry.kind == JournalEntry::Kind::Killed && !entry.element->isLive()) visit(*entry.element);
    }
  };
  retireEach(forEachKilled, [this](ElementRecord& record) {
    fUuids.forget();
    fTable[record.index] = nullptr;
    ++fFreed;
    beginRetirement(record);
  });
}

void ModelCore::discardDead(std::uint32_t tableStart, std::uint32_t tableEnd) noexcept {
  // What the store brought is nobody's creation: it goes when the change that killed it is final.
  const auto isDead = [&](std::uint32_t i) {
    return fTable[i] != nullptr && !fTable[i]->isLive() && !fTable[i]->isFromStore;
  };
  for (std::uint32_t i = tableStart; i < tableEnd; ++i) {
    if (!isDead(i)) continue;
    fUuids.erase(fTable[i]->getUuid(), i);
    beginRetirement(*fTable[i]);
  }
  for (std::uint32_t i = tableStart; i < tableEnd; ++i) {
    if (!isDead(i)) continue;
    ElementRecord& record = *fTable[i];
    fTable[i] = nullptr;
    ++fFreed;
    endRetirement(record);
  }
}

void ModelCore::tellChange(const ModelChange& change) noexcept {
  if (change.created.empty() && change.destroyed.empty() && change.changed.empty()) return;
  tellObservers([&](ModelObserver& observer) { observer.changed(change); });
}

/// Keeps the book-keeping in proportion to the content, while nothing depends on its numbering.
void ModelCore::tidy() noexcept {
  if (!fUndo.empty() || !fRedo.empty() || !fLevels.empty()) return;
  const bool sparseTable = fFreed > kWorthTidying && fFreed > fTable.size() / 2;
  const bool longTop = fTop.size() > kWorthTidying && fTop.size() > 2 * fTopCount;
  if (fStore == nullptr) {  // which keeps the numbers too
    if (sparseTable || longTop) packTopLevel();
    if (sparseTable) packTable();
    if (fSurvivors == 0) fMayHaveUnreadable = false;  // what was destroyed is freed by now
  }
  // Nodes of references that are no more pile up. Making all anew costs a scan, so as many must have come since the
  // last.
  if (fBackReferences != nullptr &&
      fBackReferences->nodes.size() > 2 * fBackReferences->madeWith + fTable.size() + kWorthTidying) {
    fBackReferences.reset();
  }
}

void ModelCore::packTopLevel() noexcept {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < fTop.size(); ++i) {
    ElementRecord* record = topLevelAt(i);
    if (record == nullptr) continue;
    record->topPosition = static_cast<std::uint32_t>(kept);
    fTop[kept++] = record->index;
  }
  fTop.resize(kept);
}

void ModelCore::packTable() noexcept {
  fBackReferences.reset();
  std::uint32_t next = 0;
  for (ElementRecord* record : fTable) {
    if (record != nullptr) record->index = next++;
  }
  const auto newPlace = [&](std::uint32_t old) { return fTable[old]->index; };
  fUuids.renumber([&](std::uint32_t old) { return fTable[old] != nullptr; }, newPlace);
  for (std::uint32_t& place : fTop) place = newPlace(place);
  std::erase(fTable, nullptr);
  fFreed = 0;
}

// --- History.

void ModelCore::setUndoLimit(std::size_t steps) {
  if (!fLevels.empty()) throw TransactionError(texts::transactionOpen("change how many transactions are kept"));
  fUndoLimit = steps;
  if (steps == 0) dropRedo();
  trimUndo();
  tidy();
}

void ModelCore::trimUndo() noexcept {
  while (fUndo.size() > fUndoLimit) {
    discardKilled(fUndo.front().entries);
    fUndo.pop_front();
  }
}

void ModelCore::dropRedo() noexcept {
  while (!fRedo.empty()) {
    // The newest first: an element that one step made may be concerned by those after it.
    Step& step = fRedo.front();
    for (JournalEntry& entry : step.entries) entry.payload.reset();
    discardDead(step.tableStart, step.tableEnd);
    fRedo.pop_front();
  }
}

void ModelCore::replay(Step& step, bool forward) noexcept {
  if (forward) {
    for (std::uint32_t i = step.tableStart; i < step.tableEnd; ++i) {
      if (fTable[i] != nullptr && !fTable[i]->isFromStore) swapLife(*fTable[i], true);
    }
    for (JournalEntry& entry : step.entries) apply(entry);
  } else {
    for (std::size_t i = step.entries.size(); i-- > 0;) apply(step.entries[i]);
    for (std::uint32_t i = step.tableStart; i < step.tableEnd; ++i) {
      if (fTable[i] != nullptr && !fTable[i]->isFromStore) swapLife(*fTable[i], false);
    }
  }
}

void ModelCore::undo() {
  if (!fLevels.empty()) throw TransactionError(texts::transactionOpen("undo"));
  if (fUndo.empty()) throw TransactionError(texts::nothingTo("undo"));
  replayAndWrite(fUndo.back(), false);
  fRedo.splice(fRedo.begin(), fUndo, std::prev(fUndo.end()));
  const Step& step = fRedo.front();
  if (!fObservers.empty()) tellChange(netChanges(step.entries, step.tableStart, step.tableEnd, true));
}

void ModelCore::redo() {
  if (!fLevels.empty()) throw TransactionError(texts::transactionOpen("redo"));
  if (fRedo.empty()) throw TransactionError(texts::nothingTo("redo"));
  replayAndWrite(fRedo.front(), true);
  fUndo.splice(fUndo.end(), fRedo, fRedo.begin());
  const Step& step = fUndo.back();
  if (!fObservers.empty()) tellChange(netChanges(step.entries, step.tableStart, step.tableEnd, false));
}

// --- Observers.

void ModelCore::addObserver(ModelObserver* observer) {
  if (observer == nullptr || std::find(fObservers.begin(), fObservers.end(), observer) != fObservers.end()) return;
  fObservers.push_back(observer);
}

void ModelCore::removeObserver(ModelObserver* observer) noexcept { std::erase(fObservers, observer); }

std::vector<std::exception_ptr> ModelCore::takeObserverErrors() noexcept { return std::exchange(fObserverErrors, {}); }

// --- ChangeScope.

ChangeScope::ChangeScope(ModelCore& core, Kind kind) : fCore(core) {
  if (core.fLevels.empty() || kind == Kind::Nested) fOwnLevel = core.begin(true);
}

ChangeScope::~ChangeScope() {
  if (fOwnLevel != 0) fCore.abandon(fOwnLevel);
}

void ChangeScope::done() {
  if (fOwnLevel == 0) return;
  fCore.commit(fOwnLevel, boost::none);
  fOwnLevel = 0;
}

}  // namespace tarn::kern::internal
