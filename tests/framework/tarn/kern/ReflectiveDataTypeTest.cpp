#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/uuid/string_generator.hpp>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "framework/tarn/kern/ValueTestModel.h"

namespace tarn::kern {
namespace {

using CastFailure = bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;
using ::testing::ElementsAre;
using valuetest::Money;

meta::Property attribute(std::u16string_view name) { return valuetest::propertyOf(valuetest::sheet(), name); }

Value read(const ReflectiveDataType& data, std::u16string_view name) { return data.getPropertyValue(attribute(name)); }

PrimitiveCollection& add(const Value& collection, std::vector<Value> values) {
  for (const Value& value : values) collection.toPrimitiveCollection().addValue(value);
  return collection.toPrimitiveCollection();
}

ReflectiveDataType pointAt(std::int32_t x, std::int32_t y) {
  ReflectiveDataType point(valuetest::point());
  point.set(u"x", x).set(u"y", y);
  return point;
}

Value moneyOf(std::int64_t cents) { return Value(ValueMeta(valuetest::money(), ValueFlags::Single), Money{cents}); }

/// Every attribute set, targets in `model`.
ReflectiveDataType fullSheet(const ModelElement& target) {
  ReflectiveDataType sheet(valuetest::sheet());
  sheet.set(u"text", u"a text that is too long to be kept inside").set(u"stdText", std::string("bytes"));
  sheet.set(u"int32", -32).set(u"int8", std::int8_t{-8}).set(u"int16", std::int16_t{-16});
  sheet.set(u"int64", std::int64_t{-64}).set(u"uint8", std::uint8_t{8}).set(u"uint16", std::uint16_t{16});
  sheet.set(u"uint64", std::uint64_t{64}).set(u"natural", std::uint32_t{32}).set(u"real", -0.0).set(u"flag", true);
  sheet.set(u"id", boost::uuids::string_generator()("01234567-89ab-cdef-0123-456789abcdef"));
  sheet.set(u"time", boost::posix_time::ptime(boost::gregorian::date(2020, 1, 31)));
  sheet.set(u"color", std::int64_t{-7}).set(u"title", u"titled").set(u"point", pointAt(1, 2)).set(u"price", Money{5});
  sheet.set(u"target", target);
  read(sheet, u"notes").toStringToStringMap().insert(u"key", u"value", CollisionResolution::Replace);
  add(read(sheet, u"numbers"), {Value(1), Value(2)});
  add(read(sheet, u"flags"), {Value(true), Value(false)});
  add(read(sheet, u"texts"), {Value(u"one"), Value(u"two")});
  add(read(sheet, u"reals"), {Value(std::numeric_limits<double>::quiet_NaN())});
  add(read(sheet, u"generic"), {Value(3)});
  add(read(sheet, u"colors"), {Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"green"))});
  add(read(sheet, u"points"), {Value(pointAt(3, 4)), Value(pointAt(5, 6))});
  add(read(sheet, u"prices"), {moneyOf(7)});
  read(sheet, u"targets").toElementCollection().addElement(target);
  return sheet;
}

class ASheet : public ::testing::Test {
 protected:
  Model fModel = valuetest::emptyModel();
  ModelElement fTarget = valuetest::newElement(fModel, valuetest::box(), 1);
  ReflectiveDataType fSheet = fullSheet(fTarget);
};

TEST(ReflectiveDataType, ShowsItsDefaultsAtFirst) {
  const ReflectiveDataType sheet(valuetest::sheet());
  EXPECT_EQ(sheet.getType(), valuetest::sheet());
  EXPECT_EQ(sheet.get<ustring>(u"title"), u"untitled");
  EXPECT_EQ(sheet.get<std::int32_t>(u"color"), 1);
  EXPECT_FALSE(read(sheet, u"text").hasObject());
  EXPECT_EQ(sheet.get<ustring>(u"text"), u"");
  EXPECT_FALSE(read(sheet, u"point").hasObject());
  EXPECT_FALSE(read(sheet, u"price").hasObject());
  EXPECT_EQ(read(sheet, u"target"), Value::createEmptyValue(valuetest::box(), false));
  EXPECT_TRUE(read(sheet, u"numbers").toPrimitiveCollection().empty());
  EXPECT_TRUE(read(sheet, u"targets").toElementCollection().empty());
  EXPECT_TRUE(read(sheet, u"notes").toStringToStringMap().empty());
}

TEST(ReflectiveDataType, CannotBeOfANullType) { EXPECT_THROW(ReflectiveDataType{meta::DataType()}, KernelError); }

TEST_F(ASheet, GivesBackWhatWasSet) {
  EXPECT_EQ(fSheet.get<ustring>(u"text"), u"a text that is too long to be kept inside");
  EXPECT_EQ(fSheet.get<std::string>(u"stdText"), "bytes");
  EXPECT_EQ(fSheet.get<std::int32_t>(u"int32"), -32);
  EXPECT_EQ(fSheet.get<std::int8_t>(u"int8"), -8);
  EXPECT_EQ(fSheet.get<std::int16_t>(u"int16"), -16);
  EXPECT_EQ(fSheet.get<std::int64_t>(u"int64"), -64);
  EXPECT_EQ(fSheet.get<std::uint8_t>(u"uint8"), 8);
  EXPECT_EQ(fSheet.get<std::uint16_t>(u"uint16"), 16);
  EXPECT_EQ(fSheet.get<std::uint64_t>(u"uint64"), 64U);
  EXPECT_EQ(fSheet.get<std::uint32_t>(u"natural"), 32U);
  EXPECT_TRUE(std::signbit(fSheet.get<double>(u"real")));
  EXPECT_TRUE(fSheet.get<bool>(u"flag"));
  EXPECT_EQ(fSheet.get<std::int64_t>(u"color"), -7);
  EXPECT_EQ(fSheet.get<ReflectiveDataType>(u"point"), pointAt(1, 2));
  EXPECT_EQ(fSheet.get<Money>(u"price").cents, 5);
  EXPECT_EQ(fSheet.get<ModelElement>(u"target"), fTarget);
  EXPECT_EQ(read(fSheet, u"point").getType(), valuetest::point());
  EXPECT_EQ(read(fSheet, u"price").getType(), valuetest::money());
  EXPECT_EQ(read(fSheet, u"color").getType(), valuetest::color());
  EXPECT_EQ(read(fSheet, u"points").toPrimitiveCollection().getValue(1), Value(pointAt(5, 6)));
}

TEST_F(ASheet, IsReadInPlace) {
  EXPECT_EQ(*fSheet.peek<ustring>(attribute(u"text")), u"a text that is too long to be kept inside");
  EXPECT_EQ(fSheet.peek<ustring>(attribute(u"text")), fSheet.peek<ustring>(attribute(u"text")));
  EXPECT_EQ(*fSheet.peek<std::int64_t>(attribute(u"color")), -7);
  EXPECT_EQ(*fSheet.peek<ReflectiveDataType>(attribute(u"point")), pointAt(1, 2));
  EXPECT_EQ(fSheet.peek<Money>(attribute(u"price"))->cents, 5);
  EXPECT_EQ(fSheet.peek<StringToStringMap>(attribute(u"notes"))->size(), 1U);
  EXPECT_EQ(fSheet.peekValues(attribute(u"points")).size(), 2U);
  EXPECT_EQ(ReflectiveDataType(valuetest::sheet()).peek<ReflectiveDataType>(attribute(u"point")), nullptr);
  EXPECT_EQ(ReflectiveDataType(valuetest::sheet()).peek<Money>(attribute(u"price")), nullptr);
  EXPECT_THROW(static_cast<void>(fSheet.peek<std::int32_t>(attribute(u"text"))), CastFailure);
  EXPECT_THROW(static_cast<void>(fSheet.peek<std::int32_t>(attribute(u"color"))), CastFailure);
  EXPECT_THROW(static_cast<void>(fSheet.peek<std::int64_t>(attribute(u"text"))), CastFailure);
  EXPECT_THROW(static_cast<void>(fSheet.peek<std::int32_t>(attribute(u"numbers"))), CastFailure);
  EXPECT_THROW(static_cast<void>(fSheet.peekValues(attribute(u"numbers"))), CastFailure);
}

TEST_F(ASheet, IsCopiedDeep) {
  ReflectiveDataType copy(fSheet);
  EXPECT_EQ(copy, fSheet);
  EXPECT_EQ(copy.hash(), fSheet.hash());
  EXPECT_EQ(copy <=> fSheet, std::strong_ordering::equal);
  copy.set(u"text", u"other");
  add(read(copy, u"numbers"), {Value(9)});
  read(copy, u"notes").toStringToStringMap().clear();
  read(copy, u"targets").toElementCollection().clear();
  EXPECT_EQ(fSheet, fullSheet(fTarget));
}

/// Each change of one attribute makes a sheet that differs from the unchanged one.
TEST_F(ASheet, DiffersByEachAttribute) {
  std::vector<ReflectiveDataType> others;
  const auto other = [&](auto change) { change(others.emplace_back(fSheet)); };
  other([](ReflectiveDataType& sheet) { sheet.set(u"text", u""); });
  other([](ReflectiveDataType& sheet) {
    sheet.setPropertyValue(attribute(u"text"), Value::createEmptyValue(attribute(u"text")->getType(), false));
  });
  other([](ReflectiveDataType& sheet) { sheet.set(u"stdText", std::string()); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"int32", 0); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"int8", std::int8_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"int16", std::int16_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"int64", std::int64_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"uint8", std::uint8_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"uint16", std::uint16_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"uint64", std::uint64_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"natural", std::uint32_t{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"real", 0.0); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"flag", false); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"id", boost::uuids::uuid{}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"time", boost::posix_time::ptime()); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"color", 0); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"point", pointAt(1, 3)); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"price", Money{6}); });
  other([](ReflectiveDataType& sheet) { sheet.set(u"target", ModelElement()); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"notes").toStringToStringMap().clear(); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"numbers").toPrimitiveCollection().move(0, 1); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"flags").toPrimitiveCollection().clear(); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"texts").toPrimitiveCollection().removeAt(0); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"reals").toPrimitiveCollection().setValue(0, Value(1.0)); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"generic").toPrimitiveCollection().clear(); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"colors").toPrimitiveCollection().clear(); });
  other([](ReflectiveDataType& sheet) {
    read(sheet, u"points").toPrimitiveCollection().setValue(1, Value(pointAt(5, 7)));
  });
  other([](ReflectiveDataType& sheet) { read(sheet, u"prices").toPrimitiveCollection().clear(); });
  other([](ReflectiveDataType& sheet) { read(sheet, u"targets").toElementCollection().clear(); });
  for (std::size_t i = 0; i < others.size(); ++i) {
    EXPECT_NE(others[i], fSheet) << i;
    EXPECT_NE(others[i].hash(), fSheet.hash()) << i;
    EXPECT_NE(others[i] <=> fSheet, std::strong_ordering::equal) << i;
    EXPECT_EQ((others[i] <=> fSheet) < 0, (fSheet <=> others[i]) > 0) << i;
  }
}

TEST_F(ASheet, MovesItsContent) {
  ReflectiveDataType moved(std::move(fSheet));
  EXPECT_EQ(moved, fullSheet(fTarget));
  fSheet = moved;  // a moved-from instance may be assigned to
  EXPECT_EQ(fSheet, moved);
  fSheet = std::move(moved);
  EXPECT_EQ(fSheet, fullSheet(fTarget));
  const ReflectiveDataType& same = fSheet;
  fSheet = same;
  EXPECT_EQ(fSheet, fullSheet(fTarget));
}

TEST_F(ASheet, IsNothingOnceItWasMovedFrom) {
  const ReflectiveDataType moved(std::move(fSheet));
  const ReflectiveDataType& nothing = fSheet;  // NOLINT(bugprone-use-after-move): what moving leaves is the point
  EXPECT_FALSE(nothing.getType());
  EXPECT_EQ(nothing.hash(), 0U);
  const ReflectiveDataType alsoNothing(nothing);
  EXPECT_EQ(nothing, alsoNothing);
  EXPECT_EQ(nothing <=> alsoNothing, std::strong_ordering::equal);
  EXPECT_NE(nothing, moved);
  EXPECT_NE(moved, nothing);
  EXPECT_LT(nothing, moved);
  EXPECT_GT(moved, nothing);
}

TEST_F(ASheet, IsEqualToItselfAndStaysSoWhenMovedOntoItself) {
  const ReflectiveDataType copy(fSheet);
  ReflectiveDataType& same = fSheet;
  EXPECT_EQ(fSheet, same);
  EXPECT_EQ(fSheet <=> same, std::strong_ordering::equal);
  fSheet = std::move(same);
  EXPECT_EQ(fSheet, copy);
}

TEST_F(ASheet, IsItsOwnNativeForm) {
  const boost::optional<Value> value = fSheet.toNonReflectiveDataTypeValue();
  ASSERT_TRUE(value);
  EXPECT_EQ(value->getType(), valuetest::sheet());
  EXPECT_EQ(value->toReflectiveDataType(), fSheet);
  EXPECT_EQ(*std::move(fSheet).toNonReflectiveDataTypeValue(), *value);
}

TEST(ReflectiveDataType, IsReadWithDefaultsFromAnAbsentValue) {
  const Value absent = Value::createEmptyValue(valuetest::sheet(), false);
  EXPECT_EQ(absent.toReflectiveDataType(), ReflectiveDataType(valuetest::sheet()));
  EXPECT_EQ(absent.get<ReflectiveDataType>(), ReflectiveDataType(valuetest::sheet()));
  EXPECT_FALSE(absent.getOptional<ReflectiveDataType>());
  EXPECT_EQ(absent.peek<ReflectiveDataType>(), nullptr);
}

TEST(ReflectiveDataType, OfAnotherTypeIsNeverEqual) {
  const ReflectiveDataType point(valuetest::point());
  const ReflectiveDataType sheet(valuetest::sheet());
  EXPECT_NE(point, sheet);
  EXPECT_LT(point, sheet);
}

// --- Live attributes.

TEST_F(ASheet, IsChangedThroughTheValueOfACollection) {
  const Value numbers = read(fSheet, u"numbers");
  numbers.toPrimitiveCollection().addValue(Value(3));
  EXPECT_EQ(read(fSheet, u"numbers").toPrimitiveCollection().size(), 3U);
  const Value snapshot(numbers);
  EXPECT_THROW(snapshot.toPrimitiveCollection().addValue(Value(4)), SnapshotError);
  const Value notes = read(fSheet, u"notes");
  const Value snapshotOfNotes(notes);  // NOLINT(performance-unnecessary-copy-initialization): the copy is the point
  EXPECT_THROW(snapshotOfNotes.toStringToStringMap().clear(), SnapshotError);
}

TEST_F(ASheet, KeepsALiveCollectionWorkingWhenItIsGone) {
  const auto readFromTemporary = [&](std::u16string_view name) {
    const ReflectiveDataType temporary(fSheet);
    return read(temporary, name);
  };
  const Value numbers = readFromTemporary(u"numbers");
  numbers.toPrimitiveCollection().addValue(Value(3));
  EXPECT_EQ(numbers.toPrimitiveCollection().size(), 3U);
  const Value notes = readFromTemporary(u"notes");
  notes.toStringToStringMap().insert(u"more", u"", CollisionResolution::Replace);
  EXPECT_EQ(notes.toStringToStringMap().size(), 2U);
  const Value points = readFromTemporary(u"points");
  EXPECT_EQ(points.toPrimitiveCollection().getValue(0), Value(pointAt(3, 4)));
  EXPECT_EQ(fSheet, fullSheet(fTarget));
}

TEST_F(ASheet, TakesAMapAndIsClearedByAnEmptyValue) {
  fSheet.set(u"notes", StringToStringMap{{u"a", u"1"}});
  EXPECT_EQ(fSheet.get<StringToStringMap>(u"notes"), (StringToStringMap{{u"a", u"1"}}));
  fSheet.setPropertyValue(attribute(u"notes"), read(ReflectiveDataType(valuetest::sheet()), u"notes"));
  EXPECT_TRUE(fSheet.get<StringToStringMap>(u"notes").empty());
  fSheet.set(u"notes", StringToStringMap{{u"a", u"1"}});
  fSheet.setPropertyValue(attribute(u"notes"), Value::createEmptyValue(attribute(u"notes")->getType(), false));
  EXPECT_TRUE(fSheet.get<StringToStringMap>(u"notes").empty());
}

// --- Elements.

TEST_F(ASheet, ReadsADestroyedTargetAsNull) {
  fTarget->destroy();
  EXPECT_FALSE(fSheet.get<ModelElement>(u"target"));
  EXPECT_FALSE(read(fSheet, u"target").hasObject());
  const Value targets = read(fSheet, u"targets");
  EXPECT_EQ(targets.toElementCollection().getAllElements(), std::vector<ModelElement>{ModelElement()});
}

TEST_F(ASheet, ComparesADestroyedTargetAsNull) {
  ReflectiveDataType withNull(fSheet);
  withNull.set(u"target", ModelElement());
  EXPECT_NE(withNull, fSheet);
  fTarget->destroy();
  EXPECT_EQ(withNull, fSheet);
  EXPECT_EQ(withNull.hash(), fSheet.hash());
  EXPECT_EQ(withNull <=> fSheet, std::strong_ordering::equal);
}

TEST_F(ASheet, TakesNoDestroyedTarget) {
  const ModelElement other = valuetest::newElement(fModel, valuetest::bigBox(), 2);
  fSheet.set(u"target", other);
  EXPECT_EQ(fSheet.get<ModelElement>(u"target"), other) << "a subclass conforms";
  const ModelElement gone = valuetest::newElement(fModel, valuetest::box(), 3);
  gone->destroy();
  EXPECT_THROW(fSheet.set(u"target", gone), DestroyedElementError);
  EXPECT_EQ(fSheet.get<ModelElement>(u"target"), other);
}

TEST_F(ASheet, OutlivesTheModelOfItsTargets) {
  fModel = Model();
  EXPECT_FALSE(fSheet.get<ModelElement>(u"target"));
  EXPECT_EQ(ReflectiveDataType(fSheet), fSheet);
}

TEST_F(ASheet, KeepsTheMembersOfItsCollectionsInOrder) {
  const Value value = read(fSheet, u"targets");
  ElementCollection& targets = value.toElementCollection();
  const ModelElement second = valuetest::newElement(fModel, valuetest::bigBox(), 2);
  const ModelElement third = valuetest::newElement(fModel, valuetest::box(), 3);
  EXPECT_FALSE(targets.getOwner()) << "a data value is no element";
  targets.addElement(second);
  targets.addElement(fTarget);  // is there
  targets.insertElement(0, third);
  EXPECT_THAT(targets.getAllElements(), ElementsAre(third, fTarget, second));
  targets.move(0, 2);
  EXPECT_THAT(targets.getAllElements(), ElementsAre(fTarget, second, third));
  targets.move(2, 1);
  EXPECT_THAT(targets.getAllElements(), ElementsAre(fTarget, third, second));
  EXPECT_EQ(targets.getElement(1), third);
  EXPECT_EQ(targets.find(second), 2U);
  EXPECT_TRUE(targets.remove(third));
  EXPECT_FALSE(targets.remove(third));
  EXPECT_FALSE(targets.contains(third));
  targets.removeAt(0);
  EXPECT_THAT(targets.getAllElements(), ElementsAre(second));
  targets.addElement(ModelElement());
  targets.addElement(ModelElement());
  EXPECT_THAT(targets.getAllElements(), ElementsAre(second, ModelElement(), ModelElement()));
  targets.assign({third, ModelElement(), fTarget, third, ModelElement()});
  EXPECT_THAT(targets.getAllElements(), ElementsAre(third, ModelElement(), fTarget, ModelElement()));
}

TEST_F(ASheet, RefusesMembersThatDoNotFit) {
  const Value value = read(fSheet, u"targets");
  ElementCollection& targets = value.toElementCollection();
  const ModelElement meta = valuetest::box();
  EXPECT_THROW(targets.addElement(meta), CastFailure);
  EXPECT_THROW(targets.assign({fTarget, meta}), CastFailure);
  EXPECT_THROW(targets.insertElement(2, fTarget), KernelError);
  EXPECT_THROW(static_cast<void>(targets.getElement(1)), KernelError);
  EXPECT_THROW(targets.removeAt(1), KernelError);
  EXPECT_THROW(targets.move(0, 1), KernelError);
  EXPECT_THROW(targets.move(1, 0), KernelError);
  EXPECT_THROW(static_cast<void>(targets.findByQualifier(Value(1))), PropertyError);
  EXPECT_EQ(fSheet, fullSheet(fTarget));
}

TEST_F(ASheet, HoldsOneElementOftenWhereDeclaredSo) {
  meta::PackageBuilder builder(u"dataPaths");
  builder.addDataType(u"Path").attribute(u"steps", valuetest::box()).many().unique(false);
  ReflectiveDataType path(narrow<meta::DataType>(builder.registerPackage()->getTypes().at(u"Path")));
  const Value value = path.getPropertyValue(path.getType()->getProperty(u"steps"));
  value.toElementCollection().addElement(fTarget);
  value.toElementCollection().addElement(fTarget);
  EXPECT_THAT(value.toElementCollection().getAllElements(), ElementsAre(fTarget, fTarget));
  value.toElementCollection().assign({fTarget, fTarget, fTarget});
  EXPECT_EQ(value.toElementCollection().size(), 3U);
}

TEST_F(ASheet, TakesASnapshotOfItsMembers) {
  const Value value = read(fSheet, u"targets");
  const Value snapshot(value);
  value.toElementCollection().clear();
  const ElementCollection& taken = snapshot.toElementCollection();
  EXPECT_EQ(taken.size(), 1U);
  EXPECT_FALSE(taken.empty());
  EXPECT_TRUE(taken.isSnapshot());
  EXPECT_EQ(taken.getElement(0), fTarget);
  EXPECT_TRUE(taken.contains(fTarget));
  EXPECT_NE(taken.identity(), value.toElementCollection().identity());
  EXPECT_THROW(snapshot.toElementCollection().addElement(fTarget), SnapshotError);
  fTarget->destroy();
  EXPECT_FALSE(taken.getElement(0));
}

TEST_F(ASheet, IsSearchedInASnapshotToo) {
  const Value numbers(read(fSheet, u"numbers"));
  const Value snapshot(numbers);
  EXPECT_EQ(snapshot.toPrimitiveCollection().find(Value(2)), 1U);
  EXPECT_EQ(snapshot.toPrimitiveCollection().find(Value(3)), 2U) << "not there";
  EXPECT_EQ(snapshot.toPrimitiveCollection().find(Value(u"2")), 2U);
  const Value points(read(fSheet, u"points"));
  const Value copy(points);
  EXPECT_EQ(copy.toPrimitiveCollection().find(Value(pointAt(5, 6))), 1U);
}

// --- What is refused.

TEST_F(ASheet, RefusesWhatDoesNotFitAndStaysAsItIs) {
  const auto expectRefused = [&](std::u16string_view name, const Value& value) {
    EXPECT_THROW(fSheet.setPropertyValue(attribute(name), value), CastFailure) << value.describe();
  };
  expectRefused(u"int32", Value(std::int64_t{1}));
  expectRefused(u"int32", Value(u"1"));
  expectRefused(u"int32", Value::createEmptyValue(attribute(u"text")->getType(), false));
  expectRefused(u"int32", Value(ValueMeta(attribute(u"int32")->getType(), ValueFlags::Single), 1.5));
  expectRefused(u"int32", Value(ValueMeta(attribute(u"int32")->getType(), ValueFlags::Collection), 1));
  expectRefused(u"int32", read(fSheet, u"numbers"));
  expectRefused(u"int32", Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"red")));
  expectRefused(u"color", Value(1));
  expectRefused(u"color", Value::createEnumValue(valuetest::literalOf(valuetest::size(), u"huge")));
  expectRefused(u"color", Value(ValueMeta(valuetest::color(), ValueFlags::Single), 1.5));
  expectRefused(u"point", Value(ReflectiveDataType(valuetest::sheet())));
  expectRefused(u"point",
                Value(ValueMeta(valuetest::point(), ValueFlags::Single), ReflectiveDataType(valuetest::sheet())));
  expectRefused(u"price", Value(std::int64_t{1}));
  expectRefused(u"price", Value(ValueMeta(valuetest::money(), ValueFlags::Single), std::int64_t{1}));
  expectRefused(u"notes", Value(u"text"));
  expectRefused(u"notes", Value(ValueMeta(attribute(u"notes")->getType(), ValueFlags::Single), 1));
  expectRefused(u"target", Value(1));
  expectRefused(u"target", Value(valuetest::box()));
  expectRefused(u"target", read(fSheet, u"targets"));
  EXPECT_EQ(fSheet, fullSheet(fTarget));
}

TEST_F(ASheet, NamesTheTypeOfAValueThatDoesNotFit) {
  try {
    fSheet.set(u"point", 1);
    FAIL() << "a number was taken for a point";
  } catch (const CastFailure& failure) {
    EXPECT_EQ(failure.getMsgID().arguments(), std::vector<ustring>{u"Integer"});
  }
}

template <class Error, class Action>
std::string textOf(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

TEST_F(ASheet, RefusesPropertiesThatItLacks) {
  EXPECT_EQ(textOf<PropertyError>([&] { fSheet.set(u"titel", u"x"); }),
            "the data type valuetest.Sheet has no property \"titel\"; did you mean \"title\"?");
  EXPECT_EQ(textOf<PropertyError>([&] { static_cast<void>(fSheet.get<int>(u"somethingElse")); }),
            "the data type valuetest.Sheet has no property \"somethingElse\"");
  const meta::Property foreign = valuetest::propertyOf(valuetest::point(), u"x");
  EXPECT_EQ(textOf<PropertyError>([&] { static_cast<void>(fSheet.getPropertyValue(foreign)); }),
            "the data type valuetest.Sheet has no property \"x\"");
  const meta::Property namesake = valuetest::propertyOf(valuetest::box(), u"colors");
  EXPECT_EQ(
      textOf<PropertyError>([&] { static_cast<void>(fSheet.getPropertyValue(namesake)); }),
      "the data type valuetest.Sheet has no property \"colors\": the one of that name is another; take it from the "
      "data type");
  EXPECT_EQ(textOf<PropertyError>([&] { fSheet.setPropertyValue(meta::Property(), Value(1)); }),
            "the data type valuetest.Sheet has no property (a null handle)");
}

TEST_F(ASheet, RefusesToHaveACollectionSet) {
  EXPECT_THROW(fSheet.set(u"numbers", 1), bedrock::except::IMsgIDException);
  EXPECT_THROW(fSheet.set(u"points", pointAt(1, 2)), bedrock::except::IMsgIDException);
  EXPECT_THROW(fSheet.set(u"targets", fTarget), bedrock::except::IMsgIDException);
}

// --- Depth.

TEST(ReflectiveDataType, NestsToAnyDepth) {
  ReflectiveDataType deep = valuetest::nested(valuetest::deep());
  ReflectiveDataType copy(deep);
  EXPECT_EQ(copy, deep);
  EXPECT_EQ(copy.hash(), deep.hash());
  EXPECT_EQ(copy <=> deep, std::strong_ordering::equal);
  const Value value(std::move(copy));
  EXPECT_EQ(*value.peek<ReflectiveDataType>(), deep);
  EXPECT_LT(value.describe().size(), 300U);
  const Model model = valuetest::emptyModel();
  const ModelElement element = valuetest::newElement(model, valuetest::box(), 1);
  element->set(u"nest", std::move(deep));
  EXPECT_EQ(element->getPropertyValue(element->property(u"nest"), ReflectionPrivateTag::PUBLIC_ACCESS), value);
}

}  // namespace
}  // namespace tarn::kern
