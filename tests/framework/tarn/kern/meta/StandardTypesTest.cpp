#include <cstdint>
#include <string>
#include <thread>
#include <typeindex>

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

// Taken while static objects are made: the library has filled the members before.
const bool sWereFilledAtStart =
    StandardTypes::stringMeta && StandardTypes::stringToStringMapMeta && StandardTypes::realMeta;
const Class sRootAtStart = ModelElement::metaClass();

/// One standard type: the member, its name, and the C++ type of its values.
template <class T, class NameParameter>
void expectStandardType(StandardTypeWrapper<NameParameter>& member, const char16_t* name) {
  SCOPED_TRACE(bedrock::i18n::ustring_to_utf8(name));
  ASSERT_TRUE(static_cast<bool>(member));
  const PrimitiveType type = internal::getPrimitiveTypeFromMetaRegistry(name);
  ASSERT_TRUE(type);
  EXPECT_EQ(member, type);
  EXPECT_EQ(PrimitiveType(member), type);
  EXPECT_EQ(member.name(), ustring(name));
  EXPECT_EQ(member->getName(), name);
  EXPECT_EQ(member->getQualifiedName(), name);
  EXPECT_FALSE(member->getOwningPackage());
  EXPECT_TRUE(member->isStandard());
  EXPECT_EQ(member->storedType(), std::type_index(typeid(T)));
  EXPECT_EQ(Value(T()).getType(), type);
  EXPECT_EQ(MetaRegistry::getInstance()->getType(name), type);
}

TEST(StandardTypesTest, EachOfTheFifteenHasItsNameAndCppType) {
  expectStandardType<ustring>(StandardTypes::stringMeta, u"String");
  expectStandardType<std::string>(StandardTypes::stdstringMeta, u"StdString");
  expectStandardType<std::int32_t>(StandardTypes::integerMeta, u"Integer");
  expectStandardType<std::int8_t>(StandardTypes::integer8Meta, u"Integer8");
  expectStandardType<std::int16_t>(StandardTypes::integer16Meta, u"Integer16");
  expectStandardType<std::int64_t>(StandardTypes::integer64Meta, u"Integer64");
  expectStandardType<std::uint8_t>(StandardTypes::uinteger8Meta, u"UInteger8");
  expectStandardType<std::uint16_t>(StandardTypes::uinteger16Meta, u"UInteger16");
  expectStandardType<std::uint64_t>(StandardTypes::uinteger64Meta, u"UInteger64");
  expectStandardType<std::uint32_t>(StandardTypes::unlimitedNaturalMeta, u"UnlimitedNatural");
  expectStandardType<double>(StandardTypes::realMeta, u"Real");
  expectStandardType<bool>(StandardTypes::booleanMeta, u"Boolean");
  expectStandardType<boost::uuids::uuid>(StandardTypes::uuidMeta, u"UUID");
  expectStandardType<boost::posix_time::ptime>(StandardTypes::dateTimeMeta, u"DateTime");
  expectStandardType<StringToStringMap>(StandardTypes::stringToStringMapMeta, u"StringToStringMap");
}

TEST(StandardTypesTest, AreThereBeforeTheStaticObjectsOfUsers) {
  EXPECT_TRUE(sWereFilledAtStart);
  EXPECT_EQ(sRootAtStart, ModelElement::metaClass());
}

TEST(StandardTypesTest, AnUnknownNameGivesANullHandle) {
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u"UInteger32"));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u"string"));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u""));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(nullptr));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u"tarn.kern.meta.Class"));
}

TEST(StandardTypesTest, AMemberStartsNullAndMayBeFilledByTwoThreadsAtOnce) {
  static constinit StandardTypeWrapper<StringMetaNameParameter> sFresh;
  EXPECT_FALSE(static_cast<bool>(sFresh));
  const auto fill = [] {
    if (!sFresh) sFresh = internal::getPrimitiveTypeFromMetaRegistry(sFresh.name());
  };
  std::thread one(fill);
  std::thread two(fill);
  one.join();
  two.join();
  EXPECT_EQ(sFresh, PrimitiveType(StandardTypes::stringMeta));
}

}  // namespace
}  // namespace tarn::kern::meta
