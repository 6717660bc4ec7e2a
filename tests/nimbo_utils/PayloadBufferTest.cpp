#include <ostream>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "PayloadBuffer.h"

namespace {

using quillon::nimbo::PayloadBuffer;

class PayloadBufferTest : public testing::Test {
 protected:
  [[nodiscard]] std::string text() const { return std::string(fBuffer.bytes()); }

  PayloadBuffer fBuffer;
  std::ostream fStream{&fBuffer};
};

TEST_F(PayloadBufferTest, IsEmptyAtFirst) {
  EXPECT_EQ(text(), "");
  EXPECT_EQ(fStream.tellp(), std::streampos(0));
  fStream.write("", 0);
  EXPECT_EQ(text(), "");
}

TEST_F(PayloadBufferTest, HoldsWhatIsWritten) {
  fStream.put('a');
  fStream.write("bc", 2);
  fStream << 12;
  EXPECT_EQ(text(), "abc12");
  EXPECT_EQ(fStream.tellp(), std::streampos(5));
}

TEST_F(PayloadBufferTest, GrowsAcrossItsFirstCapacity) {
  std::string expected;
  for (int i = 0; i < 200'000; ++i) {
    fStream.put(static_cast<char>(i));
    expected.push_back(static_cast<char>(i));
  }
  const std::string piece(300'000, 'x');
  fStream.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  EXPECT_TRUE(text() == expected + piece);
}

TEST_F(PayloadBufferTest, LetsAWriterGoBackAndPatch) {
  fStream << "head....tail";
  fStream.seekp(4);
  fStream << "1234";
  EXPECT_EQ(text(), "head1234tail");
  fStream.seekp(0, std::ios_base::end);
  fStream << "!";
  EXPECT_EQ(text(), "head1234tail!");
  EXPECT_EQ(fStream.tellp(), std::streampos(13));
}

TEST_F(PayloadBufferTest, RefusesToLeaveWhatIsWritten) {
  fStream << "ab";
  EXPECT_FALSE(fStream.seekp(3));
  fStream.clear();
  EXPECT_FALSE(fStream.seekp(-1, std::ios_base::beg));
  fStream.clear();
  fStream << "c";
  EXPECT_EQ(text(), "abc");
}

TEST_F(PayloadBufferTest, SeeksForWritingOnly) {
  fStream << "ab";
  EXPECT_EQ(fBuffer.pubseekoff(0, std::ios_base::beg, std::ios_base::in), std::streampos(-1));
  EXPECT_EQ(fBuffer.pubseekpos(1, std::ios_base::in), std::streampos(-1));
  fStream << "c";
  EXPECT_EQ(text(), "abc");
}

/// What streams that derive from a buffer may call. The pointer is one to the base's member and works on all of them.
class Overflow : public std::streambuf {
 public:
  Overflow() = delete;
  static int_type of(std::streambuf& buffer, int_type byte) { return (buffer.*&Overflow::overflow)(byte); }
};

TEST_F(PayloadBufferTest, TakesAnEndOfFileForNothingToWrite) {
  constexpr auto kEof = std::char_traits<char>::eof();
  EXPECT_NE(Overflow::of(fBuffer, kEof), kEof);
  EXPECT_EQ(text(), "");
  EXPECT_EQ(Overflow::of(fBuffer, 'a'), 'a');
  EXPECT_NE(Overflow::of(fBuffer, kEof), kEof);
  EXPECT_EQ(text(), "a");
}

TEST_F(PayloadBufferTest, AgreesWithAStringStream) {
  std::ostringstream expected;
  std::mt19937 random(1);
  for (int step = 0; step < 20'000; ++step) {
    if (random() % 50 == 0 && !expected.str().empty()) {
      const auto place = static_cast<std::streamoff>(random() % expected.str().size());
      expected.seekp(place);
      fStream.seekp(place);
    } else {
      const std::string piece(random() % 40, static_cast<char>('a' + random() % 26));
      expected << piece;
      fStream << piece;
    }
    ASSERT_EQ(fStream.tellp(), expected.tellp());
  }
  EXPECT_TRUE(text() == expected.str());
}

}  // namespace
