#include <gtest/gtest.h>

#include <tarn/kern/Model.h>

#include "framework/tarn/kern/KernelTestModel.h"
#include "framework/tarn/kern/RandomEditor.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT

/// What must hold is known without a second implementation: a rolled back level leaves the text of the whole model as
/// it was, undo and redo lead through the same texts in both directions, and the invariants hold always.
class RandomEditsTest : public testing::TestWithParam<unsigned> {};

TEST_P(RandomEditsTest, RollBackToWhatWasAtEveryLevel) {
  const Model model = newModel();
  RandomEditor editor(model, GetParam());
  for (int round = 0; round < 60; ++round) {
    struct Level {
      Transaction transaction;
      std::string before;
    };
    std::vector<Level> levels;
    for (int step = 0; step < 25; ++step) {
      if (levels.size() < 4 && editor.chance(5)) {
        std::string before = dump(model);
        levels.push_back({model->beginTransaction(false), std::move(before)});
      } else if (!levels.empty() && editor.chance(8)) {
        if (editor.chance(2)) {
          levels.back().transaction.commit(boost::none);
        } else {
          levels.back().transaction.rollBack();
          ASSERT_EQ(dump(model), levels.back().before) << "seed " << GetParam() << " round " << round;
        }
        levels.pop_back();
      } else {
        editor.edit();
      }
    }
    ASSERT_EQ(inconsistencies(model), "") << "seed " << GetParam() << " round " << round;
    while (!levels.empty()) {
      levels.back().transaction.rollBack();
      ASSERT_EQ(dump(model), levels.back().before) << "seed " << GetParam() << " round " << round;
      levels.pop_back();
    }
    for (int i = 0; i < 10; ++i) editor.edit();
  }
}

TEST_P(RandomEditsTest, UndoAndRedoThroughTheSameStates) {
  const Model model = newModel();
  model->setUndoLimit(1000);
  RandomEditor editor(model, GetParam() + 1000);
  std::vector<std::string> states = {dump(model)};
  std::size_t now = 0;
  for (int round = 0; round < 150; ++round) {
    if (editor.chance(3)) {
      const bool back = editor.chance(2);
      for (std::size_t i = editor.below(6); i-- > 0;) {
        if (back ? !model->canUndo() : !model->canRedo()) break;
        back ? model->undo() : model->redo();
        back ? --now : ++now;
        ASSERT_EQ(dump(model), states[now]) << "seed " << GetParam() << " round " << round;
        if (editor.chance(4)) {
          ASSERT_EQ(inconsistencies(model), "") << "seed " << GetParam() << " round " << round;
        }
      }
      continue;
    }
    Transaction change = model->beginTransaction(false);
    for (std::size_t i = editor.below(12); i-- > 0;) editor.edit();
    if (editor.chance(6)) {
      change.rollBack();
      ASSERT_EQ(dump(model), states[now]) << "seed " << GetParam() << " round " << round;
    } else if (change.commit(boost::none) == TransactionResult::Done) {
      states.resize(now + 1);
      states.push_back(dump(model));
      ++now;
    }
  }
  ASSERT_EQ(inconsistencies(model), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEditsTest, testing::Range(1U, 9U));
