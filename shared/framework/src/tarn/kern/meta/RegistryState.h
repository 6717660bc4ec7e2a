#pragma once

#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <vector>

#include <tarn/kern/meta/MetaRegistry.h>

#include "KernelTypes.h"

namespace tarn::kern::meta {

namespace internal {

/// What a package is a version of: its family; its URI where it has none.
[[nodiscard]] inline const ustring& familyKeyOf(const Package& package) noexcept {
  return package->getFamily().empty() ? package->getUri() : package->getFamily();
}

/// What can be found by name. A copy is made, added to and put in place of the old one, so that a registration that
/// fails half way has changed nothing.
struct RegisteredNames {
  std::unordered_map<ustring, Package> byUri;            // every version
  std::unordered_map<ustring, Package> currentByFamily;  // by familyKeyOf
  std::unordered_map<ustring, Type> types;               // by qualified name; of current packages, and the kernel's
  std::vector<Package> topLevel;                         // in order of registration

  /// Adds the package alone, not those inside it. Of two versions of a family the higher one takes the type names.
  void add(const Package& package);
};

/// All that the registry holds.
struct RegistryState {
  std::mutex registration;          // held through a whole registration: what was checked is what is added to
  mutable std::shared_mutex mutex;  // guards `names`
  RegisteredNames names;
  KernelTypes kernel;
  /// Every record ever registered. It only keeps them reachable: they are never freed.
  std::vector<std::vector<NamedElement::Impl*>> records;
};

}  // namespace internal

struct MetaRegistry::State final : internal::RegistryState {};

}  // namespace tarn::kern::meta
