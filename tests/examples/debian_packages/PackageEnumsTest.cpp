#include <gtest/gtest.h>

#include "PackageEnums.h"

namespace debian_packages {
namespace {

/// Every number of an enumeration has a word of its own, and the word leads back.
template <class E>
void expectWordsLeadBack(int count, std::optional<E> (*parse)(std::string_view)) {
  for (int i = 0; i < count; ++i) {
    const auto value = static_cast<E>(i);
    EXPECT_EQ(parse(text(value)), value) << text(value);
  }
  EXPECT_EQ(parse("no such word"), std::nullopt);
}

TEST(PackageEnums, HaveAWordForEachValue) {
  expectWordsLeadBack<Want>(5, parseWant);
  expectWordsLeadBack<Flag>(2, parseFlag);
  expectWordsLeadBack<State>(8, parseState);
  expectWordsLeadBack<Priority>(6, parsePriority);
  expectWordsLeadBack<MultiArch>(4, parseMultiArch);
  expectWordsLeadBack<RelationKind>(9, parseRelationKind);
  expectWordsLeadBack<VersionOperator>(6, parseVersionOperator);
}

TEST(PackageEnums, ReadWordsInAnyCase) {
  EXPECT_EQ(parseWant("INSTALL"), Want::kInstall);
  EXPECT_EQ(parseRelationKind("pre-depends"), RelationKind::kPreDepends);
}

TEST(PackageEnums, SpellTheWordsAsTheFilesDo) {
  EXPECT_EQ(text(Want::kPurge), "purge");
  EXPECT_EQ(text(Flag::kReinstReq), "reinstreq");
  EXPECT_EQ(text(State::kInstalled), "installed");
  EXPECT_EQ(text(State::kTriggersPending), "triggers-pending");
  EXPECT_EQ(text(Priority::kExtra), "extra");
  EXPECT_EQ(text(MultiArch::kAllowed), "allowed");
  EXPECT_EQ(text(RelationKind::kProvides), "Provides");
  EXPECT_EQ(text(VersionOperator::kLater), ">>");
}

TEST(PackageEnums, HaveNoWordForAnotherPriority) {
  EXPECT_EQ(parsePriority("other"), std::nullopt);
  EXPECT_EQ(text(Priority::kOther), "other");
}

}  // namespace
}  // namespace debian_packages
