#include "TypeTable.h"

#include <algorithm>

#include <tarn/kern/ModelElement.h>

#include "../NearestName.h"

namespace tarn::kern::evolution::internal {

using kern::internal::NearestName;

namespace {

TypeKind kindOf(const meta::Type& type) noexcept {
  switch (type->kind()) {
    case ModelElement::Impl::Kind::Class:
      return TypeKind::Class;
    case ModelElement::Impl::Kind::DataType:
      return TypeKind::DataType;
    case ModelElement::Impl::Kind::Enum:
      return TypeKind::Enum;
    default:
      return TypeKind::Primitive;
  }
}

void addSupertypes(KnownType& known, const meta::Class& type) {
  const meta::Class& superclass = type->getSuperclass();
  if (superclass && superclass != ModelElement::metaClass()) {
    known.supertypes.push_back(superclass->getQualifiedName());
  }
  for (const meta::Class& further : type->getFurtherSupertypes()) {
    known.supertypes.push_back(further->getQualifiedName());
  }
}

void addPackageTree(TypeTable& table, const meta::Package& package) {
  // A version that is not current may contain packages that are, and the other way round.
  if (meta::MetaRegistry::getInstance()->isVersionCurrentForFamily(package->getUri())) table.add(package);
  for (const meta::Package& inner : package->getPackages()) addPackageTree(table, inner);
}

bool isInPackage(const ustring& type, const ustring& package) noexcept {
  return type.size() > package.size() && type[package.size()] == u'.' && type.starts_with(package) &&
         type.find(u'.', package.size() + 1) == ustring::npos;
}

}  // namespace

TypeTable TypeTable::ofCurrentVersions() {
  TypeTable table;
  for (const meta::Package& package : meta::MetaRegistry::getInstance()->getPackages()) addPackageTree(table, package);
  return table;
}

void TypeTable::remove(const ustring& packageName) {
  std::erase_if(fTypes, [&](const auto& entry) { return isInPackage(entry.first, packageName); });
}

void TypeTable::add(const meta::Package& package) {
  for (const meta::Type& type : package->getTypesInOrder()) addType(type);
}

void TypeTable::addType(const meta::Type& type) {
  KnownType known;
  known.kind = kindOf(type);
  if (const meta::Class asClass = narrow<meta::Class>(type)) addSupertypes(known, asClass);
  if (const meta::StructuredType structured = narrow<meta::StructuredType>(type)) {
    for (const meta::Property& property : structured->getOwnedAttributesInOrder()) {
      if (property->getOrigin()) continue;  // a further supertype has it
      known.properties.emplace(property->getName(), KnownProperty{property->getType()->getQualifiedName(),
                                                                  property->isCollection(), property->isComposite});
    }
  }
  if (const meta::Enum asEnum = narrow<meta::Enum>(type)) {
    for (const auto& [name, literal] : asEnum->getLiterals()) known.literals.emplace(name, literal->getValue());
  }
  fTypes[type->getQualifiedName()] = std::move(known);
}

KnownType* TypeTable::find(const ustring& type) {
  const auto at = fTypes.find(type);
  return at == fTypes.end() ? nullptr : &at->second;
}

const KnownType* TypeTable::find(const ustring& type) const {
  const auto at = fTypes.find(type);
  return at == fTypes.end() ? nullptr : &at->second;
}

bool TypeTable::climb(const ustring& type, const std::function<bool(const ustring&, const KnownType&)>& visit) const {
  std::vector<const ustring*> open{&type};
  std::unordered_set<ustring> seen{type};
  while (!open.empty()) {
    const ustring& name = *open.back();
    open.pop_back();
    const KnownType* known = find(name);
    if (known == nullptr) continue;
    if (visit(name, *known)) return true;
    for (const ustring& supertype : known->supertypes) {
      if (seen.insert(supertype).second) open.push_back(&supertype);
    }
  }
  return false;
}

const KnownProperty* TypeTable::findProperty(const ustring& type, std::u16string_view name) const {
  const KnownProperty* found = nullptr;
  climb(type, [&](const ustring&, const KnownType& known) {
    const auto at = known.properties.find(name);
    if (at == known.properties.end()) return false;
    found = &at->second;
    return true;
  });
  return found;
}

KnownProperty* TypeTable::findProperty(const ustring& type, std::u16string_view name) {
  return const_cast<KnownProperty*>(std::as_const(*this).findProperty(type, name));
}

bool TypeTable::isVague(const ustring& type) const {
  return climb(type, [](const ustring&, const KnownType& known) { return known.isVague; });
}

std::unordered_set<ustring> TypeTable::withSubtypes(const ustring& type) const {
  std::unordered_map<std::u16string_view, std::vector<const ustring*>> subtypes;
  for (const auto& [name, known] : fTypes) {
    for (const ustring& supertype : known.supertypes) subtypes[supertype].push_back(&name);
  }
  std::unordered_set<ustring> found{type};
  std::vector<const ustring*> open{&type};
  while (!open.empty()) {
    const ustring& name = *open.back();
    open.pop_back();
    const auto at = subtypes.find(name);
    if (at == subtypes.end()) continue;
    for (const ustring* subtype : at->second) {
      if (found.insert(*subtype).second) open.push_back(subtype);
    }
  }
  return found;
}

std::unordered_map<ustring, std::vector<ustring>> TypeTable::propertiesOfType(const ustring& type) const {
  std::unordered_map<ustring, std::vector<ustring>> result;
  for (const auto& [owner, known] : fTypes) {
    for (const auto& [name, property] : known.properties) {
      if (property.type != type) continue;
      for (const ustring& subtype : withSubtypes(owner)) {
        std::vector<ustring>& names = result[subtype];
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      }
    }
  }
  return result;
}

void TypeTable::renameMentions(const ustring& from, const ustring& to) {
  for (auto& [name, known] : fTypes) {
    for (ustring& supertype : known.supertypes) {
      if (supertype == from) supertype = to;
    }
    for (auto& [propertyName, property] : known.properties) {
      if (property.type == from) property.type = to;
    }
  }
}

void TypeTable::renamePackage(const ustring& from, const ustring& to) {
  const ustring oldBeginning = from + u".";
  const auto rename = [&](ustring& name) {
    if (name.starts_with(oldBeginning)) name.replace(0, from.size(), to);
  };
  std::unordered_map<ustring, KnownType> renamed;
  for (auto& [name, known] : fTypes) {
    for (ustring& supertype : known.supertypes) rename(supertype);
    for (auto& [propertyName, property] : known.properties) rename(property.type);
    ustring newName = name;
    rename(newName);
    renamed.insert_or_assign(std::move(newName), std::move(known));
  }
  fTypes = std::move(renamed);
}

std::string TypeTable::suggestType(const ustring& wanted, const ustring& package, TypeKind kind) const {
  // In the order of their names, so that the same mistake is always answered in the same way.
  std::map<ustring, bool> names;
  for (const auto& [name, known] : fTypes) {
    if (known.kind != kind) continue;
    if (isInPackage(name, package)) names.emplace(name.substr(package.size() + 1), true);
    names.emplace(name, true);
  }
  return kern::internal::suggestionAmong(names, wanted);
}

std::string TypeTable::suggestProperty(const ustring& type, std::u16string_view wanted) const {
  std::map<ustring, bool> names;
  climb(type, [&](const ustring&, const KnownType& known) {
    for (const auto& [name, property] : known.properties) names.emplace(name, true);
    return false;
  });
  return kern::internal::suggestionAmong(names, wanted);
}

std::string TypeTable::suggestLiteral(const ustring& type, std::u16string_view wanted) const {
  const KnownType* known = find(type);
  return known == nullptr ? std::string() : kern::internal::suggestionAmong(known->literals, wanted);
}

ustring qualified(const ustring& name, const ustring& package) {
  if (name.empty() || name.find(u'.') != ustring::npos) return name;
  const meta::Type standard = meta::MetaRegistry::getInstance()->getType(name);
  if (standard && !standard->getOwningPackage()) return name;
  return package.empty() ? name : package + u"." + name;
}

}  // namespace tarn::kern::evolution::internal
