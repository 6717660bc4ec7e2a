#include <mutex>
#include <set>
#include <utility>

#include <quillon/logging/Logger.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "Registration.h"

namespace tarn::kern::meta {

using Kind = ModelElement::Impl::Kind;

TypeRef::TypeRef(const ClassBuilder& type) : fSpec(type.fSpec) {}
TypeRef::TypeRef(const DataTypeBuilder& type) : fSpec(type.fSpec) {}
TypeRef::TypeRef(const EnumBuilder& type) : fSpec(type.fSpec) {}
TypeRef::TypeRef(const PrimitiveBuilder& type) : fSpec(type.fSpec) {}

// --- Properties.

PropertyBuilder& PropertyBuilder::required() {
  fSpec->lower = 1;
  return *this;
}

PropertyBuilder& PropertyBuilder::many() { return bounds(0, Property::Impl::kUnlimited); }

PropertyBuilder& PropertyBuilder::bounds(std::uint32_t lower, std::uint32_t upper) {
  fSpec->lower = lower;
  fSpec->upper = upper;
  return *this;
}

PropertyBuilder& PropertyBuilder::composite() {
  fSpec->isComposite = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::defaultsTo(Value value) {
  fSpec->defaultValue = std::move(value);
  fSpec->defaultText.reset();
  return *this;
}

PropertyBuilder& PropertyBuilder::defaultsTo(const char16_t* literalOrText) {
  fSpec->defaultText = literalOrText;
  fSpec->defaultValue = boost::none;
  return *this;
}

PropertyBuilder& PropertyBuilder::opposite(std::u16string_view name) {
  fSpec->opposite = name;
  return *this;
}

PropertyBuilder& PropertyBuilder::qualifiedBy(std::u16string_view name) {
  fSpec->qualifiedBy = name;
  return *this;
}

PropertyBuilder& PropertyBuilder::unique(bool on) {
  fSpec->isUnique = on;
  return *this;
}

PropertyBuilder& PropertyBuilder::ordered(bool on) {
  fSpec->isOrdered = on;
  return *this;
}

PropertyBuilder& PropertyBuilder::derived() {
  fSpec->isDerived = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::transient() {
  fSpec->isTransient = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::readOnly() {
  fSpec->isReadOnly = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::guarded() {
  fSpec->isGuarded = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::genericStorage() {
  fSpec->usesGenericStorage = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

// --- Types.

ClassBuilder& ClassBuilder::extends(const TypeRef& superclass) {
  fSpec->superclasses.push_back(superclass);
  return *this;
}

ClassBuilder& ClassBuilder::alsoConformsTo(const TypeRef& supertype) {
  fSpec->furtherSupertypes.push_back(supertype);
  return *this;
}

ClassBuilder& ClassBuilder::makeAbstract() {
  fSpec->isAbstract = true;
  return *this;
}

ClassBuilder& ClassBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

PropertyBuilder ClassBuilder::attribute(std::u16string_view name, const TypeRef& type) {
  return PropertyBuilder(&fSpec->properties.emplace_back(name, type));
}

PropertyBuilder ClassBuilder::composite(std::u16string_view name, const TypeRef& type) {
  return reference(name, type).composite();
}

PropertyBuilder ClassBuilder::reference(std::u16string_view name, const TypeRef& type) {
  internal::PropertySpec& property = fSpec->properties.emplace_back(name, type);
  property.isDeclaredAsReference = true;
  return PropertyBuilder(&property);
}

PropertyBuilder DataTypeBuilder::attribute(std::u16string_view name, const TypeRef& type) {
  return PropertyBuilder(&fSpec->properties.emplace_back(name, type));
}

DataTypeBuilder& DataTypeBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

EnumBuilder& EnumBuilder::literal(std::u16string_view name, std::int64_t number) {
  fSpec->literals.push_back({ustring(name), number});
  return *this;
}

EnumBuilder& EnumBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

PrimitiveBuilder& PrimitiveBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

// --- Packages.

PackageBuilder::PackageBuilder(std::u16string_view name)
    : fOwned(std::make_unique<internal::PackageSpec>(name)), fSpec(fOwned.get()) {}
PackageBuilder::PackageBuilder(internal::PackageSpec* nested) : fSpec(nested) {}
PackageBuilder::~PackageBuilder() = default;

PackageBuilder& PackageBuilder::family(std::u16string_view family, std::u16string_view version) {
  fSpec->familyAndVersion.emplace(family, version);
  fSpec->uri.reset();
  return *this;
}

PackageBuilder& PackageBuilder::uri(std::u16string_view uri) {
  fSpec->uri = uri;
  fSpec->familyAndVersion.reset();
  return *this;
}

PackageBuilder& PackageBuilder::annotate(Annotation annotation) {
  fSpec->annotations.push_back(std::move(annotation));
  return *this;
}

ClassBuilder& PackageBuilder::addClass(std::u16string_view name) {
  fSpec->classBuilders.push_back(ClassBuilder(&fSpec->types.emplace_back(Kind::Class, name)));
  return fSpec->classBuilders.back();
}

DataTypeBuilder& PackageBuilder::addDataType(std::u16string_view name) {
  fSpec->dataTypeBuilders.push_back(DataTypeBuilder(&fSpec->types.emplace_back(Kind::DataType, name)));
  return fSpec->dataTypeBuilders.back();
}

EnumBuilder& PackageBuilder::addEnum(std::u16string_view name) {
  fSpec->enumBuilders.push_back(EnumBuilder(&fSpec->types.emplace_back(Kind::Enum, name)));
  return fSpec->enumBuilders.back();
}

PrimitiveBuilder& PackageBuilder::addPrimitiveErased(
    std::u16string_view name, std::type_index storedType, std::function<ustring(const Value&)> toText,
    std::function<Value(const PrimitiveType&, const ustring&)> fromText) {
  internal::TypeSpec& type = fSpec->types.emplace_back(Kind::PrimitiveType, name);
  type.storedType = storedType;
  type.toText = std::move(toText);
  type.fromText = std::move(fromText);
  fSpec->primitiveBuilders.push_back(PrimitiveBuilder(&type));
  return fSpec->primitiveBuilders.back();
}

PackageBuilder& PackageBuilder::addPackage(std::u16string_view name) {
  internal::PackageSpec& inner = fSpec->packages.emplace_back(name, fSpec);
  // Owned by what the outer package notes of it; the constructor is for this use alone, out of reach of make_unique.
  fSpec->packageBuilders.push_back(std::unique_ptr<PackageBuilder>(new PackageBuilder(&inner)));
  return *fSpec->packageBuilders.back();
}

const std::vector<std::string>& PackageBuilder::warnings() const noexcept { return fSpec->warnings; }

// --- Registration.

namespace {

/// Why these builders cannot be registered in this call, whatever they define.
std::vector<std::string> faultsOfCall(const std::vector<internal::PackageSpec*>& roots) {
  std::vector<std::string> faults;
  std::set<const internal::PackageSpec*> seen;
  for (const internal::PackageSpec* root : roots) {
    if (root == nullptr) {
      faults.emplace_back("a null builder is given");
      continue;
    }
    const std::string who = "package " + internal::quoted(root->name);
    if (!seen.insert(root).second) faults.push_back(who + ": the builder is given twice");
    if (root->owner != nullptr) {
      faults.push_back(who + ": it lies inside package " + internal::quoted(root->owner->name) +
                       " and is registered with that");
    }
    if (root->isRegistered) faults.push_back(who + ": the builder is spent, its package was registered before");
  }
  return faults;
}

}  // namespace

Package PackageBuilder::registerPackage() { return registerAll({this}).front(); }

std::vector<Package> PackageBuilder::registerAll(const std::vector<PackageBuilder*>& packages) {
  return internal::registerPackages(packages, [](const std::vector<Package>&) {});
}

std::vector<Package> internal::registerPackages(
    const std::vector<PackageBuilder*>& packages,
    const std::function<void(const std::vector<Package>&)>& beforePublishing) {
  std::vector<internal::PackageSpec*> roots;
  roots.reserve(packages.size());
  for (const PackageBuilder* package : packages) {
    roots.push_back(package == nullptr ? nullptr : MetaFactory::specOf(*package));
  }
  if (std::vector<std::string> faults = faultsOfCall(roots); !faults.empty()) throw MetaModelError(std::move(faults));

  using quillon::logging::internal::Logger;
  Logger& log = Logger::logger(0);
  internal::RegistryState& state = internal::MetaFactory::registryState();
  std::vector<std::string> warnings;
  std::vector<Package> registered;
  {
    const std::lock_guard lock(state.registration);
    internal::Registration registration(state);
    registration.prepare(roots);
    warnings = registration.warnings();
    beforePublishing(registration.prepared());
    registered = registration.publish();
  }
  for (const std::string& warning : warnings) log.debug(false) << "Warning: " << warning;
  return registered;
}

}  // namespace tarn::kern::meta
