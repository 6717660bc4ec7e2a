#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ContainmentTest : public testing::Test {
 protected:
  ~ContainmentTest() override { EXPECT_EQ(inconsistencies(model), ""); }
  Model model = newModel();
  ModelElement a = newNode(model, u"a");
  ModelElement b = newNode(model, u"b");
  ModelElement c = newNode(model, u"c");
};

}  // namespace

TEST_F(ContainmentTest, FollowsTheCompositeCollection) {
  add(a, u"children", b);
  EXPECT_EQ(b->container(), a);
  EXPECT_EQ(b->containerProperty(), property(u"children"));
  EXPECT_EQ(nameOf(b, u"parent"), "a");
  EXPECT_EQ(nameOf(b, u"onlyOf"), "-");
}

TEST_F(ContainmentTest, MovesAChildOutOfItsOldPlace) {
  add(a, u"children", c);
  add(b, u"children", c);
  EXPECT_TRUE(names(a, u"children").empty());
  EXPECT_EQ(c->container(), b);
  set(a, u"only", c);
  EXPECT_TRUE(names(b, u"children").empty());
  EXPECT_EQ(nameOf(c, u"onlyOf"), "a");
  EXPECT_EQ(nameOf(c, u"parent"), "-");
}

TEST_F(ContainmentTest, MovesAChildBetweenTwoPropertiesOfOneElement) {
  add(a, u"children", b);
  set(a, u"only", b);
  EXPECT_TRUE(names(a, u"children").empty());
  add(a, u"keyed", b);
  EXPECT_EQ(nameOf(a, u"only"), "-");
  EXPECT_THAT(names(a, u"keyed"), ElementsAre("b"));
}

TEST_F(ContainmentTest, LetsAReplacedChildGoToTheTop) {
  set(a, u"only", b);
  set(a, u"only", c);
  EXPECT_FALSE(b->container());
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(a, b));
}

TEST_F(ContainmentTest, CanBeSetFromTheChildsSide) {
  b->set(u"parent", a);
  c->set(u"parent", a);
  EXPECT_THAT(names(a, u"children"), ElementsAre("b", "c"));
  b->set(u"onlyOf", c);
  EXPECT_EQ(nameOf(c, u"only"), "b");
  EXPECT_THAT(names(a, u"children"), ElementsAre("c"));
  b->set(u"parent", ModelElement());
  EXPECT_EQ(b->container(), c) << "it is not in the parent's collection, so clearing that end changes nothing";
  b->set(u"onlyOf", ModelElement());
  EXPECT_FALSE(b->container());
}

TEST_F(ContainmentTest, IgnoresAChildThatIsThereAlready) {
  add(a, u"children", b);
  add(a, u"children", c);
  add(a, u"children", b);
  EXPECT_THAT(names(a, u"children"), ElementsAre("b", "c"));
}

TEST_F(ContainmentTest, RefusesCyclesOfAnyLengthAndChangesNothing) {
  add(a, u"children", b);
  set(b, u"only", c);
  const std::string before = dump(model);
  const Value children = live(c, u"children");
  try {
    children.toElementCollection().addElement(a);
    FAIL() << "nothing was thrown";
  } catch (const ContainmentError& error) {
    EXPECT_THAT(error.what(), HasSubstr("the element would contain itself"));
  }
  EXPECT_THROW(set(a, u"only", a), ContainmentError);
  EXPECT_THROW(a->set(u"parent", c), ContainmentError);
  EXPECT_THROW(children.toElementCollection().assign({a}), ContainmentError);
  EXPECT_EQ(dump(model), before);
}

TEST_F(ContainmentTest, RefusesElementsOfAnotherModelAndTheMetaModel) {
  const Model other = newModel();
  const ModelElement stranger = newNode(other, u"stranger");
  EXPECT_THROW(add(a, u"children", stranger), ContainmentError);
  EXPECT_THROW(set(a, u"next", stranger), ContainmentError);
  EXPECT_FALSE(stranger->container());
}

TEST_F(ContainmentTest, RefusesDestroyedElements) {
  b->destroy();
  EXPECT_THROW(add(a, u"children", b), DestroyedElementError);
  EXPECT_THROW(set(a, u"next", b), DestroyedElementError);
}

TEST_F(ContainmentTest, DestroysPartsWithTheirOwner) {
  add(a, u"children", b);
  set(b, u"only", c);
  a->destroy();
  EXPECT_TRUE(b->isDestroyed());
  EXPECT_TRUE(c->isDestroyed());
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST_F(ContainmentTest, TakesADestroyedChildOutOfItsPlace) {
  add(a, u"children", b);
  add(a, u"children", c);
  b->destroy();
  EXPECT_THAT(names(a, u"children"), ElementsAre("c"));
  set(a, u"only", c);
  c->destroy();
  EXPECT_EQ(nameOf(a, u"only"), "-");
}

TEST_F(ContainmentTest, ClearsEveryReferenceToWhatIsDestroyed) {
  set(b, u"next", a);
  add(b, u"others", a);
  for (int i = 0; i < 3; ++i) add(b, u"path", i == 1 ? c : a);
  set(c, u"next", b);
  a->destroy();
  EXPECT_EQ(nameOf(b, u"next"), "-");
  EXPECT_TRUE(names(b, u"others").empty());
  EXPECT_THAT(names(b, u"path"), ElementsAre("c"));
  EXPECT_EQ(nameOf(c, u"next"), "b");
}

TEST_F(ContainmentTest, DestroysTwiceWithoutHarm) {
  a->destroy();
  a->destroy();
  EXPECT_EQ(model->getElementCount(), 2U);
}

TEST_F(ContainmentTest, AllowsNullMembers) {
  add(a, u"children", ModelElement());
  add(a, u"others", ModelElement());
  add(a, u"others", ModelElement());
  add(a, u"others", b);
  EXPECT_THAT(names(a, u"others"), ElementsAre("-", "-", "b"));
  EXPECT_THAT(names(a, u"children"), ElementsAre("-"));
  const Value others = live(a, u"others");
  EXPECT_TRUE(others.toElementCollection().remove(ModelElement()));
  EXPECT_THAT(names(a, u"others"), ElementsAre("-", "b"));
}

TEST_F(ContainmentTest, LeavesALongCollectionFromTheFrontTheBackAndTheMiddle) {
  constexpr int kCount = 1000;
  std::vector<ModelElement> children;
  for (int i = 0; i < kCount; ++i) {
    children.push_back(newNode(model, u"child"));
    add(a, u"children", children.back());
  }
  std::vector<ModelElement> expected = children;
  const Value value = live(a, u"children");
  ElementCollection& collection = value.toElementCollection();
  const auto leave = [&](std::size_t index) {
    const ModelElement child = expected[index];
    if (index % 2 == 0) {
      child->destroy();
    } else {
      collection.remove(child);
    }
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(index));
  };
  for (int i = 0; i < 300; ++i) leave(0);
  for (int i = 0; i < 200; ++i) leave(expected.size() - 1);
  for (int i = 0; i < 300; ++i) leave((static_cast<std::size_t>(i) * 37) % expected.size());
  EXPECT_EQ(collection.getAllElements(), expected);
  for (std::size_t i = 0; i < expected.size(); i += 7) {
    EXPECT_EQ(collection.getElement(i), expected[i]);
    EXPECT_EQ(collection.find(expected[i]), i);
  }
  collection.insertElement(5, newNode(model, u"new"));
  EXPECT_EQ(nameOf(collection.getElement(5)), "new");
}

TEST_F(ContainmentTest, ADestroyedElementHasNoContainerUntilItIsBack) {
  add(a, u"children", b);
  add(a, u"children", c);
  Transaction transaction = model->beginTransaction(false);
  b->destroy();
  EXPECT_FALSE(b->container());
  EXPECT_FALSE(b->containerProperty());
  EXPECT_THAT(names(a, u"children"), ElementsAre("c"));
  transaction.rollBack();
  EXPECT_EQ(b->container(), a);
  EXPECT_THAT(names(a, u"children"), ElementsAre("b", "c"));
}

/// An element that holds nothing and that nothing refers to is destroyed by a shorter way than others.
TEST_F(ContainmentTest, LoneElementsAreDestroyedAsOthersAre) {
  const auto statesOf = [](bool isReferredTo) {
    const Model fresh = newModel();
    fresh->setUndoLimit(3);
    const ModelElement parent = newNode(fresh, u"parent");
    const ModelElement gone = newNode(fresh, u"gone");
    const ModelElement stays = newNode(fresh, u"stays");
    add(parent, u"children", gone);
    add(parent, u"children", stays);
    if (isReferredTo) set(stays, u"next", gone);
    std::vector<std::vector<std::string>> states;
    const auto look = [&] {
      states.push_back(names(parent, u"children"));
      states.back().push_back(std::to_string(fresh->getElementCount()));
      states.back().push_back(std::to_string(fresh->getTopLevelElements().size()));
      states.back().push_back(gone->isDestroyed() ? "destroyed" : nameOf(gone->container()));
      EXPECT_EQ(inconsistencies(fresh), "");
    };
    gone->destroy();
    look();
    fresh->undo();
    look();
    fresh->redo();
    look();
    fresh->undo();
    Transaction outer = fresh->beginTransaction(false);
    Transaction inner = fresh->beginTransaction(false);
    gone->destroy();
    inner.commit(boost::none);
    look();
    outer.rollBack();
    look();
    fresh->setUndoLimit(0);
    gone->destroy();
    look();
    return states;
  };
  EXPECT_EQ(statesOf(false), statesOf(true));
}

TEST_F(ContainmentTest, NullMembersAreRemovedReplacedAndDestroyedWithTheirOwner) {
  for (const ModelElement& member : {ModelElement(), b, ModelElement()}) {
    add(a, u"children", member);
    add(a, u"friends", member);
  }
  const Value children = live(a, u"children");
  const Value friends = live(a, u"friends");
  children.toElementCollection().removeAt(0);
  friends.toElementCollection().removeAt(0);
  EXPECT_THAT(names(a, u"children"), ElementsAre("b", "-"));
  EXPECT_THAT(names(a, u"friends"), ElementsAre("b", "-"));
  children.toElementCollection().assign({ModelElement(), c, b});
  friends.toElementCollection().assign({ModelElement(), c});
  EXPECT_THAT(names(a, u"children"), ElementsAre("-", "c", "b"));
  EXPECT_THAT(names(a, u"friends"), ElementsAre("-", "c"));
  EXPECT_THAT(names(b, u"friendOf"), ElementsAre());
  a->destroy();
  EXPECT_TRUE(b->isDestroyed());
  EXPECT_TRUE(c->isDestroyed());
}

TEST_F(ContainmentTest, RefusesACycleBelowADeepParentWhateverTheChildHolds) {
  ModelElement deepest = a;
  for (int i = 0; i < 100; ++i) {
    const ModelElement inner = newNode(model, u"inner");
    add(deepest, u"children", inner);
    deepest = inner;
  }
  add(b, u"children", ModelElement());
  add(b, u"children", c);
  add(deepest, u"children", b);
  EXPECT_EQ(b->container(), deepest);
  EXPECT_THROW(add(c, u"children", a), ContainmentError);
  EXPECT_THROW(set(c, u"only", a), ContainmentError);
}

TEST_F(ContainmentTest, StandsManyRemovalsFromTheMiddleOfALongCollection) {
  std::vector<ModelElement> members;
  for (int i = 0; i < 400; ++i) add(a, u"others", members.emplace_back(newNode(model)));
  const Value others = live(a, u"others");
  Transaction change = model->beginTransaction(false);
  for (std::size_t i = 50; i < 350; ++i) EXPECT_TRUE(others.toElementCollection().remove(members[i]));
  EXPECT_EQ(others.toElementCollection().size(), 100U);
  EXPECT_EQ(others.toElementCollection().getElement(50), members[350]);
  change.rollBack();
  EXPECT_EQ(others.toElementCollection().getAllElements(), members);
}

TEST_F(ContainmentTest, KnowsWhatRefersToAnElementAfterManyChanges) {
  set(a, u"next", b);
  EXPECT_EQ(b->incomingReferences().size(), 1U);
  for (int i = 0; i < 5000; ++i) set(a, u"next", i % 2 == 0 ? c : b);
  ASSERT_EQ(b->incomingReferences().size(), 1U);
  EXPECT_EQ(b->incomingReferences().front().element, a);
  EXPECT_TRUE(c->incomingReferences().empty());
}
