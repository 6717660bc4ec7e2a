#include "StoreReader.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include <strata/StoreError.h>

namespace strata_datasource {

using strata::DatabaseTransaction;
using strata::Statement;
using strata::StatementUse;
using tarn::kern::internal::ElementList;
using tarn::kern::internal::ElementRecord;
using tarn::kern::internal::ElementSlotMaker;
using tarn::kern::internal::Layout;
using tarn::kern::internal::MapSlot;
using tarn::kern::internal::SlotInfo;
using tarn::kern::internal::SlotShape;

namespace {

using State = ElementRecord::State;

/// How many ids are read together. Fewer cost more statements per element; more bring what nobody asked for.
constexpr std::int64_t kBatch = 128;
constexpr std::int64_t kBulkBatch = 4096;

/// Begins a transaction for reading unless one is open: a batch comes from one state of the file.
class ReadScope {
 public:
  explicit ReadScope(strata::Database& database) {
    if (!database.isInTransaction()) fTransaction.emplace(database, DatabaseTransaction::Kind::Read);
  }
  void done() {
    if (fTransaction) fTransaction->commit();
  }

 private:
  std::optional<DatabaseTransaction> fTransaction;
};

}  // namespace

void StoreState::damaged(const std::string& text) const {
  throw strata::StoreError(strata::StoreError::Kind::Damaged, database.path(), text + "; restore a backup");
}

StoreReader::StoreReader(StoreState& state) : fState(state), fPairs(state) {
  strata::Database& database = state.database;
  fSelectElements = database.prepareLater(
      "SELECT id, uuid, class, container, role, position FROM element WHERE id BETWEEN ?1 AND ?2 ORDER BY id");
  fSelectElement = database.prepareLater("SELECT id, uuid, class FROM element WHERE id = ?1");
  fSelectByUuid = database.prepareLater("SELECT id, uuid, class FROM element WHERE uuid = ?1");
  fSelectContents = database.prepareLater(
      "SELECT container, role, id, uuid, class, position FROM element WHERE container BETWEEN ?1 AND ?2 "
      "ORDER BY container, role, position, id");
  fSelectEmptyPlaces = database.prepareLater(
      "SELECT container, role, position FROM empty_place WHERE container BETWEEN ?1 AND ?2 "
      "ORDER BY container, role, position");
  fSelectTop = database.prepareLater(
      "SELECT id, uuid, class FROM element WHERE container IS NULL AND role IS NULL ORDER BY position, id");
  fSelectContainer = database.prepareLater("SELECT container FROM element WHERE id = ?1");
}

// --- Proxies.

bool StoreReader::isGone(std::int64_t id) const noexcept { return fState.ids.placeOf(id) == IdTable::kGone; }

ElementRecord* StoreReader::known(std::int64_t id) const noexcept {
  const std::uint32_t place = fState.ids.placeOf(id);
  return place >= IdTable::kGone ? nullptr : fState.core.table()[place];
}

ClassPlan& StoreReader::classOf(std::int64_t id) const {
  ClassPlan* plan = fState.schema.byId(id);
  if (plan == nullptr)
    fState.damaged("an element is of the class " + std::to_string(id) + ", which the table class lacks");
  return *plan;
}

ElementRecord* StoreReader::proxy(std::int64_t id, const Statement& row, int uuidColumn, ClassPlan& plan) {
  if (ElementRecord* record = known(id)) return record->isLive() ? record : nullptr;
  if (isGone(id)) return nullptr;
  if (id <= 0 || id >= kLastId) fState.damaged("the id " + std::to_string(id) + " is out of range");
  const boost::uuids::uuid uuid = fState.codec.uuidOf(row, uuidColumn);
  if (fState.core.find(uuid) != nullptr) {
    fState.damaged("two elements bear the uuid " + std::string(row.text(uuidColumn)));
  }
  // An element without its id would be taken for another one's double when its row is read again.
  fState.ids.reserve(static_cast<std::uint32_t>(fState.core.table().size()), id);
  ElementRecord* record = fState.core.adopt(plan.type, uuid);
  fState.ids.set(record->index, id);
  return record;
}

ElementRecord* StoreReader::proxy(std::int64_t id, const Statement& row, int uuidColumn, int classColumn) {
  return proxy(id, row, uuidColumn, classOf(row.integer(classColumn)));
}

ElementRecord* StoreReader::resolve(std::int64_t id) {
  if (ElementRecord* record = known(id)) return record->isLive() ? record : nullptr;
  if (isGone(id)) return nullptr;
  const StatementUse use(fSelectElement);
  fSelectElement.bind(1, id);
  if (!fSelectElement.step()) {
    fState.damaged("an element refers to the id " + std::to_string(id) + ", which no element has");
  }
  return proxy(id, fSelectElement, 1, 2);
}

ElementRecord* StoreReader::find(const boost::uuids::uuid& uuid) {
  if (fState.isComplete) return nullptr;
  const StatementUse use(fSelectByUuid);
  fState.codec.forget();
  fState.codec.bindUuid(fSelectByUuid, 1, uuid);
  return fSelectByUuid.step() ? proxy(fSelectByUuid.integer(0), fSelectByUuid, 1, 2) : nullptr;
}

/// The element, which may be null, if its class suits the property: the file can be anybody's.
ElementRecord* StoreReader::fitting(const SlotInfo& slot, ElementRecord* element) const {
  if (element == nullptr || element->getMetaClass()->conformsTo(slot.property->getType())) return element;
  fState.damaged("an element of the class " + bedrock::i18n::to_string(element->getMetaClass()->getQualifiedName()) +
                 " stands in the property " + bedrock::i18n::to_string(slot.property->getName()) + ", which is for " +
                 bedrock::i18n::to_string(slot.property->getType()->getQualifiedName()));
}

void StoreReader::collect(Statement& rows, std::vector<Record*>& found) {
  const StatementUse use(rows);
  while (rows.step()) {
    if (ElementRecord* record = proxy(rows.integer(0), rows, 1, 2)) found.push_back(record);
  }
}

void StoreReader::collectClass(ClassPlan& plan, std::vector<std::pair<std::int64_t, Record*>>& found) {
  const StatementUse use(plan.selectAll);
  while (plan.selectAll.step()) {
    const std::int64_t id = plan.selectAll.integer(0);
    if (ElementRecord* record = proxy(id, plan.selectAll, 1, plan)) found.emplace_back(id, record);
  }
}

void StoreReader::collectTop(std::vector<Record*>& found) { collect(fSelectTop, found); }

// --- Filling.

void StoreReader::load(Record& element) {
  const std::int64_t id = fState.idOf(&element);
  // Blocks that begin at multiples of their size: in whatever direction they are walked through, each is read once.
  const std::int64_t from = id - id % kBatch;
  loadRange(from, from + kBatch - 1);
  if (element.state == State::Unloaded) {
    fState.damaged("the element of the id " + std::to_string(id) + " was there and is no more");
  }
}

void StoreReader::loadAll() {
  if (fState.isComplete) return;
  ReadScope scope(fState.database);
  const std::int64_t last = fState.database.askInteger("SELECT max(id) FROM element");
  std::int64_t next = fState.database.askInteger("SELECT min(id) FROM element");
  strata::Statement following = fState.database.prepare("SELECT min(id) FROM element WHERE id > ?1");
  while (next <= last && last > 0) {
    loadRange(next, next + kBulkBatch - 1);
    const StatementUse use(following);
    following.bind(1, next + kBulkBatch - 1);
    if (!following.step() || following.isNull(0)) break;
    next = following.integer(0);
  }
  scope.done();
  fState.isComplete = true;
}

void StoreReader::loadRange(std::int64_t from, std::int64_t to) {
  ReadScope scope(fState.database);
  Batch batch = readElements(from, to);
  try {
    fill(batch);
  } catch (...) {
    abandon(batch);
    throw;
  }
  scope.done();
}

StoreReader::Batch StoreReader::readElements(std::int64_t from, std::int64_t to) {
  Batch batch;
  const StatementUse use(fSelectElements);
  fSelectElements.bind(1, from).bind(2, to);
  while (fSelectElements.step()) {
    const std::int64_t id = fSelectElements.integer(0);
    ClassPlan& plan = classOf(fSelectElements.integer(2));
    ElementRecord* record = proxy(id, fSelectElements, 1, plan);
    if (record == nullptr || record->state != State::Unloaded) continue;
    const std::int64_t position = fSelectElements.integer(5);
    if (position < -kLastId || position > kLastId) fState.damaged("a position is out of range");
    if (fSelectElements.isNull(3) != fSelectElements.isNull(4)) {
      fState.damaged("the element of the id " + std::to_string(id) + " has a container or a role, and not both");
    }
    batch.push_back({id, record, &plan, fSelectElements.integer(3), fSelectElements.integer(4), position,
                     fSelectElements.isNull(3)});
  }
  return batch;
}

void StoreReader::fill(Batch& batch) {
  if (batch.empty()) return;
  readColumns(batch);
  readCollections(batch);
  readContents(batch);
  if (fState.hasEmptyPlaces) readEmptyPlaces(batch);
  for (Loading& loading : batch) place(loading);
  std::vector<ElementRecord*> filled;
  for (const Loading& loading : batch) filled.push_back(loading.record);
  fPairs.check(filled);
  for (const Loading& loading : batch) {  // each is complete when it is live
    if (loading.isTop) {
      fState.reserveTop(loading.record->index, fState.core.reserveTop());
      fState.core.adoptTop(*loading.record);
      fState.setTop(*loading.record, loading.position);
    }
    loading.record->state = State::Live;
    fState.core.noteReferencesOf(*loading.record);
  }
}

/// Puts back what was filled so far: the elements are proxies again.
void StoreReader::abandon(Batch& batch) noexcept {
  for (const Loading& loading : batch) {
    ElementRecord& record = *loading.record;
    if (record.state != State::Unloaded) continue;
    ElementSlotMaker maker(record);
    tarn::kern::internal::destroySlots(record.layout(), record.area(), maker);
    tarn::kern::internal::constructEmptySlots(record.layout(), record.area(), maker);
    record.container = nullptr;
  }
}

/// The entry of an id, searched from `at` on, where the search stops: rows come by ascending id.
StoreReader::Loading* StoreReader::findIn(Batch& batch, std::int64_t id, std::size_t& at) noexcept {
  while (at < batch.size() && batch[at].id < id) ++at;
  return at < batch.size() && batch[at].id == id ? &batch[at] : nullptr;
}

void StoreReader::readColumns(Batch& batch) {
  std::unordered_set<ClassPlan*> seen;
  for (const Loading& loading : batch) {
    if (seen.insert(loading.plan).second) readColumnsOf(*loading.plan, batch);
  }
}

void StoreReader::readColumnsOf(ClassPlan& plan, Batch& batch) {
  const Layout& layout = plan.layout();
  const auto isOfPlan = [&](const Loading& loading) { return loading.plan == &plan; };
  const auto first = std::find_if(batch.begin(), batch.end(), isOfPlan);
  const auto last = std::find_if(batch.rbegin(), batch.rend(), isOfPlan);
  auto missing = std::count_if(first, batch.end(), isOfPlan);
  auto at = static_cast<std::size_t>(first - batch.begin());

  const StatementUse use(plan.selectRange);
  plan.selectRange.bind(1, first->id).bind(2, last->id);
  while (plan.selectRange.step()) {
    const Loading* loading = findIn(batch, plan.selectRange.integer(0), at);
    if (loading == nullptr) continue;
    if (loading->plan != &plan) fState.damaged("the table " + plan.table + " holds an element of another class");
    --missing;
    std::byte* area = loading->record->area();
    int column = 0;
    for (const std::uint16_t index : plan.columnSlots) {
      const SlotInfo& slot = layout.slots[index];
      ++column;
      if (slot.shape == SlotShape::Single) {
        fState.codec.readSingle(plan.selectRange, column, slot, area);
      } else if (!plan.selectRange.isNull(column)) {
        loading->record->reference(slot) = fitting(slot, resolve(plan.selectRange.integer(column)));
      }
    }
  }
  if (missing != 0) fState.damaged("the table " + plan.table + " lacks elements of its class");
  for (const std::uint16_t index : layout.withDefault) {
    const SlotInfo& slot = layout.slots[index];
    if (plan.slots[index].place != Place::Nowhere || slot.shape != SlotShape::Single) continue;
    for (auto loading = first; loading != batch.end(); ++loading) {
      if (!isOfPlan(*loading)) continue;
      tarn::kern::internal::putSingle(slot, loading->record->area(), tarn::kern::Value(*slot.property->defaultValue()));
    }
  }
}

void StoreReader::readCollections(Batch& batch) {
  std::unordered_set<ClassPlan*> seenClasses;
  std::unordered_set<CollectionPlan*> seen;
  for (const Loading& loading : batch) {
    if (!seenClasses.insert(loading.plan).second) continue;
    for (const std::uint16_t index : loading.plan->tableSlots) {
      CollectionPlan* collection = loading.plan->slots[index].collection;
      if (seen.insert(collection).second) readCollection(*collection, batch);
    }
  }
}

void StoreReader::readCollection(CollectionPlan& plan, Batch& batch) {
  Statement& rows = plan.selectRange;
  const StatementUse use(rows);
  rows.bind(1, batch.front().id).bind(2, batch.back().id);
  std::size_t at = 0;
  const SlotInfo* slot = nullptr;
  const Layout* layout = nullptr;
  while (rows.step()) {
    Loading* loading = findIn(batch, rows.integer(0), at);
    if (loading == nullptr) continue;
    ElementRecord& record = *loading->record;
    if (&record.layout() != layout) {
      layout = &record.layout();
      slot = layout->find(plan.property);
      if (slot == nullptr) fState.damaged("the table " + plan.table + " names an element that has no such property");
    }
    switch (plan.place) {
      case Place::MapTable:
        record.slot<MapSlot>(*slot).fill(bedrock::i18n::utf8_to_ustring(rows.text(1)),
                                         bedrock::i18n::utf8_to_ustring(rows.text(2)));
        break;
      case Place::ReferenceTable: {
        ElementRecord* member = nullptr;
        if (!rows.isNull(1)) {
          if (rows.isNull(2)) fState.damaged("the table " + plan.table + " refers to an element that is not there");
          member = fitting(*slot, proxy(rows.integer(1), rows, 2, 3));
          if (member == nullptr) break;
        }
        ElementList& list = record.list(*slot);
        if (member != nullptr && plan.property->isUnique && list.find(member) != ElementList::kNone) {
          fState.damaged("the table " + plan.table + " holds a member twice");
        }
        list.reserve(1);
        list.insertAt(list.physicalSize(), member);
        break;
      }
      default:
        fState.codec.readEntry(rows, 1, *slot, record.area());
    }
  }
}

void StoreReader::readContents(Batch& batch) {
  const StatementUse use(fSelectContents);
  fSelectContents.bind(1, batch.front().id).bind(2, batch.back().id);
  std::size_t at = 0;
  while (fSelectContents.step()) {
    const Loading* loading = findIn(batch, fSelectContents.integer(0), at);
    if (loading == nullptr) continue;
    const Role* role = fState.schema.role(fSelectContents.integer(1));
    if (role == nullptr || role->owner != loading->plan) {
      fState.damaged("an element stands in a property that its container's class does not have");
    }
    ElementRecord& parent = *loading->record;
    const SlotInfo& slot = parent.layout().slots[role->slot];
    ElementRecord* child = fitting(slot, proxy(fSelectContents.integer(2), fSelectContents, 3, 4));
    if (child == nullptr) continue;
    if (slot.shape == SlotShape::Reference) {
      if (parent.reference(slot) != nullptr) fState.damaged("two elements stand in a property that holds one");
      parent.reference(slot) = child;
    } else {
      ElementList& list = parent.list(slot);
      list.reserve(1);
      list.insertAt(list.physicalSize(), child);
    }
    parent.mayHaveContents = true;
    child->container = &parent;
    child->containerSlot = slot.index;
  }
}

/// Null members of composite collections: rare enough to be put between the others afterwards.
void StoreReader::readEmptyPlaces(Batch& batch) {
  struct Gap {
    Loading* loading;
    const SlotInfo* slot;
    std::int64_t position;
  };
  std::vector<Gap> gaps;
  {
    const StatementUse use(fSelectEmptyPlaces);
    fSelectEmptyPlaces.bind(1, batch.front().id).bind(2, batch.back().id);
    std::size_t at = 0;
    while (fSelectEmptyPlaces.step()) {
      Loading* loading = findIn(batch, fSelectEmptyPlaces.integer(0), at);
      if (loading == nullptr) continue;
      const Role* role = fState.schema.role(fSelectEmptyPlaces.integer(1));
      if (role == nullptr || role->owner != loading->plan) fState.damaged("an empty place is in no known property");
      const SlotInfo& slot = loading->record->layout().slots[role->slot];
      if (slot.shape != SlotShape::Elements) fState.damaged("an empty place is in a property that holds one element");
      gaps.push_back({loading, &slot, fSelectEmptyPlaces.integer(2)});
    }
  }
  strata::Statement before = fState.database.prepare(
      "SELECT (SELECT count(*) FROM element WHERE container = ?1 AND role = ?2 AND position < ?3) + "
      "(SELECT count(*) FROM empty_place WHERE container = ?1 AND role = ?2 AND position < ?3)");
  for (const Gap& gap : gaps) {
    const StatementUse use(before);
    before.bind(1, gap.loading->id).bind(2, gap.loading->plan->slots[gap.slot->index].id).bind(3, gap.position);
    before.step();
    ElementList& list = gap.loading->record->list(*gap.slot);
    const auto index = static_cast<std::uint32_t>(before.integer(0));
    if (index > list.physicalSize()) fState.damaged("an empty place is out of order");
    list.reserve(1);
    list.insertAt(index, nullptr);
  }
}

/// Gives a filled element its place in the tree, if that is within another element.
void StoreReader::place(Loading& loading) {
  if (loading.isTop) return;
  ElementRecord& record = *loading.record;
  const Role* role = fState.schema.role(loading.role);
  ElementRecord* container = resolve(loading.container);
  if (role == nullptr || container == nullptr || role->owner->type != container->getMetaClass()) {
    fState.damaged("the element of the id " + std::to_string(loading.id) + " stands in no known property");
  }
  record.container = container;
  record.containerSlot = role->slot;
  static_cast<void>(fitting(container->layout().slots[role->slot], &record));
  // Where containers are older than what they contain, nothing contains itself; almost all are.
  if (loading.container >= loading.id) checkRooted(record, *container);
}

/// Refuses an element that contains itself, directly or by way of others. In such a circle one at least is not younger
/// than its container: that one cannot be loaded, and so the circle is never closed in memory.
void StoreReader::checkRooted(Record& element, Record& container) {
  std::unordered_set<ElementRecord*> way = {&element};
  for (ElementRecord* at = &container; at != nullptr; at = containerOf(*at)) {
    if (!way.insert(at).second)
      fState.damaged("the element of the id " + std::to_string(fState.idOf(at)) + " contains itself");
    if (fRooted.contains(fState.idOf(at))) break;
  }
  for (const ElementRecord* passed : way) {
    if (fState.ids.hasRow(passed->index)) fRooted.insert(fState.idOf(passed));
  }
}

ElementRecord* StoreReader::containerOf(Record& element) {
  if (element.state != State::Unloaded) return element.container;
  const StatementUse use(fSelectContainer);
  fSelectContainer.bind(1, fState.idOf(&element));
  if (!fSelectContainer.step() || fSelectContainer.isNull(0)) return nullptr;
  return resolve(fSelectContainer.integer(0));
}

// --- Who refers to an element.

void StoreReader::loadReferrers(const Record& target) {
  if (fState.isComplete) return;
  const std::int64_t id = fState.idOf(&target);
  if (!fState.ids.hasRow(target.index)) return;
  std::vector<std::int64_t> owners;
  const auto ask = [&](Statement& question) {
    const StatementUse use(question);
    question.bind(1, id);
    while (question.step()) owners.push_back(question.integer(0));
  };
  const auto mayHold = [&](const tarn::kern::meta::Property::Impl* property) {
    return target.getMetaClass()->conformsTo(property->getType());
  };
  for (const auto& collection : fState.schema.collections()) {
    if (collection->selectReferrers && mayHold(collection->property)) ask(collection->selectReferrers);
  }
  for (const auto& plan : fState.schema.classes()) {
    for (const std::uint16_t index : plan->columnSlots) {
      const SlotInfo& slot = plan->layout().slots[index];
      SlotPlan& slotPlan = plan->slots[index];
      if (slotPlan.place != Place::ReferenceColumn || slot.isPaired || !mayHold(slot.property)) continue;
      if (!slotPlan.selectReferrers) {
        slotPlan.selectReferrers =
            fState.database.prepare("SELECT id FROM " + plan->table + " WHERE " + slotPlan.column + " = ?1");
      }
      ask(slotPlan.selectReferrers);
    }
  }
  for (const std::int64_t owner : owners) {
    ElementRecord* record = resolve(owner);
    if (record != nullptr && record->state == State::Unloaded) load(*record);
  }
}

}  // namespace strata_datasource
