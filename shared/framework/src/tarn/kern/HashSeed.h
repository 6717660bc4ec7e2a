#pragma once

#include <cstdint>

namespace tarn::kern::internal {

/// Two random numbers, the same as long as the process lives.
struct HashSeed {
  std::uint64_t first;
  std::uint64_t second;
};
[[nodiscard]] const HashSeed& hashSeed() noexcept;

/// The product of two words in twice their width, its halves folded together: each bit depends on all of both.
[[nodiscard]] inline std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

}  // namespace tarn::kern::internal
