// JSON: the serializer against a straight-line writer of the same text, and the parser against the raw parse of the
// text to a tape by the fastest parser at hand, on the benchmark model, in turns.
//
//   bench_json [elements [rounds]]             the table, with both columns and the ratio
//   bench_json --growth [elements [rounds]]    also for ten times as many elements, and what each step grows by
//   bench_json --verify [elements]             one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 5 rounds. Times are nanoseconds of the processor per element.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include <simdjson.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>

#include "KernelModel.h"
#include "LimitJson.h"
#include "RatioTable.h"
#include "support/Measure.h"

namespace {

using bench::Description;
using bench::Figures;
using bench::nanosecondsPer;
using bench::require;
using bench::model::BenchMetaModel;
using bench::model::RatioTable;

/// What the parser adds to the document for its reading ahead is part of its work: a file's text comes without.
Figures limitSteps(const Description& description) {
  const auto model = bench::limit::build(description);
  Figures figures;
  bench::limit::ByteBuffer text;
  figures.emplace_back("write", nanosecondsPer(description.size(), [&] { text = bench::limit::saveJson(*model); }));
  const std::string document(text.view());
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  figures.emplace_back("read", nanosecondsPer(description.size(), [&] {
                         require(parser.parse(document).get(root) == simdjson::SUCCESS, "the text is not JSON");
                       }));
  simdjson::dom::array entries;
  require(root["entries"].get(entries) == simdjson::SUCCESS && entries.size() == 1, "the entries of the document");
  return figures;
}

Figures librarySteps(const Description& description, const BenchMetaModel& meta, std::string_view expected) {
  const tarn::kern::Model model = bench::model::build(description, meta);
  Figures figures;
  std::string text;
  figures.emplace_back("write", nanosecondsPer(description.size(), [&] {
                         tarn::kern::io::JSONSerializer serializer;
                         serializer.getCustomizer()->setShouldSkipDefaultValues(true);
                         serializer.serialize(model, tarn::kern::io::SerializationOutput::forUTF8String(text));
                       }));
  require(text == expected, "the text differs from the limit's");
  const tarn::kern::Model again = tarn::kern::Model::create(tarn::kern::ModelSpec());
  figures.emplace_back("read", nanosecondsPer(description.size(), [&] {
                         tarn::kern::io::JSONParser parser;
                         parser.setModel(again);
                         parser.parseString(text);
                       }));
  const auto difference = tarn::kern::firstDifference(model, again);
  require(!difference, difference ? difference->text().c_str() : "");
  return figures;
}

RatioTable measure(const BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  const bench::limit::ByteBuffer text = bench::limit::saveJson(*bench::limit::build(description));
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return limitSteps(description); }},
                      {"library", [&] { return librarySteps(description, meta, text.view()); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

std::string title(std::size_t count, std::size_t rounds) {
  return "JSON, " + std::to_string(count) + " elements, medians of " + std::to_string(rounds) + " rounds";
}

[[noreturn]] void refuse() {
  std::fprintf(stderr, "usage: bench_json [--growth | --verify] [elements [rounds]]; at least 2 elements, 1 round\n");
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

  const BenchMetaModel meta = bench::model::registerBenchMetaModel();
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
