#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <tarn/kern/Errors.h>

#include "Draft.h"
#include "PackageIndex.h"

namespace tarn::kern::meta::internal {

/// A MetaModelError that also tells where in the definition each fault lies. Places count the parts of a registration
/// from 0, in this order: a package, then its types, each followed by its literals and its properties, then the
/// packages inside.
class PlacedMetaModelError final : public MetaModelError {
 public:
  PlacedMetaModelError(std::vector<std::string> faults, std::vector<std::size_t> places)
      : MetaModelError(std::move(faults)), fPlaces(std::move(places)) {}

  [[nodiscard]] const std::vector<std::size_t>& places() const noexcept { return fPlaces; }

 private:
  std::vector<std::size_t> fPlaces;
};

/// PackageBuilder::registerAll, with a last word before anything becomes known: `beforePublishing` is given the checked
/// and sealed top-level packages, and what it throws ends the registration. @throws PlacedMetaModelError for faults.
std::vector<Package> registerPackages(const std::vector<PackageBuilder*>& packages,
                                      const std::function<void(const std::vector<Package>&)>& beforePublishing);

/// Turns definitions into records and hands them to the registry, all or none.
///
/// The records are made first and the rules are checked on them, since what is new and what is registered already look
/// alike then. Every fault is found in one go; a part that is at fault is left out of later checks, so that one mistake
/// makes one fault. Use once. @pre the registry's registration mutex is held until publish() has returned.
class Registration {
 public:
  explicit Registration(RegistryState& registry) : fRegistry(registry) {}

  /// @throws MetaModelError
  void prepare(const std::vector<PackageSpec*>& roots);
  /// The top-level packages. @pre prepare() has returned.
  [[nodiscard]] std::vector<Package> prepared() const;
  /// Makes it all known, tells the definitions what became of them, and returns the top-level packages.
  [[nodiscard]] std::vector<Package> publish();
  /// All warnings, in the order of the definition.
  [[nodiscard]] std::vector<std::string> warnings() const { return fDraft.warnings.inOrder(); }

 private:
  // In this order.
  void draftPackage(PackageSpec& spec, Package::Impl* owner);
  void draftType(TypeSpec& spec, const PackageDraft& home);
  void draftLiterals(const TypeDraft& type);
  void draftProperties(TypeDraft& type);
  void resolveSupertypes();
  void resolvePropertyTypes();
  void completeClasses();
  void refuseEndlessDataTypes();
  void checkProperties();
  void sealTypes();

  void identify(const PackageDraft& package);
  void checkConflicts(const PackageDraft& package);
  [[nodiscard]] Class supertypeOf(const TypeDraft& type, const TypeRef& reference, const char* role);
  /// A null handle, and a fault of the part described by `user`, when there is no such type.
  [[nodiscard]] Type resolve(const TypeDraft& home, const TypeRef& reference, std::size_t place,
                             const std::string& user, const std::string& role);
  [[nodiscard]] std::string suggestTypeFor(const TypeDraft& home, const ustring& name) const;
  void completeClass(TypeDraft& type);
  void copyProperties(TypeDraft& type, const Class& supertype);
  void addOwnProperties(TypeDraft& type);

  void fault(std::size_t place, std::string text) { fDraft.faults.add(place, std::move(text)); }

  RegistryState& fRegistry;
  std::vector<PackageSpec*> fRoots;
  Draft fDraft;
  PackageIndex fPackages;  // those that are registered, and those of the draft so far
  std::size_t fNextPlace = 0;
  std::vector<TypeDraft*> fClassesInOrder;  // supertypes first
};

}  // namespace tarn::kern::meta::internal
