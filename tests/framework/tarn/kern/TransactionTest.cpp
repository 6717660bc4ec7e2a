#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/Testing.h>
#include <tarn/kern/Transaction.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;

namespace {

class TransactionTest : public testing::Test {
 protected:
  ~TransactionTest() override {
    if (model) {
      EXPECT_EQ(inconsistencies(model), "");
    }
  }
  Model model = newModel();
  ModelElement a = newNode(model, u"a");
  ModelElement b = newNode(model, u"b");
};

}  // namespace

TEST_F(TransactionTest, KeepsWhatIsCommitted) {
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"x");
  EXPECT_EQ(change.commit(boost::none), TransactionResult::Done);
  EXPECT_EQ(nameOf(a), "x");
  EXPECT_FALSE(change.isOpen());
}

TEST_F(TransactionTest, TellsWhenNothingChanged) {
  Transaction nothing = model->beginTransaction(false);
  EXPECT_EQ(nothing.commit(boost::none), TransactionResult::Nothing);
  Transaction nothingEither = model->beginTransaction(false);
  EXPECT_EQ(nothingEither.rollBack(), TransactionResult::Nothing);
}

TEST_F(TransactionTest, UndoesValuesReferencesAndMaps) {
  set(a, u"next", b);
  a->set(u"note", u"a note that is longer than what fits inline");
  const std::string before = dump(model);
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"x");
  a->unset(property(u"note"));
  a->set(u"count", std::int32_t{77});
  a->set(u"color", std::int64_t{0});
  ReflectiveDataType place(types().place);
  place.set(u"x", std::int32_t{3});
  a->set(u"place", place);
  set(a, u"next", a);
  live(a, u"fields").toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
  EXPECT_EQ(change.rollBack(), TransactionResult::Done);
  EXPECT_EQ(dump(model), before);
}

TEST_F(TransactionTest, UndoesCreation) {
  const std::string before = dump(model);
  Transaction change = model->beginTransaction(false);
  const ModelElement made = newNode(model, u"made");
  add(a, u"children", made);
  set(made, u"next", a);
  set(a, u"next", made);
  change.rollBack();
  EXPECT_EQ(dump(model), before);
  EXPECT_TRUE(made->isDestroyed());
  EXPECT_FALSE(model->findElement(made->getUuid(), FindElementBehavior::Anywhere));
}

TEST_F(TransactionTest, UndoesDestructionAndRevivesTheSameElement) {
  add(a, u"children", b);
  const ModelElement c = newNode(model, u"c");
  set(b, u"only", c);
  set(a, u"next", c);
  add(a, u"path", c);
  set(c, u"owner", a);
  const std::string before = dump(model);
  Transaction change = model->beginTransaction(false);
  b->destroy();
  EXPECT_TRUE(c->isDestroyed());
  EXPECT_EQ(inconsistencies(model), "");
  change.rollBack();
  EXPECT_FALSE(c->isDestroyed());
  EXPECT_EQ(dump(model), before);
  EXPECT_EQ(nameOf(a, u"next"), "c");
}

TEST_F(TransactionTest, RestoresTheOrderOfTopLevelElements) {
  const ModelElement c = newNode(model, u"c");
  Transaction change = model->beginTransaction(false);
  add(c, u"children", a);
  a->set(u"parent", ModelElement());
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(b, c, a));
  change.rollBack();
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(a, b, c));
}

TEST_F(TransactionTest, NestsTheInnerEndingFirst) {
  Transaction outer = model->beginTransaction(false);
  a->set(u"name", u"outer");
  {
    Transaction inner = model->beginTransaction(false);
    EXPECT_EQ(model->getTransactionDepth(), 2U);
    b->set(u"name", u"inner");
    inner.commit(boost::none);
  }
  a->set(u"note", u"still usable");
  outer.commit(boost::none);
  EXPECT_EQ(nameOf(a), "outer");
  EXPECT_EQ(nameOf(b), "inner");
}

TEST_F(TransactionTest, UndoesOnlyTheInnerLevel) {
  Transaction outer = model->beginTransaction(false);
  const ModelElement made = newNode(model, u"made");
  const std::string before = dump(model);
  Transaction inner = model->beginTransaction(false);
  made->set(u"name", u"changed inside");
  add(a, u"children", made);
  const ModelElement innermost = newNode(model, u"innermost");
  add(made, u"children", innermost);
  a->destroy();
  inner.rollBack();
  EXPECT_EQ(dump(model), before);
  outer.commit(boost::none);
  EXPECT_EQ(dump(model), before);
}

TEST_F(TransactionTest, UndoesWhatInnerOnesCommittedWhenTheOuterRollsBack) {
  const std::string before = dump(model);
  Transaction outer = model->beginTransaction(false);
  const ModelElement made = newNode(model, u"made");
  Transaction inner = model->beginTransaction(false);
  for (int i = 0; i < 5; ++i) add(made, u"path", a);
  live(made, u"path").toElementCollection().removeAt(3);
  b->destroy();
  inner.commit(boost::none);
  // Changes to what the outer level made need no journal, so they must not disturb what the inner one wrote.
  live(made, u"path").toElementCollection().clear();
  made->destroy();
  outer.rollBack();
  EXPECT_EQ(dump(model), before);
}

TEST_F(TransactionTest, RefusesToEndOutOfOrderAndChangesNothing) {
  Transaction outer = model->beginTransaction(false);
  Transaction inner = model->beginTransaction(false);
  a->set(u"name", u"x");
  EXPECT_THROW(outer.commit(boost::none), TransactionError);
  EXPECT_THROW(outer.rollBack(), TransactionError);
  EXPECT_EQ(nameOf(a), "x");
  EXPECT_EQ(model->getTransactionDepth(), 2U);
  inner.commit(boost::none);
  outer.commit(boost::none);
}

TEST_F(TransactionTest, RefusesToEndTwice) {
  Transaction change = model->beginTransaction(false);
  change.commit(boost::none);
  try {
    change.rollBack();
    FAIL() << "nothing was thrown";
  } catch (const TransactionError& error) {
    EXPECT_STREQ(
        error.what(),
        "this transaction has ended already: by commit, by rollBack, with the one around it, or with its model");
  }
}

TEST_F(TransactionTest, RollsBackWhenItIsDropped) {
  const std::string before = dump(model);
  {
    const Transaction dropped = model->beginTransaction(false);
    a->destroy();
    newNode(model, u"made");
  }
  EXPECT_EQ(dump(model), before);
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

TEST_F(TransactionTest, TakesInnerLevelsAlongWhenItIsDropped) {
  const std::string before = dump(model);
  boost::optional<Transaction> inner;
  {
    const Transaction dropped = model->beginTransaction(false);
    a->set(u"name", u"x");
    inner.emplace(model->beginTransaction(false));
    b->set(u"name", u"y");
  }
  EXPECT_EQ(dump(model), before);
  EXPECT_FALSE(inner->isOpen());
  EXPECT_THROW(inner->commit(boost::none), TransactionError);
}

TEST_F(TransactionTest, IsHarmlessWhenItsModelIsGone) {
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"x");
  model = nullptr;
  EXPECT_TRUE(a->isDestroyed());
  EXPECT_THROW(change.commit(boost::none), TransactionError);
}

TEST_F(TransactionTest, StaysOpenWhenItsCommitFails) {
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"x");
  tarn::kern::testhooks::failNextCommit(model, "the disk is full");
  try {
    change.commit(boost::none);
    FAIL() << "nothing was thrown";
  } catch (const TransactionError& error) {
    EXPECT_STREQ(error.what(), "the disk is full");
  }
  EXPECT_TRUE(change.isOpen());
  EXPECT_EQ(nameOf(a), "x");
  change.commit(boost::none);
  EXPECT_EQ(nameOf(a), "x");
}

TEST_F(TransactionTest, MovesWithItsObject) {
  Transaction first = model->beginTransaction(false);
  a->set(u"name", u"x");
  Transaction second = std::move(first);
  EXPECT_TRUE(second.isOpen());
  second = model->beginTransaction(false);  // ends the one that it held, and with it the new one inside
  EXPECT_EQ(nameOf(a), "a");
}

TEST_F(TransactionTest, CountsChangesOutsideAsTransactionsOfTheirOwn) {
  a->set(u"name", u"x");
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"y");
  change.rollBack();
  EXPECT_EQ(nameOf(a), "x");
}

TEST_F(TransactionTest, IsOverOnceItWasMovedFrom) {
  Transaction change = model->beginTransaction(false);
  Transaction moved = std::move(change);
  EXPECT_FALSE(change.isOpen());  // NOLINT(bugprone-use-after-move): what moving leaves behind is the point
  EXPECT_THROW((void)change.commit(boost::none), TransactionError);
  EXPECT_THROW((void)change.rollBack(), TransactionError);
  EXPECT_TRUE(moved.isOpen());
  EXPECT_EQ(moved.rollBack(), TransactionResult::Nothing);
}

TEST_F(TransactionTest, ATestsFailureWaitsForACommitThatSomebodyAsksFor) {
  model->setUndoLimit(1);
  tarn::kern::testhooks::failNextCommit(model, "the disk is full");
  a->set(u"name", u"x");  // ends a transaction of its own, which nobody sees
  EXPECT_EQ(nameOf(a), "x");
  Transaction change = model->beginTransaction(false);
  a->set(u"name", u"y");
  EXPECT_THROW((void)change.commit(boost::none), TransactionError);
}
