#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "quillon/nimbo/BinSerializer.h"
#include "support/AnnotatedHex.h"
#include "support/LiteralWriter.h"
#include "support/MoneySerializer.h"
#include "support/Saving.h"
#include "support/TestMetaModel.h"

/// How one value looks on the stream. Everything around it is BinSerializerTest's.
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;
using testsupport::emptyModel;
using testsupport::kindNames;
using testsupport::messageOfFailure;
using testsupport::Money;
using testsupport::newSample;
using testsupport::saved;
using testsupport::uuidEndingIn;
using testsupport::withoutLine;

std::string payloadOf(const ModelElement& root) {
  const std::string container = saved({root});
  return container.substr(1, container.size() - 9);
}

std::string literalPayloadOf(const ModelElement& root) {
  std::ostringstream stream;
  testsupport::writeLiterally(stream, {root});
  return std::move(stream).str();
}

/// What stands behind the name of the only property "value" of an element: tag and value.
std::string valueBytesOf(const ModelElement& element) {
  EXPECT_EQ(payloadOf(element), literalPayloadOf(element));
  const std::string payload = payloadOf(element);
  const std::string name("v\0a\0l\0u\0e\0", 10);
  const std::size_t from = payload.find(name) + name.size();
  return payload.substr(from, payload.size() - 9 - from);
}

class BinSerializerValue : public testing::Test {
 protected:
  ModelElement element(const std::u16string& className) { return newSample(fModel, className, 1); }

  ModelElement elementWith(const std::u16string& className, const Value& value) {
    ModelElement holder = element(className);
    holder->setPropertyValue(holder->property(u"value"), value, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
    return holder;
  }

  ModelElement elementWithAll(const std::u16string& className, const std::vector<Value>& values) {
    ModelElement holder = element(className);
    const Value collection =
        holder->getPropertyValue(holder->property(u"value"), kern::ReflectionPrivateTag::PUBLIC_ACCESS);
    for (const Value& value : values) collection.toPrimitiveCollection().addValue(value);
    return holder;
  }

  /// The bytes of a value, when it is required and when it is optional: the same, as it is there.
  std::string bytesOf(const std::u16string& kind, const Value& value) {
    fModel = emptyModel();
    const std::string required = valueBytesOf(elementWith(u"Required" + kind, value));
    fModel = emptyModel();
    EXPECT_EQ(valueBytesOf(elementWith(u"Optional" + kind, value)), required);
    return required;
  }

  /// The bytes of a collection, however it is stored.
  std::string bytesOfMany(const std::u16string& kind, const std::vector<Value>& values) {
    fModel = emptyModel();
    const std::string contiguous = valueBytesOf(elementWithAll(u"Many" + kind, values));
    fModel = emptyModel();
    EXPECT_EQ(valueBytesOf(elementWithAll(u"Generic" + kind, values)), contiguous);
    return contiguous;
  }

  std::string bytesOfAbsentRequired(const std::u16string& kind) {
    fModel = emptyModel();
    return valueBytesOf(element(u"Required" + kind));
  }
  std::string bytesOfAbsentOptional(const std::u16string& kind) {
    fModel = emptyModel();
    return valueBytesOf(element(u"Optional" + kind));
  }

  static Value enumValue(std::int64_t number) {
    return Value(kern::ValueMeta(testsupport::sampleMetaModel().type(u"Color"), kern::ValueFlags::Single), number);
  }
  static Value money(std::int64_t cents) {
    return Value(kern::ValueMeta(testsupport::sampleMetaModel().type(u"Money"), kern::ValueFlags::Single),
                 Money{cents});
  }
  static ReflectiveDataType point(std::int32_t x, std::int32_t y) {
    ReflectiveDataType data(testsupport::sampleMetaModel().dataTypeNamed(u"Point"));
    data.set(u"x", x).set(u"y", y);
    return data;
  }

  Model fModel = emptyModel();
};

// --- Numbers, booleans, texts, uuids, times.

TEST_F(BinSerializerValue, NumbersAreTheirLittleEndianBytes) {
  EXPECT_BYTES(bytesOf(u"Integer8", Value(std::int8_t{-2})), "63  fe");
  EXPECT_BYTES(bytesOf(u"UInteger8", Value(std::uint8_t{254})), "43  fe");
  EXPECT_BYTES(bytesOf(u"Integer16", Value(std::int16_t{-2})), "6a  fe ff");
  EXPECT_BYTES(bytesOf(u"UInteger16", Value(std::uint16_t{0x1234})), "4a  34 12");
  EXPECT_BYTES(bytesOf(u"Integer", Value(std::int32_t{-2})), "69  fe ff ff ff");
  EXPECT_BYTES(bytesOf(u"UnlimitedNatural", Value(std::uint32_t{0xFFFFFFFF})), "49  ff ff ff ff");
  EXPECT_BYTES(bytesOf(u"Integer64", Value(std::numeric_limits<std::int64_t>::min())), "6c  00 00 00 00 00 00 00 80");
  EXPECT_BYTES(bytesOf(u"UInteger64", Value(std::uint64_t{0x0102030405060708})), "4c  08 07 06 05 04 03 02 01");
}

TEST_F(BinSerializerValue, RealsKeepEveryBit) {
  EXPECT_BYTES(bytesOf(u"Real", Value(-1.5)), "64  00 00 00 00 00 00 f8 bf");
  EXPECT_BYTES(bytesOf(u"Real", Value(-0.0)), "64  00 00 00 00 00 00 00 80");
  EXPECT_BYTES(bytesOf(u"Real", Value(std::numeric_limits<double>::infinity())), "64  00 00 00 00 00 00 f0 7f");
  EXPECT_BYTES(bytesOf(u"Real", Value(std::bit_cast<double>(std::uint64_t{0x7FF8000000ABCDEF}))),
               "64  ef cd ab 00 00 00 f8 7f");
}

TEST_F(BinSerializerValue, BooleansAreLetters) {
  EXPECT_BYTES(bytesOf(u"Boolean", Value(true)), "62  54");
  EXPECT_BYTES(bytesOf(u"Boolean", Value(false)), "62  46");
}

TEST_F(BinSerializerValue, TextsCountCodeUnits) {
  EXPECT_BYTES(bytesOf(u"String", Value(u"a\U0001F600")), R"(
    53
    03 00 00 00 00 00 00 00    # a character outside the basic plane counts as two
    61 00  3d d8  00 de
  )");
  EXPECT_BYTES(bytesOf(u"String", Value(std::u16string(u"\xD800"))), R"(
    53
    01 00 00 00 00 00 00 00
    00 d8                      # half a pair passes as it is
  )");
  EXPECT_BYTES(bytesOf(u"StdString", Value(std::string("\x00\xFFz", 3))), R"(
    73
    03 00 00 00 00 00 00 00
    00 ff 7a
  )");
}

TEST_F(BinSerializerValue, AnEmptyTextIsNotAnAbsentOne) {
  EXPECT_BYTES(bytesOf(u"String", Value(u"")), "53  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOf(u"StdString", Value(std::string())), "73  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentOptional(u"String"), "6e");
}

TEST_F(BinSerializerValue, AnOptionalZeroIsNotAnAbsentNumber) {
  EXPECT_BYTES(bytesOf(u"Integer", Value(std::int32_t{0})), "69  00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentOptional(u"Integer"), "6e");
}

TEST_F(BinSerializerValue, UuidsKeepTheirOrder) {
  EXPECT_BYTES(bytesOf(u"UUID", Value(boost::uuids::uuid{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}})),
               "55  01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10");
}

TEST_F(BinSerializerValue, TimesTravelAsText) {
  const boost::posix_time::ptime time(boost::gregorian::date(2020, 1, 31), boost::posix_time::time_duration(13, 5, 9));
  std::ostringstream expected;
  quillon::nimbo::StreamOArchive archive(expected);
  archive.put('D') << std::u16string(u"2020-01-31T13:05:09.000000");
  EXPECT_EQ(bytesOf(u"DateTime", Value(time)), expected.str());
}

TEST_F(BinSerializerValue, AbsentOptionalValuesAreOneByte) {
  for (const std::u16string& kind : kindNames()) {
    if (kind == u"StringToStringMap" || kind == u"Point" || kind == u"Money") continue;
    EXPECT_BYTES(bytesOfAbsentOptional(kind), "6e");
  }
}

TEST_F(BinSerializerValue, AbsentRequiredValuesAreTheZeroOfTheirType) {
  EXPECT_BYTES(bytesOfAbsentRequired(u"Integer8"), "63  00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"UInteger8"), "43  00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Integer16"), "6a  00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"UInteger16"), "4a  00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Integer"), "69  00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"UnlimitedNatural"), "49  00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Integer64"), "6c  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"UInteger64"), "4c  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Real"), "64  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Boolean"), "62  46");
  EXPECT_BYTES(bytesOfAbsentRequired(u"String"), "53  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"StdString"), "73  00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"UUID"), "55  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  EXPECT_BYTES(bytesOfAbsentRequired(u"Color"), R"(
    65
    01 00 00 00 00 00 00 00    # literal +1
    03 00 00 00 00 00 00 00
    72 00 65 00 64 00          # red has the number 0
  )");
  EXPECT_BYTES(bytesOfAbsentRequired(u"DateTime"), R"(
    44
    0f 00 00 00 00 00 00 00
    6e 00 6f 00 74 00 2d 00 61 00 2d 00 64 00 61 00 74 00 65 00 2d 00 74 00 69 00 6d 00 65 00   # not-a-date-time
  )");
}

// --- Enums.

TEST_F(BinSerializerValue, LiteralsTravelByName) {
  EXPECT_BYTES(bytesOf(u"Color", enumValue(7)), R"(
    65
    01 00 00 00 00 00 00 00          # literal +1
    04 00 00 00 00 00 00 00
    62 00 6c 00 75 00 65 00          # blue; the number 7 is nowhere
  )");
}

TEST_F(BinSerializerValue, ALiteralIsNamedOnce) {
  EXPECT_BYTES(bytesOfMany(u"Color", {enumValue(1), enumValue(0), enumValue(1)}), R"(
    5b  65
    03 00 00 00 00 00 00 00
    01 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  67 00 72 00 65 00 65 00 6e 00   # +1 green
    02 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00  72 00 65 00 64 00               # +2 red
    ff ff ff ff ff ff ff ff                                                           # -1
  )");
}

TEST_F(BinSerializerValue, ANumberWithoutLiteralIsRefused) {
  const std::string expected =
      "shared/nimbo_utils/src/BinSerializer:#Assertion failed during binary serialization: "
      "`static_cast<bool>(metaEnumLit)'";
  const ModelElement required = elementWith(u"RequiredColor", enumValue(5));
  std::ostringstream stream;
  EXPECT_EQ(withoutLine(messageOfFailure([&] {
              quillon::nimbo::BinSerializer().serialize({required}, stream, quillon::nimbo::BinFormat::Binary);
            })),
            expected);
  EXPECT_EQ(stream.str().back(), 'e');
  fModel = emptyModel();
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({elementWith(u"OptionalColor", enumValue(5))}); })), expected);
  fModel = emptyModel();
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({elementWithAll(u"ManyColor", {enumValue(5)})}); })), expected);
}

TEST_F(BinSerializerValue, AnAbsentOptionalEnumNeedsNoLiteralOfNumberZero) {
  const ModelElement graded = element(u"Graded");
  EXPECT_EQ(payloadOf(graded), literalPayloadOf(graded));
  graded->set(u"grade", std::int64_t{2});
  EXPECT_EQ(payloadOf(graded), literalPayloadOf(graded));
  graded->set(u"grade", std::int64_t{0});
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({graded}); })),
            "shared/nimbo_utils/src/BinSerializer:#Assertion failed during binary serialization: "
            "`static_cast<bool>(metaEnumLit)'");
}

// --- Maps.

TEST_F(BinSerializerValue, MapsKeepTheOrderOfInsertion) {
  kern::StringToStringMap map;
  map.insert(u"b", u"1", kern::CollisionResolution::Replace);
  map.insert(u"a", u"", kern::CollisionResolution::Replace);
  EXPECT_BYTES(valueBytesOf(elementWith(u"RequiredStringToStringMap", Value(map))), R"(
    4d
    02 00 00 00 00 00 00 00
    01 00 00 00 00 00 00 00  62 00     # b
    01 00 00 00 00 00 00 00  31 00     # 1
    01 00 00 00 00 00 00 00  61 00     # a
    00 00 00 00 00 00 00 00            # empty
  )");
}

TEST_F(BinSerializerValue, AnEmptyMapIsItsCount) {
  EXPECT_BYTES(valueBytesOf(element(u"RequiredStringToStringMap")), "4d  00 00 00 00 00 00 00 00");
}

// --- Data types.

TEST_F(BinSerializerValue, DataValuesNameTheirTypeAndAttributes) {
  EXPECT_BYTES(valueBytesOf(elementWith(u"RequiredPoint", Value(point(3, -1)))), R"(
    72
    02 00 00 00 00 00 00 00                                                   # type +2
    0c 00 00 00 00 00 00 00
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 50 00 6f 00 69 00 6e 00 74 00   # sample.Point
    02 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  78 00                   # property +2, x
    69  03 00 00 00
    03 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  79 00                   # property +3, y
    69  ff ff ff ff
    00 00 00 00 00 00 00 00                                                   # end of the attributes
  )");
}

TEST_F(BinSerializerValue, AnAbsentRequiredDataValueHasItsTypesDefaults) {
  const std::string absent = bytesOfAbsentRequired(u"Point");
  fModel = emptyModel();
  EXPECT_EQ(absent, valueBytesOf(elementWith(u"RequiredPoint", Value(point(0, 0)))));
}

TEST_F(BinSerializerValue, EachDataValueOfACollectionNamesItsType) {
  EXPECT_BYTES(bytesOfMany(u"Point", {Value(point(1, 2)), Value(point(3, 4))}).substr(2 + 8 + 8 + 8 + 24), R"(
    02 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  78 00  69  01 00 00 00
    03 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  79 00  69  02 00 00 00
    00 00 00 00 00 00 00 00
    fe ff ff ff ff ff ff ff                                                   # type -2, once more
    fe ff ff ff ff ff ff ff  69  03 00 00 00
    fd ff ff ff ff ff ff ff  69  04 00 00 00
    00 00 00 00 00 00 00 00
  )");
}

TEST_F(BinSerializerValue, DataValuesFollowTheRulesOfElements) {
  const ModelElement box = newSample(fModel, u"Box", 9);
  ReflectiveDataType line(testsupport::sampleMetaModel().dataTypeNamed(u"Line"));
  line.set(u"from", point(1, 2)).set(u"scratch", std::int32_t{5}).set(u"target", box);
  const Value labels = line.getPropertyValue(line.getType()->getProperty(u"labels"));
  labels.toPrimitiveCollection().addValue(Value(u"l"));
  const Value via = line.getPropertyValue(line.getType()->getProperty(u"via"));
  via.toPrimitiveCollection().addValue(Value(point(7, 8)));
  const ModelElement lines = element(u"Lines");
  lines->set(lines->property(u"line"), line);
  const std::string payload = payloadOf(lines);
  EXPECT_EQ(payload, literalPayloadOf(lines));
  // color equals its default and scratch is transient: neither is there
  const std::string bytes = payload.substr(payload.find(std::string("L\0i\0n\0e\0", 8), 100) + 8);
  EXPECT_BYTES(bytes, R"(
    02 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00  66 00 72 00 6f 00 6d 00               # from
    72  03 00 00 00 00 00 00 00  0c 00 00 00 00 00 00 00
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 50 00 6f 00 69 00 6e 00 74 00                 # sample.Point
    03 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  78 00  69  01 00 00 00                # x
    04 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00  79 00  69  02 00 00 00                # y
    00 00 00 00 00 00 00 00
    05 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00  6c 00 61 00 62 00 65 00 6c 00 73 00   # labels
    5b  53  01 00 00 00 00 00 00 00
    01 00 00 00 00 00 00 00  6c 00
    06 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00  74 00 61 00 72 00 67 00 65 00 74 00   # target
    6d  02 00 00 00 00 00 00 00
    04 00 00 00 00 00 00 00  0a 00 00 00 00 00 00 00
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 42 00 6f 00 78 00                             # sample.Box
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 09
    46                                                                                      # referred to
    07 00 00 00 00 00 00 00  02 00 00 00 00 00 00 00  74 00 6f 00                           # to: absent
    72  fd ff ff ff ff ff ff ff
    fd ff ff ff ff ff ff ff  69  00 00 00 00
    fc ff ff ff ff ff ff ff  69  00 00 00 00
    00 00 00 00 00 00 00 00
    08 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00  76 00 69 00 61 00                     # via
    5b  72  01 00 00 00 00 00 00 00
    fd ff ff ff ff ff ff ff
    fd ff ff ff ff ff ff ff  69  07 00 00 00
    fc ff ff ff ff ff ff ff  69  08 00 00 00
    00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00                                                                 # end of the line
    09 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  6c 00 69 00 6e 00 65 00 73 00         # lines
    5b  72  00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST_F(BinSerializerValue, ChangedDefaultsOfDataValuesAreWritten) {
  ReflectiveDataType line(testsupport::sampleMetaModel().dataTypeNamed(u"Line"));
  const ModelElement lines = element(u"Lines");
  lines->set(lines->property(u"line"), line);
  const std::size_t plain = payloadOf(lines).size();
  line.set(u"color", std::int64_t{7});
  lines->set(lines->property(u"line"), line);
  EXPECT_EQ(payloadOf(lines), literalPayloadOf(lines));
  EXPECT_GT(payloadOf(lines).size(), plain);
}

TEST_F(BinSerializerValue, DataValuesMayReferToManyElements) {
  meta::PackageBuilder builder(u"dataReferences");
  auto& tour = builder.addDataType(u"Tour");
  tour.attribute(u"stops", testsupport::sampleMetaModel().type(u"Box")).many();
  builder.addClass(u"Guide").attribute(u"tour", tour).required();
  const meta::Package package = builder.registerPackage();
  const ModelElement guide =
      kern::narrow<meta::Class>(package->getTypes().at(u"Guide"))->instantiate(fModel, uuidEndingIn(1));
  ReflectiveDataType stops(kern::narrow<meta::DataType>(package->getTypes().at(u"Tour")));
  const Value value = stops.getPropertyValue(stops.getType()->getProperty(u"stops"));
  const ModelElement box = newSample(fModel, u"Box", 9);
  for (int i = 0; i < 2; ++i) value.toElementCollection().addElement(box);
  guide->set(guide->property(u"tour"), stops);

  const std::string payload = payloadOf(guide);
  EXPECT_EQ(payload, literalPayloadOf(guide));
  EXPECT_BYTES(payload.substr(payload.size() - 114), R"(
    02 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  73 00 74 00 6f 00 70 00 73 00   # stops
    5b  6d  01 00 00 00 00 00 00 00                                                   # one: members are unique
    02 00 00 00 00 00 00 00
    03 00 00 00 00 00 00 00  0a 00 00 00 00 00 00 00
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 42 00 6f 00 78 00                       # sample.Box
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 09
    46                                                                                # referred to
    00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST_F(BinSerializerValue, DefaultsOfDataAndCustomValuesAreLeftOut) {
  meta::PackageBuilder builder(u"structuredDefaults");
  auto& holder = builder.addClass(u"Holder");
  holder.attribute(u"at", testsupport::sampleMetaModel().type(u"Point")).required().defaultsTo(Value(point(1, 2)));
  holder.attribute(u"price", testsupport::sampleMetaModel().type(u"Money")).required().defaultsTo(money(5));
  const meta::Package package = builder.registerPackage();
  const ModelElement element =
      kern::narrow<meta::Class>(package->getTypes().at(u"Holder"))->instantiate(fModel, uuidEndingIn(1));
  const auto nothing = payloadOf(element);
  EXPECT_EQ(nothing, literalPayloadOf(element));
  EXPECT_EQ(nothing.find(std::string("a\0t\0", 4)), std::string::npos);
  EXPECT_EQ(nothing.find(std::string("p\0r\0i\0c\0e\0", 10)), std::string::npos);

  element->set(element->property(u"at"), point(1, 3));
  element->set(element->property(u"price"), Money{6});
  EXPECT_EQ(payloadOf(element), literalPayloadOf(element));
  EXPECT_GT(payloadOf(element).size(), nothing.size());

  element->set(element->property(u"at"), point(1, 2));
  element->set(element->property(u"price"), Money{5});
  EXPECT_EQ(payloadOf(element), nothing);
}

TEST_F(BinSerializerValue, DataValuesMayNestToAnyDepth) {
  meta::PackageBuilder builder(u"nestedData");
  auto& onion = builder.addDataType(u"Onion");
  onion.attribute(u"layer", meta::StandardTypes::integerMeta).required();
  onion.attribute(u"inner", onion).many();
  builder.addClass(u"Cook").attribute(u"onion", onion).required();
  const meta::Package package = builder.registerPackage();
  const auto type = kern::narrow<meta::DataType>(package->getTypes().at(u"Onion"));
  constexpr std::int32_t kLayers = 20'000;
  ReflectiveDataType whole(type);
  for (std::int32_t layer = 1; layer < kLayers; ++layer) {
    ReflectiveDataType outer(type);
    outer.set(u"layer", layer);
    const Value inner = outer.getPropertyValue(type->getProperty(u"inner"));
    std::vector<Value> one;
    one.emplace_back(std::move(whole));
    inner.toPrimitiveCollection().assignValues(std::move(one));
    whole = std::move(outer);
  }
  const ModelElement cook =
      kern::narrow<meta::Class>(package->getTypes().at(u"Cook"))->instantiate(fModel, uuidEndingIn(1));
  cook->set(cook->property(u"onion"), std::move(whole));
  // each layer: type -2, layer, inner with one entry, end
  const std::size_t perLayer = 8 + (8 + 1 + 4) + (8 + 2 + 8) + 8;
  EXPECT_GT(payloadOf(cook).size(), static_cast<std::size_t>(kLayers) * perLayer);
}

// --- Collections.

TEST_F(BinSerializerValue, EntriesBearNoTag) {
  EXPECT_BYTES(bytesOfMany(u"Boolean", {Value(true), Value(false), Value(true)}), R"(
    5b  62
    03 00 00 00 00 00 00 00
    54  46  54
  )");
  EXPECT_BYTES(bytesOfMany(u"Integer", {Value(std::int32_t{1}), Value(std::int32_t{-1})}), R"(
    5b  69
    02 00 00 00 00 00 00 00
    01 00 00 00
    ff ff ff ff
  )");
  EXPECT_BYTES(bytesOfMany(u"String", {Value(u"a"), Value(u"")}), R"(
    5b  53
    02 00 00 00 00 00 00 00
    01 00 00 00 00 00 00 00  61 00
    00 00 00 00 00 00 00 00
  )");
}

TEST_F(BinSerializerValue, EmptyCollectionsAreWrittenForEveryKind) {
  for (const std::u16string& kind : kindNames()) {
    if (kind == u"StringToStringMap") continue;
    const std::string bytes = bytesOfMany(kind, {});
    ASSERT_EQ(bytes.size(), 10U);
    EXPECT_EQ(bytes.front(), '[');
    EXPECT_EQ(bytes.substr(2), std::string(8, '\0'));
  }
}

TEST_F(BinSerializerValue, ALongBitSequenceIsTheSameHoweverItIsStored) {
  std::vector<Value> bits;
  for (int i = 0; i < 1000; ++i) bits.emplace_back(i % 3 == 0);
  EXPECT_EQ(bytesOfMany(u"Boolean", bits).size(), 10U + 1000U);
}

TEST_F(BinSerializerValue, EveryKindOfCollectionIsTheSameHoweverItIsStored) {
  const boost::posix_time::ptime time(boost::gregorian::date(1999, 12, 31));
  EXPECT_EQ(bytesOfMany(u"StdString", {Value(std::string("a"))}).size(), 10U + 9U);
  EXPECT_EQ(bytesOfMany(u"Integer8", {Value(std::int8_t{1})}).size(), 10U + 1U);
  EXPECT_EQ(bytesOfMany(u"Integer16", {Value(std::int16_t{1})}).size(), 10U + 2U);
  EXPECT_EQ(bytesOfMany(u"Integer64", {Value(std::int64_t{1})}).size(), 10U + 8U);
  EXPECT_EQ(bytesOfMany(u"UInteger8", {Value(std::uint8_t{1})}).size(), 10U + 1U);
  EXPECT_EQ(bytesOfMany(u"UInteger16", {Value(std::uint16_t{1})}).size(), 10U + 2U);
  EXPECT_EQ(bytesOfMany(u"UInteger64", {Value(std::uint64_t{1})}).size(), 10U + 8U);
  EXPECT_EQ(bytesOfMany(u"UnlimitedNatural", {Value(std::uint32_t{1})}).size(), 10U + 4U);
  EXPECT_EQ(bytesOfMany(u"Real", {Value(1.0)}).size(), 10U + 8U);
  EXPECT_EQ(bytesOfMany(u"UUID", {Value(uuidEndingIn(1))}).size(), 10U + 16U);
  EXPECT_EQ(bytesOfMany(u"DateTime", {Value(time)}).size(), 10U + 8U + 2U * 26U);
  EXPECT_EQ(bytesOfMany(u"Money", {money(1)}).size(), 10U + 8U + 8U + 24U + 8U);
}

// --- Custom values, and what cannot be optional.

TEST_F(BinSerializerValue, CustomValuesNameTheirTypeInFrontOfTheirOwnBytes) {
  EXPECT_BYTES(valueBytesOf(elementWith(u"RequiredMoney", money(258))), R"(
    4e
    02 00 00 00 00 00 00 00                                                   # type +2
    0c 00 00 00 00 00 00 00
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 4d 00 6f 00 6e 00 65 00 79 00   # sample.Money
    02 01 00 00 00 00 00 00                                                   # what its serializer wrote
  )");
}

TEST_F(BinSerializerValue, AnAbsentRequiredCustomValueIsItsSerializersMatter) {
  const std::string bytes = valueBytesOf(element(u"RequiredMoney"));
  EXPECT_BYTES(bytes.substr(bytes.size() - 8), "00 00 00 00 00 00 00 00");
}

TEST_F(BinSerializerValue, OptionalDataValuesMapsAndCustomValuesAreRefusedEvenWhenAbsent) {
  const std::string expected =
      "shared/nimbo_utils/src/BinSerializer:#Assertion failed during binary serialization: `!isOptional'";
  for (const char16_t* className : {u"OptionalPoint", u"OptionalStringToStringMap", u"OptionalMoney"}) {
    fModel = emptyModel();
    EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({element(className)}); })), expected);
  }
  fModel = emptyModel();
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({elementWith(u"OptionalPoint", Value(point(1, 2)))}); })),
            expected);
  fModel = emptyModel();
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({elementWith(u"OptionalMoney", money(1))}); })), expected);
}

TEST_F(BinSerializerValue, AnOptionalCustomValueIsRefusedBeforeItsSerializerIsMissed) {
  meta::PackageBuilder builder(u"optionalOpaque");
  builder.addClass(u"Holder").attribute(u"value", testsupport::sampleMetaModel().type(u"Opaque"));
  const meta::Package package = builder.registerPackage();
  const ModelElement holder =
      kern::narrow<meta::Class>(package->getTypes().at(u"Holder"))->instantiate(fModel, uuidEndingIn(1));
  EXPECT_EQ(withoutLine(messageOfFailure([&] { saved({holder}); })),
            "shared/nimbo_utils/src/BinSerializer:#Assertion failed during binary serialization: `!isOptional'");
}

TEST_F(BinSerializerValue, ReadingInPlaceGivesTheBytesOfReadingThroughValues) {
  const ModelElement everything = element(u"Everything");
  EXPECT_EQ(payloadOf(everything), literalPayloadOf(everything));
  const auto fill = [&](const std::u16string& kind, const Value& value) {
    for (const char16_t* prefix : {u"required", u"optional"}) {
      const meta::Property property = everything->getMetaClass()->getProperty(prefix + kind);
      if (property) everything->setPropertyValue(property, value, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
    }
    for (const char16_t* prefix : {u"many", u"generic"}) {
      const Value collection =
          everything->getPropertyValue(everything->property(prefix + kind), kern::ReflectionPrivateTag::PUBLIC_ACCESS);
      for (int i = 0; i < 3; ++i) collection.toPrimitiveCollection().addValue(value);
    }
    EXPECT_EQ(payloadOf(everything), literalPayloadOf(everything));
  };
  fill(u"String", Value(u"text"));
  fill(u"StdString", Value(std::string("bytes")));
  fill(u"Integer", Value(std::int32_t{-7}));
  fill(u"Integer8", Value(std::int8_t{-7}));
  fill(u"Integer16", Value(std::int16_t{-7}));
  fill(u"Integer64", Value(std::int64_t{-7}));
  fill(u"UInteger8", Value(std::uint8_t{7}));
  fill(u"UInteger16", Value(std::uint16_t{7}));
  fill(u"UInteger64", Value(std::uint64_t{7}));
  fill(u"UnlimitedNatural", Value(std::uint32_t{7}));
  fill(u"Real", Value(0.25));
  fill(u"Boolean", Value(true));
  fill(u"UUID", Value(uuidEndingIn(7)));
  fill(u"DateTime", Value(boost::posix_time::ptime(boost::gregorian::date(2001, 2, 3))));
  fill(u"Color", enumValue(7));
  fill(u"Point", Value(point(5, 6)));
  fill(u"Money", money(99));
}

}  // namespace
