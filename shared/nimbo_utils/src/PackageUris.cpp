#include "PackageUris.h"

#include <algorithm>

#include <tarn/kern/meta/MetaRegistry.h>

namespace quillon::nimbo {

using tarn::kern::meta::MetaRegistry;

std::optional<std::u16string> familyOfPackageUri(const std::u16string& uri) {
  const std::u16string& base = MetaRegistry::schemaBaseUri();
  if (!uri.starts_with(base) || uri.size() == base.size()) return std::nullopt;
  const std::size_t slash = uri.find(u'/', base.size());
  if (slash == std::u16string::npos) return std::nullopt;
  return uri.substr(base.size(), slash - base.size());
}

void keepKnownPackageUris(std::vector<std::u16string>& uris) {
  const MetaRegistry* const registry = MetaRegistry::getInstance();
  std::erase_if(uris, [registry](const std::u16string& uri) {
    const std::optional<std::u16string> family = familyOfPackageUri(uri);
    return !family || !registry->getPackageForFamily(*family);
  });
}

bool anyPackageIsStale(const std::vector<std::u16string>& uris) {
  const MetaRegistry* const registry = MetaRegistry::getInstance();
  return std::any_of(uris.begin(), uris.end(),
                     [registry](const std::u16string& uri) { return !registry->isVersionCurrentForFamily(uri); });
}

}  // namespace quillon::nimbo
