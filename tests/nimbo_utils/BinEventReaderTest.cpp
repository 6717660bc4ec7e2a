#include <cstdint>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/uuid/uuid_io.hpp>

#include "quillon/nimbo/BinEventReader.h"
#include "quillon/nimbo/BinParser.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// What a handler hears of a stream: every record, with its place, and each byte once.
namespace quillon::nimbo {
namespace {

using testing::ElementsAre;
using testsupport::HandmadeStream;

std::string shown(const PlainContent& content) {
  std::ostringstream text;
  text << std::boolalpha;
  std::visit(
      [&](const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>) {
          text << "none";
        } else {
          text << value;
        }
      },
      content);
  return text.str();
}

/// One line for each event: place and length of its bytes, then what it says.
class Transcript : public BinEventHandler {
 public:
  std::vector<std::string> lines;
  std::uint64_t next = 0;  ///< the first byte of the payload that no event has covered yet

  void container(const ContainerEvent& e) override {
    lines.push_back(std::string("container ") + e.letter + " of " + std::to_string(e.bytes.length) + " bytes, stored " +
                    std::to_string(e.storedBytes));
  }
  void decompression(const DecompressionEvent& e) override {
    lines.push_back("decompressed " + std::to_string(e.bytes.offset) + "+" + std::to_string(e.bytes.length) + " to " +
                    std::to_string(e.payloadBytes));
  }
  void jsonText(const ByteRange& b, std::string_view text) override { add(b, "text " + std::string(text)); }
  void packageCount(const PackageCountEvent& e) override { add(e.bytes, std::to_string(e.count) + " packages"); }
  void package(const PackageEvent& e) override { add(e.bytes, "package " + std::string(e.uri)); }
  void tag(const TagEvent& e) override { add(e.bytes, "tag " + named(e.tag)); }
  void noElement(const ByteRange& b) override { add(b, "no element"); }
  void elementId(const ElementIdEvent& e) override { add(e.bytes, "element id " + std::to_string(e.id)); }
  void type(const NameEvent& e) override { add(e.bytes, "type " + named(e)); }
  void beginElement(const ElementEvent& e) override {
    add(e.bytes, std::string(e.isDefinition ? "new" : "known") + (e.hasContents ? " full" : " reference") +
                     (e.hadContents ? " again" : "") + " element " + std::to_string(e.id) + " from " +
                     std::to_string(e.start) + " flag " + e.flag + " " + std::string(e.typeName) + " ends in " +
                     std::to_string(e.uuid.data[15]));
  }
  void endElement(const ElementEndEvent& e) override {
    add(e.bytes, "end of element " + std::to_string(e.id) + ": " + std::to_string(e.record.offset) + "+" +
                     std::to_string(e.record.length));
  }
  void property(const NameEvent& e) override { add(e.bytes, "property " + named(e)); }
  void plainValue(const ValueEvent& e) override {
    add(e.bytes, named(e.tag) + " " + shown(e.content) + (e.isWellSpelled ? "" : " (badly spelled)"));
  }
  void literal(const NameEvent& e) override { add(e.bytes, "literal " + named(e)); }
  void beginCollection(const CollectionEvent& e) override {
    add(e.bytes, "collection of " + std::to_string(e.count) + " " + named(e.entryTag));
  }
  void endCollection() override { lines.push_back("end of collection"); }
  void beginMap(const MapEvent& e) override { add(e.bytes, "map of " + std::to_string(e.count)); }
  void mapEntry(const MapEntryEvent& e) override { add(e.bytes, std::string(e.key) + " = " + std::string(e.value)); }
  void endMap() override { lines.push_back("end of map"); }
  void beginData(std::string_view typeName) override { lines.push_back("data " + std::string(typeName)); }
  void endData(const DataEndEvent& e) override { add(e.bytes, "end of data"); }
  void custom(const CustomEvent& e) override { add(e.bytes, std::string(e.typeName) + " " + std::string(e.text)); }
  void end(const ByteRange& b) override { add(b, "end"); }
  void dangling(const DanglingEvent& e) override {
    lines.push_back("dangling " + std::to_string(e.id) + " " + std::string(e.typeName) + " ends in " +
                    std::to_string(e.uuid.data[15]) + " from " + std::to_string(e.firstMention));
  }
  void blockLength(const BlockLengthEvent& e) override { add(e.bytes, "block of " + std::to_string(e.length)); }

 private:
  static std::string named(const NameEvent& e) { return std::string(e.name) + " " + std::to_string(e.id); }
  static std::string named(SerializationTag tag) {
    std::ostringstream text;
    text << tag;
    return text.str();
  }
  void add(const ByteRange& bytes, const std::string& text) {
    EXPECT_EQ(bytes.offset, next) << text;
    next = bytes.end();
    lines.push_back(std::to_string(bytes.offset) + "+" + std::to_string(bytes.length) + " " + text);
  }
};

Transcript read(const std::string& container) {
  Transcript transcript;
  BinEventReader(transcript).read(container);
  return transcript;
}

std::vector<std::string> linesOf(const HandmadeStream& stream) {
  return read(stream.container() + std::string(8, '\0')).lines;
}

/// The lines of one property "p" whose value has the tag and the bytes of `value`.
std::vector<std::string> valueLines(const HandmadeStream& value) {
  HandmadeStream stream = HandmadeStream().root().newElement(1, 1, u"T", 1).full().newProperty(1, u"p");
  std::vector<std::string> lines = linesOf(stream.raw(value.payload().substr(8)).noMore().end());
  const auto begin = lines.begin() + 7;  // behind container, count, tag, id, type, element, property
  return {begin, lines.end() - 3};       // in front of end of element, end, block
}

TEST(BinEventReader, ReportsEveryByteOfTheWorkedExample) {
  const std::string container =
      testsupport::fromAnnotatedHex(testsupport::documentedHex("docs/formats/binary.md", "worked-example"));
  const Transcript transcript = read(container);
  EXPECT_EQ(transcript.next + 1, container.size());
  EXPECT_THAT(transcript.lines,
              ElementsAre("container B of 1 bytes, stored 0", "0+8 1 packages", "8+24 package urn:demo",
                          "32+1 tag MODEL_ELEMENT", "33+8 element id 1", "41+34 type demo.Node 1",
                          "75+17 new full element 1 from 33 flag T demo.Node ends in 255", "92+26 property count 1",
                          "118+5 INT 7", "123+26 property label 2", "149+13 USTRING ab",
                          "162+8 end of element 1: 33+137", "170+1 end", "171+8 block of 0"));
}

TEST(BinEventReader, ReportsMentionsForwardAndBackward) {
  // clang-format off
  const HandmadeStream stream = HandmadeStream().root().newElement(1, 1, u"T", 1).full()
      .newProperty(1, u"p").tag('m').newElement(2, -1, 2).reference()
      .id(-1).tag('m').id(-2).full().noMore()
      .id(-1).tag('m').id(-1).raw("?")
      .id(-1).tag('m').id(0).noMore()
    .root().id(-2).full().noMore().end();
  // clang-format on
  EXPECT_THAT(linesOf(stream),
              ElementsAre("container B of 1 bytes, stored 0", "0+8 0 packages", "8+1 tag MODEL_ELEMENT",
                          "9+8 element id 1", "17+18 type T 1", "35+17 new full element 1 from 9 flag T T ends in 1",
                          "52+18 property p 1", "70+1 tag MODEL_ELEMENT", "71+8 element id 2", "79+8 type T -1",
                          "87+17 new reference element 2 from 71 flag F T ends in 2", "104+0 end of element 2: 71+33",
                          "104+8 property p -1", "112+1 tag MODEL_ELEMENT", "113+8 element id -2",
                          "121+1 known full element 2 from 113 flag T T ends in 2", "122+8 end of element 2: 113+17",
                          "130+8 property p -1", "138+1 tag MODEL_ELEMENT", "139+8 element id -1",
                          "147+1 known reference again element 1 from 139 flag ? T ends in 1",
                          "148+0 end of element 1: 139+9", "148+8 property p -1", "156+1 tag MODEL_ELEMENT",
                          "157+8 no element", "165+8 end of element 1: 9+164", "173+1 tag MODEL_ELEMENT",
                          "174+8 element id -2", "182+1 known full again element 2 from 174 flag T T ends in 2",
                          "183+8 end of element 2: 174+17", "191+1 end", "192+8 block of 0"));
}

TEST(BinEventReader, NamesElementsWhoseContentsNeverCame) {
  HandmadeStream stream = HandmadeStream().root().newElement(5, 1, u"T", 5).reference();
  stream.root().newElement(1, -1, 1).reference().root().newElement(2, -1, 2).full().noMore().end();
  const std::vector<std::string> lines = linesOf(stream);
  EXPECT_THAT(
      std::vector(lines.end() - 4, lines.end()),
      ElementsAre("128+1 end", "dangling 1 T ends in 1 from 53", "dangling 5 T ends in 5 from 9", "129+8 block of 0"));
}

TEST(BinEventReader, DecodesEachPlainValue) {
  const auto value = [](char tag, const auto& object) { return valueLines(HandmadeStream().tag(tag).append(object)); };
  EXPECT_THAT(value('c', std::int8_t{-1}), ElementsAre("70+2 INT8 -1"));
  EXPECT_THAT(value('C', std::uint8_t{255}), ElementsAre("70+2 UINT8 255"));
  EXPECT_THAT(value('j', std::int16_t{-1}), ElementsAre("70+3 INT16 -1"));
  EXPECT_THAT(value('J', std::uint16_t{65535}), ElementsAre("70+3 UINT16 65535"));
  EXPECT_THAT(value('i', std::int32_t{-1}), ElementsAre("70+5 INT -1"));
  EXPECT_THAT(value('I', std::uint32_t{4294967295U}), ElementsAre("70+5 UINT 4294967295"));
  EXPECT_THAT(value('l', std::int64_t{-1}), ElementsAre("70+9 INT64 -1"));
  EXPECT_THAT(value('L', ~std::uint64_t{0}), ElementsAre("70+9 UINT64 18446744073709551615"));
  EXPECT_THAT(value('d', 0.25), ElementsAre("70+9 DOUBLE 0.25"));
  EXPECT_THAT(value('b', true), ElementsAre("70+2 BOOL true"));
  EXPECT_THAT(value('U', testsupport::uuidEndingIn(7)), ElementsAre("70+17 UUID 00000000-0000-0000-0000-000000000007"));
  EXPECT_THAT(value('S', std::u16string(u"\u00e4")), ElementsAre("70+11 USTRING \u00e4"));
  EXPECT_THAT(value('D', std::u16string(u"then")), ElementsAre("70+17 DATETIME then"));
  EXPECT_THAT(value('s', std::string("\xff")), ElementsAre("70+10 STRING \xff"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('n')), ElementsAre("70+1 NONE none"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('b').tag('?')), ElementsAre("70+2 BOOL false (badly spelled)"));
}

TEST(BinEventReader, ReportsWhatIsMadeOfParts) {
  testsupport::moneySerializer();
  EXPECT_THAT(
      valueLines(HandmadeStream().tag('[').tag('e').count(2).id(1).text(u"red").id(-1)),
      ElementsAre("70+10 collection of 2 ENUM", "80+22 literal red 1", "102+8 literal red -1", "end of collection"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('e').id(1).text(u"red")), ElementsAre("70+23 literal red 1"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('M').count(1).text(u"k").text(u"v")),
              ElementsAre("70+9 map of 1", "79+20 k = v", "end of map"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('r').newType(2, u"D").newProperty(2, u"x").tag('n').noMore()),
              ElementsAre("70+1 tag DATA_TYPE", "71+18 type D 2", "data D", "89+18 property x 2", "107+1 NONE none",
                          "108+8 end of data"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('[').tag('r').count(1).newType(2, u"D").noMore()),
              ElementsAre("70+10 collection of 1 DATA_TYPE", "80+18 type D 2", "data D", "98+8 end of data",
                          "end of collection"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('N').newType(2, u"sample.Money").append(std::int64_t{-42})),
              ElementsAre("70+1 tag NATIVE", "71+40 type sample.Money 2", "111+8 sample.Money -42"));
  EXPECT_THAT(valueLines(HandmadeStream().tag('[').tag('m').count(1).id(0)),
              ElementsAre("70+10 collection of 1 MODEL_ELEMENT", "80+8 no element", "end of collection"));
}

TEST(BinEventReader, CountsOffsetsOfCompressedContainersInThePayload) {
  const std::string payload = HandmadeStream().end().payload();
  for (const std::string& container :
       {testsupport::zlibContainer('Z', payload), testsupport::zstdContainer('z', payload)}) {
    const std::string stored = std::to_string(container.size() - 9);
    EXPECT_THAT(read(container).lines,
                ElementsAre(std::string("container ") + container[0] + " of 9 bytes, stored " + stored,
                            "decompressed 9+" + stored + " to 9", "0+8 0 packages", "8+1 end"));
  }
}

TEST(BinEventReader, HandsOverTheTextOfJsonContainers) {
  const std::string plain = "J" + HandmadeStream().append(std::string("{ }")).payload().substr(8);
  EXPECT_THAT(read(plain).lines, ElementsAre("container J of 9 bytes, stored 3", "0+3 text { }"));
  for (const std::string& container :
       {testsupport::zlibContainer('C', "{ }"), testsupport::zstdContainer('c', "{ }")}) {
    EXPECT_EQ(read(container).lines.back(), "0+3 text { }");
  }
}

TEST(BinEventReader, CoversEachByteOfSampleModelsInEachContainer) {
  testsupport::moneySerializer();
  const auto model = testsupport::emptyModel();
  testsupport::fillEverything(model);
  testsupport::fillByChance(model, 3, 300);
  const std::string plain = testsupport::saved(model->getTopLevelElements());
  const Transcript transcript = read(plain);
  EXPECT_EQ(transcript.next + 1, plain.size());
  for (const BinFormat format : {BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
    const Transcript compressed = read(testsupport::saved(model->getTopLevelElements(), format));
    EXPECT_EQ(std::vector(compressed.lines.begin() + 2, compressed.lines.end()),
              std::vector(transcript.lines.begin() + 1, transcript.lines.end() - 1));
  }
}

/// Gives one byte at a time, and cannot tell its position.
class TrickleBuf : public std::streambuf {
 public:
  explicit TrickleBuf(std::string bytes) : fBytes(std::move(bytes)) {}

 protected:
  int_type underflow() override {
    if (fNext == fBytes.size()) return traits_type::eof();
    char* const byte = &fBytes[fNext++];
    setg(byte, byte, byte + 1);
    return traits_type::to_int_type(*byte);
  }

 private:
  std::string fBytes;
  std::size_t fNext = 0;
};

TEST(BinEventReader, ReportsTheSameWhateverTheStreamsBuffer) {
  testsupport::moneySerializer();
  const auto model = testsupport::emptyModel();
  testsupport::fillEverything(model);
  const std::string container = testsupport::saved(model->getTopLevelElements());
  TrickleBuf buffer(container);
  std::istream stream(&buffer);
  Transcript transcript;
  BinEventReader(transcript).read(stream);
  EXPECT_EQ(transcript.lines, read(container).lines);
}

TEST(BinEventReader, TakesTheBytesOfOneContainerAndNoMore) {
  const std::string plain = HandmadeStream().end().container() + std::string(8, '\0');
  std::istringstream stream(plain + testsupport::zstdContainer('z', HandmadeStream().end().payload()) + plain + "x");
  Transcript transcript;
  BinEventReader(transcript).read(stream);
  transcript.next = 0;
  BinEventReader(transcript).read(stream);
  transcript.next = 0;
  BinEventReader(transcript).read(stream);
  EXPECT_EQ(stream.get(), 'x');
}

TEST(BinEventReader, PassesOnWhatTheHandlerThrows) {
  struct Refusing : BinEventHandler {
    void end(const ByteRange&) override { throw std::out_of_range("enough"); }
  } handler;
  EXPECT_THROW(BinEventReader(handler).read(HandmadeStream().end().container()), std::out_of_range);
}

// --- Errors.

std::string failure(const std::string& container) {
  try {
    static_cast<void>(read(container));
  } catch (const BinStreamError& error) {
    EXPECT_EQ(
        "offset " + std::to_string(error.offset()) + ": expected " + error.expected() + ", found " + error.found(),
        error.what());
    return error.what();
  }
  ADD_FAILURE() << "no BinStreamError was thrown";
  return {};
}

HandmadeStream open() { return HandmadeStream().root().newElement(1, 1, u"T", 1).full().newProperty(1, u"p"); }

TEST(BinEventReader, NamesOffsetAndExpectationOfEachFault) {
  constexpr const char* kLetters = R"(offset 0: expected a container's letter, one of "B" "Z" "z" "J" "C" "c", found )";
  EXPECT_EQ(failure(""), std::string(kLetters) + "the end of the stream");
  EXPECT_EQ(failure("A"), std::string(kLetters) + "the byte 0x41 (\"A\")");
  EXPECT_EQ(failure(HandmadeStream().tag('\x01').container()),
            "offset 8: expected the tag \"m\" of a root, or \"n\" at the end, found the byte 0x01");
  EXPECT_EQ(failure(HandmadeStream().container()),
            "offset 8: expected the tag \"m\" of a root, or \"n\" at the end, found the end of the stream");
  EXPECT_EQ(failure(HandmadeStream().root().id(-3).container()),
            "offset 9: expected the id of an element, 0, or the negative of one that was defined, found the id -3, "
            "which was never defined");
  EXPECT_EQ(failure(HandmadeStream().root().id(1).id(0).container()),
            "offset 17: expected the id of a type, or the negative of one that was defined, found the id 0");
  EXPECT_EQ(failure(open().tag('?').container()),
            "offset 70: expected the tag of a value, found the byte 0x3f (\"?\")");
  EXPECT_EQ(failure(open().tag('S').count(4).raw("ab").container()),
            "offset 71: expected a text, found the end of the stream");
  EXPECT_EQ(failure(open().tag('e').id(0).container()),
            "offset 71: expected the id of an enum literal, or the negative of one that was defined, found the id 0");
  EXPECT_EQ(failure(open().tag('n').id(-2).container()),
            "offset 71: expected the id of a property, 0, or the negative of one that was defined, found the id -2, "
            "which was never defined");
  EXPECT_EQ(failure(HandmadeStream().end().container() + "1234567"),
            "offset 9: expected the length of the empty block behind the stream, found the end of the stream");
}

TEST(BinEventReader, RefusesMentionsInAGapButEndsPropertiesThere) {
  const auto inGap = [](const HandmadeStream& rest) {
    HandmadeStream stream = HandmadeStream().root().newElement(3, 3, u"T", 1).full().newProperty(3, u"p");
    return failure(stream.tag('e').id(3).text(u"l").raw(rest.payload().substr(8)).container());
  };
  const std::string undefined = "found the id -2, which was never defined";
  EXPECT_THAT(inGap(HandmadeStream().id(-3).tag('e').id(-2)), testing::EndsWith(undefined));
  EXPECT_THAT(inGap(HandmadeStream().id(-3).tag('r').id(-2)), testing::EndsWith(undefined));
  EXPECT_THAT(inGap(HandmadeStream().id(-3).tag('m').id(-2)), testing::EndsWith(undefined));
  EXPECT_THAT(inGap(HandmadeStream().id(-2).tag('?')),
              testing::HasSubstr("expected the tag \"m\" of a root, or \"n\" at the end"));
}

TEST(BinEventReader, StopsAtACustomValueThatNobodyCanRead) {
  EXPECT_EQ(failure(open().tag('N').newType(2, u"x.Unknown").raw("12345678").container()),
            "offset 105: expected a custom value, found one of the type \"x.Unknown\", for which this process has no "
            "serializer: its bytes tell no length, so that nothing behind them can be found; run where the serializer "
            "is registered");
}

TEST(BinEventReader, NoticesACustomValueThatIsCut) {
  testsupport::moneySerializer();
  EXPECT_THAT(failure(open().tag('N').newType(2, u"sample.Money").raw("1234").container()),
              testing::EndsWith("expected the rest of a custom value, found the end of the stream"));
}

TEST(BinEventReader, NamesFaultsOfTheContainer) {
  EXPECT_EQ(failure("z123"), "offset 1: expected the length of the block, found the end of the stream");
  const std::string cut = testsupport::zlibContainer('Z', HandmadeStream().end().payload());
  const std::string size = std::to_string(cut.size() - 9);
  EXPECT_EQ(failure(cut.substr(0, cut.size() - 1)), "offset 1: expected a block of the " + size +
                                                        " bytes that its length announces, found the end of the "
                                                        "stream after " +
                                                        std::to_string(cut.size() - 10) + " of them");
  std::string damaged = cut;
  damaged[damaged.size() - 5] ^= 0x55;  // in its checksum
  EXPECT_THAT(failure(damaged), testing::StartsWith("offset 9: expected a stream in gzip form, found data that is "));
  EXPECT_EQ(failure(testsupport::zstdContainer('z', HandmadeStream().end().payload() + "?")),
            "offset 9: expected the end of the payload, found more bytes");
}

}  // namespace
}  // namespace quillon::nimbo
