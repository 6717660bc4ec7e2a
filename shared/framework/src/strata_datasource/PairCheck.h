#pragma once

#include <span>
#include <unordered_map>

#include "Binding.h"
#include "tarn/kern/ElementRecord.h"

namespace strata_datasource {

/// Whether the two ends of opposites agree in what a store brings. The file has both, each in its order, and need not
/// be true; the kernel relies on it: an element that is destroyed leaves those that it knows of.
///
/// An end whose other end is not loaded yet is a claim that waits for that. Until then neither can change: a change of
/// one loads the other first.
class PairCheck {
 public:
  using Record = tarn::kern::internal::ElementRecord;

  explicit PairCheck(const StoreState& state) noexcept : fState(state) {}

  /// To be called with elements whose content was just read: all unloaded ones of a range of ids, in ascending order.
  /// @throws strata::StoreError when an end that is there and another one disagree; these elements are taken for
  /// unloaded then, as before
  void check(std::span<Record* const> filled);

 private:
  using SlotInfo = tarn::kern::internal::SlotInfo;
  struct Claim {
    Record* by = nullptr;
    const SlotInfo* slot = nullptr;
  };
  using Claims = std::unordered_multimap<const Record*, Claim>;

  void checkTarget(const Claim& claim, Record& target) const;

  const StoreState& fState;
  Claims fClaims;  // by the element that is not loaded yet
};

}  // namespace strata_datasource
