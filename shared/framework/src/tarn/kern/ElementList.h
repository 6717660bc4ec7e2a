#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include <tarn/kern/ElementHandle.h>

namespace tarn::kern::internal {

/// The members of one class-typed collection of one element: raw pointers in collection order.
///
/// Leaving a long list must not cost a move of all that stands behind, so a long list keeps a hole where a member left,
/// and finds members through a hash from member to position that is made when first needed. Positions here are
/// physical: they count holes. A hole is not a null member, which is a member like any other. Nothing here is journaled
/// and nothing below the line "unchecked" allocates: the caller reserves first, so that changes and their undoing
/// cannot fail half way. Decision and figures: docs/decisions/0001-kernel-cost.md.
class ElementList {
 public:
  using Member = ModelElement::Impl;
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;
  /// From this size on a list keeps holes and finds by hash.
  static constexpr std::uint32_t kLong = 64;

  ElementList() noexcept = default;
  ElementList(const ElementList&) = delete;
  ElementList& operator=(const ElementList&) = delete;
  ~ElementList();

  /// Members, holes not counted.
  [[nodiscard]] std::uint32_t size() const noexcept { return fSize - holes(); }
  [[nodiscard]] std::uint32_t physicalSize() const noexcept { return fSize; }
  [[nodiscard]] std::uint32_t holes() const noexcept { return fLong == nullptr ? 0 : fLong->holes; }
  [[nodiscard]] Member* const* data() const noexcept { return fData; }
  [[nodiscard]] Member* at(std::uint32_t position) const noexcept { return fData[position]; }
  [[nodiscard]] static bool isHole(const Member* entry) noexcept { return entry == hole(); }

  /// The physical position of the member with that logical index when it is known without a scan, otherwise kNone: then
  /// compact first.
  [[nodiscard]] std::uint32_t positionOf(std::uint32_t index) const noexcept {
    if (fLong == nullptr || fLong->holes == 0) return index;
    return fLong->holes == fLong->leadingHoles ? index + fLong->leadingHoles : kNone;
  }
  /// The first physical position of a member, kNone when it is none.
  [[nodiscard]] std::uint32_t find(const Member* member) const noexcept;

  /// Room for `more` further entries. Throws std::bad_alloc and changes nothing then.
  void reserve(std::uint32_t more);
  /// Room to leave a hole. As above.
  void prepareRemoval();
  [[nodiscard]] bool removesByHole(std::uint32_t position) const noexcept {
    return fSize >= kLong && position + 1 < fSize;
  }
  [[nodiscard]] bool wantsCompaction() const noexcept { return holes() > kLong && holes() > fSize / 2; }
  /// Where the holes are, ascending.
  [[nodiscard]] std::vector<std::uint32_t> holePositions() const;

  // --- unchecked
  void insertAt(std::uint32_t position, Member* member) noexcept;
  Member* eraseAt(std::uint32_t position) noexcept;
  Member* makeHole(std::uint32_t position) noexcept;
  void fillHole(std::uint32_t position, Member* member) noexcept;
  void removeHoles() noexcept;
  /// Undoes removeHoles. The capacity of then is still there.
  void restoreHoles(const std::vector<std::uint32_t>& positions) noexcept;
  void moveEntry(std::uint32_t from, std::uint32_t to) noexcept;
  void swap(ElementList& other) noexcept;
  /// Frees everything.
  void clear() noexcept;

 private:
  /// Member to position, open addressing, linear probing, deletion by shifting back.
  class PositionHash {
   public:
    void rebuild(Member* const* data, std::uint32_t size);
    void put(Member* member, std::uint32_t position);
    void erase(const Member* member, std::uint32_t position) noexcept;
    [[nodiscard]] std::uint32_t find(const Member* member) const noexcept;
    [[nodiscard]] bool isValid() const noexcept { return fValid; }
    void invalidate() noexcept { fValid = false; }

   private:
    struct Slot {
      Member* member;
      std::uint32_t position;
    };
    [[nodiscard]] std::size_t home(const Member* member) const noexcept;
    void place(Member* member, std::uint32_t position);
    std::vector<Slot> fSlots;
    std::size_t fUsed = 0;
    // Where a member stands besides its slot's position: only collections that are not unique have such.
    std::unordered_map<const Member*, std::set<std::uint32_t>> fRepeats;
    bool fValid = false;
  };
  struct LongPart {
    std::uint32_t holes = 0;
    std::uint32_t leadingHoles = 0;
    mutable PositionHash hash;
  };

  static Member* hole() noexcept;
  void invalidateHash() noexcept;
  void extendLeadingHoles() noexcept;

  Member** fData = nullptr;
  std::uint32_t fSize = 0;
  std::uint32_t fCapacity = 0;
  std::unique_ptr<LongPart> fLong;
};

}  // namespace tarn::kern::internal
