#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace quillon::nimbo {

/// Memory for a JSON document that is built, written and dropped. Such a document is some fifty small objects for an
/// element of a model; to ask the general allocator for each, and to give each back, costs more than all the rest of a
/// dump. Here they are cut from large blocks and given back with the arena, so that a document needs no destruction
/// either, however deep it is.
///
/// What ArenaAllocator allocates comes from the latest arena of the thread that still lives, so arenas may nest.
/// Threads: an arena belongs to the thread that made it.
class JsonArena {
 public:
  JsonArena() noexcept : fBefore(std::exchange(latest(), this)) {}
  JsonArena(const JsonArena&) = delete;
  JsonArena& operator=(const JsonArena&) = delete;
  ~JsonArena() { latest() = fBefore; }

  /// @pre `alignment` is a power of two, at most that of std::max_align_t
  void* allocate(std::size_t size, std::size_t alignment) {
    const std::size_t padding = (0 - reinterpret_cast<std::uintptr_t>(fNext)) & (alignment - 1);
    if (size + padding > static_cast<std::size_t>(fEnd - fNext)) [[unlikely]]
      return allocateFromNewBlock(size);
    std::byte* const begin = fNext + padding;
    fNext = begin + size;
    return begin;
  }

  /// An object that nobody destroys.
  template <class T>
  T& make() {
    return *new (allocate(sizeof(T), alignof(T))) T();
  }

  static JsonArena*& latest() noexcept {
    static thread_local JsonArena* latestArena = nullptr;
    return latestArena;
  }

 private:
  static constexpr std::size_t kFirstBlock = 16 * 1024;
  static constexpr std::size_t kLargestBlock = 1024 * 1024;

  void* allocateFromNewBlock(std::size_t size);

  JsonArena* fBefore;
  std::byte* fNext = nullptr;
  std::byte* fEnd = nullptr;
  std::size_t fBlockSize = kFirstBlock;
  std::vector<std::unique_ptr<std::byte[]>> fBlocks;
};

/// What is too large for a block gets one of its own, and the current block stays in use.
[[gnu::noinline]] inline void* JsonArena::allocateFromNewBlock(std::size_t size) {
  const bool isLarge = size > fBlockSize / 4;
  const std::size_t blockSize = isLarge ? size : fBlockSize;
  fBlocks.push_back(std::make_unique_for_overwrite<std::byte[]>(blockSize));
  std::byte* const begin = fBlocks.back().get();
  if (isLarge) return begin;
  fNext = begin + size;
  fEnd = begin + blockSize;
  fBlockSize = std::min(fBlockSize * 2, kLargestBlock);
  return begin;
}

/// @pre for allocating: the thread has an arena
template <class T>
struct ArenaAllocator {
  using value_type = T;

  ArenaAllocator() noexcept = default;
  template <class U>
  ArenaAllocator(const ArenaAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor): what allocators do

  T* allocate(std::size_t count) {
    return static_cast<T*>(JsonArena::latest()->allocate(count * sizeof(T), alignof(T)));
  }
  void deallocate(T*, std::size_t) noexcept {}
  friend bool operator==(const ArenaAllocator&, const ArenaAllocator&) noexcept { return true; }
};

/// nlohmann::json, but for where its memory comes from.
using ArenaString = std::basic_string<char, std::char_traits<char>, ArenaAllocator<char>>;
using ArenaJson =
    nlohmann::basic_json<std::map, std::vector, ArenaString, bool, std::int64_t, std::uint64_t, double, ArenaAllocator>;

}  // namespace quillon::nimbo
