// The readers that JSON text could be read with, on the benchmark model's document: our tape, the fastest parser at
// hand, and the one whose documents the dump is made of. Behind docs/decisions/0002-json-reader.md.
//
//   bench_json_readers [elements [rounds]]
//
// Nanoseconds of the processor and bytes from the general allocator, per element.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include <simdjson.h>

#include "JsonDocument.h"
#include "LimitJson.h"
#include "support/Comparison.h"
#include "support/Measure.h"

namespace {

using bench::Figures;
using bench::nanosecondsPer;
using bench::require;

Figures ours(const std::string& text, std::size_t count) {
  std::unique_ptr<tarn::kern::io::JsonDocument> document;
  const double before = bench::allocatedBytes();
  const double time = nanosecondsPer(count, [&] { document = std::make_unique<tarn::kern::io::JsonDocument>(text); });
  const double bytes = (bench::allocatedBytes() - before) / static_cast<double>(count);
  require(!document->root().find("entries").entries().empty(), "the entries");
  return {{"read", time}, {"bytes", bytes}};
}

Figures simd(const std::string& text, std::size_t count) {
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  const double before = bench::allocatedBytes();
  const double time =
      nanosecondsPer(count, [&] { require(parser.parse(text).get(root) == simdjson::SUCCESS, "the text is JSON"); });
  const double bytes = (bench::allocatedBytes() - before) / static_cast<double>(count);
  simdjson::dom::array entries;
  require(root["entries"].get(entries) == simdjson::SUCCESS && entries.size() == 1, "the entries");
  return {{"read", time}, {"bytes", bytes}};
}

Figures tree(const std::string& text, std::size_t count) {
  nlohmann::json document;
  const double before = bench::allocatedBytes();
  const double time = nanosecondsPer(count, [&] { document = nlohmann::json::parse(text); });
  const double bytes = (bench::allocatedBytes() - before) / static_cast<double>(count);
  require(document.at("entries").size() == 1, "the entries");
  return {{"read", time}, {"bytes", bytes}};
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100'000;
  const std::size_t rounds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 5;
  if (count < 2 || rounds == 0 || argc > 3) {
    std::fprintf(stderr, "usage: bench_json_readers [elements [rounds]]; at least 2 elements, 1 round\n");
    return 2;
  }
  const std::string text(bench::limit::saveJson(*bench::limit::build(bench::describe(count))).view());
  bench::print("readers of " + std::to_string(text.size() / count) + " bytes per element, " + std::to_string(count) +
                   " elements, medians of " + std::to_string(rounds) + " rounds",
               bench::compare({{"our tape", [&] { return ours(text, count); }},
                               {"simdjson, dom", [&] { return simd(text, count); }},
                               {"nlohmann/json", [&] { return tree(text, count); }}},
                              rounds));
  return 0;
}
