#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <list>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <tarn/export.h>
#include <tarn/kern/ElementHandle.h>

namespace tarn::kern {

namespace internal {
class MapSlot;
struct MapUndo;
}  // namespace internal

/// What to do with a key that is there already.
enum class CollisionResolution : std::uint32_t {
  KeepOld = 0,  ///< the insertion changes nothing
  Replace = 1,  ///< the new value, at the old place
};

/// A map of text to text that keeps the order of insertion. Finding a key takes constant time.
///
/// A map is a value: copying copies the content. The map of an element's property is live: changing it changes the
/// element, within the model's transactions; a map reached through a copied Value refuses changes with SnapshotError.
/// Iterators stay valid until the entry they point at is removed.
class TARN_EXPORT StringToStringMap {
 public:
  using Entry = std::pair<const ustring, ustring>;
  using value_type = Entry;
  using const_iterator = std::list<Entry>::const_iterator;

  StringToStringMap();
  StringToStringMap(std::initializer_list<Entry> entries);
  StringToStringMap(const StringToStringMap& other);
  /// Takes the content of a plain map and leaves that empty. The map of an element or of a snapshot keeps its content:
  /// it is copied.
  StringToStringMap(StringToStringMap&& other);
  StringToStringMap& operator=(const StringToStringMap& other);  ///< same as assign
  StringToStringMap& operator=(StringToStringMap&& other);       ///< takes as the move construction does
  virtual ~StringToStringMap();

  void insert(const ustring& key, const ustring& value, CollisionResolution resolution);
  /// Replaces the whole content.
  void assign(const StringToStringMap& other);
  /// False when the key was not there.
  bool remove(const ustring& key);
  void clear();

  [[nodiscard]] std::size_t size() const noexcept { return fEntries.size(); }
  [[nodiscard]] virtual bool empty() const noexcept;
  [[nodiscard]] const_iterator begin() const noexcept { return fEntries.begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return fEntries.end(); }
  [[nodiscard]] const_iterator find(const ustring& key) const;
  [[nodiscard]] bool contains(const ustring& key) const { return find(key) != end(); }

  /// Same entries in the same order.
  friend TARN_EXPORT bool operator==(const StringToStringMap& a, const StringToStringMap& b) noexcept;
  friend TARN_EXPORT std::strong_ordering operator<=>(const StringToStringMap& a, const StringToStringMap& b) noexcept;
  [[nodiscard]] std::size_t hash() const noexcept;

 protected:
  /// Called before each change of the content; a live map tells its owner and may refuse by throwing.
  virtual void beforeChange();
  /// Called after each change with what would undo it; a live map keeps that for the transaction.
  virtual void afterChange(std::unique_ptr<internal::MapUndo> undo) noexcept;
  /// True when afterChange has a use for its argument; otherwise it gets null.
  [[nodiscard]] virtual bool recordsChanges() const noexcept;

 private:
  friend class internal::MapSlot;
  friend struct internal::MapUndo;
  using Index = std::unordered_map<std::u16string_view, std::list<Entry>::iterator>;

  [[nodiscard]] bool isPlain() const noexcept;
  void buildIndexIfLong() const noexcept;
  void addToIndex(std::list<Entry>::iterator entry) noexcept;
  void removeFromIndex(std::list<Entry>::iterator entry) noexcept;
  [[nodiscard]] std::list<Entry>::iterator findEntry(std::u16string_view key) const;
  void append(const ustring& key, const ustring& value);
  void replaceText(std::list<Entry>::iterator entry, const ustring& value);
  /// Takes the content of `content`, unless it throws.
  void replaceContent(StringToStringMap& content);
  void carryOut(internal::MapUndo& change);

  mutable std::list<Entry> fEntries;
  mutable std::unique_ptr<Index> fIndex;  // only for long maps
};

}  // namespace tarn::kern
