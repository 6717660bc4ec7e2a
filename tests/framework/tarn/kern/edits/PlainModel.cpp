#include "framework/tarn/kern/edits/PlainModel.h"

#include <algorithm>

namespace edittest {

namespace {

template <class T>
bool contains(const std::vector<T>& all, const T& one) {
  return std::find(all.begin(), all.end(), one) != all.end();
}

template <class T>
void insertAt(std::vector<T>& all, std::size_t index, const T& one) {
  all.insert(all.begin() + static_cast<std::ptrdiff_t>(index), one);
}

template <class T>
void eraseAt(std::vector<T>& all, std::size_t index) {
  all.erase(all.begin() + static_cast<std::ptrdiff_t>(index));
}

}  // namespace

PlainModel::Id PlainModel::make() {
  fThings.emplace_back();
  fTop.push_back(static_cast<Id>(fThings.size()));
  return fTop.back();
}

std::vector<PlainModel::Id> PlainModel::alive() const {
  std::vector<Id> found;
  for (std::size_t i = 0; i < fThings.size(); ++i) {
    if (fThings[i].isAlive) found.push_back(static_cast<Id>(i + 1));
  }
  return found;
}

PlainModel::Id PlainModel::targetOf(Id id, std::size_t property) const {
  const PropertyInfo& info = properties()[property];
  const Thing& owner = thing(id);
  if (info.shape == Shape::WayBack) return owner.place == info.opposite ? owner.container : 0;
  return owner.slots[property].target;
}

void PlainModel::destroy(Id id) {
  std::vector<Id> leaving = {id};
  for (std::size_t next = 0; next < leaving.size(); ++next) {
    for (const Id other : alive()) {
      if (thing(other).container == leaving[next]) leaving.push_back(other);
    }
  }
  leavePlace(id);
  for (const Id gone : leaving) at(gone).isAlive = false;
  std::erase(fTop, id);
  for (const Id other : alive()) {
    for (Slot& slot : at(other).slots) {
      if (contains(leaving, slot.target)) slot.target = 0;
      std::erase_if(slot.members, [&](Id member) { return contains(leaving, member); });
    }
  }
}

// --- Values.

void PlainModel::insertValue(Id id, std::size_t property, std::size_t index, int value) {
  std::vector<int>& values = slot(id, property).values;
  if (properties()[property].isUnique && contains(values, value)) return;
  insertAt(values, index, value);
}

void PlainModel::setValueAt(Id id, std::size_t property, std::size_t index, int value) {
  std::vector<int>& values = slot(id, property).values;
  if (properties()[property].isUnique && contains(values, value)) {
    if (values[index] != value) eraseAt(values, index);  // what it would become is there already
    return;
  }
  values[index] = value;
}

void PlainModel::assignValues(Id id, std::size_t property, const std::vector<int>& values) {
  slot(id, property).values.clear();
  for (const int value : values) insertValue(id, property, slot(id, property).values.size(), value);
}

void PlainModel::insertEntry(Id id, std::size_t property, const std::string& key, const std::string& text,
                             bool replaces) {
  for (auto& [known, old] : slot(id, property).entries) {
    if (known != key) continue;
    if (replaces) old = text;
    return;
  }
  slot(id, property).entries.emplace_back(key, text);
}

bool PlainModel::removeEntry(Id id, std::size_t property, const std::string& key) {
  return std::erase_if(slot(id, property).entries, [&](const auto& entry) { return entry.first == key; }) > 0;
}

// --- References.

bool PlainModel::wouldContainItself(Id parent, Id child) const {
  for (Id above = parent; above != 0; above = thing(above).container) {
    if (above == child) return true;
  }
  return false;
}

void PlainModel::leavePlace(Id id) {
  Thing& moved = at(id);
  if (moved.container == 0) return;
  Slot& place = slot(moved.container, moved.place);
  if (place.target == id) place.target = 0;
  std::erase(place.members, id);
  moved.container = 0;
  moved.place = kNone;
  fTop.push_back(id);
}

void PlainModel::enterPlace(Id id, Id container, std::size_t property) {
  std::erase(fTop, id);
  at(id).container = container;
  at(id).place = property;
}

void PlainModel::letGo(Id id, std::size_t property, Id partner) {
  Slot& theirs = slot(partner, properties()[property].opposite);
  if (theirs.target == id) theirs.target = 0;
  std::erase(theirs.members, id);
}

void PlainModel::tie(Id id, std::size_t property, Id partner) {
  const std::size_t opposite = properties()[property].opposite;
  Slot& theirs = slot(partner, opposite);
  if (properties()[opposite].shape == Shape::Elements) {
    if (!contains(theirs.members, id)) theirs.members.push_back(id);
    return;
  }
  if (theirs.target != 0 && theirs.target != id) letGo(partner, opposite, theirs.target);
  theirs.target = id;
}

bool PlainModel::setTarget(Id id, std::size_t property, Id target) {
  const PropertyInfo& info = properties()[property];
  const Id old = targetOf(id, property);
  if (old == target) return true;
  if (info.shape == Shape::WayBack) {
    if (target == 0) {
      leavePlace(id);
      return true;
    }
    if (properties()[info.opposite].shape == Shape::Reference) return setTarget(target, info.opposite, id);
    return insertMember(target, info.opposite, slot(target, info.opposite).members.size(), id);
  }
  if (info.isComposite) {
    if (target != 0 && wouldContainItself(id, target)) return false;
    if (target != 0) leavePlace(target);
    if (old != 0) leavePlace(old);
    slot(id, property).target = target;
    if (target != 0) enterPlace(target, id, property);
    return true;
  }
  if (info.opposite != kNone) {
    if (old != 0) letGo(id, property, old);
    if (target != 0) tie(id, property, target);
  }
  slot(id, property).target = target;
  return true;
}

bool PlainModel::insertMember(Id id, std::size_t property, std::size_t index, Id member) {
  const PropertyInfo& info = properties()[property];
  std::vector<Id>& members = slot(id, property).members;
  if (member != 0 && info.isUnique && contains(members, member)) return true;
  if (member != 0 && info.isComposite) {
    if (wouldContainItself(id, member)) return false;
    leavePlace(member);
    enterPlace(member, id, property);
  }
  insertAt(members, index, member);
  if (member != 0 && info.opposite != kNone && !info.isComposite) tie(id, property, member);
  return true;
}

void PlainModel::removeMemberAt(Id id, std::size_t property, std::size_t index) {
  const PropertyInfo& info = properties()[property];
  std::vector<Id>& members = slot(id, property).members;
  const Id member = members[index];
  if (member != 0 && info.isComposite) return leavePlace(member);
  eraseAt(members, index);
  if (member != 0 && info.opposite != kNone) letGo(id, property, member);
}

bool PlainModel::assignMembers(Id id, std::size_t property, const std::vector<Id>& members) {
  const PropertyInfo& info = properties()[property];
  std::vector<Id> wanted;
  for (const Id member : members) {
    if (member == 0 || !info.isUnique || !contains(wanted, member)) wanted.push_back(member);
  }
  if (info.isComposite) {
    for (const Id member : wanted) {
      if (member != 0 && wouldContainItself(id, member)) return false;
    }
  }
  const std::vector<Id> old = slot(id, property).members;
  for (const Id member : old) {
    if (member == 0 || contains(wanted, member)) continue;
    if (info.isComposite) leavePlace(member);
    if (info.opposite != kNone && !info.isComposite) letGo(id, property, member);
  }
  for (const Id member : wanted) {
    if (member == 0 || contains(old, member)) continue;
    if (info.isComposite) {
      leavePlace(member);
      enterPlace(member, id, property);
    }
    if (info.opposite != kNone && !info.isComposite) tie(id, property, member);
  }
  slot(id, property).members = wanted;
  return true;
}

}  // namespace edittest
