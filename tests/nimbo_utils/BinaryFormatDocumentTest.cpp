// docs/formats/binary.md shows a container byte by byte; these tests hold the document to its word.
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "quillon/nimbo/StreamOArchive.h"
#include "support/AnnotatedHex.h"

namespace quillon::nimbo {
namespace {

const boost::uuids::uuid kNodeUuid{
    {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

std::string documented(const std::string& name) { return testsupport::documentedHex("docs/formats/binary.md", name); }

TEST(BinaryFormatDocument, ShowsAnExampleThatFollowsItsOwnRules) {
  std::ostringstream stream;
  StreamOArchive archive(stream);
  archive.put('B') << std::vector<std::u16string>{u"urn:demo"};
  archive.put('m') << std::int64_t{1};
  archive << std::int64_t{1} << std::u16string(u"demo.Node") << kNodeUuid << true;
  archive << std::int64_t{1} << std::u16string(u"count");
  archive.put('i') << std::int32_t{7};
  archive << std::int64_t{2} << std::u16string(u"label");
  archive.put('S') << std::u16string(u"ab");
  archive << std::int64_t{0};
  archive.put('n') << std::uint64_t{0};
  EXPECT_EQ(stream.str().size(), 180U);
  EXPECT_BYTES(stream.str(), documented("worked-example"));
}

TEST(BinaryFormatDocument, ShowsTheSmallestContainer) {
  std::ostringstream stream;
  StreamOArchive archive(stream);
  archive.put('B') << std::vector<std::u16string>();
  archive.put('n') << std::uint64_t{0};
  EXPECT_EQ(stream.str().size(), 18U);
  EXPECT_BYTES(stream.str(), documented("empty-container"));
}

}  // namespace
}  // namespace quillon::nimbo
