#pragma once

#include <string>

#include "support/Comparison.h"

namespace bench::model {

/// The limit's figures, the kernel's, and how many times the limit's the kernel's are. @pre the same steps in both.
struct RatioTable {
  Figures limit;
  Figures kernel;
};

void printRatios(const std::string& title, const RatioTable& table);

/// What each step's figure has grown by from the small model to the large one, on either side, and the quotient of the
/// two growths: 1.0 where the kernel copes with size as well as the limit does.
void printGrowth(const std::string& title, const RatioTable& small, const RatioTable& large);

}  // namespace bench::model
