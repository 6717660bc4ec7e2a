#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace quillon::nimbo {

/// What a stream has numbered, by id. An entry of id k stands at index k - 1.
///
/// Writers hand out ids without gaps, so entries lie in a vector. But a reader takes whatever ids a stream brings, and
/// an id of 2^60 must cost no more than one of 2: entries that the vector does not reach yet wait aside, in a tree
/// rather than a hash table, for which a hostile stream could choose ids that collide. Invariant: no entry waits whose
/// index the vector has reached, nor the one next to its end.
template <class Entry>
class IdTable {
 public:
  using Index = std::uint64_t;

  /// The index behind a definition: `id` is positive.
  [[nodiscard]] static constexpr Index indexOfNew(std::int64_t id) noexcept { return static_cast<Index>(id) - 1; }
  /// The index behind a later mention: `id` is negative. The complement is -id - 1 for the most negative id too.
  [[nodiscard]] static constexpr Index indexOfKnown(std::int64_t id) noexcept { return static_cast<Index>(~id); }

  /// One more than the highest index that was ever stored, as if the table had grown over the gaps.
  [[nodiscard]] Index size() const noexcept { return fSize; }

  /// The entry, or nullptr where nothing was stored: in a gap and beyond the end. Valid until the next store.
  [[nodiscard]] Entry* find(Index index) noexcept {
    if (index < fDense.size()) [[likely]]
      return &fDense[static_cast<std::size_t>(index)];
    const auto waiting = fWaiting.find(index);
    return waiting == fWaiting.end() ? nullptr : &waiting->second;
  }

  /// Brings the entry into the cache while there is something else to do.
  void prefetch(Index index) const noexcept {
    if (index < fDense.size()) __builtin_prefetch(&fDense[static_cast<std::size_t>(index)]);
  }

  /// A later entry takes the place of an earlier one.
  Entry& store(Index index, Entry entry) {
    if (index >= fSize) fSize = index + 1;
    if (index == fDense.size()) [[likely]]
      return append(std::move(entry));
    if (index < fDense.size()) return fDense[static_cast<std::size_t>(index)] = std::move(entry);
    return fWaiting.insert_or_assign(index, std::move(entry)).first->second;
  }

  /// Visits every entry in the order of the ids.
  template <class Visit>
  void forEach(Visit visit) {
    for (Entry& entry : fDense) visit(entry);
    for (auto& [index, entry] : fWaiting) visit(entry);
  }

  /// The same, with the index of each.
  template <class Visit>
  void forEachWithIndex(Visit visit) {
    for (std::size_t index = 0; index < fDense.size(); ++index) visit(Index{index}, fDense[index]);
    for (auto& [index, entry] : fWaiting) visit(index, entry);
  }

  /// Forgets the entries and keeps the vector's memory for the next stream.
  void clear() noexcept {
    fDense.clear();
    fWaiting.clear();
    fSize = 0;
  }

 private:
  Entry& append(Entry entry) {
    const std::size_t index = fDense.size();
    fDense.push_back(std::move(entry));
    while (!fWaiting.empty() && fWaiting.begin()->first == fDense.size()) {
      fDense.push_back(std::move(fWaiting.begin()->second));
      fWaiting.erase(fWaiting.begin());
    }
    return fDense[index];
  }

  std::vector<Entry> fDense;
  std::map<Index, Entry> fWaiting;
  Index fSize = 0;
};

}  // namespace quillon::nimbo
