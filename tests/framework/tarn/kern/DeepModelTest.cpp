#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelCompare.h>

#include "framework/tarn/kern/KernelTestModel.h"
#include "support/Sanitizers.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT

namespace {

constexpr int kDepth = static_cast<int>(testsupport::kManyLevels);

/// A chain linked by that property, whose first element is given.
ModelElement chain(const Model& model, const char16_t* link) {
  const meta::Property property = kerneltest::property(link);
  const ModelElement first = newNode(model);
  ModelElement last = first;
  for (int i = 1; i < kDepth; ++i) {
    const ModelElement next = newNode(model);
    last->set(property, next);
    last = next;
  }
  return first;
}

}  // namespace

TEST(DeepModel, BuildsComparesRollsBackAndDestroysAChainOfContainment) {
  const Model model = newModel();
  Transaction building = model->beginTransaction(false);
  const ModelElement first = chain(model, u"only");
  EXPECT_EQ(model->getTopLevelElements().size(), 1U);
  building.rollBack();
  EXPECT_EQ(model->getElementCount(), 0U);

  const ModelElement again = chain(model, u"only");
  EXPECT_TRUE(modelsEqual(model, model));
  Transaction destroying = model->beginTransaction(false);
  again->destroy();
  EXPECT_EQ(model->getElementCount(), 0U);
  destroying.rollBack();
  EXPECT_EQ(model->getElementCount(), static_cast<std::size_t>(kDepth));
  again->destroy();
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(DeepModel, BuildsRollsBackAndDestroysAChainOfReferences) {
  const Model model = newModel();
  Transaction building = model->beginTransaction(false);
  static_cast<void>(chain(model, u"next"));
  building.rollBack();
  EXPECT_EQ(model->getElementCount(), 0U);
  const ModelElement first = chain(model, u"next");
  EXPECT_TRUE(modelsEqual(model, model));
  first->destroy();
  EXPECT_EQ(model->getElementCount(), static_cast<std::size_t>(kDepth) - 1);
  model->destroy();
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(DeepModel, LooksForCyclesWhereTheWayIsShort) {
  const Model model = newModel();
  Transaction building = model->beginTransaction(false);
  const ModelElement first = chain(model, u"only");
  ModelElement last = first;
  for (ModelElement next = last; next; next = last->get<ModelElement>(u"only")) last = next;
  // Each of these holds something itself, so it could hold the place that it goes to, which is a long way down.
  constexpr int kFamilies = 20'000;
  for (int i = 0; i < kFamilies; ++i) {
    const ModelElement family = newNode(model);
    family->set(property(u"only"), newNode(model));
    add(last, u"children", family);
  }
  EXPECT_EQ(names(last, u"children").size(), static_cast<std::size_t>(kFamilies));
  // And where the whole chain would have to be walked from either end, it still is.
  EXPECT_THROW(add(last, u"children", first), ContainmentError);
  building.rollBack();
}
