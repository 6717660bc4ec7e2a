#include "PropertyCopies.h"

#include <type_traits>
#include <vector>

#include <tarn/kern/Collections.h>
#include <tarn/kern/meta/Type.h>

#include "StoredTypes.h"
#include "TypeTags.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using kern::Value;
using meta::Property;

namespace {

/// False, and nothing is done, for types that have no typed form.
bool copyStorage(const meta::Type& type, const kern::PrimitiveCollection& from, kern::PrimitiveCollection& to) {
  bool isCopied = false;
  visitStoredType(tagOfType(type), [&]<class T>(std::type_identity<T>) {
    if constexpr (kern::ContiguousValueType<T>) {
      const std::vector<T>& entries = static_cast<const kern::TypedCollection<T>&>(from).storage();
      static_cast<kern::TypedCollection<T>&>(to).assign(entries.begin(), entries.end());
      isCopied = true;
    }
  });
  return isCopied;
}

bool isContiguous(const kern::PrimitiveCollection& collection) {
  return collection.getStorageKind() == kern::PrimitiveCollection::kContiguous;
}

void copyCollection(const meta::Type& type, const kern::PrimitiveCollection& from, kern::PrimitiveCollection& to) {
  if (isContiguous(from) && isContiguous(to) && copyStorage(type, from, to)) return;
  for (const Value& entry : from.getAllValues()) to.addValue(entry);
}

}  // namespace

Value readPrivileged(const ModelElement& element, const Property& property) {
  return element->getPropertyValue(property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

void copyPrimitiveProperty(const ModelElement& source, const ModelElement& target, const Property& property) {
  const meta::Type& type = property->getType();
  const Value value = readPrivileged(source, property);
  if (property->upper > 1) {
    const Value copy = readPrivileged(target, property);
    copyCollection(type, value.toPrimitiveCollection(), copy.toPrimitiveCollection());
  } else if (tagOfType(type) == SerializationTag::STRINGTOSTRINGMAP) {
    const Value copy = readPrivileged(target, property);
    copy.toStringToStringMap().assign(value.toStringToStringMap());
  } else {
    target->setPropertyValue(property, value, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
}

}  // namespace quillon::nimbo::detail
