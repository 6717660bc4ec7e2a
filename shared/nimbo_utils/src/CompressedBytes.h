#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

/// What Compression.h offers, without the copies that its types ask for: a payload is as large as the model's data.
/// Same results, same failures.
namespace quillon::nimbo::detail {

struct CompressedFrame {
  std::unique_ptr<std::uint8_t[]> bytes;  ///< more than `size` of them are reserved; the others were never touched
  std::size_t size;
};

void compressGzip(std::vector<std::uint8_t>& out, std::string_view in);
[[nodiscard]] CompressedFrame compressZstd(std::string_view in, int level);

}  // namespace quillon::nimbo::detail
