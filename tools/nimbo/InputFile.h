#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Form.h"

namespace nimbo_tool {

/// A file that is read as a whole; "-" is standard input.
class InputFile {
 public:
  /// Opens the file and looks at its beginning. @throws ToolError when it does not exist or cannot be read.
  InputFile(std::string path, const std::vector<std::string>& magics);

  [[nodiscard]] const std::string& path() const noexcept { return fPath; }
  /// The name for messages: the path, or "standard input".
  [[nodiscard]] std::string name() const;
  [[nodiscard]] const RecognisedForm& form() const noexcept { return fForm; }
  [[nodiscard]] bool isStandardInput() const noexcept { return fPath == "-"; }
  /// Bytes in the file.
  [[nodiscard]] std::uint64_t size() const noexcept { return fSize; }

  /// All bytes, read on the first call. Not for stores. @throws ToolError when reading fails on the way.
  [[nodiscard]] const std::string& bytes();
  /// The bytes behind a wrapper's header.
  [[nodiscard]] std::string payload();

 private:
  std::string fPath;
  RecognisedForm fForm;
  std::uint64_t fSize = 0;
  std::string fBytes;
  bool fIsRead = false;
};

}  // namespace nimbo_tool
