#include <algorithm>
#include <functional>
#include <iterator>
#include <typeinfo>

#include <tarn/kern/StringToStringMap.h>

#include "MapUndo.h"
#include "StorageDispatch.h"

namespace tarn::kern {

namespace {

/// Up to this size comparing the keys one by one is as fast as a hash, and the index would cost more than the entries.
constexpr std::size_t kShort = 16;

}  // namespace

// The index is a help only: whoever cannot afford it goes without. It is kept up to date by the changes, never made by
// a read, so that several threads may read one map at once.

StringToStringMap::StringToStringMap() = default;

StringToStringMap::StringToStringMap(std::initializer_list<Entry> entries) {
  for (const Entry& entry : entries) insert(entry.first, entry.second, CollisionResolution::Replace);
}

StringToStringMap::StringToStringMap(const StringToStringMap& other) : fEntries(other.fEntries) { buildIndexIfLong(); }

StringToStringMap::StringToStringMap(StringToStringMap&& other) {
  if (!other.isPlain()) {
    std::list<Entry> copies(other.fEntries);
    fEntries.swap(copies);
    buildIndexIfLong();
    return;
  }
  fEntries.swap(other.fEntries);
  fIndex.swap(other.fIndex);
}

StringToStringMap& StringToStringMap::operator=(const StringToStringMap& other) {
  assign(other);
  return *this;
}

StringToStringMap& StringToStringMap::operator=(StringToStringMap&& other) {
  if (this == &other) return *this;
  StringToStringMap content(std::move(other));
  replaceContent(content);
  return *this;
}

StringToStringMap::~StringToStringMap() = default;

void StringToStringMap::insert(const ustring& key, const ustring& value, CollisionResolution resolution) {
  const auto entry = findEntry(key);
  if (entry == fEntries.end()) {
    append(key, value);
  } else if (resolution == CollisionResolution::Replace && entry->second != value) {
    replaceText(entry, value);
  }
}

void StringToStringMap::assign(const StringToStringMap& other) {
  if (this == &other || (empty() && other.empty())) return;
  StringToStringMap content(other);
  replaceContent(content);
}

bool StringToStringMap::remove(const ustring& key) {
  const auto entry = findEntry(key);
  if (entry == fEntries.end()) return false;
  internal::MapUndo change(internal::MapUndo::Kind::Entry);
  change.entry = entry;
  carryOut(change);
  return true;
}

void StringToStringMap::clear() {
  if (fEntries.empty()) return;
  StringToStringMap nothing;
  replaceContent(nothing);
}

bool StringToStringMap::empty() const noexcept { return fEntries.empty(); }

StringToStringMap::const_iterator StringToStringMap::find(const ustring& key) const { return findEntry(key); }

bool operator==(const StringToStringMap& a, const StringToStringMap& b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

std::strong_ordering operator<=>(const StringToStringMap& a, const StringToStringMap& b) noexcept {
  return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end());
}

std::size_t StringToStringMap::hash() const noexcept {
  std::size_t hash = size();
  for (const auto& [key, value] : fEntries) {
    hash = internal::combineHashes(hash, std::hash<ustring>()(key));
    hash = internal::combineHashes(hash, std::hash<ustring>()(value));
  }
  return hash;
}

void StringToStringMap::beforeChange() {}
void StringToStringMap::afterChange(std::unique_ptr<internal::MapUndo>) noexcept {}
bool StringToStringMap::recordsChanges() const noexcept { return false; }

bool StringToStringMap::isPlain() const noexcept { return typeid(*this) == typeid(StringToStringMap); }

std::list<StringToStringMap::Entry>::iterator StringToStringMap::findEntry(std::u16string_view key) const {
  if (fIndex) {
    const auto found = fIndex->find(key);
    return found == fIndex->end() ? fEntries.end() : found->second;
  }
  return std::find_if(fEntries.begin(), fEntries.end(), [&](const Entry& entry) { return entry.first == key; });
}

void StringToStringMap::buildIndexIfLong() const noexcept {
  if (fIndex || fEntries.size() <= kShort) return;
  try {
    auto index = std::make_unique<Index>();
    index->reserve(2 * fEntries.size());
    for (auto entry = fEntries.begin(); entry != fEntries.end(); ++entry) index->emplace(entry->first, entry);
    fIndex = std::move(index);
  } catch (const std::bad_alloc&) {
    fIndex = nullptr;
  }
}

void StringToStringMap::addToIndex(std::list<Entry>::iterator entry) noexcept {
  if (!fIndex) return buildIndexIfLong();
  try {
    fIndex->emplace(entry->first, entry);
  } catch (const std::bad_alloc&) {
    fIndex = nullptr;
  }
}

void StringToStringMap::removeFromIndex(std::list<Entry>::iterator entry) noexcept {
  if (fIndex) fIndex->erase(entry->first);
}

void StringToStringMap::append(const ustring& key, const ustring& value) {
  internal::MapUndo change(internal::MapUndo::Kind::Entry);
  change.entries.emplace_back(key, value);
  change.entry = change.entries.begin();
  change.next = fEntries.end();
  carryOut(change);
}

void StringToStringMap::replaceText(std::list<Entry>::iterator entry, const ustring& value) {
  internal::MapUndo change(internal::MapUndo::Kind::Text);
  change.entry = entry;
  change.text = value;
  carryOut(change);
}

void StringToStringMap::replaceContent(StringToStringMap& content) {
  internal::MapUndo change(internal::MapUndo::Kind::Content);
  change.entries.swap(content.fEntries);
  change.index.swap(content.fIndex);
  carryOut(change);
}

/// All that can fail comes first; once beforeChange has agreed, the change and the record of it are made.
void StringToStringMap::carryOut(internal::MapUndo& change) {
  std::unique_ptr<internal::MapUndo> kept;
  if (recordsChanges()) kept = std::make_unique<internal::MapUndo>(change.kind);
  beforeChange();
  change.apply(*this);
  if (kept) *kept = std::move(change);
  afterChange(std::move(kept));
}

namespace internal {

void MapUndo::apply(StringToStringMap& map) noexcept {
  switch (kind) {
    case Kind::Entry:
      return entries.empty() ? takeOut(map) : putIn(map);
    case Kind::Text:
      return entry->second.swap(text);
    case Kind::Content:
      map.fEntries.swap(entries);
      map.fIndex.swap(index);
      return;
  }
}

void MapUndo::putIn(StringToStringMap& map) noexcept {
  map.fEntries.splice(next, entries);
  map.addToIndex(entry);
}

void MapUndo::takeOut(StringToStringMap& map) noexcept {
  map.removeFromIndex(entry);
  next = std::next(entry);
  entries.splice(entries.end(), map.fEntries, entry);
}

}  // namespace internal

}  // namespace tarn::kern
