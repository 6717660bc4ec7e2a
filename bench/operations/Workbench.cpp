#include "Workbench.h"

#include <algorithm>

#include "Description.h"
#include "KernelModel.h"
#include "support/Measure.h"

namespace bench::operations {
namespace {

boost::uuids::uuid toUuid(const Uuid& bytes) {
  boost::uuids::uuid result;
  std::copy(bytes.begin(), bytes.end(), result.begin());
  return result;
}

Workbench make() {
  static const model::BenchMetaModel meta = model::registerBenchMetaModel();
  const Description description = describe(kElements);
  Workbench result;
  result.meta = meta;
  result.model = model::build(description, result.meta);
  result.plainModel = limit::build(description);
  result.items = result.plainModel->items();
  for (limit::Item* item : result.items) {
    const boost::uuids::uuid uuid = toUuid(item->uuid);
    result.uuids.push_back(uuid);
    result.index.emplace(uuid, item);
    result.elements.push_back(result.model->findElement(uuid, tarn::kern::FindElementBehavior::InMemory));
    require(static_cast<bool>(result.elements.back()), "an element of the description is missing");
  }
  return result;
}

}  // namespace

const Workbench& readingBench() {
  static const Workbench bench = make();
  return bench;
}

const Workbench& editingBench() {
  static const Workbench bench = make();
  return bench;
}

}  // namespace bench::operations
