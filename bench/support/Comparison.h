#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// What one run of one variant found: steps and their figures (nanoseconds, bytes), already divided by what they count.
using Figures = std::vector<std::pair<std::string, double>>;

/// One of several ways to do the same.
struct Variant {
  std::string name;
  std::function<Figures()> run;
};

/// The medians of the figures of one variant.
struct Result {
  std::string name;
  Figures medians;
};

/// Runs each variant `rounds` times. Every run is a child process of its own, so that it finds a fresh heap and what
/// this process has prepared; the variants take turns, so that a busy machine hurts all of them alike. Ends the program
/// when a run fails. @pre rounds > 0, and all runs of a variant give the same steps.
[[nodiscard]] std::vector<Result> compare(const std::vector<Variant>& variants, std::size_t rounds);

/// One line per variant, one column per step.
void print(const std::string& title, const std::vector<Result>& results);

}  // namespace bench
