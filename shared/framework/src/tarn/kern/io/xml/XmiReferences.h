#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "XmiReader.h"

namespace tarn::kern::io::xml {

/// Finds elements by what documents call them: an xmi:id, the value of an id property, `urn:uuid:...`, or a path such
/// as
/// `//@rooms.1/@door`, `/1/@door`, `//Name/feature`, `//@rooms[number='12']`; with a document's name in front of "#"
/// for elements of other documents.
class XmiReferences {
 public:
  /// Gives the number of the document that `uri` names, as seen from the document `from`; none when it is not to be
  /// found.
  using DocumentFinder = std::function<std::optional<std::uint32_t>(std::uint32_t from, std::string_view uri)>;

  XmiReferences(XmiContent& content, DocumentFinder findDocument);

  /// Sets all pending references, also those of documents that are read on the way. @throws ParseError naming one that
  /// leads nowhere within a document that is there.
  void resolve();

 private:
  void set(const PendingReference& reference);
  void setData(const PendingData& data);
  [[nodiscard]] std::vector<ModelElement> targetsOf(std::uint32_t document, std::string_view names,
                                                    std::uint64_t offset, const std::string& user);
  /// None when its document is not to be found.
  [[nodiscard]] std::optional<ModelElement> find(std::uint32_t document, std::string_view name, std::uint64_t offset,
                                                 const std::string& user);
  [[nodiscard]] ModelElement::Impl* findInDocument(std::uint32_t document, std::string_view fragment);
  [[nodiscard]] ModelElement::Impl* findByPath(std::uint32_t document, std::string_view path);
  [[nodiscard]] ModelElement::Impl* step(ModelElement::Impl& from, std::string_view segment);
  [[nodiscard]] ModelElement::Impl* stepByFeature(ModelElement::Impl& from, std::string_view segment);
  [[nodiscard]] ModelElement::Impl* stepByKeys(const std::vector<ModelElement::Impl*>& candidates,
                                               std::string_view conditions);
  [[nodiscard]] ModelElement::Impl* stepByName(ModelElement::Impl& from, std::string_view property,
                                               std::string_view name);
  [[nodiscard]] std::vector<ModelElement::Impl*> membersOf(ModelElement::Impl& owner, const Feature& feature);
  [[noreturn]] void fail(std::uint32_t document, std::uint64_t offset, const std::string& problem) const;

  XmiContent& fContent;
  DocumentFinder fFindDocument;
  std::string fNames;  // of the reference that is being set
  // Children by name, for containers that were asked for once.
  using NamedChildren = std::unordered_map<std::string, ModelElement::Impl*>;
  std::map<std::pair<const ModelElement::Impl*, std::string>, NamedChildren> fNamed;
};

}  // namespace tarn::kern::io::xml
