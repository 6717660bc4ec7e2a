#pragma once

#include <list>
#include <memory>

#include <tarn/kern/StringToStringMap.h>

namespace tarn::kern::internal {

/// How to take back one change of a StringToStringMap. It is its own inverse: applied a second time it does the change
/// again.
///
/// Undone changes are applied to the map they were made on, newest first, and done again oldest first; between the two
/// no other change is made. Then the places that a record remembers are those of that moment: entries keep their
/// address while they go from the map into a record and back. Applying takes constant time, restores the exact order,
/// and cannot fail.
struct MapUndo {
  enum class Kind : std::uint8_t {
    Entry,    ///< one entry goes in or out
    Text,     ///< the value of one entry
    Content,  ///< everything
  };
  using Entries = std::list<StringToStringMap::Entry>;
  using Place = Entries::iterator;

  explicit MapUndo(Kind change) noexcept : kind(change) {}
  void apply(StringToStringMap& map) noexcept;

  Kind kind;
  Place entry;      // Entry, Text
  Place next;       // Entry, while it is out of the map: what it stands before
  ustring text;     // Text: the other value
  Entries entries;  // Entry: the one that is out of the map, or nothing; Content: the other content
  std::unique_ptr<StringToStringMap::Index> index;  // Content

 private:
  void putIn(StringToStringMap& map) noexcept;
  void takeOut(StringToStringMap& map) noexcept;
};

}  // namespace tarn::kern::internal
