// Cloning, printing and the report page against straight-line code on plain structs, on the benchmark model, in turns.
//
//   bench_output [elements [rounds]]             the table, with both columns and the ratio
//   bench_output --growth [elements [rounds]]    also for ten times as many elements, and what each step grows by
//   bench_output --verify [elements]             one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 3 rounds. Times are nanoseconds of the processor per element.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OutputSteps.h"
#include "RatioTable.h"

namespace {

using bench::Description;
using bench::model::BenchMetaModel;
using bench::model::RatioTable;

struct Arguments {
  bool growth = false;
  bool verify = false;
  std::size_t count = 100'000;
  std::size_t rounds = 3;
};

Arguments parse(int argc, char** argv) {
  Arguments arguments;
  int at = 1;
  for (; at < argc && std::string_view(argv[at]).starts_with("--"); ++at) {
    const std::string_view option = argv[at];
    arguments.growth = arguments.growth || option == "--growth";
    arguments.verify = arguments.verify || option == "--verify";
  }
  if (at < argc) arguments.count = std::strtoul(argv[at++], nullptr, 10);
  if (at < argc) arguments.rounds = std::strtoul(argv[at++], nullptr, 10);
  if (arguments.count < 2 || arguments.rounds == 0 || at < argc) {
    std::fprintf(stderr,
                 "usage: bench_output [--growth | --verify] [elements [rounds]]; at least 2 elements, 1 round\n");
    std::exit(2);
  }
  return arguments;
}

RatioTable compareSides(const BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return bench::output::limitSteps(description); }},
                      {"library", [&] { return bench::output::librarySteps(description, meta); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

std::string title(std::size_t count, std::size_t rounds) {
  return std::to_string(count) + " elements, medians of " + std::to_string(rounds) + " rounds";
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = parse(argc, argv);
  const BenchMetaModel meta = bench::model::registerBenchMetaModel();
  bench::output::verifyOutputs(bench::describe(std::min<std::size_t>(arguments.count, 10'000)), meta);
  const RatioTable table = compareSides(meta, arguments.count, arguments.verify ? 1 : arguments.rounds);
  if (arguments.verify) {
    std::printf("%zu elements: every step gave what it should\n", arguments.count);
    return 0;
  }
  bench::model::printRatios(title(arguments.count, arguments.rounds), table);
  if (!arguments.growth) return 0;

  const std::size_t large = arguments.count * 10;
  const RatioTable largeTable = compareSides(meta, large, arguments.rounds);
  bench::model::printRatios(title(large, arguments.rounds), largeTable);
  bench::model::printGrowth(
      "growth from " + std::to_string(arguments.count) + " to " + std::to_string(large) + " elements", table,
      largeTable);
  return 0;
}
