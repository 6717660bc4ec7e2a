#pragma once

#include <cstddef>

namespace testsupport {

/// Measures what `operator new` hands out, in all threads of the process, from its construction on: for promises of the
/// kind "damaged data costs no memory". A test program that uses it compiles AllocationMeter.cpp in, which replaces the
/// global operators. One meter at a time.
class AllocationMeter {
 public:
  AllocationMeter();
  AllocationMeter(const AllocationMeter&) = delete;
  AllocationMeter& operator=(const AllocationMeter&) = delete;

  /// The most bytes held at one time, beyond those held at the start.
  [[nodiscard]] std::size_t peak() const;

 private:
  std::size_t fHeldAtStart;
};

}  // namespace testsupport
