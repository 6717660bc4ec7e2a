// (e) Members that leave a long ordered list: from the front, from the back, from anywhere.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Choices.h"
#include "Shuffled.h"
#include "support/Measure.h"

namespace bench::spike {
namespace {

struct Member {
  std::uint32_t position = 0;  ///< used by the list that keeps positions in its members
  char rest[60];
};

class PlainList {
 public:
  void append(Member* member) { fItems.push_back(member); }
  void remove(Member* member) { fItems.erase(std::find(fItems.begin(), fItems.end(), member)); }
  void prepare() {}
  [[nodiscard]] std::size_t size() const { return fItems.size(); }

 private:
  std::vector<Member*> fItems;
};

/// A hash from pointer to position with linear probing. A key that is gone stays as a mark until the next rebuild.
class PositionHash {
 public:
  void build(const std::vector<Member*>& items) {
    const std::size_t size = std::bit_ceil(std::max<std::size_t>(16, items.size() * 2));
    fMask = size - 1;
    fShift = 64 - static_cast<unsigned>(std::countr_zero(size));
    fSlots.assign(size, kEmpty);
    fUsed = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (items[i] != nullptr) insert(items, i);
    }
  }
  void insert(const std::vector<Member*>& items, std::size_t position) {
    std::size_t at = slotOf(items[position]);
    while (fSlots[at] != kEmpty) at = (at + 1) & fMask;
    fSlots[at] = static_cast<std::uint32_t>(position);
    ++fUsed;
  }
  /// The keys are not kept: the list itself tells whether a position holds the member. A hole matches nothing and is
  /// passed.
  [[nodiscard]] std::size_t find(const std::vector<Member*>& items, const Member* member) const {
    std::size_t at = slotOf(member);
    while (fSlots[at] >= items.size() || items[fSlots[at]] != member) at = (at + 1) & fMask;
    return fSlots[at];
  }
  [[nodiscard]] bool empty() const { return fSlots.empty(); }
  [[nodiscard]] bool hasRoom() const { return fUsed * 3 < fSlots.size() * 2; }

 private:
  static constexpr std::uint32_t kEmpty = 0xffffffffU;
  [[nodiscard]] std::size_t slotOf(const Member* member) const {
    return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(member) * 0x9e3779b97f4a7c15U) >> fShift);
  }
  std::vector<std::uint32_t> fSlots;
  std::size_t fMask = 0;
  std::size_t fUsed = 0;
  unsigned fShift = 0;
};

/// Who leaves leaves a hole; the list is closed up when half of it are holes. The hash is made at the first removal
/// that needs it.
class HashedHoleList {
 public:
  void append(Member* member) {
    fItems.push_back(member);
    if (fHash.empty()) return;
    if (fHash.hasRoom()) {
      fHash.insert(fItems, fItems.size() - 1);
    } else {
      fHash.build(fItems);
    }
  }
  void remove(Member* member) {
    if (fItems.back() == member) {
      fItems.pop_back();
      while (!fItems.empty() && fItems.back() == nullptr) {
        fItems.pop_back();
        --fHoles;
      }
      return;
    }
    prepare();
    fItems[fHash.find(fItems, member)] = nullptr;
    if (++fHoles * 2 > fItems.size()) closeUp();
  }
  void prepare() {
    if (fHash.empty()) fHash.build(fItems);
  }
  [[nodiscard]] std::size_t size() const { return fItems.size() - fHoles; }

 private:
  void closeUp() {
    std::erase(fItems, nullptr);
    fHoles = 0;
    fHash.build(fItems);
  }
  std::vector<Member*> fItems;
  PositionHash fHash;
  std::size_t fHoles = 0;
};

/// The same with the position in the member: possible only for containment, where an element stands in one list.
class NumberedHoleList {
 public:
  void append(Member* member) {
    member->position = static_cast<std::uint32_t>(fItems.size());
    fItems.push_back(member);
  }
  void remove(Member* member) {
    fItems[member->position] = nullptr;
    if (++fHoles * 2 > fItems.size()) closeUp();
  }
  void prepare() {}
  [[nodiscard]] std::size_t size() const { return fItems.size() - fHoles; }

 private:
  void closeUp() {
    std::erase(fItems, nullptr);
    fHoles = 0;
    for (std::size_t i = 0; i < fItems.size(); ++i) fItems[i]->position = static_cast<std::uint32_t>(i);
  }
  std::vector<Member*> fItems;
  std::size_t fHoles = 0;
};

/// Takes `removals` of `count` members out, in the given order of their first positions.
template <class List>
double leave(std::size_t count, const std::vector<std::uint32_t>& order, std::size_t removals) {
  std::vector<std::unique_ptr<Member>> members;
  List list;
  for (std::size_t i = 0; i < count; ++i) {
    members.push_back(std::make_unique<Member>());
    list.append(members.back().get());
  }
  const double result = nanosecondsPer(removals, [&] {
    for (std::size_t i = 0; i < removals; ++i) list.remove(members[order[i]].get());
  });
  require(list.size() == count - removals, "the members left in a list");
  return result;
}

template <class List>
Figures leaveLists(std::size_t count, std::size_t removals) {
  std::vector<std::uint32_t> forward(count);
  for (std::size_t i = 0; i < count; ++i) forward[i] = static_cast<std::uint32_t>(i);
  const std::vector<std::uint32_t> backward(forward.rbegin(), forward.rend());
  Figures figures;
  figures.emplace_back("front", leave<List>(count, forward, removals));
  figures.emplace_back("back", leave<List>(count, backward, removals));
  figures.emplace_back("random", leave<List>(count, shuffled(count), removals));

  std::vector<std::unique_ptr<Member>> members;
  List list;
  for (std::size_t i = 0; i < count; ++i) members.push_back(std::make_unique<Member>());
  figures.emplace_back("append", nanosecondsPer(count, [&] {
                         for (const std::unique_ptr<Member>& member : members) list.append(member.get());
                       }));
  figures.emplace_back("first, ms", 1e-6 * nanosecondsPer(1, [&] { list.remove(members[count / 2].get()); }));
  return figures;
}

}  // namespace

std::vector<Variant> longLists(std::size_t count) {
  return {{"holes and a lazy position hash", [=] { return leaveLists<HashedHoleList>(count, count); }},
          {"holes, position in the member", [=] { return leaveLists<NumberedHoleList>(count, count); }}};
}

std::vector<Variant> longPlainLists(std::size_t count, std::size_t removals) {
  return {{"plain vector", [=] { return leaveLists<PlainList>(count, removals); }}};
}

}  // namespace bench::spike
