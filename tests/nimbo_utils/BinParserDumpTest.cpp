#include <bit>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <tarn/kern/meta/MetaRegistry.h>

#include "quillon/nimbo/BinParser.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/LiteralDump.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/ReaderMetaModel.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// A container as JSON text, byte for byte. Most names are in no meta-model: none is needed.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using testsupport::HandmadeStream;

std::string dumped(const std::string& container) {
  std::istringstream stream(container);
  return BinParser().parseToJSON(stream);
}

std::string dumped(const HandmadeStream& stream) { return dumped(stream.container()); }

/// The text of the BinSerializationException that a dump ends in, with "#" for its line.
std::string failureOfDump(const HandmadeStream& stream) {
  return testsupport::withoutReaderLine(testsupport::messageOfFailure([&] { static_cast<void>(dumped(stream)); }));
}

std::string document(const std::string& entries, const std::string& packageUris = "") {
  return R"({"entries":[)" + entries + R"(],"packageUris":[)" + packageUris + R"(],"version":"1.0"})";
}

std::string uuid(const std::string& lastTwoDigits) { return "00000000-0000-0000-0000-0000000000" + lastTwoDigits; }

/// An element of uuid 1 and type "x.T", with that content.
std::string element(const std::string& content) {
  return R"({"content":)" + content + R"(,"type":"x.T","uuid":")" + uuid("01") + "\"}";
}

/// A root of uuid 1 and type "x.T" whose list of properties is open.
HandmadeStream openRoot() { return HandmadeStream().root().newElement(1, 1, u"x.T", 1).full(); }

std::string closed(HandmadeStream open) { return dumped(open.noMore().end()); }

/// The JSON value of a property "p" of which `value` has the tag and the bytes.
std::string dumpedValue(const HandmadeStream& value) {
  const std::string bytes = value.payload().substr(8);  // without package URIs
  const std::string text = closed(openRoot().newProperty(1, u"p").raw(bytes));
  const std::string before = R"({"entries":[{"content":{"p":)";
  const std::string after = R"(},"type":"x.T","uuid":")" + uuid("01") + R"("}],"packageUris":[],"version":"1.0"})";
  EXPECT_TRUE(text.starts_with(before) && text.ends_with(after)) << text;
  return text.substr(before.size(), text.size() - before.size() - after.size());
}

// --- Containers.

/// The line behind "```json worked-example" in the format's document.
std::string documentedDump() {
  std::ifstream file(std::string(NIMBO_SOURCE_ROOT) + "/docs/formats/binary.md");
  for (std::string line; std::getline(file, line);) {
    if (line == "```json worked-example") return std::getline(file, line), line;
  }
  return {};
}

TEST(BinParserDump, GivesTheDocumentOfTheWorkedExample) {
  const std::string text =
      dumped(testsupport::fromAnnotatedHex(testsupport::documentedHex("docs/formats/binary.md", "worked-example")));
  EXPECT_EQ(text, R"({"entries":[{"content":{"count":7,"label":"ab"},"type":"demo.Node",)"
                  R"("uuid":"00112233-4455-6677-8899-aabbccddeeff"}],"packageUris":[],"version":"1.0"})");
  EXPECT_EQ(text, documentedDump());
}

TEST(BinParserDump, OfNoRootsHasTheThreeKeysAllTheSame) {
  EXPECT_EQ(dumped(HandmadeStream().end()), R"({"entries":[],"packageUris":[],"version":"1.0"})");
}

TEST(BinParserDump, IsEmptyForBytesThatBeginWithNoLetter) {
  EXPECT_EQ(dumped(""), "");
  for (int byte = 0; byte < 256; ++byte) {
    const char letter = static_cast<char>(byte);
    if (std::string("BZzJCc").find(letter) != std::string::npos) continue;
    EXPECT_EQ(dumped(letter + HandmadeStream().end().payload()), "") << byte;
  }
}

TEST(BinParserDump, IsTheSameForAllBinaryContainers) {
  const HandmadeStream stream = openRoot().noMore().end();
  const std::string expected = document(element("null"));
  EXPECT_EQ(dumped(stream), expected);
  EXPECT_EQ(dumped(testsupport::zlibContainer('Z', stream.payload())), expected);
  EXPECT_EQ(dumped(testsupport::zstdContainer('z', stream.payload())), expected);
}

TEST(BinParserDump, ReturnsStoredTextUntouchedAlsoWhenItIsNoJson) {
  const std::string texts[] = {"{ \"a\" : 1 }\n", "no JSON at all \xff", ""};
  for (const std::string& text : texts) {
    EXPECT_EQ(dumped("J" + HandmadeStream().append(text).payload().substr(8)), text);
    EXPECT_EQ(dumped(testsupport::zlibContainer('C', text)), text);
    EXPECT_EQ(dumped(testsupport::zstdContainer('c', text)), text);
  }
}

TEST(BinParserDump, PadsStoredTextThatWasCut) {
  EXPECT_EQ(dumped("J" + HandmadeStream().count(5).raw("ab").payload().substr(8)), "ab   ");
}

TEST(BinParserDump, LeavesTheBytesBehindTheEndTagAlone) {
  std::istringstream stream(HandmadeStream().end().container() + "more");
  StreamIArchive archive(stream);
  static_cast<void>(BinParser().parseToJSON(archive));
  EXPECT_EQ(archive.get(), 'm');
}

TEST(BinParserDump, TouchesNeitherTheModelNorTheSwitch) {
  BinParser parser;
  parser.setEvolveIfNeeded(false);
  std::istringstream stream(openRoot().noMore().end().container());
  static_cast<void>(parser.parseToJSON(stream));
  EXPECT_FALSE(parser.getModel());
  EXPECT_FALSE(parser.getEvolveIfNeeded());
  const kern::Model model = testsupport::emptyModel();
  parser.setModel(model);
  std::istringstream again(testsupport::saved({testsupport::newSample(model, u"Box", 1)}));
  EXPECT_NE(parser.parseToJSON(again), "");
  EXPECT_EQ(model->getElementCount(), 1U);
}

TEST(BinParserDump, StartsAnewWithEachPayload) {
  BinParser parser;
  std::istringstream first(openRoot().noMore().end().container());
  static_cast<void>(parser.parseToJSON(first));
  std::istringstream second(HandmadeStream().root().id(-1).full().noMore().end().container());
  EXPECT_EQ(testsupport::withoutReaderLine(
                testsupport::messageOfFailure([&] { static_cast<void>(parser.parseToJSON(second)); })),
            testsupport::failedCheck("definition != nullptr"));
}

TEST(BinParserDump, CanBeTakenAgainAfterOneThatFailed) {
  const std::string good = openRoot().newProperty(1, u"p").tag('e').id(1).text(u"x").noMore().end().container();
  BinParser parser;
  const auto dumpedAgain = [&parser](const std::string& container) {
    std::istringstream stream(container);
    return parser.parseToJSON(stream);
  };
  const HandmadeStream failures[] = {
      HandmadeStream(), openRoot().newProperty(2, u"q").tag('?'),
      openRoot().newProperty(1, u"q").tag('e').id(1).text(u"y").newProperty(2, u"r").tag('m').id(-9),
      openRoot().newProperty(1, u"q").tag('s').append(std::string("\xff")).noMore().end()};
  for (const HandmadeStream& failure : failures) {
    EXPECT_ANY_THROW(static_cast<void>(dumpedAgain(failure.container())));
    EXPECT_EQ(dumpedAgain(good), document(element(R"({"p":"x"})")));
  }
  const kern::Model model = testsupport::emptyModel();
  parser.setModel(model);
  EXPECT_ANY_THROW(static_cast<void>(dumpedAgain(failures[1].container())));
  const kern::Model other = testsupport::emptyModel();
  parser.parse(testsupport::saved({testsupport::newSample(other, u"Box", 1)}));
  EXPECT_EQ(model->getElementCount(), 1U);
}

// --- Packages.

TEST(BinParserDump, NamesThePackagesOfRegisteredFamiliesOnlyAndKeepsAllElements) {
  testsupport::registerReaderMetaModel();
  const std::u16string base = kern::meta::MetaRegistry::schemaBaseUri();
  const std::u16string current = base + u"ageing/2.0";
  const std::u16string old = base + u"ageing/1.0";
  HandmadeStream stream({old, base + u"nobody/1.0", u"urn:x", base, base + u"ageing", current, old});
  stream.root().newElement(1, 1, u"x.T", 1).full().noMore().end();
  const std::string utf8 = bedrock::i18n::ustring_to_utf8(base);
  EXPECT_EQ(dumped(stream), document(element("null"), "\"" + utf8 + "ageing/1.0\",\"" + utf8 + "ageing/2.0\",\"" +
                                                          utf8 + "ageing/1.0\""));
}

// --- Elements.

TEST(BinParserDump, WritesNullForContentWithoutProperties) {
  EXPECT_EQ(dumped(openRoot().noMore().end()), document(element("null")));
}

TEST(BinParserDump, WritesAReferenceWithoutContentAndTheContentWhereItStands) {
  const std::string reference = R"({"type":"x.U","uuid":")" + uuid("02") + "\"}";
  const std::string definition = R"({"content":null,"type":"x.U","uuid":")" + uuid("02") + "\"}";
  // clang-format off
  const std::string text = closed(openRoot()
      .newProperty(1, u"forward").tag('m').newElement(2, 2, u"x.U", 2).reference()
      .newProperty(2, u"own").tag('m').id(-2).full().noMore()
      .newProperty(3, u"there").tag('m').id(-2).reference()
      .newProperty(4, u"up").tag('m').id(-1).raw("?"));
  // clang-format on
  EXPECT_EQ(text, document(element(R"({"forward":)" + reference + R"(,"own":)" + definition + R"(,"there":)" +
                                   reference + R"(,"up":{"type":"x.T","uuid":")" + uuid("01") + "\"}}")));
}

TEST(BinParserDump, RepeatsContentsWhereTheStreamDoes) {
  HandmadeStream stream = openRoot();
  stream.noMore().root().id(-1).full().newProperty(1, u"p").tag('n').noMore().end();
  EXPECT_EQ(dumped(stream), document(element("null") + "," + element(R"({"p":null})")));
}

TEST(BinParserDump, WritesNullForNoElement) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('m').id(0)), "null");
  EXPECT_EQ(dumped(HandmadeStream().root().id(0).end()), document("null"));
}

TEST(BinParserDump, SortsKeysByTheirBytesWhateverTheOrderOfTheStream) {
  // By code units U+FF5A would come behind the character beyond the basic plane, whose surrogates are lower.
  const std::u16string beyond = {char16_t{0xD83D}, char16_t{0xDE00}};
  HandmadeStream stream = openRoot();
  for (const std::u16string& name : {u"b" + std::u16string(), beyond, std::u16string(u"\uff5a"), std::u16string(u"a"),
                                     std::u16string(u"B"), std::u16string(u"\u00e4"), std::u16string(u"ab")}) {
    static std::int64_t id = 0;
    stream.newProperty(++id, name).tag('n');
  }
  EXPECT_EQ(closed(stream), document(element("{\"B\":null,\"a\":null,\"ab\":null,\"b\":null,\"\u00e4\":null,"
                                             "\"\uff5a\":null,\"\U0001f600\":null}")));
}

TEST(BinParserDump, KeepsTheLaterOfTwoLikeNamedProperties) {
  EXPECT_EQ(
      closed(
          openRoot().newProperty(1, u"p").tag('[').tag('c').count(1).tag('a').newProperty(2, u"p").tag('b').tag('T')),
      document(element(R"({"p":true})")));
  EXPECT_EQ(closed(openRoot().newProperty(1, u"p").tag('b').tag('T').id(-1).tag('n')),
            document(element(R"({"p":null})")));
}

TEST(BinParserDump, EndsAListOfPropertiesAtAnEmptyName) {
  HandmadeStream stream = openRoot();
  stream.newProperty(1, u"").root().id(-1).full().id(-1).end();
  EXPECT_EQ(dumped(stream), document(element("null") + "," + element("null")));
}

TEST(BinParserDump, EndsAListOfPropertiesAtAGapInTheIds) {
  HandmadeStream stream = openRoot();
  stream.newProperty(3, u"p").tag('n').id(-2).end();
  EXPECT_EQ(dumped(stream), document(element(R"({"p":null})")));
}

/// Dumps, and expects the plain dump to be the same.
std::string dumpedAsPlainly(const HandmadeStream& stream) {
  std::string text = dumped(stream);
  EXPECT_EQ(text, testsupport::dumpLiterally(stream.container()));
  return text;
}

TEST(BinParserDump, TakesTypesAndLiteralsInAGapForEmptyNames) {
  HandmadeStream types = HandmadeStream().root().newElement(1, 3, u"x.T", 1).full();
  types.newProperty(1, u"data").tag('r').id(-1).newProperty(2, u"p").tag('n').noMore();
  types.noMore().root().newElement(2, -2, 2).reference().end();
  EXPECT_EQ(dumpedAsPlainly(types), document(element(R"({"data":{"content":{"p":null},"type":""}})") +
                                             R"(,{"type":"","uuid":")" + uuid("02") + "\"}"));
  HandmadeStream literals = openRoot().newProperty(1, u"p").tag('[').tag('e').count(4);
  literals.id(3).text(u"x").id(-1).id(-2).id(-3).noMore().end();
  EXPECT_EQ(dumpedAsPlainly(literals), document(element(R"({"p":["x","","","x"]})")));
}

TEST(BinParserDump, TakesTheTypeOfACustomValueInAGapForOneWithoutSerializer) {
  testsupport::sampleMetaModel();
  EXPECT_EQ(
      failureOfDump(HandmadeStream().root().newElement(1, 2, u"x.T", 1).full().newProperty(1, u"p").tag('N').id(-1)),
      testsupport::failedCheck("pCustomBinSerializer != nullptr"));
}

TEST(BinParserDump, TakesElementsInAGapForNullOrTheirBareContent) {
  // clang-format off
  HandmadeStream stream = HandmadeStream().root().newElement(4, 1, u"x.T", 1).full()
      .newProperty(1, u"empty").tag('m').id(-1).full().noMore()
      .newProperty(2, u"full").tag('m').id(-2).full().newProperty(3, u"inner").tag('m').id(-3).raw("?").noMore()
      .newProperty(4, u"many").tag('[').tag('m').count(3).id(-1).reference().id(-2).full().id(-3).tag('n').noMore()
        .id(-4).reference()
      .newProperty(5, u"none").tag('m').id(-1).reference().noMore()
    .root().id(-3).reference()
    .root().id(-3).full().noMore()
    .root().newElement(3, -1, 3).reference()
    .root().id(-3).reference().end();
  // clang-format on
  const std::string defined = R"({"type":"x.T","uuid":")" + uuid("03") + "\"}";
  const std::string many = R"([null,{"content":{"inner":null}},{"type":"x.T","uuid":")" + uuid("01") + "\"}]";
  EXPECT_EQ(dumpedAsPlainly(stream),
            document(element(R"({"empty":{"content":null},"full":{"content":{"inner":null}},"many":)" + many +
                             R"(,"none":null})") +
                     R"(,null,{"content":null},)" + defined + "," + defined));
}

TEST(BinParserDump, TakesEveryIdBelowAHighOneForAGap) {
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  HandmadeStream stream;
  stream.root().newElement(kHighest, kHighest, u"x.T", 1).full().newProperty(kHighest, u"p");
  stream.tag('[').tag('m').count(3).id(-1).reference().id(1 - kHighest).full().id(-5).newElement(1, -7, 2).reference();
  stream.noMore().end();
  EXPECT_EQ(dumpedAsPlainly(stream),
            document(element(R"({"p":[null,{"content":null},{"type":"","uuid":")" + uuid("02") + "\"}]}")));
}

TEST(BinParserDump, TakesTheLaterDefinitionOfAnIdThatIsDefinedAgain) {
  // clang-format off
  const std::string text = closed(openRoot()
      .newProperty(1, u"p").tag('m').newElement(2, 1, u"x.U", 2).full()
        .newProperty(1, u"q").tag('n').noMore()
      .id(-1).tag('m').newElement(2, -1, 3).reference()
      .newProperty(2, u"r").tag('m').id(-2).reference());
  // clang-format on
  const auto mention = [](const char* digits) { return R"({"type":"x.U","uuid":")" + uuid(digits) + "\"}"; };
  EXPECT_EQ(text, document(element(R"({"p":{"content":{"q":null},"type":"x.U","uuid":")" + uuid("02") + R"("},"q":)" +
                                   mention("03") + R"(,"r":)" + mention("03") + "}")));
}

// --- Values.

TEST(BinParserDump, WritesNumbersBySignOfTheirTag) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('C').append(std::uint8_t{255})), "255");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('c').append(std::int8_t{-1})), "-1");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('J').append(std::uint16_t{65535})), "65535");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('j').append(std::int16_t{-1})), "-1");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('I').append(std::uint32_t{4294967295})), "4294967295");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('i').append(std::int32_t{-1})), "-1");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('L').append(std::numeric_limits<std::uint64_t>::max())),
            "18446744073709551615");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('L').append((std::uint64_t{1} << 63U) + 1)), "9223372036854775809");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('l').append(std::numeric_limits<std::int64_t>::min())),
            "-9223372036854775808");
}

TEST(BinParserDump, WritesRealsAsTheLibraryDoes) {
  const auto real = [](double number) { return dumpedValue(HandmadeStream().tag('d').append(number)); };
  EXPECT_EQ(real(0.0), "0.0");
  EXPECT_EQ(real(-0.0), "-0.0");
  EXPECT_EQ(real(0.1), "0.1");
  EXPECT_EQ(real(1e22), "1e+22");
  EXPECT_EQ(real(std::numeric_limits<double>::quiet_NaN()), "null");
  EXPECT_EQ(real(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(real(-std::numeric_limits<double>::infinity()), "null");
}

TEST(BinParserDump, TakesTheByteTAloneForTrue) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('b').tag('T')), "true");
  for (const char byte : {'F', 't', '\1', '\0'}) EXPECT_EQ(dumpedValue(HandmadeStream().tag('b').tag(byte)), "false");
}

TEST(BinParserDump, WritesTextAsUtf8AndStringsAsTheyStand) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('S').text(u"a\"\u00e4\n")), "\"a\\\"\u00e4\\n\"");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('S').text(u"")), "\"\"");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('s').append(std::string("\u20ac"))), "\"\u20ac\"");
}

TEST(BinParserDump, NeitherParsesNorChangesTheTextOfATime) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('D').text(u"no time at all")), "\"no time at all\"");
}

TEST(BinParserDump, WritesUuidsInLowerCaseWithDashes) {
  const boost::uuids::uuid id{{0xAB, 0xCD, 0xEF, 0x01, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0xFF}};
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('U').append(id)), "\"abcdef01-0203-0405-0607-08090a0b0cff\"");
}

TEST(BinParserDump, WritesLiteralsByTheirNameWhichNobodyChecks) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('e').id(1).text(u"no such literal")), "\"no such literal\"");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('[').tag('e').count(2).id(7).text(u"x").id(-7)), R"(["x","x"])");
}

TEST(BinParserDump, WritesNullForAnAbsentValueAlsoInACollection) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('n')), "null");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('[').tag('n').count(3)), "[null,null,null]");
}

TEST(BinParserDump, KeepsTheFirstOfTwoEntriesOfAMapWithOneKey) {
  HandmadeStream map;
  map.tag('M').count(3).text(u"k").text(u"first").text(u"a").text(u"").text(u"k").text(u"second");
  EXPECT_EQ(dumpedValue(map), R"({"a":"","k":"first"})");
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('M').count(0)), "{}");
}

TEST(BinParserDump, TakesMapsInACollection) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('[').tag('M').count(2).count(0).count(1).text(u"a").text(u"b")),
            R"([{},{"a":"b"}])");
}

TEST(BinParserDump, WritesDataValuesLikeElementsWithoutUuid) {
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('r').newType(2, u"x.Data").noMore()),
            R"({"content":null,"type":"x.Data"})");
  // clang-format off
  const std::string nested = dumpedValue(HandmadeStream().tag('r').newType(2, u"x.Data")
      .newProperty(2, u"z").tag('c').tag('\1')
      .newProperty(3, u"inner").tag('[').tag('r').count(2).id(-2).noMore().id(-2).id(-2).tag('n').noMore()
      .noMore());
  // clang-format on
  EXPECT_EQ(nested, R"({"content":{"inner":[{"content":null,"type":"x.Data"},{"content":{"z":null},"type":"x.Data"}],)"
                    R"("z":1},"type":"x.Data"})");
}

TEST(BinParserDump, WritesEmptyCollectionsOfAnything) {
  for (const char entryTag : {'m', 'i', 'n', '[', '?'}) {
    EXPECT_EQ(dumpedValue(HandmadeStream().tag('[').tag(entryTag).count(0)), "[]") << entryTag;
  }
}

TEST(BinParserDump, QuotesWhatACustomSerializerGives) {
  testsupport::moneySerializer();
  EXPECT_EQ(dumpedValue(HandmadeStream().tag('N').newType(2, u"sample.Money").append(std::int64_t{-42})), R"("-42")");
  EXPECT_EQ(dumpedValue(HandmadeStream()
                            .tag('[')
                            .tag('N')
                            .count(2)
                            .newType(2, u"sample.Money")
                            .append(std::int64_t{1})
                            .id(-2)
                            .append(std::int64_t{2})),
            R"(["1","2"])");
}

// --- Failures.

TEST(BinParserDump, RefusesACustomValueWithoutSerializer) {
  const std::string expected = testsupport::failedCheck("pCustomBinSerializer != nullptr");
  testsupport::sampleMetaModel();
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('N').newType(2, u"sample.Opaque")), expected);
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('N').newType(2, u"x.Unknown")), expected);
}

TEST(BinParserDump, RefusesTypesAndLiteralsOfIdZero) {
  const std::string expected = testsupport::failedCheck("id != 0");
  EXPECT_EQ(failureOfDump(HandmadeStream().root().id(1).id(0)), expected);
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('e').id(0)), expected);
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('r').id(0)), expected);
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('N').id(0)), expected);
}

TEST(BinParserDump, RefusesRootsOfAnotherTagAndStreamsWithoutEnd) {
  const std::string expected = testsupport::failedCheck("t == SerializationTag::MODEL_ELEMENT");
  EXPECT_EQ(failureOfDump(HandmadeStream().tag('i')), expected);
  EXPECT_EQ(failureOfDump(HandmadeStream()), expected);
  EXPECT_EQ(failureOfDump(openRoot().noMore()), expected);
  EXPECT_EQ(testsupport::withoutReaderLine(testsupport::messageOfFailure([] { static_cast<void>(dumped("Z")); })),
            expected);
}

TEST(BinParserDump, RefusesTagsOfNoValue) {
  const auto failure = [](char tag) { return failureOfDump(openRoot().newProperty(1, u"p").tag(tag)); };
  EXPECT_EQ(failure('?'), "Unexpected serialization tag <unknown 63>.");
  EXPECT_EQ(failure('\xff'), "Unexpected serialization tag <unknown -1>.");
  EXPECT_EQ(failure('t'), "Unexpected serialization tag <unknown 116>.");
  EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p")), "Unexpected serialization tag <unknown -1>.");
  const auto entries = [](char tag) {
    return failureOfDump(openRoot().newProperty(1, u"p").tag('[').tag(tag).count(1));
  };
  EXPECT_EQ(entries('['), "Unexpected serialization tag COLLECTION.");
  EXPECT_EQ(entries('?'), "Unexpected serialization tag <unknown 63>.");
}

TEST(BinParserDump, RefusesIdsThatWereNeverDefined) {
  const std::string expected = testsupport::failedCheck("definition != nullptr");
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  for (const std::int64_t id : {std::int64_t{-2}, kLowest}) {
    EXPECT_EQ(failureOfDump(openRoot().noMore().root().id(id)), expected);
    EXPECT_EQ(failureOfDump(openRoot().id(id)), expected);
    EXPECT_EQ(failureOfDump(openRoot().noMore().root().id(2).id(id)), expected);
    EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('e').id(id)), expected);
    EXPECT_EQ(failureOfDump(openRoot().newProperty(1, u"p").tag('r').id(id)), expected);
  }
  HandmadeStream behindTheGap = openRoot();
  behindTheGap.newProperty(3, u"p").tag('[').tag('m').count(1).newElement(4, 5, u"x.U", 2).reference();
  EXPECT_EQ(failureOfDump(HandmadeStream(behindTheGap).id(-4)), expected);
  EXPECT_EQ(failureOfDump(HandmadeStream(behindTheGap).id(-3).tag('m').id(-5)), expected);
  EXPECT_EQ(failureOfDump(HandmadeStream(behindTheGap).id(-3).tag('r').id(-6)), expected);
}

TEST(BinParserDump, TakesHighIdsForWhatLowOnesCost) {
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  HandmadeStream stream;
  stream.root().newElement(kHighest, kHighest, u"x.T", 1).full().newProperty(kHighest, u"p");
  stream.tag('m').id(-kHighest).reference().noMore().end();
  EXPECT_EQ(dumped(stream), document(element(R"({"p":{"type":"x.T","uuid":")" + uuid("01") + "\"}}")));
}

std::string typeErrorOf(const HandmadeStream& stream) {
  try {
    static_cast<void>(dumped(stream));
  } catch (const nlohmann::json::type_error& error) {
    return error.what();
  }
  ADD_FAILURE() << "no type_error was thrown";
  return {};
}

TEST(BinParserDump, PassesTheLibrarysErrorForTextThatIsNoUtf8) {
  const auto withString = [](const std::string& bytes) {
    return typeErrorOf(openRoot().newProperty(1, u"p").tag('s').append(bytes).noMore().end());
  };
  EXPECT_THAT(withString("ab\xff"), testing::HasSubstr("invalid UTF-8 byte at index 2: 0xFF"));
  EXPECT_THAT(withString("ab\xe2\x82"), testing::HasSubstr("incomplete UTF-8 string; last byte: 0x82"));
  const std::u16string half = {u'a', char16_t{0xD800}};
  const std::string expected = "invalid UTF-8 byte at index 2: 0xA0";
  EXPECT_THAT(typeErrorOf(openRoot().newProperty(1, u"p").tag('S').text(half).noMore().end()),
              testing::HasSubstr(expected));
  EXPECT_THAT(typeErrorOf(openRoot().newProperty(1, half).tag('n').noMore().end()), testing::HasSubstr(expected));
  EXPECT_THAT(typeErrorOf(HandmadeStream().root().newElement(1, 1, half, 1).reference().end()),
              testing::HasSubstr(expected));
}

TEST(BinParserDump, ForgivesBadTextThatALaterPropertyReplaces) {
  EXPECT_EQ(closed(openRoot().newProperty(1, u"p").tag('s').append(std::string("\xff")).id(-1).tag('n')),
            document(element(R"({"p":null})")));
}

// --- Whole models, beside the plain dump.

void expectLiteral(const std::vector<kern::ModelElement>& roots) {
  for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
    const std::string container = testsupport::saved(roots, format);
    EXPECT_EQ(dumped(container), testsupport::dumpLiterally(container));
  }
}

TEST(BinParserDump, OfSampleModelsIsThePlainOne) {
  const kern::Model references = testsupport::emptyModel();
  testsupport::fillReferences(references);
  expectLiteral(references->getTopLevelElements());
  const kern::Model lines = testsupport::emptyModel();
  testsupport::fillLines(lines, testsupport::newSample(lines, u"Box", 1));
  expectLiteral(lines->getTopLevelElements());
}

TEST(BinParserDump, OfEveryKindOfValueIsThePlainOne) {
  testsupport::moneySerializer();
  const kern::Model model = testsupport::emptyModel();
  const kern::ModelElement everything = testsupport::fillEverything(model);
  // Its 8-bit strings are no UTF-8 on purpose.
  for (const char16_t* const name : {u"manyStdString", u"genericStdString"}) {
    everything->getPropertyValue(everything->property(name), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS)
        .toPrimitiveCollection()
        .clear();
  }
  expectLiteral({everything});
}

TEST(BinParserDump, OfModelsDrawnByChanceIsThePlainOne) {
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const kern::Model model = testsupport::emptyModel();
    testsupport::fillByChance(model, seed, seed * 3);
    expectLiteral(model->getTopLevelElements());
  }
}

}  // namespace
}  // namespace quillon::nimbo
