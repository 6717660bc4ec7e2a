#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/StringToStringMap.h>

#include "StagedOutput.h"
#include "quillon/nimbo/SerializationTag.h"

/// The bytes of values that refer to nothing else on the stream. Whichever way a value was read, it goes out through
/// here.
namespace quillon::nimbo::detail {

inline void writeTag(StagedOutput& out, SerializationTag tag) { out.put(static_cast<char>(tag)); }

template <class T>
void writePlain(StagedOutput& out, const T& object) {
  out.write(object);
}

/// Times travel as text, so that their form does not depend on how the framework counts them.
template <>
inline void writePlain(StagedOutput& out, const boost::posix_time::ptime& time) {
  out.write(tarn::kern::DateTimeUtils::Conversion::toUstring(time));
}

/// A value that may be absent: an optional one shows that by its tag, a required one becomes the zero value of its
/// type.
template <class T>
void writeObject(StagedOutput& out, const T* object) {
  if (object != nullptr) {
    writePlain<T>(out, *object);
  } else {
    writePlain<T>(out, T());
  }
}

template <class T>
void writeEntries(StagedOutput& out, const std::vector<T>& entries) {
  out.write(std::uint64_t{entries.size()});
  if constexpr (std::is_arithmetic_v<T>) {
    out.writeAll(entries);
  } else {
    for (const T& entry : entries) writePlain<T>(out, entry);
  }
}

/// Bits are packed: an entry is no bool that a reference could name.
template <>
inline void writeEntries(StagedOutput& out, const std::vector<bool>& entries) {
  out.write(std::uint64_t{entries.size()});
  for (const bool entry : entries) out.write(entry);
}

inline void writeMap(StagedOutput& out, const tarn::kern::StringToStringMap& map) {
  out.write(std::uint64_t{map.size()});
  for (const auto& [key, text] : map) {
    out.write(key);
    out.write(text);
  }
}

}  // namespace quillon::nimbo::detail
