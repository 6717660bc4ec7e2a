#include "LimitSteps.h"

#include <cstring>
#include <memory>
#include <vector>

#include "Container.h"
#include "LimitModel.h"
#include "Payload.h"
#include "support/Measure.h"

namespace bench::limit {
namespace {

/// Every tenth element that contains nothing: what an application does that throws part of its model away.
std::vector<bool> everyTenth(const Model& model, std::size_t& count) {
  std::vector<bool> marked(model.items().size(), false);
  for (std::size_t i = 0; i < marked.size(); i += 10) {
    if (model.items()[i]->isFolder) continue;
    marked[i] = true;
    ++count;
  }
  return marked;
}

void requireNothingMarkedLeft(const Model& model, const std::vector<bool>& marked) {
  std::size_t left = 0;
  for (const Item* item : model.items()) {
    if (item == nullptr) continue;
    ++left;
    require(!marked[item->number] && (item->base == nullptr || !marked[item->base->number]),
            "a destroyed item is left");
    for (const Item* target : item->related)
      require(!marked[target->number], "a reference to a destroyed item is left");
  }
  require(left == model.size(), "the index does not hold what is left");
}

/// One folder with all the other elements in it, without names or references.
std::unique_ptr<Model> flatModel(const Description& description) {
  auto model = std::make_unique<Model>();
  auto* root = static_cast<Folder*>(model->make(description[0].uuid, true));
  model->setRoot(root);
  for (std::size_t i = 1; i < description.size(); ++i) {
    Item* item = model->make(description[i].uuid, false);
    item->parent = root;
    root->children.push_back(item);
  }
  return model;
}

double destroyFromFront(const Description& description) {
  const std::unique_ptr<Model> model = flatModel(description);
  const double result = nanosecondsPer(description.size() - 1, [&] { model->destroyChildren(*model->root()); });
  require(model->size() == 1 && model->root()->children.empty(), "a child is left");
  return result;
}

void requireSame(const Model& left, const Model& right) {
  const auto difference = firstDifference(left, right);
  require(!difference, difference.value_or("").c_str());
}

}  // namespace

ByteBuffer payloadOf(const Description& description) {
  ByteBuffer payload;
  writePayload(*build(description), payload);
  return payload;
}

Figures modelSteps(const Description& description) {
  const std::size_t count = description.size();
  Figures figures;
  const auto timed = [&figures, count](const char* step, auto work) {
    figures.emplace_back(step, nanosecondsPer(count, work));
  };

  std::unique_ptr<Model> model;
  const double before = allocatedBytes();
  timed("build", [&] { model = build(description); });
  figures.emplace_back("bytes", (allocatedBytes() - before) / static_cast<double>(count));

  ByteBuffer bare;
  ByteBuffer zstd;
  timed("save B", [&] { bare = saveBare(*model); });
  timed("save z", [&] { zstd = saveZstd(*model); });

  std::unique_ptr<Model> fromBare;
  std::unique_ptr<Model> fromZstd;
  timed("load B", [&] { fromBare = load(bare.view()); });
  requireSame(*model, *fromBare);
  require(saveBare(*fromBare).view() == bare.view(), "a model that was loaded gives other bytes");
  timed("destroy loaded", [&] { fromBare.reset(); });
  timed("load z", [&] { fromZstd = load(zstd.view()); });
  requireSame(*model, *fromZstd);

  std::size_t tenth = 0;
  const std::vector<bool> marked = everyTenth(*fromZstd, tenth);
  figures.emplace_back("destroy tenth", nanosecondsPer(tenth, [&] { fromZstd->destroy(marked); }));
  requireNothingMarkedLeft(*fromZstd, marked);
  figures.emplace_back("clear from front", destroyFromFront(description));
  timed("destroy built", [&] { model.reset(); });
  return figures;
}

namespace {

Figures compressorSteps(const ByteBuffer& payload, std::size_t elements,
                        void (*compress)(std::string_view, ByteBuffer&), ByteBuffer (*decompress)(std::string_view)) {
  ByteBuffer compressed;
  ByteBuffer back;
  Figures figures;
  figures.emplace_back("compress", nanosecondsPer(elements, [&] { compress(payload.view(), compressed); }));
  figures.emplace_back("decompress", nanosecondsPer(elements, [&] { back = decompress(compressed.view()); }));
  require(back.view() == payload.view(), "decompressed bytes differ");
  figures.emplace_back("bytes", static_cast<double>(compressed.size()) / static_cast<double>(elements));
  return figures;
}

}  // namespace

Figures zstdSteps(const ByteBuffer& payload, std::size_t elements) {
  return compressorSteps(payload, elements, compressZstd, decompressZstd);
}

Figures gzipSteps(const ByteBuffer& payload, std::size_t elements) {
  return compressorSteps(payload, elements, compressGzip, decompressGzip);
}

}  // namespace bench::limit
