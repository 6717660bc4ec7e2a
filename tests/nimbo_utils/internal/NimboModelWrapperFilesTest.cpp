// What a wrapper reads and writes, stores left out: NimboModelWrapperStoreTest.cpp.

#include <filesystem>
#include <functional>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <strata/StoreError.h>
#include <sys/stat.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "../support/Loading.h"
#include "../support/Saving.h"
#include "../support/TestWrapper.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using quillon::nimbo::BinSerializationException;
using quillon::nimbo::NimboModelWrapperException;
using quillon::nimbo::StreamIArchive;
using quillon::nimbo::StreamOArchive;
using quillon::nimbo::internal::NimboModelWrapperBase;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::added;
using testsupport::CerrCapture;
using testsupport::containerOf;
using testsupport::contentOf;
using testsupport::nameOf;
using testsupport::newNamed;
using testsupport::TemporaryFolder;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::wrappingClass;
using testsupport::writeFile;

WrapperSetup keeping() {
  WrapperSetup setup;
  setup.keepSerializedData = true;
  return setup;
}

WrapperSetup withMagic(const std::string& magic) {
  WrapperSetup setup;
  setup.magic = magic;
  return setup;
}

template <class Work>
int kindOf(Work work) {
  try {
    work();
  } catch (const NimboModelWrapperException& failure) {
    return static_cast<int>(failure.getKind());
  }
  return 0;
}

constexpr int kNonExistingFile = 1;
constexpr int kInvalidBinaryFile = 2;
constexpr int kFailedToCreateFile = 3;
constexpr int kRootNotFound = 4;

/// A root with some content.
void fill(const TestWrapper& wrapper) {
  wrapper.getRoot()->set(u"name", u"root");
  wrapper.getRoot()->set(u"title", u"Ein schöner Titel, и ещё один 😀");
  const ModelElement part = added(wrapper.getRoot(), u"mike", newNamed(wrapper.getModel(), u"Node", u"part"));
  wrapper.getRoot()->set(u"next", part);
  added(wrapper.getRoot(), u"zulu", newNamed(wrapper.getModel(), u"Base", u"other"));
}

void expectEqualModels(const NimboModelWrapperBase& left, const NimboModelWrapperBase& right) {
  const auto difference = kern::firstDifference(left.getModel(), right.getModel());
  EXPECT_FALSE(difference) << difference->text();
}

// --- open: which form it is.

class Open : public testing::Test {
 protected:
  std::u16string path(const std::string& bytes) {
    writeFile(fFolder / "файл.dat", bytes);
    return fFolder.file(u"файл.dat");
  }
  TemporaryFolder fFolder;
  TestWrapper fWrapper;
};

TEST_F(Open, ActsAsResetOnAnEmptyPath) {
  (void)fWrapper.getRoot();
  fWrapper.open(u"");
  EXPECT_FALSE(fWrapper.modelExists());
  EXPECT_THAT(fWrapper.calls, ElementsAre("reset"));
}

TEST_F(Open, TakesABraceForJsonAndALessSignForXml) {
  fWrapper.parses = false;
  fWrapper.open(path("{ anything\n"));
  fWrapper.open(path("<anything"));
  fWrapper.open(path("{"));
  EXPECT_THAT(fWrapper.calls, ElementsAre("JSON { anything\n", "XML <anything", "JSON {"));
}

TEST_F(Open, TakesThemForTextEvenWhereTheHeaderBeginsSo) {
  TestWrapper braces(withMagic("{magic"));
  braces.parses = false;
  braces.open(path("{magic" + containerOf({u"Root"})));
  EXPECT_EQ(braces.calls.at(0).substr(0, 11), "JSON {magic");
  TestWrapper less(withMagic("<"));
  less.parses = false;
  less.open(path("<" + containerOf({u"Root"})));
  EXPECT_EQ(less.calls.at(0).substr(0, 5), "XML <");
}

TEST_F(Open, ReadsTextOfAnySize) {
  fWrapper.parses = false;
  for (const std::size_t size : {65'534U, 65'535U, 65'536U, 65'537U, 200'000U}) {
    const std::string text = "{" + std::string(size, 'x');
    fWrapper.calls.clear();
    fWrapper.open(path(text));
    EXPECT_EQ(fWrapper.calls.at(0), "JSON " + text);
  }
}

TEST_F(Open, TakesAFileThatBeginsWithTheHeaderForABinaryOne) {
  fWrapper.open(path("WRAP1\n" + containerOf({u"Root"})));
  EXPECT_EQ(nameOf(fWrapper.getRoot()), "Root");
  EXPECT_TRUE(fWrapper.strataFilePath().empty());
}

TEST_F(Open, TakesAHeaderAloneForAFileWithoutContent) {
  fWrapper.open(path("WRAP1\n"));
  EXPECT_THAT(fWrapper.calls, ElementsAre("binary of 0", "reset", "setRoot"));
  EXPECT_TRUE(fWrapper.getRoot());
}

TEST_F(Open, TakesAHeaderOfOneByte) {
  TestWrapper wrapper(withMagic("W"));
  wrapper.open(path("W" + containerOf({u"Root"})));
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
}

TEST_F(Open, KeepsTheBytesOfAWrapperThatKeepsThem) {
  TestWrapper wrapper(keeping());
  const std::string bytes = containerOf({u"Root"});
  wrapper.open(path("WRAP1\n" + bytes));
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_EQ(wrapper.serializeToBinString(), bytes);
  EXPECT_FALSE(wrapper.modelExists()) << "saving unchanged content parses nothing";
}

TEST_F(Open, ComparesTheFirstByteAsASignedCharacter) {
  // 0xFF as a header of one byte equals the end of a file, here of one that is not even there.
  TestWrapper end(withMagic("\xFF"));
  end.open(fFolder.file(u"not there"));
  EXPECT_THAT(end.calls, ElementsAre("binary of 0", "reset", "setRoot"));
  EXPECT_TRUE(end.getRoot());
  EXPECT_TRUE(end.strataFilePath().empty());
  EXPECT_THAT(fFolder.names(), IsEmpty()) << "and no store is made";

  TestWrapper empty(withMagic("\xFF"));
  empty.open(path(""));
  EXPECT_TRUE(empty.strataFilePath().empty());
}

TEST_F(Open, MakesAStoreWhereTheFileEndsBeforeALongerHeaderOfThatKind) {
  TestWrapper wrapper(
      withMagic("\xFF"
                "ab"));
  wrapper.open(fFolder.file(u"not there"));
  EXPECT_EQ(wrapper.strataFilePath(), fFolder.file(u"not there"));
  EXPECT_TRUE(wrapper.getRoot());
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
  wrapper.close();
  EXPECT_THAT(fFolder.names(), ElementsAre("not there"));
}

TEST_F(Open, DoesNotTakeTheByteThatLooksLikeTheEndOfAFileForIt) {
  TestWrapper wrapper(withMagic("\xFF"));
  const std::string bytes = "\xFF" + containerOf({u"Root"});
  const std::u16string file = path(bytes);
  EXPECT_THROW(wrapper.open(file), strata::StoreError);
  EXPECT_EQ(contentOf(fFolder / "файл.dat"), bytes) << "nothing was written to it";
  EXPECT_THAT(wrapper.calls, ElementsAre("reset")) << "and nothing was parsed";
}

TEST_F(Open, TakesNoFileForABinaryOneWhenTheHeaderIsEmpty) {
  TestWrapper wrapper(withMagic(""));
  const std::string bytes = containerOf({u"Root"});
  const std::u16string file = path(bytes);
  EXPECT_THROW(wrapper.open(file), strata::StoreError) << "it is taken for a store";
  EXPECT_EQ(contentOf(fFolder / "файл.dat"), bytes) << "nothing was written to it";
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  wrapper.parseBinFile(file);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root") << "parseBinFile has nothing to compare";
}

TEST_F(Open, MakesAStoreOfAMissingFileWhenTheHeaderIsEmpty) {
  TestWrapper wrapper(withMagic(""));
  wrapper.open(fFolder.file(u"not there"));
  EXPECT_EQ(wrapper.strataFilePath(), fFolder.file(u"not there"));
  EXPECT_TRUE(wrapper.getRoot());
  wrapper.close();
  EXPECT_THAT(fFolder.names(), ElementsAre("not there"));
}

TEST_F(Open, NeverTakesAHeaderThatBeginsAboveAsciiForOne) {
  TestWrapper wrapper(withMagic("файл"));
  // The header's first byte is above 0x7F, so that no file matches; this one goes to the store, which refuses it.
  const std::string bytes = "файл" + containerOf({u"Root"});
  const std::u16string file = path(bytes);
  EXPECT_THROW(wrapper.open(file), strata::StoreError);
  EXPECT_EQ(contentOf(fFolder / "файл.dat"), bytes) << "nothing was written to it";
  TestWrapper reader(withMagic("файл"));
  reader.parseBinFile(file);
  EXPECT_EQ(nameOf(reader.getRoot()), "Root") << "parseBinFile compares all bytes alike";
}

// --- Files of each form, there and back.

TEST(WrapperFiles, ComeBackAsTheyWereSaved) {
  const TemporaryFolder folder;
  const TestWrapper original;
  fill(original);
  original.serializeToBinFile(folder.file(u"план.bin"));
  original.serializeToJSONFile(folder.file(u"план.json"));
  original.serializeToXMLFile(folder.file(u"план.xml"));

  TestWrapper binary;
  binary.parseBinFile(folder.file(u"план.bin"));
  expectEqualModels(original, binary);
  TestWrapper json;
  json.parseJSONFile(folder.file(u"план.json"));
  expectEqualModels(original, json);
  TestWrapper xml;
  xml.parseXMLFile(folder.file(u"план.xml"));
  expectEqualModels(original, xml);

  for (const char16_t* name : {u"план.bin", u"план.json", u"план.xml"}) {
    TestWrapper opened;
    opened.open(folder.file(name));
    expectEqualModels(original, opened);
    EXPECT_EQ(nameOf(opened.getRoot()), "root");
    EXPECT_TRUE(opened.strataFilePath().empty()) << "its data stays behind in memory only";
  }
}

TEST(WrapperFiles, HoldTheHeaderAndThenTheContainer) {
  const TemporaryFolder folder;
  const TestWrapper wrapper(withMagic(std::string("WR\0AP", 5)));
  fill(wrapper);
  wrapper.serializeToBinFile(folder.file(u"plan"));
  EXPECT_EQ(contentOf(folder / "plan"), std::string("WR\0AP", 5) + wrapper.serializeToBinString());
  EXPECT_EQ(wrapper.serializeToBinString().at(0), 'z') << "the default form is the one compressed by zstd";

  const TestWrapper bare(withMagic(""));
  bare.serializeToBinFile(folder.file(u"bare"));
  EXPECT_EQ(contentOf(folder / "bare"), bare.serializeToBinString());
  TestWrapper reader(withMagic(""));
  reader.parseBinFile(folder.file(u"bare"));
  EXPECT_TRUE(reader.getRoot());
}

TEST(WrapperFiles, SaveAllTopLevelElements) {
  TestWrapper wrapper;
  wrapper.parseBinString(containerOf({u"Node", u"Root", u"Base"}));
  TestWrapper reader;
  reader.parseBinString(wrapper.serializeToBinString());
  expectEqualModels(wrapper, reader);
}

TEST(WrapperFiles, HoldTheTextOfTheFrameworkWithoutDefaults) {
  const TestWrapper wrapper;
  fill(wrapper);
  const auto expected = [&](kern::io::Serializer&& serializer) {
    std::string text;
    serializer.getCustomizer()->setShouldSkipDefaultValues(true);
    serializer.serialize(wrapper.getModel(), kern::io::SerializationOutput::forUTF8String(text));
    return text;
  };
  EXPECT_EQ(wrapper.serializeToJSON(), expected(kern::io::JSONSerializer()));
  EXPECT_EQ(wrapper.serializeToXML(), expected(kern::io::XmlSerializer()));
  EXPECT_THAT(wrapper.serializeToJSON(), testing::Not(testing::HasSubstr("\"count\"")));

  const TemporaryFolder folder;
  wrapper.serializeToJSONFile(folder.file(u"plan.json"));
  EXPECT_EQ(contentOf(folder / "plan.json"), wrapper.serializeToJSON());
  wrapper.serializeToXMLFile(folder.file(u"plan.xml"));
  EXPECT_EQ(contentOf(folder / "plan.xml"), wrapper.serializeToXML());
}

TEST(WrapperFiles, MakeTheModelOfAnEmptyWrapper) {
  const TestWrapper json;
  EXPECT_FALSE(json.serializeToJSON().empty());
  EXPECT_TRUE(json.modelExists());
  const TestWrapper xml;
  EXPECT_FALSE(xml.serializeToXML().empty());
  EXPECT_TRUE(xml.modelExists());
  const TestWrapper binary;
  EXPECT_FALSE(binary.serializeToBinString().empty());
  EXPECT_TRUE(binary.modelExists());
}

TEST(WrapperFiles, AreSavedByTheOverridesOfADerivedClass) {
  class Signed : public TestWrapper {
   public:
    [[nodiscard]] std::string serializeToJSON() const override { return "JSON!"; }
    [[nodiscard]] std::string serializeToXML() const override { return "XML!"; }
    void serializeToBinStream(StreamOArchive& archive) const override { *archive.stream() << "binary!"; }
  };
  const TemporaryFolder folder;
  const Signed wrapper;
  wrapper.serializeToJSONFile(folder.file(u"a"));
  wrapper.serializeToXMLFile(folder.file(u"b"));
  wrapper.serializeToBinFile(folder.file(u"c"));
  EXPECT_EQ(contentOf(folder / "a"), "JSON!");
  EXPECT_EQ(contentOf(folder / "b"), "XML!");
  EXPECT_EQ(contentOf(folder / "c"), "WRAP1\nbinary!");
  EXPECT_EQ(wrapper.serializeToBinString(), "binary!");
}

// --- What is told, and what stays, when a file cannot be used.

TEST(WrapperFiles, ThatAreMissingChangeNothing) {
  const TemporaryFolder folder;
  TestWrapper wrapper;
  const ModelElement root = wrapper.getRoot();
  const std::u16string missing = folder.file(u"missing");
  EXPECT_EQ(kindOf([&] { wrapper.parseBinFile(missing); }), kNonExistingFile);
  EXPECT_EQ(kindOf([&] { wrapper.parseJSONFile(missing); }), kNonExistingFile);
  EXPECT_EQ(kindOf([&] { wrapper.parseXMLFile(missing); }), kNonExistingFile);
  EXPECT_EQ(wrapper.getRoot(), root);
  EXPECT_THAT(wrapper.calls, IsEmpty());
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(WrapperFiles, WithAnotherHeaderChangeNothing) {
  const TemporaryFolder folder;
  TestWrapper wrapper;
  const ModelElement root = wrapper.getRoot();
  for (const char* bytes : {"", "W", "WRAP1", "WRAP2\nB", "wrap1\nB", " WRAP1\n"}) {
    writeFile(folder / "plan", bytes);
    EXPECT_EQ(kindOf([&] { wrapper.parseBinFile(folder.file(u"plan")); }), kInvalidBinaryFile) << bytes;
  }
  EXPECT_EQ(kindOf([&] { wrapper.parseBinFile(folder.path().u16string()); }), kInvalidBinaryFile) << "a folder";
  EXPECT_EQ(wrapper.getRoot(), root);
  EXPECT_THAT(wrapper.calls, IsEmpty());
}

TEST(WrapperFiles, ThatAreShortMatchAHeaderThatEndsInBlanks) {
  const TemporaryFolder folder;
  writeFile(folder / "short", "WR");
  TestWrapper wrapper(withMagic("WR  "));
  wrapper.parseBinFile(folder.file(u"short"));
  EXPECT_THAT(wrapper.calls, ElementsAre("binary of 0", "reset", "setRoot"));
  TestWrapper other(withMagic("WR x"));
  EXPECT_EQ(kindOf([&] { other.parseBinFile(folder.file(u"short")); }), kInvalidBinaryFile);
}

TEST(WrapperFiles, ThatCannotBeCreatedChangeNothing) {
  const TemporaryFolder folder;
  const TestWrapper wrapper;
  for (const std::u16string& path : {folder.file(u"missing/plan"), folder.path().u16string(), std::u16string()}) {
    EXPECT_EQ(kindOf([&] { wrapper.serializeToBinFile(path); }), kFailedToCreateFile);
    EXPECT_EQ(kindOf([&] { wrapper.serializeToJSONFile(path); }), kFailedToCreateFile);
    EXPECT_EQ(kindOf([&] { wrapper.serializeToXMLFile(path); }), kFailedToCreateFile);
  }
  EXPECT_FALSE(wrapper.modelExists()) << "the file is opened first";
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(WrapperFiles, KeepTheHeaderAloneWhenTheContentCannotBeWritten) {
  const TemporaryFolder folder;
  const TestWrapper wrapper;
  const ModelElement one = newNamed(wrapper.getModel(), u"Friend", u"");
  added(one, u"friends", newNamed(wrapper.getModel(), u"Friend", u""));
  writeFile(folder / "plan", "what was there before");
  const CerrCapture quiet;
  EXPECT_THROW(wrapper.serializeToBinFile(folder.file(u"plan")), BinSerializationException);
  EXPECT_EQ(contentOf(folder / "plan").substr(0, 6), "WRAP1\n");
  EXPECT_LT(contentOf(folder / "plan").size(), std::string("what was there before").size());
}

TEST(WrapperFiles, DoNotTellThatTheDiskIsFull) {
  const TestWrapper wrapper;
  fill(wrapper);
  EXPECT_NO_THROW(wrapper.serializeToBinFile(u"/dev/full"));
  EXPECT_NO_THROW(wrapper.serializeToJSONFile(u"/dev/full"));
}

TEST(WrapperFiles, WithDamagedContentShowItWhenTheModelIsAskedFor) {
  const TemporaryFolder folder;
  writeFile(folder / "plan", std::string("WRAP1\nB\0\0\0\0\0\0\0\0?", 16));
  const CerrCapture quiet;
  TestWrapper parsing;
  EXPECT_THROW(parsing.parseBinFile(folder.file(u"plan")), BinSerializationException);
  TestWrapper keeper(keeping());
  keeper.parseBinFile(folder.file(u"plan"));
  EXPECT_THROW((void)keeper.getModel(), BinSerializationException);
}

// --- Parsing: order of steps, and what stays after a failure.

TEST(WrapperParsing, LetsTheOldModelGoBeforeTheFirstByteIsRead) {
  WrapperSetup setup;
  setup.destroyModelOnRelease = true;
  const CerrCapture quiet;
  for (int form = 0; form < 3; ++form) {
    TestWrapper wrapper(setup);
    const ModelElement old = wrapper.getRoot();
    const Model oldModel = wrapper.getModel();
    EXPECT_ANY_THROW(form == 0   ? wrapper.parseBinString("B rubbish")
                     : form == 1 ? wrapper.parseJSONString("{ rubbish")
                                 : wrapper.parseXMLString("< rubbish"));
    EXPECT_TRUE(old->isDestroyed());
    EXPECT_NE(wrapper.getModel(), oldModel);
    EXPECT_FALSE(wrapper.getRoot());
    EXPECT_EQ(wrapper.getModel()->getElementCount(), 0U);
    EXPECT_EQ(wrapper.getModel()->getTransactionDepth(), 0U);
    EXPECT_THAT(wrapper.calls, testing::Not(testing::Contains("setRoot")));
  }
}

/// Calls back when the first byte is asked for.
class WatchedBytes : public std::stringbuf {
 public:
  WatchedBytes(const std::string& bytes, std::function<void()> onFirst)
      : std::stringbuf(bytes, std::ios_base::in), fOnFirst(std::move(onFirst)) {}

 protected:
  int_type uflow() override {
    tell();
    return std::stringbuf::uflow();
  }
  std::streamsize xsgetn(char* target, std::streamsize size) override {
    tell();
    return std::stringbuf::xsgetn(target, size);
  }

 private:
  void tell() {
    if (fOnFirst) std::exchange(fOnFirst, nullptr)();
  }
  std::function<void()> fOnFirst;
};

TEST(WrapperParsing, AsksForTheFirstByteWhenTheOldModelIsGone) {
  TestWrapper wrapper;
  const Model old = wrapper.getModel();
  bool asked = false;
  WatchedBytes bytes("", [&] {
    asked = true;
    EXPECT_NE(wrapper.getModel(), old);
    EXPECT_FALSE(wrapper.getRoot());
  });
  std::istream stream(&bytes);
  StreamIArchive archive(stream);
  wrapper.parseBinStream(archive);
  EXPECT_TRUE(asked);
}

TEST(WrapperParsing, DropsCachedBytesEvenWhenItFails) {
  const CerrCapture quiet;
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  EXPECT_ANY_THROW(wrapper.parseJSONString("{ rubbish"));
  std::ostringstream stream;
  StreamOArchive archive(stream);
  EXPECT_FALSE(wrapper.writeCachedSerializedData(archive));
}

TEST(WrapperParsing, NeverPutsTextOff) {
  const TestWrapper source;
  fill(source);
  TestWrapper wrapper(keeping());
  wrapper.parseJSONString(source.serializeToJSON());
  EXPECT_TRUE(wrapper.modelExists());
  expectEqualModels(source, wrapper);
  wrapper.parseXMLString(source.serializeToXML());
  EXPECT_TRUE(wrapper.modelExists());
  expectEqualModels(source, wrapper);
}

TEST(WrapperParsing, WantsARootOfItsClassInEveryForm) {
  WrapperSetup ofNode;
  ofNode.rootClass = wrappingClass(u"Node");
  const TestWrapper source(ofNode);
  source.getRoot()->set(u"name", u"no root");
  TestWrapper wrapper;
  EXPECT_EQ(kindOf([&] { wrapper.parseJSONString(source.serializeToJSON()); }), kRootNotFound);
  EXPECT_EQ(nameOf(wrapper.getModel()->getTopLevelElements().at(0)), "no root");
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_EQ(kindOf([&] { wrapper.parseXMLString(source.serializeToXML()); }), kRootNotFound);
  EXPECT_EQ(nameOf(wrapper.getModel()->getTopLevelElements().at(0)), "no root");
}

TEST(WrapperParsing, ReadsAContainerFromTheMiddleOfAStream) {
  std::stringstream stream("before" + containerOf({u"Root"}));
  stream.seekg(6);
  StreamIArchive archive(stream);
  TestWrapper wrapper;
  wrapper.parseBinStream(archive);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
}

TEST(WrapperParsing, GivesAnEmptyStringANewRoot) {
  TestWrapper wrapper;
  wrapper.openFromBinString("");
  EXPECT_THAT(wrapper.calls, ElementsAre("binary of 0", "reset", "setRoot"));
  EXPECT_TRUE(wrapper.getRoot());
}

TEST(WrapperParsing, DumpsAContainerToJsonWithoutAWrapper) {
  const std::string container = containerOf({u"Root"});
  std::stringstream stream(container);
  StreamIArchive archive(stream);
  std::stringstream again(container);
  EXPECT_EQ(NimboModelWrapperBase::parseBinStreamToJSON(archive), quillon::nimbo::BinParser().parseToJSON(again));
}

// --- Cached bytes.

TEST(WrapperCache, IsFilledByOpeningAWrapperThatKeepsBytes) {
  TestWrapper wrapper(keeping());
  const std::string bytes = containerOf({u"Root"});
  wrapper.openFromBinString(bytes);
  EXPECT_FALSE(wrapper.modelExists());
  std::ostringstream stream;
  StreamOArchive archive(stream);
  EXPECT_TRUE(wrapper.writeCachedSerializedData(archive));
  EXPECT_EQ(stream.str(), bytes);
  (void)wrapper.getModel();
  EXPECT_EQ(wrapper.serializeToBinString(), bytes) << "parsing them does not drop them";
}

TEST(WrapperCache, ReplacesModelAndBytesWhenItIsFilledAgain) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  (void)wrapper.getModel();
  wrapper.openFromBinString(containerOf({u"SpecialRoot"}));
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_EQ(nameOf(wrapper.getRoot()), "SpecialRoot");
}

TEST(WrapperCache, GivesTheBytesBehindTheHeaderOfAFileBack) {
  const TemporaryFolder folder;
  const TestWrapper original;
  fill(original);
  original.serializeToBinFile(folder.file(u"plan"));
  TestWrapper wrapper(keeping());
  wrapper.open(folder.file(u"plan"));
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_EQ("WRAP1\n" + wrapper.serializeToBinString(), contentOf(folder / "plan"));
  wrapper.serializeToBinFile(folder.file(u"copy"));
  EXPECT_EQ(contentOf(folder / "copy"), contentOf(folder / "plan"));
  EXPECT_FALSE(wrapper.modelExists());
}

/// Counts how often it serializes.
class CountingWriter : public TestWrapper {
 public:
  using TestWrapper::TestWrapper;
  void serializeToBinStream(StreamOArchive& archive) const override {
    if (writeCachedSerializedData(archive)) return;
    ++written;
    TestWrapper::serializeToBinStream(archive);
  }
  mutable int written = 0;
};

TEST(WrapperCache, IsFilledByTheFirstStringThatIsMade) {
  const CountingWriter wrapper(keeping());
  fill(wrapper);
  const std::string first = wrapper.serializeToBinString();
  EXPECT_EQ(wrapper.serializeToBinString(), first);
  EXPECT_EQ(wrapper.written, 1);
  TestWrapper reader;
  reader.parseBinString(first);
  expectEqualModels(wrapper, reader);
}

TEST(WrapperCache, IsNotFilledByFilesAndStreams) {
  const TemporaryFolder folder;
  const CountingWriter wrapper(keeping());
  fill(wrapper);
  wrapper.serializeToBinFile(folder.file(u"plan"));
  wrapper.serializeToBinFile(folder.file(u"plan"));
  EXPECT_EQ(wrapper.written, 2);
}

TEST(WrapperCache, StaysEmptyInAWrapperThatDoesNotKeepBytes) {
  const CountingWriter wrapper;
  fill(wrapper);
  EXPECT_EQ(wrapper.serializeToBinString(), wrapper.serializeToBinString());
  EXPECT_EQ(wrapper.written, 2);
  std::ostringstream stream;
  StreamOArchive archive(stream);
  EXPECT_FALSE(wrapper.writeCachedSerializedData(archive));
  EXPECT_EQ(stream.str(), "");
}

TEST(WrapperCache, WinsInAWrapperThatDoesNotKeepBytesToo) {
  TestWrapper source(keeping());
  const std::string bytes = containerOf({u"Root"});
  source.openFromBinString(bytes);
  TestWrapper wrapper;
  wrapper.cloneFrom(source);
  EXPECT_EQ(wrapper.serializeToBinString(), bytes);
  EXPECT_FALSE(wrapper.modelExists());
}

TEST(WrapperCache, IsEmptiedByOpeningEmptyBytes) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  wrapper.openFromBinString("");
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_NE(wrapper.getRoot()->get<std::u16string>(u"name"), u"Root");
}

// --- The packages that the content needs.

TEST(WrapperPackages, AreTheUrisOfTheModelAsCompactJson) {
  const TestWrapper wrapper;
  EXPECT_EQ(wrapper.getUsedPackageUrisAsJSON(), "[\"urn:wrapping\"]");
  EXPECT_TRUE(wrapper.modelExists());
  WrapperSetup setup;
  setup.rootClass = testsupport::wrappedThing();
  const TestWrapper other(setup);
  EXPECT_EQ(other.getUsedPackageUrisAsJSON(), "[\"" + testsupport::currentWrappedUri() + "\"]");
  EXPECT_FALSE(NimboModelWrapperBase::evolveIsNeeded(other.getUsedPackageUrisAsJSON()));
}

TEST(WrapperPackages, AreReadFromDeferredBytesByParsing) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  EXPECT_EQ(wrapper.getUsedPackageUrisAsJSON(), "[\"urn:wrapping\"]");
  EXPECT_TRUE(wrapper.modelExists());
}

TEST(WrapperPackages, NeedNoEvolutionWhenThereAreNone) {
  for (const char* text : {"[]", "null", "{}"}) EXPECT_FALSE(NimboModelWrapperBase::evolveIsNeeded(text)) << text;
}

TEST(WrapperPackages, NeedEvolutionWhenOneIsNotCurrent) {
  const std::string old = "\"" + testsupport::olderWrappedUri() + "\"";
  const std::string current = "\"" + testsupport::currentWrappedUri() + "\"";
  (void)wrappingClass(u"Root");
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded("[" + old + "]"));
  EXPECT_FALSE(NimboModelWrapperBase::evolveIsNeeded("[" + current + "]"));
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded("[" + current + ", \"urn:wrapping\", " + old + "]"));
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded("[\"urn:nobody:knows\"]"));
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded("{\"a\": " + current + ", \"b\": " + old + "}"));
  EXPECT_FALSE(NimboModelWrapperBase::evolveIsNeeded("{\"" + testsupport::olderWrappedUri() + "\": " + current + "}"));
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded(old)) << "a value by itself";
  EXPECT_TRUE(NimboModelWrapperBase::evolveIsNeeded("[" + old + ", 5]")) << "the first that is not current ends it";
}

TEST(WrapperPackages, AreTextsAndNothingElse) {
  for (const auto& [text, type] : {std::pair{"[5]", "number"},
                                   {"[null]", "null"},
                                   {"[[]]", "array"},
                                   {"[{}]", "object"},
                                   {"true", "boolean"},
                                   {"7", "number"},
                                   {"{\"a\": 1.5}", "number"}}) {
    try {
      (void)NimboModelWrapperBase::evolveIsNeeded(text);
      ADD_FAILURE() << text << " was taken";
    } catch (const nlohmann::json::type_error& error) {
      EXPECT_EQ(error.id, 302);
      EXPECT_THAT(error.what(), testing::HasSubstr(std::string("type must be string, but is ") + type));
    }
  }
}

TEST(WrapperPackages, ComeAsJsonWithoutComments) {
  for (const char* text : {"", "[", "[] // none", "/* none */ []", "[\"a\",]"}) {
    EXPECT_THROW((void)NimboModelWrapperBase::evolveIsNeeded(text), nlohmann::json::parse_error) << text;
  }
}

}  // namespace
