#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/meta/MetaModelFile.h>

#include "EvolutionFixture.h"

namespace tarn::kern::meta {
namespace {

using evolution::Evolution;
using evolution::EvolutionTest;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto kUnlimited = Property::Impl::kUnlimited;

class MetaModelFileTest : public EvolutionTest {
 protected:
  static MetaRegistry& registry() { return *MetaRegistry::getInstance(); }
  template <class Handle>
  static Handle find(const ustring& name) {
    return narrow<Handle>(registry().getType(name));
  }
  static Property property(const ustring& type, const ustring& name) {
    return find<StructuredType>(type)->getProperty(name);
  }

  static std::vector<std::string> faultsIn(const std::string& json) {
    std::vector<std::string> texts;
    try {
      readMetaModel(json, "library.json");
    } catch (const MetaModelFileError& error) {
      for (const io::ParseError& fault : error.faults()) texts.emplace_back(fault.what());
    }
    EXPECT_THAT(registry().getPackages(), testing::IsEmpty());
    return texts;
  }

  /// What is read from what was written is written the same.
  static std::string writtenAndReadAgain(const std::vector<Package>& packages) {
    std::string text = writeMetaModel(packages);
    registry().reset();
    EXPECT_EQ(writeMetaModel(readMetaModel(text)), text);
    return text;
  }
};

// --- Reading.

TEST_F(MetaModelFileTest, ReadsPackagesWithTheirFamiliesVersionsUrisAndInnerPackages) {
  const std::vector<Package> packages = readMetaModel(R"({
    "metamodel": "1.0",
    "packages": [
      { "name": "library", "family": "library", "version": "2.0",
        "annotations": [ { "source": "doc", "details": [ { "key": "a", "value": "1" }, { "key": "a", "value": "2" } ] } ],
        "packages": [ { "name": "inner", "uri": "urn:x" } ] },
      { "name": "shop" } ] })");
  ASSERT_EQ(packages.size(), 2U);
  EXPECT_EQ(packages[0]->getFamily(), u"library");
  EXPECT_EQ(packages[0]->getVersion(), u"2.0");
  EXPECT_EQ(packages[0]->getAnnotations(), (std::vector<Annotation>{{u"doc", {{u"a", u"1"}, {u"a", u"2"}}}}));
  ASSERT_EQ(packages[0]->getPackages().size(), 1U);
  EXPECT_EQ(packages[0]->getPackages()[0]->getQualifiedName(), u"library.inner");
  EXPECT_EQ(packages[0]->getPackages()[0]->getUri(), u"urn:x");
  EXPECT_EQ(packages[1]->getUri(), u"urn:shop");
  EXPECT_EQ(registry().getPackages(), packages);
}

TEST_F(MetaModelFileTest, ReadsAllThatAClassCanBe) {
  readMetaModel(R"({ "metamodel": "1.0", "packages": [ { "name": "p", "types": [
    { "class": "Named", "abstract": true, "properties": [ { "attribute": "name", "type": "String", "lower": 1 } ] },
    { "class": "Priced", "properties": [ { "attribute": "price", "type": "Real" } ] },
    { "class": "Book", "superclass": "Named", "furtherSupertypes": [ "p.Priced" ],
      "annotations": [ { "source": "s" } ],
      "properties": [
        { "composite": "chapters", "type": "Chapter", "upper": "*", "opposite": "book", "qualifiedBy": "number" },
        { "reference": "sequels", "type": "p.Book", "lower": 1, "upper": 3, "unique": false, "ordered": false,
          "derived": true, "annotations": [ { "source": "t" } ] },
        { "attribute": "tags", "type": "StdString", "upper": "*", "unique": true, "genericStorage": true, "transient": true },
        { "attribute": "notes", "type": "StringToStringMap", "lower": 1, "readOnly": true, "guarded": true } ] },
    { "class": "Chapter", "properties": [
        { "attribute": "number", "type": "Integer" },
        { "reference": "book", "type": "Book", "opposite": "chapters" } ] } ] } ] })");
  const Class book = find<Class>(u"p.Book");
  EXPECT_TRUE(find<Class>(u"p.Named")->isAbstract());
  EXPECT_FALSE(book->isAbstract());
  EXPECT_EQ(book->getSuperclass(), find<Class>(u"p.Named"));
  EXPECT_THAT(book->getFurtherSupertypes(), ElementsAre(find<Class>(u"p.Priced")));
  EXPECT_TRUE(book->getProperty(u"price"));
  EXPECT_EQ(book->getAnnotations(), (std::vector<Annotation>{{u"s", {}}}));
  const Property chapters = property(u"p.Book", u"chapters");
  EXPECT_TRUE(chapters->isComposite);
  EXPECT_TRUE(chapters->isUnique);
  EXPECT_EQ(chapters->upper, kUnlimited);
  EXPECT_EQ(chapters->getOpposite(), property(u"p.Chapter", u"book"));
  EXPECT_EQ(chapters->getQualifiedBy(), property(u"p.Chapter", u"number"));
  const Property sequels = property(u"p.Book", u"sequels");
  EXPECT_EQ(sequels->lower, 1U);
  EXPECT_EQ(sequels->upper, 3U);
  EXPECT_FALSE(sequels->isComposite || sequels->isUnique || sequels->isOrdered || sequels->isTransient);
  EXPECT_TRUE(sequels->isDerived && sequels->isOmitted);
  EXPECT_EQ(sequels->getAnnotations(), (std::vector<Annotation>{{u"t", {}}}));
  const Property tags = property(u"p.Book", u"tags");
  EXPECT_TRUE(tags->isUnique && tags->usesGenericStorage && tags->isTransient);
  const Property notes = property(u"p.Book", u"notes");
  EXPECT_TRUE(notes->isReadOnly && notes->isGuarded);
}

TEST_F(MetaModelFileTest, ReadsEnumsDataTypesAndDefaultsOfEveryType) {
  readMetaModel(R"({ "metamodel": "1.0", "packages": [ { "name": "p", "types": [
    { "enum": "Genre", "literals": [ { "name": "novel", "number": -9223372036854775808 }, { "name": "essay", "number": 7 } ] },
    { "primitive": "Isbn" },
    { "dataType": "Place", "properties": [ { "attribute": "owner", "type": "Book" }, { "attribute": "rooms", "type": "Place", "upper": "*" } ] },
    { "class": "Book", "properties": [
        { "attribute": "genre", "type": "Genre", "default": "essay" },
        { "attribute": "isbn", "type": "Isbn", "default": "978-3" },
        { "attribute": "s", "type": "String", "default": "ä\u0000b" },
        { "attribute": "ss", "type": "StdString", "default": "ä" },
        { "attribute": "i", "type": "Integer", "default": -2147483648 },
        { "attribute": "i8", "type": "Integer8", "default": -128 },
        { "attribute": "i16", "type": "Integer16", "default": -32768 },
        { "attribute": "i64", "type": "Integer64", "default": -9223372036854775808 },
        { "attribute": "u8", "type": "UInteger8", "default": 255 },
        { "attribute": "u16", "type": "UInteger16", "default": 65535 },
        { "attribute": "u64", "type": "UInteger64", "default": 18446744073709551615 },
        { "attribute": "un", "type": "UnlimitedNatural", "default": 4294967295 },
        { "attribute": "r", "type": "Real", "default": "NaN" },
        { "attribute": "b", "type": "Boolean", "default": true },
        { "attribute": "id", "type": "UUID", "default": "00112233-4455-6677-8899-aabbccddeeff" },
        { "attribute": "t", "type": "DateTime", "default": "2020-01-31T13:05:09.000000" } ] } ] } ] })");
  const auto defaultOf = [](const char16_t* name) { return *property(u"p.Book", name)->defaultValue(); };
  EXPECT_EQ(defaultOf(u"genre").get<std::int64_t>(), 7);
  EXPECT_EQ(defaultOf(u"isbn").get<CustomText>(), CustomText{u"978-3"});
  EXPECT_EQ(defaultOf(u"s").get<ustring>(), ustring(u"ä\0b", 3));
  EXPECT_EQ(defaultOf(u"ss").get<std::string>(), "ä");
  EXPECT_EQ(defaultOf(u"i").get<std::int32_t>(), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(defaultOf(u"i8").get<std::int8_t>(), -128);
  EXPECT_EQ(defaultOf(u"i16").get<std::int16_t>(), -32768);
  EXPECT_EQ(defaultOf(u"i64").get<std::int64_t>(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(defaultOf(u"u8").get<std::uint8_t>(), 255);
  EXPECT_EQ(defaultOf(u"u16").get<std::uint16_t>(), 65535);
  EXPECT_EQ(defaultOf(u"u64").get<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(defaultOf(u"un").get<std::uint32_t>(), std::numeric_limits<std::uint32_t>::max());
  EXPECT_TRUE(std::isnan(defaultOf(u"r").get<double>()));
  EXPECT_TRUE(defaultOf(u"b").get<bool>());
  EXPECT_EQ(boost::uuids::to_string(defaultOf(u"id").get<boost::uuids::uuid>()),
            "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_EQ(DateTimeUtils::Conversion::toUstring(defaultOf(u"t").get<boost::posix_time::ptime>()),
            u"2020-01-31T13:05:09.000000");
  EXPECT_EQ(find<Enum>(u"p.Genre")->getLiteral(std::numeric_limits<std::int64_t>::min())->getName(), u"novel");
  EXPECT_EQ(property(u"p.Place", u"owner")->getType(), find<Type>(u"p.Book"));

  const Model model = Model::create(ModelSpec());
  const ModelElement book = find<Class>(u"p.Book")->instantiate(model, {});
  const PrimitiveType isbn = find<PrimitiveType>(u"p.Isbn");
  book->setPropertyValue(property(u"p.Book", u"isbn"), isbn->fromText(u"979"), ReflectionPrivateTag::PUBLIC_ACCESS);
  EXPECT_EQ(isbn->toText(book->getPropertyValue(property(u"p.Book", u"isbn"), ReflectionPrivateTag::PUBLIC_ACCESS)),
            u"979");
}

TEST_F(MetaModelFileTest, ReadsEvolutionAndAppliesIt) {
  Evolution::nameFunction(u"shout", [](io::RawElement& book) { book.get(u"title") = ustring(u"EMMA"); });
  readMetaModel(R"({ "metamodel": "1.0",
    "evolution": [
      { "family": "library", "from": "1.0", "to": "1.5", "steps": [
        { "step": "renameClass", "from": "Volume", "to": "Book" },
        { "step": "addProperty", "type": "Book", "property": "pages", "value": 12 } ] },
      { "family": "library", "from": "1.5", "to": "2.0", "steps": [
        { "step": "custom", "type": "Book", "function": "shout" } ] } ],
    "packages": [ { "name": "library", "family": "library", "version": "2.0", "types": [
      { "class": "Book", "properties": [
        { "attribute": "title", "type": "String" }, { "attribute": "pages", "type": "Integer" } ] } ] } ] })");
  EXPECT_EQ(evolution::textOf(evolved(evolution::element(u"library.Volume", 1, {{u"title", u"Emma"}}))),
            "library.Book 1{title: 'EMMA', pages: 12}");
}

// --- Faults.

TEST_F(MetaModelFileTest, RefusesWhatIsNoJsonWithItsPlace) {
  EXPECT_THAT(faultsIn("{ \"metamodel\": \n  ,"), ElementsAre(HasSubstr("library.json:2:3")));
  EXPECT_THAT(faultsIn(""), ElementsAre(HasSubstr("library.json:1:1")));
  EXPECT_THAT(faultsIn("[]"), ElementsAre(HasSubstr("library.json:1:1: expected an object, found an ")));
}

TEST_F(MetaModelFileTest, NamesEveryFaultOfTheShapeWithLineColumnAndPath) {
  EXPECT_THAT(
      faultsIn(R"({ "metamodel": "2.0",
  "packages": [
    { "nam": "p", "family": "f", "uri": "u" },
    { "name": "q", "name": "r", "types": [
      { "klass": "C" },
      { "class": "C", "abstract": "yes", "superclass": 7, "properties": [
        { "attribute": "a" },
        { "attribute": "b", "reference": "c", "type": "C" },
        { "attribute": "d", "type": "Integer8", "default": 128 },
        { "attribute": "e", "type": "Integer", "lower": -1, "upper": "many" },
        7 ] },
      { "dataType": "D", "properties": [ { "composite": "x", "type": "C" } ] },
      { "enum": "E", "literals": [ { "name": "l" }, { "number": 0.5, "name": "m" } ] } ] } ],
  "evolution": [ { "family": "f", "from": "1", "to": "2", "steps": [
    { "step": "renamClass" }, { "step": "renameClass", "from": "A" }, {},
    { "step": "newDefault", "type": "C", "property": "a", "oldDefault": [] } ] } ] })"),
      ElementsAre(
          "library.json:1:16, at metamodel: this is no version of the format that is known here: expected \"1.0\"",
          "library.json:3:5, at packages[0]: the key \"name\" is missing",
          "library.json:3:7, at packages[0].nam: unknown key \"nam\"; did you mean \"name\"?",
          "library.json:3:41, at packages[0].uri: a package has either a family and version or a URI",
          "library.json:4:20, at packages[1].name: the key \"name\" stands here twice",
          "library.json:5:7, at packages[1].types[0]: a type has its name under one of the keys \"class\", "
          "\"dataType\", "
          "\"enum\" and \"primitive\"",
          "library.json:6:35, at packages[1].types[1].abstract: expected true or false, found the text \"yes\"",
          "library.json:6:56, at packages[1].types[1].superclass: expected a text, found the number 7",
          "library.json:7:9, at packages[1].types[1].properties[0]: the key \"type\" is missing",
          "library.json:8:9, at packages[1].types[1].properties[1]: a property of a class has its name under one of "
          "the keys "
          "\"attribute\", \"composite\" and \"reference\"",
          "library.json:9:60, at packages[1].types[1].properties[2].default: expected a whole number from -128 to 127, "
          "found "
          "the number 128",
          "library.json:10:57, at packages[1].types[1].properties[3].lower: expected a whole number from 0 to "
          "4294967295, "
          "found the number -1",
          "library.json:10:70, at packages[1].types[1].properties[3].upper: expected a whole number, or \"*\" for no "
          "limit, "
          "found the text \"many\"",
          "library.json:11:9, at packages[1].types[1].properties[4]: expected an object, found the number 7",
          "library.json:12:42, at packages[1].types[2].properties[0]: a property of a data type has its name under the "
          "key "
          "\"attribute\"",
          "library.json:13:36, at packages[1].types[3].literals[0]: the key \"number\" is missing",
          "library.json:13:65, at packages[1].types[3].literals[1].number: expected a whole number from "
          "-9223372036854775808 to 9223372036854775807, found the number 0.5",
          "library.json:15:15, at evolution[0].steps[0].step: unknown step \"renamClass\"; did you mean "
          "\"renameClass\"?",
          "library.json:15:31, at evolution[0].steps[1]: the key \"to\" is missing",
          "library.json:15:71, at evolution[0].steps[2]: a step is an object with its kind under the key \"step\"",
          "library.json:16:73, at evolution[0].steps[3].oldDefault: expected a text, a number, or true or false, found "
          "an "
          "array"));
}

TEST_F(MetaModelFileTest, NamesEveryContradictionWithItsPlace) {
  EXPECT_THAT(
      faultsIn(R"({ "metamodel": "1.0", "packages": [
    { "name": "p", "types": [
      { "enum": "E", "literals": [
        { "name": "l", "number": 0 },
        { "name": "l", "number": 1 } ] },
      { "class": "A", "superclass": "B", "properties": [
        { "attribute": "a", "type": "Sting" } ] },
      { "primitive": "Isbn" } ],
      "packages": [ { "name": "q", "types": [
        { "class": "C", "properties": [
          { "attribute": "e", "type": "p.E", "default": "m" } ] } ] } ] },
    { "name": "p" } ] })"),
      ElementsAre(
          "library.json:5:9, at packages[0].types[0].literals[1]: enum \"p.E\": the literal \"l\" is declared "
          "twice",
          "library.json:6:7, at packages[0].types[1]: class \"p.A\": unknown superclass \"B\"",
          "library.json:7:9, at packages[0].types[1].properties[0]: class \"p.A\", property \"a\": unknown type "
          "\"Sting\"; did you mean \"String\"?",
          "library.json:11:11, at packages[0].packages[0].types[0].properties[0]: class \"p.q.C\", property "
          "\"e\": the default \"m\" is no literal of enum \"p.E\"",
          "library.json:12:5, at packages[1]: package \"p\": the URI \"urn:p\" is taken: give another URI, or a "
          "family and version"));
}

TEST_F(MetaModelFileTest, RegistersNothingWhenAnEvolutionIsAtFault) {
  EXPECT_THAT(
      faultsIn(R"({ "metamodel": "1.0",
  "packages": [ { "name": "p", "family": "p", "version": "2", "types": [ { "class": "Book" } ] } ],
  "evolution": [
    { "family": "p", "from": "1", "to": "2", "steps": [
      { "step": "renameClass", "from": "Volume", "to": "Bok" } ] },
    { "family": "p", "from": "2", "to": "3" },
    { "family": "q", "from": "1", "to": "2" } ] })"),
      ElementsAre(
          "library.json:6:5, at evolution[1]: the evolution of the family \"p\": from \"2\" to \"3\": the newest "
          "version of the family that is registered is \"2\"",
          "library.json:7:5, at evolution[2]: the evolution of the family \"q\": no version of the family is "
          "registered: register the package first"));
  EXPECT_THAT(
      faultsIn(R"({ "metamodel": "1.0",
  "packages": [ { "name": "p", "family": "p", "version": "2", "types": [ { "class": "Book" } ] } ],
  "evolution": [
    { "family": "p", "from": "1", "to": "2", "steps": [
      { "step": "renameClass", "from": "Volume", "to": "Bok" } ] } ] })"),
      ElementsAre("library.json:5:7, at evolution[0].steps[0]: the evolution of the family \"p\": from \"1\" to \"2\", "
                  "renameClass(\"Volume\", \"Bok\"): there is no class \"p.Bok\" then; did you mean \"Book\"?"));
}

TEST_F(MetaModelFileTest, KeepsTheFirstHundredFaults) {
  std::string json = R"({ "metamodel": "1.0", "packages": [)";
  for (int i = 0; i < 1000; ++i) json += "7,\n";
  EXPECT_EQ(faultsIn(json + "7] }").size(), 100U);
}

TEST_F(MetaModelFileTest, ListsSeveralFaultsInOneText) {
  try {
    readMetaModel(R"({ "packages": [ 7 ] })", "library.json");
    FAIL();
  } catch (const MetaModelFileError& error) {
    EXPECT_STREQ(error.what(),
                 "the meta-model is refused for 2 faults:\n"
                 "  1. library.json:1:1: the key \"metamodel\" is missing\n"
                 "  2. library.json:1:17, at packages[0]: expected an object, found the number 7");
  }
}

// --- Writing.

/// A custom type of the application's own.
struct Isbn {
  int number;
  friend bool operator==(const Isbn&, const Isbn&) = default;
};

TEST_F(MetaModelFileTest, WritesTheWholeTextInAFixedOrder) {
  PackageBuilder p(u"p");
  p.family(u"p", u"2").annotate({u"doc", {{u"k", u"v"}, {u"k", u"\"w\""}}});
  p.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", -4);
  p.addPrimitive<Isbn>(
       u"Isbn", [](const Isbn& isbn) { return bedrock::i18n::utf8_to_ustring(std::to_string(isbn.number)); },
       [](const ustring& text) { return Isbn{std::stoi(bedrock::i18n::ustring_to_utf8(text))}; })
      .annotate({u"java", {}});
  auto& book = p.addClass(u"Book").makeAbstract();
  book.attribute(u"isbn", u"Isbn").required().defaultsTo(u"978");
  book.attribute(u"genre", u"Genre").defaultsTo(u"essay").annotate({u"x", {}});
  book.attribute(u"price", StandardTypes::realMeta).defaultsTo(-0.0).bounds(0, 0);
  book.composite(u"parts", book).many().opposite(u"whole").qualifiedBy(u"genre");
  book.reference(u"whole", book).opposite(u"parts");
  p.addClass(u"String").extends(u"Book").alsoConformsTo(u"p.Other");
  p.addClass(u"Other")
      .reference(u"string", u"p.String")
      .unique(true)
      .ordered(false)
      .derived()
      .transient()
      .readOnly()
      .guarded();
  p.addPackage(u"inner")
      .addDataType(u"Range")
      .attribute(u"values", StandardTypes::integer64Meta)
      .bounds(2, 3)
      .unique()
      .genericStorage();
  p.registerPackage();
  Evolution(u"p")
      .from(u"1")
      .to(u"2")
      .renamePackage(u"q", u"p")
      .renameClass(u"Volume", u"Book")
      .renameEnum(u"Kind", u"Genre")
      .mergeClass(u"Leaflet", u"Book")
      .changeSuperclass(u"Other", u"Shelf", u"")
      .removeClass(u"Shelf")
      .removeDataType(u"Size")
      .renameProperty(u"Book", u"code", u"isbn")
      .removeProperty(u"Book", u"weight")
      .addProperty(u"Book", u"price", 0.5)
      .addProperty(u"Book", u"genre")
      .changeType(u"Book", u"genre", u"String", u"Genre")
      .renameLiteral(u"Genre", u"Novel", u"novel")
      .newDefault(u"Book", u"genre", u"novel")
      .removeLiteral(u"Genre", u"epos", u"novel")
      .custom(u"Book", u"repair")
      .registerEvolution();
  EXPECT_EQ(writtenAndReadAgain(registry().getPackages()), R"({
  "metamodel": "1.0",
  "packages": [
    {
      "name": "p",
      "family": "p",
      "version": "2",
      "annotations": [{ "source": "doc", "details": [{ "key": "k", "value": "v" }, { "key": "k", "value": "\"w\"" }] }],
      "types": [
        {
          "enum": "Genre",
          "literals": [
            { "name": "novel", "number": 0 },
            { "name": "essay", "number": -4 }
          ]
        },
        {
          "primitive": "Isbn",
          "annotations": [{ "source": "java", "details": [] }]
        },
        {
          "class": "Book",
          "abstract": true,
          "properties": [
            { "attribute": "isbn", "type": "Isbn", "lower": 1, "default": "978" },
            { "attribute": "genre", "type": "Genre", "default": "essay", "annotations": [{ "source": "x", "details": [] }] },
            { "attribute": "price", "type": "Real", "upper": 0, "default": -0 },
            { "composite": "parts", "type": "Book", "upper": "*", "opposite": "whole", "qualifiedBy": "genre" },
            { "reference": "whole", "type": "Book", "opposite": "parts" }
          ]
        },
        {
          "class": "String",
          "superclass": "Book",
          "furtherSupertypes": [
            "Other"
          ]
        },
        {
          "class": "Other",
          "properties": [
            { "reference": "string", "type": "p.String", "unique": true, "ordered": false, "derived": true, "transient": true, "readOnly": true, "guarded": true }
          ]
        }
      ],
      "packages": [
        {
          "name": "inner",
          "types": [
            {
              "dataType": "Range",
              "properties": [
                { "attribute": "values", "type": "Integer64", "lower": 2, "upper": 3, "unique": true, "genericStorage": true }
              ]
            }
          ]
        }
      ]
    }
  ],
  "evolution": [
    {
      "family": "p",
      "from": "1",
      "to": "2",
      "steps": [
        { "step": "renamePackage", "from": "q", "to": "p" },
        { "step": "renameClass", "from": "Volume", "to": "Book" },
        { "step": "renameEnum", "from": "Kind", "to": "Genre" },
        { "step": "mergeClass", "from": "Leaflet", "into": "Book" },
        { "step": "changeSuperclass", "class": "Other", "from": "Shelf", "to": "" },
        { "step": "removeClass", "class": "Shelf" },
        { "step": "removeDataType", "dataType": "Size" },
        { "step": "renameProperty", "type": "Book", "from": "code", "to": "isbn" },
        { "step": "removeProperty", "type": "Book", "property": "weight" },
        { "step": "addProperty", "type": "Book", "property": "price", "value": 0.5 },
        { "step": "addProperty", "type": "Book", "property": "genre" },
        { "step": "changeType", "type": "Book", "property": "genre", "from": "String", "to": "Genre" },
        { "step": "renameLiteral", "enum": "Genre", "from": "Novel", "to": "novel" },
        { "step": "newDefault", "type": "Book", "property": "genre", "oldDefault": "novel" },
        { "step": "removeLiteral", "enum": "Genre", "literal": "epos", "replacement": "novel" },
        { "step": "custom", "type": "Book", "function": "repair" }
      ]
    }
  ]
}
)");
}

TEST_F(MetaModelFileTest, WritesAnEmptyMetaModel) {
  EXPECT_EQ(writeMetaModel({}), "{\n  \"metamodel\": \"1.0\",\n  \"packages\": []\n}\n");
  EXPECT_THAT(readMetaModel(writeMetaModel({})), testing::IsEmpty());
}

TEST_F(MetaModelFileTest, RefusesToWriteWhatNoTextCanSay) {
  PackageBuilder p(u"p");
  p.family(u"p", u"2").addClass(u"Book");
  p.addPackage(u"inner");
  const Package package = p.registerPackage();
  EXPECT_THAT([&] { static_cast<void>(writeMetaModel({package->getPackages().front()})); },
              testing::ThrowsMessage<KernelError>("package \"p.inner\" lies inside package \"p\": write that one"));
  EXPECT_THAT([&] { static_cast<void>(writeMetaModel({nullptr})); },
              testing::ThrowsMessage<KernelError>("a null package cannot be written to a meta-model file"));
  Evolution(u"p").from(u"1").to(u"2").custom(u"Book", [](io::RawElement&) {}).registerEvolution();
  EXPECT_THAT([&] { static_cast<void>(writeMetaModel({package})); },
              testing::ThrowsMessage<KernelError>(
                  "the evolution of the family \"p\" cannot be written to a meta-model file: the function of "
                  "custom(\"Book\") has no name: give it one by Evolution::nameFunction, and declare that"));
}

TEST_F(MetaModelFileTest, ReadsAndWritesPackagesInsideEachOtherToAnyDepth) {
  std::string json = R"({ "metamodel": "1.0", "packages": [)";
  std::string end;
  for (int i = 0; i < 300; ++i) {
    json += R"({"name":"p","packages":[)";
    end += "]}";
  }
  const std::vector<Package> packages = readMetaModel(json + end + "]}");
  EXPECT_EQ(packages.front()->getPackages().front()->getQualifiedName(), u"p.p");
  EXPECT_FALSE(writeMetaModel(packages).empty());
}

// --- Files.

TEST_F(MetaModelFileTest, ReadsAFileAndNamesItInFaults) {
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "metamodel-file-test.json";
  const ustring name = bedrock::i18n::utf8_to_ustring(path.string());
  std::ofstream(path) << R"({ "metamodel": "1.0", "packages": [ { "name": "p" } ] })";
  EXPECT_EQ(readMetaModelFile(name).front()->getName(), u"p");
  std::ofstream(path) << "{";
  EXPECT_THAT([&] { readMetaModelFile(name); },
              testing::ThrowsMessage<MetaModelFileError>(testing::StartsWith(path.string() + ":1:2")));
  std::ofstream(path).close();
  EXPECT_THAT([&] { readMetaModelFile(name); },
              testing::ThrowsMessage<MetaModelFileError>(testing::StartsWith(path.string() + ":1:1")));
  std::filesystem::remove(path);
  EXPECT_THROW(readMetaModelFile(name), std::filesystem::filesystem_error);
  EXPECT_THROW(readMetaModelFile(bedrock::i18n::utf8_to_ustring(testing::TempDir())),
               std::filesystem::filesystem_error);
}

/// The example of the format's document, between the lines that mark it.
std::string documentedExample() {
  const std::ifstream file(NIMBO_SOURCE_ROOT "/docs/formats/metamodel.md");
  std::ostringstream content;
  content << file.rdbuf();
  const std::string text = content.str();
  const std::size_t begin = text.find("```json\n{");
  return begin == std::string::npos ? std::string() : text.substr(begin + 8, text.find("```\n", begin + 8) - begin - 8);
}

TEST_F(MetaModelFileTest, ReadsTheExampleOfItsDocumentAndWritesItTheSame) {
  const std::string example = documentedExample();
  ASSERT_FALSE(example.empty());
  Evolution::nameFunction(u"splitName", [](io::RawElement&) {});
  EXPECT_EQ(writeMetaModel(readMetaModel(example, "docs/formats/metamodel.md")), example);
}

}  // namespace
}  // namespace tarn::kern::meta
