#pragma once

namespace testsupport {

/// While it lives only so many calls of `operator new` succeed, in all threads of the process; every later one fails. For
/// promises of the kind "whichever allocation fails, nothing has changed". A test program that uses it compiles
/// AllocationLimit.cpp in, which replaces the global operators. One limit at a time.
class AllocationLimit {
 public:
  explicit AllocationLimit(long count) noexcept;
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();
};

}  // namespace testsupport
