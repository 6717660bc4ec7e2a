#include <istream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "MemoryStreamBuf.h"

namespace quillon::nimbo {
namespace {

TEST(MemoryStreamBuf, GivesTheBytesAsTheyAre) {
  const std::string bytes("a\0\xFF z", 5);
  MemoryStreamBuf buffer(bytes);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(&buffer), {}), bytes);
}

TEST(MemoryStreamBuf, EndsWhereTheBytesEnd) {
  MemoryStreamBuf buffer("ab");
  std::istream stream(&buffer);
  EXPECT_EQ(stream.get(), 'a');
  EXPECT_EQ(stream.get(), 'b');
  EXPECT_EQ(stream.get(), -1);
  EXPECT_TRUE(stream.eof());
}

TEST(MemoryStreamBuf, MayBeEmpty) {
  MemoryStreamBuf buffer("");
  std::istream stream(&buffer);
  EXPECT_EQ(stream.get(), -1);
}

TEST(MemoryStreamBuf, TellsAndSeeksAsAStringStreamDoes) {
  MemoryStreamBuf buffer("0123456789");
  std::istream stream(&buffer);
  EXPECT_EQ(stream.tellg(), 0);
  stream.seekg(4);
  EXPECT_EQ(stream.get(), '4');
  stream.seekg(2, std::ios_base::cur);
  EXPECT_EQ(stream.get(), '7');
  stream.seekg(-1, std::ios_base::end);
  EXPECT_EQ(stream.get(), '9');
  EXPECT_EQ(stream.tellg(), 10);
}

TEST(MemoryStreamBuf, RefusesToSeekOutsideOrForWriting) {
  MemoryStreamBuf buffer("0123");
  EXPECT_EQ(buffer.pubseekoff(5, std::ios_base::beg, std::ios_base::in), std::streambuf::pos_type(-1));
  EXPECT_EQ(buffer.pubseekoff(-1, std::ios_base::beg, std::ios_base::in), std::streambuf::pos_type(-1));
  EXPECT_EQ(buffer.pubseekpos(0, std::ios_base::out), std::streambuf::pos_type(-1));
  EXPECT_EQ(buffer.sgetc(), '0');
}

}  // namespace
}  // namespace quillon::nimbo
