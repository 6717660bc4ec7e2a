#include "StoreBinding.h"

#include <algorithm>
#include <utility>

#include <strata/StoreError.h>
#include <tarn/kern/evolution/Evolver.h>

#include "StoreEvolution.h"

namespace strata_datasource {

using strata::StoreError;
using tarn::kern::internal::ElementRecord;
using tarn::kern::internal::JournalEntry;
namespace meta = tarn::kern::meta;
using Kind = StoreError::Kind;

DataSource::Binding::Binding(Core& core, const std::string& path, ToDataSourceSync toDataSource, SyncTiming timing,
                             const Options& options)
    : fPath(path),
      fTiming(timing),
      fSelf(std::make_shared<Binding*>(this)),
      fGuard(path, toDataSource == ToDataSourceSync::Never),
      fReadOnly(fGuard.isReadOnly()),
      fFacade(*this) {
  // Nothing is written, nor read by SQLite, before the file is known to be one of ours. A journal beside it means that
  // SQLite has to put the file right first.
  fIsNew = fGuard.sizeBytes() == 0 && !fGuard.hasJournal();
  if (fIsNew && fReadOnly) {
    throw StoreError(Kind::ReadOnly, path, "the file is empty and may not be written, so no store can be made of it");
  }
  if (!fIsNew) checkHeader();
  if (!fReadOnly && fGuard.hasJournalFile()) strata::Database::settle(path);
  fState = std::make_unique<StoreState>(core, path, fReadOnly);
  lock();
  if (!fIsNew) open(options);
}

DataSource::Binding::~Binding() {
  // Statements go before their connection.
  fReader.reset();
  fWriter.reset();
}

// --- Opening.

void DataSource::Binding::checkHeader() const {
  const strata::FileHeader header = fGuard.header();
  if (!header.hasMagic) {
    if (header.isBlank && fGuard.hasJournal()) return;  // its first transaction did not come to an end
    throw StoreError(Kind::Foreign, fPath,
                     "is no store: it does not begin like a SQLite file; the file was left as it is");
  }
  if (header.applicationId != kApplicationId) {
    throw StoreError(Kind::Foreign, fPath,
                     "is a SQLite database of another application (application_id " +
                         std::to_string(header.applicationId) + ", a store has " + std::to_string(kApplicationId) +
                         "); the file was left as it is");
  }
  if (header.userVersion > kFormatVersion) {
    throw StoreError(Kind::Newer, fPath,
                     "was made by a newer version of this library (format " + std::to_string(header.userVersion) +
                         ", this one reads up to " + std::to_string(kFormatVersion) + "); update the library");
  }
  if (header.userVersion == 0) {
    throw StoreError(Kind::Damaged, fPath, "bears no format version; restore a backup");
  }
  if (!fGuard.hasJournal()) checkSize();
}

void DataSource::Binding::checkSize() const {
  const strata::FileHeader header = fGuard.header();
  const std::uint64_t expected = header.pages * header.pageBytes;
  const std::uint64_t found = fGuard.sizeBytes();
  if (found >= expected && header.pages > 0) return;
  throw StoreError(Kind::Damaged, fPath,
                   "is cut off: it has " + std::to_string(found) + " bytes, and says that it has " +
                       std::to_string(expected) + "; restore a backup");
}

/// Takes SQLite's own lock and keeps it, against other programs.
void DataSource::Binding::lock() {
  strata::Database& database = fState->database;
  if (fReadOnly) {
    database.execute("BEGIN");
    static_cast<void>(database.askInteger("SELECT count(*) FROM sqlite_schema"));
    database.execute("COMMIT");
    return;
  }
  database.execute("BEGIN EXCLUSIVE");
  database.execute("ROLLBACK");  // a commit would make an empty file a database, and not yet ours
}

void DataSource::Binding::open(const Options& options) {
  if (fGuard.sizeBytes() == 0) {  // what a journal gave back was an empty file
    fIsNew = true;
    return;
  }
  checkHeader();
  evolve(options);
  StoreState& state = *fState;
  state.schema.load();
  fIsEmpty = state.database.askInteger("SELECT EXISTS(SELECT 1 FROM element)") == 0;
  state.hasEmptyPlaces = state.database.askInteger("SELECT EXISTS(SELECT 1 FROM empty_place)") != 0;
  fReader = std::make_unique<StoreReader>(state);
  fWriter = std::make_unique<StoreWriter>(state);
  fWriter->noteNothing();
  state.codec.setFindElement([this](const boost::uuids::uuid& uuid) {
    ElementRecord* found = fState->core.find(uuid);
    return tarn::kern::ModelElement(found != nullptr ? found : fReader->find(uuid));
  });
}

/// A store of older package versions is rewritten for the current ones, before anything else looks at its content.
void DataSource::Binding::evolve(const Options& options) {
  tarn::kern::internal::ModelCore& core = fState->core;
  std::optional<tarn::kern::evolution::Evolver> evolver;
  try {
    evolver.emplace(Schema::packageUris(fState->database));
  } catch (const tarn::kern::evolution::EvolutionError& error) {
    throw StoreError(Kind::Newer, fPath, error.what());
  }
  if (!evolver->isNeeded()) return;
  if (!options.evolveIfNeeded || fReadOnly) {
    throw StoreError(Kind::Stale, fPath,
                     std::string("was written with older versions of its packages, and ") +
                         (fReadOnly ? "may not be written, so it cannot be brought up to date"
                                    : "evolving is switched off (Options::evolveIfNeeded); switch it on to bring it up "
                                      "to date"));
  }
  fState.reset();  // which leaves the file to the one that rewrites it, under the same guard
  evolveStore(fPath, *evolver);
  fState = std::make_unique<StoreState>(core, fPath, false);
  lock();
}

void DataSource::Binding::fillStore() {
  StoreState& state = *fState;
  if (fIsNew) {
    fWriter = std::make_unique<StoreWriter>(state);
    fWriter->noteEverything();
    writeNow(StoreWriter::Store::New);
    fReader = std::make_unique<StoreReader>(state);
    state.codec.setFindElement([this](const boost::uuids::uuid& uuid) {
      ElementRecord* found = fState->core.find(uuid);
      return tarn::kern::ModelElement(found != nullptr ? found : fReader->find(uuid));
    });
    fIsNew = false;
    state.isComplete = true;
    fGuard.keep();
  } else if (state.core.liveCount() > 0) {
    fWriter->noteEverything();
    if (fReadOnly)
      throw StoreError(Kind::ReadOnly, fPath, "the model's content cannot be written to a read-only store");
    writeNow(StoreWriter::Store::Existing);
  }
  if (fIsEmpty) state.isComplete = true;
}

// --- Reading.

void DataSource::Binding::load(Record& element) { fReader->load(element); }

ElementRecord* DataSource::Binding::find(const boost::uuids::uuid& uuid) { return fReader->find(uuid); }

void DataSource::Binding::loadReferrers(const Record& target) { fReader->loadReferrers(target); }

void DataSource::Binding::loadAll() { fReader->loadAll(); }

std::vector<ElementRecord*> DataSource::Binding::all() {
  std::vector<ElementRecord*> found;
  strata::Statement rows = fState->database.prepare("SELECT id, uuid, class FROM element ORDER BY id");
  fReader->collect(rows, found);
  const std::vector<ElementRecord*> since = fWriter->unstored();
  found.insert(found.end(), since.begin(), since.end());
  return found;
}

std::vector<ElementRecord*> DataSource::Binding::topLevel() {
  std::vector<ElementRecord*> stored;
  fReader->collectTop(stored);
  const auto standsAsStored = [&](const ElementRecord& record) {
    const auto top = fState->tops.find(record.index);
    return top != fState->tops.end() && top->second.topPosition == record.topPosition;
  };
  std::vector<ElementRecord*> found;
  for (ElementRecord* record : stored) {
    const bool isUntouched = record->state == ElementRecord::State::Unloaded;
    if (isUntouched || (record->container == nullptr && standsAsStored(*record))) found.push_back(record);
  }
  for (const tarn::kern::ModelElement& element : fState->core.topLevelElements()) {
    ElementRecord* record = tarn::kern::internal::recordOf(element);
    if (!standsAsStored(*record)) found.push_back(record);
  }
  return found;
}

std::vector<ElementRecord*> DataSource::Binding::ofClass(const meta::Class& type, bool withSubclasses) {
  if (!type) return {};
  const auto isWanted = [&](const meta::Class& actual) {
    return actual == type || (withSubclasses && actual->conformsTo(type));
  };
  std::vector<std::pair<std::int64_t, ElementRecord*>> stored;
  std::size_t tables = 0;
  for (const auto& plan : fState->schema.classes()) {
    if (!isWanted(plan->type)) continue;
    fReader->collectClass(*plan, stored);
    ++tables;
  }
  if (tables > 1) std::sort(stored.begin(), stored.end());  // ids are in order of creation
  std::vector<ElementRecord*> found;
  found.reserve(stored.size());
  for (const auto& [id, record] : stored) found.push_back(record);
  for (ElementRecord* record : fWriter->unstored()) {
    if (isWanted(record->getMetaClass())) found.push_back(record);
  }
  return found;
}

std::vector<meta::Class> DataSource::Binding::classesNotInMemory() {
  std::vector<meta::Class> found;
  if (fState->isComplete) return found;
  for (const auto& plan : fState->schema.classes()) {
    const strata::StatementUse use(plan->selectAll);
    while (plan->selectAll.step()) {
      if (fState->ids.placeOf(plan->selectAll.integer(0)) != IdTable::kUnknown) continue;
      found.push_back(plan->type);
      break;
    }
  }
  return found;
}

std::int64_t DataSource::Binding::rowCount() {
  if (!fRowCount) fRowCount = fState->database.askInteger("SELECT count(*) FROM element");
  return *fRowCount;
}

std::size_t DataSource::Binding::countNotInMemory() noexcept {
  if (fState->isComplete) return 0;
  try {
    const std::int64_t known = static_cast<std::int64_t>(fState->ids.rows() + fWriter->goneRows());
    return static_cast<std::size_t>(std::max<std::int64_t>(0, rowCount() - known));
  } catch (...) {
    return 0;
  }
}

std::int64_t DataSource::Binding::orderOf(const Record& element) const noexcept { return fState->idOf(&element); }

std::int64_t DataSource::Binding::topOrderAt(std::uint32_t topPosition) const noexcept {
  const auto found = fState->topOrder.find(topPosition);
  if (found == fState->topOrder.end() || found->second == StoreState::kNoOrder) return 0;
  return found->second + kLastId + 1;  // positions may be negative
}

// --- Writing.

void DataSource::Binding::refuseChange(const Changes& changes) const {
  const bool hasEntries = std::any_of(changes.entries.begin(), changes.entries.end(), [](const JournalEntry& entry) {
    return entry.kind != JournalEntry::Kind::ListPacked && entry.kind != JournalEntry::Kind::ListUnpacked;
  });
  const auto& table = fState->core.table();
  const bool hasNew = std::any_of(
      table.begin() + changes.tableStart, table.begin() + changes.tableEnd,
      [](const ElementRecord* record) { return record != nullptr && record->isLive() && !record->isFromStore; });
  if (!hasEntries && !hasNew) return;
  throw StoreError(Kind::ReadOnly, fPath,
                   "the store is bound for reading only, so the change cannot be saved; roll it back, or bind a copy "
                   "of the file that may be written");
}

void DataSource::Binding::note(const Changes& changes) {
  if (fReadOnly) return refuseChange(changes);
  fWriter->note(changes);
}

void DataSource::Binding::write(const Changes& changes) {
  if (fWriter->isUncertain()) {
    throw StoreError(Kind::Io, fPath,
                     "the system failed while an earlier commit was made durable, so the file holds that commit or the "
                     "one before; nothing more is written here: bind the store again and see");
  }
  note(changes);
  if (!fReadOnly && fTiming == SyncTiming::OnCommit) flush();
}

void DataSource::Binding::flush() {
  if (!fReadOnly && !fWriter->isUncertain() && fWriter->hasChanges()) writeNow(StoreWriter::Store::Existing);
}

void DataSource::Binding::writeNow(StoreWriter::Store store) {
  fWriter->write(store);
  if (fRowCount) *fRowCount += fWriter->lastGrowth();
}

void DataSource::Binding::forget(const Record& element) noexcept { fWriter->forget(element); }

}  // namespace strata_datasource
