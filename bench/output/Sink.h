#pragma once

#include <functional>
#include <string_view>

#include "ByteBuffer.h"

namespace bench::limit {

/// Takes what has been written so far.
using Sink = std::function<void(std::string_view)>;

/// Hands the bytes on and starts anew when they are many: a text is written in pieces, as a file is.
inline void drainWhenFull(ByteBuffer& bytes, const Sink& sink) {
  constexpr std::size_t kPiece = 1 << 16;
  if (bytes.size() < kPiece) return;
  sink(bytes.view());
  bytes.shrink(bytes.size());
}

}  // namespace bench::limit
