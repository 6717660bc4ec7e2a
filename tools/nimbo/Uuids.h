#pragma once

#include <string>

#include <boost/uuid/uuid.hpp>

namespace nimbo_tool {

/// A uuid as people write it, in braces or not. @throws ToolError (wrong usage) for anything else
[[nodiscard]] boost::uuids::uuid parseUuid(const std::string& text);
/// True when the text is one.
[[nodiscard]] bool isUuid(const std::string& text);

}  // namespace nimbo_tool
