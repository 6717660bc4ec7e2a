#pragma once

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

/// The text that a stream of the benchmark model is dumped to, by straight-line code from the plain structs.
[[nodiscard]] ByteBuffer saveDump(const Model& model);

}  // namespace bench::limit
