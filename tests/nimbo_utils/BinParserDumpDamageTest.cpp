#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "quillon/nimbo/BinEventReader.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializationException.h"
#include "support/AllocationMeter.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/LiteralDump.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Sanitizers.h"
#include "support/Saving.h"

/// Dump and event reader on streams that are damaged, hostile, or as deep as can be: a text or an exception, within
/// memory in proportion to the stream. The sanitizers look on.
namespace quillon::nimbo {
namespace {

using testsupport::HandmadeStream;

constexpr auto kDepth = static_cast<std::int64_t>(testsupport::kManyLevels);

/// Drops what goes to std::cerr while it lives: each failure prints its text.
class NoCerr {
 public:
  NoCerr() : fBefore(std::cerr.rdbuf(nullptr)) {}
  NoCerr(const NoCerr&) = delete;
  NoCerr& operator=(const NoCerr&) = delete;
  ~NoCerr() { std::cerr.rdbuf(fBefore), std::cerr.clear(); }

 private:
  std::streambuf* fBefore;
};

std::string dumped(const std::string& container) {
  std::istringstream stream(container);
  return BinParser().parseToJSON(stream);
}

/// The text, or the exception's text behind a "!".
template <class Dump>
std::string outcomeOf(const std::string& container, Dump dump) {
  try {
    return dump(container);
  } catch (const std::exception& failure) {
    return "!" + testsupport::withoutReaderLine(failure.what());
  }
}

/// True when the walk ended without an error. What it reported must have covered each byte it went over once.
bool isWalked(const std::string& container) {
  BinEventHandler nobody;
  try {
    BinEventReader(nobody).read(container);
    return true;
  } catch (const std::exception& failure) {
    EXPECT_STRNE(failure.what(), "");
    return false;
  }
}

std::vector<std::string> goodPayloads() {
  testsupport::moneySerializer();
  std::vector<std::string> payloads;
  const auto add = [&](const std::vector<tarn::kern::ModelElement>& roots) {
    const std::string container = testsupport::saved(roots);
    payloads.push_back(container.substr(1, container.size() - 9));
  };
  payloads.push_back(
      testsupport::fromAnnotatedHex(testsupport::documentedHex("docs/formats/binary.md", "worked-example"))
          .substr(1, 171));
  const auto references = testsupport::emptyModel();
  testsupport::fillReferences(references);
  add(references->getTopLevelElements());
  const auto lines = testsupport::emptyModel();
  testsupport::fillLines(lines, testsupport::newSample(lines, u"Box", 1));
  add(lines->getTopLevelElements());
  const auto everything = testsupport::emptyModel();
  testsupport::fillEverything(everything);
  add(everything->getTopLevelElements());
  return payloads;
}

TEST(BinParserDumpDamage, EndsOnEachCutStreamAsThePlainDumpDoes) {
  const NoCerr quiet;
  for (const std::string& payload : goodPayloads()) {
    for (std::size_t size = 0; size < payload.size(); ++size) {
      SCOPED_TRACE(size);
      const std::string container = "B" + payload.substr(0, size);
      const std::string outcome = outcomeOf(container, dumped);
      EXPECT_EQ(outcome.substr(0, 1), "!");
      EXPECT_EQ(outcome, outcomeOf(container, testsupport::dumpLiterally));
      EXPECT_FALSE(isWalked(container));
    }
  }
}

TEST(BinParserDumpDamage, SurvivesEachFlippedBit) {
  const NoCerr quiet;
  const testsupport::AllocationMeter meter;
  std::size_t texts = 0;
  std::size_t walks = 0;
  for (const std::string& payload : goodPayloads()) {
    std::string container = "B" + payload + std::string(8, '\0');
    for (std::size_t byte = 0; byte < container.size(); ++byte) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        const char before = container[byte];
        container[byte] = static_cast<char>(static_cast<unsigned char>(before) ^ (1U << bit));
        texts += outcomeOf(container, dumped).starts_with("!") ? 0 : 1;
        walks += isWalked(container) ? 1 : 0;
        container[byte] = before;
      }
    }
  }
  EXPECT_GT(texts, 1000U);  // flips in names, values and uuids
  EXPECT_GT(walks, 1000U);
  EXPECT_LT(meter.peak(), std::size_t{1} << 28U);  // stored text of up to 2^26 bytes that do not come is padded
}

TEST(BinParserDumpDamage, EndsOnEachFlippedBitOfASmallStreamAsThePlainDumpDoes) {
  const NoCerr quiet;
  std::string container = "B" + goodPayloads().front();
  for (std::size_t byte = 1; byte < container.size(); ++byte) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      const char before = container[byte];
      container[byte] = static_cast<char>(static_cast<unsigned char>(before) ^ (1U << bit));
      const std::string expected = outcomeOf(container, testsupport::dumpLiterally);
      // What the plain dump has no memory for fails there in its own way.
      if (!expected.starts_with("!more entries")) {
        EXPECT_EQ(outcomeOf(container, dumped), expected) << byte << " " << bit;
      }
      container[byte] = before;
    }
  }
}

TEST(BinParserDumpDamage, SurvivesEachFlippedBitOfCompressedStreams) {
  const NoCerr quiet;
  const std::string payload = goodPayloads()[1];
  for (std::string container : {testsupport::zlibContainer('Z', payload), testsupport::zstdContainer('z', payload)}) {
    for (std::size_t byte = 0; byte < container.size(); ++byte) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        if (byte == 3 && bit >= 4) continue;  // lengths of some MiB that do not come: another test's matter
        const char before = container[byte];
        container[byte] = static_cast<char>(static_cast<unsigned char>(before) ^ (1U << bit));
        static_cast<void>(outcomeOf(container, dumped));
        static_cast<void>(isWalked(container));
        container[byte] = before;
      }
    }
  }
}

// --- Claims without bytes behind them.

HandmadeStream openRoot() { return HandmadeStream().root().newElement(1, 1, u"x.T", 1).full(); }

TEST(BinParserDumpHostile, BelievesNoCount) {
  const NoCerr quiet;
  constexpr std::uint64_t kHuge = std::uint64_t{1} << 60U;
  for (const char tag : std::string("mrenSsiIjJcClLdbUDMN")) {
    SCOPED_TRACE(tag);
    const testsupport::AllocationMeter meter;
    const std::string container = openRoot().newProperty(1, u"p").tag('[').tag(tag).count(kHuge).container();
    EXPECT_TRUE(outcomeOf(container, dumped).starts_with("!"));
    EXPECT_FALSE(isWalked(container));
    EXPECT_LT(meter.peak(), std::size_t{1} << 20U);
  }
  const std::string map = openRoot().newProperty(1, u"p").tag('M').count(kHuge).container();
  EXPECT_TRUE(outcomeOf(map, dumped).starts_with("!"));
  EXPECT_FALSE(isWalked(map));
  const std::string packages = "B" + HandmadeStream().count(kHuge).payload().substr(8);
  EXPECT_TRUE(outcomeOf(packages, dumped).starts_with("!"));
  EXPECT_FALSE(isWalked(packages));
}

TEST(BinParserDumpHostile, BelievesNoLengthOfAText) {
  const NoCerr quiet;
  for (const std::uint64_t length : {std::uint64_t{1} << 25U, std::uint64_t{1} << 40U, ~std::uint64_t{0}}) {
    const testsupport::AllocationMeter meter;
    const std::string container = openRoot().newProperty(1, u"p").tag('S').count(length).raw("abcd").container();
    EXPECT_TRUE(outcomeOf(container, dumped).starts_with("!")) << length;
    EXPECT_FALSE(isWalked(container));
    EXPECT_LT(meter.peak(), std::size_t{1} << 20U);
  }
}

TEST(BinParserDumpHostile, TakesSomeAbsentEntriesAndNotAnyNumber) {
  const auto absent = [](std::uint64_t count) {
    return openRoot().newProperty(1, u"p").tag('[').tag('n').count(count).noMore().end().container();
  };
  constexpr std::uint64_t kMost = std::uint64_t{1} << 20U;
  EXPECT_NE(dumped(absent(kMost)), "");
  EXPECT_THROW(static_cast<void>(dumped(absent(kMost + 1))), std::length_error);
  HandmadeStream often = openRoot().newProperty(1, u"p").tag('[').tag('n').count(600'000);
  often.id(-1).tag('[').tag('n').count(600'000).noMore().end();
  EXPECT_THROW(static_cast<void>(dumped(often.container())), std::length_error);
  EXPECT_FALSE(isWalked(often.container()));
}

TEST(BinParserDumpHostile, WritesALongNameAsOftenAsItIsMeant) {
  HandmadeStream stream;
  stream.root().newElement(1, 1, std::u16string(10'000, u'n'), 1).reference();
  for (int time = 0; time < 500; ++time) stream.root().id(-1).reference();
  const std::string text = dumped(stream.end().container());
  EXPECT_EQ(text.size(), 501U * (10'000U + 57U) + 500U + 47U);
}

// --- Depth.

std::string repeated(const std::string& bytes, std::int64_t times) {
  std::string all;
  for (std::int64_t time = 0; time < times; ++time) all += bytes;
  return all;
}

std::string pieces(const HandmadeStream& stream) { return stream.payload().substr(8); }

/// Elements inside of each other, each with a property in front of the next one and one behind it.
std::string deepElements() {
  std::string bytes = HandmadeStream()
                          .root()
                          .newElement(1, 1, u"T", 1)
                          .full()
                          .newProperty(1, u"z")
                          .tag('n')
                          .newProperty(2, u"c")
                          .tag('m')
                          .container();
  std::string record = pieces(HandmadeStream().newElement(2, -1, 1).full().id(-1).tag('n').id(-2).tag('m'));
  bytes.reserve(record.size() * static_cast<std::size_t>(kDepth));
  for (std::int64_t number = 2; number <= kDepth; ++number) {
    std::memcpy(record.data(), &number, sizeof number);  // its id comes first
    bytes += record;
  }
  return bytes + std::string(8, '\0') +
         repeated(pieces(HandmadeStream().newProperty(3, u"a").tag('n').noMore()), kDepth) + "n";
}

TEST(BinParserDumpDeep, WritesElementsInsideEachOtherWithSortedKeys) {
  const std::string text = dumped(deepElements());
  const std::string id = "00000000-0000-0000-0000-000000000001";
  const std::string expected = R"({"entries":[)" + repeated(R"({"content":{"a":null,"c":)", kDepth) + "null" +
                               repeated(R"(,"z":null},"type":"T","uuid":")" + id + "\"}", kDepth) +
                               R"(],"packageUris":[],"version":"1.0"})";
  EXPECT_TRUE(text == expected);  // without printing both
}

std::string deepData() {
  return HandmadeStream()
             .root()
             .newElement(1, 1, u"T", 1)
             .full()
             .newProperty(1, u"d")
             .tag('r')
             .newType(2, u"D")
             .container() +
         repeated(pieces(HandmadeStream().id(-1).tag('[').tag('r').count(1).id(-2)), kDepth - 1);
}

TEST(BinParserDumpDeep, WritesDataValuesInsideEachOther) {
  const std::string text = dumped(deepData() + repeated(std::string(8, '\0'), kDepth + 1) + "n");
  const std::string expected = R"({"entries":[{"content":{"d":)" + repeated(R"({"content":{"d":[)", kDepth - 1) +
                               R"({"content":null,"type":"D"})" + repeated(R"(]},"type":"D"})", kDepth - 1) +
                               R"(},"type":"T","uuid":"00000000-0000-0000-0000-000000000001"}],"packageUris":[],)" +
                               R"("version":"1.0"})";
  EXPECT_TRUE(text == expected);
}

TEST(BinParserDumpDeep, ComesBackUpWithAnException) {
  const NoCerr quiet;
  EXPECT_EQ(outcomeOf(deepData() + pieces(HandmadeStream().id(-9)), dumped),
            "!" + testsupport::failedCheck("definition != nullptr"));
  EXPECT_FALSE(isWalked(deepData()));
}

struct DepthHandler : BinEventHandler {
  void beginElement(const ElementEvent&) override { ++depth, deepest = std::max(deepest, depth); }
  void endElement(const ElementEndEvent&) override { --depth; }
  std::int64_t depth = 0;
  std::int64_t deepest = 0;
};

TEST(BinParserDumpDeep, IsWalkedEventByEvent) {
  DepthHandler handler;
  BinEventReader(handler).read(deepElements() + std::string(8, '\0'));
  EXPECT_EQ(handler.deepest, kDepth);
  EXPECT_EQ(handler.depth, 0);
}

}  // namespace
}  // namespace quillon::nimbo
