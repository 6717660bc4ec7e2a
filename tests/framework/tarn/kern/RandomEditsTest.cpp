#include <random>

#include <gtest/gtest.h>

#include <tarn/kern/Model.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT

namespace {

/// Edits a model at random. What must hold is known without a second implementation: a rolled back level leaves the text of
/// the whole model as it was, undo and redo lead through the same texts in both directions, and the invariants hold always.
class RandomEditor {
 public:
  RandomEditor(Model model, unsigned seed) : fModel(std::move(model)), fRandom(seed) {}

  void edit() {
    const std::vector<ModelElement> all = fModel->getAllElements(FindElementBehavior::Anywhere);
    if (all.size() < 3 || (all.size() < 60 && chance(8))) {
      newNode(fModel, u"made");
      return;
    }
    const ModelElement a = all[below(all.size())];
    const ModelElement b = all[below(all.size())];
    try {
      change(a, b);
    } catch (const ContainmentError&) {  // a cycle was tried: refused, and nothing may have changed
    }
  }

  [[nodiscard]] std::size_t below(std::size_t end) { return fRandom() % end; }
  [[nodiscard]] bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

 private:
  void change(const ModelElement& a, const ModelElement& b) {
    static const char16_t* const kSingle[] = {u"only", u"parent", u"onlyOf", u"next", u"left", u"right", u"owner"};
    static const char16_t* const kMany[] = {u"children", u"keyed", u"others", u"path", u"owned", u"friends", u"friendOf"};
    switch (below(12)) {
      case 0: a->set(u"name", ustring(below(40), u'n')); return;
      case 1: chance(2) ? a->unset(property(u"note")) : a->set(u"note", u"note"); return;
      case 2: editNumbers(a); return;
      case 3: editMap(a); return;
      case 4: set(a, kSingle[below(7)], chance(5) ? ModelElement() : b); return;
      case 5:
        if (chance(6)) a->destroy();
        return;
      case 6: assignSome(a, kMany[below(7)]); return;
      default: editElements(a, kMany[below(7)], b); return;
    }
  }

  void editNumbers(const ModelElement& a) {
    const Value value = live(a, u"numbers");
    PrimitiveCollection& numbers = value.toPrimitiveCollection();
    const Value entry(static_cast<std::int32_t>(below(100)));
    if (numbers.empty() || chance(3)) return numbers.addValue(entry);
    switch (below(6)) {
      case 0: return numbers.insertValue(below(numbers.size() + 1), entry);
      case 1: return numbers.setValue(below(numbers.size()), entry);
      case 2: return numbers.removeAt(below(numbers.size()));
      case 3: return numbers.move(below(numbers.size()), below(numbers.size()));
      case 4: return numbers.assignValues({entry, entry});
      default: return numbers.clear();
    }
  }

  void editMap(const ModelElement& a) {
    const Value value = live(a, u"fields");
    StringToStringMap& map = value.toStringToStringMap();
    const ustring key(1, static_cast<char16_t>(u'a' + below(26)));
    switch (below(5)) {
      case 0: static_cast<void>(map.remove(key)); return;
      case 1:
        if (chance(5)) map.clear();
        return;
      default: map.insert(key, ustring(below(20), u'v'), CollisionResolution::Replace); return;
    }
  }

  void editElements(const ModelElement& a, const char16_t* name, const ModelElement& b) {
    const Value value = live(a, name);
    ElementCollection& members = value.toElementCollection();
    if (members.empty() || chance(2)) return members.addElement(b);
    switch (below(5)) {
      case 0: return members.insertElement(below(members.size() + 1), b);
      case 1: return members.removeAt(below(members.size()));
      case 2: static_cast<void>(members.remove(members.getElement(below(members.size())))); return;
      case 3: return members.move(below(members.size()), below(members.size()));
      default:
        if (chance(4)) members.clear();
        return;
    }
  }

  void assignSome(const ModelElement& a, const char16_t* name) {
    const std::vector<ModelElement> all = fModel->getAllElements(FindElementBehavior::Anywhere);
    std::vector<ModelElement> members;
    for (std::size_t i = below(6); i-- > 0;) members.push_back(all[below(all.size())]);
    live(a, name).toElementCollection().assign(members);
  }

  Model fModel;
  std::mt19937 fRandom;
};

}  // namespace

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
