#include "ErrorTexts.h"

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>

#include "NearestName.h"

namespace tarn::kern::internal::texts {

using bedrock::i18n::to_string;

std::string className(const meta::Class& type) { return to_string(type->getQualifiedName()); }

std::string propertyName(const meta::Property& property) {
  const meta::StructuredType owner = property->getOwner();
  const std::string name = "\"" + to_string(property->getName()) + "\"";
  return owner ? name + " of " + to_string(owner->getQualifiedName()) : name;
}

namespace {

std::string slotName(const SlotInfo& slot) {
  return propertyName(meta::Property(const_cast<meta::Property::Impl*>(slot.property)));  // handles are not const
}

std::string uuidText(const ElementImpl& element) { return boost::lexical_cast<std::string>(element.getUuid()); }

}  // namespace

std::string uuidTaken(const meta::Class& wanted, const ElementRecord& holder) {
  return "cannot make a " + className(wanted) + " with the uuid " + uuidText(holder) + ": the model holds " +
         holder.describe() + " already; find that element instead, or pass the nil uuid for a fresh one";
}

std::string modelFull() { return "cannot make another element: a model holds at most 4,294,967,293"; }

std::string abstractClass(const meta::Class& type) {
  return "cannot make an element of the abstract class " + className(type) +
         ": name one of the classes derived from it";
}

std::string nullModel(const meta::Class& type) {
  return "cannot make a " + className(type) + " in a null model: create one with Model::create first";
}

std::string nullProperty(const ModelElement::Impl& element) {
  return "a null property was asked of " + element.describe() + ": look the property up by its name first";
}

std::string foreignProperty(const ModelElement::Impl& element, const meta::Property& property) {
  return "the property " + propertyName(property) + " was asked of " + element.describe() + ", whose class " +
         className(element.getMetaClass()) + " lacks it";
}

std::string unknownProperty(const ModelElement::Impl& element, std::u16string_view name) {
  NearestName nearest(name);
  for (const meta::Property& property : element.getMetaClass()->getAllProperties()) nearest.offer(property->getName());
  return "the class " + className(element.getMetaClass()) + " has no property \"" + to_string(ustring(name)) + "\"" +
         nearest.suggestion();
}

std::string guardedProperty(const ModelElement::Impl& element, const meta::Property& property) {
  return "the property " + propertyName(property) + " of " + element.describe() +
         " is guarded: it is read and written with privileged access only";
}

std::string readOnlyProperty(const ModelElement::Impl& element, const meta::Property& property) {
  return "the property " + propertyName(property) + " of " + element.describe() +
         " is read-only: it is written with privileged access only";
}

std::string metaElementHasNoProperties(const ModelElement::Impl& element) {
  return element.describe() + " belongs to the meta-model: its features are read through its own operations";
}

std::string metaElementIsFixed(const ModelElement::Impl& element) {
  return element.describe() + " belongs to the meta-model, which does not change once it is registered";
}

std::string destroyed(const ElementRecord& element) {
  return "the " + className(element.getMetaClass()) + " element " + uuidText(element) +
         " was destroyed, or its model is gone: a handle to it can only be dropped";
}

std::string otherModel(const ElementRecord& element, const SlotInfo& slot, const ElementRecord& target) {
  return "cannot put " + target.describe() + " into " + slotName(slot) + " of " + element.describe() +
         ": it lives in another model; clone it into this one first";
}

std::string notInAModel(const ModelElement::Impl& target) {
  return "cannot refer to " + target.describe() + ": it belongs to the meta-model, not to a model";
}

std::string containmentCycle(const ElementRecord& parent, const SlotInfo& slot, const ElementRecord& child) {
  return "cannot put " + child.describe() + " into " + slotName(slot) + " of " + parent.describe() +
         ": the element would contain itself";
}

std::string indexOutOfRange(const meta::Property& property, std::size_t index, std::size_t size) {
  return "index " + std::to_string(index) + " is outside the collection " + propertyName(property) + ", which holds " +
         std::to_string(size) + (size == 1 ? " entry" : " entries");
}

std::string snapshot(const meta::Property& property) {
  return "this collection " + propertyName(property) +
         " is the snapshot that copying a Value makes, so a change would be lost; change the collection "
         "through the Value that getPropertyValue returned, or move that Value instead of copying it";
}

std::string transactionEnded() {
  return "this transaction has ended already: by commit, by rollBack, with the one around it, or with its model";
}

std::string innerTransactionOpen() {
  return "a transaction that began later on the same model is still open: end that one first";
}

std::string transactionOpen(const char* wanted) {
  return std::string("cannot ") + wanted + " while a transaction is open: end it first";
}

std::string nothingTo(const char* wanted) {
  return std::string("there is nothing to ") + wanted + ": ask can" + (wanted[0] == 'u' ? "Undo" : "Redo") +
         " before, and setUndoLimit to have transactions kept";
}

}  // namespace tarn::kern::internal::texts
