// A binary model stream, read into a model. What is accepted can be saved, and comes back the same.

#include <sstream>

#include <tarn/kern/ModelCompare.h>

#include "FuzzTarget.h"
#include "nimbo_utils/support/MoneySerializer.h"
#include "nimbo_utils/support/ReaderMetaModel.h"
#include "nimbo_utils/support/SampleContent.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"

namespace {

using quillon::nimbo::BinFormat;
using quillon::nimbo::BinParser;
using tarn::kern::Model;

void prepare() {
  static const bool kPrepared = [] {
    fuzz::silenceCerr();
    testsupport::moneySerializer();
    testsupport::registerReaderMetaModel();
    return true;
  }();
  static_cast<void>(kPrepared);
}

std::string saved(const Model& model) {
  std::ostringstream stream;
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), stream, BinFormat::Binary);
  return stream.str();
}

Model loaded(const std::string& container) {
  BinParser parser;
  parser.parse(container);
  return parser.getModel();
}

/// The first saving writes zeros for absent values that are required; from then on nothing may change.
void requireThatSavingKeeps(const Model& model) {
  std::string bytes;
  try {
    bytes = saved(model);
  } catch (const std::exception&) {
    return;  // it holds what has no form: a number without literal, two ends that are not composite
  }
  const Model once = loaded(bytes);
  const Model twice = loaded(saved(once));
  fuzz::require(tarn::kern::modelsEqual(once, twice), "what was saved comes back the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  prepare();
  Model model = Model::create(tarn::kern::ModelSpec());
  BinParser parser;
  parser.setModel(model);
  try {
    parser.parse("B" + std::string(fuzz::viewOf(data, size)));
  } catch (const std::exception&) {
    fuzz::require(model->getElementCount() == 0, "a refused stream leaves nothing behind");
    fuzz::require(model->getTransactionDepth() == 0, "a refused stream leaves no transaction open");
    return 0;
  }
  requireThatSavingKeeps(model);
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  prepare();
  std::vector<std::string> all;
  const auto add = [&all](auto fill) {
    const Model model = Model::create(tarn::kern::ModelSpec());
    fill(model);
    all.push_back(saved(model).substr(1));  // without the letter
  };
  add([](const Model&) {});
  add([](const Model& model) { testsupport::fillEverything(model); });
  add([](const Model& model) { testsupport::fillReferences(model); });
  add([](const Model& model) { testsupport::fillLines(model, testsupport::newSample(model, u"Box", 1)); });
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    add([seed](const Model& model) { testsupport::fillByChance(model, seed, seed * 3); });
  }
  return all;
}
