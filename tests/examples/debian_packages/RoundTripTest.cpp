#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ModelElement.h>

#include "DebianMetaModel.h"
#include "DebianModel.h"
#include "RoundTrip.h"
#include "SampleDatabase.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using quillon::nimbo::BinFormat;
using tarn::kern::Model;
using tarn::kern::ustring;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void replaceContent(const fs::path& file, const std::string& content) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
}

class RoundTrip : public testing::Test {
 protected:
  TempDirectory fDirectory;
  Model fModel = buildModel(readSample());
};

class RoundTripOfForm : public RoundTrip, public testing::WithParamInterface<BinFormat> {};

TEST_P(RoundTripOfForm, KeepsTheSample) {
  const fs::path file = fDirectory.path() / "model";
  const RoundTripFigures figures = roundTrip(fModel, GetParam(), file);
  const std::string content = contentOf(file);
  EXPECT_EQ(figures.fileBytes, content.size());
  EXPECT_EQ(content.front(), static_cast<char>(GetParam())) << "a bare container begins with its letter";
  const Model loaded = loadModel(file);
  EXPECT_NE(loaded, fModel);
  EXPECT_EQ(loaded->getElementCount(), fModel->getElementCount());
  const auto difference = tarn::kern::firstDifference(fModel, loaded);
  EXPECT_FALSE(difference) << difference->text();
}

TEST_P(RoundTripOfForm, GivesTheSameFileWheneverItIsDone) {
  saveModel(fModel, GetParam(), fDirectory.path() / "first");
  saveModel(buildModel(readSample()), GetParam(), fDirectory.path() / "second");
  EXPECT_EQ(contentOf(fDirectory.path() / "first"), contentOf(fDirectory.path() / "second"));
}

TEST_P(RoundTripOfForm, TellsThatTheDiskIsFull) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  EXPECT_EQ(messageOf<RoundTripError>([&] { roundTrip(fModel, GetParam(), "/dev/full"); }),
            "/dev/full: cannot be written: No space left on device");
  EXPECT_TRUE(fs::exists("/dev/full")) << "only a plain file is taken away";
}

INSTANTIATE_TEST_SUITE_P(Forms, RoundTripOfForm,
                         testing::Values(BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd),
                         [](const auto& form) { return std::string(1, static_cast<char>(form.param)); });

TEST_F(RoundTrip, ReplacesAFileThatIsThere) {
  const fs::path file = fDirectory.write("model", std::string(1000000, 'x'));
  EXPECT_LT(roundTrip(fModel, BinFormat::BinaryZstd, file).fileBytes, 1000000u);
}

TEST_F(RoundTrip, TellsThatTheFileCannotBeCreated) {
  const fs::path file = fDirectory.path() / "none" / "model";
  EXPECT_EQ(messageOf<RoundTripError>([&] { roundTrip(fModel, BinFormat::Binary, file); }),
            file.native() + ": cannot be created: No such file or directory");
}

TEST_F(RoundTrip, LeavesNoFileOfAModelThatCannotBeSaved) {
  const auto packages = fModel->getElementsOfClass(debianMetaModel().installedPackage.type, false);
  packages.at(0)->set(debianMetaModel().anyPackage.priority, std::int64_t{99});  // no literal has that number
  const fs::path file = fDirectory.path() / "model";
  testing::internal::CaptureStderr();  // where the serializer also tells of it
  const std::string message = messageOf<RoundTripError>([&] { roundTrip(fModel, BinFormat::Binary, file); });
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Unexpected exception: "));
  EXPECT_THAT(message, StartsWith(file.native() + ": "));
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(RoundTrip, TellsWhereModelsDiffer) {
  const Model other = buildModel(readSample());
  EXPECT_NO_THROW(requireEqual(fModel, other));
  other->getTopLevelElements().at(0)->set(debianMetaModel().named.name, ustring(u"rpm"));
  EXPECT_THAT(messageOf<RoundTripError>([&] { requireEqual(fModel, other); }),
              AllOf(StartsWith("the loaded model is not the saved one: "), HasSubstr("name"), HasSubstr("dpkg"),
                    HasSubstr("rpm")));
}

TEST_F(RoundTrip, TellsWhereBytesDiffer) {
  const fs::path file = fDirectory.path() / "model";
  saveModel(fModel, BinFormat::Binary, file);
  EXPECT_NO_THROW(requireSameBytes(fModel, BinFormat::Binary, file));
  const std::string content = contentOf(file);
  const auto complaint = [&](const std::string& changed) {
    replaceContent(file, changed);
    return messageOf<RoundTripError>([&] { requireSameBytes(fModel, BinFormat::Binary, file); });
  };
  std::string changed = content;
  changed[100] = static_cast<char>(changed[100] ^ 1);
  EXPECT_EQ(complaint(changed), file.native() + ": saving the loaded model gives other bytes from byte 100 on");
  EXPECT_EQ(complaint(content.substr(0, 4321)),
            file.native() + ": saving the loaded model gives other bytes from byte 4321 on");
  EXPECT_EQ(complaint(content + "x"), file.native() + ": saving the loaded model gives only the first " +
                                          std::to_string(content.size()) + " bytes");
  EXPECT_EQ(complaint(""), file.native() + ": saving the loaded model gives other bytes from byte 0 on");
}

TEST_F(RoundTrip, TellsThatAFileCannotBeOpened) {
  EXPECT_EQ(messageOf<RoundTripError>([] { static_cast<void>(loadModel("/no/such/file")); }),
            "/no/such/file: cannot be opened: No such file or directory");
}

TEST_F(RoundTrip, FindsAnotherModelInADamagedFile) {
  const fs::path file = fDirectory.path() / "model";
  saveModel(fModel, BinFormat::Binary, file);
  std::string content = contentOf(file);
  const std::string word("q\0u\0i\0l\0l\0p\0e\0n\0", 16);
  const std::size_t at = content.find(word);
  ASSERT_NE(at, std::string::npos);
  content[at] = 'Q';
  replaceContent(file, content);
  EXPECT_THAT(messageOf<RoundTripError>([&] { requireEqual(fModel, loadModel(file)); }), HasSubstr("Quillpen"));
}

}  // namespace
}  // namespace debian_packages
