#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <tarn/kern/ModelElement.h>

#include "quillon/nimbo/ModelDiff.h"

/// The properties of two states of one element, compared and put into words.
namespace quillon::nimbo::detail {

/// `Package "zlib" {8-4-4-4-12}`, "null" for none.
[[nodiscard]] std::string labelOf(const tarn::kern::ModelElement::Impl* element);

/// What differs apart from containment. Elements count by their uuid.
[[nodiscard]] std::vector<PropertyChange> propertyChanges(const tarn::kern::ModelElement::Impl& before,
                                                          const tarn::kern::ModelElement::Impl& after);

}  // namespace quillon::nimbo::detail
