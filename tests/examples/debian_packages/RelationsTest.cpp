#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Relations.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string rewritten(const std::string& value, RelationKind kind = RelationKind::kDepends) {
  return relationsText(parseRelations(value, kind));
}

std::string refusal(const std::string& value, RelationKind kind = RelationKind::kDepends) {
  return messageOf<RelationError>([&] { parseRelations(value, kind); });
}

TEST(Relations, ReadsEveryPartOfARelation) {
  const auto relations = parseRelations("Libfoo2:any (>= 1:2.0-3) [amd64 !i386] | bar,\n baz", RelationKind::kDepends);
  ASSERT_THAT(relations, SizeIs(2));
  ASSERT_THAT(relations[0].alternatives, SizeIs(2));
  const Alternative& first = relations[0].alternatives[0];
  EXPECT_EQ(first.name, "libfoo2");
  EXPECT_EQ(first.architecture, "any");
  EXPECT_EQ(first.op, VersionOperator::kLaterOrEqual);
  EXPECT_TRUE(first.version.isIdentical(DebianVersion(1, "2.0", "3")));
  EXPECT_THAT(first.architectures, ElementsAre("amd64", "!i386"));
  const Alternative& second = relations[0].alternatives[1];
  EXPECT_EQ(second.name, "bar");
  EXPECT_EQ(second.op, VersionOperator::kAny);
  EXPECT_TRUE(second.version.isEmpty());
  EXPECT_THAT(relations[1].alternatives, SizeIs(1));
}

TEST(Relations, TakesAnEmptyFieldForNoRelations) {
  EXPECT_THAT(parseRelations("", RelationKind::kDepends), IsEmpty());
  EXPECT_THAT(parseRelations(" \n\t", RelationKind::kDepends), IsEmpty());
}

TEST(Relations, AreWrittenInTheUsualSpelling) {
  EXPECT_EQ(rewritten("a(<<1)|b( <=  2 ),c:any(= 3)[ amd64  i386 ] ,d:amd64(>=4)\n,e (>> 5)"),
            "a (<< 1) | b (<= 2), c:any (= 3) [amd64 i386], d:amd64 (>= 4), e (>> 5)");
}

TEST(Relations, ReadsTheOperatorsOfOldPackages) {
  EXPECT_EQ(rewritten("a (< 1), b (> 2), c (3)"), "a (<= 1), b (>= 2), c (= 3)");
}

TEST(Relations, AllowsAlternativesOnlyWhereTheyMeanSomething) {
  for (const auto kind : {RelationKind::kDepends, RelationKind::kPreDepends, RelationKind::kRecommends,
                          RelationKind::kSuggests, RelationKind::kEnhances}) {
    EXPECT_EQ(rewritten("a | b", kind), "a | b");
  }
  for (const auto kind :
       {RelationKind::kBreaks, RelationKind::kConflicts, RelationKind::kReplaces, RelationKind::kProvides}) {
    EXPECT_EQ(refusal("a | b", kind), "alternatives ('|') not allowed");
  }
}

TEST(Relations, RefusesWhatDpkgRefuses) {
  const char* const kMissing = "missing package name, or garbage where package name expected";
  for (const char* value : {"b,", "b,,c", ",b", "b |", "b || c", "| b", "(= 1)", ":any", "[amd64]"}) {
    EXPECT_EQ(refusal(value), kMissing) << value;
  }
  EXPECT_EQ(refusal("b c"), "syntax error after reference to package 'b'");
  EXPECT_EQ(refusal("b (= 1) c"), "syntax error after reference to package 'b'");
  EXPECT_EQ(refusal("b (>= 1)(<< 2)"), "syntax error after reference to package 'b'");
  EXPECT_EQ(refusal("b <!x>"), "syntax error after reference to package 'b'");
  EXPECT_EQ(refusal("+c"), "invalid package name '+c': must start with an alphanumeric character");
  EXPECT_EQ(refusal("c/d"),
            "invalid package name 'c/d': character '/' not allowed (only letters, digits and characters '-+._')");
  EXPECT_EQ(refusal("b:, c"), "missing architecture name, or garbage where architecture name expected");
  EXPECT_EQ(refusal("b:any:x"), "reference to 'b': invalid architecture name 'any:x'");
  EXPECT_EQ(refusal("b (== 1)"), "reference to 'b': bad version relationship ==");
  EXPECT_EQ(refusal("b (=> 1)"), "reference to 'b': bad version relationship =>");
  EXPECT_EQ(refusal("b (>= )"), "reference to 'b': version '' has bad syntax: version string is empty");
  EXPECT_EQ(refusal("b ()"), "reference to 'b': version '' has bad syntax: version string is empty");
  EXPECT_EQ(refusal("b (= 1-)"), "reference to 'b': version '1-' has bad syntax: revision number is empty");
  EXPECT_EQ(refusal("b (>= 1"), "reference to 'b': version unterminated");
  EXPECT_EQ(refusal("b ("), "reference to 'b': version unterminated");
  EXPECT_EQ(refusal("b (>= 1 2)"), "reference to 'b': version contains '2' instead of ')'");
  EXPECT_EQ(refusal("b (>= 1(2)"), "reference to 'b': version contains '(' instead of ')'");
  EXPECT_EQ(refusal("b [amd64"), "reference to 'b': architecture list unterminated");
  EXPECT_EQ(refusal("b []"), "reference to 'b': empty architecture list");
  EXPECT_EQ(refusal("b [a/b]"), "reference to 'b': invalid architecture 'a/b'");
  EXPECT_EQ(refusal("b [!]"), "reference to 'b': invalid architecture '!'");
}

TEST(Relations, SaysWhereTheFaultIs) {
  try {
    parseRelations("a, b (>= 1),\n c d", RelationKind::kDepends);
    FAIL();
  } catch (const RelationError& e) {
    EXPECT_EQ(e.offset(), 16u);
  }
}

TEST(Relations, TellsWhichVersionsAreAccepted) {
  const auto accepts = [](const char* relation, const char* version) {
    return parseRelations(relation, RelationKind::kDepends)[0].alternatives[0].accepts(DebianVersion::parse(version));
  };
  const char* const kVersions[] = {"1~", "1", "1-0", "1+"};
  const std::vector<std::pair<const char*, std::vector<bool>>> expected = {
      {"a", {true, true, true, true}},         {"a (<< 1)", {true, false, false, false}},
      {"a (<= 1)", {true, true, true, false}}, {"a (= 1)", {false, true, true, false}},
      {"a (>= 1)", {false, true, true, true}}, {"a (>> 1)", {false, false, false, true}}};
  for (const auto& [relation, answers] : expected) {
    for (std::size_t i = 0; i < answers.size(); ++i) {
      EXPECT_EQ(accepts(relation, kVersions[i]), answers[i]) << relation << " with " << kVersions[i];
    }
  }
}

TEST(Relations, SurvivesEveryTruncationAndRubbish) {
  const std::string text = "a:any (>= 1:2-3) [amd64 !i386] | b, c (<< 1)";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    try {
      const auto relations = parseRelations(text.substr(0, length), RelationKind::kDepends);
      EXPECT_EQ(rewritten(relationsText(relations)), relationsText(relations));
    } catch (const RelationError& e) {
      EXPECT_LE(e.offset(), length);
    }
  }
  std::mt19937 engine(3);
  std::size_t read = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string rubbish = text;
    for (int i = 0; i < 2; ++i) rubbish[engine() % rubbish.size()] = "a1:(<>=)[]!|, \xff"[engine() % 16];
    try {
      const std::string once = rewritten(rubbish);
      EXPECT_EQ(rewritten(once), once);
      ++read;
    } catch (const RelationError& e) {
      EXPECT_LE(e.offset(), rubbish.size());
    }
  }
  EXPECT_GT(read, 0u);
}

TEST(PackageName, MustBeSafeToUse) {
  EXPECT_EQ(packageNameFault("g++-12.1_x"), std::nullopt);
  EXPECT_EQ(packageNameFault(""), "may not be empty string");
  EXPECT_EQ(packageNameFault(".."), "must start with an alphanumeric character");
  EXPECT_TRUE(packageNameFault("a/../b"));
  EXPECT_TRUE(packageNameFault("a b"));
  EXPECT_TRUE(isArchitectureName("kfreebsd-amd64"));
  EXPECT_FALSE(isArchitectureName(""));
  EXPECT_FALSE(isArchitectureName("-a"));
  EXPECT_FALSE(isArchitectureName("../a"));
}

}  // namespace
}  // namespace debian_packages
