#pragma once

#include <string>

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

/// The fixed text of a page: what stands before the tree, between tree and descriptions, and after these.
struct PageFrame {
  std::string before;
  std::string between;
  std::string after;
};

/// The model as the page that the library writes of it, but for the addresses in it.
[[nodiscard]] ByteBuffer pageOf(const Model& model, const PageFrame& frame);

}  // namespace bench::limit
