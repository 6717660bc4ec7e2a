#pragma once

#include <stdexcept>
#include <string>

namespace nimbo_tool {

/// What the process ends with. Documented in the manual; scripts rely on it.
enum ExitCode : int {
  kFine = 0,
  kDifferent = 1,   ///< a difference or a violation was found
  kWrongUsage = 2,  ///< the command line
  kUnusable = 3,    ///< input that cannot be read, output that cannot be written
  kInternal = 4,    ///< a fault of this program
};

/// Ends the run with one line on standard error. The text names the file, where in it, and what would work instead; the
/// program's name is put in front of it.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), fCode(code) {}
  explicit ToolError(const std::string& text) : ToolError(kUnusable, text) {}
  [[nodiscard]] ExitCode code() const noexcept { return fCode; }

 private:
  ExitCode fCode;
};

/// Standard output was closed by its reader, as by `| head`: the run ends without a word.
class ClosedPipe : public std::exception {};

}  // namespace nimbo_tool
