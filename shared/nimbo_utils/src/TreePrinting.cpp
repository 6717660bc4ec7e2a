#include <ostream>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>

#include "PlainText.h"
#include "PrintingParts.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"

/// The tree: elements, their properties, and what is contained in them.
///
/// A plain stream gets the same text as a page, but not through the manipulators: a print would spend much of its time
/// on their temporary texts.
///
/// The walk recurses emitElement -> emitElementProperty -> emitPropertyTree -> emitElement, on fresh stack where that
/// is needed. What is written at each step is in operations of its own that are never inlined: the temporary texts of
/// the manipulators would make the frames of the recursion several times as large, and a deep model is limited by them.
namespace quillon::nimbo {

namespace kern = tarn::kern;
using html::etag;
using html::expander;
using html::tag;
using html::tag2;

namespace {

void putSpan(std::ostream& os, const std::string& text, const char* cls, const std::string& id = {}) {
  if (html::isHTMLStream(os)) {
    os << tag2{"span", text, cls, id};
  } else {
    detail::putText(os, text);
  }
}

/// What folds begins behind the brace, and the brace ends its line.
void putOpening(std::ostream& os, std::string brace, const std::string& id) {
  if (html::isHTMLStream(os)) {
    detail::putText(os, brace);
    os << tag{"span", "tree", id};
    detail::putText(os, "\n");
  } else {
    detail::putText(os, brace += '\n');
  }
}

/// Where links to `id` lead.
void putAnchor(std::ostream& os, const std::string& id) {
  // A plain stream would show preformatted text too.
  if (html::isHTMLStream(os)) os << html::preformatted{"<a name=\"" + id + "\"></a>"};
}

}  // namespace

// --- Elements.

void PrettyPrinter::emitElement(std::ostream& os, const ModelElement& element, const std::string& name,
                                bool composite) {
  if (isElementToHideInTree(element)) return;
  const std::vector<Property> properties = emitElementHead(os, element, name, composite);
  if (properties.empty()) return;
  ++fIndentLevel;
  for (const Property& property : properties) {
    bedrock::stack::callDeep([&] { emitElementProperty(os, element, property); });
  }
  --fIndentLevel;
  emitElementEnd(os);
}

/// Writes the element's line. What comes back is to follow it; it is never anything for a reference.
[[gnu::noinline]] std::vector<PrettyPrinter::Property> PrettyPrinter::emitElementHead(std::ostream& os,
                                                                                      const ModelElement& element,
                                                                                      const std::string& name,
                                                                                      bool composite) {
  std::vector<Property> properties;
  std::string id;
  if (element && composite) {
    id = idOnPage(os, element);
    putAnchor(os, id);
    properties = propertiesInTree(element);
  }
  emitLineStart(os, id, !properties.empty(), name, name.empty() ? "" : ": ");
  if (element) {
    emitElementEntry(os, element, composite);
  } else {
    os << detail::kNullText;
  }
  if (properties.empty()) {
    detail::putText(os, "\n");
  } else {
    putOpening(os, " {", id);
  }
  return properties;
}

std::vector<PrettyPrinter::Property> PrettyPrinter::propertiesInTree(const ModelElement& element) const {
  const std::vector<Property>& all = element->getMetaClass()->getAllProperties();
  std::vector<Property> shown;
  shown.reserve(all.size());
  for (const Property& property : all) {
    if (!isPropertyToHideInTree(element, property)) shown.push_back(property);
  }
  return shown;
}

/// Mentions the element, which numbers it on every stream; the text is empty on a plain one, which shows no ids.
std::string PrettyPrinter::idOnPage(std::ostream& os, const ModelElement& element) {
  if (html::isHTMLStream(os)) return elemId(element);
  if (element) fNumbers.mention(element->getUuid());
  return {};
}

/// Writes a line up to what stands behind its name: `behind` is ": ", or that and a brace. What folds has a button;
/// this takes the two columns by which other lines, and all plain ones, are indented further.
void PrettyPrinter::emitLineStart(std::ostream& os, const std::string& id, bool folds, std::string name,
                                  const char* behind) const {
  if (html::isHTMLStream(os)) {
    if (folds) os << expander{id, false};
    emitIndent(os, folds);
    if (!name.empty()) os << tag2{"span", name, "keyword"};
    detail::putText(os, behind);
  } else {
    emitIndent(os, false);
    detail::putText(os, name.append(behind));
  }
}

/// The brace stands outside of what folds, so that it stays when the properties are folded away.
[[gnu::noinline]] void PrettyPrinter::emitElementEnd(std::ostream& os) {
  emitIndent(os, false);
  if (html::isHTMLStream(os)) os << etag{"span"};
  detail::putText(os, "}\n");
}

void PrettyPrinter::emitElementEntry(std::ostream& os, const ModelElement& element, bool) {
  const std::string id = idOnPage(os, element);
  putSpan(os, element ? detail::nameOf(element->getMetaClass()) : detail::kNullText, "entry", id);
}

// --- Properties.

void PrettyPrinter::emitElementProperty(std::ostream& os, const ModelElement& element, const Property& property) {
  emitPropertyTree(os, property, readProperty(element, property));
}

/// `value` is that of an element's property or of a data value's attribute: the tree makes no difference.
void PrettyPrinter::emitPropertyTree(std::ostream& os, const Property& property, const Value& value) {
  if (property->isReference()) {
    if (detail::isMany(property)) return emitElementsTree(os, property, value);
    return emitElement(os, value.get<ModelElement>(), detail::nameOf(property), property->isComposite);
  }
  if (detail::isMany(property)) return emitValuesTree(os, property, value);
  emitLineStart(os, {}, false, detail::nameOf(property), ": ");
  emitValue(os, property->getType(), value, detail::isOptional(property));
  detail::putText(os, "\n");
}

void PrettyPrinter::emitElementsTree(std::ostream& os, const Property& property, const Value& value) {
  const bool flatten = isPropertyToFlattenInTree(property);
  const kern::ElementCollection& collection = value.toElementCollection();
  const std::vector<ModelElement> members = collection.getAllElements();
  if (!emitElementsHead(os, property, collection.identity(), members.empty(), flatten)) return;
  if (!flatten) ++fIndentLevel;
  for (std::size_t i = 0; i < members.size(); ++i) {
    emitElement(os, members[i], flatten ? "" : detail::memberLabel(i), property->isComposite);
  }
  if (!flatten) --fIndentLevel;
  emitElementsEnd(os, flatten);
}

/// Writes the line of a collection of elements. True when its members are to follow.
[[gnu::noinline]] bool PrettyPrinter::emitElementsHead(std::ostream& os, const Property& property, const void* identity,
                                                       bool empty, bool flatten) {
  const std::string name = detail::nameOf(property);
  const std::string id = html::isHTMLStream(os) ? ptrId(identity) : std::string();
  putAnchor(os, id);
  if (flatten) {
    emitLineStart(os, id, !empty, {}, "");
    putSpan(os, "/* " + name + " */", "comment");
    os << (empty ? "\n\n" : "\n");
    if (!empty) os << tag{"span", "tree", id};
  } else {
    emitLineStart(os, id, !empty, name, empty ? ": {}\n" : ": ");
    if (!empty) putOpening(os, "{", id);
  }
  return !empty;
}

[[gnu::noinline]] void PrettyPrinter::emitElementsEnd(std::ostream& os, bool flatten) {
  if (flatten) {
    os << '\n' << etag{"span"};
  } else {
    emitElementEnd(os);
  }
}

/// All on one line, and nothing that folds.
void PrettyPrinter::emitValuesTree(std::ostream& os, const Property& property, const Value& value) {
  const kern::PrimitiveCollection& values = value.toPrimitiveCollection();
  putAnchor(os, html::isHTMLStream(os) ? ptrId(values.identity()) : std::string());
  emitLineStart(os, {}, false, detail::nameOf(property), ": {");
  ++fIndentLevel;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) detail::putText(os, ", ");
    emitValue(os, property->getType(), values.getValue(i), detail::isOptional(property));
  }
  --fIndentLevel;
  detail::putText(os, "}\n");
}

}  // namespace quillon::nimbo
