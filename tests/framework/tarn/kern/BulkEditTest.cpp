#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/optional.hpp>
#include <boost/uuid/nil_generator.hpp>

#include <bedrock/except.h>
#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Enough for several of the large chunks of memory that the kernel knows elements by.
constexpr std::size_t kMany = 5000;

class BulkEditTest : public testing::Test {
 protected:
  BulkEditTest() {
    for (std::size_t i = 0; i < kMany; ++i) {
      nodes.push_back(types().node->instantiate(model, boost::uuids::nil_uuid()));
      nodes.back()->set(u"count", static_cast<std::int32_t>(i));
    }
  }
  ~BulkEditTest() override { EXPECT_EQ(inconsistencies(model), ""); }

  using Targets = std::vector<ModelElement::Impl*>;

  static void setTarget(const ModelElement& element, const char16_t* name, const ModelElement& target) {
    bulk::setTarget(*element, property(name), target.get());
  }
  static void assign(const ModelElement& element, const char16_t* name, const Targets& targets) {
    bulk::assignTargets(*element, property(name), targets);
  }
  /// By their numbers; -1 for null.
  static std::vector<int> members(const ModelElement& element, const char16_t* name) {
    std::vector<int> numbers;
    for (const ModelElement& member : live(element, name).toElementCollection().getAllElements()) {
      numbers.push_back(member ? member->get<std::int32_t>(u"count") : -1);
    }
    return numbers;
  }
  [[nodiscard]] Targets at(std::initializer_list<std::size_t> numbers) const {
    Targets targets;
    for (const std::size_t number : numbers) targets.push_back(nodes[number].get());
    return targets;
  }

  Model model = newModel();
  std::vector<ModelElement> nodes;
};

struct Announcements : ModelObserver {
  void collectionModifying(const AbstractOwnedCollection&, const OCDChangeDescriptor& change) override {
    kinds.push_back(change.kind);
  }
  std::vector<OCDChangeDescriptor::Kind> kinds;
};

std::string failureOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing was thrown";
}

}  // namespace

TEST_F(BulkEditTest, SetsAndClearsASingleReference) {
  Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);
  setTarget(made, u"next", nodes[4321]);
  EXPECT_EQ(made->peekElement(property(u"next")), nodes[4321].get());
  setTarget(made, u"next", ModelElement());
  EXPECT_EQ(made->peekElement(property(u"next")), nullptr);
  transaction.commit(boost::none);
}

TEST_F(BulkEditTest, AssignsWhatAHandlesAssignWould) {
  Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);
  assign(made, u"path", {nodes[7].get(), nullptr, nodes[4999].get(), nodes[7].get()});
  EXPECT_THAT(members(made, u"path"), ElementsAre(7, -1, 4999, 7));
  assign(made, u"others", at({7, 4999, 7, 3}));
  EXPECT_THAT(members(made, u"others"), ElementsAre(7, 4999, 3)) << "unique: the first of equal ones stays";
  assign(made, u"others", {});
  EXPECT_THAT(members(made, u"others"), IsEmpty());
  transaction.commit(boost::none);
}

TEST_F(BulkEditTest, TakesListsOfAnyLength) {
  for (const std::size_t length : {std::size_t{63}, std::size_t{64}, std::size_t{2000}}) {
    Targets targets;
    for (std::size_t i = 0; i < length; ++i) targets.push_back(nodes[kMany - 1 - i].get());
    assign(nodes[0], u"others", targets);
    const std::vector<int> found = members(nodes[0], u"others");
    ASSERT_EQ(found.size(), length);
    EXPECT_EQ(found.front(), static_cast<int>(kMany) - 1);
    EXPECT_EQ(found.back(), static_cast<int>(kMany - length));
  }
}

TEST_F(BulkEditTest, KeepsContainmentAndOppositesInStep) {
  setTarget(nodes[1], u"left", nodes[2]);
  EXPECT_EQ(nodes[2]->peekElement(property(u"right")), nodes[1].get());
  assign(nodes[1], u"children", at({3, 4}));
  EXPECT_EQ(nodes[4]->container(), nodes[1]);
  assign(nodes[5], u"friends", at({6, 7}));
  EXPECT_THAT(members(nodes[7], u"friendOf"), ElementsAre(5));
  setTarget(nodes[8], u"parent", nodes[1]);
  EXPECT_THAT(members(nodes[1], u"children"), ElementsAre(3, 4, 8));
}

TEST_F(BulkEditTest, ChangesOfOlderElementsAreRolledBackAndUndone) {
  model->setUndoLimit(10);
  setTarget(nodes[1], u"next", nodes[2]);
  assign(nodes[1], u"others", at({3, 4}));
  const std::string before = dump(model);
  {
    const Transaction transaction = model->beginTransaction(false);
    setTarget(nodes[1], u"next", nodes[5]);
    assign(nodes[1], u"others", at({6}));
  }
  EXPECT_EQ(dump(model), before);
  assign(nodes[1], u"others", at({6}));
  model->undo();
  EXPECT_EQ(dump(model), before);
  model->redo();
  EXPECT_THAT(members(nodes[1], u"others"), ElementsAre(6));
}

TEST_F(BulkEditTest, IncomingReferencesAreKnown) {
  EXPECT_THAT(nodes[9]->incomingReferences(), IsEmpty()) << "from here on the kernel notes who refers to whom";
  const ModelElement made = newNode(model);
  setTarget(made, u"next", nodes[9]);
  assign(nodes[1], u"others", at({9}));
  EXPECT_EQ(nodes[9]->incomingReferences().size(), 2U);
  nodes[9]->destroy();
  EXPECT_EQ(made->peekElement(property(u"next")), nullptr);
  EXPECT_THAT(members(nodes[1], u"others"), IsEmpty());
}

TEST_F(BulkEditTest, RefusesWhatAHandleWouldBeRefused) {
  const Model other = newModel();
  const ModelElement stranger = newNode(other);
  const ModelElement unrelated = types().unrelated->instantiate(model, boost::uuids::nil_uuid());
  const ModelElement destroyed = newNode(model);
  destroyed->destroy();
  const Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);  // what the transaction made may be overwritten
  const std::pair<const char16_t*, const char16_t*> places[] = {{u"next", u"others"}, {u"left", u"friends"}};
  for (const auto& place : places) {
    const char16_t* const single = place.first;  // a lambda cannot capture structured bindings with clang 14
    const char16_t* const many = place.second;
    for (const ModelElement& target : {stranger, unrelated, destroyed, ModelElement(property(single))}) {
      const auto& one = property(single);
      EXPECT_EQ(failureOf([&] { bulk::setTarget(*made, one, target.get()); }),
                failureOf([&] { made->set<ModelElement>(one, target); }));
      EXPECT_EQ(failureOf([&] { assign(made, many, {target.get()}); }),
                failureOf([&] { live(made, many).toElementCollection().assign({target}); }));
    }
  }
  EXPECT_EQ(failureOf([&] { setTarget(made, u"count", nodes[1]); }),
            failureOf([&] { made->set<ModelElement>(property(u"count"), nodes[1]); }));
  EXPECT_THROW(assign(made, u"next", at({1})), std::exception);
  EXPECT_THROW(setTarget(made, u"others", nodes[1]), std::exception);
  EXPECT_THROW(bulk::setTarget(*made, meta::Property(), nodes[1].get()), PropertyError);
  EXPECT_THROW(bulk::setTarget(*destroyed, property(u"next"), nodes[1].get()), DestroyedElementError);
  EXPECT_THROW(bulk::assignTargets(*destroyed, property(u"others"), at({1})), DestroyedElementError);
}

TEST_F(BulkEditTest, ADestroyedTargetIsRefusedAmongMany) {
  nodes[4000]->destroy();
  Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);
  EXPECT_THROW(setTarget(made, u"next", nodes[4000]), DestroyedElementError);
  EXPECT_THROW(assign(made, u"others", at({1, 4000})), DestroyedElementError);
  EXPECT_THAT(members(made, u"others"), IsEmpty());
  nodes[4001]->destroy();  // in this transaction: rolled back, it may be a target again
  EXPECT_THROW(setTarget(made, u"next", nodes[4001]), DestroyedElementError);
  transaction.commit(boost::none);
}

TEST_F(BulkEditTest, ObserversAreToldOfAnAssignment) {
  Announcements announcements;
  model->addObserver(&announcements);
  Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);
  assign(made, u"others", at({1, 2}));
  transaction.commit(boost::none);
  model->removeObserver(&announcements);
  EXPECT_THAT(announcements.kinds, ElementsAre(OCDChangeDescriptor::Kind::GiveUp));
}

TEST_F(BulkEditTest, AppendsAsACollectionDoes) {
  for (const bool inTransaction : {true, false}) {
    boost::optional<Transaction> transaction;
    if (inTransaction) transaction = model->beginTransaction(false);
    const ModelElement made = newNode(model);
    bulk::append(*made, property(u"children"), *nodes[1]);
    bulk::append(*made, property(u"children"), *nodes[2]);
    bulk::append(*made, property(u"children"), *nodes[1]);
    EXPECT_THAT(members(made, u"children"), ElementsAre(1, 2)) << "contained once";
    EXPECT_EQ(nodes[2]->container(), made);
    bulk::append(*made, property(u"path"), *nodes[3]);
    bulk::append(*made, property(u"path"), *nodes[3]);
    EXPECT_THAT(members(made, u"path"), ElementsAre(3, 3));
    bulk::append(*made, property(u"friends"), *nodes[4]);
    EXPECT_THAT(names(nodes[4], u"friendOf"), ElementsAre("node"));
    if (transaction) transaction->commit(boost::none);
    made->destroy();
    nodes[1] = newNode(model);
    nodes[2] = newNode(model);
    nodes[1]->set(u"count", 1);
    nodes[2]->set(u"count", 2);
  }
}

TEST_F(BulkEditTest, AppendingIsRefusedAndAnnouncedAsElsewhere) {
  const ModelElement stranger = newNode(newModel());
  const ModelElement unrelated = types().unrelated->instantiate(model, boost::uuids::nil_uuid());
  const ModelElement destroyed = newNode(model);
  destroyed->destroy();
  for (const ModelElement& member : {stranger, unrelated, destroyed, nodes[0], ModelElement(property(u"next"))}) {
    EXPECT_EQ(failureOf([&] { bulk::append(*nodes[0], property(u"children"), *member); }),
              failureOf([&] { live(nodes[0], u"children").toElementCollection().addElement(member); }));
  }
  EXPECT_THROW(bulk::append(*nodes[0], property(u"next"), *nodes[1]), std::exception);
  EXPECT_THROW(bulk::append(*destroyed, property(u"children"), *nodes[1]), DestroyedElementError);
  Announcements announcements;
  model->addObserver(&announcements);
  bulk::append(*nodes[0], property(u"children"), *nodes[1]);
  model->removeObserver(&announcements);
  EXPECT_THAT(announcements.kinds, ElementsAre(OCDChangeDescriptor::Kind::Insert));
}

TEST_F(BulkEditTest, AssignsPlainValues) {
  using Numbers = std::vector<std::int32_t>;
  using Labels = std::vector<ustring>;
  Transaction transaction = model->beginTransaction(false);
  const ModelElement made = newNode(model);
  bulk::assignValues<std::int32_t>(*made, property(u"numbers"), {3, 1, 3});
  EXPECT_EQ(made->peekCollection<std::int32_t>(property(u"numbers")), (Numbers{3, 1, 3}));
  bulk::assignValues<ustring>(*made, property(u"labels"), {u"a", u"b", u"a"});
  EXPECT_EQ(made->peekCollection<ustring>(property(u"labels")), (Labels{u"a", u"b"})) << "unique";
  EXPECT_THROW(bulk::assignValues<std::int64_t>(*made, property(u"numbers"), {1}), bedrock::except::IMsgIDException);
  EXPECT_THROW(bulk::assignValues<std::int32_t>(*made, property(u"count"), {1}), std::exception);
  EXPECT_EQ(made->peekCollection<std::int32_t>(property(u"numbers")), (Numbers{3, 1, 3}));
  transaction.commit(boost::none);

  model->setUndoLimit(10);
  bulk::assignValues<std::int32_t>(*made, property(u"numbers"), {7});
  EXPECT_EQ(made->peekCollection<std::int32_t>(property(u"numbers")), (Numbers{7}));
  model->undo();
  EXPECT_EQ(made->peekCollection<std::int32_t>(property(u"numbers")), (Numbers{3, 1, 3}));
  Announcements announcements;
  model->addObserver(&announcements);
  bulk::assignValues<std::int32_t>(*made, property(u"numbers"), {8});
  model->removeObserver(&announcements);
  EXPECT_THAT(announcements.kinds, ElementsAre(OCDChangeDescriptor::Kind::GiveUp));
  made->destroy();
  EXPECT_THROW(bulk::assignValues<std::int32_t>(*made, property(u"numbers"), {1}), DestroyedElementError);
}

TEST_F(BulkEditTest, PublicAccessIsCheckedAsElsewhere) {
  EXPECT_NO_THROW(
      bulk::setTarget(*nodes[1], property(u"next"), nodes[2].get(), ReflectionPrivateTag::PRIVILEGED_ACCESS));
  EXPECT_EQ(failureOf([&] { setTarget(nodes[1], u"hidden", nodes[2]); }),
            failureOf([&] { nodes[1]->set<ModelElement>(property(u"hidden"), nodes[2]); }));
}
