#include "PackageText.h"

#include <bedrock/i18n.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

namespace ecore_tests {

namespace {

using bedrock::i18n::to_string;
using namespace tarn::kern;

std::string annotationsText(const meta::NamedElement& element, const std::string& indent) {
  std::string text;
  for (const meta::Annotation& annotation : element->getAnnotations()) {
    text += indent + "annotation " + to_string(annotation.source);
    for (const auto& [key, value] : annotation.details) text += " [" + to_string(key) + "=" + to_string(value) + "]";
    text += "\n";
  }
  return text;
}

std::string propertyText(const meta::Property& property) {
  std::string text = "    " + to_string(property->getName()) + ": " +
                     to_string(property->getType()->getQualifiedName()) + " " + std::to_string(property->lower) + ".." +
                     std::to_string(property->upper);
  const std::pair<const char*, bool> flags[] = {
      {" composite", property->isComposite},     {" derived", property->isDerived},
      {" transient", property->isTransient},     {" omitted", property->isOmitted},
      {" unique", property->isUnique},           {" ordered", property->isOrdered},
      {" readOnly", property->isReadOnly},       {" guarded", property->isGuarded},
      {" generic", property->usesGenericStorage}};
  for (const auto& [name, isOn] : flags) {
    if (isOn) text += name;
  }
  if (property->defaultValue()) text += " = " + property->defaultValue()->describe();
  if (property->getOpposite()) text += " <-> " + to_string(property->getOpposite()->getName());
  if (property->getQualifiedBy()) text += " by " + to_string(property->getQualifiedBy()->getName());
  if (property->getOrigin()) text += " of " + to_string(property->getOrigin()->getOwner()->getQualifiedName());
  return text + "\n" + annotationsText(property, "      ");
}

std::string typeText(const meta::Type& type) {
  std::string text = "  " + to_string(type->getMetaClass()->getName()) + " " + to_string(type->getName());
  if (const auto made = narrow<meta::Class>(type)) {
    if (made->isAbstract()) text += " abstract";
    text += " : " + to_string(made->getSuperclass()->getQualifiedName());
    for (const meta::Class& further : made->getFurtherSupertypes())
      text += ", " + to_string(further->getQualifiedName());
  }
  text += "\n" + annotationsText(type, "    ");
  if (const auto structured = narrow<meta::StructuredType>(type)) {
    for (const meta::Property& property : structured->getAllProperties()) text += propertyText(property);
  }
  if (const auto ofLiterals = narrow<meta::Enum>(type)) {
    for (const meta::EnumLiteral& literal : ofLiterals->getLiteralsInOrder()) {
      text += "    " + to_string(literal->getName()) + " = " + std::to_string(literal->getValue()) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string packageText(const meta::Package& package) {
  std::string text = "package " + to_string(package->getQualifiedName()) + " " + to_string(package->getUri()) + " " +
                     to_string(package->getFamily()) + " " + to_string(package->getVersion()) + "\n" +
                     annotationsText(package, "  ");
  for (const meta::Type& type : package->getTypesInOrder()) text += typeText(type);
  for (const meta::Package& inner : package->getPackages()) text += packageText(inner);
  return text;
}

}  // namespace ecore_tests
