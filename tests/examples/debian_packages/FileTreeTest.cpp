#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FileTree.h"

namespace debian_packages {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

FileListEntry entry(const std::string& path, std::uint32_t owner = 0) {
  FileListEntry result;
  result.path = path;
  result.owner = owner;
  return result;
}

std::string pathOf(const FileTree& tree, std::uint32_t directory) {
  if (directory == 0) return "/";
  const PlainDirectory& d = tree.directories[directory];
  return pathOf(tree, d.parent) + d.name + "/";
}

/// Path and owners of each node; directories end in a slash.
std::map<std::string, std::vector<std::uint32_t>> nodesOf(const FileTree& tree) {
  std::map<std::string, std::vector<std::uint32_t>> nodes;
  for (std::uint32_t i = 0; i < tree.directories.size(); ++i) nodes[pathOf(tree, i)] = tree.directories[i].owners;
  for (const PlainFile& file : tree.files) nodes[pathOf(tree, file.directory) + file.name] = file.owners;
  EXPECT_EQ(nodes.size(), tree.directories.size() + tree.files.size()) << "a path is there twice";
  return nodes;
}

TEST(FileTree, IsEmptyWithoutEntries) {
  EXPECT_THAT(buildFileTree({}).directories, IsEmpty());
  EXPECT_THAT(buildFileTree({}).files, IsEmpty());
}

TEST(FileTree, TakesAPathThatAnotherLeadsThroughForADirectory) {
  const FileTree tree =
      buildFileTree({entry("/"), entry("/usr"), entry("/usr/a"), entry("/usr/a-b"), entry("/usr/a/x")});
  EXPECT_THAT(nodesOf(tree),
              ElementsAre(Pair("/", ElementsAre(0)), Pair("/usr/", ElementsAre(0)), Pair("/usr/a-b", ElementsAre(0)),
                          Pair("/usr/a/", ElementsAre(0)), Pair("/usr/a/x", ElementsAre(0))));
}

TEST(FileTree, AddsDirectoriesThatNobodyLists) {
  const FileTree tree = buildFileTree({entry("/a/b/c", 3), entry("/a/d", 4)});
  EXPECT_THAT(nodesOf(tree), ElementsAre(Pair("/", IsEmpty()), Pair("/a/", IsEmpty()), Pair("/a/b/", IsEmpty()),
                                         Pair("/a/b/c", ElementsAre(3)), Pair("/a/d", ElementsAre(4))));
}

TEST(FileTree, ListsEachOwnerOnceInTheOrderOfTheEntries) {
  const FileTree tree = buildFileTree({entry("/a", 2), entry("/b", 2), entry("/a", 1), entry("/a", 2)});
  EXPECT_THAT(nodesOf(tree),
              ElementsAre(Pair("/", IsEmpty()), Pair("/a", ElementsAre(2, 1)), Pair("/b", ElementsAre(2))));
}

TEST(FileTree, KeepsTheFirstDigestOfASharedFile) {
  FileListEntry first = entry("/a", 0);
  FileListEntry second = entry("/a", 1);
  second.role = FileRole::kShipped;
  second.md5 = "2";
  FileListEntry third = entry("/a", 2);
  third.role = FileRole::kConffile;
  third.md5 = "3";
  const FileTree tree = buildFileTree({first, second, third});
  ASSERT_THAT(tree.files, SizeIs(1));
  EXPECT_EQ(tree.files[0].role, FileRole::kShipped);
  EXPECT_EQ(tree.files[0].md5, "2");
}

TEST(FileTree, CountsTheDepthOfTheLongestPath) {
  std::string path;
  for (int i = 0; i < 2047; ++i) path += "/d";
  const FileTree tree = buildFileTree({entry(path)});
  ASSERT_THAT(tree.directories, SizeIs(2047));
  EXPECT_EQ(tree.directories.back().depth, 2046);
  EXPECT_EQ(tree.files.at(0).name, "d");
}

TEST(FileTree, AgreesWithASetOfPaths) {
  std::mt19937 engine(5);
  for (int round = 0; round < 200; ++round) {
    std::vector<FileListEntry> entries;
    std::set<std::string> directories = {"/"};
    std::set<std::string> listed;
    for (std::size_t n = 1 + engine() % 12; n > 0; --n) {
      std::string path;
      for (std::size_t depth = 1 + engine() % 4; depth > 0; --depth) {
        if (!path.empty()) directories.insert(path + "/");
        path += std::string("/") + "ab-\x01"[engine() % 4];
      }
      listed.insert(path);
      entries.push_back(entry(path, static_cast<std::uint32_t>(n)));
    }
    std::set<std::string> expected = directories;
    for (const std::string& path : listed) {
      if (!directories.contains(path + "/")) expected.insert(path);
    }
    std::set<std::string> found;
    const FileTree tree = buildFileTree(entries);
    for (const auto& [path, owners] : nodesOf(tree)) found.insert(path);
    ASSERT_EQ(found, expected);
    for (std::uint32_t i = 1; i < tree.directories.size(); ++i) ASSERT_LT(tree.directories[i].parent, i);
  }
}

}  // namespace
}  // namespace debian_packages
