#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

#include "ChunkDirectory.h"

namespace tarn::kern::internal {

/// Memory for the records of one model: those of one layout come from chunks that grow with their number, so that they
/// lie together and the general allocator is asked rarely. Blocks go back to a free list; chunks go with the pool.
class BlockPool {
 public:
  /// A block of `bytes`, always the same number for one layout; 16-byte aligned. Throws std::bad_alloc.
  [[nodiscard]] void* allocate(const Layout& layout, std::size_t bytes) {
    Class& blocks = classOf(layout, bytes);
    if (blocks.free != nullptr) {
      void* block = blocks.free;
      blocks.free = *static_cast<void**>(block);
      return block;
    }
    if (blocks.left == 0) grow(blocks, layout);
    --blocks.left;
    void* block = blocks.next;
    blocks.next += blocks.bytes;
    return block;
  }

  /// @pre the block is of this layout
  void free(void* block, const Layout& layout) noexcept {
    if (fLastLayout != &layout) {
      fLast = fClasses.find(&layout)->second.get();  // allocated, so it is there
      fLastLayout = &layout;
    }
    *static_cast<void**>(block) = fLast->free;
    fLast->free = block;
  }

  /// The layout of the block at the address, which need not be looked at for that. nullptr where the address alone does
  /// not tell: it is not of this pool, or of one of its small chunks.
  [[nodiscard]] const Layout* layoutAt(const void* address) const noexcept { return fDirectory.find(address); }

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

  Class& classOf(const Layout& layout, std::size_t bytes) {
    if (fLastLayout == &layout) return *fLast;
    std::unique_ptr<Class>& entry = fClasses[&layout];
    if (entry == nullptr) {
      entry = std::make_unique<Class>();
      entry->bytes = (bytes + 15) & ~std::size_t{15};
    }
    fLast = entry.get();
    fLastLayout = &layout;
    return *fLast;
  }

  void grow(Class& blocks, const Layout& layout) {
    const std::size_t bytes = blocks.bytes * blocks.chunkBlocks;
    const bool isLarge = bytes >= ChunkDirectory::kLeastChunk;
    if (isLarge) fDirectory.reserve(bytes);
    blocks.chunks.push_back(nullptr);  // room first
    try {
      blocks.chunks.back() = std::make_unique_for_overwrite<std::byte[]>(bytes);
    } catch (...) {
      blocks.chunks.pop_back();
      throw;
    }
    blocks.next = blocks.chunks.back().get();
    blocks.left = blocks.chunkBlocks;
    blocks.chunkBlocks = std::max(kFirstChunkBlocks, std::min(blocks.chunkBlocks * 2, kLargestChunk / blocks.bytes));
    if (isLarge) fDirectory.add(blocks.next, bytes, layout);
  }

  std::unordered_map<const Layout*, std::unique_ptr<Class>> fClasses;
  Class* fLast = nullptr;
  const Layout* fLastLayout = nullptr;
  ChunkDirectory fDirectory;
};

}  // namespace tarn::kern::internal
