#include <ostream>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>

#include "PrintingParts.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"

/// The tree: elements, their properties, and what is contained in them.
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

/// Where links to `id` lead.
void putAnchor(std::ostream& os, const std::string& id) {
  // A plain stream would show preformatted text too.
  if (html::isHTMLStream(os)) os << html::preformatted{"<a name=\"" + id + "\"></a>"};
}

void putKeyword(std::ostream& os, const std::string& name) { os << tag2{"span", name, "keyword"}; }

void putComment(std::ostream& os, const std::string& name) { os << tag2{"span", "/* " + name + " */", "comment"}; }

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
  if (element && composite) {
    const std::string id = elemId(element);
    putAnchor(os, id);
    for (const Property& property : element->getMetaClass()->getAllProperties()) {
      if (!isPropertyToHideInTree(element, property)) properties.push_back(property);
    }
    if (!properties.empty()) os << expander{id, false};
  }
  emitIndent(os, !properties.empty());
  if (!name.empty()) {
    putKeyword(os, name);
    os << ": ";
  }
  if (element) {
    emitElementEntry(os, element, composite);
  } else {
    os << detail::kNullText;
  }
  if (!properties.empty()) os << " {" << tag{"span", "tree", elemId(element)};
  os << '\n';
  return properties;
}

/// The brace stands outside of what folds, so that it stays when the properties are folded away.
[[gnu::noinline]] void PrettyPrinter::emitElementEnd(std::ostream& os) {
  emitIndent(os, false);
  os << etag{"span"} << "}\n";
}

void PrettyPrinter::emitElementEntry(std::ostream& os, const ModelElement& element, bool) {
  const std::string id = elemId(element);
  os << tag2{"span", element ? detail::nameOf(element->getMetaClass()) : detail::kNullText, "entry", id};
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
  emitIndent(os, false);
  putKeyword(os, detail::nameOf(property));
  os << ": ";
  emitValue(os, property->getType(), value, detail::isOptional(property));
  os << '\n';
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
  const std::string id = ptrId(identity);
  putAnchor(os, id);
  if (!empty) os << expander{id, false};
  emitIndent(os, !empty);
  if (flatten) {
    putComment(os, name);
  } else {
    putKeyword(os, name);
  }
  if (empty) {
    os << (flatten ? "\n\n" : ": {}\n");
  } else if (flatten) {
    os << '\n' << tag{"span", "tree", id};
  } else {
    os << ": {" << tag{"span", "tree", id} << '\n';
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
  putAnchor(os, ptrId(values.identity()));
  emitIndent(os, false);
  putKeyword(os, detail::nameOf(property));
  os << ": {";
  ++fIndentLevel;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) os << ", ";
    emitValue(os, property->getType(), values.getValue(i), detail::isOptional(property));
  }
  --fIndentLevel;
  os << "}\n";
}

}  // namespace quillon::nimbo
