#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace nimbo_tool {

/// 1234567 as "1,234,567".
[[nodiscard]] std::string withSeparators(std::uint64_t number);

/// Text from a file for a line on a terminal: well-formed, control characters as escapes, cut when long.
[[nodiscard]] std::string forTerminal(std::string_view text, std::size_t limit = 60);

/// True when colours may be used on standard output: a terminal, and NO_COLOR is not set.
[[nodiscard]] bool mayColour();

}  // namespace nimbo_tool
