#pragma once

#include <string>
#include <string_view>

namespace nimbo_tool {

/// JSON text in lines, two blanks for each level. Only blanks and line ends come in between; nothing else changes, so
/// numbers and escapes stay what they are. The text may nest to any depth; it must be JSON.
[[nodiscard]] std::string prettyJson(std::string_view text);

}  // namespace nimbo_tool
