// The wrapper's transaction, its guard, and what a wrapper that keeps bytes does about changes.

#include <csignal>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Errors.h>
#include <tarn/kern/Testing.h>

#include "../support/TestWrapper.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using quillon::nimbo::internal::NimboModelWrapperBase;
using testing::HasSubstr;
using testsupport::containerOf;
using testsupport::nameOf;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::wrappingClass;
using ScopedTransaction = NimboModelWrapperBase::ScopedTransaction;

WrapperSetup keeping() {
  WrapperSetup setup;
  setup.keepSerializedData = true;
  return setup;
}

std::u16string titleOf(const TestWrapper& wrapper) { return wrapper.getRoot()->get<std::u16string>(u"title"); }

/// Counts the transactions that a model commits.
class CommitCounter : public kern::ModelObserver {
 public:
  explicit CommitCounter(const Model& model) : fModel(model) { fModel->addObserver(this); }
  CommitCounter(const CommitCounter&) = delete;
  CommitCounter& operator=(const CommitCounter&) = delete;
  ~CommitCounter() override { fModel->removeObserver(this); }
  void changed(const kern::ModelChange&) override { ++commits; }

  int commits = 0;

 private:
  Model fModel;
};

// --- begin, commit, roll back.

TEST(WrapperTransaction, EndsNothingWhenNoneIsPendingAndMakesNoModel) {
  const TestWrapper wrapper;
  wrapper.commitTransaction();
  wrapper.rollbackTransaction();
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_FALSE(wrapper.modelExists());
}

TEST(WrapperTransaction, MakesTheModelWithItsRootWhenItBegins) {
  const TestWrapper wrapper;
  wrapper.beginTransaction();
  EXPECT_TRUE(wrapper.isInTransaction());
  ASSERT_TRUE(wrapper.modelExists());
  const ModelElement root = wrapper.getRoot();
  ASSERT_TRUE(root);
  wrapper.rollbackTransaction();
  EXPECT_FALSE(root->isDestroyed()) << "the root was made before the transaction";
}

TEST(WrapperTransaction, ParsesDeferredBytesBeforeItBegins) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  wrapper.beginTransaction();
  wrapper.rollbackTransaction();
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
}

TEST(WrapperTransaction, CommitsAndRollsBackChanges) {
  const TestWrapper wrapper;
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"first");
  wrapper.commitTransaction();
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"first");
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"second");
  wrapper.rollbackTransaction();
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"first");
}

TEST(WrapperTransaction, DoesNotCountASecondBegin) {
  const TestWrapper wrapper;
  wrapper.beginTransaction();
  wrapper.beginTransaction();
  EXPECT_EQ(wrapper.getModel()->getTransactionDepth(), 1U);
  wrapper.commitTransaction();
  EXPECT_FALSE(wrapper.isInTransaction()) << "the first end ends it";
  wrapper.commitTransaction();
}

TEST(WrapperTransaction, StaysPendingWhenItsCommitThrows) {
  const TestWrapper wrapper;
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"unsaved");
  kern::testhooks::failNextCommit(wrapper.getModel(), "no room on the disk");
  EXPECT_THROW(wrapper.commitTransaction(), kern::TransactionError);
  EXPECT_TRUE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"unsaved");
  wrapper.commitTransaction();
  EXPECT_FALSE(wrapper.isInTransaction()) << "a second attempt is possible";
  EXPECT_EQ(titleOf(wrapper), u"unsaved");
}

TEST(WrapperTransaction, StaysPendingWhenItsRollbackThrows) {
  const TestWrapper wrapper;
  wrapper.beginTransaction();
  {
    // Inside it another one is open, which has to end first.
    kern::Transaction inner = wrapper.getModel()->beginTransaction(false);
    EXPECT_THROW(wrapper.rollbackTransaction(), kern::TransactionError);
    EXPECT_TRUE(wrapper.isInTransaction());
    EXPECT_THROW(wrapper.commitTransaction(), kern::TransactionError);
    EXPECT_TRUE(wrapper.isInTransaction());
    inner.commit(boost::none);
  }
  wrapper.rollbackTransaction();
  EXPECT_FALSE(wrapper.isInTransaction());
}

TEST(WrapperTransaction, IsLeftInPlaceAndWithoutUseWhenItsModelIsReplaced) {
  TestWrapper wrapper;
  wrapper.beginTransaction();
  wrapper.parseBinString(containerOf({u"Root"}));
  EXPECT_TRUE(wrapper.isInTransaction()) << "it was opened on the model before";
  EXPECT_EQ(wrapper.getModel()->getTransactionDepth(), 0U);
  EXPECT_THROW(wrapper.rollbackTransaction(), kern::TransactionError) << "which is gone";
  EXPECT_THROW(wrapper.commitTransaction(), kern::TransactionError);
  EXPECT_TRUE(wrapper.isInTransaction());
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
}

// --- The guard.

TEST(ScopedTransaction, DoesNothingForANullPointer) {
  const NimboModelWrapperBase* nobody = nullptr;
  const ScopedTransaction scope(nobody);
}

TEST(ScopedTransaction, CommitsItsOwnTransaction) {
  const TestWrapper wrapper;
  {
    const ScopedTransaction scope(&wrapper);
    EXPECT_TRUE(wrapper.isInTransaction());
    wrapper.getRoot()->set(u"title", u"kept");
  }
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"kept");
}

TEST(ScopedTransaction, LeavesAPendingTransactionToItsOwner) {
  const TestWrapper wrapper;
  {
    const ScopedTransaction outer(wrapper);
    {
      const ScopedTransaction inner(wrapper);
      wrapper.getRoot()->set(u"title", u"kept");
    }
    EXPECT_TRUE(wrapper.isInTransaction());
    EXPECT_EQ(wrapper.getModel()->getTransactionDepth(), 1U);
  }
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"kept");
}

TEST(ScopedTransaction, CommitsWhenAnExceptionPasses) {
  const TestWrapper wrapper;
  try {
    const ScopedTransaction scope(wrapper);
    wrapper.getRoot()->set(u"title", u"half done");
    throw std::runtime_error("then it went wrong");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(titleOf(wrapper), u"half done");
}

TEST(ScopedTransaction, FindsNothingToCommitAfterARollbackInside) {
  const TestWrapper wrapper;
  const CommitCounter counter(wrapper.getModel());
  {
    const ScopedTransaction scope(wrapper);
    wrapper.getRoot()->set(u"title", u"dropped");
    wrapper.rollbackTransaction();
    EXPECT_FALSE(wrapper.isInTransaction());
  }
  EXPECT_EQ(counter.commits, 0);
  EXPECT_EQ(titleOf(wrapper), u"");
}

TEST(ScopedTransaction, EndsItsOwnLevelAndNoOtherAfterARollbackInside) {
  const TestWrapper wrapper;
  const Model model = wrapper.getModel();
  const CommitCounter counter(model);
  kern::Transaction outer = model->beginTransaction(false);
  wrapper.getRoot()->set(u"name", u"kept");
  {
    const ScopedTransaction scope(wrapper);
    wrapper.getRoot()->set(u"title", u"dropped");
    EXPECT_EQ(model->getTransactionDepth(), 2U);
    wrapper.rollbackTransaction();
    EXPECT_EQ(model->getTransactionDepth(), 1U);
  }
  EXPECT_EQ(model->getTransactionDepth(), 1U) << "one rollback, and nothing at the end of the scope";
  EXPECT_TRUE(outer.isOpen());
  EXPECT_EQ(counter.commits, 0);
  outer.commit(boost::none);
  EXPECT_EQ(counter.commits, 1);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "kept");
  EXPECT_EQ(titleOf(wrapper), u"");
}

TEST(ScopedTransaction, CommitsASecondTimeWithoutHarmWhenItWasCopied) {
  const TestWrapper wrapper;
  const CommitCounter counter(wrapper.getModel());
  {
    const ScopedTransaction first(wrapper);
    {
      const ScopedTransaction copy(first);
      wrapper.getRoot()->set(u"title", u"kept");
    }
    EXPECT_FALSE(wrapper.isInTransaction()) << "the copy was the first to end";
  }
  EXPECT_EQ(counter.commits, 1);
}

TEST(ScopedTransaction, CopiesThePointerAndNothingElseOnAssignment) {
  const TestWrapper first;
  const TestWrapper second;
  {
    ScopedTransaction guard(first);
    const ScopedTransaction other(second);
    EXPECT_EQ(&(guard = other), &guard);
  }
  EXPECT_TRUE(first.isInTransaction()) << "the guard has forgotten the one that it owned";
  EXPECT_FALSE(second.isInTransaction());
  {
    ScopedTransaction nobody(nullptr);
    const ScopedTransaction owner(second);
    nobody = owner;
  }
  EXPECT_FALSE(second.isInTransaction());
  first.rollbackTransaction();
}

void endScopeWithFailingCommit() {
  const TestWrapper wrapper;
  const ScopedTransaction scope(wrapper);
  wrapper.getRoot()->set(u"title", u"lost");
  kern::testhooks::failNextCommit(wrapper.getModel(), "the disk is full");
}

void throwOutOfScopeWithFailingCommit() {
  const TestWrapper wrapper;
  try {
    const ScopedTransaction scope(wrapper);
    wrapper.getRoot()->set(u"title", u"lost");
    kern::testhooks::failNextCommit(wrapper.getModel(), "the disk is full");
    throw std::runtime_error("on the way out");
  } catch (const std::runtime_error&) {
  }
}

void makeRootWithFailingCommit() {
  TestWrapper wrapper;
  wrapper.onSetRoot = [&] { kern::testhooks::failNextCommit(wrapper.getModel(), "the disk is full"); };
  try {
    wrapper.parseBinString(containerOf({}));
  } catch (const kern::TransactionError&) {
  }
}

void walkWithFailingCommit() {
  TestWrapper wrapper;
  wrapper.onResolve = [&](const ModelElement& element) {
    element->set(u"title", u"lost");
    kern::testhooks::failNextCommit(wrapper.getModel(), "the disk is full");
  };
  try {
    wrapper.walk();
  } catch (const kern::TransactionError&) {
  }
}

TEST(ScopedTransactionDeathTest, EndsTheProcessWhenItsCommitThrows) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(endScopeWithFailingCommit(), testing::KilledBySignal(SIGABRT), "the disk is full");
  EXPECT_EXIT(throwOutOfScopeWithFailingCommit(), testing::KilledBySignal(SIGABRT), "the disk is full");
  EXPECT_EXIT(makeRootWithFailingCommit(), testing::KilledBySignal(SIGABRT), "the disk is full");
  EXPECT_EXIT(walkWithFailingCommit(), testing::KilledBySignal(SIGABRT), "the disk is full");
}

TEST(ScopedTransaction, LetsTheWorkOfTheWrapperJoinTheCallersTransaction) {
  TestWrapper wrapper;
  const Model empty = Model::create(kern::ModelSpec());
  wrapper.beginTransaction();
  const Model before = wrapper.getModel();
  // The root is made in a scope of the wrapper's own, which joins what is pending, though that is of another model.
  wrapper.attachModel(empty, u"");
  EXPECT_TRUE(wrapper.getRoot());
  EXPECT_TRUE(wrapper.isInTransaction());
  wrapper.rollbackTransaction();
}

// --- Changes and cached bytes.

TEST(SetDirty, ParsesDeferredBytesBeforeItDropsThem) {
  TestWrapper wrapper(keeping());
  const std::string bytes = containerOf({u"Root", u"Node"});
  wrapper.openFromBinString(bytes);
  wrapper.setDirty();
  EXPECT_TRUE(wrapper.modelExists());
  EXPECT_EQ(wrapper.getModel()->getElementCount(), 2U);
  std::ostringstream stream;
  quillon::nimbo::StreamOArchive archive(stream);
  EXPECT_FALSE(wrapper.writeCachedSerializedData(archive));
}

TEST(SetDirty, MakesTheModelOfAnEmptyWrapper) {
  const TestWrapper wrapper;
  wrapper.setDirty();
  EXPECT_TRUE(wrapper.getRoot());
}

TEST(SetDirty, LetsTheNextSaveBeMadeFromTheModel) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"Root"}));
  wrapper.getRoot()->set(u"title", u"changed");
  wrapper.setDirty();
  std::stringstream stream;
  quillon::nimbo::StreamOArchive archive(stream);
  wrapper.serializeToBinStream(archive);
  TestWrapper reader;
  reader.parseBinString(stream.str());
  EXPECT_EQ(titleOf(reader), u"changed");
}

TEST(SetDirty, IsTheDutyOfWhoeverChangesTheModel) {
  TestWrapper wrapper(keeping());
  const std::string bytes = containerOf({u"Root"});
  wrapper.openFromBinString(bytes);
  wrapper.beginTransaction();
  wrapper.getRoot()->set(u"title", u"changed");
  wrapper.commitTransaction();
  EXPECT_EQ(wrapper.serializeToBinString(), bytes) << "neither the change nor the commit drops the bytes";
  EXPECT_THAT(wrapper.serializeToJSON(), HasSubstr("changed")) << "text is always made from the model";
  EXPECT_THAT(wrapper.serializeToXML(), HasSubstr("changed"));
  wrapper.beginTransaction();
  wrapper.rollbackTransaction();
  EXPECT_EQ(wrapper.serializeToBinString(), bytes);
}

}  // namespace
