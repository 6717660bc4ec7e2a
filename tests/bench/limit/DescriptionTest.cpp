#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "Description.h"

namespace bench {
namespace {

bool operator==(const Record& left, const Record& right) {
  return left.uuid == right.uuid && left.isFolder == right.isFolder && left.parent == right.parent &&
         left.name == right.name && left.documentation == right.documentation && left.tags == right.tags &&
         left.marks == right.marks && left.base == right.base && left.related == right.related;
}

class ADescription : public testing::Test {
 protected:
  static constexpr std::size_t kCount = 50'000;
  static const Description& sample() {
    static const Description description = describe(kCount);
    return description;
  }
  template <class Condition>
  static double share(Condition condition) {
    return static_cast<double>(std::count_if(sample().begin(), sample().end(), condition)) / double{kCount};
  }
};

TEST_F(ADescription, HasTheNumberOfElementsAskedFor) {
  for (const std::size_t count : {1u, 2u, 3u, 10u, 1'000u, 12'345u}) EXPECT_EQ(describe(count).size(), count);
}

TEST_F(ADescription, IsTheSameForTheSameSeed) {
  const Description again = describe(kCount);
  EXPECT_TRUE(std::equal(again.begin(), again.end(), sample().begin(), sample().end(),
                         [](const Record& left, const Record& right) { return left == right; }));
  EXPECT_NE(describe(1, 1)[0].uuid, describe(1, 2)[0].uuid);
}

TEST_F(ADescription, GivesEachElementItsOwnUuid) {
  std::set<Uuid> uuids;
  for (const Record& record : sample()) uuids.insert(record.uuid);
  EXPECT_EQ(uuids.size(), kCount);
}

TEST_F(ADescription, ContainsEachElementInAnEarlierFolderButTheRoot) {
  EXPECT_EQ(sample()[0].parent, kNoRecord);
  for (std::size_t i = 1; i < kCount; ++i) {
    ASSERT_LT(sample()[i].parent, i);
    ASSERT_TRUE(sample()[sample()[i].parent].isFolder);
  }
}

TEST_F(ADescription, ListsElementsInTheOrderOfADepthFirstWalk) {
  std::vector<RecordIndex> open{0};
  for (std::size_t i = 1; i < kCount; ++i) {
    while (!open.empty() && open.back() != sample()[i].parent) open.pop_back();
    ASSERT_FALSE(open.empty()) << "record " << i << " follows the contents of a folder that was left";
    if (sample()[i].isFolder) open.push_back(static_cast<RecordIndex>(i));
  }
}

TEST_F(ADescription, FillsNoFolderBeyondTheFanOutButSomeUpToIt) {
  std::vector<std::size_t> children(kCount, 0);
  for (std::size_t i = 1; i < kCount; ++i) ++children[sample()[i].parent];
  EXPECT_EQ(*std::max_element(children.begin(), children.end()), kMaxFanOut);
}

TEST_F(ADescription, KeepsTextsAndListsWithinTheirLengths) {
  std::set<std::size_t> names, documentations, tags, marks, related;
  for (const Record& record : sample()) {
    names.insert(record.name.size());
    documentations.insert(record.documentation.size());
    tags.insert(record.tags.size());
    marks.insert(record.marks.size());
    related.insert(record.related.size());
  }
  const auto covers = [](const std::set<std::size_t>& sizes, std::size_t low, std::size_t high) {
    return *sizes.begin() == low && *sizes.rbegin() == high && sizes.size() == high - low + 1;
  };
  EXPECT_TRUE(covers(names, 8, 24));
  EXPECT_TRUE(covers(documentations, 0, 80));
  EXPECT_TRUE(covers(tags, 0, 4));
  EXPECT_TRUE(covers(marks, 0, 8));
  EXPECT_TRUE(covers(related, 0, 3));
}

TEST_F(ADescription, HasTheSharesThatTheWorkloadNames) {
  constexpr double kTolerance = 0.02;
  EXPECT_NEAR(share([](const Record& record) { return record.modified != kNoTime; }), 0.1, kTolerance);
  EXPECT_NEAR(share([](const Record& record) { return record.hasDocumentation; }), 0.75, kTolerance);
  EXPECT_NEAR(share([](const Record& record) { return record.abstract; }), 0.25, kTolerance);
  EXPECT_NEAR(share([](const Record& record) { return record.multiplicity == 1; }), 0.5, kTolerance);
  EXPECT_NEAR(share([](const Record& record) { return record.base != kNoRecord; }), 0.75, kTolerance);
  EXPECT_GT(share([](const Record& record) {
              return std::any_of(record.name.begin(), record.name.end(), [](char16_t unit) { return unit > 0x7f; });
            }),
            0.3);
}

TEST_F(ADescription, RefersForwardAndBackwardToEachTargetOnce) {
  std::size_t forward = 0;
  std::size_t backward = 0;
  for (std::size_t i = 0; i < kCount; ++i) {
    const std::vector<RecordIndex>& related = sample()[i].related;
    ASSERT_EQ(std::set<RecordIndex>(related.begin(), related.end()).size(), related.size());
    for (const RecordIndex target : related) {
      ASSERT_LT(target, kCount);
      (target > i ? forward : backward) += 1;
    }
  }
  EXPECT_GT(forward, kCount / 2);
  EXPECT_GT(backward, kCount / 2);
}

}  // namespace
}  // namespace bench
