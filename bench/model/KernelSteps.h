#pragma once

#include "BenchMetaModel.h"
#include "ByteBuffer.h"
#include "Description.h"
#include "support/Comparison.h"

namespace bench::model {

/// The containers that the limit program saves the same model as: what the kernel's must be, to the byte.
struct ExpectedContainers {
  limit::ByteBuffer bare;
  limit::ByteBuffer zstd;
};

[[nodiscard]] ExpectedContainers expectedContainers(const Description& description);

/// The steps of limit::modelSteps with the kernel, the writer and the reader: the same names, the same order. Each
/// verifies its result.
[[nodiscard]] Figures modelSteps(const Description& description, const BenchMetaModel& meta,
                                 const ExpectedContainers& expected);

/// Saving and loading "Z" alone, by either side. gzip takes so long that a small model must do.
[[nodiscard]] Figures gzipSteps(const Description& description, const BenchMetaModel& meta,
                                const limit::ByteBuffer& expected);
[[nodiscard]] Figures limitGzipSteps(const Description& description);

}  // namespace bench::model
