#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "XmiNamespaces.h"
#include "XmiPlans.h"
#include "XmlReader.h"

namespace tarn::kern::io::xml {

/// Is thrown, past the caller's transaction, when a document turns out to be of package versions that are not current,
/// and evolution was asked for: the document has to be read as raw elements.
struct StaleContent {
  std::vector<ustring> packageUris;
};

/// A document that has been read, as far as references need it.
struct XmiDocument {
  std::string name;       ///< canonical path or URI; empty for a text of unknown place
  std::string source;     ///< what errors call it
  std::string keyPrefix;  ///< tells the elements of one document from those of others when uuids are made for them
  std::string ownText;    ///< the text where nobody else keeps it
  std::string_view text;
  std::unique_ptr<XmlReader> reader;  ///< for places in errors
  std::vector<ustring> packageUris;   ///< that it has declared so far
  XmiNamespaces namespaces;
  std::vector<ModelElement::Impl*> roots;
  std::unordered_map<std::string, ModelElement::Impl*> ids;   ///< by xmi:id, but those that are made from the uuid
  std::unordered_map<std::string, ModelElement::Impl*> keys;  ///< by the value of an id property
};

/// A reference that waits for the end of the document.
struct PendingReference {
  ModelElement::Impl* element;
  const Feature* feature;
  std::uint64_t offset;
  std::size_t begin;  ///< of the targets' names in the arena
  std::size_t size;
  std::uint32_t document;
};

/// A data value, as far as its document has told it. References in it are known only later, so it is put together then.
struct DataDraft;

/// Data values of one element that hold references.
struct PendingData {
  ModelElement::Impl* element;
  const Feature* feature;
  std::uint32_t document;
  std::vector<std::uint32_t> drafts;
};

struct DataDraft {
  struct Item {
    const Feature* feature;
    enum class Kind : std::uint8_t { Value, References, Data, MapEntry, Absent } kind;
    boost::optional<Value> value = boost::none;
    std::string text = {};  // names of targets, or a key
    std::string mapValue = {};
    std::uint32_t draft = 0;
  };
  TypePlan* plan;
  std::uint64_t offset;
  bool hasReferences = false;
  std::vector<Item> items = {};
};

/// What all documents of one reading share.
struct XmiContent {
  explicit XmiContent(const Model& itsModel) : model(itsModel) {}

  Model model;
  XmiPlans plans;
  std::deque<XmiDocument> documents;
  std::vector<PendingReference> references;
  std::string arena;  // names of targets
  std::deque<DataDraft> drafts;
  std::vector<PendingData> data;
};

/// Reads one document into the model. Elements, their contents and their values are there when it is done; references
/// are pending, since what they name may come later, or in another document.
class XmiReader final : public XmlHandler {
 public:
  /// `evolves`: stale packages end the reading by StaleContent.
  XmiReader(XmiContent& content, std::uint32_t document, bool evolves);

  void read();

  void startElement(const char* name, AttributeList attributes) override;
  void endElement() override;
  void text(std::string_view piece) override;

 private:
  enum class FrameKind : std::uint8_t {
    Document,   // around the root
    Xmi,        // xmi:XMI
    Element,    // an element of the model
    Data,       // a data value
    Text,       // a plain value as element content
    Reference,  // a reference as element
    MapEntry,   // an entry of a map
    MapPart,    // its key or value as element
    Skipped,    // what is of no interest, with all inside
  };
  struct Frame {
    FrameKind kind;
    const Feature* feature = nullptr;  // what it is the content of
    ModelElement::Impl* element = nullptr;
    TypePlan* plan = nullptr;
    std::uint64_t offset = 0;
    std::size_t namespaces = 0;  // how many it declared
    std::size_t depth = 0;       // of skipped elements inside
    // Where its own part of each of the stacks below begins.
    std::size_t children = 0;
    std::size_t values = 0;
    std::size_t counters = 0;
    std::size_t references = 0;
    std::size_t drafts = 0;
    std::uint32_t draft = 0;     // of Data
    std::uint32_t position = 0;  // among its siblings, for keys that are made from paths
    bool isNil = false;
    bool hasPathKey = false;
    boost::uuids::uuid pathKey = {};
  };
  struct Child {
    const Feature* feature;
    ModelElement element;
  };
  struct ValueItem {
    const Feature* feature;
    boost::optional<Value> value;
    std::uint32_t draft;
  };
  struct ReferenceItem {
    const Feature* feature;
    std::uint64_t offset;
    std::size_t begin;
    std::size_t size;
  };
  struct Counter {
    const Feature* feature;
    std::uint32_t count;
  };
  /// The attributes that XMI gives a meaning.
  struct Specials {
    const char* id = nullptr;
    const char* uuid = nullptr;
    const char* type = nullptr;
    const char* idReference = nullptr;
    const char* href = nullptr;
    bool isNil = false;
  };

  Specials specialsOf(AttributeList attributes);
  Frame& push(FrameKind kind);
  [[nodiscard]] Frame& top() noexcept { return fFrames.back(); }

  void startRoot(const char* name, AttributeList attributes, const Specials& specials);
  void startInElement(const char* name, AttributeList attributes, const Specials& specials);
  void startContained(const Feature& feature, AttributeList attributes, const Specials& specials);
  void startReference(const Feature& feature, AttributeList attributes, const Specials& specials);
  void startData(const Feature& feature, AttributeList attributes, const Specials& specials);
  void startMapEntry(const Feature& feature, AttributeList attributes);
  void startMapPart(const char* name);
  void startElementFrame(TypePlan& plan, const Feature* feature, AttributeList attributes, const Specials& specials,
                         std::uint32_t position);

  void takeAttributes(Frame& frame, AttributeList attributes);
  void takeAttribute(ModelElement::Impl& element, const Feature& feature, const char* value);
  void takeDataAttributes(DataDraft& draft, AttributeList attributes);
  void takeWords(const Feature& feature, std::string_view words);

  void endOf(Frame& frame);
  void endElementFrame(Frame& frame);
  void endData(Frame& frame);
  void endText(Frame& frame);
  void endReference(Frame& frame);
  void endMapEntry(Frame& frame);
  void placeChildren(Frame& frame);
  void placeValues(Frame& frame);
  void placeReferences(Frame& frame);
  void addDataItem(std::uint32_t draft, DataDraft::Item item);

  [[nodiscard]] meta::Package packageOf(std::string_view prefix);
  [[nodiscard]] meta::StructuredType typeNamed(std::string_view qualifiedName);
  [[nodiscard]] boost::uuids::uuid uuidOf(const Specials& specials, Frame* parent, const Feature* feature,
                                          std::uint32_t position);
  [[nodiscard]] boost::uuids::uuid pathKeyOf(Frame& frame);
  [[nodiscard]] std::uint32_t countUp(const Feature& feature);
  void noteId(const Specials& specials, ModelElement::Impl& element);
  void checkPackages();

  [[nodiscard]] std::string path() const;
  [[nodiscard]] ParsePlace here() const;
  [[noreturn]] void fail(const std::string& problem) const;
  [[noreturn]] void failOfFeature(const TypePlan& plan, std::string_view name) const;
  /// Runs a change of the model; what the kernel refuses becomes an error at this place.
  template <class F>
  decltype(auto) atThisPlace(F&& change);

  XmiContent& fContent;
  const std::uint32_t fNumber;
  XmiDocument& fDocument;
  const bool fEvolves;

  std::vector<Frame> fFrames;
  std::vector<Child> fChildren;
  std::vector<ValueItem> fValues;
  std::vector<Counter> fCounters;
  std::vector<ReferenceItem> fReferences;
  std::string fText;
  std::string fMapKey;
  std::string fMapValue;

  // Types by the spelling of a type attribute; void with every new namespace declaration.
  std::unordered_map<std::string, meta::StructuredType> fTypes;
  std::size_t fTypesGeneration = 0;
};

/// The uuid that is made from a name within a document.
[[nodiscard]] boost::uuids::uuid uuidByName(const boost::uuids::uuid& space, std::string_view name);
/// The space of all names that documents give.
[[nodiscard]] const boost::uuids::uuid& spaceOfNames() noexcept;
/// The uuid in an xmi:id of the form that we write; nothing for others.
[[nodiscard]] std::optional<boost::uuids::uuid> uuidInId(std::string_view id) noexcept;
/// The name of an element within a document, for uuidByName.
[[nodiscard]] std::string keyOfId(std::string_view keyPrefix, std::string_view id);

}  // namespace tarn::kern::io::xml
