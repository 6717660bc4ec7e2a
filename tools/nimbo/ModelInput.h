#pragma once

#include <string>
#include <vector>

#include <tarn/kern/Model.h>

#include "InputFile.h"

namespace nimbo_tool {

struct ReadingOptions {
  std::vector<std::string> metaModels;
  std::string magic;  ///< a header to expect in front of containers, besides the tool's own
  bool evolve = true;
  /// What wrapper files may begin with.
  [[nodiscard]] std::vector<std::string> magics() const;
};

/// A model from a file of any form. That of a store stays bound to it; the file is not changed.
/// @throws ToolError naming the file and what is wrong with it
[[nodiscard]] tarn::kern::Model readModel(InputFile& file, const ReadingOptions& options);
[[nodiscard]] tarn::kern::Model readModel(const std::string& path, const ReadingOptions& options);

}  // namespace nimbo_tool
