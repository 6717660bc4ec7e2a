#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinFormat.h"
#include "support/Loading.h"
#include "support/Sanitizers.h"
#include "support/Saving.h"
#include "support/TestMetaModel.h"

/// The whole life of the longest chains, on the ordinary stack: built, saved, loaded, rolled back and destroyed.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;

constexpr std::size_t kLength = testsupport::kManyLevels;

/// Boxes each of which has the next one in that property.
void build(const Model& model, const char16_t* link) {
  const kern::meta::Class box = testsupport::sampleMetaModel().classNamed(u"Box");
  const kern::meta::Property property = box->getProperty(link);
  ModelElement last = box->instantiate(model, testsupport::uuidEndingIn(1));
  for (std::size_t i = 1; i < kLength; ++i) {
    const ModelElement next = box->instantiate(model, {});
    last->set(property, next);
    last = next;
  }
}

std::size_t lengthOfChain(const Model& model, const char16_t* link) {
  ModelElement at = testsupport::elementOf(model, 1);
  const kern::meta::Property property = at->property(link);
  std::size_t length = 0;
  for (; at; at = at->get<ModelElement>(property)) ++length;
  return length;
}

class DeepModel : public testing::TestWithParam<const char16_t*> {};

TEST_P(DeepModel, LivesItsWholeLife) {
  std::vector<std::string> files;
  Model model = testsupport::emptyModel();
  {
    kern::Transaction dropped = model->beginTransaction(false);
    build(model, GetParam());
    for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZstd}) {
      files.push_back(testsupport::saved(model->getTopLevelElements(), format));
    }
    dropped.rollBack();
    EXPECT_EQ(model->getElementCount(), 0U);
  }
  for (const std::string& file : files) {
    kern::Transaction dropped = model->beginTransaction(false);
    testsupport::loadInto(model, file);
    EXPECT_EQ(model->getElementCount(), kLength);
    EXPECT_EQ(lengthOfChain(model, GetParam()), kLength);
    dropped.rollBack();
    EXPECT_EQ(model->getElementCount(), 0U);
  }
  testsupport::loadInto(model, files.front());
  const Model other = testsupport::loaded(files.back());
  EXPECT_TRUE(kern::modelsEqual(model, other));
  testsupport::elementOf(model, 1)->destroy();
  EXPECT_EQ(model->getElementCount(), model->getTopLevelElements().size()) << "what it contained went with it";
  model->destroy();
  EXPECT_EQ(model->getElementCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Chains, DeepModel, testing::Values(u"content", u"link"), [](const auto& tested) {
  return std::u16string_view(tested.param) == u"content" ? "OfContainedElements" : "OfPlainReferences";
});

}  // namespace
}  // namespace quillon::nimbo
