#include <bit>
#include <cmath>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"
#include "framework/tarn/kern/ValueTestModel.h"

using namespace tarn::kern;        // NOLINT: the vocabulary of these tests
using namespace tarn::kern::meta;  // NOLINT
using storetest::sql;
using testing::HasSubstr;

namespace {

/// Every: one property of each type, single ("text" …) and many ("texts" …). Names that SQL dislikes stand in Odd.
struct Types {
  Class every;
  Class odd;
  Class lowerOdd;
};

struct Kind {
  const char16_t* name;
  TypeRef type;
};

const Types& types() {
  static const Types kTypes = [] {
    PackageBuilder package(u"storetest");
    const Kind kinds[] = {
        {u"text", StandardTypes::stringMeta},       {u"bytes", StandardTypes::stdstringMeta},
        {u"int32", StandardTypes::integerMeta},     {u"int8", StandardTypes::integer8Meta},
        {u"int16", StandardTypes::integer16Meta},   {u"int64", StandardTypes::integer64Meta},
        {u"uint8", StandardTypes::uinteger8Meta},   {u"uint16", StandardTypes::uinteger16Meta},
        {u"uint64", StandardTypes::uinteger64Meta}, {u"natural", StandardTypes::unlimitedNaturalMeta},
        {u"real", StandardTypes::realMeta},         {u"flag", StandardTypes::booleanMeta},
        {u"uuid", StandardTypes::uuidMeta},         {u"time", StandardTypes::dateTimeMeta},
        {u"color", Type(valuetest::color())},       {u"money", valuetest::money()},
        {u"sheet", Type(valuetest::sheet())},       {u"nest", Type(valuetest::nest())},
    };
    auto& every = package.addClass(u"Every");
    for (const Kind& kind : kinds) {
      every.attribute(kind.name, kind.type);
      every.attribute(ustring(kind.name) + u"s", kind.type).many();
      every.attribute(ustring(kind.name) + u"Generic", kind.type).many().genericStorage();
    }
    every.attribute(u"map", StandardTypes::stringToStringMapMeta);
    every.attribute(u"maps", StandardTypes::stringToStringMapMeta).many();
    every.attribute(u"defaulted", StandardTypes::integerMeta).defaultsTo(Value(std::int32_t{5}));
    every.attribute(u"computed", StandardTypes::integerMeta).derived();
    every.attribute(u"cached", StandardTypes::integerMeta).transient().defaultsTo(Value(std::int32_t{9}));
    every.composite(u"parts", every).many();

    auto& odd = package.addClass(u"Order");  // a keyword; "order" differs by case only
    odd.attribute(u"id", StandardTypes::integerMeta);
    odd.attribute(u"select", StandardTypes::stringMeta);
    odd.attribute(u"Name", StandardTypes::stringMeta);
    odd.attribute(u"name", StandardTypes::stringMeta);
    odd.attribute(u"größe in m²", StandardTypes::realMeta);
    odd.attribute(u"2nd", StandardTypes::integerMeta);
    odd.attribute(u"drop\"table;--", StandardTypes::integerMeta).many();
    odd.attribute(u"Values", StandardTypes::integerMeta).many();
    odd.attribute(u"values", StandardTypes::integerMeta).many();
    package.addClass(u"order").extends(odd).attribute(u"own", StandardTypes::integerMeta);
    package.addClass(u"element");
    package.registerPackage();
    const auto classNamed = [](const char16_t* name) {
      return narrow<Class>(MetaRegistry::getInstance()->getType(ustring(u"storetest.") + name));
    };
    return Types{classNamed(u"Every"), classNamed(u"Order"), classNamed(u"order")};
  }();
  return kTypes;
}

/// Each value goes into a new element, through the file, and back.
class StoreValuesTest : public testing::Test {
 protected:
  void SetUp() override { static_cast<void>(types()); }

  [[nodiscard]] static Property property(std::u16string_view name) { return types().every->getProperty(ustring(name)); }

  /// What the single property holds after the way through the file, and as one entry of the two kinds of collections.
  void expectExact(const char16_t* name, const Value& value) {
    storetest::Folder folder;
    const std::string path = folder / "values.db";
    const ustring names[] = {ustring(name) + u"s", ustring(name) + u"Generic"};
    const auto check = [&](const ModelElement& element) {
      EXPECT_EQ(element->getPropertyValue(property(name), ReflectionPrivateTag::PUBLIC_ACCESS), value)
          << value.describe();
      for (const ustring& many : names) {
        const Value live = element->getPropertyValue(property(many), ReflectionPrivateTag::PUBLIC_ACCESS);
        const std::vector<Value> entries = live.toPrimitiveCollection().getAllValues();
        ASSERT_EQ(entries.size(), 2U);
        EXPECT_EQ(entries[0], value) << value.describe();
        EXPECT_EQ(entries[1], value) << value.describe();
      }
    };
    {
      const Model model = storetest::open(path);
      Transaction change = model->beginTransaction(false);
      const ModelElement element = types().every->instantiate(model, {});
      element->setPropertyValue(property(name), value, ReflectionPrivateTag::PUBLIC_ACCESS);
      for (const ustring& many : names) {
        const Value live = element->getPropertyValue(property(many), ReflectionPrivateTag::PUBLIC_ACCESS);
        live.toPrimitiveCollection().addValue(value);
        live.toPrimitiveCollection().addValue(value);
      }
      change.commit(boost::none);
    }
    const Model model = storetest::open(path);
    check(model->getTopLevelElements().front());
    // The same by way of an update.
    Transaction change = model->beginTransaction(false);
    const ModelElement element = model->getTopLevelElements().front();
    element->unset(property(name));
    element->setPropertyValue(property(name), value, ReflectionPrivateTag::PUBLIC_ACCESS);
    change.commit(boost::none);
    check(element);
  }

  template <class T>
  void expectExactLimits(const char16_t* name) {
    expectExact(name, Value(std::numeric_limits<T>::min()));
    expectExact(name, Value(std::numeric_limits<T>::max()));
    expectExact(name, Value(T{0}));
    expectExact(name, Value(T{1}));
  }

  [[nodiscard]] static Value dataOf(const std::function<void(ReflectiveDataType&)>& fill) {
    ReflectiveDataType sheet(valuetest::sheet());
    fill(sheet);
    return Value(sheet);
  }
};

}  // namespace

TEST_F(StoreValuesTest, KeepsTexts) {
  expectExact(u"text", Value(ustring()));
  expectExact(u"text", Value(ustring(u"plain")));
  expectExact(u"text", Value(ustring(u"Grüße, 模型, 😀")));
  expectExact(u"text", Value(ustring(u"embedded\0NUL", 12)));
  expectExact(u"text", Value(ustring(u"\0", 1)));
  expectExact(u"text", Value(ustring{u'a', 0xD800, u'b'}));
  expectExact(u"text", Value(ustring{0xDC00, 0xD800}));
  expectExact(u"text", Value(ustring{0xDFFF}));
  expectExact(u"text", Value(ustring{u'\uFEFF', u'\uFFFF', u'\r', u'\n'}));
  expectExact(u"text", Value(ustring(100'000, u'ä')));
}

TEST_F(StoreValuesTest, KeepsBytes) {
  expectExact(u"bytes", Value(std::string()));
  expectExact(u"bytes", Value(std::string("text")));
  expectExact(u"bytes", Value(std::string("\xff\xfe\x00\x80", 4)));
  expectExact(u"bytes", Value(std::string("\0", 1)));
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  expectExact(u"bytes", Value(all));
}

TEST_F(StoreValuesTest, KeepsNumbersOverTheirWholeRange) {
  expectExactLimits<std::int32_t>(u"int32");
  expectExactLimits<std::int8_t>(u"int8");
  expectExactLimits<std::int16_t>(u"int16");
  expectExactLimits<std::int64_t>(u"int64");
  expectExactLimits<std::uint8_t>(u"uint8");
  expectExactLimits<std::uint16_t>(u"uint16");
  expectExactLimits<std::uint64_t>(u"uint64");
  expectExact(u"uint64", Value(std::uint64_t{0x7FFFFFFFFFFFFFFF}));
  expectExact(u"uint64", Value(std::uint64_t{0x8000000000000000}));
  expectExactLimits<std::uint32_t>(u"natural");
  expectExact(u"flag", Value(true));
  expectExact(u"flag", Value(false));
}

TEST_F(StoreValuesTest, KeepsRealsBitByBit) {
  for (const double real :
       {0.0, -0.0, 1.0, -1.0, 0.1, 1e300, 9007199254740993.0, std::numeric_limits<double>::denorm_min(),
        std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
        std::bit_cast<double>(0x7FF8000000000001ULL), std::bit_cast<double>(0xFFF8000000000000ULL),
        std::bit_cast<double>(0x7FF4000000000000ULL)}) {
    expectExact(u"real", Value(real));
  }
}

TEST_F(StoreValuesTest, KeepsTimesAndUuids) {
  using boost::posix_time::ptime;
  expectExact(u"time", Value(ptime(boost::gregorian::date(2020, 2, 29), boost::posix_time::microseconds(123456789))));
  expectExact(u"time", Value(ptime(boost::posix_time::not_a_date_time)));
  expectExact(u"time", Value(ptime(boost::posix_time::pos_infin)));
  expectExact(u"time", Value(ptime(boost::posix_time::neg_infin)));
  expectExact(u"time", Value(ptime(boost::posix_time::min_date_time)));
  expectExact(u"time", Value(ptime(boost::posix_time::max_date_time)));
  boost::uuids::uuid uuid{};
  expectExact(u"uuid", Value(uuid));
  for (std::uint8_t i = 0; i < 16; ++i) uuid.data[i] = static_cast<std::uint8_t>(i * 17);
  expectExact(u"uuid", Value(uuid));
}

TEST_F(StoreValuesTest, KeepsEnumsByLiteralAndByNumber) {
  expectExact(u"color", Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"green")));
  expectExact(u"color", Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"alsoBlue")));
  expectExact(u"color", Value(ValueMeta(valuetest::color(), ValueFlags::Single), std::int64_t{12345678901}));
}

TEST_F(StoreValuesTest, KeepsCustomTypesByTheirText) {
  expectExact(u"money", Value(ValueMeta(valuetest::money(), ValueFlags::Single), valuetest::Money{-12345}));
}

TEST_F(StoreValuesTest, KeepsDataValues) {
  expectExact(u"sheet", dataOf([](ReflectiveDataType&) {}));
  expectExact(u"sheet", dataOf([](ReflectiveDataType& sheet) {
                sheet.set<ustring>(u"text", ustring{u'"', u'\\', u'\n', 0xD800, u'\0', 0xD83D, 0xDC01});
                sheet.set<std::string>(u"stdText", std::string("\xff\0x", 3));
                sheet.set<std::int8_t>(u"int8", -128);
                sheet.set<std::int64_t>(u"int64", std::numeric_limits<std::int64_t>::min());
                sheet.set<std::uint64_t>(u"uint64", std::numeric_limits<std::uint64_t>::max());
                sheet.set<double>(u"real", -0.0);
                sheet.set<bool>(u"flag", true);
                sheet.set<boost::posix_time::ptime>(u"time", boost::posix_time::ptime(boost::posix_time::pos_infin));
              }));
  expectExact(u"sheet", dataOf([](ReflectiveDataType& sheet) {
                sheet.set<double>(u"real", std::numeric_limits<double>::quiet_NaN());
                const auto reals = sheet.getPropertyValue(valuetest::propertyOf(valuetest::sheet(), u"reals"));
                reals.toPrimitiveCollection().addValue(Value(-std::numeric_limits<double>::infinity()));
                reals.toPrimitiveCollection().addValue(Value(std::bit_cast<double>(0x7FF800000000ABCDULL)));
                const auto notes = sheet.getPropertyValue(valuetest::propertyOf(valuetest::sheet(), u"notes"));
                notes.toStringToStringMap().insert(u"b", u"1", CollisionResolution::Replace);
                notes.toStringToStringMap().insert(u"a", u"2", CollisionResolution::Replace);
              }));
  // An attribute with a default that is absent stays absent.
  expectExact(u"sheet", dataOf([](ReflectiveDataType& sheet) {
                const Property title = valuetest::propertyOf(valuetest::sheet(), u"title");
                sheet.setPropertyValue(title, Value::createEmptyValue(title->getType(), false));
              }));
  expectExact(u"nest", Value(valuetest::nested(2'000)));
}

TEST_F(StoreValuesTest, KeepsReferencesInDataValues) {
  storetest::Folder folder;
  const std::string path = folder / "data.db";
  {
    const Model model = storetest::open(path);
    const ModelElement box = valuetest::newElement(model, valuetest::box(), 1);
    const ModelElement other = valuetest::newElement(model, valuetest::box(), 2);
    ReflectiveDataType sheet(valuetest::sheet());
    sheet.set<ModelElement>(u"target", other);
    box->set<ReflectiveDataType>(u"sheet", sheet);
  }
  const Model model = storetest::open(path);
  const ModelElement box = model->getTopLevelElements()[0];
  const ModelElement target = box->get<ReflectiveDataType>(u"sheet").get<ModelElement>(u"target");
  ASSERT_TRUE(target);
  EXPECT_EQ(target, model->getTopLevelElements()[1]);
}

TEST_F(StoreValuesTest, KeepsAbsenceAndEmptinessApart) {
  storetest::Folder folder;
  const std::string path = folder / "absent.db";
  {
    const Model model = storetest::open(path);
    const ModelElement element = types().every->instantiate(model, {});
    element->set<ustring>(u"text", ustring());
    element->unset(property(u"defaulted"));
    const ModelElement other = types().every->instantiate(model, {});
    other->set<std::int32_t>(u"computed", 3);
    other->set<std::int32_t>(u"cached", 4);
  }
  const Model model = storetest::open(path);
  const ModelElement element = model->getTopLevelElements()[0];
  EXPECT_TRUE(element->getOptional<ustring>(property(u"text")).has_value());
  EXPECT_FALSE(element->getOptional<std::string>(property(u"bytes")).has_value());
  EXPECT_FALSE(element->getOptional<std::int32_t>(property(u"defaulted")).has_value());
  const ModelElement other = model->getTopLevelElements()[1];
  EXPECT_EQ(other->getOptional<std::int32_t>(property(u"defaulted")).value_or(0), 5);
  // Derived and transient values are nobody's to keep: they begin anew.
  EXPECT_FALSE(other->getOptional<std::int32_t>(property(u"computed")).has_value());
  EXPECT_EQ(other->getOptional<std::int32_t>(property(u"cached")).value_or(0), 9);
}

TEST_F(StoreValuesTest, KeepsMapsWithTheirOrder) {
  storetest::Folder folder;
  const std::string path = folder / "map.db";
  const StringToStringMap content = {
      {u"z", u"1"}, {u"a", u""}, {u"", u"empty key"}, {ustring{0xD800}, ustring(u"\0", 1)}};
  const auto mapOf = [](const Model& model) {
    return model->getTopLevelElements().front()->getPropertyValue(property(u"map"),
                                                                  ReflectionPrivateTag::PUBLIC_ACCESS);
  };
  {
    const Model model = storetest::open(path);
    static_cast<void>(types().every->instantiate(model, {}));
    mapOf(model).toStringToStringMap().assign(content);
    model->getTopLevelElements()
        .front()
        ->getPropertyValue(property(u"maps"), ReflectionPrivateTag::PUBLIC_ACCESS)
        .toPrimitiveCollection()
        .addValue(Value(content));
  }
  {
    const Model model = storetest::open(path);
    EXPECT_EQ(mapOf(model).toStringToStringMap(), content);
    const Value maps =
        model->getTopLevelElements().front()->getPropertyValue(property(u"maps"), ReflectionPrivateTag::PUBLIC_ACCESS);
    EXPECT_EQ(maps.toPrimitiveCollection().getValue(0), Value(content));
    static_cast<void>(mapOf(model).toStringToStringMap().remove(u"a"));
    mapOf(model).toStringToStringMap().insert(u"z", u"changed", CollisionResolution::Replace);
  }
  const StringToStringMap changed = {{u"z", u"changed"}, {u"", u"empty key"}, {ustring{0xD800}, ustring(u"\0", 1)}};
  EXPECT_EQ(mapOf(storetest::open(path)).toStringToStringMap(), changed);
}

TEST_F(StoreValuesTest, FindsNamesForWhatSqlCannotName) {
  storetest::Folder folder;
  const std::string path = folder / "odd.db";
  {
    const Model model = storetest::open(path);
    for (const Class& type : {types().odd, types().lowerOdd}) {
      const ModelElement element = type->instantiate(model, {});
      element->set<std::int32_t>(u"id", 7);
      element->set<ustring>(u"Name", u"upper");
      element->set<ustring>(u"name", u"lower");
      element->set<double>(u"größe in m²", 2.5);
      element->getPropertyValue(type->getProperty(u"Values"), ReflectionPrivateTag::PUBLIC_ACCESS)
          .toPrimitiveCollection()
          .addValue(Value(std::int32_t{1}));
      element->getPropertyValue(type->getProperty(u"values"), ReflectionPrivateTag::PUBLIC_ACCESS)
          .toPrimitiveCollection()
          .addValue(Value(std::int32_t{2}));
      element->getPropertyValue(type->getProperty(u"drop\"table;--"), ReflectionPrivateTag::PUBLIC_ACCESS)
          .toPrimitiveCollection()
          .addValue(Value(std::int32_t{3}));
    }
    static_cast<void>(
        narrow<Class>(MetaRegistry::getInstance()->getType(u"storetest.element"))->instantiate(model, {}));
  }
  EXPECT_EQ(sql(path, "SELECT name, \"table\" FROM class ORDER BY id"),
            "storetest.Order|Order_\nstoretest.order|order__2\nstoretest.element|element_2\n");
  EXPECT_EQ(sql(path, "SELECT name, \"table\", \"column\" FROM property WHERE class = 1 ORDER BY id"),
            "id|Order_|id_2\nselect|Order_|select_\nName|Order_|Name\nname|Order_|name_2\n"
            "größe in m²|Order_|gr__e_in_m_\n2nd|Order_|_2nd\ndrop\"table;--|Order_drop_table___|NULL\n"
            "Values|Order_Values|NULL\nvalues|Order_values_2|NULL\n");
  EXPECT_EQ(sql(path, "SELECT id_2, Name, name_2, gr__e_in_m_ FROM Order_"), "7|upper|lower|2.5\n");
  const Model model = storetest::open(path);
  const ModelElement element = model->getTopLevelElements()[1];
  EXPECT_EQ(element->get<ustring>(u"name"), u"lower");
  EXPECT_EQ(element->getPropertyValue(types().odd->getProperty(u"values"), ReflectionPrivateTag::PUBLIC_ACCESS)
                .toPrimitiveCollection()
                .getValue(0),
            Value(std::int32_t{2}));
}

TEST_F(StoreValuesTest, SaysWhichValueAnotherProgramHasSpoilt) {
  const struct {
    const char* change;
    const char* words;
  } cases[] = {
      {"UPDATE Every SET int8 = 1000", "storetest.Every.int8 cannot hold \"1000\""},
      {"UPDATE Every SET flag = 2", "storetest.Every.flag cannot hold \"2\""},
      {"UPDATE Every SET color = 'mauve'", "the literal \"mauve\""},
      {"UPDATE Every SET time = 'yesterday'", "storetest.Every.time cannot hold \"yesterday\""},
      {"UPDATE Every SET uuid = 'x'", "\"x\" is no uuid"},
      {"UPDATE Every SET sheet = '{\"nowhere\": 1}'", "no attribute of that name"},
      {"UPDATE Every SET real = 'one'", "storetest.Every.real cannot hold \"one\""},
      {"UPDATE element SET class = 77", "of the class 77, which the table class lacks"},
      {"UPDATE element SET container = 4711, role = 999", "stands in no known property|refers to the id 4711"},
      {"DELETE FROM Every", "the table Every lacks elements of its class"},
      {"UPDATE element SET uuid = 'zz'", "\"zz\" is no uuid"},
      {"INSERT INTO Every_int8s VALUES(1, 0, 300)", "storetest.Every.int8s cannot hold \"300\""},
  };
  for (const auto& [change, words] : cases) {
    storetest::Folder folder;
    const std::string path = folder / "spoilt.db";
    {
      const Model model = storetest::open(path);
      static_cast<void>(types().every->instantiate(model, {}));
    }
    sql(path, change);
    const Model model = storetest::open(path);
    try {
      for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
        static_cast<void>(element->get<ustring>(u"text"));
      }
      ADD_FAILURE() << change;
    } catch (const strata::StoreError& error) {
      EXPECT_EQ(error.kind(), strata::StoreError::Kind::Damaged);
      const std::string text(words);
      const std::size_t bar = text.find('|');
      EXPECT_THAT(error.what(), testing::AnyOf(HasSubstr(text.substr(0, bar)),
                                               HasSubstr(bar == std::string::npos ? text : text.substr(bar + 1))));
    }
  }
}
