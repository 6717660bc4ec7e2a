#include "support/AllocationLimit.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> isLimited{false};
std::atomic<bool> failsOnce{false};
std::atomic<long> allocationsLeft{0};

bool mustFail() noexcept {
  if (!isLimited.load()) return false;
  const long left = allocationsLeft.fetch_sub(1);
  return failsOnce.load() ? left == 0 : left <= 0;
}

}  // namespace

// All forms but the over-aligned ones are replaced, and not only the two that the others call by default: a sanitizer's
// run-time brings its own of each, and a block must be given back to where it came from.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (mustFail()) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}

void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { operator delete(block); }

namespace testsupport {

AllocationLimit::AllocationLimit(long count, Failing failing) noexcept {
  allocationsLeft = count;
  failsOnce = failing == Failing::Once;
  isLimited = true;
}

AllocationLimit::~AllocationLimit() { isLimited = false; }

bool AllocationLimit::wasReached() const noexcept { return allocationsLeft < 0; }

}  // namespace testsupport
