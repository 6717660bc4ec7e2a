#pragma once

#include <cstdint>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/export.h>

/// Hash functions for the value types that come from outside and have none, or a weak one, of their own.
/// Each gives 64 well mixed bits (any part of them may choose a bucket), the same ones in every run.
namespace tarn::kern::services::hashers {

namespace detail {

/// Every bit of the input takes part in every bit of the result; two different inputs never meet.
[[nodiscard]] constexpr std::uint64_t mix(std::uint64_t bits) noexcept {
  bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
  bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
  return bits ^ (bits >> 31U);
}

}  // namespace detail

template <class T>
struct NimboHasher;

template <>
struct NimboHasher<boost::uuids::uuid> {
  [[nodiscard]] std::uint64_t operator()(const boost::uuids::uuid& id) const noexcept {
    return detail::mix(detail::mix(half(id, 0) + 0x9E3779B97F4A7C15U) ^ half(id, 8));
  }

 private:
  /// Put together by value, not by memory order, so that the result does not depend on the machine; one load in effect.
  static std::uint64_t half(const boost::uuids::uuid& id, unsigned from) noexcept {
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < 8; ++i) bits |= std::uint64_t{id.data[from + i]} << (8 * i);
    return bits;
  }
};

template <>
struct NimboHasher<boost::posix_time::ptime> {
  [[nodiscard]] TARN_EXPORT std::uint64_t operator()(const boost::posix_time::ptime& time) const noexcept;
};

}  // namespace tarn::kern::services::hashers
