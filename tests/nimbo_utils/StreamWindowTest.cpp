#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MemoryStreamBuf.h"
#include "StreamWindow.h"
#include "quillon/nimbo/StreamOArchive.h"
#include "support/AnnotatedHex.h"

namespace quillon::nimbo {
namespace {

using testsupport::fromAnnotatedHex;

/// Hands out its bytes in pieces of a given size; a size of 0 means no get area at all, as an unbuffered source has.
class PiecewiseBuf : public std::streambuf {
 public:
  PiecewiseBuf(std::string bytes, std::size_t pieceSize) : fBytes(std::move(bytes)), fPieceSize(pieceSize) {}

 protected:
  int_type underflow() override {
    const std::size_t at = position();
    if (at == fBytes.size()) return traits_type::eof();
    if (fPieceSize == 0) return traits_type::to_int_type(fBytes[at]);
    const std::size_t size = std::min(fPieceSize, fBytes.size() - at);
    fPieceStart = at;
    setg(fBytes.data() + at, fBytes.data() + at, fBytes.data() + at + size);
    return traits_type::to_int_type(fBytes[at]);
  }
  int_type uflow() override {
    if (fPieceSize != 0) return std::streambuf::uflow();
    if (fPieceStart == fBytes.size()) return traits_type::eof();
    return traits_type::to_int_type(fBytes[fPieceStart++]);
  }

 private:
  [[nodiscard]] std::size_t position() const { return fPieceStart + static_cast<std::size_t>(gptr() - eback()); }
  std::string fBytes;
  std::size_t fPieceSize;
  std::size_t fPieceStart = 0;
};

const char* const kValues = R"(
    54                           # a tag
    2a                           # int8
    ff fe                        # int16: -257
    01 02 03 04                  # int32
    05 06 07 08 09 0a 0b 0c      # int64
    00 00 00 00 00 00 f8 3f      # 1.5
    00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff    # a uuid
    02 00 00 00 00 00 00 00  41 00 3d d8               # 2 code units
    03 00 00 00 00 00 00 00  61 62 63                  # 3 bytes
    00 00 00 00 00 00 00 00                            # the empty text
    01 00 00 00  02 00 00 00  03 00 00 00              # three int32
    6e                           # a tag
)";

void expectValues(StreamWindow& window) {
  EXPECT_EQ(window.get(), 'T');
  EXPECT_EQ(window.read<std::int8_t>(), 42);
  EXPECT_EQ(window.read<std::int16_t>(), -257);
  EXPECT_EQ(window.read<std::int32_t>(), 0x04030201);
  EXPECT_EQ(window.read<std::int64_t>(), 0x0c0b0a0908070605);
  EXPECT_EQ(window.read<double>(), 1.5);
  const auto uuid = window.read<boost::uuids::uuid>();
  EXPECT_EQ(uuid.data[1], 0x11);
  EXPECT_EQ(uuid.data[15], 0xff);
  EXPECT_EQ(window.readText<char16_t>(), std::u16string({u'A', char16_t{0xd83d}}));
  EXPECT_EQ(window.readText<char>(), "abc");
  EXPECT_EQ(window.readText<char16_t>(), u"");
  std::vector<std::int32_t> numbers;
  if (!window.readAllInSight(numbers, 3)) {
    for (int item = 0; item < 3; ++item) numbers.push_back(window.read<std::int32_t>());
  }
  EXPECT_THAT(numbers, testing::ElementsAre(1, 2, 3));
  EXPECT_EQ(window.get(), 'n');
  EXPECT_FALSE(window.hasFailed());
}

TEST(StreamWindow, ReadsEveryValueFromMemory) {
  const std::string bytes = fromAnnotatedHex(kValues);
  MemoryStreamBuf buffer(bytes);
  std::istream stream(&buffer);
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  expectValues(window);
}

TEST(StreamWindow, ReadsTheSameWhereverTheGetAreaEnds) {
  const std::string bytes = fromAnnotatedHex(kValues);
  for (std::size_t pieceSize = 0; pieceSize <= bytes.size(); ++pieceSize) {
    SCOPED_TRACE(pieceSize);
    PiecewiseBuf buffer(bytes, pieceSize);
    std::istream stream(&buffer);
    StreamIArchive archive(stream);
    StreamWindow window(archive);
    expectValues(window);
  }
}

TEST(StreamWindow, TakesNoByteThatWasNotAskedFor) {
  std::istringstream stream("abcdefghijklmnopq");
  StreamIArchive archive(stream);
  {
    StreamWindow window(archive);
    EXPECT_EQ(window.get(), 'a');
    static_cast<void>(window.read<std::int64_t>());
    EXPECT_EQ(window.get(), 'j');
  }
  EXPECT_EQ(stream.get(), 'k');
}

TEST(StreamWindow, LeavesTheStreamWhereReadingEndedWhenAnExceptionPasses) {
  std::istringstream stream("abc");
  StreamIArchive archive(stream);
  try {
    StreamWindow window(archive);
    static_cast<void>(window.get());
    throw std::runtime_error("the caller's own");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(stream.get(), 'b');
}

TEST(StreamWindow, LendsTheArchiveAtTheRightPlace) {
  std::istringstream stream("abcdef");
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  EXPECT_EQ(window.get(), 'a');
  const int lent = window.lend([](StreamIArchive& borrowed) {
    EXPECT_EQ(borrowed.get(), 'b');
    return borrowed.stream()->get();
  });
  EXPECT_EQ(lent, 'c');
  EXPECT_EQ(window.get(), 'd');
  EXPECT_THROW(
      window.lend([](StreamIArchive& borrowed) -> int { throw std::runtime_error(std::to_string(borrowed.get())); }),
      std::runtime_error);
  EXPECT_EQ(window.get(), 'f');
}

TEST(StreamWindow, NoticesThatABorrowerRanIntoTheEnd) {
  std::istringstream stream("ab");
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  window.lend([](StreamIArchive& borrowed) { return borrowed.stream()->ignore(3).get(); });
  EXPECT_TRUE(window.hasFailed());
  EXPECT_EQ(window.get(), -1);
}

TEST(StreamWindow, ReadsShortAsTheArchiveDoes) {
  const std::string bytes = fromAnnotatedHex(kValues);
  for (std::size_t size = 0; size < 8; ++size) {
    SCOPED_TRACE(size);
    std::istringstream inWindow(bytes.substr(0, size));
    std::istringstream inArchive(bytes.substr(0, size));
    StreamIArchive windowArchive(inWindow);
    StreamIArchive archive(inArchive);
    StreamWindow window(windowArchive);
    std::int64_t expected = 0;
    archive >> expected;
    EXPECT_EQ(window.read<std::int64_t>(), expected);
    EXPECT_TRUE(window.hasFailed());
    EXPECT_EQ(window.get(), -1);
    EXPECT_EQ(window.read<std::int32_t>(), 0);
    EXPECT_EQ(window.readText<char16_t>(), u"");
  }
}

TEST(StreamWindow, PadsATextThatComesShortAsTheArchiveDoes) {
  std::istringstream stream(fromAnnotatedHex("03 00 00 00 00 00 00 00  61"));
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  EXPECT_EQ(window.readText<char>(), "a  ");
  EXPECT_TRUE(window.hasFailed());
}

TEST(StreamWindow, RefusesATextThatCannotBe) {
  std::istringstream stream(fromAnnotatedHex("ff ff ff ff ff ff ff ff  61"));
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  EXPECT_THROW(static_cast<void>(window.readText<char16_t>()), std::length_error);
}

TEST(StreamWindow, ReadsManyNumbersOnlyIfAllAreInSight) {
  std::istringstream stream(fromAnnotatedHex("01 00 02 00 03 00"));
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  static_cast<void>(window.lend([](StreamIArchive& borrowed) { return borrowed.stream()->peek(); }));
  std::vector<std::int16_t> numbers;
  EXPECT_FALSE(window.readAllInSight(numbers, 4));
  EXPECT_FALSE(window.readAllInSight(numbers, std::uint64_t{1} << 63U));
  EXPECT_THAT(numbers, testing::IsEmpty());
  EXPECT_TRUE(window.readAllInSight(numbers, 3));
  EXPECT_THAT(numbers, testing::ElementsAre(1, 2, 3));
  EXPECT_TRUE(window.readAllInSight(numbers, 0));
  EXPECT_THAT(numbers, testing::IsEmpty());
}

TEST(StreamWindow, CountsTheBytesThatItTookItself) {
  const std::string bytes = fromAnnotatedHex(kValues);
  for (std::size_t pieceSize = 0; pieceSize <= bytes.size(); ++pieceSize) {
    SCOPED_TRACE(pieceSize);
    PiecewiseBuf buffer(bytes, pieceSize);
    std::istream stream(&buffer);
    StreamIArchive archive(stream);
    StreamWindow window(archive);
    EXPECT_EQ(window.position(), 0U);
    window.get();
    window.read<std::int8_t>();
    EXPECT_EQ(window.position(), 2U);
    window.read<std::int16_t>();
    window.lend([](StreamIArchive& lent) {  // these four do not count
      std::int32_t number = 0;
      lent >> number;
    });
    EXPECT_EQ(window.position(), 4U);
    window.read<std::int64_t>();
    char some[24];
    EXPECT_EQ(window.readBytes(some, sizeof some), sizeof some);
    EXPECT_EQ(window.position(), 36U);
    EXPECT_EQ(window.readText<char16_t>().size(), 2U);
    EXPECT_EQ(window.position(), 48U);
  }
}

TEST(StreamWindow, CountsNoByteThatDidNotCome) {
  std::istringstream stream("ab");
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  char some[4];
  EXPECT_EQ(window.readBytes(some, sizeof some), 2U);
  EXPECT_EQ(window.position(), 2U);
  EXPECT_EQ(window.get(), -1);
  EXPECT_EQ(window.position(), 2U);
  EXPECT_TRUE(window.hasFailed());
}

TEST(StreamWindow, ReadsATextIntoTheMemoryOfTheOneBeforeOnlyIfAllIsInSight) {
  std::ostringstream bytes;
  StreamOArchive(bytes) << std::string("first") << std::string("second");
  std::istringstream stream(bytes.str().substr(0, bytes.str().size() - 1));
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  std::string text = "a longer text than either";
  const char* const memory = text.data();
  EXPECT_TRUE(window.readTextInSight(text));
  EXPECT_EQ(text, "first");
  EXPECT_EQ(text.data(), memory);
  EXPECT_EQ(window.position(), 13U);
  EXPECT_FALSE(window.readTextInSight(text));
  EXPECT_EQ(text, "first");
  EXPECT_EQ(window.position(), 13U);
}

TEST(StreamWindow, StaysShutOnAStreamThatHasFailed) {
  std::istringstream stream("abc");
  stream.setstate(std::ios_base::failbit);
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  EXPECT_TRUE(window.hasFailed());
  EXPECT_EQ(window.get(), -1);
}

TEST(StreamWindow, PassesTheStreamsOwnExceptionOn) {
  std::istringstream stream("abc");
  stream.exceptions(std::ios_base::failbit);
  StreamIArchive archive(stream);
  StreamWindow window(archive);
  EXPECT_THROW(static_cast<void>(window.read<std::int64_t>()), std::ios_base::failure);
}

TEST(StreamWindow, SeesWhatIsWrittenToTheStreamMeanwhile) {
  std::stringstream stream;
  StreamIArchive archive(stream);
  StreamOArchive(stream) << std::int32_t{7};
  StreamWindow window(archive);
  EXPECT_EQ(window.read<std::int32_t>(), 7);
  StreamOArchive(stream) << std::int32_t{8};
  EXPECT_EQ(window.read<std::int32_t>(), 8);
}

}  // namespace
}  // namespace quillon::nimbo
