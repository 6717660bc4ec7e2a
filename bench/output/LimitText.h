#pragma once

#include "LimitModel.h"
#include "Sink.h"

namespace bench::limit {

/// Writes the model as the indented text that the library prints of it.
void writeText(const Model& model, const Sink& sink);

}  // namespace bench::limit
