#pragma once

#include <chrono>

namespace debian_packages {

/// Measures one step after the other.
class Stopwatch {
 public:
  /// Seconds since the last call, or since the construction.
  double lap() {
    const auto now = Clock::now();
    const std::chrono::duration<double> seconds = now - fStart;
    fStart = now;
    return seconds.count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point fStart = Clock::now();
};

}  // namespace debian_packages
