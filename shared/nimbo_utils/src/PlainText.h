#pragma once

#include <ostream>
#include <string_view>

/// The ways to a stream that a print of many short texts can afford. What arrives is what operator<< would write.
namespace quillon::nimbo::detail {

/// The text goes right to the stream's buffer, without the guard object that each output of a stream makes.
void putText(std::ostream& os, std::string_view text);

/// In the stream's number format; without a trip through the locale's facets where that is the usual one.
void putReal(std::ostream& os, double number);

}  // namespace quillon::nimbo::detail
