#pragma once

#include <array>
#include <cstddef>
#include <ostream>
#include <string_view>

#include <boost/date_time/posix_time/posix_time_types.hpp>

/// The ways to a stream that a print of many short texts can afford. What arrives is what operator<< would write.
namespace quillon::nimbo::detail {

/// The text goes right to the stream's buffer, without the guard object that each output of a stream makes.
void putText(std::ostream& os, std::string_view text);

/// In the stream's number format; without a trip through the locale's facets where that is the usual one.
void putReal(std::ostream& os, double number);

/// True when a text may take any other way to the stream's buffer than through operator<<, and numbers and times look
/// as they do on a new stream but for the precision: nothing but that and the characters themselves tells the two
/// apart.
[[nodiscard]] bool isPlainest(std::ostream& os);

/// A time as a stream in the classic locale writes it: 2020-Jan-31 13:05:09, and six digits behind a point where the
/// second is not a whole one. To have a stream write it takes several times as long as all else of its line.
class TimeText {
 public:
  explicit TimeText(const boost::posix_time::ptime& time);
  [[nodiscard]] std::string_view view() const noexcept { return {fText.data(), fSize}; }

 private:
  std::array<char, 32> fText;
  std::size_t fSize = 0;
};

}  // namespace quillon::nimbo::detail
