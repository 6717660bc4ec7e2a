#pragma once

// The containers around the stream: "B" bare, "Z" as gzip, "z" as zstd; and the bare calls of the two compressors,
// which no program that writes these bytes can do without.

#include <memory>
#include <string_view>

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

/// Letter, stream, and the eight zero bytes that close a bare container.
[[nodiscard]] ByteBuffer saveBare(const Model& model);

/// Letter, size, one zstd frame of level 1.
[[nodiscard]] ByteBuffer saveZstd(const Model& model);

/// Letter, size, one gzip stream of level 9.
[[nodiscard]] ByteBuffer saveGzip(const Model& model);

/// Reads any of the three. @throws std::runtime_error when the bytes are none of them.
[[nodiscard]] std::unique_ptr<Model> load(std::string_view container);

/// Append the compressed form of the bytes. @throws std::runtime_error when the compressor fails.
void compressZstd(std::string_view bytes, ByteBuffer& out);
void compressGzip(std::string_view bytes, ByteBuffer& out);

/// The original of what the two above have made. @throws std::runtime_error for anything else.
[[nodiscard]] ByteBuffer decompressZstd(std::string_view frame);
[[nodiscard]] ByteBuffer decompressGzip(std::string_view stream);

}  // namespace bench::limit
