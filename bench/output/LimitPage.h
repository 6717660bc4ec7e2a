#pragma once

#include <string>

#include "LimitModel.h"
#include "Sink.h"

namespace bench::limit {

/// The fixed text of a page: what stands before the tree, between tree and descriptions, and after these.
struct PageFrame {
  std::string before;
  std::string between;
  std::string after;
};

/// Writes the model as the page that the library writes of it, but for the addresses in it.
void writePage(const Model& model, const PageFrame& frame, const Sink& sink);

}  // namespace bench::limit
