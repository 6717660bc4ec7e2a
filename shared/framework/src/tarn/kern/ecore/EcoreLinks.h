#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <tarn/kern/meta/Package.h>

#include "../io/xml/XmiDocuments.h"
#include "EcoreDocument.h"

namespace tarn::kern::ecore {

/// What a reference in an Ecore document leads to.
struct EcoreTarget {
  EcoreNode* node = nullptr;  ///< in a document that was read
  meta::Type type;            ///< of a package that was registered before
  std::string kind;           ///< EClass, EDataType, EEnum; empty where nothing tells
  std::string uri;            ///< of the package; of the document where the package is not known
  std::string path;           ///< `//Name/feature` within it

  /// True when neither a node nor a registered type was found.
  [[nodiscard]] bool isElsewhere() const noexcept { return node == nullptr && !type; }
  /// `ecore:EClass http://...#//Name`: the spelling that depends on no document's place.
  [[nodiscard]] std::string canonical() const;
};

/// The attributes of Ecore that hold references.
[[nodiscard]] bool isReferenceAttribute(std::string_view name) noexcept;
/// The references in the value of such an attribute, each with its type in front where it has one.
[[nodiscard]] std::vector<std::string> referencesIn(std::string_view value);
/// The URI of a package node: its own, or the one it gets when it has none.
[[nodiscard]] std::string uriOf(const EcoreNode& package);

/// The documents of one import, and what the references in them lead to.
class EcoreLinks {
 public:
  explicit EcoreLinks(const io::xml::XmiDocuments& places) : fPlaces(places) {}

  /// Reads a document and all that it refers to. @throws EcoreError
  void read(const std::string& path, const std::string& source, const std::string& text);
  [[nodiscard]] std::deque<EcoreDocument>& documents() noexcept { return fDocuments; }

  /// @throws EcoreError for one that leads to nothing in a document that is there.
  [[nodiscard]] EcoreTarget resolve(const EcoreNode& from, std::string_view reference);
  /// The same; a reference that leads nowhere is given back as `isElsewhere`.
  [[nodiscard]] EcoreTarget tryResolve(const EcoreNode& from, std::string_view reference);

 private:
  void readLinked(EcoreDocument& document);
  [[nodiscard]] EcoreDocument* documentOf(const EcoreDocument& from, std::string_view uri);
  [[nodiscard]] EcoreTarget targetOf(EcoreNode& node) const;
  [[nodiscard]] static meta::Type typeIn(const meta::Package& package, std::string_view path);

  const io::xml::XmiDocuments& fPlaces;
  std::deque<EcoreDocument> fDocuments;
  std::map<std::string, EcoreDocument*> fByPath;
  std::map<std::string, EcoreNode*> fPackages;  // by URI, nested ones too
};

}  // namespace tarn::kern::ecore
