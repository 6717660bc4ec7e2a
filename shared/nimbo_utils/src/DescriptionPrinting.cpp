#include <stdexcept>

#include <tarn/kern/Collections.h>

#include "DescriptionRows.h"
#include "PrintingParts.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"

/// The table: a description of one element, made of rows. What the tree shows is linked, what it hides is spelled out.
namespace quillon::nimbo {

namespace kern = tarn::kern;
using html::descEntry;
using html::descItem;
using html::descLink;

void PrettyPrinter::emitElementDefExtras(std::ostream&, const ModelElement&) {}

void PrettyPrinter::emitElementDef(std::ostream& os, const ModelElement& element) {
  if (!element) throw std::invalid_argument("a null element has no description: pass an element");
  const std::string id = elemId(element);
  os << html::def{detail::nameOf(element->getMetaClass()), elemStr(element), id, "#" + id};
  os << descItem{"UUID", "attrId", element->getUuid()};
  if (const ModelElement container = element->container(); fEmitNullElements || container) {
    os << descEntry{"container", elemStr(container), elemId(container)};
  }
  for (const Property& property : element->getMetaClass()->getAllProperties()) {
    if (!isPropertyToFullyHide(element, property)) emitElementPropertyDef(os, element, property);
  }
  emitElementDefExtras(os, element);
  os << html::etag{"div"};  // of the description, which `def` left open
}

void PrettyPrinter::emitElementPropertyDef(std::ostream& os, const ModelElement& element, const Property& property) {
  const bool hiddenInTree = isElementToHideInTree(element) || isPropertyToHideInTree(element, property);
  emitPropertyDef(os, property, readProperty(element, property), "", hiddenInTree);
}

/// `value` is that of an element's property or, with a prefix, of a data value's attribute.
void PrettyPrinter::emitPropertyDef(std::ostream& os, const Property& property, const Value& value,
                                    const std::string& prefix, bool hiddenInTree) {
  const std::string label = prefix + detail::nameOf(property);
  if (property->isReference()) {
    if (detail::isMany(property)) return emitElementsDef(os, label, value, prefix, hiddenInTree);
    return emitTargetDef(os, label, value.get<ModelElement>());
  }
  if (detail::isMany(property)) return emitValuesDef(os, label, property, value, hiddenInTree);
  if (equalsHiddenDefault(property, value)) return;
  emitValueDescItem(os, label, property->getType(), value, detail::isOptional(property));
}

void PrettyPrinter::emitTargetDef(std::ostream& os, const std::string& label, const ModelElement& target) {
  if (target || fEmitNullElements) os << descEntry{label, elemStr(target), elemId(target)};
}

/// All that is said of a collection, unless its members have to be spelled out. False when they have to.
bool PrettyPrinter::emitCollectionLink(std::ostream& os, const std::string& label,
                                       const kern::AbstractOwnedCollection& collection, bool hiddenInTree) const {
  if (collection.empty()) {
    if (fEmitEmptyCollections) os << descLink{label, "{}", "#" + ptrId(collection.identity())};
    return true;
  }
  if (!hiddenInTree) os << descLink{label, "{...}", "#" + ptrId(collection.identity())};
  return !hiddenInTree;
}

void PrettyPrinter::emitElementsDef(std::ostream& os, const std::string& label, const Value& value,
                                    const std::string& prefix, bool hiddenInTree) {
  const kern::ElementCollection& collection = value.toElementCollection();
  if (emitCollectionLink(os, label, collection, hiddenInTree)) return;
  os << descItem{label, "attrId", ""};
  const std::vector<ModelElement> members = collection.getAllElements();
  for (std::size_t i = 0; i < members.size(); ++i) {
    os << descEntry{prefix + "  " + detail::memberLabel(i), elemStr(members[i]), elemId(members[i])};
  }
}

/// Unlike those of elements, the labels of the members carry no prefix.
void PrettyPrinter::emitValuesDef(std::ostream& os, const std::string& label, const Property& property,
                                  const Value& value, bool hiddenInTree) {
  const kern::PrimitiveCollection& values = value.toPrimitiveCollection();
  if (emitCollectionLink(os, label, values, hiddenInTree)) return;
  os << descItem{label, "attrId", ""};
  for (std::size_t i = 0; i < values.size(); ++i) {
    emitValueDescItem(os, "  " + detail::memberLabel(i), property->getType(), values.getValue(i),
                      detail::isOptional(property));
  }
}

}  // namespace quillon::nimbo
