#include <bitset>
#include <cstdint>
#include <set>
#include <type_traits>

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/uuid/string_generator.hpp>

#include <tarn/kern/hashers.h>

namespace tarn::kern::services::hashers {
namespace {

using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::uuids::uuid;

static_assert(std::is_same_v<std::invoke_result_t<NimboHasher<uuid>, const uuid&>, std::uint64_t>);
static_assert(std::is_same_v<std::invoke_result_t<NimboHasher<ptime>, const ptime&>, std::uint64_t>);

uuid numbered(std::uint32_t number) {
  uuid id{};
  for (unsigned i = 0; i < 4; ++i) id.data[12 + i] = static_cast<std::uint8_t>(number >> (8 * i));
  return id;
}

const ptime kTime(boost::gregorian::date(2020, 1, 31), boost::posix_time::time_duration(13, 5, 9));

TEST(NimboHasher, GivesTheSameHashInEveryRun) {
  const uuid id = boost::uuids::string_generator()("01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_EQ(NimboHasher<uuid>()(id), 0x3043CC100EA65C56U);
  EXPECT_EQ(NimboHasher<uuid>()(uuid{}), 0x48218226FF3CD4BFU);
  EXPECT_EQ(NimboHasher<ptime>()(kTime), 0x9B742CAAE7363C9AU);
}

/// How many of a result's bits change when one input bit does; one half is best.
template <class HashOf>
double meanFlippedBits(HashOf hashOf, unsigned bitCount) {
  double flipped = 0;
  unsigned samples = 0;
  for (std::uint32_t number = 0; number < 64; ++number) {
    for (unsigned bit = 0; bit < bitCount; ++bit) {
      flipped += static_cast<double>(std::bitset<64>(hashOf(number, 0U) ^ hashOf(number, 1U + bit)).count());
      ++samples;
    }
  }
  return flipped / samples;
}

TEST(NimboHasher, LetsEveryBitOfAUuidCount) {
  const auto hashOf = [](std::uint32_t number, unsigned bitPlusOne) {
    uuid id = numbered(number);
    if (bitPlusOne > 0) id.data[(bitPlusOne - 1) / 8] ^= static_cast<std::uint8_t>(1U << (bitPlusOne - 1) % 8);
    return NimboHasher<uuid>()(id);
  };
  EXPECT_NEAR(meanFlippedBits(hashOf, 128), 32, 0.5);
}

TEST(NimboHasher, LetsEveryBitOfATimeCount) {
  const auto hashOf = [](std::uint32_t number, unsigned bitPlusOne) {
    const std::int64_t offset = bitPlusOne == 0 ? 0 : std::int64_t{1} << (bitPlusOne - 1);
    return NimboHasher<ptime>()(kTime + microseconds(number) + microseconds(offset));
  };
  EXPECT_NEAR(meanFlippedBits(hashOf, 48), 32, 0.5);
}

/// Number of different values among the lowest 16 bits; 65536 random draws leave about 41427 of them.
template <class HashOf>
std::size_t bucketsHit(HashOf hashOf) {
  std::set<std::uint64_t> buckets;
  for (std::uint32_t number = 0; number < 65536; ++number) buckets.insert(hashOf(number) & 0xFFFFU);
  return buckets.size();
}

TEST(NimboHasher, SpreadsConsecutiveValuesOverTheBuckets) {
  EXPECT_GT(bucketsHit([](std::uint32_t number) { return NimboHasher<uuid>()(numbered(number)); }), 41000U);
  EXPECT_GT(bucketsHit([](std::uint32_t n) { return NimboHasher<ptime>()(kTime + boost::posix_time::hours(n)); }),
            41000U);
}

TEST(NimboHasher, TellsTheHalvesOfAUuidApart) {
  uuid id{};
  id.data[0] = 1;
  uuid mirrored{};
  mirrored.data[8] = 1;
  EXPECT_NE(NimboHasher<uuid>()(id), NimboHasher<uuid>()(mirrored));
}

TEST(NimboHasher, KnowsSpecialAndFarTimes) {
  const NimboHasher<ptime> hash;
  const std::set<std::uint64_t> hashes{hash(ptime()),
                                       hash(ptime(boost::posix_time::pos_infin)),
                                       hash(ptime(boost::posix_time::neg_infin)),
                                       hash(ptime(boost::posix_time::min_date_time)),
                                       hash(ptime(boost::posix_time::max_date_time)),
                                       hash(kTime)};
  EXPECT_EQ(hashes.size(), 6U);
  EXPECT_EQ(hash(ptime()), hash(ptime(boost::posix_time::not_a_date_time)));
  const ptime far = ptime(boost::posix_time::max_date_time) + boost::posix_time::hours(2'000'000'000);
  EXPECT_EQ(hash(far), hash(far + microseconds(0)));
  const ptime early = ptime(boost::posix_time::min_date_time) - boost::posix_time::hours(24);
  EXPECT_EQ(hash(early), hash(early + microseconds(0)));
  EXPECT_NE(hash(early), hash(early + microseconds(1)));
}

}  // namespace
}  // namespace tarn::kern::services::hashers
