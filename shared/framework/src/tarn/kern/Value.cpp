#include <algorithm>
#include <concepts>
#include <functional>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/hashers.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "Layout.h"
#include "StorageDispatch.h"
#include "ValueAccess.h"

namespace tarn::kern {

namespace internal {

bool isClassType(const meta::Type& type) { return type && type->getMetaClass()->conformsTo(meta::Class::metaClass()); }

void throwCannotCast(const meta::Type& actual) {
  using Failure = bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;
  throw Failure(nimbo::messages::CannotCastIncompatibleTypes(actual ? actual->getQualifiedName() : ustring()));
}

std::strong_ordering orderOfTypes(const meta::Type& a, const meta::Type& b) {
  if (a == b) return std::strong_ordering::equal;
  if (!a || !b) return a ? std::strong_ordering::greater : std::strong_ordering::less;
  const std::strong_ordering byName = a->getQualifiedName() <=> b->getQualifiedName();
  return byName != 0 ? byName : a <=> b;
}

namespace {

std::strong_ordering orderOfBool(bool a, bool b) { return static_cast<int>(a) <=> static_cast<int>(b); }

std::strong_ordering orderOfMetas(const ValueMeta& a, const ValueMeta& b) {
  if (const auto order = orderOfTypes(a.getType(), b.getType()); order != 0) return order;
  if (const auto order = a.upper <=> b.upper; order != 0) return order;
  return orderOfBool(a.isCollection, b.isCollection);
}

// Both collections belong to values of one type, so contiguous storage on both sides is of one C++ type.
bool areContiguous(const PrimitiveCollection& a, const PrimitiveCollection& b) {
  return a.getStorageKind() == PrimitiveCollection::kContiguous &&
         b.getStorageKind() == PrimitiveCollection::kContiguous;
}

bool areEqual(const PrimitiveCollection& a, const PrimitiveCollection& b, StorageType entryStorage) {
  if (!areContiguous(a, b)) return a.size() == b.size() && a.getAllValues() == b.getAllValues();
  return dispatchContiguous(entryStorage, [&]<class T>(TypeTag<T>) {
    const std::vector<T>& left = static_cast<const TypedCollection<T>&>(a).storage();
    const std::vector<T>& right = static_cast<const TypedCollection<T>&>(b).storage();
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const T& x, const T& y) { return StoredTraits<T>::equal(x, y); });
  });
}

template <class Range>
std::strong_ordering lexicographic(const Range& a, const Range& b) {
  return std::lexicographical_compare_three_way(
      a.begin(), a.end(), b.begin(), b.end(),
      [](const auto& x, const auto& y) -> std::strong_ordering { return x <=> y; });
}

bool equalObjects(const Value& a, const Value& b) {
  const StoredKind kind = ValueAccess::kind(a);
  if (kind != ValueAccess::kind(b)) return false;
  switch (kind) {
    case StoredKind::Plain:
      return *ValueAccess::ops(a).type == *ValueAccess::ops(b).type &&
             ValueAccess::ops(a).equal(ValueAccess::object(a), ValueAccess::object(b));
    case StoredKind::PrimitiveCollection:
      return areEqual(ValueAccess::primitives(a), ValueAccess::primitives(b), storageTypeOf(a.getType()));
    case StoredKind::ElementCollection:
      return ValueAccess::elements(a).getAllElements() == ValueAccess::elements(b).getAllElements();
    case StoredKind::Map:
      return ValueAccess::map(a) == ValueAccess::map(b);
  }
  return false;
}

std::strong_ordering orderOfPlainObjects(const Value& a, const Value& b) {
  const std::type_info& left = *ValueAccess::ops(a).type;
  const std::type_info& right = *ValueAccess::ops(b).type;
  if (left != right) return left.before(right) ? std::strong_ordering::less : std::strong_ordering::greater;
  return ValueAccess::ops(a).order(ValueAccess::object(a), ValueAccess::object(b));
}

std::strong_ordering orderOfObjects(const Value& a, const Value& b) {
  const StoredKind kind = ValueAccess::kind(a);
  if (kind != ValueAccess::kind(b)) return kind <=> ValueAccess::kind(b);
  switch (kind) {
    case StoredKind::Plain:
      return orderOfPlainObjects(a, b);
    case StoredKind::PrimitiveCollection:
      return lexicographic(ValueAccess::primitives(a).getAllValues(), ValueAccess::primitives(b).getAllValues());
    case StoredKind::ElementCollection:
      return lexicographic(ValueAccess::elements(a).getAllElements(), ValueAccess::elements(b).getAllElements());
    case StoredKind::Map:
      return ValueAccess::map(a) <=> ValueAccess::map(b);
  }
  return std::strong_ordering::equal;
}

template <class Range>
std::size_t hashOfEntries(const Range& entries) {
  std::size_t hash = entries.size();
  for (const auto& entry : entries) {
    hash = combineHashes(hash, std::hash<std::decay_t<decltype(entry)>>()(entry));
  }
  return hash;
}

std::size_t hashOfObject(const Value& value) {
  switch (ValueAccess::kind(value)) {
    case StoredKind::Plain:
      return ValueAccess::ops(value).hash(ValueAccess::object(value));
    case StoredKind::PrimitiveCollection:
      return hashOfEntries(ValueAccess::primitives(value).getAllValues());
    case StoredKind::ElementCollection:
      return hashOfEntries(ValueAccess::elements(value).getAllElements());
    case StoredKind::Map:
      return ValueAccess::map(value).hash();
  }
  return 0;
}

}  // namespace

}  // namespace internal

ValueMeta ValueMeta::getEntryType() const { return ValueMeta(fType, ValueFlags::Single); }

Value::Value(const char16_t* text) : Value(ustring(text)) {}

Value::Value(const ModelElement& element)
    : fMeta(element ? element->getMetaClass() : ModelElement::metaClass(), ValueFlags::Single) {
  emplace(ModelElement(element));
}

Value::Value(const ReflectiveDataType& data) : fMeta(data.getType(), ValueFlags::Single) {
  emplace(ReflectiveDataType(data));
}

Value::Value(ReflectiveDataType&& data) : fMeta(data.getType(), ValueFlags::Single) { emplace(std::move(data)); }

Value::Value(const Value& other) : fMeta(other.fMeta), fOps(other.fOps) {
  if (other.fObject != nullptr) fObject = fOps->clone(other.fObject, fSpace);
}

Value& Value::operator=(const Value& other) {
  if (this != &other) *this = Value(other);
  return *this;
}

Value Value::createEmptyValue(const meta::Type& type, bool) { return Value(ValueMeta(type, ValueFlags::Single)); }

Value Value::createEnumValue(const meta::EnumLiteral& literal) {
  if (!literal) throw KernelError("createEnumValue: a null literal has no number; pass a literal of the enum");
  return Value(ValueMeta(literal->getEnum(), ValueFlags::Single), literal->getValue());
}

bool operator==(const Value& a, const Value& b) {
  if (a.fMeta != b.fMeta) return false;
  if (!a.hasObject() || !b.hasObject()) return a.hasObject() == b.hasObject();
  return internal::equalObjects(a, b);
}

std::strong_ordering operator<=>(const Value& a, const Value& b) {
  if (const auto order = internal::orderOfMetas(a.fMeta, b.fMeta); order != 0) return order;
  if (!a.hasObject() || !b.hasObject()) return internal::orderOfBool(a.hasObject(), b.hasObject());
  return internal::orderOfObjects(a, b);
}

std::size_t Value::hash() const {
  const std::size_t ofMeta = internal::combineHashes(hashOfAddress(getType().get()), fMeta.upper);
  return hasObject() ? internal::combineHashes(ofMeta, internal::hashOfObject(*this)) : ofMeta;
}

ElementCollection& Value::toElementCollection() const {
  if (!fMeta.isCollection || fMeta.upper < 2 || !internal::isClassType(getType())) internal::throwCannotCast(getType());
  return *static_cast<ElementCollection*>(checkedView(internal::StoredKind::ElementCollection));
}

PrimitiveCollection& Value::toPrimitiveCollection() const {
  if (!fMeta.isCollection || fMeta.upper < 2 || internal::isClassType(getType())) internal::throwCannotCast(getType());
  return *static_cast<PrimitiveCollection*>(checkedView(internal::StoredKind::PrimitiveCollection));
}

StringToStringMap& Value::toStringToStringMap() const {
  checkStandard(StorageType::Map, false);
  return *static_cast<StringToStringMap*>(checkedView(internal::StoredKind::Map));
}

ReflectiveDataType Value::toReflectiveDataType() const { return get<ReflectiveDataType>(); }

meta::DataType Value::dataType() const { return narrow<meta::DataType>(getType()); }

void Value::checkStandard(StorageType storage, bool acceptsEnum) const {
  const meta::Type& type = getType();
  if (fMeta.upper == 1) {
    if (storage == StorageType::Data) {
      if (narrow<meta::DataType>(type)) return;
    } else if (type == internal::standardTypeOf(storage) || (acceptsEnum && internal::isEnumType(type))) {
      return;
    }
  }
  internal::throwCannotCast(type);
}

void Value::checkCustom(const std::type_info& type) const {
  const auto primitive = narrow<meta::PrimitiveType>(getType());
  if (fMeta.upper == 1 && primitive && primitive->storedType() == type) return;
  internal::throwCannotCast(getType());
}

ModelElement Value::checkedElement() const {
  if (fObject == nullptr) {
    if (!internal::isClassType(getType())) internal::throwCannotCast(getType());
    return ModelElement();
  }
  const auto type = narrow<meta::Class>(getType());
  if (fMeta.upper >= 2 || !type || !type->conformsTo(ModelElement::metaClass())) internal::throwCannotCast(getType());
  return *static_cast<const ModelElement*>(checkedObject(typeid(ModelElement)));
}

const void* Value::checkedObject(const std::type_info& type) const {
  if (*fOps->type != type) internal::throwCannotCast(getType());
  return fObject;
}

void* Value::checkedView(internal::StoredKind kind) const {
  if (fObject == nullptr || fOps->kind != kind) internal::throwCannotCast(getType());
  return fOps->asView(fObject);
}

}  // namespace tarn::kern
