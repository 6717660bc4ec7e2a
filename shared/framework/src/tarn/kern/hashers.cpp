#include <tarn/kern/hashers.h>

namespace tarn::kern::services::hashers {
namespace {

using boost::posix_time::ptime;

/// A number of its own for every point of the calendar and every special value. Points outside the calendar, which only
/// arithmetic can make, share the numbers of a day: their distance to anything might not be representable.
std::uint64_t numberOf(const ptime& time) {
  static const ptime sFirst(boost::posix_time::min_date_time);
  static const ptime sLast(boost::posix_time::max_date_time);
  if (time.is_pos_infinity()) return ~std::uint64_t{0};
  if (time.is_neg_infinity()) return ~std::uint64_t{1};
  if (time.is_special()) return ~std::uint64_t{2};
  if (time < sFirst || time > sLast) return static_cast<std::uint64_t>(time.time_of_day().ticks());
  return static_cast<std::uint64_t>((time - sFirst).ticks());
}

}  // namespace

std::uint64_t NimboHasher<ptime>::operator()(const ptime& time) const noexcept {
  return detail::mix(numberOf(time) + 0x9E3779B97F4A7C15U);
}

}  // namespace tarn::kern::services::hashers
