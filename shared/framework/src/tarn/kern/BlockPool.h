#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

namespace tarn::kern::internal {

/// Memory for the records of one model: blocks of one size come from chunks that grow with their number, so that
/// records of one class lie together and the general allocator is asked rarely. Blocks go back to a free list; chunks
/// go with the pool.
class BlockPool {
 public:
  /// 16-byte aligned. Throws std::bad_alloc.
  [[nodiscard]] void* allocate(std::size_t bytes) {
    Class& blocks = classOf(bytes);
    if (blocks.free != nullptr) {
      void* block = blocks.free;
      blocks.free = *static_cast<void**>(block);
      return block;
    }
    if (blocks.left == 0) grow(blocks);
    --blocks.left;
    void* block = blocks.next;
    blocks.next += blocks.bytes;
    return block;
  }

  void free(void* block, std::size_t bytes) noexcept {
    const std::size_t size = rounded(bytes);
    if (fLast == nullptr || fLast->bytes != size)
      fLast = fClasses.find(size)->second.get();  // allocated, so it is there
    *static_cast<void**>(block) = fLast->free;
    fLast->free = block;
  }

 private:
  static constexpr std::size_t kFirstChunkBlocks = 4;
  static constexpr std::size_t kLargestChunk = std::size_t{256} * 1024;

  struct Class {
    std::size_t bytes = 0;
    void* free = nullptr;
    std::byte* next = nullptr;
    std::size_t left = 0;
    std::size_t chunkBlocks = kFirstChunkBlocks;
    std::vector<std::unique_ptr<std::byte[]>> chunks;
  };

  static std::size_t rounded(std::size_t bytes) noexcept { return (bytes + 15) & ~std::size_t{15}; }

  Class& classOf(std::size_t bytes) {
    const std::size_t size = rounded(bytes);
    if (fLast != nullptr && fLast->bytes == size) return *fLast;
    std::unique_ptr<Class>& entry = fClasses[size];
    if (entry == nullptr) {
      entry = std::make_unique<Class>();
      entry->bytes = size;
    }
    fLast = entry.get();
    return *fLast;
  }

  static void grow(Class& blocks) {
    blocks.chunks.reserve(blocks.chunks.size() + 1);
    blocks.chunks.push_back(std::make_unique_for_overwrite<std::byte[]>(blocks.bytes * blocks.chunkBlocks));
    blocks.next = blocks.chunks.back().get();
    blocks.left = blocks.chunkBlocks;
    blocks.chunkBlocks = std::max(kFirstChunkBlocks, std::min(blocks.chunkBlocks * 2, kLargestChunk / blocks.bytes));
  }

  std::unordered_map<std::size_t, std::unique_ptr<Class>> fClasses;
  Class* fLast = nullptr;
};

}  // namespace tarn::kern::internal
