#include <chrono>
#include <cstdint>
#include <functional>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillon/nimbo/BinParser.h"
#include "support/AllocationMeter.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/ReaderMetaModel.h"

/// Bytes made to do harm: what they claim costs nothing, what they bring is refused by name.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using testsupport::elementOf;
using testsupport::failedCheck;
using testsupport::failureOfLoading;
using testsupport::fromAnnotatedHex;
using testsupport::HandmadeStream;
using testsupport::loaded;

constexpr std::uint64_t kHuge = std::uint64_t{1} << 60U;
constexpr std::size_t kMiB = 1024 * 1024;

// Streams are laid out record by record.
// clang-format off

HandmadeStream stream() {
  testsupport::sampleMetaModel();
  testsupport::registerReaderMetaModel();
  testsupport::moneySerializer();
  return HandmadeStream();
}

HandmadeStream rootOf(const std::u16string& className) { return stream().root().newElement(1, 1, className, 1).full(); }

HandmadeStream box() { return rootOf(u"sample.Box"); }

/// Runs `action`, which must take neither long nor more memory than given. The limits are far above what is needed and
/// far below what the claims in the bytes would cost.
template <class Action>
void expectCheap(Action action, std::size_t mostBytes = kMiB) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const testsupport::AllocationMeter meter;
  action();
  EXPECT_LT(meter.peak(), mostBytes);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
}

// --- Ids.

TEST(BinParserHostile, TakesHugePositiveIdsAtTheCostOfSmallOnes) {
  const std::string bytes = stream().root().newElement(INT64_MAX, INT64_MAX, u"sample.Box", 1).full()
      .newProperty(INT64_MAX, u"link").tag('m').id(-INT64_MAX).reference()
      .newProperty(INT64_MAX - 7, u"content").tag('m').newElement(std::int64_t{1} << 40U, -INT64_MAX, 2).full()
      .id(-INT64_MAX).tag('m').id(-(std::int64_t{1} << 40U)).reference().noMore().noMore()
      .root().newElement(3, 5, u"sample.RequiredColor", 3).full()
      .newProperty(9, u"value").tag('e').id(INT64_MAX).text(u"blue")
      .id(-9).tag('e').id(-INT64_MAX).noMore().end().container();
  expectCheap([&bytes] {
    const Model model = loaded(bytes);
    EXPECT_EQ(elementOf(model, 2)->get<kern::ModelElement>(u"link"), elementOf(model, 2));
    EXPECT_EQ(elementOf(model, 2)->container(), elementOf(model, 1));
    EXPECT_EQ(elementOf(model, 3)->get<std::int64_t>(u"value"), 7);
  });
}

TEST(BinParserHostile, TakesManyHugeIdsInProportionToTheBytes) {
  HandmadeStream bytes = box().newProperty(1, u"links").tag('[').tag('m').count(20'000);
  for (std::int64_t number = 0; number < 20'000; ++number) {
    boost::uuids::uuid uuid = testsupport::uuidEndingIn(2);
    uuid.data[0] = static_cast<std::uint8_t>(number);
    uuid.data[1] = static_cast<std::uint8_t>(number >> 8U);
    bytes.id(INT64_MAX - number * 1'000'003).id(-1).append(uuid).reference();
  }
  expectCheap([&] { EXPECT_EQ(loaded(bytes.noMore().end().container())->getElementCount(), 1U); }, 64 * kMiB);
}

TEST(BinParserHostile, SurvivesThatAnIdIsDefinedAgainWhileWhatItStoodForIsBeingRead) {
  // The property 1 and the element 1 mean something else by the time the child comes to its place.
  const Model model = loaded(box().newProperty(1, u"content").tag('m').newElement(2, -1, 2).full()
      .newProperty(1, u"name").tag('S').text(u"inner")
      .newProperty(2, u"link").tag('m').newElement(1, -1, 3).full()
      .id(-1).tag('S').text(u"other").noMore().noMore()
      .id(-1).tag('S').text(u"outer").noMore().end().container());
  EXPECT_EQ(elementOf(model, 2)->container(), elementOf(model, 1));
  EXPECT_EQ(elementOf(model, 1)->get<std::u16string>(u"name"), u"outer");
  EXPECT_EQ(elementOf(model, 2)->get<kern::ModelElement>(u"link"), elementOf(model, 3));
  EXPECT_EQ(elementOf(model, 3)->get<std::u16string>(u"name"), u"other");
}

// --- Counts that claim more than there is.

struct Counted {
  const char* what;
  HandmadeStream upToCount;
  std::string items;  ///< two, of which a cut leaves one and a half
};

std::vector<Counted> countedThings() {
  const std::string text = HandmadeStream().text(u"ab").payload().substr(8);
  const std::string box2 = HandmadeStream().newElement(2, -1, 2).full().noMore().payload().substr(8);
  const std::string box3 = HandmadeStream().newElement(3, -1, 3).full().noMore().payload().substr(8);
  const std::string blue = HandmadeStream().id(1).text(u"blue").payload().substr(8);
  const std::string known = HandmadeStream().id(-1).payload().substr(8);
  const std::string point = HandmadeStream().newType(2, u"sample.Point").noMore().payload().substr(8);
  const std::string money = HandmadeStream().newType(2, u"sample.Money").append(std::int64_t{5}).payload().substr(8);
  const std::string time = HandmadeStream().text(u"not-a-date-time").payload().substr(8);
  const auto many = [](const std::u16string& className, char entryTag) {
    return rootOf(className).newProperty(1, u"value").tag('[').tag(entryTag);
  };
  return {
      {"parts", box().newProperty(1, u"parts").tag('[').tag('m'), box2 + box3},
      {"links", box().newProperty(1, u"links").tag('[').tag('m'), box2 + box3},
      {"a map", rootOf(u"reading.Noted").newProperty(1, u"notes").tag('M'), text + text + text + text},
      {"numbers", many(u"sample.ManyInteger", 'i'), "12345678"},
      {"bytes", many(u"sample.ManyUInteger8", 'C'), "12"},
      {"uuids", many(u"sample.ManyUUID", 'U'), std::string(32, 'u')},
      {"texts", many(u"sample.ManyString", 'S'), text + text},
      {"strings", many(u"sample.ManyStdString", 's'), HandmadeStream().append(std::string("ab")).payload().substr(8)},
      {"booleans", many(u"sample.ManyBoolean", 'b'), "TF"},
      {"times", many(u"sample.ManyDateTime", 'D'), time + time},
      {"generic numbers", many(u"sample.GenericInteger", 'i'), "12345678"},
      {"literals", many(u"sample.ManyColor", 'e'), blue + known},
      {"numbers for literals", many(u"sample.ManyColor", 'l'), std::string(16, '\1')},
      {"structured values", many(u"sample.ManyPoint", 'r'), point + point},
      {"custom values", many(u"sample.ManyMoney", 'N'), money + money},
      {"entries of a foreign tag", many(u"sample.ManyInteger", 'l'), std::string(16, '\1')},
      {"entries of no tag", many(u"sample.ManyInteger", '?'), "12"},
  };
}

std::string outcomeOf(const std::string& container) {
  const testsupport::CerrCapture quiet;
  const Model model = testsupport::emptyModel();
  try {
    testsupport::loadInto(model, container);
    return "no exception";
  } catch (const std::exception& failure) {
    EXPECT_EQ(model->getElementCount(), 0U);
    return testsupport::withoutReaderLine(failure.what());
  }
}

TEST(BinParserHostile, EndsHugeCountsAsItEndsSmallOnesThatAreNotThere) {
  for (const Counted& thing : countedThings()) {
    SCOPED_TRACE(thing.what);
    for (std::size_t size = 0; size <= thing.items.size(); ++size) {
      const std::string cut = thing.items.substr(0, size);
      const auto with = [&](std::uint64_t count) {
        return HandmadeStream(thing.upToCount).count(count).raw(cut).container();
      };
      const std::string expected = outcomeOf(with(4));
      EXPECT_NE(expected, "no exception");
      expectCheap([&] { EXPECT_EQ(outcomeOf(with(kHuge)), expected) << size << " bytes"; });
      expectCheap([&] { EXPECT_EQ(outcomeOf(with(UINT64_MAX)), expected) << size << " bytes"; });
    }
  }
}

TEST(BinParserHostile, EndsACountThatIsCutItself) {
  for (const Counted& thing : countedThings()) {
    for (int bytes = 0; bytes < 8; ++bytes) {
      expectCheap([&] {
        EXPECT_NE(
            outcomeOf(
                HandmadeStream(thing.upToCount).raw(std::string(static_cast<std::size_t>(bytes), '\xff')).container()),
            "no exception");
      });
    }
  }
}

TEST(BinParserHostile, EndsAHugeListOfPackageUris) {
  const auto uris = [](std::uint64_t count) {
    return "B" + HandmadeStream().count(count).text(u"urn:x").payload().substr(8);
  };
  const std::string expected = failedCheck("t == SerializationTag::MODEL_ELEMENT");
  expectCheap([&] { EXPECT_EQ(failureOfLoading(uris(std::uint64_t{1} << 50U)), expected); });
  expectCheap([&] { EXPECT_THROW(loaded(uris(UINT64_MAX)), std::length_error); });
}

TEST(BinParserHostile, EndsHugeCountsFromAFileWithItsSmallGetAreaToo) {
  class OneByteBuf : public std::streambuf {
   public:
    explicit OneByteBuf(std::string bytes) : fBytes(std::move(bytes)) {}

   protected:
    int_type underflow() override {
      if (fNext == fBytes.size()) return traits_type::eof();
      setg(&fBytes[fNext], &fBytes[fNext], &fBytes[fNext] + 1);
      ++fNext;
      return traits_type::to_int_type(*gptr());
    }

   private:
    std::string fBytes;
    std::size_t fNext = 0;
  };
  for (const Counted& thing : countedThings()) {
    SCOPED_TRACE(thing.what);
    const auto with = [&](std::uint64_t count) {
      return HandmadeStream(thing.upToCount).count(count).raw(thing.items).container();
    };
    expectCheap([&] {
      OneByteBuf buffer(with(kHuge));
      std::istream input(&buffer);
      BinParser parser;
      const testsupport::CerrCapture quiet;
      try {
        parser.parse(input);
        ADD_FAILURE() << "read as if whole";
      } catch (const std::exception& failure) {
        EXPECT_EQ(testsupport::withoutReaderLine(failure.what()), outcomeOf(with(4)));
      }
    });
  }
}

// --- Lengths of texts.

TEST(BinParserHostile, RefusesATextThatNoStringCanHold) {
  const auto name = [](std::uint64_t count) { return stream().root().id(1).id(1).count(count).raw("ab").container(); };
  expectCheap([&] { EXPECT_THROW(loaded(name(UINT64_MAX)), std::length_error); });
  expectCheap([&] { EXPECT_THROW(loaded(name(std::uint64_t{1} << 62U)), std::length_error); });
}

TEST(BinParserHostile, RefusesATextThatComesFarTooShort) {
  const auto name = [](std::uint64_t count) { return stream().root().id(1).id(1).count(count).raw("ab").container(); };
  expectCheap([&] { EXPECT_THROW(loaded(name(std::uint64_t{1} << 40U)), std::length_error); });
  expectCheap([&] { EXPECT_THROW(loaded(name((std::uint64_t{1} << 26U) + 1)), std::length_error); });
}

TEST(BinParserHostile, FillsATextThatComesShortWithBlanksAndNamesIt) {
  EXPECT_EQ(failureOfLoading(stream().root().id(1).id(1).count(5).raw(std::string("a\0b\0", 4)).container()),
            "Could not find type \"ab   \" in meta-registry.");
}

// --- Containers.

std::string withLength(char letter, std::uint64_t announced, const std::string& bytes) {
  std::ostringstream output;
  StreamOArchive(output).put(letter) << announced;
  return output.str() + bytes;
}

std::string compressedBox(char letter) {
  const std::string payload = box().noMore().end().payload();
  return (letter == 'Z' ? testsupport::zlibContainer(letter, payload) : testsupport::zstdContainer(letter, payload))
      .substr(9);
}

TEST(BinParserHostile, ReadsGzipDataAlthoughMoreWasAnnounced) {
  const std::string data = compressedBox('Z');
  EXPECT_TRUE(elementOf(loaded(withLength('Z', data.size() + 1000, data)), 1));  // bytes behind the data do not matter
}

TEST(BinParserHostile, FindsNoTagInGzipDataThatIsCutOrDamaged) {
  const std::string data = compressedBox('Z');
  const std::string expected = failedCheck("t == SerializationTag::MODEL_ELEMENT");
  EXPECT_EQ(failureOfLoading(withLength('Z', data.size() - 1, data)), expected);
  EXPECT_EQ(failureOfLoading(withLength('Z', data.size(), data.substr(0, data.size() - 1))), expected);
  std::string flipped = data;
  flipped[data.size() / 2] = static_cast<char>(flipped[data.size() / 2] ^ 1);
  EXPECT_EQ(failureOfLoading(withLength('Z', data.size(), flipped)), expected);
  EXPECT_EQ(failureOfLoading("Z"), expected);
  EXPECT_EQ(failureOfLoading(withLength('Z', 0, "")), expected);
  EXPECT_EQ(failureOfLoading(withLength('Z', 20, "no gzip data at all!")), expected);
}

TEST(BinParserHostile, RefusesZstdDataThatIsCutOrDamaged) {
  const std::string data = compressedBox('z');
  std::string flipped = data;
  flipped[0] = '?';
  for (const std::string& bytes : {withLength('z', data.size() - 1, data), withLength('z', data.size() + 3, data),
                                   withLength('z', data.size(), flipped), std::string("z"), withLength('z', 0, ""),
                                   withLength('z', 20, "no zstd frame at all")}) {
    EXPECT_THROW(loaded(bytes), std::length_error);
  }
}

TEST(BinParserHostile, RefusesPayloadsThatAreAnnouncedButNotThere) {
  for (const char letter : {'Z', 'z', 'C', 'c'}) {
    expectCheap([&] { EXPECT_THROW(loaded(withLength(letter, UINT64_MAX, "ab")), std::length_error); }, 200 * kMiB);
    expectCheap([&] { EXPECT_THROW(loaded(withLength(letter, kHuge, "ab")), std::bad_alloc); }, 200 * kMiB);
  }
  expectCheap([&] { EXPECT_THROW(loaded(withLength('J', UINT64_MAX, "ab")), std::length_error); });
  expectCheap([&] { EXPECT_THROW(loaded(withLength('J', kHuge, "ab")), std::length_error); });
}

TEST(BinParserHostile, RefusesAFrameThatAnnouncesMoreThanItCanHold) {
  const std::string frame = fromAnnotatedHex(R"(
      28 b5 2f fd                 # the magic number of zstd
      e0                          # content size in 8 bytes, single segment
      00 00 00 00 00 01 00 00     # 1 TiB
      01 00 00                    # one raw block of 0 bytes, the last
  )");
  expectCheap([&] { EXPECT_THROW(loaded(withLength('z', frame.size(), frame)), std::length_error); });
}

TEST(BinParserHostile, RefusesFramesBeyondTheLimitThatTheProcessSets) {
  const std::string container = testsupport::zstdContainer('z', std::string(10 * kMiB, '\0'));
  setDecompressionLimit(kMiB);
  EXPECT_THROW(loaded(container), std::length_error);
  setDecompressionLimit(kNoDecompressionLimit);
}

// --- Elements.

TEST(BinParserHostile, SurvivesThatTheSameElementDanglesTwice) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).reference()
      .root().newElement(7, -1, 1).reference()
      .root().newElement(2, -1, 2).reference()
      .end().container());
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(BinParserHostile, SweepsPastWhatAnEarlierDestructionTookAlong) {
  // 2 and 3 dangle; 1 was put into 2, and 3 into 1.
  const testsupport::LogCapture log(300);
  const Model model = loaded(box()
      .newProperty(1, u"owner").tag('m').newElement(2, -1, 2).reference()
      .newProperty(2, u"parts").tag('[').tag('m').count(1).newElement(3, -1, 3).reference().noMore().end()
      .container());
  EXPECT_EQ(model->getElementCount(), 0U);
  EXPECT_THAT(log.lines(), testing::ElementsAre("Warning: A dangling reference to the Box element with UUID "
                                                "00000000-0000-0000-0000-000000000002 was parsed.\n"));
}

// clang-format on

}  // namespace
}  // namespace quillon::nimbo
