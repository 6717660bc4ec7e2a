#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PackageStanza.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const char* const kHead = "Package: a\nStatus: install ok installed\nVersion: 1\n";

PlainInstalledPackage installed(const std::string& text, PlainDatabase& database) {
  return readInstalledPackage(stanzasOf(text).at(0), "given", database);
}

PlainInstalledPackage installed(const std::string& text) {
  PlainDatabase database;
  return installed(text, database);
}

PlainArchivePackage archived(const std::string& text) {
  PlainDatabase database;
  return readArchivePackage(stanzasOf(text).at(0), "given", database);
}

std::string refusal(const std::string& fields) {
  return messageOf<ReadError>([&] { installed(kHead + fields); });
}

TEST(InstalledPackage, HasDefaultsForAllItDoesNotSay) {
  PlainDatabase database;
  const auto package = installed(kHead, database);
  EXPECT_EQ(package.name, "a");
  EXPECT_EQ(package.key(), "a:");
  EXPECT_EQ(package.section, kNoName);
  EXPECT_EQ(package.maintainer, kNoName);
  EXPECT_EQ(database.sources.at(package.source), "a");
  EXPECT_TRUE(package.sourceVersion.isIdentical(package.version));
  EXPECT_EQ(package.priority, Priority::kUnknown);
  EXPECT_EQ(package.multiArch, MultiArch::kNo);
  EXPECT_FALSE(package.isEssential);
  EXPECT_EQ(package.installedSizeKiB, std::nullopt);
  EXPECT_EQ(package.installedAt, std::nullopt);
  EXPECT_THAT(package.otherFields, IsEmpty());
  EXPECT_EQ(package.line, 1u);
}

TEST(InstalledPackage, ReadsTheThreeWordsOfItsStatus) {
  const auto package = installed("Package: a\nStatus: HOLD \t reinstreq  half-installed\n");
  EXPECT_EQ(package.want, Want::kHold);
  EXPECT_EQ(package.flag, Flag::kReinstReq);
  EXPECT_EQ(package.state, State::kHalfInstalled);
}

TEST(InstalledPackage, NeedsAVersionOnceItIsThere) {
  EXPECT_NO_THROW(installed("Package: a\nStatus: purge ok not-installed\n"));
  EXPECT_NO_THROW(installed("Package: a\n"));
  for (const char* state :
       {"config-files", "unpacked", "half-configured", "triggers-awaited", "triggers-pending", "installed"}) {
    EXPECT_EQ(
        messageOf<ReadError>([&] { installed("\n\nPackage: a\nStatus: install ok " + std::string(state) + "\n"); }),
        "given:3: missing 'Version' field");
  }
}

TEST(InstalledPackage, NeedsANameThatIsOne) {
  EXPECT_EQ(messageOf<ReadError>([] { installed("Version: 1\n"); }), "given:1: missing 'Package' field");
  EXPECT_EQ(messageOf<ReadError>([] { installed("X: 1\nPackage: ../a\n"); }),
            "given:2: invalid package name: must start with an alphanumeric character");
  EXPECT_EQ(messageOf<ReadError>([] { installed("Package:\n"); }),
            "given:1: invalid package name: may not be empty string");
  EXPECT_EQ(installed("Package: ABC\n").name, "abc");
}

TEST(InstalledPackage, RefusesWordsThatDpkgRefuses) {
  const auto status = [](const std::string& words) {
    return messageOf<ReadError>([&] { installed("Package: a\nStatus: " + words + "\n"); });
  };
  EXPECT_EQ(status("bogus ok installed"), "given:2: 'Status' field first (want) word has invalid value 'bogus'");
  EXPECT_EQ(status("hold hold-reinstreq installed"),
            "given:2: 'Status' field second (error) word has invalid value 'hold-reinstreq'");
  EXPECT_EQ(status("install ok"), "given:2: 'Status' field third (status) word is missing");
  EXPECT_EQ(status("install ok installed x"), "given:2: 'Status' field has trailing junk");
  EXPECT_EQ(refusal("Essential: maybe\n"), "given:4: 'Essential' field has invalid value 'maybe'");
  EXPECT_EQ(refusal("Multi-Arch: odd\n"), "given:4: 'Multi-Arch' field has invalid value 'odd'");
  EXPECT_EQ(refusal("Config-Version: 1 2\n"),
            "given:4: 'Config-Version' field, version '1 2' has bad syntax: version string has embedded spaces");
}

TEST(InstalledPackage, KeepsWhatFitsNowhereElse) {
  const auto package =
      installed(kHead + std::string("Zebra: z\nInstalled-Size: 12 kB\nPriority: Odd\nApple: a\n b\nSource: x y\n"));
  EXPECT_THAT(package.otherFields, ElementsAre(Pair("Zebra", "z"), Pair("Installed-Size", "12 kB"),
                                               Pair("Priority", "Odd"), Pair("Apple", "a\n b"), Pair("Source", "x y")));
  EXPECT_EQ(package.priority, Priority::kOther);
  EXPECT_EQ(package.installedSizeKiB, std::nullopt);
}

TEST(InstalledPackage, KeepsAPriorityThatIsSpelledOther) {
  const auto package = installed(kHead + std::string("Priority: other\n"));
  EXPECT_EQ(package.priority, Priority::kOther);
  EXPECT_THAT(package.otherFields, ElementsAre(Pair("Priority", "other")));
}

TEST(InstalledPackage, ReadsSourceWithAndWithoutVersion) {
  PlainDatabase database;
  const auto own = installed(kHead + std::string("Source: s\n"), database);
  EXPECT_EQ(database.sources.at(own.source), "s");
  EXPECT_EQ(own.sourceVersion.text(), "1");
  const auto other = installed(kHead + std::string("Source: s (2:3-4)\n"), database);
  EXPECT_EQ(other.source, own.source);
  EXPECT_EQ(other.sourceVersion.text(), "2:3-4");
}

TEST(InstalledPackage, DecodesItsDescription) {
  const auto package = installed(kHead + std::string("Description: short one\n First line\n .\n  verbatim\n last\n"));
  EXPECT_EQ(package.synopsis, "short one");
  EXPECT_EQ(package.description, "First line\n\n verbatim\nlast");
  EXPECT_EQ(installed(kHead + std::string("Description:\n only\n")).synopsis, "");
}

TEST(InstalledPackage, ReadsItsConfigurationFiles) {
  const auto package = installed(kHead + std::string("Conffiles:\n"
                                                     " /etc/a 0123\n"
                                                     " /etc/with blank 45 obsolete\n"
                                                     " /etc/new newconffile\n"
                                                     " /etc/gone 67 obsolete remove-on-upgrade\n"));
  ASSERT_THAT(package.conffiles, SizeIs(4));
  EXPECT_EQ(package.conffiles[0].path, "/etc/a");
  EXPECT_EQ(package.conffiles[0].md5, "0123");
  EXPECT_FALSE(package.conffiles[0].isObsolete);
  EXPECT_EQ(package.conffiles[1].path, "/etc/with blank");
  EXPECT_TRUE(package.conffiles[1].isObsolete);
  EXPECT_FALSE(package.conffiles[1].isRemovedOnUpgrade);
  EXPECT_EQ(package.conffiles[2].md5, "");
  EXPECT_TRUE(package.conffiles[3].isRemovedOnUpgrade);
  EXPECT_EQ(refusal("Conffiles: /etc/a 0123\n"), "given:4: 'Conffiles' field has line starting with non-space");
  EXPECT_EQ(refusal("Conffiles:\n /etc/a 0123\n nope\n"),
            "given:6: value for 'Conffiles' field has malformed line 'nope'");
  EXPECT_EQ(refusal("Conffiles:\n obsolete obsolete\n"),
            "given:5: value for 'Conffiles' field has malformed line 'obsolete obsolete'");
}

TEST(InstalledPackage, ReadsRelationsOfAllKindsInFieldOrder) {
  PlainDatabase database;
  const auto package = installed(kHead + std::string("Provides: p (= 1)\nDepends: b, c | b (>> 2)\n"), database);
  ASSERT_THAT(package.relations, SizeIs(3));
  EXPECT_EQ(package.relations[0].kind, RelationKind::kProvides);
  EXPECT_EQ(package.relations[1].kind, RelationKind::kDepends);
  EXPECT_EQ(package.relations[1].position, 0);
  EXPECT_EQ(package.relations[2].position, 1);
  ASSERT_THAT(package.relations[2].alternatives, SizeIs(2));
  EXPECT_EQ(package.relations[2].alternatives[1].name, package.relations[1].alternatives[0].name);
  EXPECT_EQ(database.names.at(package.relations[2].alternatives[0].name), "c");
  EXPECT_EQ(package.relations[2].alternatives[1].op, VersionOperator::kLater);
  EXPECT_EQ(package.relations[2].alternatives[1].version.text(), "2");
}

TEST(InstalledPackage, ReportsTheLineOfABadRelation) {
  EXPECT_EQ(refusal("Depends: b,\n c (>= 1),\n d (>= )\n"),
            "given:6: 'Depends' field, reference to 'd': version '' has bad syntax: version string is empty");
  EXPECT_EQ(refusal("Breaks: b | c\n"), "given:4: 'Breaks' field, alternatives ('|') not allowed");
}

TEST(InstalledPackage, CountsRelationsUpToTheWidthOfTheirPosition) {
  std::string value = "a";
  for (int i = 1; i < 65536; ++i) value += ",a";
  EXPECT_EQ(installed(kHead + ("Depends: " + value) + "\n").relations.back().position, 65535);
  EXPECT_EQ(refusal("Depends: " + value + ",a\n"), "given:4: 'Depends' field has 65537 relations");
}

TEST(ArchivePackage, ReadsTheFieldsOfAList) {
  const auto package = archived(
      "Package: a\nVersion: 1-2\nArchitecture: all\nFilename: pool/a.deb\nSize: 18446744073709551615\nMD5sum: "
      "m\nSHA256: s\n"
      "Phased-Update-Percentage: 40\nTag: x::y, z::w,\n v::u\nStatus: kept\n");
  EXPECT_EQ(package.key(), "a:all=1-2");
  EXPECT_EQ(package.fileName, "pool/a.deb");
  EXPECT_EQ(package.sizeBytes, 18446744073709551615u);
  EXPECT_EQ(package.md5, "m");
  EXPECT_EQ(package.sha256, "s");
  EXPECT_EQ(package.phasedUpdatePercentage, 40);
  EXPECT_THAT(package.tags, ElementsAre("x::y", "z::w", "v::u"));
  EXPECT_THAT(package.otherFields, ElementsAre(Pair("Status", "kept")));
}

TEST(ArchivePackage, KeepsNumbersThatAreNone) {
  const auto package = archived("Package: a\nVersion: 1\nSize: -1\nPhased-Update-Percentage: 101\nInstalled-Size:\n");
  EXPECT_EQ(package.sizeBytes, std::nullopt);
  EXPECT_EQ(package.phasedUpdatePercentage, 100);
  EXPECT_THAT(package.otherFields,
              ElementsAre(Pair("Size", "-1"), Pair("Phased-Update-Percentage", "101"), Pair("Installed-Size", "")));
}

TEST(ArchivePackage, NeedsAVersion) {
  EXPECT_EQ(messageOf<ReadError>([] { archived("Package: a\n"); }), "given:1: missing 'Version' field");
}

}  // namespace
}  // namespace debian_packages
