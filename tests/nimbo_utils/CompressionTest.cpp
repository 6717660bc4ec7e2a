#include <gtest/gtest.h>

#include "quillon/nimbo/Compression.h"

#define ZLIB_CONST
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <zlib.h>
#include <zstd.h>

#include "support/AllocationMeter.h"
#include "support/AnnotatedHex.h"

namespace quillon::nimbo {
namespace {

using testsupport::AllocationMeter;
using testsupport::fromAnnotatedHex;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMiB = 1024 * 1024;

Bytes gzip(const std::string& text) {
  Bytes out;
  compress(out, text);
  return out;
}

Bytes zstd(const std::string& text, int level = 1) {
  Bytes out;
  compressZSTD(out, text, level);
  return out;
}

std::string gunzip(const Bytes& bytes) { return uncompress(bytes.data(), bytes.size()); }

Bytes toBytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

/// Half noise, half repetition.
std::string someText(std::size_t size) {
  std::mt19937 random(42);
  std::string text;
  while (text.size() < size) {
    text += "the same words again and again, then ";
    for (int at = 0; at < 20; ++at) text += static_cast<char>(random());
  }
  text.resize(size);
  return text;
}

/// Deflated by zlib with window bits other than those for gzip.
Bytes deflated(const std::string& text, int windowBits) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
  Bytes out(text.size() + 100);
  stream.next_in = reinterpret_cast<const Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

const std::vector<std::size_t> kSizes{0, 1, 2, 100, 32767, 32768, 32769, 65536, 200000, 1000000};

// --- gzip ------------------------------------------------------------------------------------------------------------

TEST(Gzip, GivesBackWhatWasCompressed) {
  for (const std::size_t size : kSizes) {
    const std::string text = someText(size);
    EXPECT_TRUE(gunzip(gzip(text)) == text) << size;
  }
}

TEST(Gzip, IsACompleteStreamForAnEmptyText) {
  EXPECT_BYTES(gzip(""), R"(
    1f 8b 08 00 00 00 00 00 02 03   # header: deflate, no name, no time, highest compression, Unix
    03 00                           # one empty last block
    00 00 00 00                     # checksum
    00 00 00 00                     # size
  )");
}

TEST(Gzip, IsOfTheHighestLevel) {
  const std::string text = someText(100000);
  EXPECT_EQ(gzip(text), deflated(text, 31));
}

TEST(Gzip, ReplacesWhatTheOutputHeld) {
  Bytes out{1, 2, 3};
  compress(out, "text");
  EXPECT_EQ(out, gzip("text"));
}

TEST(Gzip, IsEmptyWithoutData) {
  const Bytes stream = gzip("text");
  EXPECT_EQ(uncompress(nullptr, 0), "");
  EXPECT_EQ(uncompress(nullptr, 100), "");
  EXPECT_EQ(uncompress(stream.data(), 0), "");
}

TEST(Gzip, IsNotTakenFromOtherWrappingsOfDeflate) {
  EXPECT_EQ(gunzip(deflated("text", 31)), "text");
  EXPECT_EQ(gunzip(deflated("text", 15)), "") << "zlib";
  EXPECT_EQ(gunzip(deflated("text", -15)), "") << "raw";
}

TEST(Gzip, IsAllOrNothingWhereverItIsCut) {
  const std::string text = someText(70000);
  const Bytes whole = gzip(text);
  for (std::size_t size = 0; size < whole.size(); size += (size < 64 || size + 64 > whole.size()) ? 1 : 97) {
    EXPECT_EQ(uncompress(whole.data(), size), "") << size;
  }
  EXPECT_EQ(uncompress(whole.data(), whole.size() - 1), "");
  EXPECT_TRUE(gunzip(whole) == text);
}

TEST(Gzip, IsEmptyWhenDamaged) {
  const std::string text = someText(300);
  const Bytes whole = gzip(text);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    if (at >= 3 && at < 10) continue;  // flags and remarks of the header: no part of the content
    Bytes damaged = whole;
    damaged[at] ^= 0x10;
    EXPECT_EQ(gunzip(damaged), "") << at;
  }
  EXPECT_EQ(gunzip(toBytes("no gzip at all")), "");
}

TEST(Gzip, IgnoresWhatFollowsTheStream) {
  Bytes stream = gzip("first");
  const Bytes second = gzip("second");
  stream.insert(stream.end(), second.begin(), second.end());
  EXPECT_EQ(gunzip(stream), "first");
}

// --- zstd ------------------------------------------------------------------------------------------------------------

TEST(Zstd, GivesBackWhatWasCompressed) {
  for (const std::size_t size : kSizes) {
    const std::string text = someText(size);
    for (const int level : {1, 3, 19}) {
      if (level == 19 && size > 100000) continue;
      EXPECT_TRUE(uncompressZSTD(zstd(text, level)) == text) << size;
    }
  }
}

TEST(Zstd, IsOneFrameThatTellsItsSize) {
  const Bytes frame = zstd(someText(100000));
  EXPECT_EQ(ZSTD_getFrameContentSize(frame.data(), frame.size()), 100000U);
  EXPECT_EQ(ZSTD_findFrameCompressedSize(frame.data(), frame.size()), frame.size());
}

TEST(Zstd, IsTheLibrarysOwnFrame) {
  const std::string text = someText(100000);
  Bytes expected(ZSTD_compressBound(text.size()));
  expected.resize(ZSTD_compress(expected.data(), expected.size(), text.data(), text.size(), 1));
  EXPECT_EQ(zstd(text), expected);
}

TEST(Zstd, IsAValidFrameForAnEmptyText) {
  const Bytes frame = zstd("");
  EXPECT_BYTES(frame, R"(
    28 b5 2f fd   # magic
    20 00         # single segment, content of 0 bytes
    01 00 00      # last block, raw, of 0 bytes
  )");
  EXPECT_EQ(uncompressZSTD(frame), "");
}

TEST(Zstd, ReplacesWhatTheOutputHeld) {
  Bytes out{1, 2, 3};
  compressZSTD(out, "text", 1);
  EXPECT_EQ(out, zstd("text"));
}

TEST(Zstd, RefusesAnEmptyVector) { EXPECT_THROW(uncompressZSTD({}), std::length_error); }

TEST(Zstd, RefusesWhatIsNoFrame) {
  EXPECT_THROW(uncompressZSTD(toBytes("no zstd at all")), std::length_error);
  EXPECT_THROW(uncompressZSTD(gzip("text")), std::length_error);
}

TEST(Zstd, RefusesAFrameWhereverItIsCut) {
  const std::string text = someText(70000);
  const Bytes whole = zstd(text);
  for (std::size_t size = 0; size < whole.size(); size += (size < 64 || size + 64 > whole.size()) ? 1 : 997) {
    EXPECT_THROW(uncompressZSTD(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))),
                 std::length_error)
        << size;
  }
}

TEST(Zstd, RefusesWhatFollowsTheFrame) {
  const Bytes frame = zstd(someText(1000));
  for (const std::size_t more : {1U, 4U, 100U}) {
    Bytes longer = frame;
    longer.resize(frame.size() + more, 0xFF);
    EXPECT_THROW(uncompressZSTD(longer), std::length_error);
  }
}

TEST(Zstd, RefusesAFrameThatDoesNotTellItsSize) {
  const std::string text = someText(1000);
  ZSTD_CCtx* const context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, 0);
  Bytes frame(ZSTD_compressBound(text.size()));
  frame.resize(ZSTD_compress2(context, frame.data(), frame.size(), text.data(), text.size()));
  ZSTD_freeCCtx(context);
  ASSERT_EQ(ZSTD_getFrameContentSize(frame.data(), frame.size()), ZSTD_CONTENTSIZE_UNKNOWN);
  EXPECT_THROW(uncompressZSTD(frame), std::length_error);
}

// --- Bombs -----------------------------------------------------------------------------------------------------------

/// A frame that announces `size` bytes of content, followed by `rest`.
Bytes frameAnnouncing(std::uint64_t size, const Bytes& rest) {
  Bytes frame = toBytes(fromAnnotatedHex(R"(
    28 b5 2f fd   # magic
    c0            # content size in eight bytes, window of its own
    58            # window of 2 MiB
  )"));
  for (int shift = 0; shift < 64; shift += 8) frame.push_back(static_cast<std::uint8_t>(size >> shift));
  frame.insert(frame.end(), rest.begin(), rest.end());
  return frame;
}

/// `count` blocks of the largest size, each repeating one byte: the densest content there is.
Bytes denseBlocks(std::size_t count) {
  Bytes blocks;
  for (std::size_t at = 1; at <= count; ++at) {
    const bool last = at == count;
    const std::uint32_t header = (131072U << 3) | (1U << 1) | (last ? 1U : 0U);
    blocks.insert(blocks.end(), {static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8),
                                 static_cast<std::uint8_t>(header >> 16), std::uint8_t{'x'}});
  }
  return blocks;
}

TEST(Zstd, AcceptsTheDensestContentThereIs) {
  EXPECT_TRUE(uncompressZSTD(frameAnnouncing(131072, denseBlocks(1))) == std::string(131072, 'x'));
  EXPECT_TRUE(uncompressZSTD(frameAnnouncing(100 * 131072, denseBlocks(100))) == std::string(100 * 131072, 'x'));
  const std::string blanks(20 * kMiB, ' ');
  EXPECT_TRUE(uncompressZSTD(zstd(blanks)) == blanks);
  EXPECT_TRUE(uncompressZSTD(zstd(blanks, 19)) == blanks);
}

TEST(Zstd, RefusesASizeThatTheBytesCannotHoldWithoutAskingForMemory) {
  for (const std::uint64_t size : {std::uint64_t{131072} * 26 + 1, std::uint64_t{1} << 32, std::uint64_t{1} << 50,
                                   (std::uint64_t{1} << 63) - 1, ~std::uint64_t{0} - 2}) {
    const Bytes frame = frameAnnouncing(size, Bytes(90, 0));
    ASSERT_EQ(frame.size(), 104U);
    const AllocationMeter meter;
    EXPECT_THROW(uncompressZSTD(frame), std::length_error) << size;
    EXPECT_LT(meter.peak(), kMiB) << size;
  }
}

TEST(Zstd, SaysWhyItRefuses) {
  const auto refusal = [](const Bytes& frame) -> std::string {
    try {
      uncompressZSTD(frame);
    } catch (const std::length_error& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(refusal({}), "compressed data: this is no zstd frame");
  EXPECT_EQ(refusal(frameAnnouncing(1000000, {})),
            "compressed data: a zstd frame of 14 bytes cannot hold the 1000000 bytes that it announces");
  const std::string damaged = "compressed data: the zstd frame is damaged: ";  // then zstd's own words
  EXPECT_EQ(refusal(frameAnnouncing(1000, Bytes(100, 0xFF))).substr(0, damaged.size()), damaged);
}

std::size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0;
  statm >> pages >> pages;
  return pages * 4096;
}

TEST(Zstd, TouchesNoMemoryForAPossibleSizeThatIsALie) {
  // Possible by the number of bytes, which are no blocks: only address space may be spent on it.
  const std::uint64_t size = std::uint64_t{1024} * kMiB;
  const Bytes frame = frameAnnouncing(size, Bytes(size / 131072 * 4, 0xFF));
  const std::size_t before = residentBytes();
  ASSERT_GT(before, 0U);
  std::atomic<bool> done{false};
  std::atomic<std::size_t> peak{before};
  std::thread watcher([&] {
    while (!done) peak = std::max(peak.load(), residentBytes());
  });
  for (int round = 0; round < 20; ++round) EXPECT_THROW(uncompressZSTD(frame), std::length_error);
  done = true;
  watcher.join();
  EXPECT_LT(peak - before, 256 * kMiB);
}

/// Sets the limit for one test.
class LimitGuard {
 public:
  explicit LimitGuard(std::uint64_t limit) { setDecompressionLimit(limit); }
  LimitGuard(const LimitGuard&) = delete;
  LimitGuard& operator=(const LimitGuard&) = delete;
  ~LimitGuard() { setDecompressionLimit(kNoDecompressionLimit); }
};

TEST(DecompressionLimit, IsOffUntilItIsSet) {
  EXPECT_EQ(getDecompressionLimit(), kNoDecompressionLimit);
  const LimitGuard guard(1000);
  EXPECT_EQ(getDecompressionLimit(), 1000U);
}

TEST(DecompressionLimit, StopsBothFormsBeyondIt) {
  const std::string text = someText(100000);
  const Bytes asGzip = gzip(text);
  const Bytes asZstd = zstd(text);
  {
    const LimitGuard guard(100000);
    EXPECT_TRUE(gunzip(asGzip) == text);
    EXPECT_TRUE(uncompressZSTD(asZstd) == text);
  }
  {
    const LimitGuard guard(99999);
    EXPECT_THROW(gunzip(asGzip), std::length_error);
    EXPECT_THROW(uncompressZSTD(asZstd), std::length_error);
  }
  EXPECT_TRUE(gunzip(asGzip) == text);
}

TEST(DecompressionLimit, KeepsABombFromUsingMemory) {
  const std::string blanks(200 * kMiB, ' ');
  const Bytes asGzip = gzip(blanks);
  const Bytes asZstd = zstd(blanks);
  const LimitGuard guard(kMiB);
  const AllocationMeter meter;
  EXPECT_THROW(gunzip(asGzip), std::length_error);
  EXPECT_THROW(uncompressZSTD(asZstd), std::length_error);
  EXPECT_LT(meter.peak(), 4 * kMiB);
}

}  // namespace
}  // namespace quillon::nimbo
