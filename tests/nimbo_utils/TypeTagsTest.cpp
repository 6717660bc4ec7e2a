#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "TypeTags.h"
#include "support/TestMetaModel.h"

namespace {

namespace meta = tarn::kern::meta;
using quillon::nimbo::SerializationTag;
using quillon::nimbo::tagOfType;

const std::map<std::u16string, SerializationTag> kTagOfStandardType = {
    {u"String", SerializationTag::USTRING},
    {u"StdString", SerializationTag::STRING},
    {u"Integer", SerializationTag::INT},
    {u"Integer8", SerializationTag::INT8},
    {u"Integer16", SerializationTag::INT16},
    {u"Integer64", SerializationTag::INT64},
    {u"UInteger8", SerializationTag::UINT8},
    {u"UInteger16", SerializationTag::UINT16},
    {u"UInteger64", SerializationTag::UINT64},
    {u"UnlimitedNatural", SerializationTag::UINT},
    {u"Real", SerializationTag::DOUBLE},
    {u"Boolean", SerializationTag::BOOL},
    {u"UUID", SerializationTag::UUID},
    {u"DateTime", SerializationTag::DATETIME},
    {u"StringToStringMap", SerializationTag::STRINGTOSTRINGMAP},
};

TEST(TypeTags, GiveEachStandardTypeItsTag) {
  for (const auto& [name, tag] : kTagOfStandardType) {
    const meta::Type type = meta::internal::getPrimitiveTypeFromMetaRegistry(name.c_str());
    ASSERT_TRUE(type);
    EXPECT_EQ(tagOfType(type), tag);
  }
}

TEST(TypeTags, GiveAllOtherTypesTheTagOfTheirKind) {
  const auto& sample = testsupport::sampleMetaModel();
  EXPECT_EQ(tagOfType(sample.type(u"Box")), SerializationTag::MODEL_ELEMENT);
  EXPECT_EQ(tagOfType(tarn::kern::ModelElement::metaClass()), SerializationTag::MODEL_ELEMENT);
  EXPECT_EQ(tagOfType(meta::Enum::metaClass()), SerializationTag::MODEL_ELEMENT);
  EXPECT_EQ(tagOfType(sample.type(u"Point")), SerializationTag::DATA_TYPE);
  EXPECT_EQ(tagOfType(sample.type(u"Color")), SerializationTag::ENUM);
  EXPECT_EQ(tagOfType(sample.type(u"Money")), SerializationTag::NATIVE);
}

TEST(TypeTags, GoByIdentityNotByName) {
  meta::PackageBuilder builder(u"impostors");
  builder.addPrimitive<int>(
      u"Integer", [](const int&) { return std::u16string(); }, [](const std::u16string&) { return 0; });
  builder.addClass(u"String");
  const meta::Package package = builder.registerPackage();
  EXPECT_EQ(tagOfType(package->getTypes().at(u"Integer")), SerializationTag::NATIVE);
  EXPECT_EQ(tagOfType(package->getTypes().at(u"String")), SerializationTag::MODEL_ELEMENT);
}

TEST(TypeTags, TakeANullTypeForAnUnknownOne) { EXPECT_EQ(tagOfType(meta::Type()), SerializationTag::NATIVE); }

TEST(TypeTags, CanBeAskedForByManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 1000; ++round) {
        EXPECT_EQ(tagOfType(meta::StandardTypes::integer64Meta), SerializationTag::INT64);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
