#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/none.hpp>

#include <tarn/kern/BulkCopy.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::IsEmpty;

namespace {

/// Something in every property of a Node that is of no class type.
void fill(const ModelElement& node) {
  const ReflectionPrivateTag& privileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;
  node->set(u"name", u"a name that is too long to lie in place");
  node->set(u"note", u"");
  node->set(u"count", std::int32_t{-7});
  node->set(u"big", std::int64_t{1} << 40);
  node->set(u"flag", true);
  node->set(u"when", DateTimeUtils::Conversion::fromUstring(u"2020-01-31T13:05:09.000000"));
  node->set(u"color", std::int64_t{0});
  node->set<std::int32_t>(property(u"hidden"), 3, privileged);
  node->set<std::int32_t>(property(u"fixed"), 4, privileged);
  live(node, u"fields").toStringToStringMap().insert(u"key", u"text", CollisionResolution::Replace);
  live(node, u"numbers").toPrimitiveCollection().addValue(Value(std::int32_t{1}));
  live(node, u"numbers").toPrimitiveCollection().addValue(Value(std::int32_t{1}));
  live(node, u"labels").toPrimitiveCollection().addValue(Value(u"label"));
  live(node, u"times").toPrimitiveCollection().addValue(Value(node->get<boost::posix_time::ptime>(u"when")));
  ReflectiveDataType place(types().place);
  place.setPropertyValue(types().place->getProperty(u"x"), Value(std::int32_t{8}));
  const Value value(ValueMeta(types().place, ValueFlags::Single), place);
  node->setPropertyValue(property(u"place"), value, privileged);
  live(node, u"places").toPrimitiveCollection().addValue(value);
}

/// Every value that is not of class type, as text.
std::string valuesOf(const ModelElement& element) {
  const Model alone = newModel();
  const ModelElement copy = element->getMetaClass()->instantiate(alone, element->getUuid());
  const ReflectionPrivateTag& privileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;
  for (const meta::Property& p : element->getMetaClass()->getAllPrimitiveProperties()) {
    const Value value = element->getPropertyValue(p, privileged);
    if (p->isCollection()) {
      copy->getPropertyValue(p, privileged)
          .toPrimitiveCollection()
          .assignValues(value.toPrimitiveCollection().getAllValues());
    } else {
      copy->setPropertyValue(p, value, privileged);
    }
  }
  return dump(alone);
}

/// The same, whichever element it is of.
std::string contentOf(const ModelElement& element) {
  const std::string text = valuesOf(element);
  return text.substr(text.find("\n  "));
}

class BulkCopyTest : public testing::Test {
 protected:
  BulkCopyTest() { fill(source); }
  ~BulkCopyTest() override {
    EXPECT_EQ(inconsistencies(model), "");
    EXPECT_EQ(inconsistencies(other), "");
  }

  Model model = newModel();
  Model other = newModel();
  ModelElement source = newNode(model, u"source");
};

TEST_F(BulkCopyTest, ANewElementGetsAllValues) {
  const Model twin = newModel();
  const ModelElement copy = types().node->instantiate(twin, source->getUuid());
  Transaction transaction = twin->beginTransaction(false);
  bulk::copyValues(*source, *copy);
  transaction.commit(boost::none);
  const auto difference = firstDifference(model, twin);
  EXPECT_FALSE(difference) << difference->text();
  EXPECT_EQ(valuesOf(copy), valuesOf(source));
}

TEST_F(BulkCopyTest, AbsentValuesReplaceDefaults) {
  const ModelElement bare = newNode(model);
  for (const meta::Property& p : types().node->getAllPrimitiveProperties()) {
    if (!p->isCollection()) bare->unset(p, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  const ModelElement copy = newNode(other);
  bulk::copyValues(*bare, *copy);
  EXPECT_FALSE(copy->getOptional<std::int32_t>(property(u"count")));
  EXPECT_EQ(contentOf(copy), contentOf(bare));
}

TEST_F(BulkCopyTest, WhatTheTargetHadIsReplaced) {
  const ModelElement full = newNode(other);
  fill(full);
  live(full, u"numbers").toPrimitiveCollection().addValue(Value(std::int32_t{9}));
  bulk::copyValues(*newNode(model), *full);
  EXPECT_EQ(contentOf(full), contentOf(newNode(model)));
  EXPECT_TRUE(live(full, u"labels").toPrimitiveCollection().empty());
  live(full, u"labels").toPrimitiveCollection().addValue(Value(u"label"));  // forgotten by the unique collection
  EXPECT_EQ(live(full, u"labels").toPrimitiveCollection().size(), 1U);
}

TEST_F(BulkCopyTest, ReferencesAndContentStayAsTheyAre) {
  add(source, u"children", newNode(model));
  set(source, u"next", newNode(model));
  const ModelElement copy = newNode(other);
  const ModelElement kept = newNode(other, u"kept");
  set(copy, u"next", kept);
  bulk::copyValues(*source, *copy);
  EXPECT_THAT(names(copy, u"children"), IsEmpty());
  EXPECT_EQ(nameOf(copy, u"next"), "kept");
}

TEST_F(BulkCopyTest, TheCopyIsIndependent) {
  const ModelElement copy = newNode(other);
  bulk::copyValues(*source, *copy);
  const std::string before = valuesOf(copy);
  source->set(u"name", u"another name");
  live(source, u"numbers").toPrimitiveCollection().clear();
  live(source, u"fields").toStringToStringMap().clear();
  EXPECT_EQ(valuesOf(copy), before);
}

TEST_F(BulkCopyTest, AnElementMayBeCopiedToItself) {
  const std::string before = dump(model);
  bulk::copyValues(*source, *source);
  EXPECT_EQ(dump(model), before);
}

TEST_F(BulkCopyTest, ACopyToAnOlderElementIsUndone) {
  const ModelElement older = newNode(other);
  const std::string before = dump(other);
  Transaction transaction = other->beginTransaction(false);
  bulk::copyValues(*source, *older);
  EXPECT_EQ(contentOf(older), contentOf(source));
  transaction.rollBack();
  EXPECT_EQ(dump(other), before);
}

TEST_F(BulkCopyTest, HistoryKnowsTheCopy) {
  other->setUndoLimit(10);
  const ModelElement older = newNode(other);
  const std::string before = dump(other);
  Transaction transaction = other->beginTransaction(false);
  bulk::copyValues(*source, *older);
  transaction.commit(boost::none);
  other->undo();
  EXPECT_EQ(dump(other), before);
  other->redo();
  EXPECT_EQ(contentOf(older), contentOf(source));
}

TEST_F(BulkCopyTest, ObserversAreToldOfEachCollection) {
  class Counting : public ModelObserver {
   public:
    void collectionCommitted(const AbstractOwnedCollection&) override { ++committed; }
    int committed = 0;
  } observer;
  other->addObserver(&observer);
  bulk::copyValues(*source, *newNode(other));
  other->removeObserver(&observer);
  EXPECT_EQ(observer.committed, 4);  // numbers, labels, times, places
}

TEST_F(BulkCopyTest, AnElementOfADerivedClassTakesTheValuesOfItsBase) {
  const ModelElement special = types().special->instantiate(other, {});
  bulk::copyValues(*source, *special);
  EXPECT_EQ(special->get<ustring>(u"name"), source->get<ustring>(u"name"));
  EXPECT_EQ(contentOf(special), contentOf(source));
}

TEST_F(BulkCopyTest, AnElementWithoutThePropertiesIsRefused) {
  const ModelElement unrelated = types().unrelated->instantiate(other, {});
  EXPECT_THROW(bulk::copyValues(*source, *unrelated), PropertyError);
}

TEST_F(BulkCopyTest, DestroyedElementsAreRefused) {
  const ModelElement copy = newNode(other);
  const ModelElement gone = newNode(other);
  gone->destroy();
  EXPECT_THROW(bulk::copyValues(*gone, *copy), DestroyedElementError);
  EXPECT_THROW(bulk::copyValues(*source, *gone), DestroyedElementError);
}

TEST_F(BulkCopyTest, TheMetaModelHasNoValues) { EXPECT_THROW(bulk::copyValues(*source, *types().node), PropertyError); }

}  // namespace
