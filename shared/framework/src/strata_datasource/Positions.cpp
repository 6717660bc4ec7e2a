#include "Positions.h"

#include <algorithm>
#include <cstddef>

namespace strata_datasource {

namespace {

/// Positions of a file are not trusted to leave room for arithmetic.
constexpr std::int64_t kFarthest = std::int64_t{1} << 60U;

/// Which entries may stay: those of a longest strictly ascending subsequence.
std::vector<bool> longestAscent(const std::vector<std::optional<std::int64_t>>& stored) {
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::vector<std::size_t> ends;  // of the best ascent of each length: the entry that it ends in
  std::vector<std::size_t> before(stored.size(), kNone);
  for (std::size_t i = 0; i < stored.size(); ++i) {
    if (!stored[i] || *stored[i] > kFarthest || *stored[i] < -kFarthest) continue;
    const auto at = std::lower_bound(ends.begin(), ends.end(), *stored[i],
                                     [&](std::size_t end, std::int64_t position) { return *stored[end] < position; });
    if (at != ends.begin()) before[i] = *std::prev(at);
    at == ends.end() ? ends.push_back(i) : void(*at = i);
  }
  std::vector<bool> stays(stored.size(), false);
  for (std::size_t i = ends.empty() ? kNone : ends.back(); i != kNone; i = before[i]) stays[i] = true;
  return stays;
}

std::vector<std::int64_t> renumbered(std::size_t count) {
  std::vector<std::int64_t> positions(count);
  for (std::size_t i = 0; i < count; ++i) positions[i] = static_cast<std::int64_t>(i + 1) * kPositionStep;
  return positions;
}

}  // namespace

std::vector<std::int64_t> planPositions(const std::vector<std::optional<std::int64_t>>& stored) {
  const std::vector<bool> stays = longestAscent(stored);
  const std::size_t count = stored.size();
  std::vector<std::int64_t> positions(count);
  for (std::size_t i = 0; i < count;) {
    if (stays[i]) {
      positions[i] = *stored[i];
      ++i;
      continue;
    }
    // A run of new members between two that stay, or before the first, or behind the last.
    std::size_t end = i;
    while (end < count && !stays[end]) ++end;
    const auto run = static_cast<std::int64_t>(end - i);
    std::int64_t step = kPositionStep;
    std::int64_t from = i > 0 ? positions[i - 1] : 0;
    if (end < count && i > 0) {
      step = std::min(step, (*stored[end] - from) / (run + 1));
      if (step == 0) return renumbered(count);
    } else if (end < count) {
      from = *stored[end] - step * (run + 1);
    }
    for (; i < end; ++i) positions[i] = from += step;
  }
  return positions;
}

}  // namespace strata_datasource
