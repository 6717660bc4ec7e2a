#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <boost/uuid/uuid.hpp>

#include "StagedOutput.h"
#include "support/AnnotatedHex.h"

namespace {

using quillon::nimbo::StagedOutput;
using quillon::nimbo::StreamOArchive;

class StagedOutputTest : public testing::Test {
 protected:
  std::ostringstream fStream;
  StreamOArchive fArchive{fStream};
  StagedOutput fOut{fArchive};
};

TEST_F(StagedOutputTest, WritesTheBytesOfTheArchive) {
  boost::uuids::uuid uuid{};
  uuid.data[0] = 0xAB;
  fOut.put('m');
  fOut.write(std::int8_t{-1});
  fOut.write(std::uint16_t{0x0102});
  fOut.write(std::int32_t{-2});
  fOut.write(std::uint64_t{3});
  fOut.write(1.0);
  fOut.write(true);
  fOut.write(false);
  fOut.write(uuid);
  fOut.write(std::u16string(u"a\u00e9"));
  fOut.write(std::string("xyz"));
  fOut.flush();
  EXPECT_BYTES(fStream.str(), R"(
    6d
    ff
    02 01
    fe ff ff ff
    03 00 00 00 00 00 00 00
    00 00 00 00 00 00 f0 3f
    54
    46
    ab 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
    02 00 00 00 00 00 00 00  61 00 e9 00
    03 00 00 00 00 00 00 00  78 79 7a
  )");
}

TEST_F(StagedOutputTest, WritesSeveralValuesAtOnce) {
  fOut.write(std::int64_t{-2}, 'm');
  fOut.writeAll(std::vector<std::int16_t>{1, 2});
  fOut.writeAll(std::vector<double>());
  fOut.flush();
  EXPECT_BYTES(fStream.str(), R"(
    fe ff ff ff ff ff ff ff  6d
    01 00  02 00
  )");
}

TEST_F(StagedOutputTest, HoldsBytesBackUntilTheyAreFlushed) {
  fOut.write(std::int64_t{1});
  EXPECT_EQ(fStream.str().size(), 0U);
  fOut.flush();
  EXPECT_EQ(fStream.str().size(), 8U);
  fOut.flush();
  EXPECT_EQ(fStream.str().size(), 8U);
}

TEST_F(StagedOutputTest, KeepsTheOrderWhenItsBufferRunsFull) {
  std::string expected;
  for (int i = 0; i < 100'000; ++i) {
    fOut.write(std::int32_t{i});
    expected.append(reinterpret_cast<const char*>(&i), sizeof i);
  }
  fOut.flush();
  EXPECT_TRUE(fStream.str() == expected);
}

TEST_F(StagedOutputTest, PassesTextsOfAnyLengthOn) {
  for (const std::size_t size : {0U, 1U, 65'527U, 65'528U, 65'536U, 65'537U, 1'000'000U}) {
    fStream.str({});
    const std::string text(size, 'x');
    fOut.put('<');
    fOut.write(text);
    fOut.put('>');
    fOut.flush();
    const std::string bytes = fStream.str();
    ASSERT_EQ(bytes.size(), size + 10);
    EXPECT_EQ(bytes.front(), '<');
    EXPECT_TRUE(bytes.substr(9, size) == text);
    EXPECT_EQ(bytes.back(), '>');
  }
}

TEST_F(StagedOutputTest, IgnoresAFailedStreamAsTheArchiveDoes) {
  fStream.setstate(std::ios_base::badbit);
  fOut.put('x');
  fOut.flush();
  EXPECT_EQ(fStream.str(), "");
}

TEST_F(StagedOutputTest, DoesNotOfferBytesTwiceWhenTheStreamThrows) {
  fOut.put('x');
  fStream.setstate(std::ios_base::badbit);
  EXPECT_THROW(fStream.exceptions(std::ios_base::badbit), std::ios_base::failure);
  EXPECT_THROW(fOut.flush(), std::ios_base::failure);
  EXPECT_NO_THROW(fOut.flush());
}

}  // namespace
