#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "quillon/nimbo/export.h"

/// The two compressed forms that containers use, on whole buffers in memory. Bad data never ends in a wrong result: the
/// gzip pair answers it with an empty text, the zstd pair with `std::length_error`. Where memory does not suffice,
/// `std::bad_alloc` comes out, but for the memory that zlib asks for itself: without that the gzip pair gives nothing.
/// All functions may be called from any number of threads at once.
namespace quillon::nimbo {

/// Replaces `out` by `in` as a gzip stream of the highest level. An empty text makes a complete stream too.
/// Only the low 32 bits of the size of `in` count: a text of 4 GiB or more does not fit this form.
NIMBO_EXPORT void compress(std::vector<std::uint8_t>& out, const std::string& in);

/// The content of a gzip stream; what follows its end is ignored. Empty if there is no data, if the stream is damaged
/// or ends early, and for the other wrappings of deflate: they are never taken for gzip. Only the low 32 bits of `size`
/// count. Memory grows with what has been decompressed, not with what was announced.
NIMBO_EXPORT std::string uncompress(const void* data, std::size_t size);

/// Replaces `out` by `in` as one zstd frame that tells the size of its content. `level` is zstd's; the containers of
/// this library use 1.
NIMBO_EXPORT void compressZSTD(std::vector<std::uint8_t>& out, const std::string& in, int level);

/// The content of one zstd frame that tells the size of its content. `std::length_error` if the frame is damaged, cut,
/// or followed by something, if it tells no size, if there is no data at all, and if it tells a size that its bytes
/// cannot hold; the latter is found before memory is asked for.
NIMBO_EXPORT std::string uncompressZSTD(const std::vector<std::uint8_t>& in);

inline constexpr std::uint64_t kNoDecompressionLimit = std::numeric_limits<std::uint64_t>::max();

/// Sets how many bytes `uncompress` and `uncompressZSTD` may produce in one call, in this process; beyond it they throw
/// `std::length_error`. For those who read files from strangers: a few kilobytes can hold many gigabytes in good order,
/// and only the caller knows what is too much. There is no limit until one is set; `kNoDecompressionLimit` takes it
/// away. Takes effect at once, in every thread.
NIMBO_EXPORT void setDecompressionLimit(std::uint64_t bytes) noexcept;
NIMBO_EXPORT std::uint64_t getDecompressionLimit() noexcept;

}  // namespace quillon::nimbo
