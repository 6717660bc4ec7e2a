#include "StoreWriter.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <strata/StoreError.h>

#include "Positions.h"
#include "tarn/kern/VectorOps.h"

namespace strata_datasource {

using strata::Statement;
using strata::StatementUse;
using tarn::kern::internal::concernsLife;
using tarn::kern::internal::ElementRecord;
using tarn::kern::internal::JournalEntry;
using tarn::kern::internal::Layout;
using tarn::kern::internal::MapSlot;
using tarn::kern::internal::memberAt;
using tarn::kern::internal::SlotShape;

namespace {

/// From so many new elements on their positions lie in a vector.
constexpr std::size_t kMany = 4096;

std::uint64_t keyOf(const ElementRecord& element, std::uint16_t slot) {
  return (std::uint64_t{element.index} << 16U) | slot;
}

bool isPacking(JournalEntry::Kind kind) {
  return kind == JournalEntry::Kind::ListPacked || kind == JournalEntry::Kind::ListUnpacked;
}

/// Calls visit(member) for each entry that is no hole, null ones too.
template <class Visit>
void forEachMember(const tarn::kern::internal::ElementList& list, Visit visit) {
  for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
    if (!tarn::kern::internal::ElementList::isHole(list.at(i))) visit(memberAt(list, i));
  }
}

}  // namespace

StoreWriter::StoreWriter(StoreState& state) : fState(state) {}

StoreWriter::SlotDirt& StoreWriter::Dirt::at(std::uint16_t slot) {
  for (SlotDirt& dirt : slots) {
    if (dirt.slot == slot) return dirt;
  }
  slots.push_back({slot, false, 0});
  return slots.back();
}

// --- Noting.

void StoreWriter::note(const Changes& changes) {
  try {
    noteAll(changes);
  } catch (...) {
    distrustCounts();  // the same changes will be noted again
    throw;
  }
}

void StoreWriter::noteAll(const Changes& changes) {
  std::size_t kills = 0;
  std::unordered_map<std::uint64_t, std::uint32_t> sizes;
  // Backwards, so that the sizes of lists are known at each entry: what came in at the end was appended.
  for (std::size_t i = changes.entries.size(); i-- > 0;) {
    const JournalEntry& entry = changes.entries[i];
    ElementRecord& element = *entry.element;
    if (concernsLife(entry.kind)) {
      ++kills;
      fDirty[&element];
      if (entry.b != JournalEntry::kElsewhere && fState.ids.hasRow(element.container->index)) {
        fDirty[element.container].at(element.containerSlot).isWhole = true;
      }
    } else if (fState.ids.hasRow(element.index)) {
      if (entry.kind == JournalEntry::Kind::Container) {
        fDirty[&element].isMoved = true;
      } else {
        noteSlot(changes, i, element, sizes);
      }
    }
  }
  // Room for what may be freed, which must not fail then.
  if (fGone.size() + kills > fGone.capacity()) fGone.reserve(std::max(fGone.size() + kills, fGone.capacity() * 2));
  if (!changes.isReplay) return;
  for (std::uint32_t i = changes.tableStart; i < changes.tableEnd; ++i) {
    ElementRecord* record = fState.core.table()[i];
    if (record != nullptr && !record->isFromStore) fDirty[record];
  }
}

void StoreWriter::noteSlot(const Changes& changes, std::size_t at, Record& element,
                           std::unordered_map<std::uint64_t, std::uint32_t>& sizes) {
  const JournalEntry& entry = changes.entries[at];
  const SlotInfo& slot = element.layout().slots[entry.slot];
  if (isPacking(entry.kind)) {
    // No change by itself. Positions in entries before it count otherwise, so those tell nothing about the end.
    sizes[keyOf(element, entry.slot)] = 0;
    return;
  }
  SlotDirt& dirt = fDirty[&element].at(entry.slot);
  if (slot.shape != SlotShape::Elements || dirt.isWhole || changes.isReplay ||
      entry.kind != JournalEntry::Kind::ListInserted || entry.other == nullptr) {
    dirt.isWhole = true;
    return;
  }
  std::uint32_t& size = sizes.try_emplace(keyOf(element, entry.slot), element.list(slot).physicalSize()).first->second;
  if (size == 0 || entry.a + 1 != size) {
    dirt.isWhole = true;
    return;
  }
  --size;
  ++dirt.appended;
}

void StoreWriter::forget(const Record& record) noexcept {
  fDirty.erase(const_cast<Record*>(&record));  // a key, not an access
  if (fState.ids.idAt(record.index) == 0) return;
  if (fState.ids.hasRow(record.index)) {
    fGone.push_back({fState.ids.idAt(record.index), fState.schema.find(record.getMetaClass())});
  }
  fState.ids.setGone(record.index);
  fState.tops.erase(record.index);
}

std::vector<ElementRecord*> StoreWriter::unstored() const {
  std::vector<ElementRecord*> found;
  const std::vector<ElementRecord*>& table = fState.core.table();
  for (std::size_t i = fStoredEnd; i < table.size(); ++i) {
    ElementRecord* record = table[i];
    const bool isNew = record != nullptr && record->isLive() && !record->isFromStore;
    if (isNew && !fState.ids.hasRow(record->index)) found.push_back(record);
  }
  return found;
}

bool StoreWriter::hasChanges() const noexcept {
  if (!fDirty.empty() || !fGone.empty()) return true;
  const std::vector<ElementRecord*>& table = fState.core.table();
  return std::any_of(table.begin() + fStoredEnd, table.end(), [](const ElementRecord* record) {
    return record != nullptr && record->isLive() && !record->isFromStore;
  });
}

// --- One transaction.

void StoreWriter::write(Store store) {
  const bool createStore = store != Store::Existing;
  Work work;
  const Schema::Mark mark = fState.schema.mark();
  try {
    strata::DatabaseTransaction transaction(fState.database, strata::DatabaseTransaction::Kind::Write);
    if (store == Store::Replaced) Schema::dropAll(fState.database);
    if (createStore) {
      fState.schema.deferIndexes();
      fState.schema.createBase();
    }
    if (!fInsertEmptyPlace) {  // the last one: when an earlier one fails, all are tried again
      strata::Database& database = fState.database;
      fInsertElement = database.prepare("INSERT INTO element VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
      fMoveElement = database.prepare("UPDATE element SET container = ?2, role = ?3, position = ?4 WHERE id = ?1");
      fRemoveElement = database.prepare("DELETE FROM element WHERE id = ?1");
      fSelectContents =
          database.prepare("SELECT position, id FROM element WHERE container = ?1 AND role = ?2 ORDER BY position");
      fSelectLast = database.prepare(
          "SELECT max(position) FROM (SELECT max(position) AS position FROM element WHERE container = ?1 AND role = ?2 "
          "UNION ALL SELECT max(position) FROM empty_place WHERE container = ?1 AND role = ?2)");
      fSelectLastTop = database.prepare("SELECT max(position) FROM element WHERE container IS NULL AND role IS NULL");
      fRemoveEmptyPlaces = database.prepare("DELETE FROM empty_place WHERE container = ?1 AND role = ?2");
      fRemoveEmptyPlacesOf = database.prepare("DELETE FROM empty_place WHERE container = ?1");
      fInsertEmptyPlace = database.prepare("INSERT INTO empty_place VALUES(?1, ?2, ?3)");
    }
    collect(work);
    number(work);
    placeContents(work);
    placeTops(work);
    writeRows(work);
    if (createStore) fState.schema.createDeferredIndexes();
    for (const ElementRecord* record : work.tops) fState.reserveTop(record->index, record->topPosition);
    commit(transaction);  // from here on nothing fails
  } catch (...) {
    if (createStore) {
      forgetStatements();
      fState.schema.clear();
    } else {
      fState.schema.rollBackTo(mark);
    }
    failed(work);
    throw;
  }
  succeeded(work);
}

void StoreWriter::commit(strata::DatabaseTransaction& transaction) {
  try {
    transaction.commit();
  } catch (const strata::StoreError& error) {
    // A write that is refused comes before the journal is given up, and is rolled back. A failed sync may come after.
    fIsUncertain = error.kind() == strata::StoreError::Kind::Io && !fState.database.wasWriteRefused();
    throw;
  }
}

void StoreWriter::collect(Work& work) {
  work.removals = fGone;
  for (auto& [record, dirt] : fDirty) {
    if (fState.ids.hasRow(record->index)) {
      if (!record->isLive()) {
        work.removals.push_back({fState.idOf(record), fState.schema.find(record->getMetaClass())});
      } else {
        work.updates.push_back(record);
      }
    } else if (record->isLive() && (record->index < fStoredEnd || record->isFromStore)) {
      work.insertions.push_back({record, nullptr, 0});  // it has come back to life
    }
  }
  for (ElementRecord* record : unstored()) work.insertions.push_back({record, nullptr, 0});
  // What is written does not depend on addresses.
  const auto byIndex = [](const ElementRecord* a, const ElementRecord* b) { return a->index < b->index; };
  std::sort(work.updates.begin(), work.updates.end(), byIndex);
  std::sort(work.insertions.begin(), work.insertions.end(),
            [&](const Insertion& a, const Insertion& b) { return byIndex(a.record, b.record); });
  std::sort(work.removals.begin(), work.removals.end(), [](const GoneRow& a, const GoneRow& b) { return a.id < b.id; });
}

/// Gives each new element its id, so that rows can refer to it, and its class a table.
void StoreWriter::number(Work& work) {
  if (fNextId == 0) fNextId = std::max<std::int64_t>(0, fState.database.askInteger("SELECT max(id) FROM element")) + 1;
  std::int64_t next = fNextId;
  work.numbered.reserve(work.insertions.size());
  for (Insertion& insertion : work.insertions) {
    insertion.plan = &fState.schema.planFor(insertion.record->getMetaClass());
    insertion.id = fState.idOf(insertion.record);
    if (insertion.id != 0) continue;
    if (next >= kLastId) fState.damaged("there are no ids left");
    insertion.id = next++;
    fState.ids.set(insertion.record->index, insertion.id);
    work.numbered.push_back(insertion.record->index);
  }
}

// --- Places.

void StoreWriter::setPosition(Work& work, Record& record, std::int64_t position) {
  if (!work.newPosition.empty()) {
    work.newPosition[record.index] = position;
  } else {
    work.position[&record] = position;
  }
}

std::int64_t StoreWriter::positionOf(const Work& work, const Record& record) const {
  if (!work.newPosition.empty()) return work.newPosition[record.index];
  const auto found = work.position.find(&record);
  return found == work.position.end() ? 0 : found->second;
}

void StoreWriter::addMove(Work& work, Record& record) {
  if (fState.ids.hasRow(record.index) && work.moving.insert(&record).second) work.moves.push_back(&record);
}

void StoreWriter::placeContents(Work& work) {
  if (work.insertions.size() >= kMany) work.newPosition.resize(fState.core.table().size(), 0);
  for (const std::uint32_t place : work.numbered) fState.ids.setHasRow(place, false);  // until it is written
  for (const Insertion& insertion : work.insertions) {
    ElementRecord& owner = *insertion.record;
    if (owner.container == nullptr) work.tops.push_back(&owner);
    if (!owner.mayHaveContents) continue;
    for (const std::uint16_t index : owner.layout().composites) {
      const SlotInfo& slot = owner.layout().slots[index];
      if (slot.shape == SlotShape::Elements) placeContentsOf(work, owner, slot, insertion.plan->slots[index].id);
    }
  }
  for (ElementRecord* record : work.updates) {
    const Dirt& dirt = fDirty[record];
    if (dirt.isMoved) {
      addMove(work, *record);
      if (record->container == nullptr) work.tops.push_back(record);
    }
    ClassPlan& plan = *fState.schema.find(record->getMetaClass());
    for (const SlotDirt& slotDirt : dirt.slots) {
      const SlotInfo& slot = record->layout().slots[slotDirt.slot];
      if (!slot.isComposite || slot.shape != SlotShape::Elements) continue;
      const std::int64_t role = plan.slots[slotDirt.slot].id;
      if (slotDirt.isWhole) {
        placeAgain(work, *record, slot, role);
      } else {
        placeAppended(work, *record, slot, role, slotDirt.appended);
      }
    }
  }
}

/// All members of a collection that has no row yet.
void StoreWriter::placeContentsOf(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role) {
  std::int64_t position = 0;
  forEachMember(owner.list(slot), [&](ElementRecord* member) {
    position += kPositionStep;
    if (member == nullptr) {
      work.emptyPlaces.push_back({fState.idOf(&owner), role, position});
      return;
    }
    setPosition(work, *member, position);
    addMove(work, *member);
  });
}

std::int64_t StoreWriter::lastPosition(Statement& question) {
  const StatementUse use(question);
  const std::int64_t last = question.step() && !question.isNull(0) ? question.integer(0) : 0;
  if (last < -kLastId || last > kLastId) fState.damaged("a position is out of range");
  return last;
}

void StoreWriter::placeAppended(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role,
                                std::uint32_t count) {
  fSelectLast.bind(1, fState.idOf(&owner)).bind(2, role);
  std::int64_t position = lastPosition(fSelectLast);
  const ElementList& list = owner.list(slot);
  for (std::uint32_t i = list.physicalSize() - count; i < list.physicalSize(); ++i) {
    ElementRecord& member = *memberAt(list, i);
    setPosition(work, member, position += kPositionStep);
    addMove(work, member);
  }
}

/// A collection whose order changed: as many members as possible keep their position.
void StoreWriter::placeAgain(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role) {
  const std::int64_t id = fState.idOf(&owner);
  std::unordered_map<std::int64_t, std::int64_t> stored;
  {
    const StatementUse use(fSelectContents);
    fSelectContents.bind(1, id).bind(2, role);
    while (fSelectContents.step()) stored[fSelectContents.integer(1)] = fSelectContents.integer(0);
  }
  std::vector<ElementRecord*> members;
  std::vector<std::optional<std::int64_t>> old;
  forEachMember(owner.list(slot), [&](ElementRecord* member) {
    members.push_back(member);
    const auto found = member == nullptr ? stored.end() : stored.find(fState.idOf(member));
    old.push_back(found == stored.end() ? std::nullopt : std::optional(found->second));
  });
  const std::vector<std::int64_t> positions = planPositions(old);
  if (fState.hasEmptyPlaces) fRemoveEmptyPlaces.bind(1, id).bind(2, role).run();
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (members[i] == nullptr) {
      work.emptyPlaces.push_back({id, role, positions[i]});
      continue;
    }
    setPosition(work, *members[i], positions[i]);
    if (old[i] != positions[i]) addMove(work, *members[i]);
  }
}

void StoreWriter::placeTops(Work& work) {
  if (work.tops.empty()) return;
  std::sort(work.tops.begin(), work.tops.end(),
            [](const ElementRecord* a, const ElementRecord* b) { return a->topPosition < b->topPosition; });
  std::int64_t last = lastPosition(fSelectLastTop);
  for (ElementRecord* record : work.tops) {
    // One that was destroyed and came back stands where it stood.
    const auto before = fState.tops.find(record->index);
    const bool isBack = before != fState.tops.end() && before->second.topPosition == record->topPosition;
    setPosition(work, *record, isBack ? before->second.position : last += kPositionStep);
  }
}

// --- Rows.

void StoreWriter::writeRows(Work& work) {
  for (const GoneRow& row : work.removals) removeRows(row);
  for (const Insertion& insertion : work.insertions) insertRow(work, insertion);
  for (const Insertion& insertion : work.insertions) insertContent(insertion);
  for (ElementRecord* record : work.moves) moveRow(work, *record);
  for (const EmptyPlace& place : work.emptyPlaces) {
    fInsertEmptyPlace.bind(1, place.container).bind(2, place.role).bind(3, place.position).run();
  }
  for (ElementRecord* record : work.updates) updateRow(*record, fDirty[record]);
}

void StoreWriter::removeRows(const GoneRow& row) {
  fRemoveElement.bind(1, row.id).run();
  row.plan->remove.bind(1, row.id).run();
  for (const std::uint16_t index : row.plan->tableSlots) {
    row.plan->slots[index].collection->removeOwner.bind(1, row.id).run();
  }
  if (fState.hasEmptyPlaces) fRemoveEmptyPlacesOf.bind(1, row.id).run();
}

void StoreWriter::insertRow(const Work& work, const Insertion& insertion) {
  const ElementRecord& record = *insertion.record;
  fState.codec.forget();
  fInsertElement.bind(1, insertion.id);
  fState.codec.bindUuid(fInsertElement, 2, record.getUuid());
  fInsertElement.bind(3, insertion.plan->id).bind(6, positionOf(work, record));
  if (record.container == nullptr) {
    fInsertElement.bindNull(4).bindNull(5);
  } else {
    const ClassPlan& owner = *fState.schema.find(record.container->getMetaClass());
    fInsertElement.bind(4, fState.idOf(record.container)).bind(5, owner.slots[record.containerSlot].id);
  }
  fInsertElement.run();
}

void StoreWriter::moveRow(const Work& work, Record& record) {
  fMoveElement.bind(1, fState.idOf(&record)).bind(4, positionOf(work, record));
  if (record.container == nullptr) {
    fMoveElement.bindNull(2).bindNull(3);
  } else {
    const ClassPlan& owner = *fState.schema.find(record.container->getMetaClass());
    fMoveElement.bind(2, fState.idOf(record.container)).bind(3, owner.slots[record.containerSlot].id);
  }
  fMoveElement.run();
}

void StoreWriter::bindColumn(Statement& statement, int parameter, const SlotInfo& slot, Record& record) {
  if (slot.shape == SlotShape::Single) {
    fState.codec.bindSingle(statement, parameter, slot, record.area());
  } else if (const ElementRecord* target = record.reference(slot)) {
    statement.bind(parameter, fState.idOf(target));
  } else {
    statement.bindNull(parameter);
  }
}

void StoreWriter::insertContent(const Insertion& insertion) {
  ElementRecord& record = *insertion.record;
  ClassPlan& plan = *insertion.plan;
  const Layout& layout = plan.layout();
  fState.codec.forget();
  plan.insert.bind(1, insertion.id);
  int parameter = 1;
  for (const std::uint16_t index : plan.columnSlots) bindColumn(plan.insert, ++parameter, layout.slots[index], record);
  plan.insert.run();
  for (const std::uint16_t index : plan.tableSlots) {
    const SlotInfo& slot = layout.slots[index];
    CollectionPlan& collection = *plan.slots[index].collection;
    if (collection.place == Place::ReferenceTable) {
      std::int64_t position = 0;
      forEachMember(record.list(slot), [&](const ElementRecord* member) {
        insertReference(collection, insertion.id, position += kPositionStep, member);
      });
    } else if (collection.place == Place::MapTable) {
      if (!record.slot<MapSlot>(slot).empty()) rewriteMap(record, collection, slot);
    } else if (const auto& ops = tarn::kern::internal::vectorOpsOf(slot); ops.size(&record.slot<char>(slot)) != 0) {
      const std::size_t size = ops.size(&record.slot<char>(slot));
      for (std::size_t i = 0; i < size; ++i) {
        fState.codec.forget();
        collection.insert.bind(1, insertion.id).bind(2, static_cast<std::int64_t>(i));
        fState.codec.bindEntry(collection.insert, 3, slot, record.area(), i);
        collection.insert.run();
      }
    }
  }
}

void StoreWriter::updateRow(Record& record, const Dirt& dirt) {
  ClassPlan& plan = *fState.schema.find(record.getMetaClass());
  for (const SlotDirt& slotDirt : dirt.slots) {
    const SlotInfo& slot = plan.layout().slots[slotDirt.slot];
    CollectionPlan* collection = plan.slots[slotDirt.slot].collection;
    switch (plan.slots[slotDirt.slot].place) {
      case Place::Nowhere:
      case Place::Containment:
        break;
      case Place::Column:
      case Place::ReferenceColumn:
        updateColumn(record, plan, slot);
        break;
      case Place::ValueTable:
        rewriteValues(record, *collection, slot);
        break;
      case Place::MapTable:
        rewriteMap(record, *collection, slot);
        break;
      case Place::ReferenceTable:
        slotDirt.isWhole ? rewriteReferences(record, *collection, slot)
                         : appendReferences(record, *collection, slot, slotDirt.appended);
        break;
    }
  }
}

void StoreWriter::updateColumn(Record& record, ClassPlan& plan, const SlotInfo& slot) {
  SlotPlan& slotPlan = plan.slots[slot.index];
  if (!slotPlan.update) {
    slotPlan.update =
        fState.database.prepare("UPDATE " + plan.table + " SET " + slotPlan.column + " = ?1 WHERE id = ?2");
  }
  fState.codec.forget();
  bindColumn(slotPlan.update, 1, slot, record);
  slotPlan.update.bind(2, fState.idOf(&record)).run();
}

/// Values stand at 0, 1, 2 …; only rows that differ are written.
void StoreWriter::rewriteValues(Record& record, CollectionPlan& plan, const SlotInfo& slot) {
  const std::int64_t owner = fState.idOf(&record);
  const std::size_t size = tarn::kern::internal::vectorOpsOf(slot).size(&record.slot<char>(slot));
  std::vector<bool> isSame(size, false);
  {
    const StatementUse use(plan.selectPositions);
    plan.selectPositions.bind(1, owner);
    while (plan.selectPositions.step()) {
      const std::int64_t position = plan.selectPositions.integer(0);
      if (position < 0 || static_cast<std::uint64_t>(position) >= size) continue;
      const auto i = static_cast<std::size_t>(position);
      isSame[i] = fState.codec.isSameEntry(plan.selectPositions, 1, slot, record.area(), i);
    }
  }
  plan.removeFrom.bind(1, owner).bind(2, static_cast<std::int64_t>(size)).run();
  for (std::size_t i = 0; i < size; ++i) {
    if (isSame[i]) continue;
    fState.codec.forget();
    plan.insert.bind(1, owner).bind(2, static_cast<std::int64_t>(i));
    fState.codec.bindEntry(plan.insert, 3, slot, record.area(), i);
    plan.insert.run();
  }
}

void StoreWriter::rewriteMap(Record& record, CollectionPlan& plan, const SlotInfo& slot) {
  const std::int64_t owner = fState.idOf(&record);
  const tarn::kern::StringToStringMap& map = record.slot<MapSlot>(slot);
  std::vector<bool> isSame(map.size(), false);
  {
    const StatementUse use(plan.selectPositions);
    plan.selectPositions.bind(1, owner);
    auto entry = map.begin();
    for (std::int64_t i = 0; entry != map.end() && plan.selectPositions.step(); ++i, ++entry) {
      if (plan.selectPositions.integer(0) != i) break;
      isSame[static_cast<std::size_t>(i)] =
          plan.selectPositions.text(1) == bedrock::i18n::ustring_to_utf8(entry->first) &&
          plan.selectPositions.text(2) == bedrock::i18n::ustring_to_utf8(entry->second);
    }
  }
  plan.removeFrom.bind(1, owner).bind(2, static_cast<std::int64_t>(map.size())).run();
  std::int64_t position = 0;
  for (const auto& [key, value] : map) {
    if (!isSame[static_cast<std::size_t>(position)]) {
      fState.codec.forget();
      plan.insert.bind(1, owner).bind(2, position);
      fState.codec.bindString(plan.insert, 3, key);
      fState.codec.bindString(plan.insert, 4, value);
      plan.insert.run();
    }
    ++position;
  }
}

void StoreWriter::insertReference(CollectionPlan& plan, std::int64_t owner, std::int64_t position,
                                  const Record* member) {
  plan.insert.bind(1, owner).bind(2, position);
  member == nullptr ? plan.insert.bindNull(3) : plan.insert.bind(3, fState.idOf(member));
  plan.insert.run();
}

void StoreWriter::appendReferences(Record& record, CollectionPlan& plan, const SlotInfo& slot, std::uint32_t count) {
  const std::int64_t owner = fState.idOf(&record);
  plan.selectLast.bind(1, owner);
  std::int64_t position = lastPosition(plan.selectLast);
  const ElementList& list = record.list(slot);
  for (std::uint32_t i = list.physicalSize() - count; i < list.physicalSize(); ++i) {
    insertReference(plan, owner, position += kPositionStep, memberAt(list, i));
  }
}

void StoreWriter::rewriteReferences(Record& record, CollectionPlan& plan, const SlotInfo& slot) {
  constexpr std::int64_t kNull = 0;  // no element's id
  const std::int64_t owner = fState.idOf(&record);
  // A collection that is not unique holds a member several times: its rows are used up in their order.
  std::unordered_map<std::int64_t, std::vector<std::int64_t>> stored;
  {
    const StatementUse use(plan.selectPositions);
    plan.selectPositions.bind(1, owner);
    while (plan.selectPositions.step()) {
      const std::int64_t value = plan.selectPositions.isNull(1) ? kNull : plan.selectPositions.integer(1);
      stored[value].push_back(plan.selectPositions.integer(0));
    }
  }
  std::unordered_map<std::int64_t, std::size_t> used;
  std::vector<const ElementRecord*> members;
  std::vector<std::optional<std::int64_t>> old;
  forEachMember(record.list(slot), [&](const ElementRecord* member) {
    members.push_back(member);
    const std::int64_t value = member == nullptr ? kNull : fState.idOf(member);
    const auto found = stored.find(value);
    const std::size_t next = found == stored.end() ? 0 : used[value]++;
    const bool isThere = found != stored.end() && next < found->second.size();
    old.push_back(isThere ? std::optional(found->second[next]) : std::nullopt);
  });
  const std::vector<std::int64_t> positions = planPositions(old);
  std::unordered_set<std::int64_t> kept;
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (old[i] == positions[i]) kept.insert(positions[i]);
  }
  for (const auto& [value, places] : stored) {
    for (const std::int64_t position : places) {
      if (!kept.contains(position)) plan.removeAt.bind(1, owner).bind(2, position).run();
    }
  }
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (old[i] != positions[i]) insertReference(plan, owner, positions[i], members[i]);
  }
}

// --- How it ended.

void StoreWriter::succeeded(Work& work) {
  for (const GoneRow& row : work.removals) {
    const std::uint32_t place = fState.ids.placeOf(row.id);
    if (place < IdTable::kGone) fState.ids.setHasRow(place, false);
  }
  for (const Insertion& insertion : work.insertions) {
    fState.ids.setHasRow(insertion.record->index, true);
    fNextId = std::max(fNextId, insertion.id + 1);
  }
  for (const ElementRecord* record : work.tops) fState.setTop(*record, positionOf(work, *record));
  if (!work.emptyPlaces.empty()) fState.hasEmptyPlaces = true;
  fLastGrowth = static_cast<std::int64_t>(work.insertions.size()) - static_cast<std::int64_t>(work.removals.size());
  fDirty.clear();
  fGone.clear();
  noteNothing();
}

void StoreWriter::failed(Work& work) noexcept {
  for (const std::uint32_t place : work.numbered) {
    fState.ids.unset(place);
  }
  distrustCounts();
}

/// How many entries were appended is only true for what was noted once, since the last success.
void StoreWriter::distrustCounts() noexcept {
  for (auto& [record, dirt] : fDirty) {
    for (SlotDirt& slot : dirt.slots) slot.isWhole = true;
  }
}

void StoreWriter::forgetStatements() noexcept {
  for (Statement* statement : {&fInsertElement, &fMoveElement, &fRemoveElement, &fSelectContents, &fSelectLast,
                               &fSelectLastTop, &fRemoveEmptyPlaces, &fRemoveEmptyPlacesOf, &fInsertEmptyPlace}) {
    *statement = Statement();
  }
}

}  // namespace strata_datasource
