#pragma once

#include <string>

namespace nimbo_tool {

/// Silences std::cerr, to which the library prints notes of its own. What this program has to say goes past it.
void keepLibraryQuiet();

/// Writes to standard error as it is. Talk that cannot be written is no reason to stop.
void talk(const std::string& text);

/// A line of that kind: "nimbo: warning: ...".
void warn(const std::string& text);

}  // namespace nimbo_tool
