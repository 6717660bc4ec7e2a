#pragma once

#include <string_view>

#include "Violation.h"

namespace nimbo_tool {

/// What a model that was read from JSON no longer shows, since the kernel puts it in order while reading: pairs of
/// properties of which the text gives one end only, and members that stand twice in a collection of distinct ones. The
/// text must have been read already.
void checkJsonText(std::string_view text, Violations& violations);

}  // namespace nimbo_tool
