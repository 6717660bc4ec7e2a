#include "support/AllocationLimit.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// What stands below malloc here: the sanitizer's where there is one, or else the C library's. The names are theirs.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
extern "C" {
[[gnu::weak]] void* __interceptor_malloc(std::size_t size) noexcept;
[[gnu::weak]] void* __interceptor_calloc(std::size_t count, std::size_t size) noexcept;
[[gnu::weak]] void* __interceptor_realloc(void* block, std::size_t size) noexcept;
void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* block, std::size_t size) noexcept;
}

namespace {

// Initialised before the program runs: malloc is called long before main.
constinit std::atomic<bool> isLimited{false};
constinit std::atomic<bool> failsOnce{false};
constinit std::atomic<long> allocationsLeft{0};

bool mustFail() noexcept {
  if (!isLimited.load()) return false;
  const long left = allocationsLeft.fetch_sub(1);
  const bool fails = failsOnce.load() ? left == 0 : left <= 0;
  if (fails) errno = ENOMEM;
  return fails;
}

}  // namespace

// These stand in for those of the C library in the whole process, so that the libraries below (compression, the store,
// expat) run out of memory as well: they must be seen from outside the program.

extern "C" [[gnu::visibility("default")]] void* malloc(std::size_t size) noexcept {
  if (mustFail()) return nullptr;
  return __interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size);
}

extern "C" [[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t size) noexcept {
  if (mustFail()) return nullptr;
  return __interceptor_calloc != nullptr ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}

extern "C" [[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) noexcept {
  if (mustFail()) return nullptr;
  return __interceptor_realloc != nullptr ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
}

// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)

// All forms but the over-aligned ones are replaced, and not only the two that the others call by default: a sanitizer's
// run-time brings its own of each, which do not go through malloc, and a block must be given back to where it came
// from.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size == 0 ? 1 : size); }

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
