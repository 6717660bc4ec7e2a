#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ControlFile.h"
#include "TestSupport.h"

namespace debian_packages {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

std::string refusal(const std::string& text) {
  return messageOf<ReadError>([&] { stanzasOf(text); });
}

TEST(ControlReader, FindsNoStanzaInAnEmptyFile) {
  EXPECT_THAT(stanzasOf(""), IsEmpty());
  EXPECT_THAT(stanzasOf("\n\n\n"), IsEmpty());
}

TEST(ControlReader, ReadsStanzasWithTheirFieldsInOrder) {
  const auto stanzas = stanzasOf("\n\nb: 1\na:2\n\n\n\nc \t: 3 \t\n");
  ASSERT_THAT(stanzas, SizeIs(2));
  EXPECT_EQ(stanzas[0].line, 3u);
  ASSERT_THAT(stanzas[0].fields, SizeIs(2));
  EXPECT_EQ(stanzas[0].fields[0].name, "b");
  EXPECT_EQ(stanzas[0].fields[0].value, "1");
  EXPECT_EQ(stanzas[0].fields[1].name, "a");
  EXPECT_EQ(stanzas[0].fields[1].value, "2");
  EXPECT_EQ(stanzas[0].fields[1].line, 4u);
  EXPECT_EQ(stanzas[1].line, 8u);
  ASSERT_THAT(stanzas[1].fields, SizeIs(1));
  EXPECT_EQ(stanzas[1].fields[0].name, "c");
  EXPECT_EQ(stanzas[1].fields[0].value, "3");
}

TEST(ControlReader, JoinsContinuationLinesAsTheyStand) {
  const auto stanzas = stanzasOf("d: one \n  two\n .\n\tthree\nempty:\nlist:\n x\n");
  ASSERT_THAT(stanzas, SizeIs(1));
  EXPECT_EQ(stanzas[0].find("d")->value, "one \n  two\n .\n\tthree");
  EXPECT_EQ(stanzas[0].find("empty")->value, "");
  EXPECT_EQ(stanzas[0].find("list")->value, "\n x");
}

TEST(ControlReader, KeepsBlankContinuationLinesInsideAValue) {
  const auto stanzas = stanzasOf("d: one\n   \n two\n \nnext: 1\n");
  ASSERT_THAT(stanzas, SizeIs(1));
  EXPECT_EQ(stanzas[0].find("d")->value, "one\n   \n two");
  EXPECT_EQ(stanzas[0].find("next")->value, "1");
}

TEST(ControlReader, TakesAnyByteInAValue) {
  const std::string value = std::string("\xff\x00\x1a\xc3", 4) + ": x";
  const auto stanzas = stanzasOf("d: " + value + "\n");
  ASSERT_THAT(stanzas, SizeIs(1));
  EXPECT_EQ(stanzas[0].find("d")->value, value);
}

TEST(ControlReader, FindsFieldsInAnyCase) {
  const auto stanzas = stanzasOf("Multi-Arch: same\n");
  ASSERT_THAT(stanzas, SizeIs(1));
  EXPECT_EQ(stanzas[0].find("multi-ARCH")->value, "same");
  EXPECT_EQ(stanzas[0].find("multi"), nullptr);
}

TEST(ControlReader, RefusesWhatIsNoFieldAndSaysWhere) {
  EXPECT_EQ(refusal("a: 1\nb\n"), "given:2: field name 'b' must be followed by colon");
  EXPECT_EQ(refusal("a: 1\nb c: d\n"), "given:2: field name 'b' must be followed by colon");
  EXPECT_EQ(refusal("# a comment: 1\n"), "given:1: field name '#' must be followed by colon");
  EXPECT_EQ(refusal("a: 1\n: v\n"), "given:2: empty field name");
  EXPECT_EQ(refusal("\n a: 1\n"), "given:2: a continuation line without a field before it");
  EXPECT_EQ(refusal("a: 1\n\n b\n"), "given:3: a continuation line without a field before it");
  EXPECT_EQ(refusal("Foo: 1\nb: 2\nfoo: 3\n"), "given:3: duplicate value for 'foo' field");
  EXPECT_EQ(refusal("a: 1\n\nb: 2"), "given:3: the last line lacks its end, so the file may have been cut short");
}

TEST(ControlReader, AllowsAFieldAgainInTheNextStanza) { EXPECT_THAT(stanzasOf("a: 1\n\na: 2\n"), SizeIs(2)); }

TEST(ControlReader, ReportsAStreamThatFails) {
  struct Failing : std::streambuf {
    int_type underflow() override {
      if (fServed) throw std::runtime_error("disk");
      fServed = true;
      setg(fText, fText, fText + 5);
      return 'a';
    }
    bool fServed = false;
    char fText[6] = "a: 1\n";
  } buffer;
  std::istream in(&buffer);
  ControlReader reader(in, "given");
  Stanza stanza;
  EXPECT_EQ(messageOf<ReadError>([&] { reader.next(stanza); }), "given: reading failed behind line 1");
}

TEST(ControlReader, SurvivesEveryTruncationAndRubbish) {
  const std::string text = "Package: a\nD: one\n two\n\nPackage : b\nE:\n x\n";
  for (std::size_t length = 0; length < text.size(); ++length) {
    const std::string cut = text.substr(0, length);
    if (cut.empty() || cut.back() == '\n') {
      EXPECT_NO_THROW(stanzasOf(cut)) << length;
    } else {
      EXPECT_THROW(stanzasOf(cut), ReadError) << length;
    }
  }
  std::mt19937 engine(1);
  std::size_t refused = 0;
  for (int round = 0; round < 2000; ++round) {
    std::string rubbish = text;
    for (int i = 0; i < 3; ++i) rubbish[engine() % rubbish.size()] = static_cast<char>(engine() % 256);
    try {
      stanzasOf(rubbish);
    } catch (const ReadError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 0u);
  EXPECT_LT(refused, 2000u);
}

TEST(ControlReader, ReadsAStanzaOfManyFieldsInLinearTime) {
  std::string text;
  constexpr int kFields = 200000;
  for (int i = 0; i < kFields; ++i) text += "Field-" + std::to_string(i) + ": x\n";
  const auto stanzas = stanzasOf(text);
  ASSERT_THAT(stanzas, SizeIs(1));
  EXPECT_THAT(stanzas[0].fields, SizeIs(kFields));
}

}  // namespace
}  // namespace debian_packages
