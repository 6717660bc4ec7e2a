#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tarn/kern/NearestName.h"

namespace tarn::kern::internal {
namespace {

std::u16string nearest(std::u16string_view wanted, const std::vector<std::u16string>& known) {
  NearestName search(wanted);
  for (const std::u16string& name : known) search.offer(name);
  return search.found() ? search.name() : u"";
}

TEST(NearestName, ForgivesALetterChangedAddedLeftOutOrSwapped) {
  EXPECT_EQ(nearest(u"titel", {u"pages", u"title"}), u"title");
  EXPECT_EQ(nearest(u"tite", {u"pages", u"title"}), u"title");
  EXPECT_EQ(nearest(u"tittle", {u"pages", u"title"}), u"title");
  EXPECT_EQ(nearest(u"tigle", {u"pages", u"title"}), u"title");
}

TEST(NearestName, ForgivesTheCaseOfLetters) {
  EXPECT_EQ(nearest(u"ISBN", {u"isbm", u"isbn"}), u"isbn");
  EXPECT_EQ(nearest(u"b", {u"a", u"B"}), u"B");
  EXPECT_EQ(nearest(u"X-1_\u00c4", {u"x-1_\u00c5", u"x-1_\u00c4"}), u"x-1_\u00c4") << "that of ASCII letters";
}

TEST(NearestName, ForgivesOneLetterInThree) {
  EXPECT_EQ(nearest(u"abcdef", {u"abxxef"}), u"abxxef");
  EXPECT_EQ(nearest(u"abcdef", {u"axxxef"}), u"");
  EXPECT_EQ(nearest(u"ab", {u"ax"}), u"ax");
}

TEST(NearestName, FindsNothingAmongStrangersOrNothing) {
  EXPECT_EQ(nearest(u"title", {}), u"");
  EXPECT_EQ(nearest(u"title", {u"pages", u"", u"author"}), u"");
  EXPECT_EQ(nearest(u"", {u"a", u""}), u"");
  EXPECT_EQ(nearest(u"a", {u"b", u"ab"}), u"");
}

TEST(NearestName, TakesTheNearestAndOfEquallyNearOnesTheFirst) {
  EXPECT_EQ(nearest(u"colours", {u"colour", u"colors", u"coluors"}), u"colour");
  EXPECT_EQ(nearest(u"packages", {u"pakages1", u"packagez"}), u"packagez");
}

TEST(NearestName, DoesNotCompareVeryLongNames) {
  const std::u16string longName(1'000'000, u'x');
  EXPECT_EQ(nearest(longName, {longName}), u"");
  EXPECT_EQ(nearest(u"x", {longName}), u"");
  EXPECT_EQ(nearest(std::u16string(128, u'x'), {std::u16string(127, u'x')}), std::u16string(127, u'x'));
}

TEST(NearestName, MakesTheEndOfAMessage) {
  const std::map<std::u16string, int> known{{u"author", 1}, {u"t\u00edtulo", 2}};
  EXPECT_EQ(suggestionAmong(known, u"autor"), "; did you mean \"author\"?");
  EXPECT_EQ(suggestionAmong(known, u"titulo"), "; did you mean \"t\u00edtulo\"?");
  EXPECT_EQ(suggestionAmong(known, u"pages"), "");
}

}  // namespace
}  // namespace tarn::kern::internal
