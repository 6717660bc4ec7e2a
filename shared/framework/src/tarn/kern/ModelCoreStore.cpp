#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include <quillon/logging/Logger.h>

#include "ErrorTexts.h"
#include "ModelCore.h"

/// The core's side of the binding to a store: what comes from it, what it is told, and the order of things when it
/// goes.
namespace tarn::kern::internal {

StoreHooks::~StoreHooks() = default;

void ModelCore::bind(std::unique_ptr<StoreHooks> store) {
  assert(fStore == nullptr && fLevels.empty());
  ++fSerial;  // what the store brings is born before every level from now on, whenever it comes
  fCreatedSinceSerial = false;
  fStore = std::move(store);
}

ElementRecord* ModelCore::adopt(const meta::Class& type, const boost::uuids::uuid& uuid) {
  if (fTable.size() >= ElementList::kNone - 1) throw InstantiationError(texts::modelFull());
  if (fTable.size() == fTable.capacity()) fTable.reserve(fTable.size() * 2 + 16);
  fUuids.reserveOne([&](std::uint32_t at) { return fTable[at] != nullptr; });
  if (fBackReferences != nullptr) fBackReferences->heads.resize(fTable.size() + 1, 0);

  const Layout& layout = type->layout();
  const std::size_t bytes = sizeof(ElementRecord) + layout.sizeBytes;
  const auto place = static_cast<std::uint32_t>(fTable.size());
  void* block = fPool.allocate(layout, bytes);
  auto* record = new (block) ElementRecord(type, uuid, *this, place);
  try {
    ElementSlotMaker maker(*record);
    constructEmptySlots(layout, record->area(), maker);
  } catch (...) {
    record->~ElementRecord();
    fPool.free(block, layout);
    throw;
  }
  record->state = ElementRecord::State::Unloaded;
  fMayHaveUnreadable = true;
  fMayHoldHandles |= !layout.handleHolders.empty();
  record->isFromStore = true;
  fTable.push_back(record);
  fUuids.insert(uuid, place);
  ++fLiveCount;
  return record;
}

std::uint32_t ModelCore::reserveTop() {
  if (fTop.size() == fTop.capacity()) fTop.reserve(fTop.size() * 2 + 16);
  return static_cast<std::uint32_t>(fTop.size());
}

void ModelCore::adoptTop(ElementRecord& element) noexcept {
  assert(fTop.size() < fTop.capacity());
  element.topPosition = static_cast<std::uint32_t>(fTop.size());
  fTop.push_back(element.index);
  ++fTopCount;
}

void ModelCore::noteReferencesOf(const ElementRecord& element) noexcept {
  const Layout& layout = element.layout();
  for (const std::uint16_t index : layout.plainReferences) {
    const SlotInfo& slot = layout.slots[index];
    if (slot.shape == SlotShape::Reference) {
      if (const auto* target = element.slot<ElementRecord*>(slot)) noteReference(element, target);
      continue;
    }
    const ElementList& list = element.list(slot);
    for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
      if (const ElementRecord* member = memberAt(list, i)) noteReference(element, member);
    }
  }
}

/// Loads what linking to a member, or letting it go, changes besides the element itself.
void ModelCore::needPartners(const SlotInfo& slot, ElementRecord* member) const {
  if (fStore == nullptr || member == nullptr) return;
  if (!slot.isComposite && !slot.isPaired) return;
  member->ensureReadable();
  if (slot.isComposite) {
    if (member->container != nullptr) member->container->ensureReadable();
    return;
  }
  const SlotInfo& opposite = oppositeSlot(slot, *member);
  if (opposite.shape != SlotShape::Reference) return;
  if (const ElementRecord* previous = member->reference(opposite)) previous->ensureReadable();
}

/// Loads all that goes with the element, and all that refers to any of it.
void ModelCore::loadForDestruction(ElementRecord& element) const {
  std::vector<ElementRecord*> leaving;
  collectContents(element, leaving);
  if (element.container != nullptr) element.container->ensureReadable();
  for (ElementRecord* record : leaving) {
    fStore->loadReferrers(*record);
    for (const std::uint16_t index : record->layout().paired) {
      const SlotInfo& slot = record->layout().slots[index];
      if (slot.shape == SlotShape::Reference) {
        if (const ElementRecord* partner = record->reference(slot)) partner->ensureReadable();
        continue;
      }
      const ElementList& list = record->list(slot);
      for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
        if (const ElementRecord* partner = memberAt(list, i)) partner->ensureReadable();
      }
    }
  }
}

bool ModelCore::hasCreatedSince(std::uint32_t tableStart) const noexcept {
  if (fStore == nullptr) return fTable.size() > tableStart;
  return std::any_of(fTable.begin() + tableStart, fTable.end(),
                     [](const ElementRecord* record) { return record != nullptr && !record->isFromStore; });
}

/// An undone or redone transaction is one of the store too; when that refuses, nothing has changed.
void ModelCore::replayAndWrite(Step& step, bool forward) {
  replay(step, forward);
  if (fStore == nullptr) return;
  try {
    fStore->write({step.entries, step.tableStart, step.tableEnd, true});
  } catch (...) {
    replay(step, !forward);
    throw;
  }
}

// --- The end of the binding.

void ModelCore::letStoreGo() noexcept {
  if (fStore == nullptr) return;
  while (!fLevels.empty()) undoLevel();
  try {
    fStore->flush();
  } catch (const std::exception& error) {  // those who let go are told nothing: a destructor may be among them
    try {
      quillon::logging::internal::Logger::logger(0).debug(false)
          << "Warning: changes made outside transactions are lost: " << error.what();
    } catch (...) {  // there is nobody left to tell
    }
  }
  fStore.reset();
}

/// Calls while the model is as it was before the open levels began.
template <class Call>
void ModelCore::withoutOpenLevels(Call call) {
  if (fLevels.empty()) return call();
  const Level& outermost = fLevels.front();
  std::vector<ElementRecord*> made;
  for (std::size_t i = outermost.tableStart; i < fTable.size(); ++i) {
    if (fTable[i] != nullptr && !fTable[i]->isFromStore) made.push_back(fTable[i]);
  }
  for (std::size_t i = fJournal.size(); i-- > 0;) {
    if (restrictToOlder(fJournal[i], outermost.serial)) apply(fJournal[i]);
  }
  for (ElementRecord* record : made) swapLife(*record, false);
  const auto comeBack = [&]() noexcept {
    for (ElementRecord* record : made) swapLife(*record, true);
    for (JournalEntry& entry : fJournal) {
      if (restrictToOlder(entry, outermost.serial)) apply(entry);
    }
  };
  try {
    call();
  } catch (...) {
    comeBack();
    throw;
  }
  comeBack();
}

void ModelCore::unbind() {
  if (fStore == nullptr) return;
  fStore->loadAll();
  withoutOpenLevels([&] { fStore->flush(); });
  settleTop();
  settleTable();
  fStore.reset();
  tidy();
}

/// Elements came from the store as they were touched; once it is gone they stand in its order, before what was made
/// since.
void ModelCore::settleTable() {
  std::vector<std::pair<std::int64_t, ElementRecord*>> loaded;
  std::vector<ElementRecord*> table;
  std::vector<std::uint32_t> madeBefore(fTable.size() + 1, 0);  // how many before a place were made, not loaded
  for (std::size_t i = 0; i < fTable.size(); ++i) {
    ElementRecord* record = fTable[i];
    const bool isMade = record != nullptr && !record->isFromStore;
    madeBefore[i + 1] = madeBefore[i] + (isMade ? 1 : 0);
    if (record != nullptr && !isMade) loaded.emplace_back(fStore->orderOf(*record), record);
  }
  std::sort(loaded.begin(), loaded.end());
  table.reserve(loaded.size() + madeBefore.back());
  for (const auto& [order, record] : loaded) table.push_back(record);
  for (ElementRecord* record : fTable) {
    if (record != nullptr && !record->isFromStore) table.push_back(record);
  }

  // From here on nothing fails.
  fBackReferences.reset();
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i]->index = static_cast<std::uint32_t>(i);
    table[i]->isFromStore = false;
  }
  fUuids.renumber([&](std::uint32_t old) { return fTable[old] != nullptr; },
                  [&](std::uint32_t old) { return fTable[old]->index; });
  for (std::uint32_t& place : fTop) {
    place = place < fTable.size() && fTable[place] != nullptr ? fTable[place]->index : ElementList::kNone;
  }
  const auto newBoundary = [&](std::uint32_t old) {
    return static_cast<std::uint32_t>(loaded.size()) + madeBefore[std::min<std::size_t>(old, fTable.size())];
  };
  for (Level& level : fLevels) level.tableStart = newBoundary(level.tableStart);
  for (std::list<Step>* steps : {&fUndo, &fRedo}) {
    for (Step& step : *steps) {
      step.tableStart = newBoundary(step.tableStart);
      step.tableEnd = newBoundary(step.tableEnd);
    }
  }
  fTable.swap(table);
  fFreed = 0;
}

/// The same for the list of top-level elements, whose places the journals name too.
void ModelCore::settleTop() {
  constexpr std::int64_t kSince = std::numeric_limits<std::int64_t>::max();
  std::vector<std::pair<std::int64_t, std::uint32_t>> order;
  order.reserve(fTop.size());
  for (std::uint32_t i = 0; i < fTop.size(); ++i) {
    const std::int64_t rank = fStore->topOrderAt(i);
    order.emplace_back(rank == 0 ? kSince : rank, i);
  }
  std::sort(order.begin(), order.end());
  std::vector<std::uint32_t> top(fTop.size());
  std::vector<std::uint32_t> newPosition(fTop.size());
  for (std::uint32_t i = 0; i < order.size(); ++i) {
    top[i] = fTop[order[i].second];
    newPosition[order[i].second] = i;
  }

  // From here on nothing fails.
  const auto move = [&](std::uint32_t& position) {
    if (position < newPosition.size()) position = newPosition[position];
  };
  for (ElementRecord* record : fTable) {
    if (record != nullptr) move(record->topPosition);
  }
  const auto moveIn = [&](Journal& entries) {
    for (JournalEntry& entry : entries) {
      if (entry.kind == JournalEntry::Kind::Container) move(entry.b);
    }
  };
  moveIn(fJournal);
  for (Step& step : fUndo) moveIn(step.entries);
  for (Step& step : fRedo) moveIn(step.entries);
  const auto ranked = static_cast<std::size_t>(
      std::count_if(order.begin(), order.end(), [](const auto& entry) { return entry.first != kSince; }));
  for (Level& level : fLevels) {
    std::size_t before = ranked;
    for (std::size_t i = ranked; i < order.size() && order[i].second < level.topStart; ++i) ++before;
    level.topStart = before;
  }
  fTop.swap(top);
}

}  // namespace tarn::kern::internal
