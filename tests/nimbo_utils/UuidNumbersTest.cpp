#include <cstdint>
#include <random>

#include <gtest/gtest.h>

#include <boost/uuid/uuid.hpp>

#include "quillon/nimbo/detail/UuidNumbers.h"

namespace quillon::nimbo::detail {
namespace {

boost::uuids::uuid uuidOf(std::uint32_t number) {
  boost::uuids::uuid uuid{};
  for (int i = 0; i < 4; ++i) uuid.data[12 + i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
  return uuid;
}

TEST(UuidNumbers, CountFromOneInTheOrderOfFirstMention) {
  UuidNumbers numbers;
  EXPECT_EQ(numbers.numberOf(uuidOf(7)), 1U);
  EXPECT_EQ(numbers.numberOf(uuidOf(3)), 2U);
  EXPECT_EQ(numbers.numberOf(uuidOf(7)), 1U);
  EXPECT_EQ(numbers.numberOf(boost::uuids::uuid{}), 3U);
}

TEST(UuidNumbers, StayWhileTheTableGrows) {
  UuidNumbers numbers;
  constexpr std::uint32_t kCount = 10'000;
  for (std::uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(numbers.numberOf(uuidOf(i)), i + 1U);
  for (std::uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(numbers.numberOf(uuidOf(i)), i + 1U);
}

TEST(UuidNumbers, DoNotChangeWithTheRoomReserved) {
  UuidNumbers numbers;
  EXPECT_EQ(numbers.numberOf(uuidOf(5)), 1U);
  numbers.reserve(1000);
  numbers.reserve(10);
  for (std::uint32_t i = 10; i < 1500; ++i) ASSERT_EQ(numbers.numberOf(uuidOf(i)), i - 8U);
  EXPECT_EQ(numbers.numberOf(uuidOf(5)), 1U);
}

TEST(UuidNumbers, CountMentionsThatNobodyAskedTheNumberOf) {
  UuidNumbers asked;
  UuidNumbers mentioned;
  std::mt19937 random(1);
  for (int i = 0; i < 3'000'000; ++i) {  // more than are kept without numbers
    const boost::uuids::uuid uuid = uuidOf(static_cast<std::uint32_t>(random() % 1000));
    const std::uint64_t number = asked.numberOf(uuid);
    if (i % 500'000 == 7) {
      UuidNumbers copy = mentioned;
      EXPECT_EQ(copy.numberOf(uuid), number);
    }
    mentioned.mention(uuid);
    if (i % 700'000 != 3) continue;
    EXPECT_EQ(mentioned.numberOf(uuid), number);
  }
}

TEST(UuidNumbers, GoOnInACopyWithoutTheOriginal) {
  UuidNumbers numbers;
  EXPECT_EQ(numbers.numberOf(uuidOf(1)), 1U);
  UuidNumbers copy(numbers);
  EXPECT_EQ(copy.numberOf(uuidOf(2)), 2U);
  EXPECT_EQ(copy.numberOf(uuidOf(1)), 1U);
  EXPECT_EQ(numbers.numberOf(uuidOf(3)), 2U);
}

}  // namespace
}  // namespace quillon::nimbo::detail
