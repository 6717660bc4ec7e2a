#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <tarn/kern/io/ParseError.h>

/// Ecore documents as trees, before anything is made of them. Meta-models are small, so a tree is no luxury; its nodes
/// lie side by side in their document, so that depth costs nothing.
namespace tarn::kern::ecore {

struct EcoreDocument;

/// One element. Names and values are UTF-8; prefixes of names are gone.
struct EcoreNode {
  std::string tag;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<EcoreNode*> children;
  EcoreNode* parent = nullptr;  ///< null for a root
  EcoreDocument* document = nullptr;
  std::string kind;  ///< of xsi:type or, for a root, of its tag: "EClass"
  std::string id;    ///< xmi:id
  std::string text;
  std::uint64_t line = 0;
  std::uint64_t column = 0;

  /// The value of an attribute, or of a child element that stands for one; nullptr when there is none.
  [[nodiscard]] const std::string* find(std::string_view name) const noexcept;
  /// The value, or an empty text.
  [[nodiscard]] const std::string& get(std::string_view name) const noexcept;
  /// True when the attribute says "true".
  [[nodiscard]] bool is(std::string_view name) const noexcept { return get(name) == "true"; }
  [[nodiscard]] std::vector<const EcoreNode*> childrenOf(std::string_view tag) const;
};

struct EcoreDocument {
  EcoreDocument() = default;
  EcoreDocument(const EcoreDocument&) = delete;
  EcoreDocument& operator=(const EcoreDocument&) = delete;

  std::string path;  ///< canonical; empty for a text
  std::string source;
  std::deque<EcoreNode> nodes;
  std::vector<EcoreNode*> roots;  ///< packages
  std::unordered_map<std::string, EcoreNode*> ids;

  [[nodiscard]] io::ParsePlace placeOf(const EcoreNode& node) const { return {source, node.line, node.column, {}}; }

  using NamedNodes = std::unordered_map<std::string_view, EcoreNode*>;
  /// The first child of each name. Only once the document has been read.
  [[nodiscard]] const NamedNodes& childrenByName(const EcoreNode& node) const;

  /// The node of a fragment: `//Name/feature`, `/1/Name`, `//@eClassifiers.2`, or an xmi:id. nullptr when there is
  /// none.
  [[nodiscard]] EcoreNode* find(std::string_view fragment) const;

 private:
  mutable std::unordered_map<const EcoreNode*, NamedNodes> fNamed;
};

/// Reads a document. @throws EcoreError when it is no XML, or its root is no ecore:EPackage.
void readEcoreDocument(EcoreDocument& document, std::string_view text);

/// Reads nodes that an exporter kept as text; the document's roots are they.
void readEcoreFragment(EcoreDocument& document, std::string_view text);

/// `//Name/feature`, or with positions where there are no names; several roots are counted.
[[nodiscard]] std::string pathOf(const EcoreNode& node);

}  // namespace tarn::kern::ecore
