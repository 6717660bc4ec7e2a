#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <strata_datasource/DataSource.h>

#include "IdTable.h"
#include "Schema.h"
#include "ValueCodec.h"
#include "strata/Database.h"
#include "strata/FileGuard.h"
#include "tarn/kern/ElementRecord.h"
#include "tarn/kern/ModelCore.h"
#include "tarn/kern/StoreHooks.h"

namespace strata_datasource {

/// What reader and writer of one binding share: the file, its schema, and which element has which id.
struct StoreState {
  StoreState(tarn::kern::internal::ModelCore& model, const std::string& path, bool readOnly)
      : core(model), database(path, readOnly), schema(database), codec(path) {}

  tarn::kern::internal::ModelCore& core;
  strata::Database database;
  Schema schema;
  ValueCodec codec;
  IdTable ids;

  /// A top-level element as the store has it: while it still stands at that place, its position in the store counts.
  struct StoredTop {
    std::uint32_t topPosition = kNowhere;
    std::int64_t position = 0;
  };
  static constexpr std::uint32_t kNowhere = std::numeric_limits<std::uint32_t>::max();
  static constexpr std::int64_t kNoOrder = std::numeric_limits<std::int64_t>::min();
  std::unordered_map<std::uint32_t, StoredTop> tops;         // by place in the model's table
  std::unordered_map<std::uint32_t, std::int64_t> topOrder;  // by place among the top-level elements
  bool isComplete = false;      // everything that the file holds is in memory: no need to ask it
  bool hasEmptyPlaces = false;  // some composite collection holds a null member

  /// After this, setTop for an element at those places cannot fail. Until then it changes nothing.
  void reserveTop(std::uint32_t index, std::uint32_t topPosition) {
    tops.try_emplace(index);
    topOrder.try_emplace(topPosition, kNoOrder);
  }
  void setTop(const tarn::kern::internal::ElementRecord& record, std::int64_t position) {
    tops[record.index] = {record.topPosition, position};
    topOrder[record.topPosition] = position;
  }
  [[nodiscard]] std::int64_t idOf(const tarn::kern::internal::ElementRecord* record) const noexcept {
    const std::int64_t id = ids.idAt(record->index);
    return id < 0 ? -id : id;
  }
  [[noreturn]] void damaged(const std::string& text) const;
};

}  // namespace strata_datasource
