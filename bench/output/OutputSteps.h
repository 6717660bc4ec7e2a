#pragma once

#include "BenchMetaModel.h"
#include "Description.h"
#include "support/Comparison.h"

/// What copies and shows models, beside programs that do the same by straight-line code on plain structs. The same
/// steps on both sides; each side verifies its results, and verifyOutputs compares the two sides' texts.
namespace bench::output {

[[nodiscard]] Figures limitSteps(const Description& description);
[[nodiscard]] Figures librarySteps(const Description& description, const model::BenchMetaModel& meta);

/// Ends the program unless both sides give the same text, and the same page but for the addresses in it.
void verifyOutputs(const Description& description, const model::BenchMetaModel& meta);

}  // namespace bench::output
