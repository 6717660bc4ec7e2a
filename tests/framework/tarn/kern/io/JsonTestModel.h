#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

/// The meta-model of the tests of JSON: "jsontest", registered at first use, and content for it.
namespace tarn::kern::jsontest {

/// What values of the custom type Money hold; its text form is "12 EUR".
struct Money {
  std::int64_t amount = 0;
  std::u16string currency;
  friend bool operator==(const Money&, const Money&) = default;
};

/// The class of that name:
///   Node: name (String), count (Integer, required, default 5), children (Node, composite, many, opposite parent),
///   parent,
///     only (Node, composite), next (Node), others (Node, many), path (Node, many, not unique), left/right (one to
///     one), owner/owned (one to many), friends/friendOf (many to many), keyed (Node, composite, many, qualified by
///     name)
///   Special extends Node; Shape (abstract); Stranger with name (String)
///   Plain: for each plain type in lower case a property of that name (optional), and those that begin with required,
///     default and many, such as "requiredInteger8"; the same for Color, Money and Point (which has no default);
///     generic (Integer, many, generic storage); map (required), optionalMap
///   Lines: line (Line, required), lines (Line, many)
///   Hidden: derived, transient, guarded, readOnly (all Integer), marks (String, many, unique)
[[nodiscard]] meta::Class classNamed(std::u16string_view name);
/// Point: x, y (Integer, required), label (String). Line: name (String, default "line"), points (Point, many), inner
/// (Line, many), target (Node), targets (Node, many), numbers (Integer, many), ratio (Real), notes (map), color
/// (Color), price (Money), nested (Point).
[[nodiscard]] meta::DataType dataTypeNamed(std::u16string_view name);
[[nodiscard]] meta::Enum color();

[[nodiscard]] Model emptyModel();
/// The uuid 00000000-0000-0000-0000-0000000000XX.
[[nodiscard]] boost::uuids::uuid uuidOf(std::uint8_t last);
ModelElement newElement(const Model& model, std::u16string_view className, std::uint8_t last);
[[nodiscard]] ModelElement elementOf(const Model& model, std::uint8_t last);
void add(const ModelElement& element, std::u16string_view collection, const ModelElement& member);

/// Fills a model with elements of all classes, whose properties have values drawn by chance: every kind in every shape,
/// absent ones too, and what is hard to spell: extreme numbers, NaN, lone surrogates, control characters, bytes that
/// are no UTF-8.
void fillByChance(const Model& model, std::uint32_t seed, std::size_t elements);

/// The text of the model, or of these elements, as JSONSerializer writes it.
[[nodiscard]] std::string written(const Model& model, bool skipsDefaults = true);
[[nodiscard]] std::string written(const std::vector<ModelElement>& elements, bool skipsDefaults = true);
/// A new model with what JSONParser makes of the text.
[[nodiscard]] Model read(const std::string& text);
void readInto(const Model& model, const std::string& text);
/// A document of these entries.
[[nodiscard]] std::string document(const std::string& entries);
/// The text of the error that reading ends in; "no error" otherwise.
[[nodiscard]] std::string errorOf(const std::string& text);
/// Of reading a single element 1 of that class with that content.
[[nodiscard]] std::string errorOfContent(const std::string& className, const std::string& content);

/// What the log's debug stream gets while this lives.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();
  [[nodiscard]] const std::string& text() const noexcept { return fText; }

 private:
  std::string fText;
};

}  // namespace tarn::kern::jsontest
