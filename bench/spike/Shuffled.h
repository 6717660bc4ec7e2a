#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace bench::spike {

/// 0 … count-1 in a fixed disorder.
inline std::vector<std::uint32_t> shuffled(std::size_t count) {
  std::vector<std::uint32_t> order(count);
  for (std::size_t i = 0; i < count; ++i) order[i] = static_cast<std::uint32_t>(i);
  std::uint64_t state = 42;
  for (std::size_t i = count; i > 1; --i) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    std::swap(order[i - 1], order[(state >> 33) % i]);
  }
  return order;
}

}  // namespace bench::spike
