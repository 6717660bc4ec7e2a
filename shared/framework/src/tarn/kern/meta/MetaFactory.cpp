#include "MetaFactory.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../Layout.h"

namespace tarn::kern::meta::internal {

using Kind = ModelElement::Impl::Kind;

RecordBatch::~RecordBatch() {
  // A handle looks at the count of its record when it goes, so all ties are cut before the first record is freed.
  for (NamedElement::Impl* record : fRecords) MetaFactory::untie(*record);
  for (NamedElement::Impl* record : fRecords) MetaFactory::free(record);
}

// --- Making.

template <class Impl>
Impl* MetaFactory::keep(RecordBatch& batch, Impl* record) {
  std::unique_ptr<NamedElement::Impl, void (*)(NamedElement::Impl*) noexcept> owner(record, &MetaFactory::free);
  batch.fRecords.push_back(record);
  return static_cast<Impl*>(owner.release());
}

Package::Impl* MetaFactory::newPackage(RecordBatch& batch, const PackageSpec& spec) {
  Package::Impl* package = keep(batch, new Package::Impl(spec.name));  // the batch owns it, here and below
  package->fQualifiedName = spec.name;
  package->fAnnotations = spec.annotations;
  return package;
}

Type::Impl* MetaFactory::newType(RecordBatch& batch, const TypeSpec& spec) {
  Type::Impl* type = nullptr;
  if (spec.kind == Kind::Class) {
    auto* made = keep(batch, new Class::Impl(spec.name));
    made->fIsAbstract = spec.isAbstract;
    type = made;
  } else if (spec.kind == Kind::DataType) {
    type = keep(batch, new DataType::Impl(spec.name));
  } else if (spec.kind == Kind::Enum) {
    type = keep(batch, new Enum::Impl(spec.name));
  } else {
    auto* made = keep(batch, new PrimitiveType::Impl(spec.name, spec.storedType));
    made->fToText = spec.toText;
    made->fFromText = spec.fromText;
    type = made;
  }
  type->fQualifiedName = spec.name;
  type->fAnnotations = spec.annotations;
  return type;
}

Property::Impl* MetaFactory::newProperty(RecordBatch& batch, const PropertySpec& spec) {
  Property::Impl* property = keep(batch, new Property::Impl(spec.name));
  property->fAnnotations = spec.annotations;
  property->lower = spec.lower;
  property->upper = spec.upper;
  property->isComposite = spec.isComposite;
  property->isOrdered = spec.isOrdered;
  property->isDerived = spec.isDerived;
  property->isTransient = spec.isTransient;
  property->isOmitted = spec.isDerived || spec.isTransient;
  property->isReadOnly = spec.isReadOnly;
  property->isGuarded = spec.isGuarded;
  property->usesGenericStorage = spec.usesGenericStorage;
  property->isUnique = spec.isUnique.value_or(false);
  return property;
}

Property::Impl* MetaFactory::newCopy(RecordBatch& batch, const Property& origin) {
  Property::Impl* copy = keep(batch, new Property::Impl(origin->getName()));
  copy->fAnnotations = origin->fAnnotations;
  copy->fOrigin = origin;
  return copy;
}

// --- Tying together.

void MetaFactory::setFamily(Package::Impl& package, const ustring& family, const ustring& version) {
  package.fFamily = family;
  package.fVersion = version;
  package.fUri = MetaRegistry::schemaBaseUri() + family + u"/" + version;
}

void MetaFactory::setUri(Package::Impl& package, const ustring& uri) { package.fUri = uri; }

void MetaFactory::addPackage(Package::Impl& owner, Package::Impl& inner) {
  inner.fOwner = Package(&owner);
  inner.fQualifiedName = owner.fQualifiedName + u"." + inner.getName();
  owner.fPackages.emplace_back(&inner);
}

void MetaFactory::addType(Package::Impl& owner, Type::Impl& type) {
  type.fPackage = Package(&owner);
  type.fQualifiedName = owner.fQualifiedName + u"." + type.getName();
  owner.fTypes.emplace(type.getName(), Type(&type));
  owner.fTypesInOrder.emplace_back(&type);
}

void MetaFactory::addLiteral(RecordBatch& batch, Enum::Impl& owner, const LiteralSpec& spec) {
  EnumLiteral::Impl* literal = keep(batch, new EnumLiteral::Impl(spec.name, spec.number));
  literal->fEnum = Enum(&owner);
  owner.fLiterals.emplace(spec.name, EnumLiteral(literal));
  owner.fLiteralsInOrder.emplace_back(literal);
}

void MetaFactory::sealEnum(Enum::Impl& type) {
  for (const auto& [name, literal] : type.fLiterals) type.fByNumber.push_back(literal);
  // They come by name, and stay so among those of one number.
  std::stable_sort(type.fByNumber.begin(), type.fByNumber.end(),
                   [](const EnumLiteral& a, const EnumLiteral& b) { return a->getValue() < b->getValue(); });
}

void MetaFactory::setSuperclass(Class::Impl& type, const Class& superclass) { type.fSuperclass = superclass; }

void MetaFactory::addFurtherSupertype(Class::Impl& type, const Class& supertype) {
  auto& known = type.fFurtherSupertypes;
  if (std::find(known.begin(), known.end(), supertype) == known.end()) known.push_back(supertype);
}

void MetaFactory::cutSupertype(Class::Impl& type, const Class& supertype) {
  if (type.fSuperclass == supertype) type.fSuperclass = kernelTypes().modelElement;
  std::erase(type.fFurtherSupertypes, supertype);
}

void MetaFactory::inheritProperties(Class::Impl& type) {
  type.fAllProperties = type.fSuperclass->fAllProperties;
  type.fByName = type.fSuperclass->fByName;
}

void MetaFactory::addProperty(StructuredType::Impl& owner, Property::Impl& property) {
  property.fOwner = StructuredType(&owner);
  property.fSlotIndex = static_cast<std::uint32_t>(owner.fAllProperties.size());
  owner.fOwnedAttributes.emplace(property.getName(), Property(&property));
  owner.fOwnedInOrder.emplace_back(&property);
  owner.fAllProperties.emplace_back(&property);
  owner.fByName.emplace(property.getName(), Property(&property));
}

void MetaFactory::setType(Property::Impl& property, const Type& type) {
  property.fType = type;
  property.fIsReference = type->kind() == Kind::Class;
}

void MetaFactory::setDefault(Property::Impl& property, Value value) { property.fDefault = std::move(value); }
void MetaFactory::setOpposite(Property::Impl& property, const Property& opposite) { property.fOpposite = opposite; }
void MetaFactory::setQualifier(Property::Impl& property, const Property& qualifier) {
  property.fQualifiedBy = qualifier;
}

void MetaFactory::completeCopy(Property::Impl& copy) {
  const Property::Impl& origin = *copy.fOrigin.get();
  copy.lower = origin.lower;
  copy.upper = origin.upper;
  copy.isComposite = origin.isComposite;
  copy.isOmitted = origin.isOmitted;
  copy.isDerived = origin.isDerived;
  copy.isTransient = origin.isTransient;
  copy.isUnique = origin.isUnique;
  copy.isOrdered = origin.isOrdered;
  copy.isReadOnly = origin.isReadOnly;
  copy.isGuarded = origin.isGuarded;
  copy.usesGenericStorage = origin.usesGenericStorage;
  copy.fType = origin.fType;
  copy.fIsReference = origin.fIsReference;
  copy.fDefault = origin.fDefault;
  copy.fOpposite = origin.fOpposite;
  copy.fQualifiedBy = origin.fQualifiedBy;
}

// --- Sealing.

void MetaFactory::fillClass(Class::Impl& type) {
  for (const Property& property : type.fAllProperties) {
    (property->isReference() ? type.fClassProperties : type.fPrimitiveProperties).push_back(property);
  }
  std::vector<const Type::Impl*>& closure = type.fConformsTo;
  closure.push_back(&type);
  const auto addClosureOf = [&closure](const Class& supertype) {
    closure.insert(closure.end(), supertype->fConformsTo.begin(), supertype->fConformsTo.end());
  };
  if (type.fSuperclass) addClosureOf(type.fSuperclass);
  for (const Class& supertype : type.fFurtherSupertypes) addClosureOf(supertype);
  std::sort(closure.begin(), closure.end(), std::less<>());
  closure.erase(std::unique(closure.begin(), closure.end()), closure.end());
}

void MetaFactory::seal(StructuredType::Impl& type) {
  if (type.kind() == Kind::Class) fillClass(static_cast<Class::Impl&>(type));
  type.fLayout = std::make_unique<const kern::internal::Layout>(StructuredType(&type), type.fAllProperties);
}

// --- Taking apart.

void MetaFactory::untie(NamedElement::Impl& record) noexcept {
  if (Package::accepts(record.kind())) {
    auto& package = static_cast<Package::Impl&>(record);
    package.fOwner = nullptr;
    package.fTypes.clear();
    package.fTypesInOrder.clear();
    package.fPackages.clear();
  } else if (EnumLiteral::accepts(record.kind())) {
    static_cast<EnumLiteral::Impl&>(record).fEnum = nullptr;
  } else if (Property::accepts(record.kind())) {
    auto& property = static_cast<Property::Impl&>(record);
    property.fType = nullptr;
    property.fDefault = boost::none;
    property.fOpposite = nullptr;
    property.fQualifiedBy = nullptr;
    property.fOwner = nullptr;
    property.fOrigin = nullptr;
  } else {
    static_cast<Type::Impl&>(record).fPackage = nullptr;
  }
  if (StructuredType::accepts(record.kind())) {
    auto& type = static_cast<StructuredType::Impl&>(record);
    type.fOwnedAttributes.clear();
    type.fOwnedInOrder.clear();
    type.fAllProperties.clear();
    type.fByName.clear();
    type.fLayout.reset();
  }
  if (Class::accepts(record.kind())) {
    auto& type = static_cast<Class::Impl&>(record);
    type.fSuperclass = nullptr;
    type.fFurtherSupertypes.clear();
    type.fPrimitiveProperties.clear();
    type.fClassProperties.clear();
  }
  if (Enum::accepts(record.kind())) {
    auto& type = static_cast<Enum::Impl&>(record);
    type.fLiterals.clear();
    type.fLiteralsInOrder.clear();
    type.fByNumber.clear();
  }
}

void MetaFactory::free(NamedElement::Impl* record) noexcept { delete record; }

// --- The registry.

RegistryState& MetaFactory::registryState() { return *MetaRegistry::getInstance()->fState; }

void MetaFactory::publish(RegistryState& state, RegisteredNames names, RecordBatch& batch) {
  state.records.emplace_back();
  state.records.back().swap(batch.fRecords);
  const std::unique_lock lock(state.mutex);
  std::swap(state.names, names);
}

namespace {

/// Makes one of the fifteen; the C++ type decides the place in the table.
template <class T, class NameParameter>
void takeStandardType(KernelTypes& kernel, StandardTypeWrapper<NameParameter>& member, Type::Impl* made) {
  const PrimitiveType type(static_cast<PrimitiveType::Impl*>(made));
  kernel.standard[static_cast<std::size_t>(kern::internal::StorageOf<T>::kType)] = type;
  member = type;
}

template <class T, class NameParameter>
void makeStandardType(RecordBatch& batch, KernelTypes& kernel, StandardTypeWrapper<NameParameter>& member) {
  TypeSpec spec(Kind::PrimitiveType, NameParameter::kName);
  spec.storedType = typeid(T);
  takeStandardType<T>(kernel, member, MetaFactory::newType(batch, spec));
}

void makeStandardTypes(RecordBatch& batch, KernelTypes& kernel) {
  makeStandardType<ustring>(batch, kernel, StandardTypes::stringMeta);
  makeStandardType<std::string>(batch, kernel, StandardTypes::stdstringMeta);
  makeStandardType<std::int32_t>(batch, kernel, StandardTypes::integerMeta);
  makeStandardType<std::int8_t>(batch, kernel, StandardTypes::integer8Meta);
  makeStandardType<std::int16_t>(batch, kernel, StandardTypes::integer16Meta);
  makeStandardType<std::int64_t>(batch, kernel, StandardTypes::integer64Meta);
  makeStandardType<std::uint8_t>(batch, kernel, StandardTypes::uinteger8Meta);
  makeStandardType<std::uint16_t>(batch, kernel, StandardTypes::uinteger16Meta);
  makeStandardType<std::uint64_t>(batch, kernel, StandardTypes::uinteger64Meta);
  makeStandardType<std::uint32_t>(batch, kernel, StandardTypes::unlimitedNaturalMeta);
  makeStandardType<double>(batch, kernel, StandardTypes::realMeta);
  makeStandardType<bool>(batch, kernel, StandardTypes::booleanMeta);
  makeStandardType<boost::uuids::uuid>(batch, kernel, StandardTypes::uuidMeta);
  makeStandardType<boost::posix_time::ptime>(batch, kernel, StandardTypes::dateTimeMeta);
  makeStandardType<StringToStringMap>(batch, kernel, StandardTypes::stringToStringMapMeta);
}

}  // namespace

void MetaFactory::makeKernelTypes(RegistryState& state) {
  KernelTypes& kernel = state.kernel;
  RecordBatch batch;
  makeStandardTypes(batch, kernel);

  Package::Impl* home = newPackage(batch, PackageSpec(KernelTypes::kPackageName));
  home->fUri = u"urn:" + home->getName();
  kernel.home = Package(home);
  const auto makeClass = [&](std::u16string_view name, const Class& superclass) {
    TypeSpec spec(Kind::Class, name);
    spec.isAbstract = true;
    auto* made = static_cast<Class::Impl*>(newType(batch, spec));
    addType(*home, *made);
    made->fSuperclass = superclass;
    seal(*made);
    return Class(made);
  };
  kernel.modelElement = makeClass(u"ModelElement", nullptr);
  kernel.namedElement = makeClass(u"NamedElement", kernel.modelElement);
  kernel.package = makeClass(u"Package", kernel.namedElement);
  kernel.enumLiteral = makeClass(u"EnumLiteral", kernel.namedElement);
  kernel.typedElement = makeClass(u"TypedElement", kernel.namedElement);
  kernel.property = makeClass(u"Property", kernel.typedElement);
  kernel.type = makeClass(u"Type", kernel.namedElement);
  kernel.structuredType = makeClass(u"StructuredType", kernel.type);
  kernel.classes = makeClass(u"Class", kernel.structuredType);
  kernel.dataType = makeClass(u"DataType", kernel.structuredType);
  kernel.primitiveType = makeClass(u"PrimitiveType", kernel.type);
  kernel.enums = makeClass(u"Enum", kernel.type);

  publish(state, kernelNames(kernel), batch);
}

RegisteredNames MetaFactory::kernelNames(const KernelTypes& kernel) {
  RegisteredNames names;
  for (const PrimitiveType& type : kernel.standard) names.types.emplace(type->getQualifiedName(), type);
  for (const Type& type : kernel.home->getTypesInOrder()) names.types.emplace(type->getQualifiedName(), type);
  return names;
}

}  // namespace tarn::kern::meta::internal
