#include "JsonWritePlan.h"

#include "JsonText.h"

namespace tarn::kern::io {

namespace {

constexpr std::int64_t kSmallNumbers = 64;

}  // namespace

JsonLiterals::JsonLiterals(const meta::Enum& type) {
  for (const auto& [name, literal] : type->getLiterals()) fByNumber.emplace(literal->getValue(), asJsonString(name));
  for (std::int64_t number = 0; number < kSmallNumbers; ++number) {
    const auto found = fByNumber.find(number);
    fSmall.push_back(found == fByNumber.end() ? nullptr : &found->second);
  }
}

const std::string* JsonLiterals::find(std::int64_t number) const noexcept {
  if (number >= 0 && number < kSmallNumbers) return fSmall[static_cast<std::size_t>(number)];
  const auto found = fByNumber.find(number);
  return found == fByNumber.end() ? nullptr : &found->second;
}

const JsonWritePlan& JsonWritePlans::find(const meta::StructuredType& type, const char* keyBehindType) {
  std::unique_ptr<JsonWritePlan>& plan = fPlans[type];
  if (!plan) plan = std::make_unique<JsonWritePlan>(make(type, keyBehindType));
  return *plan;
}

JsonWritePlan JsonWritePlans::make(const meta::StructuredType& type, const char* keyBehindType) {
  JsonWritePlan plan;
  plan.head = "{\"type\":" + asJsonString(type->getQualifiedName()) + keyBehindType;
  const internal::Layout& layout = type->layout();
  for (const meta::Property& property : type->getAllProperties()) {
    const internal::SlotInfo& slot = *layout.find(property.get());
    // The way back to the container follows from where the contents stand.
    if (property->isOmitted || slot.shape == internal::SlotShape::Container) continue;
    plan.properties.push_back(planOf(slot, property));
  }
  return plan;
}

JsonWriteProperty JsonWritePlans::planOf(const internal::SlotInfo& slot, const meta::Property& property) {
  const boost::optional<Value>& shown = property->defaultValue();
  const Value* const defaultValue = shown && shown->hasObject() ? &*shown : nullptr;
  return {.slot = &slot,
          .property = property,
          .key = asJsonString(property->getName()) + ":",
          .defaultValue = defaultValue,
          .readsAbsentAsNan = slot.storage == StorageType::Real && property->lower > 0 && defaultValue == nullptr,
          .literals = literalsOf(property->getType())};
}

const JsonLiterals* JsonWritePlans::literalsOf(const meta::Type& type) {
  const auto enumeration = narrow<meta::Enum>(type);
  if (!enumeration) return nullptr;
  std::unique_ptr<JsonLiterals>& literals = fLiterals[type];
  if (!literals) literals = std::make_unique<JsonLiterals>(enumeration);
  return literals.get();
}

}  // namespace tarn::kern::io
