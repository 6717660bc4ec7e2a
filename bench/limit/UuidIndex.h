#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Description.h"

namespace bench::limit {

struct Item;

/// Finds items by their uuid: open addressing with linear probing, at most three quarters full. A slot keeps the first
/// half of the uuid, so that a probe seldom has to look at the item itself. (A std::unordered_map takes four times as
/// long and half as much memory again.)
class UuidIndex {
 public:
  /// @return null when there is none.
  [[nodiscard]] Item* find(const Uuid& uuid) const;

  /// @return false, and changes nothing, when the uuid is there already.
  bool insert(Item& item);

  /// @pre the item is in the index.
  void erase(const Item& item);

  [[nodiscard]] std::size_t size() const { return fCount; }

 private:
  struct Slot {
    std::uint64_t half = 0;
    Item* item = nullptr;  ///< null: the slot is free
  };

  [[nodiscard]] std::size_t home(std::uint64_t half) const {
    return static_cast<std::size_t>((half * 0x9e3779b97f4a7c15U) >> fShift);
  }
  [[nodiscard]] std::size_t next(std::size_t slot) const { return (slot + 1) & (fSlots.size() - 1); }
  /// The slot of the uuid, or the free one where it belongs.
  [[nodiscard]] std::size_t locate(const Uuid& uuid, std::uint64_t half) const;
  void grow();

  std::vector<Slot> fSlots = std::vector<Slot>(16);  ///< always a power of two
  unsigned fShift = 60;                              ///< 64 minus the logarithm of the size
  std::size_t fCount = 0;
};

}  // namespace bench::limit
