#pragma once

#include <string>
#include <vector>

#include <tarn/kern/Model.h>

namespace nimbo_tool {

struct WritingOptions {
  std::string to;      ///< B, Z, z, J, C, c, json, xml, store, ecore; empty: by the ending of the file's name
  std::string header;  ///< written in front of a container
  bool force = false;
};

/// The form that is meant, as a word of `--to`. @throws ToolError (wrong usage) when neither `to` nor the name tells
[[nodiscard]] std::string targetForm(const std::string& path, const std::string& to);

/// Writes the whole model. The same model gives the same bytes (a store excepted, which is a database). The form is
/// checked before anything is written. @throws ToolError naming what the form cannot hold and the forms that can
void writeModel(const tarn::kern::Model& model, const std::string& path, const WritingOptions& options);

}  // namespace nimbo_tool
