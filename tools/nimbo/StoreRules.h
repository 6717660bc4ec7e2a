#pragma once

#include <string>

#include "Violation.h"

namespace nimbo_tool {

/// The full check of a store file: what SQLite finds, and what our tables must keep to.
void checkStore(const std::string& path, Violations& violations);

}  // namespace nimbo_tool
