#include "PlainText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <locale>
#include <streambuf>

#include <boost/date_time/posix_time/time_formatters.hpp>

#include "html/StreamBuf.h"

namespace quillon::nimbo::detail {
namespace {

/// What a guard object would have to do: pad to a width, flush a tied stream before or this one afterwards, refuse a
/// stream that has failed.
bool needsGuard(const std::ostream& os) {
  return os.width() != 0 || os.tie() != nullptr || (os.flags() & std::ios_base::unitbuf) != 0 || !os.good();
}

/// Formatted as "%g" with the stream's precision.
bool hasUsualNumbers(const std::ostream& os) {
  constexpr auto kThatMatter =
      std::ios_base::floatfield | std::ios_base::showpos | std::ios_base::showpoint | std::ios_base::uppercase;
  return (os.flags() & kThatMatter) == std::ios_base::fmtflags{} && os.getloc() == std::locale::classic();
}

}  // namespace

void putText(std::ostream& os, std::string_view text) {
  if (needsGuard(os)) {
    os << text;
    return;
  }
  if (html::StreamBuf* const page = html::htmlBuffer(os)) return page->write(text);
  const auto size = static_cast<std::streamsize>(text.size());
  try {
    if (os.rdbuf()->sputn(text.data(), size) == size) return;
  } catch (...) {  // as a stream's own output does: the stream fails, and throws on only if it was told to
    if ((os.exceptions() & std::ios_base::badbit) != 0) throw;
  }
  os.setstate(std::ios_base::badbit);
}

void putReal(std::ostream& os, double number) {
  std::array<char, 64> text;  // "%g" takes precision and 8 characters at most
  const std::streamsize precision = os.precision();
  if (!std::isfinite(number) || precision <= 0 || precision > 40 || !hasUsualNumbers(os)) {
    os << number;
    return;
  }
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general,
                                 static_cast<int>(precision));
  putText(os, {text.data(), end.ptr});
}

bool isPlainest(std::ostream& os) {
  constexpr auto kBase = std::ios_base::basefield | std::ios_base::showbase;
  // Otherwise the one output at which the buffer fails would throw nothing, and the one after it would.
  const auto exceptions = os.exceptions();
  const bool throwsAtOnce = exceptions == std::ios_base::goodbit || (exceptions & std::ios_base::badbit) != 0;
  return !needsGuard(os) && hasUsualNumbers(os) && (os.flags() & kBase) == std::ios_base::dec && throwsAtOnce &&
         html::htmlBuffer(os) == nullptr;
}

namespace {

/// Writes the digits of `value` so that they end before `end`.
void putDigits(char* end, long value, int digits) {
  for (; digits > 0; --digits, value /= 10) *--end = static_cast<char>('0' + value % 10);
}

}  // namespace

TimeText::TimeText(const boost::posix_time::ptime& time) {
  if (time.is_special()) {
    fSize = boost::posix_time::to_simple_string(time).copy(fText.data(), fText.size());
    return;
  }
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  constexpr int kFractionDigits = boost::posix_time::time_duration::num_fractional_digits();
  const auto date = time.date().year_month_day();
  const boost::posix_time::time_duration clock = time.time_of_day();
  const long fraction = clock.fractional_seconds();
  fSize = std::string_view("0000-Mmm-00 00:00:00.").copy(fText.data(), fraction == 0 ? 20 : 21);
  putDigits(&fText[4], date.year, 4);
  kMonths.substr((date.month.as_number() - 1U) * 3U).copy(&fText[5], 3);
  putDigits(&fText[11], date.day, 2);
  putDigits(&fText[14], clock.hours(), 2);
  putDigits(&fText[17], clock.minutes(), 2);
  putDigits(&fText[20], clock.seconds(), 2);
  if (fraction == 0) return;
  fSize += kFractionDigits;
  putDigits(&fText[fSize], fraction, kFractionDigits);
}

}  // namespace quillon::nimbo::detail
