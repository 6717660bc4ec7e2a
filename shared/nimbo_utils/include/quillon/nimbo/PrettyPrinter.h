#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Property.h>

#include "quillon/nimbo/detail/UuidNumbers.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

namespace detail {
class PlainTree;
}

/// Prints any model as an indented tree, and as a report page to browse it in.
///
///     Package {                       A line per property: attributes as values, references as the entry of their
///         name: "top"                 target, contained elements in full. (Each line starts two columns further to the
///         parts: {                    right than shown: on the page that is the room of the buttons that fold.)
///             [0]: Part
///             [1]: Part {
///                 size: 3
///             }
///         }
///         owner: Team
///     }
///
/// One walk serves both outputs: on a plain stream it gives this text; on an HTML aware stream (html/StringStream.h,
/// html/OFStream.h) the same statements give the tree of the page. A page has a second walk, emitElementDef, which
/// describes each element for the table beside the tree. The rule of the table: what the tree shows is only linked from
/// it, what the tree hides is spelled out in it.
///
/// Left out of the tree, unless a flag asks for it: values that equal their property's default, empty collections and
/// null references. What cannot be read (isPropertyToFullyHide) never shows and stops nothing.
///
/// Derive from it to hide, flatten or decorate: each virtual operation says when it is asked. Overrides may call the
/// defaults, and write markup with html/Manipulators.h.
///
/// Elements are followed through composite properties only, so cycles of references do not matter. Containment and data
/// values may nest to any depth that the text can be written for: since each level is indented further, the text of a
/// chain grows with the square of its depth.
///
/// Failures: what the framework and the stream throw passes through, but for isPropertyToFullyHide; the indentation
/// stays where it was then, so such a printer is spent. A null model, element or property where one is needed is a
/// std::invalid_argument. Threads: one at a time.
class NIMBO_EXPORT PrettyPrinter {
 public:
  using Model = tarn::kern::Model;
  using ModelElement = tarn::kern::ModelElement;
  using Property = tarn::kern::meta::Property;
  using Type = tarn::kern::meta::Type;
  using Value = tarn::kern::Value;

  PrettyPrinter();
  /// A copy has the flags and the numbers, so it goes on numbering where its source stood.
  PrettyPrinter(const PrettyPrinter& other);
  PrettyPrinter& operator=(const PrettyPrinter& other);
  virtual ~PrettyPrinter();

  // --- What a derived printer may change.

  /// Whether the element shows nowhere in the tree. By default: null elements, unless emitNullElements is on.
  virtual bool isElementToHideInTree(const ModelElement& element) const;

  /// Whether the property shows neither in the tree nor in the table. By default: when reading it throws, whatever it
  /// throws. The reading covers the elements of a collection, but not the look of other values, so that an enum or map
  /// that is broken inside still throws from the walk. An override that calls this keeps the protection.
  virtual bool isPropertyToFullyHide(const ModelElement& element, const Property& property) const;

  /// Whether the property is left out of the tree; what is left out only here is spelled out in the table. By default:
  /// what isPropertyToFullyHide hides; references to hidden elements and collections of nothing but those; values equal
  /// to their default; empty collections; the last three as the flags say. An absent value without default shows.
  virtual bool isPropertyToHideInTree(const ModelElement& element, const Property& property) const;

  /// Whether the elements of the collection stand in the tree as if they were properties of its owner: without braces,
  /// numbers and indentation. Asked for class-typed collections. By default never.
  virtual bool isPropertyToFlattenInTree(const Property& property) const;

  /// Adds to the description of an element, as its last rows. By default nothing.
  virtual void emitElementDefExtras(std::ostream& os, const ModelElement& element);

  /// Writes one property of an element in the tree: whole lines.
  virtual void emitElementProperty(std::ostream& os, const ModelElement& element, const Property& property);

  /// Writes a single value within a line of the tree, as a reader of source text expects it: texts in quotes, "true",
  /// an enum's literal, a map as {"a" -> "1"}; a data value is a block in braces. 8-bit numbers are characters. Absent
  /// (only asked for when `optional`): "<null>", but a data value by its defaults. Unsigned 64-bit numbers and custom
  /// types: "<unsupported>".
  virtual void emitValue(std::ostream& os, const Type& type, const Value& value, bool optional);

  /// Writes a single value as a row of a description, in the colour of its kind: bare texts, "TRUE", times in the
  /// framework's text form; maps and data values take a row for each of their parts. Otherwise as emitValue, except
  /// that an absent optional Boolean shows as "TRUE".
  virtual void emitValueDescItem(std::ostream& os, const std::string& name, const Type& type, const Value& value,
                                 bool optional);

  /// Writes what stands for an element in a line: by default the name of its class, on the page the live spot for mouse
  /// and click. `composite`: the element's own properties follow. elemStr comes from here too.
  virtual void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite);

  // --- What to show. All are off at first.

  PrettyPrinter& emitDefaultValues(bool on);
  PrettyPrinter& emitEmptyCollections(bool on);
  PrettyPrinter& emitNullElements(bool on);

  // --- Printing.

  /// Writes the top-level elements in their order, each in full; no heading, no footer. On an HTML aware stream this is
  /// the tree alone.
  void print(std::ostream& os, const Model& model);

  /// Writes a self-contained page: the tree, a description of every element, style and script.
  /// A file that cannot be opened is lost in silence (html/OFStream.h). When a walk throws, the page is closed and the
  /// exception passes on.
  void generateHTMLFile(const std::string& path, const Model& model);

  // --- The steps of the walks, for derived printers.

  /// Writes an element into the tree: one line, or with `composite` the element in full. `name` labels it; empty: none.
  void emitElement(std::ostream& os, const ModelElement& element, const std::string& name, bool composite);

  /// Writes the description of an element, which must not be null. On an HTML aware stream this is an entry of the
  /// table and has its place between html::defs and html::edefs.
  void emitElementDef(std::ostream& os, const ModelElement& element);

  /// Writes the rows of one property of that description.
  void emitElementPropertyDef(std::ostream& os, const ModelElement& element, const Property& property);

  /// The number that stands for the element on the page, in decimal; "0" for null. Numbers are given at first mention,
  /// from 1, and kept by uuid as long as the printer lives: two prints agree.
  std::string elemId(const ModelElement& element);

  /// What emitElementEntry writes for a reference to it, without markup; "_" when that is nothing, "<null>" for null.
  std::string elemStr(const ModelElement& element);

  /// The blanks at the start of a line of the current level, behind an html::expander or without one.
  std::string indent(bool expander);

  /// The id of a collection on the page, from its address.
  static std::string ptrId(const void* pointer);

 private:
  friend class detail::PlainTree;  // what print does on most streams

  static Value readProperty(const ModelElement& element, const Property& property);
  [[nodiscard]] std::size_t indentWidth(bool expander) const;
  void emitIndent(std::ostream& os, bool expander) const;

  [[nodiscard]] bool isReferenceToHideInTree(const ModelElement& element, const Property& property) const;
  [[nodiscard]] bool mayEqualHiddenDefault(const Property& property) const;
  [[nodiscard]] bool equalsHiddenDefault(const Property& property, const Value& value) const;

  std::vector<Property> emitElementHead(std::ostream& os, const ModelElement& element, const std::string& name,
                                        bool composite);
  void emitElementEnd(std::ostream& os);
  [[nodiscard]] std::vector<Property> propertiesInTree(const ModelElement& element) const;
  std::string idOnPage(std::ostream& os, const ModelElement& element);
  void emitLineStart(std::ostream& os, const std::string& id, bool folds, std::string name, const char* behind) const;
  void emitPropertyTree(std::ostream& os, const Property& property, const Value& value);
  void emitElementsTree(std::ostream& os, const Property& property, const Value& value);
  bool emitElementsHead(std::ostream& os, const Property& property, const void* identity, bool empty, bool flatten);
  void emitElementsEnd(std::ostream& os, bool flatten);
  void emitValuesTree(std::ostream& os, const Property& property, const Value& value);
  void emitDataTree(std::ostream& os, const Type& type, const tarn::kern::ReflectiveDataType& data);

  void emitPropertyDef(std::ostream& os, const Property& property, const Value& value, const std::string& prefix,
                       bool hiddenInTree);
  void emitTargetDef(std::ostream& os, const std::string& label, const ModelElement& target);
  void emitElementsDef(std::ostream& os, const std::string& label, const Value& value, const std::string& prefix,
                       bool hiddenInTree);
  void emitValuesDef(std::ostream& os, const std::string& label, const Property& property, const Value& value,
                     bool hiddenInTree);
  bool emitCollectionLink(std::ostream& os, const std::string& label,
                          const tarn::kern::AbstractOwnedCollection& collection, bool hiddenInTree) const;
  void emitDataDef(std::ostream& os, const std::string& name, const Type& type,
                   const tarn::kern::ReflectiveDataType& data);

  bool fEmitEmptyCollections = false;
  bool fEmitNullElements = false;
  bool fEmitDefaultValues = false;
  std::int32_t fIndentLevel = 0;  ///< in units of four columns
  detail::UuidNumbers fNumbers;
};

/// The same with a printer of the default kind, made for the call.
NIMBO_EXPORT void print(std::ostream& os, const tarn::kern::Model& model);
NIMBO_EXPORT void generateHTMLFile(const std::string& path, const tarn::kern::Model& model);

}  // namespace quillon::nimbo
