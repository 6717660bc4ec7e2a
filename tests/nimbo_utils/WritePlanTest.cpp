#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "WritePlan.h"
#include "support/TestMetaModel.h"

namespace quillon::nimbo::detail {
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Value;
using testing::ElementsAre;
using testsupport::sampleMetaModel;
using Route = PropertyPlan::Route;

std::vector<std::u16string> namesIn(const StructurePlan& plan) {
  std::vector<std::u16string> names;
  for (const PropertyPlan& property : plan.properties) names.push_back(property.property->getName());
  return names;
}

/// The plan of a property of the class Defaults of "sample", whose default is said to be `value`.
PropertyPlan planWithDefault(const std::u16string& name, const Value& value) {
  const meta::Class type = sampleMetaModel().classNamed(u"Defaults");
  DefaultValues defaults;
  defaults[type->getProperty(name)] = value;
  for (PropertyPlan& plan : makePlan(type, defaults).properties) {
    if (plan.property->getName() != name) continue;
    plan.defaultValue = nullptr;  // it dies here
    return plan;
  }
  ADD_FAILURE() << "no such property";
  return {};
}

TEST(WritePlan, HasOwnPropertiesByNameThenThoseOfTheSuperclass) {
  DefaultValues defaults;
  EXPECT_THAT(namesIn(makePlan(sampleMetaModel().classNamed(u"ChainTail"), defaults)),
              ElementsAre(u"beta", u"mid", u"alpha", u"zeta"));
}

TEST(WritePlan, LeavesOutWhatIsOmittedAndTheWayBackToTheContainer) {
  DefaultValues defaults;
  EXPECT_THAT(namesIn(makePlan(sampleMetaModel().classNamed(u"Omitting"), defaults)), ElementsAre(u"kept"));
  EXPECT_THAT(namesIn(makePlan(sampleMetaModel().classNamed(u"Box"), defaults)),
              ElementsAre(u"content", u"link", u"links", u"name", u"parts"));
}

TEST(WritePlan, ComparesADefaultInPlaceWhenItIsOneValueOfTheDeclaredType) {
  const PropertyPlan count = planWithDefault(u"count", Value(std::int32_t{5}));
  EXPECT_EQ(count.route, Route::Object);
  EXPECT_NE(count.defaultObject, nullptr);
  const meta::Type color = sampleMetaModel().type(u"Color");
  const PropertyPlan literal =
      planWithDefault(u"color", Value(kern::ValueMeta(color, kern::ValueFlags::Single), std::int64_t{7}));
  EXPECT_EQ(literal.route, Route::EnumNumber);
  EXPECT_NE(literal.defaultObject, nullptr);
}

// This framework refuses such defaults when they are declared, another one need not.
TEST(WritePlan, ComparesThroughValuesADefaultOfAnotherType) {
  EXPECT_EQ(planWithDefault(u"count", Value(std::int64_t{5})).route, Route::ThroughValue);
  EXPECT_EQ(planWithDefault(u"color", Value(std::int64_t{7})).route, Route::ThroughValue);
}

TEST(WritePlan, ComparesThroughValuesADefaultThatIsACollection) {
  const meta::Type integer = sampleMetaModel().classNamed(u"Defaults")->getProperty(u"count")->getType();
  const Value many(kern::ValueMeta(integer, kern::ValueFlags::Collection), std::int32_t{5});
  EXPECT_EQ(planWithDefault(u"count", many).route, Route::ThroughValue);
}

}  // namespace
}  // namespace quillon::nimbo::detail
