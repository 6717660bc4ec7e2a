#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <quillon/nimbo/ModelDiff.h>
#include <tarn/kern/ModelCompare.h>

#include "DebianMetaModel.h"
#include "DebianModel.h"
#include "DebianPrinter.h"
#include "RoundTrip.h"
#include "SampleDatabase.h"
#include "SectionCopy.h"
#include "Tour.h"

namespace debian_packages {
namespace {

using quillon::nimbo::diff;
using quillon::nimbo::ElementChange;
using tarn::kern::FindElementBehavior;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ustring;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class TourTest : public testing::Test {
 protected:
  static std::string textOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  std::filesystem::path out(const char* name) const { return fDirectory.path() / name; }

  std::string tour(const std::string& section) {
    std::ostringstream told;
    takeTour(fModel, section, fDirectory.path(), told);
    return told.str();
  }

  TempDirectory fDirectory;
  const Model fModel = buildModel(readSample());
};

// --- The copy.

TEST_F(TourTest, ChoosesALargeSectionThatCanBeOverlooked) { EXPECT_EQ(sectionToShow(fModel), "libs"); }

TEST_F(TourTest, ChoosesNoneWhereNoPackageNamesOne) {
  EXPECT_EQ(sectionToShow(Model::create(tarn::kern::ModelSpec())), "");
}

TEST_F(TourTest, ClonesTheSectionsPackagesWithAllThatTheyReferTo) {
  const SectionCopy copy = copySection(fModel, "libs");
  requireCopied(fModel, "libs", copy);
  EXPECT_EQ(copy.packages, 4);
  const auto& meta = debianMetaModel();
  EXPECT_EQ(copy.model->getElementsOfClass(meta.installedPackage.type, true).size(), 4);
  EXPECT_EQ(copy.model->getElementsOfClass(meta.section.type, true).size(), 1);
  EXPECT_TRUE(copy.model->getElementsOfClass(meta.database.type, true).empty()) << "what refers to them stays behind";
}

TEST_F(TourTest, PutsOneMaintainerWithoutAddressInThePlaceOfAll) {
  const SectionCopy copy = copySection(fModel, "libs");
  EXPECT_EQ(copy.maintainers, 2);
  const auto& meta = debianMetaModel();
  const auto maintainers = copy.model->getElementsOfClass(meta.maintainer.type, true);
  ASSERT_EQ(maintainers.size(), 1);
  EXPECT_EQ(maintainers[0]->get<ustring>(meta.named.name), u"a maintainer");
  EXPECT_FALSE(maintainers[0]->getOptional<ustring>(meta.maintainer.email));
  for (const ModelElement& package : copy.model->getElementsOfClass(meta.installedPackage.type, true)) {
    EXPECT_EQ(package->get<ModelElement>(meta.anyPackage.maintainer), maintainers[0]);
  }
}

TEST_F(TourTest, LeavesTheOriginalAsItWas) {
  copySection(fModel, "libs");
  EXPECT_FALSE(tarn::kern::firstDifference(fModel, buildModel(readSample())));
}

TEST_F(TourTest, RefusesASectionWithoutPackages) {
  EXPECT_EQ(messageOf<SectionError>([&] { copySection(fModel, "games"); }),
            "no installed package is in section \"games\"");
}

TEST_F(TourTest, FindsAFaultInACopy) {
  const auto& meta = debianMetaModel();
  SectionCopy copy = copySection(fModel, "libs");
  const auto complaint = [&] { return messageOf<SectionError>([&] { requireCopied(fModel, "libs", copy); }); };
  const auto package = copy.model->getElementsOfClass(meta.installedPackage.type, true).front();
  copy.model->getElementsOfClass(meta.maintainer.type, true).front()->set(meta.maintainer.email, u"a@b");
  EXPECT_EQ(complaint(), "the copy of section \"libs\" tells a maintainer's address");
  package->set(meta.anyPackage.fingerprint, Uuid{});
  EXPECT_EQ(complaint(), "the copy of section \"libs\" changed libquill1");
  package->destroy();
  EXPECT_EQ(complaint(), "the copy of section \"libs\" has too many packages");
}

// --- The edit.

TEST_F(TourTest, AnEditShowsAsWhatItDid) {
  const SectionCopy copy = copySection(fModel, "libs");
  const auto difference = diff(copy.model, editedCopy(copy.model));
  EXPECT_EQ(difference.count(ElementChange::Kind::Changed), 1);
  EXPECT_EQ(difference.count(ElementChange::Kind::Moved), 1);
  EXPECT_EQ(difference.count(ElementChange::Kind::Removed), 3) << "a package with its two conditions";
  EXPECT_EQ(difference.count(ElementChange::Kind::Added), 3);
  EXPECT_TRUE(diff(copy.model, copySection(fModel, "libs").model).empty()) << "the copy itself stays";
}

TEST_F(TourTest, ASectionOfOnePackageIsEditedToo) {
  const SectionCopy copy = copySection(fModel, "misc");
  ASSERT_EQ(copy.packages, 1);
  EXPECT_EQ(diff(copy.model, editedCopy(copy.model)).count(ElementChange::Kind::Changed), 1);
}

// --- The files.

TEST_F(TourTest, NamesElementsWhereverTheyAreMentioned) {
  writeText(copySection(fModel, "libs").model, out("debian.txt"));
  const std::string text = textOf(out("debian.txt"));
  EXPECT_THAT(text, StartsWith("  InstalledPackage \"libquill1\" {\n"
                               "      name: \"libquill1\"\n"
                               "      key: \"libquill1:amd64\"\n"));
  EXPECT_THAT(
      text, AllOf(HasSubstr("\n      section: Section \"libs\"\n"), HasSubstr("\n          [0]: Relation Depends {\n"),
                  HasSubstr("\n                  [0]: Alternative \"libnib0\" {\n"), Not(HasSubstr("@"))));
}

TEST_F(TourTest, TellsWhatItDid) {
  EXPECT_THAT(tour(""), MatchesRegex("\n"
                                     "section \"libs\" cloned, packages: 4, elements in all: 38, maintainers replaced: "
                                     "2 \\([0-9.]+ s\\)\n"
                                     "debian.txt: that section as text, 10,074 bytes \\([0-9.]+ s\\)\n"
                                     "debian.html: all as a page to browse in, [0-9,]+ bytes \\([0-9.]+ s\\)\n"
                                     "\n"
                                     "An edit of the section, and what it changed:\n"
                                     "3 removed, 3 added, 1 moved, 1 changed\n"
                                     ".*"));
  const std::string page = textOf(out("debian.html"));
  EXPECT_THAT(page, AllOf(StartsWith("<!DOCTYPE HTML PUBLIC "), HasSubstr(">Archive&nbsp;&quot;")));
}

TEST_F(TourTest, TakesTheSectionThatIsAskedFor) {
  EXPECT_THAT(tour("utils"), StartsWith("\nsection \"utils\" cloned, packages: 2,"));
  EXPECT_EQ(messageOf<SectionError>([&] { tour("games"); }), "no installed package is in section \"games\"");
}

TEST_F(TourTest, FailsWhereItCannotWrite) {
  const auto file = fDirectory.write("file", "");
  EXPECT_THAT(messageOf<RoundTripError>([&] { writeText(fModel, file / "x"); }), HasSubstr("/x: cannot be created: "));
  EXPECT_THAT(messageOf<RoundTripError>([&] { writePage(fModel, fDirectory.path() / "no" / "x"); }),
              HasSubstr("/x: cannot be created: "));
  if (!std::filesystem::exists("/dev/full")) return;
  std::filesystem::create_symlink("/dev/full", out("full.txt"));
  EXPECT_THAT(messageOf<RoundTripError>([&] { writeText(fModel, out("full.txt")); }),
              HasSubstr("/full.txt: cannot be written: "));
}

}  // namespace
}  // namespace debian_packages
