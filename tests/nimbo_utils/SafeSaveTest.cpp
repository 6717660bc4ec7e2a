#include <cerrno>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/SafeSave.h"
#include "support/Saving.h"
#include "support/TemporaryFolder.h"
#include "support/TestWrapper.h"

namespace {

using quillon::nimbo::Durability;
using quillon::nimbo::SafeFileError;
using quillon::nimbo::safeSave;
using quillon::nimbo::SavedForm;
using quillon::nimbo::StreamOArchive;
using testsupport::contentOf;
using testsupport::TemporaryFolder;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::writeFile;

using Names = std::set<std::string>;

void fill(const TestWrapper& wrapper) { wrapper.getRoot()->set(u"title", u"Ein schöner Titel 😀"); }

TEST(SafeSave, WritesWhatTheWrapperWouldWriteItself) {
  const TemporaryFolder folder;
  const TestWrapper wrapper;
  fill(wrapper);
  wrapper.serializeToBinFile(folder.file(u"a.bin"));
  wrapper.serializeToJSONFile(folder.file(u"a.json"));
  wrapper.serializeToXMLFile(folder.file(u"a.xml"));
  safeSave(wrapper, folder.file(u"b.bin"));
  safeSave(wrapper, folder.file(u"b.json"), SavedForm::JSON, Durability::Consistent);
  safeSave(wrapper, folder.file(u"b.xml"), SavedForm::XML, Durability::None);
  EXPECT_EQ(contentOf(folder / "a.bin"), contentOf(folder / "b.bin"));
  EXPECT_EQ(contentOf(folder / "a.json"), contentOf(folder / "b.json"));
  EXPECT_EQ(contentOf(folder / "a.xml"), contentOf(folder / "b.xml"));
  EXPECT_EQ(folder.names().size(), 6U);
}

TEST(SafeSave, WritesFilesThatTheWrapperOpens) {
  const TemporaryFolder folder;
  const TestWrapper wrapper;
  fill(wrapper);
  for (const SavedForm form : {SavedForm::Binary, SavedForm::JSON, SavedForm::XML}) {
    safeSave(wrapper, folder.file(u"план"), form);
    TestWrapper reader;
    reader.open(folder.file(u"план"));
    EXPECT_TRUE(tarn::kern::modelsEqual(reader.getModel(), wrapper.getModel()));
  }
}

TEST(SafeSave, SavesDeferredBytesWithoutParsingThem) {
  const TemporaryFolder folder;
  WrapperSetup setup;
  setup.keepSerializedData = true;
  TestWrapper wrapper(setup);
  const std::string bytes = testsupport::containerOf({u"Root"});
  wrapper.openFromBinString(bytes);
  safeSave(wrapper, folder.file(u"plan"));
  EXPECT_EQ(contentOf(folder / "plan"), "WRAP1\n" + bytes);
  EXPECT_FALSE(wrapper.modelExists());
}

/// A derived class whose saving goes wrong, or writes something else.
class OddWriter : public TestWrapper {
 public:
  [[nodiscard]] std::string serializeToJSON() const override { throw std::runtime_error("no JSON today"); }
  [[nodiscard]] std::string serializeToXML() const override { return "XML!"; }
  void serializeToBinStream(StreamOArchive& archive) const override {
    *archive.stream() << "half";
    throw std::runtime_error("no binary form today");
  }
};

TEST(SafeSave, UsesTheOverridesOfADerivedClass) {
  const TemporaryFolder folder;
  safeSave(OddWriter(), folder.file(u"plan"), SavedForm::XML);
  EXPECT_EQ(contentOf(folder / "plan"), "XML!");
}

TEST(SafeSave, KeepsTheOldFileWhenTheSerializerThrows) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  const OddWriter wrapper;
  EXPECT_THROW(safeSave(wrapper, folder.file(u"plan"), SavedForm::JSON), std::runtime_error);
  EXPECT_THROW(safeSave(wrapper, folder.file(u"plan"), SavedForm::Binary), std::runtime_error);
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeSave, KeepsTheOldFileWhenTheModelHasNoBinaryForm) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", "old");
  const TestWrapper wrapper;
  const auto one = testsupport::newNamed(wrapper.getModel(), u"Friend", u"");
  testsupport::added(one, u"friends", testsupport::newNamed(wrapper.getModel(), u"Friend", u""));
  const testsupport::CerrCapture quiet;
  EXPECT_THROW(safeSave(wrapper, folder.file(u"plan")), quillon::nimbo::BinSerializationException);
  EXPECT_EQ(contentOf(folder / "plan"), "old");
  EXPECT_EQ(folder.names(), Names{"plan"});
}

TEST(SafeSave, TellsOfAFullDiskWhereTheWrapperDoesNot) {
  const TestWrapper wrapper;
  fill(wrapper);
  for (const SavedForm form : {SavedForm::Binary, SavedForm::JSON, SavedForm::XML}) {
    try {
      safeSave(wrapper, u"/dev/full", form);
      ADD_FAILURE() << "nothing was reported";
    } catch (const SafeFileError& error) {
      EXPECT_EQ(error.code().value(), ENOSPC);
      EXPECT_EQ(error.code(), std::errc::no_space_on_device);
    }
  }
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

}  // namespace
