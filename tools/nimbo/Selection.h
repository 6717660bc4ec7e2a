#pragma once

#include <string>
#include <vector>

#include <tarn/kern/Model.h>

namespace nimbo_tool {

/// The elements that the words name: a uuid, or a class by its qualified or simple name (elements of subclasses
/// included), in the model's order for each word, none twice.
/// @throws ToolError for a word that names nothing
[[nodiscard]] std::vector<tarn::kern::ModelElement> selectElements(const tarn::kern::Model& model,
                                                                   const std::vector<std::string>& words);

}  // namespace nimbo_tool
