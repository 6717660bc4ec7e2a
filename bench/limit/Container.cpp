#include "Container.h"

#include <cstring>
#include <stdexcept>

#include <zlib.h>
#include <zstd.h>

#include "Payload.h"

namespace bench::limit {
namespace {

constexpr int kZstdLevel = 1;
constexpr int kGzipLevel = 9;
constexpr int kGzipWindow = 15 + 16;  // the largest window, in the gzip form
constexpr int kGzipMemory = 8;

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

using Compressor = void (*)(std::string_view, ByteBuffer&);

ByteBuffer saveCompressed(const Model& model, char letter, Compressor compressor) {
  ByteBuffer payload;
  writePayload(model, payload);
  ByteBuffer container;
  container.put(letter);
  container.put<std::uint64_t>(0);  // the size, once it is known
  const std::size_t headSize = container.size();
  compressor(payload.view(), container);
  container.patch<std::uint64_t>(1, container.size() - headSize);
  return container;
}

/// What follows the letter of a compressed container.
std::string_view compressedPart(std::string_view afterLetter) {
  std::uint64_t size = 0;
  require(afterLetter.size() >= sizeof size, "the container ends too early");
  std::memcpy(&size, afterLetter.data(), sizeof size);
  afterLetter.remove_prefix(sizeof size);
  require(size <= afterLetter.size(), "the container ends too early");
  return afterLetter.substr(0, size);
}

Bytef* zlibBytes(std::string_view bytes) { return reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data())); }

/// Runs deflate or inflate over the whole input, 32 KiB at a time.
template <class Step>
int pump(z_stream& stream, ByteBuffer& out, int flush, Step step) {
  constexpr uInt kPiece = 32768;
  int result = Z_OK;
  while (result == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(out.extend(kPiece));
    stream.avail_out = kPiece;
    result = step(&stream, flush);
    out.shrink(stream.avail_out);
  }
  return result;
}

}  // namespace

void compressZstd(std::string_view bytes, ByteBuffer& out) {
  const std::size_t bound = ZSTD_compressBound(bytes.size());
  const std::size_t size = ZSTD_compress(out.extend(bound), bound, bytes.data(), bytes.size(), kZstdLevel);
  require(ZSTD_isError(size) == 0, "zstd cannot compress");
  out.shrink(bound - size);
}

void compressGzip(std::string_view bytes, ByteBuffer& out) {
  z_stream stream{};
  stream.next_in = zlibBytes(bytes);
  stream.avail_in = static_cast<uInt>(bytes.size());
  require(stream.avail_in == bytes.size(), "gzip takes less than 4 GiB");
  require(deflateInit2(&stream, kGzipLevel, Z_DEFLATED, kGzipWindow, kGzipMemory, Z_DEFAULT_STRATEGY) == Z_OK,
          "gzip cannot compress");
  const int result = pump(stream, out, Z_FINISH, deflate);
  deflateEnd(&stream);
  require(result == Z_STREAM_END, "gzip cannot compress");
}

ByteBuffer decompressZstd(std::string_view frame) {
  const unsigned long long size = ZSTD_getFrameContentSize(frame.data(), frame.size());
  require(size != ZSTD_CONTENTSIZE_ERROR && size != ZSTD_CONTENTSIZE_UNKNOWN, "no zstd frame that tells its size");
  ByteBuffer bytes;
  const std::size_t written = ZSTD_decompress(bytes.extend(size), size, frame.data(), frame.size());
  require(written == size, "the zstd frame is damaged");
  return bytes;
}

ByteBuffer decompressGzip(std::string_view gzip) {
  z_stream stream{};
  stream.next_in = zlibBytes(gzip);
  stream.avail_in = static_cast<uInt>(gzip.size());
  require(inflateInit2(&stream, kGzipWindow) == Z_OK, "gzip cannot decompress");
  ByteBuffer bytes;
  const int result = pump(stream, bytes, Z_SYNC_FLUSH, inflate);
  inflateEnd(&stream);
  require(result == Z_STREAM_END, "the gzip stream is damaged");
  return bytes;
}

ByteBuffer saveBare(const Model& model) {
  ByteBuffer container;
  container.put('B');
  writePayload(model, container);
  container.put<std::uint64_t>(0);
  return container;
}

ByteBuffer saveZstd(const Model& model) { return saveCompressed(model, 'z', compressZstd); }
ByteBuffer saveGzip(const Model& model) { return saveCompressed(model, 'Z', compressGzip); }

std::unique_ptr<Model> load(std::string_view container) {
  const std::string_view afterLetter = container.substr(std::min<std::size_t>(1, container.size()));
  switch (container.empty() ? '\0' : container.front()) {
    case 'B':
      return readPayload(afterLetter);
    case 'z':
      return readPayload(decompressZstd(compressedPart(afterLetter)).view());
    case 'Z':
      return readPayload(decompressGzip(compressedPart(afterLetter)).view());
    default:
      throw std::runtime_error("the letter of the container is none of B, Z and z");
  }
}

}  // namespace bench::limit
