#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "support/AnnotatedHex.h"
#include "support/HandmadeStream.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/ReaderMetaModel.h"

/// How the value of one property is read. Everything around it is BinParserTest's.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::castFailureOfLoading;
using testsupport::elementOf;
using testsupport::failedCheck;
using testsupport::failureOfLoading;
using testsupport::fromAnnotatedHex;
using testsupport::HandmadeStream;
using testsupport::loadInto;
using testsupport::messageOfFailure;

/// A property and, as annotated hex, its tag and value.
struct PropertyBytes {
  std::u16string name;
  std::string hex;
};

/// A container with one root, of that qualified class and a uuid ending in 1. Element id, type id and the ids of the
/// properties count from 1.
std::string container(const std::u16string& className, const std::vector<PropertyBytes>& properties) {
  testsupport::sampleMetaModel();
  testsupport::registerReaderMetaModel();
  testsupport::moneySerializer();
  HandmadeStream stream;
  stream.root().newElement(1, 1, className, 1).full();
  std::int64_t propertyId = 0;
  for (const PropertyBytes& property : properties) {
    stream.newProperty(++propertyId, property.name).raw(fromAnnotatedHex(property.hex));
  }
  return stream.noMore().end().container();
}

/// The same for a class of "sample" with the one property "value".
std::string valueOf(const std::u16string& className, const std::string& hex) {
  return container(u"sample." + className, {{u"value", hex}});
}

/// A container that was read, and its root.
struct Read {
  explicit Read(const std::string& bytes) : model(testsupport::loaded(bytes)), root(elementOf(model, 1)) {}

  template <class T>
  [[nodiscard]] T get(const std::u16string& property = u"value") const {
    return root->get<T>(property);
  }
  [[nodiscard]] Value value(const std::u16string& property = u"value") const {
    return root->getPropertyValue(root->property(property), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  [[nodiscard]] bool isAbsent(const std::u16string& property = u"value") const { return !value(property).hasObject(); }
  template <class T>
  [[nodiscard]] std::vector<T> many(const std::u16string& property = u"value") const {
    std::vector<T> entries;
    for (const Value& entry : value(property).toPrimitiveCollection().getAllValues()) entries.push_back(entry.get<T>());
    return entries;
  }

  Model model;
  ModelElement root;
};

constexpr const char* kCountZero = "00 00 00 00 00 00 00 00 ";
constexpr const char* kCountOne = "01 00 00 00 00 00 00 00 ";
constexpr const char* kCountTwo = "02 00 00 00 00 00 00 00 ";
constexpr const char* kMinusOne = "ff ff ff ff ff ff ff ff ";

std::string hexOf(char tag) { return testsupport::detail::toHex(std::string(1, tag)) + " "; }
std::string two(const std::string& valueHex) { return kCountTwo + valueHex + " " + valueHex; }

// --- Every plain type in every shape.

template <class T>
void expectReads(const std::u16string& kind, char tag, const std::string& valueHex, const T& expected) {
  SCOPED_TRACE(tag);
  EXPECT_EQ(Read(valueOf(u"Required" + kind, hexOf(tag) + valueHex)).get<T>(), expected);
  EXPECT_EQ(Read(valueOf(u"Optional" + kind, hexOf(tag) + valueHex)).get<T>(), expected);
  const std::string many = hexOf('[') + hexOf(tag) + two(valueHex);
  EXPECT_THAT(Read(valueOf(u"Many" + kind, many)).many<T>(), ElementsAre(expected, expected));
  EXPECT_THAT(Read(valueOf(u"Generic" + kind, many)).many<T>(), ElementsAre(expected, expected));
}

TEST(BinParserValue, ReadsIntegersOfEveryWidth) {
  expectReads<std::int8_t>(u"Integer8", 'c', "80", -128);
  expectReads<std::uint8_t>(u"UInteger8", 'C', "ff", 255);
  expectReads<std::int16_t>(u"Integer16", 'j', "00 80", -32768);
  expectReads<std::uint16_t>(u"UInteger16", 'J', "ff ff", 65535);
  expectReads<std::int32_t>(u"Integer", 'i', "fe ff ff ff", -2);
  expectReads<std::uint32_t>(u"UnlimitedNatural", 'I', "ff ff ff ff", 4294967295U);
  expectReads<std::int64_t>(u"Integer64", 'l', "01 00 00 00 00 00 00 80", std::numeric_limits<std::int64_t>::min() + 1);
  expectReads<std::uint64_t>(u"UInteger64", 'L', "ff ff ff ff ff ff ff ff", std::numeric_limits<std::uint64_t>::max());
}

TEST(BinParserValue, ReadsBooleans) {
  expectReads<bool>(u"Boolean", 'b', "54", true);
  expectReads<bool>(u"Boolean", 'b', "46", false);
}

TEST(BinParserValue, ReadsEveryByteButTAsFalse) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string hex = testsupport::detail::toHex(std::string(1, static_cast<char>(byte)));
    EXPECT_EQ(Read(valueOf(u"RequiredBoolean", "62 " + hex)).get<bool>(), byte == 'T') << byte;
    EXPECT_THAT(Read(valueOf(u"ManyBoolean", "5b 62 " + std::string(kCountOne) + hex)).many<bool>(),
                ElementsAre(byte == 'T'))
        << byte;
  }
}

TEST(BinParserValue, ReadsRealsBitByBit) {
  expectReads<double>(u"Real", 'd', "00 00 00 00 00 00 f8 3f", 1.5);
  const auto bitsOf = [](const std::string& hex) {
    return std::bit_cast<std::uint64_t>(Read(valueOf(u"RequiredReal", "64 " + hex)).get<double>());
  };
  EXPECT_EQ(bitsOf("00 00 00 00 00 00 00 80"), 0x8000000000000000U);  // -0.0
  EXPECT_EQ(bitsOf("01 02 03 04 05 06 f8 7f"), 0x7ff8060504030201U);  // a NaN with a payload
  EXPECT_EQ(bitsOf("00 00 00 00 00 00 f0 ff"), 0xfff0000000000000U);  // -infinity
}

TEST(BinParserValue, ReadsTexts) {
  expectReads<std::u16string>(u"String", 'S', std::string(kCountTwo) + "41 00 3d d8", {u'A', char16_t{0xd83d}});
  expectReads<std::u16string>(u"String", 'S', kCountZero, u"");
  expectReads<std::string>(u"StdString", 's', std::string(kCountTwo) + "00 ff", std::string("\0\xff", 2));
  expectReads<std::string>(u"StdString", 's', kCountZero, "");
}

TEST(BinParserValue, ReadsUuids) {
  expectReads<boost::uuids::uuid>(u"UUID", 'U', "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 2a",
                                  testsupport::uuidEndingIn(42));
}

std::string hexOfText(const std::u16string& text) {
  return testsupport::detail::toHex(HandmadeStream().text(text).payload().substr(8));
}

TEST(BinParserValue, ReadsTimesFromTheirText) {
  using Conversion = kern::DateTimeUtils::Conversion;
  const auto moment = Conversion::fromUstring(u"2020-01-31T13:05:09.000001");
  expectReads(u"DateTime", 'D', hexOfText(Conversion::toUstring(moment)), moment);
  const boost::posix_time::ptime none;
  expectReads(u"DateTime", 'D', hexOfText(Conversion::toUstring(none)), none);
}

TEST(BinParserValue, PassesOnThatATextIsNoTime) {
  const std::string hex = "44 " + hexOfText(u"noon");
  EXPECT_THROW(Read(valueOf(u"RequiredDateTime", hex)), kern::DateTimeError);
  EXPECT_THROW(Read(valueOf(u"RequiredColor", hex)), kern::DateTimeError);
  EXPECT_THROW(Read(valueOf(u"RequiredInteger", hex)), kern::DateTimeError);
}

TEST(BinParserValue, ReadsCustomValuesWithTheirSerializer) {
  const std::string money =
      testsupport::detail::toHex(HandmadeStream().newType(7, u"sample.Money").payload().substr(8)) +
      " 2a 00 00 00 00 00 00 00";
  const std::string again = "f9 ff ff ff ff ff ff ff  2b 00 00 00 00 00 00 00";
  EXPECT_EQ(Read(valueOf(u"RequiredMoney", "4e " + money)).get<testsupport::Money>().cents, 42);
  for (const char16_t* const className : {u"ManyMoney", u"GenericMoney"}) {
    const Read read(valueOf(className, "5b 4e " + std::string(kCountTwo) + money + " " + again));
    EXPECT_THAT(read.many<testsupport::Money>(), ElementsAre(testsupport::Money{42}, testsupport::Money{43}));
  }
}

// --- Absence.

TEST(BinParserValue, ReadsNoneForAnOptionalValue) {
  for (const std::u16string& kind : testsupport::kindNames()) {
    if (kind == u"StringToStringMap") continue;
    EXPECT_TRUE(Read(valueOf(u"Optional" + kind, "6e")).isAbsent()) << bedrock::i18n::to_string(kind);
  }
}

TEST(BinParserValue, OverwritesADefaultWithNone) {
  const std::vector<PropertyBytes> none = {{u"ratio", "6e"}, {u"text", "6e"}};
  const Read read(container(u"sample.Defaults", none));
  EXPECT_TRUE(read.isAbsent(u"ratio"));
  EXPECT_TRUE(read.isAbsent(u"text"));
  EXPECT_EQ(read.get<std::int32_t>(u"count"), 5);
}

TEST(BinParserValue, KeepsDefaultsThatTheStreamDoesNotMention) {
  const Read read(container(u"sample.Defaults", {}));
  EXPECT_EQ(read.get<double>(u"ratio"), 0.5);
  EXPECT_EQ(read.get<std::u16string>(u"text"), u"none");
  EXPECT_EQ(read.get<std::int64_t>(u"color"), 7);
}

TEST(BinParserValue, ClearsAnOptionalMapWithNone) {
  const std::string twice = "4d " + std::string(kCountOne) + hexOfText(u"k") + " " + hexOfText(u"v");
  const Read read(container(u"sample.OptionalStringToStringMap", {{u"value", twice}, {u"value", "6e"}}));
  EXPECT_EQ(read.get<kern::StringToStringMap>().size(), 0U);
}

TEST(BinParserValue, RefusesNoneWhereAValueIsRequired) {
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "6e")), failedCheck("isOptional"));
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredStringToStringMap", "6e")), failedCheck("isOptional"));
}

TEST(BinParserValue, RefusesNoneInsideACollection) {
  EXPECT_EQ(failureOfLoading(valueOf(u"GenericInteger", "5b 6e " + std::string(kCountOne))), failedCheck("isOptional"));
  EXPECT_EQ(failureOfLoading(valueOf(u"ManyInteger", "5b 6e " + std::string(kCountOne))), failedCheck("isOptional"));
  EXPECT_THAT(Read(valueOf(u"ManyInteger", "5b 6e " + std::string(kCountZero))).many<std::int32_t>(), IsEmpty());
}

TEST(BinParserValue, ClearsAReferenceWithNone) {
  const Read read(container(u"sample.Box", {{u"link", "6d " + std::string(kMinusOne) + "46"}, {u"link", "6e"}}));
  EXPECT_FALSE(read.get<ModelElement>(u"link"));
}

// --- Tags that do not fit.

TEST(BinParserValue, NamesATagThatIsNone) {
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", hexOf('x'))), "Unexpected serialization tag <unknown 120>.");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "00")), "Unexpected serialization tag <unknown 0>.");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", hexOf('B'))), "Unexpected serialization tag <unknown 66>.");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", hexOf('t'))), "Unexpected serialization tag <unknown 116>.");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "80")), "Unexpected serialization tag <unknown -128>.");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "ff")), "Unexpected serialization tag <unknown -1>.");
}

TEST(BinParserValue, NamesATagThatIsOutOfPlaceInACollection) {
  for (const char16_t* const className : {u"ManyInteger", u"GenericInteger"}) {
    EXPECT_EQ(failureOfLoading(valueOf(className, "5b 5b " + std::string(kCountOne))),
              "Unexpected serialization tag COLLECTION.");
    EXPECT_EQ(failureOfLoading(valueOf(className, "5b 4d " + std::string(kCountOne))),
              "Unexpected serialization tag STRINGTOSTRINGMAP.");
    EXPECT_EQ(failureOfLoading(valueOf(className, "5b 3f " + std::string(kCountOne))),
              "Unexpected serialization tag <unknown 63>.");
  }
}

TEST(BinParserValue, DoesNotLookAtTheEntryTagOfAnEmptyCollectionThatIsReadEntryByEntry) {
  for (const char* const tag : {"5b ", "4d ", "6e ", "3f ", "65 ", "72 ", "4e ", "62 ", "44 "}) {
    EXPECT_THAT(Read(valueOf(u"ManyInteger", std::string("5b ") + tag + kCountZero)).many<std::int32_t>(), IsEmpty());
  }
  EXPECT_THAT(Read(valueOf(u"GenericInteger", "5b 6c " + std::string(kCountZero))).many<std::int32_t>(), IsEmpty());
}

TEST(BinParserValue, RefusesEntriesOfAnotherTypeForContiguousStorageBeforeReadingThem) {
  EXPECT_EQ(castFailureOfLoading(valueOf(u"ManyInteger", "5b 6c " + std::string(kCountZero))), u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"ManyInteger", "5b 53 " + std::string(kCountTwo))), u"Integer");
}

/// A value of each plain type, in the order of the tags below.
const std::vector<std::pair<std::u16string, std::string>>& plainValues() {
  static const std::vector<std::pair<std::u16string, std::string>> kValues = {
      {u"UInteger8", "43 01"},
      {u"Integer8", "63 01"},
      {u"UInteger16", "4a 01 00"},
      {u"Integer16", "6a 01 00"},
      {u"UnlimitedNatural", "49 01 00 00 00"},
      {u"Integer", "69 01 00 00 00"},
      {u"UInteger64", "4c 01 00 00 00 00 00 00 00"},
      {u"Integer64", "6c 01 00 00 00 00 00 00 00"},
      {u"Real", "64 00 00 00 00 00 00 f0 3f"},
      {u"Boolean", "62 54"},
      {u"UUID", "55 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"},
      {u"String", "53 " + std::string(kCountZero)},
      {u"StdString", "73 " + std::string(kCountZero)},
      {u"DateTime", "44 " + hexOfText(u"not-a-date-time")},
  };
  return kValues;
}

TEST(BinParserValue, ConvertsNoTypeToAnother) {
  for (const auto& [kind, ignored] : plainValues()) {
    for (const auto& [otherKind, hex] : plainValues()) {
      if (otherKind == kind) continue;
      SCOPED_TRACE(bedrock::i18n::to_string(kind + u" from " + otherKind));
      EXPECT_EQ(castFailureOfLoading(valueOf(u"Required" + kind, hex)), kind);
      EXPECT_EQ(castFailureOfLoading(valueOf(u"Optional" + kind, hex)), kind);
      const std::string many = "5b " + hex.substr(0, 3) + kCountOne + hex.substr(3);
      EXPECT_EQ(castFailureOfLoading(valueOf(u"Many" + kind, many)), kind);
      EXPECT_EQ(castFailureOfLoading(valueOf(u"Generic" + kind, many)), kind);
    }
  }
}

TEST(BinParserValue, RefusesAPlainValueForEveryOtherKindOfProperty) {
  const std::string integer = "69 01 00 00 00";
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredPoint", integer)), u"sample.Point");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredMoney", integer)), u"sample.Money");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredStringToStringMap", integer)), u"StringToStringMap");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"link", integer}})), u"sample.Box");
}

TEST(BinParserValue, RefusesASingleValueForACollection) {
  EXPECT_EQ(castFailureOfLoading(valueOf(u"ManyInteger", "69 01 00 00 00")), u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"GenericInteger", "69 01 00 00 00")), u"Integer");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"links", "6d " + std::string(kMinusOne) + "46"}})),
            u"sample.Box");
}

TEST(BinParserValue, RefusesACollectionForASingleValue) {
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredInteger", "5b 69 " + std::string(kCountZero))), u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredStringToStringMap", "5b 53 " + std::string(kCountZero))),
            u"StringToStringMap");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"link", "5b 6d " + std::string(kCountZero)}})),
            u"sample.Box");
}

TEST(BinParserValue, RefusesElementsForPlainValuesAndPlainValuesForElements) {
  EXPECT_EQ(castFailureOfLoading(valueOf(u"ManyInteger", "5b 6d " + std::string(kCountZero))), u"Integer");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"links", "5b 69 " + std::string(kCountZero)}})),
            u"sample.Box");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"OptionalInteger", "6d " + std::string(kMinusOne) + "46")),
            u"sample.OptionalInteger");
}

TEST(BinParserValue, TakesANullElementForAbsenceOfAnyValue) {
  EXPECT_TRUE(Read(valueOf(u"OptionalInteger", "6d " + std::string(kCountZero))).isAbsent());
}

// --- Enums.

TEST(BinParserValue, ReadsLiterals) {
  const std::string blue = hexOfText(u"blue");
  EXPECT_EQ(Read(valueOf(u"RequiredColor", "65 " + std::string(kCountOne) + blue)).get<std::int64_t>(), 7);
  const std::string many = "5b 65 " + std::string(kCountTwo) + kCountOne + blue + " " + kMinusOne;
  EXPECT_THAT(Read(valueOf(u"ManyColor", many)).many<std::int64_t>(), ElementsAre(7, 7));
  EXPECT_THAT(Read(valueOf(u"GenericColor", many)).many<std::int64_t>(), ElementsAre(7, 7));
}

TEST(BinParserValue, WidensNumbersOfEveryIntegerTagForAnEnum) {
  const auto number = [](const std::string& hex) {
    const Read read(valueOf(u"RequiredColor", hex));
    EXPECT_EQ(read.value().getType()->getQualifiedName(), u"sample.Color");
    return read.get<std::int64_t>();
  };
  EXPECT_EQ(number("63 ff"), -1);
  EXPECT_EQ(number("6a fe ff"), -2);
  EXPECT_EQ(number("69 fd ff ff ff"), -3);
  EXPECT_EQ(number("6c fc ff ff ff ff ff ff ff"), -4);
  EXPECT_EQ(number("43 ff"), 255);
  EXPECT_EQ(number("4a ff ff"), 65535);
  EXPECT_EQ(number("49 ff ff ff ff"), 4294967295);
  EXPECT_EQ(number("4c 00 00 00 00 00 00 00 40"), std::int64_t{1} << 62);
  EXPECT_EQ(number("4c ff ff ff ff ff ff ff ff"), -1);  // the same 64 bits
}

TEST(BinParserValue, TakesNumbersForEnumsInCollectionsToo) {
  const std::string many = "5b 69 " + std::string(kCountTwo) + "07 00 00 00 ff ff ff ff";
  EXPECT_THAT(Read(valueOf(u"ManyColor", many)).many<std::int64_t>(), ElementsAre(7, -1));
  EXPECT_THAT(Read(valueOf(u"GenericColor", many)).many<std::int64_t>(), ElementsAre(7, -1));
}

TEST(BinParserValue, RefusesEverythingButIntegersForAnEnum) {
  for (const auto& [kind, hex] : plainValues()) {
    if (kind.find(u"Integer") != std::u16string::npos || kind == u"UnlimitedNatural") continue;
    EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredColor", hex)), u"sample.Color") << bedrock::i18n::to_string(kind);
  }
  for (const char* const real :
       {"64 00 00 00 00 00 00 f8 7f", "64 00 00 00 00 00 00 f0 ff", "64 00 00 00 00 00 00 f0 7f",
        "64 ff ff ff ff ff ff ef ff", "64 00 00 00 00 00 00 e0 43"}) {
    EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredColor", real)), u"sample.Color");
  }
}

TEST(BinParserValue, RefusesALiteralForWhatIsNoEnum) {
  const std::string literal = "65 " + std::string(kCountOne) + hexOfText(u"red");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredInteger", literal)), u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredPoint", literal)), u"sample.Point");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"link", literal}})), u"sample.Box");
}

TEST(BinParserValue, RefusesALiteralOfAnotherEnum) {
  const std::string bytes = HandmadeStream()
                                .root()
                                .newElement(1, 1, u"sample.RequiredColor", 1)
                                .full()
                                .newProperty(1, u"value")
                                .tag('e')
                                .id(1)
                                .text(u"red")
                                .noMore()
                                .root()
                                .newElement(2, 2, u"sample.Graded", 2)
                                .full()
                                .newProperty(2, u"grade")
                                .tag('e')
                                .id(-1)
                                .noMore()
                                .end()
                                .container();
  EXPECT_EQ(castFailureOfLoading(bytes), u"sample.Grade");
}

// --- Elements.

std::string newBoxHex(int elementId, int last, const std::string& flagAndContents) {
  return testsupport::detail::toHex(HandmadeStream()
                                        .id(elementId)
                                        .id(-1)
                                        .append(testsupport::uuidEndingIn(static_cast<std::uint8_t>(last)))
                                        .payload()
                                        .substr(8)) +
         " " + flagAndContents + " ";
}

TEST(BinParserValue, ReadsASingleContainedElement) {
  const Read read(container(u"sample.Box", {{u"content", "6d " + newBoxHex(2, 2, "54 " + std::string(kCountZero))}}));
  EXPECT_EQ(read.get<ModelElement>(u"content"), elementOf(read.model, 2));
  EXPECT_EQ(elementOf(read.model, 2)->container(), read.root);
}

TEST(BinParserValue, ClearsAReferenceWithANullElement) {
  const std::string self = "6d " + std::string(kMinusOne) + "46";
  const Read read(container(u"sample.Box", {{u"link", self}, {u"link", "6d " + std::string(kCountZero)}}));
  EXPECT_FALSE(read.get<ModelElement>(u"link"));
  EXPECT_EQ(read.value(u"link"), Value::createEmptyValue(read.root->getMetaClass(), false));
}

TEST(BinParserValue, ReadsManyElementsInTheirOrder) {
  const std::string three = "5b 6d 03 00 00 00 00 00 00 00 " + newBoxHex(2, 5, "54 " + std::string(kCountZero)) +
                            newBoxHex(3, 4, "54 " + std::string(kCountZero)) +
                            newBoxHex(4, 6, "54 " + std::string(kCountZero));
  const Read read(container(u"sample.Box", {{u"parts", three}}));
  const std::vector<ModelElement> parts = read.value(u"parts").toElementCollection().getAllElements();
  ASSERT_EQ(parts.size(), 3U);
  EXPECT_EQ(parts[0], elementOf(read.model, 5));
  EXPECT_EQ(parts[1], elementOf(read.model, 4));
  EXPECT_EQ(parts[2], elementOf(read.model, 6));
  EXPECT_EQ(parts[1]->get<ModelElement>(u"owner"), read.root);
}

TEST(BinParserValue, AddsNullElementsAsTheyAre) {
  const std::string links = "5b 6d " + std::string(kCountTwo) + kCountZero + kMinusOne + "46";
  const Read read(container(u"sample.Box", {{u"links", links}}));
  EXPECT_THAT(read.value(u"links").toElementCollection().getAllElements(), ElementsAre(ModelElement(), read.root));
}

TEST(BinParserValue, AppendsElementsToThoseThatAreThere) {
  const std::string self = "5b 6d " + std::string(kCountOne) + kMinusOne + "46";
  const Read read(container(u"sample.Box", {{u"links", self}, {u"links", self}}));
  EXPECT_EQ(read.value(u"links").toElementCollection().size(), 2U);
}

TEST(BinParserValue, RefusesAnElementOfAnotherClass) {
  const std::string stranger =
      "6d " + testsupport::detail::toHex(HandmadeStream().newElement(2, 2, u"sample.Bag", 2).payload().substr(8)) +
      " 46";
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"link", stranger}})), u"sample.Bag");
  EXPECT_EQ(castFailureOfLoading(
                container(u"sample.Box", {{u"links", "5b 6d " + std::string(kCountOne) + stranger.substr(3)}})),
            u"sample.Bag");
}

TEST(BinParserValue, AcceptsTheWayBackToTheContainerThatWritersLeaveOut) {
  const std::string owner = "54 " +
                            testsupport::detail::toHex(HandmadeStream().newProperty(9, u"owner").payload().substr(8)) +
                            " 6d " + kMinusOne + "46 " + kCountZero;
  const Read read(container(u"sample.Box", {{u"link", "6d " + newBoxHex(2, 2, owner)}}));
  EXPECT_THAT(read.value(u"parts").toElementCollection().getAllElements(), ElementsAre(elementOf(read.model, 2)));
}

TEST(BinParserValue, PassesOnThatContainmentHasNoCycles) {
  EXPECT_THROW(Read(container(u"sample.Box", {{u"content", "6d " + std::string(kMinusOne) + "46"}})),
               kern::ContainmentError);
  EXPECT_THROW(Read(container(u"sample.Box", {{u"parts", "5b 6d " + std::string(kCountOne) + kMinusOne + "46"}})),
               kern::ContainmentError);
  // 2 is put into 1 although 1 comes to lie in 2.
  const std::string inner =
      "54 " + testsupport::detail::toHex(HandmadeStream().newProperty(9, u"content").payload().substr(8)) + " 6d " +
      kMinusOne + "46 " + kCountZero;
  EXPECT_THROW(Read(container(u"sample.Box", {{u"content", "6d " + newBoxHex(2, 2, inner)}})), kern::ContainmentError);
}

// --- Maps.

std::string entryHex(const std::u16string& key, const std::u16string& value) {
  return hexOfText(key) + " " + hexOfText(value) + " ";
}

TEST(BinParserValue, ReadsMapsInTheOrderOfTheStream) {
  const std::string map = "4d " + std::string(kCountTwo) + entryHex(u"z", u"1") + entryHex(u"a", u"");
  for (const char16_t* const className : {u"RequiredStringToStringMap", u"OptionalStringToStringMap"}) {
    EXPECT_EQ(Read(valueOf(className, map)).get<kern::StringToStringMap>(),
              kern::StringToStringMap({{u"z", u"1"}, {u"a", u""}}));
  }
}

TEST(BinParserValue, ReadsAnEmptyMap) {
  EXPECT_EQ(Read(valueOf(u"RequiredStringToStringMap", "4d " + std::string(kCountZero)))
                .get<kern::StringToStringMap>()
                .size(),
            0U);
}

TEST(BinParserValue, AddsToTheMapThatIsThereAndReplacesValuesInPlace) {
  const std::string first = "4d " + std::string(kCountTwo) + entryHex(u"z", u"1") + entryHex(u"a", u"2");
  const std::string second = "4d " + std::string(kCountTwo) + entryHex(u"z", u"3") + entryHex(u"n", u"4");
  const Read read(container(u"reading.Noted", {{u"notes", first}, {u"notes", second}}));
  EXPECT_EQ(read.get<kern::StringToStringMap>(u"notes"),
            kern::StringToStringMap({{u"z", u"3"}, {u"a", u"2"}, {u"n", u"4"}}));
}

TEST(BinParserValue, RefusesAMapForEveryOtherKindOfProperty) {
  const std::string map = "4d " + std::string(kCountZero);
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredInteger", map)), u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"ManyString", map)), u"String");
  EXPECT_EQ(castFailureOfLoading(container(u"sample.Box", {{u"links", map}})), u"sample.Box");
}

// --- Collections of plain values.

struct CollectionObserver : kern::ModelObserver {
  void collectionModifying(const kern::AbstractOwnedCollection&, const kern::OCDChangeDescriptor& change) override {
    modifying.push_back(change);
  }
  void collectionCommitted(const kern::AbstractOwnedCollection&) override { ++committed; }
  std::vector<kern::OCDChangeDescriptor> modifying;
  int committed = 0;
};

TEST(BinParserValue, FillsAContiguousCollectionInOneChange) {
  const std::string many = "5b 69 " + two("01 00 00 00");
  for (const auto& bytes :
       {valueOf(u"ManyInteger", many), valueOf(u"ManyInteger", "5b 69 " + std::string(kCountZero))}) {
    CollectionObserver observer;
    const Model model = testsupport::emptyModel();
    model->addObserver(&observer);
    loadInto(model, bytes);
    model->removeObserver(&observer);
    EXPECT_THAT(observer.modifying, ElementsAre(kern::AbstractOwnedCollection::getGiveUpDescriptor()));
    EXPECT_EQ(observer.committed, 1);
  }
}

TEST(BinParserValue, FillsAGenericCollectionEntryByEntry) {
  CollectionObserver observer;
  const Model model = testsupport::emptyModel();
  model->addObserver(&observer);
  loadInto(model, valueOf(u"GenericInteger", "5b 69 " + two("01 00 00 00")));
  model->removeObserver(&observer);
  EXPECT_EQ(observer.modifying.size(), 2U);
  EXPECT_EQ(observer.committed, 2);
}

TEST(BinParserValue, ReplacesContiguousContentAndAppendsToGenericContent) {
  for (const auto& [kind, hex] : plainValues()) {
    const std::string one = "5b " + hex.substr(0, 3) + kCountOne + hex.substr(3);
    const bool hasTypedRoute = kind != u"Boolean" && kind != u"DateTime";
    const Read contiguous(container(u"sample.Many" + kind, {{u"value", one}, {u"value", one}}));
    EXPECT_EQ(contiguous.value().toPrimitiveCollection().size(), hasTypedRoute ? 1U : 2U)
        << bedrock::i18n::to_string(kind);
    const Read generic(container(u"sample.Generic" + kind, {{u"value", one}, {u"value", one}}));
    EXPECT_EQ(generic.value().toPrimitiveCollection().size(), 2U) << bedrock::i18n::to_string(kind);
  }
}

TEST(BinParserValue, EmptiesAContiguousCollectionWithAnEmptyRange) {
  const std::string one = "5b 69 " + std::string(kCountOne) + "01 00 00 00";
  const std::string none = "5b 69 " + std::string(kCountZero);
  EXPECT_THAT(Read(container(u"sample.ManyInteger", {{u"value", one}, {u"value", none}})).many<std::int32_t>(),
              IsEmpty());
  EXPECT_THAT(Read(container(u"sample.GenericInteger", {{u"value", one}, {u"value", none}})).many<std::int32_t>(),
              ElementsAre(1));
}

// --- Structured data types.

std::string hexOfType(std::int64_t typeId, const std::u16string& name) {
  return testsupport::detail::toHex(HandmadeStream().newType(typeId, name).payload().substr(8)) + " ";
}
std::string hexOfProperty(std::int64_t propertyId, const std::u16string& name) { return hexOfType(propertyId, name); }

TEST(BinParserValue, ReadsAStructuredValue) {
  const std::string point = "72 " + hexOfType(2, u"sample.Point") + hexOfProperty(11, u"y") + "69 02 00 00 00 " +
                            hexOfProperty(12, u"x") + "69 01 00 00 00 " + kCountZero;
  const Read read(valueOf(u"RequiredPoint", point));
  const auto data = read.get<kern::ReflectiveDataType>();
  EXPECT_EQ(data.get<std::int32_t>(u"x"), 1);
  EXPECT_EQ(data.get<std::int32_t>(u"y"), 2);
}

TEST(BinParserValue, ReadsAStructuredValueWithoutAttributesAsItsDefaults) {
  const Read read(container(u"reading.Levels", {{u"levels", "72 " + hexOfType(2, u"reading.Level") + kCountZero}}));
  const auto level = read.get<kern::ReflectiveDataType>(u"levels");
  EXPECT_EQ(level.get<std::int32_t>(u"number"), 3);
  EXPECT_FALSE(read.isAbsent(u"levels"));
}

TEST(BinParserValue, ReadsEveryShapeInsideAStructuredValue) {
  const std::string inner = "fe ff ff ff ff ff ff ff " + std::string(kCountZero);  // type 2 again, no attributes
  const std::string level =
      "72 " + hexOfType(2, u"reading.Level")                                    //
      + hexOfProperty(11, u"number") + "69 09 00 00 00 "                        //
      + hexOfProperty(12, u"inner") + "5b 72 " + two(inner) + " "               //
      + hexOfProperty(13, u"notes") + "4d " + kCountOne + entryHex(u"k", u"v")  //
      + hexOfProperty(14, u"marks") + "5b 69 " + two("05 00 00 00") + " "       //
      + hexOfProperty(15, u"target") + "6d " + "02 00 00 00 00 00 00 00 " + hexOfType(3, u"reading.Circle") +
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02 54 " + kCountZero  //
      + hexOfProperty(16, u"targets") + "5b 6d " + kCountOne + "fe ff ff ff ff ff ff ff 46 " + kCountZero;
  const Read read(container(u"reading.Levels", {{u"levels", level}}));
  const auto data = read.get<kern::ReflectiveDataType>(u"levels");
  EXPECT_EQ(data.get<std::int32_t>(u"number"), 9);
  const auto at = [&data](const std::u16string& name) {
    return data.getPropertyValue(data.getType()->getProperty(name));
  };
  EXPECT_EQ(at(u"inner").toPrimitiveCollection().size(), 2U);
  EXPECT_EQ(at(u"inner").toPrimitiveCollection().getValue(1).toReflectiveDataType().get<std::int32_t>(u"number"), 3);
  EXPECT_EQ(at(u"notes").get<kern::StringToStringMap>(), kern::StringToStringMap({{u"k", u"v"}}));
  EXPECT_EQ(at(u"marks").toPrimitiveCollection().size(), 2U);
  EXPECT_EQ(data.get<ModelElement>(u"target"), elementOf(read.model, 2));
  EXPECT_THAT(at(u"targets").toElementCollection().getAllElements(), ElementsAre(elementOf(read.model, 2)));
}

TEST(BinParserValue, RefusesAStructuredValueOfAnotherType) {
  const std::string point = "72 " + hexOfType(2, u"sample.Line") + kCountZero;
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredPoint", point)), failedCheck("parsedMetaType == metaDataType"));
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", point)), failedCheck("parsedMetaType == metaDataType"));
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredPoint", "72 " + std::string(kCountZero))), failedCheck("id != 0"));
}

TEST(BinParserValue, RefusesAStructuredValueForWhatIsNoDataType) {
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredInteger", "72 " + hexOfType(2, u"Integer") + kCountZero)),
            u"Integer");
  EXPECT_EQ(castFailureOfLoading(valueOf(u"RequiredColor", "72 " + hexOfType(2, u"sample.Color") + kCountZero)),
            u"sample.Color");
  EXPECT_EQ(
      castFailureOfLoading(container(u"sample.Box", {{u"link", "72 " + hexOfType(2, u"sample.Box") + kCountZero}})),
      u"sample.Box");
}

TEST(BinParserValue, NamesTheDataTypeThatLacksAProperty) {
  const std::string point = "72 " + hexOfType(2, u"sample.Point") + hexOfProperty(11, u"w");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredPoint", point)), "Could not find property \"w\" in type Point.");
}

TEST(BinParserValue, PassesOnThatADataTypeLacksAPropertyOfAClass) {
  const std::string integer = "69 01 00 00 00 ";
  const std::string point = "72 " + hexOfType(2, u"sample.Point") + kMinusOne + integer + kCountZero;
  EXPECT_THROW(Read(container(u"sample.Everything", {{u"requiredInteger", integer}, {u"requiredPoint", point}})),
               kern::PropertyError);
}

// --- Custom values.

TEST(BinParserValue, RefusesACustomValueOfAnotherType) {
  const std::string expected = failedCheck("parsedMetaType == metaType");
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredMoney", "4e " + hexOfType(2, u"sample.Opaque"))), expected);
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "4e " + hexOfType(2, u"sample.Money"))), expected);
}

TEST(BinParserValue, RefusesACustomValueWithoutSerializer) {
  const std::string expected = failedCheck("pCustomBinSerializer != nullptr");
  EXPECT_EQ(failureOfLoading(container(u"sample.Opaques", {{u"value", "4e " + hexOfType(2, u"sample.Opaque")}})),
            expected);
  EXPECT_EQ(failureOfLoading(valueOf(u"RequiredInteger", "4e " + hexOfType(2, u"Integer"))), expected);
}

/// Reads a byte n and n bytes from the stream itself. Refuses n = 255, and claims the wrong type for n = 254.
class BlobSerializer : public CustomBinSerializerBase {
 public:
  using CustomBinSerializerBase::CustomBinSerializerBase;

  void serialize(StreamOArchive&, const Value&) const override { throw std::logic_error("only read here"); }
  Value parse(StreamIArchive& archive) const override {
    const int size = archive.get();
    if (size == 255) throw std::runtime_error("this blob is refused");
    if (size == 254) return Value(std::int32_t{1});
    std::string bytes(static_cast<std::size_t>(size < 0 ? 0 : size), '?');
    archive.stream()->read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return Value(kern::ValueMeta(getType(), kern::ValueFlags::Single), testsupport::Blob{std::move(bytes)});
  }
  std::string parseToJSON(StreamIArchive&) const override { throw std::logic_error("only read here"); }
};

std::string blobs(const std::vector<PropertyBytes>& properties) {
  testsupport::registerReaderMetaModel();
  static const BlobSerializer kSerializer(kern::meta::MetaRegistry::getInstance()->getType(u"reading.Blob"));
  return container(u"reading.Blobs", properties);
}

TEST(BinParserValue, LetsASerializerReadFromTheStream) {
  const std::string first = "4e " + hexOfType(2, u"reading.Blob") + "03 61 62 63 ";
  const std::string more =
      "5b 4e " + std::string(kCountTwo) + "fe ff ff ff ff ff ff ff 01 64 fe ff ff ff ff ff ff ff 00 ";
  const std::string bytes = blobs({{u"blob", first}, {u"more", more}});
  for (const std::string& letterAndPayload :
       {bytes, testsupport::zlibContainer('Z', bytes.substr(1)), testsupport::zstdContainer('z', bytes.substr(1))}) {
    const Read read(letterAndPayload);
    EXPECT_EQ(read.get<testsupport::Blob>(u"blob").bytes, "abc");
    EXPECT_THAT(read.many<testsupport::Blob>(u"more"), ElementsAre(testsupport::Blob{"d"}, testsupport::Blob{""}));
  }
}

TEST(BinParserValue, PassesOnWhatASerializerThrows) {
  const std::string refused = blobs({{u"blob", "4e " + hexOfType(2, u"reading.Blob") + "ff"}});
  const Model model = testsupport::emptyModel();
  try {
    loadInto(model, refused);
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "this blob is refused");
  }
  EXPECT_EQ(model->getElementCount(), 0U);
}

TEST(BinParserValue, PassesOnThatASerializersValueDoesNotFit) {
  EXPECT_EQ(castFailureOfLoading(blobs({{u"blob", "4e " + hexOfType(2, u"reading.Blob") + "fe"}})), u"Integer");
}

TEST(BinParserValue, EndsInAnExceptionWhenASerializerReadsTooFar) {
  const std::string bytes = blobs({{u"blob", "4e " + hexOfType(2, u"reading.Blob") + "c8"}});
  EXPECT_EQ(failureOfLoading(bytes), failedCheck("t == SerializationTag::MODEL_ELEMENT"));
}

}  // namespace
}  // namespace quillon::nimbo
