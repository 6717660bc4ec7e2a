#pragma once

namespace testsupport {

/// While it lives only so many allocations succeed, in all threads of the process; every later one fails, or only the
/// one after them. All kinds count: `operator new`, malloc, calloc and realloc, also those of the libraries below us.
/// For promises of the kind "whichever allocation fails, nothing has changed". A test program that uses it compiles
/// AllocationLimit.cpp in, which puts itself in their place. One limit at a time.
class AllocationLimit {
 public:
  enum class Failing {
    ForGood,  ///< memory is exhausted
    Once,     ///< there is some again at the next try
  };
  explicit AllocationLimit(long count, Failing failing = Failing::ForGood) noexcept;
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();

  /// Whether an allocation has failed.
  [[nodiscard]] bool wasReached() const noexcept;
};

}  // namespace testsupport
