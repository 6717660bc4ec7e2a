#pragma once

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

/// The XMI text that the library writes of the benchmark model, by straight-line code from the plain structs: without
/// what equals a default.
[[nodiscard]] ByteBuffer saveXml(const Model& model);

}  // namespace bench::limit
