// Typical operations of a user, one by one, in nanoseconds: the kernel's beside the same on plain structs and standard
// containers. Each is checked before or after its figure is taken.
//
//   bench_operations [Google Benchmark's options, such as --benchmark_filter=uuid]

#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
