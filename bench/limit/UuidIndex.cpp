#include "UuidIndex.h"

#include <cassert>
#include <cstring>
#include <utility>

#include "LimitModel.h"

namespace bench::limit {
namespace {

std::uint64_t firstHalf(const Uuid& uuid) {
  std::uint64_t half = 0;
  std::memcpy(&half, uuid.data(), sizeof half);
  return half;
}

}  // namespace

std::size_t UuidIndex::locate(const Uuid& uuid, std::uint64_t half) const {
  std::size_t at = home(half);
  while (fSlots[at].item != nullptr && (fSlots[at].half != half || fSlots[at].item->uuid != uuid)) at = next(at);
  return at;
}

Item* UuidIndex::find(const Uuid& uuid) const { return fSlots[locate(uuid, firstHalf(uuid))].item; }

bool UuidIndex::insert(Item& item) {
  if ((fCount + 1) * 4 > fSlots.size() * 3) grow();
  const std::uint64_t half = firstHalf(item.uuid);
  Slot& slot = fSlots[locate(item.uuid, half)];
  if (slot.item != nullptr) return false;
  slot = {half, &item};
  ++fCount;
  return true;
}

/// What follows in the same run moves up where its home allows, so no mark of the erased entry has to stay.
void UuidIndex::erase(const Item& item) {
  std::size_t gap = locate(item.uuid, firstHalf(item.uuid));
  assert(fSlots[gap].item == &item);
  for (std::size_t at = next(gap); fSlots[at].item != nullptr; at = next(at)) {
    const std::size_t mask = fSlots.size() - 1;
    const std::size_t wanted = home(fSlots[at].half);
    if (((at - wanted) & mask) < ((at - gap) & mask)) continue;
    fSlots[gap] = fSlots[at];
    gap = at;
  }
  fSlots[gap] = {};
  --fCount;
}

void UuidIndex::grow() {
  const std::vector<Slot> old = std::exchange(fSlots, std::vector<Slot>(fSlots.size() * 2));
  --fShift;
  for (const Slot& slot : old) {
    if (slot.item == nullptr) continue;
    std::size_t at = home(slot.half);
    while (fSlots[at].item != nullptr) at = next(at);
    fSlots[at] = slot;
  }
}

}  // namespace bench::limit
