#pragma once

#include <cstdint>

namespace quillon::nimbo {

/// The containers a model can be saved in. The value of each is the letter that opens the container, so that the letter
/// on a stream and the enumerator in a debugger are the same thing. What follows the letter: docs/formats/binary.md.
///
/// `Default` is the exception: it is a wish, not a letter, and never stands on a stream.
enum class BinFormat : std::uint8_t {
  Default = 0,       ///< whatever this version recommends; written as "z"
  Binary = 'B',      ///< binary model stream as it is: needs no memory of the stream's size, easiest to look into
  BinaryZlib = 'Z',  ///< binary model stream, gzip level 9: smallest and by far the slowest to write
  BinaryZstd = 'z',  ///< binary model stream, zstd level 1
  Json = 'J',        ///< JSON text in UTF-8
  JsonZlib = 'C',    ///< JSON text, gzip level 9
  JsonZstd = 'c',    ///< JSON text, zstd level 1
};

}  // namespace quillon::nimbo
