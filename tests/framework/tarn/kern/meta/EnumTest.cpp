#include <cstdint>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EnumTest : public MetaModelTest {
 protected:
  PackageBuilder lib{u"lib"};
};

TEST_F(EnumTest, LiteralsComeByNameAndInTheOrderOfTheDefinition) {
  lib.addEnum(u"Genre").literal(u"novel", 2).literal(u"essay", 1);
  lib.registerPackage();
  const Enum genre = find<Enum>(u"lib.Genre");
  EXPECT_THAT(namesOf(genre->getLiteralsInOrder()), ElementsAre(u"novel", u"essay"));
  std::vector<ustring> byName;
  for (const auto& [name, literal] : genre->getLiterals()) byName.push_back(name);
  EXPECT_THAT(byName, ElementsAre(u"essay", u"novel"));
  EXPECT_EQ(genre->getLiterals().at(u"novel")->getValue(), 2);
  EXPECT_EQ(genre->getLiterals().at(u"novel")->getEnum(), genre);
}

TEST_F(EnumTest, LiteralsAreFoundByNumberNegativeAndSparseOnesToo) {
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  lib.addEnum(u"Genre").literal(u"a", kHighest).literal(u"b", -5).literal(u"c", kLowest).literal(u"d", 1000);
  lib.registerPackage();
  const Enum genre = find<Enum>(u"lib.Genre");
  EXPECT_EQ(genre->getLiteral(kHighest)->getName(), u"a");
  EXPECT_EQ(genre->getLiteral(-5)->getName(), u"b");
  EXPECT_EQ(genre->getLiteral(kLowest)->getName(), u"c");
  EXPECT_EQ(genre->getLiteral(1000)->getName(), u"d");
  EXPECT_FALSE(genre->getLiteral(0));
  EXPECT_FALSE(genre->getLiteral(-4));
}

TEST_F(EnumTest, OfLiteralsWithOneNumberTheFirstByNameIsFound) {
  lib.addEnum(u"Genre").literal(u"novel", 1).literal(u"essay", 1).literal(u"fable", 1).literal(u"poem", 0);
  lib.registerPackage();
  EXPECT_EQ(find<Enum>(u"lib.Genre")->getLiteral(1)->getName(), u"essay");
}

TEST_F(EnumTest, AnEnumMayHaveNoLiterals) {
  lib.addEnum(u"Genre");
  lib.registerPackage();
  const Enum genre = find<Enum>(u"lib.Genre");
  EXPECT_THAT(genre->getLiterals(), IsEmpty());
  EXPECT_FALSE(genre->getLiteral(0));
}

TEST_F(EnumTest, OnlyEnumsAreEnumTypes) {
  lib.addEnum(u"Genre");
  lib.addClass(u"Book");
  lib.registerPackage();
  EXPECT_TRUE(kern::internal::isEnumType(registry().getType(u"lib.Genre")));
  EXPECT_FALSE(kern::internal::isEnumType(registry().getType(u"lib.Book")));
  EXPECT_FALSE(kern::internal::isEnumType(PrimitiveType(StandardTypes::integerMeta)));
  EXPECT_FALSE(kern::internal::isEnumType(nullptr));
}

}  // namespace
}  // namespace tarn::kern::meta
