// Reading: properties, references, collections, the index.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include <tarn/kern/Collections.h>

#include "Workbench.h"
#include "support/Measure.h"

namespace bench::operations {
namespace {

using tarn::kern::FindElementBehavior;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ustring;

/// Measures a read of one element or item per iteration. Its results, summed up over a whole round, are compared with
/// what `expected` gives of the plain item: a read of the wrong thing ends the program.
template <class Subject, class Read, class Expected>
void measureReads(benchmark::State& state, const std::vector<Subject>& subjects, Read read, Expected expected) {
  std::uint64_t sum = 0;
  std::uint64_t expectedSum = 0;
  for (std::size_t i = 0; i < kElements; ++i) {
    sum += static_cast<std::uint64_t>(read(subjects[i]));
    expectedSum += static_cast<std::uint64_t>(expected(readingBench().items[i]));
  }
  require(sum == expectedSum, "what has been read");
  Round round;
  for (auto _ : state) benchmark::DoNotOptimize(read(subjects[round.next()]));
}

std::int32_t numberOf(const limit::Item* item) { return item->multiplicity; }
std::size_t nameLengthOf(const limit::Item* item) { return item->name.size(); }
std::int64_t baseRevisionOf(const limit::Item* item) { return item->base == nullptr ? 0 : item->base->revision; }

void numberPlain(benchmark::State& state) { measureReads(state, readingBench().items, numberOf, numberOf); }

void numberTyped(benchmark::State& state) {
  const auto& property = readingBench().meta.multiplicity;
  measureReads(
      state, readingBench().elements, [&](const ModelElement& e) { return e->get<std::int32_t>(property); }, numberOf);
}

void numberByValue(benchmark::State& state) {
  const auto& property = readingBench().meta.multiplicity;
  const auto read = [&](const ModelElement& e) {
    return e->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS).get<std::int32_t>();
  };
  measureReads(state, readingBench().elements, read, numberOf);
}

void numberByName(benchmark::State& state) {
  measureReads(
      state, readingBench().elements, [](const ModelElement& e) { return e->get<std::int32_t>(u"multiplicity"); },
      numberOf);
}

void textPlain(benchmark::State& state) {
  const auto read = [](const limit::Item* item) { return std::u16string(item->name).size(); };
  measureReads(state, readingBench().items, read, nameLengthOf);
}

void textTyped(benchmark::State& state) {
  const auto& property = readingBench().meta.name;
  measureReads(
      state, readingBench().elements, [&](const ModelElement& e) { return e->get<ustring>(property).size(); },
      nameLengthOf);
}

void textByValue(benchmark::State& state) {
  const auto& property = readingBench().meta.name;
  const auto read = [&](const ModelElement& e) {
    return e->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS).get<ustring>().size();
  };
  measureReads(state, readingBench().elements, read, nameLengthOf);
}

void textInPlacePlain(benchmark::State& state) {
  measureReads(state, readingBench().items, nameLengthOf, nameLengthOf);
}

void textInPlace(benchmark::State& state) {
  const auto& property = readingBench().meta.name;
  measureReads(
      state, readingBench().elements, [&](const ModelElement& e) { return e->peek<ustring>(property)->size(); },
      nameLengthOf);
}

void followPlain(benchmark::State& state) { measureReads(state, readingBench().items, baseRevisionOf, baseRevisionOf); }

void followTyped(benchmark::State& state) {
  const auto& meta = readingBench().meta;
  const auto read = [&](const ModelElement& e) {
    const ModelElement base = e->get<ModelElement>(meta.base);
    return base ? base->get<std::int64_t>(meta.revision) : 0;
  };
  measureReads(state, readingBench().elements, read, baseRevisionOf);
}

void followInPlace(benchmark::State& state) {
  const auto& meta = readingBench().meta;
  const auto read = [&](const ModelElement& e) {
    const ModelElement::Impl* base = e->peekElement(meta.base);
    return base != nullptr ? *base->peek<std::int64_t>(meta.revision) : 0;
  };
  measureReads(state, readingBench().elements, read, baseRevisionOf);
}

void findPlain(benchmark::State& state) {
  const auto read = [](const boost::uuids::uuid& uuid) {
    return readingBench().index.find(uuid)->second->multiplicity;
  };
  measureReads(state, readingBench().uuids, read, numberOf);
}

void findKernel(benchmark::State& state) {
  const auto& bench = readingBench();
  for (std::size_t i = 0; i < kElements; ++i) {
    require(bench.model->findElement(bench.uuids[i], FindElementBehavior::InMemory) == bench.elements[i],
            "the element of a uuid");
  }
  Round round;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bench.model->findElement(bench.uuids[round.next()], FindElementBehavior::InMemory));
  }
}

/// The folder with the most children, by its position.
std::size_t largestFolder() {
  std::size_t largest = 0;
  std::size_t most = 0;
  for (std::size_t i = 0; i < kElements; ++i) {
    const limit::Item* item = readingBench().items[i];
    if (!item->isFolder) continue;
    const std::size_t size = static_cast<const limit::Folder*>(item)->children.size();
    if (size <= most) continue;
    most = size;
    largest = i;
  }
  return largest;
}

std::uint64_t sumOfRevisions(const limit::Folder& folder) {
  std::uint64_t sum = 0;
  for (const limit::Item* child : folder.children) sum += static_cast<std::uint64_t>(child->revision);
  return sum;
}

/// Visits all children once per iteration; the time is per child.
template <class Visit>
void measureVisits(benchmark::State& state, Visit visit) {
  const auto& folder = static_cast<const limit::Folder&>(*readingBench().items[largestFolder()]);
  require(visit() == sumOfRevisions(folder), "the sum over the children");
  while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(folder.children.size()))) {
    benchmark::DoNotOptimize(visit());
  }
}

void visitPlain(benchmark::State& state) {
  const auto& folder = static_cast<const limit::Folder&>(*readingBench().items[largestFolder()]);
  measureVisits(state, [&] { return sumOfRevisions(folder); });
}

void visitKernel(benchmark::State& state) {
  const auto& meta = readingBench().meta;
  const ModelElement folder = readingBench().elements[largestFolder()];
  measureVisits(state, [&] {
    std::uint64_t sum = 0;
    const auto children = folder->getPropertyValue(meta.children, ReflectionPrivateTag::PUBLIC_ACCESS);
    for (const ModelElement& child : children.toElementCollection().getAllElements()) {
      sum += static_cast<std::uint64_t>(child->get<std::int64_t>(meta.revision));
    }
    return sum;
  });
}

void visitInPlace(benchmark::State& state) {
  const auto& meta = readingBench().meta;
  const ModelElement folder = readingBench().elements[largestFolder()];
  measureVisits(state, [&] {
    std::uint64_t sum = 0;
    for (const ModelElement::Impl* child : folder->peekElements(meta.children)) {
      sum += static_cast<std::uint64_t>(*child->peek<std::int64_t>(meta.revision));
    }
    return sum;
  });
}

}  // namespace

BENCHMARK(numberPlain)->Name("read a number/struct");
BENCHMARK(numberTyped)->Name("read a number/kernel");
BENCHMARK(numberByValue)->Name("read a number/kernel, as a Value");
BENCHMARK(numberByName)->Name("read a number/kernel, by name");
BENCHMARK(textPlain)->Name("read a text/struct, a copy");
BENCHMARK(textTyped)->Name("read a text/kernel");
BENCHMARK(textByValue)->Name("read a text/kernel, as a Value");
BENCHMARK(textInPlacePlain)->Name("read a text/struct, in place");
BENCHMARK(textInPlace)->Name("read a text/kernel, in place");
BENCHMARK(followPlain)->Name("follow a reference and read a number/struct");
BENCHMARK(followTyped)->Name("follow a reference and read a number/kernel");
BENCHMARK(followInPlace)->Name("follow a reference and read a number/kernel, in place");
BENCHMARK(findPlain)->Name("find by uuid/std::unordered_map");
BENCHMARK(findKernel)->Name("find by uuid/kernel");
BENCHMARK(visitPlain)->Name("visit a child and read a number/struct");
BENCHMARK(visitKernel)->Name("visit a child and read a number/kernel");
BENCHMARK(visitInPlace)->Name("visit a child and read a number/kernel, in place");

}  // namespace bench::operations
