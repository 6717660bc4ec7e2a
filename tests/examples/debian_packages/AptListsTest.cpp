#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AptLists.h"
#include "ChildProcess.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<Stanza> read(const std::filesystem::path& list, const std::filesystem::path& helper) {
  std::vector<Stanza> stanzas;
  readPackageList(list, helper, [&](std::istream& in, const std::string& file) {
    ControlReader reader(in, file);
    Stanza stanza;
    while (reader.next(stanza)) stanzas.push_back(stanza);
  });
  return stanzas;
}

TEST(PackageLists, AreFoundByNameWhicheverWayTheyAreCompressed) {
  const TempDirectory directory;
  const auto b = directory.write("b_Packages", "");
  const auto a = directory.write("a_x_Packages.lz4", "");
  directory.write("a_x_InRelease", "");
  directory.write("a_Packages.diff_Index", "");
  directory.write("partial/c_Packages", "");
  directory.write("c_Packages.lz4/inner", "");
  EXPECT_THAT(findPackageLists(directory.path()), ElementsAre(a, b));
  EXPECT_THAT(findPackageLists(directory.path() / "none"), IsEmpty());
  EXPECT_EQ(packageListName(a), "a_x");
  EXPECT_EQ(packageListName(b), "b");
}

TEST(PackageLists, AreFoundOnceHoweverOftenTheyLieThere) {
  const TempDirectory directory;
  directory.write("a_Packages.lz4", "");
  directory.write("a_Packages.xz", "");
  const auto between = directory.write("a_Packages-x_Packages", "");
  const auto plain = directory.write("a_Packages", "");
  EXPECT_THAT(findPackageLists(directory.path()), ElementsAre(plain, between));
}

TEST(PackageLists, AreUnpackedByTheHelper) {
  const TempDirectory directory;
  const auto helper = directory.writeProgram("helper", "[ \"$1\" = cat-file ] || exit 9\nexec cat \"$2\"");
  const auto stanzas = read(directory.write("odd $(name)_Packages", "Package: a\n\nPackage: b\n"), helper);
  ASSERT_THAT(stanzas, SizeIs(2));
  EXPECT_EQ(stanzas[1].find("Package")->value, "b");
}

TEST(PackageLists, FailWithTheHelperEvenWhereTheirTextIsCutShort) {
  const TempDirectory directory;
  const auto list = directory.write("x_Packages", "");
  const auto helper = directory.writeProgram("helper", "printf 'Package: a'; echo 'broken frame' >&2; exit 100");
  EXPECT_EQ(messageOf<ProcessError>([&] { read(list, helper); }),
            helper.native() + " failed with exit code 100: broken frame");
}

TEST(PackageLists, FailAsTheirReaderFailsWhenTheHelperDidNot) {
  const TempDirectory directory;
  const auto list = directory.write("x_Packages", "");
  const auto helper = directory.writeProgram("helper", "echo rubbish; yes 'a: b' | head -n 100000");
  EXPECT_EQ(messageOf<ReadError>([&] { read(list, helper); }),
            list.native() + ":1: field name 'rubbish' must be followed by colon");
}

TEST(PackageLists, FailWithoutTheHelper) {
  const TempDirectory directory;
  const auto helper = directory.path() / "none";
  EXPECT_EQ(messageOf<ProcessError>([&] { read(directory.path() / "x_Packages", helper); }),
            "cannot run " + helper.native() + ": No such file or directory");
}

TEST(PackageLists, AreReadByTheRealHelperWhereThereIsOne) {
  const std::filesystem::path helper = "/usr/lib/apt/apt-helper";
  if (!std::filesystem::exists(helper)) GTEST_SKIP() << "no apt-helper on this machine";
  const TempDirectory directory;
  EXPECT_THAT(read(directory.write("x_Packages", "Package: a\n"), helper), SizeIs(1));
  EXPECT_THROW(read(directory.path() / "missing_Packages", helper), ProcessError);
}

}  // namespace
}  // namespace debian_packages
