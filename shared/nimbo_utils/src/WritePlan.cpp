#include "WritePlan.h"

#include "StoredTypes.h"
#include "TypeTags.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;

namespace {

using Refusal = PropertyPlan::Refusal;
using Route = PropertyPlan::Route;
using Shape = PropertyPlan::Shape;

/// The reader gets the container by containment.
bool isWayBack(const meta::Property& property) {
  if (property->isComposite || property->getQualifiedBy()) return false;
  const meta::Property& opposite = property->getOpposite();
  return opposite && opposite->isComposite;
}

Refusal refusalOf(const meta::Property& property) {
  if (property->isComposite) return Refusal::None;
  if (property->getQualifiedBy()) return Refusal::QualifiedNotComposite;
  return property->getOpposite() ? Refusal::OppositeNotComposite : Refusal::None;
}

Shape shapeOf(const meta::Property& property, SerializationTag tag) {
  const bool holdsElements = tag == SerializationTag::MODEL_ELEMENT;
  if (property->upper > 1) return holdsElements ? Shape::ManyElements : Shape::ManyValues;
  if (holdsElements) return Shape::SingleElement;
  return property->lower == 0 ? Shape::OptionalValue : Shape::RequiredValue;
}

bool isPlain(SerializationTag tag) {
  return visitStoredType(tag, [](auto) {});
}

/// For a property without default. One that has one is compared with it, which the route must be able to do.
Route routeOf(Shape shape, SerializationTag tag) {
  switch (shape) {
    case Shape::SingleElement:
      return Route::Element;
    case Shape::ManyElements:
      return Route::Elements;
    case Shape::ManyValues:
      return isPlain(tag) && tag != SerializationTag::DATETIME ? Route::FindStorage : Route::ThroughValue;
    case Shape::RequiredValue:
    case Shape::OptionalValue:
      break;
  }
  if (tag == SerializationTag::ENUM) return Route::EnumNumber;
  if (tag == SerializationTag::DATA_TYPE && shape == Shape::RequiredValue) return Route::Data;
  return isPlain(tag) ? Route::Object : Route::ThroughValue;
}

/// A default can be compared in place when it is a single value of the declared type: then Values are equal exactly
/// when what they hold is.
void planComparison(PropertyPlan& plan) {
  if (!plan.hasDefault()) return;
  const kern::Value& value = **plan.defaultValue;
  const bool isOfDeclaredType = value.getType() == plan.type() && value.getMeta().upper == 1;
  if (isOfDeclaredType && plan.route == Route::EnumNumber) {
    plan.defaultObject = value.peek<std::int64_t>();
  } else if (isOfDeclaredType && plan.route == Route::Object) {
    visitStoredType(plan.tag, [&]<class T>(std::type_identity<T>) { plan.defaultObject = value.template peek<T>(); });
  } else {
    plan.route = Route::ThroughValue;
  }
}

PropertyPlan planOf(const meta::Property& property, DefaultValues& defaults) {
  const SerializationTag tag = tagOfType(property->getType());
  const Shape shape = shapeOf(property, tag);
  auto found = defaults.find(property);
  if (found == defaults.end()) found = defaults.emplace(property, property->defaultValue()).first;
  PropertyPlan plan{.property = property,
                    .defaultValue = &found->second,
                    .defaultObject = nullptr,
                    .reference = 0,
                    .tag = tag,
                    .refusal = refusalOf(property),
                    .shape = shape,
                    .route = routeOf(shape, tag),
                    .composite = property->isComposite,
                    .literals = {}};
  planComparison(plan);
  return plan;
}

void addOwnedAttributes(StructurePlan& plan, const meta::StructuredType& type, DefaultValues& defaults) {
  for (const auto& [name, property] : type->getOwnedAttributes()) {
    if (!property->isOmitted && !isWayBack(property)) plan.properties.push_back(planOf(property, defaults));
  }
}

}  // namespace

StructurePlan makePlan(const meta::Class& type, DefaultValues& defaults) {
  StructurePlan plan;
  for (meta::Class level = type; level; level = level->getSuperclass()) addOwnedAttributes(plan, level, defaults);
  return plan;
}

StructurePlan makePlan(const meta::DataType& type, DefaultValues& defaults) {
  StructurePlan plan;
  addOwnedAttributes(plan, type, defaults);
  return plan;
}

}  // namespace quillon::nimbo::detail
