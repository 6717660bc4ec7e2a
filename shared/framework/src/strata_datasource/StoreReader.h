#pragma once

#include <cstdint>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Binding.h"
#include "PairCheck.h"

namespace strata_datasource {

/// Brings elements of a store into the model: as proxies, and filled.
///
/// Ids are given in order of creation, which is the order in which trees are built and read, so what an application
/// wants next most often has one of the next ids. Elements are filled by ranges of ids: rows of all tables come in the
/// order in which they lie in the file, and what the range refers to beyond itself becomes proxies.
class StoreReader {
 public:
  using Record = tarn::kern::internal::ElementRecord;

  explicit StoreReader(StoreState& state);

  void load(Record& element);
  void loadAll();
  void loadReferrers(const Record& target);
  [[nodiscard]] Record* find(const boost::uuids::uuid& uuid);

  /// Appends the live elements among those that a statement names by id, uuid and, in the third column, class.
  void collect(strata::Statement& rows, std::vector<Record*>& found);
  void collectClass(ClassPlan& plan, std::vector<std::pair<std::int64_t, Record*>>& found);
  void collectTop(std::vector<Record*>& found);

 private:
  struct Loading {
    std::int64_t id = 0;
    Record* record = nullptr;
    ClassPlan* plan = nullptr;
    std::int64_t container = 0;
    std::int64_t role = 0;
    std::int64_t position = 0;
    bool isTop = false;
  };
  using Batch = std::vector<Loading>;  // by id

  void loadRange(std::int64_t from, std::int64_t to);
  [[nodiscard]] Batch readElements(std::int64_t from, std::int64_t to);
  void fill(Batch& batch);
  void readColumns(Batch& batch);
  void readColumnsOf(ClassPlan& plan, Batch& batch);
  void readCollections(Batch& batch);
  void readCollection(CollectionPlan& plan, Batch& batch);
  void readContents(Batch& batch);
  void readEmptyPlaces(Batch& batch);
  void place(Loading& loading);
  void checkRooted(Record& element, Record& container);
  [[nodiscard]] Record* containerOf(Record& element);
  void abandon(Batch& batch) noexcept;

  [[nodiscard]] static Loading* findIn(Batch& batch, std::int64_t id, std::size_t& at) noexcept;
  /// The element of an id whose uuid and class a row has; nullptr when the model has destroyed it.
  [[nodiscard]] Record* known(std::int64_t id) const noexcept;
  [[nodiscard]] bool isGone(std::int64_t id) const noexcept;
  Record* proxy(std::int64_t id, const strata::Statement& row, int uuidColumn, ClassPlan& plan);
  Record* proxy(std::int64_t id, const strata::Statement& row, int uuidColumn, int classColumn);
  Record* resolve(std::int64_t id);
  ClassPlan& classOf(std::int64_t id) const;
  Record* fitting(const tarn::kern::internal::SlotInfo& slot, Record* element) const;

  StoreState& fState;
  strata::Statement fSelectElements;
  strata::Statement fSelectElement;
  strata::Statement fSelectByUuid;
  strata::Statement fSelectContents;
  strata::Statement fSelectEmptyPlaces;
  strata::Statement fSelectTop;
  strata::Statement fSelectContainer;
  PairCheck fPairs;
  std::unordered_set<std::int64_t> fRooted;  // ids from which the way up was followed to its end
};

}  // namespace strata_datasource
