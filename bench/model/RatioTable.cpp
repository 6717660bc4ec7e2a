#include "RatioTable.h"

#include <cstdio>

namespace bench::model {
namespace {

void printHead(const std::string& title, const char* first, const char* second, const char* third) {
  std::printf("\n%s\n  %-18s %12s %12s %8s\n", title.c_str(), "", first, second, third);
}

}  // namespace

void printRatios(const std::string& title, const RatioTable& table) {
  printHead(title, "limit", "kernel", "ratio");
  for (std::size_t i = 0; i < table.limit.size(); ++i) {
    const double limit = table.limit[i].second;
    const double kernel = table.kernel.at(i).second;
    std::printf("  %-18s %12.1f %12.1f %8.2f\n", table.limit[i].first.c_str(), limit, kernel, kernel / limit);
  }
  std::fflush(stdout);
}

void printGrowth(const std::string& title, const RatioTable& small, const RatioTable& large) {
  printHead(title, "limit", "kernel", "quotient");
  for (std::size_t i = 0; i < small.limit.size(); ++i) {
    const double limit = large.limit.at(i).second / small.limit[i].second;
    const double kernel = large.kernel.at(i).second / small.kernel.at(i).second;
    std::printf("  %-18s %12.2f %12.2f %8.2f\n", small.limit[i].first.c_str(), limit, kernel, kernel / limit);
  }
  std::fflush(stdout);
}

}  // namespace bench::model
