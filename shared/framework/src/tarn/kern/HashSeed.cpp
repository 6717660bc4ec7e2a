#include "HashSeed.h"

#include <array>
#include <chrono>

#include <unistd.h>

namespace tarn::kern::internal {

namespace {

HashSeed makeSeed() noexcept {
  std::array<std::uint64_t, 2> words{};
  if (::getentropy(words.data(), sizeof words) != 0) {  // not to be had early in a boot: the clock has to do
    words[0] = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    words[1] = words[0] * 0x9E3779B97F4A7C15ULL;
  }
  return {words[0] | 1U, words[1] | 1U};
}

}  // namespace

const HashSeed& hashSeed() noexcept {
  static const HashSeed kSeed = makeSeed();
  return kSeed;
}

}  // namespace tarn::kern::internal
