#include "ElementList.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>

#include <tarn/kern/Handle.h>

#include "Layout.h"

namespace tarn::kern::internal {

static_assert(sizeof(ElementList) == kElementListBytes, "layouts reserve this many bytes for a list");

// --- The hash of long lists.

std::size_t ElementList::PositionHash::home(const Member* member) const noexcept {
  return hashOfAddress(member) & (fSlots.size() - 1);
}

void ElementList::PositionHash::place(Member* member, std::uint32_t position) {
  const std::size_t mask = fSlots.size() - 1;
  std::size_t i = home(member);
  while (fSlots[i].member != nullptr) {
    if (fSlots[i].member == member) {
      fRepeats[member].insert(std::max(fSlots[i].position, position));
      fSlots[i].position = std::min(fSlots[i].position, position);
      return;
    }
    i = (i + 1) & mask;
  }
  fSlots[i] = {member, position};
  ++fUsed;
}

void ElementList::PositionHash::rebuild(Member* const* data, std::uint32_t size) {
  fValid = false;
  fRepeats.clear();
  std::vector<Slot> slots(std::bit_ceil(std::size_t{size} * 2 + 16), Slot{nullptr, 0});
  fSlots.swap(slots);
  fUsed = 0;
  for (std::uint32_t i = 0; i < size; ++i) {
    if (data[i] != nullptr && !isHole(data[i])) place(data[i], i);
  }
  fValid = true;
}

void ElementList::PositionHash::put(Member* member, std::uint32_t position) {
  if ((fUsed + 1) * 4 > fSlots.size() * 3) {
    std::vector<Slot> larger(fSlots.size() * 2, Slot{nullptr, 0});
    fSlots.swap(larger);
    const std::size_t mask = fSlots.size() - 1;
    for (const Slot& slot : larger) {
      if (slot.member == nullptr) continue;
      std::size_t i = home(slot.member);
      while (fSlots[i].member != nullptr) i = (i + 1) & mask;
      fSlots[i] = slot;
    }
  }
  place(member, position);
}

void ElementList::PositionHash::erase(const Member* member, std::uint32_t position) noexcept {
  const std::size_t mask = fSlots.size() - 1;
  std::size_t i = home(member);
  while (fSlots[i].member != member) {
    if (fSlots[i].member == nullptr) return;
    i = (i + 1) & mask;
  }
  if (!fRepeats.empty()) {
    if (const auto repeats = fRepeats.find(member); repeats != fRepeats.end()) {
      std::set<std::uint32_t>& others = repeats->second;
      if (fSlots[i].position == position) {
        fSlots[i].position = *others.begin();
        others.erase(others.begin());
      } else {
        others.erase(position);
      }
      if (others.empty()) fRepeats.erase(repeats);
      return;
    }
  }
  --fUsed;
  std::size_t next = i;
  for (;;) {  // close the gap, so that probing never meets a mark of something gone
    fSlots[i].member = nullptr;
    do {
      next = (next + 1) & mask;
      if (fSlots[next].member == nullptr) return;
    } while (((next - home(fSlots[next].member)) & mask) < ((next - i) & mask));
    fSlots[i] = fSlots[next];
    i = next;
  }
}

std::uint32_t ElementList::PositionHash::find(const Member* member) const noexcept {
  const std::size_t mask = fSlots.size() - 1;
  for (std::size_t i = home(member); fSlots[i].member != nullptr; i = (i + 1) & mask) {
    if (fSlots[i].member == member) return fSlots[i].position;
  }
  return kNone;
}

// --- The list.

ElementList::~ElementList() { std::free(fData); }

ElementList::Member* ElementList::hole() noexcept {
  alignas(Member) static char mark;  // an address that no element can have
  return reinterpret_cast<Member*>(&mark);
}

std::uint32_t ElementList::find(const Member* member) const noexcept {
  // Who takes members from the front needs no hash, which a long list would have to keep from the first removal on.
  const std::uint32_t front = fLong == nullptr ? 0 : fLong->leadingHoles;
  if (front < fSize && fData[front] == member) return front;
  if (member != nullptr && fLong != nullptr && fSize >= kLong) {
    if (!fLong->hash.isValid()) {
      try {
        fLong->hash.rebuild(fData, fSize);
      } catch (const std::bad_alloc&) {  // slower, not wrong
      }
    }
    if (fLong->hash.isValid()) return fLong->hash.find(member);
  }
  Member* const* end = fData + fSize;
  Member* const* found = std::find(fData, fData + fSize, member);
  return found == end ? kNone : static_cast<std::uint32_t>(found - fData);
}

void ElementList::reserve(std::uint32_t more) {
  if (more > kNone - 1 - fSize) throw std::bad_alloc();
  const std::uint32_t wanted = fSize + more;
  if (wanted >= kLong && fLong == nullptr) fLong = std::make_unique<LongPart>();
  if (wanted <= fCapacity) return;
  const std::uint32_t grown = fCapacity > (kNone - 1) / 2 ? kNone - 1 : fCapacity * 2;
  const std::uint32_t capacity = std::max({wanted, grown, std::uint32_t{2}});
  // Pointers are moved as bytes, which realloc does best; new has no way to grow in place.
  void* memory = std::realloc(fData, std::size_t{capacity} * sizeof(Member*));
  if (memory == nullptr) throw std::bad_alloc();
  fData = static_cast<Member**>(memory);
  fCapacity = capacity;
}

void ElementList::prepareRemoval() {
  if (fSize >= kLong && fLong == nullptr) fLong = std::make_unique<LongPart>();
}

std::vector<std::uint32_t> ElementList::holePositions() const {
  std::vector<std::uint32_t> positions;
  positions.reserve(holes());
  for (std::uint32_t i = 0; i < fSize; ++i) {
    if (isHole(fData[i])) positions.push_back(i);
  }
  return positions;
}

void ElementList::invalidateHash() noexcept {
  if (fLong != nullptr) fLong->hash.invalidate();
}

void ElementList::insertAt(std::uint32_t position, Member* member) noexcept {
  assert(fSize < fCapacity && position <= fSize);
  if (position == fSize) {
    fData[fSize++] = member;
    if (fLong != nullptr && fLong->hash.isValid() && member != nullptr) {
      try {
        fLong->hash.put(member, position);
      } catch (const std::bad_alloc&) {
        fLong->hash.invalidate();
      }
    }
    return;
  }
  std::memmove(fData + position + 1, fData + position, (fSize - position) * sizeof(Member*));
  fData[position] = member;
  ++fSize;
  invalidateHash();
  if (fLong != nullptr && position < fLong->leadingHoles) fLong->leadingHoles = position;
}

ElementList::Member* ElementList::eraseAt(std::uint32_t position) noexcept {
  assert(position < fSize && !isHole(fData[position]));
  Member* member = fData[position];
  --fSize;
  if (position == fSize) {
    if (fLong != nullptr && fLong->hash.isValid() && member != nullptr) fLong->hash.erase(member, position);
    if (fLong != nullptr && fLong->leadingHoles > fSize) fLong->leadingHoles = fSize;
    return member;
  }
  std::memmove(fData + position, fData + position + 1, (fSize - position) * sizeof(Member*));
  invalidateHash();
  return member;
}

void ElementList::extendLeadingHoles() noexcept {
  while (fLong->leadingHoles < fSize && isHole(fData[fLong->leadingHoles])) ++fLong->leadingHoles;
}

ElementList::Member* ElementList::makeHole(std::uint32_t position) noexcept {
  assert(fLong != nullptr && position < fSize && !isHole(fData[position]));
  Member* member = fData[position];
  fData[position] = hole();
  ++fLong->holes;
  if (fLong->hash.isValid() && member != nullptr) fLong->hash.erase(member, position);
  if (position == fLong->leadingHoles) extendLeadingHoles();
  return member;
}

void ElementList::fillHole(std::uint32_t position, Member* member) noexcept {
  assert(position < fSize && isHole(fData[position]));
  fData[position] = member;
  --fLong->holes;
  if (position < fLong->leadingHoles) fLong->leadingHoles = position;
  invalidateHash();
}

void ElementList::removeHoles() noexcept {
  if (holes() == 0) return;
  Member** end = std::remove_if(fData, fData + fSize, [](Member* entry) { return isHole(entry); });
  fSize = static_cast<std::uint32_t>(end - fData);
  fLong->holes = 0;
  fLong->leadingHoles = 0;
  invalidateHash();
}

void ElementList::restoreHoles(const std::vector<std::uint32_t>& positions) noexcept {
  if (positions.empty()) return;
  const auto count = static_cast<std::uint32_t>(positions.size());
  assert(fSize + count <= fCapacity);
  std::uint32_t from = fSize;
  std::uint32_t to = fSize + count;
  fSize = to;
  for (std::size_t next = positions.size(); next > 0;) {
    --to;
    if (positions[next - 1] == to) {
      fData[to] = hole();
      --next;
    } else {
      fData[to] = fData[--from];
    }
  }
  fLong->holes += count;
  fLong->leadingHoles = 0;
  extendLeadingHoles();
  invalidateHash();
}

void ElementList::moveEntry(std::uint32_t from, std::uint32_t to) noexcept {
  if (from < to) {
    std::rotate(fData + from, fData + from + 1, fData + to + 1);
  } else {
    std::rotate(fData + to, fData + from, fData + from + 1);
  }
  invalidateHash();
}

void ElementList::swap(ElementList& other) noexcept {
  std::swap(fData, other.fData);
  std::swap(fSize, other.fSize);
  std::swap(fCapacity, other.fCapacity);
  fLong.swap(other.fLong);
}

void ElementList::clear() noexcept {
  ElementList empty;
  swap(empty);
}

}  // namespace tarn::kern::internal
