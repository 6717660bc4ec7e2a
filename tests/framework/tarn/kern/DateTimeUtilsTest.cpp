#include <random>
#include <string>

#include <gmock/gmock.h>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <tarn/kern/DateTimeUtils.h>

namespace tarn::kern {
namespace {

using bedrock::i18n::ustring;
using boost::gregorian::date;
using boost::posix_time::hours;
using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::posix_time::time_duration;
using Conversion = DateTimeUtils::Conversion;

TEST(DateTimeConversion, WritesIsoTextWithMicroseconds) {
  EXPECT_EQ(Conversion::toUstring(ptime(date(2020, 1, 31), time_duration(13, 5, 9))), u"2020-01-31T13:05:09.000000");
  EXPECT_EQ(Conversion::toUstring(ptime(date(1999, 12, 31), time_duration(23, 59, 59, 999'999))),
            u"1999-12-31T23:59:59.999999");
  EXPECT_EQ(Conversion::toUstring(ptime(date(2000, 2, 29), time_duration(0, 0, 0, 1))), u"2000-02-29T00:00:00.000001");
}

TEST(DateTimeConversion, HasATextForEachSpecialValue) {
  EXPECT_EQ(Conversion::toUstring(ptime()), u"not-a-date-time");
  EXPECT_EQ(Conversion::toUstring(ptime(boost::posix_time::pos_infin)), u"+infinity");
  EXPECT_EQ(Conversion::toUstring(ptime(boost::posix_time::neg_infin)), u"-infinity");
  EXPECT_TRUE(Conversion::fromUstring(u"not-a-date-time").is_not_a_date_time());
  EXPECT_TRUE(Conversion::fromUstring(u"+infinity").is_pos_infinity());
  EXPECT_TRUE(Conversion::fromUstring(u"-infinity").is_neg_infinity());
}

TEST(DateTimeConversion, ReachesBothEndsOfTheCalendar) {
  const ptime first(boost::posix_time::min_date_time);
  const ptime last(boost::posix_time::max_date_time);
  EXPECT_EQ(Conversion::toUstring(first), u"1400-01-01T00:00:00.000000");
  EXPECT_EQ(Conversion::toUstring(last), u"9999-12-31T23:59:59.999999");
  EXPECT_EQ(Conversion::fromUstring(u"1400-01-01T00:00:00.000000"), first);
  EXPECT_EQ(Conversion::fromUstring(u"9999-12-31T23:59:59.999999"), last);
}

/// Compares the date of both directions with what the calendar class says of that day.
void expectAgreement(const date& day) {
  const ptime time(day, microseconds(day.day_number() % 86'400 * std::int64_t{1'000'001} % 86'400'000'000));
  const ustring text = Conversion::toUstring(time);
  const auto ymd = day.year_month_day();
  ASSERT_EQ(std::stoi(bedrock::i18n::to_string(text.substr(0, 4))), ymd.year);
  ASSERT_EQ(std::stoi(bedrock::i18n::to_string(text.substr(5, 2))), ymd.month);
  ASSERT_EQ(std::stoi(bedrock::i18n::to_string(text.substr(8, 2))), ymd.day);
  ASSERT_EQ(Conversion::fromUstring(text), time);
}

TEST(DateTimeConversion, AgreesWithTheCalendarAllOverIt) {
  const date lastDay(boost::date_time::max_date_time);
  // Eleven days a step, so that in the course of the centuries every day of every kind of year is met.
  for (date day(boost::date_time::min_date_time); day <= lastDay - boost::gregorian::days(11);
       day += boost::gregorian::days(11)) {
    ASSERT_NO_FATAL_FAILURE(expectAgreement(day));
  }
}

TEST(DateTimeConversion, AgreesWithTheCalendarAtTheEdgesOfEveryYear) {
  for (unsigned short year = 1400; year <= 9999; ++year) {
    ASSERT_NO_FATAL_FAILURE(expectAgreement(date(year, 1, 1)));
    ASSERT_NO_FATAL_FAILURE(expectAgreement(date(year, 2, 28)));
    ASSERT_NO_FATAL_FAILURE(expectAgreement(date(year, 2, 28) + boost::gregorian::days(1)));
    ASSERT_NO_FATAL_FAILURE(expectAgreement(date(year, 12, 31)));
  }
}

TEST(DateTimeConversion, AgreesWithAnotherWriterOnRandomTimes) {
  std::mt19937_64 random(42);
  const ptime first(boost::posix_time::min_date_time);
  for (int i = 0; i < 20000; ++i) {
    const ptime time = first + microseconds(static_cast<std::int64_t>(random() % (8600ULL * 365 * 86'400'000'000)));
    std::string expected = boost::posix_time::to_iso_extended_string(time);
    if (expected.find('.') == std::string::npos) expected += ".000000";
    const ustring text = Conversion::toUstring(time);
    ASSERT_EQ(bedrock::i18n::to_string(text), expected);
    ASSERT_EQ(Conversion::fromUstring(text), time);
  }
}

TEST(DateTimeConversion, ReadsShorterFractions) {
  EXPECT_EQ(Conversion::toUstring(Conversion::fromUstring(u"2020-01-31T13:05:09")), u"2020-01-31T13:05:09.000000");
  EXPECT_EQ(Conversion::toUstring(Conversion::fromUstring(u"2020-01-31T13:05:09.5")), u"2020-01-31T13:05:09.500000");
  EXPECT_EQ(Conversion::toUstring(Conversion::fromUstring(u"2020-01-31T13:05:09.00012")),
            u"2020-01-31T13:05:09.000120");
}

class RefusedDateTimeText : public testing::TestWithParam<const char16_t*> {};

TEST_P(RefusedDateTimeText, IsNamedInTheFailure) {
  const ustring text = GetParam();
  try {
    static_cast<void>(Conversion::fromUstring(text));
    FAIL() << "was read";
  } catch (const DateTimeError& error) {
    EXPECT_THAT(error.what(), testing::StartsWith("\"" + bedrock::i18n::to_string(text) + "\" is no point in time: "));
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedDateTimeText,
    testing::Values(u"", u" ", u"rubbish", u"not-a-date-time ", u"Not-a-date-time", u"infinity", u"+infinity+",
                    u"2020-01-31", u"2020-01-31T13:05", u"2020-01-31 13:05:09", u"2020-01-31t13:05:09",
                    u"2020-01-31T13:05:09.", u"2020-01-31T13:05:09.0000000", u"2020-01-31T13:05:09,5",
                    u"2020-01-31T13:05:09Z", u"2020-01-31T13:05:09.000000Z", u"2020-01-31T13:05:09+00:00",
                    u"2020-01-31T13:05:09.00000a", u"2020-01-31T13:05:09.-00001", u"+020-01-31T13:05:09",
                    u"-020-01-31T13:05:09", u"20200131T130509.000000", u"2020-00-31T13:05:09", u"2020-13-31T13:05:09",
                    u"2020-01-00T13:05:09", u"2020-01-32T13:05:09", u"2020-04-31T13:05:09", u"2019-02-29T13:05:09",
                    u"1900-02-29T13:05:09", u"2020-01-31T24:00:00", u"2020-01-31T23:60:00", u"2020-01-31T23:59:60",
                    u"1399-12-31T23:59:59", u"0000-01-01T00:00:00", u"\uFF12020-01-31T13:05:0",
                    u"\u0662020-01-31T13:05:09", u"2020-01-31T13:05:09.00000\U0001F600"));

TEST(DateTimeConversion, RefusesLoneSurrogatesAndNulsInTheFailureText) {
  EXPECT_THROW(static_cast<void>(Conversion::fromUstring(ustring(19, 0xD800))), DateTimeError);
  EXPECT_THROW(static_cast<void>(Conversion::fromUstring(ustring(19, u'\0'))), DateTimeError);
  EXPECT_THROW(static_cast<void>(Conversion::fromUstring(ustring(1'000'000, u'2'))), DateTimeError);
}

TEST(DateTimeConversion, SurvivesEveryDamageOfASingleCharacter) {
  const ustring good = u"2020-02-29T13:05:09.123456";
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (char16_t unit = 0; unit < 0x100; ++unit) {
      ustring text = good;
      text[at] = unit;
      try {  // what is read is the text and nothing else
        ASSERT_EQ(Conversion::toUstring(Conversion::fromUstring(text)), text);
      } catch (const DateTimeError&) {
      }
    }
  }
}

TEST(DateTimeConversion, RefusesPointsOutsideTheCalendar) {
  const ptime last(boost::posix_time::max_date_time);
  const ptime first(boost::posix_time::min_date_time);
  EXPECT_THROW(static_cast<void>(Conversion::toUstring(last + microseconds(1))), DateTimeError);
  EXPECT_THROW(static_cast<void>(Conversion::toUstring(first - microseconds(1))), DateTimeError);
  EXPECT_THROW(static_cast<void>(Conversion::toUstring(last + hours(2'000'000'000))), DateTimeError);
}

}  // namespace
}  // namespace tarn::kern
