#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/StringToStringMap.h>

#include "framework/tarn/kern/edits/EditMetaModel.h"
#include "framework/tarn/kern/edits/PlainModel.h"

/// The kernel against a second implementation that is as plain as can be: whatever edits are made, in whatever levels,
/// kept, rolled back, undone or redone, the model shows what numbers in standard containers show.
namespace edittest {
namespace {

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using bedrock::i18n::to_string;

const auto& kPrivileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;

struct Scale {
  unsigned seed;
  std::size_t things;   ///< about how many live at a time
  std::size_t longest;  ///< how many entries are put into a collection at once, at most
  int rounds;
};

class Twins {
 public:
  explicit Twins(const Scale& scale) : fScale(scale), fRandom(scale.seed) {
    for (const PropertyInfo& info : properties()) {
      fInitial.push_back(
          info.shape == Shape::Value
              ? thing()->instantiate(fSample, boost::uuids::uuid{})->getPropertyValue(info.property, kPrivileged)
              : Value(u""));
    }
    fModel->setUndoLimit(kUndoLimit);
    fHistory.push_back(fPlain);
  }

  /// Some levels, edits and ends of levels; then all levels end, or the history is walked.
  void round() {
    if (chance(3)) return travel();
    if (chance(4)) return editOutside();
    std::vector<Level> levels;
    levels.push_back({fModel->beginTransaction(false), fPlain});
    for (std::size_t step = 2 + below(25); step-- > 0;) {
      if (levels.size() < 4 && chance(5)) {
        levels.push_back({fModel->beginTransaction(false), fPlain});
      } else if (levels.size() > 1 && chance(5)) {
        end(levels);
      } else {
        edit();
      }
    }
    while (levels.size() > 1) end(levels);
    endOutermost(levels.front());
    compare();
  }

  void finish() {
    while (fNow > 0) step(false);
    compare();
    while (fNow + 1 < fHistory.size()) step(true);
    compare();
  }

  [[nodiscard]] const std::set<std::string>& edited() const { return fEdited; }

 private:
  using Id = PlainModel::Id;
  struct Level {
    Transaction transaction;
    PlainModel before;
  };
  static constexpr std::size_t kUndoLimit = 100;

  [[nodiscard]] std::size_t below(std::size_t end) { return fRandom() % end; }
  [[nodiscard]] bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

  // --- Transactions.

  void end(std::vector<Level>& levels) {
    if (chance(2)) {
      levels.back().transaction.commit(boost::none);
    } else {
      levels.back().transaction.rollBack();
      fPlain = levels.back().before;
      compare();
    }
    levels.pop_back();
  }

  void endOutermost(Level& level) {
    if (chance(4)) {
      level.transaction.rollBack();
      fPlain = level.before;
    } else if (level.transaction.commit(boost::none) == TransactionResult::Done) {
      remember();
    } else {
      ASSERT_EQ(fPlain, level.before) << "something has changed, and the commit says nothing has";
    }
  }

  void remember() {
    fHistory.resize(fNow + 1);
    fHistory.push_back(fPlain);
    ++fNow;
    if (fHistory.size() <= kUndoLimit + 1) return;
    fHistory.erase(fHistory.begin());
    --fNow;
  }

  /// Each call outside of levels is a step of its own. Whether one that changes nothing counts is not known here.
  void editOutside() {
    const PlainModel before = fPlain;
    edit();
    if (fPlain == before) {
      fModel->setUndoLimit(0);
      fModel->setUndoLimit(kUndoLimit);
      fHistory = {fPlain};
      fNow = 0;
    } else {
      remember();
    }
    compare();
  }

  void travel() {
    const bool forward = chance(2);
    for (std::size_t steps = 1 + below(6); steps-- > 0;) {
      ASSERT_EQ(fModel->canUndo(), fNow > 0);
      ASSERT_EQ(fModel->canRedo(), fNow + 1 < fHistory.size());
      if (forward ? fNow + 1 < fHistory.size() : fNow > 0) step(forward);
    }
    compare();
  }

  void step(bool forward) {
    forward ? fModel->redo() : fModel->undo();
    fNow = forward ? fNow + 1 : fNow - 1;
    // What was made since has its number still, and is not there.
    PlainModel now = fHistory[fNow];
    while (now.made() < fPlain.made()) now.destroy(now.make());
    fPlain = std::move(now);
    for (PlainModel& state : fHistory) {
      while (state.made() < fPlain.made()) state.destroy(state.make());
    }
  }

  // --- Edits of both.

  void edit() {
    const std::vector<Id> alive = fPlain.alive();
    if (alive.size() < 3 || (alive.size() < fScale.things && chance(8))) return make();
    const Id id = alive[below(alive.size())];
    if (chance(60)) return destroy(id);
    const std::size_t property = below(properties().size());
    const PropertyInfo& info = properties()[property];
    fEdited.insert(info.name);
    fIsAllowed = true;
    bool wasAllowed = true;
    try {
      editProperty(id, property, alive);
    } catch (const ContainmentError&) {
      wasAllowed = false;
    }
    ASSERT_EQ(wasAllowed, fIsAllowed) << info.name;
    if (chance(20)) compare();
  }

  void make() {
    fElements.resize(fPlain.made());
    const Id id = fPlain.make();
    boost::uuids::uuid uuid{};
    for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(fRandom());
    fElements.push_back(thing()->instantiate(fModel, uuid));
    ASSERT_EQ(fElements.size(), static_cast<std::size_t>(id));
  }

  void destroy(Id id) {
    element(id)->destroy();
    fPlain.destroy(id);
  }

  [[nodiscard]] const ModelElement& element(Id id) const {
    static const ModelElement kNobody;
    return id == 0 ? kNobody : fElements[static_cast<std::size_t>(id) - 1];
  }
  [[nodiscard]] Value live(Id id, std::size_t property) const {
    return element(id)->getPropertyValue(properties()[property].property, kPrivileged);
  }

  /// The plain model comes first: it says whether the edit is allowed, and the kernel throws when it is not.
  void editProperty(Id id, std::size_t property, const std::vector<Id>& alive) {
    switch (properties()[property].shape) {
      case Shape::Value:
        return editValue(id, property);
      case Shape::Values:
        return editValues(id, property);
      case Shape::LiveMap:
        return editEntries(id, property);
      case Shape::Reference:
      case Shape::WayBack: {
        const Id target = chance(5) ? 0 : alive[below(alive.size())];
        fIsAllowed = fPlain.setTarget(id, property, target);
        element(id)->setPropertyValue(properties()[property].property, Value(element(target)), kPrivileged);
        return;
      }
      case Shape::Elements:
        return editMembers(id, property, alive);
    }
  }

  void editValue(Id id, std::size_t property) {
    const PropertyInfo& info = properties()[property];
    if (info.kind != Kind::Map && chance(4)) {
      fPlain.slot(id, property).value = PlainModel::kAbsent;
      element(id)->unset(info.property);
    } else if (info.mayBeAbsent && chance(6)) {
      fPlain.slot(id, property).value = PlainModel::kAbsent;
      element(id)->setPropertyValue(info.property, Value::createEmptyValue(info.property->getType(), false),
                                    kPrivileged);
    } else {
      const int number = anyValue(info);
      fPlain.slot(id, property).value = number;
      element(id)->setPropertyValue(info.property, valueOf(info.kind, number), kPrivileged);
    }
  }

  [[nodiscard]] int anyValue(const PropertyInfo& info) {
    return static_cast<int>(below(static_cast<std::size_t>(valuesOf(info.kind))));
  }

  void editValues(Id id, std::size_t property) {
    const PropertyInfo& info = properties()[property];
    const Value value = live(id, property);
    PrimitiveCollection& kernel = value.toPrimitiveCollection();
    std::vector<int>& plain = fPlain.slot(id, property).values;
    const int number = anyValue(info);
    const std::size_t size = plain.size();
    const std::size_t index = size == 0 ? 0 : below(size);
    switch (size == 0 ? 8 : below(12)) {
      case 0:
        plain.erase(plain.begin() + static_cast<std::ptrdiff_t>(index));
        return kernel.removeAt(index);
      case 1:
        fPlain.setValueAt(id, property, index, number);
        return kernel.setValue(index, valueOf(info.kind, number));
      case 2:
        fPlain.insertValue(id, property, index, number);
        return kernel.insertValue(index, valueOf(info.kind, number));
      case 3:
        return moveEntry(plain, kernel, index, below(size));
      case 4:
        if (chance(2)) return;
        plain.clear();
        return kernel.clear();
      case 5: {
        const auto found = std::find(plain.begin(), plain.end(), number);
        EXPECT_EQ(kernel.find(valueOf(info.kind, number)), static_cast<std::size_t>(found - plain.begin()));
        const bool isThere = found != plain.end();
        if (isThere) plain.erase(found);
        EXPECT_EQ(kernel.remove(valueOf(info.kind, number)), isThere);
        return;
      }
      case 6: {
        std::vector<int> numbers(below(fScale.longest));
        for (int& each : numbers) each = anyValue(info);
        std::vector<Value> values;
        for (const int each : numbers) values.push_back(valueOf(info.kind, each));
        fPlain.assignValues(id, property, numbers);
        return kernel.assignValues(std::move(values));
      }
      default:
        fPlain.insertValue(id, property, size, number);
        return kernel.addValue(valueOf(info.kind, number));
    }
  }

  template <class Entry, class Collection>
  static void moveEntry(std::vector<Entry>& plain, Collection& kernel, std::size_t from, std::size_t to) {
    const Entry moved = plain[from];
    plain.erase(plain.begin() + static_cast<std::ptrdiff_t>(from));
    plain.insert(plain.begin() + static_cast<std::ptrdiff_t>(to), moved);
    kernel.move(from, to);
  }

  void editEntries(Id id, std::size_t property) {
    const Value value = live(id, property);
    StringToStringMap& kernel = value.toStringToStringMap();
    const std::string key = std::to_string(below(80));
    const ustring kernelKey(key.begin(), key.end());
    const std::size_t choice = below(10);
    if (choice == 0 && chance(5)) {
      fPlain.slot(id, property).entries.clear();
      kernel.clear();
    } else if (choice < 3) {
      EXPECT_EQ(kernel.remove(kernelKey), fPlain.removeEntry(id, property, key));
    } else if (choice == 3) {
      auto& entries = fPlain.slot(id, property).entries;
      entries = {{"b", "assigned"}, {"a", ""}};
      kernel.assign({{u"b", u"assigned"}, {u"a", u""}});
    } else {
      const std::string text(below(30), 'v');
      const bool replaces = chance(2);
      fPlain.insertEntry(id, property, key, text, replaces);
      kernel.insert(kernelKey, ustring(text.begin(), text.end()),
                    replaces ? CollisionResolution::Replace : CollisionResolution::KeepOld);
    }
  }

  void editMembers(Id id, std::size_t property, const std::vector<Id>& alive) {
    const Value value = live(id, property);
    ElementCollection& kernel = value.toElementCollection();
    std::vector<Id>& plain = fPlain.slot(id, property).members;
    const Id member = chance(15) ? 0 : alive[below(alive.size())];
    const std::size_t size = plain.size();
    const std::size_t index = size == 0 ? 0 : below(size);
    switch (size == 0 ? 8 : below(13)) {
      case 0:
      case 1:
        fPlain.removeMemberAt(id, property, index);
        kernel.removeAt(index);
        return;
      case 2: {
        const Id gone = plain[index];
        const auto first = std::find(plain.begin(), plain.end(), gone) - plain.begin();
        fPlain.removeMemberAt(id, property, static_cast<std::size_t>(first));
        EXPECT_TRUE(kernel.remove(element(gone)));
        return;
      }
      case 3:
        moveEntry(plain, kernel, index, below(size));
        return;
      case 4: {
        fIsAllowed = fPlain.insertMember(id, property, index, member);
        kernel.insertElement(index, element(member));
        return;
      }
      case 5: {
        std::vector<Id> members(below(fScale.longest));
        for (Id& each : members) each = chance(20) ? 0 : alive[below(alive.size())];
        std::vector<ModelElement> elements;
        for (const Id each : members) elements.push_back(element(each));
        fIsAllowed = fPlain.assignMembers(id, property, members);
        kernel.assign(elements);
        return;
      }
      case 6:
        if (chance(2)) return;
        fPlain.assignMembers(id, property, {});
        kernel.clear();
        return;
      default: {
        fIsAllowed = fPlain.insertMember(id, property, size, member);
        kernel.addElement(element(member));
        return;
      }
    }
  }

  // --- Comparison.

  void compare() {
    if (testing::Test::HasFailure()) return;
    const std::vector<Id> alive = fPlain.alive();
    expectElements(fModel->getAllElements(FindElementBehavior::Anywhere), alive, "all elements");
    expectElements(fModel->getTopLevelElements(), fPlain.top(), "the top-level elements");
    for (const Id id : alive) {
      EXPECT_EQ(element(id)->container(), element(fPlain.thing(id).container)) << "container of " << id;
      for (std::size_t property = 0; property < properties().size(); ++property) compareProperty(id, property);
    }
  }

  void expectElements(const std::vector<ModelElement>& found, const std::vector<Id>& expected,
                      const std::string& what) const {
    ASSERT_EQ(found.size(), expected.size()) << what;
    for (std::size_t i = 0; i < found.size(); ++i) ASSERT_EQ(found[i], element(expected[i])) << what << ", at " << i;
  }

  void compareProperty(Id id, std::size_t property) {
    const PropertyInfo& info = properties()[property];
    const std::string what = info.name + " of " + std::to_string(id);
    const PlainModel::Slot& plain = fPlain.slot(id, property);
    const Value value = live(id, property);
    switch (info.shape) {
      case Shape::Value:
        if (plain.value == PlainModel::kAbsent) {
          EXPECT_FALSE(value.hasObject()) << what;
        } else {
          EXPECT_EQ(value, plain.value == PlainModel::kInitial ? fInitial[property] : known(info.kind, plain.value))
              << what;
        }
        return;
      case Shape::Values: {
        const std::vector<Value> values = value.toPrimitiveCollection().getAllValues();
        ASSERT_EQ(values.size(), plain.values.size()) << what;
        for (std::size_t i = 0; i < values.size(); ++i) {
          ASSERT_EQ(values[i], known(info.kind, plain.values[i])) << what << ", at " << i;
        }
        return;
      }
      case Shape::LiveMap: {
        std::vector<std::pair<std::string, std::string>> entries;
        for (const auto& [key, text] : value.toStringToStringMap())
          entries.emplace_back(to_string(key), to_string(text));
        EXPECT_EQ(entries, plain.entries) << what;
        return;
      }
      case Shape::Reference:
      case Shape::WayBack:
        EXPECT_EQ(value.get<ModelElement>(), element(fPlain.targetOf(id, property))) << what;
        return;
      case Shape::Elements:
        expectElements(value.toElementCollection().getAllElements(), plain.members, what);
    }
  }

  /// Values are made once: comparing takes most of the time.
  [[nodiscard]] const Value& known(Kind kind, int number) {
    std::vector<Value>& values = fValues[static_cast<std::size_t>(kind)];
    while (values.size() <= static_cast<std::size_t>(number)) {
      values.push_back(valueOf(kind, static_cast<int>(values.size())));
    }
    return values[static_cast<std::size_t>(number)];
  }

  Scale fScale;
  std::mt19937 fRandom;
  Model fSample = Model::create(ModelSpec());
  Model fModel = Model::create(ModelSpec());
  PlainModel fPlain;
  std::vector<ModelElement> fElements;  // by number
  std::vector<Value> fInitial;          // by property: what a new element shows
  std::array<std::vector<Value>, kKinds> fValues;
  std::vector<PlainModel> fHistory;
  std::size_t fNow = 0;  // the present state's place in it
  bool fIsAllowed = true;
  std::set<std::string> fEdited;
};

class PlainEdits : public testing::TestWithParam<Scale> {};

TEST_P(PlainEdits, LeaveTheModelAsTheyLeaveItsPlainDouble) {
  Twins twins(GetParam());
  for (int round = 0; round < GetParam().rounds; ++round) {
    twins.round();
    ASSERT_FALSE(HasFailure()) << "in round " << round;
  }
  twins.finish();
  EXPECT_EQ(twins.edited().size(), properties().size()) << "not every kind of property was edited";
}

INSTANTIATE_TEST_SUITE_P(Few, PlainEdits,
                         testing::Values(Scale{1, 10, 6, 1500}, Scale{2, 10, 6, 1500}, Scale{3, 4, 6, 1500},
                                         Scale{4, 20, 10, 1000}, Scale{5, 8, 100, 1000}),
                         [](const auto& tested) { return "Seed" + std::to_string(tested.param.seed); });
// Long enough for the hashes of long collections, and for their holes.
INSTANTIATE_TEST_SUITE_P(Many, PlainEdits, testing::Values(Scale{6, 150, 200, 300}, Scale{7, 100, 150, 300}),
                         [](const auto& tested) { return "Seed" + std::to_string(tested.param.seed); });

}  // namespace
}  // namespace edittest
