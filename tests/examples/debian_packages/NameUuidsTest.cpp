#include <set>

#include <gtest/gtest.h>

#include <boost/uuid/uuid_io.hpp>

#include "NameUuids.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

std::string text(const Uuid& uuid) { return boost::uuids::to_string(uuid); }

// The literal values fix the scheme: models saved by an earlier version must stay comparable. They were computed with
// another implementation of name-based uuids.
TEST(NameUuids, AreTheSameForever) {
  EXPECT_EQ(text(databaseUuid()), "922f11d3-9dc3-5173-af2c-a4ee1a63452e");
  const Uuid package = installedPackageUuid("libquill1:amd64");
  EXPECT_EQ(text(package), "1b2ffa76-a1e4-5f48-a677-c7e2d2bd63e5");
  const Uuid relation = relationUuid(package, RelationKind::kPreDepends, 12);
  EXPECT_EQ(text(relation), "14fefbd1-5b4a-5abf-84d8-9cfcb1676455");
  EXPECT_EQ(text(alternativeUuid(relation, 0)), "eabff41e-7faf-5456-ac46-dbefc4cab40b");
  EXPECT_EQ(text(fileUuid(directoryUuid(rootDirectoryUuid(), "usr"), "x")), "103a5b3b-4001-5ca0-998b-fa6aa0d24661");
}

TEST(NameUuids, AreNameBasedOnes) {
  EXPECT_EQ(databaseUuid().version(), Uuid::version_name_based_sha1);
  EXPECT_EQ(databaseUuid().variant(), Uuid::variant_rfc_4122);
}

TEST(NameUuids, DifferBetweenAllKindsOfElements) {
  const Uuid archive = archiveUuid("x");
  const Uuid package = installedPackageUuid("x");
  const Uuid relation = relationUuid(package, RelationKind::kDepends, 1);
  const std::set<Uuid> all = {databaseUuid(),
                              sectionUuid("x"),
                              maintainerUuid("x"),
                              sourceUuid("x"),
                              packageNameUuid("x"),
                              package,
                              archive,
                              archivePackageUuid(archive, "x"),
                              relation,
                              relationUuid(package, RelationKind::kPreDepends, 1),
                              relationUuid(package, RelationKind::kDepends, 11),
                              alternativeUuid(relation, 1),
                              alternativeUuid(relation, 2),
                              rootDirectoryUuid(),
                              directoryUuid(rootDirectoryUuid(), "x"),
                              fileUuid(rootDirectoryUuid(), "x"),
                              sectionUuid(""),
                              sectionUuid(std::string(254, 'x')),
                              sectionUuid(std::string(255, 'x')),
                              sectionUuid(std::string(256, 'x')),
                              sectionUuid(std::string(4096, 'x'))};
  EXPECT_EQ(all.size(), 21u);
}

TEST(NameUuids, DependOnTheContainer) {
  EXPECT_NE(archivePackageUuid(archiveUuid("a"), "x"), archivePackageUuid(archiveUuid("b"), "x"));
  EXPECT_NE(fileUuid(rootDirectoryUuid(), "x"), fileUuid(directoryUuid(rootDirectoryUuid(), "a"), "x"));
}

TEST(Fingerprint, ChangesWithAnyChangeOfTheContentOnly) {
  const auto of = [](const std::string& content) { return fingerprint(stanzasOf(content).at(0)); };
  const Uuid original = of("Package: a\nVersion: 1\n");
  EXPECT_EQ(of("\n\nPackage: a  \nVersion:1\n\nPackage: b\n"), original) << "blanks and neighbours do not count";
  for (const char* changed :
       {"Package: a\n", "Package: a\nVersion: 2\n", "package: a\nVersion: 1\n", "Version: 1\nPackage: a\n",
        "Package: a\n Version: 1\n", "Package: a\nVersion: 1\n x\n"}) {
    EXPECT_NE(of(changed), original) << changed;
  }
}

}  // namespace
}  // namespace debian_packages
