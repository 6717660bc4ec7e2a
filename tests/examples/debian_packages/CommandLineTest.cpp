#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

CommandLine parse(const std::vector<std::string>& arguments) { return parseCommandLine(arguments, "/the/sample"); }

std::string complaint(const std::vector<std::string>& arguments) {
  return messageOf<UsageError>([&] { parse(arguments); });
}

TEST(CommandLine, ReadsThisMachinesStatusFileUnlessToldOtherwise) {
  const CommandLine line = parse({});
  EXPECT_EQ(line.read.statusFile, "/var/lib/dpkg/status");
  EXPECT_EQ(line.read.listsDirectory, "/var/lib/apt/lists");
  EXPECT_EQ(line.outDirectory, ".");
  EXPECT_FALSE(line.read.readsFileLists || line.read.readsArchives || line.usesSample || line.namesDatabase ||
               line.wantsHelp);
}

TEST(CommandLine, TakesEveryOption) {
  const CommandLine line = parse(
      {"--status", "/s", "--files", "--archive", "--out", "/o", "--apt-helper", "/h", "--section", "net", "--help"});
  EXPECT_EQ(line.read.statusFile, "/s");
  EXPECT_TRUE(line.read.readsFileLists && line.read.readsArchives && line.namesDatabase && line.wantsHelp);
  EXPECT_EQ(line.outDirectory, "/o");
  EXPECT_EQ(line.read.aptHelper, "/h");
  EXPECT_EQ(line.section, "net");
}

TEST(CommandLine, FindsTheDatabaseOfAnotherRoot) {
  const CommandLine line = parse({"--root", "/mnt/disk"});
  EXPECT_EQ(line.read.statusFile, "/mnt/disk/var/lib/dpkg/status");
  EXPECT_EQ(line.read.listsDirectory, "/mnt/disk/var/lib/apt/lists");
  EXPECT_TRUE(line.namesDatabase);
}

TEST(CommandLine, FindsTheSample) {
  const CommandLine line = parse({"--sample", "--files"});
  EXPECT_EQ(line.read.statusFile, "/the/sample/status");
  EXPECT_EQ(line.read.listsDirectory, "/the/sample/lists");
  EXPECT_TRUE(line.usesSample && line.namesDatabase && line.read.readsFileLists);
}

TEST(CommandLine, RefusesWhatMakesNoSense) {
  EXPECT_EQ(complaint({"--fast"}), "unknown argument \"--fast\"");
  EXPECT_EQ(complaint({"status"}), "unknown argument \"status\"");
  EXPECT_EQ(complaint({"--out"}), "--out needs an argument");
  EXPECT_EQ(complaint({"--out", ""}), "--out needs an argument");
  EXPECT_EQ(complaint({"--status"}), "--status needs an argument");
  EXPECT_EQ(complaint({"--sample", "--root", "/r"}), "--root names a second database");
  EXPECT_EQ(complaint({"--status", "/a", "--status", "/b"}), "--status names a second database");
}

TEST(CommandLine, TellsOfEveryOptionInItsHelp) {
  for (const char* option :
       {"--out", "--files", "--archive", "--section", "--status", "--root", "--sample", "--apt-helper", "--help"}) {
    EXPECT_THAT(usageText(), testing::HasSubstr(std::string("\n  ") + option));
  }
}

}  // namespace
}  // namespace debian_packages
