#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quillon/nimbo/BinParser.h>
#include <tarn/kern/ModelCompare.h>

#include "DebianMetaModel.h"
#include "DebianModel.h"
#include "RoundTrip.h"
#include "SampleDatabase.h"
#include "TextForms.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using quillon::nimbo::BinFormat;
using tarn::kern::Model;
using testing::HasSubstr;
using testing::Not;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class TextForms : public testing::Test {
 protected:
  void SetUp() override {
    const PlainDatabase database = readSample();
    fModel = buildModel(database);
    saveOlderVersion(database, fDirectory.path());
    saveModel(fModel, BinFormat::BinaryZstd, file("debian.z"));
  }

  fs::path file(const std::string& name) const { return fDirectory.path() / name; }
  std::string show() const {
    std::ostringstream out;
    showTextForms(fModel, fDirectory.path(), out);
    return out.str();
  }

  TempDirectory fDirectory;
  Model fModel;
};

TEST_F(TextForms, AreThreeFilesThatHoldTheModel) {
  EXPECT_THAT(show(), testing::MatchesRegex(
                          "\ndebian.json +[0-9,]+ bytes  written in .* s, read in .* s\n"
                          "debian.dump.json +[0-9,]+ bytes  dumped in .* s without the meta-model, read in .* s\n"
                          "debian-0.9.z +[0-9,]+ bytes  version 0.9 of the meta-model, read in .* s and up to date\n"
                          "Each of the three was read into a new model that is equal to the one saved; .*\n"));
  EXPECT_THAT(contentOf(file("debian.json")), testing::StartsWith(R"({"version":"1.0","packageUris":[)"));
  EXPECT_THAT(contentOf(file("debian.dump.json")), testing::StartsWith(R"({"entries":[{"content":{"archives":[)"));
}

TEST_F(TextForms, LeavesTheModelAsItWas) {
  const auto elements = fModel->getElementCount();
  static_cast<void>(show());
  EXPECT_EQ(fModel->getElementCount(), elements);
  EXPECT_EQ(fModel->getTransactionDepth(), 0U);
  const auto difference = tarn::kern::firstDifference(fModel, buildModel(readSample()));
  EXPECT_FALSE(difference) << difference->text();
}

TEST_F(TextForms, SavesTheOlderVersionUnderTheNamesOfThen) {
  std::ifstream in(file("debian-0.9.z"), std::ios::binary);
  const std::string dump = quillon::nimbo::BinParser().parseToJSON(in);
  EXPECT_THAT(dump, HasSubstr("debian/0.9"));
  for (const char* name : {"\"debian_packages.Name\"", "\"summary\"", "\"text\"", "\"unversioned\""}) {
    EXPECT_THAT(dump, HasSubstr(name));
  }
  for (const char* name : {"debian_packages.PackageName", "\"synopsis\"", "\"upstream\"", "\"operator\":\"any\""}) {
    EXPECT_THAT(dump, Not(HasSubstr(name)));
  }
}

TEST_F(TextForms, TellWhichFileIsWrong) {
  fs::remove(file("debian.z"));
  EXPECT_THAT(messageOf<RoundTripError>([&] { show(); }),
              testing::EndsWith("debian.z: cannot be opened: No such file or directory"));
  saveModel(buildModel(PlainDatabase()), BinFormat::BinaryZstd, file("debian.z"));
  EXPECT_THAT(messageOf<RoundTripError>([&] { show(); }), HasSubstr("the loaded model is not the saved one"));
}

}  // namespace
}  // namespace debian_packages
