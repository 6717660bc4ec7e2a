#pragma once

#include <string>
#include <vector>

#include <bedrock/i18n.h>

namespace tarn::kern::io {

/// For the end of an error about content that was read as it stands: says which of the packages are of a version that
/// is not current, and names the switch that lets a reader adapt them. Empty when all known ones are current: then age
/// is not what is wrong.
[[nodiscard]] std::string adviceForStalePackages(const std::vector<bedrock::i18n::ustring>& packageUris);

}  // namespace tarn::kern::io
