// The limit program by itself: what straight-line code on plain structs needs for the benchmark model.
//
//   bench_limit_run [elements [rounds]]
//
// Each step is checked. Times are nanoseconds of the processor per element; the last steps count the elements they
// destroy.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Container.h"
#include "LimitSteps.h"
#include "support/Comparison.h"

int main(int argc, char** argv) {
  const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1'000'000;
  const std::size_t rounds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 5;
  const bench::Description description = bench::describe(count);
  const bench::limit::ByteBuffer payload = bench::limit::payloadOf(description);
  std::printf("%zu elements, %zu bytes of stream, medians of %zu rounds\n", count, payload.size(), rounds);

  bench::print("limit",
               bench::compare({{"plain structs", [&] { return bench::limit::modelSteps(description); }}}, rounds));
  bench::print("zstd level 1 alone, the same stream",
               bench::compare({{"zstd", [&] { return bench::limit::zstdSteps(payload, count); }}}, rounds));

  const std::size_t gzipCount = std::min<std::size_t>(count, 10'000);  // gzip would take minutes for a million
  const bench::limit::ByteBuffer gzipPayload = bench::limit::payloadOf(bench::describe(gzipCount));
  bench::print("gzip level 9 alone, the stream of " + std::to_string(gzipCount) + " elements",
               bench::compare({{"gzip", [&] { return bench::limit::gzipSteps(gzipPayload, gzipCount); }}}, rounds));
  return 0;
}
