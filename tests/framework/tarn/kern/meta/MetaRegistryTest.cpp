#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelElement.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MetaRegistryTest : public MetaModelTest {
 protected:
  static Package registerVersion(const char16_t* version, const char16_t* typeName = u"Book") {
    PackageBuilder lib(u"lib");
    lib.family(u"library", version).addClass(typeName);
    return lib.registerPackage();
  }
  static ustring uriOf(const char16_t* version) { return MetaRegistry::schemaBaseUri() + u"library/" + version; }
};

TEST_F(MetaRegistryTest, ThereIsOneRegistry) { EXPECT_EQ(MetaRegistry::getInstance(), &registry()); }

TEST_F(MetaRegistryTest, TheSchemaBaseEndsInASlash) { EXPECT_EQ(MetaRegistry::schemaBaseUri(), u"tarn://schema/"); }

TEST_F(MetaRegistryTest, WhatIsUnknownIsANullHandle) {
  EXPECT_FALSE(registry().getPackageForFamily(u"library"));
  EXPECT_FALSE(registry().getPackageForFamily(u""));
  EXPECT_FALSE(registry().getPackage(uriOf(u"1")));
  EXPECT_FALSE(registry().getType(u"lib.Book"));
  EXPECT_FALSE(registry().getType(u""));
  EXPECT_FALSE(registry().isVersionCurrentForFamily(uriOf(u"1")));
  EXPECT_FALSE(registry().isVersionCurrentForFamily(u""));
}

TEST_F(MetaRegistryTest, AVersionedPackageIsFoundByFamilyUriAndTypeName) {
  const Package package = registerVersion(u"1");
  EXPECT_EQ(registry().getPackageForFamily(u"library"), package);
  EXPECT_EQ(registry().getPackage(uriOf(u"1")), package);
  EXPECT_EQ(registry().getType(u"lib.Book"), package->getTypes().at(u"Book"));
  EXPECT_EQ(registry().getType(u"lib.Book")->getQualifiedName(), u"lib.Book");
  EXPECT_TRUE(registry().isVersionCurrentForFamily(uriOf(u"1")));
  EXPECT_FALSE(registry().isVersionCurrentForFamily(uriOf(u"2")));
  EXPECT_FALSE(registry().getPackageForFamily(uriOf(u"1")));
  EXPECT_FALSE(registry().getType(u"Book"));
}

TEST_F(MetaRegistryTest, APackageOutsideTheBaseIsAFamilyOfItsOwnAndCurrent) {
  PackageBuilder plain(u"plain");
  const Package package = plain.uri(u"http://example.org/plain/1").registerPackage();
  EXPECT_EQ(registry().getPackageForFamily(u"http://example.org/plain/1"), package);
  EXPECT_EQ(registry().getPackage(u"http://example.org/plain/1"), package);
  EXPECT_TRUE(registry().isVersionCurrentForFamily(u"http://example.org/plain/1"));
}

TEST_F(MetaRegistryTest, TheHighestVersionIsCurrentWhateverTheOrderOfRegistration) {
  const Package second = registerVersion(u"2");
  const Package first = registerVersion(u"1");
  EXPECT_EQ(registry().getPackageForFamily(u"library"), second);
  EXPECT_EQ(registry().getType(u"lib.Book"), second->getTypes().at(u"Book"));
  EXPECT_TRUE(registry().isVersionCurrentForFamily(uriOf(u"2")));
  EXPECT_FALSE(registry().isVersionCurrentForFamily(uriOf(u"1")));
  EXPECT_EQ(registry().getPackage(uriOf(u"1")), first);
  const Package tenth = registerVersion(u"10");
  EXPECT_EQ(registry().getPackageForFamily(u"library"), tenth);
  EXPECT_FALSE(registry().isVersionCurrentForFamily(uriOf(u"2")));
}

TEST_F(MetaRegistryTest, TypesThatTheNewVersionLacksAreNoLongerFoundByName) {
  const Package first = registerVersion(u"1", u"Tome");
  EXPECT_TRUE(registry().getType(u"lib.Tome"));
  registerVersion(u"2", u"Book");
  EXPECT_FALSE(registry().getType(u"lib.Tome"));
  EXPECT_TRUE(registry().getType(u"lib.Book"));
  EXPECT_EQ(first->getTypes().at(u"Tome")->getQualifiedName(), u"lib.Tome");
}

TEST_F(MetaRegistryTest, TwoVersionsMayComeInOneRegistration) {
  PackageBuilder one(u"lib"), two(u"lib");
  one.family(u"library", u"1").addClass(u"Book").reference(u"next", u"Book");
  two.family(u"library", u"2").addClass(u"Book").reference(u"next", u"Book");
  const std::vector<Package> packages = PackageBuilder::registerAll({&two, &one});
  EXPECT_EQ(registry().getPackageForFamily(u"library"), packages.at(0));
  const Class old = narrow<Class>(packages.at(1)->getTypes().at(u"Book"));
  EXPECT_EQ(old->getProperty(u"next")->getType(), old);
}

struct VersionOrder {
  const char16_t* lower;
  const char16_t* higher;
};

class MetaRegistryVersions : public MetaModelTest, public testing::WithParamInterface<VersionOrder> {};

TEST_P(MetaRegistryVersions, AreComparedPartByPart) {
  const auto isCurrent = [](const char16_t* version) {
    return registry().isVersionCurrentForFamily(MetaRegistry::schemaBaseUri() + u"library/" + version);
  };
  for (const bool isHigherFirst : {true, false}) {
    registry().reset();
    PackageBuilder lower(u"lib"), higher(u"lib");
    lower.family(u"library", GetParam().lower);
    higher.family(u"library", GetParam().higher);
    (isHigherFirst ? higher : lower).registerPackage();
    (isHigherFirst ? lower : higher).registerPackage();
    EXPECT_TRUE(isCurrent(GetParam().higher));
    EXPECT_FALSE(isCurrent(GetParam().lower));
  }
}

INSTANTIATE_TEST_SUITE_P(All, MetaRegistryVersions,
                         testing::Values(VersionOrder{u"2", u"10"}, VersionOrder{u"1.9", u"1.10"},
                                         VersionOrder{u"1", u"1.0"}, VersionOrder{u"1.2", u"1.2.1"},
                                         VersionOrder{u"01", u"2"}, VersionOrder{u"alpha", u"beta"},
                                         VersionOrder{u"1.alpha", u"1.beta"}, VersionOrder{u"10", u"1a"},
                                         VersionOrder{u"1a", u"2a"}, VersionOrder{u"2", u"1a"},
                                         VersionOrder{u"99999999999999999999999", u"100000000000000000000000"},
                                         VersionOrder{u"1..1", u"1..2"}, VersionOrder{u"1.0", u"1.00"},
                                         VersionOrder{u"2020-11-20", u"2021-01-01"}));

TEST_F(MetaRegistryTest, TopLevelPackagesComeInTheOrderOfRegistration) {
  PackageBuilder a(u"a"), b(u"b"), c(u"c");
  b.addPackage(u"inner");
  b.registerPackage();
  PackageBuilder::registerAll({&c, &a});
  EXPECT_THAT(namesOf(registry().getPackages()), ElementsAre(u"b", u"c", u"a"));
}

TEST_F(MetaRegistryTest, ResetForgetsPackagesButTheirHandlesStayValid) {
  const Package package = registerVersion(u"1");
  const Type book = registry().getType(u"lib.Book");
  registry().reset();
  EXPECT_THAT(registry().getPackages(), IsEmpty());
  EXPECT_FALSE(registry().getType(u"lib.Book"));
  EXPECT_FALSE(registry().getPackageForFamily(u"library"));
  EXPECT_FALSE(registry().getPackage(uriOf(u"1")));
  EXPECT_EQ(package->getTypes().at(u"Book"), book);
  EXPECT_EQ(book->getOwningPackage(), package);
  EXPECT_TRUE(registry().getType(u"String"));
  EXPECT_TRUE(registry().getType(u"tarn.kern.meta.Class"));
  const Package again = registerVersion(u"1");
  EXPECT_NE(again, package);
  EXPECT_NE(registry().getType(u"lib.Book"), book);
}

TEST_F(MetaRegistryTest, TheKernelsOwnPackageIsNotAmongThePackages) {
  const Package home = Class::metaClass()->getOwningPackage();
  EXPECT_EQ(home->getQualifiedName(), u"tarn.kern.meta");
  EXPECT_EQ(ModelElement::metaClass()->getQualifiedName(), u"tarn.kern.meta.ModelElement");
  EXPECT_EQ(registry().getType(u"tarn.kern.meta.ModelElement"), ModelElement::metaClass());
  EXPECT_FALSE(registry().getPackage(home->getUri()));
  EXPECT_FALSE(registry().getPackageForFamily(home->getUri()));
  EXPECT_THAT(registry().getPackages(), IsEmpty());
}

TEST_F(MetaRegistryTest, ThreadsReadWhileAnotherRegisters) {
  registerVersion(u"0");
  constexpr int kVersions = 60;
  std::atomic<bool> isDone = false;
  std::atomic<int> misses = 0;
  const auto read = [&] {
    while (!isDone.load()) {
      const Package current = registry().getPackageForFamily(u"library");
      const Type book = registry().getType(u"lib.Book");
      const Class type = narrow<Class>(book);
      const bool isWhole = current && type && type->getProperty(u"next") &&
                           type->getSuperclass()->conformsTo(ModelElement::metaClass()) &&
                           registry().getPackage(book->getOwningPackage()->getUri()) == book->getOwningPackage();
      if (!isWhole && current->getVersion() != u"0") ++misses;
    }
  };
  std::thread one(read), two(read);
  for (int i = 1; i <= kVersions; ++i) {
    PackageBuilder lib(u"lib");
    const ustring version = bedrock::i18n::utf8_to_ustring(std::to_string(i));
    lib.family(u"library", version).addClass(u"Book").reference(u"next", u"Book");
    lib.registerPackage();
  }
  isDone = true;
  one.join();
  two.join();
  EXPECT_EQ(misses, 0);
  EXPECT_EQ(registry().getPackageForFamily(u"library")->getVersion(), u"60");
}

TEST_F(MetaRegistryTest, TwoThreadsRegisterAtOnce) {
  const auto registerMany = [](const char16_t* prefix) {
    for (int i = 0; i < 40; ++i) {
      const ustring name = prefix + bedrock::i18n::utf8_to_ustring(std::to_string(i));
      PackageBuilder package(name);
      package.addClass(u"Thing");
      package.registerPackage();
    }
  };
  std::thread one(registerMany, u"a");
  std::thread two(registerMany, u"b");
  one.join();
  two.join();
  EXPECT_EQ(registry().getPackages().size(), 80U);
  for (const Package& package : registry().getPackages()) {
    EXPECT_TRUE(registry().getType(package->getQualifiedName() + u".Thing"));
  }
}

}  // namespace
}  // namespace tarn::kern::meta
