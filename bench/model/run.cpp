// The kernel, the writer and the reader against the limit program, on the benchmark model, in turns.
//
//   bench_model [elements [rounds]]             the table, with both columns and the ratio
//   bench_model --growth [elements [rounds]]    also for ten times as many elements, and what each step grows by
//   bench_model --verify [elements]             one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 5 rounds. Each step is checked, whatever is printed. Times are nanoseconds of
// the processor per element ("destroy tenth" and "clear from front" count the elements they destroy), memory is in
// bytes per element.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "Container.h"
#include "KernelSteps.h"
#include "LimitModel.h"
#include "LimitSteps.h"
#include "RatioTable.h"

namespace {

using bench::Description;
using bench::model::BenchMetaModel;
using bench::model::RatioTable;

struct Arguments {
  bool growth = false;
  bool verify = false;
  std::size_t count = 100'000;
  std::size_t rounds = 5;
};

Arguments parse(int argc, char** argv) {
  Arguments arguments;
  int at = 1;
  for (; at < argc && std::string_view(argv[at]).starts_with("--"); ++at) {
    const std::string_view option = argv[at];
    if (option == "--growth") {
      arguments.growth = true;
    } else if (option == "--verify") {
      arguments.verify = true;
    } else {
      std::fprintf(stderr, "bench_model: unknown option \"%s\"; there are --growth and --verify\n", argv[at]);
      std::exit(2);
    }
  }
  if (at < argc) arguments.count = std::strtoul(argv[at++], nullptr, 10);
  if (at < argc) arguments.rounds = std::strtoul(argv[at++], nullptr, 10);
  if (arguments.count < 2 || arguments.rounds == 0 || at < argc) {
    std::fprintf(stderr,
                 "usage: bench_model [--growth | --verify] [elements [rounds]]; at least 2 elements, 1 round\n");
    std::exit(2);
  }
  return arguments;
}

RatioTable compareModels(const BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  const bench::model::ExpectedContainers expected = bench::model::expectedContainers(description);
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return bench::limit::modelSteps(description); }},
                      {"kernel", [&] { return bench::model::modelSteps(description, meta, expected); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

RatioTable compareGzip(const BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  const bench::limit::ByteBuffer expected = bench::limit::saveGzip(*bench::limit::build(description));
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return bench::model::limitGzipSteps(description); }},
                      {"kernel", [&] { return bench::model::gzipSteps(description, meta, expected); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

std::string title(std::size_t count, std::size_t rounds) {
  return std::to_string(count) + " elements, medians of " + std::to_string(rounds) + " rounds";
}

std::size_t gzipCount(std::size_t count) { return std::min<std::size_t>(count, 10'000); }  // a million takes minutes

int verify(const BenchMetaModel& meta, std::size_t count) {
  static_cast<void>(compareModels(meta, count, 1));
  static_cast<void>(compareGzip(meta, gzipCount(count), 1));
  std::printf("%zu elements: every step gave what it should\n", count);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = parse(argc, argv);
  const BenchMetaModel meta = bench::model::registerBenchMetaModel();
  if (arguments.verify) return verify(meta, arguments.count);

  const RatioTable table = compareModels(meta, arguments.count, arguments.rounds);
  bench::model::printRatios(title(arguments.count, arguments.rounds), table);
  bench::model::printRatios("gzip: " + title(gzipCount(arguments.count), arguments.rounds),
                            compareGzip(meta, gzipCount(arguments.count), arguments.rounds));
  if (!arguments.growth) return 0;

  const std::size_t large = arguments.count * 10;
  const RatioTable largeTable = compareModels(meta, large, arguments.rounds);
  bench::model::printRatios(title(large, arguments.rounds), largeTable);
  bench::model::printGrowth(
      "growth from " + std::to_string(arguments.count) + " to " + std::to_string(large) + " elements", table,
      largeTable);
  return 0;
}
