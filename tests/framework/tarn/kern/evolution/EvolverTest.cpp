#include <chrono>

#include <tarn/kern/Errors.h>

#include "EvolutionFixture.h"

namespace tarn::kern::evolution {
namespace {

using meta::PackageBuilder;
using meta::StandardTypes;
using testing::ElementsAre;

/// Version 2.0 of a library of books.
class EvolverTest : public EvolutionTest {
 protected:
  EvolverTest() {
    PackageBuilder library(u"library");
    library.family(u"library", u"2.0");
    library.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1).literal(u"poetry", 5);
    auto& address = library.addDataType(u"Address");
    address.attribute(u"street", StandardTypes::stringMeta);
    address.attribute(u"kind", u"Genre");
    auto& named = library.addClass(u"Named").makeAbstract();
    named.attribute(u"name", StandardTypes::stringMeta);
    named.attribute(u"rank", StandardTypes::integer8Meta).defaultsTo(std::int8_t{5});
    auto& book = library.addClass(u"Book").extends(named);
    book.attribute(u"genre", u"Genre").required();
    book.attribute(u"genres", u"Genre").many();
    book.attribute(u"pages", StandardTypes::integerMeta);
    book.attribute(u"prices", StandardTypes::realMeta).many();
    book.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
    book.attribute(u"isbn", StandardTypes::stringMeta);
    book.attribute(u"printed", StandardTypes::dateTimeMeta);
    book.attribute(u"code", StandardTypes::uuidMeta);
    book.attribute(u"isLent", StandardTypes::booleanMeta);
    book.attribute(u"tags", StandardTypes::stringMeta).many();
    book.attribute(u"place", address).required();
    book.attribute(u"places", address).many();
    book.composite(u"details", u"Details");
    book.composite(u"parts", u"Book").many();
    book.reference(u"sequel", u"Book");
    book.reference(u"others", u"Book").many();
    library.addClass(u"Atlas").extends(book).attribute(u"scale", StandardTypes::realMeta);
    auto& details = library.addClass(u"Details");
    details.attribute(u"blurb", StandardTypes::stringMeta);
    details.composite(u"more", u"Details");
    library.registerPackage();
  }

  /// Steps from 1.0 to 2.0.
  static void declare(const std::function<void(Evolution&)>& steps) {
    Evolution evolution(u"library");
    evolution.from(u"1.0").to(u"2.0");
    steps(evolution);
    evolution.registerEvolution();
  }

  static std::string evolvedBook(Properties properties) {
    return textOf(evolved(element(u"library.Book", 1, std::move(properties))).properties);
  }
  static std::string errorOfBook(Properties properties) {
    return errorOf(element(u"library.Book", 1, std::move(properties)));
  }
};

// --- When there is something to do.

TEST_F(EvolverTest, IsNotNeededForCurrentUnknownAndForeignPackages) {
  EXPECT_FALSE(Evolver({}).isNeeded());
  EXPECT_FALSE(Evolver({uri(u"library", u"2.0")}).isNeeded());
  EXPECT_FALSE(Evolver({uri(u"museum", u"0.1"), u"urn:library", u"", uri(u"library", u"").substr(0, 14)}).isNeeded());
  io::RawElement root = element(u"library.Nothing", 1, {{u"at", u"all"}});
  const io::RawElement before = root;
  EXPECT_TRUE(Evolver({uri(u"library", u"2.0")}).evolve(root));
  EXPECT_EQ(root, before);
}

TEST_F(EvolverTest, TakesContentThatSimplyFitsWithoutAnyDeclaration) {
  const io::RawElement root = element(u"library.Book", 1, {{u"name", u"Emma"}, {u"genre", u"novel"}});
  EXPECT_EQ(evolved(root), root);
}

TEST_F(EvolverTest, RefusesAVersionNewerThanTheRegisteredOne) {
  EXPECT_THAT([] { Evolver({uri(u"library", u"10.0")}); },
              testing::ThrowsMessage<EvolutionError>(
                  "family \"library\": the content is of version \"10.0\", which is newer than version \"2.0\" known "
                  "here: update the application, or register that version of the package"));
}

TEST_F(EvolverTest, RefusesTwoVersionsOfAFamilyInOneDocument) {
  EXPECT_THAT(
      [] {
        Evolver({uri(u"library", u"2.0"), uri(u"library", u"1.0")});
      },
      testing::ThrowsMessage<EvolutionError>(
          "family \"library\": the content names two versions, \"2.0\" and \"1.0\": names of types cannot tell "
          "which one they belong to"));
  EXPECT_NO_THROW(Evolver({uri(u"museum", u"2.0"), uri(u"museum", u"1.0")}));
}

// --- Types.

TEST_F(EvolverTest, RenamesAClassInElementsReferencesAndCollections) {
  declare([](Evolution& e) { e.renameClass(u"Volume", u"Book"); });
  const io::RawElement root =
      element(u"library.Volume", 1,
              {{u"parts", list(element(u"library.Volume", 2), element(u"library.Atlas", 3))},
               {u"sequel", reference(u"library.Volume", 2)},
               {u"others", list(reference(u"library.Volume", 2), reference(u"library.Atlas", 3), io::RawValue())}});
  EXPECT_EQ(textOf(evolved(root)),
            "library.Book 1{parts: [library.Book 2{}, library.Atlas 3{}], sequel: ->library.Book 2, "
            "others: [->library.Book 2, ->library.Atlas 3, null]}");
}

TEST_F(EvolverTest, RenamesADataTypeInValuesAndCollections) {
  declare([](Evolution& e) { e.renameDataType(u"Location", u"Address"); });
  EXPECT_EQ(evolvedBook({{u"place", data(u"library.Location", {{u"street", u"High"}})},
                         {u"places", list(data(u"library.Location"), data(u"library.Address"))}}),
            "{place: library.Address{street: 'High'}, places: [library.Address{}, library.Address{}]}");
}

TEST_F(EvolverTest, RenamesAPackage) {
  declare([](Evolution& e) { e.renamePackage(u"books", u"library").renameProperty(u"Book", u"label", u"name"); });
  EXPECT_EQ(textOf(evolved(element(u"books.Atlas", 1, {{u"label", u"A"}, {u"sequel", reference(u"books.Book", 2)}}))),
            "library.Atlas 1{name: 'A', sequel: ->library.Book 2}");
  // A name that merely begins alike is another package's.
  EXPECT_EQ(textOf(evolved(element(u"bookshop.Till", 1))), "bookshop.Till 1{}");
}

TEST_F(EvolverTest, MergesAClassIntoOneThatWasThereBefore) {
  declare([](Evolution& e) { e.mergeClass(u"Paperback", u"Book"); });
  EXPECT_EQ(textOf(evolved(element(u"library.Paperback", 1, {{u"parts", list(element(u"library.Book", 2))}}))),
            "library.Book 1{parts: [library.Book 2{}]}");
}

TEST_F(EvolverTest, RemovesTheElementsOfARemovedClassAndTheReferencesToThem) {
  declare([](Evolution& e) { e.removeClass(u"Leaflet"); });
  const io::RawElement root =
      element(u"library.Book", 1,
              {{u"parts", list(element(u"library.Leaflet", 2, {{u"parts", list(element(u"library.Book", 4))}}),
                               element(u"library.Book", 3))},
               {u"sequel", reference(u"library.Leaflet", 2)},
               {u"others", list(reference(u"library.Leaflet", 2), reference(u"library.Book", 3))},
               {u"details", element(u"library.Leaflet", 5)},
               {u"name", u"Emma"}});
  EXPECT_EQ(textOf(evolved(root)),
            "library.Book 1{parts: [library.Book 3{}], others: [->library.Book 3], name: 'Emma'}");

  io::RawElement removed = element(u"library.Leaflet", 1);
  EXPECT_FALSE(Evolver({uri(u"library", u"1.0")}).evolve(removed));
}

TEST_F(EvolverTest, RemovesTheValuesOfARemovedDataType) {
  declare([](Evolution& e) { e.removeDataType(u"Shelfmark"); });
  EXPECT_EQ(evolvedBook({{u"mark", data(u"library.Shelfmark")},
                         {u"places", list(data(u"library.Shelfmark"), data(u"library.Address"))}}),
            "{places: [library.Address{}]}");
}

// --- Properties.

TEST_F(EvolverTest, RenamesAPropertyInTheClassItsSubclassesAndNestedElements) {
  declare([](Evolution& e) { e.renameProperty(u"Named", u"label", u"name"); });
  const io::RawElement root = element(
      u"library.Atlas", 1, {{u"label", u"A"}, {u"parts", list(element(u"library.Book", 2, {{u"label", u"B"}}))}});
  EXPECT_EQ(textOf(evolved(root)), "library.Atlas 1{name: 'A', parts: [library.Book 2{name: 'B'}]}");
}

TEST_F(EvolverTest, RenamesAPropertyOfADataTypeInsideValues) {
  declare([](Evolution& e) { e.renameProperty(u"Address", u"road", u"street"); });
  EXPECT_EQ(evolvedBook({{u"places", list(data(u"library.Address", {{u"road", u"High"}}))}}),
            "{places: [library.Address{street: 'High'}]}");
}

TEST_F(EvolverTest, RefusesToRenameAPropertyToOneThatIsThere) {
  declare([](Evolution& e) { e.renameProperty(u"Named", u"label", u"name"); });
  EXPECT_EQ(errorOfBook({{u"label", u"A"}, {u"name", u"B"}}),
            "family \"library\", from version \"1.0\" to \"2.0\", renameProperty(\"Named\", \"label\", \"name\"): "
            "\"library.Book\" 00000000-0000-0000-0000-000000000001, property \"label\": there is a property \"name\" "
            "already; declare custom() before this step for such content");
}

TEST_F(EvolverTest, RemovesAPropertyWithAllThatItHolds) {
  declare([](Evolution& e) { e.removeProperty(u"Book", u"shelf"); });
  EXPECT_EQ(evolvedBook({{u"shelf", element(u"library.Shelf", 2)}, {u"name", u"Emma"}, {u"shelf", u"again"}}),
            "{name: 'Emma'}");
}

TEST_F(EvolverTest, AddsAPropertyWithAndWithoutAValue) {
  declare([](Evolution& e) {
    e.addProperty(u"Book", u"pages", 100).addProperty(u"Book", u"isLent").addProperty(u"Book", u"genre", u"essay");
  });
  EXPECT_EQ(evolvedBook({}), "{pages: 100, genre: 'essay'}");
  EXPECT_EQ(evolvedBook({{u"pages", number("7")}}), "{pages: 7, genre: 'essay'}");
  EXPECT_EQ(textOf(evolved(element(u"library.Atlas", 1))), "library.Atlas 1{pages: 100, genre: 'essay'}");
  EXPECT_EQ(textOf(evolved(element(u"library.Details", 1))), "library.Details 1{}");
}

TEST_F(EvolverTest, GivesAnOldDefaultExplicitlyWhereItWasLeftOut) {
  declare([](Evolution& e) { e.newDefault(u"Named", u"rank", 3); });
  EXPECT_EQ(evolvedBook({}), "{rank: 3}");
  EXPECT_EQ(evolvedBook({{u"rank", number("5")}}), "{rank: 5}");
  EXPECT_EQ(evolvedBook({{u"rank", io::RawValue()}}), "{rank: null}");  // absent is not left out
}

// --- Types of properties.

/// One conversion of the property of the type that is given as the new one.
class ConversionTest : public EvolutionTest {
 protected:
  static void declare(const meta::TypeRef& newType, const char16_t* from, const char16_t* to) {
    meta::MetaRegistry::getInstance()->reset();
    PackageBuilder library(u"library");
    library.family(u"library", u"2.0");
    library.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", -4);
    library.addEnum(u"Kind").literal(u"novel", 7).literal(u"Essay", 8);
    library.addPrimitive<ustring>(
        u"Isbn", [](const ustring& isbn) { return isbn; }, [](const ustring& text) { return text; });
    library.addClass(u"Book").attribute(u"value", newType);
    library.registerPackage();
    Evolution(u"library").from(u"1.0").to(u"2.0").changeType(u"Book", u"value", from, to).registerEvolution();
  }
  static std::string converted(io::RawValue value) {
    return textOf(evolved(element(u"library.Book", 1, {{u"value", std::move(value)}})).properties.at(0).value);
  }
  static std::string errorFor(io::RawValue value) {
    const std::string error = errorOf(element(u"library.Book", 1, {{u"value", std::move(value)}}));
    const std::string before = "property \"value\": ";
    const std::string after = "; declare custom() before this step for such content";
    const std::size_t begin = error.find(before);
    if (begin == std::string::npos || !error.ends_with(after)) return "unexpected: " + error;
    return error.substr(begin + before.size(), error.size() - begin - before.size() - after.size());
  }
};

TEST_F(ConversionTest, MakesTextOfEverythingPlain) {
  declare(u"String", u"Integer", u"String");
  EXPECT_EQ(converted(number("-12")), "'-12'");
  EXPECT_EQ(converted(io::RawValue()), "null");
  declare(u"String", u"Boolean", u"String");
  EXPECT_EQ(converted(true), "'true'");
  declare(u"String", u"Genre", u"String");
  EXPECT_EQ(converted(u"novel"), "'novel'");
  declare(u"String", u"StdString", u"String");
  EXPECT_EQ(converted(u"x"), "'x'");
  declare(u"String", u"Isbn", u"String");
  EXPECT_EQ(converted(u"978"), "'978'");
  EXPECT_EQ(errorFor(data(u"library.Box")),
            "a value of \"library.Box\" is no value of \"String\": expected a plain value");
}

TEST_F(ConversionTest, MakesWholeNumbersWithinTheirRange) {
  declare(u"Integer8", u"String", u"Integer8");
  EXPECT_EQ(converted(u"-128"), "-128");
  EXPECT_EQ(converted(u"+127"), "127");
  EXPECT_EQ(converted(u"-0"), "0");
  EXPECT_EQ(errorFor(u"128"), "\"128\" is no value of \"Integer8\": expected a whole number from -128 to 127");
  EXPECT_EQ(errorFor(u"-129"), "\"-129\" is no value of \"Integer8\": expected a whole number from -128 to 127");
  EXPECT_EQ(errorFor(u""), "\"\" is no value of \"Integer8\": expected a whole number from -128 to 127");
  EXPECT_EQ(errorFor(u"1 "), "\"1 \" is no value of \"Integer8\": expected a whole number from -128 to 127");
  EXPECT_EQ(errorFor(u"true"), "\"true\" is no value of \"Integer8\": expected a whole number from -128 to 127");
  declare(u"UInteger64", u"Integer64", u"UInteger64");
  EXPECT_EQ(converted(number("18446744073709551615")), "18446744073709551615");
  EXPECT_EQ(
      errorFor(number("18446744073709551616")),
      "18446744073709551616 is no value of \"UInteger64\": expected a whole number from 0 to 18446744073709551615");
  EXPECT_EQ(errorFor(number("-1")),
            "-1 is no value of \"UInteger64\": expected a whole number from 0 to 18446744073709551615");
  declare(u"Integer64", u"Real", u"Integer64");
  EXPECT_EQ(converted(number("3.0")), "3");
  EXPECT_EQ(converted(number("-1e3")), "-1000");
  EXPECT_EQ(converted(number("9007199254740993")), "9007199254740992");  // what a Real could hold of it
  EXPECT_EQ(converted(number("-9223372036854775808")), "-9223372036854775808");
  EXPECT_EQ(
      errorFor(number("1e19")),
      "1e19 is no value of \"Integer64\": expected a whole number from -9223372036854775808 to 9223372036854775807");
  EXPECT_EQ(
      errorFor(number("2.5")),
      "2.5 is no value of \"Integer64\": expected a whole number from -9223372036854775808 to 9223372036854775807");
  EXPECT_EQ(errorFor(u"NaN"),
            "\"NaN\" is no value of \"Integer64\": expected a whole number from -9223372036854775808 to "
            "9223372036854775807");
  declare(u"Integer", u"Boolean", u"Integer");
  EXPECT_EQ(converted(true), "1");
  EXPECT_EQ(converted(u"false"), "0");
  declare(u"Integer", u"Genre", u"Integer");
  EXPECT_EQ(converted(u"essay"), "-4");
  EXPECT_EQ(converted(number("9")), "9");  // a number without literal
  EXPECT_EQ(errorFor(u"epos"), "\"epos\" is no value of \"Integer\": expected a literal whose number is known");
}

TEST_F(ConversionTest, MakesRealsTruthValuesUuidsAndPointsInTime) {
  declare(u"Real", u"String", u"Real");
  EXPECT_EQ(converted(u"1.5e3"), "1.5e3");
  EXPECT_EQ(converted(u"-inf"), "-inf");
  EXPECT_EQ(converted(u"NaN"), "NaN");
  EXPECT_EQ(errorFor(u"0x10"), "\"0x10\" is no value of \"Real\": expected a number");
  EXPECT_EQ(errorFor(u"infinity"), "\"infinity\" is no value of \"Real\": expected a number");
  EXPECT_EQ(errorFor(u"1,5"), "\"1,5\" is no value of \"Real\": expected a number");
  declare(u"Real", u"UInteger64", u"Real");
  EXPECT_EQ(converted(number("18446744073709551615")), "18446744073709551615");
  declare(u"Boolean", u"Integer", u"Boolean");
  EXPECT_EQ(converted(number("1")), "true");
  EXPECT_EQ(errorFor(number("2")), "2 is no value of \"Boolean\": expected true, false, 1 or 0");
  declare(u"UUID", u"String", u"UUID");
  EXPECT_EQ(converted(u"00112233-4455-6677-8899-aabbccddeeff"), "'00112233-4455-6677-8899-aabbccddeeff'");
  EXPECT_EQ(errorFor(u"0011"),
            "\"0011\" is no value of \"UUID\": expected hexadecimal digits in groups of 8, 4, 4, 4 and 12");
  declare(u"DateTime", u"String", u"DateTime");
  EXPECT_EQ(converted(u"2020-01-31T13:05:09"), "'2020-01-31T13:05:09'");
  EXPECT_EQ(errorFor(u"soon"),
            "\"soon\" is no value of \"DateTime\": expected a point in time such as \"2020-01-31T13:05:09\"");
}

TEST_F(ConversionTest, MakesLiteralsAndCustomValues) {
  declare(u"Genre", u"String", u"Genre");
  EXPECT_EQ(converted(u"essay"), "'essay'");
  EXPECT_EQ(errorFor(u"Essay"),
            "\"Essay\" is no value of \"library.Genre\": expected a literal; did you mean \"essay\"?");
  declare(u"Genre", u"Integer", u"Genre");
  EXPECT_EQ(converted(number("-4")), "'essay'");
  EXPECT_EQ(errorFor(number("4")), "4 is no value of \"library.Genre\": expected the number of a literal");
  declare(u"Kind", u"Genre", u"Kind");
  EXPECT_EQ(converted(u"novel"), "'novel'");
  EXPECT_EQ(converted(number("12")), "12");
  declare(u"Isbn", u"String", u"Isbn");
  EXPECT_EQ(converted(u"978"), "'978'");
}

TEST_F(EvolverTest, ConvertsEachEntryOfACollection) {
  declare([](Evolution& e) { e.changeType(u"Book", u"prices", u"String", u"Real"); });
  EXPECT_EQ(evolvedBook({{u"prices", list(io::RawValue(u"1.5"), io::RawValue(u"2"))}}), "{prices: [1.5, 2]}");
  EXPECT_EQ(
      errorOfBook({{u"prices", list(io::RawValue(u"1.5"), io::RawValue(u"dear"))}}),
      "family \"library\", from version \"1.0\" to \"2.0\", changeType(\"Book\", \"prices\", \"String\", \"Real\"): "
      "\"library.Book\" 00000000-0000-0000-0000-000000000001, property \"prices\": \"dear\" is no value of \"Real\": "
      "expected a number; declare custom() before this step for such content");
}

TEST_F(EvolverTest, GivesValuesOfADataTypeTheNameOfTheNewOne) {
  declare([](Evolution& e) { e.changeType(u"Book", u"place", u"Spot", u"Address").removeDataType(u"Spot"); });
  EXPECT_EQ(evolvedBook({{u"place", data(u"library.Spot", {{u"street", u"High"}})}}),
            "{place: library.Address{street: 'High'}}");
}

TEST_F(EvolverTest, MakesACollectionOfASingleValue) {
  declare([](Evolution& e) { e.toCollection(u"Book", u"tags").toCollection(u"Book", u"parts"); });
  EXPECT_EQ(evolvedBook({{u"tags", u"old"}, {u"parts", element(u"library.Book", 2)}}),
            "{tags: ['old'], parts: [library.Book 2{}]}");
  EXPECT_EQ(evolvedBook({{u"tags", io::RawValue()}, {u"parts", list(element(u"library.Book", 2))}}),
            "{parts: [library.Book 2{}]}");
}

TEST_F(EvolverTest, MakesASingleValueOfACollection) {
  declare([](Evolution& e) { e.toSingle(u"Book", u"isbn").toSingle(u"Book", u"pages", Surplus::KeepFirst); });
  EXPECT_EQ(evolvedBook({{u"isbn", list(io::RawValue(u"978"))}, {u"pages", list(number("1"), number("2"))}}),
            "{isbn: '978', pages: 1}");
  EXPECT_EQ(evolvedBook({{u"isbn", list()}, {u"pages", number("3")}}), "{pages: 3}");
  EXPECT_EQ(
      errorOfBook({{u"isbn", list(io::RawValue(u"1"), io::RawValue(u"2"))}}),
      "family \"library\", from version \"1.0\" to \"2.0\", toSingle(\"Book\", \"isbn\"): \"library.Book\" "
      "00000000-0000-0000-0000-000000000001, property \"isbn\": a list of 2 entries: one value has room; keep the "
      "first by Surplus::KeepFirst, or declare custom() before this step for such content");
}

// --- Moving.

TEST_F(EvolverTest, MovesAPropertyIntoAContainedElementMakingItWhereNecessary) {
  declare([](Evolution& e) { e.moveProperty(u"Book", u"blurb", u"details.blurb"); });
  EXPECT_EQ(evolvedBook({{u"blurb", u"Good!"}, {u"details", element(u"library.Details", 2)}}),
            "{details: library.Details 2{blurb: 'Good!'}}");
  EXPECT_EQ(evolvedBook({{u"name", u"Emma"}}), "{name: 'Emma'}");  // nothing to move, nothing made

  const io::RawElement first = evolved(element(u"library.Book", 1, {{u"blurb", u"Good!"}}));
  EXPECT_EQ(first, evolved(element(u"library.Book", 1, {{u"blurb", u"Good!"}})));  // the same uuid each time
  const io::RawElement& made = first.find(u"details")->element();
  EXPECT_EQ(made.typeName, u"library.Details");
  EXPECT_EQ(textOf(made.properties), "{blurb: 'Good!'}");
  EXPECT_FALSE(made.uuid.is_nil());
  EXPECT_NE(made.uuid, evolved(element(u"library.Book", 2, {{u"blurb", u"Good!"}})).find(u"details")->element().uuid);
}

TEST_F(EvolverTest, MovesAPropertyOutOfAContainedElement) {
  declare([](Evolution& e) { e.moveProperty(u"Book", u"details.isbn", u"isbn"); });
  EXPECT_EQ(evolvedBook({{u"details", element(u"library.Details", 2, {{u"isbn", u"978"}})}}),
            "{details: library.Details 2{}, isbn: '978'}");
  EXPECT_EQ(evolvedBook({{u"details", io::RawValue()}}), "{details: null}");
  EXPECT_EQ(evolvedBook({{u"details", list(element(u"library.Details", 2, {{u"isbn", u"978"}}))}}),
            "{details: [library.Details 2{}], isbn: '978'}");
  EXPECT_EQ(
      errorOfBook({{u"isbn", u"1"}, {u"details", element(u"library.Details", 2, {{u"isbn", u"978"}})}}),
      "family \"library\", from version \"1.0\" to \"2.0\", moveProperty(\"Book\", \"details.isbn\", \"isbn\"): "
      "\"library.Book\" 00000000-0000-0000-0000-000000000001, property \"isbn\": there is a value already; declare "
      "custom() before this step for such content");
  EXPECT_EQ(errorOfBook({{u"details", reference(u"library.Details", 2)}}),
            "family \"library\", from version \"1.0\" to \"2.0\", moveProperty(\"Book\", \"details.isbn\", \"isbn\"): "
            "\"library.Book\" 00000000-0000-0000-0000-000000000001, property \"details\": a reference to an element of "
            "\"library.Details\" stands on the way; declare custom() before this step for such content");
}

TEST_F(EvolverTest, MovesAPropertyThroughDataValues) {
  declare([](Evolution& e) { e.moveProperty(u"Book", u"street", u"place.street"); });
  EXPECT_EQ(evolvedBook({{u"street", u"High"}}), "{place: library.Address{street: 'High'}}");
}

TEST_F(EvolverTest, MovesAlongAChainOfElementsOfOneClassWithoutRunningIntoItself) {
  declare([](Evolution& e) { e.moveProperty(u"Details", u"blurb", u"more.blurb"); });
  const io::RawElement root = element(
      u"library.Details", 1,
      {{u"blurb", u"a"},
       {u"more", element(u"library.Details", 2, {{u"blurb", u"b"}, {u"more", element(u"library.Details", 3)}})}});
  EXPECT_EQ(textOf(evolved(root)),
            "library.Details 1{more: library.Details 2{more: library.Details 3{blurb: 'b'}, blurb: 'a'}}");
}

// --- Literals.

TEST_F(EvolverTest, RenamesALiteralInSingleValuesCollectionsSubclassesAndDataValues) {
  declare([](Evolution& e) { e.renameLiteral(u"Genre", u"Novel", u"novel"); });
  const io::RawElement root =
      element(u"library.Atlas", 1,
              {{u"genre", u"Novel"},
               {u"genres", list(io::RawValue(u"Novel"), io::RawValue(u"essay"), number("12"))},
               {u"place", data(u"library.Address", {{u"kind", u"Novel"}, {u"street", u"Novel"}})},
               {u"name", u"Novel"}});
  EXPECT_EQ(
      textOf(evolved(root)),
      "library.Atlas 1{genre: 'novel', genres: ['novel', 'essay', 12], place: library.Address{kind: 'novel', street: "
      "'Novel'}, name: 'Novel'}");
}

TEST_F(EvolverTest, ReplacesARemovedLiteralOfARenamedEnum) {
  declare([](Evolution& e) { e.removeLiteral(u"Kind", u"leaflet", u"essay").renameEnum(u"Kind", u"Genre"); });
  EXPECT_EQ(evolvedBook({{u"genre", u"leaflet"}}), "{genre: 'essay'}");
}

// --- Functions.

TEST_F(EvolverTest, CallsAFunctionWithContainersBeforeWhatTheyContain) {
  declare([](Evolution& e) {
    e.custom(u"Book", [](io::RawElement& book) {
      const io::RawValue* name = book.find(u"name");
      if (io::RawValue* parts = book.find(u"parts")) {
        for (io::RawValue& part : parts->list()) part.element().get(u"name") = name->text() + u"/";
      }
      book.get(u"pages") = io::RawNumber{"1"};
    });
  });
  const io::RawElement root =
      element(u"library.Atlas", 1,
              {{u"name", u"A"},
               {u"parts", list(element(u"library.Book", 2, {{u"parts", list(element(u"library.Book", 3))}}))}});
  EXPECT_EQ(textOf(evolved(root)),
            "library.Atlas 1{name: 'A', parts: [library.Book 2{parts: [library.Book 3{name: 'A//', pages: 1}], name: "
            "'A/', pages: 1}], pages: 1}");
}

TEST_F(EvolverTest, CallsAFunctionWithEachValueOfADataType) {
  declare([](Evolution& e) {
    e.customData(u"Address", [](io::RawData& address) { address.properties.push_back({u"street", u"High"}); });
  });
  EXPECT_EQ(evolvedBook({{u"places", list(data(u"library.Address"), data(u"library.Address"))}}),
            "{places: [library.Address{street: 'High'}, library.Address{street: 'High'}]}");
}

TEST_F(EvolverTest, CallsFunctionsThatAreKnownByName) {
  declare([](Evolution& e) { e.custom(u"Book", u"markAsLent").custom(u"Address", u"clear"); });
  EXPECT_EQ(errorOfBook({}),
            "family \"library\", from version \"1.0\" to \"2.0\", custom(\"Book\", \"markAsLent\"): \"library.Book\" "
            "00000000-0000-0000-0000-000000000001: no function \"markAsLent\" for elements is known: call "
            "Evolution::nameFunction first");
  Evolution::nameFunction(u"markAsLent", [](io::RawElement& book) { book.get(u"isLent") = true; });
  Evolution::nameDataFunction(u"clear", [](io::RawData& value) { value.properties.clear(); });
  EXPECT_EQ(evolvedBook({{u"place", data(u"library.Address", {{u"street", u"High"}})}}),
            "{place: library.Address{}, isLent: true}");
}

TEST_F(EvolverTest, LetsWhatAFunctionThrowsPass) {
  declare([](Evolution& e) { e.custom(u"Book", [](io::RawElement&) { throw std::range_error("mine"); }); });
  io::RawElement root = element(u"library.Book", 1);
  const Evolver evolver({uri(u"library", u"1.0")});
  EXPECT_THROW(static_cast<void>(evolver.evolve(root)), std::range_error);
}

// --- Order and chains.

TEST_F(EvolverTest, AppliesStepsInTheirOrderEachToWhatTheOneBeforeLeft) {
  declare([](Evolution& e) {
    e.renameProperty(u"Volume", u"a", u"swap")
        .renameProperty(u"Volume", u"isbn", u"a")
        .renameProperty(u"Volume", u"swap", u"isbn")
        .renameClass(u"Volume", u"Book")
        .custom(u"Book", [](io::RawElement& book) { book.get(u"name") = io::RawValue(*book.find(u"isbn")); })
        .renameProperty(u"Book", u"a", u"tags")
        .toCollection(u"Book", u"tags");
  });
  EXPECT_EQ(textOf(evolved(element(u"library.Volume", 1, {{u"a", u"1"}, {u"isbn", u"2"}}))),
            "library.Book 1{isbn: '1', tags: ['2'], name: '1'}");
}

TEST_F(EvolverTest, GoesThroughAChainOfVersionsFromWhereTheContentStands) {
  Evolution(u"library")
      .from(u"0.9")
      .to(u"1.0")
      .renameClass(u"Tome", u"Volume")
      .renameProperty(u"Volume", u"caption", u"label")
      .from(u"1.0")
      .to(u"1.10")
      .changeType(u"Volume", u"pages", u"String", u"Integer")
      .from(u"1.10")
      .to(u"2.0")
      .renameProperty(u"Volume", u"label", u"name")
      .renameClass(u"Volume", u"Book")
      .registerEvolution();
  EXPECT_EQ(textOf(evolved(element(u"library.Tome", 1, {{u"caption", u"E"}, {u"pages", u"7"}}), u"0.9")),
            "library.Book 1{name: 'E', pages: 7}");
  EXPECT_EQ(textOf(evolved(element(u"library.Volume", 1, {{u"label", u"E"}, {u"pages", u"7"}}), u"1.0")),
            "library.Book 1{name: 'E', pages: 7}");
  EXPECT_EQ(textOf(evolved(element(u"library.Volume", 1, {{u"label", u"E"}, {u"pages", number("7")}}), u"1.10")),
            "library.Book 1{name: 'E', pages: 7}");
  // Nothing was declared to change up to 0.9, nor from there on.
  EXPECT_EQ(textOf(evolved(element(u"library.Tome", 1, {{u"caption", u"E"}}), u"0.1")), "library.Book 1{name: 'E'}");
  EXPECT_THAT([] { Evolver({uri(u"library", u"1.11")}); },
              testing::ThrowsMessage<EvolutionError>(
                  "family \"library\": the content is of version \"1.11\", from which no steps are declared, only from "
                  "\"1.10\" to \"2.0\" across it: declare steps from \"1.11\""));
}

}  // namespace
}  // namespace tarn::kern::evolution
