#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Binding.h"

namespace strata_datasource {

/// Takes over what changed in the model, and writes it as one transaction of the file.
///
/// What is noted is only *that* something may differ from the file: an element's life, its place, one of its
/// properties. What is written is what the model holds at the time of writing. So noting too much costs a statement and
/// never the truth, and after a failure what was noted simply stays noted.
class StoreWriter {
 public:
  using Record = tarn::kern::internal::ElementRecord;
  using Changes = tarn::kern::internal::StoreHooks::Changes;

  explicit StoreWriter(StoreState& state);

  /// Everything in the model is new to the store.
  void noteEverything() noexcept { fStoredEnd = 0; }
  /// Everything that is in the model now is in the store.
  void noteNothing() noexcept { fStoredEnd = static_cast<std::uint32_t>(fState.core.table().size()); }
  void note(const Changes& changes);
  void forget(const Record& record) noexcept;
  [[nodiscard]] bool hasChanges() const noexcept;

  enum class Store : std::uint8_t {
    Existing,
    New,       ///< its tables are made first
    Replaced,  ///< the same, when those that are there have gone
  };
  /// Writes what was noted, as one transaction.
  void write(Store store);

  /// Rows of destroyed elements that nobody knows any more, and that are still in the file.
  [[nodiscard]] std::size_t goneRows() const noexcept { return fGone.size(); }
  /// How many elements the last transaction added to the file, less those that it removed.
  [[nodiscard]] std::int64_t lastGrowth() const noexcept { return fLastGrowth; }

  /// The system failed while a commit was made durable: the file holds that commit or the one before, as a whole, and
  /// nobody here can tell which. So nothing more may be written on top of it.
  [[nodiscard]] bool isUncertain() const noexcept { return fIsUncertain; }

  /// The live elements that the store has no row of, in order of creation.
  [[nodiscard]] std::vector<Record*> unstored() const;

 private:
  using ElementList = tarn::kern::internal::ElementList;
  using SlotInfo = tarn::kern::internal::SlotInfo;

  struct SlotDirt {
    std::uint16_t slot = 0;
    bool isWhole = false;  // otherwise entries were appended and nothing else
    std::uint32_t appended = 0;
  };
  struct Dirt {
    bool isMoved = false;
    std::vector<SlotDirt> slots;
    SlotDirt& at(std::uint16_t slot);
  };
  struct Insertion {
    Record* record = nullptr;
    ClassPlan* plan = nullptr;
    std::int64_t id = 0;
  };
  struct GoneRow {
    std::int64_t id = 0;
    ClassPlan* plan = nullptr;
  };
  struct EmptyPlace {
    std::int64_t container = 0;
    std::int64_t role = 0;
    std::int64_t position = 0;
  };
  /// What one call of write works out before it writes rows.
  struct Work {
    std::vector<GoneRow> removals;
    std::vector<Insertion> insertions;
    std::vector<Record*> updates;  // have a row, and dirt
    std::vector<Record*> moves;    // have a row, and another place
    std::unordered_set<const Record*> moving;
    std::unordered_map<const Record*, std::int64_t> position;  // within the container, or among the top-level elements
    std::vector<std::int64_t> newPosition;                     // the same for many new ones, by place in the table
    std::vector<Record*> tops;                                 // get a position among the top-level elements
    std::vector<EmptyPlace> emptyPlaces;
    std::vector<std::uint32_t> numbered;  // places in the table that were given an id
  };

  void noteAll(const Changes& changes);
  void noteSlot(const Changes& changes, std::size_t entry, Record& element,
                std::unordered_map<std::uint64_t, std::uint32_t>& sizes);

  void commit(strata::DatabaseTransaction& transaction);

  // Working out.
  void collect(Work& work);
  void number(Work& work);
  void placeContents(Work& work);
  void placeContentsOf(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role);
  void placeAppended(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role, std::uint32_t count);
  void placeAgain(Work& work, Record& owner, const SlotInfo& slot, std::int64_t role);
  void placeTops(Work& work);
  void setPosition(Work& work, Record& record, std::int64_t position);
  void addMove(Work& work, Record& record);
  [[nodiscard]] std::int64_t positionOf(const Work& work, const Record& record) const;

  // Writing.
  void writeRows(Work& work);
  void removeRows(const GoneRow& row);
  void insertRow(const Work& work, const Insertion& insertion);
  void insertContent(const Insertion& insertion);
  void moveRow(const Work& work, Record& record);
  void updateRow(Record& record, const Dirt& dirt);
  void updateColumn(Record& record, ClassPlan& plan, const SlotInfo& slot);
  void rewriteValues(Record& record, CollectionPlan& plan, const SlotInfo& slot);
  void rewriteMap(Record& record, CollectionPlan& plan, const SlotInfo& slot);
  void rewriteReferences(Record& record, CollectionPlan& plan, const SlotInfo& slot);
  void appendReferences(Record& record, CollectionPlan& plan, const SlotInfo& slot, std::uint32_t count);
  void insertReference(CollectionPlan& plan, std::int64_t owner, std::int64_t position, const Record* member);
  void bindColumn(strata::Statement& statement, int parameter, const SlotInfo& slot, Record& record);
  [[nodiscard]] std::int64_t lastPosition(strata::Statement& question);

  void succeeded(Work& work);
  void failed(Work& work) noexcept;
  void distrustCounts() noexcept;
  void forgetStatements() noexcept;

  StoreState& fState;
  std::unordered_map<Record*, Dirt> fDirty;
  std::vector<GoneRow> fGone;
  std::uint32_t fStoredEnd = 0;  // what was made at this place of the model's table or later is not in the store yet
  std::int64_t fNextId = 0;      // 0: not asked yet
  std::int64_t fLastGrowth = 0;
  bool fIsUncertain = false;

  strata::Statement fInsertElement;
  strata::Statement fMoveElement;
  strata::Statement fRemoveElement;
  strata::Statement fSelectContents;
  strata::Statement fSelectLast;
  strata::Statement fSelectLastTop;
  strata::Statement fRemoveEmptyPlaces;
  strata::Statement fRemoveEmptyPlacesOf;
  strata::Statement fInsertEmptyPlace;
};

}  // namespace strata_datasource
