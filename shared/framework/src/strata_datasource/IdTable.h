#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <unordered_map>
#include <vector>

namespace strata_datasource {

/// Which id in the store belongs to which place in the model's table, and the other way round. Ids are mostly dense but
/// come from a file, so they are looked up by pages and not in one vector.
class IdTable {
 public:
  static constexpr std::uint32_t kUnknown = std::numeric_limits<std::uint32_t>::max();
  static constexpr std::uint32_t kGone =
      kUnknown - 1;  ///< the store has a row of it, the model has destroyed it for good

  /// The id of a place; 0 for none. Negative: the id is reserved for the element, and the store has no row of it.
  [[nodiscard]] std::int64_t idAt(std::uint32_t place) const noexcept { return place < fIds.size() ? fIds[place] : 0; }
  [[nodiscard]] bool hasRow(std::uint32_t place) const noexcept { return idAt(place) > 0; }
  /// How many places have a row.
  [[nodiscard]] std::size_t rows() const noexcept { return fRows; }

  /// The place of an id, kUnknown or kGone.
  [[nodiscard]] std::uint32_t placeOf(std::int64_t id) const noexcept {
    const Page* page = find(id >> kPageBits);
    return page == nullptr ? kUnknown : (*page)[static_cast<std::size_t>(id & kPageMask)];
  }

  /// After this, set with the same place and id cannot fail.
  void reserve(std::uint32_t place, std::int64_t id) {
    if (place >= fIds.size()) fIds.resize(static_cast<std::size_t>(place) + 1, 0);
    static_cast<void>(page(id >> kPageBits));
  }
  void set(std::uint32_t place, std::int64_t id) {
    reserve(place, id);
    page(id >> kPageBits)[static_cast<std::size_t>(id & kPageMask)] = place;
    put(place, id);
  }
  /// Takes back what set did.
  void unset(std::uint32_t place) noexcept {
    setPlace(idAt(place), kUnknown);
    put(place, 0);
  }
  void setHasRow(std::uint32_t place, bool hasRow) noexcept {
    const std::int64_t id = fIds[place] < 0 ? -fIds[place] : fIds[place];
    put(place, hasRow ? id : -id);
  }
  /// The record at that place is freed.
  void setGone(std::uint32_t place) noexcept {
    setPlace(idAt(place), kGone);
    if (place < fIds.size()) put(place, 0);
  }

 private:
  static constexpr unsigned kPageBits = 10;
  static constexpr std::int64_t kPageMask = (std::int64_t{1} << kPageBits) - 1;
  using Page = std::array<std::uint32_t, std::size_t{1} << kPageBits>;

  [[nodiscard]] Page* find(std::int64_t number) const noexcept {
    if (number == fLastNumber) return fLast;
    const auto found = fPages.find(number);
    if (found == fPages.end()) return nullptr;
    fLastNumber = number;
    fLast = found->second.get();
    return fLast;
  }
  Page& page(std::int64_t number) {
    if (Page* known = find(number)) return *known;
    auto made = std::make_unique<Page>();
    made->fill(kUnknown);
    fLastNumber = -1;
    return *fPages.emplace(number, std::move(made)).first->second;
  }
  void put(std::uint32_t place, std::int64_t id) noexcept {
    fRows += id > 0 ? 1U : 0U;
    fRows -= fIds[place] > 0 ? 1U : 0U;
    fIds[place] = id;
  }
  void setPlace(std::int64_t id, std::uint32_t place) noexcept {
    const std::int64_t number = id < 0 ? -id : id;
    Page* known = number == 0 ? nullptr : find(number >> kPageBits);
    if (known != nullptr) (*known)[static_cast<std::size_t>(number & kPageMask)] = place;
  }

  std::vector<std::int64_t> fIds;
  std::size_t fRows = 0;
  std::unordered_map<std::int64_t, std::unique_ptr<Page>> fPages;
  mutable std::int64_t fLastNumber = -1;
  mutable Page* fLast = nullptr;
};

}  // namespace strata_datasource
