#include "support/AllocationMeter.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

std::atomic<std::size_t> heldBytes{0};
std::atomic<std::size_t> peakBytes{0};

void raisePeak(std::size_t held) {
  std::size_t peak = peakBytes.load(std::memory_order_relaxed);
  while (peak < held && !peakBytes.compare_exchange_weak(peak, held, std::memory_order_relaxed)) {
  }
}

}  // namespace

// All forms but the over-aligned ones are replaced, and not only the two that the others call by default: a sanitizer's
// run-time brings its own of each, and a block must be given back to where it came from.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) return nullptr;
  const std::size_t usable = malloc_usable_size(block);
  raisePeak(heldBytes.fetch_add(usable, std::memory_order_relaxed) + usable);
  return block;
}

void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}

void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  heldBytes.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { operator delete(block); }

namespace testsupport {

AllocationMeter::AllocationMeter() : fHeldAtStart(heldBytes.load()) { peakBytes.store(fHeldAtStart); }

std::size_t AllocationMeter::peak() const { return peakBytes.load() - fHeldAtStart; }

}  // namespace testsupport
