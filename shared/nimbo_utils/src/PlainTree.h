#pragma once

#include <deque>
#include <ostream>
#include <span>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>

#include "TextStage.h"
#include "TreePlan.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/detail/PtrMap.h"

namespace quillon::nimbo::detail {

/// The tree of a printer that overrides nothing, on a stream that shows plain text in the usual formats.
///
/// The text is that of the printer's own walk, which asks an overridable operation at each step and writes each piece
/// to the stream by itself. That is most of the time of a print, and here nobody could tell: so what shows of a class
/// is worked out once, elements are read in place, and lines are put together before they go out. What is rare (data
/// values, maps, custom types) is left to the printer's walk, in its place in the text.
class PlainTree {
 public:
  /// Whether this way may be taken.
  [[nodiscard]] static bool suits(const PrettyPrinter& printer, std::ostream& os);

  /// @pre suits(printer, os)
  PlainTree(PrettyPrinter& printer, std::ostream& os);

  /// As PrettyPrinter::print.
  void print(const tarn::kern::Model& model);

 private:
  using Element = tarn::kern::ModelElement::Impl;

  /// The value of one property of an element, in place.
  struct Content {
    bool isHidden = false;
    const void* object = nullptr;  ///< nullptr: absent
    Element* target = nullptr;
    std::span<Element* const> members = {};
  };

  [[nodiscard]] TreePlan& planOf(const Element& element);
  void mention(const Element& element);
  void putIndent();

  void putTopLevel(const tarn::kern::Model& model);
  void putInFull(Element& element);
  void putMember(Element* member, bool composite);

  [[nodiscard]] Content read(Element& element, TreeLine& line) const;
  [[nodiscard]] Content readInPlace(Element& element, TreeLine& line) const;
  [[nodiscard]] Content readObject(const Element& element, const TreeLine& line) const;
  [[nodiscard]] Content readNumber(const Element& element, const TreeLine& line) const;
  [[nodiscard]] Content readMembers(const Element& element, const TreeLine& line) const;
  [[nodiscard]] Content readEntries(const Element& element, const TreeLine& line) const;
  [[nodiscard]] Content askPrinter(Element& element, const TreeLine& line) const;

  void putLine(Element& element, const TreeLine& line, const Content& content);
  void putMembers(const Element& element, const TreeLine& line, std::span<Element* const> members);
  void putEntries(const TreeLine& line, const void* entries);

  PrettyPrinter& fPrinter;
  TextStage fStage;
  std::ostream fStream;  ///< into the stage, for what the printer's walk writes
  std::deque<TreePlan> fPlans;
  PtrMap<tarn::kern::meta::Class, TreePlan*> fPlanOfClass;
};

}  // namespace quillon::nimbo::detail
