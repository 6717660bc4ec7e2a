#pragma once

#include <memory>

#include "LimitModel.h"

namespace bench::limit {

/// A deep copy of the structs, with the same uuids, in the same order.
[[nodiscard]] std::unique_ptr<Model> copyOf(const Model& model);

}  // namespace bench::limit
