#include <set>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/Cloner.h"
#include "quillon/nimbo/Duplicate.h"
#include "support/CloningMetaModel.h"
#include "support/TestMetaModel.h"

namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::ReflectiveDataType;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::addTo;
using testsupport::emptyModel;
using testsupport::innerType;
using testsupport::linkType;
using testsupport::membersOf;
using testsupport::newNode;
using testsupport::nodeIn;
using testsupport::targetOf;
using testsupport::valueOf;

class DuplicateTest : public testing::Test {
 protected:
  Model model = emptyModel();
  Model elsewhere = emptyModel();
  ModelElement a = newNode(model, 1, u"a");
  ModelElement b = newNode(model, 2, u"b");
  ModelElement part = newNode(model, 3, u"part");
  ModelElement outside = newNode(model, 4, u"outside");
};

TEST_F(DuplicateTest, ACopyHasTheAttributesAndAUuidOfItsOwn) {
  const ModelElement leaf = newNode(model, 9, u"leaf", u"Leaf");
  leaf->set(u"size", std::int32_t{4});
  valueOf(leaf, u"numbers").toPrimitiveCollection().addValue(std::int32_t{7});
  valueOf(leaf, u"tags").toStringToStringMap().insert(u"k", u"v", kern::CollisionResolution::Replace);
  const ModelElement copy = duplicate(leaf, model);
  EXPECT_NE(copy->getUuid(), leaf->getUuid());
  EXPECT_EQ(copy->getMetaClass(), leaf->getMetaClass());
  EXPECT_EQ(copy->getModel(), model);
  for (const char16_t* name : {u"name", u"size", u"numbers", u"tags"}) {
    EXPECT_EQ(valueOf(copy, name), valueOf(leaf, name));
  }
}

TEST_F(DuplicateTest, ContentIsCopiedAndReferencesWithinPointToTheCopies) {
  addTo(a, u"children", part);
  addTo(a, u"children", b);
  part->set(u"next", b);
  b->set(u"next", a);
  a->set(u"boss", part);
  const ModelElement copy = duplicate(a, model);
  const std::vector<ModelElement> children = membersOf(copy, u"children");
  ASSERT_EQ(children.size(), 2U);
  EXPECT_EQ(children[0]->get<std::u16string>(u"name"), u"part");
  EXPECT_NE(children[0], part);
  EXPECT_EQ(targetOf(children[0], u"next"), children[1]);
  EXPECT_EQ(targetOf(children[1], u"next"), copy);
  EXPECT_THAT(membersOf(children[0], u"staff"), ElementsAre(copy));
  EXPECT_THAT(membersOf(part, u"staff"), ElementsAre(a));
}

TEST_F(DuplicateTest, ReferencesToTheOutsideStayWithinTheSameModel) {
  a->set(u"next", outside);
  addTo(a, u"refs", outside);
  addTo(a, u"refs", ModelElement());
  addTo(a, u"refs", a);
  addTo(a, u"index", outside);
  const ModelElement copy = duplicate(a, model);
  EXPECT_EQ(targetOf(copy, u"next"), outside);
  EXPECT_THAT(membersOf(copy, u"refs"), ElementsAre(outside, ModelElement(), copy));
  EXPECT_THAT(membersOf(copy, u"index"), ElementsAre(outside));
}

TEST_F(DuplicateTest, ReferencesToTheOutsideAreLeftOutInAnotherModel) {
  a->set(u"next", outside);
  for (const ModelElement& member : {outside, a, outside, b}) addTo(a, u"refs", member);
  const std::vector<ModelElement> copies = duplicate({a, b}, elsewhere);
  EXPECT_FALSE(targetOf(copies[0], u"next"));
  EXPECT_THAT(membersOf(copies[0], u"refs"), ElementsAre(copies[0], copies[1]));
  EXPECT_EQ(elsewhere->getElementCount(), 2U);
}

TEST_F(DuplicateTest, AnElementOutsideGainsTheCopyWhereItMayHaveMany) {
  a->set(u"boss", outside);
  addTo(outside, u"friends", a);
  const ModelElement copy = duplicate(a, model);
  EXPECT_EQ(targetOf(copy, u"boss"), outside);
  EXPECT_THAT(membersOf(outside, u"staff"), ElementsAre(a, copy));
  EXPECT_THAT(membersOf(outside, u"friends"), ElementsAre(a, copy));
}

TEST_F(DuplicateTest, AnElementOutsideIsNotTakenFromTheOriginal) {
  addTo(a, u"staff", outside);
  a->set(u"partner", outside);
  const ModelElement copy = duplicate(a, model);
  EXPECT_THAT(membersOf(copy, u"staff"), IsEmpty());
  EXPECT_FALSE(targetOf(copy, u"partner"));
  EXPECT_EQ(targetOf(outside, u"boss"), a);
  EXPECT_EQ(targetOf(a, u"partner"), outside);
}

TEST_F(DuplicateTest, ACopyIsTopLevelUnlessItsContainerIsCopied) {
  addTo(a, u"children", part);
  EXPECT_FALSE(duplicate(part, model)->container());
  EXPECT_THAT(membersOf(a, u"children"), ElementsAre(part));

  const std::vector<ModelElement> both = duplicate({part, a, part, ModelElement()}, elsewhere);
  ASSERT_EQ(both.size(), 4U);
  EXPECT_EQ(both[0]->container(), both[1]);
  EXPECT_EQ(both[2], both[0]);
  EXPECT_FALSE(both[3]);
  EXPECT_EQ(elsewhere->getElementCount(), 2U);
}

TEST_F(DuplicateTest, OmittedPropertiesAreLeftOut) {
  a->set(u"scratch", part);
  a->set(u"hidden", outside);
  const ModelElement copy = duplicate(a, model);
  EXPECT_FALSE(targetOf(copy, u"scratch"));
  EXPECT_FALSE(targetOf(copy, u"hidden"));
}

TEST_F(DuplicateTest, ReferencesWithinDataValuesAreResolved) {
  ReflectiveDataType inner(innerType());
  inner.set(u"target", a);
  ReflectiveDataType nested(linkType());
  nested.set(u"target", a);
  ReflectiveDataType link(linkType());
  link.set(u"label", u"kept").set(u"target", outside).set(u"inner", inner);
  for (const ModelElement& target : {outside, b}) {
    link.getPropertyValue(linkType()->getProperty(u"targets")).toElementCollection().addElement(target);
  }
  link.getPropertyValue(linkType()->getProperty(u"inners")).toPrimitiveCollection().addValue(kern::Value(nested));
  a->set(u"link", link);
  valueOf(a, u"links").toPrimitiveCollection().addValue(kern::Value(link));

  for (const Model& target : {model, elsewhere}) {
    const ModelElement kept = target == model ? outside : ModelElement();
    const std::vector<ModelElement> copies = duplicate({a, b}, target);
    const auto copied = valueOf(copies[0], u"link").get<ReflectiveDataType>();
    EXPECT_EQ(copied.get<std::u16string>(u"label"), u"kept");
    EXPECT_EQ(copied.get<ModelElement>(u"target"), kept);
    EXPECT_EQ(copied.get<ReflectiveDataType>(u"inner").get<ModelElement>(u"target"), copies[0]);
    const auto targets = copied.getPropertyValue(linkType()->getProperty(u"targets"));
    EXPECT_EQ(targets.toElementCollection().getAllElements(),
              kept ? (std::vector<ModelElement>{kept, copies[1]}) : std::vector<ModelElement>{copies[1]});
    const auto inners =
        copied.getPropertyValue(linkType()->getProperty(u"inners")).toPrimitiveCollection().getAllValues();
    ASSERT_EQ(inners.size(), 1U);
    EXPECT_EQ(inners[0].get<ReflectiveDataType>().get<ModelElement>(u"target"), copies[0]);
    const auto links = valueOf(copies[0], u"links").toPrimitiveCollection().getAllValues();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_EQ(links[0].get<ReflectiveDataType>(), copied);
  }
}

TEST_F(DuplicateTest, AFailureLeavesTheTargetAsItWas) {
  addTo(a, u"children", part);
  const ModelElement destroyed = newNode(model, 8);
  destroyed->destroy();
  EXPECT_THROW(static_cast<void>(duplicate({a, destroyed}, model)), kern::DestroyedElementError);
  EXPECT_EQ(model->getElementCount(), 4U);
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

TEST_F(DuplicateTest, NullModelsAreRefusedAndNothingGivesNothing) {
  EXPECT_THROW(static_cast<void>(duplicate(a, Model())), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(duplicate(Model())), std::invalid_argument);
  EXPECT_THAT(duplicate(std::vector<ModelElement>(), model), IsEmpty());
  EXPECT_FALSE(duplicate(ModelElement(), model));
}

/// Source and copy walked side by side: the models are equal when each uuid of the one is told as that of the other.
class SameShape {
 public:
  void expect(const ModelElement& source, const ModelElement& copy) {
    fOpen.emplace_back(source, copy);
    while (!fOpen.empty()) {
      const auto [x, y] = fOpen.back();
      fOpen.pop_back();
      ASSERT_EQ(static_cast<bool>(x), static_cast<bool>(y));
      if (!x) continue;
      const auto [known, isNew] = fCopies.try_emplace(x, y);
      ASSERT_EQ(known->second, y);
      if (!isNew) continue;
      ASSERT_TRUE(fUuids.insert(y->getUuid()).second);
      ASSERT_NE(x->getUuid(), y->getUuid());
      ASSERT_EQ(x->getMetaClass(), y->getMetaClass());
      compare(x, y);
    }
  }

 private:
  void compare(const ModelElement& x, const ModelElement& y) {
    for (const auto& property : x->getMetaClass()->getAllProperties()) {
      if (!property->isReference()) {
        ASSERT_EQ(valueOf(x, property->getName()), valueOf(y, property->getName()));
      } else if (!property->isCollection()) {
        fOpen.emplace_back(targetOf(x, property->getName()), targetOf(y, property->getName()));
      } else {
        const auto a = membersOf(x, property->getName());
        const auto b = membersOf(y, property->getName());
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i) fOpen.emplace_back(a[i], b[i]);
      }
    }
  }

  std::vector<std::pair<ModelElement, ModelElement>> fOpen;
  std::unordered_map<ModelElement, ModelElement> fCopies;
  std::set<boost::uuids::uuid> fUuids;
};

TEST(DuplicateModelTest, RandomModelsAreCopiedWhole) {
  for (std::uint32_t seed = 1; seed <= 30; ++seed) {
    const Model source = emptyModel();
    const ModelElement root = testsupport::fillNodesByChance(source, seed, 1 + seed * 5);
    const Model copy = duplicate(source);
    ASSERT_EQ(copy->getElementCount(), source->getElementCount());
    SameShape().expect(root, copy->getTopLevelElements().front());
    SameShape().expect(root, duplicate(root, source));
    if (HasFatalFailure()) FAIL() << "seed " << seed;
  }
}

TEST(DuplicateModelTest, DuplicatingTwiceWithinTheModelKeepsTheOriginal) {
  const Model source = emptyModel();
  const ModelElement root = testsupport::fillNodesByChance(source, 5, 50);
  const Model before = emptyModel();
  Cloner(before).clone(source);
  const ModelElement first = duplicate(root, source);
  static_cast<void>(duplicate(first, source));
  EXPECT_EQ(source->getElementCount(), 150U);
  const Model after = emptyModel();
  Cloner(after).clone({root});
  EXPECT_TRUE(kern::modelsEqual(before, after));
}

TEST(DuplicateModelTest, ContainmentOfAnyDepthIsCopied) {
  testsupport::onSmallStack([] {
    const Model source = emptyModel();
    const ModelElement first = newNode(source, 1);
    ModelElement last = first;
    for (int i = 2; i <= testsupport::kLongChain; ++i) {
      const ModelElement next = newNode(source, static_cast<std::uint64_t>(i));
      last->set(u"child", next);
      last = next;
    }
    last->set(u"next", first);
    const Model target = emptyModel();
    const ModelElement copy = duplicate(first, target);
    ModelElement end = copy;
    int length = 1;
    for (ModelElement next = targetOf(end, u"child"); next; next = targetOf(end, u"child")) {
      end = next;
      ++length;
    }
    EXPECT_EQ(length, testsupport::kLongChain);
    EXPECT_EQ(targetOf(end, u"next"), copy);
  });
}

}  // namespace
}  // namespace quillon::nimbo
