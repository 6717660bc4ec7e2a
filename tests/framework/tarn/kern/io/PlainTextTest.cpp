#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "PlainText.h"

namespace tarn::kern::io {
namespace {

std::string written(double number) {
  std::string text(kLongestReal, '\0');
  text.resize(static_cast<std::size_t>(writeReal(text.data(), number) - text.data()));
  return text;
}

TEST(PlainText, WritesAndReadsUuids) {
  constexpr const char* kText = "00112233-4455-6677-8899-aabbccddeeff";
  const auto uuid = readUuid(kText);
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->data[0], 0x00);
  EXPECT_EQ(uuid->data[15], 0xFF);
  std::string text(kUuidLength, '\0');
  writeUuid(text.data(), *uuid);
  EXPECT_EQ(text, kText);
  EXPECT_EQ(readUuid("00112233-4455-6677-8899-AABBCCDDEEFF"), uuid);
}

TEST(PlainText, RefusesOtherFormsOfUuids) {
  for (const char* text : {"", "00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddeeff0",
                           "0011223344556677-8899-aabbccddeeff--", "00112233_4455_6677_8899_aabbccddeeff",
                           "g0112233-4455-6677-8899-aabbccddeeff", "0g112233-4455-6677-8899-aabbccddeeff",
                           "{0112233-4455-6677-8899-aabbccddeef}", "00112233-4455-6677-8899-aabbccddee f"}) {
    EXPECT_FALSE(readUuid(text)) << text;
  }
}

TEST(PlainText, ReadsBackEveryReal) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20'000; ++i) {
    const auto number = std::bit_cast<double>(random());
    const bool isNumber = number - number == 0;
    const auto again = isNumber ? readReal(written(number)) : specialRealNamed(nameOfSpecialReal(number));
    ASSERT_TRUE(again);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(*again), std::bit_cast<std::uint64_t>(number));
  }
}

TEST(PlainText, WritesTheShortestReal) {
  EXPECT_EQ(written(0.1), "0.1");
  EXPECT_EQ(written(-0.0), "-0");
  EXPECT_EQ(written(5), "5");
  EXPECT_EQ(written(1e300), "1e+300");
  EXPECT_EQ(written(5e-324), "5e-324");
  EXPECT_EQ(written(-std::numeric_limits<double>::max()), "-1.7976931348623157e+308");
}

TEST(PlainText, NamesWhatIsNoNumber) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(nameOfSpecialReal(kInfinity), "inf");
  EXPECT_EQ(nameOfSpecialReal(-kInfinity), "-inf");
  EXPECT_EQ(nameOfSpecialReal(std::numeric_limits<double>::quiet_NaN()), "NaN");
  EXPECT_EQ(nameOfSpecialReal(std::bit_cast<double>(std::uint64_t{0xFFF8000000000001})), "NaN(fff8000000000001)");
  for (const char* text : {"", "nan", "Inf", "infinity", "NaN(", "NaN()", "NaN(fff8000000000001",
                           "NaN(0000000000000001)", "NaN(fff800000000000g)", "NaN(7ff0000000000000)"}) {
    EXPECT_FALSE(specialRealNamed(text)) << text;
  }
}

TEST(PlainText, TellsTooLargeRealsFromThoseTooSmallToMatter) {
  for (const char* text : {"1e999", "-1e999", "1e99999999999999999999999", "1.8e308", "123456e400"}) {
    EXPECT_FALSE(readReal(text)) << text;
  }
  EXPECT_FALSE(readReal("1" + std::string(400, '0')));
  for (const std::string& text : {std::string("1e-999"), std::string("1e-99999999999999999999"), std::string("2e-324"),
                                  "0." + std::string(400, '0') + "1", "0." + std::string(1000, '0') + "1e600",
                                  std::string("0e99999999999999999999"), std::string("0.0e5")}) {
    const auto number = readReal(text);
    ASSERT_TRUE(number) << text;
    EXPECT_EQ(*number, 0.0) << text;
  }
  EXPECT_EQ(readReal("1" + std::string(400, '0') + "e-400"), 1.0);
  EXPECT_TRUE(std::signbit(*readReal("-1e-999")));
  for (const char* text : {"", "x", "1x", "1e", "0x1p3", " 1", "1 "}) EXPECT_FALSE(readReal(text)) << text;
}

TEST(PlainText, ReadsIntegersWithinTheirRangeOnly) {
  EXPECT_EQ(readInteger<std::int8_t>("-128"), std::int8_t{-128});
  EXPECT_FALSE(readInteger<std::int8_t>("128"));
  EXPECT_EQ(readInteger<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_FALSE(readInteger<std::uint64_t>("18446744073709551616"));
  EXPECT_EQ(readInteger<std::int64_t>("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(readInteger<std::uint8_t>("-0"), std::uint8_t{0});
  for (const char* text : {"", "1.0", "1e2", "-1", "+1", "x", "1 "})
    EXPECT_FALSE(readInteger<std::uint8_t>(text)) << text;
}

TEST(PlainText, GivesBytesBack) {
  EXPECT_EQ(bytesOf(u"aä😀"), "aä😀");
  const std::u16string lone = {u'a', 0xDC80, 0xDCFF, u'b'};
  EXPECT_EQ(bytesOf(lone),
            "a\x80\xFF"
            "b");
  for (const int unit : {0xD800, 0xDC7F, 0xDD00, 0xDFFF})
    EXPECT_FALSE(bytesOf(std::u16string(1, static_cast<char16_t>(unit))));
}

}  // namespace
}  // namespace tarn::kern::io
