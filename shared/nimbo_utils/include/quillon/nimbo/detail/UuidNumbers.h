#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/hashers.h>

namespace quillon::nimbo::detail {

/// Numbers uuids from 1 in the order in which they are first asked for, and keeps the numbers.
///
/// A flat table with linear probing in front of the uuids in the order of their numbers: every line of a printed tree
/// asks here, and with a node per entry this was a quarter of the whole print. A text shows no numbers, so there the
/// uuids are only noted down; they get their numbers, in the same order, when the first number is asked for.
/// A copy goes on where its source stood. Threads: as a standard container.
class UuidNumbers {
 public:
  /// The uuid's number, a new one if it has none. If memory runs out nothing has changed.
  std::uint64_t numberOf(const boost::uuids::uuid& uuid) {
    numberMentioned();
    return number(uuid);
  }

  /// What numberOf does, for those who do not need the number now.
  void mention(const boost::uuids::uuid& uuid) {
    if (!fMentioned.empty() && fMentioned.back() == uuid) return;
    if (fMentioned.size() == kMostMentioned) numberMentioned();
    fMentioned.push_back(uuid);
  }

  /// Makes room for `count` uuids in all.
  void reserve(std::size_t count) {
    if (count * 2 > fTable.size()) grow(count);
  }

 private:
  // Of numbers, for which 32 bits will do: so many elements fit into no memory. The size is a power of two.
  using Table = std::vector<std::uint32_t>;
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::size_t kSmallestTable = 16;
  static constexpr std::size_t kMostMentioned = std::size_t{1} << 20U;

  void numberMentioned() {
    if (fMentioned.empty()) return;
    for (const boost::uuids::uuid& uuid : fMentioned) static_cast<void>(number(uuid));
    fMentioned.clear();
  }

  std::uint64_t number(const boost::uuids::uuid& uuid) {
    reserve(fUuids.size() + 1);
    std::uint32_t& place = placeOf(fTable, uuid);
    if (place == kFree) {
      fUuids.push_back(uuid);
      place = static_cast<std::uint32_t>(fUuids.size());
    }
    return place;
  }

  /// Where the uuid's number stands or is to stand. There is always a free place: at most half are taken.
  std::uint32_t& placeOf(Table& table, const boost::uuids::uuid& uuid) const {
    const std::size_t mask = table.size() - 1;
    auto at = static_cast<std::size_t>(tarn::kern::services::hashers::NimboHasher<boost::uuids::uuid>()(uuid)) & mask;
    while (table[at] != kFree && fUuids[table[at] - 1] != uuid) at = (at + 1) & mask;
    return table[at];
  }

  void grow(std::size_t count) {
    fUuids.reserve(std::max(count, fUuids.capacity()));
    Table larger(std::bit_ceil(std::max(count * 2, kSmallestTable)), kFree);
    for (std::size_t i = 0; i < fUuids.size(); ++i) {
      placeOf(larger, fUuids[i]) = static_cast<std::uint32_t>(i + 1);
    }
    fTable = std::move(larger);
  }

  std::vector<boost::uuids::uuid> fUuids;  // by number, which is the index and 1
  Table fTable;
  std::vector<boost::uuids::uuid> fMentioned;  // without a number yet, some more than once, some that have one
};

}  // namespace quillon::nimbo::detail
