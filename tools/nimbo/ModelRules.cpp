#include "ModelRules.h"

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Enum.h>

namespace nimbo_tool {

namespace {

using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::Value;
using tarn::kern::meta::Property;

std::string boundText(std::uint32_t upper) { return upper == Property::Impl::kUnlimited ? "*" : std::to_string(upper); }

class ElementCheck {
 public:
  ElementCheck(const ModelElement& element, Violations& violations) : fElement(element), fViolations(violations) {}

  void check(const Property& property) {
    if (property->isOmitted) return;
    const Value value = fElement->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
    if (property->isCollection()) {
      checkSize(property, value);
    } else {
      checkSingle(property, value);
    }
  }

 private:
  void add(const char* rule, const Property& property, std::string text) {
    fViolations.add(
        {rule, {}, fElement->describe() + "." + bedrock::i18n::to_string(property->getName()), std::move(text)});
  }

  void checkSize(const Property& property, const Value& value) {
    const std::size_t size =
        property->isReference() ? value.toElementCollection().size() : value.toPrimitiveCollection().size();
    if (size < property->lower || (property->upper != Property::Impl::kUnlimited && size > property->upper)) {
      add(size < property->lower ? "bounds.lower" : "bounds.upper", property,
          std::to_string(size) + " members, and " + std::to_string(property->lower) + ".." +
              boundText(property->upper) + " are allowed");
    }
    const auto type = tarn::kern::narrow<tarn::kern::meta::Enum>(property->getType());
    if (!type) return;
    for (const Value& entry : value.toPrimitiveCollection().getAllValues()) checkLiteral(property, type, entry);
  }

  void checkSingle(const Property& property, const Value& value) {
    const bool isAbsent = property->isReference() ? !value.get<ModelElement>() : !value.hasObject();
    if (isAbsent) {
      // An absent required value of a plain type reads and is written as its zero value; a reference has none.
      if (property->lower > 0 && property->isReference()) {
        add("bounds.lower", property, "nothing is referred to, and the property is required");
      }
      return;
    }
    if (const auto type = tarn::kern::narrow<tarn::kern::meta::Enum>(property->getType())) {
      checkLiteral(property, type, value);
    }
  }

  void checkLiteral(const Property& property, const tarn::kern::meta::Enum& type, const Value& value) {
    const auto number = value.get<std::int64_t>();
    if (!type->getLiteral(number)) {
      add("enum.no-literal", property,
          "the number " + std::to_string(number) + " is none of the literals of " +
              bedrock::i18n::to_string(type->getQualifiedName()));
    }
  }

  const ModelElement& fElement;
  Violations& fViolations;
};

}  // namespace

void checkModel(const tarn::kern::Model& model, Violations& violations) {
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::Anywhere)) {
    ElementCheck check(element, violations);
    for (const Property& property : element->getMetaClass()->getAllProperties()) check.check(property);
  }
}

}  // namespace nimbo_tool
