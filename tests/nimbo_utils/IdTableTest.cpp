#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "IdTable.h"
#include "support/AllocationMeter.h"

namespace quillon::nimbo {
namespace {

using Table = IdTable<std::string>;

std::vector<std::string> entriesOf(Table& table) {
  std::vector<std::string> entries;
  table.forEach([&entries](const std::string& entry) { entries.push_back(entry); });
  return entries;
}

TEST(IdTable, HoldsIdKAtIndexKMinusOne) {
  EXPECT_EQ(Table::indexOfNew(1), 0U);
  EXPECT_EQ(Table::indexOfNew(std::numeric_limits<std::int64_t>::max()), 0x7FFFFFFFFFFFFFFEU);
  EXPECT_EQ(Table::indexOfKnown(-1), 0U);
  EXPECT_EQ(Table::indexOfKnown(-42), 41U);
  EXPECT_EQ(Table::indexOfKnown(std::numeric_limits<std::int64_t>::min()), 0x7FFFFFFFFFFFFFFFU);
}

TEST(IdTable, IsEmptyAtFirst) {
  Table table;
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_EQ(table.find(std::numeric_limits<std::uint64_t>::max()), nullptr);
}

TEST(IdTable, VisitsEntriesWithTheirIndicesInOrder) {
  Table table;
  table.store(7, "far");
  table.store(0, "a");
  table.store(1, "b");
  std::vector<std::pair<std::uint64_t, std::string>> visited;
  table.forEachWithIndex([&](std::uint64_t index, const std::string& entry) { visited.emplace_back(index, entry); });
  EXPECT_THAT(visited, testing::ElementsAre(testing::Pair(0U, "a"), testing::Pair(1U, "b"), testing::Pair(7U, "far")));
}

TEST(IdTable, FindsWhatWasStored) {
  Table table;
  EXPECT_EQ(table.store(0, "a"), "a");
  EXPECT_EQ(table.store(1, "b"), "b");
  ASSERT_NE(table.find(0), nullptr);
  EXPECT_EQ(*table.find(0), "a");
  EXPECT_EQ(*table.find(1), "b");
  EXPECT_EQ(table.find(2), nullptr);
  EXPECT_EQ(table.size(), 2U);
}

TEST(IdTable, LetsALaterEntryTakeTheIndex) {
  Table table;
  table.store(0, "first");
  EXPECT_EQ(table.store(0, "second"), "second");
  table.store(9, "far");
  EXPECT_EQ(table.store(9, "farther"), "farther");
  EXPECT_EQ(*table.find(0), "second");
  EXPECT_EQ(*table.find(9), "farther");
  EXPECT_THAT(entriesOf(table), testing::ElementsAre("second", "farther"));
}

TEST(IdTable, KnowsAGapFromTheEnd) {
  Table table;
  table.store(5, "f");
  EXPECT_EQ(table.find(3), nullptr);
  EXPECT_EQ(table.find(6), nullptr);
  EXPECT_EQ(table.size(), 6U);
}

TEST(IdTable, VisitsEntriesInTheOrderOfTheIdsWhateverTheOrderOfStoring) {
  Table table;
  for (const Table::Index index : {7U, 2U, 0U, 4U, 1U, 9U, 3U}) table.store(index, std::to_string(index));
  EXPECT_THAT(entriesOf(table), testing::ElementsAre("0", "1", "2", "3", "4", "7", "9"));
}

TEST(IdTable, TakesHugeIdsAtTheCostOfSmallOnes) {
  const testsupport::AllocationMeter meter;
  IdTable<int> table;
  table.store(0x7FFFFFFFFFFFFFFEU, 1);
  for (Table::Index step = 0; step < 1000; ++step) table.store(step << 50U, static_cast<int>(step));
  EXPECT_EQ(table.size(), 0x7FFFFFFFFFFFFFFFU);
  EXPECT_EQ(*table.find(0x7FFFFFFFFFFFFFFEU), 1);
  EXPECT_EQ(*table.find(std::uint64_t{999} << 50U), 999);
  EXPECT_LT(meter.peak(), 200'000U);
}

TEST(IdTable, ForgetsEverything) {
  Table table;
  table.store(0, "a");
  table.store(8, "i");
  table.clear();
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_EQ(table.find(8), nullptr);
  EXPECT_THAT(entriesOf(table), testing::IsEmpty());
}

TEST(IdTable, CopiesTheEntries) {
  Table table;
  table.store(0, "a");
  table.store(8, "i");
  Table copy = table;
  table.clear();
  EXPECT_EQ(copy.size(), 9U);
  EXPECT_THAT(entriesOf(copy), testing::ElementsAre("a", "i"));
}

TEST(IdTable, AgreesWithAPlainMap) {
  std::mt19937 random(4711);
  for (int round = 0; round < 50; ++round) {
    Table table;
    std::map<Table::Index, std::string> model;
    for (int step = 0; step < 200; ++step) {
      // Mostly the next id, sometimes one nearby, seldom one far away.
      const Table::Index next = model.empty() ? 0 : model.rbegin()->first + 1;
      const auto dice = random() % 10;
      const Table::Index index = dice < 6 ? next % 300 : dice < 9 ? random() % 300 : random();
      const std::string entry = std::to_string(random());
      EXPECT_EQ(table.store(index, entry), entry);
      model[index] = entry;
    }
    std::vector<std::string> expected;
    for (const auto& [index, entry] : model) {
      ASSERT_NE(table.find(index), nullptr);
      expected.push_back(entry);
    }
    EXPECT_EQ(table.size(), model.rbegin()->first + 1);
    EXPECT_EQ(entriesOf(table), expected);
    for (Table::Index index = 0; index < 310; ++index) EXPECT_EQ(table.find(index) != nullptr, model.contains(index));
  }
}

}  // namespace
}  // namespace quillon::nimbo
