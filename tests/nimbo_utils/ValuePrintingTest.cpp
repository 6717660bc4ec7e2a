#include <array>
#include <bit>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time_io.hpp>
#include <boost/uuid/string_generator.hpp>

#include <bedrock/except.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/StringStream.h"
#include "support/PrintingMetaModel.h"
#include "support/TestMetaModel.h"

/// How one value looks, inline in the tree and as a row of a description.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::StringToStringMap;
using kern::Value;
using kern::ValueFlags;
using kern::ValueMeta;
using testing::HasSubstr;
using testsupport::addElement;
using testsupport::addValue;
using testsupport::emptyModel;
using testsupport::newPrinted;
using testsupport::newSample;
using testsupport::onSmallStack;
using testsupport::withoutAddresses;

class ValuePrinting : public testing::Test {
 protected:
  Model fModel = emptyModel();
};

meta::Type typeOf(const std::u16string& kind) {
  return testsupport::sampleMetaModel().classNamed(u"Required" + kind)->getProperty(u"value")->getType();
}

/// The four outputs of a value.
struct Looks {
  std::string inTree;
  std::string inTreeOfPage;
  std::string inRow;  // behind the name of the row, which is "name"
  std::string inRowOfPage;

  friend bool operator==(const Looks&, const Looks&) = default;
  friend std::ostream& operator<<(std::ostream& os, const Looks& looks) {
    return os << "{" << looks.inTree << "; " << looks.inTreeOfPage << "; " << looks.inRow << "; " << looks.inRowOfPage
              << "}";
  }
};

template <class Emit>
std::string onPlainStream(Emit emit) {
  std::ostringstream os;
  emit(os);
  return std::move(os).str();
}

template <class Emit>
std::string onPage(Emit emit) {
  html::StringStream os;
  emit(os);
  return os.str();
}

std::string inTree(const meta::Type& type, const Value& value, bool optional = false) {
  return onPlainStream([&](std::ostream& os) { PrettyPrinter().emitValue(os, type, value, optional); });
}

std::string inRow(const meta::Type& type, const Value& value, bool optional = false) {
  return onPlainStream([&](std::ostream& os) { PrettyPrinter().emitValueDescItem(os, "", type, value, optional); });
}

std::string rowsOnPage(const meta::Type& type, const Value& value, bool optional = false) {
  return withoutAddresses(
      onPage([&](std::ostream& os) { PrettyPrinter().emitValueDescItem(os, "name", type, value, optional); }));
}

Looks looksOf(const meta::Type& type, const Value& value, bool optional) {
  return {inTree(type, value, optional),
          onPage([&](std::ostream& os) { PrettyPrinter().emitValue(os, type, value, optional); }),
          inRow(type, value, optional), rowsOnPage(type, value, optional)};
}

std::string itemRow(const std::string& cls, const std::string& value, const std::string& name = "name") {
  return "<div class='descItem'>\n<span class='attrName'>" + name + "</span><span class='" + cls + "'>" + value +
         "</span></div>\n";
}

boost::posix_time::ptime timeAt(const char16_t* text) { return kern::DateTimeUtils::Conversion::fromUstring(text); }

Value enumValue(std::int64_t number) { return Value(ValueMeta(typeOf(u"Color"), ValueFlags::Single), number); }

// --- Each kind, in the tree and in the table, on both kinds of stream.

struct Case {
  std::u16string kind;
  Value value;
  Looks looks;
};

Case quotedCase(const std::u16string& kind, Value value) {
  const std::string plain = "a \"b\" <c> & '\xC3\xBC' \\n";
  const std::string escaped = "a&nbsp;&quot;b&quot;&nbsp;&lt;c&gt;&nbsp;&amp;&nbsp;'\xC3\xBC'&nbsp;\\n";
  return {
      kind, std::move(value), {"\"" + plain + "\"", "&quot;" + escaped + "&quot;", plain, itemRow("attrId", escaped)}};
}

Case plainCase(const std::u16string& kind, Value value, const std::string& tree, const std::string& cls,
               const std::string& row) {
  return {kind, std::move(value), {tree, tree, row, itemRow(cls, row)}};
}

Case unsupportedCase(const std::u16string& kind, Value value) {
  return {kind,
          std::move(value),
          {"<unsupported>", "&lt;unsupported&gt;", "<unsupported>", itemRow("attrId", "&lt;unsupported&gt;")}};
}

std::vector<Case> casesOfAllPlainKinds() {
  const std::string uuidText = "0123abcd-4567-89ab-cdef-0123456789ab";
  using testsupport::Money;
  return {
      quotedCase(u"String", Value(u"a \"b\" <c> & '\u00FC' \\n")),
      quotedCase(u"StdString", Value(std::string("a \"b\" <c> & '\xC3\xBC' \\n"))),
      plainCase(u"Integer", Value(std::numeric_limits<std::int32_t>::min()), "-2147483648", "attrNum", "-2147483648"),
      plainCase(u"Integer8", Value(std::int8_t{65}), "A", "attrNum", "A"),
      plainCase(u"Integer8", Value(std::int8_t{-61}), "\xC3", "attrNum", "\xC3"),
      plainCase(u"Integer16", Value(std::int16_t{-32768}), "-32768", "attrNum", "-32768"),
      plainCase(u"Integer64", Value(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808", "attrNum",
                "-9223372036854775808"),
      plainCase(u"UInteger8", Value(std::uint8_t{66}), "B", "attrNum", "B"),
      plainCase(u"UInteger16", Value(std::uint16_t{65535}), "65535", "attrNum", "65535"),
      unsupportedCase(u"UInteger64", Value(std::uint64_t{1})),
      plainCase(u"UnlimitedNatural", Value(std::uint32_t{4294967295}), "4294967295", "attrNum", "4294967295"),
      plainCase(u"Real", Value(0.1), "0.1", "attrNum", "0.1"),
      plainCase(u"Real", Value(-1e100), "-1e+100", "attrNum", "-1e+100"),
      plainCase(u"Boolean", Value(true), "true", "attrBool", "TRUE"),
      plainCase(u"Boolean", Value(false), "false", "attrBool", "FALSE"),
      plainCase(u"UUID", Value(boost::uuids::string_generator()(uuidText)), uuidText, "attrId", uuidText),
      {u"DateTime",
       Value(timeAt(u"2020-01-31T13:05:09.000000")),
       {"2020-Jan-31 13:05:09", "2020-Jan-31&nbsp;13:05:09", "2020-01-31T13:05:09.000000",
        itemRow("attrId", "2020-01-31T13:05:09.000000")}},
      {u"DateTime",
       Value(timeAt(u"1999-12-01T00:00:00.250000")),
       {"1999-Dec-01 00:00:00.250000", "1999-Dec-01&nbsp;00:00:00.250000", "1999-12-01T00:00:00.250000",
        itemRow("attrId", "1999-12-01T00:00:00.250000")}},
      plainCase(u"Color", enumValue(7), "blue", "attrEnum", "blue"),
      unsupportedCase(u"Money", Value(ValueMeta(typeOf(u"Money"), ValueFlags::Single), Money{5})),
  };
}

TEST_F(ValuePrinting, ShowsEachKindInItsOwnWay) {
  for (const Case& each : casesOfAllPlainKinds()) {
    SCOPED_TRACE(testing::PrintToString(std::string(each.kind.begin(), each.kind.end())));
    EXPECT_EQ(looksOf(typeOf(each.kind), each.value, false), each.looks);
  }
}

TEST_F(ValuePrinting, ShowsAPresentOptionalValueAsARequiredOne) {
  for (const Case& each : casesOfAllPlainKinds()) {
    SCOPED_TRACE(testing::PrintToString(std::string(each.kind.begin(), each.kind.end())));
    EXPECT_EQ(looksOf(typeOf(each.kind), each.value, true), each.looks);
  }
}

Looks looksOfAbsent(const std::u16string& kind) {
  const meta::Type type = typeOf(kind);
  return looksOf(type, Value::createEmptyValue(type, false), true);
}

TEST_F(ValuePrinting, ShowsAbsentNumbersAsNull) {
  const Looks null{"<null>", "&lt;null&gt;", "<null>", itemRow("attrNum", "&lt;null&gt;")};
  for (const char16_t* kind : {u"Integer", u"Integer8", u"Integer16", u"Integer64", u"UInteger8", u"UInteger16",
                               u"UnlimitedNatural", u"Real"}) {
    EXPECT_EQ(looksOfAbsent(kind), null);
  }
}

TEST_F(ValuePrinting, ShowsAbsentTextsIdsAndTimesAsNull) {
  const Looks null{"<null>", "&lt;null&gt;", "<null>", itemRow("attrId", "&lt;null&gt;")};
  for (const char16_t* kind : {u"String", u"StdString", u"UUID", u"DateTime"}) EXPECT_EQ(looksOfAbsent(kind), null);
}

TEST_F(ValuePrinting, ShowsAnAbsentEnumAsNull) {
  EXPECT_EQ(looksOfAbsent(u"Color"), (Looks{"<null>", "&lt;null&gt;", "<null>", itemRow("attrEnum", "&lt;null&gt;")}));
}

TEST_F(ValuePrinting, ShowsAnAbsentBooleanAsNullInTheTreeAndAsTrueInTheTable) {
  EXPECT_EQ(looksOfAbsent(u"Boolean"), (Looks{"<null>", "&lt;null&gt;", "TRUE", itemRow("attrBool", "TRUE")}));
}

TEST_F(ValuePrinting, ShowsAbsentValuesOfUnsupportedKindsAsUnsupported) {
  const Looks unsupported = unsupportedCase(u"", Value(true)).looks;
  EXPECT_EQ(looksOfAbsent(u"UInteger64"), unsupported);
  EXPECT_EQ(looksOfAbsent(u"Money"), unsupported);
}

TEST_F(ValuePrinting, ReadsAnAbsentRequiredValueAsTheZeroOfItsKind) {
  const auto absent = [](const char16_t* kind) {
    const meta::Type type = typeOf(kind);
    return inTree(type, Value::createEmptyValue(type, true), false);
  };
  EXPECT_EQ(absent(u"Integer"), "0");
  EXPECT_EQ(absent(u"String"), "\"\"");
  EXPECT_EQ(absent(u"Boolean"), "false");
  EXPECT_EQ(absent(u"Color"), "red");
}

TEST_F(ValuePrinting, HasNoFormForElementsAndNullTypes) {
  const ModelElement box = newSample(fModel, u"Box", 1);
  const Looks unsupported = unsupportedCase(u"", Value(true)).looks;
  EXPECT_EQ(looksOf(box->getMetaClass(), Value(box), false), unsupported);
  EXPECT_EQ(looksOf(meta::Type(), Value(true), false), unsupported);
}

TEST_F(ValuePrinting, ShowsEightBitsAsTheCharacterWhateverItIs) {
  const Value lineEnd(std::int8_t{10});
  EXPECT_EQ(looksOf(typeOf(u"Integer8"), lineEnd, false),
            (Looks{"\n", "<br/>\n", "\n", itemRow("attrNum", "<br/>\n")}));
  EXPECT_EQ(inTree(typeOf(u"UInteger8"), Value(std::uint8_t{0})), std::string(1, '\0'));
}

TEST_F(ValuePrinting, ShowsNumbersInTheFormatOfTheStream) {
  std::ostringstream os;
  os.precision(3);
  PrettyPrinter printer;
  printer.emitValue(os, typeOf(u"Real"), Value(3.14159), false);
  printer.emitValueDescItem(os, " row ", typeOf(u"Real"), Value(3.14159), false);
  EXPECT_EQ(os.str(), "3.14 row 3.14");
}

TEST_F(ValuePrinting, ShowsRealsAsStreamsDoInEveryFormat) {
  std::mt19937_64 random(2);
  std::vector<double> numbers = {0.0,
                                 -0.0,
                                 1e15,
                                 1e16,
                                 123456.5,
                                 999999.5,
                                 0.0001,
                                 0.00001,
                                 1e300,
                                 5e-324,
                                 std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN()};
  for (int i = 0; i < 2000; ++i) numbers.push_back(std::bit_cast<double>(random()));
  const std::vector<std::function<void(std::ostream&)>> formats = {
      [](std::ostream&) {},
      [](std::ostream& os) { os.precision(17); },
      [](std::ostream& os) { os.precision(1); },
      [](std::ostream& os) { os.precision(0); },
      [](std::ostream& os) { os.precision(60); },
      [](std::ostream& os) { os << std::fixed; },
      [](std::ostream& os) { os << std::scientific << std::uppercase; },
      [](std::ostream& os) { os << std::showpos; },
      [](std::ostream& os) { os << std::showpoint; },
      [](std::ostream& os) { os << std::hexfloat; }};
  for (const double number : numbers) {
    for (const auto& format : formats) {
      std::ostringstream expected;
      std::ostringstream shown;
      format(expected);
      format(shown);
      expected << number;
      PrettyPrinter().emitValue(shown, typeOf(u"Real"), Value(number), false);
      EXPECT_EQ(shown.str(), expected.str());
    }
  }
}

TEST_F(ValuePrinting, FillsToTheWidthOfTheStream) {
  std::ostringstream os;
  os << std::setw(6) << std::setfill('.');
  PrettyPrinter().emitValue(os, typeOf(u"Boolean"), Value(true), false);
  EXPECT_EQ(os.str(), "..true");
  EXPECT_EQ(os.width(), 0);
}

/// A buffer that takes a few characters.
class ShortBuffer : public std::streambuf {
 public:
  explicit ShortBuffer(bool throws) : fThrows(throws) { setp(fRoom.data(), fRoom.data() + fRoom.size()); }

 protected:
  int_type overflow(int_type) override {
    if (fThrows) throw std::runtime_error("no room");
    return traits_type::eof();
  }

 private:
  std::array<char, 3> fRoom{};
  bool fThrows;
};

TEST_F(ValuePrinting, LetsTheStreamFailWhereItsBufferDoes) {
  const auto print = [](std::ostream& os) {
    PrettyPrinter().emitValue(os, typeOf(u"String"), Value(u"long text"), false);
  };
  for (const bool throws : {false, true}) {
    ShortBuffer buffer(throws);
    std::ostream os(&buffer);
    print(os);
    EXPECT_TRUE(os.bad());
    EXPECT_NO_THROW(print(os));
    ShortBuffer other(throws);
    std::ostream loud(&other);
    loud.exceptions(std::ios_base::badbit);
    if (throws) {
      EXPECT_THROW(print(loud), std::runtime_error);
    } else {
      EXPECT_THROW(print(loud), std::ios_base::failure);
    }
  }
}

TEST_F(ValuePrinting, PrintsAModelInTheFormatOfTheStream) {
  newSample(fModel, u"RequiredReal", 1)->set(u"value", 2.0 / 3);
  std::ostringstream os;
  os.precision(2);
  print(os, fModel);
  EXPECT_EQ(os.str(), "  RequiredReal {\n      value: 0.67\n  }\n");
}

TEST_F(ValuePrinting, ShowsAnEnumNumberWithoutLiteralAsNull) {
  EXPECT_EQ(looksOf(typeOf(u"Color"), enumValue(5), false),
            (Looks{"<null>", "&lt;null&gt;", "<null>", itemRow("attrEnum", "&lt;null&gt;")}));
}

TEST_F(ValuePrinting, ShowsTheSpecialTimes) {
  const Value never(boost::posix_time::ptime{boost::posix_time::not_a_date_time});
  EXPECT_EQ(inTree(typeOf(u"DateTime"), never), "not-a-date-time");
  EXPECT_EQ(inRow(typeOf(u"DateTime"), never), "not-a-date-time");
}

TEST_F(ValuePrinting, ShowsTimesAsStreamsDoAndLeavesTheStreamsLocaleAlone) {
  using boost::posix_time::ptime;
  std::mt19937_64 random(1);
  std::vector<ptime> times = {ptime(boost::posix_time::pos_infin), ptime(boost::posix_time::neg_infin),
                              ptime(boost::posix_time::min_date_time), ptime(boost::posix_time::max_date_time)};
  for (int i = 0; i < 1000; ++i) {
    const auto day =
        boost::gregorian::date(1400, 1, 1) + boost::gregorian::days(static_cast<int>(random() % 3'000'000));
    const auto microseconds = static_cast<std::int64_t>(random() % 86'400'000'000);
    times.emplace_back(
        day, boost::posix_time::microseconds(i % 2 == 0 ? microseconds : microseconds / 1'000'000 * 1'000'000));
  }
  for (const ptime& time : times) {
    std::ostringstream expected;
    expected << time;
    std::ostringstream shown;
    PrettyPrinter().emitValue(shown, typeOf(u"DateTime"), Value(time), false);
    EXPECT_EQ(shown.str(), expected.str());
    EXPECT_TRUE(shown.getloc() == std::locale::classic());
  }
}

TEST_F(ValuePrinting, ShowsTimesInTheFormThatTheStreamHasForThem) {
  std::ostringstream os;
  os.imbue(std::locale(os.getloc(), new boost::posix_time::time_facet("%d.%m.%Y")));  // the locale deletes it
  PrettyPrinter().emitValue(os, typeOf(u"DateTime"), Value(timeAt(u"2020-01-31T13:05:09.000000")), false);
  EXPECT_EQ(os.str(), "31.01.2020");
}

/// To change the locale of a file stream that has failed makes every later write throw.
TEST_F(ValuePrinting, ShowsTimesOnAFailedFileToo) {
  std::ofstream full("/dev/full");
  if (!full) return;  // another system
  full << "x" << std::flush;
  ASSERT_FALSE(full);
  const Value time(timeAt(u"2020-01-31T13:05:09.000000"));
  EXPECT_NO_THROW(PrettyPrinter().emitValue(full, typeOf(u"DateTime"), time, false));
}

TEST_F(ValuePrinting, PassesTheCastFailureOnWhenTheValueDoesNotFit) {
  EXPECT_THROW(inTree(typeOf(u"Integer"), Value(u"x")), bedrock::except::IException);
  EXPECT_THROW(inRow(typeOf(u"String"), Value(true), true), bedrock::except::IException);
  EXPECT_THROW(inTree(typeOf(u"Point"), Value(true)), bedrock::except::IException);
  EXPECT_THROW(inTree(typeOf(u"StringToStringMap"), Value(true)), bedrock::except::IException);
}

TEST_F(ValuePrinting, PrintsManyUnsupportedValuesOneByOne) {
  const ModelElement element = newSample(fModel, u"ManyUInteger64", 1);
  addValue(element, u"value", Value(std::uint64_t{1}));
  addValue(element, u"value", Value(std::uint64_t{2}));
  std::ostringstream os;
  PrettyPrinter().emitElement(os, element, "", true);
  EXPECT_EQ(os.str(), "  ManyUInteger64 {\n      value: {<unsupported>, <unsupported>}\n  }\n");
}

TEST_F(ValuePrinting, PrintsCollectionsOfEveryKind) {
  for (const Case& each : casesOfAllPlainKinds()) {
    for (const char16_t* storage : {u"Many", u"Generic"}) {
      const ModelElement element =
          testsupport::sampleMetaModel().classNamed(storage + each.kind)->instantiate(fModel, {});
      addValue(element, u"value", each.value);
      addValue(element, u"value", each.value);
      std::ostringstream os;
      PrettyPrinter().emitElement(os, element, "", true);
      EXPECT_THAT(os.str(), HasSubstr("value: {" + each.looks.inTree + ", " + each.looks.inTree + "}\n"));
    }
  }
}

// --- Maps.

const StringToStringMap kMap{{u"z <", u"1"}, {u"a", u"\"2\""}};

TEST_F(ValuePrinting, ShowsAMapOnOneLineOfTheTreeAndAsARowPerEntryOfTheTable) {
  const Looks expected{
      "{\"z <\" -> \"1\", \"a\" -> \"\"2\"\"}",
      "{&quot;z&nbsp;&lt;&quot;&nbsp;-&gt;&nbsp;&quot;1&quot;,&nbsp;&quot;a&quot;&nbsp;-&gt;&nbsp;&quot;&quot;2&quot;"
      "&quot;}",
      "  z <1  a\"2\"",
      itemRow("attrId", "") + itemRow("attrId", "1", "&nbsp;&nbsp;z&nbsp;&lt;") +
          itemRow("attrId", "&quot;2&quot;", "&nbsp;&nbsp;a")};
  EXPECT_EQ(looksOf(typeOf(u"StringToStringMap"), Value(kMap), false), expected);
  EXPECT_EQ(looksOf(typeOf(u"StringToStringMap"), Value(kMap), true), expected);
}

TEST_F(ValuePrinting, ShowsAnEmptyMapAsEmptyBraces) {
  EXPECT_EQ(looksOf(typeOf(u"StringToStringMap"), Value(StringToStringMap()), false),
            (Looks{"{}", "{}", "{}", itemRow("attrId", "{}")}));
}

TEST_F(ValuePrinting, PrintsTheMapOfAnElement) {
  const ModelElement element = newSample(fModel, u"OptionalStringToStringMap", 1);
  const auto printed = [&] {
    return onPlainStream([&](std::ostream& os) { PrettyPrinter().emitElement(os, element, "", true); });
  };
  EXPECT_EQ(printed(), "  OptionalStringToStringMap {\n      value: {}\n  }\n");
  element->setPropertyValue(element->property(u"value"), Value(StringToStringMap{{u"a", u"1"}, {u"b", u"2"}}),
                            kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  EXPECT_EQ(printed(), "  OptionalStringToStringMap {\n      value: {\"a\" -> \"1\", \"b\" -> \"2\"}\n  }\n");
}

// --- Data values.

ReflectiveDataType pointAt(std::int32_t x, std::int32_t y) {
  ReflectiveDataType point(testsupport::sampleMetaModel().dataTypeNamed(u"Point"));
  point.set(u"x", x).set(u"y", y);
  return point;
}

/// from (1, 2) to (3, 4) by way of (5, 6), labelled, with a box for target.
ReflectiveDataType someLine(const Model& model) {
  const meta::DataType type = testsupport::sampleMetaModel().dataTypeNamed(u"Line");
  ReflectiveDataType line(type);
  line.set(u"from", pointAt(1, 2)).set(u"to", pointAt(3, 4)).set(u"target", newSample(model, u"Box", 1));
  line.getPropertyValue(type->getProperty(u"labels")).toPrimitiveCollection().addValue(Value(u"a"));
  line.getPropertyValue(type->getProperty(u"labels")).toPrimitiveCollection().addValue(Value(u"b"));
  line.getPropertyValue(type->getProperty(u"via")).toPrimitiveCollection().addValue(Value(pointAt(5, 6)));
  return line;
}

TEST_F(ValuePrinting, ShowsADataValueAsABlockOfTheTreeInTheOrderOfNames) {
  const ReflectiveDataType line = someLine(fModel);
  EXPECT_EQ(inTree(line.getType(), Value(line)),
            "{\n"
            "      color: green\n"
            "      from: {\n"
            "          x: 1\n"
            "          y: 2\n"
            "      }\n"
            "      labels: {\"a\", \"b\"}\n"
            "      scratch: <null>\n"
            "      target: Box\n"
            "      to: {\n"
            "          x: 3\n"
            "          y: 4\n"
            "      }\n"
            "      via: {{\n"
            "              x: 5\n"
            "              y: 6\n"
            "          }}\n"
            "  }");
}

TEST_F(ValuePrinting, ShowsADataValueAsRowsOfTheTableAllEquallyIndented) {
  const ReflectiveDataType line = someLine(fModel);
  const auto named = [](const char* name) { return std::string("&nbsp;&nbsp;") + name; };
  const std::string link = "<a class='attrId' href='#@'>{...}</a></div>\n";
  EXPECT_EQ(rowsOnPage(line.getType(), Value(line)),
            itemRow("attrId", "") + itemRow("attrId", "", named("from")) + itemRow("attrNum", "1", named("x")) +
                itemRow("attrNum", "2", named("y")) +
                "<div class='descItem'>\n<span class='attrName'>&nbsp;&nbsp;labels</span>" + link +
                itemRow("attrNum", "&lt;null&gt;", named("scratch")) +
                "<div class='descItem'>\n<span class='attrName'>&nbsp;&nbsp;target</span>"
                "<span class='entry' id='J1'>Box</span></div>\n" +
                itemRow("attrId", "", named("to")) + itemRow("attrNum", "3", named("x")) +
                itemRow("attrNum", "4", named("y")) +
                "<div class='descItem'>\n<span class='attrName'>&nbsp;&nbsp;via</span>" + link);
}

TEST_F(ValuePrinting, PrintsADataValueWithinAnElementAtItsLevel) {
  const ModelElement papers = newPrinted(fModel, u"Papers");
  EXPECT_EQ(onPlainStream([&](std::ostream& os) { PrettyPrinter().emitElement(os, papers, "", true); }),
            "  Papers {\n"
            "      blank: {\n"
            "      }\n"
            "      nest: {\n"
            "          depth: 0\n"
            "          inner: {}\n"
            "      }\n"
            "      holder: {\n"
            "          count: 5\n"
            "          sizes: {}\n"
            "          teams: {}\n"
            "      }\n"
            "  }\n");
}

TEST_F(ValuePrinting, ShowsADataValueWithoutAttributesAsBracesOnTwoLines) {
  const ReflectiveDataType blank(testsupport::printedDataType(u"Blank"));
  EXPECT_EQ(inTree(blank.getType(), Value(blank)), "{\n  }");
  EXPECT_EQ(rowsOnPage(blank.getType(), Value(blank)), itemRow("attrId", ""));
}

TEST_F(ValuePrinting, ShowsDefaultsAndEmptyCollectionsOfADataValueInTheTree) {
  const ReflectiveDataType holder(testsupport::printedDataType(u"Holder"));
  EXPECT_EQ(inTree(holder.getType(), Value(holder)), "{\n      count: 5\n      sizes: {}\n      teams: {}\n  }");
}

TEST_F(ValuePrinting, LeavesDefaultsAndEmptyCollectionsOfADataValueOutOfTheTableUnlessAsked) {
  const ReflectiveDataType holder(testsupport::printedDataType(u"Holder"));
  EXPECT_EQ(inRow(holder.getType(), Value(holder)), "");
  std::ostringstream os;
  PrettyPrinter().emitDefaultValues(true).emitEmptyCollections(true).emitNullElements(true).emitValueDescItem(
      os, "holder", holder.getType(), Value(holder), false);
  EXPECT_EQ(os.str(), "holder  count5  sizes{}  team<null>  teams{}");
}

TEST_F(ValuePrinting, NeverExpandsTheElementsThatADataValueRefersTo) {
  const meta::DataType type = testsupport::printedDataType(u"Holder");
  ReflectiveDataType holder(type);
  holder.set(u"team", newPrinted(fModel, u"Team"));
  const Value teams = holder.getPropertyValue(type->getProperty(u"teams"));
  teams.toElementCollection().addElement(newPrinted(fModel, u"Team"));
  EXPECT_EQ(inTree(type, Value(holder)),
            "{\n      count: 5\n      sizes: {}\n      team: Team\n      teams: {\n          [0]: Team\n      }\n  }");
}

TEST_F(ValuePrinting, ShowsAnAbsentDataValueByItsDefaults) {
  const meta::Type point = typeOf(u"Point");
  EXPECT_EQ(inTree(point, Value::createEmptyValue(point, false), true), "{\n      x: 0\n      y: 0\n  }");
  EXPECT_EQ(inRow(point, Value::createEmptyValue(point, false), true), "  x0  y0");
}

TEST_F(ValuePrinting, PassesTheValuesWithinADataValueThroughTheOverrides) {
  class Marking : public PrettyPrinter {
   public:
    void emitValue(std::ostream& os, const Type& type, const Value& value, bool optional) override {
      os << '*';
      PrettyPrinter::emitValue(os, type, value, optional);
    }
    void emitValueDescItem(std::ostream& os, const std::string& name, const Type& type, const Value& value,
                           bool optional) override {
      os << '*';
      PrettyPrinter::emitValueDescItem(os, name, type, value, optional);
    }
  } printer;
  const Value point(pointAt(1, 2));
  std::ostringstream os;
  printer.emitValue(os, point.getType(), point, false);
  printer.emitValueDescItem(os, "p", point.getType(), point, false);
  EXPECT_EQ(os.str(), "*{\n      x: *1\n      y: *2\n  }*p*  x1*  y2");
}

/// A data value in a data value, so many times.
Value nested(int depth) {
  const meta::DataType type = testsupport::printedDataType(u"Nest");
  Value value = Value(ReflectiveDataType(type).set(u"depth", std::int32_t{depth - 1}));
  for (int i = depth - 2; i >= 0; --i) {
    ReflectiveDataType outer(type);
    outer.set(u"depth", std::int32_t{i});
    outer.getPropertyValue(type->getProperty(u"inner")).toPrimitiveCollection().addValue(value);
    value = Value(std::move(outer));
  }
  return value;
}

TEST_F(ValuePrinting, PrintsDeepDataValuesOnASmallStack) {
  constexpr int kDepth = 400;
  const auto blanks = [](int count) { return std::string(static_cast<std::size_t>(count), ' '); };
  std::string expected;
  for (int i = 0; i < kDepth; ++i) {
    expected += "{\n" + blanks(8 * i + 6) + "depth: " + std::to_string(i) + "\n" + blanks(8 * i + 6) + "inner: {";
  }
  for (int i = kDepth; i-- > 0;) expected += "}\n" + blanks(8 * i + 2) + "}";
  const Value value = nested(kDepth);
  std::string text;
  onSmallStack([&] { text = inTree(value.getType(), value); });
  EXPECT_TRUE(text == expected);
}

}  // namespace
}  // namespace quillon::nimbo
