// What the foundation costs: text conversion by kind of text, deep calls, the log, times and hashes as texts and
// numbers.
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/hashers.h>

namespace {

using bedrock::i18n::ustring;

/// Ends the run when a result is wrong: a figure of wrong work is worth nothing.
void require(bool condition, std::string_view what) {
  if (condition) return;
  std::cerr << "wrong result: " << what << '\n';
  std::exit(1);
}

enum Kind { kAscii, kMixed, kChinese };

/// Text of a kind: plain ASCII; German with a letter beyond ASCII in about eight and now and then a face; Chinese.
ustring textOf(Kind kind, std::size_t units) {
  constexpr std::u16string_view kPatterns[] = {u"The quick brown fox jumps over it. ",
                                               u"Gr\u00FC\u00DFe von \u00FCberm \u00C4rmelkanal \U0001F600 ",
                                               u"\u4E2D\u6587\u8F93\u5165\u6CD5\u6D4B\u8BD5\u7684\u53E5\u5B50"};
  ustring text;
  while (text.size() < units) text += kPatterns[kind];
  text.resize(units);
  return text;
}

void toUtf8(benchmark::State& state) {
  const ustring text = textOf(static_cast<Kind>(state.range(0)), static_cast<std::size_t>(state.range(1)));
  const std::string expected = bedrock::i18n::ustring_to_utf8(text);
  require(bedrock::i18n::utf8_to_ustring(expected) == text, "conversion there and back");
  for (auto _ : state) {
    std::string utf8 = bedrock::i18n::ustring_to_utf8(text);
    benchmark::DoNotOptimize(utf8);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(expected.size()));
}

void fromUtf8(benchmark::State& state) {
  const ustring text = textOf(static_cast<Kind>(state.range(0)), static_cast<std::size_t>(state.range(1)));
  const std::string utf8 = bedrock::i18n::ustring_to_utf8(text);
  require(bedrock::i18n::utf8_to_ustring(utf8) == text, "conversion there and back");
  for (auto _ : state) {
    ustring back = bedrock::i18n::utf8_to_ustring(utf8);
    benchmark::DoNotOptimize(back);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(utf8.size()));
}

void validateUtf8(benchmark::State& state) {
  const std::string utf8 = bedrock::i18n::ustring_to_utf8(
      textOf(static_cast<Kind>(state.range(0)), static_cast<std::size_t>(state.range(1))));
  for (auto _ : state) require(bedrock::i18n::isValidUtf8(utf8), "validity");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(utf8.size()));
}

void allKindsAndLengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "units"})->ArgsProduct({{kAscii, kMixed, kChinese}, {24, 8 << 20}});
}

/// A step of a recursion: its own call is either plain or deep.
[[gnu::noinline]] std::uint64_t plainLevels(std::uint64_t depth) {
  if (depth == 0) return 0;
  const std::uint64_t below = plainLevels(depth - 1);
  benchmark::DoNotOptimize(below);
  return below + 1;
}

[[gnu::noinline]] std::uint64_t deepLevels(std::uint64_t depth) {
  if (depth == 0) return 0;
  const std::uint64_t below = bedrock::stack::callDeep([=] { return deepLevels(depth - 1); });
  benchmark::DoNotOptimize(below);
  return below + 1;
}

void plainRecursion(benchmark::State& state) {
  const auto depth = static_cast<std::uint64_t>(state.range(0));
  for (auto _ : state) require(plainLevels(depth) == depth, "levels");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void deepRecursion(benchmark::State& state) {
  const auto depth = static_cast<std::uint64_t>(state.range(0));
  for (auto _ : state) require(deepLevels(depth) == depth, "levels");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Recurses by plain calls as far as the reserve, and calls `atBorder` there: its deep calls change the stack.
template <class AtBorder>
[[gnu::noinline]] void stepToTheBorder(const AtBorder& atBorder) {
  char step[1024] = {};
  benchmark::DoNotOptimize(step);
  if (bedrock::stack::detail::hasRoom()) {
    stepToTheBorder(atBorder);
  } else {
    atBorder();
  }
  benchmark::DoNotOptimize(step);
}

void crossTheBorder(benchmark::State& state) {
  bedrock::stack::callDeep([] {});
  stepToTheBorder([&state] {
    std::uint64_t crossings = 0;
    for (auto _ : state) bedrock::stack::callDeep([&crossings] { ++crossings; });
    require(crossings == static_cast<std::uint64_t>(state.iterations()), "crossings");
  });
}

void unwantedLogLine(benchmark::State& state) {
  using quillon::logging::internal::Logger;
  Logger::setLevel(Logger::kQuietLevel);
  for (auto _ : state) Logger::logger(0).debug(false) << "Note: " << 42 << " pieces that nobody wants\n";
}

void wantedLogLine(benchmark::State& state) {
  using quillon::logging::internal::Logger;
  Logger::setLevel(Logger::kDebugLevel);
  std::int64_t lines = 0;
  const Logger::Sink previous = Logger::setSink([&lines](unsigned, int, std::string_view) { ++lines; });
  for (auto _ : state) Logger::logger(0).debug(false) << "Note: " << 42 << " pieces that somebody wants\n";
  Logger::setSink(previous);
  Logger::setLevel(Logger::kQuietLevel);
  require(lines == static_cast<std::int64_t>(state.iterations()), "lines delivered");
}

const boost::posix_time::ptime kTime(boost::gregorian::date(2020, 1, 31), boost::posix_time::time_duration(13, 5, 9));

void timeToText(benchmark::State& state) {
  for (auto _ : state) {
    const ustring text = tarn::kern::DateTimeUtils::Conversion::toUstring(kTime);
    benchmark::DoNotOptimize(text.data());
  }
}

void timeFromText(benchmark::State& state) {
  const ustring text = tarn::kern::DateTimeUtils::Conversion::toUstring(kTime);
  for (auto _ : state) require(tarn::kern::DateTimeUtils::Conversion::fromUstring(text) == kTime, "time");
}

void hashUuid(benchmark::State& state) {
  boost::uuids::uuid id{};
  for (auto _ : state) {
    ++id.data[3];
    benchmark::DoNotOptimize(tarn::kern::services::hashers::NimboHasher<boost::uuids::uuid>()(id));
  }
}

void hashTime(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(tarn::kern::services::hashers::NimboHasher<boost::posix_time::ptime>()(kTime));
  }
}

BENCHMARK(toUtf8)->Apply(allKindsAndLengths);
BENCHMARK(fromUtf8)->Apply(allKindsAndLengths);
BENCHMARK(validateUtf8)->Apply(allKindsAndLengths);
BENCHMARK(plainRecursion)->Arg(1000);
BENCHMARK(deepRecursion)->Arg(1000)->Arg(1'000'000);
BENCHMARK(crossTheBorder);
BENCHMARK(unwantedLogLine);
BENCHMARK(wantedLogLine);
BENCHMARK(timeToText);
BENCHMARK(timeFromText);
BENCHMARK(hashUuid);
BENCHMARK(hashTime);

}  // namespace

BENCHMARK_MAIN();
