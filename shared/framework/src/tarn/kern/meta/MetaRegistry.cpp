#include <algorithm>
#include <atomic>
#include <string_view>
#include <utility>

#include <tarn/kern/meta/MetaRegistry.h>

#include "../evolution/EvolutionRegistry.h"
#include "MetaFactory.h"
#include "RegistryState.h"
#include "VersionOrder.h"

namespace tarn::kern::meta {
namespace internal {
namespace {

bool isNumber(std::u16string_view part) noexcept {
  return !part.empty() && std::all_of(part.begin(), part.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
}

std::u16string_view takePart(std::u16string_view& version) noexcept {
  const std::size_t end = std::min(version.find(u'.'), version.size());
  const std::u16string_view part = version.substr(0, end);
  version.remove_prefix(std::min(end + 1, version.size()));
  return part;
}

/// Negative, 0 or positive. A number stands before a text, so that the order holds together: "2" < "10" < "1a".
int compareParts(std::u16string_view a, std::u16string_view b) noexcept {
  const bool areNumbers = isNumber(a) && isNumber(b);
  if (!areNumbers && isNumber(a) != isNumber(b)) return isNumber(a) ? -1 : 1;
  if (areNumbers) {  // of any length: compared without making numbers of them
    a.remove_prefix(std::min(a.find_first_not_of(u'0'), a.size()));
    b.remove_prefix(std::min(b.find_first_not_of(u'0'), b.size()));
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  }
  return a.compare(b);
}

}  // namespace

bool isNewerVersion(const ustring& version, const ustring& than) noexcept {
  std::u16string_view a = version;
  std::u16string_view b = than;
  while (!a.empty() && !b.empty()) {
    const int order = compareParts(takePart(a), takePart(b));
    if (order != 0) return order > 0;
  }
  if (a.empty() != b.empty()) return b.empty();
  return version > than;  // "1.0" and "1.00": any order, but always the same
}

void RegisteredNames::add(const Package& package) {
  byUri.emplace(package->getUri(), package);
  if (!package->getOwningPackage()) topLevel.push_back(package);
  Package& current = currentByFamily[familyKeyOf(package)];
  if (current) {
    if (!isNewerVersion(package->getVersion(), current->getVersion())) return;
    for (const Type& type : current->getTypesInOrder()) types.erase(type->getQualifiedName());
  }
  current = package;
  for (const Type& type : package->getTypesInOrder()) types[type->getQualifiedName()] = type;
}

const KernelTypes& kernelTypes() noexcept {
  // Asked for with every Value that is made, so the way through the registry is taken once.
  static constinit std::atomic<const KernelTypes*> sKnown = nullptr;
  const KernelTypes* known = sKnown.load(std::memory_order_acquire);
  if (known == nullptr) [[unlikely]] {
    known = &MetaFactory::registryState().kernel;
    sKnown.store(known, std::memory_order_release);
  }
  return *known;
}

}  // namespace internal

namespace {

template <class Map>
typename Map::mapped_type findIn(const Map& map, const ustring& name) {
  const auto at = map.find(name);
  return at == map.end() ? typename Map::mapped_type() : at->second;
}

}  // namespace

MetaRegistry::MetaRegistry() : fState(std::make_unique<State>()) { internal::MetaFactory::makeKernelTypes(*fState); }
MetaRegistry::~MetaRegistry() = default;

MetaRegistry* MetaRegistry::getInstance() {
  // Never destroyed: handles to its types are used by static objects of applications until the very end.
  static MetaRegistry* const sInstance = new MetaRegistry;
  return sInstance;
}

const ustring& MetaRegistry::schemaBaseUri() {
  static const ustring& sBase = *new ustring(u"tarn://schema/");  // as long-lived as the registry
  return sBase;
}

Package MetaRegistry::getPackageForFamily(const ustring& family) const {
  const std::shared_lock lock(fState->mutex);
  return findIn(fState->names.currentByFamily, family);
}

Package MetaRegistry::getPackage(const ustring& uri) const {
  const std::shared_lock lock(fState->mutex);
  return findIn(fState->names.byUri, uri);
}

Type MetaRegistry::getType(const ustring& qualifiedName) const {
  const std::shared_lock lock(fState->mutex);
  return findIn(fState->names.types, qualifiedName);
}

bool MetaRegistry::isVersionCurrentForFamily(const ustring& uri) const {
  const std::shared_lock lock(fState->mutex);
  const Package package = findIn(fState->names.byUri, uri);
  return package && findIn(fState->names.currentByFamily, internal::familyKeyOf(package)) == package;
}

std::vector<Package> MetaRegistry::getPackages() const {
  const std::shared_lock lock(fState->mutex);
  return fState->names.topLevel;
}

void MetaRegistry::reset() {
  const std::lock_guard registration(fState->registration);
  internal::RegisteredNames names = internal::MetaFactory::kernelNames(fState->kernel);
  evolution::internal::EvolutionRegistry::instance().reset();
  const std::unique_lock lock(fState->mutex);
  std::swap(fState->names, names);
}

namespace {

// Loading the library makes the registry, and thereby fills StandardTypes, before any static object of a user is made.
[[maybe_unused]] const MetaRegistry* const sMadeAtLoad = MetaRegistry::getInstance();

}  // namespace
}  // namespace tarn::kern::meta
