#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace strata_datasource {

/// Positions in a stored list leave room between neighbours, so that a member that comes in, or moves, changes its own
/// row only.
inline constexpr std::int64_t kPositionStep = 1024;

/// Positions for the members of a list in their order, given those that they have in the store (none: not stored in
/// this list). As many as possible keep theirs. The result ascends strictly.
[[nodiscard]] std::vector<std::int64_t> planPositions(const std::vector<std::optional<std::int64_t>>& stored);

}  // namespace strata_datasource
