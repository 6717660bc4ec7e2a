#pragma once

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

/// The model as the indented text that the library prints of it.
[[nodiscard]] ByteBuffer textOf(const Model& model);

}  // namespace bench::limit
