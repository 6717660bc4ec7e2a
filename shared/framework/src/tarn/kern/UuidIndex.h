#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "HashSeed.h"

namespace tarn::kern::internal {

/// Finds the number of an element by its uuid: open addressing over pairs of a hash and the element's place in the
/// model's table. Several elements may bear one uuid while all but one are destroyed; the caller's test chooses. The
/// hash is kept beside the place, so that a probe touches a record only when it most likely is the one.
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

  /// Room for one more; `isTaken(place)` tells which entries are still good. Throws std::bad_alloc and changes nothing
  /// then.
  template <class Test>
  void reserveOne(Test isTaken) {
    if ((fUsed + 1) * 10 <= fSlots.size() * 7) return;
    makeAnew((fUsed - fForgotten + 1) * 2, isTaken);
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
    eraseSlot(i);
  }
  /// As erase, without going there: the entry stays until the table is next made anew. For a place that no other
  /// element gets before the next renumber, and for which the test of find is false from now on. Where many go at once,
  /// each erasure would be a miss of the cache.
  void forget() noexcept { ++fForgotten; }
  /// The places changed: `newPlace(old place)`. What `isTaken(old place)` denies goes.
  template <class Test, class Map>
  void renumber(Test isTaken, Map newPlace) noexcept {
    if (fForgotten != 0) dropForgotten(isTaken);
    for (Slot& slot : fSlots) {
      if (slot.placePlusOne != 0) slot.placePlusOne = newPlace(slot.placePlusOne - 1) + 1;
    }
  }
  void clear() noexcept {
    fSlots = {};
    fUsed = 0;
    fForgotten = 0;
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
  template <class Test>
  void makeAnew(std::size_t size, Test isTaken) {
    std::vector<Slot> old(std::bit_ceil(std::max<std::size_t>(size, 16)));
    old.swap(fSlots);
    fUsed = 0;
    fForgotten = 0;
    for (const Slot& slot : old) {
      if (slot.placePlusOne == 0 || !isTaken(slot.placePlusOne - 1)) continue;
      place(slot);
      ++fUsed;
    }
  }
  template <class Test>
  void dropForgotten(Test isTaken) noexcept {
    try {
      makeAnew((fUsed - fForgotten + 1) * 2, isTaken);
    } catch (const std::bad_alloc&) {  // slower, and in place
      for (std::size_t i = 0; i < fSlots.size(); ++i) {
        while (fSlots[i].placePlusOne != 0 && !isTaken(fSlots[i].placePlusOne - 1)) eraseSlot(i);
      }
      fForgotten = 0;
    }
  }
  void eraseSlot(std::size_t i) noexcept {
    const std::size_t mask = fSlots.size() - 1;
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
  std::vector<Slot> fSlots;
  std::size_t fUsed = 0;       // forgotten ones included
  std::size_t fForgotten = 0;  // entries that no search may end at
};

}  // namespace tarn::kern::internal
