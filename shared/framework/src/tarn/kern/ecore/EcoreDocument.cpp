#include "EcoreDocument.h"

#include <algorithm>
#include <charconv>

#include <tarn/kern/ecore/EcoreError.h>

#include "../io/xml/XmiDocuments.h"
#include "../io/xml/XmiNamespaces.h"
#include "../io/xml/XmlReader.h"

namespace tarn::kern::ecore {

using io::xml::AttributeRole;

EcoreError::~EcoreError() = default;

const std::string* EcoreNode::find(std::string_view name) const noexcept {
  for (const auto& [key, value] : attributes) {
    if (key == name) return &value;
  }
  return nullptr;
}

const std::string& EcoreNode::get(std::string_view name) const noexcept {
  static const std::string kNone;
  const std::string* value = find(name);
  return value == nullptr ? kNone : *value;
}

std::vector<const EcoreNode*> EcoreNode::childrenOf(std::string_view wanted) const {
  std::vector<const EcoreNode*> found;
  for (const EcoreNode* child : children) {
    if (child->tag == wanted) found.push_back(child);
  }
  return found;
}

namespace {

constexpr std::string_view kEcoreNamespace = "http://www.eclipse.org/emf/2002/Ecore";

class TreeBuilder final : public io::xml::XmlHandler {
 public:
  TreeBuilder(EcoreDocument& document, bool isFragment) : fDocument(document), fIsFragment(isFragment) {}

  void read(std::string_view text) {
    io::xml::XmlReader reader(*this, fDocument.source);
    fReader = &reader;
    try {
      reader.parse(text);
    } catch (const EcoreError&) {
      throw;
    } catch (const io::ParseError& error) {
      throw EcoreError({error.sourceName(), error.line(), error.column(), {}}, error.problem());
    }
  }

  void startElement(const char* name, io::xml::AttributeList attributes) override {
    const std::size_t declared = fNamespaces.enter(attributes);
    fDeclared.push_back(declared);
    const auto [prefix, local] = io::xml::splitName(name);
    EcoreNode* parent = fOpen.empty() ? nullptr : fOpen.back();
    const bool isAround = parent == nullptr && (fIsFragment ? fDeclared.size() == 1 : fNamespaces.isXmi(prefix));
    if (isAround) {
      fOpen.push_back(nullptr);
      return;
    }
    EcoreNode& node = fDocument.nodes.emplace_back();
    node.tag = local;
    node.document = &fDocument;
    node.parent = parent;
    const io::ParsePlace place = fReader->place();
    node.line = place.line;
    node.column = place.column;
    if (parent == nullptr) {
      if (!fIsFragment) checkRoot(name, prefix, local);
      node.kind = local;
      fDocument.roots.push_back(&node);
    } else {
      parent->children.push_back(&node);
    }
    for (; *attributes != nullptr; attributes += 2) takeAttribute(node, attributes[0], attributes[1]);
    fOpen.push_back(&node);
  }

  void endElement() override {
    EcoreNode* node = fOpen.back();
    fOpen.pop_back();
    if (node != nullptr) becomeAttribute(*node);
    fNamespaces.leave(fDeclared.back());
    fDeclared.pop_back();
  }

  void text(std::string_view piece) override {
    if (!fOpen.empty() && fOpen.back() != nullptr) fOpen.back()->text += piece;
  }

 private:
  void checkRoot(const char* name, std::string_view prefix, std::string_view local) const {
    const std::string* uri = fNamespaces.find(prefix);
    const bool isPackage = uri != nullptr && *uri == kEcoreNamespace && local == "EPackage";
    if (isPackage) return;
    throw EcoreError(fReader->place(), "an ecore:EPackage of the namespace " + std::string(kEcoreNamespace),
                     "<" + std::string(name) + ">", ": this is no Ecore meta-model");
  }

  void takeAttribute(EcoreNode& node, const char* name, const char* value) {
    switch (fNamespaces.roleOf(name)) {
      case AttributeRole::Type:
        node.kind = io::xml::splitName(value).second;
        return;
      case AttributeRole::Id:
        node.id = value;
        fDocument.ids.emplace(value, &node);
        return;
      case AttributeRole::Feature:
        node.attributes.emplace_back(io::xml::splitName(name).second, value);
        return;
      default:
        return;
    }
  }

  /// `<eType xsi:type="ecore:EClass" href="..."/>` and `<name>x</name>` say what an attribute would.
  static void becomeAttribute(EcoreNode& node) {
    if (node.parent == nullptr || !node.children.empty()) return;
    const std::string* href = node.find("href");
    const bool isText =
        node.attributes.empty() && node.kind.empty() && node.text.find_first_not_of(" \t\r\n") != std::string::npos;
    if (href == nullptr && !isText) return;
    const std::string value =
        href == nullptr ? node.text : (node.kind.empty() ? *href : "ecore:" + node.kind + " " + *href);
    EcoreNode& parent = *node.parent;
    parent.children.pop_back();  // it is the last one: its end tag has just been read
    for (auto& [key, present] : parent.attributes) {
      if (key != node.tag) continue;
      present += " " + value;
      return;
    }
    parent.attributes.emplace_back(node.tag, value);
  }

  EcoreDocument& fDocument;
  const bool fIsFragment;
  io::xml::XmlReader* fReader = nullptr;
  io::xml::XmiNamespaces fNamespaces;
  std::vector<EcoreNode*> fOpen;
  std::vector<std::size_t> fDeclared;
};

bool readNumber(std::string_view text, std::size_t& number) noexcept {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return !text.empty() && result.ec == std::errc() && result.ptr == text.data() + text.size();
}

EcoreNode* childByPosition(const EcoreNode& node, std::string_view segment) {
  const std::size_t dot = segment.rfind('.');
  std::size_t position = 0;
  const bool hasPosition = dot != std::string_view::npos && readNumber(segment.substr(dot + 1), position);
  const std::string_view tag = hasPosition ? segment.substr(0, dot) : segment;
  for (EcoreNode* child : node.children) {
    if (child->tag == tag && position-- == 0) return child;
  }
  return nullptr;
}

EcoreNode* childByName(const EcoreNode& node, std::string_view name) {
  const auto& named = node.document->childrenByName(node);
  if (const auto at = named.find(name); at != named.end()) return at->second;
  // Operations that share a name are counted.
  const std::size_t dot = name.rfind('.');
  std::size_t position = 0;
  if (dot == std::string_view::npos || !readNumber(name.substr(dot + 1), position)) return nullptr;
  for (EcoreNode* child : node.children) {
    if (child->get("name") == name.substr(0, dot) && position-- == 0) return child;
  }
  return nullptr;
}

EcoreNode* childBySource(const EcoreNode& node, std::string_view source) {
  for (EcoreNode* child : node.children) {
    if (child->tag == "eAnnotations" && child->get("source") == source) return child;
  }
  return nullptr;
}

EcoreNode* step(const EcoreNode& node, std::string_view segment) {
  if (segment.starts_with('@')) return childByPosition(node, segment.substr(1));
  if (segment.size() > 1 && segment.front() == '%' && segment.back() == '%') {
    return childBySource(node, io::xml::percentDecoded(segment.substr(1, segment.size() - 2)));
  }
  if (EcoreNode* child = childByName(node, segment)) return child;
  return childByName(node, io::xml::percentDecoded(segment));
}

}  // namespace

const EcoreDocument::NamedNodes& EcoreDocument::childrenByName(const EcoreNode& node) const {
  const auto [at, isNew] = fNamed.try_emplace(&node);
  if (isNew) {
    for (EcoreNode* child : node.children) {
      if (const std::string* name = child->find("name")) at->second.emplace(*name, child);  // the first one stays
    }
  }
  return at->second;
}

EcoreNode* EcoreDocument::find(std::string_view fragment) const {
  if (!fragment.starts_with('/')) {
    const auto at = ids.find(std::string(fragment));
    return at == ids.end() ? nullptr : at->second;
  }
  fragment.remove_prefix(1);
  const std::string_view first = fragment.substr(0, fragment.find('/'));
  std::size_t root = 0;
  EcoreNode* at = nullptr;
  if (first.empty() || readNumber(first, root)) {
    if (root >= roots.size()) return nullptr;
    at = roots[root];
    fragment.remove_prefix(first.size());
  } else {
    if (roots.empty()) return nullptr;
    at = roots.front();
    fragment = std::string_view(fragment.data() - 1, fragment.size() + 1);
  }
  while (at != nullptr && !fragment.empty()) {
    fragment.remove_prefix(1);
    std::size_t end = fragment.find('/');
    if (fragment.starts_with('%')) {
      const std::size_t close = fragment.find('%', 1);
      end = close == std::string_view::npos ? close : close + 1;
    }
    end = std::min(end, fragment.size());
    at = step(*at, fragment.substr(0, end));
    fragment.remove_prefix(end);
  }
  return at;
}

void readEcoreDocument(EcoreDocument& document, std::string_view text) { TreeBuilder(document, false).read(text); }

void readEcoreFragment(EcoreDocument& document, std::string_view text) {
  TreeBuilder(document, true)
      .read("<kept xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">" + std::string(text) + "</kept>");
}

std::string pathOf(const EcoreNode& node) {
  std::vector<std::string> segments;
  const EcoreNode* at = &node;
  for (; at->parent != nullptr; at = at->parent) {
    const std::string& name = at->get("name");
    // The name serves where it leads back here, and where nobody else's path syntax is in it.
    const bool isPlain = !name.empty() && name.find_first_of("/%@# ") == std::string::npos;
    if (isPlain && childByName(*at->parent, name) == at) {
      segments.push_back(name);
      continue;
    }
    std::size_t position = 0;
    for (const EcoreNode* sibling : at->parent->children) {
      if (sibling == at) break;
      if (sibling->tag == at->tag) ++position;
    }
    segments.push_back("@" + at->tag + "." + std::to_string(position));
  }
  std::string path = "/";
  const auto& roots = node.document->roots;
  const auto root = std::find(roots.begin(), roots.end(), at) - roots.begin();
  if (roots.size() > 1) path += std::to_string(root);
  for (std::size_t i = segments.size(); i-- > 0;) path += "/" + segments[i];
  return path;
}

}  // namespace tarn::kern::ecore
