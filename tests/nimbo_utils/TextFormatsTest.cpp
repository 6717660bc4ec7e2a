#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// Where the binary family meets the framework's JSON text: containers of text, dumps that become models again, and
/// streams of older package versions, which come in that way.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using meta::StandardTypes;
using testsupport::emptyModel;
using testsupport::HandmadeStream;
using testsupport::loaded;
using testsupport::saved;

constexpr BinFormat kTextFormats[] = {BinFormat::Json, BinFormat::JsonZlib, BinFormat::JsonZstd};

std::string dumped(const std::string& container) {
  std::istringstream stream(container);
  return BinParser().parseToJSON(stream);
}

Model modelOf(const std::string& text) {
  const Model model = emptyModel();
  kern::io::JSONParser parser;
  parser.setModel(model);
  parser.parseString(text);
  return model;
}

std::string textOf(const std::vector<ModelElement>& roots) {
  std::string text;
  kern::io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(roots, kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

void expectEqual(const Model& left, const Model& right) {
  const auto difference = kern::firstDifference(left, right);
  EXPECT_FALSE(difference) << difference->text();
}

// --- Containers of text.

TEST(TextFormats, WritesTheSerializersTextIntoEachContainer) {
  const Model model = emptyModel();
  testsupport::fillReferences(model);
  const std::string text = textOf(model->getTopLevelElements());
  for (const BinFormat format : kTextFormats) {
    const std::string container = saved(model->getTopLevelElements(), format);
    EXPECT_EQ(container.front(), static_cast<char>(format));
    EXPECT_EQ(dumped(container), text);
  }
}

TEST(TextFormats, LaysAPlainTextOutAsLengthAndBytes) {
  const std::string container = saved({}, BinFormat::Json);
  const std::string text = textOf({});
  std::ostringstream expected;
  StreamOArchive(expected).put('J') << text;
  EXPECT_EQ(container, expected.str());
}

TEST(TextFormats, ReadsEachContainerBackToAnEqualModel) {
  testsupport::moneySerializer();
  for (std::uint32_t seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = emptyModel();
    testsupport::fillByChance(model, seed, seed * 4);
    testsupport::fillLines(model, testsupport::newSample(model, u"Box", 240));
    for (const BinFormat format : kTextFormats) expectEqual(model, loaded(saved(model->getTopLevelElements(), format)));
  }
}

TEST(TextFormats, KeepsEveryKindOfValueFromBinaryThroughTextToBinary) {
  testsupport::moneySerializer();
  const Model model = emptyModel();
  const ModelElement everything = testsupport::fillEverything(model);
  // Text has no place for 8-bit strings that are no UTF-8.
  for (const char16_t* const name : {u"manyStdString", u"genericStdString"}) {
    everything->getPropertyValue(everything->property(name), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS)
        .toPrimitiveCollection()
        .clear();
  }
  const std::string binary = saved(model->getTopLevelElements());
  const Model fromBinary = loaded(binary);
  const Model fromText = loaded(saved(fromBinary->getTopLevelElements(), BinFormat::Json));
  expectEqual(model, fromText);
  EXPECT_EQ(saved(fromText->getTopLevelElements()), binary);
}

TEST(TextFormats, KeepsModelsDrawnByChanceFromBinaryThroughTextToBinary) {
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = emptyModel();
    testsupport::fillByChance(model, seed, seed * 3);
    const std::string binary = saved(model->getTopLevelElements());
    const Model again = loaded(saved(loaded(binary)->getTopLevelElements(), BinFormat::JsonZstd));
    expectEqual(model, again);
    EXPECT_EQ(saved(again->getTopLevelElements()), binary);
  }
}

TEST(TextFormats, ReadsContainersOfTextBackToBack) {
  const Model model = emptyModel();
  std::string containers;
  for (std::uint8_t last = 1; last <= 3; ++last) {
    containers += saved({testsupport::newSample(model, u"Box", last)}, kTextFormats[last - 1]);
  }
  std::istringstream stream(containers);
  BinParser parser;
  for (int count = 0; count < 3; ++count) parser.parse(stream);
  expectEqual(model, parser.getModel());
}

TEST(TextFormats, LeavesTheModelAsItWasWhenTheTextIsRefused) {
  const Model model = emptyModel();
  testsupport::newSample(model, u"Box", 1);
  std::string text = textOf(model->getTopLevelElements());
  model->getTopLevelElements().front()->destroy();
  testsupport::newSample(model, u"Box", 2);
  text.pop_back();
  EXPECT_THROW(testsupport::loadInto(model, testsupport::zstdContainer('c', text)), kern::io::ParseError);
  EXPECT_EQ(model->getElementCount(), 1U);
  EXPECT_EQ(model->getTransactionDepth(), 0U);
}

TEST(TextFormats, AppliesTheRulesOfTheBinaryReaderToExistingElements) {
  const Model model = emptyModel();
  testsupport::fillReferences(model);
  const std::string container = saved(model->getTopLevelElements(), BinFormat::Json);
  EXPECT_ANY_THROW(testsupport::loadInto(model, container));
  expectEqual(model, loaded(container));
}

// --- Dumps become models again.

TEST(TextFormats, MakesAnEqualModelOfADump) {
  testsupport::moneySerializer();
  for (std::uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = emptyModel();
    testsupport::fillByChance(model, seed, seed * 3);
    testsupport::fillLines(model, testsupport::newSample(model, u"Box", 240));
    expectEqual(model, modelOf(dumped(saved(model->getTopLevelElements()))));
  }
}

TEST(TextFormats, MakesAnEqualModelOfADumpOfEveryKindOfValueButWhatADumpLoses) {
  testsupport::moneySerializer();
  const Model model = emptyModel();
  const ModelElement everything = testsupport::fillEverything(model);
  const auto value = [&](const char16_t* name) {
    return everything->getPropertyValue(everything->property(name), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  };
  // Lost on the way: infinities, the order of maps, 8-bit strings that are no UTF-8.
  for (const char16_t* const name : {u"manyStdString", u"genericStdString", u"manyReal", u"genericReal"}) {
    value(name).toPrimitiveCollection().clear();
  }
  kern::StringToStringMap& map = value(u"requiredStringToStringMap").toStringToStringMap();
  map.assign({{u"a", u"first"}, {u"b", u""}});
  const Model again = modelOf(dumped(saved({everything})));
  expectEqual(model, again);
}

TEST(TextFormats, TakesTheNullOfADumpForARealThatIsNoNumber) {
  const Model model = emptyModel();
  const ModelElement element = testsupport::newSample(model, u"RequiredReal", 1);
  element->set(u"value", std::numeric_limits<double>::infinity());
  const Model again = modelOf(dumped(saved({element})));
  EXPECT_EQ(again->getElementCount(), 1U);
}

// --- Older versions.

std::u16string uri(const std::u16string& version) {
  return meta::MetaRegistry::schemaBaseUri() + u"growing/" + version;
}

/// "growing" 1.0: Plant with title (String), size (String), kind (Kind: herb, tree), next (Plant).
/// 2.0: Plant is Herb, title is name, size is an Integer, the literal tree is wood, and light (String) is new.
void registerGrowing() {
  static const bool kRegistered = [] {
    for (const bool isOld : {true, false}) {
      meta::PackageBuilder builder(u"growing");
      builder.family(u"growing", isOld ? u"1.0" : u"2.0");
      builder.addEnum(u"Kind").literal(u"herb", 0).literal(isOld ? u"tree" : u"wood", 1);
      auto& plant = builder.addClass(isOld ? u"Plant" : u"Herb");
      plant.attribute(isOld ? u"title" : u"name", StandardTypes::stringMeta);
      if (isOld) {
        plant.attribute(u"size", StandardTypes::stringMeta);
      } else {
        plant.attribute(u"size", StandardTypes::integerMeta);
        plant.attribute(u"light", StandardTypes::stringMeta);
      }
      plant.attribute(u"kind", u"Kind");
      plant.reference(u"next", plant);
      static_cast<void>(builder.registerPackage());
    }
    kern::evolution::Evolution(u"growing")
        .from(u"1.0")
        .to(u"2.0")
        .renameClass(u"Plant", u"Herb")
        .renameProperty(u"Herb", u"title", u"name")
        .changeType(u"Herb", u"size", u"String", u"Integer")
        .renameLiteral(u"Kind", u"tree", u"wood")
        .addProperty(u"Herb", u"light", u"sun")
        .registerEvolution();
    return true;
  }();
  static_cast<void>(kRegistered);
}

// clang-format off

/// Two plants of version 1.0: the first refers to the second, and to a third whose contents never come.
HandmadeStream oldPlants() {
  registerGrowing();
  return HandmadeStream({uri(u"1.0"), u"urn:elsewhere"})
      .root().newElement(1, 1, u"growing.Plant", 1).full()
        .newProperty(1, u"title").tag('S').text(u"Ivy")
        .newProperty(2, u"size").tag('S').text(u"12")
        .newProperty(3, u"kind").tag('e').id(1).text(u"tree")
        .newProperty(4, u"next").tag('m').newElement(2, -1, 2).reference().noMore()
      .root().id(-2).full()
        .id(-1).tag('S').text(u"Oak")
        .id(-4).tag('m').newElement(3, -1, 3).reference().noMore().end();
}

// clang-format on

void expectGrown(const Model& model) {
  ASSERT_EQ(model->getElementCount(), 2U);
  const ModelElement ivy = testsupport::elementOf(model, 1);
  const ModelElement oak = testsupport::elementOf(model, 2);
  ASSERT_TRUE(ivy && oak);
  EXPECT_EQ(ivy->getMetaClass()->getName(), u"Herb");
  EXPECT_EQ(ivy->get<std::u16string>(u"name"), u"Ivy");
  EXPECT_EQ(ivy->get<std::int32_t>(u"size"), 12);
  EXPECT_EQ(ivy->get<std::int64_t>(u"kind"), 1);
  EXPECT_EQ(ivy->get<std::u16string>(u"light"), u"sun");
  EXPECT_EQ(ivy->get<ModelElement>(u"next"), oak);
  EXPECT_EQ(oak->get<std::u16string>(u"name"), u"Oak");
  EXPECT_FALSE(oak->get<ModelElement>(u"next"));
}

TEST(TextFormats, BringsAnOlderStreamUpToDateInEachBinaryContainer) {
  const HandmadeStream old = oldPlants();
  expectGrown(loaded(old.container()));
  expectGrown(loaded(testsupport::zlibContainer('Z', old.payload())));
  expectGrown(loaded(testsupport::zstdContainer('z', old.payload())));
}

TEST(TextFormats, BringsTheTextOfAnOlderStreamUpToDateInEachContainerOfText) {
  const std::string text = dumped(oldPlants().container());
  expectGrown(loaded(testsupport::zlibContainer('C', text)));
  expectGrown(loaded(testsupport::zstdContainer('c', text)));
  std::ostringstream plain;
  StreamOArchive(plain).put('J') << text;
  expectGrown(loaded(plain.str()));
}

TEST(TextFormats, SavesWhatItBroughtUpToDateAsTheCurrentVersion) {
  const Model model = loaded(oldPlants().container());
  const std::string again = saved(model->getTopLevelElements());
  EXPECT_THAT(dumped(again),
              testing::HasSubstr("\"packageUris\":[\"" + bedrock::i18n::ustring_to_utf8(uri(u"2.0")) + "\"]"));
  expectEqual(model, loaded(again));
}

TEST(TextFormats, RefusesOlderContentThatNoLongerFitsWhenToldNotToEvolve) {
  BinParser parser;
  parser.setModel(emptyModel());
  parser.setEvolveIfNeeded(false);
  try {
    parser.parse(oldPlants().container());
    ADD_FAILURE() << "read all the same";
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("setEvolveIfNeeded"));
    EXPECT_THAT(error.what(), testing::HasSubstr("Plant"));
  }
  EXPECT_EQ(parser.getModel()->getElementCount(), 0U);
  EXPECT_EQ(parser.getModel()->getTransactionDepth(), 0U);
}

TEST(TextFormats, ReadsOlderContentThatStillFitsWhenToldNotToEvolve) {
  registerGrowing();
  HandmadeStream stream({uri(u"1.0")});
  stream.root()
      .newElement(1, 1, u"growing.Herb", 1)
      .full()
      .newProperty(1, u"name")
      .tag('S')
      .text(u"Ivy")
      .noMore()
      .end();
  BinParser parser;
  parser.setEvolveIfNeeded(false);
  parser.parse(stream.container());
  EXPECT_EQ(testsupport::elementOf(parser.getModel(), 1)->get<std::u16string>(u"name"), u"Ivy");
}

TEST(TextFormats, NamesBothVersionsOfAStreamThatIsNewerThanThisProgram) {
  registerGrowing();
  HandmadeStream stream({uri(u"3.0")});
  stream.root().newElement(1, 1, u"growing.Herb", 1).full().noMore().end();
  try {
    static_cast<void>(loaded(stream.container()));
    ADD_FAILURE() << "read all the same";
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr("3.0"), testing::HasSubstr("2.0")));
  }
}

TEST(TextFormats, TakesBackAllThatCameBeforeAFaultOfAnOlderStream) {
  HandmadeStream stream = HandmadeStream(oldPlants());
  std::string bytes = stream.container();
  bytes.back() = '?';  // in place of the end tag
  EXPECT_EQ(testsupport::failureOfLoading(bytes), testsupport::failedCheck("t == SerializationTag::MODEL_ELEMENT"));
}

TEST(TextFormats, RefusesAnOlderStreamWhoseElementsNobodyDefined) {
  registerGrowing();
  const auto refuses = [](const HandmadeStream& behindTheFirst) {
    HandmadeStream stream({uri(u"1.0")});
    stream.root().newElement(3, 3, u"growing.Plant", 1).full().noMore();
    const Model model = emptyModel();
    EXPECT_ANY_THROW(testsupport::loadInto(model, stream.raw(behindTheFirst.payload().substr(8)).end().container()));
    EXPECT_EQ(model->getElementCount(), 0U);
  };
  refuses(HandmadeStream().root().newElement(4, -2, 2).full().noMore());
  refuses(HandmadeStream().root().id(-1).full().noMore());
  refuses(HandmadeStream().root().id(-1).full().newProperty(1, u"title").tag('S').text(u"Ivy").noMore());
}

TEST(TextFormats, EvolvesIntoAModelThatHoldsSomethingAlready) {
  const Model model = emptyModel();
  testsupport::newSample(model, u"Box", 9);
  testsupport::loadInto(model, oldPlants().container());
  EXPECT_EQ(model->getElementCount(), 3U);
  EXPECT_ANY_THROW(testsupport::loadInto(model, oldPlants().container()));
  EXPECT_EQ(model->getElementCount(), 3U);
}

}  // namespace
}  // namespace quillon::nimbo
