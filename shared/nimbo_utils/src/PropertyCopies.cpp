#include "PropertyCopies.h"

#include <cstdint>
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
  if (from.empty()) return;
  if (isContiguous(from) && isContiguous(to) && copyStorage(type, from, to)) return;
  for (const Value& entry : from.getAllValues()) to.addValue(entry);
}

}  // namespace

Value readPrivileged(const ModelElement& element, const Property& property) {
  return element->getPropertyValue(property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

bool isFollowed(const Property& property, bool isReplaced) {
  if (property->isOmitted) return false;
  if (property->isComposite) return true;
  if (property->getQualifiedBy()) return false;
  if (const Property& opposite = property->getOpposite(); opposite && opposite->isComposite) return false;
  return !isReplaced;
}

namespace {

/// From slot to slot, without a Value between them. An absent value is left to those where the new element shows
/// another one.
template <class T>
bool copySlot(const ModelElement& source, const ModelElement& target, const Property& property) {
  const T* const value = source->peek<T>(property);
  if (value == nullptr) return !property->defaultValue();
  target->set<T>(property, *value, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  return true;
}

/// False, and nothing is done, for maps, data values and what the kernel does not know.
bool copySingle(SerializationTag tag, const ModelElement& source, const ModelElement& target,
                const Property& property) {
  if (tag == SerializationTag::ENUM) return copySlot<std::int64_t>(source, target, property);
  bool isCopied = false;
  visitStoredType(tag, [&]<class T>(std::type_identity<T>) { isCopied = copySlot<T>(source, target, property); });
  return isCopied;
}

}  // namespace

void copyPrimitiveProperty(const ModelElement& source, const ModelElement& target, const Property& property) {
  const meta::Type& type = property->getType();
  const SerializationTag tag = tagOfType(type);
  if (property->upper < 2 && copySingle(tag, source, target, property)) return;
  const Value value = readPrivileged(source, property);
  if (property->upper > 1) {
    const Value copy = readPrivileged(target, property);
    copyCollection(type, value.toPrimitiveCollection(), copy.toPrimitiveCollection());
  } else if (tag == SerializationTag::STRINGTOSTRINGMAP) {
    const Value copy = readPrivileged(target, property);
    copy.toStringToStringMap().assign(value.toStringToStringMap());
  } else {
    target->setPropertyValue(property, value, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
}

}  // namespace quillon::nimbo::detail
