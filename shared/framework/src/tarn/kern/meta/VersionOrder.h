#pragma once

#include <bedrock/i18n.h>

namespace tarn::kern::meta::internal {

/// The order of a family's versions, as MetaRegistry documents it. Of any two different texts one is newer.
[[nodiscard]] bool isNewerVersion(const bedrock::i18n::ustring& version, const bedrock::i18n::ustring& than) noexcept;

}  // namespace tarn::kern::meta::internal
