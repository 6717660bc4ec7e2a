#include "EcoreLinks.h"

#include <algorithm>
#include <array>

#include <bedrock/i18n.h>
#include <tarn/kern/ecore/EcoreError.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "EcoreTypes.h"

namespace tarn::kern::ecore {

using bedrock::i18n::utf8_to_ustring;

std::string EcoreTarget::canonical() const { return (kind.empty() ? "" : "ecore:" + kind + " ") + uri + "#" + path; }

bool isReferenceAttribute(std::string_view name) noexcept {
  constexpr std::array<std::string_view, 8> kNames = {"eType",       "eSuperTypes",    "eOpposite",   "eKeys",
                                                      "eClassifier", "eTypeParameter", "eExceptions", "references"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

std::vector<std::string> referencesIn(std::string_view value) {
  std::vector<std::string> references;
  std::string type;
  constexpr std::string_view kBlanks = " \t\r\n";
  for (std::size_t at = value.find_first_not_of(kBlanks); at != std::string_view::npos;) {
    const std::size_t end = std::min(value.find_first_of(kBlanks, at), value.size());
    const std::string word(value.substr(at, end - at));
    at = value.find_first_not_of(kBlanks, end);
    const bool isType = word.find_first_of("#/") == std::string::npos && word.find(':') != std::string::npos;
    if (isType) {
      type = word + " ";
    } else {
      references.push_back(type + word);
      type.clear();
    }
  }
  return references;
}

namespace {
constexpr std::string_view kNotInUris = " \t\r\n#";  // what ends a package's URI in a reference
}

std::string uriOf(const EcoreNode& package) {
  const std::string& uri = package.get("nsURI");
  if (!uri.empty()) return uri;
  std::string name = package.get("name");
  for (const EcoreNode* at = package.parent; at != nullptr; at = at->parent) name = at->get("name") + "." + name;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return kNotInUris.find(c) != std::string_view::npos; }, '_');
  return "urn:" + name;
}

namespace {

struct Parts {
  std::string kind;
  std::string document;
  std::string fragment;
};

Parts partsOf(std::string_view reference) {
  Parts parts;
  if (const std::size_t blank = reference.find(' '); blank != std::string_view::npos) {
    const std::string_view type = reference.substr(0, blank);
    parts.kind = type.substr(std::min(type.find(':') + 1, type.size()));
    reference.remove_prefix(blank + 1);
  }
  const std::size_t hash = reference.find('#');
  if (hash == std::string_view::npos) {
    parts.fragment = reference;
  } else {
    parts.document = reference.substr(0, hash);
    parts.fragment = reference.substr(hash + 1);
  }
  return parts;
}

/// Where tools that run inside a platform of plug-ins find the well-known documents.
std::string wellKnownUri(std::string_view uri) {
  const bool isInPlatform = uri.starts_with("platform:/");
  if (isInPlatform && uri.ends_with("/Ecore.ecore")) return std::string(kEcoreNamespace);
  if (isInPlatform && uri.ends_with("/XMLType.ecore")) return std::string(kXmlTypeNamespace);
  return std::string(uri);
}

const EcoreNode* packageOf(const EcoreNode& node) {
  const EcoreNode* at = &node;
  while (at->parent != nullptr) at = at->parent;
  return at;
}

/// The path without the number of the root, which may be another one in the next document.
std::string pathInPackage(const EcoreNode& node) {
  const std::string path = pathOf(node);
  const std::size_t slash = path.find('/', 1);
  return slash == std::string::npos ? "/" : "/" + path.substr(slash);
}

void collectPackages(EcoreNode& package, std::map<std::string, EcoreNode*>& packages) {
  std::vector<EcoreNode*> pending = {&package};
  while (!pending.empty()) {
    EcoreNode* node = pending.back();
    pending.pop_back();
    const std::string uri = uriOf(*node);
    if (uri.find_first_of(kNotInUris) != std::string::npos) {
      throw EcoreError(
          node->document->placeOf(*node),
          "the nsURI \"" + uri + "\" holds a blank or a \"#\", so that no reference could name the package");
    }
    packages.emplace(uri, node);
    for (EcoreNode* child : node->children) {
      if (child->tag == "eSubpackages") pending.push_back(child);
    }
  }
}

}  // namespace

void EcoreLinks::read(const std::string& path, const std::string& source, const std::string& text) {
  EcoreDocument& document = fDocuments.emplace_back();
  document.path = path;
  document.source = source;
  if (!path.empty()) fByPath.emplace(path, &document);
  readEcoreDocument(document, text);
  for (EcoreNode* root : document.roots) collectPackages(*root, fPackages);
  for (std::size_t i = 0; i < fDocuments.size(); ++i) readLinked(fDocuments[i]);
}

void EcoreLinks::readLinked(EcoreDocument& document) {
  for (const EcoreNode& node : document.nodes) {
    for (const auto& [name, value] : node.attributes) {
      if (!isReferenceAttribute(name) || value.find('#') == std::string::npos) continue;
      for (const std::string& reference : referencesIn(value)) {
        const std::string uri = partsOf(reference).document;
        if (!uri.empty()) static_cast<void>(documentOf(document, uri));
      }
    }
  }
}

/// The document of that name, read now if it was not yet; nullptr when there is none.
EcoreDocument* EcoreLinks::documentOf(const EcoreDocument& from, std::string_view uri) {
  const auto place = fPlaces.find(from.path, uri);
  if (!place || place->isPackage) return nullptr;
  if (const auto at = fByPath.find(place->name); at != fByPath.end()) return at->second;
  EcoreDocument& document = fDocuments.emplace_back();
  document.path = place->name;
  document.source = place->name;
  fByPath.emplace(place->name, &document);
  std::string text;
  try {
    text = fPlaces.read(*place);
  } catch (const std::runtime_error& error) {
    throw EcoreError(io::ParsePlace{place->name, 0, 0, {}}, error.what());
  }
  readEcoreDocument(document, text);
  for (EcoreNode* root : document.roots) collectPackages(*root, fPackages);
  return &document;
}

EcoreTarget EcoreLinks::targetOf(EcoreNode& node) const {
  EcoreTarget target;
  target.node = &node;
  target.kind = node.kind;
  target.uri = uriOf(*packageOf(node));
  target.path = pathInPackage(node);
  return target;
}

meta::Type EcoreLinks::typeIn(const meta::Package& package, std::string_view path) {
  meta::Package home = package;
  while (path.starts_with('/')) path.remove_prefix(1);
  while (true) {
    const std::size_t slash = path.find('/');
    const ustring name = utf8_to_ustring(path.substr(0, slash));
    if (slash == std::string_view::npos) {
      const auto type = home->getTypes().find(name);
      return type == home->getTypes().end() ? meta::Type() : type->second;
    }
    const auto& inner = home->getPackages();
    const auto at =
        std::find_if(inner.begin(), inner.end(), [&](const meta::Package& each) { return each->getName() == name; });
    if (at == inner.end()) return nullptr;
    home = *at;
    path.remove_prefix(slash + 1);
  }
}

EcoreTarget EcoreLinks::tryResolve(const EcoreNode& from, std::string_view reference) {
  const Parts parts = partsOf(reference);
  if (parts.document.empty()) {
    if (EcoreNode* node = from.document->find(parts.fragment)) return targetOf(*node);
  }
  EcoreTarget target;
  target.kind = parts.kind;
  target.path = parts.fragment;
  target.uri = wellKnownUri(parts.document);
  if (parts.document.empty()) return target;
  if (const EcoreDocument* document = documentOf(*from.document, parts.document)) {
    if (EcoreNode* node = document->find(parts.fragment)) return targetOf(*node);
    return target;
  }
  // A package of that URI: among those that are being read, or registered before.
  if (const auto package = fPackages.find(target.uri); package != fPackages.end()) {
    EcoreNode* at = package->second;
    std::string_view path = parts.fragment;
    while (path.starts_with('/')) path.remove_prefix(1);
    std::string inDocument = pathOf(*at);
    if (at->parent == nullptr && at->document->roots.size() == 1) inDocument = "/";
    if (EcoreNode* node = at->document->find(inDocument + "/" + std::string(path))) return targetOf(*node);
    return target;
  }
  if (const meta::Package package = meta::MetaRegistry::getInstance()->getPackage(utf8_to_ustring(target.uri))) {
    target.type = typeIn(package, parts.fragment);
  }
  return target;
}

EcoreTarget EcoreLinks::resolve(const EcoreNode& from, std::string_view reference) {
  EcoreTarget target = tryResolve(from, reference);
  if (!target.isElsewhere()) return target;
  const Parts parts = partsOf(reference);
  const bool isHere =
      parts.document.empty() || fPackages.contains(target.uri) || documentOf(*from.document, parts.document) != nullptr;
  if (!isHere) return target;
  throw EcoreError(from.document->placeOf(from), "\"" + (from.get("name").empty() ? from.tag : from.get("name")) +
                                                     "\" refers to \"" + std::string(reference) +
                                                     "\", but there is no such element");
}

}  // namespace tarn::kern::ecore
