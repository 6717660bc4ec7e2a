#pragma once

#include <cstdint>

#include <tarn/kern/Model.h>

namespace nimbo_tool {

/// A model of the registered packages with about that many elements, made by chance: the same number gives the same
/// model. It keeps to bounds, opposites and uniqueness wherever the meta-model lets it.
/// @throws ToolError when no class can be instantiated
[[nodiscard]] tarn::kern::Model randomModel(std::uint64_t elements, std::uint64_t seed);

}  // namespace nimbo_tool
