#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Journal.h"

namespace tarn::kern::internal {
namespace {

void append(Journal& journal, std::uint32_t number) {
  journal.reserve(journal.size() + 1);
  JournalEntry& entry = journal.append();
  entry.kind = JournalEntry::Kind::Container;
  entry.a = number;
}
Journal& filled(Journal& journal, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) append(journal, i);
  return journal;
}
std::vector<std::uint32_t> numbers(const Journal& journal) {
  std::vector<std::uint32_t> found;
  for (const JournalEntry& entry : journal) found.push_back(entry.a);
  return found;
}

}  // namespace

TEST(JournalTest, IsEmptyAtFirst) {
  Journal journal;
  EXPECT_TRUE(journal.empty());
  EXPECT_TRUE(numbers(journal).empty());
  journal.clear();
  journal.truncate(0);
  EXPECT_EQ(journal.size(), 0U);
}

TEST(JournalTest, KeepsTheOrderAcrossAllItsChunks) {
  Journal journal;
  filled(journal, 5000);
  ASSERT_EQ(journal.size(), 5000U);
  for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(journal[i].a, i);
  const std::vector<std::uint32_t> found = numbers(journal);
  ASSERT_EQ(found.size(), 5000U);
  for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_EQ(found[i], i);
}

TEST(JournalTest, EntriesStayWhereTheyAre) {
  Journal journal;
  append(journal, 0);
  const JournalEntry* first = &journal[0];
  filled(journal, 3000);
  EXPECT_EQ(&journal[0], first);
}

TEST(JournalTest, HasRoomForWhatWasReserved) {
  for (const std::size_t size : {1U, 8U, 9U, 16U, 17U, 1023U, 1024U, 1025U, 4096U}) {
    Journal journal;
    journal.reserve(size);
    EXPECT_GE(journal.capacity(), size);
    EXPECT_LE(journal.capacity(), size < 8 ? 8 : 2 * size);
    for (std::size_t i = 0; i < size; ++i) journal.append();
    EXPECT_EQ(journal.size(), size);
  }
}

TEST(JournalTest, CanBeCutAnywhereAndGrowAgain) {
  for (const std::uint32_t size : {0U, 7U, 8U, 9U, 15U, 16U, 1023U, 1024U, 1025U, 2048U}) {
    Journal journal;
    filled(journal, 3000);
    journal.truncate(size);
    ASSERT_EQ(journal.size(), size);
    append(journal, 77);
    EXPECT_EQ(journal[size].a, 77U);
    if (size > 0) {
      EXPECT_EQ(journal[size - 1].a, size - 1);
    }
  }
}

TEST(JournalTest, GivesTheMemoryOfALongTransactionBack) {
  Journal journal;
  filled(journal, 100'000);
  journal.clear();
  EXPECT_TRUE(journal.empty());
  EXPECT_EQ(journal.capacity(), 1024U);
  filled(journal, 3);
  journal.clear();
  EXPECT_EQ(journal.capacity(), 1024U) << "stays at hand";
}

TEST(JournalTest, LeavesOutWhatATestNames) {
  Journal journal;
  filled(journal, 2000);
  journal.eraseIf([](JournalEntry& entry) { return entry.a % 500 != 0; });
  EXPECT_THAT(numbers(journal), testing::ElementsAre(0, 500, 1000, 1500));
  journal.eraseIf([](JournalEntry&) { return true; });
  EXPECT_TRUE(journal.empty());
}

TEST(JournalTest, ReleasesPayloadsWithTheirEntries) {
  static int alive = 0;
  struct Payload final : JournalPayload {
    Payload() { ++alive; }
    ~Payload() override { --alive; }
  };
  Journal journal;
  filled(journal, 20);
  for (JournalEntry& entry : journal) entry.payload = std::make_unique<Payload>();
  journal.truncate(15);
  EXPECT_EQ(alive, 15);
  journal.eraseIf([](JournalEntry& entry) { return entry.a < 5; });
  EXPECT_EQ(alive, 10);
  Journal other;
  other.swap(journal);
  EXPECT_TRUE(journal.empty());
  EXPECT_EQ(other.size(), 10U);
  other.clear();
  EXPECT_EQ(alive, 0);
}

}  // namespace tarn::kern::internal
