#include <new>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quillon/logging/Logger.h>

#include "MetaModelFixture.h"
#include "support/AllocationLimit.h"

namespace tarn::kern::meta {
namespace {

using testsupport::AllocationLimit;

void define(PackageBuilder& lib) {
  lib.family(u"library", u"1").annotate({u"a source that is too long to lie within the text object", {}});
  auto& genre = lib.addEnum(u"Genre").literal(u"a novel of considerable length", 0).literal(u"essay", 1);
  auto& size = lib.addDataType(u"Size");
  size.attribute(u"width", StandardTypes::integerMeta).required();
  auto& named = lib.addClass(u"Named").makeAbstract();
  named.attribute(u"name", StandardTypes::stringMeta).required().defaultsTo(u"a name that needs memory of its own");
  lib.addClass(u"Lendable").attribute(u"borrower", StandardTypes::stringMeta);
  auto& book = lib.addClass(u"Book").extends(named).alsoConformsTo(u"Lendable");
  book.attribute(u"genre", genre).required().defaultsTo(u"essay");
  book.attribute(u"size", size);
  book.reference(u"shelf", u"Shelf").opposite(u"books");
  lib.addPackage(u"inner").addClass(u"Inner").reference(u"book", u"lib.Book");
  auto& shelf = lib.addClass(u"Shelf").extends(named);
  shelf.composite(u"books", book).many().opposite(u"shelf").qualifiedBy(u"name");
}

using RegistrationMemory = MetaModelTest;

TEST_F(RegistrationMemory, WhicheverAllocationFailsNothingIsRegistered) {
  static_cast<void>(quillon::logging::internal::Logger::logger(0));
  bool isRegistered = false;
  long count = 0;
  for (; !isRegistered && count < 100'000; ++count) {
    PackageBuilder lib(u"lib");
    define(lib);
    try {
      const AllocationLimit limit(count);
      lib.registerPackage();
      isRegistered = true;
    } catch (const std::bad_alloc&) {
      // Outside the limit again.
    }
    if (isRegistered) break;
    ASSERT_TRUE(registry().getPackages().empty()) << count;
    ASSERT_FALSE(registry().getType(u"lib.Book")) << count;
    ASSERT_FALSE(registry().getPackageForFamily(u"library")) << count;
    ASSERT_FALSE(registry().getPackage(u"urn:lib.inner")) << count;
  }
  EXPECT_TRUE(isRegistered);
  EXPECT_GT(count, 100);
  EXPECT_EQ(find<Class>(u"lib.Book")->getAllProperties().size(), 5U);
}

TEST_F(RegistrationMemory, ARefusalThatRunsOutOfMemoryLeavesNothingEither) {
  bool isRefused = false;
  for (long count = 0; !isRefused && count < 100'000; ++count) {
    PackageBuilder lib(u"lib");
    define(lib);
    lib.addClass(u"Faulty").extends(u"a superclass of this name does not exist");
    try {
      const AllocationLimit limit(count);
      lib.registerPackage();
    } catch (const std::bad_alloc&) {
    } catch (const MetaModelError& error) {
      EXPECT_EQ(error.faults().size(), 1U);
      isRefused = true;
    }
    ASSERT_TRUE(registry().getPackages().empty()) << count;
    ASSERT_FALSE(registry().getType(u"lib.Book")) << count;
  }
  EXPECT_TRUE(isRefused);
}

}  // namespace
}  // namespace tarn::kern::meta
