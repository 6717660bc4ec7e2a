#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinSerializer.h"
#include "support/Loading.h"
#include "support/RandomMetaModel.h"
#include "support/Saving.h"

/// Whatever the meta-model, and whatever the model: what was saved is what is loaded, and gives the same bytes.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;

/// Whether something in the tree of one root refers to a later root. Such a root is made where it is mentioned first,
/// so that the roots of the loaded model stand in another order.
bool refersForward(const Model& model) {
  const auto& access = kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;
  const std::vector<ModelElement> roots = model->getTopLevelElements();
  std::unordered_map<ModelElement, std::size_t> places;
  for (std::size_t i = 0; i < roots.size(); ++i) places.emplace(roots[i], i);
  for (const ModelElement& element : model->getAllElements(kern::FindElementBehavior::Anywhere)) {
    ModelElement root = element;
    while (root->container()) root = root->container();
    const auto isLaterRoot = [&](const ModelElement& target) {
      const auto found = places.find(target);
      return found != places.end() && found->second > places.at(root);
    };
    for (const kern::meta::Property& property : element->getMetaClass()->getAllClassProperties()) {
      const kern::Value value = element->getPropertyValue(property, access);
      if (property->isCollection()) {
        for (const ModelElement& target : value.toElementCollection().getAllElements()) {
          if (isLaterRoot(target)) return true;
        }
      } else if (isLaterRoot(value.get<ModelElement>())) {
        return true;
      }
    }
  }
  return false;
}

class RandomMetaModelTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(RandomMetaModelTest, KeepsItsModels) {
  testsupport::RandomMetaModel drawn(GetParam());
  for (std::size_t elements = 0; elements < 40; elements += 3) {
    SCOPED_TRACE(elements);
    const Model model = drawn.drawModel(elements);
    const std::string bytes = testsupport::saved(model->getTopLevelElements());
    for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
      const Model again = testsupport::loaded(testsupport::saved(model->getTopLevelElements(), format));
      const auto difference = kern::firstDifference(model, again);
      ASSERT_FALSE(difference) << difference->text();
      ASSERT_EQ(testsupport::saved(again->getTopLevelElements()), bytes);
    }
  }
}

TEST_P(RandomMetaModelTest, KeepsModelsOfManyRoots) {
  testsupport::RandomMetaModel drawn(GetParam() + 1000);
  std::size_t inTheSameOrder = 0;
  for (std::size_t elements = 1; elements < 30; elements += 2) {
    SCOPED_TRACE(elements);
    const Model model = drawn.drawModel(elements, testsupport::RandomMetaModel::Roots::Many);
    for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
      const Model again = testsupport::loaded(testsupport::saved(model->getTopLevelElements(), format));
      ASSERT_EQ(again->getTopLevelElements().size(), model->getTopLevelElements().size());
      std::vector<ModelElement> roots;
      for (const ModelElement& root : model->getTopLevelElements()) {
        roots.push_back(again->findElement(root->getUuid(), kern::FindElementBehavior::Anywhere));
      }
      ASSERT_EQ(testsupport::saved(roots), testsupport::saved(model->getTopLevelElements()));
      if (refersForward(model)) continue;
      ++inTheSameOrder;
      const auto difference = kern::firstDifference(model, again);
      ASSERT_FALSE(difference) << difference->text();
      ASSERT_EQ(again->getTopLevelElements(), roots);
    }
  }
  EXPECT_GT(inTheSameOrder, 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomMetaModelTest, testing::Range(1U, 41U));

}  // namespace
}  // namespace quillon::nimbo
