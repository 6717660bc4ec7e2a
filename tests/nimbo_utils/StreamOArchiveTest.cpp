#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "quillon/nimbo/StreamOArchive.h"
#include "support/AnnotatedHex.h"

namespace quillon::nimbo {
namespace {

template <typename... Values>
std::string written(const Values&... values) {
  std::ostringstream stream;
  StreamOArchive archive(stream);
  (archive << ... << values);
  return stream.str();
}

double doubleOfBits(std::uint64_t bits) {
  double value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

TEST(StreamOArchive, WritesIntegersInLittleEndian) {
  EXPECT_BYTES(written(std::int8_t{-2}), "fe");
  EXPECT_BYTES(written(std::uint8_t{0xA5}), "a5");
  EXPECT_BYTES(written(std::int16_t{-2}), "fe ff");
  EXPECT_BYTES(written(std::uint16_t{0x1234}), "34 12");
  EXPECT_BYTES(written(std::int32_t{-2}), "fe ff ff ff");
  EXPECT_BYTES(written(std::uint32_t{0x12345678}), "78 56 34 12");
  EXPECT_BYTES(written(std::int64_t{-2}), "fe ff ff ff ff ff ff ff");
  EXPECT_BYTES(written(std::uint64_t{0x123456789ABCDEF0}), "f0 de bc 9a 78 56 34 12");
  EXPECT_BYTES(written(std::numeric_limits<std::int64_t>::min()), "00 00 00 00 00 00 00 80");
}

TEST(StreamOArchive, WritesTheBitPatternOfADouble) {
  EXPECT_BYTES(written(1.5), "00 00 00 00 00 00 f8 3f");
  EXPECT_BYTES(written(0.0), "00 00 00 00 00 00 00 00");
  EXPECT_BYTES(written(-0.0), "00 00 00 00 00 00 00 80");
  EXPECT_BYTES(written(std::numeric_limits<double>::infinity()), "00 00 00 00 00 00 f0 7f");
  EXPECT_BYTES(written(doubleOfBits(0xFFF8000000BADBAD)), "ad db ba 00 00 00 f8 ff");  // a NaN with a payload
}

TEST(StreamOArchive, WritesABoolAsALetter) {
  EXPECT_BYTES(written(true), "54");
  EXPECT_BYTES(written(false), "46");
}

TEST(StreamOArchive, WritesAUuidInItsOwnOrder) {
  const boost::uuids::uuid uuid{
      {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_BYTES(written(uuid), "00112233 4455 6677 8899 aabbccddeeff");
}

TEST(StreamOArchive, CountsUtf16TextInCodeUnits) {
  EXPECT_BYTES(written(std::u16string(u"a\u00e9\u20ac\U0001f600")), R"(
    05 00 00 00 00 00 00 00   # five code units: the last character takes two
    61 00                     # a
    e9 00                     # e with acute accent
    ac 20                     # euro sign
    3d d8 00 de               # grinning face: a surrogate pair
  )");
  EXPECT_BYTES(written(std::u16string()), "00 00 00 00 00 00 00 00");
}

TEST(StreamOArchive, WritesHalfASurrogatePairAsItIs) {
  EXPECT_BYTES(written(std::u16string(1, char16_t{0xDC00})), "01 00 00 00 00 00 00 00  00 dc");
}

TEST(StreamOArchive, WritesAStringAsItsBytes) {
  EXPECT_BYTES(written(std::string("a\0\xFF", 3)), R"(
    03 00 00 00 00 00 00 00   # three bytes
    61 00 ff                  # not re-encoded, not terminated
  )");
  EXPECT_BYTES(written(std::string()), "00 00 00 00 00 00 00 00");
}

TEST(StreamOArchive, WritesAListOfTexts) {
  EXPECT_BYTES(written(std::vector<std::u16string>{u"ab", u"", u"c"}), R"(
    03 00 00 00 00 00 00 00   # three texts
    02 00 00 00 00 00 00 00   # first: two code units
    61 00 62 00               # ab
    00 00 00 00 00 00 00 00   # second: none
    01 00 00 00 00 00 00 00   # third: one
    63 00                     # c
  )");
  EXPECT_BYTES(written(std::vector<std::u16string>()), "00 00 00 00 00 00 00 00");
}

TEST(StreamOArchive, WritesABlockOfBytes) {
  EXPECT_BYTES(written(std::vector<std::uint8_t>{1, 0, 0xFF}), "03 00 00 00 00 00 00 00  01 00 ff");
  EXPECT_BYTES(written(std::vector<std::uint8_t>()), "00 00 00 00 00 00 00 00");
}

TEST(StreamOArchive, WritesOneValueRightBehindTheOther) {
  EXPECT_BYTES(written(std::uint8_t{1}, std::uint32_t{2}, true, std::uint16_t{3}), R"(
    01            # no padding to the size of the next value
    02 00 00 00
    54
    03 00
  )");
}

TEST(StreamOArchive, PutsSingleBytes) {
  std::ostringstream stream;
  StreamOArchive archive(stream);
  archive.put('m').put('\0').put('\xFF');
  EXPECT_BYTES(stream.str(), "6d 00 ff");
}

TEST(StreamOArchive, IsAValueThatOnlyPointsToTheStream) {
  std::ostringstream stream;
  StreamOArchive first(stream);
  StreamOArchive second = first;
  first << std::uint8_t{1};
  second << std::uint8_t{2};
  stream.put(3);
  first.stream()->put(4);
  EXPECT_BYTES(stream.str(), "01 02 03 04");
  EXPECT_EQ(second.stream(), &stream);
  EXPECT_EQ(sizeof(StreamOArchive), sizeof(std::ostream*));
  EXPECT_TRUE(std::is_trivially_copyable_v<StreamOArchive>);

  std::ostringstream other;
  second = StreamOArchive(other);
  second << std::uint8_t{5};
  EXPECT_BYTES(other.str(), "05");
}

template <typename T>
concept Writable = requires(StreamOArchive archive, T value) {
  archive << value;
};

TEST(StreamOArchive, RefusesTypesThatWouldBeWrittenAsAnother) {
  EXPECT_TRUE(Writable<bool>);
  EXPECT_TRUE(Writable<std::size_t>);
  EXPECT_TRUE(Writable<std::string>);
  EXPECT_FALSE(Writable<const char*>);  // would be the bool true
  EXPECT_FALSE(Writable<const char16_t*>);
  EXPECT_FALSE((Writable<const char(&)[3]>));
  EXPECT_FALSE(Writable<void*>);
  EXPECT_FALSE(Writable<char>);  // would be four bytes
  EXPECT_FALSE(Writable<char16_t>);
  EXPECT_FALSE(Writable<wchar_t>);
  EXPECT_FALSE(Writable<float>);  // would be eight
  EXPECT_FALSE(Writable<long double>);
  EXPECT_FALSE(Writable<std::nullptr_t>);
  enum Unscoped { kZero };
  EXPECT_FALSE(Writable<Unscoped>);
}

/// Takes bytes up to a capacity and notes the size of each block that it was given.
class NotingBuffer : public std::streambuf {
 public:
  explicit NotingBuffer(std::size_t capacity = 1000) : fCapacity(capacity) {}
  std::vector<std::streamsize> blocks;
  int singles = 0;
  int flushes = 0;
  std::string bytes;

 protected:
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    blocks.push_back(size);
    const std::size_t taken = std::min(fCapacity - bytes.size(), static_cast<std::size_t>(size));
    bytes.append(data, taken);
    return static_cast<std::streamsize>(taken);
  }
  int_type overflow(int_type byte) override {
    ++singles;
    if (bytes.size() == fCapacity) return traits_type::eof();
    bytes.push_back(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
  }
  int sync() override {
    ++flushes;
    return 0;
  }

 private:
  std::size_t fCapacity;
};

TEST(StreamOArchive, WritesEachFixedValueAtOnceAndALengthAheadOfItsCharacters) {
  NotingBuffer buffer;
  std::ostream stream(&buffer);
  StreamOArchive archive(stream);
  archive << std::int16_t{1} << std::int32_t{1} << 1.0 << boost::uuids::uuid{} << std::u16string(u"abc")
          << std::string("abcd");
  EXPECT_EQ(buffer.blocks, (std::vector<std::streamsize>{2, 4, 8, 16, 8, 6, 8, 4}));
  archive << true;
  archive.put('m');
  EXPECT_EQ(buffer.singles, 2);
}

TEST(StreamOArchive, IgnoresAWriteToAFailedStream) {
  NotingBuffer buffer;
  std::ostream stream(&buffer);
  StreamOArchive archive(stream);
  for (const auto state : {std::ios::badbit, std::ios::failbit, std::ios::eofbit}) {
    stream.clear(state);
    archive << std::int32_t{1} << true << std::string("x");
    EXPECT_TRUE((stream.rdstate() & state) != 0);
  }
  EXPECT_EQ(buffer.bytes, "");
}

TEST(StreamOArchive, MarksTheStreamBadWhenTheBufferTakesLess) {
  NotingBuffer buffer(6);
  std::ostream stream(&buffer);
  StreamOArchive archive(stream);
  archive << std::uint32_t{0x04030201};
  EXPECT_TRUE(stream.good());
  archive << std::uint32_t{0x08070605};
  EXPECT_TRUE(stream.bad());
  EXPECT_BYTES(buffer.bytes, "01 02 03 04 05 06");

  stream.clear();
  archive << true;
  EXPECT_TRUE(stream.bad());
}

TEST(StreamOArchive, ThrowsTheStreamsFailureOnlyIfTheStreamIsSetTo) {
  NotingBuffer buffer(0);
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit);
  StreamOArchive archive(stream);
  EXPECT_THROW(archive << std::uint32_t{1}, std::ios_base::failure);
  stream.clear();
  EXPECT_THROW(archive << true, std::ios_base::failure);
}

class ThrowingBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize) override { throw std::runtime_error("disk is on fire"); }
  int_type overflow(int_type) override { throw std::runtime_error("disk is on fire"); }
};

TEST(StreamOArchive, KeepsABuffersExceptionAsAStreamDoes) {
  ThrowingBuffer buffer;
  for (const bool byArchive : {true, false}) {
    std::ostream stream(&buffer);
    StreamOArchive archive(stream);
    const auto writeBlock = [&] { byArchive ? void(archive << std::uint32_t{1}) : void(stream.write("abcd", 4)); };
    const auto writeByte = [&] { byArchive ? void(archive << true) : void(stream.put('T')); };

    EXPECT_NO_THROW(writeBlock());
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
    stream.clear();
    EXPECT_NO_THROW(writeByte());
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);

    stream.clear();
    stream.exceptions(std::ios::badbit);
    EXPECT_THROW(writeBlock(), std::runtime_error);
    stream.clear();
    EXPECT_THROW(writeByte(), std::runtime_error);
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
  }
}

TEST(StreamOArchive, FlushesWhatTheStreamFlushes) {
  NotingBuffer tiedBuffer;
  std::ostream tied(&tiedBuffer);
  NotingBuffer buffer;
  std::ostream stream(&buffer);
  stream.tie(&tied);
  StreamOArchive archive(stream);
  archive << std::uint32_t{1} << true;
  EXPECT_EQ(tiedBuffer.flushes, 2);
  EXPECT_EQ(buffer.flushes, 0);

  stream << std::unitbuf;
  archive << std::uint32_t{1} << true;
  EXPECT_EQ(tiedBuffer.flushes, 4);
  EXPECT_EQ(buffer.flushes, 2);

  stream.tie(nullptr);
  archive << std::uint32_t{1} << true;
  EXPECT_EQ(tiedBuffer.flushes, 4);
  EXPECT_EQ(buffer.flushes, 4);
}

}  // namespace
}  // namespace quillon::nimbo
