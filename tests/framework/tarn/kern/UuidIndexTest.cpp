#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "UuidIndex.h"

namespace tarn::kern::internal {
namespace {

boost::uuids::uuid uuidOf(std::uint32_t number) {
  boost::uuids::uuid uuid{};
  for (unsigned i = 0; i < 4; ++i) uuid.data[i] = static_cast<std::uint8_t>(number >> (8 * i));
  return uuid;
}

/// A table as the kernel keeps it: the place is the index; what is gone is an empty place.
class UuidIndexTest : public testing::Test {
 protected:
  bool isTaken(std::uint32_t at) const { return at < fTable.size() && fTable[at] != kGone; }
  void add(std::uint32_t number) {
    fIndex.reserveOne([this](std::uint32_t at) { return isTaken(at); });
    fTable.push_back(number);
    fIndex.insert(uuidOf(number), static_cast<std::uint32_t>(fTable.size() - 1));
    fPlaces[number] = static_cast<std::uint32_t>(fTable.size() - 1);
  }
  void erase(std::uint32_t number) {
    fIndex.erase(uuidOf(number), fPlaces.at(number));
    takeOut(number);
  }
  void forget(std::uint32_t number) {
    fIndex.forget();
    takeOut(number);
  }
  /// Closes the gaps of the table.
  void pack() {
    std::vector<std::uint32_t> places(fTable.size());
    std::vector<std::uint32_t> packed;
    for (std::size_t at = 0; at < fTable.size(); ++at) {
      if (fTable[at] == kGone) continue;
      places[at] = static_cast<std::uint32_t>(packed.size());
      fPlaces[fTable[at]] = places[at];
      packed.push_back(fTable[at]);
    }
    fIndex.renumber([this](std::uint32_t at) { return isTaken(at); }, [&](std::uint32_t at) { return places[at]; });
    fTable = packed;
  }
  std::int64_t find(std::uint32_t number) const {
    return fIndex.find(uuidOf(number), [&](std::uint32_t at) { return isTaken(at) && fTable[at] == number; });
  }
  void expectAll(std::uint32_t end) const {
    for (std::uint32_t number = 0; number < end; ++number) {
      const auto place = fPlaces.find(number);
      ASSERT_EQ(find(number), place == fPlaces.end() ? -1 : std::int64_t{place->second}) << number;
    }
  }

  static constexpr std::uint32_t kGone = 0xFFFFFFFF;
  UuidIndex fIndex;
  std::vector<std::uint32_t> fTable;
  std::map<std::uint32_t, std::uint32_t> fPlaces;

 private:
  void takeOut(std::uint32_t number) {
    fTable[fPlaces.at(number)] = kGone;
    fPlaces.erase(number);
  }
};

TEST_F(UuidIndexTest, FindsNothingWhenEmpty) { EXPECT_EQ(find(1), -1); }

TEST_F(UuidIndexTest, FindsWhatIsThereWhateverGoes) {
  std::mt19937 random(7);
  constexpr std::uint32_t kNumbers = 3000;
  for (int round = 0; round < 30'000; ++round) {
    const auto number = static_cast<std::uint32_t>(random() % kNumbers);
    if (!fPlaces.contains(number)) {
      add(number);
    } else if (random() % 2 == 0) {
      erase(number);
    } else {
      forget(number);
    }
    if (round % 4000 == 0) pack();
  }
  expectAll(kNumbers);
  pack();
  expectAll(kNumbers);
}

TEST_F(UuidIndexTest, LosesWhatWasForgottenWhenItIsMadeAnew) {
  for (std::uint32_t number = 0; number < 1000; ++number) add(number);
  for (std::uint32_t number = 0; number < 999; ++number) forget(number);
  pack();
  EXPECT_EQ(find(999), 0);
  for (std::uint32_t number = 1000; number < 5000; ++number) add(number);
  expectAll(5000);
}

TEST_F(UuidIndexTest, IgnoresTheErasureOfWhatIsNotThere) {
  fIndex.erase(uuidOf(1), 0);
  add(2);
  fIndex.erase(uuidOf(1), 7);
  fIndex.erase(uuidOf(2), 7);
  EXPECT_EQ(find(2), 0);
}

TEST_F(UuidIndexTest, KeepsTwoOfOneUuidApart) {
  add(5);
  fIndex.reserveOne([this](std::uint32_t at) { return isTaken(at); });
  fTable.push_back(kGone);  // destroyed, and may come back
  fIndex.insert(uuidOf(5), 1);
  EXPECT_EQ(find(5), 0);
  fIndex.erase(uuidOf(5), 1);
  EXPECT_EQ(find(5), 0);
}

}  // namespace
}  // namespace tarn::kern::internal
