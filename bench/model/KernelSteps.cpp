#include "KernelSteps.h"

#include <sstream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelCompare.h>

#include "Container.h"
#include "KernelModel.h"
#include "LimitModel.h"
#include "support/Measure.h"

namespace bench::model {
namespace {

using quillon::nimbo::BinFormat;
using quillon::nimbo::BinParser;
using quillon::nimbo::BinSerializer;
using tarn::kern::FindElementBehavior;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::Transaction;
using tarn::kern::Value;

std::string save(const Model& model, BinFormat format) {
  std::ostringstream stream;
  BinSerializer serializer;
  serializer.serialize(model->getTopLevelElements(), stream, format);
  return std::move(stream).str();
}

Model load(std::istream& stream) {
  BinParser parser;
  parser.parse(stream);
  return parser.getModel();
}

void requireSame(const Model& left, const Model& right) {
  const auto difference = tarn::kern::firstDifference(left, right);
  require(!difference, difference ? difference->text().c_str() : "");
}

void requireBytes(std::string_view actual, const limit::ByteBuffer& expected, const char* what) {
  require(actual == expected.view(), what);
}

/// What an application throws away that thins out its model: every tenth element, unless it may contain others.
std::vector<ModelElement> everyTenth(const Model& model, const BenchMetaModel& meta) {
  const std::vector<ModelElement> all = model->getAllElements(FindElementBehavior::InMemory);
  std::vector<ModelElement> chosen;
  for (std::size_t i = 0; i < all.size(); i += 10) {
    if (all[i]->getMetaClass() == meta.item) chosen.push_back(all[i]);
  }
  return chosen;
}

/// References of elements outside the set to elements outside it. Ends the program at one to a destroyed element.
std::size_t countReferences(const Model& model, const BenchMetaModel& meta,
                            const std::unordered_set<const ModelElement::Impl*>& without) {
  std::size_t count = 0;
  const auto look = [&](const ModelElement::Impl* target) {
    if (target == nullptr) return;
    require(!target->isDestroyed(), "a reference to a destroyed element is left");
    if (!without.contains(target)) ++count;
  };
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::InMemory)) {
    if (without.contains(element.get())) continue;
    look(element->peekElement(meta.base));
    for (const ModelElement::Impl* target : element->peekElements(meta.related)) look(target);
  }
  return count;
}

/// Their handles go with them, within the time: what a handle names is freed when the last one lets go.
double destroyEach(const Model& model, std::vector<ModelElement> elements) {
  return nanosecondsPer(elements.size(), [&] {
    Transaction transaction = model->beginTransaction(false);
    for (const ModelElement& element : elements) element->destroy();
    transaction.commit(boost::none);
    elements.clear();
  });
}

double destroyTenth(const Model& model, const BenchMetaModel& meta) {
  std::vector<ModelElement> chosen = everyTenth(model, meta);
  std::vector<boost::uuids::uuid> uuids;
  std::unordered_set<const ModelElement::Impl*> marked;
  for (const ModelElement& element : chosen) {
    uuids.push_back(element->getUuid());
    marked.insert(element.get());
  }
  const std::size_t count = model->getElementCount();
  const std::size_t references = countReferences(model, meta, marked);

  const double result = destroyEach(model, std::move(chosen));

  require(model->getElementCount() == count - uuids.size(), "the number of elements that are left");
  require(countReferences(model, meta, {}) == references, "the number of references that are left");
  for (const boost::uuids::uuid& uuid : uuids) {
    require(!model->findElement(uuid, FindElementBehavior::InMemory), "a destroyed element is left");
  }
  return result;
}

double destroyFromFront(const Description& description, const BenchMetaModel& meta) {
  const Model model = buildFlat(description, meta);
  const ModelElement root = model->getTopLevelElements().front();
  const Value live = root->getPropertyValue(meta.children, ReflectionPrivateTag::PUBLIC_ACCESS);
  const tarn::kern::ElementCollection& children = live.toElementCollection();
  require(children.size() == description.size() - 1, "the number of children");

  const double result = nanosecondsPer(description.size() - 1, [&] {
    Transaction transaction = model->beginTransaction(false);
    while (!children.empty()) children.getElement(0)->destroy();
    transaction.commit(boost::none);
  });

  require(model->getElementCount() == 1 && root->peekElements(meta.children).empty(), "a child is left");
  return result;
}

}  // namespace

ExpectedContainers expectedContainers(const Description& description) {
  const std::unique_ptr<limit::Model> model = limit::build(description);
  return {limit::saveBare(*model), limit::saveZstd(*model)};
}

Figures modelSteps(const Description& description, const BenchMetaModel& meta, const ExpectedContainers& expected) {
  const std::size_t count = description.size();
  Figures figures;
  const auto timed = [&figures, count](const char* step, auto work) {
    figures.emplace_back(step, nanosecondsPer(count, work));
  };

  Model model;
  const double before = allocatedBytes();
  timed("build", [&] { model = build(description, meta); });
  figures.emplace_back("bytes", (allocatedBytes() - before) / static_cast<double>(count));
  require(model->getElementCount() == count, "the number of elements");

  std::string bare;
  std::string zstd;
  timed("save B", [&] { bare = save(model, BinFormat::Binary); });
  timed("save z", [&] { zstd = save(model, BinFormat::BinaryZstd); });
  requireBytes(bare, expected.bare, "\"B\" differs from the limit's");
  requireBytes(zstd, expected.zstd, "\"z\" differs from the limit's");

  Model fromBare;
  Model fromZstd;
  std::istringstream bareStream(std::move(bare));
  timed("load B", [&] { fromBare = load(bareStream); });
  requireSame(model, fromBare);
  requireBytes(save(fromBare, BinFormat::Binary), expected.bare, "a model that was loaded gives other bytes");
  timed("destroy loaded", [&] { fromBare = nullptr; });
  std::istringstream zstdStream(std::move(zstd));
  timed("load z", [&] { fromZstd = load(zstdStream); });
  requireSame(model, fromZstd);

  figures.emplace_back("destroy tenth", destroyTenth(fromZstd, meta));
  figures.emplace_back("clear from front", destroyFromFront(description, meta));
  timed("destroy built", [&] { model = nullptr; });
  return figures;
}

Figures gzipSteps(const Description& description, const BenchMetaModel& meta, const limit::ByteBuffer& expected) {
  const Model model = build(description, meta);
  std::string bytes;
  Model loaded;
  Figures figures;
  figures.emplace_back("save Z",
                       nanosecondsPer(description.size(), [&] { bytes = save(model, BinFormat::BinaryZlib); }));
  requireBytes(bytes, expected, "\"Z\" differs from the limit's");
  std::istringstream stream(std::move(bytes));
  figures.emplace_back("load Z", nanosecondsPer(description.size(), [&] { loaded = load(stream); }));
  requireSame(model, loaded);
  return figures;
}

Figures limitGzipSteps(const Description& description) {
  const std::unique_ptr<limit::Model> model = limit::build(description);
  limit::ByteBuffer bytes;
  std::unique_ptr<limit::Model> loaded;
  Figures figures;
  figures.emplace_back("save Z", nanosecondsPer(description.size(), [&] { bytes = limit::saveGzip(*model); }));
  figures.emplace_back("load Z", nanosecondsPer(description.size(), [&] { loaded = limit::load(bytes.view()); }));
  const auto difference = limit::firstDifference(*model, *loaded);
  require(!difference, difference.value_or("").c_str());
  return figures;
}

}  // namespace bench::model
