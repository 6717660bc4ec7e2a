#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <strata/SQLiteUri.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelCompare.h>
#include <unistd.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::newNode;
using storetest::bytesOf;
using storetest::open;
using storetest::refusalOf;
using storetest::sql;
using strata::StoreError;
using strata_datasource::DataSource;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Binding: what it makes of which file, what it refuses, and that it leaves alone what it refuses.
class DataSourceTest : public testing::Test {
 protected:
  /// A store with a node "root" that contains "child".
  std::string givenStore(const std::string& name = "model.db") {
    const std::string path = fFolder / name;
    const Model model = open(path);
    Transaction change = model->beginTransaction(false);
    kerneltest::add(newNode(model, u"root"), u"children", newNode(model, u"child"));
    change.commit(boost::none);
    return path;
  }

  void expectRefused(const std::string& path, StoreError::Kind kind, const std::string& words) {
    const std::string before = bytesOf(path);
    const storetest::Refusal refusal = refusalOf(path);
    EXPECT_EQ(refusal.kind, kind) << refusal.text;
    EXPECT_THAT(refusal.text, StartsWith(path + ": "));
    EXPECT_THAT(refusal.text, HasSubstr(words));
    EXPECT_EQ(bytesOf(path), before);
    EXPECT_FALSE(storetest::exists(path + "-journal"));
  }

  storetest::Folder fFolder;
};

}  // namespace

// --- What becomes a store.

TEST_F(DataSourceTest, MakesAMissingFileAStore) {
  const std::string path = fFolder / "new.db";
  const Model model = storetest::newModel();
  DataSource* bound = storetest::bindTo(model, path);
  EXPECT_EQ(model->getDataSource(), bound);
  EXPECT_EQ(bound->getLocation(), path);
  EXPECT_FALSE(bound->isReadOnly());
  model->resetDataSource();
  EXPECT_EQ(model->getDataSource(), nullptr);
  EXPECT_EQ(sql(path, "PRAGMA application_id; PRAGMA user_version; PRAGMA journal_mode; PRAGMA integrity_check"),
            "1952543342\n1\ndelete\nok\n");
  EXPECT_FALSE(storetest::exists(path + "-journal"));
}

TEST_F(DataSourceTest, MakesAnEmptyFileAStore) {
  const std::string path = fFolder / "empty.db";
  storetest::writeBytes(path, "");
  Model model = open(path);
  static_cast<void>(newNode(model, u"first"));
  model = nullptr;
  EXPECT_EQ(open(path)->getElementCount(), 1U);
}

TEST_F(DataSourceTest, WritesAllOfAFilledModelToANewStore) {
  const Model model = storetest::newModel();
  const ModelElement root = newNode(model, u"root");
  for (int i = 0; i < 300; ++i) kerneltest::add(root, u"children", newNode(model, u"child"));
  const std::string expected = kerneltest::dump(model);
  const std::string path = fFolder / "filled.db";
  storetest::bindTo(model, path);
  EXPECT_EQ(kerneltest::dump(model), expected);
  EXPECT_EQ(sql(path + "", "SELECT 1"), "1\n");
  model->resetDataSource();
  EXPECT_EQ(kerneltest::dump(model), expected);
  EXPECT_EQ(kerneltest::dump(open(path)), expected);
}

TEST_F(DataSourceTest, WritesAFilledModelToAStoreWithoutContent) {
  const std::string path = fFolder / "model.db";
  open(path) = nullptr;
  const Model model = storetest::newModel();
  static_cast<void>(newNode(model, u"root"));
  storetest::bindTo(model, path);
  const std::string expected = kerneltest::dump(model);
  model->resetDataSource();
  EXPECT_EQ(kerneltest::dump(open(path)), expected);
}

TEST_F(DataSourceTest, RefusesToBindAFilledModelToAFilledStore) {
  const std::string path = givenStore();
  const Model model = storetest::newModel();
  static_cast<void>(newNode(model, u"mine"));
  const std::string before = bytesOf(path);
  const storetest::Refusal refusal = refusalOf(model, path);
  EXPECT_EQ(refusal.kind, StoreError::Kind::BothFilled);
  EXPECT_THAT(refusal.text, HasSubstr("the store has content and so has the model"));
  EXPECT_EQ(bytesOf(path), before);
  EXPECT_EQ(model->getElementCount(), 1U);
  EXPECT_EQ(model->getDataSource(), nullptr);
}

TEST_F(DataSourceTest, RefusesASecondStoreAnOpenTransactionAndANullModel) {
  const Model model = open(fFolder / "a.db");
  EXPECT_EQ(refusalOf(model, fFolder / "b.db").kind, StoreError::Kind::AlreadyBound);
  EXPECT_FALSE(storetest::exists(fFolder / "b.db"));
  const Model other = storetest::newModel();
  const Transaction transaction = other->beginTransaction(false);
  EXPECT_EQ(refusalOf(other, fFolder / "b.db").kind, StoreError::Kind::AlreadyBound);
  EXPECT_EQ(refusalOf(Model(), fFolder / "b.db").kind, StoreError::Kind::AlreadyBound);
}

TEST_F(DataSourceTest, TakesPathsAsTheyAre) {
  for (const std::string name : {"Größe 模型.db", "with 'quotes\".db", "file:x?mode=memory", ":memory:", "%41.db"}) {
    const std::string path = givenStore(name);
    EXPECT_TRUE(storetest::exists(path)) << name;
    EXPECT_EQ(open(path)->getElementCount(), 2U) << name;
  }
  // Relative to the working directory; what looks special to SQLite is a file here.
  const std::string before = [] {
    char buffer[4096];
    return std::string(::getcwd(buffer, sizeof buffer));
  }();
  ASSERT_EQ(::chdir(fFolder.path().c_str()), 0);
  open(":memory:") = nullptr;
  ASSERT_EQ(::chdir(before.c_str()), 0);
  EXPECT_TRUE(storetest::exists(fFolder / ":memory:"));
}

TEST_F(DataSourceTest, RefusesPathsThatNameNoFile) {
  EXPECT_EQ(refusalOf("").kind, StoreError::Kind::Location);
  EXPECT_EQ(refusalOf(fFolder.path()).kind, StoreError::Kind::Location);
  EXPECT_EQ(refusalOf(fFolder / "missing/model.db").kind, StoreError::Kind::Location);
  EXPECT_EQ(refusalOf((fFolder / "a") + std::string("\0b", 2)).kind, StoreError::Kind::Location);
  EXPECT_FALSE(storetest::exists(fFolder / "missing"));
  EXPECT_FALSE(storetest::exists(fFolder / "a"));
}

// --- Files that are no store of ours.

TEST_F(DataSourceTest, LeavesForeignFilesAlone) {
  const std::string path = fFolder / "foreign";
  for (const std::string& bytes : {std::string("x"), std::string("MAGIC and the rest of a document"),
                                   std::string(5000, 'a'), std::string(4096, '\0'), std::string("SQLite format 3")}) {
    storetest::writeBytes(path, bytes);
    expectRefused(path, StoreError::Kind::Foreign, "does not begin like a SQLite file");
  }
}

TEST_F(DataSourceTest, LeavesDatabasesOfOtherApplicationsAlone) {
  const std::string path = fFolder / "other.db";
  sql(path, "CREATE TABLE t(x); INSERT INTO t VALUES(1)");
  expectRefused(path, StoreError::Kind::Foreign, "application_id 0");
  sql(path, "PRAGMA application_id=1196437808");
  expectRefused(path, StoreError::Kind::Foreign, "application_id 1196437808");
}

TEST_F(DataSourceTest, SaysOfANewerFormatThatTheLibraryIsOld) {
  const std::string path = givenStore();
  sql(path, "PRAGMA user_version=2");
  expectRefused(path, StoreError::Kind::Newer, "newer version of this library (format 2, this one reads up to 1)");
  sql(path, "PRAGMA user_version=0");
  expectRefused(path, StoreError::Kind::Damaged, "no format version");
}

TEST_F(DataSourceTest, RefusesEveryTruncation) {
  const std::string bytes = bytesOf(givenStore());
  const std::string path = fFolder / "cut.db";
  ASSERT_EQ(bytes.size() % 4096, 0U);
  for (std::size_t size = 1; size < bytes.size(); size += size < 120 ? 1 : 509) {
    storetest::writeBytes(path, bytes.substr(0, size));
    const storetest::Refusal refusal = refusalOf(path);
    EXPECT_EQ(refusal.kind, size < 100 ? StoreError::Kind::Foreign : StoreError::Kind::Damaged) << size << refusal.text;
    ASSERT_EQ(bytesOf(path), bytes.substr(0, size));
  }
}

TEST_F(DataSourceTest, RefusesTablesThatAreNotItsOwn) {
  const struct {
    const char* change;
    const char* words;
  } cases[] = {
      {"CREATE TRIGGER evil AFTER INSERT ON element BEGIN DELETE FROM element; END", "the trigger \"evil\""},
      {"CREATE VIEW evil AS SELECT * FROM element", "the view \"evil\""},
      {"CREATE TABLE extra(x)", "the table \"extra\""},
      {"DROP INDEX element_uuid", "the index \"element_uuid\" is missing"},
      {"DROP TABLE Node", "the table \"Node\" is missing"},
      {"ALTER TABLE Node ADD COLUMN more TEXT", "the table \"Node\" is not as a store makes it"},
      {"UPDATE class SET \"table\" = 'element; DROP TABLE element'", "is no name of a table or column"},
      {"DELETE FROM property WHERE name = 'note'", "does not say where kerneltest.Node.note stands"},
      {"UPDATE class SET layout = '0000000000000000'", "has other properties than when the store was written"},
      {"UPDATE class SET name = 'Gone'", "has none of that name"},
  };
  for (const auto& [change, words] : cases) {
    const std::string path = givenStore("changed.db");
    sql(path, change);
    const storetest::Refusal refusal = refusalOf(path);
    EXPECT_THAT(refusal.text, HasSubstr(words));
    ASSERT_EQ(::unlink(path.c_str()), 0);
  }
}

TEST_F(DataSourceTest, NamesThePackageThatIsMissing) {
  const std::string path = givenStore();
  sql(path, "UPDATE package SET uri = 'urn:nobody'; UPDATE class SET package = 'urn:nobody'");
  expectRefused(path, StoreError::Kind::UnknownPackage, "it needs the package urn:nobody, which is not registered");
}

TEST_F(DataSourceTest, SurvivesEveryFlippedBitOfTheFirstPages) {
  const std::string bytes = bytesOf(givenStore());
  const std::string path = fFolder / "flipped.db";
  int refused = 0;
  for (std::size_t at = 0; at < bytes.size(); at += at < 200 ? 3 : 331) {
    std::string flipped = bytes;
    flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
    storetest::writeBytes(path, flipped);
    try {
      const Model model = open(path);
      static_cast<void>(kerneltest::dump(model));
    } catch (const StoreError&) {
      ++refused;
    } catch (const KernelError&) {
      ++refused;
    }
    ASSERT_EQ(bytesOf(path), flipped) << at;
  }
  EXPECT_GT(refused, 20);
}

// --- Who else has the file.

TEST_F(DataSourceTest, GivesAStoreToOneModelOnly) {
  const std::string path = givenStore();
  Model first = open(path);
  const storetest::Refusal refusal = refusalOf(path);
  EXPECT_EQ(refusal.kind, StoreError::Kind::Locked);
  EXPECT_THAT(refusal.text, HasSubstr("another model, in this process or another one, is bound to this store"));
  // The first one goes on.
  static_cast<void>(newNode(first, u"more"));
  first = nullptr;
  EXPECT_EQ(open(path)->getElementCount(), 3U);
}

TEST_F(DataSourceTest, GivesAStoreToOneProcessOnly) {
  const std::string path = givenStore();
  const Model model = open(path);
  const pid_t child = ::fork();
  if (child == 0) {
    int code = 9;
    try {
      storetest::bindTo(storetest::newModel(), path);
    } catch (const StoreError& error) {
      code = error.kind() == StoreError::Kind::Locked ? 42 : 8;
    }
    ::_exit(code);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(DataSourceTest, KeepsItsLockWhenOthersInTheProcessCloseTheFile) {
  const std::string path = givenStore();
  const Model model = open(path);
  static_cast<void>(bytesOf(path));  // which opens and closes it
  EXPECT_EQ(refusalOf(path).kind, StoreError::Kind::Locked);
}

TEST_F(DataSourceTest, SaysThatAnotherProgramHasTheFile) {
  const std::string path = givenStore();
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const storetest::Refusal refusal = refusalOf(path);
  EXPECT_EQ(refusal.kind, StoreError::Kind::Locked);
  EXPECT_THAT(refusal.text, HasSubstr("another model or program has the store open"));
  sqlite3_close(other);
  EXPECT_EQ(open(path)->getElementCount(), 2U);
}

TEST_F(DataSourceTest, LetsOtherProgramsWaitWhileItIsBound) {
  const std::string path = givenStore();
  const Model model = open(path);
  EXPECT_THROW(sql(path, "SELECT count(*) FROM element"), std::runtime_error);
}

// --- Reading only.

TEST_F(DataSourceTest, ReadsAFileThatMayNotBeWritten) {
  const std::string path = givenStore();
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  const std::string before = bytesOf(path);
  {
    const Model model = open(path);
    EXPECT_TRUE(static_cast<DataSource*>(model->getDataSource())->isReadOnly());
    EXPECT_EQ(model->getElementCount(), 2U);
    const ModelElement root = model->getTopLevelElements().front();
    EXPECT_EQ(kerneltest::names(root, u"children"), std::vector<std::string>{"child"});

    Transaction change = model->beginTransaction(false);
    root->set(u"name", u"changed");
    try {
      change.commit(boost::none);
      FAIL() << "the change was taken";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::ReadOnly);
      EXPECT_THAT(error.what(), HasSubstr("the store is bound for reading only"));
    }
    EXPECT_TRUE(change.isOpen());
    change.rollBack();
    EXPECT_EQ(kerneltest::nameOf(root), "root");
    EXPECT_THROW(root->set(u"name", u"changed"), StoreError);
    EXPECT_EQ(kerneltest::nameOf(root), "root");
    model->resetDataSource();
    root->set(u"name", u"changed in memory");
  }
  EXPECT_EQ(bytesOf(path), before);
}

TEST_F(DataSourceTest, SharesAFileAmongThoseThatOnlyRead) {
  const std::string path = givenStore();
  const auto bindReader = [&](const Model& model) {
    DataSource::create(strata::Uri::createSQLite().setLocation(path), model, DataSource::ToModelSync::OnTouch,
                       DataSource::ToDataSourceSync::Never, DataSource::SyncTiming::OnCommit);
  };
  const Model first = storetest::newModel();
  const Model second = storetest::newModel();
  bindReader(first);
  bindReader(second);
  EXPECT_EQ(kerneltest::dump(first), kerneltest::dump(second));
  EXPECT_EQ(refusalOf(path).kind, StoreError::Kind::Locked);
}

TEST_F(DataSourceTest, MakesNoStoreOfAnEmptyFileThatMayNotBeWritten) {
  const std::string path = fFolder / "empty.db";
  storetest::writeBytes(path, "");
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(refusalOf(path).kind, StoreError::Kind::ReadOnly);
  EXPECT_EQ(bytesOf(path), "");
}

// --- The other sync arguments.

TEST_F(DataSourceTest, ReadsEverythingAtOnceWhenAskedTo) {
  const std::string path = givenStore();
  const Model model = storetest::newModel();
  DataSource::create(strata::Uri::createSQLite().setLocation(path), model, DataSource::ToModelSync::Everything,
                     DataSource::ToDataSourceSync::Changes, DataSource::SyncTiming::OnCommit);
  EXPECT_EQ(model->getAllElements(FindElementBehavior::InMemory).size(), 2U);
}

TEST_F(DataSourceTest, WritesAtTheEndWhenAskedTo) {
  const std::string path = givenStore();
  const std::string before = bytesOf(path);
  Model model = storetest::newModel();
  DataSource::create(strata::Uri::createSQLite().setLocation(path), model, DataSource::ToModelSync::OnTouch,
                     DataSource::ToDataSourceSync::Changes, DataSource::SyncTiming::OnRelease);
  Transaction change = model->beginTransaction(false);
  static_cast<void>(newNode(model, u"third"));
  change.commit(boost::none);
  EXPECT_EQ(bytesOf(path), before);
  model->resetDataSource();
  EXPECT_EQ(open(path)->getElementCount(), 3U);
}
