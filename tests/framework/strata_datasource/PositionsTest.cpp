#include <limits>

#include <gtest/gtest.h>

#include "Positions.h"
#include "SqlNames.h"

TEST(PositionsTest, KeepWhatIsInOrder) {
  using strata_datasource::planPositions;
  using Stored = std::vector<std::optional<std::int64_t>>;
  using Positions = std::vector<std::int64_t>;
  EXPECT_EQ(planPositions({}), Positions{});
  EXPECT_EQ(planPositions(Stored{std::nullopt, std::nullopt}), (Positions{1024, 2048}));
  EXPECT_EQ(planPositions(Stored{10, 20, 30}), (Positions{10, 20, 30}));
  EXPECT_EQ(planPositions(Stored{10, std::nullopt, 20}), (Positions{10, 15, 20}));
  EXPECT_EQ(planPositions(Stored{std::nullopt, 0, std::nullopt}), (Positions{-1024, 0, 1024}));
  EXPECT_EQ(planPositions(Stored{1000, 3000, 2000, 4000}), (Positions{1000, 1500, 2000, 4000}));
  EXPECT_EQ(planPositions(Stored{1, std::nullopt, 2}), (Positions{1024, 2048, 3072}));
  EXPECT_EQ(planPositions(Stored{std::numeric_limits<std::int64_t>::max(), 5}), (Positions{-1019, 5}));
}

TEST(SqlNamesTest, AreEasyToTypeAndUnlikeEachOther) {
  strata_datasource::SqlNames names;
  EXPECT_EQ(names.take(u"plain"), "plain");
  EXPECT_EQ(names.take(u"Plain"), "Plain_2");
  EXPECT_EQ(names.take(u"PLAIN"), "PLAIN_3");
  EXPECT_EQ(names.take(u"group"), "group_");
  EXPECT_EQ(names.take(u"Größe"), "Gr__e");
  EXPECT_EQ(names.take(u"7up"), "_7up");
  EXPECT_EQ(names.take(u""), "_");
  EXPECT_EQ(names.take(u"sqlite_master"), "_sqlite_master");
  EXPECT_EQ(names.take(std::u16string(500, u'x')), std::string(100, 'x'));
  EXPECT_EQ(names.take(std::u16string(501, u'x')), std::string(100, 'x') + "_2");
  names.release("plain");
  EXPECT_EQ(names.take(u"plain"), "plain");
}
