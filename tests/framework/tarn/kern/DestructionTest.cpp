#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/uuid/nil_generator.hpp>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests
using kerneltest::dump;
using kerneltest::inconsistencies;
using kerneltest::newModel;
using testing::ElementsAre;
using testing::IsEmpty;

// The destruction of elements that hold nothing and that nothing refers to, as most are that are destroyed: the kernel
// takes a short way for them, which elements with opposites, as in the other tests, never take.

namespace {

struct Types {
  meta::Class box;
  meta::Class item;
  meta::Property items;
  meta::Property lid;
  meta::Property number;
};

const Types& types() {
  static const Types kTypes = [] {
    meta::PackageBuilder builder(u"destructiontest");
    auto& item = builder.addClass(u"Item");
    item.attribute(u"number", meta::StandardTypes::integerMeta).required();
    auto& box = builder.addClass(u"Box").extends(item);
    box.composite(u"items", item).many();
    box.composite(u"lid", item);
    box.reference(u"marked", item).many();
    const meta::Package package = builder.registerPackage();
    Types found;
    found.box = narrow<meta::Class>(package->getTypes().at(u"Box"));
    found.item = narrow<meta::Class>(package->getTypes().at(u"Item"));
    found.items = found.box->getProperty(u"items");
    found.lid = found.box->getProperty(u"lid");
    found.number = found.item->getProperty(u"number");
    return found;
  }();
  return kTypes;
}

class DestructionTest : public testing::Test {
 protected:
  DestructionTest() : box(make(types().box, 0)) {}
  ~DestructionTest() override { EXPECT_EQ(inconsistencies(model), ""); }

  ModelElement make(const meta::Class& type, std::int32_t number) {
    const ModelElement made = type->instantiate(model, boost::uuids::nil_uuid());
    made->set(types().number, number);
    return made;
  }
  Value items(const ModelElement& in) {
    return in->getPropertyValue(types().items, ReflectionPrivateTag::PUBLIC_ACCESS);
  }
  void fill(const ModelElement& in, std::int32_t count) {
    Transaction transaction = model->beginTransaction(false);
    const Value live = items(in);
    for (std::int32_t i = 1; i <= count; ++i) live.toElementCollection().addElement(make(types().item, i));
    transaction.commit(boost::none);
  }
  void destroyAt(const ModelElement& in, std::size_t index) {
    items(in).toElementCollection().getElement(index)->destroy();
  }
  std::vector<int> numbers(const ModelElement& in) {
    std::vector<int> found;
    for (const ModelElement& item : items(in).toElementCollection().getAllElements()) {
      found.push_back(item->get<std::int32_t>(types().number));
    }
    return found;
  }

  Model model = newModel();
  ModelElement box;
};

class Recorder : public ModelObserver {
 public:
  void changed(const ModelChange& change) override { changes.push_back(change); }
  std::vector<ModelChange> changes;
};

}  // namespace

TEST_F(DestructionTest, ComesBackToItsPlaceInAShortList) {
  fill(box, 5);
  model->setUndoLimit(10);
  for (const std::size_t index : {std::size_t{0}, std::size_t{2}, std::size_t{4}}) {
    destroyAt(box, index);
    EXPECT_EQ(numbers(box).size(), 4U);
    model->undo();
    EXPECT_THAT(numbers(box), ElementsAre(1, 2, 3, 4, 5));
    model->redo();
    EXPECT_EQ(numbers(box).size(), 4U);
    model->undo();
  }
}

TEST_F(DestructionTest, ComesBackToItsPlaceInALongList) {
  fill(box, 300);
  model->setUndoLimit(10);
  const std::string before = dump(model);
  {
    Transaction transaction = model->beginTransaction(false);
    while (numbers(box).size() > 1) destroyAt(box, numbers(box).size() / 2);
    transaction.commit(boost::none);
  }
  EXPECT_THAT(numbers(box), ElementsAre(1));
  const std::string after = dump(model);
  model->undo();
  EXPECT_EQ(dump(model), before);
  model->redo();
  EXPECT_EQ(dump(model), after);
}

TEST_F(DestructionTest, IsRolledBackFromTheFront) {
  fill(box, 1000);
  const std::string before = dump(model);
  {
    const Transaction transaction = model->beginTransaction(false);
    for (int i = 0; i < 1000; ++i) destroyAt(box, 0);
    EXPECT_THAT(numbers(box), IsEmpty());
    EXPECT_EQ(model->getElementCount(), 1U);
  }
  EXPECT_EQ(dump(model), before);
}

TEST_F(DestructionTest, OfWhatASingleCompositionHoldsComesBackToo) {
  const ModelElement lid = make(types().item, 7);
  box->set<ModelElement>(types().lid, lid);
  model->setUndoLimit(10);
  lid->destroy();
  EXPECT_EQ(box->peekElement(types().lid), nullptr);
  model->undo();
  EXPECT_EQ(box->peekElement(types().lid), lid.get());
  EXPECT_EQ(lid->container(), box);
}

TEST_F(DestructionTest, InAListThatAnOuterLevelMadeGoesWithThatLevel) {
  fill(box, 3);
  const std::string before = dump(model);
  {
    const Transaction outer = model->beginTransaction(false);
    const ModelElement inside = make(types().box, 10);
    items(box).toElementCollection().addElement(inside);
    fill(inside, 100);
    {
      Transaction inner = model->beginTransaction(false);
      destroyAt(inside, 50);
      destroyAt(inside, 98);
      destroyAt(box, 0);
      inner.commit(boost::none);
    }
    // Of this the outer level needs no record: the list goes as a whole.
    items(inside).toElementCollection().clear();
    EXPECT_EQ(numbers(box).size(), 3U);
  }
  EXPECT_EQ(dump(model), before);
}

TEST_F(DestructionTest, InAListThatAKeptTransactionMadeIsUndoneWithIt) {
  model->setUndoLimit(10);
  const std::string before = dump(model);
  ModelElement inside;
  {
    Transaction outer = model->beginTransaction(false);
    inside = make(types().box, 10);
    items(box).toElementCollection().addElement(inside);
    fill(inside, 100);
    {
      Transaction inner = model->beginTransaction(false);
      destroyAt(inside, 50);
      inner.commit(boost::none);
    }
    items(inside).toElementCollection().move(0, 60);
    outer.commit(boost::none);
  }
  const std::string after = dump(model);
  for (int i = 0; i < 2; ++i) {
    model->undo();
    EXPECT_EQ(dump(model), before);
    model->redo();
    EXPECT_EQ(dump(model), after);
  }
}

TEST_F(DestructionTest, ObserversHearOfTheElementAndOfItsList) {
  fill(box, 100);
  model->setUndoLimit(10);
  Recorder recorder;
  model->addObserver(&recorder);
  const ModelElement item = items(box).toElementCollection().getElement(10);
  item->destroy();
  model->undo();
  model->removeObserver(&recorder);
  ASSERT_EQ(recorder.changes.size(), 2U);
  EXPECT_THAT(recorder.changes[0].destroyed, ElementsAre(item));
  EXPECT_THAT(recorder.changes[1].created, ElementsAre(item));
  for (const ModelChange& change : recorder.changes) {
    ASSERT_EQ(change.changed.size(), 1U);
    EXPECT_EQ(change.changed[0].element, box);
    EXPECT_EQ(change.changed[0].property, types().items);
  }
}

TEST_F(DestructionTest, TogetherWithItsContainerTellsOfNoList) {
  const ModelElement inside = make(types().box, 10);
  items(box).toElementCollection().addElement(inside);
  fill(inside, 100);
  Recorder recorder;
  model->addObserver(&recorder);
  {
    Transaction transaction = model->beginTransaction(false);
    destroyAt(inside, 3);
    inside->destroy();
    transaction.commit(boost::none);
  }
  model->removeObserver(&recorder);
  ASSERT_EQ(recorder.changes.size(), 1U);
  EXPECT_EQ(recorder.changes[0].destroyed.size(), 101U);
  ASSERT_EQ(recorder.changes[0].changed.size(), 1U);
  EXPECT_EQ(recorder.changes[0].changed[0].element, box);
}

/// Destroys, makes and moves at random in transactions within transactions, some of them given up, and steps back and
/// forth between; whatever is undone must read as it did before.
TEST_F(DestructionTest, AnySequenceIsUndone) {
  for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
    std::mt19937 random(seed);
    model = newModel();
    model->setUndoLimit(1000);
    box = make(types().box, 0);
    fill(box, seed % 2 == 0 ? 20 : 150);
    std::int32_t next = 1000;
    const auto edit = [&] {
      std::vector<ModelElement> boxes = {box};
      for (const ModelElement& item : items(box).toElementCollection().getAllElements()) {
        if (item->getMetaClass() == types().box) boxes.push_back(item);
      }
      const ModelElement in = boxes[random() % boxes.size()];
      const Value live = items(in);
      const ElementCollection& members = live.toElementCollection();
      const std::size_t size = members.size();
      switch (random() % 6) {
        case 0:
        case 1:
        case 2:
          if (size > 0) members.getElement(random() % 3 == 0 ? 0 : random() % size)->destroy();
          break;
        case 3:
          live.toElementCollection().insertElement(random() % (size + 1), make(types().item, ++next));
          break;
        case 4:
          if (size > 1) live.toElementCollection().move(random() % size, random() % size);
          break;
        default:
          live.toElementCollection().addElement(
              make(in == box && random() % 8 == 0 ? types().box : types().item, ++next));
          break;
      }
    };
    const auto editInLevels = [&](auto& self, int depth) -> void {
      for (unsigned i = 0; i < 3 + random() % 8; ++i) {
        if (depth < 3 && random() % 5 == 0) {
          const std::string before = dump(model);
          Transaction transaction = model->beginTransaction(false);
          self(self, depth + 1);
          if (random() % 2 == 0) {
            transaction.commit(boost::none);
          } else {
            static_cast<void>(transaction.rollBack());
            ASSERT_EQ(dump(model), before);
          }
        } else {
          edit();
        }
      }
    };
    std::vector<std::string> states = {dump(model)};
    for (int step = 0; step < 40; ++step) {
      Transaction transaction = model->beginTransaction(false);
      editInLevels(editInLevels, 0);
      if (HasFatalFailure()) return;
      if (transaction.commit(boost::none) == TransactionResult::Done) states.push_back(dump(model));
    }
    ASSERT_EQ(inconsistencies(model), "") << "seed " << seed;
    std::size_t at = states.size() - 1;
    for (int step = 0; step < 200; ++step) {
      if (random() % 3 != 0 && at > 0) {
        model->undo();
        --at;
      } else if (at + 1 < states.size()) {
        model->redo();
        ++at;
      }
      ASSERT_EQ(dump(model), states[at]) << "seed " << seed << ", step " << step;
    }
  }
}
