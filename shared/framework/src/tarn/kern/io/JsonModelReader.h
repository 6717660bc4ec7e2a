#pragma once

#include <optional>
#include <string>

#include <tarn/kern/Model.h>

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

  /// An element, a reference, or null. @return nullptr for null
  ModelElement::Impl* element(const JsonNode& node);
  [[nodiscard]] const JsonReadPlan& planOf(const JsonNode& node, const Parts& parts);
  [[nodiscard]] ModelElement::Impl* mention(const JsonNode& node, const Parts& parts, const JsonReadPlan& plan);
  void define(const JsonNode& node, const Parts& parts, const JsonReadPlan& plan, ModelElement::Impl& element);
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
  template <class Target>
  void values(Target target, const JsonReadProperty& plan, const JsonNode& node);
  [[nodiscard]] ModelElement::Impl* fittingElement(const JsonReadProperty& plan, const JsonNode& node);

  [[nodiscard]] Value dataValue(const JsonReadProperty& plan, const JsonNode& node);
  [[nodiscard]] ReflectiveDataType data(const JsonReadProperty& plan, const JsonNode& node);
  /// A single value, or an entry of a collection, that is not null.
  [[nodiscard]] Value value(const JsonReadProperty& plan, const JsonNode& node);

  MentionedElements& fElements;
  JsonReadPlans fPlans;
};

}  // namespace tarn::kern::io
