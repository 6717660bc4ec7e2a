#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Testing.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "quillon/nimbo/BinParser.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/ReaderMetaModel.h"

namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::documentedHex;
using testsupport::elementOf;
using testsupport::failedCheck;
using testsupport::failureOfLoading;
using testsupport::fromAnnotatedHex;
using testsupport::HandmadeStream;
using testsupport::loaded;
using testsupport::loadInto;
using testsupport::LogCapture;
using testsupport::messageOfFailure;
using testsupport::uuidEndingIn;

constexpr int kDebug = 300;
constexpr int kQuiet = 301;

// Streams are laid out record by record.
// clang-format off

/// A stream of "sample" and "reading"; both are registered then.
HandmadeStream stream(const std::vector<std::u16string>& packageUris = {}) {
  testsupport::sampleMetaModel();
  testsupport::registerReaderMetaModel();
  return HandmadeStream(packageUris);
}

/// One root, a Box of that uuid without properties.
std::string oneBox(std::uint8_t last) {
  return stream().root().newElement(1, 1, u"sample.Box", last).full().noMore().end().container();
}

ModelElement newBox(const Model& model, std::uint8_t last) { return testsupport::newSample(model, u"Box", last); }

std::vector<std::uint8_t> lastBytes(const std::vector<ModelElement>& elements) {
  std::vector<std::uint8_t> bytes;
  for (const ModelElement& element : elements) bytes.push_back(element->getUuid().data[15]);
  return bytes;
}

std::vector<std::uint8_t> contentOf(const Model& model) {
  return lastBytes(model->getAllElements(kern::FindElementBehavior::Anywhere));
}

// --- The parser as an object.

TEST(BinParser, BeginsWithoutModelAndEvolves) {
  const BinParser parser;
  EXPECT_FALSE(parser.getModel());
  EXPECT_TRUE(parser.getEvolveIfNeeded());
}

TEST(BinParser, KeepsWhatItIsTold) {
  BinParser parser;
  const Model model = testsupport::emptyModel();
  parser.setModel(model);
  parser.setEvolveIfNeeded(false);
  EXPECT_EQ(parser.getModel(), model);
  EXPECT_FALSE(parser.getEvolveIfNeeded());
  parser.setModel(Model());
  EXPECT_FALSE(parser.getModel());
}

TEST(BinParser, MakesAModelBeforeAByteIsRead) {
  BinParser parser;
  parser.parse(std::string());
  ASSERT_TRUE(parser.getModel());
  EXPECT_EQ(parser.getModel()->getElementCount(), 0U);
}

TEST(BinParser, UsesItsModelAgain) {
  BinParser parser;
  parser.parse(oneBox(1));
  const Model model = parser.getModel();
  parser.parse(oneBox(2));
  EXPECT_EQ(parser.getModel(), model);
  EXPECT_THAT(contentOf(model), ElementsAre(1, 2));
}

TEST(BinParser, SharesItsModelWithCopies) {
  BinParser parser;
  parser.setEvolveIfNeeded(false);
  parser.parse(oneBox(1));
  BinParser copy(parser);
  EXPECT_EQ(copy.getModel(), parser.getModel());
  EXPECT_FALSE(copy.getEvolveIfNeeded());
  BinParser assigned;
  assigned = parser;
  EXPECT_EQ(assigned.getModel(), parser.getModel());
  EXPECT_FALSE(assigned.getEvolveIfNeeded());
  copy.parse(oneBox(2));
  assigned.parse(oneBox(3));
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1, 2, 3));
  copy.setModel(Model());
  EXPECT_TRUE(parser.getModel());
}

TEST(BinParser, SurvivesAssignmentToItself) {
  BinParser parser;
  parser.parse(oneBox(1));
  const Model model = parser.getModel();
  BinParser& itself = parser;
  parser = itself;
  EXPECT_EQ(parser.getModel(), model);
  parser.parse(oneBox(2));
  EXPECT_THAT(contentOf(model), ElementsAre(1, 2));
}

TEST(BinParser, HandsItsModelOverWhenMoved) {
  static_assert(std::is_nothrow_move_constructible_v<BinParser> && std::is_nothrow_move_assignable_v<BinParser>);
  BinParser parser;
  parser.setEvolveIfNeeded(false);
  parser.parse(oneBox(1));
  const Model model = parser.getModel();
  BinParser moved(std::move(parser));
  EXPECT_EQ(moved.getModel(), model);
  EXPECT_FALSE(moved.getEvolveIfNeeded());
  EXPECT_FALSE(parser.getModel());           // NOLINT(bugprone-use-after-move): what is left behind is promised
  EXPECT_FALSE(parser.getEvolveIfNeeded());  // NOLINT(bugprone-use-after-move)
  BinParser assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.getModel(), model);
}

TEST(BinParser, CanBeUsedAfterItWasMovedFrom) {
  BinParser parser;
  parser.parse(oneBox(1));
  const BinParser moved(std::move(parser));
  parser.parse(oneBox(2));  // NOLINT(bugprone-use-after-move): promised to work
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(2));
  EXPECT_THAT(contentOf(moved.getModel()), ElementsAre(1));
}

TEST(BinParser, CanBeCopiedAndUsedAgainAfterAFailure) {
  const testsupport::CerrCapture quiet;
  BinParser parser;
  const std::string cut =
      stream().root().newElement(1, 1, u"sample.Box", 1).full().newProperty(1, u"name").tag('?').container();
  EXPECT_THROW(parser.parse(cut), BinSerializationException);
  BinParser copy(parser);
  copy.parse(oneBox(1));
  parser.parse(oneBox(2));
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1, 2));
}

// --- Containers.

TEST(BinParser, ReadsTheWorkedExample) {
  const auto& demo = testsupport::demoMetaModel();
  const Model model = loaded(fromAnnotatedHex(documentedHex("docs/formats/binary.md", "worked-example")));
  const std::vector<ModelElement> roots = model->getTopLevelElements();
  ASSERT_EQ(roots.size(), 1U);
  EXPECT_EQ(roots[0]->getMetaClass(), demo.node);
  EXPECT_EQ(roots[0]->get<std::int32_t>(demo.count), 7);
  EXPECT_EQ(roots[0]->get<std::u16string>(demo.label), u"ab");
  EXPECT_EQ(testsupport::detail::toHex(std::string(roots[0]->getUuid().begin(), roots[0]->getUuid().end())),
            "00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff");
}

TEST(BinParser, ReadsTheEmptyContainer) {
  const Model model = loaded(fromAnnotatedHex(documentedHex("docs/formats/binary.md", "empty-container")));
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(BinParser, ReadsTheSameFromEachBinaryContainer) {
  const std::string payload = oneBox(1).substr(1);
  EXPECT_THAT(contentOf(loaded("B" + payload)), ElementsAre(1));
  EXPECT_THAT(contentOf(loaded(testsupport::zlibContainer('Z', payload))), ElementsAre(1));
  EXPECT_THAT(contentOf(loaded(testsupport::zstdContainer('z', payload))), ElementsAre(1));
}

TEST(BinParser, IgnoresWhatFollowsACompressedPayload) {
  const std::string payload = oneBox(1).substr(1);
  EXPECT_THAT(contentOf(loaded(testsupport::zstdContainer('z', payload + "behind the end tag") + "behind the data")),
              ElementsAre(1));
}

TEST(BinParser, ReadsNothingFromAContainerOfAnUnknownLetter) {
  const std::string behindLetter = oneBox(1).substr(1);
  for (int byte = 0; byte < 256; ++byte) {
    const char letter = static_cast<char>(byte);
    if (std::string("BZzJCc").find(letter) != std::string::npos) continue;
    EXPECT_EQ(loaded(letter + behindLetter)->getElementCount(), 0U) << byte;
  }
}

TEST(BinParser, ReadsNothingFromAStreamThatHasFailed) {
  std::istringstream failed(oneBox(1));
  failed.setstate(std::ios_base::failbit);
  BinParser parser;
  parser.parse(failed);
  EXPECT_EQ(parser.getModel()->getElementCount(), 0U);
}

TEST(BinParser, ReadsFromStringsStreamsAndArchives) {
  const std::string container = oneBox(1);
  BinParser fromStream;
  std::istringstream input(container);
  fromStream.parse(input);
  BinParser fromArchive;
  std::istringstream behindArchive(container);
  StreamIArchive archive(behindArchive);
  fromArchive.parse(archive);
  EXPECT_THAT(contentOf(fromStream.getModel()), ElementsAre(1));
  EXPECT_THAT(contentOf(fromArchive.getModel()), ElementsAre(1));
}

TEST(BinParser, LeavesTheBytesBehindTheEndTagUnread) {
  std::istringstream input(oneBox(1) + std::string(8, '\0') + oneBox(2));
  BinParser parser;
  parser.parse(input);
  EXPECT_EQ(input.tellg(), static_cast<std::streamoff>(oneBox(1).size()));
  input.ignore(8);
  parser.parse(input);
  EXPECT_TRUE(input.good());
  EXPECT_EQ(input.peek(), std::istringstream::traits_type::eof());
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1, 2));
}

TEST(BinParser, TakesTheEightBytesForAnUnknownLetterUnlessTheyAreSkipped) {
  std::istringstream input(oneBox(1) + std::string(8, '\0') + oneBox(2));
  BinParser parser;
  parser.parse(input);
  parser.parse(input);
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1));
}

TEST(BinParser, NeedsNoByteBehindTheEndTag) { EXPECT_THAT(contentOf(loaded(oneBox(1))), ElementsAre(1)); }

TEST(BinParser, ReadsCompressedContainersBackToBack) {
  std::istringstream input(testsupport::zstdContainer('z', oneBox(1).substr(1)) +
                           testsupport::zlibContainer('Z', oneBox(2).substr(1)));
  BinParser parser;
  parser.parse(input);
  parser.parse(input);
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1, 2));
}

TEST(BinParser, HandsTheTextOfJsonContainersToTheTextParser) {
  const std::string bad = "{}";
  std::ostringstream plain;
  StreamOArchive(plain).put('J') << bad;
  for (const std::string& container :
       {plain.str(), testsupport::zlibContainer('C', bad), testsupport::zstdContainer('c', bad)}) {
    const Model model = testsupport::emptyModel();
    EXPECT_THROW(testsupport::loadInto(model, container), kern::io::ParseError);
  }
}

// --- Package URIs.

HandmadeStream thing(const std::vector<std::u16string>& packageUris) {
  return stream(packageUris).root().newElement(1, 1, u"ageing.Thing", 1).full().noMore().end();
}

std::u16string ageingUri(const std::u16string& version) {
  return kern::meta::MetaRegistry::schemaBaseUri() + u"ageing/" + version;
}

TEST(BinParser, ReadsAStreamWithoutPackageUrisDirectly) {
  EXPECT_THAT(contentOf(loaded(thing({}).container())), ElementsAre(1));
}

TEST(BinParser, ReadsAStreamOfTheCurrentVersionDirectly) {
  EXPECT_THAT(contentOf(loaded(thing({ageingUri(u"2.0"), u"urn:sample"}).container())), ElementsAre(1));
}

TEST(BinParser, ReadsAStreamOfAnUnknownFamilyDirectlyHoweverOldItIs) {
  const std::u16string base = kern::meta::MetaRegistry::schemaBaseUri();
  EXPECT_THAT(contentOf(loaded(thing({base + u"nobody/0.1", u"urn:x", base, base + u"ageing", u""}).container())),
              ElementsAre(1));
}

HandmadeStream thingWithAPropertyThatIsUnknown(const std::u16string& packageUri) {
  return stream({packageUri}).root().newElement(1, 1, u"ageing.Thing", 1).full().newProperty(1, u"unknown").tag('n')
      .noMore().end();
}

TEST(BinParser, SendsAStreamOfAnotherVersionTheWayOfJsonText) {
  EXPECT_THAT(contentOf(loaded(thing({u"urn:x", ageingUri(u"1.0")}).container())), ElementsAre(1));
  EXPECT_THAT(contentOf(loaded(testsupport::zstdContainer('z', thing({ageingUri(u"1.0")}).payload()))),
              ElementsAre(1));
  const std::string stale = thingWithAPropertyThatIsUnknown(ageingUri(u"1.0")).container();
  EXPECT_ANY_THROW(loaded(stale));
  try {
    loaded(stale);
  } catch (const BinSerializationException&) {
    ADD_FAILURE() << "read directly";
  } catch (const std::exception&) {
  }
  EXPECT_EQ(failureOfLoading(thingWithAPropertyThatIsUnknown(ageingUri(u"2.0")).container()),
            "Could not find property \"unknown\" in type Thing.");
}

TEST(BinParser, SendsItThereAlsoWithEvolutionOff) {
  BinParser parser;
  parser.setEvolveIfNeeded(false);
  parser.parse(thing({ageingUri(u"1.0")}).container());
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1));
  EXPECT_THROW(parser.parse(thingWithAPropertyThatIsUnknown(ageingUri(u"1.0")).container()), kern::io::ParseError);
}

// --- Roots and tags.

TEST(BinParser, ReadsRootsInTheOrderOfTheStream) {
  const std::string container = stream().root().newElement(1, 1, u"sample.Box", 9).full().noMore()
      .root().newElement(2, -1, 3).full().noMore()
      .root().newElement(3, -1, 5).full().noMore().end().container();
  EXPECT_THAT(lastBytes(loaded(container)->getTopLevelElements()), ElementsAre(9, 3, 5));
}

TEST(BinParser, AcceptsANullRoot) {
  EXPECT_EQ(loaded(stream().root().id(0).root().id(0).end().container())->getElementCount(), 0U);
}

TEST(BinParser, RefusesARootThatIsNoElement) {
  const std::string expected = failedCheck("t == SerializationTag::MODEL_ELEMENT");
  EXPECT_EQ(failureOfLoading(stream().tag('?').container()), expected);
  EXPECT_EQ(failureOfLoading(stream().tag('[').container()), expected);
  EXPECT_EQ(failureOfLoading(stream().tag('\xff').container()), expected);
  EXPECT_EQ(failureOfLoading(stream().container()), expected);  // the end of the bytes is no tag
  EXPECT_EQ(failureOfLoading("B"), expected);
}

// --- References to types.

TEST(BinParser, FindsTypesByQualifiedName) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full().noMore()
      .root().newElement(2, 2, u"reading.Circle", 2).full().noMore()
      .root().newElement(3, -1, 3).full().noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->getMetaClass()->getQualifiedName(), u"sample.Box");
  EXPECT_EQ(elementOf(model, 2)->getMetaClass()->getQualifiedName(), u"reading.Circle");
  EXPECT_EQ(elementOf(model, 3)->getMetaClass()->getQualifiedName(), u"sample.Box");
}

TEST(BinParser, RefusesTypeIdZero) {
  EXPECT_EQ(failureOfLoading(stream().root().id(1).id(0).container()), failedCheck("id != 0"));
}

TEST(BinParser, RefusesAnUnknownType) {
  EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, u"sample.K\u00e4fer", 1).full().container()),
            "Could not find type \"sample.K\xc3\xa4"
            "fer\" in meta-registry.");
  EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, u"", 1).container()),
            "Could not find type \"\" in meta-registry.");
}

TEST(BinParser, RefusesATypeThatWasNeverDefined) {
  const std::string expected = failedCheck("type != nullptr");
  EXPECT_EQ(failureOfLoading(stream().root().id(1).id(-1).container()), expected);
  EXPECT_EQ(failureOfLoading(stream().root().id(1).id(INT64_MIN).container()), expected);
  const auto defineThree = stream().root().newElement(1, 3, u"sample.Box", 1).reference();
  EXPECT_EQ(failureOfLoading(HandmadeStream(defineThree).root().id(2).id(-2).container()), expected);  // in the gap
  EXPECT_EQ(failureOfLoading(HandmadeStream(defineThree).root().id(2).id(-4).container()), expected);
}

TEST(BinParser, RefusesATypeThatIsNoClass) {
  for (const char16_t* const name : {u"sample.Color", u"sample.Point", u"sample.Money", u"Integer"}) {
    EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, name, 1).full().noMore().end().container()),
              failedCheck("static_cast<bool>(metaClass)"));
  }
}

TEST(BinParser, PassesOnThatAnAbstractClassHasNoInstances) {
  const Model model = testsupport::emptyModel();
  const auto container = stream().root().newElement(1, 1, u"reading.Shape", 1).full().noMore().end().container();
  EXPECT_THROW(loadInto(model, container), kern::InstantiationError);
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

TEST(BinParser, TakesTheLaterDefinitionOfATypeId) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full().noMore()
      .root().newElement(2, 1, u"reading.Circle", 2).full().noMore()
      .root().newElement(3, -1, 3).full().noMore().end().container());
  EXPECT_EQ(elementOf(model, 3)->getMetaClass()->getName(), u"Circle");
}

// --- References to properties.

HandmadeStream circle() { return stream().root().newElement(1, 1, u"reading.Circle", 1).full(); }

TEST(BinParser, ReadsPropertiesInAnyOrderInheritedOnesIncluded) {
  const Model model = loaded(circle()
      .newProperty(1, u"name").tag('S').text(u"round")
      .newProperty(2, u"radius").tag('i').append(std::int32_t{4}).noMore()
      .root().newElement(2, -1, 2).full()
      .id(-2).tag('i').append(std::int32_t{5})
      .id(-1).tag('S').text(u"rounder").noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<std::u16string>(u"name"), u"round");
  EXPECT_EQ(elementOf(model, 1)->get<std::int32_t>(u"radius"), 4);
  EXPECT_EQ(elementOf(model, 2)->get<std::u16string>(u"name"), u"rounder");
  EXPECT_EQ(elementOf(model, 2)->get<std::int32_t>(u"radius"), 5);
}

TEST(BinParser, RefusesAnUnknownProperty) {
  EXPECT_EQ(failureOfLoading(circle().newProperty(1, u"di\u00e4meter").container()),
            "Could not find property \"di\xc3\xa4"
            "meter\" in type Circle.");
}

TEST(BinParser, RefusesAPropertyBeyondTheLastDefinedOne) {
  const std::string expected = failedCheck("index < fTables.properties.size()");
  EXPECT_EQ(failureOfLoading(circle().id(-1).container()), expected);
  EXPECT_EQ(failureOfLoading(circle().id(INT64_MIN).container()), expected);
  EXPECT_EQ(failureOfLoading(circle().newProperty(2, u"name").tag('n').id(-3).container()), expected);
}

TEST(BinParser, EndsThePropertiesAtAPropertyInAGap) {
  const Model model = loaded(circle().newProperty(2, u"name").tag('S').text(u"a").id(-1).end().container());
  EXPECT_EQ(elementOf(model, 1)->get<std::u16string>(u"name"), u"a");
}

TEST(BinParser, PassesOnThatAClassLacksAPropertyOfAnotherClass) {
  const Model model = testsupport::emptyModel();
  const auto container = stream().root().newElement(1, 1, u"reading.Stranger", 1).full()
      .newProperty(1, u"name").tag('S').text(u"a").noMore()
      .root().newElement(2, 2, u"reading.Circle", 2).full()
      .id(-1).tag('S').text(u"b").noMore().end().container();
  EXPECT_THROW(loadInto(model, container), kern::PropertyError);
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(BinParser, TakesTheLaterDefinitionOfAPropertyId) {
  const Model model = loaded(circle()
      .newProperty(1, u"name").tag('S').text(u"a")
      .newProperty(1, u"radius").tag('i').append(std::int32_t{1})
      .id(-1).tag('i').append(std::int32_t{2}).noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<std::int32_t>(u"radius"), 2);
}

TEST(BinParser, ReadsAnOmittedPropertyThatAStreamNames) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Omitting", 1).full()
      .newProperty(1, u"transient").tag('i').append(std::int32_t{6})
      .newProperty(2, u"derived").tag('i').append(std::int32_t{7}).noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<std::int32_t>(u"transient"), 6);
  EXPECT_EQ(elementOf(model, 1)->get<std::int32_t>(u"derived"), 7);
}

// --- References to enum literals.

HandmadeStream colored() {
  return stream().root().newElement(1, 1, u"sample.RequiredColor", 1).full().newProperty(1, u"value").tag('e');
}

TEST(BinParser, FindsLiteralsByName) {
  const Model model = loaded(colored().id(1).text(u"blue").noMore()
      .root().newElement(2, -1, 2).full()
      .id(-1).tag('e').id(-1).noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<std::int64_t>(u"value"), 7);
  EXPECT_EQ(elementOf(model, 2)->get<std::int64_t>(u"value"), 7);
}

TEST(BinParser, RefusesLiteralIdZero) {
  EXPECT_EQ(failureOfLoading(colored().id(0).container()), failedCheck("id != 0"));
}

TEST(BinParser, RefusesAnUnknownLiteral) {
  EXPECT_EQ(failureOfLoading(colored().id(1).text(u"\u00fcbel").container()),
            "Could not find literal \"\xc3\xbc"
            "bel\" in enum Color.");
}

TEST(BinParser, RefusesALiteralThatWasNeverDefined) {
  const std::string expected = failedCheck("literal != nullptr");
  EXPECT_EQ(failureOfLoading(colored().id(-1).container()), expected);
  EXPECT_EQ(failureOfLoading(colored().id(INT64_MIN).container()), expected);
  EXPECT_EQ(failureOfLoading(colored().id(3).text(u"red").id(-1).tag('e').id(-2).container()), expected);
}

// --- Elements.

TEST(BinParser, GivesElementsTheUuidsOfTheStream) {
  const Model model = loaded(oneBox(77));
  ASSERT_TRUE(elementOf(model, 77));
  EXPECT_EQ(elementOf(model, 77)->getMetaClass()->getName(), u"Box");
}

TEST(BinParser, GivesANilUuidAFreshOne) {
  const Model model = loaded(oneBox(0));
  const std::vector<ModelElement> roots = model->getTopLevelElements();
  ASSERT_EQ(roots.size(), 1U);
  EXPECT_FALSE(roots[0]->getUuid().is_nil());
  EXPECT_FALSE(elementOf(model, 0));
}

TEST(BinParser, MakesOneElementOfAReferenceAndLaterContents) {
  const LogCapture log(kDebug);
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full()
      .newProperty(1, u"link").tag('m').newElement(2, -1, 2).reference()
      .newProperty(2, u"content").tag('m').id(-2).full()
      .newProperty(3, u"name").tag('S').text(u"inner").noMore().noMore().end().container());
  EXPECT_THAT(contentOf(model), ElementsAre(1, 2));
  const ModelElement inner = elementOf(model, 2);
  EXPECT_EQ(inner->get<std::u16string>(u"name"), u"inner");
  EXPECT_EQ(inner->container(), elementOf(model, 1));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"link"), inner);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinParser, ReadsAReferenceToARootThatComesLater) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full()
      .newProperty(1, u"link").tag('m').newElement(2, -1, 2).reference().noMore()
      .root().newElement(3, -1, 3).full().noMore()
      .root().id(-2).full()
      .id(-1).tag('m').id(-1).reference().noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"link"), elementOf(model, 2));
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"link"), elementOf(model, 1));
  EXPECT_THAT(lastBytes(model->getTopLevelElements()), ElementsAre(1, 2, 3));  // made at their first mention
}

TEST(BinParser, TakesEveryFlagButTForAReference) {
  for (const char flag : {'F', 't', '\0', '\xff'}) {
    const LogCapture log(kQuiet);
    const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full()
        .newProperty(1, u"link").tag('m').id(-1).tag(flag)
        .newProperty(2, u"name").tag('S').text(u"a").noMore().end().container());
    EXPECT_EQ(elementOf(model, 1)->get<std::u16string>(u"name"), u"a");
  }
}

TEST(BinParser, ReadsAReferenceToAnElementInsideItsOwnContents) {
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full()
      .newProperty(1, u"link").tag('m').id(-1).reference().noMore().end().container());
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"link"), elementOf(model, 1));
}

const char* const kBoxOneExists =
    "Error: A Box element with UUID 00000000-0000-0000-0000-000000000001 already exists in the target model.";

TEST(BinParser, RefusesContentsInsideTheElementsOwnContents) {
  EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, u"sample.Box", 1).full()
      .newProperty(1, u"content").tag('m').id(-1).full().noMore().noMore().end().container()),
            kBoxOneExists);
}

TEST(BinParser, RefusesContentsThatStandTwice) {
  EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, u"sample.Box", 1).full().noMore()
      .root().id(-1).full().noMore().end().container()),
            kBoxOneExists);
}

TEST(BinParser, RefusesAnElementThatWasNeverDefined) {
  const std::string expected = failedCheck("entry != nullptr");
  EXPECT_EQ(failureOfLoading(stream().root().id(-1).reference().container()), expected);
  EXPECT_EQ(failureOfLoading(stream().root().id(INT64_MIN).reference().container()), expected);
  const auto defineThree = stream().root().newElement(3, 1, u"sample.Box", 1).full().noMore();
  EXPECT_EQ(failureOfLoading(HandmadeStream(defineThree).root().id(-1).reference().container()), expected);  // a gap
  EXPECT_EQ(failureOfLoading(HandmadeStream(defineThree).root().id(-4).reference().container()), expected);
}

TEST(BinParser, AcceptsIdsWithGaps) {
  const Model model = loaded(stream().root().newElement(5, 3, u"sample.Box", 1).full()
      .newProperty(9, u"link").tag('m').id(-5).reference().noMore()
      .root().newElement(1000, -3, 2).full()
      .id(-9).tag('m').id(-5).reference().noMore().end().container());
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"link"), elementOf(model, 1));
}

TEST(BinParser, TakesTheLaterDefinitionOfAnElementId) {
  const LogCapture log(kDebug);
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).reference()
      .root().newElement(1, -1, 2).full()
      .newProperty(1, u"link").tag('m').id(-1).reference().noMore().end().container());
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"link"), elementOf(model, 2));
  EXPECT_TRUE(elementOf(model, 1)) << "an entry that was replaced is no longer known as dangling";
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinParser, TakesASecondIdOfAnElementForAReferenceToAnExistingOne) {
  const LogCapture log(kDebug);
  const Model model = loaded(stream().root().newElement(1, 1, u"sample.Box", 1).full().noMore()
      .root().newElement(2, -1, 1).reference()
      .end().container());
  EXPECT_THAT(contentOf(model), ElementsAre(1));
  EXPECT_THAT(log.lines(), ElementsAre("Note: A reference to the already existing Box element with UUID "
                                       "00000000-0000-0000-0000-000000000001 was parsed.\n"));
}

TEST(BinParser, RefusesContentsUnderASecondIdOfAnElement) {
  EXPECT_EQ(failureOfLoading(stream().root().newElement(1, 1, u"sample.Box", 1).reference()
      .root().newElement(2, -1, 1).full().noMore().end().container()),
            kBoxOneExists);
}

// --- Elements that the model has already.

HandmadeStream boxTwoLinkingTo(std::uint8_t last) {
  return stream().root().newElement(1, 1, u"sample.Box", 2).full()
      .newProperty(1, u"link").tag('m').newElement(2, -1, last).reference().noMore();
}

TEST(BinParser, RefersToAnElementOfTheModel) {
  const Model model = testsupport::emptyModel();
  const ModelElement existing = newBox(model, 1);
  const LogCapture log(kDebug);
  loadInto(model, boxTwoLinkingTo(1).end().container());
  EXPECT_EQ(elementOf(model, 2)->get<ModelElement>(u"link"), existing);
  EXPECT_FALSE(existing->isDestroyed());
  EXPECT_THAT(log.lines(), ElementsAre("Note: A reference to the already existing Box element with UUID "
                                       "00000000-0000-0000-0000-000000000001 was parsed.\n"));
}

TEST(BinParser, IsQuietAboutItUnlessDebugLinesAreWanted) {
  const Model model = testsupport::emptyModel();
  newBox(model, 1);
  const LogCapture log(kQuiet);
  loadInto(model, boxTwoLinkingTo(1).end().container());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinParser, RefusesContentsOfAnElementOfTheModelAndNotesItFirst) {
  const Model model = testsupport::emptyModel();
  newBox(model, 1)->set(u"name", std::u16string(u"mine"));
  const LogCapture log(kDebug);
  EXPECT_EQ(messageOfFailure([&] { loadInto(model, oneBox(1)); }), kBoxOneExists);
  EXPECT_THAT(contentOf(model), ElementsAre(1));
  EXPECT_EQ(elementOf(model, 1)->get<std::u16string>(u"name"), u"mine");
  EXPECT_THAT(log.lines(), ElementsAre("Note: A reference to the already existing Box element with UUID "
                                       "00000000-0000-0000-0000-000000000001 was parsed.\n"));
}

TEST(BinParser, RefusesAnElementThatHasAnotherClassInTheModel) {
  const Model model = testsupport::emptyModel();
  testsupport::newSample(model, u"Bag", 1);
  EXPECT_EQ(messageOfFailure([&] { loadInto(model, boxTwoLinkingTo(1).end().container()); }),
            "Error: A reference to the Box element with UUID 00000000-0000-0000-0000-000000000001 was parsed but "
            "matches an existing Bag element in the target model.");
  EXPECT_THAT(contentOf(model), ElementsAre(1));
}

TEST(BinParser, TakesASubclassForAnotherClass) {
  const Model model = testsupport::emptyModel();
  testsupport::newSample(model, u"BigBox", 1);
  EXPECT_EQ(messageOfFailure([&] { loadInto(model, boxTwoLinkingTo(1).end().container()); }),
            "Error: A reference to the Box element with UUID 00000000-0000-0000-0000-000000000001 was parsed but "
            "matches an existing BigBox element in the target model.");
}

TEST(BinParser, LeavesTheRestOfTheModelAlone) {
  const Model model = testsupport::emptyModel();
  newBox(model, 9)->set(u"name", std::u16string(u"mine"));
  loadInto(model, oneBox(1));
  EXPECT_THAT(contentOf(model), ElementsAre(9, 1));
  EXPECT_EQ(elementOf(model, 9)->get<std::u16string>(u"name"), u"mine");
}

TEST(BinParser, RefusesToReadAStreamTwiceIntoOneModel) {
  BinParser parser;
  parser.parse(oneBox(1));
  EXPECT_EQ(messageOfFailure([&] { parser.parse(oneBox(1)); }), kBoxOneExists);
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1));
  EXPECT_EQ(parser.getModel()->getTransactionDepth(), 0U);
}

TEST(BinParser, ReadsStreamsThatReferToEachOtherIntoOneModel) {
  BinParser parser;
  parser.parse(oneBox(1));
  parser.parse(boxTwoLinkingTo(1).end().container());
  EXPECT_EQ(elementOf(parser.getModel(), 2)->get<ModelElement>(u"link"), elementOf(parser.getModel(), 1));
}

TEST(BinParser, ForgetsIdsFromOneStreamToTheNext) {
  BinParser parser;
  parser.parse(oneBox(1));
  const testsupport::CerrCapture quiet;
  EXPECT_THROW(parser.parse(stream().root().id(-1).reference().end().container()), BinSerializationException);
  EXPECT_THROW(parser.parse(stream().root().id(1).id(-1).append(uuidEndingIn(2)).full().noMore().end().container()),
               BinSerializationException);
  const std::string failing = stream().root().newElement(1, 1, u"sample.Box", 3).tag('T').id(-1).container();
  EXPECT_THROW(parser.parse(failing), BinSerializationException);
  EXPECT_THROW(parser.parse(stream().root().id(-1).reference().end().container()), BinSerializationException);
  EXPECT_THAT(contentOf(parser.getModel()), ElementsAre(1));
}

// --- Dangling references.

TEST(BinParser, DestroysWhatOnlyWasReferredTo) {
  const LogCapture log(kDebug);
  const Model model = loaded(boxTwoLinkingTo(1).end().container());
  EXPECT_THAT(contentOf(model), ElementsAre(2));
  EXPECT_FALSE(elementOf(model, 2)->get<ModelElement>(u"link"));
  EXPECT_THAT(log.lines(), ElementsAre("Warning: A dangling reference to the Box element with UUID "
                                       "00000000-0000-0000-0000-000000000001 was parsed.\n"));
}

std::string warning(const std::string& className, char last) {
  return "Warning: A dangling reference to the " + className +
         " element with UUID 00000000-0000-0000-0000-00000000000" + last + " was parsed.\n";
}

TEST(BinParser, WarnsInTheOrderOfTheIdsOncePerElement) {
  const LogCapture log(kDebug);
  const Model model = loaded(stream().root().newElement(4, 1, u"sample.Box", 1).full()
      .newProperty(1, u"links").tag('[').tag('m').count(5).newElement(9, -1, 2).reference()
      .newElement(2, 2, u"sample.BigBox", 3).reference().newElement(std::int64_t{1} << 60U, -1, 4).reference().id(-9)
      .reference().newElement(1, -1, 5).reference().noMore().end().container());
  EXPECT_THAT(contentOf(model), ElementsAre(1));
  EXPECT_THAT(log.lines(),
              ElementsAre(warning("Box", '5'), warning("BigBox", '3'), warning("Box", '2'), warning("Box", '4')));
}

TEST(BinParser, DestroysDanglingElementsAfterTheCommit) {
  struct Observer : kern::ModelObserver {
    void changed(const kern::ModelChange& change) override {
      created.push_back(lastBytes(change.created));
      destroyed.push_back(change.destroyed.size());
    }
    std::vector<std::vector<std::uint8_t>> created;
    std::vector<std::size_t> destroyed;
  } observer;
  const Model model = testsupport::emptyModel();
  model->addObserver(&observer);
  loadInto(model, boxTwoLinkingTo(1).end().container());
  model->removeObserver(&observer);
  EXPECT_THAT(observer.created, ElementsAre(ElementsAre(2, 1), IsEmpty()));
  EXPECT_THAT(observer.destroyed, ElementsAre(0U, 1U));
}

TEST(BinParser, KeepsADanglingReferenceToAnElementOfTheModel) {
  const Model model = testsupport::emptyModel();
  newBox(model, 1);
  const LogCapture log(kDebug);
  loadInto(model, stream().root().newElement(1, 1, u"sample.Box", 1).reference().end().container());
  EXPECT_THAT(contentOf(model), ElementsAre(1));
  EXPECT_EQ(log.lines().size(), 1U);
}

// --- Transactions.

TEST(BinParser, RollsEverythingBackWhenReadingFails) {
  const Model model = testsupport::emptyModel();
  const ModelElement existing = newBox(model, 9);
  const std::string container = boxTwoLinkingTo(9).root().tag('?').container();
  EXPECT_THAT(messageOfFailure([&] { loadInto(model, container); }), testing::HasSubstr("Assertion failed"));
  EXPECT_THAT(contentOf(model), ElementsAre(9));
  EXPECT_THAT(existing->incomingReferences(), IsEmpty());
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

TEST(BinParser, ReadsInsideAnOpenTransaction) {
  const Model model = testsupport::emptyModel();
  kern::Transaction outer = model->beginTransaction(false);
  loadInto(model, oneBox(1));
  EXPECT_EQ(model->getTransactionDepth(), 1U);
  EXPECT_THAT(contentOf(model), ElementsAre(1));
  outer.rollBack();
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(BinParser, LeavesAnOpenTransactionUsableWhenReadingFails) {
  const Model model = testsupport::emptyModel();
  kern::Transaction outer = model->beginTransaction(false);
  newBox(model, 9);
  EXPECT_THAT(messageOfFailure([&] { loadInto(model, boxTwoLinkingTo(9).root().tag('?').container()); }),
              testing::HasSubstr("Assertion failed"));
  EXPECT_EQ(model->getTransactionDepth(), 1U);
  loadInto(model, oneBox(1));
  outer.commit(boost::none);
  EXPECT_THAT(contentOf(model), ElementsAre(9, 1));
}

TEST(BinParser, PassesOnThatTheCommitFailed) {
  const Model model = testsupport::emptyModel();
  kern::testhooks::failNextCommit(model, "the disk is full");
  EXPECT_THROW(loadInto(model, oneBox(1)), kern::TransactionError);
  EXPECT_EQ(model->getElementCount(), 0U);
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

// clang-format on

}  // namespace
}  // namespace quillon::nimbo
