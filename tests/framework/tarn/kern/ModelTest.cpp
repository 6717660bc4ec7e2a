#include <unordered_set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/uuid/string_generator.hpp>

#include <sys/wait.h>
#include <tarn/kern/Model.h>
#include <unistd.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const boost::uuids::uuid kNil{};
const boost::uuids::uuid kGiven = boost::uuids::string_generator()("00112233-4455-6677-8899-aabbccddeeff");

template <class Error, class F>
std::string errorOf(F&& act) {
  try {
    act();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

}  // namespace

TEST(Model, IsHarmlessWhenNull) {
  const Model null;
  EXPECT_FALSE(null);
  Model copy = null;
  copy = null;
  const Model moved = std::move(copy);
  EXPECT_EQ(moved, null);
}

TEST(Model, IsOneKeyHoweverManyHandlesNameIt) {
  const Model model = newModel();
  const std::unordered_set<Model> models = {model, Model(model), newModel(), Model()};
  EXPECT_EQ(models.size(), 3U);
  EXPECT_EQ(&*model, model.operator->());
}

TEST(Model, StartsEmpty) {
  const Model model = newModel();
  EXPECT_TRUE(model->getTopLevelElements().empty());
  EXPECT_TRUE(model->getAllElements(FindElementBehavior::Anywhere).empty());
  EXPECT_TRUE(model->getUsedPackageUris().empty());
  EXPECT_EQ(model->getDataSource(), nullptr);
}

TEST(Model, GivesEachNewElementAnotherUuid) {
  const Model model = newModel();
  const ModelElement a = types().node->instantiate(model, kNil);
  const ModelElement b = types().node->instantiate(model, kNil);
  EXPECT_NE(a->getUuid(), b->getUuid());
  EXPECT_FALSE(a->getUuid().is_nil());
}

TEST(Model, GivesOtherUuidsInAForkedProcess) {
  const Model model = newModel();
  newNode(model);  // random numbers are drawn ahead
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const boost::uuids::uuid uuid = newNode(model)->getUuid();
    const bool isTold = ::write(ends[1], uuid.data, sizeof uuid.data) == sizeof uuid.data;
    ::_exit(isTold ? 0 : 1);
  }
  ASSERT_GT(child, 0);
  boost::uuids::uuid ofChild{};
  EXPECT_EQ(::read(ends[0], ofChild.data, sizeof ofChild.data), ssize_t{sizeof ofChild.data});
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_NE(newNode(model)->getUuid(), ofChild);
  for (const int end : ends) ::close(end);
}

TEST(Model, FindsAnElementByTheUuidItWasGiven) {
  const Model model = newModel();
  const ModelElement element = types().node->instantiate(model, kGiven);
  EXPECT_EQ(element->getUuid(), kGiven);
  EXPECT_EQ(model->findElement(kGiven, FindElementBehavior::Anywhere), element);
  EXPECT_FALSE(model->findElement(kNil, FindElementBehavior::Anywhere));
}

TEST(Model, RefusesASecondElementOfOneUuid) {
  const Model model = newModel();
  const ModelElement first = types().node->instantiate(model, kGiven);
  const std::string error = errorOf<InstantiationError>([&] { (void)types().special->instantiate(model, kGiven); });
  EXPECT_EQ(
      error,
      "cannot make a kerneltest.Special with the uuid 00112233-4455-6677-8899-aabbccddeeff: the model holds Node (Node "
      "00112233-4455-6677-8899-aabbccddeeff) already; find that element instead, or pass the nil uuid for a fresh one");
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(Model, TakesAUuidAgainOnceItsElementIsDestroyed) {
  const Model model = newModel();
  const ModelElement first = types().node->instantiate(model, kGiven);
  first->destroy();
  const ModelElement second = types().node->instantiate(model, kGiven);
  EXPECT_NE(first, second);
  EXPECT_EQ(model->findElement(kGiven, FindElementBehavior::Anywhere), second);
}

TEST(Model, RefusesElementsOfAbstractClassesAndNullModels) {
  const Model model = newModel();
  EXPECT_EQ(
      errorOf<InstantiationError>([&] { (void)types().abstractNode->instantiate(model, kNil); }),
      "cannot make an element of the abstract class kerneltest.AbstractNode: name one of the classes derived from it");
  EXPECT_EQ(errorOf<InstantiationError>([&] { (void)types().node->instantiate(Model(), kNil); }),
            "cannot make a kerneltest.Node in a null model: create one with Model::create first");
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(Model, ListsElementsInOrderOfCreation) {
  const Model model = newModel();
  const ModelElement a = newNode(model, u"a");
  const ModelElement b = newNode(model, u"b");
  const ModelElement c = newNode(model, u"c");
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(a, b, c));
  add(c, u"children", a);
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(b, c));
  EXPECT_THAT(model->getAllElements(FindElementBehavior::Anywhere), ElementsAre(a, b, c));
}

TEST(Model, ListsAnElementThatLostItsContainerLast) {
  const Model model = newModel();
  const ModelElement a = newNode(model, u"a");
  const ModelElement b = newNode(model, u"b");
  add(b, u"children", a);
  const ModelElement c = newNode(model, u"c");
  a->set(u"parent", ModelElement());
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(b, c, a));
}

TEST(Model, ListsElementsByClassWithOrWithoutDerivedOnes) {
  const Model model = newModel();
  const ModelElement node = newNode(model);
  const ModelElement special = types().special->instantiate(model, kNil);
  const ModelElement unrelated = types().unrelated->instantiate(model, kNil);
  EXPECT_THAT(model->getElementsOfClass(types().node, false), ElementsAre(node));
  EXPECT_THAT(model->getElementsOfClass(types().node, true), ElementsAre(node, special));
  EXPECT_THAT(model->getElementsOfClass(ModelElement::metaClass(), true), ElementsAre(node, special, unrelated));
  const ModelElement second = types().special->instantiate(model, kNil);
  const ModelElement third = types().unrelated->instantiate(model, kNil);
  EXPECT_THAT(model->getElementsOfClass(types().node, true), ElementsAre(node, special, second));
  EXPECT_THAT(model->getElementsOfClass(ModelElement::metaClass(), true),
              ElementsAre(node, special, unrelated, second, third));
}

TEST(Model, NamesTheUsedPackagesOnceAndNeverTheKernels) {
  const Model model = newModel();
  newNode(model);
  newNode(model);
  EXPECT_THAT(model->getUsedPackageUris(), ElementsAre(u"urn:kerneltest"));
}

TEST(Model, LeavesHandlesThatReadAsDestroyedWhenItsLastHandleGoes) {
  ModelElement element;
  {
    const Model model = newModel();
    element = newNode(model, u"left");
    EXPECT_EQ(element->getModel(), model);
  }
  EXPECT_TRUE(element->isDestroyed());
  EXPECT_FALSE(element->getModel());
  EXPECT_FALSE(element->container());
  EXPECT_EQ(element->getMetaClass(), types().node);
  EXPECT_THAT(errorOf<DestroyedElementError>([&] { (void)element->get<ustring>(u"name"); }),
              HasSubstr("was destroyed, or its model is gone"));
}

TEST(Model, DestroysItsContentWhileHandlesExist) {
  const Model model = newModel();
  const ModelElement element = newNode(model);
  Transaction open = model->beginTransaction(false);
  model->destroy();
  EXPECT_TRUE(element->isDestroyed());
  EXPECT_EQ(model->getElementCount(), 0U);
  EXPECT_THROW(open.commit(boost::none), TransactionError);
  const ModelElement after = newNode(model, u"after");
  EXPECT_THAT(model->getTopLevelElements(), ElementsAre(after));
}

TEST(Model, FreesElementsThatHoldEachOtherThroughValues) {
  // A cycle of handles through data values would leak; the leak checker is the judge.
  const Model model = newModel();
  const ModelElement a = newNode(model, u"a");
  const Value places = live(a, u"places");
  ReflectiveDataType place(types().place);
  places.toPrimitiveCollection().addValue(Value(place));
  a->destroy();
  EXPECT_TRUE(a->isDestroyed());
}

TEST(Model, KeepsCollectionValuesSafeAfterItIsGone) {
  boost::optional<Value> moved;
  boost::optional<Value> copied;
  {
    const Model model = newModel();
    const ModelElement node = newNode(model);
    add(node, u"children", newNode(model));
    moved = live(node, u"children");
    copied = *moved;
  }
  EXPECT_THROW((void)moved->toElementCollection().size(), DestroyedElementError) << "moved, it is still live";
  EXPECT_EQ(copied->toElementCollection().size(), 1U) << "copied, it is a snapshot";
  EXPECT_THAT(copied->toElementCollection().getAllElements(), ElementsAre(ModelElement()));
}

TEST(Model, StaysInProportionWhenElementsComeAndGo) {
  const Model model = newModel();
  for (int round = 0; round < 20; ++round) {
    std::vector<ModelElement> made;
    for (int i = 0; i < 2000; ++i) made.push_back(newNode(model));
    for (const ModelElement& element : made) element->destroy();
  }
  const ModelElement last = newNode(model, u"last");
  EXPECT_THAT(model->getAllElements(FindElementBehavior::Anywhere), ElementsAre(last));
  EXPECT_EQ(inconsistencies(model), "");
}

TEST(Model, IsUsedPackageByPackageAlsoWhereElementsWereDestroyed) {
  const Model model = newModel();
  const ModelElement gone = newNode(model);
  const ModelElement there = types().unrelated->instantiate(model, kNil);
  Transaction change = model->beginTransaction(false);
  gone->destroy();  // it can come back, so its place is kept
  EXPECT_THAT(model->getUsedPackageUris(), ElementsAre(u"urn:kerneltest"));
  there->destroy();
  EXPECT_THAT(model->getUsedPackageUris(), testing::IsEmpty());
}
