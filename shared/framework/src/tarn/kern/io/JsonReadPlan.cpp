#include "JsonReadPlan.h"

#include <bedrock/i18n.h>
#include <tarn/kern/meta/MetaRegistry.h>

namespace tarn::kern::io {

using bedrock::i18n::ustring_to_utf8;

bool JsonReadProperty::takes(const meta::Class& actual) const {
  if (actual == lastConformingClass) return true;
  if (!actual->conformsTo(targetClass)) return false;
  lastConformingClass = actual;
  return true;
}

const JsonReadProperty* JsonReadPlan::find(std::string_view name, std::size_t expected) const {
  constexpr std::size_t kUsuallyLeftOut = 4;  // values that equal their default, mostly
  for (std::size_t i = expected; i < properties.size() && i < expected + kUsuallyLeftOut; ++i) {
    if (properties[i].name == name) return &properties[i];
  }
  const auto found = byName.find(name);
  return found == byName.end() ? nullptr : &properties[found->second];
}

const JsonReadPlan* JsonReadPlans::ofClass(std::string_view name) {
  // Length and last letter tell the few types of a text apart well enough.
  Recent& recent = fRecent[(name.size() + (name.empty() ? 0U : static_cast<unsigned char>(name.back()))) % kRecent];
  if (recent.plan != nullptr && recent.name == name) return recent.plan;
  auto found = fByName.find(name);
  if (found == fByName.end()) {
    const meta::Type type = meta::MetaRegistry::getInstance()->getType(bedrock::i18n::utf8_to_ustring(name));
    const auto metaClass = narrow<meta::Class>(type);
    found = fByName.emplace(std::string(name), metaClass ? &of(metaClass) : nullptr).first;
  }
  recent = {found->first, found->second};
  return found->second;
}

const JsonReadPlan& JsonReadPlans::of(const meta::StructuredType& type) {
  std::unique_ptr<JsonReadPlan>& plan = fPlans[type];
  if (!plan) plan = std::make_unique<JsonReadPlan>(make(type));
  return *plan;
}

JsonReadPlan JsonReadPlans::make(const meta::StructuredType& type) {
  JsonReadPlan plan{.type = type, .metaClass = narrow<meta::Class>(type), .properties = {}, .byName = {}};
  const internal::Layout& layout = type->layout();
  for (const meta::Property& property : type->getAllProperties()) {
    const std::size_t position = plan.properties.size();
    plan.properties.push_back(planOf(*layout.find(property.get()), property, position));
    plan.byName.emplace(plan.properties.back().name, position);
  }
  return plan;
}

JsonReadProperty JsonReadPlans::planOf(const internal::SlotInfo& slot, const meta::Property& property,
                                       std::size_t position) {
  const meta::Type& type = property->getType();
  const auto dataType = narrow<meta::DataType>(type);
  const bool hasDefault = property->defaultValue() && property->defaultValue()->hasObject();
  return {.property = property,
          .slot = &slot,
          .name = ustring_to_utf8(property->getName()),
          .position = position,
          .targetClass = narrow<meta::Class>(type),
          .dataType = dataType,
          .dataTypeName = dataType ? ustring_to_utf8(dataType->getQualifiedName()) : std::string(),
          .literals = literalsOf(type),
          .readsNullAsNan = slot.storage == StorageType::Real && property->lower > 0 && !hasDefault,
          .lastConformingClass = {}};
}

const ByText<std::int64_t>* JsonReadPlans::literalsOf(const meta::Type& type) {
  const auto enumeration = narrow<meta::Enum>(type);
  if (!enumeration) return nullptr;
  std::unique_ptr<ByText<std::int64_t>>& literals = fLiterals[type];
  if (!literals) {
    literals = std::make_unique<ByText<std::int64_t>>();
    for (const auto& [name, literal] : enumeration->getLiterals()) {
      literals->emplace(ustring_to_utf8(name), literal->getValue());
    }
  }
  return literals.get();
}

}  // namespace tarn::kern::io
