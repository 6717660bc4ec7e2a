#pragma once

#include <cstddef>
#include <cstdint>
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
    Killed,          ///< the element was destroyed
    Revived,         ///< the inverse
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

}  // namespace tarn::kern::internal
