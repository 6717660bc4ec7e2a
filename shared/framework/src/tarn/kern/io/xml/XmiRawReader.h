#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/functional/hash.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/kern/Model.h>
#include <tarn/kern/io/RawElement.h>
#include <tarn/kern/meta/Class.h>

#include "XmiNamespaces.h"
#include "XmiPlans.h"
#include "XmlReader.h"

namespace tarn::kern::io::xml {

/// Reads a document of older package versions into raw elements, without asking the meta-model what anything is: it may
/// have changed since. What cannot be told from the text alone is settled after the evolution, by fitToCurrent.
class XmiRawReader final : public XmlHandler {
 public:
  XmiRawReader(std::string_view text, std::string source);

  /// The roots, with references in place wherever the text shows that a value is one.
  [[nodiscard]] std::vector<RawElement> read();

  /// Gives the values of roots that have been evolved the shape that the current meta-model asks for: collections are
  /// lists, names of elements are references, types that the document left out are named. What refers to an element
  /// that is neither among the roots nor in the model is left out, with a warning.
  void fitToCurrent(std::vector<RawElement>& roots, const Model& model);

  void startElement(const char* name, AttributeList attributes) override;
  void endElement() override;
  void text(std::string_view piece) override;

 private:
  struct Frame {
    ustring name;
    RawElement content;
    std::string text;
    std::string href;
    std::string key;  // where it stands, for elements without a name
    std::size_t namespaces = 0;
    bool isDocument = false;  // around the roots
    bool isSkipped = false;
    bool isNil = false;
    bool hasIdentity = false;
    bool hasParts = false;  // attributes or child elements
    std::unordered_map<std::string, std::uint32_t> counts;
  };

  [[nodiscard]] ustring typeNamed(std::string_view qualifiedName) const;
  void takeAttribute(Frame& frame, const char* name, const char* value);
  [[nodiscard]] RawValue valueOf(Frame& frame);
  [[nodiscard]] RawPosition here() const;

  void placeReferences(RawElement& element);
  void placeReferences(std::vector<RawProperty>& properties);
  [[nodiscard]] RawValue withReferences(RawValue value);
  [[nodiscard]] std::optional<boost::uuids::uuid> findTarget(std::string_view name, bool takesAnyId) const;
  [[nodiscard]] std::optional<boost::uuids::uuid> findByPath(std::string_view path) const;
  [[nodiscard]] std::optional<RawValue> referencesIn(const ustring& names, bool takesAnyId, RawPosition position) const;

  void fitElement(RawElement& element);
  void noteTypes(const RawElement& element);
  void noteTypes(const RawValue& value);
  [[nodiscard]] RawValue fittedText(RawValue value, const meta::Property& property);
  [[nodiscard]] RawValue fittedReference(RawValue value, const meta::Property& property);
  void fit(std::vector<RawProperty>& properties, const meta::StructuredType& type);
  [[nodiscard]] RawValue fitted(RawValue value, const meta::Property& property);
  [[nodiscard]] RawValue fittedMap(RawValue value);
  [[nodiscard]] RawValue fittedEntry(RawValue value, const meta::Property& property);

  std::string_view fText;
  std::string fSource;
  XmlReader fReader;
  XmiNamespaces fNamespaces;
  std::vector<Frame> fFrames;
  std::vector<RawElement> fRoots;
  std::unordered_map<std::string, boost::uuids::uuid> fIds;
  bool fHasIds = false;

  // Of the evolved roots.
  struct HashOfUuid {
    std::size_t operator()(const boost::uuids::uuid& uuid) const noexcept { return hash_value(uuid); }
  };
  std::unordered_map<boost::uuids::uuid, ustring, HashOfUuid> fTypes;
  Model fModel;
  XmiPlans fPlans;
};

}  // namespace tarn::kern::io::xml
