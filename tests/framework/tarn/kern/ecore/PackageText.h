#pragma once

#include <string>

#include <tarn/kern/meta/Package.h>

namespace ecore_tests {

/// All that a registered package is, one line per part: two packages are equal when their texts are. Independent of how
/// packages are read and written.
[[nodiscard]] std::string packageText(const tarn::kern::meta::Package& package);

}  // namespace ecore_tests
