#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/tarn/kern/edits/EditMetaModel.h"

namespace edittest {

/// What a model of Things must hold after the same edits, in the plainest form: numbers in standard containers, looked
/// through from end to end. It knows nothing of transactions; a copy of it is what a level goes back to.
///
/// Elements are numbers from 1 in the order in which they were made; 0 is none. Properties are places in properties().
class PlainModel {
 public:
  using Id = int;
  /// Stands for what a new element shows, and for an absent value.
  static constexpr int kInitial = -1;
  static constexpr int kAbsent = -2;

  struct Slot {
    int value = kInitial;                                      // Shape::Value
    std::vector<int> values;                                   // Shape::Values
    std::vector<std::pair<std::string, std::string>> entries;  // Shape::LiveMap
    Id target = 0;                                             // Shape::Reference
    std::vector<Id> members;                                   // Shape::Elements
    friend bool operator==(const Slot&, const Slot&) = default;
  };
  struct Thing {
    bool isAlive = true;
    Id container = 0;
    std::size_t place = kNone;  // the composite property
    std::vector<Slot> slots = std::vector<Slot>(properties().size());
    friend bool operator==(const Thing&, const Thing&) = default;
  };

  friend bool operator==(const PlainModel&, const PlainModel&) = default;

  Id make();
  /// How many were ever made.
  [[nodiscard]] std::size_t made() const { return fThings.size(); }
  [[nodiscard]] std::vector<Id> alive() const;
  [[nodiscard]] const std::vector<Id>& top() const { return fTop; }
  [[nodiscard]] const Thing& thing(Id id) const { return fThings[static_cast<std::size_t>(id) - 1]; }
  [[nodiscard]] Slot& slot(Id id, std::size_t property) {
    return fThings[static_cast<std::size_t>(id) - 1].slots[property];
  }
  /// What a single reference shows, the way back to a container too.
  [[nodiscard]] Id targetOf(Id id, std::size_t property) const;

  void destroy(Id id);

  // Edits of values.
  void insertValue(Id id, std::size_t property, std::size_t index, int value);
  void setValueAt(Id id, std::size_t property, std::size_t index, int value);
  void assignValues(Id id, std::size_t property, const std::vector<int>& values);
  void insertEntry(Id id, std::size_t property, const std::string& key, const std::string& text, bool replaces);
  bool removeEntry(Id id, std::size_t property, const std::string& key);

  // Edits of references. False: refused, since an element would contain itself; nothing has changed.
  bool setTarget(Id id, std::size_t property, Id target);
  bool insertMember(Id id, std::size_t property, std::size_t index, Id member);
  void removeMemberAt(Id id, std::size_t property, std::size_t index);
  bool assignMembers(Id id, std::size_t property, const std::vector<Id>& members);

 private:
  [[nodiscard]] Thing& at(Id id) { return fThings[static_cast<std::size_t>(id) - 1]; }
  [[nodiscard]] bool wouldContainItself(Id parent, Id child) const;
  void leavePlace(Id id);
  void enterPlace(Id id, Id container, std::size_t property);
  /// Takes one end of a pair away from the other.
  void letGo(Id id, std::size_t property, Id partner);
  /// Ties the partner's end of a pair, which lets go of its former partner for it.
  void tie(Id id, std::size_t property, Id partner);

  std::vector<Thing> fThings;
  std::vector<Id> fTop;
};

}  // namespace edittest
