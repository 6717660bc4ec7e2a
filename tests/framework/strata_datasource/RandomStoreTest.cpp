#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"
#include "framework/tarn/kern/RandomEditor.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::dump;
using kerneltest::inconsistencies;
using kerneltest::RandomEditor;

/// Two models are edited alike, one of them bound to a store and opened anew again and again: whatever was loaded when,
/// and however often, they stay the same, and the file holds what was committed last.
class RandomStoreTest : public testing::TestWithParam<unsigned> {
 protected:
  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
};

TEST_P(RandomStoreTest, HoldsWhatAModelInMemoryHolds) {
  const Model plain = storetest::newModel();
  Model bound = storetest::open(fPath);
  RandomEditor plainEditor(plain, GetParam());
  RandomEditor boundEditor(bound, GetParam());
  std::mt19937 random(GetParam());
  const auto chance = [&](unsigned oneIn) { return random() % oneIn == 0; };
  for (int round = 0; round < 120; ++round) {
    const bool isInTransaction = !chance(6);
    if (isInTransaction) {
      Transaction plainChange = plain->beginTransaction(false);
      Transaction boundChange = bound->beginTransaction(false);
      for (auto i = random() % 12; i-- > 0;) {
        const bool isNested = chance(4);
        std::vector<Transaction> levels;
        if (isNested) {
          levels.push_back(plain->beginTransaction(false));
          levels.push_back(bound->beginTransaction(false));
        }
        for (auto k = 1 + random() % 4; k-- > 0;) {
          plainEditor.edit();
          boundEditor.edit();
        }
        const bool isBack = chance(3);
        for (Transaction& level : levels) isBack ? level.rollBack() : level.commit(boost::none);
      }
      if (chance(4)) {
        plainChange.rollBack();
        boundChange.rollBack();
      } else {
        plainChange.commit(boost::none);
        boundChange.commit(boost::none);
      }
    } else {
      plainEditor.edit();
      boundEditor.edit();
    }
    if (chance(5)) {
      ASSERT_EQ(dump(bound), dump(plain)) << "seed " << GetParam() << " round " << round;
      ASSERT_EQ(inconsistencies(bound), "");
    }
    if (chance(3)) {  // anew: what was changed outside transactions is written on release
      bound = nullptr;
      boundEditor.continueOn(nullptr);
      bound = storetest::open(fPath);
      boundEditor.continueOn(bound);
    }
    if (chance(12)) {
      boost::optional<ModelDifference> difference;
      ASSERT_TRUE(modelsEqual(bound, plain, &difference)) << difference->text();
      bound->resetDataSource();
      ASSERT_EQ(bound->getDataSource(), nullptr);
      ASSERT_EQ(dump(bound), dump(plain)) << "seed " << GetParam() << " round " << round;
      bound = nullptr;
      boundEditor.continueOn(nullptr);
      bound = storetest::open(fPath);
      boundEditor.continueOn(bound);
    }
  }
  ASSERT_EQ(dump(bound), dump(plain));
  bound = nullptr;
  boundEditor.continueOn(nullptr);
  EXPECT_EQ(storetest::sql(fPath, "PRAGMA integrity_check"), "ok\n");
}

TEST_P(RandomStoreTest, FollowsUndoAndRedo) {
  Model bound = storetest::open(fPath);
  bound->setUndoLimit(1000);
  RandomEditor editor(bound, GetParam() + 500);
  for (int round = 0; round < 60; ++round) {
    if (editor.chance(3)) {
      const bool isBack = editor.chance(2);
      for (std::size_t i = editor.below(5); i-- > 0;) {
        if (isBack ? bound->canUndo() : bound->canRedo()) isBack ? bound->undo() : bound->redo();
      }
    } else {
      Transaction change = bound->beginTransaction(false);
      for (std::size_t i = editor.below(10); i-- > 0;) editor.edit();
      editor.chance(5) ? change.rollBack() : change.commit(boost::none);
    }
    if (!editor.chance(10)) continue;
    const std::string expected = dump(bound);
    const std::string copy = fFolder / "copy.db";
    storetest::writeBytes(copy, storetest::bytesOf(fPath));
    const Model fromFile = storetest::open(copy);
    ASSERT_EQ(dump(fromFile), expected) << "seed " << GetParam() << " round " << round;
  }
}

TEST_P(RandomStoreTest, UndoesAndRedoesAfterTheStoreIsGone) {
  Model bound = storetest::open(fPath);
  {
    RandomEditor editor(bound, GetParam() + 700);
    Transaction change = bound->beginTransaction(false);
    for (int i = 0; i < 150; ++i) editor.edit();
    change.commit(boost::none);
  }
  bound = nullptr;
  bound = storetest::open(fPath);
  bound->setUndoLimit(1000);
  RandomEditor editor(bound, GetParam() + 900);
  std::vector<std::string> states = {dump(bound)};
  bound = nullptr;
  editor.continueOn(nullptr);
  bound = storetest::open(fPath);
  bound->setUndoLimit(1000);
  editor.continueOn(bound);
  for (int round = 0; round < 12; ++round) {
    Transaction change = bound->beginTransaction(false);
    for (std::size_t i = 1 + editor.below(10); i-- > 0;) editor.edit();
    if (change.commit(boost::none) == TransactionResult::Done && round % 3 == 2) {
      states.push_back(dump(bound));
    } else {
      states.emplace_back();
    }
    if (!bound->canUndo()) states.pop_back();
  }
  const std::string last = dump(bound);
  bound->resetDataSource();
  ASSERT_EQ(dump(bound), last);
  std::size_t steps = 0;
  while (bound->canUndo()) {
    bound->undo();
    ++steps;
  }
  ASSERT_EQ(dump(bound), states.front());
  ASSERT_EQ(inconsistencies(bound), "");
  while (bound->canRedo()) bound->redo();
  ASSERT_EQ(dump(bound), last);
  ASSERT_EQ(inconsistencies(bound), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStoreTest, testing::Range(1U, 13U));
