#include "BinaryLimits.h"

#include <unordered_set>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace nimbo_tool {

namespace {

using namespace tarn::kern;
using namespace tarn::kern::meta;

std::string reasonAgainst(const Property& property) {
  if (property->isOmitted) return {};
  const Property& opposite = property->getOpposite();
  if (opposite && !property->isComposite && !opposite->isComposite) {
    return "has the opposite " + bedrock::i18n::to_string(opposite->getName()) +
           " and neither of the two is composite: the binary form has no such pairs";
  }
  if (property->getQualifiedBy() && !property->isComposite) {
    return "is qualified and not composite: the binary form has no such references";
  }
  if (property->isCollection() || property->lower > 0) return {};
  const Type& type = property->getType();
  const bool isMap = type == StandardTypes::stringToStringMapMeta;
  const auto primitive = narrow<PrimitiveType>(type);
  const bool isCustom = primitive && !primitive->isStandard();
  if (!isMap && !isCustom && !narrow<DataType>(type)) return {};
  return "is an optional single value of the type " + bedrock::i18n::to_string(type->getQualifiedName()) +
         ": the binary form holds data values, maps and custom values only where they are required";
}

}  // namespace

std::string binaryRefusal(const Model& model) {
  std::unordered_set<const Class::Impl*> known;
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    const Class& type = element->getMetaClass();
    if (!known.insert(type.get()).second) continue;
    for (const Property& property : type->getAllProperties()) {
      const std::string reason = reasonAgainst(property);
      if (reason.empty()) continue;
      return "the property " + bedrock::i18n::to_string(property->getName()) + " of " + element->describe() + " " +
             reason;
    }
  }
  return {};
}

}  // namespace nimbo_tool
