#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

/// What a fuzz target is made of: one source file that defines the two functions below. CMakeLists.txt makes two
/// programs of it. One runs with libFuzzer (clang, preset "fuzz"; scripts/fuzz starts long campaigns). The other is
/// built with all tests by any compiler: it replays the seeds, damaged seeds, and everything that was ever found.
///
/// A target returns, or throws nothing: what must not happen ends the process, by a sanitizer or by require().

/// Tries one input. Whatever state it makes is gone when it returns; the result is 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Inputs to start from: small ones, which together reach most of the code behind the target.
[[nodiscard]] std::vector<std::string> seeds();

/// Ends the process when a promise was broken.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

[[nodiscard]] inline std::string_view viewOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Each refused stream tells std::cerr why. A campaign refuses thousands in a second.
inline void silenceCerr() { std::cerr.rdbuf(nullptr); }

/// Takes an input apart into small decisions. At its end all decisions are 0.
class Decisions {
 public:
  Decisions(const std::uint8_t* data, std::size_t size) noexcept : fNext(data), fEnd(data + size) {}
  [[nodiscard]] bool atEnd() const noexcept { return fNext == fEnd; }
  /// A number below `end`, which is at most 256.
  [[nodiscard]] std::size_t below(std::size_t end) noexcept {
    if (atEnd() || end < 2) return 0;
    return *fNext++ % end;
  }
  [[nodiscard]] bool chance(std::size_t oneIn) noexcept { return below(oneIn) == 0; }

 private:
  const std::uint8_t* fNext;
  const std::uint8_t* fEnd;
};

}  // namespace fuzz
