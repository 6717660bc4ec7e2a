#pragma once

#include <string>
#include <vector>

#include <tarn/kern/meta/Package.h>

namespace nimbo_tool {

/// Packages as indented text, the way a definition reads.
[[nodiscard]] std::string metaModelText(const std::vector<tarn::kern::meta::Package>& packages);

/// A class diagram in Graphviz's language: `dot -Tsvg`.
[[nodiscard]] std::string classDiagram(const std::vector<tarn::kern::meta::Package>& packages);

}  // namespace nimbo_tool
