#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What Compression.h offers, without the copies that its types ask for (a payload is as large as the model's data),
/// and telling when zlib finds no memory: a container that is empty for want of memory must not pass for a saved model,
/// nor a good one for damaged. Same results and failures otherwise.
namespace quillon::nimbo::detail {

struct CompressedFrame {
  std::unique_ptr<std::uint8_t[]> bytes;  ///< more than `size` of them are reserved; the others were never touched
  std::size_t size;
};

/// False when zlib could not compress.
[[nodiscard]] bool compressGzip(std::vector<std::uint8_t>& out, std::string_view in);
[[nodiscard]] CompressedFrame compressZstd(std::string_view in, int level);
/// The content of a compressed block in one of the two forms.
[[nodiscard]] std::string decompressed(const std::vector<std::uint8_t>& bytes, bool isZstd);

}  // namespace quillon::nimbo::detail
