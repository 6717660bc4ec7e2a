#pragma once

#include <ios>

namespace quillon::nimbo::detail {

/// For the handler of an exception that a stream's buffer has thrown: does what the stream's own operations do. The
/// stream fails; the exception goes on when the stream was told to throw at failures. @pre an exception is being
/// handled
inline void reportBufferException(std::ios& stream) {
  try {
    stream.setstate(std::ios_base::badbit);
  } catch (const std::ios_base::failure&) {
    // The buffer's own exception says more; it is the one that is passed on.
  }
  if ((stream.exceptions() & std::ios_base::badbit) != 0) throw;
}

}  // namespace quillon::nimbo::detail
