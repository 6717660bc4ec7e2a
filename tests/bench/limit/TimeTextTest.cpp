#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "TimeText.h"

namespace bench::limit {
namespace {

std::u16string textOf(Microseconds time) {
  const TimeText text = toText(time);
  return {text.begin(), text.end()};
}

TEST(TimeText, IsIsoTextWithMicroseconds) {
  EXPECT_EQ(textOf(0), u"1970-01-01T00:00:00.000000");
  EXPECT_EQ(textOf(1'580'475'909'123'456), u"2020-01-31T13:05:09.123456");
  EXPECT_EQ(textOf(-1), u"1969-12-31T23:59:59.999999");
}

TEST(TimeText, ComesBackAsItWas) {
  for (const Microseconds time : {Microseconds{0}, Microseconds{-1}, Microseconds{1'580'475'909'123'456},
                                  Microseconds{951'782'400'000'000}, Microseconds{4'102'444'799'999'999}}) {
    EXPECT_EQ(fromText(textOf(time)), time);
  }
}

TEST(TimeText, RefusesOtherTexts) {
  EXPECT_THROW(static_cast<void>(fromText(u"")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(fromText(u"2020-01-31T13:05:09")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(fromText(u"2020-01-31 13:05:09.123456")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(fromText(u"2020-02-30T13:05:09.123456")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(fromText(u"202x-01-31T13:05:09.123456")), std::runtime_error);
}

}  // namespace
}  // namespace bench::limit
