#pragma once

#include <string>

#include <tarn/kern/Model.h>

namespace nimbo_tool {

/// Why the binary form refuses a model, in the model's own words: the property, an element that has it, and the rule.
/// Empty when none of the known reasons applies.
[[nodiscard]] std::string binaryRefusal(const tarn::kern::Model& model);

}  // namespace nimbo_tool
