#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "framework/tarn/kern/KernelTestModel.h"
#include "support/EveryAllocation.h"

/// Whichever allocation fails, once or for good: a change that could not be made has changed nothing, and what must not
/// fail does not.
namespace {

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testsupport::AllocationLimit;
using testsupport::failEveryAllocation;
using Failing = AllocationLimit::Failing;

/// A small family with something in every kind of property.
struct Family {
  Model model = newModel();
  ModelElement root = newNode(model, u"root");
  ModelElement child = newNode(model, u"child");
  ModelElement other = newNode(model, u"other");
  ModelElement deep = newNode(model, u"deep");
  ModelElement loose = newNode(model, u"loose");

  Family() {
    add(root, u"children", child);
    add(root, u"children", other);
    set(child, u"only", deep);
    set(loose, u"next", child);
    add(loose, u"others", deep);
    add(loose, u"path", child);
    add(loose, u"path", child);
    set(root, u"left", loose);
    add(root, u"owned", child);
    add(root, u"friends", other);
    add(loose, u"friends", other);
    live(root, u"numbers").toPrimitiveCollection().assignValues({Value(1), Value(2), Value(3)});
    live(root, u"labels").toPrimitiveCollection().addValue(Value(u"a label that is not short"));
    live(root, u"fields")
        .toStringToStringMap()
        .insert(u"key", u"a text that is not short", CollisionResolution::Replace);
    live(root, u"places").toPrimitiveCollection().addValue(Value(ReflectiveDataType(types().place)));
    live(root, u"path").toElementCollection().assign(std::vector<ModelElement>(80, child));
    root->set(u"note", u"a note that is not short at all");
  }
};

struct Edit {
  const char* name;
  std::function<void(Family&)> make;
};

const std::vector<Edit>& edits() {
  const auto values = [](const ModelElement& e, const char16_t* name) { return live(e, name); };
  static const std::vector<Edit> kEdits = {
      {"make", [](Family& f) { static_cast<void>(types().node->instantiate(f.model, boost::uuids::uuid{})); }},
      {"set a text", [](Family& f) { f.root->set(u"note", u"another note that is not short"); }},
      {"unset", [](Family& f) { f.root->unset(property(u"note")); }},
      {"set a number", [](Family& f) { f.root->set(u"count", std::int32_t{7}); }},
      {"set a data value", [](Family& f) { f.root->set(u"place", ReflectiveDataType(types().place)); }},
      {"set a reference", [](Family& f) { set(f.root, u"next", f.deep); }},
      {"clear a reference", [](Family& f) { set(f.loose, u"next", ModelElement()); }},
      {"set one of a pair", [](Family& f) { set(f.child, u"right", f.root); }},
      {"set the one side of many", [](Family& f) { set(f.child, u"owner", f.loose); }},
      {"contain alone", [](Family& f) { set(f.loose, u"only", f.deep); }},
      {"let go what was contained alone", [](Family& f) { set(f.child, u"only", ModelElement()); }},
      {"set the way back", [](Family& f) { set(f.child, u"parent", f.loose); }},
      {"add a child", [](Family& f) { add(f.root, u"children", f.loose); }},
      {"add a child from elsewhere", [](Family& f) { add(f.loose, u"children", f.deep); }},
      {"add a reference", [](Family& f) { add(f.root, u"others", f.deep); }},
      {"add a friend", [](Family& f) { add(f.child, u"friends", f.other); }},
      {"insert", [](Family& f) { live(f.loose, u"path").toElementCollection().insertElement(1, f.deep); }},
      {"remove a child", [](Family& f) { live(f.root, u"children").toElementCollection().removeAt(0); }},
      {"remove a friend", [](Family& f) { live(f.root, u"friends").toElementCollection().remove(f.other); }},
      {"remove from a long list", [](Family& f) { live(f.root, u"path").toElementCollection().removeAt(3); }},
      {"move", [](Family& f) { live(f.root, u"children").toElementCollection().move(0, 1); }},
      {"assign children",
       [](Family& f) {
         live(f.root, u"children").toElementCollection().assign({f.loose, f.child});
       }},
      {"assign friends",
       [](Family& f) {
         live(f.other, u"friendOf").toElementCollection().assign({f.child, f.loose, f.deep});
       }},
      {"assign a long list",
       [](Family& f) { live(f.loose, u"path").toElementCollection().assign(std::vector<ModelElement>(90, f.deep)); }},
      {"clear children", [](Family& f) { live(f.root, u"children").toElementCollection().clear(); }},
      {"clear a long list", [](Family& f) { live(f.root, u"path").toElementCollection().clear(); }},
      {"add a value", [=](Family& f) { values(f.root, u"numbers").toPrimitiveCollection().addValue(Value(9)); }},
      {"insert a value",
       [=](Family& f) { values(f.root, u"numbers").toPrimitiveCollection().insertValue(0, Value(9)); }},
      {"set a value",
       [=](Family& f) {
         values(f.root, u"labels").toPrimitiveCollection().setValue(0, Value(u"another label of some length"));
       }},
      {"remove a value", [=](Family& f) { values(f.root, u"numbers").toPrimitiveCollection().removeAt(1); }},
      {"move a value", [=](Family& f) { values(f.root, u"numbers").toPrimitiveCollection().move(0, 2); }},
      {"assign values",
       [=](Family& f) {
         values(f.root, u"labels")
             .toPrimitiveCollection()
             .assignValues({Value(u"the first of some length"), Value(u"the second of some length")});
       }},
      {"clear values", [=](Family& f) { values(f.root, u"numbers").toPrimitiveCollection().clear(); }},
      {"add a data value",
       [=](Family& f) {
         values(f.root, u"places").toPrimitiveCollection().addValue(Value(ReflectiveDataType(types().place)));
       }},
      {"insert an entry",
       [](Family& f) {
         live(f.root, u"fields")
             .toStringToStringMap()
             .insert(u"a key that is not short", u"and its text", CollisionResolution::Replace);
       }},
      {"replace an entry",
       [](Family& f) {
         live(f.root, u"fields")
             .toStringToStringMap()
             .insert(u"key", u"a different text that is not short", CollisionResolution::Replace);
       }},
      {"remove an entry",
       [](Family& f) { static_cast<void>(live(f.root, u"fields").toStringToStringMap().remove(u"key")); }},
      {"clear a map", [](Family& f) { live(f.root, u"fields").toStringToStringMap().clear(); }},
      {"destroy what holds nothing", [](Family& f) { f.deep->destroy(); }},
      {"destroy what is referred to", [](Family& f) { f.child->destroy(); }},
      {"destroy a tree", [](Family& f) { f.root->destroy(); }},
  };
  return kEdits;
}

enum class Setting { Plain, WithHistory, WithinALevel, OnNewElements };

const char* nameOfSetting(Setting setting) {
  switch (setting) {
    case Setting::Plain:
      return "outside transactions";
    case Setting::WithHistory:
      return "outside transactions, with history";
    case Setting::WithinALevel:
      return "within a level";
    case Setting::OnNewElements:
      return "within the level that made the elements";
  }
  return "";
}

class AllocationFailure : public testing::TestWithParam<Failing> {};

TEST_P(AllocationFailure, OfAnEditChangesNothing) {
  long failures = 0;
  for (const Setting setting : {Setting::Plain, Setting::WithHistory, Setting::WithinALevel, Setting::OnNewElements}) {
    for (const Edit& edit : edits()) {
      SCOPED_TRACE(std::string(edit.name) + ", " + nameOfSetting(setting));
      std::unique_ptr<Family> family;
      std::unique_ptr<Transaction> level;
      std::string before;
      failures += failEveryAllocation(
          GetParam(),
          [&] {
            level.reset();
            family = std::make_unique<Family>();
            if (setting == Setting::WithHistory) family->model->setUndoLimit(5);
            if (setting == Setting::WithinALevel) {
              level = std::make_unique<Transaction>(family->model->beginTransaction(false));
            }
            before = dump(family->model);
          },
          [&] { edit.make(*family); },
          [&](bool failed) {
            if (failed) {
              EXPECT_EQ(dump(family->model), before);
            }
            EXPECT_EQ(inconsistencies(family->model), "");
            if (level != nullptr) {
              level->rollBack();
              EXPECT_EQ(dump(family->model), before);
            } else if (family->model->canUndo()) {
              family->model->undo();
              EXPECT_EQ(dump(family->model), before);
            }
          });
    }
  }
  EXPECT_GT(failures, 200) << "these edits hardly allocate, so this has shown little";
}

/// All edits in a row; those that the ones before have made impossible are refused.
void editAll(Family& family) {
  for (const Edit& edit : edits()) {
    try {
      edit.make(family);
    } catch (const KernelError&) {
    }
  }
}

class Watching : public ModelObserver {
 public:
  void changed(const ModelChange& change) override { fSeen += change.changed.size() + change.destroyed.size(); }
  std::size_t fSeen = 0;
};

TEST_P(AllocationFailure, OfACommitLeavesTheTransactionOpen) {
  std::unique_ptr<Family> family;
  std::unique_ptr<Transaction> level;
  Watching observer;
  std::string before;
  std::string edited;
  failEveryAllocation(
      GetParam(),
      [&] {
        level.reset();
        family = std::make_unique<Family>();
        family->model->setUndoLimit(3);
        family->model->addObserver(&observer);
        before = dump(family->model);
        level = std::make_unique<Transaction>(family->model->beginTransaction(false));
        editAll(*family);
        edited = dump(family->model);
      },
      [&] { level->commit(boost::none); },
      [&](bool failed) {
        EXPECT_EQ(dump(family->model), edited);
        EXPECT_EQ(level->isOpen(), failed);
        if (failed) {
          level->rollBack();
        } else {
          family->model->undo();
        }
        EXPECT_EQ(dump(family->model), before);
        EXPECT_EQ(inconsistencies(family->model), "");
      });
}

TEST_P(AllocationFailure, OfAnInnerCommitIsHarmless) {
  std::unique_ptr<Family> family;
  std::string before;
  failEveryAllocation(
      GetParam(),
      [&] {
        family = std::make_unique<Family>();
        before = dump(family->model);
      },
      [&] {
        Transaction outer = family->model->beginTransaction(false);
        family->root->set(u"note", u"changed, to something that is not short");
        {
          Transaction inner = family->model->beginTransaction(false);
          family->child->destroy();
          inner.commit(boost::none);
        }
        outer.rollBack();
      },
      [&](bool) {
        EXPECT_EQ(dump(family->model), before);
        EXPECT_EQ(family->model->getTransactionDepth(), 0U);
      });
}

TEST(WithoutMemory, ATransactionRollsBack) {
  Family family;
  const std::string before = dump(family.model);
  Transaction level = family.model->beginTransaction(false);
  editAll(family);
  {
    const AllocationLimit limit(0);
    level.rollBack();
  }
  EXPECT_EQ(dump(family.model), before);
  EXPECT_EQ(inconsistencies(family.model), "");
}

TEST(WithoutMemory, ATransactionThatIsDroppedRollsBack) {
  Family family;
  const std::string before = dump(family.model);
  auto level = std::make_unique<Transaction>(family.model->beginTransaction(false));
  editAll(family);
  {
    const AllocationLimit limit(0);
    level.reset();
  }
  EXPECT_EQ(dump(family.model), before);
}

TEST(WithoutMemory, UndoAndRedoWork) {
  Family family;
  family.model->setUndoLimit(3);
  const std::string before = dump(family.model);
  Transaction level = family.model->beginTransaction(false);
  editAll(family);
  level.commit(boost::none);
  const std::string after = dump(family.model);
  {
    const AllocationLimit limit(0);
    family.model->undo();
  }
  EXPECT_EQ(dump(family.model), before);
  {
    const AllocationLimit limit(0);
    family.model->redo();
  }
  EXPECT_EQ(dump(family.model), after);
}

TEST(WithoutMemory, AModelDies) {
  auto family = std::make_unique<Family>();
  const ModelElement left = family->child;
  {
    const AllocationLimit limit(0);
    family.reset();
  }
  EXPECT_TRUE(left->isDestroyed());
}

INSTANTIATE_TEST_SUITE_P(Allocations, AllocationFailure, testing::Values(Failing::Once, Failing::ForGood),
                         [](const auto& tested) { return tested.param == Failing::Once ? "Once" : "ForGood"; });

}  // namespace
