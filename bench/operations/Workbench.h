#pragma once

// The same thousand elements twice, for single operations: in the kernel and as plain structs.

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

#include <boost/functional/hash.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <tarn/kern/Model.h>

#include "BenchMetaModel.h"
#include "LimitModel.h"

namespace bench::operations {

/// Few enough to stay in the processor's caches: what is measured is the operation, not the memory.
inline constexpr std::size_t kElements = 1024;

/// How many operations share a transaction where their own cost is measured.
inline constexpr std::size_t kBatch = 1024;

using PlainIndex = std::unordered_map<boost::uuids::uuid, limit::Item*, boost::hash<boost::uuids::uuid>>;

/// Both models, and what the operations need of them.
struct Workbench {
  model::BenchMetaModel meta;
  tarn::kern::Model model;
  std::vector<tarn::kern::ModelElement> elements;  ///< the one at i is the item at i
  std::vector<boost::uuids::uuid> uuids;
  std::unique_ptr<limit::Model> plainModel;
  std::vector<limit::Item*> items;
  PlainIndex index;
};

/// The one whose two models stay equal, so that what is read can be compared.
[[nodiscard]] const Workbench& readingBench();
/// The one that is changed. Each operation leaves it usable for the next, but not equal.
[[nodiscard]] const Workbench& editingBench();

/// Visits 0 .. kElements - 1 again and again.
class Round {
 public:
  std::size_t next() noexcept { return fNext++ % kElements; }

 private:
  std::size_t fNext = 0;
};

}  // namespace bench::operations
