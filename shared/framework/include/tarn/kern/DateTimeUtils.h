#pragma once

#include <stdexcept>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <bedrock/i18n.h>
#include <tarn/export.h>

namespace tarn::kern {

/// A text that is no point in time, or a point in time outside the calendar. The text names the offender.
class TARN_EXPORT DateTimeError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

class TARN_EXPORT DateTimeUtils {
 public:
  /// Points in time as text and back. The text is ISO 8601 without a zone, always with microseconds:
  /// "2020-01-31T13:05:09.000000"; the special values are "not-a-date-time", "+infinity" and "-infinity".
  /// fromUstring(toUstring(t)) == t for every t of the calendar, years 1400 to 9999. Threads: pure functions.
  class TARN_EXPORT Conversion {
   public:
    /// @throws DateTimeError when arithmetic has carried the point out of the calendar.
    [[nodiscard]] static bedrock::i18n::ustring toUstring(const boost::posix_time::ptime& time);

    /// Reads what toUstring writes; as texts are also written by hand, one to six digits of a second's fraction
    /// suffice, or none with their dot. Nothing else is forgiven: no zone (a point in time here has none), no blanks,
    /// no 24:00.
    /// @throws DateTimeError naming the text otherwise.
    [[nodiscard]] static boost::posix_time::ptime fromUstring(const bedrock::i18n::ustring& text);
  };
};

}  // namespace tarn::kern
