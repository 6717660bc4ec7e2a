#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelElement.h>

#include "MetaModelFixture.h"

/// Each rule that a meta-model must keep, and the whole text that says how it was broken.
namespace tarn::kern::meta {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PackageBuilderFaults : public MetaModelTest {
 protected:
  PackageBuilder lib{u"lib"};
};

// --- The error as a whole.

TEST_F(PackageBuilderFaults, OneFaultIsToldInOneLine) {
  lib.addClass(u"");
  try {
    lib.registerPackage();
    FAIL() << "a faulty meta-model was taken";
  } catch (const MetaModelError& error) {
    EXPECT_STREQ(error.what(), "the meta-model is refused: class \"lib.\": the name is empty");
  }
}

TEST_F(PackageBuilderFaults, AllFaultsOfAllPackagesAreToldInTheOrderOfTheDefinition) {
  auto& book = lib.addClass(u"Book").extends(u"Nmaed");
  book.attribute(u"title", u"Strin").required();
  book.attribute(u"pages", StandardTypes::integerMeta).bounds(3, 2);
  lib.addClass(u"Named");
  PackageBuilder other(u"other");
  other.addEnum(u"Genre").literal(u"novel", 0).literal(u"novel", 1);
  try {
    PackageBuilder::registerAll({&lib, &other});
    FAIL() << "a faulty meta-model was taken";
  } catch (const MetaModelError& error) {
    EXPECT_STREQ(error.what(),
                 "the meta-model is refused for 4 faults:\n"
                 "  1. class \"lib.Book\": unknown superclass \"Nmaed\"; did you mean \"Named\"?\n"
                 "  2. class \"lib.Book\", property \"title\": unknown type \"Strin\"; did you mean \"String\"?\n"
                 "  3. class \"lib.Book\", property \"pages\": the lower bound 3 is above the upper bound 2\n"
                 "  4. enum \"other.Genre\": the literal \"novel\" is declared twice");
    EXPECT_EQ(error.faults().size(), 4U);
  }
  EXPECT_THAT(registry().getPackages(), IsEmpty());
  EXPECT_FALSE(registry().getType(u"lib.Named"));
  EXPECT_FALSE(registry().getPackage(u"urn:other"));
}

TEST_F(PackageBuilderFaults, ARefusedDefinitionCanBeMendedAndRegistered) {
  auto& book = lib.addClass(u"Book").extends(u"Named");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\": unknown superclass \"Named\""));
  lib.addClass(u"Named");
  EXPECT_THAT(faultsOf(lib), IsEmpty());
  EXPECT_EQ(find<Class>(u"lib.Book")->getSuperclass(), find<Class>(u"lib.Named"));
  static_cast<void>(book);
}

// --- Names.

TEST_F(PackageBuilderFaults, NamesAreNotEmpty) {
  PackageBuilder nameless(u"");
  nameless.addClass(u"").attribute(u"", StandardTypes::stringMeta);
  nameless.addEnum(u"E").literal(u"", 7);
  EXPECT_THAT(faultsOf(nameless), ElementsAre("package \"\": the name is empty", "class \".\": the name is empty",
                                              "class \".\", property \"\": the name is empty",
                                              "enum \".E\": the name of the literal 7 is empty"));
}

TEST_F(PackageBuilderFaults, NamesOfPackagesAndTypesHaveNoDots) {
  PackageBuilder dotted(u"a.b");
  dotted.addDataType(u"x.y");
  dotted.addPackage(u"c.d");
  EXPECT_THAT(
      faultsOf(dotted),
      ElementsAre(
          "package \"a.b\": the name \"a.b\" contains \".\", which separates the names of packages and types",
          "data type \"a.b.x.y\": the name \"x.y\" contains \".\", which separates the names of packages and types",
          "package \"a.b.c.d\": the name \"c.d\" contains \".\", which separates the names of packages and types"));
}

TEST_F(PackageBuilderFaults, AnyOtherUnicodeMayStandInNames) {
  PackageBuilder odd(u"Bücherei /\\\"");
  odd.addClass(u"本 \U0001F4D6").attribute(u"a.b", StandardTypes::stringMeta);
  odd.addEnum(u"-").literal(u"x.y z", 0);
  EXPECT_THAT(faultsOf(odd), IsEmpty());
  EXPECT_TRUE(find<Class>(u"Bücherei /\\\".本 \U0001F4D6")->getProperty(u"a.b"));
}

TEST_F(PackageBuilderFaults, TypesOfAPackageHaveNamesOfTheirOwn) {
  lib.addClass(u"Book");
  lib.addEnum(u"Book");
  EXPECT_THAT(faultsOf(lib), ElementsAre("enum \"lib.Book\": the package has another type of that name"));
}

TEST_F(PackageBuilderFaults, PropertiesOfATypeHaveNamesOfTheirOwn) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta);
  book.attribute(u"title", StandardTypes::stringMeta);
  auto& size = lib.addDataType(u"Size");
  size.attribute(u"width", StandardTypes::integerMeta);
  size.attribute(u"width", StandardTypes::realMeta);
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"title\": the property is declared twice",
                                         "data type \"lib.Size\", property \"width\": the property is declared twice"));
}

TEST_F(PackageBuilderFaults, NoPropertyIsNamedLikeAnInheritedOne) {
  auto& named = lib.addClass(u"Named");
  named.attribute(u"name", StandardTypes::stringMeta);
  auto& medium = lib.addClass(u"Medium").extends(named);
  lib.addClass(u"Book").extends(medium).attribute(u"name", StandardTypes::stringMeta);
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"name\": the class inherits a property of that name from "
                          "\"lib.Named\""));
}

TEST_F(PackageBuilderFaults, NoPropertyIsNamedLikeOneOfAFurtherSupertype) {
  lib.addClass(u"Named").attribute(u"name", StandardTypes::stringMeta);
  lib.addClass(u"Labelled").extends(u"Named");
  auto& book = lib.addClass(u"Book").alsoConformsTo(u"Labelled");
  book.attribute(u"name", StandardTypes::stringMeta);
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"name\": the class inherits a property of that name from "
                          "\"lib.Named\""));
}

TEST_F(PackageBuilderFaults, FurtherSupertypesBringNoTwoPropertiesOfOneName) {
  lib.addClass(u"Named").attribute(u"name", StandardTypes::stringMeta);
  lib.addClass(u"Labelled").attribute(u"name", StandardTypes::stringMeta);
  lib.addClass(u"Book").extends(u"Named").alsoConformsTo(u"Labelled");
  lib.addClass(u"Shelf").alsoConformsTo(u"Named").alsoConformsTo(u"Labelled");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\": the further supertype \"lib.Labelled\" brings a property \"name\", but "
                          "there is another one of that name, declared by class \"lib.Named\"",
                          "class \"lib.Shelf\": the further supertype \"lib.Labelled\" brings a property \"name\", but "
                          "there is another one of that name, declared by class \"lib.Named\""));
}

// --- Types that are referred to.

TEST_F(PackageBuilderFaults, UnknownTypesAreNamedWithWhatIsNear) {
  PackageBuilder other(u"other");
  other.addClass(u"Person");
  other.registerPackage();
  auto& book = lib.addClass(u"Book");
  book.reference(u"author", u"Person");
  book.reference(u"editor", u"other.Persn");
  book.attribute(u"genre", u"Genre");
  book.attribute(u"size", u"");
  book.attribute(u"shape", Type());
  book.attribute(u"isbn", u"string");
  EXPECT_THAT(
      faultsOf(lib),
      ElementsAre(
          "class \"lib.Book\", property \"author\": unknown type \"Person\"; did you mean \"other.Person\"?",
          "class \"lib.Book\", property \"editor\": unknown type \"other.Persn\"; did you mean \"other.Person\"?",
          "class \"lib.Book\", property \"genre\": unknown type \"Genre\"",
          "class \"lib.Book\", property \"size\": no type is given",
          "class \"lib.Book\", property \"shape\": no type is given",
          "class \"lib.Book\", property \"isbn\": unknown type \"string\"; did you mean \"String\"?"));
}

TEST_F(PackageBuilderFaults, ABuilderOfAnotherPackageMustBeRegisteredWithItOrBefore) {
  PackageBuilder other(u"other");
  auto& person = other.addClass(u"Person");
  lib.addClass(u"Book").reference(u"author", person);
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"author\": the type \"Person\" belongs to a "
                                         "package that is neither registered nor part of this registration"));
  other.registerPackage();
  EXPECT_THAT(faultsOf(lib), IsEmpty());
  EXPECT_EQ(find<Class>(u"lib.Book")->getProperty(u"author")->getType(), registry().getType(u"other.Person"));
}

TEST_F(PackageBuilderFaults, ASuperclassIsAClass) {
  lib.addEnum(u"Genre");
  lib.addDataType(u"Size");
  lib.addClass(u"A").extends(u"Genre");
  lib.addClass(u"B").alsoConformsTo(u"Size");
  lib.addClass(u"C").extends(StandardTypes::stringMeta);
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.A\": the superclass \"lib.Genre\" is no class but an enum",
                          "class \"lib.B\": the further supertype \"lib.Size\" is no class but a data type",
                          "class \"lib.C\": the superclass \"String\" is no class but a primitive type"));
}

TEST_F(PackageBuilderFaults, AClassHasOneSuperclass) {
  auto& named = lib.addClass(u"Named");
  auto& owned = lib.addClass(u"Owned");
  lib.addClass(u"Book").extends(named).extends(owned);
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\": 2 superclasses are given: a class extends one, and "
                                         "alsoConformsTo others"));
}

TEST_F(PackageBuilderFaults, NothingDerivesFromTheMetaModelItselfOrRefersToIt) {
  auto& book = lib.addClass(u"Book").extends(Class::metaClass());
  book.reference(u"type", Class::metaClass());
  book.reference(u"anything", ModelElement::metaClass());
  lib.addClass(u"Shelf").alsoConformsTo(Enum::metaClass());
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\": the superclass \"tarn.kern.meta.Class\" describes the meta-model "
                          "itself; nothing can derive from it",
                          "class \"lib.Book\", property \"type\": the type \"tarn.kern.meta.Class\" describes the "
                          "meta-model itself; models have no elements of it",
                          "class \"lib.Shelf\": the further supertype \"tarn.kern.meta.Enum\" describes the "
                          "meta-model itself; nothing can derive from it"));
}

TEST_F(PackageBuilderFaults, AClassDoesNotDeriveFromItself) {
  lib.addClass(u"A").extends(u"C");
  lib.addClass(u"B").extends(u"A");
  lib.addClass(u"C").extends(u"B");
  lib.addClass(u"D").extends(u"A");
  lib.addClass(u"E").extends(u"E");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.A\": the class derives from itself: \"lib.A\" -> \"lib.C\" -> "
                                         "\"lib.B\" -> \"lib.A\"",
                                         "class \"lib.E\": the class derives from itself: \"lib.E\" -> \"lib.E\""));
}

TEST_F(PackageBuilderFaults, AClassDoesNotDeriveFromItselfByFurtherSupertypes) {
  lib.addClass(u"A").alsoConformsTo(u"B");
  lib.addClass(u"B").extends(u"C");
  lib.addClass(u"C").alsoConformsTo(u"A").alsoConformsTo(u"C");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.A\": the class derives from itself: \"lib.A\" -> \"lib.B\" -> "
                                         "\"lib.C\" -> \"lib.A\"",
                                         "class \"lib.C\": the class derives from itself: \"lib.C\" -> \"lib.C\""));
}

TEST_F(PackageBuilderFaults, AChainOfAThousandClassesIsChecked) {
  ustring last = u"C0";
  lib.addClass(last);
  for (int i = 1; i < 1000; ++i) {
    const ustring name = u"C" + bedrock::i18n::utf8_to_ustring(std::to_string(i));
    lib.addClass(name).extends(last);
    last = name;
  }
  lib.addClass(u"Ring").extends(u"Ring");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Ring\": the class derives from itself: \"lib.Ring\" -> \"lib.Ring\""));
}

TEST_F(PackageBuilderFaults, WhatMayBeInheritedFromAnUnknownClassIsNotCalledMissing) {
  lib.addClass(u"Base").extends(u"Unknwon");
  auto& book = lib.addClass(u"Book").extends(u"Base");
  book.reference(u"shelf", u"Book").opposite(u"books");
  book.reference(u"others", u"Book").many().qualifiedBy(u"isbn");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Base\": unknown superclass \"Unknwon\""));
}

TEST_F(PackageBuilderFaults, WhatMayBeInheritedFromOneOfSeveralUnknownClassesIsNotCalledMissing) {
  lib.addClass(u"Named");
  lib.addClass(u"Base").extends(u"Unknwon");
  lib.addClass(u"Book").extends(u"Base").alsoConformsTo(u"Named").reference(u"shelf", u"Book").opposite(u"books");
  lib.addClass(u"Map").alsoConformsTo(u"Base").reference(u"shelf", u"Map").opposite(u"maps");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Base\": unknown superclass \"Unknwon\""));
}

TEST_F(PackageBuilderFaults, OnlyTheFirstOfManyFaultsSayWhatIsNear) {
  auto& genre = lib.addEnum(u"Genre").literal(u"novel", 0);
  auto& book = lib.addClass(u"Book");
  for (int i = 0; i < 40; ++i) {
    book.attribute(u"genre" + bedrock::i18n::utf8_to_ustring(std::to_string(i)), genre).defaultsTo(u"novell");
  }
  book.reference(u"shelf", u"Book").opposite(u"bokos");
  book.reference(u"books", u"Book").opposite(u"shlef");
  lib.addClass(u"Map").extends(u"Bookk");
  const std::vector<std::string> faults = faultsOf(lib);
  ASSERT_EQ(faults.size(), 43U);
  EXPECT_THAT(faults[0], testing::EndsWith("; did you mean \"novel\"?"));
  EXPECT_THAT(faults[30], testing::EndsWith("; did you mean \"novel\"?"));
  EXPECT_THAT(faults[31], testing::EndsWith("is no literal of enum \"lib.Genre\""));
  EXPECT_THAT(faults[40], testing::EndsWith("the opposite \"bokos\" of class \"lib.Book\" does not exist"));
  EXPECT_THAT(faults[42], testing::EndsWith("did you mean \"Book\"?")) << "found in an earlier round";
}

TEST_F(PackageBuilderFaults, OnlyTheFirstOfManyUnknownTypesSayWhatIsNear) {
  auto& book = lib.addClass(u"Book");
  for (int i = 0; i < 40; ++i) {
    book.attribute(u"title" + bedrock::i18n::utf8_to_ustring(std::to_string(i)), u"Strin");
  }
  const std::vector<std::string> faults = faultsOf(lib);
  ASSERT_EQ(faults.size(), 40U);
  EXPECT_THAT(faults[31], testing::EndsWith("unknown type \"Strin\"; did you mean \"String\"?"));
  EXPECT_THAT(faults[32], testing::EndsWith("unknown type \"Strin\""));
}

// --- Bounds and kinds of properties.

TEST_F(PackageBuilderFaults, TheLowerBoundIsNotAboveTheUpper) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"zero", StandardTypes::stringMeta).bounds(0, 0);
  book.attribute(u"one", StandardTypes::stringMeta).bounds(1, 0);
  book.attribute(u"two", StandardTypes::stringMeta).bounds(2, 1);
  book.attribute(u"exact", StandardTypes::stringMeta).bounds(4, 4);
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"one\": the lower bound 1 is above the upper bound 0",
                          "class \"lib.Book\", property \"two\": the lower bound 2 is above the upper bound 1"));
}

TEST_F(PackageBuilderFaults, OnlyElementsAreOwnedOrReferredTo) {
  lib.addEnum(u"Genre").literal(u"novel", 0);
  lib.addDataType(u"Size");
  auto& book = lib.addClass(u"Book");
  book.composite(u"size", u"Size");
  book.reference(u"genre", u"Genre");
  book.attribute(u"title", StandardTypes::stringMeta).composite();
  book.attribute(u"sequel", u"Book");
  EXPECT_THAT(
      faultsOf(lib),
      ElementsAre("class \"lib.Book\", property \"size\": the type \"lib.Size\" is a data type: only elements of a "
                  "class can be owned, so declare an attribute",
                  "class \"lib.Book\", property \"genre\": the type \"lib.Genre\" is an enum: only elements of a class "
                  "can be referred to, so declare an attribute",
                  "class \"lib.Book\", property \"title\": the type \"String\" is a primitive type: only elements of "
                  "a class can be owned, so declare an attribute",
                  "class \"lib.Book\", property \"sequel\": the type \"lib.Book\" is a class: say whether the property "
                  "refers to its target or owns it, by reference() or composite()"));
}

TEST_F(PackageBuilderFaults, ADataTypeOwnsNothingAndIsNotReferredBackTo) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta);
  auto& mention = lib.addDataType(u"Mention");
  mention.attribute(u"book", u"Book");
  mention.attribute(u"part", u"Book").composite();
  mention.attribute(u"back", u"Book").opposite(u"title");
  mention.attribute(u"titled", u"Book").many().qualifiedBy(u"title");
  EXPECT_THAT(
      faultsOf(lib),
      ElementsAre("data type \"lib.Mention\", property \"part\": a data type is a value and cannot own elements: drop "
                  "composite()",
                  "data type \"lib.Mention\", property \"back\": a data type is a value that nothing can refer back "
                  "to: drop opposite()",
                  "data type \"lib.Mention\", property \"titled\": an attribute of a data type cannot be qualified: "
                  "drop qualifiedBy()"));
}

TEST_F(PackageBuilderFaults, OwnedAndPairedCollectionsAreUnique) {
  auto& shelf = lib.addClass(u"Shelf");
  shelf.composite(u"books", u"Book").many().unique(false);
  shelf.reference(u"readers", u"Book").many().unique(false).opposite(u"readAt");
  shelf.reference(u"seen", u"Book").many().unique(false);
  lib.addClass(u"Book").reference(u"readAt", u"Shelf").opposite(u"readers");
  EXPECT_THAT(
      faultsOf(lib),
      ElementsAre("class \"lib.Shelf\", property \"books\": an element is owned once, so a composite collection is "
                  "always unique",
                  "class \"lib.Shelf\", property \"readers\": a collection that has an opposite is always unique"));
}

// --- Opposites.

TEST_F(PackageBuilderFaults, AnOppositeExists) {
  lib.addClass(u"Shelf").composite(u"books", u"Book").many().opposite(u"shlef");
  lib.addClass(u"Book").reference(u"shelf", u"Shelf");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Shelf\", property \"books\": the opposite \"shlef\" of class "
                                         "\"lib.Book\" does not exist; did you mean \"shelf\"?"));
}

TEST_F(PackageBuilderFaults, OppositesNameEachOther) {
  auto& shelf = lib.addClass(u"Shelf");
  shelf.composite(u"books", u"Book").many().opposite(u"shelf");
  shelf.reference(u"favourite", u"Book").opposite(u"shelf");
  auto& book = lib.addClass(u"Book");
  book.reference(u"shelf", u"Shelf").opposite(u"books");
  book.reference(u"author", u"Book").opposite(u"sequel");
  book.reference(u"sequel", u"Book");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Shelf\", property \"favourite\": the opposite \"shelf\" of class \"lib.Book\" "
                          "names \"books\" as its own opposite: both ends must name each other",
                          "class \"lib.Book\", property \"author\": the opposite \"sequel\" of class \"lib.Book\" "
                          "names no opposite: both ends must name each other"));
}

TEST_F(PackageBuilderFaults, APropertyIsNotItsOwnOpposite) {
  lib.addClass(u"Person").reference(u"spouse", u"Person").opposite(u"spouse");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Person\", property \"spouse\": a property cannot be its own "
                                         "opposite: declare another one for the way back"));
}

TEST_F(PackageBuilderFaults, OppositesHaveEachOthersClassAsType) {
  lib.addClass(u"Shelf").composite(u"books", u"Book").many().opposite(u"shelf");
  lib.addClass(u"Box").extends(u"Shelf");
  lib.addClass(u"Book").reference(u"shelf", u"Box").opposite(u"books");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Shelf\", property \"books\": the opposite \"shelf\" of class \"lib.Book\" has "
                          "the type \"lib.Box\", which is not class \"lib.Shelf\", where this property is declared",
                          "class \"lib.Book\", property \"shelf\": the opposite \"books\" of class \"lib.Box\" is "
                          "declared by class \"lib.Shelf\": the type must be that class"));
}

TEST_F(PackageBuilderFaults, OnlyClassesHaveOpposites) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta).opposite(u"shelf");
  book.reference(u"shelf", u"Book").opposite(u"title");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"title\": only a property of a class type has "
                                         "an opposite: drop opposite()"));
}

TEST_F(PackageBuilderFaults, OneEndOwnsTheOther) {
  lib.addClass(u"Shelf").composite(u"books", u"Book").many().opposite(u"shelf");
  lib.addClass(u"Book").composite(u"shelf", u"Shelf").opposite(u"books");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Shelf\", property \"books\": it and its opposite \"shelf\" of class "
                          "\"lib.Book\" are both composite: only one end can own the other"));
}

TEST_F(PackageBuilderFaults, AnElementHasOneContainer) {
  lib.addClass(u"Shelf").composite(u"books", u"Book").many().opposite(u"shelves");
  lib.addClass(u"Book").reference(u"shelves", u"Shelf").many().opposite(u"books");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"shelves\": the opposite \"books\" of class \"lib.Shelf\" is "
                          "composite, so this property must be single-valued: an element has one container"));
}

TEST_F(PackageBuilderFaults, ARegisteredClassCannotBecomeAnOpposite) {
  PackageBuilder other(u"other");
  other.addClass(u"Shelf").reference(u"books", ModelElement::metaClass()).many();
  other.registerPackage();
  lib.addClass(u"Book").reference(u"shelf", u"other.Shelf").opposite(u"books");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"shelf\": the opposite \"books\" of class "
                                         "\"other.Shelf\" is registered already and does not point back"));
}

TEST_F(PackageBuilderFaults, AnOppositeInARegisteredClassMustBeThere) {
  PackageBuilder other(u"other");
  other.addClass(u"Shelf");
  other.registerPackage();
  lib.addClass(u"Book").reference(u"shelf", u"other.Shelf").opposite(u"books");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"shelf\": the opposite \"books\" of class "
                                         "\"other.Shelf\" does not exist"));
}

TEST_F(PackageBuilderFaults, ACopiedPropertyIsNoOpposite) {
  lib.addClass(u"Holder").composite(u"books", u"Book").many().opposite(u"shelf");
  lib.addClass(u"Shelf").alsoConformsTo(u"Holder");
  lib.addClass(u"Book").reference(u"shelf", u"Shelf").opposite(u"books");
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Holder\", property \"books\": the opposite \"shelf\" of class \"lib.Book\" has "
                          "the type \"lib.Shelf\", which is not class \"lib.Holder\", where this property is declared",
                          "class \"lib.Book\", property \"shelf\": the opposite \"books\" of class \"lib.Shelf\" is "
                          "declared by class \"lib.Holder\": the type must be that class"));
}

// --- Qualifiers.

TEST_F(PackageBuilderFaults, AQualifierIsASingleValueOfTheMembers) {
  auto& shelf = lib.addClass(u"Shelf");
  shelf.composite(u"books", u"Book").many().qualifiedBy(u"isbm");
  shelf.composite(u"more", u"Book").many().qualifiedBy(u"tags");
  shelf.composite(u"first", u"Book").qualifiedBy(u"isbn");
  shelf.attribute(u"names", StandardTypes::stringMeta).many().qualifiedBy(u"isbn");
  auto& book = lib.addClass(u"Book");
  book.attribute(u"isbn", StandardTypes::stringMeta).required();
  book.attribute(u"tags", StandardTypes::stringMeta).many();
  EXPECT_THAT(
      faultsOf(lib),
      ElementsAre("class \"lib.Shelf\", property \"books\": the qualifier \"isbm\" of class \"lib.Book\" does not "
                  "exist; did you mean \"isbn\"?",
                  "class \"lib.Shelf\", property \"more\": the qualifier \"tags\" of class \"lib.Book\" is a "
                  "collection: a key is a single value",
                  "class \"lib.Shelf\", property \"first\": a qualifier tells the members of a collection apart, but "
                  "the property is single-valued",
                  "class \"lib.Shelf\", property \"names\": only a property of a class type can be qualified: drop "
                  "qualifiedBy()"));
}

// --- Defaults.

TEST_F(PackageBuilderFaults, OnlySinglePlainValuesHaveDefaults) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"tags", StandardTypes::stringMeta).many().defaultsTo(u"new");
  book.attribute(u"notes", StandardTypes::stringToStringMapMeta).required().defaultsTo(Value(StringToStringMap()));
  book.reference(u"sequel", u"Book").defaultsTo(Value(ModelElement()));
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"tags\": a collection has no default: it always starts empty",
                          "class \"lib.Book\", property \"notes\": a map has no default: it always starts empty",
                          "class \"lib.Book\", property \"sequel\": a property of a class type has no default"));
}

TEST_F(PackageBuilderFaults, ADefaultIsOfThePropertysType) {
  lib.addEnum(u"Genre").literal(u"novel", 0);
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta).defaultsTo(std::int32_t{1});
  book.attribute(u"pages", StandardTypes::integerMeta).defaultsTo(u"many");
  book.attribute(u"weight", StandardTypes::integer64Meta).defaultsTo(std::int32_t{1});
  book.attribute(u"file", StandardTypes::stdstringMeta).defaultsTo(u"text");
  book.attribute(u"genre", u"Genre").defaultsTo(std::int64_t{0});
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"title\": the default is of the type \"Integer\", but the "
                          "property of \"String\"",
                          "class \"lib.Book\", property \"pages\": the default is of the type \"String\", but the "
                          "property of \"Integer\"",
                          "class \"lib.Book\", property \"weight\": the default is of the type \"Integer\", but the "
                          "property of \"Integer64\"",
                          "class \"lib.Book\", property \"file\": the default is of the type \"String\", but the "
                          "property of \"StdString\"",
                          "class \"lib.Book\", property \"genre\": the default is of the type \"Integer64\", but the "
                          "property of \"lib.Genre\""));
}

TEST_F(PackageBuilderFaults, ADefaultHoldsOneObjectOfTheRightKind) {
  PackageBuilder enums(u"enums");
  enums.addEnum(u"Genre").literal(u"novel", 0);
  enums.registerPackage();
  const Type genre = registry().getType(u"enums.Genre");
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta)
      .defaultsTo(Value::createEmptyValue(StandardTypes::stringMeta, false));
  book.attribute(u"genre", genre).defaultsTo(Value(ValueMeta(genre, ValueFlags::Single), ustring(u"novel")));
  book.attribute(u"pages", StandardTypes::integerMeta)
      .defaultsTo(Value(ValueMeta(StandardTypes::integerMeta, ValueFlags::Collection), 1));
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("class \"lib.Book\", property \"title\": the default holds nothing: without a default the "
                          "property is absent anyway",
                          "class \"lib.Book\", property \"genre\": the default holds an object of another C++ type "
                          "than values of \"enums.Genre\" hold",
                          "class \"lib.Book\", property \"pages\": the default is a collection, but the property is "
                          "single-valued"));
}

TEST_F(PackageBuilderFaults, ADefaultOfAnEnumIsOneOfItsLiterals) {
  lib.addEnum(u"Genre").literal(u"novel", 0).literal(u"essay", 1);
  auto& book = lib.addClass(u"Book");
  book.attribute(u"genre", u"Genre").defaultsTo(u"novell");
  book.attribute(u"second", u"Genre").defaultsTo(u"poem");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"genre\": the default \"novell\" is no literal "
                                         "of enum \"lib.Genre\"; did you mean \"novel\"?",
                                         "class \"lib.Book\", property \"second\": the default \"poem\" is no literal "
                                         "of enum \"lib.Genre\""));
}

TEST_F(PackageBuilderFaults, ADefaultOfACustomTypeIsOneOfItsTexts) {
  lib.addPrimitive<int>(
      u"Mark", [](const int&) { return ustring(u"one"); },
      [](const ustring& text) {
        if (text != u"one") throw std::invalid_argument("marks are spelt out");
        return 1;
      });
  auto& book = lib.addClass(u"Book");
  book.attribute(u"best", u"Mark").required().defaultsTo(u"one");
  book.attribute(u"worst", u"Mark").required().defaultsTo(u"6");
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"worst\": the default \"6\" is no text form of "
                                         "primitive type \"lib.Mark\": marks are spelt out"));
}

TEST_F(PackageBuilderFaults, ARequiredEnumNeedsADefaultOrALiteralZero) {
  auto& genre = lib.addEnum(u"Genre").literal(u"novel", 1).literal(u"essay", -1);
  lib.addClass(u"Book").attribute(u"genre", genre).required();
  lib.addDataType(u"Mark").attribute(u"genre", genre).required();
  auto& fine = lib.addClass(u"Fine");
  fine.attribute(u"withDefault", genre).required().defaultsTo(u"essay");
  fine.attribute(u"optional", genre);
  fine.attribute(u"several", genre).bounds(1, 3);
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.Book\", property \"genre\": a required value of enum "
                                         "\"lib.Genre\" needs a default: the enum has no literal 0 that could stand "
                                         "for a value not set yet",
                                         "data type \"lib.Mark\", property \"genre\": a required value of enum "
                                         "\"lib.Genre\" needs a default: the enum has no literal 0 that could stand "
                                         "for a value not set yet"));
}

// --- Data types.

TEST_F(PackageBuilderFaults, AValueDoesNotContainItself) {
  lib.addDataType(u"A").attribute(u"b", u"B").required();
  lib.addDataType(u"B").attribute(u"c", u"C");
  lib.addDataType(u"C").attribute(u"a", u"A").required();
  lib.addDataType(u"Self").attribute(u"self", u"Self");
  auto& tree = lib.addDataType(u"Tree");
  tree.attribute(u"children", u"Tree").many();
  EXPECT_THAT(faultsOf(lib),
              ElementsAre("data type \"lib.A\": a value would contain itself without end: \"lib.A\" -> \"lib.B\" -> "
                          "\"lib.C\" -> \"lib.A\"; make one of these attributes a collection",
                          "data type \"lib.Self\": a value would contain itself without end: \"lib.Self\" -> "
                          "\"lib.Self\"; make one of these attributes a collection"));
}

// --- Limits.

TEST_F(PackageBuilderFaults, AClassHasAtMost65000Properties) {
  auto& most = lib.addClass(u"Most");
  for (int i = 0; i < 65'000; ++i) {
    most.attribute(u"p" + bedrock::i18n::utf8_to_ustring(std::to_string(i)), StandardTypes::booleanMeta);
  }
  lib.addClass(u"TooMany").extends(most).attribute(u"last", StandardTypes::booleanMeta);
  EXPECT_THAT(faultsOf(lib), ElementsAre("class \"lib.TooMany\": 65001 properties, inherited ones included, are too "
                                         "many: at most 65000 are possible"));
}

// --- Packages.

TEST_F(PackageBuilderFaults, FamilyAndVersionAreGivenAndHaveNoSlash) {
  PackageBuilder a(u"a"), b(u"b"), c(u"c"), d(u"d"), e(u"e"), f(u"f");
  a.family(u"", u"1");
  b.family(u"b", u"");
  c.family(u"c/c", u"1/2");
  d.uri(u"tarn://schema/d");
  e.uri(u"tarn://schema/e/1/2");
  f.uri(u"");
  EXPECT_THAT(faultsOf({&a, &b, &c, &d, &e, &f}),
              ElementsAre("package \"a\": the family is empty", "package \"b\": the version is empty",
                          "package \"c\": the family \"c/c\" contains \"/\", which separates family and version",
                          "package \"c\": the version \"1/2\" contains \"/\", which separates family and version",
                          "package \"d\": the version is empty",
                          "package \"e\": the version \"1/2\" contains \"/\", which separates family and version",
                          "package \"f\": the URI is empty"));
}

TEST_F(PackageBuilderFaults, AUriIsTakenOnce) {
  lib.family(u"lib", u"1").registerPackage();
  PackageBuilder again(u"lib"), renamed(u"library"), plain(u"plain"), plainAgain(u"plain"), elsewhere(u"elsewhere");
  again.family(u"lib", u"1");
  renamed.uri(u"tarn://schema/lib/1");
  elsewhere.uri(u"urn:plain");
  EXPECT_THAT(faultsOf({&again, &renamed, &plain, &plainAgain, &elsewhere}),
              ElementsAre("package \"lib\": the URI \"tarn://schema/lib/1\" is taken: give another version",
                          "package \"library\": the URI \"tarn://schema/lib/1\" is taken by package \"lib\": give "
                          "another version",
                          "package \"plain\": the URI \"urn:plain\" is taken: give another URI, or a family and "
                          "version",
                          "package \"elsewhere\": the URI \"urn:plain\" is taken by package \"plain\": give another "
                          "URI, or a family and version"));
}

TEST_F(PackageBuilderFaults, OnlyVersionsOfOneFamilyShareAName) {
  lib.family(u"lib", u"1").registerPackage();
  PackageBuilder next(u"lib"), other(u"lib"), plain(u"lib");
  next.family(u"lib", u"2");
  EXPECT_THAT(faultsOf(next), IsEmpty());
  other.family(u"books", u"1");
  EXPECT_THAT(faultsOf(other), ElementsAre("package \"lib\": the package \"tarn://schema/lib/1\" has the same name: "
                                           "only versions of one family may share a name"));
  EXPECT_THAT(faultsOf(plain), ElementsAre("package \"lib\": the package \"tarn://schema/lib/1\" has the same name: "
                                           "only versions of one family may share a name"));
}

TEST_F(PackageBuilderFaults, AFamilyIsNotNamedLikeAUri) {
  lib.uri(u"urn:books").registerPackage();
  PackageBuilder books(u"books");
  books.family(u"urn:books", u"1");
  EXPECT_THAT(faultsOf(books), ElementsAre("package \"books\": the family \"urn:books\" cannot be told from the "
                                           "package of that URI"));
}

TEST_F(PackageBuilderFaults, TheKernelsPackageNameIsReserved) {
  PackageBuilder tarn(u"tarn");
  tarn.addPackage(u"kern").addPackage(u"meta").addClass(u"Class");
  EXPECT_THAT(faultsOf(tarn),
              ElementsAre("package \"tarn.kern.meta\": the name is reserved for the kernel's own types"));
}

TEST_F(PackageBuilderFaults, ABuilderIsUsedOnceAndWithItsOuterPackage) {
  PackageBuilder& inner = lib.addPackage(u"inner");
  PackageBuilder other(u"other");
  EXPECT_THAT(faultsOf({nullptr, &inner, &other, &other}),
              ElementsAre("a null builder is given",
                          "package \"inner\": it lies inside package \"lib\" and is registered with that",
                          "package \"other\": the builder is given twice"));
  lib.registerPackage();
  EXPECT_THAT(faultsOf(lib), ElementsAre("package \"lib\": the builder is spent, its package was registered before"));
}

}  // namespace
}  // namespace tarn::kern::meta
