#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/Model.h>

#include "BlockPool.h"
#include "ElementRecord.h"
#include "Journal.h"
#include "StoreHooks.h"
#include "UuidIndex.h"

namespace tarn::kern::internal {

/// The content of one model and everything that keeps it consistent: the table of elements, their identity,
/// containment, opposites and back references, the journal of the open transactions and the history.
///
/// Layers, from below: *raw* changes write one slot and its journal entry and keep no other slot in step; *changes*
/// (link, unlink, insert, remove, destroy) keep containment and opposites in step by raw ones; transactions delimit
/// them.
///
/// The journal holds one entry per raw change of an element that existed before the innermost open level. What the
/// level itself made needs none: when the level is undone it goes as a whole (see isJournaled).
///
/// Lives as long as its model, as a handle to one of its elements, or as a Transaction of it: whoever is last frees it.
class ModelCore {
 public:
  explicit ModelCore(Model::Impl* model) noexcept : fModel(model) {}
  ModelCore(const ModelCore&) = delete;
  ModelCore& operator=(const ModelCore&) = delete;

  // --- Lifetime.
  void addUser() noexcept { ++fUsers; }
  void removeUser() noexcept;
  /// The model's last handle is gone: so is the content.
  void modelGone() noexcept;
  void destroyContent() noexcept;
  /// The last handle to an element that is gone for good.
  void recordReleased(ElementRecord* record) noexcept;
  [[nodiscard]] Model::Impl* model() const noexcept { return fModel; }

  // --- Elements.
  [[nodiscard]] ElementRecord* create(const meta::Class& type, const boost::uuids::uuid& uuid);
  [[nodiscard]] ElementRecord* find(const boost::uuids::uuid& uuid) const noexcept;
  [[nodiscard]] std::size_t liveCount() const noexcept { return fLiveCount; }
  [[nodiscard]] const std::vector<ElementRecord*>& table() const noexcept { return fTable; }
  [[nodiscard]] std::vector<ModelElement> topLevelElements() const;
  [[nodiscard]] std::vector<IncomingReference> incomingReferences(ElementRecord& target);

  // --- Changes. Each is atomic: when it throws, nothing has changed.
  void setSingle(ElementRecord& element, const SlotInfo& slot, Value value);  // normalised
  /// True when nobody could ask what a single value was before: then it may be overwritten in place.
  [[nodiscard]] bool mayOverwrite(const ElementRecord& element) const noexcept {
    return fLevels.empty() ? fObservers.empty() && fUndoLimit == 0 && fStore == nullptr : !isJournaled(element);
  }
  void setReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target);
  /// The same for references that nothing but the slot itself shows.
  [[nodiscard]] bool mayOverwritePlain(const ElementRecord& element, const SlotInfo& slot) const noexcept {
    return !slot.isComposite && !slot.isPaired && mayOverwrite(element);
  }
  /// The layout of an element of this model that can be read, as far as its address alone tells: its record, which may
  /// lie anywhere in memory, is not touched. nullptr says nothing.
  [[nodiscard]] const Layout* layoutByAddress(const ElementRecord* record) const noexcept {
    return fMayHaveUnreadable ? nullptr : fPool.layoutAt(record);
  }
  /// @pre mayOverwritePlain(), and the target can be read, conforms, and is of this model
  void overwritePlainReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target) noexcept;
  /// The same for a list. @pre also: there are fewer members than make a list long
  void overwritePlainList(ElementRecord& element, const SlotInfo& slot, std::span<ElementRecord* const> members);
  void setContainer(ElementRecord& element, const SlotInfo& slot, ElementRecord* container);
  /// At the logical index, or at the end when that is past it. False when a unique collection had it already.
  bool insert(ElementRecord& element, const SlotInfo& slot, std::size_t index, ElementRecord* member);
  bool remove(ElementRecord& element, const SlotInfo& slot, ElementRecord* member);
  void removeAt(ElementRecord& element, const SlotInfo& slot, std::size_t index);
  void move(ElementRecord& element, const SlotInfo& slot, std::size_t from, std::size_t to);
  void assign(ElementRecord& element, const SlotInfo& slot, std::span<ElementRecord* const> members);
  void destroy(ElementRecord& element);

  /// Whether a collection that is declared unique holds the value. A long one keeps a hash of its entries for that.
  [[nodiscard]] bool holdsValue(ElementRecord& element, const SlotInfo& slot, const Value& value);
  /// To be told before the entries of a value collection change otherwise than by appending.
  void forgetValues(const void* vector) noexcept {
    if (!fUniqueValues.empty()) fUniqueValues.erase(vector);
  }
  void vectorInsert(ElementRecord& element, const SlotInfo& slot, std::size_t index, Value value);  // normalised
  void vectorErase(ElementRecord& element, const SlotInfo& slot, std::size_t index);
  void vectorSet(ElementRecord& element, const SlotInfo& slot, std::size_t index, Value value);
  void vectorMove(ElementRecord& element, const SlotInfo& slot, std::size_t from, std::size_t to);
  void vectorSwap(ElementRecord& element, const SlotInfo& slot, std::unique_ptr<JournalPayload> content);

  /// False when nobody could ever ask for the change to be undone.
  [[nodiscard]] bool recordsMapChange(const ElementRecord& element) const noexcept;
  void beforeMapChange(ElementRecord& element);
  void afterMapChange(ElementRecord& element, const SlotInfo& slot, std::unique_ptr<MapUndo> undo) noexcept;

  /// The list without holes, so that logical and physical positions agree. False when memory for that is short.
  bool pack(ElementRecord& element, const SlotInfo& slot);
  /// The physical position of the member with that index.
  [[nodiscard]] std::uint32_t physicalIndex(ElementRecord& element, const SlotInfo& slot, std::size_t index);

  // --- The store that the model is bound to (see StoreHooks). Implemented in ModelCoreStore.cpp.
  [[nodiscard]] StoreHooks* store() const noexcept { return fStore.get(); }
  /// @pre none is bound and no level is open.
  void bind(std::unique_ptr<StoreHooks> store);
  /// Makes everything real, has the store write what it does not have yet, and lets it go; open levels stay open. When
  /// it throws, the model is still bound.
  void unbind();
  /// Lets the store go with what it has; open levels are rolled back.
  void letStoreGo() noexcept;
  /// Fills an unloaded element.
  void load(ElementRecord& element) { fStore->load(element); }
  /// A new unloaded element, for the store. It has no place among the top-level elements.
  [[nodiscard]] ElementRecord* adopt(const meta::Class& type, const boost::uuids::uuid& uuid);
  /// Gives an element of the store that has no container its place among the top-level elements.
  void adoptTop(ElementRecord& element) noexcept;
  /// Makes room for that, and tells the place.
  [[nodiscard]] std::uint32_t reserveTop();
  /// An element of the store has got its references.
  void noteReferencesOf(const ElementRecord& element) noexcept;

  // --- Transactions.
  [[nodiscard]] std::uint64_t begin(bool isImplicit);
  TransactionResult commit(std::uint64_t level, const boost::optional<Value>& note);
  TransactionResult rollBack(std::uint64_t level);
  /// Rolls back the level and those inside it if it is still open.
  void abandon(std::uint64_t level) noexcept;
  [[nodiscard]] bool isOpen(std::uint64_t level) const noexcept;
  [[nodiscard]] std::size_t depth() const noexcept { return fLevels.size(); }
  void failNextCommit(std::string text) { fNextCommitFailure = std::move(text); }

  void setUndoLimit(std::size_t steps);
  [[nodiscard]] bool canUndo() const noexcept { return !fUndo.empty(); }
  [[nodiscard]] bool canRedo() const noexcept { return !fRedo.empty(); }
  void undo();
  void redo();

  // --- Observers.
  void addObserver(ModelObserver* observer);
  void removeObserver(ModelObserver* observer) noexcept;
  [[nodiscard]] const std::vector<ModelObserver*>& observers() const noexcept { return fObservers; }
  template <class Call>
  void tellObservers(Call call) noexcept;
  [[nodiscard]] std::vector<std::exception_ptr> takeObserverErrors() noexcept;

 private:
  friend class ChangeScope;

  struct Level {
    std::uint64_t id;
    std::uint32_t serial;
    std::size_t journalStart;
    std::uint32_t tableStart;
    std::size_t topStart;
    bool isImplicit;
  };
  /// One kept transaction. Its entries concern elements that existed before it; those it made are the range of the
  /// table.
  struct Step {
    Journal entries;
    std::uint32_t tableStart = 0;
    std::uint32_t tableEnd = 0;
  };
  struct BackReference {
    std::uint32_t referrer;  // place in the table
    std::uint32_t next;      // place in the nodes plus one
  };
  /// Who may refer to whom by plain references: a superset that is verified on use, because taking entries out costs
  /// more than checking. Made by one scan when first needed.
  struct BackReferences {
    std::vector<std::uint32_t> heads;
    std::vector<BackReference> nodes;
    std::size_t madeWith = 0;  // nodes right after the scan
  };

  ~ModelCore() = default;

  // Journal and raw changes. A change first reserves, then changes; changing does not fail.
  [[nodiscard]] bool isJournaled(const ElementRecord& element) const noexcept {
    return !fLevels.empty() && element.born < fLevels.back().serial;
  }
  [[nodiscard]] bool keepsHistory() const noexcept { return !fUndo.empty() || !fRedo.empty() || !fLevels.empty(); }
  void reserveJournal(std::size_t more);
  JournalEntry& record(JournalEntry::Kind kind, ElementRecord& element, const SlotInfo& slot) noexcept;
  void rawSetReference(ElementRecord& element, const SlotInfo& slot, ElementRecord* target);
  void rawInsert(ElementRecord& element, const SlotInfo& slot, std::uint32_t position, ElementRecord* member);
  void rawRemove(ElementRecord& element, const SlotInfo& slot, std::uint32_t position);
  void rawSetContainer(ElementRecord& element, ElementRecord* container, std::uint16_t slot);
  void rawKill(ElementRecord& element);
  void apply(JournalEntry& entry) noexcept;
  void applyToPlace(JournalEntry& entry) noexcept;
  /// Leaves of an entry what concerns elements that are older than a level of that serial; what the level made goes as
  /// a whole. False when that is nothing.
  [[nodiscard]] static bool restrictToOlder(JournalEntry& entry, std::uint32_t serial) noexcept;
  void swapLife(ElementRecord& element, bool alive) noexcept;

  // Keeping slots in step.
  void checkTarget(const ElementRecord& element, const SlotInfo& slot, const ElementRecord* target) const;
  void checkNoCycle(const ElementRecord& parent, const SlotInfo& slot, const ElementRecord& child) const;
  [[nodiscard]] bool containsFewerThan(const ElementRecord& element, std::size_t limit) const;
  void needPartners(const SlotInfo& slot, ElementRecord* member) const;
  void loadForDestruction(ElementRecord& element) const;
  void detach(ElementRecord& child);
  void leavePlace(ElementRecord& element);
  void killInPlace(ElementRecord& element);
  [[nodiscard]] bool destroyAlone(ElementRecord& element);
  void unlink(ElementRecord& owner, const SlotInfo& slot, ElementRecord* target);
  void linkOpposite(ElementRecord& element, const SlotInfo& slot, ElementRecord& target);
  void unlinkOpposite(ElementRecord& element, const SlotInfo& slot, ElementRecord& target);
  [[nodiscard]] const SlotInfo& oppositeSlot(const SlotInfo& slot, const ElementRecord& target) const;
  void insertChecked(ElementRecord& element, const SlotInfo& slot, std::uint32_t position, ElementRecord* member);
  void removeChecked(ElementRecord& element, const SlotInfo& slot, std::uint32_t position);
  [[nodiscard]] bool holds(ElementRecord& element, const SlotInfo& slot, ElementRecord* member) const noexcept;
  void collectContents(ElementRecord& element, std::vector<ElementRecord*>& found) const;
  void clearReferencesTo(ElementRecord& target);
  void clearPlainReferences(ElementRecord& referrer, ElementRecord& target);

  // Back references.
  void noteReference(const ElementRecord& referrer, const ElementRecord* target) noexcept;
  void needBackReferences();
  void noteAllReferences() noexcept;
  template <class Visit>
  void forEachReferrer(const ElementRecord& target, Visit visit);

  // Transactions.
  [[nodiscard]] std::size_t levelPosition(std::uint64_t level) const;
  void undoLevel() noexcept;
  [[nodiscard]] bool hasCreatedSince(std::uint32_t tableStart) const noexcept;
  template <class Call>
  void withoutOpenLevels(Call call);
  void settleTable();
  void settleTop();
  void endLevelWithoutHistory() noexcept;
  void keepPacking(Journal& entries);
  [[nodiscard]] ModelChange netChanges(const Journal& entries, std::uint32_t tableStart, std::uint32_t tableEnd,
                                       bool backwards) const;
  void discardKilled(Journal& entries) noexcept;
  void discardDead(std::uint32_t tableStart, std::uint32_t tableEnd) noexcept;
  void dropRedo() noexcept;
  void trimUndo() noexcept;
  void replay(Step& step, bool forward) noexcept;
  void replayAndWrite(Step& step, bool forward);
  void tellChange(const ModelChange& change) noexcept;
  void tidy() noexcept;
  void packTopLevel() noexcept;
  void packTable() noexcept;
  [[nodiscard]] ElementRecord* topLevelAt(std::size_t position) const noexcept;

  // Records.
  void freeRecord(ElementRecord* record) noexcept;
  void beginRetirement(ElementRecord& record) noexcept;
  void endRetirement(ElementRecord& record) noexcept;
  template <class ForEach, class Begin>
  void retireEach(ForEach forEach, Begin begin) noexcept;
  void retireAll() noexcept;
  void deleteIfUnused() noexcept;

  Model::Impl* fModel;
  std::size_t fUsers = 1;      // the model itself, and transactions
  std::size_t fSurvivors = 0;  // gone records that are still held by handles
  BlockPool fPool;
  std::vector<ElementRecord*> fTable;  // in order of creation; null where a record was freed
  std::size_t fFreed = 0;              // nulls in the table
  UuidIndex fUuids;
  std::size_t fLiveCount = 0;
  bool fMayHaveUnreadable = false;  // false: every record that the pool gave out is State::Live
  std::vector<std::uint32_t> fTop;  // places in the table; an entry stands where the record's topPosition points back
  std::size_t fTopCount = 0;
  std::unique_ptr<BackReferences> fBackReferences;
  bool fMayHaveReferences = false;  // a plain reference was ever set
  bool fMayHoldHandles = false;     // a class with values that may hold handles was ever instantiated
  std::unordered_map<const void*, std::unordered_multimap<std::size_t, std::size_t>> fUniqueValues;

  Journal fJournal;
  std::vector<Level> fLevels;
  std::uint64_t fNextLevel = 1;
  std::uint32_t fSerial = 0;
  bool fCreatedSinceSerial = false;

  std::size_t fUndoLimit = 0;
  std::list<Step> fUndo;
  std::list<Step> fRedo;

  std::unique_ptr<MapPayload> fMapPayload;  // made before a map changes, so that afterwards nothing can fail

  std::unique_ptr<StoreHooks> fStore;
  std::optional<std::string> fNextCommitFailure;
  std::vector<ModelObserver*> fObservers;
  std::vector<std::exception_ptr> fObserverErrors;
};

/// Makes one change atomic. While no level is open it is a transaction of its own, otherwise part of the innermost
/// level. A scope that ends without done() undoes what it covers.
class ChangeScope {
 public:
  enum class Kind {
    Plain,   ///< the change reserves all it needs before its first raw change, so it cannot fail half way
    Nested,  ///< it may fail half way: a level of its own inside the open one makes every raw change undoable
  };
  explicit ChangeScope(ModelCore& core, Kind kind = Kind::Plain);
  ChangeScope(const ChangeScope&) = delete;
  ChangeScope& operator=(const ChangeScope&) = delete;
  ~ChangeScope();
  void done();

 private:
  ModelCore& fCore;
  std::uint64_t fOwnLevel = 0;  // 0: inside an open level
};

template <class Call>
void ModelCore::tellObservers(Call call) noexcept {
  for (std::size_t i = 0; i < fObservers.size(); ++i) {  // an observer may add or remove observers
    try {
      call(*fObservers[i]);
    } catch (...) {
      try {
        fObserverErrors.push_back(std::current_exception());
      } catch (const std::bad_alloc&) {  // the report is lost, the change is not
      }
    }
  }
}

}  // namespace tarn::kern::internal
