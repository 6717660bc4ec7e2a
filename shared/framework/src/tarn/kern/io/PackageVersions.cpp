#include "PackageVersions.h"

#include <tarn/kern/meta/MetaRegistry.h>

namespace tarn::kern::io {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring;

namespace {

/// The registered package of the family that the URI names, or null.
meta::Package currentOf(const ustring& uri) {
  const ustring& base = meta::MetaRegistry::schemaBaseUri();
  if (!uri.starts_with(base)) return {};  // a family of its own has one version
  const std::size_t end = uri.find(u'/', base.size());
  if (end == ustring::npos) return {};
  return meta::MetaRegistry::getInstance()->getPackageForFamily(uri.substr(base.size(), end - base.size()));
}

}  // namespace

std::string adviceForStalePackages(const std::vector<ustring>& packageUris) {
  std::string stale;
  for (const ustring& uri : packageUris) {
    const meta::Package current = currentOf(uri);
    if (!current || meta::MetaRegistry::getInstance()->isVersionCurrentForFamily(uri)) continue;
    stale += (stale.empty() ? "" : ", ") + to_string(uri) + " (current is " + to_string(current->getVersion()) + ")";
  }
  if (stale.empty()) return {};
  return "; the content was written with " + stale + ": let it be adapted by setEvolveIfNeeded(true)";
}

}  // namespace tarn::kern::io
