#include <gtest/gtest.h>

#include "ModelText.h"

namespace debian_packages {
namespace {

TEST(ModelText, KeepsWhatIsUtf8) {
  EXPECT_EQ(modelText(""), u"");
  EXPECT_EQ(modelText("Zoë \xF0\x9F\x96\x8B"), u"Zoë \xD83D\xDD8B");
  EXPECT_EQ(modelBytes("Zoë"), "Zoë");
  EXPECT_EQ(modelBytes(""), "");
}

TEST(ModelText, PutsOneMarkForEachPartThatIsNoUtf8) {
  EXPECT_EQ(modelText("Zo\xEB \xE2\x82!"), u"Zo\uFFFD \uFFFD!") << "Latin-1, and a sequence cut short";
  EXPECT_EQ(modelText("\xC0\xAF"), u"\uFFFD\uFFFD") << "overlong";
  EXPECT_EQ(modelBytes("Zo\xEB"), "Zo\xEF\xBF\xBD");
}

TEST(ModelText, PutsOneMarkForEachLoneSurrogate) {
  EXPECT_EQ(modelText("\xED\xA0\x80"), u"\uFFFD");
  EXPECT_EQ(modelText("a\xED\xB0\x80\xED\xB0\x80z\xED\xA0\x80"), u"a\uFFFD\uFFFDz\uFFFD");
  EXPECT_EQ(modelText("\xED\xA0\xBD\xED\xB6\x8B"), u"\xD83D\xDD8B") << "two that form a pair are a character";
  EXPECT_EQ(modelBytes("\xED\xA0\x80"), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace debian_packages
