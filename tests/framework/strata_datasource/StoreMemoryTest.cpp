#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"
#include "support/EveryAllocation.h"

/// Whichever allocation fails, of ours or of SQLite's, once or for good: a store that cannot be opened leaves the model
/// without one, a commit that fails is one that can be repeated or rolled back, and the file holds what was committed.
namespace {

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::add;
using kerneltest::dump;
using kerneltest::inconsistencies;
using kerneltest::live;
using kerneltest::newNode;
using testsupport::AllocationLimit;
using testsupport::failEveryAllocation;
using Failing = AllocationLimit::Failing;

class StoreMemory : public testing::TestWithParam<Failing> {
 protected:
  void SetUp() override {
    {
      const Model model = storetest::open(fPath);
      Transaction filling = model->beginTransaction(false);
      fill(model);
      filling.commit(boost::none);
      fBefore = dump(model);
    }
    fBytes = storetest::bytesOf(fPath);
  }

  /// A small family with something in most kinds of property.
  static void fill(const Model& model) {
    const ModelElement root = newNode(model, u"root");
    const ModelElement child = newNode(model, u"child");
    const ModelElement loose = newNode(model, u"loose");
    add(root, u"children", child);
    add(root, u"children", newNode(model, u"other"));
    kerneltest::set(child, u"only", newNode(model, u"deep"));
    kerneltest::set(root, u"left", loose);
    add(loose, u"friends", child);
    live(root, u"numbers").toPrimitiveCollection().assignValues({Value(1), Value(2), Value(3)});
    live(root, u"places").toPrimitiveCollection().addValue(Value(ReflectiveDataType(kerneltest::types().place)));
    live(child, u"fields").toStringToStringMap().insert(u"key", u"a text of some length", CollisionResolution::Replace);
  }

  /// One of each kind of change that a store writes down.
  static void change(const Model& model) {
    const ModelElement root = elementNamed(model, "root");
    root->set(u"note", u"a note that is not short at all");
    add(root, u"children", newNode(model, u"new"));
    live(root, u"numbers").toPrimitiveCollection().removeAt(1);
    live(root, u"places").toPrimitiveCollection().clear();
    live(root, u"fields").toStringToStringMap().insert(u"new key", u"new text", CollisionResolution::Replace);
    elementNamed(model, "child")->destroy();
    kerneltest::set(elementNamed(model, "loose"), u"next", elementNamed(model, "other"));
  }

  static ModelElement elementNamed(const Model& model, const std::string& name) {
    for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
      if (kerneltest::nameOf(element) == name) return element;
    }
    return {};
  }

  void writeFileAnew() const {
    storetest::writeBytes(fPath, fBytes);
    ASSERT_FALSE(storetest::exists(fPath + "-journal"));
  }

  /// The store belongs to one model at a time.
  void reopen(Model& model) const {
    model = nullptr;
    model = storetest::open(fPath);
  }

  [[nodiscard]] std::string contentOfFile() const { return dump(storetest::open(fPath)); }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
  std::string fBytes;   ///< of the file, filled
  std::string fBefore;  ///< the dump of what it holds
};

TEST_P(StoreMemory, OfOpeningLeavesTheModelWithoutAStore) {
  Model model;
  const long failures = failEveryAllocation(
      GetParam(), [&] { model = storetest::newModel(); }, [&] { storetest::bindTo(model, fPath); },
      [&](bool failed) {
        if (failed) {
          EXPECT_EQ(model->getDataSource(), nullptr);
          EXPECT_EQ(model->getElementCount(), 0U);
          storetest::bindTo(model, fPath);
        }
        EXPECT_EQ(dump(model), fBefore);
      });
  EXPECT_GT(failures, 100);
  EXPECT_EQ(storetest::bytesOf(fPath), fBytes);
}

TEST_P(StoreMemory, OfMakingAStoreLeavesNoneThatIsHalfMade) {
  constexpr long kLooksClosely = 16;  // making a store takes its time
  const std::string path = fFolder / "new.db";
  Model model;
  std::string filled;
  long attempt = 0;
  const long failures = failEveryAllocation(
      GetParam(),
      [&] {
        model = nullptr;
        static_cast<void>(std::remove(path.c_str()));
        model = storetest::newModel();
        fill(model);
        filled = dump(model);
      },
      [&] { storetest::bindTo(model, path); },
      [&](bool failed) {
        EXPECT_EQ(model->getDataSource() == nullptr, failed);
        EXPECT_EQ(dump(model), filled);
        if (failed && ++attempt % kLooksClosely != 0) return;
        if (failed) storetest::bindTo(model, path);
        model = nullptr;
        EXPECT_EQ(dump(storetest::open(path)), filled);
      });
  EXPECT_GT(failures, 100);
}

TEST_P(StoreMemory, OfLoadingIsToldAndCanBeRepeated) {
  Model model;
  const long failures = failEveryAllocation(
      GetParam(), [&] { reopen(model); }, [&] { static_cast<void>(dump(model)); },
      [&](bool) {
        EXPECT_EQ(dump(model), fBefore);
        EXPECT_EQ(inconsistencies(model), "");
      });
  EXPECT_GT(failures, 100);
  model = nullptr;
  EXPECT_EQ(storetest::bytesOf(fPath), fBytes);
}

TEST_P(StoreMemory, OfAnEditChangesNothing) {
  Model model;
  const long failures = failEveryAllocation(
      GetParam(), [&] { reopen(model); }, [&] { model->getTopLevelElements().front()->destroy(); },
      [&](bool failed) {
        if (failed) {
          EXPECT_EQ(dump(model), fBefore);
        }
        EXPECT_EQ(inconsistencies(model), "");
        model = nullptr;
        writeFileAnew();
      });
  EXPECT_GT(failures, 20);
}

TEST_P(StoreMemory, OfACommitLeavesTheTransactionOpenAndTheFileAsItWas) {
  Model model;
  std::unique_ptr<Transaction> level;
  std::string edited;
  bool isToRepeat = false;
  const long failures = failEveryAllocation(
      GetParam(),
      [&] {
        level.reset();
        model = nullptr;
        writeFileAnew();
        reopen(model);
        model->setUndoLimit(3);
        level = std::make_unique<Transaction>(model->beginTransaction(false));
        change(model);
        edited = dump(model);
      },
      [&] { level->commit(boost::none); },
      [&](bool failed) {
        EXPECT_EQ(dump(model), edited);
        EXPECT_EQ(level->isOpen(), failed);
        isToRepeat = !isToRepeat;
        if (failed && isToRepeat) level->commit(boost::none);
        if (failed && !isToRepeat) level->rollBack();
        const bool isIn = !failed || isToRepeat;
        EXPECT_EQ(dump(model), isIn ? edited : fBefore);
        EXPECT_EQ(inconsistencies(model), "");
        level.reset();
        model = nullptr;
        EXPECT_EQ(contentOfFile(), isIn ? edited : fBefore);
        EXPECT_EQ(storetest::sql(fPath, "PRAGMA integrity_check"), "ok\n");
      });
  EXPECT_GT(failures, 100);
}

TEST_P(StoreMemory, OfUndoingLeavesBothAsTheyWere) {
  Model model;
  std::string edited;
  const long failures = failEveryAllocation(
      GetParam(),
      [&] {
        model = nullptr;
        writeFileAnew();
        reopen(model);
        model->setUndoLimit(3);
        Transaction level = model->beginTransaction(false);
        change(model);
        level.commit(boost::none);
        edited = dump(model);
      },
      [&] { model->undo(); },
      [&](bool failed) {
        EXPECT_EQ(dump(model), failed ? edited : fBefore);
        EXPECT_EQ(inconsistencies(model), "");
        if (failed) {
          EXPECT_TRUE(model->canUndo());
        }
        model = nullptr;
        EXPECT_EQ(contentOfFile(), failed ? edited : fBefore);
      });
  EXPECT_GT(failures, 20);
}

INSTANTIATE_TEST_SUITE_P(Allocations, StoreMemory, testing::Values(Failing::Once, Failing::ForGood),
                         [](const auto& tested) { return tested.param == Failing::Once ? "Once" : "ForGood"; });

}  // namespace
