#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "HashSeed.h"

namespace tarn::kern::internal {

/// Finds the number of an element by its uuid: open addressing over pairs of a hash and the element's place in the model's
/// table. Several elements may bear one uuid while all but one are destroyed; the caller's test chooses.
/// The hash is kept beside the place, so that a probe touches a record only when it most likely is the one.
class UuidIndex {
 public:
  /// Uuids come from files, so that who writes one must not be able to choose them for one place: the hash depends on a
  /// random number of this process. It is never seen outside; no order depends on it.
  [[nodiscard]] static std::uint32_t hashOf(const boost::uuids::uuid& uuid) noexcept {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    std::memcpy(&low, uuid.data, sizeof low);
    std::memcpy(&high, uuid.data + sizeof low, sizeof high);
    const HashSeed& seed = hashSeed();
    const std::uint64_t mixed = foldedProduct(low ^ seed.first, high ^ seed.second);
    return static_cast<std::uint32_t>(mixed ^ (mixed >> 32U));
  }

  /// The first place for which `test(place)` is true, or -1.
  template <class Test>
  [[nodiscard]] std::int64_t find(const boost::uuids::uuid& uuid, Test test) const {
    if (fSlots.empty()) return -1;
    const std::uint32_t hash = hashOf(uuid);
    const std::size_t mask = fSlots.size() - 1;
    for (std::size_t i = hash & mask; fSlots[i].placePlusOne != 0; i = (i + 1) & mask) {
      if (fSlots[i].hash == hash && test(fSlots[i].placePlusOne - 1)) return fSlots[i].placePlusOne - 1;
    }
    return -1;
  }

  /// Room for one more. Throws std::bad_alloc and changes nothing then.
  void reserveOne() {
    if ((fUsed + 1) * 10 <= fSlots.size() * 7) return;
    std::vector<Slot> old(fSlots.empty() ? 16 : fSlots.size() * 2);
    old.swap(fSlots);
    for (const Slot& slot : old) {
      if (slot.placePlusOne != 0) place(slot);
    }
  }
  /// @pre reserveOne()
  void insert(const boost::uuids::uuid& uuid, std::uint32_t at) noexcept {
    place({hashOf(uuid), at + 1});
    ++fUsed;
  }
  void erase(const boost::uuids::uuid& uuid, std::uint32_t at) noexcept {
    if (fSlots.empty()) return;
    const std::size_t mask = fSlots.size() - 1;
    std::size_t i = hashOf(uuid) & mask;
    while (fSlots[i].placePlusOne != at + 1) {
      if (fSlots[i].placePlusOne == 0) return;
      i = (i + 1) & mask;
    }
    --fUsed;
    std::size_t next = i;
    for (;;) {  // shift back what was pushed on by the gone entry
      fSlots[i].placePlusOne = 0;
      do {
        next = (next + 1) & mask;
        if (fSlots[next].placePlusOne == 0) return;
      } while (((next - (fSlots[next].hash & mask)) & mask) < ((next - i) & mask));
      fSlots[i] = fSlots[next];
      i = next;
    }
  }
  /// The places changed: old place to new one.
  template <class Map>
  void renumber(Map newPlace) noexcept {
    for (Slot& slot : fSlots) {
      if (slot.placePlusOne != 0) slot.placePlusOne = newPlace(slot.placePlusOne - 1) + 1;
    }
  }
  void clear() noexcept {
    fSlots = {};
    fUsed = 0;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t placePlusOne = 0;
  };
  void place(const Slot& slot) noexcept {
    const std::size_t mask = fSlots.size() - 1;
    std::size_t i = slot.hash & mask;
    while (fSlots[i].placePlusOne != 0) i = (i + 1) & mask;
    fSlots[i] = slot;
  }
  std::vector<Slot> fSlots;
  std::size_t fUsed = 0;
};

}  // namespace tarn::kern::internal
