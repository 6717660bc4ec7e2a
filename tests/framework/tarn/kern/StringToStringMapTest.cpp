#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/StringToStringMap.h>

#include "framework/tarn/kern/ValueTestModel.h"

namespace tarn::kern {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Pairs = std::vector<std::pair<ustring, ustring>>;

constexpr auto kReplace = CollisionResolution::Replace;
constexpr auto kKeepOld = CollisionResolution::KeepOld;

Pairs pairsOf(const StringToStringMap& map) { return Pairs(map.begin(), map.end()); }

ustring numbered(std::size_t number) {
  const std::string digits = std::to_string(number);
  return u"key " + ustring(digits.begin(), digits.end());
}

StringToStringMap mapOf(std::size_t size) {
  StringToStringMap map;
  for (std::size_t i = 0; i < size; ++i) map.insert(numbered(i), u"value", kReplace);
  return map;
}

TEST(StringToStringMap, KeepsTheOrderOfInsertion) {
  StringToStringMap map;
  EXPECT_TRUE(map.empty());
  map.insert(u"zebra", u"1", kReplace);
  map.insert(u"ant", u"2", kReplace);
  map.insert(u"", u"", kReplace);
  EXPECT_THAT(map, ElementsAre(Pair(u"zebra", u"1"), Pair(u"ant", u"2"), Pair(u"", u"")));
  EXPECT_EQ(map.size(), 3U);
  EXPECT_FALSE(map.empty());
}

TEST(StringToStringMap, PutsTheNewValueAtTheOldPlaceOfAKey) {
  StringToStringMap map{{u"a", u"1"}, {u"b", u"2"}};
  map.insert(u"a", u"3", kReplace);
  EXPECT_THAT(map, ElementsAre(Pair(u"a", u"3"), Pair(u"b", u"2")));
}

TEST(StringToStringMap, LeavesTheOldValueWhenToldTo) {
  StringToStringMap map{{u"a", u"1"}};
  map.insert(u"a", u"3", kKeepOld);
  map.insert(u"b", u"4", kKeepOld);
  EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1"), Pair(u"b", u"4")));
}

TEST(StringToStringMap, FindsAndRemovesByKey) {
  StringToStringMap map{{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}};
  EXPECT_EQ(map.find(u"b")->second, u"2");
  EXPECT_EQ(map.find(u"d"), map.end());
  EXPECT_TRUE(map.remove(u"b"));
  EXPECT_FALSE(map.remove(u"b"));
  EXPECT_FALSE(map.contains(u"b"));
  EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1"), Pair(u"c", u"3")));
}

TEST(StringToStringMap, CanBeToldToRemoveAKeyByThatVeryKey) {
  StringToStringMap map = mapOf(40);
  EXPECT_TRUE(map.remove(map.begin()->first));
  EXPECT_EQ(map.begin()->first, numbered(1));
}

TEST(StringToStringMap, KeepsIteratorsToOtherEntriesValid) {
  StringToStringMap map{{u"a", u"1"}, {u"b", u"2"}};
  const auto second = map.find(u"b");
  map.remove(u"a");
  for (std::size_t i = 0; i < 100; ++i) map.insert(numbered(i), u"", kReplace);
  EXPECT_EQ(second->second, u"2");
}

TEST(StringToStringMap, IsAValue) {
  StringToStringMap map{{u"a", u"1"}};
  const StringToStringMap copy(map);
  map.insert(u"a", u"2", kReplace);
  EXPECT_THAT(copy, ElementsAre(Pair(u"a", u"1")));
  StringToStringMap assigned;
  assigned = copy;
  EXPECT_EQ(assigned, copy);
  StringToStringMap moved(std::move(assigned));
  EXPECT_EQ(moved, copy);
  EXPECT_THAT(assigned, IsEmpty());  // NOLINT(bugprone-use-after-move): that is the promise
  assigned = std::move(moved);
  EXPECT_EQ(assigned, copy);
  EXPECT_THAT(moved, IsEmpty());  // NOLINT(bugprone-use-after-move)
}

TEST(StringToStringMap, SurvivesBeingAssignedToItself) {
  StringToStringMap map = mapOf(40);
  const Pairs before = pairsOf(map);
  const StringToStringMap& same = map;
  map = same;
  map.assign(same);
  EXPECT_EQ(pairsOf(map), before);
  StringToStringMap& itself = map;
  map = std::move(itself);
  EXPECT_EQ(pairsOf(map), before);
}

TEST(StringToStringMap, ComparesWithTheOrder) {
  const StringToStringMap map{{u"a", u"1"}, {u"b", u"2"}};
  const StringToStringMap turned{{u"b", u"2"}, {u"a", u"1"}};
  EXPECT_EQ(map, StringToStringMap(map));
  EXPECT_EQ(map.hash(), StringToStringMap(map).hash());
  EXPECT_NE(map, turned);
  EXPECT_LT(map, turned);
  EXPECT_NE(map.hash(), turned.hash());
  EXPECT_LT(StringToStringMap(), map);
}

/// The same map as a plain list, for comparison.
class PlainMap {
 public:
  void insert(const ustring& key, const ustring& value, CollisionResolution resolution) {
    const auto at = find(key);
    if (at == fPairs.end()) {
      fPairs.emplace_back(key, value);
    } else if (resolution == kReplace) {
      at->second = value;
    }
  }
  bool remove(const ustring& key) {
    const auto at = find(key);
    if (at == fPairs.end()) return false;
    fPairs.erase(at);
    return true;
  }
  void clear() { fPairs.clear(); }
  [[nodiscard]] const Pairs& pairs() const { return fPairs; }

 private:
  Pairs::iterator find(const ustring& key) {
    return std::find_if(fPairs.begin(), fPairs.end(), [&](const auto& pair) { return pair.first == key; });
  }
  Pairs fPairs;
};

/// One of a hundred keys, so that maps grow past the size from which they have an index, and collide often.
template <class Map>
void changeAtRandom(std::mt19937& random, Map& map) {
  const ustring key = numbered(random() % 100);
  const auto kind = random() % 100;
  if (kind < 70) {
    map.insert(key, numbered(random() % 10), kind < 60 ? kReplace : kKeepOld);
  } else if (kind < 99) {
    map.remove(key);
  } else {
    map.clear();
  }
}

TEST(StringToStringMap, DoesWhatAPlainListDoes) {
  std::mt19937 random(1);
  std::mt19937 sameRandom(1);
  StringToStringMap map;
  PlainMap plain;
  for (int i = 0; i < 20'000; ++i) {
    changeAtRandom(random, map);
    changeAtRandom(sameRandom, plain);
    ASSERT_EQ(map.size(), plain.pairs().size());
    if (i % 50 != 0) continue;
    ASSERT_EQ(pairsOf(map), plain.pairs());
    for (std::size_t k = 0; k < 100; ++k) {
      const auto found = std::find_if(plain.pairs().begin(), plain.pairs().end(),
                                      [&](const auto& pair) { return pair.first == numbered(k); });
      ASSERT_EQ(map.contains(numbered(k)), found != plain.pairs().end());
    }
  }
}

TEST(StringToStringMap, FindsInConstantTime) {
  constexpr std::size_t kSize = 200'000;  // by comparing one by one this would take minutes
  const StringToStringMap map = mapOf(kSize);
  for (std::size_t i = 0; i < kSize; ++i) ASSERT_TRUE(map.contains(numbered(i)));
  const StringToStringMap copy(map);
  for (std::size_t i = 0; i < kSize; ++i) ASSERT_TRUE(copy.contains(numbered(i)));
}

// --- The map of an element.

class MapOfAnElement : public ::testing::Test {
 protected:
  [[nodiscard]] Value liveValue() const {
    return fElement->getPropertyValue(fNotes, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  [[nodiscard]] Pairs content() const { return pairsOf(liveValue().toStringToStringMap()); }

  Model fModel = valuetest::emptyModel();
  ModelElement fElement = valuetest::newElement(fModel, valuetest::box(), 1);
  meta::Property fNotes = valuetest::propertyOf(valuetest::box(), u"notes");
};

TEST_F(MapOfAnElement, ChangesTheElement) {
  const Value value = liveValue();
  value.toStringToStringMap().insert(u"a", u"1", kReplace);
  EXPECT_THAT(content(), ElementsAre(Pair(u"a", u"1")));
}

TEST_F(MapOfAnElement, StaysLiveWhenItsValueIsMoved) {
  Value value = liveValue();
  const Value moved(std::move(value));
  moved.toStringToStringMap().insert(u"a", u"1", kReplace);
  EXPECT_THAT(content(), ElementsAre(Pair(u"a", u"1")));
}

TEST_F(MapOfAnElement, IsDetachedByCopyingItsValue) {
  liveValue().toStringToStringMap().insert(u"a", u"1", kReplace);
  const Value value = liveValue();
  const Value copy(value);  // NOLINT(performance-unnecessary-copy-initialization): the copy is the point
  value.toStringToStringMap().insert(u"b", u"2", kReplace);
  StringToStringMap& snapshot = copy.toStringToStringMap();
  EXPECT_THAT(snapshot, ElementsAre(Pair(u"a", u"1")));
  EXPECT_THROW(snapshot.insert(u"c", u"3", kReplace), SnapshotError);
  EXPECT_THROW(snapshot.insert(u"a", u"3", kReplace), SnapshotError);
  EXPECT_THROW(snapshot.remove(u"a"), SnapshotError);
  EXPECT_THROW(snapshot.clear(), SnapshotError);
  EXPECT_THROW(snapshot.assign(StringToStringMap()), SnapshotError);
  EXPECT_THROW(snapshot = (StringToStringMap{{u"d", u"4"}}), SnapshotError);
  EXPECT_THAT(snapshot, ElementsAre(Pair(u"a", u"1")));
  EXPECT_THAT(content(), ElementsAre(Pair(u"a", u"1"), Pair(u"b", u"2")));
}

TEST_F(MapOfAnElement, SaysHowToChangeItWhenASnapshotRefuses) {
  const Value value = liveValue();
  const Value copy(value);  // NOLINT(performance-unnecessary-copy-initialization)
  try {
    copy.toStringToStringMap().insert(u"a", u"1", kReplace);
    FAIL() << "a snapshot was changed";
  } catch (const SnapshotError& error) {
    EXPECT_STREQ(
        error.what(),
        "this map is the snapshot that copying a Value makes, so a change would be lost; change the map through "
        "the Value that getPropertyValue returned, or move that Value instead of copying it");
  }
}

TEST_F(MapOfAnElement, KeepsItsContentWhenMovedFrom) {
  liveValue().toStringToStringMap().insert(u"a", u"1", kReplace);
  const Value value = liveValue();
  const StringToStringMap taken(std::move(value.toStringToStringMap()));
  EXPECT_THAT(taken, ElementsAre(Pair(u"a", u"1")));
  EXPECT_THAT(content(), ElementsAre(Pair(u"a", u"1")));
}

TEST_F(MapOfAnElement, ThrowsOnceTheElementIsDestroyed) {
  const Value value = liveValue();
  fElement->destroy();
  EXPECT_THROW(static_cast<void>(value.toStringToStringMap()), DestroyedElementError);
  EXPECT_THROW(static_cast<void>(Value(value)), DestroyedElementError);
  EXPECT_EQ(value.describe(), "StringToStringMap (of a destroyed element)");
}

TEST_F(MapOfAnElement, IsThereFromTheBeginningAndEmptiedByAnEmptyValue) {
  EXPECT_TRUE(liveValue().hasObject());
  liveValue().toStringToStringMap().insert(u"a", u"1", kReplace);
  fElement->setPropertyValue(fNotes, Value::createEmptyValue(fNotes->getType(), false),
                             ReflectionPrivateTag::PRIVILEGED_ACCESS);
  EXPECT_THAT(content(), IsEmpty());
  fElement->setPropertyValue(fNotes, Value(StringToStringMap{{u"b", u"2"}}), ReflectionPrivateTag::PRIVILEGED_ACCESS);
  EXPECT_THAT(content(), ElementsAre(Pair(u"b", u"2")));
}

/// Rolls back, undoes and redoes each kind of change, and compares the whole content, order included.
class MapUndo : public MapOfAnElement {
 protected:
  void fill(std::size_t size) {
    liveValue().toStringToStringMap().assign(mapOf(size));
    fModel->setUndoLimit(10);
  }
  template <class Change>
  void expectUndone(Change change) {
    const Pairs before = content();
    {
      Transaction transaction = fModel->beginTransaction(false);
      change(liveValue().toStringToStringMap());
      transaction.rollBack();
    }
    EXPECT_EQ(content(), before) << "rolled back";
    Transaction transaction = fModel->beginTransaction(false);
    change(liveValue().toStringToStringMap());
    transaction.commit(boost::none);
    const Pairs after = content();
    for (int i = 0; i < 3; ++i) {
      fModel->undo();
      ASSERT_EQ(content(), before) << "undone";
      fModel->redo();
      ASSERT_EQ(content(), after) << "done again";
    }
    fModel->undo();
  }
};

TEST_F(MapUndo, TakesBackEachKindOfChange) {
  for (const std::size_t size : {0U, 1U, 3U, 40U}) {
    fill(size);
    expectUndone([](StringToStringMap& map) { map.insert(u"new", u"1", kReplace); });
    expectUndone([](StringToStringMap& map) { map.insert(numbered(0), u"other", kReplace); });
    expectUndone([](StringToStringMap& map) { map.assign(StringToStringMap{{u"x", u"1"}}); });
    expectUndone([](StringToStringMap& map) {
      map.clear();
      map.insert(u"y", u"1", kReplace);
    });
  }
}

TEST_F(MapUndo, PutsARemovedEntryBackWhereItStood) {
  fill(3);
  expectUndone([](StringToStringMap& map) { map.remove(numbered(0)); });
  expectUndone([](StringToStringMap& map) { map.remove(numbered(1)); });
  expectUndone([](StringToStringMap& map) { map.remove(numbered(2)); });
  expectUndone([](StringToStringMap& map) {
    map.remove(numbered(1));
    map.remove(numbered(2));
    map.remove(numbered(0));
    map.insert(numbered(1), u"again", kReplace);
  });
}

TEST_F(MapUndo, TakesBackAnyMixtureOfChanges) {
  std::mt19937 random(7);
  fill(30);
  for (int round = 0; round < 60; ++round) {
    const auto seed = static_cast<unsigned>(random());
    expectUndone([&](StringToStringMap& map) {
      std::mt19937 changes(seed);
      for (int i = 0; i < 120; ++i) changeAtRandom(changes, map);
      map.insert(u"certain", numbered(seed), kReplace);
    });
    for (std::size_t k = 0; k < 30; ++k) {
      ASSERT_TRUE(liveValue().toStringToStringMap().contains(numbered(k))) << "found after undoing";
    }
  }
}

}  // namespace
}  // namespace tarn::kern
