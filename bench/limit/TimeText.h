#pragma once

#include <array>
#include <string_view>

#include "Description.h"

namespace bench::limit {

/// "2020-01-31T13:05:09.123456"
using TimeText = std::array<char16_t, 26>;

/// @pre the year has four digits.
[[nodiscard]] TimeText toText(Microseconds time);

/// @throws std::runtime_error when the text has another form.
[[nodiscard]] Microseconds fromText(std::u16string_view text);

}  // namespace bench::limit
