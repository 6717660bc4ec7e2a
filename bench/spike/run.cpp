// Measures the choices behind the kernel's cost.
//
//   bench_spike [elements [rounds]]

#include <cstdio>
#include <cstdlib>

#include "Choices.h"
#include "support/Comparison.h"

int main(int argc, char** argv) {
  using namespace bench;
  using namespace bench::spike;
  const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1'000'000;
  const std::size_t rounds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 5;
  const std::size_t plainRemovals = count / 500;
  const Description description = describe(count);
  std::printf("%zu elements, medians of %zu rounds\n", count, rounds);

  print("(a) counting of handles", compare(handleCounting(count), rounds));
  print("(b) storage of a value, one property read", compare(valueStorage(), rounds));
  print("(c) back references", compare(backReferences(description), rounds));
  print("(d) slots, built from the description", compare(builtSlots(description), rounds));
  print("(d) slots, loaded from bytes", compare(loadedSlots(description), rounds));
  print("(e) leaving a long ordered list, all members", compare(longLists(count), rounds));
  print("(e) leaving a plain vector, one member in 500", compare(longPlainLists(count, plainRemovals), rounds));
  return 0;
}
