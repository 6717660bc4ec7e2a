#include "quillon/nimbo/Compression.h"

// zlib's input pointers take const data only on request.
#define ZLIB_CONST
#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <stdexcept>

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include "CompressedBytes.h"

namespace quillon::nimbo {

namespace {

constexpr int kGzipWindowBits = 15 + 16;  // the largest window; 16 asks for gzip's header and trailer, and no other
constexpr int kGzipLevel = 9;
constexpr int kGzipMemoryLevel = 8;
constexpr std::size_t kGzipStep = 32768;

// The densest a zstd frame can be: a block of the largest size that repeats one byte takes three bytes of header and
// that byte.
constexpr std::uint64_t kZstdLargestBlock = 131072;
constexpr std::uint64_t kZstdSmallestBlockBytes = 4;

// Above this ratio a frame is more likely to lie about its size than to hold a model.
constexpr std::uint64_t kZstdBelievableRatio = 256;

std::atomic<std::uint64_t> decompressionLimit{kNoDecompressionLimit};

struct EndDeflate {
  void operator()(z_stream* stream) const { deflateEnd(stream); }
};

struct EndInflate {
  void operator()(z_stream* stream) const { inflateEnd(stream); }
};

[[noreturn]] void refuse(const std::string& why) { throw std::length_error("compressed data: " + why); }

/// What a failure of zstd means: damaged data are the caller's affair, want of memory is not.
[[noreturn]] void refuseZstd(const char* what, std::size_t failure) {
  if (ZSTD_getErrorCode(failure) == ZSTD_error_memory_allocation) throw std::bad_alloc();
  refuse(std::string(what) + ZSTD_getErrorName(failure));
}

void checkLimit(std::uint64_t size) {
  const std::uint64_t limit = getDecompressionLimit();
  if (size <= limit) return;
  refuse("the content has more than the " + std::to_string(limit) + " bytes that this process allows");
}

/// The size of the content that the first frame announces, after every check that needs no decompression.
std::size_t announcedSize(const std::vector<std::uint8_t>& frame) {
  const std::uint64_t size = ZSTD_getFrameContentSize(frame.data(), frame.size());
  if (size == ZSTD_CONTENTSIZE_ERROR) refuse("this is no zstd frame");
  if (size == ZSTD_CONTENTSIZE_UNKNOWN) refuse("the zstd frame does not tell the size of its content");
  const std::uint64_t blocks = size / kZstdLargestBlock + (size % kZstdLargestBlock != 0 ? 1 : 0);
  if (blocks > frame.size() / kZstdSmallestBlockBytes) {
    refuse("a zstd frame of " + std::to_string(frame.size()) + " bytes cannot hold the " + std::to_string(size) +
           " bytes that it announces");
  }
  checkLimit(size);
  return static_cast<std::size_t>(size);
}

/// Decompresses into `size` bytes at `target` and returns how many there were.
std::size_t decompressFrame(char* target, std::size_t size, const std::vector<std::uint8_t>& frame) {
  const std::size_t written = ZSTD_decompress(target, size, frame.data(), frame.size());
  if (ZSTD_isError(written) != 0) refuseZstd("the zstd frame is damaged: ", written);
  return written;
}

/// False when there was no memory for zlib. Damaged data leave `out` empty.
[[nodiscard]] bool uncompressGzip(std::string& out, const void* data, std::size_t size) {
  out.clear();
  if (data == nullptr || size == 0) return true;
  z_stream stream{};
  stream.next_in = static_cast<const Bytef*>(data);
  stream.avail_in = static_cast<uInt>(size);
  if (inflateInit2_(&stream, kGzipWindowBits, ZLIB_VERSION, static_cast<int>(sizeof stream)) != Z_OK) return false;
  const std::unique_ptr<z_stream, EndInflate> end(&stream);

  std::array<char, kGzipStep> buffer;
  int code = Z_OK;
  while (code == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
    stream.avail_out = kGzipStep;
    code = inflate(&stream, Z_SYNC_FLUSH);
    checkLimit(stream.total_out);
    out.append(buffer.data(), stream.total_out - out.size());
  }
  if (code != Z_STREAM_END) out.clear();
  return code != Z_MEM_ERROR;
}

}  // namespace

bool detail::compressGzip(std::vector<std::uint8_t>& out, std::string_view in) {
  out.clear();
  z_stream stream{};
  stream.next_in = reinterpret_cast<const Bytef*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  const int started = deflateInit2_(&stream, kGzipLevel, Z_DEFLATED, kGzipWindowBits, kGzipMemoryLevel,
                                    Z_DEFAULT_STRATEGY, ZLIB_VERSION, static_cast<int>(sizeof stream));
  if (started != Z_OK) return false;
  const std::unique_ptr<z_stream, EndDeflate> end(&stream);

  std::array<Bytef, kGzipStep> buffer;
  do {
    stream.next_out = buffer.data();
    stream.avail_out = kGzipStep;
    if (deflate(&stream, Z_FINISH) < 0) return false;
    out.insert(out.end(), buffer.data(), stream.next_out);
  } while (stream.avail_out == 0);
  return true;
}

void compress(std::vector<std::uint8_t>& out, const std::string& in) {
  static_cast<void>(detail::compressGzip(out, in));
}

std::string uncompress(const void* data, std::size_t size) {
  std::string out;
  static_cast<void>(uncompressGzip(out, data, size));
  return out;
}

detail::CompressedFrame detail::compressZstd(std::string_view in, int level) {
  // The bound is about the size of the input, the frame a fraction of it: memory that is neither cleared nor touched
  // behind the frame's end costs nothing.
  const std::size_t bound = ZSTD_compressBound(in.size());
  CompressedFrame frame{std::make_unique_for_overwrite<std::uint8_t[]>(bound), 0};
  frame.size = ZSTD_compress(frame.bytes.get(), bound, in.data(), in.size(), level);
  if (ZSTD_isError(frame.size) != 0) refuseZstd("zstd failed: ", frame.size);
  return frame;
}

void compressZSTD(std::vector<std::uint8_t>& out, const std::string& in, int level) {
  out.clear();
  const detail::CompressedFrame frame = detail::compressZstd(in, level);
  out.assign(frame.bytes.get(), frame.bytes.get() + frame.size);
}

std::string uncompressZSTD(const std::vector<std::uint8_t>& in) {
  const std::size_t size = announcedSize(in);
  if (size / kZstdBelievableRatio > in.size()) {
    // Memory that is only reserved until content arrives, so that a lie costs no more than the true content.
    const auto content = std::make_unique_for_overwrite<char[]>(size);
    return std::string(content.get(), decompressFrame(content.get(), size, in));
  }
  std::string result(size, '\0');
  result.resize(decompressFrame(result.data(), size, in));
  return result;
}

std::string detail::decompressed(const std::vector<std::uint8_t>& bytes, bool isZstd) {
  if (isZstd) return uncompressZSTD(bytes);
  std::string content;
  if (!uncompressGzip(content, bytes.data(), bytes.size())) throw std::bad_alloc();
  return content;
}

void setDecompressionLimit(std::uint64_t bytes) noexcept { decompressionLimit.store(bytes, std::memory_order_relaxed); }

std::uint64_t getDecompressionLimit() noexcept { return decompressionLimit.load(std::memory_order_relaxed); }

}  // namespace quillon::nimbo
