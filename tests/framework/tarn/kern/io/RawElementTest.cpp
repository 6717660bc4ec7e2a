#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <tarn/kern/io/RawElement.h>

namespace tarn::kern::io {
namespace {

boost::uuids::uuid uuidOf(std::uint8_t last) {
  boost::uuids::uuid uuid{};
  uuid.data[15] = last;
  return uuid;
}

RawElement nodeOf(std::uint8_t last) { return {u"p.Node", uuidOf(last), {}, {}}; }

TEST(RawValue, KnowsItsKind) {
  using Kind = RawValue::Kind;
  EXPECT_EQ(RawValue().kind(), Kind::Null);
  EXPECT_TRUE(RawValue().isNull());
  EXPECT_EQ(RawValue(true).kind(), Kind::Boolean);
  EXPECT_EQ(RawValue(RawNumber{"1e5"}).number(), "1e5");
  EXPECT_EQ(RawValue(u"x").text(), u"x");
  EXPECT_EQ(RawValue(RawValue::List{RawValue(u"a"), RawValue()}).list().size(), 2U);
  EXPECT_EQ(RawValue(RawValue::Map{{u"k", u"v"}}).map().front().second, u"v");
  EXPECT_EQ(RawValue(RawReference{u"p.Node", uuidOf(1)}).reference().uuid, uuidOf(1));
  EXPECT_EQ(RawValue(nodeOf(2)).element().uuid, uuidOf(2));
  RawData data;
  data.typeName = u"p.Point";
  EXPECT_EQ(RawValue(data).data().typeName, u"p.Point");
}

TEST(RawValue, RefusesAccessAsAnotherKind) {
  EXPECT_THROW(static_cast<void>(RawValue(u"x").number()), std::bad_variant_access);
  EXPECT_THROW(static_cast<void>(RawValue().list()), std::bad_variant_access);
  EXPECT_THROW(static_cast<void>(RawValue(true).element()), std::bad_variant_access);
}

TEST(RawValue, CopiesAndComparesByContent) {
  RawElement inner = nodeOf(2);
  inner.get(u"name") = u"inner";
  RawElement outer = nodeOf(1);
  outer.get(u"child") = inner;
  const RawValue value(outer);
  RawValue copy = value;
  EXPECT_EQ(copy, value);
  copy.element().find(u"child")->element().get(u"name") = u"other";
  EXPECT_NE(copy, value);
  EXPECT_EQ(value.element().find(u"child")->element().find(u"name")->text(), u"inner");
}

TEST(RawValue, ComparesWithoutPositions) {
  RawValue here(u"x");
  here.position = {3, 4};
  EXPECT_EQ(here, RawValue(u"x"));
  EXPECT_NE(RawValue(RawNumber{"1"}), RawValue(RawNumber{"1.0"}));  // as the file spells it
  EXPECT_NE(RawValue(u"1"), RawValue(RawNumber{"1"}));
}

TEST(RawValue, MayBeReplacedByAPartOfItself) {
  RawElement outer = nodeOf(1);
  outer.get(u"child") = nodeOf(2);
  RawValue value(outer);
  value = std::move(value.element().find(u"child")->element());
  EXPECT_EQ(value.element().uuid, uuidOf(2));
  RawValue list(RawValue::List{RawValue(u"a"), RawValue(u"b")});
  list = std::move(list.list()[1]);
  EXPECT_EQ(list.text(), u"b");
  RawValue copied(RawValue::List{RawValue(u"a")});
  copied = RawValue(copied.list()[0]);
  EXPECT_EQ(copied.text(), u"a");
}

TEST(RawValue, IsNullWhenMovedFrom) {
  RawValue from(u"x");
  const RawValue to = std::move(from);
  EXPECT_TRUE(from.isNull());  // NOLINT(bugprone-use-after-move): this is what is tested
  EXPECT_EQ(to.text(), u"x");
}

TEST(RawElement, FindsMakesAndRemovesProperties) {
  RawElement element = nodeOf(1);
  EXPECT_EQ(element.find(u"a"), nullptr);
  element.get(u"a") = u"1";
  element.get(u"b") = u"2";
  element.properties.push_back({u"a", u"3"});
  EXPECT_EQ(element.find(u"a")->text(), u"1");  // the first of that name
  element.get(u"a") = u"4";
  EXPECT_EQ(element.properties.size(), 3U);
  EXPECT_EQ(std::as_const(element).find(u"a")->text(), u"4");
  EXPECT_EQ(element.remove(u"a"), 2U);
  EXPECT_EQ(element.remove(u"a"), 0U);
  EXPECT_EQ(element.properties.size(), 1U);
}

TEST(RawElement, ComparesTypeUuidAndPropertiesInOrder) {
  RawElement a = nodeOf(1);
  RawElement b = nodeOf(1);
  EXPECT_EQ(a, b);
  a.get(u"x") = u"1";
  a.get(u"y") = u"2";
  b.get(u"y") = u"2";
  b.get(u"x") = u"1";
  EXPECT_NE(a, b);
  EXPECT_NE(nodeOf(1), nodeOf(2));
  RawElement other = nodeOf(1);
  other.typeName = u"p.Other";
  EXPECT_NE(nodeOf(1), other);
}

TEST(RawElement, NestsToAnyDepth) {
  RawElement outermost = nodeOf(1);
  for (int level = 0; level < 200'000; ++level) {
    RawElement around = nodeOf(1);
    RawValue::List list;
    list.emplace_back(std::move(outermost));
    around.properties.push_back({u"children", std::move(list)});
    outermost = std::move(around);
  }
  const RawElement copy = outermost;
  EXPECT_TRUE(copy == outermost);
  RawData data;
  for (int level = 0; level < 200'000; ++level) {
    RawData around;
    around.properties.push_back({u"inner", std::move(data)});
    data = std::move(around);
  }
  EXPECT_TRUE(RawData(data) == data);
}

}  // namespace
}  // namespace tarn::kern::io
