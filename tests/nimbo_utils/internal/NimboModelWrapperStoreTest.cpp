// A wrapper on a store: binding, the root in it, closing.

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <bedrock/filesystem.h>
#include <fcntl.h>
#include <strata/SQLiteUri.h>
#include <strata/StoreError.h>
#include <strata_datasource/DataSource.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/Testing.h>

#include "../support/TestWrapper.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/SafeSave.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"
#include "support/TemporaryFolder.h"

namespace {
/// The path that cannot be asked about, once.
std::string unanswered;  // NOLINT(cert-err58-cpp)
}  // namespace

/// Stands in front of the C library's, so that a question about a file can fail although the file can be opened, as it
/// happens on network drives.
extern "C" __attribute__((visibility("default"))) int stat(const char* path, struct stat* result) noexcept {
  if (unanswered.empty() || unanswered != path) return ::fstatat(AT_FDCWD, path, result, 0);
  unanswered.clear();
  errno = EIO;
  return -1;
}

namespace {

namespace fs = std::filesystem;
namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::ModelSpec;
using quillon::nimbo::internal::NimboModelWrapperBase;
using strata::StoreError;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testsupport::added;
using testsupport::contentOf;
using testsupport::nameOf;
using testsupport::newNamed;
using testsupport::TemporaryFolder;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::wrappingClass;
using testsupport::writeFile;

class Store : public testing::Test {
 protected:
  Store() : fPath(fFolder.file(u"магазин.db")), fFile(fFolder / "магазин.db") {}

  /// root { alpha, zulu: z1 { zulu: z11 }, z2; bravo; mike: m1 }, saved in the store.
  void fill() {
    TestWrapper wrapper;
    wrapper.open(fPath);
    wrapper.beginTransaction();
    const ModelElement root = wrapper.getRoot();
    root->set(u"name", u"root");
    const auto make = [&](const char16_t* name) { return newNamed(wrapper.getModel(), u"Node", name); };
    const ModelElement z1 = added(root, u"zulu", make(u"z1"));
    root->set(u"bravo", make(u"bravo"));
    added(root, u"mike", make(u"m1"));
    added(z1, u"zulu", make(u"z11"));
    added(root, u"zulu", make(u"z2"));
    root->set(u"alpha", make(u"alpha"));
    wrapper.commitTransaction();
  }

  /// A store in which nothing can be the root of a TestWrapper; its size.
  std::uintmax_t fillWithoutRoot() {
    {
      TestWrapper wrapper({wrappingClass(u"Node")});
      wrapper.open(fPath);
    }
    return fs::file_size(fFile);
  }

  /// The model, bound to the store as an application binds it.
  Model bound(strata_datasource::DataSource::ToDataSourceSync direction) {
    const Model model = Model::create(ModelSpec());
    strata::SQLiteUri place = strata::Uri::createSQLite();
    place.setLocation(fFile.string());
    using strata_datasource::DataSource;
    DataSource::create(place, model, DataSource::ToModelSync::OnTouch, direction, DataSource::SyncTiming::OnCommit);
    return model;
  }

  void forbidWriting() { ASSERT_EQ(::chmod(fFile.c_str(), 0444), 0); }

  /// Where the first page of a table lies in the file, by SQLite's word.
  struct Place {
    std::int64_t offset;
    std::int64_t size;
  };
  Place placeOf(const std::string& table) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    Place place{0, 0};
    sqlite3_open(fFile.c_str(), &database);
    sqlite3_prepare_v2(database,
                       "SELECT (rootpage - 1) * page_size, page_size FROM sqlite_schema, pragma_page_size "
                       "WHERE name = ?1",
                       -1, &statement, nullptr);
    sqlite3_bind_text(statement, 1, table.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(statement) == SQLITE_ROW) {
      place = {sqlite3_column_int64(statement, 0), sqlite3_column_int64(statement, 1)};
    }
    sqlite3_finalize(statement);
    sqlite3_close(database);
    if (place.size == 0) throw std::runtime_error("the store has no table " + table);
    return place;
  }
  void damage(const Place& place) {
    std::fstream file(fFile, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
    file.seekp(place.offset);
    file << std::string(static_cast<std::size_t>(place.size), '\xFF');
    if (!file.flush()) throw std::runtime_error("cannot damage the store");
  }

  /// The titles of the roots in the store.
  std::vector<std::u16string> titles() {
    TestWrapper wrapper;
    wrapper.open(fPath);
    std::vector<std::u16string> titles;
    for (const ModelElement& element : wrapper.getModel()->getTopLevelElements()) {
      if (element->getMetaClass()->conformsTo(wrappingClass(u"Root"))) {
        titles.push_back(element->get<std::u16string>(u"title"));
      }
    }
    return titles;
  }

  TemporaryFolder fFolder;
  std::u16string fPath;
  fs::path fFile;
};

// --- open.

TEST_F(Store, IsMadeWithARootWhereThereIsNoFile) {
  boost::uuids::uuid uuid{};
  {
    TestWrapper wrapper;
    std::vector<std::string> seen;
    wrapper.onSetRoot = [&] {
      seen.emplace_back(wrapper.strataFilePath() == fPath && wrapper.getRoot() ? "root and path" : "something missing");
    };
    wrapper.open(fPath);
    EXPECT_THAT(seen, ElementsAre("root and path"));
    EXPECT_EQ(wrapper.strataFilePath(), fPath);
    EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
    EXPECT_FALSE(wrapper.isInTransaction());
    uuid = wrapper.getRoot()->getUuid();
  }
  TestWrapper again;
  again.open(fPath);
  EXPECT_EQ(again.getRoot()->getUuid(), uuid);
  EXPECT_EQ(again.getModel()->getAllElements(kern::FindElementBehavior::Anywhere).size(), 1U) << "no second root";
}

TEST_F(Store, IsMadeOfAnEmptyFile) {
  writeFile(fFile, "");
  {
    TestWrapper wrapper;
    wrapper.open(fPath);
    wrapper.getRoot()->set(u"title", u"made");
    wrapper.close();
  }
  EXPECT_THAT(titles(), ElementsAre(u"made"));
}

TEST_F(Store, HoldsWhatWasCommitted) {
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"committed");
  wrapper.commitTransaction();
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"rolled back");
  wrapper.rollbackTransaction();
  wrapper.detachModel();
  EXPECT_THAT(titles(), ElementsAre(u"committed"));
}

TEST_F(Store, TakesTheFirstElementOfTheClassOrBelowForRoot) {
  {
    TestWrapper wrapper({wrappingClass(u"Node")});
    wrapper.open(fPath);
    wrapper.beginTransaction();
    wrapper.getRoot()->set(u"name", u"a node");
    added(wrapper.getRoot(), u"mike", newNamed(wrapper.getModel(), u"SpecialRoot", u"inner"));
    wrapper.commitTransaction();
  }
  TestWrapper wrapper;
  wrapper.open(fPath);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "inner") << "in a store it need not be at top level";
}

TEST_F(Store, GetsARootWhereItHoldsNone) {
  {
    TestWrapper wrapper({wrappingClass(u"Node")});
    wrapper.open(fPath);
  }
  {
    TestWrapper wrapper;
    wrapper.open(fPath);
    EXPECT_EQ(wrapper.getRoot()->getMetaClass(), wrappingClass(u"Root")) << "and no complaint";
  }
  EXPECT_EQ(titles().size(), 1U);
}

TEST_F(Store, IsWhatEveryUnknownFileIsTakenFor) {
  for (const std::string& bytes :
       {std::string("W"), std::string("WRAP"), std::string("WRAP1"), std::string("WRAP2\nB"), std::string(" {}"),
        std::string("\n<x/>"), std::string("\xEF\xBB\xBF{}"), std::string(5'000, 'x')}) {
    writeFile(fFile, bytes);
    TestWrapper wrapper;
    wrapper.attachModel(nullptr, u"an earlier path");
    const ModelElement before = wrapper.getRoot();
    wrapper.calls.clear();
    EXPECT_THROW(wrapper.open(fPath), StoreError) << bytes;
    EXPECT_EQ(contentOf(fFile), bytes) << "it is left as it was";
    EXPECT_EQ(wrapper.strataFilePath(), u"an earlier path");
    EXPECT_TRUE(wrapper.modelExists());
    EXPECT_NE(wrapper.getModel(), before->getModel());
    EXPECT_FALSE(wrapper.getRoot());
    EXPECT_THAT(wrapper.calls, ElementsAre("reset"));
  }
}

TEST_F(Store, RefusesFoldersAndMissingFolders) {
  TestWrapper wrapper;
  EXPECT_THROW(wrapper.open(fFolder.path().u16string()), StoreError);
  EXPECT_THROW(wrapper.open(fFolder.file(u"missing/store.db")), StoreError);
}

TEST_F(Store, TakesAQuestionWithoutAnswerForAMissingFile) {
  const std::u16string tooLong = fFolder.file(std::u16string(300, u'n'));
  EXPECT_ANY_THROW((void)bedrock::filesystem::exists(tooLong));
  TestWrapper wrapper;
  EXPECT_THROW(wrapper.open(tooLong), StoreError) << "told by the store";
}

TEST_F(Store, IsHeldByOneWrapperAtATime) {
  TestWrapper first;
  first.open(fPath);
  TestWrapper second;
  EXPECT_THROW(second.open(fPath), StoreError);
  EXPECT_TRUE(second.strataFilePath().empty());
  first.close();
  second.open(fPath);
  EXPECT_TRUE(second.getRoot());
}

TEST_F(Store, KeepsThePathWhenAHookFindsTheRootWrong) {
  TestWrapper wrapper;
  wrapper.onSetRoot = [] { throw std::runtime_error("wrong root"); };
  EXPECT_THROW(wrapper.open(fPath), std::runtime_error);
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_TRUE(wrapper.getRoot()) << "the one that was made for the new file";
}

TEST_F(Store, IsOpenedInsideACallersTransaction) {
  TestWrapper wrapper;
  wrapper.beginTransaction();
  const Model before = wrapper.getModel();
  wrapper.open(fPath);
  EXPECT_TRUE(wrapper.isInTransaction());
  EXPECT_TRUE(wrapper.getRoot());
  wrapper.rollbackTransaction();
  wrapper.getRoot()->set(u"title", u"written on release");
  wrapper.close();
  EXPECT_THAT(titles(), ElementsAre(u"written on release"));
}

TEST_F(Store, GetsASecondRootWhenItCannotBeAskedAbout) {
  fill();
  {
    TestWrapper wrapper;
    unanswered = fFile.string();
    wrapper.open(fPath);
    EXPECT_TRUE(unanswered.empty()) << "it was asked about";
    EXPECT_EQ(wrapper.strataFilePath(), fPath);
    EXPECT_EQ(nameOf(wrapper.getRoot()), "") << "a new one: what cannot be asked about counts as missing";
    wrapper.getRoot()->set(u"title", u"second");
    wrapper.close();
  }
  EXPECT_THAT(titles(), ElementsAre(u"", u"second"));
}

TEST_F(Store, StaysBoundWhenItsRootCannotBeRead) {
  fill();
  damage(placeOf("element"));
  const std::string bytes = contentOf(fFile);
  TestWrapper wrapper;
  EXPECT_THROW(wrapper.open(fPath), StoreError);
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_TRUE(wrapper.modelExists());
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(contentOf(fFile), bytes);
}

// --- Stores that may only be read.

TEST_F(Store, IsReadWhereItMayNotBeWritten) {
  fill();
  forbidWriting();
  const std::string bytes = contentOf(fFile);
  TestWrapper wrapper;
  wrapper.open(fPath);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "root");
  wrapper.close();
  EXPECT_EQ(wrapper.getModel()->getElementCount(), 7U);
  EXPECT_EQ(contentOf(fFile), bytes);
}

TEST_F(Store, IsRefusedWhereItMayNotBeWrittenAndHoldsNoRoot) {
  fillWithoutRoot();
  forbidWriting();
  const std::string bytes = contentOf(fFile);
  TestWrapper wrapper;
  try {
    wrapper.open(fPath);
    FAIL() << "a root was made";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::ReadOnly);
    EXPECT_EQ(error.what(), fFile.string() +
                                ": the store is bound for reading only, so the change cannot be saved; roll it back, "
                                "or bind a copy of the file that may be written");
  }
  EXPECT_EQ(contentOf(fFile), bytes);
  EXPECT_EQ(wrapper.strataFilePath(), fPath) << "it was bound before the root was looked for";
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_FALSE(wrapper.isInTransaction());
  wrapper.close();
  EXPECT_EQ(wrapper.getModel()->getElementCount(), 1U) << "its content is at hand all the same";

  wrapper.open(fFolder.file(u"another.db"));
  EXPECT_TRUE(wrapper.getRoot());
}

TEST_F(Store, IsRefusedBeforeASecondRootWhereItMayNotBeWritten) {
  fill();
  forbidWriting();
  const std::string bytes = contentOf(fFile);
  TestWrapper wrapper;
  unanswered = fFile.string();
  EXPECT_THROW(wrapper.open(fPath), StoreError);
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_EQ(contentOf(fFile), bytes);
  wrapper.open(fPath);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "root") << "the next attempt gets an answer";
}

TEST_F(Store, IsRefusedWhenItIsAttachedForReadingAndHoldsNoRoot) {
  fillWithoutRoot();
  TestWrapper wrapper;
  const Model model = bound(strata_datasource::DataSource::ToDataSourceSync::Never);
  EXPECT_THROW(wrapper.attachModel(model, fPath), StoreError);
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_FALSE(wrapper.getRoot());
}

TEST_F(Store, IsRefusedInsideACallersTransactionToo) {
  fillWithoutRoot();
  forbidWriting();
  TestWrapper wrapper;
  wrapper.beginTransaction();
  EXPECT_THROW(wrapper.open(fPath), StoreError);
  EXPECT_TRUE(wrapper.isInTransaction());
  EXPECT_FALSE(wrapper.getRoot());
}

// --- The path that is left over.

TEST_F(Store, LeavesItsPathWhenTheWrapperIsReset) {
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.reset();
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_TRUE(wrapper.getRoot()) << "of a new model, which no store is bound to";
  EXPECT_EQ(wrapper.getModel()->getDataSource(), nullptr);
  wrapper.close();
  EXPECT_TRUE(wrapper.strataFilePath().empty());
}

TEST_F(Store, LeavesItsPathWhenAnotherFormIsReadNext) {
  const TestWrapper source;
  source.getRoot()->set(u"title", u"from a file");
  source.serializeToJSONFile(fFolder.file(u"plan.json"));
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.open(fFolder.file(u"plan.json"));
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_EQ(wrapper.getRoot()->get<std::u16string>(u"title"), u"from a file");
  wrapper.close();
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_EQ(wrapper.getRoot()->get<std::u16string>(u"title"), u"from a file");
}

TEST_F(Store, GivesTheRootOfAModelThatIsAttachedWithIt) {
  fill();
  const Model model = bound(strata_datasource::DataSource::ToDataSourceSync::Changes);
  TestWrapper wrapper;
  wrapper.attachModel(model, fPath);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "root");
  wrapper.close();
  EXPECT_EQ(model->getDataSource(), nullptr);
}

// --- close.

TEST_F(Store, IsWalkedInFullWhenItIsClosed) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.calls.clear();
  wrapper.close();
  EXPECT_THAT(wrapper.calls, ElementsAre("resolve root", "resolve bravo", "resolve m1", "resolve alpha", "resolve z1",
                                         "resolve z2", "resolve z11"));
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_EQ(wrapper.getModel()->getDataSource(), nullptr);
}

TEST_F(Store, LeavesTheWholeModelInMemoryWhenItIsClosed) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  const Model model = wrapper.getModel();
  const ModelElement root = wrapper.getRoot();
  wrapper.close();
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_EQ(wrapper.getRoot(), root);
  EXPECT_EQ(model->getElementCount(), 7U);
  root->set(u"title", u"in memory only");
  fs::remove(fFile);
  TestWrapper copy(wrapper);
  EXPECT_TRUE(kern::modelsEqual(copy.getModel(), model));
}

TEST_F(Store, StaysBoundWhenAHookThrowsOnClosing) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.onResolve = [&](const ModelElement& element) {
    if (nameOf(element) == "z1") throw std::runtime_error("no such element");
    element->set(u"count", std::int32_t{99});
  };
  EXPECT_THROW(wrapper.close(), std::runtime_error);
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
  EXPECT_FALSE(wrapper.isInTransaction());
  wrapper.onResolve = nullptr;
  wrapper.detachModel();
  TestWrapper again;
  again.open(fPath);
  EXPECT_EQ(again.getRoot()->get<std::int32_t>(u"count"), 99) << "what the hooks did before was committed";
}

TEST_F(Store, StaysBoundWhenItIsAskedToFollowWhatIsNoElement) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.onMustResolve = [](const auto& property) { return property->getName() == u"count"; };
  EXPECT_ANY_THROW(wrapper.close());
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
}

TEST_F(Store, StaysBoundWhenTheRestOfItCannotBeReadOnClosing) {
  fill();
  {
    TestWrapper wrapper;
    wrapper.open(fPath);
    wrapper.beginTransaction();
    for (int i = 0; i < 10'000; ++i) newNamed(wrapper.getModel(), u"Node", u"far from the root");
    wrapper.commitTransaction();
  }
  const std::int64_t pageSize = placeOf("Node").size;  // asked while nobody has the store
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.calls.clear();
  const Place allButTheFirstPage{pageSize, static_cast<std::int64_t>(fs::file_size(fFile)) - pageSize};
  wrapper.onResolve = [&](const ModelElement&) { damage(allButTheFirstPage); };
  wrapper.onMustResolve = [](const auto&) { return false; };
  EXPECT_THROW(wrapper.close(), StoreError);
  EXPECT_THAT(wrapper.calls, ElementsAre("resolve root")) << "the walk itself came to its end";
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
  EXPECT_TRUE(wrapper.getRoot());
  EXPECT_NE(wrapper.getModel()->getDataSource(), nullptr);
  EXPECT_FALSE(wrapper.isInTransaction());
}

/// By the short way of a printer that overrides nothing, and by the long one.
TEST_F(Store, PrintsAnElementThatCannotBeReadAsOneLine) {
  fill();
  {
    TestWrapper wrapper;
    wrapper.open(fPath);
    wrapper.beginTransaction();
    for (int i = 0; i < 500; ++i) newNamed(wrapper.getModel(), u"Node", u"far from the root");
    wrapper.commitTransaction();
  }
  const std::int64_t pageSize = placeOf("Node").size;  // asked while nobody has the store
  TestWrapper wrapper;
  wrapper.open(fPath);
  const std::size_t count = wrapper.getModel()->getTopLevelElements().size();
  damage({pageSize, static_cast<std::int64_t>(fs::file_size(fFile)) - pageSize});
  class LongWay : public quillon::nimbo::PrettyPrinter {};
  std::ostringstream shortText;
  std::ostringstream longText;
  quillon::nimbo::PrettyPrinter().print(shortText, wrapper.getModel());
  LongWay().print(longText, wrapper.getModel());
  EXPECT_EQ(shortText.str(), longText.str());
  EXPECT_THAT(shortText.str(), testing::EndsWith("  Node\n"));
  EXPECT_EQ(wrapper.getModel()->getTopLevelElements().size(), count);
}

TEST_F(Store, KeepsWhatWasCommittedWhenItIsClosedInsideACallersTransaction) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"pending");
  wrapper.close();
  EXPECT_EQ(wrapper.getModel()->getDataSource(), nullptr);
  EXPECT_TRUE(wrapper.isInTransaction());
  wrapper.commitTransaction();
  EXPECT_EQ(wrapper.getRoot()->get<std::u16string>(u"title"), u"pending");
  EXPECT_THAT(titles(), ElementsAre(u"")) << "what is committed later stays in memory";
}

// --- Letting go.

TEST_F(Store, KeepsAPendingTransactionOfAWrapperThatGoes) {
  {
    TestWrapper wrapper;
    wrapper.open(fPath);
    wrapper.beginTransaction();
    wrapper.getRoot()->set(u"title", u"committed by the destructor");
    wrapper.onResolve = [](const ModelElement&) { FAIL() << "nothing is walked"; };
  }
  EXPECT_THAT(titles(), ElementsAre(u"committed by the destructor"));
}

TEST_F(Store, OutlivesAWrapperThatDestroysItsModel) {
  WrapperSetup setup;
  setup.destroyModelOnRelease = true;
  {
    TestWrapper wrapper(setup);
    wrapper.open(fPath);
    wrapper.beginTransaction();
    wrapper.getRoot()->set(u"title", u"still here");
  }
  EXPECT_THAT(titles(), ElementsAre(u"still here"));
  {
    TestWrapper wrapper(setup);
    wrapper.open(fPath);
    wrapper.reset();
  }
  EXPECT_THAT(titles(), ElementsAre(u"still here"));
}

TEST_F(Store, IsLetGoByDetaching) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.detachModel();
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  TestWrapper other;
  other.open(fPath);
  EXPECT_EQ(nameOf(other.getRoot()), "root");
}

// --- Copies and exports.

TEST_F(Store, IsNotSharedWithACopyOfItsWrapper) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  const TestWrapper copy(wrapper);
  EXPECT_TRUE(copy.strataFilePath().empty());
  EXPECT_EQ(copy.getModel()->getDataSource(), nullptr);
  EXPECT_EQ(copy.getModel()->getElementCount(), 7U);
  EXPECT_TRUE(kern::modelsEqual(copy.getModel(), wrapper.getModel()));
}

TEST_F(Store, IsExportedInEveryForm) {
  fill();
  TestWrapper wrapper;
  wrapper.open(fPath);
  using quillon::nimbo::SavedForm;
  for (const SavedForm form : {SavedForm::Binary, SavedForm::JSON, SavedForm::XML}) {
    quillon::nimbo::safeSave(wrapper, fFolder.file(u"export"), form);
    TestWrapper reader;
    reader.open(fFolder.file(u"export"));
    EXPECT_EQ(reader.getModel()->getElementCount(), 7U);
    EXPECT_TRUE(kern::modelsEqual(reader.getModel(), wrapper.getModel()));
  }
  EXPECT_EQ(wrapper.strataFilePath(), fPath);
}

TEST_F(Store, ShowsAFailingCommitToTheCallerAndLeavesTheTransactionPending) {
  TestWrapper wrapper;
  wrapper.open(fPath);
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"second attempt");
  kern::testhooks::failNextCommit(wrapper.getModel(), "no room");
  EXPECT_THROW(wrapper.commitTransaction(), kern::TransactionError);
  EXPECT_TRUE(wrapper.isInTransaction());
  wrapper.commitTransaction();
  wrapper.detachModel();
  EXPECT_THAT(titles(), ElementsAre(u"second attempt"));
}

// --- Commits that fail at the end of the wrapper's own scopes.

using StoreDeathTest = Store;

/// Lets no file grow beyond that size, as on a full disk.
void limitFiles(std::uintmax_t size) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{static_cast<rlim_t>(size), static_cast<rlim_t>(size)};
  if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) std::exit(1);
}

void openOnAFullDisk(const std::u16string& path, std::uintmax_t limit) {
  limitFiles(limit);
  TestWrapper wrapper;
  try {
    wrapper.open(path);
  } catch (const std::exception& failure) {
    std::cerr << "told: " << failure.what();
  }
  std::exit(0);
}

void changeOnClosing(const std::u16string& path) {
  TestWrapper wrapper;
  wrapper.open(path);
  wrapper.onResolve = [](const ModelElement& element) { element->set(u"name", u"changed"); };
  try {
    wrapper.close();
  } catch (const std::exception& failure) {
    std::cerr << "told: " << failure.what();
  }
  std::exit(0);
}

TEST_F(StoreDeathTest, EndsTheProcessWhenTheRootOfANewStoreCannotBeCommitted) {
  testing::FLAGS_gtest_death_test_style = "fast";  // what dies leaves no folder of its own behind
  (void)bound(strata_datasource::DataSource::ToDataSourceSync::Changes);
  const std::uintmax_t size = fs::file_size(fFile);
  fs::remove(fFile);
  EXPECT_EXIT(openOnAFullDisk(fPath, size), testing::KilledBySignal(SIGABRT), "StoreError");
}

TEST_F(StoreDeathTest, EndsTheProcessWhenTheMissingRootCannotBeCommitted) {
  testing::FLAGS_gtest_death_test_style = "fast";
  const std::uintmax_t size = fillWithoutRoot();
  EXPECT_EXIT(openOnAFullDisk(fPath, size), testing::KilledBySignal(SIGABRT), "StoreError");
  EXPECT_EQ(fs::file_size(fFile), size);
  TestWrapper wrapper({wrappingClass(u"Node")});
  wrapper.open(fPath);
  EXPECT_EQ(wrapper.getModel()->getAllElements(kern::FindElementBehavior::Anywhere).size(), 1U)
      << "what was committed before is there, and nothing else";
}

TEST_F(StoreDeathTest, EndsTheProcessWhenAHookChangesAStoreThatMayNotBeWritten) {
  testing::FLAGS_gtest_death_test_style = "fast";
  fill();
  forbidWriting();
  const std::string bytes = contentOf(fFile);
  EXPECT_EXIT(changeOnClosing(fPath), testing::KilledBySignal(SIGABRT), "the store is bound for reading only");
  EXPECT_EQ(contentOf(fFile), bytes);
}

}  // namespace
