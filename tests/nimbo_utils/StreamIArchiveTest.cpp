#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "quillon/nimbo/StreamIArchive.h"
#include "quillon/nimbo/StreamOArchive.h"
#include "support/AllocationMeter.h"
#include "support/AnnotatedHex.h"

namespace quillon::nimbo {
namespace {

using testsupport::AllocationMeter;
using testsupport::fromAnnotatedHex;

constexpr std::size_t kMiB = 1024 * 1024;

template <typename T>
std::string written(const T& value) {
  std::ostringstream stream;
  StreamOArchive archive(stream);
  archive << value;
  return stream.str();
}

template <typename T>
T readBack(const std::string& bytes) {
  std::istringstream stream(bytes);
  StreamIArchive archive(stream);
  T value{};
  archive >> value;
  return value;
}

std::string announcing(std::uint64_t count, const std::string& data = "") { return written(count) + data; }

template <typename T>
std::string bytesOf(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

TEST(StreamIArchive, ReadsWhatWasWritten) {
  std::ostringstream out;
  StreamOArchive writer(out);
  const boost::uuids::uuid uuid{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
  const std::u16string text(u"gr\u00fc\u00df\U0001f600");
  const std::vector<std::u16string> list{u"a", u"", text};
  const std::vector<std::uint8_t> block{0, 255, 7};
  writer << std::int8_t{-1} << std::uint8_t{200} << std::int16_t{-300} << std::uint16_t{60000} << std::int32_t{-70000}
         << std::uint32_t{4000000000} << std::numeric_limits<std::int64_t>::min()
         << std::numeric_limits<std::uint64_t>::max() << -2.5 << true << false << uuid << text << std::string("\0x", 2)
         << list << block;

  std::istringstream in(out.str());
  StreamIArchive archive(in);
  std::int8_t i8{};
  std::uint8_t u8{};
  std::int16_t i16{};
  std::uint16_t u16{};
  std::int32_t i32{};
  std::uint32_t u32{};
  std::int64_t i64{};
  std::uint64_t u64{};
  double real{};
  bool yes{};
  bool no{true};
  boost::uuids::uuid readUuid{};
  std::u16string readText{u"what was there before"};
  std::string readString{"what was there before"};
  std::vector<std::u16string> readList{u"before"};
  std::vector<std::uint8_t> readBlock{1, 2, 3, 4, 5};
  archive >> i8 >> u8 >> i16 >> u16 >> i32 >> u32 >> i64 >> u64 >> real >> yes >> no >> readUuid >> readText >>
      readString >> readList >> readBlock;
  EXPECT_EQ(i8, -1);
  EXPECT_EQ(u8, 200);
  EXPECT_EQ(i16, -300);
  EXPECT_EQ(u16, 60000);
  EXPECT_EQ(i32, -70000);
  EXPECT_EQ(u32, 4000000000U);
  EXPECT_EQ(i64, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(u64, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(real, -2.5);
  EXPECT_TRUE(yes);
  EXPECT_FALSE(no);
  EXPECT_EQ(readUuid, uuid);
  EXPECT_EQ(readText, text);
  EXPECT_EQ(readString, std::string("\0x", 2));
  EXPECT_EQ(readList, list);
  EXPECT_EQ(readBlock, block);
  EXPECT_TRUE(in.good()) << "reading to the last byte is no failure";
  EXPECT_EQ(archive.get(), -1);
  EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
}

TEST(StreamIArchive, PassesTheBitPatternOfADoubleUnchanged) {
  for (const char* const hex : {"00 00 00 00 00 00 00 80",     // -0.0
                                "ad db ba 00 00 00 f8 ff",     // a NaN with a payload
                                "01 00 00 00 00 00 f0 7f",     // a signalling NaN
                                "00 00 00 00 00 00 f0 ff"}) {  // -infinity
    EXPECT_BYTES(bytesOf(readBack<double>(fromAnnotatedHex(hex))), hex);
  }
}

TEST(StreamIArchive, TakesOnlyTheLetterTForTrue) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(readBack<bool>(std::string(1, static_cast<char>(byte))), byte == 'T') << byte;
  }
}

TEST(StreamIArchive, GetsSingleBytesUnsigned) {
  std::istringstream stream(std::string("m\0\xFF", 3));
  StreamIArchive archive(stream);
  EXPECT_EQ(archive.get(), 'm');
  EXPECT_EQ(archive.get(), 0);
  EXPECT_EQ(archive.get(), 255);
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(archive.get(), -1);
  EXPECT_EQ(archive.get(), -1);
}

TEST(StreamIArchive, IsAValueThatOnlyPointsToTheStream) {
  std::istringstream stream(std::string("\1\2\3\4", 4));
  StreamIArchive first(stream);
  StreamIArchive second = first;
  std::uint8_t value = 0;
  first >> value;
  second >> value;
  EXPECT_EQ(value, 2);
  EXPECT_EQ(stream.get(), 3);
  EXPECT_EQ(second.stream()->get(), 4);
  EXPECT_EQ(first.stream(), &stream);
  EXPECT_EQ(sizeof(StreamIArchive), sizeof(std::istream*));
  EXPECT_TRUE(std::is_trivially_copyable_v<StreamIArchive>);
}

TEST(StreamIArchive, TakesNoByteBeyondTheValue) {
  std::istringstream stream(written(std::u16string(u"ab")) + "rest");
  StreamIArchive archive(stream);
  std::u16string text;
  archive >> text;
  EXPECT_EQ(stream.tellg(), 12);
  std::string rest;
  stream >> rest;
  EXPECT_EQ(rest, "rest");
}

// --- Short streams: every value cut at every byte. What came stays, the rest is what the header promises. -----------

template <typename T>
class ShortNumber : public testing::Test {};
using Numbers = testing::Types<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                               std::int64_t, std::uint64_t, double, boost::uuids::uuid>;
TYPED_TEST_SUITE(ShortNumber, Numbers);

TYPED_TEST(ShortNumber, KeepsWhatCameAndIsZeroBehind) {
  const std::string all(sizeof(TypeParam), '\x41');
  for (std::size_t size = 0; size < all.size(); ++size) {
    std::istringstream stream(all.substr(0, size));
    StreamIArchive archive(stream);
    TypeParam value{};
    std::memset(&value, 0x77, sizeof value);
    archive >> value;
    EXPECT_EQ(bytesOf(value), all.substr(0, size) + std::string(all.size() - size, '\0'));
    EXPECT_EQ(stream.rdstate(), std::ios::eofbit | std::ios::failbit);
  }
}

TYPED_TEST(ShortNumber, IsZeroOnAStreamThatHasFailedBefore) {
  std::istringstream stream(std::string(100, '\x41'));
  stream.setstate(std::ios::failbit);
  StreamIArchive archive(stream);
  TypeParam value{};
  std::memset(&value, 0x77, sizeof value);
  archive >> value;
  EXPECT_EQ(bytesOf(value), std::string(sizeof value, '\0'));
}

TEST(StreamIArchive, ReadsFalseAtTheEnd) {
  std::istringstream stream;
  StreamIArchive archive(stream);
  bool value = true;
  archive >> value;
  EXPECT_FALSE(value);
  EXPECT_TRUE(stream.fail());
}

TEST(StreamIArchive, FillsAShortStringWithBlanks) {
  const std::string whole = written(std::string("hello"));
  EXPECT_EQ(readBack<std::string>(""), "");
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 1)), "     ") << "the count's first byte has come: 5";
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 8)), "     ");
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 9)), "h    ");
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 10)), "he   ");
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 11)), "hel  ");
  EXPECT_EQ(readBack<std::string>(whole.substr(0, 12)), "hell ");
  EXPECT_EQ(readBack<std::string>(whole), "hello");
}

TEST(StreamIArchive, FillsAShortUtf16TextWithBlanks) {
  const std::string whole = written(std::u16string(u"\u4141\u4242"));
  EXPECT_EQ(readBack<std::u16string>(""), u"");
  for (std::size_t size = 1; size <= 8; ++size) {
    EXPECT_EQ(readBack<std::u16string>(whole.substr(0, size)), u"  ") << size;
  }
  EXPECT_EQ(readBack<std::u16string>(whole.substr(0, 9)), u"\u0041 ") << "half a code unit over half a blank";
  EXPECT_EQ(readBack<std::u16string>(whole.substr(0, 10)), u"\u4141 ");
  EXPECT_EQ(readBack<std::u16string>(whole.substr(0, 11)), u"\u4141\u0042");
  EXPECT_EQ(readBack<std::u16string>(whole), u"\u4141\u4242");
}

TEST(StreamIArchive, LeavesNothingOfTheFormerTextInAShortOne) {
  std::istringstream stream(announcing(4, "a"));
  StreamIArchive archive(stream);
  std::string text("former text");
  archive >> text;
  EXPECT_EQ(text, "a   ");
}

TEST(StreamIArchive, FillsAShortBlockOfBytesWithFF) {
  const std::string whole = written(std::vector<std::uint8_t>{1, 2, 3});
  using Block = std::vector<std::uint8_t>;
  EXPECT_EQ(readBack<Block>(""), Block());
  for (std::size_t size = 1; size <= 8; ++size) {
    EXPECT_EQ(readBack<Block>(whole.substr(0, size)), (Block{0xFF, 0xFF, 0xFF})) << size;
  }
  EXPECT_EQ(readBack<Block>(whole.substr(0, 9)), (Block{1, 0xFF, 0xFF}));
  EXPECT_EQ(readBack<Block>(whole.substr(0, 10)), (Block{1, 2, 0xFF}));
  EXPECT_EQ(readBack<Block>(whole), (Block{1, 2, 3}));
}

TEST(StreamIArchive, EndsAShortListWithTheTextThatWasCut) {
  const std::string whole = written(std::vector<std::u16string>{u"ab", u"cd", u"ef"});
  using List = std::vector<std::u16string>;
  EXPECT_EQ(readBack<List>(""), List());
  for (std::size_t size = 1; size < 8; ++size) EXPECT_EQ(readBack<List>(whole.substr(0, size)), List()) << size;
  EXPECT_EQ(readBack<List>(whole.substr(0, 8)), (List{u""}));
  EXPECT_EQ(readBack<List>(whole.substr(0, 18)), (List{u"a "}));
  EXPECT_EQ(readBack<List>(whole.substr(0, 20)), (List{u"ab", u""}));
  EXPECT_EQ(readBack<List>(whole.substr(0, 30)), (List{u"ab", u"c "}));
  EXPECT_EQ(readBack<List>(whole), (List{u"ab", u"cd", u"ef"}));
}

TEST(StreamIArchive, ReadsLongDataInSteps) {
  for (const std::size_t size : {65535U, 65536U, 65537U, 131072U, 300000U}) {
    std::string text(size, 'x');
    for (std::size_t at = 0; at < size; ++at) text[at] = static_cast<char>(at * 7 / 5);
    const std::u16string wide(text.begin(), text.end());
    const std::vector<std::uint8_t> block(text.begin(), text.end());
    EXPECT_EQ(readBack<std::string>(written(text)), text);
    EXPECT_EQ(readBack<std::u16string>(written(wide)), wide);
    EXPECT_EQ(readBack<std::vector<std::uint8_t>>(written(block)), block);

    const std::string cut = written(text).substr(0, 8 + size - 3);
    EXPECT_EQ(readBack<std::string>(cut), text.substr(0, size - 3) + "   ");
  }
}

// --- Announcements that nothing stands behind ------------------------------------------------------------------------

constexpr std::uint64_t kBound = StreamIArchive::kPaddingBound;

TEST(StreamIArchive, PadsUpToItsBoundAndRefusesBeyond) {
  EXPECT_EQ(readBack<std::string>(announcing(kBound, "x")), "x" + std::string(kBound - 1, ' '));
  EXPECT_EQ(readBack<std::u16string>(announcing(kBound)).size(), kBound);
  const auto block = readBack<std::vector<std::uint8_t>>(announcing(kBound, "x"));
  EXPECT_EQ(block.size(), kBound);
  EXPECT_EQ(block.front(), 'x');
  EXPECT_EQ(block.back(), 0xFF);

  EXPECT_THROW(readBack<std::string>(announcing(kBound + 1, "x")), std::length_error);
  EXPECT_THROW(readBack<std::u16string>(announcing(kBound + 1, "x")), std::length_error);
  EXPECT_THROW(readBack<std::vector<std::uint8_t>>(announcing(kBound + 1, "x")), std::bad_alloc);
}

TEST(StreamIArchive, HasNoBoundForDataThatIsThere) {
  const std::string text(kBound + 5, 'x');
  const std::string bytes = written(text);
  EXPECT_TRUE(readBack<std::string>(bytes) == text);
  EXPECT_EQ(readBack<std::vector<std::uint8_t>>(bytes), std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(StreamIArchive, RefusesACountThatTheTypeCannotHold) {
  for (const std::uint64_t count : {std::uint64_t{1} << 63, std::numeric_limits<std::uint64_t>::max()}) {
    EXPECT_THROW(readBack<std::string>(announcing(count)), std::length_error);
    EXPECT_THROW(readBack<std::u16string>(announcing(count)), std::length_error);
    EXPECT_THROW(readBack<std::vector<std::u16string>>(announcing(count)), std::length_error);
    EXPECT_THROW(readBack<std::vector<std::uint8_t>>(announcing(count)), std::length_error);
  }
}

TEST(StreamIArchive, SaysWhatItRefuses) {
  try {
    readBack<std::string>(announcing(std::uint64_t{1} << 40));
    FAIL() << "accepted";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(),
                 "a text of announced length 1099511627776 is longer than memory or the stream can hold: the data is "
                 "damaged");
  }
}

TEST(StreamIArchive, SpendsNoMemoryOnAnAnnouncement) {
  for (const std::uint64_t count : {kBound + 1, std::uint64_t{1} << 40, std::uint64_t{1} << 57}) {
    const std::string bytes = announcing(count, "some bytes, but not as many");
    const AllocationMeter meter;
    EXPECT_THROW(readBack<std::string>(bytes), std::length_error);
    EXPECT_THROW(readBack<std::u16string>(bytes), std::length_error);
    EXPECT_LT(meter.peak(), kMiB) << count;
    EXPECT_THROW(readBack<std::vector<std::uint8_t>>(bytes), std::bad_alloc);
    EXPECT_LT(meter.peak(), kBound + kMiB) << count << ": address space may be reserved up to the bound";
  }
}

TEST(StreamIArchive, LeavesAListAtOnceWhenItsDataEnds) {
  const AllocationMeter meter;
  const auto begun = std::chrono::steady_clock::now();
  const auto list =
      readBack<std::vector<std::u16string>>(announcing(std::uint64_t{1} << 57, written(std::u16string(u"a"))));
  EXPECT_EQ(list, (std::vector<std::u16string>{u"a", u""}));
  EXPECT_LT(meter.peak(), kMiB);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
}

// --- Streams with habits of their own --------------------------------------------------------------------------------

class ThrowingBuffer : public std::streambuf {
 protected:
  std::streamsize xsgetn(char*, std::streamsize) override { throw std::runtime_error("line is dead"); }
  int_type underflow() override { throw std::runtime_error("line is dead"); }
};

TEST(StreamIArchive, KeepsABuffersExceptionAsAStreamDoes) {
  ThrowingBuffer buffer;
  for (const bool byArchive : {true, false}) {
    std::istream stream(&buffer);
    StreamIArchive archive(stream);
    std::uint32_t value = 7;
    char chars[4];
    const auto readBlock = [&] { byArchive ? void(archive >> value) : void(stream.read(chars, sizeof chars)); };
    const auto readByte = [&] { return byArchive ? archive.get() : stream.get(); };

    EXPECT_NO_THROW(readBlock());
    EXPECT_TRUE(stream.bad());
    if (byArchive) {
      EXPECT_EQ(value, 0U);
    }
    stream.clear();
    EXPECT_EQ(readByte(), -1);
    EXPECT_TRUE(stream.bad());

    stream.clear();
    stream.exceptions(std::ios::badbit);
    EXPECT_THROW(readBlock(), std::runtime_error);
    stream.clear();
    EXPECT_THROW(readByte(), std::runtime_error);
    EXPECT_TRUE(stream.bad());
  }
}

TEST(StreamIArchive, ThrowsTheStreamsFailureOnlyIfTheStreamIsSetTo) {
  std::istringstream stream("ab");
  stream.exceptions(std::ios::failbit);
  StreamIArchive archive(stream);
  std::uint32_t value = 7;
  EXPECT_THROW(archive >> value, std::ios_base::failure);
  stream.clear();
  EXPECT_THROW(archive.get(), std::ios_base::failure);
}

TEST(StreamIArchive, FlushesTheStreamThatIsTiedToItsOwn) {
  class Sync : public std::stringbuf {
   public:
    int syncs = 0;

   protected:
    int sync() override {
      ++syncs;
      return 0;
    }
  } prompt;
  std::ostream tied(&prompt);
  std::istringstream stream("abcde");
  stream.tie(&tied);
  StreamIArchive archive(stream);
  std::uint32_t value = 0;
  archive >> value;
  archive.get();
  EXPECT_EQ(prompt.syncs, 2);
  EXPECT_EQ(value, 0x64636261U);
}

}  // namespace
}  // namespace quillon::nimbo
