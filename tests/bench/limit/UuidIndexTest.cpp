#include <cstring>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "LimitModel.h"
#include "UuidIndex.h"

namespace bench::limit {
namespace {

Uuid uuidOf(std::uint64_t first, std::uint64_t second) {
  Uuid uuid;
  std::memcpy(uuid.data(), &first, 8);
  std::memcpy(uuid.data() + 8, &second, 8);
  return uuid;
}

TEST(UuidIndex, FindsNothingWhenEmpty) { EXPECT_EQ(UuidIndex().find(uuidOf(0, 0)), nullptr); }

TEST(UuidIndex, RefusesAUuidThatIsTaken) {
  Item one, other;
  one.uuid = other.uuid = uuidOf(1, 2);
  UuidIndex index;
  EXPECT_TRUE(index.insert(one));
  EXPECT_FALSE(index.insert(other));
  EXPECT_EQ(index.find(one.uuid), &one);
  EXPECT_EQ(index.size(), 1u);
}

TEST(UuidIndex, TellsUuidsWithTheSameFirstHalfApart) {
  std::vector<Item> items(100);
  UuidIndex index;
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].uuid = uuidOf(7, i);
    ASSERT_TRUE(index.insert(items[i]));
  }
  for (Item& item : items) EXPECT_EQ(index.find(item.uuid), &item);
}

/// Few different first halves make long runs, across which entries have to move up.
TEST(UuidIndex, AgreesWithAMapThroughRandomInsertionsAndErasures) {
  std::mt19937 random(5);
  std::vector<Item> items(2'000);
  for (std::size_t i = 0; i < items.size(); ++i) items[i].uuid = uuidOf(random() % 300, i);
  UuidIndex index;
  std::map<Uuid, Item*> expected;
  for (int step = 0; step < 100'000; ++step) {
    Item& item = items[random() % items.size()];
    if (expected.contains(item.uuid)) {
      index.erase(item);
      expected.erase(item.uuid);
    } else {
      ASSERT_TRUE(index.insert(item));
      expected[item.uuid] = &item;
    }
    const Uuid& probe = items[random() % items.size()].uuid;
    ASSERT_EQ(index.find(probe), expected.contains(probe) ? expected.at(probe) : nullptr);
    ASSERT_EQ(index.size(), expected.size());
  }
}

}  // namespace
}  // namespace bench::limit
