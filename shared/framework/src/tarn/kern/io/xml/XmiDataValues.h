#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "XmiReader.h"

namespace tarn::kern::io::xml {

/// Finds the targets that a text names, null ones for gaps; @throws ParseError for an offset of the document.
using TargetFinder = std::function<std::vector<ModelElement>(std::string_view names, std::uint64_t offset)>;

/// Puts data values together and gives them to the property. Without a finder they must hold no references.
void setDataValues(XmiContent& content, ModelElement::Impl& element, const Feature& feature,
                   const std::vector<std::uint32_t>& drafts, const TargetFinder& findTargets);

}  // namespace tarn::kern::io::xml
