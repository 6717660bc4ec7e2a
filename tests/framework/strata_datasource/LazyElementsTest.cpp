#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Testing.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::add;
using kerneltest::nameOf;
using kerneltest::names;
using kerneltest::newNode;
using kerneltest::property;
using kerneltest::types;
using storetest::open;
using storetest::sql;
using tarn::kern::testhooks::isLoaded;

namespace {

using Names = std::vector<std::string>;

/// A tree of 2,001 nodes: "root": 20 branches of 99 leaves each, in the file.
class LazyElementsTest : public testing::Test {
 protected:
  void SetUp() override {
    const Model model = open(fPath);
    Transaction change = model->beginTransaction(false);
    const ModelElement root = newNode(model, u"root");
    fRoot = root->getUuid();
    for (int i = 0; i < 20; ++i) {
      const ModelElement branch = newNode(model, u"branch");
      add(root, u"children", branch);
      fBranches.push_back(branch->getUuid());
      for (int k = 0; k < 99; ++k) add(branch, u"children", newNode(model, u"leaf"));
    }
    change.commit(boost::none);
  }

  [[nodiscard]] ModelElement at(const Model& model, const boost::uuids::uuid& uuid) const {
    return model->findElement(uuid, FindElementBehavior::Anywhere);
  }
  [[nodiscard]] ModelElement root(const Model& model) const { return at(model, fRoot); }
  [[nodiscard]] ModelElement branch(const Model& model, std::size_t i) const { return at(model, fBranches[i]); }
  [[nodiscard]] static std::size_t inMemory(const Model& model) {
    return model->getAllElements(FindElementBehavior::InMemory).size();
  }
  [[nodiscard]] static std::size_t loaded(const Model& model) {
    std::size_t count = 0;
    for (const ModelElement& element : model->getAllElements(FindElementBehavior::InMemory)) count += isLoaded(element);
    return count;
  }
  template <class Change>
  static void commit(const Model& model, Change make) {
    Transaction change = model->beginTransaction(false);
    make();
    change.commit(boost::none);
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "tree.db";
  boost::uuids::uuid fRoot{};
  std::vector<boost::uuids::uuid> fBranches;
};

}  // namespace

// --- What appears when.

TEST_F(LazyElementsTest, BindingReadsNoContent) {
  const Model model = open(fPath);
  EXPECT_EQ(inMemory(model), 0U);
  EXPECT_EQ(model->getElementCount(), 2001U);
}

TEST_F(LazyElementsTest, FindingAnElementMakesAProxyAndTouchingItLoads) {
  const Model model = open(fPath);
  const ModelElement found = branch(model, 10);
  ASSERT_TRUE(found);
  EXPECT_EQ(inMemory(model), 1U);
  EXPECT_FALSE(isLoaded(found));
  EXPECT_EQ(found->getMetaClass(), types().node);
  EXPECT_EQ(found->getUuid(), fBranches[10]);
  EXPECT_FALSE(found->isDestroyed());
  EXPECT_EQ(found->getModel(), model);
  EXPECT_FALSE(isLoaded(found));

  EXPECT_EQ(nameOf(found), "branch");
  EXPECT_TRUE(isLoaded(found));
  EXPECT_LT(inMemory(model), 400U);
}

TEST_F(LazyElementsTest, EveryWayToTouchAnElementLoadsIt) {
  const std::function<void(const ModelElement&)> touches[] = {
      [](const ModelElement& e) { static_cast<void>(e->get<ustring>(u"name")); },
      [](const ModelElement& e) {
        static_cast<void>(e->getPropertyValue(property(u"children"), ReflectionPrivateTag::PUBLIC_ACCESS));
      },
      [](const ModelElement& e) { static_cast<void>(e->container()); },
      [](const ModelElement& e) { static_cast<void>(e->containerProperty()); },
      [](const ModelElement& e) { static_cast<void>(e->contents()); },
      [](const ModelElement& e) { static_cast<void>(e->incomingReferences()); },
      [](const ModelElement& e) { static_cast<void>(e->peek<ustring>(property(u"name"))); },
      [](const ModelElement& e) { static_cast<void>(e->peekElement(property(u"next"))); },
      [](const ModelElement& e) { static_cast<void>(e->peekElements(property(u"children"))); },
      [](const ModelElement& e) { static_cast<void>(e->peekCollection<std::int32_t>(property(u"numbers"))); },
      [](const ModelElement& e) { e->set<ustring>(u"note", u"x"); },
      [](const ModelElement& e) { e->unset(property(u"note")); },
  };
  for (const auto& touch : touches) {
    const Model model = open(fPath);
    const ModelElement element = branch(model, 3);
    touch(element);
    EXPECT_TRUE(isLoaded(element)) << &touch - touches;
  }
}

TEST_F(LazyElementsTest, BringsNeighboursInTheSameBatch) {
  const Model model = open(fPath);
  const ModelElement element = branch(model, 5);
  EXPECT_EQ(nameOf(element), "branch");
  const std::vector<ModelElement> leaves =
      kerneltest::live(element, u"children").toElementCollection().getAllElements();
  ASSERT_EQ(leaves.size(), 99U);
  EXPECT_TRUE(isLoaded(leaves.front()));
  EXPECT_FALSE(isLoaded(leaves.back()));  // in another block of ids
  EXPECT_FALSE(isLoaded(branch(model, 19)));
}

TEST_F(LazyElementsTest, ListsAllElementsAsProxies) {
  const Model model = open(fPath);
  const std::vector<ModelElement> all = model->getAllElements(FindElementBehavior::Anywhere);
  EXPECT_EQ(all.size(), model->getElementCount());
  EXPECT_EQ(loaded(model), 0U);
  EXPECT_EQ(all.front(), root(model));
  EXPECT_EQ(model->getTopLevelElements(), std::vector<ModelElement>{root(model)});
  EXPECT_EQ(loaded(model), 0U);
}

TEST_F(LazyElementsTest, GivesTheSameHandleAgain) {
  const Model model = open(fPath);
  const ModelElement found = branch(model, 2);
  EXPECT_EQ(branch(model, 2), found);
  EXPECT_EQ(kerneltest::live(root(model), u"children").toElementCollection().getElement(2), found);
  EXPECT_EQ(model->getAllElements(FindElementBehavior::Anywhere)[1 + 2 * 100], found);
}

TEST_F(LazyElementsTest, FindsInMemoryOnlyWhenAskedTo) {
  const Model model = open(fPath);
  EXPECT_FALSE(model->findElement(fRoot, FindElementBehavior::InMemory));
  EXPECT_TRUE(model->findElement(fRoot, FindElementBehavior::Anywhere));
  EXPECT_FALSE(model->findElement(boost::uuids::uuid{}, FindElementBehavior::Anywhere));
}

TEST_F(LazyElementsTest, NamesThePackagesOfWhatIsNotInMemory) {
  const Model model = open(fPath);
  EXPECT_EQ(model->getUsedPackageUris(), std::vector<ustring>{types().node->getOwningPackage()->getUri()});
  root(model)->destroy();
  EXPECT_TRUE(model->getUsedPackageUris().empty());
}

TEST_F(LazyElementsTest, RefusesAUuidThatOnlyTheStoreHas) {
  const Model model = open(fPath);
  EXPECT_THROW(static_cast<void>(types().node->instantiate(model, fRoot)), InstantiationError);
}

// --- Changes around what is not loaded.

TEST_F(LazyElementsTest, MovesAnElementOutOfAContainerThatWasNotLoaded) {
  const Model model = open(fPath);
  const ModelElement moved = branch(model, 4);
  commit(model, [&] { add(branch(model, 9), u"children", moved); });
  EXPECT_EQ(moved->container(), branch(model, 9));
  EXPECT_EQ(names(root(model), u"children").size(), 19U);
  model->resetDataSource();
  EXPECT_EQ(names(branch(open(fPath), 9), u"children").size(), 100U);
}

TEST_F(LazyElementsTest, RefusesACycleThroughElementsThatAreNotLoaded) {
  const Model model = open(fPath);
  const ModelElement leaf = kerneltest::live(branch(model, 15), u"children").toElementCollection().getElement(98);
  EXPECT_THROW(add(leaf, u"children", root(model)), ContainmentError);
}

TEST_F(LazyElementsTest, ClearsReferencesFromElementsThatAreNotLoaded) {
  {
    const Model model = open(fPath);
    commit(model, [&] {
      kerneltest::set(branch(model, 0), u"next", branch(model, 19));
      add(branch(model, 1), u"others", branch(model, 19));
      add(branch(model, 2), u"path", branch(model, 19));
      add(branch(model, 2), u"path", branch(model, 3));
      add(branch(model, 2), u"path", branch(model, 19));
      kerneltest::set(branch(model, 3), u"left", branch(model, 19));
      add(branch(model, 4), u"friends", branch(model, 19));
      kerneltest::set(branch(model, 5), u"owner", branch(model, 19));
    });
  }
  {
    const Model model = open(fPath);
    EXPECT_EQ(branch(model, 19)->incomingReferences().size(), 6U);
  }
  {
    const Model model = open(fPath);
    commit(model, [&] { branch(model, 19)->destroy(); });
  }
  const Model model = open(fPath);
  EXPECT_FALSE(branch(model, 19));
  EXPECT_EQ(nameOf(branch(model, 0), u"next"), "-");
  EXPECT_EQ(names(branch(model, 1), u"others"), Names{});
  EXPECT_EQ(names(branch(model, 2), u"path"), Names{"branch"});
  EXPECT_EQ(nameOf(branch(model, 3), u"left"), "-");
  EXPECT_EQ(names(branch(model, 4), u"friends"), Names{});
  EXPECT_EQ(nameOf(branch(model, 5), u"owner"), "-");
  EXPECT_EQ(kerneltest::inconsistencies(model), "");
  EXPECT_EQ(model->getElementCount(), 1901U);
}

TEST_F(LazyElementsTest, RollsADestructionBack) {
  const Model model = open(fPath);
  Transaction change = model->beginTransaction(false);
  root(model)->destroy();
  EXPECT_EQ(model->getElementCount(), 0U);
  EXPECT_FALSE(root(model));
  EXPECT_TRUE(model->getTopLevelElements().empty());
  EXPECT_TRUE(model->getElementsOfClass(types().node, true).empty());
  change.rollBack();
  EXPECT_EQ(model->getElementCount(), 2001U);
  EXPECT_EQ(names(root(model), u"children").size(), 20U);
  EXPECT_EQ(kerneltest::inconsistencies(model), "");
}

TEST_F(LazyElementsTest, KeepsWhatWasLoadedInATransactionThatIsRolledBack) {
  const Model model = open(fPath);
  Transaction change = model->beginTransaction(false);
  const ModelElement made = newNode(model, u"made");
  EXPECT_EQ(nameOf(branch(model, 7)), "branch");
  add(branch(model, 7), u"children", made);
  change.rollBack();
  EXPECT_TRUE(made->isDestroyed());
  EXPECT_TRUE(isLoaded(branch(model, 7)));
  EXPECT_EQ(names(branch(model, 7), u"children").size(), 99U);
  EXPECT_EQ(newNode(model, u"another")->getModel(), model);
  EXPECT_EQ(kerneltest::inconsistencies(model), "");
}

TEST_F(LazyElementsTest, ReadingCommitsNothing) {
  const std::string before = storetest::bytesOf(fPath);
  const Model model = open(fPath);
  Transaction change = model->beginTransaction(false);
  static_cast<void>(kerneltest::dump(model));
  EXPECT_EQ(change.commit(boost::none), TransactionResult::Nothing);
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}

// --- Queries.

TEST_F(LazyElementsTest, QueriesFindWhatIsCommittedAndWhatIsNot) {
  const Model model = open(fPath);
  const auto query = model->getDataSource()->createQuery();
  query->setCondition(query->classCondition(types().special, true));
  EXPECT_TRUE(query->fetch({}).empty());
  Transaction change = model->beginTransaction(false);
  const ModelElement first = types().special->instantiate(model, {});
  const ModelElement second = types().special->instantiate(model, {});
  EXPECT_EQ(query->fetch({}), (std::vector<ModelElement>{first, second}));
  first->destroy();
  EXPECT_EQ(query->fetch({}), std::vector<ModelElement>{second});
  change.commit(boost::none);
  EXPECT_EQ(query->fetch({}), std::vector<ModelElement>{second});

  query->setCondition(query->classCondition(types().node, true));
  EXPECT_EQ(query->fetch({}).size(), 2002U);
  EXPECT_EQ(query->fetch({}).back(), second);
  query->setCondition(query->classCondition(types().node, false));
  EXPECT_EQ(query->fetch({}).size(), 2001U);
  EXPECT_EQ(query->fetch({}).front(), root(model));
  query->setCondition(nullptr);
  EXPECT_EQ(query->fetch({}).size(), model->getElementCount());
  query->setCondition(query->classCondition(meta::Class(), true));
  EXPECT_TRUE(query->fetch({}).empty());
  EXPECT_THROW(static_cast<void>(query->fetch({Value(1)})), KernelError);
}

TEST_F(LazyElementsTest, QueriesLoadNothing) {
  const Model model = open(fPath);
  EXPECT_EQ(model->getElementsOfClass(types().node, true).size(), model->getElementCount());
  EXPECT_EQ(loaded(model), 0U);
}

TEST_F(LazyElementsTest, QueriesThatOutliveTheStoreFindNothing) {
  Model model = open(fPath);
  const auto query = model->getDataSource()->createQuery();
  EXPECT_EQ(query->fetch({}).size(), model->getElementCount());
  model->resetDataSource();
  EXPECT_TRUE(query->fetch({}).empty());
  model = nullptr;
  EXPECT_TRUE(query->fetch({}).empty());
}

// --- The end of a binding.

TEST_F(LazyElementsTest, ResettingMakesEverythingReal) {
  const std::string expected = kerneltest::dump(open(fPath));
  const Model model = open(fPath);
  const ModelElement touched = branch(model, 12);
  model->resetDataSource();
  model->resetDataSource();  // nothing is bound: nothing happens
  EXPECT_EQ(model->getDataSource(), nullptr);
  EXPECT_EQ(loaded(model), model->getElementCount());
  EXPECT_EQ(branch(model, 12), touched);
  EXPECT_EQ(kerneltest::dump(model), expected);
  touched->set(u"name", u"in memory only");
  EXPECT_EQ(sql(fPath, "SELECT count(*) FROM Node WHERE name = 'in memory only'"), "0\n");
}

TEST_F(LazyElementsTest, ResettingInATransactionLeavesTheLastCommitInTheFile) {
  const Model model = open(fPath);
  branch(model, 1)->set(u"name", u"outside");  // no transaction: written when the store goes
  Transaction change = model->beginTransaction(false);
  branch(model, 2)->set(u"name", u"open");
  branch(model, 1)->set(u"name", u"open too");
  const ModelElement made = newNode(model, u"made");
  add(branch(model, 3), u"children", made);
  branch(model, 4)->destroy();
  model->resetDataSource();
  EXPECT_EQ(sql(fPath, "SELECT name, count(*) FROM Node GROUP BY name ORDER BY name"),
            "branch|19\nleaf|1980\noutside|1\nroot|1\n");
  EXPECT_EQ(nameOf(branch(model, 2)), "open");
  EXPECT_EQ(made->container(), branch(model, 3));
  EXPECT_FALSE(branch(model, 4));
  EXPECT_EQ(kerneltest::inconsistencies(model), "");
  change.rollBack();
  EXPECT_EQ(nameOf(branch(model, 1)), "outside");
  EXPECT_EQ(nameOf(branch(model, 2)), "branch");
  EXPECT_TRUE(made->isDestroyed());
  EXPECT_TRUE(branch(model, 4));
  EXPECT_EQ(kerneltest::inconsistencies(model), "");
}

TEST_F(LazyElementsTest, DestroyingTheModelKeepsTheFile) {
  const std::string before = storetest::bytesOf(fPath);
  const Model model = open(fPath);
  const ModelElement element = branch(model, 1);
  Transaction change = model->beginTransaction(false);
  element->set(u"name", u"never committed");
  model->destroy();
  EXPECT_TRUE(element->isDestroyed());
  EXPECT_EQ(model->getElementCount(), 0U);
  EXPECT_EQ(model->getDataSource(), nullptr);
  EXPECT_EQ(storetest::bytesOf(fPath), before);
  EXPECT_EQ(open(fPath)->getElementCount(), 2001U);
}

TEST_F(LazyElementsTest, DroppingTheModelLoadsNothing) {
  ModelElement survivor;
  {
    const Model model = open(fPath);
    survivor = branch(model, 1);
  }
  EXPECT_TRUE(survivor->isDestroyed());
  EXPECT_FALSE(isLoaded(survivor));
  EXPECT_THROW(static_cast<void>(survivor->get<ustring>(u"name")), DestroyedElementError);
}
