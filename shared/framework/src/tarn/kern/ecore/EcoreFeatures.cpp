#include <algorithm>

#include <bedrock/i18n.h>
#include <tarn/kern/ecore/EcoreError.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "EcoreBuilding.h"
#include "EcoreTypes.h"
#include "Facets.h"

// Structural features of classes, as properties.
namespace tarn::kern::ecore {

using bedrock::i18n::utf8_to_ustring;
using meta::StandardTypes;

namespace {

const std::vector<std::string_view> kFeatureTags = {"eAnnotations", "eGenericType"};

std::string nameInPath(std::string_view path) { return std::string(path.substr(path.rfind('/') + 1)); }

bool isMany(const EcoreNode& node) {
  const std::string& upper = node.get("upperBound");
  return !upper.empty() && upper != "0" && upper != "1";
}

std::optional<std::int64_t> boundOf(const EcoreNode& node, std::string_view name) {
  const std::string* text = node.find(name);
  if (text == nullptr) return std::nullopt;
  const std::optional<Value> value = defaultFromText(standardTypeNamed(u"Integer64"), *text);
  return value ? std::optional(value->get<std::int64_t>()) : std::nullopt;
}

}  // namespace

// --- The type.

std::optional<EcoreTarget> EcoreBuilding::erasureOf(const EcoreNode& generic) {
  const EcoreNode* at = &generic;
  // A parameter may be bounded by another one; a circle of them has no end.
  for (std::size_t i = 0; i < 100 && at != nullptr; ++i) {
    if (const std::string* classifier = at->find("eClassifier")) return fLinks.resolve(*at, *classifier);
    const std::string* parameter = at->find("eTypeParameter");
    if (parameter == nullptr) return std::nullopt;
    const EcoreTarget target = fLinks.resolve(*at, *parameter);
    const auto bounds = target.node == nullptr ? std::vector<const EcoreNode*>() : target.node->childrenOf("eBounds");
    at = bounds.empty() ? nullptr : bounds.front();
  }
  return std::nullopt;
}

std::optional<EcoreTarget> EcoreBuilding::targetOfType(const EcoreNode& node) {
  if (const std::string* type = node.find("eType")) {
    const std::vector<std::string> references = referencesIn(*type);
    if (references.size() > 1) fail(node, "it has several types");
    if (!references.empty()) return fLinks.resolve(node, references.front());
  }
  const auto generics = node.childrenOf("eGenericType");
  return generics.empty() ? std::nullopt : erasureOf(*generics.front());
}

EcoreBuilding::TypeChoice EcoreBuilding::typeOf(const EcoreNode& node) {
  const bool isReference = node.kind == "EReference";
  const std::optional<EcoreTarget> target = targetOfType(node);
  if (!target) {
    TypeChoice choice;
    const bool isGeneric = !node.childrenOf("eGenericType").empty();
    if (!isGeneric) warn(node, std::string("it has no type: any ") + (isReference ? "element" : "text") + " will do");
    if (isReference) {
      choice.isClass = true;
      choice.type = meta::TypeRef(meta::Type(ModelElement::metaClass()));
    } else {
      choice.standard = StandardTypes::stringMeta;
      choice.type = meta::TypeRef(meta::Type(choice.standard));
    }
    choice.canonical = "-";
    return choice;
  }
  if (!isReference) return dataChoice(node, *target);
  const bool isEntry = target->uri == kEcoreNamespace && target->path == "//EStringToStringMapEntry";
  if (isEntry && node.is("containment") && isMany(node)) {
    TypeChoice choice;
    choice.isMap = true;
    choice.standard = StandardTypes::stringToStringMapMeta;
    choice.type = meta::TypeRef(meta::Type(choice.standard));
    return choice;
  }
  return classChoice(node, *target);
}

EcoreBuilding::TypeChoice EcoreBuilding::classChoice(const EcoreNode& node, const EcoreTarget& target) {
  TypeChoice choice;
  choice.isClass = true;
  const bool isObject = target.uri == kEcoreNamespace && target.path == "//EObject" && node.kind != "EClass";
  if (isObject) {
    choice.type = meta::TypeRef(meta::Type(ModelElement::metaClass()));
    return choice;
  }
  meta::Type registered = target.type;
  if (target.node != nullptr) {
    if (const auto known = fRegistered.find(target.node); known != fRegistered.end()) registered = known->second;
    if (const auto data = fDataTypes.find(target.node); data != fDataTypes.end()) {
      choice.isClass = false;
      choice.isDataValue = true;
      choice.type = meta::TypeRef(*data->second);
      return choice;
    }
    if (const auto draft = fClassOf.find(target.node); draft != fClassOf.end()) {
      choice.type = meta::TypeRef(*draft->second->builder);
      return choice;
    }
  }
  if (!registered && target.node == nullptr && target.uri == kEcoreNamespace) {
    const auto& types = ecorePackage()->getTypes();
    const auto at = types.find(utf8_to_ustring(nameInPath(target.path)));
    if (at != types.end()) registered = at->second;
  }
  if (registered) {
    choice.isClass = registered->kind() == ModelElement::Impl::Kind::Class;
    choice.isDataValue = registered->kind() == ModelElement::Impl::Kind::DataType;
    if (!choice.isClass && !choice.isDataValue)
      fail(node, "it refers to \"" + target.canonical() + "\", which is no class");
    choice.type = meta::TypeRef(registered);
    return choice;
  }
  if (target.node != nullptr) fail(node, "it refers to " + describe(*target.node) + ", which is no class");
  choice.type = meta::TypeRef(stubFor(node, target));
  return choice;
}

meta::ClassBuilder& EcoreBuilding::stubFor(const EcoreNode& user, const EcoreTarget& target) {
  const auto [stub, isNew] = fStubs.try_emplace(target.canonical());
  if (!isNew) return *stub->second;
  warn(user, "\"" + target.canonical() + "\" is not to be found: an empty class stands for it");
  const auto [home, isNewHome] = fStubPackages.try_emplace(target.uri);
  if (isNewHome) {
    const std::string name = "unresolved" + std::to_string(fStubPackages.size());
    fRoots.push_back(std::make_unique<meta::PackageBuilder>(utf8_to_ustring(name)));
    fRootNodes.push_back(nullptr);
    home->second = fRoots.back().get();
    home->second->uri(utf8_to_ustring("urn:tarn:unresolved:" + target.uri));
  }
  std::string name = nameInPath(target.path);
  std::replace(name.begin(), name.end(), '.', '_');
  if (name.empty()) name = "unnamed";
  for (const auto& [canonical, other] : fStubs) {
    const bool isNamesake = other != nullptr && canonical != stub->first &&
                            nameInPath(canonical) == nameInPath(target.path) &&
                            canonical.find(target.uri + "#") != std::string::npos;
    if (isNamesake) name += "_" + std::to_string(fStubs.size());
  }
  stub->second = &home->second->addClass(utf8_to_ustring(name));
  FacetList facets;
  facets.set("stub", target.canonical());
  facets.annotate(*stub->second);
  return *stub->second;
}

meta::PrimitiveType EcoreBuilding::standardTypeOf(const EcoreTarget& target, bool& isKnown) const {
  isKnown = true;
  if (target.uri == kEcoreNamespace) return typeOfEcoreName(nameInPath(target.path));
  if (target.uri == kXmlTypeNamespace) return typeOfXmlName(nameInPath(target.path));
  std::string instanceClass;
  if (target.node != nullptr) {
    instanceClass = target.node->get("instanceClassName");
    if (instanceClass.empty()) instanceClass = target.node->get("instanceTypeName");
    return typeOfInstanceClass(instanceClass);
  }
  // A data type of a package that was registered before is kept in a note of that package.
  const meta::Package package = meta::MetaRegistry::getInstance()->getPackage(utf8_to_ustring(target.uri));
  const ustring* kept = package ? findFacet(package, u"dataType:" + utf8_to_ustring(nameInPath(target.path))) : nullptr;
  if (kept != nullptr) {
    EcoreDocument document;
    readEcoreFragment(document, bedrock::i18n::ustring_to_utf8(*kept));
    if (!document.roots.empty()) return typeOfInstanceClass(document.roots.front()->get("instanceClassName"));
  }
  isKnown = false;
  return StandardTypes::stringMeta;
}

EcoreBuilding::TypeChoice EcoreBuilding::dataChoice(const EcoreNode& node, const EcoreTarget& target) {
  TypeChoice choice;
  if (target.node != nullptr && target.node->kind == "EEnum") {
    if (const auto known = fRegistered.find(target.node); known != fRegistered.end()) {
      choice.registeredEnum = narrow<meta::Enum>(known->second);
      choice.type = meta::TypeRef(known->second);
    } else {
      choice.enumNode = target.node;
      choice.type = meta::TypeRef(*fEnums.at(target.node));
    }
    return choice;
  }
  const bool isClass = (target.node != nullptr && target.node->kind != "EDataType") || narrow<meta::Class>(target.type);
  if (isClass)
    fail(node, "it is an attribute, but \"" + target.canonical() + "\" is no data type: make it a reference");
  if (target.type) {
    choice.registeredEnum = narrow<meta::Enum>(target.type);
    choice.type = meta::TypeRef(target.type);
    return choice;
  }
  bool isKnown = false;
  choice.standard = standardTypeOf(target, isKnown);
  if (!isKnown) {
    warn(node, "the data type \"" + target.canonical() + "\" is not to be found: the attribute holds text");
  }
  choice.isFeatureMap = target.uri == kEcoreNamespace && target.path == "//EFeatureMapEntry";
  choice.canonical = target.canonical();
  if (const std::string* note = noteOf(node, "type")) {
    if (const meta::PrimitiveType named = standardTypeNamed(utf8_to_ustring(*note))) choice.standard = named;
  }
  choice.type = meta::TypeRef(meta::Type(choice.standard));
  return choice;
}

// --- The property.

template <class Owner>
meta::PropertyBuilder EcoreBuilding::declare(Owner& owner, const EcoreNode& node, const TypeChoice& choice,
                                             bool isInDataType) {
  const ustring name = utf8_to_ustring(node.get("name"));
  if constexpr (std::same_as<Owner, meta::ClassBuilder>) {
    if (choice.isClass && !isInDataType) {
      return node.is("containment") ? owner.composite(name, *choice.type) : owner.reference(name, *choice.type);
    }
  }
  return owner.attribute(name, *choice.type);
}

template <class Owner>
void EcoreBuilding::buildFeature(Owner& owner, const EcoreNode& node, bool isInDataType) {
  if (node.kind != "EAttribute" && node.kind != "EReference") {
    fail(node, "expected an EAttribute or an EReference, found " + (node.kind.empty() ? "no xsi:type" : node.kind));
  }
  if (node.get("name").empty()) fail(node, "it has no name");
  checkTags(node, kFeatureTags);
  const TypeChoice choice = typeOf(node);
  meta::PropertyBuilder property = declare(owner, node, choice, isInDataType);
  FacetList facets;
  if (!choice.isMap) {
    setBounds(property, node, facets);
  } else if (noteOf(node, "required") != nullptr) {
    property.required();
  }
  setFlags(property, node, choice, facets);
  if (choice.isClass && !isInDataType) {
    setOpposite(property, node, choice, facets);
    setKeys(property, node, facets);
  } else {
    setDefault(property, node, choice, facets);
  }
  const bool canBeAbsent =
      !isMany(node) && boundOf(node, "lowerBound").value_or(0) <= 0 && node.find("defaultValueLiteral") == nullptr;
  if (choice.standard && !choice.isMap && choice.canonical != dataTypeFor(choice.standard, canBeAbsent)) {
    facets.set("eType", choice.canonical);
  }
  annotate(property, node, facets, {"eGenericType"});
}

template void EcoreBuilding::buildFeature(meta::ClassBuilder&, const EcoreNode&, bool);
template void EcoreBuilding::buildFeature(meta::DataTypeBuilder&, const EcoreNode&, bool);

void EcoreBuilding::setBounds(meta::PropertyBuilder& property, const EcoreNode& node, FacetList& facets) {
  const std::int64_t lowest = boundOf(node, "lowerBound").value_or(0);
  const std::int64_t highest = boundOf(node, "upperBound").value_or(1);
  std::uint32_t upper = meta::Property::Impl::kUnlimited;
  if (highest >= 0 && highest < upper) upper = static_cast<std::uint32_t>(highest);
  if (highest < -1) facets.set("upperBound", std::to_string(highest));
  std::uint32_t lower = lowest <= 0 ? 0 : static_cast<std::uint32_t>(std::min<std::int64_t>(lowest, upper));
  if (lowest > upper) {
    warn(node, "the lower bound " + std::to_string(lowest) + " is above the upper bound " + std::to_string(highest) +
                   ": it is taken as " + std::to_string(lower));
    facets.set("lowerBound", std::to_string(lowest));
  }
  property.bounds(lower, upper);
}

void EcoreBuilding::setFlags(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& choice,
                             FacetList& facets) {
  const std::string* group = extendedDetail(node, "group");
  const bool isGroupMember = group != nullptr && !choice.isFeatureMap;
  if (choice.isFeatureMap) {
    // Its entries are read as those of the features that it is made of.
    property.transient();
    if (!node.is("transient")) facets.set("transient", "false");
    if (node.is("derived")) property.derived();
    warn(node, "a feature map: its entries are those of its features, whose order among each other is not kept");
  } else if (isGroupMember) {
    for (const std::string_view key : {"derived", "transient"}) {
      if (node.is(key)) facets.set(key, "true");
    }
  } else {
    if (node.is("derived")) property.derived();
    if (node.is("transient")) property.transient();
  }
  if (node.get("changeable") == "false") {
    isGroupMember ? facets.set("changeable", "false") : static_cast<void>(property.readOnly());
  }
  for (const std::string_view key : {"volatile", "unsettable", "iD"}) {
    if (node.is(key)) facets.set(key, "true");
  }
  if (node.get("resolveProxies") == "false") facets.set("resolveProxies", "false");
  if (node.get("ordered") == "false") property.ordered(false);
  const auto isNoted = [&](std::string_view key) { return noteOf(node, key) != nullptr; };
  if (isNoted("guarded")) property.guarded();
  if (isNoted("genericStorage")) property.genericStorage();

  if (!isMany(node) || choice.isMap) return;
  const bool isUnique = node.get("unique") != "false";
  const bool mustBeUnique = choice.isClass && (node.is("containment") || node.find("eOpposite") != nullptr);
  if (!isUnique && mustBeUnique) {
    facets.set("unique", "false");  // an element is owned once, whatever is said
  } else {
    property.unique(isUnique);
  }
}

void EcoreBuilding::setDefault(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& choice,
                               FacetList& facets) {
  const std::string* text = node.find("defaultValueLiteral");
  const bool isEnum = choice.enumNode != nullptr || choice.registeredEnum;
  const bool canHaveDefault = !isMany(node) && (isEnum || choice.standard) && !choice.isMap && !choice.isFeatureMap;
  if (text == nullptr) {
    const bool isRequired = boundOf(node, "lowerBound").value_or(0) > 0;
    if (!isEnum || !canHaveDefault || !isRequired) return;
    // Ecore gives an enum its first literal.
    ustring first;
    if (choice.enumNode != nullptr) {
      const auto literals = choice.enumNode->childrenOf("eLiterals");
      if (!literals.empty()) first = utf8_to_ustring(literals.front()->get("name"));
    } else if (!choice.registeredEnum->getLiteralsInOrder().empty()) {
      first = choice.registeredEnum->getLiteralsInOrder().front()->getName();
    }
    if (first.empty()) fail(node, "it is required, but its enum has no literal that it could hold");
    property.defaultsTo(first.c_str());
    facets.set("defaultImplied", "true");
    return;
  }
  if (!canHaveDefault) {
    facets.set("defaultValueLiteral", *text);
    return;
  }
  if (!isEnum) {
    const std::optional<Value> value = defaultFromText(choice.standard, *text);
    if (value) {
      property.defaultsTo(*value);
      if (textOfDefault(*value) == *text) return;
    } else {
      warn(node, "its default \"" + *text + "\" is no value of its type: it has none here");
    }
    facets.set("defaultValueLiteral", *text);
    return;
  }
  const ustring wanted = utf8_to_ustring(*text);
  ustring found;
  if (choice.enumNode != nullptr) {
    for (const EcoreNode* literal : choice.enumNode->childrenOf("eLiterals")) {
      const bool isIt = literal->get("name") == *text || literal->get("literal") == *text;
      if (isIt) found = utf8_to_ustring(literal->get("name"));
    }
  } else {
    for (const meta::EnumLiteral& literal : choice.registeredEnum->getLiteralsInOrder()) {
      const ustring* shown = findFacet(choice.registeredEnum, u"literal:" + literal->getName());
      if (literal->getName() == wanted || (shown != nullptr && *shown == wanted)) found = literal->getName();
    }
  }
  if (found.empty()) {
    fail(node, "its default \"" + *text + "\" is no literal of its enum");
  }
  property.defaultsTo(found.c_str());
  if (found != wanted) facets.set("defaultValueLiteral", *text);
}

// --- Ties between features.

std::string EcoreBuilding::faultOfOpposite(const EcoreNode& node, const EcoreTarget& opposite) {
  if (opposite.node == nullptr) return "it belongs to a package that was registered before";
  const EcoreNode& back = *opposite.node;
  if (&back == &node) return "a feature cannot be its own opposite here";
  if (back.kind != "EReference" || back.parent == nullptr || !fClassOf.contains(back.parent) ||
      !fClassOf.contains(node.parent)) {
    return "it is no reference of a class that is being read";
  }
  if (fClassOf.at(back.parent)->skipped.contains(&back)) return "it was left out";
  const std::string* itsOpposite = back.find("eOpposite");
  if (itsOpposite == nullptr || fLinks.resolve(back, *itsOpposite).node != &node) return "it does not point back";
  const std::optional<EcoreTarget> type = targetOfType(node);
  const std::optional<EcoreTarget> backType = targetOfType(back);
  if (!type || type->node != back.parent) return "it is declared by another class than the type of this feature";
  if (!backType || backType->node != node.parent)
    return "its type is another class than the one that declares this feature";
  if (node.is("containment") && back.is("containment")) return "both ends would own the other";
  const EcoreNode& contained = back.is("containment") ? node : back;
  if ((node.is("containment") || back.is("containment")) && isMany(contained)) {
    return "an element has one container, but the way back is many-valued";
  }
  return {};
}

void EcoreBuilding::setOpposite(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& /*choice*/,
                                FacetList& facets) {
  const std::string* reference = node.find("eOpposite");
  if (reference == nullptr) return;
  const EcoreTarget opposite = fLinks.resolve(node, *reference);
  const std::string fault = faultOfOpposite(node, opposite);
  if (fault.empty()) {
    property.opposite(utf8_to_ustring(opposite.node->get("name")));
    return;
  }
  warn(node, "its opposite \"" + *reference + "\" is not taken over: " + fault);
  facets.set("eOpposite", opposite.canonical());
}

void EcoreBuilding::setKeys(meta::PropertyBuilder& property, const EcoreNode& node, FacetList& facets) {
  const std::string* keys = node.find("eKeys");
  if (keys == nullptr) return;
  const std::vector<std::string> references = referencesIn(*keys);
  std::string canonical;
  std::vector<EcoreTarget> targets;
  for (const std::string& reference : references) {
    targets.push_back(fLinks.resolve(node, reference));
    canonical += (canonical.empty() ? "" : " ") + targets.back().canonical();
  }
  const bool isNoted = noteOf(node, "qualified") != nullptr;
  const bool isQualifier = targets.size() == 1 && targets.front().node != nullptr && isMany(node) &&
                           !isMany(*targets.front().node) && (node.is("containment") || isNoted);
  if (isQualifier) {
    property.qualifiedBy(utf8_to_ustring(targets.front().node->get("name")));
  } else {
    facets.set("eKeys", canonical);
  }
}

}  // namespace tarn::kern::ecore
