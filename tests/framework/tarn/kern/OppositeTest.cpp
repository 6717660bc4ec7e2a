#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class OppositeTest : public testing::Test {
 protected:
  ~OppositeTest() override { EXPECT_EQ(inconsistencies(model), ""); }
  Model model = newModel();
  ModelElement a = newNode(model, u"a");
  ModelElement b = newNode(model, u"b");
  ModelElement c = newNode(model, u"c");
  ModelElement d = newNode(model, u"d");
};

}  // namespace

TEST_F(OppositeTest, FollowsSingleToSingle) {
  set(a, u"left", b);
  EXPECT_EQ(nameOf(b, u"right"), "a");
  set(a, u"left", c);
  EXPECT_EQ(nameOf(b, u"right"), "-");
  EXPECT_EQ(nameOf(c, u"right"), "a");
  set(c, u"right", d);
  EXPECT_EQ(nameOf(a, u"left"), "-");
  EXPECT_EQ(nameOf(d, u"left"), "c");
  set(d, u"left", ModelElement());
  EXPECT_EQ(nameOf(c, u"right"), "-");
}

TEST_F(OppositeTest, StealsAPartnerFromBothSides) {
  set(a, u"left", b);
  set(c, u"left", d);
  set(a, u"left", d);
  EXPECT_EQ(nameOf(b, u"right"), "-");
  EXPECT_EQ(nameOf(c, u"left"), "-");
  EXPECT_EQ(nameOf(d, u"right"), "a");
}

TEST_F(OppositeTest, FollowsSingleToMany) {
  set(a, u"owner", d);
  set(b, u"owner", d);
  EXPECT_THAT(names(d, u"owned"), ElementsAre("a", "b"));
  add(c, u"owned", a);
  EXPECT_THAT(names(d, u"owned"), ElementsAre("b"));
  EXPECT_EQ(nameOf(a, u"owner"), "c");
  const Value owned = live(c, u"owned");
  owned.toElementCollection().clear();
  EXPECT_EQ(nameOf(a, u"owner"), "-");
}

TEST_F(OppositeTest, FollowsManyToMany) {
  add(a, u"friends", b);
  add(a, u"friends", c);
  add(d, u"friends", b);
  EXPECT_THAT(names(b, u"friendOf"), ElementsAre("a", "d"));
  const Value friends = live(a, u"friends");
  friends.toElementCollection().removeAt(0);
  EXPECT_THAT(names(b, u"friendOf"), ElementsAre("d"));
  add(c, u"friendOf", d);
  EXPECT_THAT(names(d, u"friends"), ElementsAre("b", "c"));
}

TEST_F(OppositeTest, IsUniqueBothWays) {
  add(a, u"friends", b);
  add(a, u"friends", b);
  add(b, u"friendOf", a);
  EXPECT_THAT(names(a, u"friends"), ElementsAre("b"));
  EXPECT_THAT(names(b, u"friendOf"), ElementsAre("a"));
}

TEST_F(OppositeTest, MayTieAnElementToItself) {
  set(d, u"left", d);
  EXPECT_EQ(nameOf(d, u"right"), "d");
  set(d, u"left", a);
  EXPECT_EQ(nameOf(d, u"right"), "-");
  add(a, u"friends", a);
  EXPECT_THAT(names(a, u"friendOf"), ElementsAre("a"));
  set(a, u"owner", a);
  EXPECT_THAT(names(a, u"owned"), ElementsAre("a"));
  a->destroy();
  EXPECT_EQ(nameOf(d, u"left"), "-");
}

TEST_F(OppositeTest, LetsGoOfTheDestroyed) {
  set(a, u"left", b);
  set(b, u"owner", c);
  add(b, u"friends", d);
  b->destroy();
  EXPECT_EQ(nameOf(a, u"left"), "-");
  EXPECT_THAT(names(c, u"owned"), IsEmpty());
  EXPECT_THAT(names(d, u"friendOf"), IsEmpty());
}

TEST_F(OppositeTest, SetsExactlyTheAssignedOrderWhateverTheOtherEndsFilledIn) {
  add(c, u"friendOf", a);
  add(d, u"friendOf", a);
  const Value friends = live(a, u"friends");
  friends.toElementCollection().assign({d, b, c, b});
  EXPECT_THAT(names(a, u"friends"), ElementsAre("d", "b", "c"));
  EXPECT_THAT(names(b, u"friendOf"), ElementsAre("a"));
  friends.toElementCollection().assign({b});
  EXPECT_THAT(names(d, u"friendOf"), IsEmpty());
}

TEST_F(OppositeTest, UndoesBothEndsWithTheTransaction) {
  set(a, u"left", b);
  add(a, u"friends", b);
  set(c, u"owner", a);
  const std::string before = dump(model);
  Transaction change = model->beginTransaction(false);
  set(c, u"left", b);
  add(d, u"friends", b);
  const Value friends = live(a, u"friends");
  friends.toElementCollection().assign({d, c});
  set(c, u"owner", d);
  set(b, u"right", d);
  add(d, u"friendOf", a);
  EXPECT_EQ(inconsistencies(model), "");
  change.rollBack();
  EXPECT_EQ(dump(model), before);
}

TEST_F(OppositeTest, HoldsForPropertiesThatWereCopiedFromAFurtherSupertype) {
  meta::PackageBuilder package(u"kerneltest2");
  auto& source = package.addClass(u"Source");
  auto& target = package.addClass(u"Target");
  source.reference(u"one", target).opposite(u"oneOf");
  target.reference(u"oneOf", source).opposite(u"one");
  source.reference(u"some", target).many().opposite(u"someOf");
  target.reference(u"someOf", source).opposite(u"some");
  package.addClass(u"Copy").alsoConformsTo(source);
  package.registerPackage();
  const auto make = [&](const char16_t* name) {
    return narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(ustring(u"kerneltest2.") + name))
        ->instantiate(model, boost::uuids::uuid{});
  };
  const ModelElement s = make(u"Source");
  const ModelElement x = make(u"Copy");
  const ModelElement t = make(u"Target");
  s->set(u"one", t);
  x->set(u"one", t);
  EXPECT_FALSE(s->get<ModelElement>(u"one"));
  EXPECT_EQ(t->get<ModelElement>(u"oneOf"), x);
  const auto some = [&](const ModelElement& element) {
    return element->getPropertyValue(element->property(u"some"), ReflectionPrivateTag::PUBLIC_ACCESS);
  };
  some(x).toElementCollection().addElement(t);
  some(s).toElementCollection().addElement(t);
  EXPECT_TRUE(some(x).toElementCollection().empty());
  EXPECT_EQ(t->get<ModelElement>(u"someOf"), s);
  t->set(u"someOf", x);
  EXPECT_THAT(some(x).toElementCollection().getAllElements(), ElementsAre(t));
  EXPECT_TRUE(some(s).toElementCollection().empty());
}
