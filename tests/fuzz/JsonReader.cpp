// JSON documents on their way into a model and back.

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>

#include "FuzzTarget.h"
#include "framework/tarn/kern/io/JsonTestModel.h"

namespace {

using tarn::kern::Model;

void readModel(const std::string& text) {
  const Model model = tarn::kern::jsontest::emptyModel();
  try {
    tarn::kern::jsontest::readInto(model, text);
  } catch (const tarn::kern::KernelError&) {
    fuzz::require(model->getElementCount() == 0, "a refused document leaves nothing behind");
    return;
  }
  const std::string again = tarn::kern::jsontest::written(model);
  const Model copy = tarn::kern::jsontest::read(again);
  fuzz::require(tarn::kern::modelsEqual(model, copy), "what is written reads as what was written");
  fuzz::require(tarn::kern::jsontest::written(copy) == again, "the same content gives the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readModel(std::string(fuzz::viewOf(data, size)));
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all = {
      R"({"entries":[],"packageUris":[],"version":"1.0"})",
      R"({"entries":[{"content":{"children":[{"content":null,"type":"jsontest.Node","uuid":)"
      R"("00000000-0000-0000-0000-000000000002"}],"path":[null]},"type":"jsontest.Node","uuid":)"
      R"("00000000-0000-0000-0000-000000000001"}]})"};
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    const Model model = tarn::kern::jsontest::emptyModel();
    tarn::kern::jsontest::fillByChance(model, seed, 3);
    all.push_back(tarn::kern::jsontest::written(model));
  }
  return all;
}
