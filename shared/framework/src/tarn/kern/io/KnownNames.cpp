#include "KnownNames.h"

#include <concepts>
#include <limits>

#include <tarn/kern/StorageType.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "../NearestName.h"
#include "../StorageDispatch.h"

namespace tarn::kern::io {

using internal::NearestName;

namespace {

void offerClasses(NearestName& nearest, const meta::Package& package) {
  for (const auto& [name, type] : package->getTypes()) {
    if (narrow<meta::Class>(type)) nearest.offer(type->getQualifiedName());
  }
  for (const meta::Package& inner : package->getPackages()) offerClasses(nearest, inner);
}

}  // namespace

std::string nearestClass(std::u16string_view qualifiedName) {
  NearestName nearest(qualifiedName);
  for (const meta::Package& package : meta::MetaRegistry::getInstance()->getPackages()) offerClasses(nearest, package);
  return nearest.suggestion();
}

std::string nearestProperty(const meta::StructuredType& type, std::u16string_view name) {
  NearestName nearest(name);
  for (const meta::Property& property : type->getAllProperties()) nearest.offer(property->getName());
  return nearest.suggestion();
}

std::string nearestLiteral(const meta::Enum& type, std::u16string_view name) {
  return internal::suggestionAmong(type->getLiterals(), name);
}

std::string rangeOf(StorageType storage) {
  if (static_cast<std::uint8_t>(storage) >= kContiguousStorageTypes) return {};
  return internal::dispatchContiguous(storage, []<class T>(internal::TypeTag<T>) -> std::string {
    if constexpr (std::integral<T> && !std::same_as<T, bool>) {
      return "from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
             std::to_string(std::numeric_limits<T>::max());
    } else {
      return {};
    }
  });
}

}  // namespace tarn::kern::io
