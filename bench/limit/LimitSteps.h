#pragma once

#include "ByteBuffer.h"
#include "Description.h"
#include "support/Comparison.h"

namespace bench::limit {

/// The stream that the model of this description is saved as.
[[nodiscard]] ByteBuffer payloadOf(const Description& description);

/// Every step of the benchmark in one process: build, save, load, destroy. Each verifies its result.
[[nodiscard]] Figures modelSteps(const Description& description);

/// Compresses the stream and brings it back.
[[nodiscard]] Figures zstdSteps(const ByteBuffer& payload, std::size_t elements);
[[nodiscard]] Figures gzipSteps(const ByteBuffer& payload, std::size_t elements);

}  // namespace bench::limit
