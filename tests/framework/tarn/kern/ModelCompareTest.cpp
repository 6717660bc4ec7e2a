#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/tarn/kern/ValueTestModel.h"

namespace tarn::kern {
namespace {

using valuetest::propertyOf;

Value read(const ModelElement& element, std::u16string_view property) {
  return element->getPropertyValue(element->property(property), ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

void addTo(const ModelElement& element, std::u16string_view property, const ModelElement& member) {
  read(element, property).toElementCollection().addElement(member);
}

ReflectiveDataType pointAt(std::int32_t x, std::int32_t y) {
  ReflectiveDataType point(valuetest::point());
  point.set(u"x", x).set(u"y", y);
  return point;
}

/// A box 1 with parts 2 and 3 (a big one), which refer to each other, and a second root 4.
struct SmallModel {
  SmallModel() {
    root->set(u"name", u"root");
    addTo(root, u"parts", first);
    addTo(root, u"parts", second);
    first->set(u"friend", second);
    addTo(second, u"friends", first);
    addTo(second, u"friends", ModelElement());
    addTo(second, u"friends", other);
    read(root, u"numbers").toPrimitiveCollection().addValue(Value(1));
    read(root, u"numbers").toPrimitiveCollection().addValue(Value(2));
    read(root, u"notes").toStringToStringMap().insert(u"key", u"value", CollisionResolution::Replace);
    root->set(u"sheet", sheetReferringTo(other));
    read(root, u"sheets").toPrimitiveCollection().addValue(Value(sheetReferringTo(first)));
  }

  static ReflectiveDataType sheetReferringTo(const ModelElement& target) {
    ReflectiveDataType sheet(valuetest::sheet());
    sheet.set(u"target", target).set(u"point", pointAt(1, 2));
    const auto collection = [&](std::u16string_view name) {
      return sheet.getPropertyValue(propertyOf(valuetest::sheet(), name));
    };
    collection(u"targets").toElementCollection().addElement(target);
    collection(u"points").toPrimitiveCollection().addValue(Value(pointAt(3, 4)));
    return sheet;
  }

  Model model = valuetest::emptyModel();
  ModelElement root = valuetest::newElement(model, valuetest::box(), 1);
  ModelElement first = valuetest::newElement(model, valuetest::box(), 2);
  ModelElement second = valuetest::newElement(model, valuetest::bigBox(), 3);
  ModelElement other = valuetest::newElement(model, valuetest::box(), 4);
};

/// What the comparison says after a change of the second of two equal models; nothing when they are equal.
std::string differenceAfter(const std::function<void(SmallModel&)>& change) {
  const SmallModel left;
  SmallModel right;
  change(right);
  boost::optional<ModelDifference> difference;
  const bool areEqual = modelsEqual(left.model, right.model, &difference);
  EXPECT_EQ(areEqual, !difference);
  const auto back = firstDifference(right.model, left.model);
  EXPECT_EQ(static_cast<bool>(back), static_cast<bool>(difference)) << "the same from either side";
  return difference ? difference->text() : "";
}

constexpr const char* kRoot = "Box (Box 00000000-0000-0000-0000-000000000001)";

TEST(ModelCompare, FindsNothingInModelsOfTheSameContent) {
  EXPECT_EQ(differenceAfter([](SmallModel&) {}), "");
  EXPECT_TRUE(modelsEqual(SmallModel().model, SmallModel().model));
}

TEST(ModelCompare, TakesNullModelsForEqual) {
  EXPECT_TRUE(modelsEqual(Model(), Model()));
  EXPECT_TRUE(modelsEqual(valuetest::emptyModel(), valuetest::emptyModel()));
  EXPECT_EQ(firstDifference(Model(), valuetest::emptyModel())->text(), "model: nothing against a model");
  EXPECT_EQ(firstDifference(valuetest::emptyModel(), Model())->text(), "model: a model against nothing");
}

TEST(ModelCompare, NamesARootThatIsMissing) {
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.other->destroy(); }),
            "top-level elements[1]: valuetest.Box {00000000-0000-0000-0000-000000000004} against nothing");
}

TEST(ModelCompare, NamesAnotherClass) {
  const Model left = valuetest::emptyModel();
  const Model right = valuetest::emptyModel();
  valuetest::newElement(left, valuetest::box(), 1);
  valuetest::newElement(right, valuetest::bigBox(), 1);
  EXPECT_EQ(firstDifference(left, right)->text(),
            std::string(kRoot) +
                ": class: valuetest.Box {00000000-0000-0000-0000-000000000001} against valuetest.BigBox "
                "{00000000-0000-0000-0000-000000000001}");
}

TEST(ModelCompare, NamesThePropertyAndBothValues) {
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.root->set(u"name", u"other"); }),
            std::string(kRoot) + R"(: name: String "root" against String "other")");
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.root->unset(right.root->property(u"name")); }),
            std::string(kRoot) + R"(: name: String "root" against String (absent))");
  EXPECT_EQ(
      differenceAfter([](SmallModel& right) {
        read(right.root, u"notes").toStringToStringMap().insert(u"more", u"", CollisionResolution::Replace);
      }),
      std::string(kRoot) +
          R"(: notes: StringToStringMap {"key": "value"} against StringToStringMap {"key": "value", "more": ""})");
}

TEST(ModelCompare, NamesTheEntryOfACollection) {
  EXPECT_EQ(differenceAfter(
                [](SmallModel& right) { read(right.root, u"numbers").toPrimitiveCollection().setValue(1, Value(7)); }),
            std::string(kRoot) + ": numbers[1]: Integer 2 against Integer 7");
  EXPECT_EQ(differenceAfter(
                [](SmallModel& right) { read(right.root, u"numbers").toPrimitiveCollection().addValue(Value(7)); }),
            std::string(kRoot) + ": numbers[2]: nothing against Integer 7");
}

TEST(ModelCompare, NamesTheTargetOfAReference) {
  const std::string first = "Box/parts[0] (Box 00000000-0000-0000-0000-000000000002)";
  const std::string second = "Box/parts[1] (BigBox 00000000-0000-0000-0000-000000000003)";
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.first->set(u"friend", right.root); }),
            first +
                ": friend: valuetest.BigBox {00000000-0000-0000-0000-000000000003} against valuetest.Box "
                "{00000000-0000-0000-0000-000000000001}");
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.first->unset(right.first->property(u"friend")); }),
            first + ": friend: valuetest.BigBox {00000000-0000-0000-0000-000000000003} against nothing");
  EXPECT_EQ(
      differenceAfter([](SmallModel& right) { read(right.second, u"friends").toElementCollection().removeAt(1); }),
      second + ": friends[1]: null against valuetest.Box {00000000-0000-0000-0000-000000000004}");
}

TEST(ModelCompare, SeesTheOrderOfParts) {
  EXPECT_EQ(differenceAfter([](SmallModel& right) { read(right.root, u"parts").toElementCollection().move(0, 1); }),
            std::string(kRoot) +
                ": parts[0]: valuetest.Box {00000000-0000-0000-0000-000000000002} against "
                "valuetest.BigBox {00000000-0000-0000-0000-000000000003}");
}

TEST(ModelCompare, ComparesElementsInDataValuesByUuid) {
  EXPECT_EQ(
      differenceAfter([](SmallModel& right) { right.root->set(u"sheet", SmallModel::sheetReferringTo(right.first)); }),
      std::string(kRoot) +
          ": sheet.target: valuetest.Box {00000000-0000-0000-0000-000000000004} against "
          "valuetest.Box {00000000-0000-0000-0000-000000000002}");
}

TEST(ModelCompare, NamesThePlaceWithinADataValue) {
  EXPECT_EQ(differenceAfter([](SmallModel& right) {
              ReflectiveDataType sheet = SmallModel::sheetReferringTo(right.other);
              sheet.set(u"point", pointAt(1, 9));
              right.root->set(u"sheet", sheet);
            }),
            std::string(kRoot) + ": sheet.point.y: Integer 2 against Integer 9");
  EXPECT_EQ(differenceAfter([](SmallModel& right) {
              ReflectiveDataType sheet = SmallModel::sheetReferringTo(right.first);
              const Value points = sheet.getPropertyValue(propertyOf(valuetest::sheet(), u"points"));
              points.toPrimitiveCollection().addValue(Value(pointAt(5, 6)));
              read(right.root, u"sheets").toPrimitiveCollection().setValue(0, Value(sheet));
            }),
            std::string(kRoot) + ": sheets[0].points[1]: nothing against valuetest.Point {x: 5, y: 6}");
  EXPECT_EQ(differenceAfter([](SmallModel& right) { right.root->unset(right.root->property(u"nest")); }), "");
  EXPECT_THAT(differenceAfter([](SmallModel& right) { right.root->unset(right.root->property(u"sheet")); }),
              ::testing::EndsWith(" against valuetest.Sheet (absent)"));
}

TEST(ModelCompare, LeavesOutDerivedProperties) {
  EXPECT_EQ(differenceAfter([](SmallModel& right) {
              right.root->set(right.root->property(u"computed"), 5, ReflectionPrivateTag::PRIVILEGED_ACCESS);
            }),
            "");
}

TEST(ModelCompare, SeesThatADataValueWithinAnotherIsMissing) {
  const auto changed = [](SmallModel& right) {
    ReflectiveDataType sheet = SmallModel::sheetReferringTo(right.other);
    sheet.setPropertyValue(propertyOf(valuetest::sheet(), u"point"),
                           Value::createEmptyValue(valuetest::point(), false));
    right.root->set(u"sheet", sheet);
  };
  EXPECT_EQ(differenceAfter(changed),
            std::string(kRoot) + ": sheet.point: valuetest.Point {x: 1, y: 2} against valuetest.Point (absent)");
  SmallModel left;
  SmallModel right;
  changed(left);
  changed(right);
  EXPECT_FALSE(firstDifference(left.model, right.model));
}

TEST(ModelCompare, TakesNullMembersForEqual) {
  SmallModel left;
  SmallModel right;
  for (SmallModel* model : {&left, &right}) addTo(model->root, u"parts", ModelElement());
  EXPECT_FALSE(firstDifference(left.model, right.model));
}

TEST(ModelCompare, LeavesOutDerivedAttributesOfDataValues) {
  meta::PackageBuilder builder(u"comparedData");
  auto& area = builder.addDataType(u"Area");
  area.attribute(u"width", meta::StandardTypes::integerMeta);
  area.attribute(u"size", meta::StandardTypes::integerMeta).derived();
  builder.addClass(u"Field").attribute(u"area", area).required();
  const meta::Package package = builder.registerPackage();
  const auto fieldOf = [&](std::int32_t width, std::int32_t size) {
    Model model = valuetest::emptyModel();
    ReflectiveDataType value(narrow<meta::DataType>(package->getTypes().at(u"Area")));
    value.set(u"width", width).set(u"size", size);
    const auto type = narrow<meta::Class>(package->getTypes().at(u"Field"));
    valuetest::newElement(model, type, 1)->set(u"area", value);
    return model;
  };
  EXPECT_FALSE(firstDifference(fieldOf(1, 2), fieldOf(1, 3)));
  EXPECT_TRUE(firstDifference(fieldOf(1, 2), fieldOf(2, 2)));
}

TEST(ModelCompare, ComparesValuesThatNestToAnyDepth) {
  const auto modelWith = [](ReflectiveDataType nest) {
    Model model = valuetest::emptyModel();
    valuetest::newElement(model, valuetest::box(), 1)->set(u"nest", std::move(nest));
    return model;
  };
  const Model left = modelWith(valuetest::nested(valuetest::deep()));
  EXPECT_TRUE(modelsEqual(left, modelWith(valuetest::nested(valuetest::deep()))));
  const boost::optional<ModelDifference> difference =
      firstDifference(left, modelWith(valuetest::nested(valuetest::deep() - 1)));
  ASSERT_TRUE(difference);
  EXPECT_THAT(difference->where, ::testing::StartsWith(std::string(kRoot) + ": nest.number"));
}

TEST(ModelCompare, ComparesModelsOfAnyDepth) {
  const auto chain = [](std::u16string_view innermost) {
    Model model = valuetest::emptyModel();
    boost::uuids::uuid id{};
    ModelElement inner;
    for (std::size_t i = 0; i < valuetest::deep(); ++i) {
      for (unsigned byte = 0; byte < 4; ++byte) id.data[byte] = static_cast<std::uint8_t>((i + 1) >> (8 * byte));
      ModelElement outer = valuetest::box()->instantiate(model, id);
      if (inner) {
        addTo(outer, u"parts", inner);
      } else {
        outer->set(u"name", ustring(innermost));
      }
      inner = std::move(outer);
    }
    return model;
  };
  const Model left = chain(u"innermost");
  EXPECT_TRUE(modelsEqual(left, chain(u"innermost")));
  const boost::optional<ModelDifference> difference = firstDifference(left, chain(u"other"));
  ASSERT_TRUE(difference);
  EXPECT_EQ(difference->left, R"(String "innermost")");
  EXPECT_THAT(difference->where, ::testing::StartsWith("Box/parts[0]/parts[0]/parts[0]"));
}

}  // namespace
}  // namespace tarn::kern
