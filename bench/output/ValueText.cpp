#include "ValueText.h"

#include <chrono>

namespace bench::limit {
namespace {

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Ends before `end`.
void putDigits(char* end, unsigned value, int digits) {
  for (; digits > 0; --digits, value /= 10) *--end = static_cast<char>('0' + value % 10);
}

char* putUnit(char* at, std::uint32_t unit) {
  const auto put = [&at](std::uint32_t byte) { *at++ = static_cast<char>(static_cast<unsigned char>(byte)); };
  if (unit < 0x80) {
    put(unit);
  } else if (unit < 0x800) {
    put(0xC0 | unit >> 6);
    put(0x80 | (unit & 0x3F));
  } else if (unit < 0x10000) {
    put(0xE0 | unit >> 12);
    put(0x80 | (unit >> 6 & 0x3F));
    put(0x80 | (unit & 0x3F));
  } else {
    put(0xF0 | unit >> 18);
    put(0x80 | (unit >> 12 & 0x3F));
    put(0x80 | (unit >> 6 & 0x3F));
    put(0x80 | (unit & 0x3F));
  }
  return at;
}

}  // namespace

void putUtf8(ByteBuffer& out, std::u16string_view text) {
  char* const begin = out.extend(text.size() * 3);
  char* at = begin;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t unit = text[i];
    if (unit >= 0xD800 && unit < 0xDC00) unit = 0x10000 + ((unit & 0x3FF) << 10) + (text[++i] & 0x3FFU);
    at = putUnit(at, unit);
  }
  out.shrink(text.size() * 3 - static_cast<std::size_t>(at - begin));
}

void putTime(ByteBuffer& out, Microseconds time) {
  using namespace std::chrono;
  const sys_time<microseconds> point{microseconds{time}};
  const auto day = floor<days>(point);
  const year_month_day date{day};
  const hh_mm_ss<microseconds> clock{point - day};
  const auto fraction = static_cast<unsigned>(clock.subseconds().count());
  char* at = out.extend(fraction == 0 ? 20 : 27);
  std::memcpy(at, "....-...-.. ..:..:.........", fraction == 0 ? 20 : 27);
  putDigits(at + 4, static_cast<unsigned>(static_cast<int>(date.year())), 4);
  kMonths[static_cast<unsigned>(date.month()) - 1].copy(at + 5, 3);
  putDigits(at + 11, static_cast<unsigned>(date.day()), 2);
  putDigits(at + 14, static_cast<unsigned>(clock.hours().count()), 2);
  putDigits(at + 17, static_cast<unsigned>(clock.minutes().count()), 2);
  putDigits(at + 20, static_cast<unsigned>(clock.seconds().count()), 2);
  if (fraction != 0) putDigits(at + 27, fraction, 6);
}

void putUuid(ByteBuffer& out, const Uuid& uuid) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  char* at = out.extend(36);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
    *at++ = kDigits[uuid[i] >> 4];
    *at++ = kDigits[uuid[i] & 15U];
  }
}

}  // namespace bench::limit
