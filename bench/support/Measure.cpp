#include "support/Measure.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <malloc.h>

namespace bench {

double processorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double allocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "benchmark: wrong result: %s\n", what);
  std::_Exit(1);
}

}  // namespace bench
