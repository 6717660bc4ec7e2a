#include <cstdint>
#include <deque>
#include <random>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillon/nimbo/detail/PtrMap.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

/// A handle whose count can be looked at.
class Counted {
 public:
  struct Impl {
    int refs = 0;
  };

  explicit Counted(Impl* impl) : fImpl(impl) { ++fImpl->refs; }
  Counted(const Counted& other) : Counted(other.fImpl) {}
  Counted(Counted&& other) noexcept : fImpl(std::exchange(other.fImpl, nullptr)) {}
  Counted& operator=(Counted other) noexcept {
    std::swap(fImpl, other.fImpl);
    return *this;
  }
  ~Counted() {
    if (fImpl != nullptr) --fImpl->refs;
  }
  [[nodiscard]] Impl* get() const { return fImpl; }

 private:
  Impl* fImpl;
};

using Map = quillon::nimbo::detail::PtrMap<Counted, std::uint64_t>;

std::vector<std::pair<Counted::Impl*, std::uint64_t>> contentOf(const Map& map) {
  std::vector<std::pair<Counted::Impl*, std::uint64_t>> content;
  map.forEach([&](const Counted& key, std::uint64_t mapped) { content.emplace_back(key.get(), mapped); });
  return content;
}

TEST(PtrMap, HoldsNothingAtFirst) {
  Counted::Impl record;
  const Map map;
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.find(&record), nullptr);
  EXPECT_TRUE(contentOf(map).empty());
}

TEST(PtrMap, PrefetchesAnyKeyAndNone) {
  Counted::Impl record;
  Counted::Impl unknown;
  Map map;
  map.prefetch(&record);
  map.tryEmplace(&record, 1);
  for (const Counted::Impl* key : {&record, &unknown, static_cast<Counted::Impl*>(nullptr)}) map.prefetch(key);
  EXPECT_EQ(contentOf(map), (std::vector<std::pair<Counted::Impl*, std::uint64_t>>{{&record, 1}}));
}

TEST(PtrMap, KeepsTheFirstValueOfAKey) {
  Counted::Impl record;
  Map map;
  const auto [first, isNew] = map.tryEmplace(&record, 1);
  EXPECT_TRUE(isNew);
  EXPECT_EQ(*first, 1U);
  const auto [second, isNewAgain] = map.tryEmplace(&record, 2);
  EXPECT_FALSE(isNewAgain);
  EXPECT_EQ(*second, 1U);
  EXPECT_EQ(map.size(), 1U);
}

TEST(PtrMap, LetsAnEntryBeChangedInPlace) {
  Counted::Impl record;
  Map map;
  *map.tryEmplace(&record, 1).first = 7;
  EXPECT_EQ(*map.find(&record), 7U);
}

TEST(PtrMap, IteratesInTheOrderOfInsertion) {
  std::vector<Counted::Impl> records(3);
  Map map;
  map.tryEmplace(&records[2], 20);
  map.tryEmplace(&records[0], 0);
  map.tryEmplace(&records[1], 10);
  map.tryEmplace(&records[2], 21);
  EXPECT_THAT(contentOf(map), ElementsAre(Pair(&records[2], 20U), Pair(&records[0], 0U), Pair(&records[1], 10U)));
}

TEST(PtrMap, HoldsOneReferenceToEachKey) {
  Counted::Impl record;
  {
    Map map;
    map.tryEmplace(&record, 1);
    map.tryEmplace(&record, 1);
    EXPECT_EQ(record.refs, 1);
    const Map copy = map;
    EXPECT_EQ(record.refs, 2);
    map.clear();
    EXPECT_EQ(record.refs, 1);
    EXPECT_EQ(map.size(), 0U);
    EXPECT_EQ(map.find(&record), nullptr);
  }
  EXPECT_EQ(record.refs, 0);
}

TEST(PtrMap, CopiesAreIndependent) {
  std::vector<Counted::Impl> records(2);
  Map map;
  map.tryEmplace(&records[0], 1);
  Map copy = map;
  copy.tryEmplace(&records[1], 2);
  *copy.tryEmplace(&records[0], 0).first = 3;
  EXPECT_THAT(contentOf(map), ElementsAre(Pair(&records[0], 1U)));
  EXPECT_THAT(contentOf(copy), ElementsAre(Pair(&records[0], 3U), Pair(&records[1], 2U)));
}

TEST(PtrMap, IsEmptyAndUsableAfterAMove) {
  std::vector<Counted::Impl> records(100);
  Map map;
  for (auto& record : records) map.tryEmplace(&record, 1);
  const Map moved = std::move(map);
  EXPECT_EQ(moved.size(), 100U);
  EXPECT_EQ(map.size(), 0U);  // NOLINT(bugprone-use-after-move): what this test is about
  EXPECT_EQ(map.find(&records[0]), nullptr);
  EXPECT_TRUE(map.tryEmplace(&records[0], 5).second);
  EXPECT_EQ(*map.find(&records[0]), 5U);
  EXPECT_EQ(records[0].refs, 2);
}

TEST(PtrMap, AgreesWithAStandardMap) {
  constexpr int kSteps = 300'000;
  std::deque<Counted::Impl> records(50'000);
  std::mt19937_64 random(4);
  Map map;
  std::unordered_map<Counted::Impl*, std::uint64_t> standard;
  for (std::uint64_t step = 0; step < kSteps; ++step) {
    if (random() % 100'000 == 0) {
      map.clear();
      standard.clear();
    }
    Counted::Impl* const key = &records[random() % records.size()];
    if (random() % 2 == 0) {
      const auto [mapped, isNew] = map.tryEmplace(key, step);
      const auto [expected, isExpectedNew] = standard.try_emplace(key, step);
      ASSERT_EQ(isNew, isExpectedNew) << "step " << step;
      ASSERT_EQ(*mapped, expected->second) << "step " << step;
    } else {
      const std::uint64_t* const mapped = map.find(key);
      const auto expected = standard.find(key);
      ASSERT_EQ(mapped != nullptr, expected != standard.end()) << "step " << step;
      if (mapped != nullptr) {
        ASSERT_EQ(*mapped, expected->second) << "step " << step;
      }
    }
    ASSERT_EQ(map.size(), standard.size());
  }
  for (const auto& [key, mapped] : contentOf(map)) EXPECT_EQ(standard.at(key), mapped);
}

}  // namespace
