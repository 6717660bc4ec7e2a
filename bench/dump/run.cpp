// The dump of a binary stream to JSON, without a model, against a straight-line writer of the same text from plain
// structs; beside it, the walk that the dump is built on: the event reader with a handler that counts. In turns.
//
//   bench_dump [elements [rounds]]             the table, with both columns and the ratio
//   bench_dump --growth [elements [rounds]]    also for ten times as many elements, and what each step grows by
//   bench_dump --verify [elements]             one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 5 rounds. Times are nanoseconds of the processor per element.

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include <quillon/nimbo/BinEventReader.h>
#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>

#include "KernelModel.h"
#include "LimitDump.h"
#include "RatioTable.h"
#include "support/Measure.h"

namespace {

using bench::Description;
using bench::Figures;
using bench::nanosecondsPer;
using bench::require;
using bench::model::RatioTable;

/// The walk has no counterpart in the limit; it is set beside the same writing.
Figures limitSteps(const Description& description) {
  const auto model = bench::limit::build(description);
  Figures figures;
  bench::limit::ByteBuffer text;
  const double nanoseconds = nanosecondsPer(description.size(), [&] { text = bench::limit::saveDump(*model); });
  figures.emplace_back("dump", nanoseconds);
  figures.emplace_back("walk", nanoseconds);
  return figures;
}

struct Count : quillon::nimbo::BinEventHandler {
  void beginElement(const quillon::nimbo::ElementEvent& event) override { definitions += event.isDefinition ? 1 : 0; }
  std::size_t definitions = 0;
};

Figures librarySteps(const Description& description, const std::string& container, std::string_view expected) {
  Figures figures;
  std::istringstream stream(container);
  std::string text;
  figures.emplace_back(
      "dump", nanosecondsPer(description.size(), [&] { text = quillon::nimbo::BinParser().parseToJSON(stream); }));
  require(text == expected, "the dump differs from the limit's");
  Count count;
  figures.emplace_back(
      "walk", nanosecondsPer(description.size(), [&] { quillon::nimbo::BinEventReader(count).read(container); }));
  require(count.definitions == description.size(), "the number of elements");
  return figures;
}

std::string containerOf(const Description& description, const bench::model::BenchMetaModel& meta) {
  std::ostringstream stream;
  quillon::nimbo::BinSerializer().serialize(bench::model::build(description, meta)->getTopLevelElements(), stream,
                                            quillon::nimbo::BinFormat::Binary);
  return std::move(stream).str();
}

RatioTable measure(const bench::model::BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  const std::string container = containerOf(description, meta);
  const bench::limit::ByteBuffer text = bench::limit::saveDump(*bench::limit::build(description));
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return limitSteps(description); }},
                      {"library", [&] { return librarySteps(description, container, text.view()); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

std::string title(std::size_t count, std::size_t rounds) {
  return "dump, " + std::to_string(count) + " elements, medians of " + std::to_string(rounds) + " rounds";
}

[[noreturn]] void refuse() {
  std::fprintf(stderr, "usage: bench_dump [--growth | --verify] [elements [rounds]]; at least 2 elements, 1 round\n");
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  int at = 1;
  const std::string_view option = at < argc && argv[at][0] == '-' ? argv[at++] : "";
  const std::size_t count = at < argc ? std::strtoul(argv[at++], nullptr, 10) : 100'000;
  const std::size_t rounds = at < argc ? std::strtoul(argv[at++], nullptr, 10) : 5;
  const bool isKnown = option.empty() || option == "--growth" || option == "--verify";
  if (!isKnown || count < 2 || rounds == 0 || at < argc) refuse();

  const bench::model::BenchMetaModel meta = bench::model::registerBenchMetaModel();
  if (option == "--verify") {
    static_cast<void>(measure(meta, count, 1));
    std::printf("%zu elements: every step gave what it should\n", count);
    return 0;
  }
  const RatioTable table = measure(meta, count, rounds);
  bench::model::printRatios(title(count, rounds), table);
  if (option != "--growth") return 0;
  const RatioTable large = measure(meta, count * 10, rounds);
  bench::model::printRatios(title(count * 10, rounds), large);
  bench::model::printGrowth("growth to ten times as many elements", table, large);
  return 0;
}
