#include "EcoreBuilding.h"

#include <algorithm>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ecore/EcoreError.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "../NearestName.h"
#include "EcoreText.h"
#include "EcoreTypes.h"
#include "Facets.h"

// Packages, classifiers and supertypes; features are in EcoreFeatures.cpp.
namespace tarn::kern::ecore {

using bedrock::i18n::utf8_to_ustring;

namespace {

const std::vector<std::string_view> kPackageTags = {"eAnnotations", "eClassifiers", "eSubpackages", "eFactoryInstance"};
const std::vector<std::string_view> kClassTags = {"eAnnotations", "eTypeParameters", "eOperations",
                                                  "eStructuralFeatures", "eGenericSuperTypes"};
const std::vector<std::string_view> kDataTypeTags = {"eAnnotations", "eTypeParameters", "eLiterals"};

constexpr std::string_view kNoteSource = "urn:tarn:ecore";
constexpr std::string_view kExtendedMetaData = "http:///org/eclipse/emf/ecore/util/ExtendedMetaData";

const std::string* detailOf(const EcoreNode& node, std::string_view source, std::string_view key) {
  for (const EcoreNode* annotation : node.children) {
    if (annotation->tag != "eAnnotations" || annotation->get("source") != source) continue;
    for (const EcoreNode* detail : annotation->children) {
      if (detail->tag == "details" && detail->get("key") == key) return detail->find("value");
    }
  }
  return nullptr;
}

bool isObjectOfEcore(const EcoreTarget& target) { return target.uri == kEcoreNamespace && target.path == "//EObject"; }

}  // namespace

// --- Small helpers.

void EcoreBuilding::FacetList::set(std::string_view key, std::string_view value) {
  fAnnotation.source = kFacetSource;
  fAnnotation.details.emplace_back(utf8_to_ustring(key), utf8_to_ustring(value));
}

const std::string* EcoreBuilding::noteOf(const EcoreNode& node, std::string_view key) {
  return detailOf(node, kNoteSource, key);
}

const std::string* EcoreBuilding::extendedDetail(const EcoreNode& node, std::string_view key) {
  return detailOf(node, kExtendedMetaData, key);
}

std::string EcoreBuilding::describe(const EcoreNode& node) {
  const std::string& name = node.get("name");
  return (node.kind.empty() ? node.tag : node.kind) + (name.empty() ? std::string() : " \"" + name + "\"");
}

void EcoreBuilding::warn(const EcoreNode& node, const std::string& text) {
  fWarnings.push_back(node.document->placeOf(node).text() + ": " + describe(node) + ": " + text);
}

void EcoreBuilding::fail(const EcoreNode& node, const std::string& text) {
  throw EcoreError(node.document->placeOf(node), describe(node) + ": " + text);
}

void EcoreBuilding::checkTags(const EcoreNode& node, const std::vector<std::string_view>& known) const {
  for (const EcoreNode* child : node.children) {
    if (std::find(known.begin(), known.end(), child->tag) != known.end()) continue;
    const ustring sought = utf8_to_ustring(child->tag);  // the search keeps a view of it
    kern::internal::NearestName nearest(sought);
    std::string list;
    for (const std::string_view tag : known) {
      nearest.offer(utf8_to_ustring(tag));
      list += (list.empty() ? "" : ", ") + std::string(tag);
    }
    fail(*child, "Ecore has no <" + child->tag + "> in an " + node.kind + ", only " + list + nearest.suggestion());
  }
}

/// The name as the kernel takes it.
std::string EcoreBuilding::nameOf(const EcoreNode& node) {
  const std::string& name = node.get("name");
  if (name.empty()) fail(node, "it has no name");
  if (name.find('.') == std::string::npos) return name;
  std::string changed = name;
  std::replace(changed.begin(), changed.end(), '.', '_');
  warn(node, "dots separate the names of packages and types here: it is called \"" + changed + "\"");
  return changed;
}

EcoreBuilding::EcoreBuilding(EcoreLinks& links, std::vector<std::string>& warnings)
    : fLinks(links), fWarnings(warnings) {}

// --- The whole.

void EcoreBuilding::run() {
  const meta::MetaRegistry& registry = *meta::MetaRegistry::getInstance();
  const auto noteRegistered = [&](const auto& self, const EcoreNode& node, const meta::Package& package) -> void {
    for (const EcoreNode* child : node.children) {
      const ustring name = utf8_to_ustring(child->get("name"));
      if (child->tag == "eClassifiers") {
        if (const auto type = package->getTypes().find(name); type != package->getTypes().end()) {
          fRegistered.emplace(child, type->second);
        }
      } else if (child->tag == "eSubpackages") {
        for (const meta::Package& inner : package->getPackages()) {
          if (inner->getName() == name) bedrock::stack::callDeep([&] { self(self, *child, inner); });
        }
      }
    }
  };
  for (EcoreDocument& document : fLinks.documents()) {
    for (const EcoreNode* root : document.roots) {
      if (const meta::Package present = registry.getPackage(utf8_to_ustring(uriOf(*root)))) {
        fPackages.emplace(root, present);
        noteRegistered(noteRegistered, *root, present);
        warn(*root, "a package of the URI \"" + uriOf(*root) + "\" is registered already: that one is used");
        continue;
      }
      fRoots.push_back(std::make_unique<meta::PackageBuilder>(utf8_to_ustring(nameOf(*root))));
      fRootNodes.push_back(root);
      draftPackage(*root, *fRoots.back());
    }
  }
  for (ClassDraft& draft : fClasses) resolveClass(draft);
  for (std::size_t i = 0; i < fClasses.size(); ++i) buildClass(fClasses[i]);

  std::vector<meta::PackageBuilder*> builders;
  for (const auto& root : fRoots) builders.push_back(root.get());
  std::vector<meta::Package> registered;
  try {
    registered = meta::PackageBuilder::registerAll(builders);
  } catch (const MetaModelError& error) {
    const EcoreDocument& document = fLinks.documents().front();
    throw EcoreError(io::ParsePlace{document.source, 0, 0, {}}, error.what());
  }
  for (std::size_t i = 0; i < registered.size(); ++i) {
    if (fRootNodes[i] != nullptr) fPackages.emplace(fRootNodes[i], registered[i]);
  }
}

std::vector<meta::Package> EcoreBuilding::packagesOf(const EcoreDocument& document) const {
  std::vector<meta::Package> packages;
  for (const EcoreNode* root : document.roots) packages.push_back(fPackages.at(root));
  return packages;
}

// --- Packages and classifiers.

void EcoreBuilding::draftPackage(const EcoreNode& node, meta::PackageBuilder& builder) {
  checkTags(node, kPackageTags);
  builder.uri(utf8_to_ustring(uriOf(node)));
  annotatePackage(node, builder);
  std::set<std::string> names;
  std::set<std::string> innerNames;
  for (const EcoreNode* child : node.children) {
    if (child->tag == "eClassifiers") {
      draftClassifier(*child, builder, names);
    } else if (child->tag == "eSubpackages") {
      const std::string name = nameOf(*child);
      if (!innerNames.insert(name).second) fail(*child, "the package has another one of that name inside");
      meta::PackageBuilder& inner = builder.addPackage(utf8_to_ustring(name));
      bedrock::stack::callDeep([&] { draftPackage(*child, inner); });
    }
  }
}

void EcoreBuilding::annotatePackage(const EcoreNode& node, meta::PackageBuilder& builder) {
  FacetList facets;
  if (const std::string* prefix = node.find("nsPrefix"); prefix != nullptr && *prefix != node.get("name")) {
    facets.set("nsPrefix", *prefix);
  }
  if (node.get("name").find('.') != std::string::npos) facets.set("name", node.get("name"));
  // Data types are no types of the kernel, but attributes of them are to find their way back.
  for (const EcoreNode* child : node.childrenOf("eClassifiers")) {
    if (child->kind == "EDataType") facets.set("dataType:" + child->get("name"), keptText(*child));
  }
  annotate(builder, node, facets, {});
}

void EcoreBuilding::draftClassifier(const EcoreNode& node, meta::PackageBuilder& builder,
                                    std::set<std::string>& names) {
  const std::string name = nameOf(node);
  if (!names.insert(name).second) {
    warn(node, "the package has another classifier of that name: this one is left out");
    return;
  }
  if (node.kind == "EClass") {
    checkTags(node, kClassTags);
    if (const std::string* kind = noteOf(node, "kind"); kind != nullptr && *kind == "DataType") {
      fDataTypes.emplace(&node, &builder.addDataType(utf8_to_ustring(name)));
    }
    ClassDraft& draft = fClasses.emplace_back();
    draft.node = &node;
    if (!fDataTypes.contains(&node)) draft.builder = &builder.addClass(utf8_to_ustring(name));
    fClassOf.emplace(&node, &draft);
  } else if (node.kind == "EEnum") {
    checkTags(node, kDataTypeTags);
    meta::EnumBuilder& made = builder.addEnum(utf8_to_ustring(name));
    fEnums.emplace(&node, &made);
    draftEnum(node, made);
  } else if (node.kind == "EDataType") {
    checkTags(node, kDataTypeTags);
  } else {
    const ustring sought = utf8_to_ustring(node.kind);  // the search keeps a view of it
    kern::internal::NearestName nearest(sought);
    for (const char16_t* kind : {u"EClass", u"EEnum", u"EDataType"}) nearest.offer(kind);
    fail(node, "expected an EClass, an EEnum or an EDataType, found " +
                   (node.kind.empty() ? "no xsi:type" : "\"" + node.kind + "\"") + nearest.suggestion());
  }
}

void EcoreBuilding::draftEnum(const EcoreNode& node, meta::EnumBuilder& builder) {
  FacetList facets;
  std::set<std::string> names;
  for (const EcoreNode* literal : node.childrenOf("eLiterals")) {
    const std::string& name = literal->get("name");
    if (name.empty()) fail(*literal, "it has no name");
    if (!names.insert(name).second) {
      warn(*literal, "the enum has another literal of that name: this one is left out");
      continue;
    }
    std::int64_t number = 0;
    std::string text = literal->get("value");
    if (const std::string* wide = noteOf(*literal, "number")) text = *wide;
    if (!text.empty()) {
      const std::optional<Value> value =
          defaultFromText(meta::internal::getPrimitiveTypeFromMetaRegistry(u"Integer64"), text);
      if (!value) fail(*literal, "its value \"" + text + "\" is no number");
      number = value->get<std::int64_t>();
    }
    builder.literal(utf8_to_ustring(name), number);
    const std::string* shown = literal->find("literal");
    if (shown != nullptr && *shown != name) facets.set("literal:" + name, *shown);
    std::string kept;
    for (const EcoreNode* child : literal->children) {
      if (child->tag != "eAnnotations" || child->get("source") != kNoteSource) kept += keptText(*child);
    }
    if (!kept.empty()) facets.set("literalXml:" + name, kept);
  }
  for (const std::string_view key : {"instanceClassName", "instanceTypeName", "serializable"}) {
    if (const std::string* value = node.find(key)) facets.set(key, *value);
  }
  annotate(builder, node, facets, {"eTypeParameters"});
}

// --- Notes.

std::string EcoreBuilding::keptText(const EcoreNode& node) {
  std::string text;
  appendNode(text, node, 0, [&](const EcoreNode& holder, const std::string& reference) {
    const EcoreTarget target = fLinks.tryResolve(holder, reference);
    return target.isElsewhere() && target.uri.empty() ? reference : target.canonical();
  });
  return text;
}

template <class Builder>
void EcoreBuilding::annotate(Builder& builder, const EcoreNode& node, FacetList& facets,
                             const std::vector<std::string_view>& keptTags) {
  std::string kept;
  for (const EcoreNode* child : node.children) {
    if (child->tag == "eAnnotations") {
      const auto isDetail = [](const EcoreNode* part) { return part->tag == "details"; };
      const bool isSimple =
          std::all_of(child->children.begin(), child->children.end(), isDetail) && child->find("references") == nullptr;
      if (child->get("source") == kNoteSource) continue;
      if (!isSimple) {
        kept += keptText(*child);
        continue;
      }
      meta::Annotation annotation;
      annotation.source = utf8_to_ustring(child->get("source"));
      for (const EcoreNode* detail : child->children) {
        annotation.details.emplace_back(utf8_to_ustring(detail->get("key")), utf8_to_ustring(detail->get("value")));
      }
      builder.annotate(std::move(annotation));
    } else if (std::find(keptTags.begin(), keptTags.end(), child->tag) != keptTags.end()) {
      kept += keptText(*child);
    }
  }
  if (!kept.empty()) facets.set("xml", kept);
  facets.annotate(builder);
}

// Features have notes, too.
template void EcoreBuilding::annotate(meta::PropertyBuilder&, const EcoreNode&, FacetList&,
                                      const std::vector<std::string_view>&);

// --- Supertypes.

void EcoreBuilding::resolveClass(ClassDraft& draft) {
  if (draft.state == ClassDraft::State::Done) return;
  if (draft.state == ClassDraft::State::Open) fail(*draft.node, "the class derives from itself: " + circleOf(draft));
  draft.state = ClassDraft::State::Open;
  fWay.push_back(&draft);
  if (const std::string* supertypes = draft.node->find("eSuperTypes")) {
    for (const std::string& reference : referencesIn(*supertypes)) takeSupertype(draft, *draft.node, reference);
  } else {
    for (const EcoreNode* generic : draft.node->childrenOf("eGenericSuperTypes")) {
      if (const std::string* classifier = generic->find("eClassifier")) takeSupertype(draft, *generic, *classifier);
    }
  }
  for (const EcoreNode* feature : draft.node->childrenOf("eStructuralFeatures")) {
    if (draft.features.emplace(feature->get("name"), feature).second) continue;
    warn(*feature, "the class has, or inherits, another feature of that name: this one is left out");
    draft.skipped.insert(feature);
  }
  fWay.pop_back();
  draft.state = ClassDraft::State::Done;
}

std::string EcoreBuilding::circleOf(const ClassDraft& draft) const {
  std::string text;
  auto at = std::find(fWay.begin(), fWay.end(), &draft);
  for (; at != fWay.end(); ++at) text += "\"" + (*at)->node->get("name") + "\" -> ";
  return text + "\"" + draft.node->get("name") + "\"";
}

void EcoreBuilding::takeSupertype(ClassDraft& draft, const EcoreNode& holder, const std::string& reference) {
  EcoreTarget target = fLinks.resolve(holder, reference);
  if (isObjectOfEcore(target) && uriOf(*draft.node->parent) != kEcoreNamespace) return;  // everything is one
  if (target.node != nullptr && target.node->kind != "EClass") {
    fail(*draft.node, "its supertype " + describe(*target.node) + " is no class");
  }
  const auto isSame = [&](const EcoreTarget& known) { return known.canonical() == target.canonical(); };
  if (std::any_of(draft.supertypes.begin(), draft.supertypes.end(), isSame)) return;
  if (target.node != nullptr && fClassOf.contains(target.node)) {
    bedrock::stack::callDeep([&] { resolveClass(*fClassOf.at(target.node)); });
  }
  if (takeFeaturesOf(draft, target)) draft.supertypes.push_back(std::move(target));
}

/// @return false when a feature of the supertype has the name of another one that is there: the supertype is left out.
bool EcoreBuilding::takeFeaturesOf(ClassDraft& draft, const EcoreTarget& supertype) {
  std::map<std::string, Origin> added;
  if (supertype.node != nullptr && fClassOf.contains(supertype.node)) {
    added = fClassOf.at(supertype.node)->features;
  } else {
    const meta::Type type = supertype.node != nullptr && fRegistered.contains(supertype.node)
                                ? fRegistered.at(supertype.node)
                                : supertype.type;
    if (const auto registered = narrow<meta::Class>(type)) {
      for (const meta::Property& property : registered->getAllProperties()) {
        const meta::Property origin = property->getOrigin() ? property->getOrigin() : property;
        added.emplace(bedrock::i18n::ustring_to_utf8(property->getName()), origin.get());
      }
    }
  }
  for (const auto& [name, origin] : added) {
    const auto present = draft.features.find(name);
    if (present == draft.features.end() || present->second == origin) continue;
    warn(*draft.node, "its supertype \"" + supertype.canonical() + "\" brings a feature \"" + name +
                          "\", but another supertype has one of that name: the supertype is left out");
    return false;
  }
  draft.features.merge(added);
  return true;
}

// --- Classes.

void EcoreBuilding::buildClass(ClassDraft& draft) {
  const EcoreNode& node = *draft.node;
  FacetList facets;
  for (const std::string_view key : {"interface", "instanceClassName", "instanceTypeName"}) {
    if (const std::string* value = node.find(key)) facets.set(key, *value);
  }
  if (node.get("name").find('.') != std::string::npos) facets.set("name", node.get("name"));
  if (const std::string* kind = extendedDetail(node, "kind"); kind != nullptr && *kind == "mixed") {
    facets.set("mixed", "true");
  }
  const std::vector<std::string_view> keptTags = {"eOperations", "eTypeParameters", "eGenericSuperTypes"};
  std::string skipped;
  for (const EcoreNode* feature : draft.skipped) skipped += keptText(*feature);
  if (!skipped.empty()) facets.set("skippedXml", skipped);

  if (draft.builder == nullptr) {
    meta::DataTypeBuilder& builder = *fDataTypes.at(&node);
    for (const EcoreNode* feature : node.childrenOf("eStructuralFeatures")) {
      if (!draft.skipped.contains(feature)) buildFeature(builder, *feature, true);
    }
    annotate(builder, node, facets, keptTags);
    return;
  }
  meta::ClassBuilder& builder = *draft.builder;
  if (node.is("abstract")) builder.makeAbstract();
  bool isFirst = true;
  for (const EcoreTarget& target : draft.supertypes) {
    const TypeChoice choice = classChoice(node, target);
    if (!choice.isClass) fail(node, "its supertype \"" + target.canonical() + "\" is no class");
    isFirst ? builder.extends(*choice.type) : builder.alsoConformsTo(*choice.type);
    isFirst = false;
  }
  for (const EcoreNode* feature : node.childrenOf("eStructuralFeatures")) {
    if (!draft.skipped.contains(feature)) buildFeature(builder, *feature, false);
  }
  annotate(builder, node, facets, keptTags);
}

}  // namespace tarn::kern::ecore
