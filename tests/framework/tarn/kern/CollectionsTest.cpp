#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CollectionsTest : public testing::Test {
 protected:
  ~CollectionsTest() override { EXPECT_EQ(inconsistencies(model), ""); }

  [[nodiscard]] const std::vector<std::int32_t>& numbers() const {
    return node->peekCollection<std::int32_t>(property(u"numbers"));
  }

  Model model = newModel();
  ModelElement node = newNode(model, u"node");
  Value numbersValue = live(node, u"numbers");
  PrimitiveCollection& numbersView = numbersValue.toPrimitiveCollection();
};

}  // namespace

TEST_F(CollectionsTest, AppendInsertReplaceRemoveMoveAndClear) {
  for (const std::int32_t n : {1, 2, 3, 4}) numbersView.addValue(Value(n));
  EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4));
  numbersView.insertValue(0, Value(std::int32_t{9}));
  numbersView.setValue(1, Value(std::int32_t{8}));
  EXPECT_THAT(numbers(), ElementsAre(9, 8, 2, 3, 4));
  numbersView.move(0, 3);
  EXPECT_THAT(numbers(), ElementsAre(8, 2, 3, 9, 4));
  numbersView.move(4, 1);
  EXPECT_THAT(numbers(), ElementsAre(8, 4, 2, 3, 9));
  numbersView.removeAt(2);
  EXPECT_TRUE(numbersView.remove(Value(std::int32_t{9})));
  EXPECT_FALSE(numbersView.remove(Value(std::int32_t{77})));
  EXPECT_THAT(numbers(), ElementsAre(8, 4, 3));
  EXPECT_EQ(numbersView.find(Value(std::int32_t{4})), 1U);
  EXPECT_EQ(numbersView.find(Value(std::int32_t{5})), 3U);
  EXPECT_EQ(numbersView.getValue(2), Value(std::int32_t{3}));
  numbersView.clear();
  EXPECT_TRUE(numbersView.empty());
}

TEST_F(CollectionsTest, TellsWhetherItsStorageIsContiguous) {
  EXPECT_EQ(numbersView.getStorageKind(), PrimitiveCollection::kContiguous);
  EXPECT_EQ(live(node, u"times").toPrimitiveCollection().getStorageKind(), PrimitiveCollection::kGeneric);
  EXPECT_EQ(live(node, u"places").toPrimitiveCollection().getStorageKind(), PrimitiveCollection::kGeneric);
}

TEST_F(CollectionsTest, AssignsARangeAsItIs) {
  auto& typed = dynamic_cast<TypedCollection<std::int32_t>&>(numbersView);
  const std::vector<std::int32_t> range = {3, 1, 3};
  typed.assign(range.begin(), range.end());
  EXPECT_THAT(typed.storage(), ElementsAre(3, 1, 3));
  typed.assign({});
  EXPECT_TRUE(typed.empty());
}

TEST_F(CollectionsTest, KeepsTheFirstOfEqualValuesWhereDeclaredUnique) {
  const Value value = live(node, u"labels");
  auto& labels = dynamic_cast<TypedCollection<ustring>&>(value.toPrimitiveCollection());
  labels.assign({u"b", u"a", u"b", u"c", u"a"});
  EXPECT_THAT(labels.storage(), ElementsAre(u"b", u"a", u"c"));
  labels.addValue(Value(u"a"));
  labels.append(u"d");
  EXPECT_THAT(labels.storage(), ElementsAre(u"b", u"a", u"c", u"d"));
  labels.setValue(0, Value(u"c"));
  EXPECT_THAT(labels.storage(), ElementsAre(u"a", u"c", u"d")) << "what it would become is there already";
  labels.setValue(1, Value(u"c"));
  EXPECT_THAT(labels.storage(), ElementsAre(u"a", u"c", u"d")) << "what it was";
}

TEST_F(CollectionsTest, HoldsTimesAndDataValuesGenerically) {
  const Value value = live(node, u"places");
  ReflectiveDataType place(types().place);
  place.set(u"x", std::int32_t{7});
  value.toPrimitiveCollection().addValue(Value(place));
  EXPECT_EQ(value.toPrimitiveCollection().getAllValues().at(0).toReflectiveDataType().get<std::int32_t>(u"x"), 7);
  place.set(u"x", std::int32_t{8});
  EXPECT_EQ(value.toPrimitiveCollection().getValue(0).toReflectiveDataType().get<std::int32_t>(u"x"), 7);
}

TEST_F(CollectionsTest, RefusesValuesOfAnotherTypeAndAbsentOnes) {
  EXPECT_THROW(numbersView.addValue(Value(u"x")), bedrock::except::IMsgIDException);
  EXPECT_THROW(numbersView.addValue(Value(std::int64_t{1})), bedrock::except::IMsgIDException);
  EXPECT_THROW(numbersView.addValue(Value::createEmptyValue(meta::StandardTypes::integerMeta, false)),
               bedrock::except::IMsgIDException);
  EXPECT_TRUE(numbersView.empty());
}

TEST_F(CollectionsTest, FindsNothingThatIsStoredAsAnotherCppType) {
  numbersView.addValue(Value(std::int32_t{1}));
  const Value foreign(ValueMeta(meta::StandardTypes::integerMeta, ValueFlags::Single), ustring(u"x"));
  EXPECT_EQ(numbersView.find(foreign), 1U);
  EXPECT_FALSE(numbersView.remove(foreign));
  EXPECT_EQ(numbersView.find(Value(u"x")), 1U);
}

TEST_F(CollectionsTest, StaysUniqueWhenLong) {
  const Value value = live(node, u"labels");
  PrimitiveCollection& labels = value.toPrimitiveCollection();
  const auto label = [](int i) {
    return Value(ustring(static_cast<std::size_t>(i % 90), u'x') + ustring(1, static_cast<char16_t>(i)));
  };
  for (int i = 0; i < 1000; ++i) labels.addValue(label(i));
  for (int i = 0; i < 1000; i += 7) labels.addValue(label(i));
  EXPECT_EQ(labels.size(), 1000U);
  labels.removeAt(500);
  labels.addValue(label(500));
  labels.insertValue(3, label(500));
  EXPECT_EQ(labels.size(), 1000U);
  Transaction change = model->beginTransaction(false);
  labels.removeAt(0);
  labels.addValue(label(5000));
  change.rollBack();
  labels.addValue(label(0));
  labels.addValue(label(5000));
  EXPECT_EQ(labels.size(), 1001U);
}

TEST_F(CollectionsTest, RefusesIndicesOutside) {
  numbersView.addValue(Value(std::int32_t{1}));
  try {
    numbersView.removeAt(1);
    FAIL() << "nothing was thrown";
  } catch (const KernelError& error) {
    EXPECT_STREQ(error.what(), "index 1 is outside the collection \"numbers\" of kerneltest.Node, which holds 1 entry");
  }
  EXPECT_THROW((void)numbersView.getValue(1), KernelError);
  EXPECT_THROW(numbersView.insertValue(2, Value(std::int32_t{1})), KernelError);
  EXPECT_THROW(numbersView.move(0, 1), KernelError);
  const Value children = live(node, u"children");
  EXPECT_THROW((void)children.toElementCollection().getElement(0), KernelError);
  EXPECT_THROW(children.toElementCollection().removeAt(0), KernelError);
}

TEST_F(CollectionsTest, StaysLiveWhenMovedAndBecomesASnapshotWhenCopied) {
  Value moved = std::move(numbersValue);
  moved.toPrimitiveCollection().addValue(Value(std::int32_t{1}));
  EXPECT_THAT(numbers(), ElementsAre(1));
  const Value copy = moved;
  EXPECT_TRUE(copy.toPrimitiveCollection().isSnapshot());
  moved.toPrimitiveCollection().addValue(Value(std::int32_t{2}));
  EXPECT_EQ(copy.toPrimitiveCollection().size(), 1U);
  EXPECT_THROW(copy.toPrimitiveCollection().addValue(Value(std::int32_t{3})), SnapshotError);
  EXPECT_THROW(copy.toPrimitiveCollection().clear(), SnapshotError);
  EXPECT_THAT(numbers(), ElementsAre(1, 2));

  add(node, u"others", node);
  const Value others = live(node, u"others");
  const Value others2 = others;
  EXPECT_THROW(others2.toElementCollection().addElement(node), SnapshotError);
  EXPECT_THROW(others2.toElementCollection().assign({}), SnapshotError);
  EXPECT_TRUE(others2.toElementCollection().contains(node));
  EXPECT_THAT(others2.toElementCollection().getAllElements(), ElementsAre(node));
}

TEST_F(CollectionsTest, ThrowsOnceItsElementIsDestroyed) {
  const Value children = live(node, u"children");
  node->destroy();
  EXPECT_THROW((void)numbersView.size(), DestroyedElementError);
  EXPECT_THROW(numbersView.addValue(Value(std::int32_t{1})), DestroyedElementError);
  EXPECT_THROW((void)children.toElementCollection().getAllElements(), DestroyedElementError);
}

TEST_F(CollectionsTest, HasOneIdentityPerElementAndProperty) {
  EXPECT_EQ(live(node, u"numbers").toPrimitiveCollection().identity(), numbersView.identity());
  EXPECT_NE(live(node, u"labels").toPrimitiveCollection().identity(), numbersView.identity());
  const ModelElement other = newNode(model);
  EXPECT_NE(live(other, u"numbers").toPrimitiveCollection().identity(), numbersView.identity());
}

TEST_F(CollectionsTest, FindsMembersByTheirQualifier) {
  add(node, u"keyed", newNode(model, u"one"));
  add(node, u"keyed", newNode(model, u"two"));
  add(node, u"keyed", newNode(model, u"one"));
  const Value keyed = live(node, u"keyed");
  EXPECT_EQ(keyed.toElementCollection().findByQualifier(Value(u"one")).size(), 2U) << "nothing is lost to a shared key";
  EXPECT_EQ(keyed.toElementCollection().findByQualifier(Value(u"two")).size(), 1U);
  EXPECT_THAT(keyed.toElementCollection().findByQualifier(Value(u"three")), IsEmpty());
  const Value children = live(node, u"children");
  EXPECT_THROW((void)children.toElementCollection().findByQualifier(Value(u"x")), PropertyError);
}

TEST_F(CollectionsTest, KeepsLiveCollectionsOfDataValues) {
  // A data value's collection works like an element's and is the value's own.
  ReflectiveDataType place(types().place);
  const ReflectiveDataType copy = place;
  place.set(u"name", ustring(u"here"));
  EXPECT_NE(place, copy);
}

TEST_F(CollectionsTest, RollsBackEveryKindOfChangeOfValues) {
  for (std::int32_t n = 0; n < 10; ++n) numbersView.addValue(Value(n));
  const Value labelsValue = live(node, u"labels");
  PrimitiveCollection& labels = labelsValue.toPrimitiveCollection();
  labels.addValue(Value(u"a label that is longer than what fits inline"));
  const Value timesValue = live(node, u"times");
  timesValue.toPrimitiveCollection().addValue(Value(boost::posix_time::ptime(boost::posix_time::min_date_time)));
  const std::string before = dump(model);

  const auto rolledBack = [&](auto change) {
    Transaction transaction = model->beginTransaction(false);
    change();
    EXPECT_NE(dump(model), before);
    transaction.rollBack();
    EXPECT_EQ(dump(model), before);
  };
  rolledBack([&] { numbersView.addValue(Value(std::int32_t{99})); });
  rolledBack([&] { numbersView.insertValue(3, Value(std::int32_t{99})); });
  rolledBack([&] { numbersView.setValue(3, Value(std::int32_t{99})); });
  rolledBack([&] { numbersView.removeAt(3); });
  rolledBack([&] { numbersView.move(2, 7); });
  rolledBack([&] { numbersView.move(7, 2); });
  rolledBack([&] { numbersView.clear(); });
  rolledBack([&] { numbersView.assignValues({Value(std::int32_t{1})}); });
  rolledBack([&] { labels.addValue(Value(u"another label that does not fit inline either")); });
  rolledBack([&] { labels.setValue(0, Value(u"x")); });
  rolledBack([&] { timesValue.toPrimitiveCollection().clear(); });
  rolledBack([&] {
    const Value fields = live(node, u"fields");
    fields.toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
    fields.toStringToStringMap().insert(u"k", u"w", CollisionResolution::Replace);
  });
  rolledBack([&] {
    numbersView.removeAt(0);
    numbersView.addValue(Value(std::int32_t{7}));
    numbersView.move(0, 4);
    numbersView.clear();
    numbersView.addValue(Value(std::int32_t{8}));
  });
}

TEST_F(CollectionsTest, RollsBackEveryKindOfChangeOfElements) {
  for (int i = 0; i < 200; ++i) add(node, u"children", newNode(model, u"child"));
  for (int i = 0; i < 5; ++i) add(node, u"path", node);
  const Value value = live(node, u"children");
  ElementCollection& children = value.toElementCollection();
  const std::string before = dump(model);
  const auto rolledBack = [&](auto change) {
    Transaction transaction = model->beginTransaction(false);
    change();
    EXPECT_NE(dump(model), before);
    EXPECT_EQ(inconsistencies(model), "");
    transaction.rollBack();
    EXPECT_EQ(dump(model), before);
  };
  rolledBack([&] { children.addElement(newNode(model, u"x")); });
  rolledBack([&] { children.insertElement(100, newNode(model, u"x")); });
  rolledBack([&] { children.removeAt(100); });
  rolledBack([&] { children.move(3, 150); });
  rolledBack([&] { children.clear(); });
  rolledBack([&] { children.assign({children.getElement(5), children.getElement(1)}); });
  rolledBack([&] {
    for (int i = 0; i < 120; ++i) children.removeAt(static_cast<std::size_t>(i) % 60);
    static_cast<void>(children.getElement(40));  // reading packs the list
    children.insertElement(10, newNode(model, u"x"));
    for (int i = 0; i < 30; ++i) children.getElement(0)->destroy();
  });
  rolledBack([&] { children.getElement(7)->destroy(); });
  rolledBack([&] {
    const Value path = live(node, u"path");
    path.toElementCollection().removeAt(2);
    path.toElementCollection().addElement(children.getElement(0));
  });
}

TEST_F(CollectionsTest, TellsChangesApartByEachOfTheirNumbers) {
  using Change = OCDChangeDescriptor;
  const Change move{Change::Kind::Move, 1, 2, 3};
  EXPECT_EQ(move, (Change{Change::Kind::Move, 1, 2, 3}));
  EXPECT_NE(move, (Change{Change::Kind::Insert, 1, 2, 3}));
  EXPECT_NE(move, (Change{Change::Kind::Move, 0, 2, 3}));
  EXPECT_NE(move, (Change{Change::Kind::Move, 1, 0, 3}));
  EXPECT_NE(move, (Change{Change::Kind::Move, 1, 2, 0}));
  EXPECT_EQ(AbstractOwnedCollection::getGiveUpDescriptor(), Change());
}

TEST_F(CollectionsTest, IsReadMemberByMemberWhenASnapshot) {
  const ModelElement other = newNode(model, u"other");
  add(node, u"others", other);
  add(node, u"others", node);
  const Value others = live(node, u"others");
  const Value copied = others;
  const ElementCollection& snapshot = copied.toElementCollection();
  EXPECT_EQ(snapshot.getElement(0), other);
  EXPECT_EQ(snapshot.find(node), 1U);
  EXPECT_THROW((void)snapshot.getElement(2), KernelError);
  other->destroy();
  EXPECT_FALSE(snapshot.getElement(0));
}

TEST_F(CollectionsTest, FindMembersBehindHoles) {
  std::vector<ModelElement> children;
  for (int i = 0; i < 200; ++i) add(node, u"children", children.emplace_back(newNode(model)));
  const Value value = live(node, u"children");
  ElementCollection& view = value.toElementCollection();
  view.removeAt(50);
  EXPECT_EQ(view.find(children[40]), 40U);
  EXPECT_EQ(view.find(children[60]), 59U);
  EXPECT_EQ(view.find(children[50]), 199U) << "none";
  EXPECT_EQ(view.getElement(59), children[60]);
}

TEST_F(CollectionsTest, ClearsAnEmptyOneWithoutAChange) {
  const Value children = live(node, u"children");
  Transaction change = model->beginTransaction(false);
  children.toElementCollection().clear();
  numbersView.clear();
  EXPECT_EQ(change.commit(boost::none), TransactionResult::Nothing);
}
