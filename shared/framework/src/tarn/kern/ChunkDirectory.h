#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn::kern::internal {

struct Layout;

/// Tells by an address alone what lies there: which layout the records of a chunk of memory have. Chunks are entered
/// under the 64 KiB of address space that they touch; as none is smaller than that, two at most touch the same. The
/// directory of a model of a million elements fits into the second level of a processor's cache, its records do not.
class ChunkDirectory {
 public:
  static constexpr std::size_t kLeastChunk = std::size_t{1} << 16U;

  /// Room for the entries of one chunk of so many bytes. Throws std::bad_alloc and changes nothing then.
  void reserve(std::size_t bytes) {
    const std::size_t more = bytes / kLeastChunk + 2;
    if ((fUsed + more) * 2 <= fGranules.size()) return;
    std::size_t size = 64;
    while (size < (fUsed + more) * 4) size *= 2;
    std::vector<Granule> old(size);
    old.swap(fGranules);
    for (const Granule& granule : old) {
      if (granule.number != 0) fGranules[slotOf(granule.number)] = granule;
    }
  }

  /// @pre reserve(bytes), bytes >= kLeastChunk, and the chunk overlaps none that was added.
  void add(const std::byte* chunk, std::size_t bytes, const Layout& layout) noexcept {
    const Part part{reinterpret_cast<std::uintptr_t>(chunk), bytes, &layout};
    for (std::uintptr_t number = numberOf(part.begin); number <= numberOf(part.begin + bytes - 1); ++number) {
      Granule& granule = fGranules[slotOf(number)];
      if (granule.number == 0) ++fUsed;
      granule.number = number;
      granule.parts[granule.parts[0].layout == nullptr ? 0 : 1] = part;
    }
  }

  /// The layout of the chunk around the address; nullptr when no chunk that was added is there.
  [[nodiscard]] const Layout* find(const void* address) const noexcept {
    if (fGranules.empty()) return nullptr;
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    const Granule& granule = fGranules[slotOf(numberOf(at))];
    for (const Part& part : granule.parts) {
      if (at - part.begin < part.bytes) return part.layout;  // wraps, and so is large, in front of the chunk
    }
    return nullptr;
  }

 private:
  struct Part {
    std::uintptr_t begin = 0;
    std::size_t bytes = 0;
    const Layout* layout = nullptr;
  };
  struct Granule {
    std::uintptr_t number = 0;  // 0: free; nothing is ever allocated in the first 64 KiB
    std::array<Part, 2> parts;
  };

  static std::uintptr_t numberOf(std::uintptr_t address) noexcept { return address / kLeastChunk; }

  /// The granule's place, or the free one that it would get.
  [[nodiscard]] std::size_t slotOf(std::uintptr_t number) const noexcept {
    const std::size_t mask = fGranules.size() - 1;
    std::size_t i = number & mask;  // neighbours in memory are neighbours here, and seldom meet others
    while (fGranules[i].number != 0 && fGranules[i].number != number) i = (i + 1) & mask;
    return i;
  }

  std::vector<Granule> fGranules;  // a power of two, at most half full
  std::size_t fUsed = 0;
};

}  // namespace tarn::kern::internal
