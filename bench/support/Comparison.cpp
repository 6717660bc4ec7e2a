#include "support/Comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

#include "support/Measure.h"

namespace bench {
namespace {

/// Through the pipe goes a line per step: its name, a tab, its figure.
void send(const Figures& figures, int pipeEnd) {
  std::FILE* out = fdopen(pipeEnd, "w");
  for (const auto& [step, figure] : figures) std::fprintf(out, "%s\t%.6f\n", step.c_str(), figure);
  std::fclose(out);
}

Figures receive(int pipeEnd) {
  std::FILE* in = fdopen(pipeEnd, "r");
  Figures figures;
  char step[64];
  double figure = 0;
  while (std::fscanf(in, " %63[^\t]\t%lf", step, &figure) == 2) figures.emplace_back(step, figure);
  std::fclose(in);
  return figures;
}

Figures runInChild(const Variant& variant) {
  int ends[2];
  require(pipe(ends) == 0, "no pipe");
  const pid_t child = fork();
  require(child >= 0, "no child process");
  if (child == 0) {
    close(ends[0]);
    send(variant.run(), ends[1]);
    std::_Exit(0);  // without the destructors of what the parent has prepared
  }
  close(ends[1]);
  Figures figures = receive(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  require(WIFEXITED(status) && WEXITSTATUS(status) == 0, variant.name.c_str());
  return figures;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Figures medians(const std::vector<Figures>& rounds) {
  Figures result;
  for (std::size_t step = 0; step < rounds.front().size(); ++step) {
    std::vector<double> values;
    for (const Figures& figures : rounds) values.push_back(figures.at(step).second);
    result.emplace_back(rounds.front()[step].first, median(values));
  }
  return result;
}

}  // namespace

std::vector<Result> compare(const std::vector<Variant>& variants, std::size_t rounds) {
  std::fflush(stdout);  // or the children would write it once more
  std::vector<std::vector<Figures>> runs(variants.size());
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < variants.size(); ++i) runs[i].push_back(runInChild(variants[i]));
  }
  std::vector<Result> results;
  for (std::size_t i = 0; i < variants.size(); ++i) results.push_back({variants[i].name, medians(runs[i])});
  return results;
}

void print(const std::string& title, const std::vector<Result>& results) {
  std::printf("\n%s\n%-38s", title.c_str(), "");
  for (const auto& [step, figure] : results.front().medians) std::printf(" %18s", step.c_str());
  for (const Result& result : results) {
    std::printf("\n  %-36s", result.name.c_str());
    for (const auto& [step, figure] : result.medians) std::printf(" %18.1f", figure);
  }
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace bench
