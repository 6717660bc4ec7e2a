#pragma once

#include <deque>

#include <tarn/kern/meta/Class.h>

#include "StagedOutput.h"
#include "WritePlan.h"
#include "quillon/nimbo/detail/PtrMap.h"

namespace quillon::nimbo::detail {

/// One binary model stream being written: where the bytes go, and what is written of each class and data type that has
/// come up so far.
class WriteRun {
 public:
  /// Both must outlive the run.
  WriteRun(StreamOArchive& archive, DefaultValues& defaults) : out(archive), fDefaults(defaults) {}

  StagedOutput out;

  /// The plan of a class or data type; it stays where it is as long as the run lives.
  template <class StructuredType>
  [[nodiscard]] StructurePlan& planOf(const StructuredType& type) {
    if (type.get() != fLatestType) {
      fLatestPlan = &lookUp(type);
      fLatestType = type.get();
    }
    return *fLatestPlan;
  }

 private:
  template <class StructuredType>
  [[nodiscard]] StructurePlan& lookUp(const StructuredType& type) {
    if (StructurePlan* const* const known = fPlanOfType.find(type.get())) return **known;
    StructurePlan& plan = fPlans.emplace_back(makePlan(type, fDefaults));
    fPlanOfType.tryEmplace(type.get(), &plan);
    return plan;
  }

  DefaultValues& fDefaults;
  std::deque<StructurePlan> fPlans;
  PtrMap<tarn::kern::meta::StructuredType, StructurePlan*> fPlanOfType;
  /// Elements of a class often come in a row.
  const tarn::kern::meta::StructuredType::Impl* fLatestType = nullptr;
  StructurePlan* fLatestPlan = nullptr;
};

}  // namespace quillon::nimbo::detail
