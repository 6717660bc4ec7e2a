#include <stdexcept>
#include <string>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "support/AnnotatedHex.h"

namespace testsupport {
namespace {

TEST(AnnotatedHex, ReadsBytesAndPassesOverRemarks) {
  EXPECT_EQ(fromAnnotatedHex("41 42  # AB, not cd\n# only a remark\n\n4344"), "ABCD");
  EXPECT_EQ(fromAnnotatedHex("fF 00"), std::string("\xFF\0", 2));
  EXPECT_EQ(fromAnnotatedHex(""), "");
}

TEST(AnnotatedHex, RefusesWhatIsNoHex) {
  EXPECT_THROW(fromAnnotatedHex("4"), std::invalid_argument);
  EXPECT_THROW(fromAnnotatedHex("4 1"), std::invalid_argument);
  EXPECT_THROW(fromAnnotatedHex("41 4x"), std::invalid_argument);
  EXPECT_THROW(fromAnnotatedHex("zz"), std::invalid_argument);
}

TEST(AnnotatedHex, ShowsTheLineThatDiffers) {
  EXPECT_NONFATAL_FAILURE(EXPECT_BYTES(std::string("ABXD"), "41 # one\n42 43 # two\n44 # three"),
                          "differs at offset 2, in the line of offset 1:\n"
                          "  expected  42 43   # two\n"
                          "  found     42 58\n"
                          "  whole     41 42 58 44");
}

TEST(AnnotatedHex, ShowsBytesThatAreMissingOrTooMany) {
  EXPECT_NONFATAL_FAILURE(EXPECT_BYTES(std::string("A"), "41 # one\n42 # two"), "differs at offset 1, in the line of");
  EXPECT_NONFATAL_FAILURE(EXPECT_BYTES(std::string("ABC"), "41 # one"), "has 2 bytes behind the expected 1:\n  42 43");
  EXPECT_NONFATAL_FAILURE(EXPECT_BYTES(std::string("A"), ""), "has 1 bytes behind the expected 0:\n  41");
  EXPECT_BYTES(std::string(), "# nothing");
}

TEST(AnnotatedHex, RefusesABlockThatADocumentLacks) {
  EXPECT_THROW(documentedHex("docs/formats/binary.md", "no-such-block"), std::runtime_error);
  EXPECT_THROW(documentedHex("docs/no-such-file.md", "worked-example"), std::runtime_error);
}

}  // namespace
}  // namespace testsupport
