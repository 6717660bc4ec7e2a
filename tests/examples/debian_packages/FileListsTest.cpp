#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FileLists.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> pathsOf(const std::string& text) {
  std::istringstream in(text);
  return readFileList(in, "given");
}

std::vector<FileDigest> digestsOf(const std::string& text) {
  std::istringstream in(text);
  return readMd5Sums(in, "given");
}

TEST(FileList, HoldsOnePathPerLine) {
  EXPECT_THAT(pathsOf(""), IsEmpty());
  EXPECT_THAT(pathsOf("/.\n/usr\n/usr/a b\n"), ElementsAre("/", "/usr", "/usr/a b"));
}

TEST(FileList, GivesPathsInOneSpelling) {
  EXPECT_THAT(pathsOf("/\n//usr/./bin/\n/etc/.\n"), ElementsAre("/", "/usr/bin", "/etc"));
}

TEST(FileList, RefusesWhatIsNoPath) {
  const auto refusal = [](const std::string& text) { return messageOf<ReadError>([&] { pathsOf(text); }); };
  EXPECT_EQ(refusal("/a\n\n"), "given:2: empty file name");
  EXPECT_EQ(refusal("usr\n"), "given:1: file name does not begin with '/'");
  EXPECT_EQ(refusal("/a/../b\n"), "given:1: path with '..'");
  EXPECT_EQ(refusal("/a\n/b"), "given:2: the last line lacks its end, so the file may have been cut short");
  EXPECT_EQ(refusal("/" + std::string(4095, 'x') + "\n"), "given:1: path of 4096 bytes");
  EXPECT_THAT(pathsOf("/" + std::string(4094, 'x') + "\n"), testing::SizeIs(1));
}

TEST(Md5Sums, HoldDigestAndPath) {
  const auto digests = digestsOf(
      "0123456789abcdef0123456789ABCDEF  usr/bin/a b\n"
      "00000000000000000000000000000000 *./etc//x\n");
  ASSERT_EQ(digests.size(), 2u);
  EXPECT_EQ(digests[0].path, "/usr/bin/a b");
  EXPECT_EQ(digests[0].md5, "0123456789abcdef0123456789abcdef");
  EXPECT_EQ(digests[1].path, "/etc/x");
}

TEST(Md5Sums, RefusesALineOfAnotherForm) {
  const std::string digest(32, '0');
  for (const std::string& line : {std::string(), digest, digest + "  ", digest + " x", std::string(31, '0') + "   x",
                                  std::string(32, 'g') + "  x", '\\' + digest + "  x"}) {
    EXPECT_EQ(messageOf<ReadError>([&] { digestsOf(digest + "  a\n" + line + "\n"); }),
              "given:2: expected an MD5 digest, two blanks and a path")
        << line;
  }
}

TEST(InfoFile, IsFoundWithAndWithoutArchitecture) {
  const TempDirectory directory;
  const auto plain = directory.write("a.list", "");
  const auto qualified = directory.write("b:amd64.list", "");
  EXPECT_EQ(findInfoFile(directory.path(), "a", "amd64", "list"), plain);
  EXPECT_EQ(findInfoFile(directory.path(), "b", "amd64", "list"), qualified);
  EXPECT_EQ(findInfoFile(directory.path(), "b", "i386", "list"), std::nullopt);
  EXPECT_EQ(findInfoFile(directory.path(), "a", "amd64", "md5sums"), std::nullopt);
  EXPECT_EQ(findInfoFile(directory.path() / "none", "a", "amd64", "list"), std::nullopt);
}

TEST(InfoFile, IsNeverLookedForOutsideItsDirectory) {
  const TempDirectory directory;
  directory.write("secret.list", "");
  directory.write("info/x:a/y.list", "");
  EXPECT_EQ(findInfoFile(directory.path() / "info", "../secret", "all", "list"), std::nullopt);
  EXPECT_EQ(findInfoFile(directory.path() / "info", "x", "a/../../secret", "list"), std::nullopt);
}

}  // namespace
}  // namespace debian_packages
