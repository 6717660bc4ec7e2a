#include <array>
#include <cstdint>
#include <string_view>

#include <boost/date_time/gregorian/gregorian_types.hpp>

#include <tarn/kern/DateTimeUtils.h>

namespace tarn::kern {
namespace {

using bedrock::i18n::ustring;
using boost::posix_time::ptime;
using boost::posix_time::time_duration;

static_assert(time_duration::rep_type::res_adjust() == 1'000'000, "texts hold microseconds, no more and no less");

constexpr std::u16string_view kNotADateTime = u"not-a-date-time";
constexpr std::u16string_view kPositiveInfinity = u"+infinity";
constexpr std::u16string_view kNegativeInfinity = u"-infinity";

constexpr std::u16string_view kPattern = u"0000-00-00T00:00:00.000000";
constexpr std::size_t kSecondsEnd = 19;  // where the dot of the fraction stands
constexpr std::uint64_t kMicrosPerSecond = 1'000'000;
constexpr std::uint64_t kMicrosPerDay = 86'400 * kMicrosPerSecond;

const ptime& firstOfCalendar() {
  static const ptime sFirst(boost::posix_time::min_date_time);
  return sFirst;
}

const ptime& lastOfCalendar() {
  static const ptime sLast(boost::posix_time::max_date_time);
  return sLast;
}

// Days are counted from the 1st of March of the year 0: with the leap day at a year's end, the lengths of months,
// years and centuries follow from plain divisions, which is several times faster than asking the calendar class.

constexpr std::uint32_t kDaysUpTo1400 = 511'280;  // 0000-03-01 to 1400-01-01, the first day of the calendar

struct CivilDate {
  std::uint32_t year;
  std::uint32_t month;
  std::uint32_t day;
};

constexpr CivilDate civilFromDays(std::uint32_t days) {
  const std::uint32_t century = (4 * days + 3) / 146'097;
  const std::uint32_t dayOfCentury = days - 146'097 * century / 4;
  const std::uint32_t yearOfCentury = (4 * dayOfCentury + 3) / 1'461;
  const std::uint32_t dayOfYear = dayOfCentury - 1'461 * yearOfCentury / 4;
  const std::uint32_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const std::uint32_t day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
  const bool isNextYear = monthFromMarch >= 10;
  return {100 * century + yearOfCentury + (isNextYear ? 1 : 0),
          monthFromMarch + (isNextYear ? 0 : 3) - (isNextYear ? 9 : 0), day};
}

constexpr std::uint32_t daysFromCivil(const CivilDate& date) {
  const bool isNextYear = date.month <= 2;
  const std::uint32_t year = date.year - (isNextYear ? 1 : 0);
  const std::uint32_t monthFromMarch = date.month + (isNextYear ? 9 : 0) - (isNextYear ? 0 : 3);
  return 365 * year + year / 4 - year / 100 + year / 400 + (153 * monthFromMarch + 2) / 5 + date.day - 1;
}

constexpr bool isLeap(std::uint32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr std::uint32_t daysOfMonth(std::uint32_t year, std::uint32_t month) {
  constexpr std::array<std::uint32_t, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeap(year) ? 29 : kDays[month - 1];
}

/// Writes `number` right-aligned into `count` places that end before `end`.
void putDigits(char16_t* end, std::uint64_t number, int count) {
  for (; count > 0; --count) {
    *--end = static_cast<char16_t>(u'0' + number % 10);
    number /= 10;
  }
}

ustring specialText(const ptime& time) {
  if (time.is_pos_infinity()) return ustring(kPositiveInfinity);
  if (time.is_neg_infinity()) return ustring(kNegativeInfinity);
  return ustring(kNotADateTime);
}

[[noreturn]] void refuse(std::u16string_view text, const char* reason) {
  throw DateTimeError("\"" + bedrock::i18n::to_string(ustring(text)) + "\" is no point in time: " + reason +
                      "; expected a text such as \"2020-01-31T13:05:09.000000\"");
}

/// Takes a text apart that has the pattern's shape. Anything else is refused with the whole text.
class Reader {
 public:
  explicit Reader(std::u16string_view text) : fText(text) {}

  ptime read() const {
    checkShape();
    const CivilDate date{number(0, 4), number(5, 2), number(8, 2)};
    const std::uint64_t hour = number(11, 2);
    const std::uint64_t minute = number(14, 2);
    const std::uint64_t second = number(17, 2);
    if (date.year < 1400) refuse(fText, "the calendar begins with the year 1400");
    if (date.month < 1 || date.month > 12) refuse(fText, "there is no such month");
    if (date.day < 1 || date.day > daysOfMonth(date.year, date.month)) refuse(fText, "the month has no such day");
    if (hour > 23 || minute > 59 || second > 59) refuse(fText, "the day has no such time");
    const std::uint64_t micros = ((hour * 60 + minute) * 60 + second) * kMicrosPerSecond + fraction();
    const std::uint64_t days = daysFromCivil(date) - kDaysUpTo1400;
    return firstOfCalendar() +
           boost::posix_time::microseconds(static_cast<std::int64_t>(days * kMicrosPerDay + micros));
  }

 private:
  void checkShape() const {
    const bool hasLength =
        fText.size() == kSecondsEnd || (fText.size() > kSecondsEnd + 1 && fText.size() <= kPattern.size());
    if (!hasLength) refuse(fText, "it has the wrong length");
    for (std::size_t i = 0; i < fText.size(); ++i) {
      const bool fits = kPattern[i] == u'0' ? fText[i] >= u'0' && fText[i] <= u'9' : fText[i] == kPattern[i];
      if (!fits) refuse(fText, "it has the wrong form");
    }
  }

  std::uint32_t number(std::size_t from, std::size_t count) const {
    std::uint32_t value = 0;
    for (std::size_t i = from; i < from + count; ++i) value = value * 10 + static_cast<std::uint32_t>(fText[i] - u'0');
    return value;
  }

  std::uint32_t fraction() const {
    if (fText.size() == kSecondsEnd) return 0;
    std::uint32_t micros = number(kSecondsEnd + 1, fText.size() - kSecondsEnd - 1);
    for (std::size_t i = fText.size(); i < kPattern.size(); ++i) micros *= 10;
    return micros;
  }

  std::u16string_view fText;
};

}  // namespace

ustring DateTimeUtils::Conversion::toUstring(const ptime& time) {
  if (time.is_special()) return specialText(time);
  if (time < firstOfCalendar() || time > lastOfCalendar()) {
    throw DateTimeError("a point in time lies outside the calendar of the years 1400 to 9999 and has no text");
  }
  const auto micros = static_cast<std::uint64_t>((time - firstOfCalendar()).ticks());
  const CivilDate date = civilFromDays(static_cast<std::uint32_t>(micros / kMicrosPerDay) + kDaysUpTo1400);
  const std::uint64_t seconds = micros % kMicrosPerDay / kMicrosPerSecond;

  ustring text(kPattern);
  char16_t* const begin = text.data();
  putDigits(begin + 4, date.year, 4);
  putDigits(begin + 7, date.month, 2);
  putDigits(begin + 10, date.day, 2);
  putDigits(begin + 13, seconds / 3600, 2);
  putDigits(begin + 16, seconds / 60 % 60, 2);
  putDigits(begin + 19, seconds % 60, 2);
  putDigits(begin + 26, micros % kMicrosPerSecond, 6);
  return text;
}

ptime DateTimeUtils::Conversion::fromUstring(const ustring& text) {
  if (text == kNotADateTime) return ptime(boost::posix_time::not_a_date_time);
  if (text == kPositiveInfinity) return ptime(boost::posix_time::pos_infin);
  if (text == kNegativeInfinity) return ptime(boost::posix_time::neg_infin);
  return Reader(text).read();
}

}  // namespace tarn::kern
