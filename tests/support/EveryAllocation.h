#pragma once

#include <exception>

#include <gtest/gtest.h>

#include "support/AllocationLimit.h"

namespace testsupport {

/// Runs `attempt(limit)` again and again: with no allocation allowed, with one, with two, until it gets by. Each time
/// the n-th allocation fails, once or for good. What the attempt throws is fine; after each failure `check()` looks at
/// what is left. Gives the number of attempts that failed.
template <class Prepare, class Attempt, class Check>
long failEveryAllocation(AllocationLimit::Failing failing, Prepare prepare, Attempt attempt, Check check) {
  constexpr long kFarTooMany = 1'000'000;
  for (long count = 0; count < kFarTooMany; ++count) {
    prepare();
    bool wasReached = false;
    bool failed = false;
    {
      const AllocationLimit limit(count, failing);
      try {
        attempt();
      } catch (const std::exception&) {
        failed = true;
      }
      wasReached = limit.wasReached();
    }
    check(failed);
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << "when allocation " << count << " fails";
      return count;
    }
    if (!wasReached) return count;
  }
  ADD_FAILURE() << "it never gets by";
  return kFarTooMany;
}

}  // namespace testsupport
