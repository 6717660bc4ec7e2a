#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>

#include "../ElementRecord.h"
#include "ContentTarget.h"
#include "JsonDocument.h"
#include "JsonReadPlan.h"
#include "MentionedElements.h"

namespace tarn::kern::io {

/// Reads the entries of a JSON document of current content into a model, straight from the tape.
///
/// Elements and data values nest to any depth; the two ways down pass callDeep. Every error is a ParseError.
class JsonModelReader {
 public:
  explicit JsonModelReader(MentionedElements& elements) : fElements(elements) {}

  /// All roots are made before any of them gets its contents, so that they come to stand in the order of the entries,
  /// whatever they refer to.
  void entries(const JsonNode& entries);

 private:
  /// The members of an element or data value.
  struct Parts;
  /// An element whose head has been read, but which nobody has looked for yet.
  struct Head {
    JsonNode node;
    const JsonReadPlan* plan = nullptr;  ///< nullptr: the node is null
    boost::uuids::uuid uuid{};
    JsonNode content;  ///< null where there is none
  };

  /// An element, a reference, or null. @return nullptr for null
  ModelElement::Impl* element(const JsonNode& node) { return element(head(node)); }
  ModelElement::Impl* element(const Head& head);
  [[nodiscard]] Head head(const JsonNode& node);
  [[nodiscard]] const JsonReadPlan& planOf(const JsonNode& node, const Parts& parts);
  [[nodiscard]] static boost::uuids::uuid uuidOf(const JsonNode& node, const Parts& parts);
  template <class Target>
  void contents(Target target, const JsonReadPlan& plan, const JsonNode& content);
  template <class Target>
  void property(Target target, const JsonReadProperty& plan, const JsonNode& node);

  template <class Target>
  void single(Target target, const JsonReadProperty& plan, const JsonNode& node);
  template <class Target>
  void absent(Target target, const JsonReadProperty& plan, const JsonNode& node);
  template <class Target>
  void map(Target target, const JsonReadProperty& plan, const JsonNode& node);
  template <class Target>
  void target(Target target, const JsonReadProperty& plan, const JsonNode& node);
  template <class Target>
  void targets(Target target, const JsonReadProperty& plan, const JsonNode& node);
  void contained(ElementTarget target, const JsonReadProperty& plan, const JsonNode& node);
  void references(const JsonReadProperty& plan, const JsonNode& node);
  void assign(ElementTarget target, const JsonReadProperty& plan);
  void assign(DataTarget target, const JsonReadProperty& plan);
  template <class Target>
  void values(Target target, const JsonReadProperty& plan, const JsonNode& node);
  [[nodiscard]] ModelElement::Impl* fittingElement(const JsonReadProperty& plan, const Head& head);

  [[nodiscard]] Value dataValue(const JsonReadProperty& plan, const JsonNode& node);
  [[nodiscard]] ReflectiveDataType data(const JsonReadProperty& plan, const JsonNode& node);
  /// A single value, or an entry of a collection, that is not null.
  [[nodiscard]] Value value(const JsonReadProperty& plan, const JsonNode& node);

  MentionedElements& fElements;
  JsonReadPlans fPlans;
  std::vector<internal::ElementRecord*> fListed;  ///< what references() has found; kept for its memory
};

}  // namespace tarn::kern::io
