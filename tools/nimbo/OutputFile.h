#pragma once

#include <string>
#include <string_view>

namespace nimbo_tool {

/// @throws ToolError when the file exists and may not be replaced; "-" never does.
void refuseExisting(const std::string& path, bool force);

/// Writes a whole file: it appears, or replaces the old one, when all of it is written. "-" is standard output.
/// @throws ToolError when it exists and `force` is off, or when it cannot be written; ClosedPipe
void writeFile(const std::string& path, std::string_view content, bool force);

/// Writes to standard output at once, past all buffers. @throws ToolError, ClosedPipe
void writeOut(std::string_view text);

/// A name that nobody else uses, in the same folder.
[[nodiscard]] std::string temporaryNameFor(const std::string& path);

}  // namespace nimbo_tool
