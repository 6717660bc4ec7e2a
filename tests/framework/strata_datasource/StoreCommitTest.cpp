#include <csignal>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <strata_datasource/DataSource.h>
#include <sys/resource.h>
#include <tarn/kern/Testing.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::add;
using kerneltest::live;
using kerneltest::newNode;
using kerneltest::types;
using storetest::open;
using storetest::sql;

namespace {

class StoreCommitTest : public testing::Test {
 protected:
  /// "root" with so many children "0", "1" …
  Model givenStore(int children) {
    const Model model = open(fPath);
    Transaction change = model->beginTransaction(false);
    const ModelElement root = newNode(model, u"root");
    for (int i = 0; i < children; ++i) add(root, u"children", named(model, i));
    change.commit(boost::none);
    return model;
  }
  static ModelElement named(const Model& model, int number) {
    const std::string digits = std::to_string(number);
    return newNode(model, ustring(digits.begin(), digits.end()).c_str());
  }
  static ModelElement root(const Model& model) { return model->getTopLevelElements().front(); }
  template <class Change>
  static void commit(const Model& model, Change make) {
    Transaction change = model->beginTransaction(false);
    make();
    change.commit(boost::none);
  }
  /// Which rows of which table a change touches, as SQLite counts them: the file is read while no model has it.
  std::string contentOf(const std::string& table) { return sql(fPath, "SELECT * FROM " + table + " ORDER BY 1, 2"); }
  [[nodiscard]] static std::size_t differingLines(const std::string& a, const std::string& b) {
    std::istringstream left(a);
    std::istringstream right(b);
    std::size_t count = 0;
    std::string l;
    std::string r;
    while (std::getline(left, l) && std::getline(right, r)) count += l != r ? 1 : 0;
    return count;
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
};

}  // namespace

TEST_F(StoreCommitTest, IsInTheFileWhenTheCommitReturns) {
  const Model model = givenStore(3);
  commit(model, [&] { root(model)->set(u"note", u"durable"); });
  const std::string copy = fFolder / "copy.db";
  storetest::writeBytes(copy, storetest::bytesOf(fPath));
  EXPECT_EQ(sql(copy, "SELECT note FROM Node WHERE id = 1"), "durable\n");
}

TEST_F(StoreCommitTest, ChangesOutsideTransactionsAreWrittenWithTheNextCommit) {
  const Model model = givenStore(1);
  const std::string before = storetest::bytesOf(fPath);
  root(model)->set(u"note", u"outside");
  static_cast<void>(newNode(model, u"made outside"));
  static_cast<void>(live(root(model), u"fields").toStringToStringMap());
  live(root(model), u"fields").toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
  live(root(model), u"numbers").toPrimitiveCollection().addValue(Value(std::int32_t{7}));
  EXPECT_EQ(storetest::bytesOf(fPath), before);
  commit(model, [] {});
  const std::string copy = fFolder / "copy.db";
  storetest::writeBytes(copy, storetest::bytesOf(fPath));
  EXPECT_EQ(sql(copy, "SELECT name, note FROM Node ORDER BY id"), "root|outside\n0|NULL\nmade outside|NULL\n");
  EXPECT_EQ(sql(copy, "SELECT \"key\", value FROM Node_fields"), "k|v\n");
  EXPECT_EQ(sql(copy, "SELECT value FROM Node_numbers"), "7\n");
}

TEST_F(StoreCommitTest, RollingBackLeavesTheFileUntouched) {
  const Model model = givenStore(3);
  const std::string before = storetest::bytesOf(fPath);
  Transaction change = model->beginTransaction(false);
  root(model)->destroy();
  static_cast<void>(newNode(model, u"made"));
  change.rollBack();
  EXPECT_EQ(storetest::bytesOf(fPath), before);
  commit(model, [] {});
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}

TEST_F(StoreCommitTest, AFailingCommitLeavesTheTransactionOpen) {
  const Model model = givenStore(3);
  const std::string before = storetest::bytesOf(fPath);
  Transaction change = model->beginTransaction(false);
  root(model)->set(u"note", u"kept");
  testhooks::failNextCommit(model, "no");
  EXPECT_THROW(change.commit(boost::none), TransactionError);
  EXPECT_TRUE(change.isOpen());
  EXPECT_EQ(storetest::bytesOf(fPath), before);
  change.commit(boost::none);
  EXPECT_NE(storetest::bytesOf(fPath), before);
}

TEST_F(StoreCommitTest, AFullDiskLeavesTheTransactionOpenAndTheFileAsItWas) {
  Model model = givenStore(3);
  const std::string before = storetest::bytesOf(fPath);
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  ::getrlimit(RLIMIT_FSIZE, &old);
  rlimit tight = old;
  tight.rlim_cur = before.size() + 8192;
  Transaction change = model->beginTransaction(false);
  for (int i = 0; i < 3000; ++i) add(root(model), u"children", named(model, i));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  try {
    change.commit(boost::none);
    ADD_FAILURE() << "the commit did not fail";
  } catch (const strata::StoreError& error) {
    EXPECT_TRUE(error.kind() == strata::StoreError::Kind::Full || error.kind() == strata::StoreError::Kind::Io);
  }
  ::setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_TRUE(change.isOpen());
  EXPECT_EQ(model->getElementCount(), 3004U);
  const std::string copy = fFolder / "copy.db";
  storetest::writeBytes(copy, storetest::bytesOf(fPath));
  EXPECT_EQ(sql(copy, "PRAGMA integrity_check; SELECT count(*) FROM element"), "ok\n4\n");
  change.commit(boost::none);  // there is room again
  model = nullptr;
  EXPECT_EQ(sql(fPath, "PRAGMA integrity_check; SELECT count(*) FROM element"), "ok\n3004\n");
}

TEST_F(StoreCommitTest, WritesOnlyWhatChanged) {
  Model model = givenStore(500);
  model = nullptr;
  const std::string nodes = contentOf("Node");
  const std::string elements = contentOf("element");
  model = open(fPath);
  commit(model,
         [&] { live(root(model), u"children").toElementCollection().getElement(250)->set(u"note", u"changed"); });
  model = nullptr;
  EXPECT_EQ(differingLines(contentOf("Node"), nodes), 1U);
  EXPECT_EQ(contentOf("element"), elements);
  model = open(fPath);
  commit(model, [&] { live(root(model), u"children").toElementCollection().move(400, 3); });
  model = nullptr;
  EXPECT_EQ(differingLines(contentOf("element"), elements), 1U);
  model = open(fPath);
  EXPECT_EQ(kerneltest::names(root(model), u"children")[3], "400");
  commit(model, [&] { live(root(model), u"children").toElementCollection().insertElement(0, named(model, 999)); });
  EXPECT_EQ(kerneltest::names(root(model), u"children").front(), "999");
  model = nullptr;
  EXPECT_EQ(differingLines(contentOf("element"), elements), 1U);
  EXPECT_EQ(kerneltest::names(root(open(fPath)), u"children").front(), "999");
}

TEST_F(StoreCommitTest, KeepsOrderHoweverOftenOneMoves) {
  Model model = givenStore(20);
  for (int i = 0; i < 40; ++i) {
    commit(model, [&] { live(root(model), u"children").toElementCollection().move(19, 1); });
  }
  const std::vector<std::string> expected = kerneltest::names(root(model), u"children");
  model = nullptr;
  EXPECT_EQ(kerneltest::names(root(open(fPath)), u"children"), expected);
}

TEST_F(StoreCommitTest, KeepsNullMembersInTheirPlace) {
  Model model = givenStore(3);
  commit(model, [&] {
    live(root(model), u"children").toElementCollection().insertElement(1, ModelElement());
    live(root(model), u"children").toElementCollection().addElement(ModelElement());
    live(root(model), u"path").toElementCollection().addElement(ModelElement());
    live(root(model), u"path").toElementCollection().addElement(root(model));
    live(root(model), u"path").toElementCollection().addElement(ModelElement());
  });
  model = nullptr;
  model = open(fPath);
  EXPECT_EQ(kerneltest::names(root(model), u"children"), (std::vector<std::string>{"0", "-", "1", "2", "-"}));
  EXPECT_EQ(kerneltest::names(root(model), u"path"), (std::vector<std::string>{"-", "root", "-"}));
  commit(model, [&] { live(root(model), u"children").toElementCollection().removeAt(1); });
  model = nullptr;
  EXPECT_EQ(kerneltest::names(root(open(fPath)), u"children"), (std::vector<std::string>{"0", "1", "2", "-"}));
}

TEST_F(StoreCommitTest, ADestroyedElementMakesRoomForItsUuid) {
  Model model = givenStore(0);
  const boost::uuids::uuid uuid = root(model)->getUuid();
  commit(model, [&] {
    root(model)->destroy();
    types().special->instantiate(model, uuid)->set(u"name", u"successor");
  });
  model = nullptr;
  EXPECT_EQ(sql(fPath, "SELECT name FROM Special; SELECT count(*) FROM Node"), "successor\n0\n");
}

TEST_F(StoreCommitTest, UndoWritesToo) {
  Model model = givenStore(2);
  model->setUndoLimit(10);
  commit(model, [&] { root(model)->set(u"note", u"done"); });
  model->undo();
  const std::string copy = fFolder / "copy.db";
  storetest::writeBytes(copy, storetest::bytesOf(fPath));
  EXPECT_EQ(sql(copy, "SELECT note FROM Node WHERE id = 1"), "NULL\n");
  model->redo();
  storetest::writeBytes(copy, storetest::bytesOf(fPath));
  EXPECT_EQ(sql(copy, "SELECT note FROM Node WHERE id = 1"), "done\n");
}

TEST_F(StoreCommitTest, TellsObserversOnceAfterTheFileIsWritten) {
  struct Observer final : ModelObserver {
    void changed(const ModelChange& change) override {
      ++calls;
      created = change.created.size();
    }
    int calls = 0;
    std::size_t created = 0;
  } observer;
  const Model model = givenStore(5);
  model->resetDataSource();
  const Model again = open(fPath);
  again->addObserver(&observer);
  commit(again, [&] {
    static_cast<void>(kerneltest::names(root(again), u"children"));  // loading creates nothing
    static_cast<void>(newNode(again, u"made"));
  });
  EXPECT_EQ(observer.calls, 1);
  EXPECT_EQ(observer.created, 1U);
  again->removeObserver(&observer);
}

// --- Letting go.

TEST_F(StoreCommitTest, LettingGoOfALargeStoreTakesNoMemory) {
  {
    const Model model = open(fPath);
    Transaction change = model->beginTransaction(false);
    const ModelElement top = newNode(model, u"root");
    for (int i = 0; i < 40'000; ++i) add(top, u"children", newNode(model, u"child"));
    change.commit(boost::none);
  }
  const auto residentKilobytes = [] {
    std::ifstream status("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    status >> total >> resident;
    return resident * 4;
  };
  Model model = open(fPath);
  static_cast<void>(root(model));
  const std::size_t before = residentKilobytes();
  model = nullptr;
  EXPECT_LT(residentKilobytes(), before + 4096);
  model = open(fPath);
  static_cast<void>(root(model));
  model->destroy();
  EXPECT_LT(residentKilobytes(), before + 4096);
}
