#pragma once

#include <unordered_map>

#include "RegistryState.h"

namespace tarn::kern::meta::internal {

/// Packages by the texts that two of them must not share, or only under conditions: URI, family and name. Thousands of
/// packages may come in one registration, and each is compared with all others.
class PackageIndex {
 public:
  void add(const Package& package) {
    fByUri.emplace(package->getUri(), package);
    fByFamily.emplace(familyKeyOf(package), package);
    fByName.emplace(package->getQualifiedName(), package);
  }

  /// Calls visit(other) for each package that shares one of the texts, once for each text.
  template <class Visit>
  void forEachLike(const Package& package, Visit visit) const {
    visitAll(fByUri, package->getUri(), visit);
    visitAll(fByFamily, familyKeyOf(package), visit);
    visitAll(fByName, package->getQualifiedName(), visit);
  }

 private:
  using Packages = std::unordered_multimap<ustring, Package>;

  template <class Visit>
  static void visitAll(const Packages& packages, const ustring& text, Visit visit) {
    const auto [first, last] = packages.equal_range(text);
    for (auto found = first; found != last; ++found) visit(found->second);
  }

  Packages fByUri;
  Packages fByFamily;
  Packages fByName;
};

}  // namespace tarn::kern::meta::internal
