#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include <tarn/kern/Value.h>

#include "ElementList.h"
#include "MapUndo.h"

namespace tarn::kern::internal {

class ElementRecord;
struct SlotInfo;

/// What a journal entry keeps beyond a few numbers.
struct JournalPayload {
  JournalPayload() = default;
  JournalPayload(const JournalPayload&) = delete;
  JournalPayload& operator=(const JournalPayload&) = delete;
  virtual ~JournalPayload();
};
struct ValuePayload final : JournalPayload {
  explicit ValuePayload(Value v) noexcept : value(std::move(v)) {}
  ~ValuePayload() override;
  Value value;
};
struct ListPayload final : JournalPayload {
  ~ListPayload() override;
  ElementList list;
};
struct PositionsPayload final : JournalPayload {
  ~PositionsPayload() override;
  std::vector<std::uint32_t> positions;
};
struct MapPayload final : JournalPayload {
  explicit MapPayload(std::unique_ptr<MapUndo> u) noexcept : undo(std::move(u)) {}
  ~MapPayload() override;
  std::unique_ptr<MapUndo> undo;
};

/// One change of one slot (or of an element's place or life), held so that applying it undoes it and turns the entry
/// into its own inverse: applying it once more does the change again. Applying never allocates and never fails.
/// Positions are physical (see ElementList).
struct JournalEntry {
  enum class Kind : std::uint8_t {
    Single,          ///< payload: the other value
    Reference,       ///< other: the other target
    ListInserted,    ///< a member came in at `a`; its inverse is ListErased
    ListErased,      ///< `other` left from `a`
    ListHole,        ///< `other` left `a` open
    ListFilled,      ///< the inverse
    ListPacked,      ///< payload: where holes were
    ListUnpacked,    ///< the inverse
    ListMoved,       ///< the entry at `a` went to `b`
    ListSwapped,     ///< payload: the other list
    VectorInserted,  ///< an entry came in at `a`
    VectorErased,    ///< payload: what left from `a`
    VectorChanged,   ///< payload: the other value of the entry at `a`
    VectorMoved,     ///< the entry at `a` went to `b`
    VectorSwapped,   ///< payload: the other vector
    Map,             ///< payload: what undoes it
    Container,       ///< other: the other container; a: its slot; b: the other place among the top-level elements
    Killed,          ///< the element was destroyed; b: how it left its place (see Leaving), a: from where
    Revived,         ///< the inverse
  };
  /// How an element that was destroyed left the list that it was contained in. It keeps its container and the slot, so
  /// one entry can stand for both changes, of the element and of the list.
  enum Leaving : std::uint32_t {
    kElsewhere,  ///< the list has an entry of its own, or needs none
    kErased,     ///< as ListErased
    kHole,       ///< as ListHole
  };

  Kind kind;
  std::uint16_t slot = 0;
  std::uint32_t a = 0;
  std::uint32_t b = 0;
  ElementRecord* element = nullptr;
  ElementRecord* other = nullptr;
  std::unique_ptr<JournalPayload> payload;
};

[[nodiscard]] inline bool concernsLife(JournalEntry::Kind kind) noexcept {
  return kind == JournalEntry::Kind::Killed || kind == JournalEntry::Kind::Revived;
}

/// Journal entries in order.
///
/// They lie in chunks that double up to a size: adding to a long journal neither moves what is there nor asks for twice
/// the memory, of which each new page costs as much as dozens of entries. What short transactions need stays at hand.
class Journal {
 public:
  Journal() = default;
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  [[nodiscard]] std::size_t size() const noexcept { return fSize; }
  [[nodiscard]] bool empty() const noexcept { return fSize == 0; }
  [[nodiscard]] std::size_t capacity() const noexcept { return fCapacity; }
  [[nodiscard]] JournalEntry& operator[](std::size_t index) noexcept {
    const Position at = positionOf(index);
    return fChunks[at.chunk][at.offset];
  }
  [[nodiscard]] const JournalEntry& operator[](std::size_t index) const noexcept {
    const Position at = positionOf(index);
    return fChunks[at.chunk][at.offset];
  }

  /// Room for so many entries in all. Throws std::bad_alloc and changes nothing then.
  void reserve(std::size_t size) {
    while (fCapacity < size) addChunk();
  }
  /// A new last entry. @pre there is room for it
  JournalEntry& append() noexcept {
    JournalEntry& entry = fChunks[positionOf(fSize).chunk].emplace_back();
    ++fSize;
    return entry;
  }
  /// Leaves the first `size` entries.
  void truncate(std::size_t size) noexcept {
    while (fSize > size) {
      fChunks[positionOf(fSize - 1).chunk].pop_back();
      --fSize;
    }
  }
  void clear() noexcept;
  void swap(Journal& other) noexcept {
    fChunks.swap(other.fChunks);
    std::swap(fSize, other.fSize);
    std::swap(fCapacity, other.fCapacity);
  }
  /// Takes out the entries for which the test is true; the others keep their order. The test may change an entry.
  template <class Test>
  void eraseIf(Test test) noexcept {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < fSize; ++i) {
      if (test((*this)[i])) continue;
      if (kept != i) (*this)[kept] = std::move((*this)[i]);
      ++kept;
    }
    truncate(kept);
  }

  template <class Owner, class Entry>
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = JournalEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    Iterator(Owner& journal, std::size_t index) noexcept : fJournal(&journal), fIndex(index) {}
    Entry& operator*() const noexcept { return (*fJournal)[fIndex]; }
    Iterator& operator++() noexcept {
      ++fIndex;
      return *this;
    }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    Owner* fJournal;
    std::size_t fIndex;
  };
  [[nodiscard]] auto begin() noexcept { return Iterator<Journal, JournalEntry>(*this, 0); }
  [[nodiscard]] auto end() noexcept { return Iterator<Journal, JournalEntry>(*this, fSize); }
  [[nodiscard]] auto begin() const noexcept { return Iterator<const Journal, const JournalEntry>(*this, 0); }
  [[nodiscard]] auto end() const noexcept { return Iterator<const Journal, const JournalEntry>(*this, fSize); }

 private:
  struct Position {
    std::size_t chunk;
    std::size_t offset;
  };
  static constexpr std::size_t kFirstChunk = 8;
  static constexpr std::size_t kLargestChunk = 1024;
  static constexpr std::size_t kDoublings = 7;  // from the one to the other
  static_assert(kFirstChunk << kDoublings == kLargestChunk);

  /// The chunks hold 8, 8, 16, 32 … 512, then 1,024 entries each, so that below 1,024 the highest bit of an index tells
  /// its chunk.
  static Position positionOf(std::size_t index) noexcept {
    if (index >= kLargestChunk) return {kDoublings + index / kLargestChunk, index % kLargestChunk};
    const std::size_t chunk = static_cast<std::size_t>(std::bit_width(index / kFirstChunk));
    return {chunk, chunk == 0 ? index : index - (kFirstChunk << (chunk - 1))};
  }
  static std::size_t sizeOf(std::size_t chunk) noexcept {
    return chunk > kDoublings ? kLargestChunk : kFirstChunk << (chunk == 0 ? 0 : chunk - 1);
  }
  void addChunk();

  std::vector<std::vector<JournalEntry>> fChunks;  // each has its whole size reserved
  std::size_t fSize = 0;
  std::size_t fCapacity = 0;
};

}  // namespace tarn::kern::internal
