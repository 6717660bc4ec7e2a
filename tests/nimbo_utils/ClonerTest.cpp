#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/Testing.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/Cloner.h"
#include "support/CloningMetaModel.h"
#include "support/SampleContent.h"
#include "support/TestMetaModel.h"

namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::addTo;
using testsupport::emptyModel;
using testsupport::membersOf;
using testsupport::newNode;
using testsupport::nodeIn;
using testsupport::targetOf;
using testsupport::valueOf;
using Replacements = std::unordered_map<ModelElement, ModelElement>;

class ClonerTest : public testing::Test {
 protected:
  [[nodiscard]] ModelElement cloneOf(std::uint64_t number) const { return nodeIn(target, number); }

  /// The target's content is the source's.
  void expectEqual() const {
    const auto difference = kern::firstDifference(source, target);
    EXPECT_FALSE(difference) << difference->text();
  }

  Model source = emptyModel();
  Model target = emptyModel();
  Cloner cloner{target};
};

TEST_F(ClonerTest, MakesTheTargetModelAtFirstUseAndKeepsIt) {
  const ModelElement a = newNode(source, 1, u"a");
  const ModelElement b = newNode(source, 2, u"b");
  Cloner fresh;
  EXPECT_FALSE(fresh.getTargetModel());
  fresh.clone({a});
  const Model made = fresh.getTargetModel();
  ASSERT_TRUE(made);
  fresh.clone({b});
  EXPECT_EQ(fresh.getTargetModel(), made);
  EXPECT_EQ(made->getElementCount(), 2U);
}

TEST_F(ClonerTest, SetTargetModelChangesWhereClonesGo) {
  const Model other = emptyModel();
  cloner.setTargetModel(other);
  cloner.clone({newNode(source, 1)});
  EXPECT_EQ(cloner.getTargetModel(), other);
  EXPECT_EQ(other->getElementCount(), 1U);
  EXPECT_EQ(target->getElementCount(), 0U);
}

TEST_F(ClonerTest, ACloneHasTheUuidAndClassOfItsSource) {
  const ModelElement leaf = newNode(source, 7, u"leaf", u"Leaf");
  cloner.clone({leaf});
  const ModelElement clone = target->findElement(leaf->getUuid(), kern::FindElementBehavior::Anywhere);
  ASSERT_TRUE(clone);
  EXPECT_NE(clone, leaf);
  EXPECT_EQ(clone->getUuid(), leaf->getUuid());
  EXPECT_EQ(clone->getMetaClass(), leaf->getMetaClass());
  EXPECT_EQ(clone->get<std::u16string>(u"name"), u"leaf");
}

TEST_F(ClonerTest, ElementsThatReferToEachOtherCloneOnceAndReferToEachOther) {
  const ModelElement a = newNode(source, 1);
  const ModelElement b = newNode(source, 2);
  a->set(u"next", b);
  b->set(u"next", a);
  cloner.clone({a});
  EXPECT_EQ(target->getElementCount(), 2U);
  EXPECT_EQ(targetOf(cloneOf(1), u"next"), cloneOf(2));
  EXPECT_EQ(targetOf(cloneOf(2), u"next"), cloneOf(1));
}

TEST_F(ClonerTest, AnElementMayReferToItself) {
  const ModelElement a = newNode(source, 1);
  a->set(u"next", a);
  addTo(a, u"friends", a);
  cloner.clone({a, a});
  expectEqual();
}

TEST_F(ClonerTest, PlainReferencesDrawInWhatLiesOutsideWithItsContent) {
  const ModelElement a = newNode(source, 1);
  const ModelElement outside = newNode(source, 2);
  const ModelElement part = newNode(source, 3);
  const ModelElement container = newNode(source, 4);
  addTo(outside, u"children", part);
  addTo(container, u"children", outside);
  const ModelElement user = newNode(source, 5);
  user->set(u"next", a);
  a->set(u"next", outside);
  cloner.clone({a});
  EXPECT_EQ(target->getElementCount(), 3U);  // neither the container nor what refers to a
  EXPECT_FALSE(cloneOf(2)->container());
  EXPECT_EQ(cloneOf(3)->container(), cloneOf(2));
}

TEST_F(ClonerTest, AnEmptyVectorGivesAnEmptyCommittedTransaction) {
  Cloner fresh;
  fresh.clone(std::vector<ModelElement>());
  ASSERT_TRUE(fresh.getTargetModel());
  EXPECT_EQ(fresh.getTargetModel()->getElementCount(), 0U);
  EXPECT_EQ(fresh.getTargetModel()->getTransactionDepth(), 0U);
}

TEST_F(ClonerTest, NullElementsArePassedOver) {
  const ModelElement a = newNode(source, 1);
  addTo(a, u"refs", ModelElement());
  addTo(a, u"refs", a);
  cloner.clone({ModelElement(), a});
  EXPECT_THAT(membersOf(cloneOf(1), u"refs"), ElementsAre(cloneOf(1)));
}

TEST_F(ClonerTest, ANullModelIsRefused) { EXPECT_THROW(cloner.clone(Model()), std::invalid_argument); }

TEST_F(ClonerTest, QualifiedReferencesStayEmptyAndQualifiedContentIsCopied) {
  const ModelElement a = newNode(source, 1);
  addTo(a, u"index", newNode(source, 2, u"b"));
  addTo(a, u"items", newNode(source, 3, u"c"));
  cloner.clone({a});
  EXPECT_THAT(membersOf(cloneOf(1), u"index"), IsEmpty());
  EXPECT_THAT(membersOf(cloneOf(1), u"items"), ElementsAre(cloneOf(3)));
  EXPECT_FALSE(cloneOf(2));
}

TEST_F(ClonerTest, OmittedPropertiesAreNeverCopied) {
  const ModelElement a = newNode(source, 1);
  a->set(u"scratch", newNode(source, 2));
  a->set(u"hidden", newNode(source, 3));
  cloner.clone({a});
  EXPECT_FALSE(targetOf(cloneOf(1), u"scratch"));
  EXPECT_FALSE(targetOf(cloneOf(1), u"hidden"));
  EXPECT_EQ(target->getElementCount(), 1U);

  const ModelElement omitting = testsupport::newSample(source, u"Omitting", 9);
  for (const char16_t* name : {u"derived", u"transient", u"kept"}) omitting->set(name, std::int32_t{5});
  cloner.clone({omitting});
  EXPECT_FALSE(valueOf(cloneOf(9), u"derived").hasObject());
  EXPECT_FALSE(valueOf(cloneOf(9), u"transient").hasObject());
  EXPECT_EQ(cloneOf(9)->get<std::int32_t>(u"kept"), 5);
}

TEST_F(ClonerTest, AMapIsReplacedInPlace) {
  const ModelElement a = newNode(source, 1);
  auto insert = [](const ModelElement& element, const char16_t* key, const char16_t* value) {
    valueOf(element, u"tags").toStringToStringMap().insert(key, value, kern::CollisionResolution::Replace);
  };
  insert(a, u"z", u"1");
  insert(a, u"a", u"2");
  struct Watch : kern::ModelObserver {
    void changed(const kern::ModelChange& change) override { created = change.created.size(); }
    std::size_t created = 0;
  } watch;
  target->addObserver(&watch);
  cloner.clone({a});
  target->removeObserver(&watch);
  EXPECT_EQ(watch.created, 1U);
  const Value tags = valueOf(cloneOf(1), u"tags");
  const kern::StringToStringMap expected{{u"z", u"1"}, {u"a", u"2"}};
  EXPECT_EQ(tags.toStringToStringMap(), expected);
  insert(a, u"b", u"3");  // the clone has a content of its own
  EXPECT_EQ(tags.toStringToStringMap(), expected);
}

TEST_F(ClonerTest, DateTimesAreCopiedEntryByEntryInOrder) {
  const ModelElement a = newNode(source, 1);
  using boost::gregorian::date;
  const std::vector<boost::posix_time::ptime> times{boost::posix_time::ptime(date(2021, 3, 4)),
                                                    boost::posix_time::ptime(date(1999, 1, 1)),
                                                    boost::posix_time::ptime(date(2021, 3, 4))};
  for (const auto& time : times) valueOf(a, u"times").toPrimitiveCollection().addValue(Value(time));
  ASSERT_NE(valueOf(a, u"times").toPrimitiveCollection().getStorageKind(), kern::PrimitiveCollection::kContiguous);
  cloner.clone({a});
  std::vector<boost::posix_time::ptime> copied;
  for (const Value& value : valueOf(cloneOf(1), u"times").toPrimitiveCollection().getAllValues()) {
    copied.push_back(value.get<boost::posix_time::ptime>());
  }
  EXPECT_EQ(copied, times);
}

TEST_F(ClonerTest, UpperZeroIsSingleValued) {
  const ModelElement a = newNode(source, 1);
  a->set(u"never", std::int32_t{3});
  a->set(u"nowhere", newNode(source, 2));
  cloner.clone({a});
  EXPECT_EQ(cloneOf(1)->get<std::int32_t>(u"never"), 3);
  EXPECT_EQ(targetOf(cloneOf(1), u"nowhere"), cloneOf(2));
}

TEST_F(ClonerTest, AbsentValuesStayAbsentWhereThereIsADefault) {
  const ModelElement defaults = testsupport::newSample(source, u"Defaults", 1);
  defaults->unset(defaults->property(u"ratio"));
  defaults->set(u"count", std::int32_t{8});
  cloner.clone({defaults});
  EXPECT_FALSE(valueOf(cloneOf(1), u"ratio").hasObject());
  expectEqual();
}

// --- Every kind of value, in contiguous and in generic collections.

Value sampleValue(const std::u16string& kind, int number) {
  using testsupport::sampleMetaModel;
  const auto wide = static_cast<std::uint8_t>(number);
  if (kind == u"String") return Value(std::u16string(3, static_cast<char16_t>(u'a' + number)));
  if (kind == u"StdString") return Value(std::string(3, static_cast<char>('a' + number)));
  if (kind == u"Integer") return Value(std::int32_t{-number});
  if (kind == u"Integer8") return Value(static_cast<std::int8_t>(-number));
  if (kind == u"Integer16") return Value(static_cast<std::int16_t>(-number));
  if (kind == u"Integer64") return Value(std::int64_t{-number} << 40);
  if (kind == u"UInteger8") return Value(wide);
  if (kind == u"UInteger16") return Value(std::uint16_t{wide});
  if (kind == u"UInteger64") return Value(std::uint64_t{wide} << 60);
  if (kind == u"UnlimitedNatural") return Value(std::uint32_t{wide});
  if (kind == u"Real") return Value(number / 3.0);
  if (kind == u"Boolean") return Value(number % 2 == 0);
  if (kind == u"UUID") return Value(testsupport::uuidEndingIn(wide));
  if (kind == u"DateTime") return Value(boost::posix_time::ptime(boost::gregorian::date(2000, 1, wide)));
  const kern::ValueMeta meta(sampleMetaModel().type(kind), kern::ValueFlags::Single);
  if (kind == u"Color") return Value(meta, std::int64_t{number % 2});
  if (kind == u"Point") {
    return Value(kern::ReflectiveDataType(sampleMetaModel().dataTypeNamed(kind))
                     .set(u"x", std::int32_t{number})
                     .set(u"y", std::int32_t{2}));
  }
  return Value(meta, testsupport::Money{number});
}

TEST_F(ClonerTest, EveryKindOfValueIsCopiedInEveryMultiplicity) {
  std::uint8_t last = 0;
  for (const std::u16string& kind : testsupport::kindNames()) {
    if (kind == u"StringToStringMap") continue;
    for (const char16_t* shape : {u"Required", u"Optional"}) {
      const ModelElement element = testsupport::newSample(source, shape + kind, ++last);
      element->setPropertyValue(element->property(u"value"), sampleValue(kind, 1),
                                kern::ReflectionPrivateTag::PUBLIC_ACCESS);
    }
    for (const char16_t* shape : {u"Many", u"Generic"}) {
      const Value value = valueOf(testsupport::newSample(source, shape + kind, ++last), u"value");
      for (const int number : {5, 2, 9, 5}) value.toPrimitiveCollection().addValue(sampleValue(kind, number));
    }
  }
  cloner.clone(source);
  expectEqual();
}

TEST_F(ClonerTest, EmptyAndLongCollectionsAreCopied) {
  const ModelElement bits = testsupport::newSample(source, u"ManyBoolean", 1);
  const Value value = valueOf(bits, u"value");
  for (int i = 0; i < 200; ++i) value.toPrimitiveCollection().addValue(Value(i % 3 == 0));
  testsupport::newSample(source, u"ManyBoolean", 2);
  testsupport::newSample(source, u"GenericInteger", 3);
  cloner.clone(source);
  expectEqual();
}

TEST_F(ClonerTest, ADataValueKeepsItsReferencesIntoTheSource) {
  const ModelElement a = newNode(source, 1);
  const ModelElement b = newNode(source, 2);
  a->set(u"link", kern::ReflectiveDataType(testsupport::linkType()).set(u"target", b));
  cloner.clone({a});
  EXPECT_EQ(valueOf(cloneOf(1), u"link").get<kern::ReflectiveDataType>().get<ModelElement>(u"target"), b);
  EXPECT_FALSE(cloneOf(2));
}

// --- Order.

TEST_F(ClonerTest, OppositesKeepTheirOrderOnBothEnds) {
  const ModelElement boss = newNode(source, 1);
  const ModelElement a = newNode(source, 2);
  const ModelElement b = newNode(source, 3);
  addTo(boss, u"staff", a);
  addTo(boss, u"staff", b);
  cloner.clone({b, a, boss});  // b meets its boss first and enters itself before a
  EXPECT_THAT(membersOf(cloneOf(1), u"staff"), ElementsAre(cloneOf(2), cloneOf(3)));
  EXPECT_EQ(targetOf(cloneOf(3), u"boss"), cloneOf(1));
}

// --- Replacements.

class ReplacementTest : public ClonerTest {
 protected:
  ModelElement root = newNode(source, 1, u"root");
  ModelElement key = newNode(source, 2, u"key");
  ModelElement part = newNode(source, 3, u"part");
  ModelElement other = newNode(source, 4, u"other");
  ModelElement substitute = newNode(source, 5, u"substitute");

  void SetUp() override {
    addTo(root, u"children", key);
    addTo(root, u"refs", other);
    addTo(key, u"children", part);
    key->set(u"next", other);
  }
};

TEST_F(ReplacementTest, AKeyMappedToNullIsLeftOut) {
  root->set(u"next", key);
  root->set(u"child", newNode(source, 6));
  cloner.cloneAndReplace({root}, Replacements{{key, ModelElement()}, {nodeIn(source, 6), ModelElement()}});
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), IsEmpty());
  EXPECT_FALSE(targetOf(cloneOf(1), u"next"));
  EXPECT_FALSE(targetOf(cloneOf(1), u"child"));
  EXPECT_EQ(target->getElementCount(), 2U);
}

TEST_F(ReplacementTest, AttributesComeFromTheReplacementAndChildrenFromTheKey) {
  addTo(substitute, u"children", newNode(source, 6, u"not copied"));
  substitute->set(u"next", root);
  cloner.cloneAndReplace({root}, Replacements{{key, substitute}});
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), ElementsAre(cloneOf(5)));
  EXPECT_EQ(cloneOf(5)->get<std::u16string>(u"name"), u"substitute");
  EXPECT_THAT(membersOf(cloneOf(5), u"children"), ElementsAre(cloneOf(3)));
  EXPECT_FALSE(targetOf(cloneOf(5), u"next"));  // neither the key's nor its own
  EXPECT_FALSE(cloneOf(2));
  EXPECT_FALSE(cloneOf(6));
}

TEST_F(ReplacementTest, AKeyThatIsReachedTwiceIsWalkedOnce) {
  addTo(root, u"refs", key);
  addTo(root, u"refs", key);
  cloner.cloneAndReplace({root, key}, Replacements{{key, substitute}});
  EXPECT_THAT(membersOf(cloneOf(1), u"refs"), ElementsAre(cloneOf(4), cloneOf(5), cloneOf(5)));
  EXPECT_THAT(membersOf(cloneOf(5), u"children"), ElementsAre(cloneOf(3)));
}

TEST_F(ReplacementTest, TheReplacementItselfIsWalkedAsAnElementOfItsOwn) {
  substitute->set(u"next", other);
  cloner.cloneAndReplace({root, substitute}, Replacements{{key, substitute}});
  // Met as itself it is not replaced, so its references come along; its attributes were there already.
  EXPECT_EQ(targetOf(cloneOf(5), u"next"), cloneOf(4));
  EXPECT_THAT(membersOf(cloneOf(5), u"children"), ElementsAre(cloneOf(3)));
}

TEST_F(ReplacementTest, ReplacementsAreNotReplacedAgain) {
  cloner.cloneAndReplace({root}, Replacements{{key, substitute}, {substitute, ModelElement()}});
  EXPECT_TRUE(cloneOf(5));
}

TEST_F(ReplacementTest, AKeyMayBeMappedToItself) {
  cloner.cloneAndReplace({root}, Replacements{{key, key}});
  EXPECT_EQ(targetOf(cloneOf(2), u"next"), cloneOf(4));
}

TEST_F(ReplacementTest, KeysWithTheSameReplacementShareItsClone) {
  addTo(root, u"children", other);
  addTo(other, u"children", newNode(source, 6));
  cloner.cloneAndReplace({root}, Replacements{{key, substitute}, {other, substitute}});
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), ElementsAre(cloneOf(5)));
  EXPECT_THAT(membersOf(cloneOf(5), u"children"), ElementsAre(cloneOf(3), cloneOf(6)));
}

TEST_F(ReplacementTest, AKeyReachedFromWithinAnotherOfTheSameReplacementKeepsItsChildren) {
  addTo(other, u"children", newNode(source, 6));
  addTo(part, u"refs", other);
  cloner.cloneAndReplace({key}, Replacements{{key, substitute}, {other, substitute}});
  EXPECT_THAT(membersOf(cloneOf(5), u"children"), ElementsAre(cloneOf(6), cloneOf(3)));
}

TEST_F(ReplacementTest, AReplacementOfADerivedClassBringsItsAttributes) {
  const ModelElement leaf = newNode(source, 6, u"leaf", u"Leaf");
  leaf->set(u"size", std::int32_t{4});
  cloner.cloneAndReplace({root}, Replacements{{key, leaf}});
  EXPECT_EQ(cloneOf(6)->get<std::int32_t>(u"size"), 4);
  EXPECT_THAT(membersOf(cloneOf(6), u"children"), ElementsAre(cloneOf(3)));
}

TEST_F(ReplacementTest, AReplacementInTheTargetModelIsUsedAsItIs) {
  const ModelElement present = newNode(target, 6, u"present");
  cloner.cloneAndReplace({root}, Replacements{{key, present}});
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), ElementsAre(present));
  EXPECT_EQ(present->get<std::u16string>(u"name"), u"present");
}

TEST_F(ReplacementTest, AReplacementOfAForeignClassMakesTheFrameworkThrow) {
  const ModelElement other2 = newNode(source, 6, u"foreign", u"Other");
  EXPECT_ANY_THROW(cloner.cloneAndReplace({root}, Replacements{{key, other2}}));
  EXPECT_EQ(target->getElementCount(), 0U);
}

TEST_F(ReplacementTest, ReplacementsHoldForOneCallOnly) {
  cloner.cloneAndReplace({}, Replacements{{key, ModelElement()}});
  cloner.clone({key});
  EXPECT_TRUE(cloneOf(2));
}

// --- Cloning again, into the same model, and failing.

TEST_F(ClonerTest, ElementsOfTwoModelsWithTheSameUuidAreOneClone) {
  const Model second = Model::create(kern::ModelSpec());
  const ModelElement first = newNode(source, 1, u"first");
  const ModelElement other = newNode(second, 1, u"other");
  addTo(other, u"children", newNode(second, 2));
  cloner.clone({first, other});
  EXPECT_EQ(target->getElementCount(), 2U);
  EXPECT_EQ(cloneOf(1)->get<std::u16string>(u"name"), u"first");
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), ElementsAre(cloneOf(2)));
}

TEST_F(ClonerTest, AnElementThatIsThereKeepsItsAttributesAndGetsItsReferencesAgain) {
  const ModelElement a = newNode(source, 1, u"new");
  a->set(u"next", newNode(source, 2));
  addTo(a, u"children", newNode(source, 3));
  const ModelElement present = newNode(target, 1, u"old");
  const ModelElement own = newNode(target, 9);
  addTo(present, u"children", own);
  cloner.clone({a});
  EXPECT_EQ(present->get<std::u16string>(u"name"), u"old");
  EXPECT_EQ(targetOf(present, u"next"), cloneOf(2));
  EXPECT_THAT(membersOf(present, u"children"), ElementsAre(own, cloneOf(3)));
}

TEST_F(ClonerTest, ANullReferenceLeavesWhatTheTargetHas) {
  const ModelElement a = newNode(source, 1);
  const ModelElement present = newNode(target, 1);
  present->set(u"next", present);
  cloner.clone({a});
  EXPECT_EQ(targetOf(present, u"next"), present);
}

TEST_F(ClonerTest, CloningTwiceDuplicatesNoElementButAddsToCollectionsThatAreNotUnique) {
  const ModelElement a = newNode(source, 1);
  addTo(a, u"refs", a);
  addTo(a, u"children", newNode(source, 2));
  cloner.clone({a});
  cloner.clone({a});
  EXPECT_EQ(target->getElementCount(), 2U);
  EXPECT_THAT(membersOf(cloneOf(1), u"refs"), ElementsAre(cloneOf(1), cloneOf(1)));
  EXPECT_THAT(membersOf(cloneOf(1), u"children"), ElementsAre(cloneOf(2)));
}

TEST_F(ClonerTest, CloningIntoItsOwnModelEnds) {
  const ModelElement a = newNode(source, 1, u"a");
  const ModelElement b = newNode(source, 2);
  addTo(a, u"refs", b);
  addTo(a, u"refs", a);
  addTo(a, u"children", b);
  Cloner(source).clone(source);
  EXPECT_EQ(source->getElementCount(), 2U);
  EXPECT_THAT(membersOf(a, u"refs"), ElementsAre(b, a, b, a));
  EXPECT_THAT(membersOf(a, u"children"), ElementsAre(b));
}

TEST_F(ClonerTest, AFailedCloneLeavesTheTargetAsItWas) {
  testsupport::fillNodesByChance(target, 3, 30);
  const Model before = emptyModel();
  Cloner(before).clone(target);
  const ModelElement a = newNode(source, 100);
  a->set(u"next", newNode(source, 101));
  const ModelElement destroyed = newNode(source, 102);
  destroyed->destroy();
  EXPECT_THROW(cloner.clone({a, destroyed}), kern::DestroyedElementError);
  EXPECT_TRUE(kern::modelsEqual(before, target));
  EXPECT_EQ(target->getTransactionDepth(), 0U);
}

TEST_F(ClonerTest, AFailedCommitLeavesTheTargetAsItWas) {
  const ModelElement a = newNode(source, 1);
  kern::testhooks::failNextCommit(target, "no room");
  EXPECT_THROW(cloner.clone({a}), kern::TransactionError);
  EXPECT_EQ(target->getElementCount(), 0U);
}

TEST_F(ClonerTest, AnOuterTransactionTakesTheClonesBack) {
  const ModelElement a = newNode(source, 1);
  kern::Transaction outer = target->beginTransaction(false);
  cloner.clone({a});
  EXPECT_EQ(target->getTransactionDepth(), 1U);
  EXPECT_EQ(target->getElementCount(), 1U);
  outer.rollBack();
  EXPECT_EQ(target->getElementCount(), 0U);
}

TEST_F(ClonerTest, CopiesAndMovesOfAClonerUseTheSameTarget) {
  Cloner copy(cloner);
  EXPECT_EQ(copy.getTargetModel(), target);
  Cloner moved(std::move(copy));
  EXPECT_EQ(moved.getTargetModel(), target);
  Cloner assigned;
  assigned = moved;
  EXPECT_EQ(assigned.getTargetModel(), target);
  assigned = std::move(moved);
  assigned.clone({newNode(source, 1)});
  EXPECT_EQ(target->getElementCount(), 1U);
}

// --- Whole models.

TEST_F(ClonerTest, RandomModelsAndClonesOfClonesAreEqual) {
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    source = emptyModel();
    testsupport::fillNodesByChance(source, seed, 1 + seed * 5);
    target = emptyModel();
    const Model middle = emptyModel();
    Cloner(middle).clone(source);
    Cloner(target).clone(middle);
    const auto difference = kern::firstDifference(source, target);
    ASSERT_FALSE(difference) << "seed " << seed << ": " << difference->text();
  }
}

// --- Two ways, one result. Into an empty model there is a shorter way than the walk, which is taken unless there are
// replacements, be it none.

std::vector<ModelElement> allOf(const Model& model) {
  return model->getAllElements(kern::FindElementBehavior::Anywhere);
}

std::vector<boost::uuids::uuid> uuidsOf(const std::vector<ModelElement>& elements) {
  std::vector<boost::uuids::uuid> uuids;
  for (const ModelElement& element : elements) uuids.push_back(element->getUuid());
  return uuids;
}

void expectSameBothWays(const std::vector<ModelElement>& elements) {
  Cloner shortWay;
  Cloner walk;
  shortWay.clone(elements);
  walk.cloneAndReplace(elements, {});
  const Model a = shortWay.getTargetModel();
  const Model b = walk.getTargetModel();
  const auto difference = kern::firstDifference(a, b);
  EXPECT_FALSE(difference) << difference->text();
  EXPECT_EQ(uuidsOf(allOf(a)), uuidsOf(allOf(b)));
  EXPECT_EQ(uuidsOf(a->getTopLevelElements()), uuidsOf(b->getTopLevelElements()));
}

TEST_F(ClonerTest, TheShortWayMakesTheSameElementsInTheSameOrder) {
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    source = emptyModel();
    testsupport::fillNodesByChance(source, seed, 1 + seed * 5);
    expectSameBothWays(source->getTopLevelElements());
    std::vector<ModelElement> some;
    for (const ModelElement& element : allOf(source)) {
      if (element->getUuid().data[15] % 7 == seed % 7) some.insert(some.begin(), element);
    }
    expectSameBothWays(some);
  }
}

TEST_F(ClonerTest, EveryKindOfValueIsTheSameBothWays) {
  testsupport::fillEverything(source);
  testsupport::fillLines(source, ModelElement());
  for (const ModelElement& element : allOf(source)) expectSameBothWays({element});
  source = emptyModel();
  testsupport::fillReferences(source);
  expectSameBothWays(source->getTopLevelElements());
}

/// The order of what comes about by opposites alone is that of the steps of the walk.
TEST_F(ClonerTest, AnEndThatIsNotCopiedHasTheOrderOfTheWalk) {
  const ModelElement first = newNode(source, 1, u"", u"Oneway");
  const ModelElement second = newNode(source, 2, u"", u"Oneway");
  const ModelElement last = newNode(source, 3, u"", u"Oneway");
  addTo(first, u"to", second);
  addTo(first, u"to", last);
  addTo(second, u"to", last);
  cloner.clone({first});
  EXPECT_THAT(membersOf(cloneOf(1), u"to"), ElementsAre(cloneOf(2), cloneOf(3)));
  EXPECT_THAT(membersOf(cloneOf(3), u"from"), ElementsAre(cloneOf(2), cloneOf(1)));
  expectSameBothWays({first});
  expectSameBothWays({last, second, first});
}

TEST_F(ClonerTest, BothWaysEndAtElementsThatAreGivenTwice) {
  const ModelElement a = newNode(source, 1);
  const ModelElement b = newNode(source, 2);
  a->set(u"next", b);
  b->set(u"boss", a);
  expectSameBothWays({a, b, a, b});
}

// --- Depth.

void expectChain(const ModelElement& first, const char16_t* property) {
  int length = 0;
  for (ModelElement link = first; link; link = targetOf(link, property)) ++length;
  EXPECT_EQ(length, testsupport::kLongChain);
}

/// By the short way and by the walk.
void expectChainClones(const char16_t* property) {
  const Model source = emptyModel();
  const ModelElement first = newNode(source, 1);
  ModelElement last = first;
  for (int i = 2; i <= testsupport::kLongChain; ++i) {
    const ModelElement next = newNode(source, static_cast<std::uint64_t>(i));
    last->set(property, next);
    last = next;
  }
  for (const bool walks : {false, true}) {
    Cloner cloner;
    walks ? cloner.cloneAndReplace({first}, {}) : cloner.clone({first});
    expectChain(nodeIn(cloner.getTargetModel(), 1), property);
  }
}

TEST(DeepClonerTest, AChainOfContainmentOfAnyLengthIsCloned) {
  testsupport::onSmallStack([] { expectChainClones(u"child"); });
}

TEST(DeepClonerTest, AChainOfPlainReferencesOfAnyLengthIsCloned) {
  testsupport::onSmallStack([] { expectChainClones(u"next"); });
}

}  // namespace
}  // namespace quillon::nimbo
