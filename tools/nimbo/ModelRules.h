#pragma once

#include <tarn/kern/Model.h>

#include "Violation.h"

namespace nimbo_tool {

/// What the meta-model says about a model's content, beyond what the kernel keeps in order by itself: bounds, and enum
/// numbers without literal.
void checkModel(const tarn::kern::Model& model, Violations& violations);

}  // namespace nimbo_tool
