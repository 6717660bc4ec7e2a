#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "PackageUris.h"

namespace quillon::nimbo {
namespace {

using tarn::kern::meta::MetaRegistry;
using tarn::kern::meta::PackageBuilder;

const std::u16string& base() { return MetaRegistry::schemaBaseUri(); }

void registerVersion(const char16_t* version) {
  PackageBuilder builder(u"uris");
  builder.family(u"uris", version);
  static_cast<void>(builder.registerPackage());
}

/// The family "uris" with the versions 1.0 and 2.0.
void registerFamily() {
  static const bool kRegistered = [] {
    registerVersion(u"1.0");
    registerVersion(u"2.0");
    return true;
  }();
  static_cast<void>(kRegistered);
}

TEST(FamilyOfPackageUri, IsWhatStandsBetweenTheBaseAndTheNextSlash) {
  EXPECT_EQ(familyOfPackageUri(base() + u"shop/1.0"), u"shop");
  EXPECT_EQ(familyOfPackageUri(base() + u"shop/1.0/more"), u"shop");
  EXPECT_EQ(familyOfPackageUri(base() + u"shop/"), u"shop");
}

TEST(FamilyOfPackageUri, MayBeEmpty) { EXPECT_EQ(familyOfPackageUri(base() + u"/1.0"), u""); }

TEST(FamilyOfPackageUri, IsUnknownWithoutASlashBehindIt) {
  EXPECT_EQ(familyOfPackageUri(base() + u"shop"), std::nullopt);
}

TEST(FamilyOfPackageUri, IsUnknownForTheBaseAlone) { EXPECT_EQ(familyOfPackageUri(base()), std::nullopt); }

TEST(FamilyOfPackageUri, IsUnknownOutsideTheBase) {
  EXPECT_EQ(familyOfPackageUri(u""), std::nullopt);
  EXPECT_EQ(familyOfPackageUri(u"urn:demo"), std::nullopt);
  EXPECT_EQ(familyOfPackageUri(base().substr(0, base().size() - 1)), std::nullopt);
  EXPECT_EQ(familyOfPackageUri(u"x" + base() + u"shop/1.0"), std::nullopt);
  std::u16string almost = base() + u"shop/1.0";
  ++almost[base().size() - 1];
  EXPECT_EQ(familyOfPackageUri(almost), std::nullopt);
}

TEST(KeepKnownPackageUris, KeepsTheOrderAndEveryVersionOfRegisteredFamilies) {
  registerFamily();
  const std::u16string older = base() + u"uris/1.0";
  const std::u16string newer = base() + u"uris/3.0";
  std::vector<std::u16string> uris = {
      newer, u"urn:demo", base() + u"nobody/1.0", base() + u"uris", base(), u"", older, base() + u"/1.0", older};
  keepKnownPackageUris(uris);
  EXPECT_THAT(uris, testing::ElementsAre(newer, older, older));
}

TEST(AnyPackageIsStale, AsksForTheWholeUri) {
  registerFamily();
  EXPECT_FALSE(anyPackageIsStale({}));
  EXPECT_FALSE(anyPackageIsStale({base() + u"uris/2.0"}));
  EXPECT_TRUE(anyPackageIsStale({base() + u"uris/1.0"}));
  EXPECT_TRUE(anyPackageIsStale({base() + u"uris/2.0", base() + u"uris/1.0"}));
}

}  // namespace
}  // namespace quillon::nimbo
