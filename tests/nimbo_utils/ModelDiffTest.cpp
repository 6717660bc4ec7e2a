#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/Cloner.h"
#include "quillon/nimbo/ModelDiff.h"
#include "support/CloningMetaModel.h"
#include "support/TestMetaModel.h"

namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;
using Kind = ElementChange::Kind;
using testing::ElementsAre;
using testsupport::addTo;
using testsupport::emptyModel;
using testsupport::innerType;
using testsupport::linkType;
using testsupport::membersOf;
using testsupport::newNode;
using testsupport::nodeIn;
using testsupport::targetOf;
using testsupport::valueOf;

/// The old state is a clone; what a test does to `model` is the difference.
class ModelDiffTest : public testing::Test {
 protected:
  void SetUp() override {
    addTo(a, u"children", b);
    addTo(a, u"children", c);
    addTo(a, u"children", d);
    Cloner(old).clone(model);
  }

  [[nodiscard]] std::string text() const {
    std::ostringstream os;
    os << diff(old, model);
    return os.str();
  }

  /// The lines of the properties of the one element that changed.
  [[nodiscard]] std::vector<std::string> changes() const {
    const ModelDiff difference = diff(old, model);
    std::vector<std::string> lines;
    if (difference.changes.size() != 1) return {"not one element changed: " + text()};
    for (const PropertyChange& change : difference.changes.front().properties) {
      lines.push_back(change.property + ": " + change.oldValue + " -> " + change.newValue);
    }
    return lines;
  }

  void takeState() {
    old = emptyModel();
    Cloner(old).clone(model);
  }

  Model model = emptyModel();
  Model old = emptyModel();
  ModelElement a = newNode(model, 1, u"a");
  ModelElement b = newNode(model, 2, u"b");
  ModelElement c = newNode(model, 3);
  ModelElement d = newNode(model, 4, u"d");
};

TEST_F(ModelDiffTest, EqualModelsHaveNoDifferences) {
  EXPECT_TRUE(diff(old, model).empty());
  EXPECT_TRUE(diff(model, model).empty());
  EXPECT_TRUE(diff(emptyModel(), emptyModel()).empty());
  EXPECT_EQ(text(), "no differences\n");
}

TEST_F(ModelDiffTest, NullModelsAreRefused) {
  EXPECT_THROW(static_cast<void>(diff(Model(), model)), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(diff(model, Model())), std::invalid_argument);
}

TEST_F(ModelDiffTest, EveryKindOfDifferenceIsPrinted) {
  b->destroy();
  const ModelElement e = newNode(model, 5, u"e", u"Leaf");
  addTo(e, u"children", newNode(model, 6, u"f"));
  addTo(nodeIn(model, 6), u"items", newNode(model, 7, u"g"));
  e->set(u"child", d);
  c->set(u"name", u"c");
  EXPECT_EQ(text(),
            "1 removed, 3 added, 1 moved, 1 changed\n"
            "- Node \"b\" {00000000-0000-0000-0000-000000000002} from Node \"a\" "
            "{00000000-0000-0000-0000-000000000001}.children[0]\n"
            "* Node \"c\" {00000000-0000-0000-0000-000000000003}\n"
            "    name: (absent) -> \"c\"\n"
            "+ Leaf \"e\" {00000000-0000-0000-0000-000000000005} at top level[1], with 2 elements inside\n"
            "> Node \"d\" {00000000-0000-0000-0000-000000000004} from Node \"a\" "
            "{00000000-0000-0000-0000-000000000001}.children[2] to Leaf \"e\" "
            "{00000000-0000-0000-0000-000000000005}.child\n");
}

TEST_F(ModelDiffTest, WhatLiesInsideHasAnEntryOfItsOwn) {
  addTo(b, u"children", newNode(model, 5));
  const ModelDiff difference = diff(old, model);
  ASSERT_EQ(difference.changes.size(), 1U);
  EXPECT_FALSE(difference.changes[0].isInside);

  a->destroy();
  const ModelDiff all = diff(old, model);
  ASSERT_EQ(all.count(Kind::Removed), 4U);
  EXPECT_EQ(all.changes[0].elementsInside, 3U);
  EXPECT_FALSE(all.changes[0].isInside);
  EXPECT_EQ(all.changes[0].uuid, nodeIn(old, 1)->getUuid());
  for (std::size_t i = 1; i < 4; ++i) EXPECT_TRUE(all.changes[i].isInside);
  EXPECT_EQ(all.changes[1].oldPlace, "Node \"a\" {00000000-0000-0000-0000-000000000001}.children[0]");
  EXPECT_EQ(all.changes[1].newPlace, "");
}

TEST_F(ModelDiffTest, OnlyWhatLeftTheOrderMoved) {
  valueOf(a, u"children").toElementCollection().move(0, 2);
  const ModelDiff difference = diff(old, model);
  ASSERT_EQ(difference.changes.size(), 1U);
  EXPECT_EQ(difference.changes[0].kind, Kind::Moved);
  EXPECT_EQ(difference.changes[0].uuid, b->getUuid());
  EXPECT_EQ(difference.changes[0].oldPlace, "Node \"a\" {00000000-0000-0000-0000-000000000001}.children[0]");
  EXPECT_EQ(difference.changes[0].newPlace, "Node \"a\" {00000000-0000-0000-0000-000000000001}.children[2]");
}

TEST_F(ModelDiffTest, MakingRoomIsNoMove) {
  valueOf(a, u"children").toElementCollection().insertElement(0, newNode(model, 5));
  EXPECT_EQ(diff(old, model).changes.size(), 1U);
  b->destroy();
  EXPECT_EQ(diff(old, model).changes.size(), 2U);
}

TEST_F(ModelDiffTest, MovingBetweenPropertiesAndLevelsIsSeen) {
  a->set(u"child", b);
  valueOf(a, u"children").toElementCollection().remove(c);
  const ModelDiff difference = diff(old, model);
  ASSERT_EQ(difference.count(Kind::Moved), 2U);
  EXPECT_EQ(difference.changes.size(), 2U);
  EXPECT_EQ(difference.changes[0].newPlace, "Node \"a\" {00000000-0000-0000-0000-000000000001}.child");
  EXPECT_EQ(difference.changes[1].newPlace, "top level[1]");
}

TEST_F(ModelDiffTest, AnElementThatMovedAndChangedHasTwoEntries) {
  a->set(u"child", b);
  b->set(u"name", u"bb");
  const ModelDiff difference = diff(old, model);
  ASSERT_EQ(difference.changes.size(), 2U);
  EXPECT_EQ(difference.changes[0].kind, Kind::Moved);
  EXPECT_EQ(difference.changes[1].kind, Kind::Changed);
  EXPECT_THAT(difference.changes[1].properties, ElementsAre(PropertyChange{"name", "\"b\"", "\"bb\""}));
}

TEST_F(ModelDiffTest, TopLevelElementsHaveAnOrder) {
  const Model left = emptyModel();
  const Model right = emptyModel();
  newNode(left, 1);
  newNode(left, 2);
  newNode(right, 2);
  newNode(right, 1);
  const ModelDiff difference = diff(left, right);
  ASSERT_EQ(difference.changes.size(), 1U);
  EXPECT_EQ(difference.changes[0].kind, Kind::Moved);
}

// --- Properties.

TEST_F(ModelDiffTest, SingleValuesShowWithoutTheirType) {
  const ModelElement element = testsupport::newSample(model, u"Defaults", 9);
  element->set(u"plain", std::int32_t{1});
  takeState();
  element->set(u"count", std::int32_t{-3});
  element->set(u"ratio", 0.25);
  element->set(u"color", std::int64_t{1});
  element->set(u"text", u"a \"quoted\"\nline");
  element->unset(element->property(u"plain"));
  EXPECT_THAT(changes(), ElementsAre("count: 5 -> -3", "ratio: 0.5 -> 0.25", "color: blue (7) -> green (1)",
                                     "text: \"none\" -> \"a \\\"quoted\\\"\\nline\"", "plain: 1 -> (absent)"));
}

TEST_F(ModelDiffTest, OfALongTextThePlaceOfTheDifferenceShows) {
  const std::u16string begin(100, u'x');
  const std::u16string end(100, u'y');
  a->set(u"name", begin + u"1" + end);
  takeState();
  a->set(u"name", begin + u"2" + end);
  const std::string lead(20, 'x');
  const std::string tail(39, 'y');
  EXPECT_THAT(changes(),
              ElementsAre("name: ...\"" + lead + "1" + tail + "\"... -> ...\"" + lead + "2" + tail + "\"..."));
}

TEST_F(ModelDiffTest, OfCollectionsThePartThatDiffersShows) {
  const Value numbers = valueOf(b, u"numbers");
  for (int i = 0; i < 6; ++i) numbers.toPrimitiveCollection().addValue(std::int32_t{i});
  takeState();
  numbers.toPrimitiveCollection().setValue(2, std::int32_t{20});
  EXPECT_THAT(changes(), ElementsAre("numbers[2]: 2 -> 20"));
  numbers.toPrimitiveCollection().removeAt(3);
  EXPECT_THAT(changes(), ElementsAre("numbers[2..3]: {2, 3} -> 20"));
  numbers.toPrimitiveCollection().clear();
  EXPECT_THAT(changes(), ElementsAre("numbers[0..5]: {0, 1, 2, 3, 4, 5} -> nothing"));
  for (int i = 0; i < 20; ++i) numbers.toPrimitiveCollection().addValue(std::int32_t{7});
  EXPECT_THAT(changes(),
              ElementsAre("numbers[0..19]: {0, 1, 2, 3, 4, 5} -> {7, 7, 7, 7, 7, 7, 7, 7, ... (20 in all)}"));
}

TEST_F(ModelDiffTest, ReferencesCountByTheUuidOfTheirTarget) {
  b->set(u"next", c);
  addTo(b, u"refs", d);
  takeState();
  EXPECT_TRUE(diff(old, model).empty());
  b->set(u"next", d);
  addTo(b, u"refs", ModelElement());
  EXPECT_THAT(changes(), ElementsAre("next: Node {00000000-0000-0000-0000-000000000003} -> Node \"d\" "
                                     "{00000000-0000-0000-0000-000000000004}",
                                     "refs[1]: nothing -> null"));
  b->set(u"next", ModelElement());
  EXPECT_THAT(changes(),
              ElementsAre("next: Node {00000000-0000-0000-0000-000000000003} -> (absent)", "refs[1]: nothing -> null"));
}

TEST_F(ModelDiffTest, MapsShowTheirKeys) {
  const Value live = valueOf(a, u"tags");
  kern::StringToStringMap& map = live.toStringToStringMap();
  for (const char16_t* key : {u"x", u"y", u"z"}) map.insert(key, u"1", kern::CollisionResolution::Replace);
  takeState();
  map.insert(u"y", u"2", kern::CollisionResolution::Replace);
  map.remove(u"x");
  map.insert(u"w", u"3", kern::CollisionResolution::Replace);
  EXPECT_THAT(changes(), ElementsAre("tags[\"x\"]: \"1\" -> nothing", "tags[\"y\"]: \"1\" -> \"2\"",
                                     "tags[\"w\"]: nothing -> \"3\""));
  map.assign({{u"x", u"1"}, {u"z", u"1"}, {u"y", u"1"}});
  EXPECT_THAT(changes(), ElementsAre("tags (order): {\"y\", \"z\"} -> {\"z\", \"y\"}"));
}

TEST_F(ModelDiffTest, DataValuesAreComparedAttributeByAttribute) {
  const auto linkTo = [](const ModelElement& target, const char16_t* label) {
    ReflectiveDataType inner(innerType());
    inner.set(u"label", label).set(u"target", target);
    ReflectiveDataType nested(linkType());
    nested.set(u"label", label).set(u"target", target);
    ReflectiveDataType link(linkType());
    link.set(u"label", u"l").set(u"inner", inner);
    link.getPropertyValue(linkType()->getProperty(u"inners")).toPrimitiveCollection().addValue(Value(nested));
    return link;
  };
  const Model left = emptyModel();
  const Model right = emptyModel();
  for (const Model& side : {left, right}) {
    const ModelElement holder = newNode(side, 1);
    const ReflectiveDataType link = linkTo(newNode(side, 2, u"t"), u"deep");
    holder->set(u"link", link);
    valueOf(holder, u"links").toPrimitiveCollection().addValue(Value(link));
  }
  EXPECT_TRUE(diff(left, right).empty());  // targets in two models, one uuid

  nodeIn(right, 1)->set(u"link", linkTo(nodeIn(right, 1), u"other"));
  valueOf(nodeIn(right, 1), u"links").toPrimitiveCollection().addValue(Value(ReflectiveDataType(linkType())));
  const ModelDiff difference = diff(left, right);
  ASSERT_EQ(difference.changes.size(), 1U);
  const auto& changes = difference.changes[0].properties;
  ASSERT_EQ(changes.size(), 5U);
  EXPECT_EQ(changes[0], (PropertyChange{"link.inner.label", "\"deep\"", "\"other\""}));
  EXPECT_EQ(changes[1], (PropertyChange{"link.inner.target", "Node \"t\" {00000000-0000-0000-0000-000000000002}",
                                        "Node {00000000-0000-0000-0000-000000000001}"}));
  EXPECT_EQ(changes[2].property, "link.inners[0].label");
  EXPECT_EQ(changes[3].property, "link.inners[0].target");
  EXPECT_EQ(changes[4].property, "links[1]");
  EXPECT_EQ(changes[4].oldValue, "nothing");
}

TEST_F(ModelDiffTest, AnotherClassUnderTheSameUuidIsAChange) {
  const Model left = emptyModel();
  const Model right = emptyModel();
  newNode(left, 1, u"n", u"Other")->set(u"note", u"x");
  newNode(right, 1, u"n", u"Other");
  EXPECT_EQ(diff(left, right).changes.size(), 1U);

  const Model third = emptyModel();
  newNode(third, 1, u"leaf", u"Leaf")->set(u"size", std::int32_t{3});
  const Model fourth = emptyModel();
  newNode(fourth, 1, u"node");
  const ModelDiff difference = diff(fourth, third);
  ASSERT_EQ(difference.changes.size(), 1U);
  EXPECT_THAT(difference.changes[0].properties,
              ElementsAre(PropertyChange{"class", "cloning.Node", "cloning.Leaf"},
                          PropertyChange{"name", "\"node\"", "\"leaf\""}, PropertyChange{"size", "nothing", "3"}));

  const ModelDiff foreign = diff(left, fourth);
  ASSERT_EQ(foreign.changes.size(), 1U);
  const auto& properties = foreign.changes[0].properties;
  ASSERT_GE(properties.size(), 3U);
  EXPECT_EQ(properties[1], (PropertyChange{"name", "\"n\"", "\"node\""}));
  EXPECT_EQ(properties[2], (PropertyChange{"note", "\"x\"", "nothing"}));
}

// --- Whole models.

TEST(ModelDiffWholeTest, ADifferenceIsEmptyExactlyWhenTheModelsAreEqual) {
  std::mt19937 random(7);
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    const Model model = emptyModel();
    const std::uint64_t count = 2 + seed;
    const ModelElement root = testsupport::fillNodesByChance(model, seed, count);
    const Model old = emptyModel();
    Cloner(old).clone({root});
    ASSERT_TRUE(diff(old, model).empty()) << "seed " << seed;
    const ModelElement node = nodeIn(model, 1 + random() % count);
    switch (random() % 4) {
      case 0:
        node->destroy();
        break;
      case 1:
        node->set(u"next", nodeIn(model, 1 + random() % count));
        break;
      case 2:
        addTo(node, u"children", newNode(model, 1000));
        break;
      default:
        valueOf(node, u"children").toElementCollection().clear();
        break;
    }
    EXPECT_EQ(diff(old, model).empty(), kern::modelsEqual(old, model)) << "seed " << seed;
  }
}

TEST(ModelDiffWholeTest, ContainmentOfAnyDepthIsCompared) {
  testsupport::onSmallStack([] {
    const Model model = emptyModel();
    const Model same = emptyModel();
    for (const Model& side : {model, same}) {
      ModelElement last = newNode(side, 1);
      for (int i = 2; i <= testsupport::kLongChain; ++i) {
        const ModelElement next = newNode(side, static_cast<std::uint64_t>(i));
        last->set(u"child", next);
        last = next;
      }
    }
    EXPECT_TRUE(diff(model, same).empty());
    const auto middle = static_cast<std::uint64_t>(testsupport::kLongChain) / 2;
    nodeIn(same, middle)->destroy();
    const ModelDiff difference = diff(model, same);
    ASSERT_FALSE(difference.empty());
    EXPECT_EQ(difference.changes.size(), difference.count(Kind::Removed));
    EXPECT_EQ(difference.changes[0].elementsInside + middle, static_cast<std::uint64_t>(testsupport::kLongChain));
  });
}

TEST(ModelDiffWholeTest, DataValuesOfAnyDepthAreCompared) {
  const auto nested = [](const char16_t* innermost, int depth) {
    ReflectiveDataType data(linkType());
    data.set(u"label", innermost);
    for (int i = 0; i < depth; ++i) {
      ReflectiveDataType outer(linkType());
      outer.getPropertyValue(linkType()->getProperty(u"inners")).toPrimitiveCollection().addValue(Value(data));
      data = std::move(outer);
    }
    return data;
  };
  constexpr int kNesting = 500;
  const Model left = emptyModel();
  const Model right = emptyModel();
  newNode(left, 1)->set(u"link", nested(u"one", kNesting));
  newNode(right, 1)->set(u"link", nested(u"two", kNesting));
  const ModelDiff difference = diff(left, right);
  ASSERT_EQ(difference.changes.size(), 1U);
  ASSERT_EQ(difference.changes[0].properties.size(), 1U);
  const PropertyChange& change = difference.changes[0].properties[0];
  EXPECT_EQ(change.property.substr(0, 21), "link.inners[0].inners");
  EXPECT_EQ(change.property.substr(change.property.size() - 16), ".inners[0].label");
  EXPECT_NE(change.property.find("...."), std::string::npos);
  EXPECT_EQ(change.oldValue, "\"one\"");
  EXPECT_EQ(change.newValue, "\"two\"");
}

}  // namespace
}  // namespace quillon::nimbo
