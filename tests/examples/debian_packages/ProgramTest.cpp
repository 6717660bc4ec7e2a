#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "ChildProcess.h"
#include "DebianModel.h"
#include "RoundTrip.h"
#include "SampleDatabase.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// The program as a user runs it.
class Program : public testing::Test {
 protected:
  /// What it prints. Throws ProcessError when it ends otherwise than with 0.
  static std::string run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), DEBIAN_PACKAGES_PROGRAM);
    ChildProcess process(arguments);
    std::string printed((std::istreambuf_iterator<char>(process.output())), {});
    process.finish();
    return printed;
  }

  static std::string complaint(const std::vector<std::string>& arguments) {
    return messageOf<ProcessError>([&] { run(arguments); });
  }

  std::string out() const { return (fDirectory.path() / "out").native(); }
  std::string helper() const { return writeHelper(fDirectory).native(); }

  TempDirectory fDirectory;
  const std::string fName = DEBIAN_PACKAGES_PROGRAM;
};

const char* const kFigures =
    "step               seconds   elements/s\n"
    "read the files  .*\n"
    "build the model .*\n"
    "\n"
    "form         bytes per element    save s    elements/s    load s    elements/s  compare s  save again s\n"
    "B .*\n"
    "Z .*\n"
    "z .*\n"
    "\n"
    "Each file was loaded into a new model that is equal to the one saved and saves as the same bytes.\n"
    ".*";  // text forms and tour: TextFormsTest.cpp, TourTest.cpp

TEST_F(Program, SavesLoadsAndComparesTheSample) {
  EXPECT_THAT(run({"--sample", "--out", out()}),
              MatchesRegex(std::string("sample: 14 packages\n124 elements, 657 properties saved\n\n") + kFigures));
}

TEST_F(Program, SavesLoadsAndComparesTheSampleWithFilesAndArchive) {
  const std::string printed = run({"--sample", "--files", "--archive", "--apt-helper", helper(), "--out", out()});
  EXPECT_THAT(printed, MatchesRegex("sample: 14 packages, 18 directories, 16 files; 1 archive: 3 packages\n"
                                    "172 elements, 921 properties saved\n\n" +
                                    std::string(kFigures)));
}

TEST_F(Program, LeavesFilesThatHoldTheModelAndFilesThatShowIt) {
  run({"--sample", "--files", "--archive", "--apt-helper", helper(), "--out", out()});
  const auto expected = buildModel(readSample());
  for (const char* letter : {"B", "Z", "z"}) {
    const auto difference = tarn::kern::firstDifference(expected, loadModel(out() + "/debian." + letter));
    EXPECT_FALSE(difference) << letter << ": " << difference->text();
  }
  for (const char* name : {"debian.txt", "debian.html", "debian.json", "debian.dump.json", "debian.xmi"})
    EXPECT_GT(fs::file_size(out() + "/" + name), 10000) << name;
  EXPECT_GT(fs::file_size(out() + "/debian.ecore"), 2000);
}

TEST_F(Program, ReadsAnotherRoot) {
  fDirectory.write("root/var/lib/dpkg/status", "Package: a\nStatus: install ok installed\nVersion: 1\n");
  const std::string root = (fDirectory.path() / "root").native();
  const std::string printed = run({"--root", root, "--archive", "--out", out()});
  EXPECT_THAT(printed, StartsWith(root + "/var/lib/dpkg/status: 1 package\nnote: apt has no package lists in " + root +
                                  "/var/lib/apt/lists; \"apt-get update\" fetches them\n4 elements, 35 properties"));
}

TEST_F(Program, ReadsThisMachinesPackagesOrSaysThatItCannot) {
  const std::string printed = run({"--out", out()});
  const bool hasDatabase = fs::exists("/var/lib/dpkg/status");
  EXPECT_THAT(printed,
              StartsWith(hasDatabase ? "/var/lib/dpkg/status: "
                                     : "note: this machine has no /var/lib/dpkg/status, so the sample is used"));
  EXPECT_THAT(printed, HasSubstr("saves as the same bytes.\n"));
}

TEST_F(Program, FailsWithTheFileThatIsWrong) {
  const auto broken = fDirectory.write("status", "Package: a\nVersion 1\n");
  EXPECT_EQ(complaint({"--status", broken.native(), "--out", out()}),
            fName + " failed with exit code 1: debian_packages: " + broken.native() +
                ":2: field name 'Version' must be followed by colon");
  EXPECT_THAT(complaint({"--status", "/no/such/status", "--out", out()}),
              EndsWith("/no/such/status: cannot be opened: No such file or directory"));
  EXPECT_FALSE(fs::exists(out())) << "nothing was written";
}

TEST_F(Program, FailsWhereItCannotWrite) {
  const auto file = fDirectory.write("file", "");
  EXPECT_THAT(complaint({"--sample", "--out", file.native()}), HasSubstr("exit code 1"));
  EXPECT_THAT(complaint({"--sample", "--out", (file / "below").native()}), HasSubstr("exit code 1"));
  if (!fs::exists("/dev/full")) return;
  fs::create_directories(out());
  fs::create_symlink("/dev/full", out() + "/debian.Z");
  EXPECT_THAT(complaint({"--sample", "--out", out()}),
              EndsWith("/debian.Z: cannot be written: No space left on device"));
}

TEST_F(Program, ExplainsItself) {
  EXPECT_THAT(run({"--help"}), StartsWith("usage: debian_packages [option...]\n"));
  EXPECT_EQ(complaint({"--fast"}), fName +
                                       " failed with exit code 2: debian_packages: unknown argument \"--fast\"; "
                                       "--help tells what there is");
}

}  // namespace
}  // namespace debian_packages
