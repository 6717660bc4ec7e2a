#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
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
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/tarn/kern/ValueTestModel.h"

namespace tarn::kern {
namespace {

using boost::posix_time::ptime;
using boost::uuids::uuid;
using meta::StandardTypes;
using CastFailure = bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;

const ptime kTime(boost::gregorian::date(2020, 1, 31), boost::posix_time::time_duration(13, 5, 9));
const uuid kId = boost::uuids::string_generator()("01234567-89ab-cdef-0123-456789abcdef");

Value empty(const meta::Type& type) { return Value::createEmptyValue(type, false); }
Value enumValue(std::int64_t number) { return Value(ValueMeta(valuetest::size(), ValueFlags::Single), number); }
ValueMeta singleOf(const meta::Type& type) { return ValueMeta(type, ValueFlags::Single); }
ValueMeta collectionOf(const meta::Type& type) { return ValueMeta(type, ValueFlags::Collection); }

/// Expects the cast failure with that type name as its argument.
template <class Read>
void expectCannotCast(const ustring& typeName, Read read) {
  try {
    read();
    FAIL() << "nothing was thrown";
  } catch (const CastFailure& failure) {
    EXPECT_EQ(failure.getMsgID().arguments(), std::vector<ustring>{typeName});
  }
}

// --- The fifteen standard types.

template <class T>
struct Sample;
// clang-format off
template <> struct Sample<ustring> { static ustring value() { return u"a text beyond any short string"; } static meta::Type type() { return StandardTypes::stringMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::string> { static std::string value() { return "a narrow text beyond any short string"; } static meta::Type type() { return StandardTypes::stdstringMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::int32_t> { static std::int32_t value() { return -2147483647 - 1; } static meta::Type type() { return StandardTypes::integerMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::int8_t> { static std::int8_t value() { return -128; } static meta::Type type() { return StandardTypes::integer8Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::int16_t> { static std::int16_t value() { return -32768; } static meta::Type type() { return StandardTypes::integer16Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::int64_t> { static std::int64_t value() { return std::numeric_limits<std::int64_t>::min(); } static meta::Type type() { return StandardTypes::integer64Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::uint8_t> { static std::uint8_t value() { return 255; } static meta::Type type() { return StandardTypes::uinteger8Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::uint16_t> { static std::uint16_t value() { return 65535; } static meta::Type type() { return StandardTypes::uinteger16Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::uint64_t> { static std::uint64_t value() { return std::numeric_limits<std::uint64_t>::max(); } static meta::Type type() { return StandardTypes::uinteger64Meta.operator meta::PrimitiveType(); } };
template <> struct Sample<std::uint32_t> { static std::uint32_t value() { return 4294967295U; } static meta::Type type() { return StandardTypes::unlimitedNaturalMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<double> { static double value() { return -0.1; } static meta::Type type() { return StandardTypes::realMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<bool> { static bool value() { return true; } static meta::Type type() { return StandardTypes::booleanMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<uuid> { static uuid value() { return kId; } static meta::Type type() { return StandardTypes::uuidMeta.operator meta::PrimitiveType(); } };
template <> struct Sample<ptime> { static ptime value() { return kTime; } static meta::Type type() { return StandardTypes::dateTimeMeta.operator meta::PrimitiveType(); } };
// clang-format on

template <class T>
class ValueOf : public ::testing::Test {};
using PlainTypes =
    ::testing::Types<ustring, std::string, std::int32_t, std::int8_t, std::int16_t, std::int64_t, std::uint8_t,
                     std::uint16_t, std::uint64_t, std::uint32_t, double, bool, uuid, ptime>;
TYPED_TEST_SUITE(ValueOf, PlainTypes);

TYPED_TEST(ValueOf, IsReadAsWhatItWasMadeOf) {
  const Value value(Sample<TypeParam>::value());
  EXPECT_EQ(value.getType(), Sample<TypeParam>::type());
  EXPECT_EQ(value.getMeta().upper, 1U);
  EXPECT_FALSE(value.getMeta().isCollection);
  EXPECT_TRUE(value.hasObject());
  EXPECT_EQ(value.get<TypeParam>(), Sample<TypeParam>::value());
  EXPECT_EQ(*value.peek<TypeParam>(), Sample<TypeParam>::value());
  EXPECT_TRUE(value.getOptional<TypeParam>() == boost::optional<TypeParam>(Sample<TypeParam>::value()));
}

TYPED_TEST(ValueOf, ReadsAsItsZeroWhenNothingIsStored) {
  const Value value = empty(Sample<TypeParam>::type());
  EXPECT_FALSE(value.hasObject());
  EXPECT_EQ(value.get<TypeParam>(), TypeParam());
  EXPECT_EQ(value.peek<TypeParam>(), nullptr);
  EXPECT_FALSE(value.getOptional<TypeParam>());
}

TYPED_TEST(ValueOf, IsCopiedMovedAndComparedByContent) {
  const Value value(Sample<TypeParam>::value());
  Value copy(value);
  EXPECT_EQ(copy, value);
  EXPECT_EQ(copy.hash(), value.hash());
  EXPECT_EQ(copy <=> value, std::strong_ordering::equal);
  const Value moved(std::move(copy));
  EXPECT_EQ(moved, value);
  EXPECT_EQ(copy, empty(value.getType()));  // NOLINT(bugprone-use-after-move): it is absent then
  copy = moved;
  EXPECT_EQ(copy, value);
  EXPECT_NE(value, Value(TypeParam()));
  EXPECT_NE(value, empty(value.getType()));
  EXPECT_LT(empty(value.getType()), value);
  EXPECT_NE(value <=> Value(TypeParam()), std::strong_ordering::equal);
}

TYPED_TEST(ValueOf, IsNotReadAsAnythingElse) {
  const auto expectRefused = [](const Value& value) {
    const ustring name = value.getType()->getQualifiedName();
    if constexpr (!std::same_as<TypeParam, double>) {
      expectCannotCast(name, [&] { static_cast<void>(value.get<double>()); });
      expectCannotCast(name, [&] { static_cast<void>(value.getOptional<double>()); });
      expectCannotCast(name, [&] { static_cast<void>(value.peek<double>()); });
    }
    if constexpr (!std::same_as<TypeParam, std::int32_t>) {
      expectCannotCast(name, [&] { static_cast<void>(value.get<std::int32_t>()); });
      expectCannotCast(name, [&] { static_cast<void>(value.getOptional<std::int32_t>()); });
      expectCannotCast(name, [&] { static_cast<void>(value.peek<std::int32_t>()); });
    }
    expectCannotCast(name, [&] { static_cast<void>(value.get<ModelElement>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.getOptional<ModelElement>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.get<ReflectiveDataType>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.getOptional<ReflectiveDataType>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.get<valuetest::Money>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.getOptional<valuetest::Money>()); });
    expectCannotCast(name, [&] { static_cast<void>(value.toElementCollection()); });
    expectCannotCast(name, [&] { static_cast<void>(value.toPrimitiveCollection()); });
    expectCannotCast(name, [&] { static_cast<void>(value.toStringToStringMap()); });
    expectCannotCast(name, [&] { static_cast<void>(value.toReflectiveDataType()); });
  };
  expectRefused(Value(Sample<TypeParam>::value()));
  expectRefused(empty(Sample<TypeParam>::type()));
}

TYPED_TEST(ValueOf, IsRefusedWhenItIsACollection) {
  const ustring name = Sample<TypeParam>::type()->getQualifiedName();
  const Value value(collectionOf(Sample<TypeParam>::type()), Sample<TypeParam>::value());
  expectCannotCast(name, [&] { static_cast<void>(value.get<TypeParam>()); });
  expectCannotCast(name, [&] { static_cast<void>(value.getOptional<TypeParam>()); });
  expectCannotCast(name, [&] { static_cast<void>(value.toPrimitiveCollection()); });
}

TYPED_TEST(ValueOf, IsRefusedWhenAnotherCppTypeIsStored) {
  struct Foreign {
    bool operator==(const Foreign&) const = default;
  };
  const Value value(singleOf(Sample<TypeParam>::type()), Foreign());
  const ustring name = Sample<TypeParam>::type()->getQualifiedName();
  expectCannotCast(name, [&] { static_cast<void>(value.get<TypeParam>()); });
  expectCannotCast(name, [&] { static_cast<void>(value.getOptional<TypeParam>()); });
  expectCannotCast(name, [&] { static_cast<void>(value.peek<TypeParam>()); });
  EXPECT_NE(value, Value(Sample<TypeParam>::value()));
  EXPECT_NE(value <=> Value(Sample<TypeParam>::value()), std::strong_ordering::equal);
  EXPECT_THAT(value.describe(), ::testing::HasSubstr("(an object of a foreign C++ type)"));
}

TEST(Value, TakesTextAsAString) {
  EXPECT_EQ(Value(u"text").get<ustring>(), u"text");
  EXPECT_EQ(Value(singleOf(Sample<ustring>::type()), u"text").get<ustring>(), u"text");
}

TEST(Value, OfAnotherTypeIsNeverEqual) {
  EXPECT_NE(Value(std::int32_t{0}), Value(std::int64_t{0}));
  EXPECT_NE(empty(Sample<std::int32_t>::type()), empty(Sample<std::int64_t>::type()));
  EXPECT_NE(empty(valuetest::color()), empty(valuetest::size()));
}

TEST(Value, CanBeAssignedToItself) {
  Value value(Sample<ustring>::value());
  const Value& same = value;
  value = same;
  EXPECT_EQ(value.get<ustring>(), Sample<ustring>::value());
}

TEST(Value, OfAMovedFromValueIsAbsent) {
  Value value(Sample<ustring>::value());
  const Value taken(std::move(value));
  EXPECT_EQ(value.get<ustring>(), u"");  // NOLINT(bugprone-use-after-move): that is the promise
  EXPECT_FALSE(value.getOptional<ustring>());
}

// --- Numbers.

TEST(Value, ComparesRealsByTheirBits) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(Value(nan), Value(nan));
  EXPECT_EQ(Value(nan).hash(), Value(nan).hash());
  EXPECT_EQ(Value(nan) <=> Value(nan), std::strong_ordering::equal);
  EXPECT_NE(Value(nan), Value(-nan));
  EXPECT_NE(Value(0.0), Value(-0.0));
  EXPECT_LT(Value(-0.0), Value(0.0));
  EXPECT_LT(Value(1.0), Value(nan));
}

TEST(Value, HoldsATimeThatIsNoneAsEqualToItself) {
  EXPECT_EQ(Value(ptime()), Value(ptime()));
  EXPECT_EQ(Value(ptime()).hash(), Value(ptime()).hash());
  EXPECT_EQ(Value(ptime()) <=> Value(ptime()), std::strong_ordering::equal);
  EXPECT_LT(Value(ptime()), Value(ptime(boost::posix_time::neg_infin)));
  EXPECT_LT(Value(ptime(boost::posix_time::neg_infin)), Value(kTime));
  EXPECT_LT(Value(kTime), Value(ptime(boost::posix_time::pos_infin)));
  EXPECT_TRUE(empty(Sample<ptime>::type()).get<ptime>().is_not_a_date_time());
}

TEST(Value, SortsByTypeThenAbsenceThenContent) {
  std::vector<Value> values{Value(u"b"), Value(std::int32_t{3}), Value(u"a"), empty(Sample<ustring>::type()),
                            Value(std::int32_t{-3})};
  std::sort(values.begin(), values.end());
  const std::vector<Value> sorted{Value(std::int32_t{-3}), Value(std::int32_t{3}), empty(Sample<ustring>::type()),
                                  Value(u"a"), Value(u"b")};
  EXPECT_EQ(values, sorted);
}

// --- Enums.

TEST(Value, OfAnEnumIsReadAsAnyInteger) {
  const Value value = Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"blue"));
  EXPECT_EQ(value.getType(), valuetest::color());
  EXPECT_EQ(value.get<std::int64_t>(), -7);
  EXPECT_EQ(value.get<std::int32_t>(), -7);
  EXPECT_EQ(value.get<std::int16_t>(), -7);
  EXPECT_EQ(value.get<std::int8_t>(), -7);
  EXPECT_EQ(value.get<std::uint64_t>(), 0xFFFFFFFFFFFFFFF9U);
  EXPECT_EQ(value.get<std::uint32_t>(), 0xFFFFFFF9U);
  EXPECT_EQ(value.get<std::uint16_t>(), 0xFFF9U);
  EXPECT_EQ(value.get<std::uint8_t>(), 0xF9U);
  EXPECT_EQ(*value.peek<std::int64_t>(), -7);
  EXPECT_TRUE(value.getOptional<std::int8_t>() == boost::optional<std::int8_t>(std::int8_t{-7}));
}

TEST(Value, OfAnEnumIsTruncatedByANarrowRead) {
  EXPECT_EQ(enumValue(4294967296).get<std::int64_t>(), 4294967296);
  EXPECT_EQ(enumValue(4294967296).get<std::int32_t>(), 0);
}

TEST(Value, OfAnEnumReadsAsZeroWhenAbsent) {
  const Value value = empty(valuetest::color());
  EXPECT_EQ(value.get<std::int64_t>(), 0);
  EXPECT_EQ(value.get<std::int32_t>(), 0);
  EXPECT_EQ(value.get<std::uint8_t>(), 0);
  EXPECT_EQ(value.peek<std::int64_t>(), nullptr);
  EXPECT_FALSE(value.getOptional<std::int32_t>());
}

TEST(Value, OfAnEnumIsNeitherRealNorBooleanNorText) {
  const Value value = enumValue(0);
  expectCannotCast(u"valuetest.Size", [&] { static_cast<void>(value.get<double>()); });
  expectCannotCast(u"valuetest.Size", [&] { static_cast<void>(value.get<bool>()); });
  expectCannotCast(u"valuetest.Size", [&] { static_cast<void>(value.get<ustring>()); });
  expectCannotCast(u"valuetest.Size", [&] { static_cast<void>(value.peek<std::int32_t>()); });
}

TEST(Value, OfAnEnumHoldsANumberOfAnyWidthAlike) {
  enum class Native : short { kTwo = 2 };
  const ValueMeta meta = singleOf(valuetest::color());
  const Value wide(meta, std::int64_t{2});
  EXPECT_EQ(Value(meta, std::int8_t{2}), wide);
  EXPECT_EQ(Value(meta, std::uint16_t{2}), wide);
  EXPECT_EQ(Value(meta, 2ULL), wide);
  EXPECT_EQ(Value(meta, Native::kTwo), wide);
  EXPECT_EQ(Value(meta, true).get<std::int64_t>(), 1);
  EXPECT_EQ(Value(meta, std::int8_t{-1}).get<std::int64_t>(), -1);
  EXPECT_EQ(Value(meta, std::uint8_t{255}).get<std::int64_t>(), 255);
}

TEST(Value, OfAnEnumHoldsANumberWithoutLiteral) { EXPECT_EQ(enumValue(12345).get<std::int32_t>(), 12345); }

TEST(Value, OfAnEnumThatHoldsARealIsRefusedWhenRead) {
  const Value value(singleOf(valuetest::color()), 1.5);
  expectCannotCast(u"valuetest.Color", [&] { static_cast<void>(value.get<std::int64_t>()); });
  expectCannotCast(u"valuetest.Color", [&] { static_cast<void>(value.get<std::int32_t>()); });
  expectCannotCast(u"valuetest.Color", [&] { static_cast<void>(value.get<double>()); });
}

TEST(Value, OfANullLiteralCannotBeMade) {
  EXPECT_THROW(static_cast<void>(Value::createEnumValue(meta::EnumLiteral())), KernelError);
}

// --- Empty values.

TEST(Value, CreatedEmptyIsTheSameWhateverTheFlagSays) {
  const Value required = Value::createEmptyValue(valuetest::color(), true);
  EXPECT_EQ(required, empty(valuetest::color()));
  EXPECT_FALSE(required.hasObject());
  EXPECT_EQ(required.getMeta().upper, 1U);
  EXPECT_FALSE(required.getMeta().isCollection);
}

TEST(ValueMeta, DiffersByTypeBoundAndMultiplicity) {
  const ValueMeta integers = collectionOf(Sample<std::int32_t>::type());
  EXPECT_EQ(integers, collectionOf(Sample<std::int32_t>::type()));
  EXPECT_NE(integers, collectionOf(Sample<double>::type()));
  ValueMeta other = integers;
  other.upper = 2;
  EXPECT_NE(integers, other);
  other = integers;
  other.isCollection = false;
  EXPECT_NE(integers, other);
}

TEST(ValueMeta, OfOneEntryIsSingle) {
  const ValueMeta entry = collectionOf(valuetest::color()).getEntryType();
  EXPECT_EQ(entry, singleOf(valuetest::color()));
  EXPECT_EQ(entry.getEntryType(), entry);
  EXPECT_GE(collectionOf(valuetest::color()).upper, 2U);
}

TEST(Value, OfANullTypeIsRefusedByEveryRead) {
  const Value value = empty(meta::Type());
  expectCannotCast(u"", [&] { static_cast<void>(value.get<ustring>()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.get<std::int32_t>()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.get<ModelElement>()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.get<ReflectiveDataType>()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.get<valuetest::Money>()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.toElementCollection()); });
  expectCannotCast(u"", [&] { static_cast<void>(value.toPrimitiveCollection()); });
  EXPECT_EQ(value.describe(), "(no type) (absent)");
  EXPECT_EQ(value, Value(value));
  EXPECT_LT(value, Value(1));
}

// --- Elements.

class ValueOfAnElement : public ::testing::Test {
 protected:
  Model fModel = valuetest::emptyModel();
  ModelElement fElement = valuetest::newElement(fModel, valuetest::bigBox(), 1);
};

TEST_F(ValueOfAnElement, HasTheElementsClass) {
  const Value value(fElement);
  EXPECT_EQ(value.getType(), valuetest::bigBox());
  EXPECT_EQ(value.get<ModelElement>(), fElement);
  EXPECT_TRUE(value.getOptional<ModelElement>() == boost::optional<ModelElement>(fElement));
}

TEST_F(ValueOfAnElement, IsComparedByIdentity) {
  const ModelElement other = valuetest::newElement(valuetest::emptyModel(), valuetest::bigBox(), 1);
  EXPECT_EQ(Value(fElement), Value(fElement));
  EXPECT_EQ(Value(fElement).hash(), Value(fElement).hash());
  EXPECT_NE(Value(fElement), Value(other)) << "the same uuid in another model";
}

TEST_F(ValueOfAnElement, HoldsANullHandleOfTheRootClass) {
  const Value value{ModelElement()};
  EXPECT_EQ(value.getType(), ModelElement::metaClass());
  EXPECT_TRUE(value.hasObject());
  EXPECT_FALSE(value.get<ModelElement>());
  EXPECT_NE(value, empty(ModelElement::metaClass())) << "a stored null is not an absent value";
}

TEST_F(ValueOfAnElement, ReadsAsNullWhenAbsent) {
  const Value value = empty(valuetest::box());
  EXPECT_FALSE(value.get<ModelElement>());
  EXPECT_FALSE(value.getOptional<ModelElement>());
}

TEST_F(ValueOfAnElement, IsRefusedWhenItIsACollectionOrHoldsAnotherCppType) {
  const Value many(collectionOf(valuetest::box()), fElement);
  expectCannotCast(u"valuetest.Box", [&] { static_cast<void>(many.get<ModelElement>()); });
  expectCannotCast(u"valuetest.Box", [&] { static_cast<void>(many.toElementCollection()); });
  const Value number(singleOf(valuetest::box()), 5);
  expectCannotCast(u"valuetest.Box", [&] { static_cast<void>(number.get<ModelElement>()); });
}

TEST_F(ValueOfAnElement, IsReadFromAMetaModelElementToo) {
  const Value value{valuetest::box()};
  EXPECT_EQ(value.getType(), meta::Class::metaClass());
  EXPECT_EQ(value.get<ModelElement>(), valuetest::box());
}

// --- Custom types.

TEST(Value, OfACustomTypeHoldsTheRegisteredCppType) {
  const Value value(singleOf(valuetest::money()), valuetest::Money{150});
  EXPECT_EQ(value.get<valuetest::Money>().cents, 150);
  EXPECT_EQ(value.peek<valuetest::Money>()->cents, 150);
  EXPECT_EQ(value.getOptional<valuetest::Money>()->cents, 150);
  EXPECT_EQ(value, Value(value));
  EXPECT_LT(value, Value(singleOf(valuetest::money()), valuetest::Money{151}));
}

TEST(Value, OfACustomTypeMayBeLargeAndWithoutOrder) {
  const Value value(singleOf(valuetest::blob()), valuetest::Blob{u"name", u"content"});
  Value copy(value);
  EXPECT_EQ(copy, value);
  EXPECT_EQ(copy.hash(), value.hash());
  const Value moved(std::move(copy));
  EXPECT_EQ(moved.peek<valuetest::Blob>()->content, u"content");
  const Value other(singleOf(valuetest::blob()), valuetest::Blob{u"name", u"other"});
  EXPECT_NE(value, other);
  EXPECT_THROW(static_cast<void>(value <=> other), KernelError);
}

TEST(Value, OfACustomTypeFailsToBeReadWhenAbsentOrOfAnotherType) {
  const Value absent = empty(valuetest::money());
  expectCannotCast(u"valuetest.Money", [&] { static_cast<void>(absent.get<valuetest::Money>()); });
  EXPECT_EQ(absent.peek<valuetest::Money>(), nullptr);
  EXPECT_FALSE(absent.getOptional<valuetest::Money>());
  expectCannotCast(u"valuetest.Money", [&] { static_cast<void>(absent.peek<valuetest::Blob>()); });
  expectCannotCast(u"valuetest.Money", [&] { static_cast<void>(absent.get<std::int64_t>()); });
  const Value wrong(singleOf(valuetest::money()), 5);
  expectCannotCast(u"valuetest.Money", [&] { static_cast<void>(wrong.get<valuetest::Money>()); });
}

// --- Maps that belong to nobody.

TEST(Value, OfAMapIsReadInPlace) {
  const Value value(StringToStringMap{{u"a", u"1"}});
  EXPECT_EQ(value.getType(), meta::PrimitiveType(StandardTypes::stringToStringMapMeta));
  EXPECT_EQ(value.toStringToStringMap().size(), 1U);
  EXPECT_EQ(value.get<StringToStringMap>(), (StringToStringMap{{u"a", u"1"}}));
  EXPECT_EQ(value.peek<StringToStringMap>()->size(), 1U);
  EXPECT_EQ(value, Value(value));
  EXPECT_NE(value, Value(StringToStringMap{{u"a", u"2"}}));
}

TEST(Value, OfAMapComparesWithTheOrder) {
  const Value value(StringToStringMap{{u"a", u"1"}, {u"b", u"2"}});
  EXPECT_NE(value, Value(StringToStringMap{{u"b", u"2"}, {u"a", u"1"}}));
}

TEST(Value, OfAMapFailsToBeReadWhenAbsent) {
  const Value value = empty(meta::PrimitiveType(StandardTypes::stringToStringMapMeta));
  expectCannotCast(u"StringToStringMap", [&] { static_cast<void>(value.toStringToStringMap()); });
  expectCannotCast(u"StringToStringMap", [&] { static_cast<void>(value.get<StringToStringMap>()); });
  EXPECT_EQ(value.peek<StringToStringMap>(), nullptr);
  EXPECT_FALSE(value.getOptional<StringToStringMap>());
}

// --- Collections.

class ValueOfACollection : public ::testing::Test {
 protected:
  [[nodiscard]] Value read(std::u16string_view property) const {
    return fElement->getPropertyValue(fElement->property(property), ReflectionPrivateTag::PUBLIC_ACCESS);
  }
  Model fModel = valuetest::emptyModel();
  ModelElement fElement = valuetest::newElement(fModel, valuetest::box(), 1);
};

TEST_F(ValueOfACollection, IsSeenAsWhatItHolds) {
  const Value numbers = read(u"numbers");
  EXPECT_EQ(numbers.getMeta(), collectionOf(Sample<std::int32_t>::type()));
  EXPECT_TRUE(numbers.toPrimitiveCollection().empty());
  expectCannotCast(u"Integer", [&] { static_cast<void>(numbers.toElementCollection()); });
  expectCannotCast(u"Integer", [&] { static_cast<void>(numbers.get<std::int32_t>()); });
  expectCannotCast(u"Integer", [&] { static_cast<void>(numbers.toStringToStringMap()); });
  const Value parts = read(u"parts");
  EXPECT_TRUE(parts.toElementCollection().empty());
  expectCannotCast(u"valuetest.Box", [&] { static_cast<void>(parts.toPrimitiveCollection()); });
  expectCannotCast(u"valuetest.Box", [&] { static_cast<void>(parts.get<ModelElement>()); });
}

TEST_F(ValueOfACollection, FailsToBeReadWhenNothingIsStored) {
  Value numbers = read(u"numbers");
  const Value taken(std::move(numbers));
  expectCannotCast(u"Integer", [&] { static_cast<void>(numbers.toPrimitiveCollection()); });  // NOLINT
}

TEST_F(ValueOfACollection, ComparesByContent) {
  const ModelElement other = valuetest::newElement(fModel, valuetest::box(), 2);
  const auto readOther = [&](std::u16string_view property) {
    return other->getPropertyValue(other->property(property), ReflectionPrivateTag::PUBLIC_ACCESS);
  };
  for (const auto& element : {fElement, other}) {
    const Value numbers = element->getPropertyValue(element->property(u"numbers"), ReflectionPrivateTag::PUBLIC_ACCESS);
    numbers.toPrimitiveCollection().addValue(Value(1));
    numbers.toPrimitiveCollection().addValue(Value(2));
  }
  EXPECT_EQ(read(u"numbers"), readOther(u"numbers"));
  EXPECT_EQ(read(u"numbers").hash(), readOther(u"numbers").hash());
  const Value live = read(u"numbers");
  const Value snapshot(live);
  EXPECT_EQ(snapshot, live);
  EXPECT_EQ(snapshot.hash(), live.hash());
  live.toPrimitiveCollection().addValue(Value(3));
  EXPECT_NE(snapshot, live);
  EXPECT_LT(snapshot, live);
  EXPECT_NE(read(u"numbers"), readOther(u"numbers"));
}

TEST_F(ValueOfACollection, ComparesElementsByIdentityAndOrder) {
  const ModelElement a = valuetest::newElement(fModel, valuetest::box(), 2);
  const ModelElement b = valuetest::newElement(fModel, valuetest::box(), 3);
  const Value live = read(u"friends");
  live.toElementCollection().addElement(a);
  live.toElementCollection().addElement(b);
  const Value snapshot(live);
  EXPECT_EQ(snapshot, live);
  live.toElementCollection().move(0, 1);
  EXPECT_NE(snapshot, live);
}

TEST_F(ValueOfACollection, OfTheSameContentIsEqualWhateverItsStorage) {
  const ReflectiveDataType data(valuetest::sheet());
  const auto readData = [&](std::u16string_view name) {
    return data.getPropertyValue(valuetest::propertyOf(valuetest::sheet(), name));
  };
  for (const int number : {3, 1, 2}) {
    readData(u"numbers").toPrimitiveCollection().addValue(Value(number));
    readData(u"generic").toPrimitiveCollection().addValue(Value(number));
  }
  EXPECT_NE(readData(u"numbers").toPrimitiveCollection().getStorageKind(),
            readData(u"generic").toPrimitiveCollection().getStorageKind());
  EXPECT_EQ(readData(u"numbers"), readData(u"generic"));
  EXPECT_EQ(readData(u"numbers") <=> readData(u"generic"), std::strong_ordering::equal);
  EXPECT_EQ(readData(u"numbers").hash(), readData(u"generic").hash());
}

// --- Order and hash, whatever a value holds.

/// Each pair in order: neither equal, and hashed.
void expectAscending(const std::vector<Value>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < values.size(); ++j) {
      EXPECT_EQ(values[i] <=> values[j], i <=> j) << values[i].describe() << " and " << values[j].describe();
      EXPECT_EQ(values[i] == values[j], i == j);
      EXPECT_EQ(values[i].hash() == values[j].hash(), i == j);
    }
  }
}

TEST(Value, OrdersMultiplicitiesAndAbsentValues) {
  const meta::Type integer = Sample<std::int32_t>::type();
  ValueMeta two = singleOf(integer);
  two.upper = 2;
  expectAscending({empty(integer), Value(-1), Value(2), Value(two, 1), Value(collectionOf(integer), 1)});
}

TEST(Value, OrdersTimesWithTheSpecialOnesAtTheirEnds) {
  expectAscending({Value(ptime()), Value(ptime(boost::posix_time::neg_infin)), Value(kTime),
                   Value(kTime + boost::posix_time::microseconds(1)), Value(ptime(boost::posix_time::pos_infin))});
}

TEST(Value, StaysAsItIsWhenMovedOntoItself) {
  Value value(u"a text beyond any short string");
  Value& same = value;
  value = std::move(same);
  EXPECT_EQ(value, Value(u"a text beyond any short string"));
}

TEST(Value, OrdersANullTypeBeforeAllOthers) {
  const Value none(singleOf(meta::Type()), 1);
  expectAscending({none, Value(1)});
  EXPECT_EQ(none, Value(singleOf(meta::Type()), 1));
}

TEST(Value, OrdersTypesOfOneNameInAnyWayButAlwaysTheSame) {
  const auto classOfVersion = [](std::u16string_view version) {
    meta::PackageBuilder builder(u"valuetestVersions");
    builder.family(u"valuetestVersions", version);
    builder.addClass(u"Thing");
    return builder.registerPackage()->getTypes().at(u"Thing");
  };
  const Value first = empty(classOfVersion(u"1.0"));
  const Value second = empty(classOfVersion(u"2.0"));
  ASSERT_EQ(first.getType()->getQualifiedName(), second.getType()->getQualifiedName());
  EXPECT_NE(first, second);
  EXPECT_NE(first <=> second, std::strong_ordering::equal);
  EXPECT_EQ(first<second, second> first);
}

TEST(Value, OrdersMapsByTheirEntries) {
  using Map = StringToStringMap;
  expectAscending({Value(Map()), Value(Map{{u"a", u"1"}}), Value(Map{{u"a", u"1"}, {u"b", u"0"}}),
                   Value(Map{{u"a", u"2"}}), Value(Map{{u"b", u"0"}})});
}

TEST(Value, OfOneTypeButAnotherKindOfObjectIsNeverEqual) {
  const Value map{StringToStringMap()};
  const Value foreign(map.getMeta(), ustring());
  EXPECT_NE(map, foreign);
  EXPECT_EQ(map<foreign, foreign> map);
  EXPECT_NE(map <=> foreign, std::strong_ordering::equal);
}

TEST_F(ValueOfACollection, OfElementsIsOrderedAndHashedByThem) {
  const auto friends = [&](const std::vector<ModelElement>& members) {
    const Value live = read(u"friends");
    live.toElementCollection().assign(members);
    return Value(live);  // a snapshot
  };
  ModelElement low = valuetest::newElement(fModel, valuetest::box(), 2);
  ModelElement high = valuetest::newElement(fModel, valuetest::box(), 3);
  if (high < low) std::swap(low, high);
  expectAscending({friends({}), friends({low}), friends({low, high}), friends({high}), friends({high, low})});
}

TEST_F(ValueOfACollection, OfAnotherLengthIsNeverEqual) {
  const Value live = read(u"colors");
  ASSERT_EQ(live.toPrimitiveCollection().getStorageKind(), PrimitiveCollection::kGeneric);
  const Value shorter(live);
  live.toPrimitiveCollection().addValue(Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"red")));
  EXPECT_NE(live, shorter);
  EXPECT_LT(shorter, live);
}

TEST(Value, IsNoViewOfACollectionWhenItsMetaContradictsItself) {
  for (const meta::Type& type : {Sample<std::int32_t>::type(), meta::Type(valuetest::box())}) {
    ValueMeta one = collectionOf(type);
    one.upper = 1;
    expectCannotCast(type->getQualifiedName(), [&] { static_cast<void>(Value(one, 1).toPrimitiveCollection()); });
    expectCannotCast(type->getQualifiedName(), [&] { static_cast<void>(Value(one, 1).toElementCollection()); });
  }
}

TEST(Value, IsNoElementWhenItsTypeIsNoClass) {
  const Model model = valuetest::emptyModel();
  const ModelElement element = valuetest::newElement(model, valuetest::box(), 1);
  expectCannotCast(u"Integer", [&] {
    static_cast<void>(Value(singleOf(Sample<std::int32_t>::type()), element).get<ModelElement>());
  });
}

// --- Texts for messages.

TEST(ValueText, ShowsEachKindOfContent) {
  EXPECT_EQ(Value(u"say \"hi\"\n").describe(), R"(String "say \"hi\"\n")");
  EXPECT_EQ(Value(std::string("narrow")).describe(), R"(StdString "narrow")");
  EXPECT_EQ(Value(std::int8_t{-5}).describe(), "Integer8 -5");
  EXPECT_EQ(Value(std::uint8_t{200}).describe(), "UInteger8 200");
  EXPECT_EQ(Value(0.1).describe(), "Real 0.1");
  EXPECT_EQ(Value(true).describe(), "Boolean true");
  EXPECT_EQ(Value(kId).describe(), "UUID 01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_EQ(Value(kTime).describe(), "DateTime 2020-01-31T13:05:09.000000");
  EXPECT_EQ(Value(StringToStringMap{{u"a", u"1"}, {u"b", u"2"}}).describe(),
            R"(StringToStringMap {"a": "1", "b": "2"})");
  EXPECT_EQ(Value(StringToStringMap()).describe(), "StringToStringMap {}");
  EXPECT_EQ(empty(Sample<ustring>::type()).describe(), "String (absent)");
  EXPECT_EQ(Value(singleOf(valuetest::money()), valuetest::Money{150}).describe(), R"(valuetest.Money "150")");
}

TEST(ValueText, NamesTheLiteral) {
  EXPECT_EQ(Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"green")).describe(),
            "valuetest.Color green (1)");
  EXPECT_EQ(enumValue(5).describe(), "valuetest.Size without literal (5)");
}

TEST(ValueText, NamesTheElementByClassAndUuid) {
  const Model model = valuetest::emptyModel();
  const ModelElement element = valuetest::newElement(model, valuetest::box(), 9);
  EXPECT_EQ(Value(element).describe(), "valuetest.Box {00000000-0000-0000-0000-000000000009}");
  const Value value(element);
  element->destroy();
  EXPECT_EQ(value.describe(), "valuetest.Box {00000000-0000-0000-0000-000000000009} (destroyed)");
  EXPECT_THAT(Value(ModelElement()).describe(), ::testing::EndsWith(" (null)"));
}

TEST(ValueText, ShowsDataByAttribute) {
  ReflectiveDataType data(valuetest::point());
  data.set(u"x", 1);
  EXPECT_EQ(Value(data).describe(), "valuetest.Point {x: 1, y: (absent)}");
}

TEST(ValueText, CutsWhatIsLong) {
  const std::string text = Value(ustring(1000, u'x')).describe();
  EXPECT_EQ(text, "String \"" + std::string(60, 'x') + "...\"");
  ustring pairs;
  for (int i = 0; i < 100; ++i) pairs += i == 0 ? u"x" : u"\U0001F600";
  EXPECT_THAT(Value(pairs).describe(), ::testing::Not(::testing::HasSubstr("\\u"))) << "no pair is cut in two";
  EXPECT_LT(Value(valuetest::nested(50)).describe().size(), 300U);
  StringToStringMap map;
  for (int i = 0; i < 1000; ++i)
    map.insert(ustring(static_cast<std::size_t>(i + 1), u'k'), u"v", CollisionResolution::Replace);
  EXPECT_LT(Value(map).describe().size(), 400U);
  EXPECT_THAT(Value(map).describe(), ::testing::EndsWith(", ...}"));
}

TEST(ValueText, ShowsFalseForeignObjectsAndMovedFromData) {
  EXPECT_EQ(Value(false).describe(), "Boolean false");
  EXPECT_EQ(Value(singleOf(valuetest::color()), 1.5).describe(), "valuetest.Color (an object of a foreign C++ type)");
  ReflectiveDataType data(valuetest::point());
  const ReflectiveDataType moved(std::move(data));
  EXPECT_EQ(Value(singleOf(valuetest::point()), data).describe(), "valuetest.Point {...}");  // NOLINT: moved from
}

TEST(ValueText, ShowsTheMembersOfACollection) {
  const Model model = valuetest::emptyModel();
  const ModelElement owner = valuetest::newElement(model, valuetest::box(), 1);
  const Value friends = owner->getPropertyValue(owner->property(u"friends"), ReflectionPrivateTag::PUBLIC_ACCESS);
  friends.toElementCollection().assign({owner, ModelElement()});
  EXPECT_EQ(friends.describe(), "valuetest.Box [2] {{00000000-0000-0000-0000-000000000001}, (null)}");
  owner->destroy();
  EXPECT_EQ(friends.describe(), "valuetest.Box (of a destroyed element)");
}

TEST(ValueText, TellsWhyACustomValueCannotBeShown) {
  meta::PackageBuilder builder(u"valuetestSilent");
  builder.addPrimitive<valuetest::Money>(
      u"Secret", [](const valuetest::Money&) -> ustring { throw std::runtime_error("it is secret"); },
      [](const ustring&) { return valuetest::Money(); });
  const meta::Type secret = builder.registerPackage()->getTypes().at(u"Secret");
  EXPECT_EQ(Value(singleOf(secret), valuetest::Money{1}).describe(),
            "valuetestSilent.Secret (cannot be shown: it is secret)");
}

TEST(ValueText, CutsDataWithinDataWithinData) {
  meta::PackageBuilder builder(u"valuetestShells");
  const std::vector<ustring> names = {u"A", u"B", u"C", u"D", u"E"};
  for (std::size_t i = 0; i + 1 < names.size(); ++i) builder.addDataType(names[i]).attribute(u"in", names[i + 1]);
  builder.addDataType(names.back()).attribute(u"in", StandardTypes::integerMeta);
  const meta::Package package = builder.registerPackage();
  const auto shell = [&](const ustring& name) {
    return ReflectiveDataType(narrow<meta::DataType>(package->getTypes().at(name)));
  };
  ReflectiveDataType whole = shell(u"E").set(u"in", 1);
  for (std::size_t i = names.size() - 1; i-- > 0;) whole = shell(names[i]).set(u"in", whole);
  EXPECT_EQ(Value(whole).describe(), "valuetestShells.A {in: {in: {in: {...}}}}");
}
}  // namespace
}  // namespace tarn::kern
