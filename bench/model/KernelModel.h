#pragma once

// The benchmark model in the kernel, built as an application builds it: by property handles, through the public
// headers.

#include <tarn/kern/Model.h>

#include "BenchMetaModel.h"
#include "Description.h"

namespace bench::model {

/// The model of this description, made in one transaction.
[[nodiscard]] tarn::kern::Model build(const Description& description, const BenchMetaModel& meta);

/// One folder with all the other elements in it, without values or references.
[[nodiscard]] tarn::kern::Model buildFlat(const Description& description, const BenchMetaModel& meta);

}  // namespace bench::model
