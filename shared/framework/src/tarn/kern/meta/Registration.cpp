#include "Registration.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "../Layout.h"
#include "../NearestName.h"
#include "DependencyOrder.h"
#include "PropertyRules.h"

namespace tarn::kern::meta::internal {

using Kind = ModelElement::Impl::Kind;

void Registration::prepare(const std::vector<PackageSpec*>& roots) {
  fRoots = roots;
  for (const auto& [uri, package] : fRegistry.names.byUri) fPackages.add(package);
  for (PackageSpec* root : fRoots) draftPackage(*root, nullptr);
  resolveSupertypes();
  resolvePropertyTypes();
  completeClasses();
  refuseEndlessDataTypes();
  checkProperties();
  if (!fDraft.faults.empty()) throw PlacedMetaModelError(fDraft.faults.inOrder(), fDraft.faults.placesInOrder());
  sealTypes();
  for (const TypeDraft& type : fDraft.types) {
    for (const PropertyDraft& property : type.properties) warnAboutProperty(fDraft, property);
  }
}

std::vector<Package> Registration::prepared() const {
  std::vector<Package> result;
  for (const PackageDraft& package : fDraft.packages) {
    if (package.spec->owner == nullptr) result.emplace_back(package.record);
  }
  return result;
}

std::vector<Package> Registration::publish() {
  std::vector<Package> result = prepared();
  RegisteredNames names = fRegistry.names;
  for (const PackageDraft& package : fDraft.packages) names.add(Package(package.record));
  std::vector<std::vector<std::string>> warnings;
  for (const PackageDraft& package : fDraft.packages) {
    warnings.push_back(fDraft.warnings.between(package.place, package.endPlace));
  }

  MetaFactory::publish(fRegistry, std::move(names), fDraft.batch);
  // From here on nothing fails.
  for (TypeDraft& type : fDraft.types) type.spec->registered = Type(type.record);
  for (std::size_t i = 0; i < fDraft.packages.size(); ++i) {
    fDraft.packages[i].spec->isRegistered = true;
    fDraft.packages[i].spec->warnings = std::move(warnings[i]);
  }
  return result;
}

// --- Names.

namespace {

/// What is wrong with the simple name of a package or type: nothing, or the end of a message.
std::string faultOfName(const ustring& name) {
  if (name.empty()) return "the name is empty";
  if (name.find(u'.') != ustring::npos) {
    return "the name " + quoted(name) + " contains \".\", which separates the names of packages and types";
  }
  return {};
}

std::string faultOfUriPart(const char* part, const ustring& text) {
  if (text.empty()) return std::string("the ") + part + " is empty";
  if (text.find(u'/') != ustring::npos) {
    return std::string("the ") + part + " " + quoted(text) + " contains \"/\", which separates family and version";
  }
  return {};
}

}  // namespace

void Registration::draftPackage(PackageSpec& spec, Package::Impl* owner) {
  PackageDraft& package =
      fDraft.packages.emplace_back(PackageDraft{&spec, MetaFactory::newPackage(fDraft.batch, spec), fNextPlace++});
  if (owner != nullptr) MetaFactory::addPackage(*owner, *package.record);
  if (std::string wrong = faultOfName(spec.name); !wrong.empty()) {
    fault(package.place, describe(Package(package.record)) + ": " + wrong);
  }
  identify(package);
  checkConflicts(package);
  for (TypeSpec& type : spec.types) draftType(type, package);
  for (PackageSpec& inner : spec.packages) draftPackage(inner, package.record);
  package.endPlace = fNextPlace;
}

void Registration::identify(const PackageDraft& package) {
  const std::string who = describe(Package(package.record)) + ": ";
  const ustring& base = MetaRegistry::schemaBaseUri();
  ustring family;
  ustring version;
  if (package.spec->familyAndVersion) {
    std::tie(family, version) = *package.spec->familyAndVersion;
  } else {
    const ustring uri = package.spec->uri.value_or(u"urn:" + package.record->getQualifiedName());
    MetaFactory::setUri(*package.record, uri);
    if (uri.empty()) fault(package.place, who + "the URI is empty");
    if (!uri.starts_with(base)) return;
    const std::size_t slash = std::min(uri.find(u'/', base.size()), uri.size());
    family = uri.substr(base.size(), slash - base.size());
    version = uri.substr(std::min(slash + 1, uri.size()));
  }
  bool isSound = true;
  for (const auto& [part, text] : {std::pair("family", &family), std::pair("version", &version)}) {
    const std::string wrong = faultOfUriPart(part, *text);
    if (wrong.empty()) continue;
    fault(package.place, who + wrong);
    isSound = false;
  }
  if (isSound) MetaFactory::setFamily(*package.record, family, version);
}

namespace {

/// Why both packages cannot be there at once: nothing, or the end of a message about `added`.
std::string conflictBetween(const Package& added, const Package& present) {
  const bool isVersioned = !added->getFamily().empty();
  if (added->getUri() == present->getUri()) {
    return "the URI " + quoted(added->getUri()) + " is taken" +
           (added->getQualifiedName() == present->getQualifiedName() ? std::string() : " by " + describe(present)) +
           (isVersioned ? ": give another version" : ": give another URI, or a family and version");
  }
  if (familyKeyOf(added) == familyKeyOf(present)) {
    if (isVersioned != present->getFamily().empty()) return {};
    return "the family " + quoted(familyKeyOf(added)) + " cannot be told from the package of that URI";
  }
  if (added->getQualifiedName() != present->getQualifiedName()) return {};
  return "the package " + quoted(present->getUri()) +
         " has the same name: only versions of one family may share a name";
}

}  // namespace

void Registration::checkConflicts(const PackageDraft& package) {
  const Package added(package.record);
  const auto refuse = [&](const std::string& why) { fault(package.place, describe(added) + ": " + why); };
  if (added->getQualifiedName() == KernelTypes::kPackageName) refuse("the name is reserved for the kernel's own types");
  if (added->getUri().empty()) return;  // its fault is known
  std::set<std::string> conflicts;      // ordered, so that the same mistake is always told in the same way
  fPackages.forEachLike(added, [&](const Package& present) { conflicts.insert(conflictBetween(added, present)); });
  fPackages.add(added);
  conflicts.erase(std::string());
  if (!conflicts.empty()) refuse(*conflicts.begin());
}

void Registration::draftType(TypeSpec& spec, const PackageDraft& home) {
  TypeDraft& type = fDraft.types.emplace_back(
      TypeDraft{&spec, MetaFactory::newType(fDraft.batch, spec), &home, fNextPlace++, {}, {}});
  MetaFactory::addType(*home.record, *type.record);
  fDraft.bySpec.emplace(&spec, &type);
  fDraft.byRecord.emplace(type.record, &type);
  const bool isFirst = home.record->getTypes().find(spec.name)->second.get() == type.record;
  if (isFirst) fDraft.byQualifiedName.emplace(type.record->getQualifiedName(), &type);
  if (std::string wrong = faultOfName(spec.name); !wrong.empty()) {
    fault(type.place, describe(Type(type.record)) + ": " + wrong);
  } else if (!isFirst) {
    fault(type.place, describe(Type(type.record)) + ": the package has another type of that name");
  }
  if (spec.kind == Kind::Enum) draftLiterals(type);
  draftProperties(type);
}

void Registration::draftLiterals(const TypeDraft& type) {
  auto& made = static_cast<Enum::Impl&>(*type.record);
  const std::string who = describe(Type(type.record));
  for (const LiteralSpec& literal : type.spec->literals) {
    const std::size_t place = fNextPlace++;
    if (literal.name.empty()) {
      fault(place, who + ": the name of the literal " + std::to_string(literal.number) + " is empty");
    } else if (made.getLiterals().contains(literal.name)) {
      fault(place, who + ": the literal " + quoted(literal.name) + " is declared twice");
    }
    MetaFactory::addLiteral(fDraft.batch, made, literal);
  }
  MetaFactory::sealEnum(made);
}

void Registration::draftProperties(TypeDraft& type) {
  for (const PropertySpec& spec : type.spec->properties) {
    const PropertyDraft& property = type.properties.emplace_back(
        PropertyDraft{&spec, MetaFactory::newProperty(fDraft.batch, spec), &type, fNextPlace++});
    fDraft.byProperty.emplace(property.record, &property);
    if (spec.name.empty()) fault(property.place, describe(property) + ": the name is empty");
  }
}

// --- Types that are referred to.

Type Registration::resolve(const TypeDraft& home, const TypeRef& reference, std::size_t place, const std::string& user,
                           const std::string& role) {
  if (const Type& handle = MetaFactory::handleOf(reference)) return handle;
  if (const TypeSpec* spec = MetaFactory::specOf(reference)) {
    const auto inDraft = fDraft.bySpec.find(spec);
    if (inDraft != fDraft.bySpec.end()) return Type(inDraft->second->record);
    if (spec->registered) return spec->registered;
    fault(place, user + ": the " + role + " " + quoted(spec->name) +
                     " belongs to a package that is neither registered nor part of this registration");
    return nullptr;
  }

  const ustring& name = MetaFactory::nameOf(reference);
  if (name.empty()) {
    fault(place, user + ": no " + role + " is given");
    return nullptr;
  }
  // The standard types come first: a type of the package that bears such a name must not take their place unseen.
  const auto registered = fRegistry.names.types.find(name);
  const bool isRegistered = registered != fRegistry.names.types.end();
  if (isRegistered && !registered->second->getOwningPackage()) return registered->second;
  const ElementMap<ustring, Type>& neighbours = home.home->record->getTypes();
  if (const auto at = neighbours.find(name); at != neighbours.end()) return at->second;
  if (const auto at = fDraft.byQualifiedName.find(name); at != fDraft.byQualifiedName.end()) {
    return Type(at->second->record);
  }
  if (isRegistered) return registered->second;
  fault(place, user + ": unknown " + role + " " + quoted(name) + suggestTypeFor(home, name));
  return nullptr;
}

std::string Registration::suggestTypeFor(const TypeDraft& home, const ustring& name) const {
  if (!fDraft.faults.areFew()) return {};
  kern::internal::NearestName nearest(name);
  for (const auto& [simpleName, type] : home.home->record->getTypes()) nearest.offer(simpleName);
  // In the order of their names, so that the same mistake is always answered in the same way.
  ElementMap<ustring, const Type::Impl*> known;
  for (const TypeDraft& type : fDraft.types) known.emplace(type.record->getQualifiedName(), type.record);
  for (const auto& [qualifiedName, type] : fRegistry.names.types) known.emplace(qualifiedName, type.get());
  for (const auto& [qualifiedName, type] : known) nearest.offer(qualifiedName);
  if (nearest.found()) return nearest.suggestion();
  for (const auto& [qualifiedName, type] : known) {  // the right simple name, but of another package
    if (type->getName() == name) return "; did you mean " + quoted(qualifiedName) + "?";
  }
  return {};
}

Class Registration::supertypeOf(const TypeDraft& type, const TypeRef& reference, const char* role) {
  const std::string who = describe(Type(type.record));
  const Type found = resolve(type, reference, type.place, who, role);
  if (!found) return nullptr;
  Class supertype = narrow<Class>(found);
  if (!supertype) {
    fault(type.place,
          who + ": the " + role + " " + quoted(found->getQualifiedName()) + " is no class but " + kindOf(found));
  } else if (isKernelClass(supertype) && supertype != ModelElement::metaClass()) {
    fault(type.place, who + ": the " + role + " " + quoted(found->getQualifiedName()) +
                          " describes the meta-model itself; nothing can derive from it");
    return nullptr;
  }
  return supertype;
}

void Registration::resolveSupertypes() {
  for (TypeDraft& type : fDraft.types) {
    Class::Impl* made = type.asClass();
    if (made == nullptr) continue;
    Class superclass = ModelElement::metaClass();
    if (type.spec->superclasses.size() > 1) {
      fault(type.place, describe(Type(made)) + ": " + std::to_string(type.spec->superclasses.size()) +
                            " superclasses are given: a class extends one, and alsoConformsTo others");
    }
    if (!type.spec->superclasses.empty()) superclass = supertypeOf(type, type.spec->superclasses.front(), "superclass");
    if (!superclass) {
      type.lacksSupertypes = true;
      superclass = ModelElement::metaClass();
    }
    MetaFactory::setSuperclass(*made, superclass);
    for (const TypeRef& reference : type.spec->furtherSupertypes) {
      const Class supertype = supertypeOf(type, reference, "further supertype");
      if (!supertype) {
        type.lacksSupertypes = true;
      } else {
        MetaFactory::addFurtherSupertype(*made, supertype);
      }
    }
  }
}

void Registration::resolvePropertyTypes() {
  for (TypeDraft& type : fDraft.types) {
    for (PropertyDraft& property : type.properties) {
      const Type found = resolve(type, property.spec->type, property.place, describe(property), "type");
      if (!found) continue;
      if (found->kind() == Kind::Class && isKernelClass(found) && found != ModelElement::metaClass()) {
        fault(property.place, describe(property) + ": the type " + quoted(found->getQualifiedName()) +
                                  " describes the meta-model itself; models have no elements of it");
        continue;
      }
      MetaFactory::setType(*property.record, found);
      const bool isReferences = property.record->isReference() && property.record->isCollection();
      property.record->isUnique = property.spec->isUnique.value_or(isReferences);
    }
  }
}

// --- Classes with all their properties.

namespace {

std::string circleText(const std::vector<TypeDraft*>& circle) {
  std::string text;
  for (const TypeDraft* type : circle) text += quoted(type->record->getQualifiedName()) + " -> ";
  return text + quoted(circle.front()->record->getQualifiedName());
}

Property originOf(const Property& property) { return property->getOrigin() ? property->getOrigin() : property; }

}  // namespace

void Registration::completeClasses() {
  std::vector<TypeDraft*> classes;
  for (TypeDraft& type : fDraft.types) {
    if (type.asClass() != nullptr) classes.push_back(&type);
  }
  const auto supertypesInDraft = [&](TypeDraft* type) {
    std::vector<TypeDraft*> supertypes;
    const auto addDraftOf = [&](const Class& supertype) {
      const auto at = fDraft.byRecord.find(supertype.get());
      if (at != fDraft.byRecord.end()) supertypes.push_back(at->second);
    };
    addDraftOf(type->asClass()->getSuperclass());
    for (const Class& supertype : type->asClass()->getFurtherSupertypes()) addDraftOf(supertype);
    return supertypes;
  };
  const auto refuseCircle = [&](const std::vector<TypeDraft*>& circle) {
    fault(circle.front()->place,
          describe(Type(circle.front()->record)) + ": the class derives from itself: " + circleText(circle));
    // Cut open, so that all that follows may climb the supertypes without end.
    MetaFactory::cutSupertype(*circle.back()->asClass(), Class(circle.front()->asClass()));
    circle.back()->lacksSupertypes = true;
  };
  fClassesInOrder = dependenciesFirst(classes, supertypesInDraft, refuseCircle);
  for (TypeDraft* type : fClassesInOrder) completeClass(*type);

  for (TypeDraft& type : fDraft.types) {
    if (type.record->kind() == Kind::DataType) addOwnProperties(type);
  }
}

void Registration::completeClass(TypeDraft& type) {
  Class::Impl& made = *type.asClass();
  const auto lacksSupertypes = [&](const Class& supertype) {
    const auto at = fDraft.byRecord.find(supertype.get());
    return at != fDraft.byRecord.end() && at->second->lacksSupertypes;
  };
  type.lacksSupertypes = type.lacksSupertypes || lacksSupertypes(made.getSuperclass());
  MetaFactory::inheritProperties(made);
  for (const Class& supertype : made.getFurtherSupertypes()) {
    type.lacksSupertypes = type.lacksSupertypes || lacksSupertypes(supertype);
    copyProperties(type, supertype);
  }
  addOwnProperties(type);
}

void Registration::copyProperties(TypeDraft& type, const Class& supertype) {
  Class::Impl& made = *type.asClass();
  std::unordered_set<Property> present;
  for (const Property& property : made.getAllProperties()) present.insert(originOf(property));
  for (const Property& property : supertype->getAllProperties()) {
    const Property origin = originOf(property);
    if (!present.insert(origin).second) continue;
    if (const Property other = made.getProperty(property->getName())) {
      fault(type.place, describe(Type(&made)) + ": the further supertype " + quoted(supertype->getQualifiedName()) +
                            " brings a property " + quoted(property->getName()) +
                            ", but there is another one of that name, declared by " +
                            describe(originOf(other)->getOwner()));
      continue;
    }
    Property::Impl* copy = MetaFactory::newCopy(fDraft.batch, origin);
    MetaFactory::addProperty(made, *copy);
    type.copies.push_back(copy);
  }
}

void Registration::addOwnProperties(TypeDraft& type) {
  StructuredType::Impl& made = *type.asStructured();
  for (const PropertyDraft& property : type.properties) {
    const Property other = made.getProperty(property.record->getName());
    if (other && fDraft.byProperty.contains(other.get()) && other->getOwner().get() == &made) {
      fault(property.place, describe(property) + ": the property is declared twice");
    } else if (other) {
      fault(property.place, describe(property) + ": the class inherits a property of that name from " +
                                quoted(originOf(other)->getOwner()->getQualifiedName()));
    }
    MetaFactory::addProperty(made, *property.record);
  }
  if (made.getAllProperties().size() > kern::internal::kMaxProperties) {
    fault(type.place, describe(Type(&made)) + ": " + std::to_string(made.getAllProperties().size()) +
                          " properties, inherited ones included, are too many: at most " +
                          std::to_string(kern::internal::kMaxProperties) + " are possible");
  }
}

void Registration::refuseEndlessDataTypes() {
  std::vector<TypeDraft*> dataTypes;
  for (TypeDraft& type : fDraft.types) {
    if (type.record->kind() == Kind::DataType) dataTypes.push_back(&type);
  }
  const auto singleParts = [&](TypeDraft* type) {
    std::vector<TypeDraft*> parts;
    for (const PropertyDraft& property : type->properties) {
      const auto at = fDraft.byRecord.find(property.record->getType().get());
      const bool isPart = at != fDraft.byRecord.end() && at->second->record->kind() == Kind::DataType;
      if (isPart && !property.record->isCollection()) parts.push_back(at->second);
    }
    return parts;
  };
  // Registered data types were checked when they came, and cannot hold one of these.
  static_cast<void>(dependenciesFirst(dataTypes, singleParts, [&](const std::vector<TypeDraft*>& circle) {
    fault(circle.front()->place, describe(Type(circle.front()->record)) +
                                     ": a value would contain itself without end: " + circleText(circle) +
                                     "; make one of these attributes a collection");
  }));
}

// --- The rest.

void Registration::checkProperties() {
  for (const TypeDraft& type : fDraft.types) {
    for (const PropertyDraft& property : type.properties) {
      if (property.record->getType()) applyPropertyRules(fDraft, property);
    }
  }
}

void Registration::sealTypes() {
  for (const TypeDraft& type : fDraft.types) {
    for (Property::Impl* copy : type.copies) MetaFactory::completeCopy(*copy);
  }
  for (TypeDraft* type : fClassesInOrder) MetaFactory::seal(*type->asClass());
  for (const TypeDraft& type : fDraft.types) {
    if (type.record->kind() == Kind::DataType) MetaFactory::seal(*type.asStructured());
  }
}

}  // namespace tarn::kern::meta::internal
