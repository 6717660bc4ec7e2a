#include <new>
#include <random>

#include <gtest/gtest.h>

#include "ElementList.h"

using tarn::kern::internal::ElementList;

namespace {

using Member = ElementList::Member;

/// Lists never look into their members, so any distinct addresses serve.
Member* member(std::size_t number) { return reinterpret_cast<Member*>(0x1000 + number * 0x80); }

std::vector<Member*> content(const ElementList& list) {
  std::vector<Member*> found;
  for (std::uint32_t i = 0; i < list.physicalSize(); ++i) {
    if (!ElementList::isHole(list.at(i))) found.push_back(list.at(i));
  }
  return found;
}

void append(ElementList& list, Member* entry) {
  list.reserve(1);
  list.insertAt(list.physicalSize(), entry);
}

}  // namespace

TEST(ElementList, IsEmptyAtFirst) {
  const ElementList list;
  EXPECT_EQ(list.size(), 0U);
  EXPECT_EQ(list.find(member(1)), ElementList::kNone);
}

TEST(ElementList, LeavesHolesOnlyWhenLong) {
  ElementList list;
  for (std::size_t i = 0; i < ElementList::kLong - 1; ++i) append(list, member(i));
  EXPECT_FALSE(list.removesByHole(0));
  append(list, member(1000));
  EXPECT_TRUE(list.removesByHole(0));
  EXPECT_FALSE(list.removesByHole(list.physicalSize() - 1)) << "the last member just goes";
}

TEST(ElementList, KnowsIndicesBehindLeadingHoles) {
  ElementList list;
  for (std::size_t i = 0; i < 100; ++i) append(list, member(i));
  for (std::uint32_t i = 0; i < 10; ++i) list.makeHole(i);
  EXPECT_EQ(list.positionOf(0), 10U);
  EXPECT_EQ(list.positionOf(5), 15U);
  list.makeHole(50);
  EXPECT_EQ(list.positionOf(0), ElementList::kNone);
  list.removeHoles();
  EXPECT_EQ(list.positionOf(0), 0U);
  EXPECT_EQ(list.size(), 89U);
}

TEST(ElementList, RestoresItsHoles) {
  ElementList list;
  for (std::size_t i = 0; i < 100; ++i) append(list, member(i));
  for (const std::uint32_t i : {0U, 1U, 7U, 50U, 98U}) list.makeHole(i);
  const std::vector<std::uint32_t> holes = list.holePositions();
  const std::vector<Member*> before = content(list);
  list.removeHoles();
  list.restoreHoles(holes);
  EXPECT_EQ(content(list), before);
  EXPECT_EQ(list.holePositions(), holes);
  list.fillHole(50, member(50));
  EXPECT_EQ(list.at(50), member(50));
  EXPECT_EQ(list.find(member(50)), 50U);
}

TEST(ElementList, AgreesWithAPlainVectorUnderRandomEdits) {
  std::mt19937 random(7);
  ElementList list;
  std::vector<Member*> plain;
  std::size_t fresh = 0;
  for (int step = 0; step < 30'000; ++step) {
    const auto below = [&](std::size_t end) { return random() % end; };
    switch (plain.empty() ? 0 : below(6)) {
      case 0:
      case 1: {
        append(list, member(fresh));
        plain.push_back(member(fresh++));
        break;
      }
      case 2: {
        const std::size_t index = below(plain.size());
        const std::uint32_t position = list.find(plain[index]);
        ASSERT_NE(position, ElementList::kNone);
        list.prepareRemoval();
        Member* gone = list.removesByHole(position) ? list.makeHole(position) : list.eraseAt(position);
        ASSERT_EQ(gone, plain[index]);
        plain.erase(plain.begin() + static_cast<std::ptrdiff_t>(index));
        break;
      }
      case 3: {
        if (list.holes() > 0 && below(20) != 0) break;
        list.removeHoles();
        const std::size_t index = below(plain.size() + 1);
        list.reserve(1);
        list.insertAt(static_cast<std::uint32_t>(index), member(fresh));
        plain.insert(plain.begin() + static_cast<std::ptrdiff_t>(index), member(fresh++));
        break;
      }
      case 4:
        ASSERT_EQ(list.find(member(fresh + 5)), ElementList::kNone);
        if (plain.size() > 300) {
          list.clear();
          plain.clear();
        }
        break;
      default: {
        const std::size_t index = below(plain.size());
        const std::uint32_t known = list.positionOf(static_cast<std::uint32_t>(index));
        if (known != ElementList::kNone) {
          ASSERT_EQ(list.at(known), plain[index]);
        }
        break;
      }
    }
    ASSERT_EQ(list.size(), plain.size());
    if (step % 500 == 0) {
      ASSERT_EQ(content(list), plain);
    }
  }
}

TEST(ElementList, FindsTheFirstOfEqualMembersWhileTheyComeAndGo) {
  ElementList list;
  for (std::size_t i = 0; i < 300; ++i) append(list, member(i % 50));
  for (std::size_t i = 0; i < 50; ++i) {
    ASSERT_EQ(list.find(member(i)), i);
    list.makeHole(static_cast<std::uint32_t>(i));
    ASSERT_EQ(list.find(member(i)), i + 50);
    list.makeHole(static_cast<std::uint32_t>(i + 100));
    ASSERT_EQ(list.find(member(i)), i + 50);
  }
  append(list, member(7));
  for (int left = 0; left < 5; ++left) {
    const std::uint32_t position = list.find(member(7));
    ASSERT_NE(position, ElementList::kNone);
    static_cast<void>(list.removesByHole(position) ? list.makeHole(position) : list.eraseAt(position));
  }
  EXPECT_EQ(list.find(member(7)), ElementList::kNone);
}

TEST(ElementList, HoldsNullsAmongTheMembers) {
  ElementList list;
  for (std::size_t i = 0; i < 100; ++i) append(list, i % 2 == 0 ? member(i) : nullptr);
  EXPECT_EQ(list.find(member(98)), 98U) << "found by the hash";
  EXPECT_EQ(list.find(nullptr), 1U);
  append(list, nullptr);
  EXPECT_EQ(list.eraseAt(100), nullptr);
  EXPECT_EQ(list.makeHole(1), nullptr);
  EXPECT_EQ(list.find(nullptr), 3U);
  EXPECT_EQ(list.find(member(98)), 98U);
  EXPECT_EQ(list.size(), 99U);
}

TEST(ElementList, KnowsItsLeadingHolesAfterEveryEdit) {
  ElementList list;
  for (std::size_t i = 0; i < ElementList::kLong; ++i) append(list, member(i));
  const std::uint32_t last = list.physicalSize() - 1;
  for (std::uint32_t i = 0; i < last; ++i) list.makeHole(i);
  EXPECT_EQ(list.positionOf(0), last);
  append(list, member(1000));
  list.eraseAt(last + 1);
  list.insertAt(0, member(1001));
  EXPECT_EQ(list.find(member(1001)), 0U);
  EXPECT_EQ(content(list), (std::vector<Member*>{member(1001), member(last)}));
  list.removeHoles();
  EXPECT_EQ(list.positionOf(1), 1U);
}

TEST(ElementList, RestoresNoHolesWhereThereWereNone) {
  ElementList list;
  for (std::size_t i = 0; i < 3; ++i) append(list, member(i));
  list.removeHoles();
  list.restoreHoles({});
  EXPECT_EQ(content(list), (std::vector<Member*>{member(0), member(1), member(2)}));
}

TEST(ElementList, RefusesMoreThanItCanCount) {
  ElementList list;
  append(list, member(1));
  EXPECT_THROW(list.reserve(ElementList::kNone - 1), std::bad_alloc);
  EXPECT_EQ(content(list), std::vector<Member*>{member(1)});
}
