#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/Testing.h>

#include "../support/Loading.h"
#include "../support/Saving.h"
#include "../support/TestWrapper.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::ModelSpec;
using quillon::nimbo::NimboModelWrapperException;
using quillon::nimbo::internal::NimboModelWrapperBase;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::added;
using testsupport::containerOf;
using testsupport::nameOf;
using testsupport::newNamed;
using testsupport::saved;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::wrappingClass;

static_assert(!std::has_virtual_destructor_v<NimboModelWrapperBase::ScopedTransaction>);
static_assert(!std::is_polymorphic_v<NimboModelWrapperBase::ScopedTransaction>);
static_assert(sizeof(NimboModelWrapperBase::ScopedTransaction) == sizeof(void*));
static_assert(std::has_virtual_destructor_v<NimboModelWrapperBase>);
static_assert(std::is_copy_constructible_v<TestWrapper>);
static_assert(!std::is_copy_assignable_v<TestWrapper> && !std::is_move_assignable_v<TestWrapper>);

Model newModel() { return Model::create(ModelSpec()); }

WrapperSetup keeping() {
  WrapperSetup setup;
  setup.keepSerializedData = true;
  return setup;
}

WrapperSetup destroying() {
  WrapperSetup setup;
  setup.destroyModelOnRelease = true;
  return setup;
}

/// The kind of the NimboModelWrapperException that the work ends in; 0 when there is none.
template <class Work>
int kindOf(Work work) {
  try {
    work();
  } catch (const NimboModelWrapperException& failure) {
    return static_cast<int>(failure.getKind());
  }
  return 0;
}

std::vector<std::string> names(const std::vector<ModelElement>& elements) {
  std::vector<std::string> names;
  for (const ModelElement& element : elements) names.push_back(nameOf(element));
  return names;
}

// --- The interface.

/// The place of a virtual operation in the table, as the platform's C++ ABI tells it in a pointer to member.
template <class Member>
std::ptrdiff_t slotOf(Member member) {
  static_assert(sizeof member == 2 * sizeof(std::ptrdiff_t));
  std::array<std::ptrdiff_t, 2> parts{};
  std::memcpy(parts.data(), &member, sizeof member);
  EXPECT_EQ(parts[0] % 2, 1) << "not virtual";
  return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

struct Exposed : NimboModelWrapperBase {
  static std::vector<std::ptrdiff_t> slotsInOrder() {
    using Resolve = void (NimboModelWrapperBase::*)(const ModelElement&);
    const Resolve resolve = &Exposed::resolveProxies;
    return {slotOf(&Exposed::open),
            slotOf(&Exposed::openFromBinString),
            slotOf(&Exposed::close),
            slotOf(&Exposed::serializeToJSON),
            slotOf(&Exposed::serializeToXML),
            slotOf(&Exposed::serializeToBinStream),
            slotOf(&Exposed::parseJSONString),
            slotOf(&Exposed::parseXMLString),
            slotOf(&Exposed::parseBinStream),
            slotOf(&Exposed::reset),
            slotOf(resolve),
            slotOf(&Exposed::mustResolveProxies),
            slotOf(&Exposed::setRoot)};
  }
};

TEST(NimboModelWrapperBase, KeepsItsVirtualOperationsInTheirOrder) {
  // The destructor comes first and takes two slots.
  EXPECT_THAT(Exposed::slotsInOrder(), ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14));
}

// --- Model and root on demand.

TEST(NimboModelWrapperBase, HasNoModelUntilSomebodyAsks) {
  const TestWrapper wrapper;
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_TRUE(wrapper.getEvolveIfNeeded());
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_FALSE(wrapper.modelExists());
  const ModelElement root = wrapper.getRoot();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->getMetaClass(), wrappingClass(u"Root"));
  EXPECT_TRUE(wrapper.modelExists());
  EXPECT_FALSE(wrapper.isInTransaction());
  EXPECT_EQ(wrapper.getModel()->getTransactionDepth(), 0U);
}

TEST(NimboModelWrapperBase, MakesTheModelForEveryRequestOnce) {
  const TestWrapper byModel;
  const Model model = byModel.getModel();
  ASSERT_TRUE(model);
  EXPECT_EQ(byModel.getModelRef(), model);
  EXPECT_EQ(&byModel.getModelRef(), &byModel.getModelRef());
  EXPECT_EQ(byModel.getRoot()->getModel(), model);
  EXPECT_EQ(model->getElementCount(), 1U);

  const TestWrapper byReference;
  ASSERT_TRUE(byReference.getModelRef());
  EXPECT_EQ(byReference.getModelRef()->getElementCount(), 1U);
}

TEST(NimboModelWrapperBase, MakesAModelWithoutAskingForARoot) {
  TestWrapper wrapper;
  (void)wrapper.getModel();
  EXPECT_THAT(wrapper.calls, IsEmpty()) << "neither reset nor setRoot takes part";
}

TEST(NimboModelWrapperBase, RefusesARootClassThatHasNoInstances) {
  const TestWrapper nameless({nullptr});
  EXPECT_THROW((void)nameless.getRoot(), kern::InstantiationError);
  EXPECT_TRUE(nameless.modelExists()) << "the model was made before";
  EXPECT_FALSE(nameless.getRoot()) << "and a second request makes nothing";

  const TestWrapper abstract({wrappingClass(u"Ghost")});
  EXPECT_THROW((void)abstract.getModel(), kern::InstantiationError);
  EXPECT_FALSE(abstract.getRoot());
}

TEST(NimboModelWrapperBase, TakesTheFirstTopLevelElementThatConformsForRoot) {
  TestWrapper wrapper;
  wrapper.parseBinString(containerOf({u"Node", u"SpecialRoot", u"Root"}));
  EXPECT_EQ(nameOf(wrapper.getRoot()), "SpecialRoot");
  EXPECT_EQ(wrapper.getModel()->getElementCount(), 3U);
}

TEST(NimboModelWrapperBase, LooksForTheRootAtTopLevelOnly) {
  const Model source = newModel();
  const ModelElement holder = newNamed(source, u"Node", u"holder");
  added(holder, u"mike", newNamed(source, u"Root", u"inner"));
  TestWrapper wrapper;
  EXPECT_EQ(kindOf([&] { wrapper.parseBinString(saved({holder})); }), 4);
}

TEST(NimboModelWrapperBase, RefusesAModelWithoutRootAndKeepsItsContent) {
  TestWrapper wrapper;
  try {
    wrapper.parseBinString(containerOf({u"Node", u"Base"}));
    FAIL() << "accepted";
  } catch (const NimboModelWrapperException& failure) {
    EXPECT_STREQ(failure.what(), "NimboModelWrapperException: A root element with the correct metaclass was not found");
  }
  EXPECT_TRUE(wrapper.modelExists());
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_THAT(names(wrapper.getModel()->getTopLevelElements()), ElementsAre("Node", "Base"));
}

TEST(NimboModelWrapperBase, GivesAModelWithoutContentANewRoot) {
  TestWrapper wrapper;
  wrapper.parseBinString(containerOf({}));
  ASSERT_TRUE(wrapper.getRoot());
  EXPECT_EQ(wrapper.getModel()->getTopLevelElements(), std::vector<ModelElement>{wrapper.getRoot()});
  EXPECT_FALSE(wrapper.isInTransaction());
}

TEST(NimboModelWrapperBase, MakesNothingForAModelThatFailedToParse) {
  TestWrapper wrapper;
  const testsupport::CerrCapture quiet;
  EXPECT_ANY_THROW(wrapper.parseBinString("B rubbish"));
  const Model failed = wrapper.getModel();
  EXPECT_TRUE(failed);
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_EQ(failed->getElementCount(), 0U) << "no request makes a root, and the reader left nothing";
  wrapper.parseBinString(containerOf({u"Root"}));
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
  EXPECT_ANY_THROW(wrapper.parseBinString("B rubbish"));
  static_cast<NimboModelWrapperBase&>(wrapper).open(u"");  // reset
  EXPECT_TRUE(wrapper.getRoot()) << "an empty wrapper makes a root again";
}

TEST(NimboModelWrapperBase, SetRootNeedsAModel) {
  TestWrapper wrapper;
  EXPECT_THROW(wrapper.setRoot(), std::logic_error);
}

// --- reset.

TEST(NimboModelWrapperBase, ResetLeavesAModelToItsOtherHolders) {
  TestWrapper wrapper;
  const Model model = wrapper.getModel();
  const ModelElement root = wrapper.getRoot();
  wrapper.reset();
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_FALSE(root->isDestroyed());
  root->set(u"title", u"still usable");
  EXPECT_EQ(model->getElementCount(), 1U);
  EXPECT_NE(wrapper.getRoot(), root);
}

TEST(NimboModelWrapperBase, ResetDestroysTheModelOfAWrapperThatIsToDoSo) {
  TestWrapper wrapper(destroying());
  const Model model = wrapper.getModel();
  const ModelElement root = wrapper.getRoot();
  wrapper.reset();
  EXPECT_TRUE(root->isDestroyed());
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(NimboModelWrapperBase, ResetLeavesPathFlagsAndTransaction) {
  TestWrapper wrapper(keeping());
  wrapper.attachModel(nullptr, u"a path");
  wrapper.setEvolveIfNeeded(false);
  wrapper.beginTransaction();
  wrapper.reset();
  EXPECT_EQ(wrapper.strataFilePath(), u"a path");
  EXPECT_FALSE(wrapper.getEvolveIfNeeded());
  EXPECT_TRUE(wrapper.isInTransaction());
  wrapper.openFromBinString(containerOf({u"Root"}));
  EXPECT_FALSE(wrapper.modelExists()) << "bytes are still kept";
}

// --- attachModel, detachModel.

TEST(NimboModelWrapperBase, AttachesAModelAndFindsItsRoot) {
  TestWrapper wrapper(destroying());
  const Model before = wrapper.getModel();
  const Model model = newModel();
  const ModelElement root = newNamed(model, u"Root", u"theirs");
  wrapper.attachModel(model, u"");
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_EQ(wrapper.getRoot(), root);
  EXPECT_EQ(before->getElementCount(), 1U) << "the model held before is not destroyed";
}

TEST(NimboModelWrapperBase, AttachingTheHeldModelChangesThePathAlone) {
  TestWrapper wrapper;
  const ModelElement root = wrapper.getRoot();
  wrapper.attachModel(wrapper.getModel(), u"elsewhere");
  EXPECT_EQ(wrapper.strataFilePath(), u"elsewhere");
  EXPECT_EQ(wrapper.getRoot(), root);
  EXPECT_THAT(wrapper.calls, IsEmpty()) << "setRoot is not called";
}

TEST(NimboModelWrapperBase, AttachingNoModelChangesThePathAlone) {
  TestWrapper wrapper;
  const Model model = wrapper.getModel();
  wrapper.attachModel(nullptr, u"elsewhere");
  EXPECT_EQ(wrapper.strataFilePath(), u"elsewhere");
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_THAT(wrapper.calls, IsEmpty());
}

TEST(NimboModelWrapperBase, AttachingKeepsTheCachedBytes) {
  TestWrapper wrapper(keeping());
  const std::string bytes = containerOf({u"Root"});
  wrapper.openFromBinString(bytes);
  wrapper.attachModel(newModel(), u"");
  EXPECT_EQ(wrapper.serializeToBinString(), bytes);
}

TEST(NimboModelWrapperBase, AttachingAModelWithoutRootFailsWithPathAndModelInPlace) {
  TestWrapper wrapper;
  (void)wrapper.getRoot();
  const Model model = newModel();
  newNamed(model, u"Node", u"no root");
  EXPECT_EQ(kindOf([&] { wrapper.attachModel(model, u""); }), 4);
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_FALSE(wrapper.getRoot());
}

TEST(NimboModelWrapperBase, TakesAPathWithoutStoreForNoStore) {
  TestWrapper wrapper;
  const Model model = newModel();
  const ModelElement root = newNamed(model, u"Root", u"root");
  wrapper.attachModel(model, u"a path that no store is bound to");
  EXPECT_EQ(wrapper.getRoot(), root);
  const Model rootless = newModel();
  newNamed(rootless, u"Node", u"no root");
  EXPECT_EQ(kindOf([&] { wrapper.attachModel(rootless, u"the same"); }), 4);
}

TEST(NimboModelWrapperBase, DetachesTheModelWithoutDestroyingIt) {
  TestWrapper wrapper(destroying());
  const Model model = wrapper.getModel();
  wrapper.attachModel(model, u"a path");
  wrapper.detachModel();
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(NimboModelWrapperBase, DetachingLeavesTheCachedBytesToTheNextRequest) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"SpecialRoot"}));
  const Model first = wrapper.getModel();
  wrapper.detachModel();
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_EQ(nameOf(wrapper.getRoot()), "SpecialRoot") << "the bytes are parsed again";
  EXPECT_NE(wrapper.getModel(), first);
}

// --- Copies and clones.

TEST(NimboModelWrapperBase, CopiesItsSettingsAndContent) {
  WrapperSetup setup = keeping();
  setup.magic = "OTHER\n";
  setup.rootClass = wrappingClass(u"Node");
  TestWrapper original(setup);
  added(original.getRoot(), u"mike", newNamed(original.getModel(), u"Base", u"part"));
  original.setEvolveIfNeeded(false);
  original.attachModel(nullptr, u"a path");
  original.beginTransaction();

  const TestWrapper copy(original);
  EXPECT_TRUE(copy.getEvolveIfNeeded()) << "a copy starts anew";
  EXPECT_TRUE(copy.strataFilePath().empty());
  EXPECT_FALSE(copy.isInTransaction());
  ASSERT_TRUE(copy.modelExists());
  EXPECT_NE(copy.getModel(), original.getModel());
  EXPECT_TRUE(kern::modelsEqual(copy.getModel(), original.getModel()));
  EXPECT_EQ(copy.getRoot()->getUuid(), original.getRoot()->getUuid());
  original.rollbackTransaction();

  TestWrapper second(copy);
  second.openFromBinString(containerOf({u"Node"}));
  EXPECT_FALSE(second.modelExists()) << "the flag to keep bytes is copied";
  EXPECT_EQ(nameOf(second.getRoot()), "Node") << "the root's class is copied";
}

TEST(NimboModelWrapperBase, CopiesWhetherToDestroy) {
  TestWrapper original(destroying());
  TestWrapper copy(original);
  const ModelElement root = copy.getRoot();
  copy.reset();
  EXPECT_TRUE(root->isDestroyed());
}

/// Counts in the process, since the copy's own members do not exist yet while its base is made.
class CountingWrapper : public TestWrapper {
 public:
  CountingWrapper() = default;
  CountingWrapper(const CountingWrapper&) = default;
  void reset() override { ++hooks; }
  void setRoot() override {
    ++hooks;
    Base::setRoot();
  }
  static inline int hooks = 0;
};

TEST(NimboModelWrapperBase, RunsTheHooksOfTheBaseWhileItIsCopied) {
  const CountingWrapper original;
  (void)original.getRoot();
  CountingWrapper::hooks = 0;
  const CountingWrapper copy(original);
  EXPECT_EQ(CountingWrapper::hooks, 0);
  EXPECT_TRUE(copy.modelExists());
}

TEST(NimboModelWrapperBase, CopiesADeferredWrapperWithoutParsing) {
  TestWrapper original(keeping());
  const std::string bytes = containerOf({u"Root"});
  original.openFromBinString(bytes);
  const TestWrapper copy(original);
  EXPECT_FALSE(copy.modelExists());
  EXPECT_FALSE(original.modelExists());
  EXPECT_EQ(copy.serializeToBinString(), bytes);
  EXPECT_EQ(nameOf(copy.getRoot()), "Root");
}

TEST(NimboModelWrapperBase, ClonesCachedBytesAndModel) {
  TestWrapper original(keeping());
  const std::string bytes = containerOf({u"Root"});
  original.openFromBinString(bytes);
  original.getRoot()->set(u"title", u"changed behind the bytes");
  TestWrapper target;
  target.cloneFrom(original);
  EXPECT_EQ(target.serializeToBinString(), bytes) << "the bytes are copied, whatever the target keeps of its own";
  EXPECT_TRUE(kern::modelsEqual(target.getModel(), original.getModel()));
  EXPECT_THAT(target.calls, ElementsAre("reset", "setRoot"));
}

TEST(NimboModelWrapperBase, ClonesFromAnEmptyWrapperToAnEmptyOne) {
  const TestWrapper original;
  TestWrapper target;
  (void)target.getRoot();
  target.cloneFrom(original);
  EXPECT_FALSE(target.modelExists());
  EXPECT_FALSE(original.modelExists());
  EXPECT_THAT(target.calls, ElementsAre("reset"));
}

TEST(NimboModelWrapperBase, IsEmptyAfterCloningFromItself) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"SpecialRoot"}));
  (void)wrapper.getModel();
  wrapper.cloneFrom(wrapper);
  EXPECT_FALSE(wrapper.modelExists());
  EXPECT_EQ(wrapper.getRoot()->getMetaClass(), wrappingClass(u"Root")) << "no bytes are left either";
}

TEST(NimboModelWrapperBase, KeepsTheNewModelWhenACloneHasNoRoot) {
  WrapperSetup ofNode;
  ofNode.rootClass = wrappingClass(u"Node");
  const TestWrapper original(ofNode);
  (void)original.getRoot();
  TestWrapper target;
  const Model before = target.getModel();
  EXPECT_EQ(kindOf([&] { target.cloneFrom(original); }), 4);
  EXPECT_NE(target.getModel(), before);
  EXPECT_EQ(target.getModel()->getElementCount(), 1U);
  EXPECT_FALSE(target.getRoot());
}

TEST(NimboModelWrapperBase, ClonesAndReplacesIntoItsOwnModel) {
  const Model source = newModel();
  const ModelElement first = newNamed(source, u"Node", u"first");
  const ModelElement part = added(first, u"mike", newNamed(source, u"Base", u"part"));
  const ModelElement other = newNamed(source, u"Base", u"other");
  TestWrapper wrapper;
  wrapper.cloneAndReplace({first}, {{part, other}});
  const Model model = wrapper.getModel();
  ASSERT_TRUE(wrapper.getRoot());
  EXPECT_EQ(model->getElementCount(), 3U) << "the root that was made, and two clones";
  EXPECT_TRUE(model->findElement(first->getUuid(), kern::FindElementBehavior::Anywhere));
  EXPECT_TRUE(model->findElement(other->getUuid(), kern::FindElementBehavior::Anywhere));
  EXPECT_FALSE(model->findElement(part->getUuid(), kern::FindElementBehavior::Anywhere));
  EXPECT_THAT(wrapper.calls, ElementsAre("setRoot"));
}

TEST(NimboModelWrapperBase, DropsTheCachedBytesWhenItIsClonedInto) {
  TestWrapper wrapper(keeping());
  wrapper.openFromBinString(containerOf({u"SpecialRoot"}));
  const Model source = newModel();
  wrapper.cloneAndReplace({newNamed(source, u"Node", u"more")}, {});
  EXPECT_EQ(nameOf(wrapper.getRoot()), "SpecialRoot") << "the bytes were parsed before they were dropped";
  TestWrapper reader;
  reader.parseBinString(wrapper.serializeToBinString());
  EXPECT_EQ(reader.getModel()->getElementCount(), 2U);
}

TEST(NimboModelWrapperBase, LooksForARootAfterCloningInto) {
  TestWrapper wrapper;
  wrapper.attachModel(newModel(), u"");
  const Model model = newModel();
  newNamed(model, u"Node", u"no root");
  EXPECT_EQ(kindOf([&] { wrapper.attachModel(model, u""); }), 4);
  ASSERT_FALSE(wrapper.getRoot());
  const Model source = newModel();
  wrapper.cloneAndReplace({newNamed(source, u"Root", u"found")}, {});
  EXPECT_EQ(nameOf(wrapper.getRoot()), "found");
}

// --- Cached bytes that cannot be parsed.

TEST(NimboModelWrapperBase, ProtectsCachedBytesThatFailedToParseUntilTheyParse) {
  const testsupport::CerrCapture quiet;
  TestWrapper wrapper(keeping());
  const std::string bad = "B rubbish";
  wrapper.openFromBinString(bad);
  EXPECT_ANY_THROW((void)wrapper.getModel());
  EXPECT_FALSE(wrapper.getRoot());
  EXPECT_EQ(wrapper.serializeToBinString(), bad);

  wrapper.reset();
  EXPECT_EQ(wrapper.serializeToBinString(), bad) << "they are the only copy of the content";
  wrapper.parseBinString(containerOf({u"Root"}));
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
  EXPECT_EQ(wrapper.serializeToBinString(), bad) << "and win even over what was parsed since";
}

TEST(NimboModelWrapperBase, DropsCachedBytesAgainOnceTheyHaveParsed) {
  WrapperSetup setup = keeping();
  TestWrapper wrapper(setup);
  wrapper.openFromBinString(containerOf({u"Root"}));
  wrapper.onSetRoot = [] { throw std::runtime_error("not now"); };
  EXPECT_THROW((void)wrapper.getModel(), std::runtime_error);
  wrapper.onSetRoot = nullptr;
  wrapper.reset();  // keeps the bytes
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root") << "this time they parse";
  wrapper.reset();
  EXPECT_NE(wrapper.getRoot()->get<std::u16string>(u"name"), u"Root") << "now reset drops them";
}

// --- close without a store.

TEST(NimboModelWrapperBase, ClosesNothingWithoutAStore) {
  TestWrapper wrapper(keeping());
  wrapper.close();
  EXPECT_FALSE(wrapper.modelExists());
  wrapper.openFromBinString(containerOf({u"Root"}));
  const Model model = wrapper.getModel();
  wrapper.calls.clear();
  wrapper.close();
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_EQ(nameOf(wrapper.getRoot()), "Root");
  EXPECT_THAT(wrapper.calls, IsEmpty()) << "no walk";
}

TEST(NimboModelWrapperBase, ClosesAfterAResetWithinATransaction) {
  TestWrapper wrapper;
  wrapper.beginTransaction();
  wrapper.attachModel(nullptr, u"a path");
  wrapper.reset();
  wrapper.close();
  EXPECT_TRUE(wrapper.strataFilePath().empty());
  EXPECT_FALSE(wrapper.modelExists());
}

// --- Destruction.

TEST(NimboModelWrapperBase, CommitsAPendingTransactionWhenItGoes) {
  Model model;
  {
    const TestWrapper wrapper;
    wrapper.beginTransaction();
    model = wrapper.getModel();
    wrapper.getRoot()->set(u"title", u"kept");
  }
  EXPECT_EQ(model->getTransactionDepth(), 0U);
  EXPECT_EQ(model->getTopLevelElements().at(0)->get<std::u16string>(u"title"), u"kept");
}

TEST(NimboModelWrapperBase, SwallowsAFailingCommitWhenItGoes) {
  Model model;
  {
    const TestWrapper wrapper;
    model = wrapper.getModel();
    const ModelElement root = wrapper.getRoot();
    wrapper.beginTransaction();
    root->set(u"title", u"lost");
    kern::testhooks::failNextCommit(model, "no room");
  }
  EXPECT_EQ(model->getTransactionDepth(), 0U);
  EXPECT_EQ(model->getTopLevelElements().at(0)->get<std::u16string>(u"title"), u"");
}

TEST(NimboModelWrapperBase, DestroysItsModelWhenItGoesOnlyIfItIsTo) {
  Model kept;
  Model destroyed;
  {
    const TestWrapper keeper;
    kept = keeper.getModel();
    const TestWrapper destroyer(destroying());
    destroyed = destroyer.getModel();
    destroyer.beginTransaction();
  }
  EXPECT_EQ(kept->getElementCount(), 1U);
  EXPECT_EQ(destroyed->getElementCount(), 0U);
}

TEST(NimboModelWrapperBase, OutlivesAModelThatSomebodyDestroyed) {
  TestWrapper wrapper(destroying());
  wrapper.beginTransaction();
  const Model model = wrapper.getModel();
  model->destroy();
  EXPECT_TRUE(wrapper.getRoot()->isDestroyed());
}

TEST(NimboModelWrapperBase, WalksNothingWhenItGoes) {
  std::vector<std::string> calls;
  {
    TestWrapper wrapper;
    wrapper.attachModel(wrapper.getModel(), u"a path");
    wrapper.onResolve = [&](const ModelElement&) { calls.emplace_back("resolved"); };
  }
  EXPECT_THAT(calls, IsEmpty());
}

// --- Hooks that throw.

TEST(NimboModelWrapperBase, LetsTheExceptionsOfResetPassBeforeAnythingChanges) {
  TestWrapper wrapper;
  const ModelElement root = wrapper.getRoot();
  wrapper.onReset = [] { throw std::runtime_error("keep this model"); };
  EXPECT_THROW(wrapper.parseBinString(containerOf({u"Root"})), std::runtime_error);
  EXPECT_THROW(wrapper.parseJSONString("{}"), std::runtime_error);
  EXPECT_THROW(wrapper.parseXMLString("<x/>"), std::runtime_error);
  EXPECT_THROW(wrapper.open(u""), std::runtime_error);
  EXPECT_THROW(wrapper.cloneFrom(TestWrapper()), std::runtime_error);
  EXPECT_EQ(wrapper.getRoot(), root);
}

TEST(NimboModelWrapperBase, LetsTheExceptionsOfSetRootPassWithTheContentRead) {
  TestWrapper wrapper;
  wrapper.onSetRoot = [] { throw std::runtime_error("wrong root"); };
  EXPECT_THROW(wrapper.parseBinString(containerOf({u"Root", u"Node"})), std::runtime_error);
  EXPECT_EQ(wrapper.getModel()->getElementCount(), 2U);
  EXPECT_FALSE(wrapper.getRoot());
  const Model model = newModel();
  EXPECT_THROW(wrapper.attachModel(model, u"a path"), std::runtime_error);
  EXPECT_EQ(wrapper.getModel(), model);
  EXPECT_EQ(wrapper.strataFilePath(), u"a path");
}

// --- The walk for proxies.

/// root { alpha, zulu: z1 { zulu: z11 }, z2; bravo; mike: m1 }
class Walk : public testing::Test {
 protected:
  ModelElement make(const char16_t* name, const char16_t* className = u"Node") {
    return newNamed(fWrapper.getModel(), className, name);
  }

  Walk() {
    fRoot = fWrapper.getRoot();
    fRoot->set(u"name", u"root");
    // Not in the order in which the walk comes to them.
    fZ1 = added(fRoot, u"zulu", make(u"z1"));
    fRoot->set(u"bravo", make(u"bravo"));
    added(fRoot, u"mike", make(u"m1"));
    added(fZ1, u"zulu", make(u"z11", u"Base"));
    added(fRoot, u"zulu", make(u"z2", u"Base"));
    fRoot->set(u"alpha", make(u"alpha"));
    fWrapper.calls.clear();
  }

  TestWrapper fWrapper;
  ModelElement fRoot;
  ModelElement fZ1;
};

TEST_F(Walk, VisitsTheContentBreadthFirstAndEachClassByName) {
  fWrapper.walk();
  // A class's own attributes come first (bravo, mike), then those of the class above (alpha, zulu).
  EXPECT_THAT(fWrapper.calls, ElementsAre("resolve root", "resolve bravo", "resolve m1", "resolve alpha", "resolve z1",
                                          "resolve z2", "resolve z11"));
  EXPECT_FALSE(fWrapper.isInTransaction());
}

TEST_F(Walk, AsksForEveryAttributeOfTheWholeChainOnce) {
  std::vector<std::string> asked;
  fWrapper.onMustResolve = [&](const auto& property) {
    asked.push_back(bedrock::i18n::ustring_to_utf8(property->getName()));
    return false;
  };
  fWrapper.walk();
  EXPECT_THAT(asked, ElementsAre("title", "bravo", "count", "mike", "next", "nowhere", "peers", "tags", "alpha", "name",
                                 "zulu"));
}

TEST_F(Walk, DoesNotFollowReferencesByItself) {
  const ModelElement elsewhere = make(u"elsewhere");
  fRoot->set(u"next", elsewhere);
  added(fRoot, u"peers", elsewhere);
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, testing::Not(testing::Contains("resolve elsewhere")));
}

TEST_F(Walk, EndsOnCyclesAndHandlesEachElementOnce) {
  const ModelElement elsewhere = make(u"elsewhere");
  fRoot->set(u"next", elsewhere);
  elsewhere->set(u"next", fRoot);
  added(elsewhere, u"peers", elsewhere);
  added(elsewhere, u"peers", fZ1);
  added(elsewhere, u"peers", fZ1);
  fWrapper.onMustResolve = [](const auto& property) {
    return property->getName() == u"next" || property->getName() == u"peers";
  };
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, ElementsAre("resolve root", "resolve elsewhere", "resolve z1"));
}

TEST_F(Walk, HandlesAnElementThatIsReachedTwiceWhenItsFirstTurnComes) {
  fRoot->set(u"next", fZ1);
  fWrapper.onMustResolve = [](const auto& property) { return property->isComposite || property->getName() == u"next"; };
  fWrapper.walk();
  EXPECT_EQ(std::count(fWrapper.calls.begin(), fWrapper.calls.end(), "resolve z1"), 1);
  EXPECT_EQ(fWrapper.calls.at(3), "resolve z1") << "by the reference, before its container's collection";
}

TEST_F(Walk, ReadsWithTheRightsOfThePublic) {
  added(fRoot, u"zulu", make(u"vault", u"Vault"));
  EXPECT_THROW(fWrapper.walk(), kern::PropertyError) << "what is guarded stays closed";
  EXPECT_EQ(fWrapper.calls.back(), "resolve vault");
}

TEST_F(Walk, LetsTheExceptionsOfMustResolvePass) {
  fWrapper.onMustResolve = [](const auto&) -> bool { throw std::runtime_error("cannot decide"); };
  EXPECT_THROW(fWrapper.walk(), std::runtime_error);
  EXPECT_FALSE(fWrapper.isInTransaction());
}

TEST_F(Walk, ReadsTheContentAfterTheHookHasRun) {
  fWrapper.onResolve = [&](const ModelElement& element) {
    if (element == fZ1) added(fZ1, u"zulu", make(u"put in by the hook"));
  };
  fWrapper.walk();
  EXPECT_EQ(fWrapper.calls.back(), "resolve put in by the hook");
}

TEST_F(Walk, PassesOverNullEntries) {
  added(fRoot, u"peers", ModelElement());
  added(fRoot, u"peers", fZ1);
  fWrapper.onMustResolve = [](const auto& property) {
    return property->getName() == u"next" || property->getName() == u"peers";
  };
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, ElementsAre("resolve root", "resolve z1"));
}

TEST_F(Walk, DoesNotLookIntoAnElementThatItsHookDestroyed) {
  fWrapper.onResolve = [&](const ModelElement& element) {
    if (element == fZ1) element->destroy();
  };
  fWrapper.walk();
  EXPECT_TRUE(fZ1->isDestroyed());
  EXPECT_THAT(fWrapper.calls,
              ElementsAre("resolve root", "resolve bravo", "resolve m1", "resolve alpha", "resolve z1", "resolve z2"))
      << "what stood in it went with it";
  EXPECT_FALSE(fWrapper.isInTransaction());
}

TEST_F(Walk, PassesOverWhatAHookDestroyedWhileItWaited) {
  const ModelElement first = fRoot->get<ModelElement>(u"bravo");
  fWrapper.onResolve = [&](const ModelElement& element) {
    if (element == first) fZ1->destroy();
  };
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls,
              ElementsAre("resolve root", "resolve bravo", "resolve m1", "resolve alpha", "resolve z2"));
}

TEST_F(Walk, EndsWhenItsHookDestroysTheRoot) {
  fWrapper.onResolve = [](const ModelElement& element) { element->destroy(); };
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, ElementsAre("resolve root"));
  EXPECT_EQ(fWrapper.getModel()->getElementCount(), 0U);
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, ElementsAre("resolve root")) << "it is not asked about again";
}

TEST_F(Walk, FollowsChainsOfAnyLength) {
  constexpr int kLength = 100'000;
  ModelElement end = make(u"first");
  const ModelElement first = end;
  for (int i = 1; i < kLength; ++i) {
    const ModelElement next = make(u"link");
    end->set(u"bravo", next);
    end = next;
  }
  fRoot->set(u"bravo", first);
  fWrapper.walk();
  EXPECT_EQ(std::count(fWrapper.calls.begin(), fWrapper.calls.end(), "resolve link"), kLength - 1);
}

TEST_F(Walk, HasNothingToDoWithoutARoot) {
  const testsupport::CerrCapture quiet;
  EXPECT_ANY_THROW(fWrapper.parseBinString("B rubbish"));
  fWrapper.calls.clear();
  fWrapper.walk();
  EXPECT_THAT(fWrapper.calls, IsEmpty());
  EXPECT_FALSE(fWrapper.isInTransaction());
}

/// The type that the cast failure names in which the work ends.
template <class Work>
std::u16string castFailureOf(Work work) {
  try {
    work();
  } catch (const bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>& failure) {
    return failure.getMsgID().arguments().at(0);
  }
  return u"no cast failure";
}

TEST_F(Walk, ReadsAnythingButOneTargetAsACollection) {
  fWrapper.onMustResolve = [](const auto& property) { return property->getName() == u"nowhere"; };
  // An upper bound of 0 is no bound of 1; here such a property holds no collection, and says so.
  EXPECT_EQ(castFailureOf([&] { fWrapper.walk(); }), u"wrapping.Base");
  EXPECT_FALSE(fWrapper.isInTransaction());
}

TEST_F(Walk, FollowsNothingButElements) {
  for (const char16_t* name : {u"count", u"tags"}) {
    fWrapper.onMustResolve = [name](const auto& property) { return property->getName() == name; };
    EXPECT_EQ(castFailureOf([&] { fWrapper.walk(); }), std::u16string(name) == u"count" ? u"Integer" : u"String");
  }
}

TEST_F(Walk, JoinsTheTransactionOfItsCaller) {
  fWrapper.beginTransaction();
  fWrapper.onResolve = [&](const ModelElement& element) { element->set(u"name", u"changed"); };
  fWrapper.walk();
  EXPECT_TRUE(fWrapper.isInTransaction());
  fWrapper.rollbackTransaction();
  EXPECT_EQ(nameOf(fRoot), "root") << "what the hooks did went with the caller's transaction";
}

TEST_F(Walk, CommitsWhatItsHooksDidAlsoWhenOneOfThemThrows) {
  fWrapper.onResolve = [&](const ModelElement& element) {
    if (element == fZ1) throw std::runtime_error("no such element");
    element->set(u"count", std::int32_t{99});
  };
  EXPECT_THROW(fWrapper.walk(), std::runtime_error);
  EXPECT_FALSE(fWrapper.isInTransaction());
  EXPECT_EQ(fWrapper.getModel()->getTransactionDepth(), 0U);
  EXPECT_EQ(fRoot->get<std::int32_t>(u"count"), 99);
  EXPECT_EQ(fWrapper.calls.back(), "resolve z1");
}

}  // namespace
