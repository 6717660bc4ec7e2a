#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include "ChildProcess.h"
#include "PlainDatabase.h"
#include "Relations.h"
#include "SampleDatabase.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const char* const kStanza = "Package: a\nStatus: install ok installed\nArchitecture: all\nVersion: 1\n";

const PlainInstalledPackage& packageOf(const PlainDatabase& database, const std::string& key) {
  const auto found = std::find_if(database.packages.begin(), database.packages.end(),
                                  [&](const PlainInstalledPackage& package) { return package.key() == key; });
  if (found == database.packages.end()) throw std::runtime_error("no package " + key);
  return *found;
}

TEST(Sample, UsesEveryWordOfEveryKind) {
  const PlainDatabase database = readSample();
  std::set<Want> wants;
  std::set<Flag> flags;
  std::set<State> states;
  std::set<Priority> priorities;
  std::set<MultiArch> multiArchs;
  std::set<RelationKind> kinds;
  std::set<VersionOperator> operators;
  for (const PlainInstalledPackage& package : database.packages) {
    wants.insert(package.want);
    flags.insert(package.flag);
    states.insert(package.state);
    priorities.insert(package.priority);
    multiArchs.insert(package.multiArch);
    for (const PlainRelation& relation : package.relations) {
      kinds.insert(relation.kind);
      for (const PlainAlternative& alternative : relation.alternatives) operators.insert(alternative.op);
    }
  }
  EXPECT_THAT(wants, SizeIs(5));
  EXPECT_THAT(flags, SizeIs(2));
  EXPECT_THAT(states, SizeIs(8));
  EXPECT_THAT(priorities, SizeIs(7));
  EXPECT_THAT(multiArchs, SizeIs(4));
  EXPECT_THAT(kinds, SizeIs(9));
  EXPECT_THAT(operators, SizeIs(6));
  EXPECT_THAT(database.packages, SizeIs(14));
}

TEST(Sample, UsesEveryPropertyAtLeastOnce) {
  const PlainDatabase database = readSample();
  EXPECT_THAT(database.warnings, IsEmpty());
  const auto& desk = packageOf(database, "base-desk:all");
  EXPECT_TRUE(desk.isEssential);
  EXPECT_TRUE(desk.isProtected);
  EXPECT_TRUE(desk.installedAt);
  EXPECT_EQ(desk.installedSizeKiB, 312);
  EXPECT_THAT(desk.conffiles, SizeIs(2));
  const auto& quill = packageOf(database, "libquill1:i386");
  EXPECT_EQ(database.sources.at(quill.source), "quill");
  EXPECT_EQ(quill.version.text(), "2:1.9.3-4+b1");
  EXPECT_EQ(quill.sourceVersion.text(), "2:1.9.3-4");
  EXPECT_EQ(database.maintainers.at(quill.maintainer), "Zoë Ångström <zoe@quill.example>");
  EXPECT_EQ(packageOf(database, "libink3:amd64").configVersion.text(), "3.1-7");
  const auto& pen = packageOf(database, "quillpen:amd64");
  EXPECT_THAT(pen.tags, SizeIs(3));
  EXPECT_THAT(pen.otherFields, Contains(Pair("Pen-Hand", "left, right")));
  ASSERT_THAT(database.archives, SizeIs(1));
  EXPECT_EQ(database.archives[0].name, "desk.example_dists_stable_main_binary-amd64");
  ASSERT_THAT(database.archives[0].packages, SizeIs(3));
  const auto& offered = database.archives[0].packages[0];
  EXPECT_EQ(offered.sizeBytes, 812344u);
  EXPECT_EQ(offered.phasedUpdatePercentage, 40);
  EXPECT_THAT(offered.relations.at(2).alternatives.at(0).architectures, ElementsAre("amd64", "i386"));
  std::set<FileRole> roles;
  for (const PlainFile& file : database.fileTree.files) roles.insert(file.role);
  EXPECT_THAT(roles, SizeIs(3));
}

TEST(Sample, IsReadByDpkgToo) {
  if (!fs::exists("/usr/bin/dpkg-query")) GTEST_SKIP() << "no dpkg on this machine";
  const TempDirectory directory;
  directory.write("status", "");
  directory.write("updates/.keep", "");
  fs::copy(kSample / "status", directory.path() / "status", fs::copy_options::overwrite_existing);
  fs::copy(kSample / "info", directory.path() / "info");
  ChildProcess process({"/usr/bin/dpkg-query", "--admindir=" + directory.path().native(), "-W", "-f",
                        "${Package}:${Architecture}=${Version}\n"});
  std::set<std::string> theirs;
  for (std::string line; std::getline(process.output(), line);) theirs.insert(line);
  process.finish();
  std::set<std::string> ours;
  for (const PlainInstalledPackage& package : readSample().packages) {
    if (package.state != State::kNotInstalled) ours.insert(package.key() + '=' + package.version.text());
  }
  EXPECT_EQ(ours, theirs);
}

TEST(Sample, GivesTheSameUuidsFromAnyPlace) {
  const TempDirectory directory;
  fs::copy(kSample / "status", directory.path() / "elsewhere");
  ReadOptions options;
  options.statusFile = directory.path() / "elsewhere";
  const PlainDatabase copy = readDatabase(options);
  const PlainDatabase original = readSample();
  ASSERT_EQ(copy.packages.size(), original.packages.size());
  for (std::size_t i = 0; i < copy.packages.size(); ++i) {
    EXPECT_EQ(copy.packages[i].fingerprint, original.packages[i].fingerprint);
    EXPECT_EQ(installedPackageUuid(copy.packages[i].key()), installedPackageUuid(original.packages[i].key()));
  }
}

TEST(Database, CountsItsElements) {
  PlainDatabase database;
  EXPECT_EQ(elementCount(database), 1u);
  std::istringstream in(
      "Package: a\nStatus: install ok installed\nVersion: 1\nSection: s\nMaintainer: m\nDepends: b, c | b\n");
  readStatus(in, "given", database);
  // database, names a b c, section, maintainer, source, package, two relations, three alternatives
  EXPECT_EQ(elementCount(database), 1u + 3 + 1 + 1 + 1 + 1 + 2 + 3);
}

TEST(Database, RefusesAPackageThatIsThereTwice) {
  PlainDatabase database;
  std::istringstream in(std::string(kStanza) + "\n" + kStanza);
  EXPECT_EQ(messageOf<ReadError>([&] { readStatus(in, "given", database); }), "given:6: package a:all is there twice");
  std::istringstream again(kStanza);
  EXPECT_THROW(readStatus(again, "given", database), ReadError);
}

TEST(Database, LeavesRepeatedStanzasOfAnArchiveOut) {
  PlainDatabase database;
  std::istringstream in("Package: a\nVersion: 1\n\nPackage: a\nVersion: 2\n\nPackage: a\nVersion: 1\n");
  readArchive(in, "given", "x", database);
  ASSERT_THAT(database.archives, SizeIs(1));
  EXPECT_THAT(database.archives[0].packages, SizeIs(2));
  EXPECT_EQ(database.archives[0].repeatedStanzas, 1u);
}

TEST(Database, TakesTheInstallTimeFromTheFileList) {
  const TempDirectory directory;
  ReadOptions options;
  options.statusFile = directory.write("status", kStanza);
  const auto list = directory.write("info/a.list", "/.\n");
  const timespec times[2] = {{1000000000, 0}, {1000000000, 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, list.c_str(), times, 0), 0);
  const PlainDatabase database = readDatabase(options);
  ASSERT_THAT(database.packages, SizeIs(1));
  ASSERT_TRUE(database.packages[0].installedAt);
  EXPECT_EQ(boost::posix_time::to_iso_extended_string(*database.packages[0].installedAt), "2001-09-09T01:46:40.123456");
  EXPECT_THAT(database.fileTree.directories, IsEmpty()) << "the lists themselves were not asked for";
}

TEST(Database, WarnsOfPackagesWhoseFilesCannotBeRead) {
  const TempDirectory directory;
  ReadOptions options;
  options.readsFileLists = true;
  options.statusFile = directory.write("status", std::string(kStanza) +
                                                     "\nPackage: b\nStatus: install ok installed\nVersion: 1\n"
                                                     "\nPackage: c\nStatus: install ok installed\nVersion: 1\n"
                                                     "\nPackage: d\nStatus: deinstall ok config-files\nVersion: 1\n");
  const auto list = directory.write("info/a.list", "/.\n/x\n");
  const auto digests = directory.write("info/a.md5sums", "rubbish\n");
  const auto other = directory.write("info/b.list", "no path\n");
  const PlainDatabase database = readDatabase(options);
  EXPECT_THAT(database.warnings,
              ElementsAre(digests.native() + ":1: expected an MD5 digest, two blanks and a path",
                          other.native() + ":1: file name does not begin with '/'", "c: has no file list"));
  ASSERT_THAT(database.fileTree.files, SizeIs(1));
  EXPECT_THAT(database.fileTree.files[0].owners, ElementsAre(0));
}

TEST(Database, FailsWithTheFileThatCannotBeOpened) {
  ReadOptions options;
  options.statusFile = "/no/such/status";
  EXPECT_EQ(messageOf<ReadError>([&] { readDatabase(options); }),
            "/no/such/status: cannot be opened: No such file or directory");
  options.statusFile = "/";
  EXPECT_EQ(messageOf<ReadError>([&] { readDatabase(options); }), "/: reading failed behind line 0");
}

TEST(Database, ReadsThisMachinesPackagesAsDpkgDoes) {
  if (!fs::exists("/usr/bin/dpkg-query") || !fs::exists("/var/lib/dpkg/status")) {
    GTEST_SKIP() << "no package database on this machine";
  }
  ChildProcess process(
      {"/usr/bin/dpkg-query", "-W", "-f", "${Package}:${Architecture}=${Version}|${Status}|${Depends}\n"});
  std::vector<std::string> theirs;
  for (std::string line; std::getline(process.output(), line);) theirs.push_back(line);
  process.finish();
  const PlainDatabase database = readDatabase({});
  std::vector<std::string> ours;
  for (const PlainInstalledPackage& package : database.packages) {
    if (package.state == State::kNotInstalled) continue;
    std::vector<Relation> depends;
    for (const PlainRelation& relation : package.relations) {
      if (relation.kind != RelationKind::kDepends) continue;
      Relation& named = depends.emplace_back();
      for (const PlainAlternative& a : relation.alternatives) {
        named.alternatives.push_back({database.names.at(a.name), a.architecture, a.op, a.version, a.architectures});
      }
    }
    ours.push_back(package.key() + '=' + package.version.text() + '|' + std::string(text(package.want)) + ' ' +
                   std::string(text(package.flag)) + ' ' + std::string(text(package.state)) + '|' +
                   relationsText(depends));
  }
  std::sort(ours.begin(), ours.end());
  std::sort(theirs.begin(), theirs.end());
  EXPECT_EQ(ours, theirs);
}

TEST(Maintainer, IsSplitIntoNameAndAddress) {
  EXPECT_THAT(splitMaintainer("A. Person <a@b.example>"), Pair("A. Person", "a@b.example"));
  EXPECT_THAT(splitMaintainer("\"A, B\" <c> <d>"), Pair("\"A, B\" <c>", "d"));
  EXPECT_THAT(splitMaintainer("Nobody"), Pair("Nobody", ""));
  EXPECT_THAT(splitMaintainer("x>"), Pair("x>", ""));
  EXPECT_THAT(splitMaintainer("<>"), Pair("", ""));
  EXPECT_THAT(splitMaintainer(""), Pair("", ""));
}

}  // namespace
}  // namespace debian_packages
