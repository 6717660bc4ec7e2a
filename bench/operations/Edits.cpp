// Changing: properties, references, collections, elements; the cost of a transaction.
//
// Where a transaction's own cost is not the question, kBatch operations share one. The plain structs have none, and
// keep neither opposites nor an undo.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>

#include <benchmark/benchmark.h>

#include <tarn/kern/Collections.h>

#include "Workbench.h"
#include "support/Measure.h"

namespace bench::operations {
namespace {

using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::Transaction;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::meta::Property;

/// Runs `change(i)` for i = 0 .. kBatch - 1, over and over, each batch in a transaction of its own.
template <class Change>
void measureInTransactions(benchmark::State& state, Change change) {
  const auto& model = editingBench().model;
  while (state.KeepRunningBatch(kBatch)) {
    Transaction transaction = model->beginTransaction(false);
    for (std::size_t i = 0; i < kBatch; ++i) change(i);
    transaction.commit(boost::none);
  }
}

template <class Change>
void measurePlain(benchmark::State& state, Change change) {
  while (state.KeepRunningBatch(kBatch)) {
    for (std::size_t i = 0; i < kBatch; ++i) change(i);
    benchmark::ClobberMemory();
  }
}

// --- Single values. The number goes up with each write, so that no write finds its value there already.

void numberPlain(benchmark::State& state) {
  const auto& items = editingBench().items;
  std::int32_t number = 0;
  measurePlain(state, [&](std::size_t i) { items[i % kElements]->multiplicity = ++number; });
  require(items[kBatch - 1]->multiplicity == number, "the number that was written last");
}

void numberKernel(benchmark::State& state) {
  const auto& elements = editingBench().elements;
  const Property& property = editingBench().meta.multiplicity;
  std::int32_t number = 0;
  measureInTransactions(state, [&](std::size_t i) { elements[i % kElements]->set<std::int32_t>(property, ++number); });
  require(elements[kBatch - 1]->get<std::int32_t>(property) == number, "the number that was written last");
}

void numberAlone(benchmark::State& state) {
  const auto& elements = editingBench().elements;
  const Property& property = editingBench().meta.multiplicity;
  Round round;
  std::int32_t number = 0;
  std::size_t last = 0;
  for (auto _ : state) {
    last = round.next();
    elements[last]->set<std::int32_t>(property, ++number);
  }
  require(elements[last]->get<std::int32_t>(property) == number, "the number that was written last");
}

/// Two texts of 16 characters in turn.
class Texts {
 public:
  const ustring& next() noexcept { return fTexts[++fCount % 2]; }

 private:
  ustring fTexts[2] = {u"first sixteen ch", u"other sixteen ch"};
  std::size_t fCount = 0;
};

void textPlain(benchmark::State& state) {
  const auto& items = editingBench().items;
  Texts texts;
  const ustring* text = nullptr;
  measurePlain(state, [&](std::size_t i) { items[i % kElements]->name = *(text = &texts.next()); });
  require(items[kBatch - 1]->name == *text, "the text that was written last");
}

void textKernel(benchmark::State& state) {
  const auto& elements = editingBench().elements;
  const Property& property = editingBench().meta.name;
  Texts texts;
  const ustring* text = nullptr;
  measureInTransactions(
      state, [&](std::size_t i) { elements[i % kElements]->set<ustring>(property, *(text = &texts.next())); });
  require(elements[kBatch - 1]->get<ustring>(property) == *text, "the text that was written last");
}

void referencePlain(benchmark::State& state) {
  const auto& items = editingBench().items;
  std::size_t step = 0;
  measurePlain(state, [&](std::size_t i) { items[i]->base = items[++step % kElements]; });
  require(items[kBatch - 1]->base == items[step % kElements], "the reference that was set last");
}

void referenceKernel(benchmark::State& state) {
  const auto& elements = editingBench().elements;
  const Property& property = editingBench().meta.base;
  std::size_t step = 0;
  // The distance to the target is one more in each batch: each time another target.
  const auto target = [&]() -> const ModelElement& { return elements[(step + step / kBatch) % kElements]; };
  measureInTransactions(state, [&](std::size_t i) {
    ++step;
    elements[i]->set<ModelElement>(property, target());
  });
  require(elements[kBatch - 1]->get<ModelElement>(property) == target(), "the reference that was set last");
}

// --- Collections: sixteen entries are added to an empty one, which is cleared then; the time is per entry.

constexpr std::size_t kEntries = 16;
constexpr std::int32_t kLast = kBatch - 1;

template <class Add, class Clear>
auto addingTo(Add add, Clear clear) {
  return [=](std::size_t i) {
    if (i % kEntries == 0) clear();
    add(i);
  };
}

void appendPlain(benchmark::State& state) {
  auto& marks = editingBench().items[1]->marks;
  measurePlain(state,
               addingTo([&](std::size_t i) { marks.push_back(static_cast<std::int32_t>(i)); }, [&] { marks.clear(); }));
  require(marks.size() == kEntries && marks.back() == kLast, "the numbers that were added last");
}

void appendKernel(benchmark::State& state) {
  const Value live =
      editingBench().elements[1]->getPropertyValue(editingBench().meta.marks, ReflectionPrivateTag::PUBLIC_ACCESS);
  auto& marks = static_cast<tarn::kern::TypedCollection<std::int32_t>&>(live.toPrimitiveCollection());
  measureInTransactions(
      state, addingTo([&](std::size_t i) { marks.append(static_cast<std::int32_t>(i)); }, [&] { marks.clear(); }));
  require(marks.size() == kEntries && marks.storage().back() == kLast, "the numbers that were added last");
}

/// As the kernel does it: a member that is there already is not added again.
void relatePlain(benchmark::State& state) {
  const auto& items = editingBench().items;
  auto& related = items[1]->related;
  const auto add = [&](std::size_t i) {
    if (std::find(related.begin(), related.end(), items[i]) == related.end()) related.push_back(items[i]);
  };
  measurePlain(state, addingTo(add, [&] { related.clear(); }));
  require(related.size() == kEntries && related.back() == items[kBatch - 1], "the references that were added last");
}

void relateKernel(benchmark::State& state) {
  const auto& elements = editingBench().elements;
  const Value live = elements[1]->getPropertyValue(editingBench().meta.related, ReflectionPrivateTag::PUBLIC_ACCESS);
  auto& related = live.toElementCollection();
  measureInTransactions(state,
                        addingTo([&](std::size_t i) { related.addElement(elements[i]); }, [&] { related.clear(); }));
  require(related.size() == kEntries && related.getElement(kEntries - 1) == elements[kBatch - 1],
          "the references that were added last");
}

// --- Elements: one is made, put into the root folder and destroyed.

void makePlain(benchmark::State& state) {
  std::unordered_map<boost::uuids::uuid, std::unique_ptr<limit::Item>, boost::hash<boost::uuids::uuid>> index;
  auto& root = static_cast<limit::Folder&>(*editingBench().items[0]);
  const std::size_t before = root.children.size();
  boost::uuids::uuid uuid{};
  for (auto _ : state) {
    ++uuid.data[0];
    limit::Item* item = index.emplace(uuid, std::make_unique<limit::Item>()).first->second.get();
    item->parent = &root;
    root.children.push_back(item);
    root.children.pop_back();
    index.erase(uuid);
  }
  require(root.children.size() == before && index.empty(), "what was made is gone");
}

void makeKernel(benchmark::State& state) {
  const auto& bench = editingBench();
  const Value live = bench.elements[0]->getPropertyValue(bench.meta.children, ReflectionPrivateTag::PUBLIC_ACCESS);
  auto& children = live.toElementCollection();
  boost::uuids::uuid uuid{};
  while (state.KeepRunningBatch(kBatch)) {
    Transaction transaction = bench.model->beginTransaction(false);
    for (std::size_t i = 0; i < kBatch; ++i) {
      uuid.data[0] = static_cast<std::uint8_t>(1 + i % 255);  // none is nil
      const ModelElement element = bench.meta.item->instantiate(bench.model, uuid);
      children.addElement(element);
      element->destroy();
    }
    transaction.commit(boost::none);
  }
  require(bench.model->getElementCount() == kElements, "what was made is gone");
}

// --- Whole transactions: three values of one element.

void threeWrites(const ModelElement& element, std::int32_t number) {
  const auto& meta = editingBench().meta;
  element->set<std::int32_t>(meta.multiplicity, number);
  element->set<std::int64_t>(meta.revision, number);
  element->set<double>(meta.weight, number);
}

void threeWritesPlain(benchmark::State& state) {
  const auto& items = editingBench().items;
  std::int32_t number = 0;
  measurePlain(state, [&](std::size_t i) {
    limit::Item& item = *items[i];
    item.multiplicity = ++number;
    item.revision = number;
    item.weight = number;
  });
  require(items[kBatch - 1]->revision == number, "the number that was written last");
}

/// Committed, or rolled back; `undoLimit` transactions are kept.
void measureTransactions(benchmark::State& state, bool commits, std::size_t undoLimit) {
  const auto& bench = editingBench();
  bench.model->setUndoLimit(undoLimit);
  const ModelElement& element = bench.elements[1];
  const auto before = element->get<std::int64_t>(bench.meta.revision);
  std::int32_t number = 0;
  for (auto _ : state) {
    Transaction transaction = bench.model->beginTransaction(false);
    threeWrites(element, ++number);
    if (commits) {
      transaction.commit(boost::none);
    } else {
      transaction.rollBack();
    }
  }
  require(element->get<std::int64_t>(bench.meta.revision) == (commits ? number : before), "what is left of the writes");
  bench.model->setUndoLimit(0);
}

void commitKernel(benchmark::State& state) { measureTransactions(state, true, 0); }
void commitWithUndo(benchmark::State& state) { measureTransactions(state, true, 100); }
void rollBackKernel(benchmark::State& state) { measureTransactions(state, false, 0); }

void commitEmpty(benchmark::State& state) {
  const auto& model = editingBench().model;
  for (auto _ : state) {
    Transaction transaction = model->beginTransaction(false);
    benchmark::DoNotOptimize(transaction.commit(boost::none));
  }
}

}  // namespace

BENCHMARK(numberPlain)->Name("write a number/struct");
BENCHMARK(numberKernel)->Name("write a number/kernel");
BENCHMARK(numberAlone)->Name("write a number/kernel, outside of transactions");
BENCHMARK(textPlain)->Name("write a text of 16/struct");
BENCHMARK(textKernel)->Name("write a text of 16/kernel");
BENCHMARK(referencePlain)->Name("set a reference/struct");
BENCHMARK(referenceKernel)->Name("set a reference/kernel");
BENCHMARK(appendPlain)->Name("add a number to a collection/std::vector");
BENCHMARK(appendKernel)->Name("add a number to a collection/kernel");
BENCHMARK(relatePlain)->Name("add a reference to a unique collection/std::vector");
BENCHMARK(relateKernel)->Name("add a reference to a unique collection/kernel");
BENCHMARK(makePlain)->Name("make, contain and destroy an element/structs and an index");
BENCHMARK(makeKernel)->Name("make, contain and destroy an element/kernel");
BENCHMARK(threeWritesPlain)->Name("three writes/struct");
BENCHMARK(commitKernel)->Name("three writes/kernel, committed");
BENCHMARK(commitWithUndo)->Name("three writes/kernel, committed and kept for undo");
BENCHMARK(rollBackKernel)->Name("three writes/kernel, rolled back");
BENCHMARK(commitEmpty)->Name("an empty transaction/kernel");

}  // namespace bench::operations
