#include "TimeText.h"

#include <chrono>
#include <stdexcept>

namespace bench::limit {
namespace {

constexpr std::u16string_view kForm = u"dddd-dd-ddTdd:dd:dd.dddddd";

void putDigits(char16_t* end, unsigned value, int digits) {
  for (; digits > 0; --digits, value /= 10) *--end = static_cast<char16_t>(u'0' + value % 10);
}

int getDigits(const char16_t* from, int digits) {
  int value = 0;
  for (; digits > 0; --digits) value = value * 10 + (*from++ - u'0');
  return value;
}

bool hasForm(std::u16string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] == u'd' ? text[i] < u'0' || text[i] > u'9' : text[i] != kForm[i]) return false;
  }
  return true;
}

}  // namespace

TimeText toText(Microseconds time) {
  using namespace std::chrono;
  const sys_time<microseconds> point{microseconds{time}};
  const auto day = floor<days>(point);
  const year_month_day date{day};
  const hh_mm_ss<microseconds> clock{point - day};
  TimeText text;
  kForm.copy(text.data(), text.size());
  putDigits(&text[4], static_cast<unsigned>(static_cast<int>(date.year())), 4);
  putDigits(&text[7], static_cast<unsigned>(date.month()), 2);
  putDigits(&text[10], static_cast<unsigned>(date.day()), 2);
  putDigits(&text[13], static_cast<unsigned>(clock.hours().count()), 2);
  putDigits(&text[16], static_cast<unsigned>(clock.minutes().count()), 2);
  putDigits(&text[19], static_cast<unsigned>(clock.seconds().count()), 2);
  putDigits(text.data() + 26, static_cast<unsigned>(clock.subseconds().count()), 6);
  return text;
}

Microseconds fromText(std::u16string_view text) {
  using namespace std::chrono;
  if (!hasForm(text)) throw std::runtime_error("a time is not of the form 2020-01-31T13:05:09.123456");
  const char16_t* from = text.data();
  const year_month_day date{year{getDigits(from, 4)}, month{static_cast<unsigned>(getDigits(from + 5, 2))},
                            day{static_cast<unsigned>(getDigits(from + 8, 2))}};
  if (!date.ok()) throw std::runtime_error("a time lies on a day that does not exist");
  const auto point = sys_time<microseconds>{sys_days{date}} + hours{getDigits(from + 11, 2)} +
                     minutes{getDigits(from + 14, 2)} + seconds{getDigits(from + 17, 2)} +
                     microseconds{getDigits(from + 20, 6)};
  return point.time_since_epoch().count();
}

}  // namespace bench::limit
