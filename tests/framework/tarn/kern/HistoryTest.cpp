#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class HistoryTest : public testing::Test {
 protected:
  HistoryTest() { model->setUndoLimit(10); }
  ~HistoryTest() override { EXPECT_EQ(inconsistencies(model), ""); }

  template <class F>
  void commit(F change) {
    Transaction transaction = model->beginTransaction(false);
    change();
    transaction.commit(boost::none);
  }

  Model model = newModel();
  ModelElement a = newNode(model, u"a");
  ModelElement b = newNode(model, u"b");
};

class Recorder : public ModelObserver {
 public:
  void changed(const ModelChange& change) override { changes.push_back(change); }
  void collectionModifying(const AbstractOwnedCollection& collection, const OCDChangeDescriptor& change) override {
    EXPECT_TRUE(collection.getOwner());
    modifying.push_back(change);
  }
  void collectionCommitted(const AbstractOwnedCollection&) override { ++committed; }

  std::vector<ModelChange> changes;
  std::vector<OCDChangeDescriptor> modifying;
  int committed = 0;
};

std::vector<std::string> changedProperties(const ModelChange& change) {
  std::vector<std::string> found;
  for (const auto& [element, changed] : change.changed) {
    std::string name;
    for (const char16_t unit : changed->getName()) name += static_cast<char>(unit);
    found.push_back(nameOf(element) + "." + name);
  }
  return found;
}

}  // namespace

TEST_F(HistoryTest, KeepsNothingUnlessAsked) {
  const Model plain = newModel();
  newNode(plain);
  EXPECT_FALSE(plain->canUndo());
  EXPECT_THROW(plain->undo(), TransactionError);
  EXPECT_THROW(plain->redo(), TransactionError);
}

TEST_F(HistoryTest, UndoesAndRedoesStepByStep) {
  std::vector<std::string> states = {dump(model)};
  const auto step = [&](auto change) {
    commit(change);
    states.push_back(dump(model));
  };
  step([&] { a->set(u"name", u"x"); });
  step([&] { add(a, u"children", newNode(model, u"made")); });
  step([&] { b->destroy(); });
  step([&] {
    const ModelElement short1 = newNode(model, u"short-lived");
    add(a, u"children", short1);
    short1->destroy();
    a->set(u"note", u"n");
  });
  step([&] { live(a, u"children").toElementCollection().clear(); });
  for (std::size_t i = states.size() - 1; i-- > 0;) {
    model->undo();
    EXPECT_EQ(dump(model), states[i]) << "undone to state " << i;
    EXPECT_EQ(inconsistencies(model), "");
  }
  for (std::size_t i = 1; i < states.size(); ++i) {
    model->redo();
    EXPECT_EQ(dump(model), states[i]) << "done again to state " << i;
    EXPECT_EQ(inconsistencies(model), "");
  }
}

TEST_F(HistoryTest, ForgetsWhatCouldBeDoneAgainOnceSomethingElseIsDone) {
  ModelElement made;
  commit([&] { made = newNode(model, u"made"); });
  commit([&] { set(a, u"next", made); });
  model->undo();
  model->undo();
  EXPECT_TRUE(made->isDestroyed());
  EXPECT_TRUE(model->canRedo());
  commit([&] { a->set(u"name", u"x"); });
  EXPECT_FALSE(model->canRedo());
  model->undo();
  EXPECT_EQ(nameOf(a), "a");
}

TEST_F(HistoryTest, KeepsAtMostTheLimit) {
  model->setUndoLimit(2);
  for (const char16_t* name : {u"1", u"2", u"3"}) commit([&] { a->set(u"name", name); });
  commit([&] { b->destroy(); });
  model->undo();
  model->undo();
  EXPECT_FALSE(model->canUndo());
  EXPECT_EQ(nameOf(a), "2");
  model->setUndoLimit(0);
  EXPECT_FALSE(model->canRedo());
}

TEST_F(HistoryTest, CountsAChangeOutsideTransactionsAsAStep) {
  a->set(u"name", u"x");
  live(a, u"fields").toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
  model->undo();
  EXPECT_TRUE(live(a, u"fields").toStringToStringMap().empty());
  model->undo();
  EXPECT_EQ(nameOf(a), "a");
}

TEST_F(HistoryTest, ForgetsTransactionsThatChangedNothingOrRolledBack) {
  const bool before = model->canUndo();
  commit([] {});
  {
    Transaction change = model->beginTransaction(false);
    a->set(u"name", u"x");
    change.rollBack();
  }
  EXPECT_EQ(model->canUndo(), before);
}

TEST_F(HistoryTest, RefusesWhileATransactionIsOpen) {
  commit([&] { a->set(u"name", u"x"); });
  Transaction open = model->beginTransaction(false);
  EXPECT_THROW(model->undo(), TransactionError);
  EXPECT_THROW(model->redo(), TransactionError);
  EXPECT_THROW(model->setUndoLimit(3), TransactionError);
}

TEST_F(HistoryTest, StandsReadingALongListWhenAllIsUndone) {
  for (int i = 0; i < 200; ++i) add(a, u"children", newNode(model, u"child"));
  model->setUndoLimit(0);
  model->setUndoLimit(10);
  const Value value = live(a, u"children");
  const ElementCollection& children = value.toElementCollection();
  const ModelElement gone = children.getElement(90);
  commit([&] { gone->destroy(); });
  commit([&] { a->set(u"name", u"x"); });
  const std::string after = dump(model);
  model->undo();
  model->undo();
  EXPECT_FALSE(model->canUndo());
  EXPECT_EQ(children.getElement(90), gone);
  model->redo();
  EXPECT_EQ(children.size(), 199U);
  EXPECT_NE(children.getElement(150), gone);
  model->redo();
  EXPECT_EQ(dump(model), after);
}

TEST_F(HistoryTest, TellsObserversOfAMapChangedOutsideTransactions) {
  model->setUndoLimit(0);
  Recorder recorder;
  model->addObserver(&recorder);
  live(a, u"fields").toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
  ASSERT_EQ(recorder.changes.size(), 1U);
  EXPECT_THAT(changedProperties(recorder.changes.front()), ElementsAre("a.fields"));
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, TellsObserversNothingOfWhatCameBack) {
  Recorder recorder;
  model->addObserver(&recorder);
  commit([&] {
    a->set(u"name", u"x");
    a->set(u"name", u"a");
  });
  EXPECT_THAT(recorder.changes, IsEmpty());
  commit([&] {
    set(a, u"next", b);
    set(a, u"next", ModelElement());
    b->set(u"name", u"y");
  });
  ASSERT_EQ(recorder.changes.size(), 1U);
  EXPECT_THAT(changedProperties(recorder.changes.front()), ElementsAre("y.name"));
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, TellsNoObserverOfAMemberThatIsThereAlready) {
  add(a, u"others", b);
  Recorder recorder;
  model->addObserver(&recorder);
  add(a, u"others", b);
  EXPECT_THAT(recorder.modifying, IsEmpty());
  add(a, u"path", b);
  add(a, u"path", b);
  EXPECT_EQ(recorder.modifying.size(), 2U) << "where one may stand twice";
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, StandsReadingLongListsBetweenSteps) {
  commit([&] {
    for (int i = 0; i < 300; ++i) add(a, u"children", newNode(model, u"child"));
  });
  const std::string full = dump(model);
  const Value value = live(a, u"children");
  ElementCollection& children = value.toElementCollection();
  commit([&] {
    for (int i = 0; i < 100; ++i) children.removeAt(50);
  });
  const std::string fewer = dump(model);
  commit([&] {
    for (int i = 0; i < 50; ++i) children.removeAt(20);
  });
  const std::string fewest = dump(model);
  EXPECT_EQ(a->peekElements(property(u"children")).size(), 150U) << "packs the list between two kept steps";
  model->undo();
  EXPECT_EQ(dump(model), fewer);
  EXPECT_EQ(a->peekElements(property(u"children")).size(), 200U);
  model->undo();
  EXPECT_EQ(dump(model), full);
  EXPECT_EQ(a->peekElements(property(u"children")).size(), 300U);
  model->redo();
  EXPECT_EQ(dump(model), fewer);
  model->redo();
  EXPECT_EQ(dump(model), fewest);
}

TEST_F(HistoryTest, LosesNothingToReadingWithinATransaction) {
  commit([&] {
    for (int i = 0; i < 100; ++i) add(a, u"children", newNode(model, u"child"));
  });
  commit([&] { live(a, u"children").toElementCollection().getElement(10)->destroy(); });
  const std::string before = dump(model);
  commit([&] { a->set(u"name", u"x"); });
  const std::string after = dump(model);
  model->undo();
  commit([&] { EXPECT_EQ(a->peekElements(property(u"children")).size(), 99U); });
  EXPECT_TRUE(model->canRedo()) << "packing a list is no change";
  model->redo();
  EXPECT_EQ(dump(model), after);
  model->undo();
  EXPECT_EQ(dump(model), before);
  model->undo();
  EXPECT_EQ(live(a, u"children").toElementCollection().size(), 100U);
  EXPECT_EQ(inconsistencies(model), "");
}

TEST_F(HistoryTest, TellsObserversTheNetChangeOnce) {
  Recorder recorder;
  model->addObserver(&recorder);
  model->addObserver(&recorder);
  ModelElement made;
  {
    Transaction outer = model->beginTransaction(false);
    a->set(u"name", u"x");
    a->set(u"count", std::int32_t{6});
    a->set(u"count", std::int32_t{5});
    {
      Transaction inner = model->beginTransaction(false);
      made = newNode(model, u"made");
      add(a, u"children", made);
      inner.commit(boost::none);
    }
    newNode(model, u"short-lived")->destroy();
    b->destroy();
    EXPECT_TRUE(recorder.changes.empty()) << "nothing is told before the outermost commit";
    outer.commit(Value(u"a note"));
  }
  model->removeObserver(&recorder);
  a->set(u"name", u"y");
  ASSERT_EQ(recorder.changes.size(), 1U);
  const ModelChange& change = recorder.changes[0];
  EXPECT_THAT(change.created, ElementsAre(made));
  EXPECT_THAT(change.destroyed, ElementsAre(b));
  EXPECT_THAT(changedProperties(change), UnorderedElementsAre("y.name", "y.children"));
  EXPECT_EQ(*change.note, Value(u"a note"));
}

TEST_F(HistoryTest, TellsObserversOfUndoAndRedo) {
  Recorder recorder;
  ModelElement made;
  commit([&] {
    made = newNode(model, u"made");
    b->destroy();
    a->set(u"name", u"x");
  });
  model->addObserver(&recorder);
  model->undo();
  ASSERT_EQ(recorder.changes.size(), 1U);
  EXPECT_THAT(recorder.changes[0].created, ElementsAre(b));
  EXPECT_THAT(recorder.changes[0].destroyed, ElementsAre(made));
  EXPECT_THAT(changedProperties(recorder.changes[0]), ElementsAre("a.name"));
  model->redo();
  ASSERT_EQ(recorder.changes.size(), 2U);
  EXPECT_THAT(recorder.changes[1].created, ElementsAre(made));
  EXPECT_THAT(recorder.changes[1].destroyed, ElementsAre(b));
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, GivesOneNoticeBeforeAndOneAfterARangeAssignment) {
  Recorder recorder;
  model->addObserver(&recorder);
  const Value value = live(a, u"numbers");
  auto& numbers = dynamic_cast<TypedCollection<std::int32_t>&>(value.toPrimitiveCollection());
  numbers.assign({1, 2, 3});
  EXPECT_THAT(recorder.modifying, ElementsAre(AbstractOwnedCollection::getGiveUpDescriptor()));
  EXPECT_EQ(recorder.committed, 1);
  numbers.removeAt(1);
  ASSERT_EQ(recorder.modifying.size(), 2U);
  EXPECT_EQ(recorder.modifying[1], (OCDChangeDescriptor{OCDChangeDescriptor::Kind::Remove, 1, 1, 0}));
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, CollectsWhatObserversThrow) {
  class Thrower : public ModelObserver {
   public:
    void changed(const ModelChange&) override { throw std::runtime_error("not today"); }
  };
  Thrower thrower;
  Recorder recorder;
  model->addObserver(&thrower);
  model->addObserver(&recorder);
  a->set(u"name", u"x");
  EXPECT_EQ(recorder.changes.size(), 1U);
  const std::vector<std::exception_ptr> errors = model->takeObserverErrors();
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_THROW(std::rethrow_exception(errors[0]), std::runtime_error);
  EXPECT_THAT(model->takeObserverErrors(), IsEmpty());
  model->removeObserver(&thrower);
  model->removeObserver(&recorder);
}

TEST_F(HistoryTest, LetsObserversEditInATransactionOfTheirOwn) {
  class Editor : public ModelObserver {
   public:
    explicit Editor(ModelElement element) : fElement(std::move(element)) {}
    void changed(const ModelChange&) override {
      if (fElement->get<std::int32_t>(u"count") < 8) {
        fElement->set(u"count", fElement->get<std::int32_t>(u"count") + 1);
      }
    }

   private:
    ModelElement fElement;
  };
  Editor editor(a);
  model->addObserver(&editor);
  commit([&] { a->set(u"name", u"x"); });
  EXPECT_EQ(a->get<std::int32_t>(u"count"), 8);
  model->removeObserver(&editor);
  for (int i = 0; i < 3; ++i) model->undo();
  EXPECT_EQ(a->get<std::int32_t>(u"count"), 5);
  EXPECT_EQ(nameOf(a), "x");
}
