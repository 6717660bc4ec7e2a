#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace quillon::nimbo::detail {

/// A hash table whose keys are records behind counted handles, equal when they are the same record. Each key is kept
/// alive by a handle. Entries are added and looked up, never removed one by one; iteration is in the order of
/// insertion, so that nothing that is seen depends on addresses.
///
/// One flat array with linear probing: the writer looks an element up for each reference to it, and a lookup in a table
/// of a million costs one cache miss here, where std::unordered_map takes two or three. The handles lie apart, in the
/// order of insertion, which is how the records lie in memory: letting go of a million of them does not jump about.
///
/// A moved-from table is empty. Threads: as a standard container.
template <class Handle, class Mapped>
class PtrMap {
 public:
  using Record = typename Handle::Impl;

  [[nodiscard]] std::size_t size() const noexcept { return fHandles.size(); }

  /// The entry of the key and whether it is new; a new one is a copy of `mapped`. The pointer is good until the next
  /// insertion. If memory runs out nothing has changed. @pre key != nullptr
  std::pair<Mapped*, bool> tryEmplace(Record* key, const Mapped& mapped) {
    if ((fHandles.size() + 1) * 2 > fSlots.size()) grow();
    Slot& slot = fSlots[indexOf(key)];
    if (slot.key != nullptr) return {&slot.mapped, false};
    fHandles.push_back(Handle(key));
    slot = Slot{key, mapped};
    return {&slot.mapped, true};
  }

  /// nullptr when there is none. @pre key != nullptr
  [[nodiscard]] const Mapped* find(const Record* key) const noexcept {
    if (fSlots.empty()) return nullptr;
    const Slot& slot = fSlots[indexOf(key)];
    return slot.key == nullptr ? nullptr : &slot.mapped;
  }

  /// Brings the key's place into the cache while there is something else to do: worth it where keys come in bulk.
  void prefetch(const Record* key) const noexcept {
    if (!fSlots.empty() && key != nullptr) __builtin_prefetch(&fSlots[homeOf(key)]);
  }

  /// Calls `visit(handle, mapped)` for each entry.
  template <class Visit>
  void forEach(Visit visit) const {
    for (const Handle& handle : fHandles) visit(handle, *find(handle.get()));
  }

  /// Empties the table and gives its memory back.
  void clear() noexcept { *this = PtrMap(); }

 private:
  struct Slot {
    const Record* key = nullptr;
    Mapped mapped{};
  };

  static constexpr std::size_t kFewestSlots = 16;

  /// The key's slot, or the empty one that it would get. There always is an empty one.
  [[nodiscard]] std::size_t indexOf(const Record* key) const noexcept {
    const std::size_t last = fSlots.size() - 1;
    std::size_t at = homeOf(key);
    while (fSlots[at].key != nullptr && fSlots[at].key != key) at = (at + 1) & last;
    return at;
  }

  /// The upper bits of a product are well mixed, and keep the order of the slots when the table grows.
  [[nodiscard]] std::size_t homeOf(const Record* key) const noexcept {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15U;
    const auto slotBits = static_cast<unsigned>(std::bit_width(fSlots.size()) - 1);
    return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(key) * kGoldenRatio) >> (64U - slotBits));
  }

  void grow() {
    std::vector<Slot> old(fSlots.empty() ? kFewestSlots : fSlots.size() * 2);
    old.swap(fSlots);
    for (Slot& slot : old) {
      if (slot.key != nullptr) fSlots[indexOf(slot.key)] = std::move(slot);
    }
  }

  std::vector<Slot> fSlots;  ///< a power of two of them, at most half of them in use
  std::vector<Handle> fHandles;
};

}  // namespace quillon::nimbo::detail
