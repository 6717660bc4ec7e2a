#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quillon/logging/Logger.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

using quillon::logging::internal::Logger;
using testing::ElementsAre;
using testing::IsEmpty;

class PackageBuilderTest : public MetaModelTest {
 protected:
  PackageBuilder lib{u"lib"};
};

TEST_F(PackageBuilderTest, APackageNeedsNothingButAName) {
  const Package package = lib.registerPackage();
  EXPECT_EQ(package->getName(), u"lib");
  EXPECT_EQ(package->getQualifiedName(), u"lib");
  EXPECT_EQ(package->getUri(), u"urn:lib");
  EXPECT_EQ(package->getFamily(), u"");
  EXPECT_EQ(package->getVersion(), u"");
  EXPECT_FALSE(package->getOwningPackage());
  EXPECT_THAT(package->getTypes(), IsEmpty());
  EXPECT_THAT(package->getPackages(), IsEmpty());
}

TEST_F(PackageBuilderTest, AFamilyAndVersionMakeTheUri) {
  const Package package = lib.uri(u"urn:forgotten").family(u"library", u"1.0").registerPackage();
  EXPECT_EQ(package->getUri(), MetaRegistry::schemaBaseUri() + u"library/1.0");
  EXPECT_EQ(package->getFamily(), u"library");
  EXPECT_EQ(package->getVersion(), u"1.0");
}

TEST_F(PackageBuilderTest, AUriOfTheSchemaBaseMakesFamilyAndVersion) {
  const Package package = lib.family(u"forgotten", u"1").uri(u"tarn://schema/library/1.0").registerPackage();
  EXPECT_EQ(package->getFamily(), u"library");
  EXPECT_EQ(package->getVersion(), u"1.0");
}

TEST_F(PackageBuilderTest, PackagesNest) {
  PackageBuilder& inner = lib.family(u"lib", u"1").addPackage(u"inner");
  inner.addPackage(u"core").addClass(u"Thing");
  lib.addClass(u"User").reference(u"thing", u"lib.inner.core.Thing");
  const Package package = lib.registerPackage();
  const Package core = package->getPackages().at(0)->getPackages().at(0);
  EXPECT_EQ(core->getQualifiedName(), u"lib.inner.core");
  EXPECT_EQ(core->getUri(), u"urn:lib.inner.core");
  EXPECT_EQ(core->getOwningPackage()->getOwningPackage(), package);
  const Class thing = find<Class>(u"lib.inner.core.Thing");
  ASSERT_TRUE(thing);
  EXPECT_EQ(thing->getOwningPackage(), core);
  EXPECT_EQ(find<Class>(u"lib.User")->getProperty(u"thing")->getType(), thing);
  EXPECT_THAT(registry().getPackages(), ElementsAre(package));
}

TEST_F(PackageBuilderTest, TypesComeByNameAndInTheOrderOfTheDefinition) {
  lib.addClass(u"Zebra");
  lib.addDataType(u"Mark");
  lib.addEnum(u"Ape");
  const Package package = lib.registerPackage();
  EXPECT_THAT(namesOf(package->getTypesInOrder()), ElementsAre(u"Zebra", u"Mark", u"Ape"));
  std::vector<ustring> byName;
  for (const auto& [name, type] : package->getTypes()) byName.push_back(name);
  EXPECT_THAT(byName, ElementsAre(u"Ape", u"Mark", u"Zebra"));
}

TEST_F(PackageBuilderTest, NamesResolveToStandardTypesFirstThenWithinThePackageThenAnywhere) {
  lib.addClass(u"String");
  lib.addClass(u"Book").attribute(u"title", u"String");
  lib.addClass(u"User").reference(u"string", u"lib.String");
  lib.registerPackage();
  EXPECT_EQ(find<Class>(u"lib.Book")->getProperty(u"title")->getType(), PrimitiveType(StandardTypes::stringMeta));
  EXPECT_EQ(find<Class>(u"lib.User")->getProperty(u"string")->getType(), registry().getType(u"lib.String"));
}

TEST_F(PackageBuilderTest, PackagesRegisteredTogetherMayReferToEachOther) {
  PackageBuilder people(u"people");
  auto& book = lib.addClass(u"Book");
  auto& person = people.addClass(u"Person");
  book.reference(u"author", u"people.Person").opposite(u"works");
  person.composite(u"works", book).many().opposite(u"author");
  const std::vector<Package> packages = PackageBuilder::registerAll({&lib, &people});
  EXPECT_THAT(namesOf(packages), ElementsAre(u"lib", u"people"));
  const Property author = find<Class>(u"lib.Book")->getProperty(u"author");
  const Property works = find<Class>(u"people.Person")->getProperty(u"works");
  EXPECT_EQ(author->getOpposite(), works);
  EXPECT_EQ(works->getOpposite(), author);
}

TEST_F(PackageBuilderTest, NoPackagesAtAllAreNoFault) { EXPECT_THAT(PackageBuilder::registerAll({}), IsEmpty()); }

// --- Properties.

TEST_F(PackageBuilderTest, APropertyIsSingleAndOptionalWithoutFurtherWords) {
  lib.addClass(u"Book").attribute(u"title", StandardTypes::stringMeta);
  lib.registerPackage();
  const Class book = find<Class>(u"lib.Book");
  const Property title = book->getProperty(u"title");
  EXPECT_EQ(title->getName(), u"title");
  EXPECT_EQ(title->getType(), PrimitiveType(StandardTypes::stringMeta));
  EXPECT_EQ(title->getOwner(), book);
  EXPECT_EQ(title->lower, 0U);
  EXPECT_EQ(title->upper, 1U);
  EXPECT_FALSE(title->isCollection());
  EXPECT_FALSE(title->isReference());
  EXPECT_FALSE(title->isComposite);
  EXPECT_FALSE(title->isOmitted);
  EXPECT_FALSE(title->isDerived);
  EXPECT_FALSE(title->isTransient);
  EXPECT_FALSE(title->isUnique);
  EXPECT_TRUE(title->isOrdered);
  EXPECT_FALSE(title->isReadOnly);
  EXPECT_FALSE(title->isGuarded);
  EXPECT_FALSE(title->usesGenericStorage);
  EXPECT_FALSE(title->defaultValue());
  EXPECT_FALSE(title->getOpposite());
  EXPECT_FALSE(title->getQualifiedBy());
  EXPECT_FALSE(title->getOrigin());
}

TEST_F(PackageBuilderTest, EachWordSetsItsAttribute) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"required", StandardTypes::stringMeta).required();
  book.attribute(u"many", StandardTypes::stringMeta).many();
  book.attribute(u"bounds", StandardTypes::stringMeta).bounds(2, 5);
  book.attribute(u"unique", StandardTypes::stringMeta).many().unique();
  book.attribute(u"unordered", StandardTypes::stringMeta).many().ordered(false);
  book.attribute(u"derived", StandardTypes::stringMeta).derived();
  book.attribute(u"transient", StandardTypes::stringMeta).transient();
  book.attribute(u"readOnly", StandardTypes::stringMeta).readOnly();
  book.attribute(u"guarded", StandardTypes::stringMeta).guarded();
  book.attribute(u"generic", StandardTypes::stringMeta).many().genericStorage();
  book.composite(u"parts", u"Book").many();
  book.reference(u"others", u"Book").many();
  book.reference(u"list", u"Book").many().unique(false);
  lib.registerPackage();
  const Class made = find<Class>(u"lib.Book");
  const auto property = [&](const char16_t* name) { return made->getProperty(name); };
  EXPECT_EQ(property(u"required")->lower, 1U);
  EXPECT_EQ(property(u"required")->upper, 1U);
  EXPECT_EQ(property(u"many")->lower, 0U);
  EXPECT_EQ(property(u"many")->upper, Property::Impl::kUnlimited);
  EXPECT_FALSE(property(u"many")->isUnique);
  EXPECT_EQ(property(u"bounds")->lower, 2U);
  EXPECT_EQ(property(u"bounds")->upper, 5U);
  EXPECT_TRUE(property(u"bounds")->isCollection());
  EXPECT_TRUE(property(u"unique")->isUnique);
  EXPECT_FALSE(property(u"unordered")->isOrdered);
  EXPECT_TRUE(property(u"derived")->isDerived);
  EXPECT_TRUE(property(u"derived")->isOmitted);
  EXPECT_FALSE(property(u"derived")->isTransient);
  EXPECT_TRUE(property(u"transient")->isTransient);
  EXPECT_TRUE(property(u"transient")->isOmitted);
  EXPECT_TRUE(property(u"readOnly")->isReadOnly);
  EXPECT_FALSE(property(u"readOnly")->isOmitted);
  EXPECT_TRUE(property(u"guarded")->isGuarded);
  EXPECT_TRUE(property(u"generic")->usesGenericStorage);
  EXPECT_TRUE(property(u"parts")->isComposite);
  EXPECT_TRUE(property(u"parts")->isUnique);
  EXPECT_TRUE(property(u"parts")->isReference());
  EXPECT_FALSE(property(u"others")->isComposite);
  EXPECT_TRUE(property(u"others")->isUnique);
  EXPECT_FALSE(property(u"list")->isUnique);
}

TEST_F(PackageBuilderTest, TheUpperBoundZeroIsKeptAndIsSingle) {
  lib.addClass(u"Book").attribute(u"title", StandardTypes::stringMeta).bounds(0, 0);
  lib.registerPackage();
  const Property title = find<Class>(u"lib.Book")->getProperty(u"title");
  EXPECT_EQ(title->upper, 0U);
  EXPECT_FALSE(title->isCollection());
}

TEST_F(PackageBuilderTest, DefaultsAreKept) {
  auto& genre = lib.addEnum(u"Genre").literal(u"novel", 4).literal(u"essay", 5);
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta).required().defaultsTo(u"untitled");
  book.attribute(u"pages", StandardTypes::integerMeta).defaultsTo(100);
  book.attribute(u"copies", StandardTypes::integerMeta).defaultsTo(0);
  book.attribute(u"isLent", StandardTypes::booleanMeta).defaultsTo(false);
  book.attribute(u"author", StandardTypes::stringMeta).defaultsTo(ustring(u"unknown"));
  book.attribute(u"file", StandardTypes::stdstringMeta).defaultsTo(std::string("none"));
  book.attribute(u"genre", genre).required().defaultsTo(u"essay");
  book.attribute(u"rating", StandardTypes::realMeta).defaultsTo(u"text").defaultsTo(0.5);
  lib.registerPackage();
  const Class made = find<Class>(u"lib.Book");
  EXPECT_EQ(*made->getProperty(u"title")->defaultValue(), Value(u"untitled"));
  EXPECT_EQ(*made->getProperty(u"pages")->defaultValue(), Value(std::int32_t{100}));
  EXPECT_EQ(*made->getProperty(u"copies")->defaultValue(), Value(std::int32_t{0}));
  EXPECT_EQ(*made->getProperty(u"isLent")->defaultValue(), Value(false));
  EXPECT_EQ(*made->getProperty(u"author")->defaultValue(), Value(u"unknown"));
  EXPECT_EQ(*made->getProperty(u"file")->defaultValue(), Value(std::string("none")));
  EXPECT_EQ(*made->getProperty(u"rating")->defaultValue(), Value(0.5));
  const Value essay = *made->getProperty(u"genre")->defaultValue();
  EXPECT_EQ(essay.getType(), registry().getType(u"lib.Genre"));
  EXPECT_EQ(essay.get<std::int64_t>(), 5);
}

TEST_F(PackageBuilderTest, DefaultsOfRegisteredEnumsAndDataTypesAreGivenAsValues) {
  PackageBuilder types(u"types");
  types.addEnum(u"Genre").literal(u"novel", 4);
  types.addDataType(u"Size").attribute(u"width", StandardTypes::integerMeta).required().defaultsTo(std::int32_t{7});
  types.registerPackage();
  const Enum genre = find<Enum>(u"types.Genre");
  const DataType size = find<DataType>(u"types.Size");
  auto& book = lib.addClass(u"Book");
  book.attribute(u"genre", genre).defaultsTo(Value::createEnumValue(genre->getLiteral(4)));
  book.attribute(u"size", size).required().defaultsTo(ReflectiveDataType(size));
  lib.registerPackage();
  EXPECT_EQ(find<Class>(u"lib.Book")->getProperty(u"genre")->defaultValue()->get<std::int64_t>(), 4);
  const Value made = *find<Class>(u"lib.Book")->getProperty(u"size")->defaultValue();
  EXPECT_EQ(made.toReflectiveDataType().get<std::int32_t>(u"width"), 7);
}

TEST_F(PackageBuilderTest, QualifiersMayBeInherited) {
  auto& named = lib.addClass(u"Named");
  named.attribute(u"name", StandardTypes::stringMeta);
  lib.addClass(u"Book").extends(named);
  lib.addClass(u"Shelf").composite(u"books", u"Book").many().qualifiedBy(u"name");
  lib.registerPackage();
  EXPECT_EQ(find<Class>(u"lib.Shelf")->getProperty(u"books")->getQualifiedBy(),
            find<Class>(u"lib.Named")->getProperty(u"name"));
}

TEST_F(PackageBuilderTest, AnnotationsAreKeptOnEverythingThatTakesThem) {
  const auto note = [](const char16_t* source) { return Annotation{source, {{u"key", u"value"}}}; };
  lib.annotate(note(u"package"));
  lib.addClass(u"C").annotate(note(u"class")).attribute(u"p", StandardTypes::stringMeta).annotate(note(u"property"));
  lib.addDataType(u"D").annotate(note(u"data type"));
  lib.addEnum(u"E").annotate(note(u"enum")).annotate(note(u"second"));
  const Package package = lib.registerPackage();
  EXPECT_THAT(package->getAnnotations(), ElementsAre(note(u"package")));
  EXPECT_THAT(registry().getType(u"lib.C")->getAnnotations(), ElementsAre(note(u"class")));
  EXPECT_THAT(find<Class>(u"lib.C")->getProperty(u"p")->getAnnotations(), ElementsAre(note(u"property")));
  EXPECT_THAT(registry().getType(u"lib.D")->getAnnotations(), ElementsAre(note(u"data type")));
  EXPECT_THAT(registry().getType(u"lib.E")->getAnnotations(), ElementsAre(note(u"enum"), note(u"second")));
}

// --- Custom primitive types.

struct Colour {
  int red = 0;
  friend bool operator==(const Colour&, const Colour&) = default;
};

TEST_F(PackageBuilderTest, ACustomPrimitiveTypeHasATextForm) {
  lib.addPrimitive<Colour>(
         u"Colour", [](const Colour& colour) { return ustring(static_cast<std::size_t>(colour.red), u'r'); },
         [](const ustring& text) { return Colour{static_cast<int>(text.size())}; })
      .annotate({u"note", {}});
  lib.addClass(u"Wall").attribute(u"colour", u"Colour").required();
  lib.registerPackage();
  const PrimitiveType colour = find<PrimitiveType>(u"lib.Colour");
  ASSERT_TRUE(colour);
  EXPECT_FALSE(colour->isStandard());
  EXPECT_EQ(colour->storedType(), std::type_index(typeid(Colour)));
  EXPECT_EQ(colour->getAnnotations().size(), 1U);
  const Value value = colour->fromText(u"rrr");
  EXPECT_EQ(value.getType(), colour);
  EXPECT_EQ(value.get<Colour>(), Colour{3});
  EXPECT_EQ(colour->toText(value), u"rrr");
}

TEST_F(PackageBuilderTest, ADefaultOfACustomTypeIsGivenAsText) {
  lib.addPrimitive<Colour>(
      u"Colour", [](const Colour&) { return ustring(); },
      [](const ustring& text) { return Colour{static_cast<int>(text.size())}; });
  lib.addClass(u"Wall").attribute(u"colour", u"Colour").required().defaultsTo(u"rrr");
  lib.registerPackage();
  const boost::optional<Value>& value = find<Class>(u"lib.Wall")->getProperty(u"colour")->defaultValue();
  ASSERT_TRUE(value);
  EXPECT_EQ(value->getType(), find<PrimitiveType>(u"lib.Colour"));
  EXPECT_EQ(value->get<Colour>(), Colour{3});
}

TEST_F(PackageBuilderTest, OnlyPresentValuesOfTheCustomTypeHaveATextForm) {
  lib.addPrimitive<Colour>(
      u"Colour", [](const Colour&) { return ustring(); }, [](const ustring&) { return Colour(); });
  lib.registerPackage();
  const PrimitiveType colour = find<PrimitiveType>(u"lib.Colour");
  EXPECT_ANY_THROW(static_cast<void>(colour->toText(Value(u"text"))));
  EXPECT_ANY_THROW(static_cast<void>(colour->toText(Value(ValueMeta(colour, ValueFlags::Collection), Colour()))));
  EXPECT_THROW(static_cast<void>(colour->toText(Value::createEmptyValue(colour, false))), std::logic_error);
  EXPECT_THROW(static_cast<void>(StandardTypes::stringMeta->toText(Value(u"text"))), std::logic_error);
  EXPECT_THROW(static_cast<void>(StandardTypes::stringMeta->fromText(u"text")), std::logic_error);
}

// --- Warnings.

class PackageBuilderWarnings : public PackageBuilderTest {
 protected:
  void SetUp() override {
    fLevel = Logger::getLevel();
    Logger::setLevel(Logger::kDebugLevel);
    Logger::setSink([this](unsigned, int, std::string_view text) { fLog += text; });
  }
  void TearDown() override {
    Logger::setSink({});
    Logger::setLevel(fLevel);
  }

  std::string fLog;
  int fLevel = 0;
};

TEST_F(PackageBuilderWarnings, OptionalSingleValuesThatTheBinaryFormatCannotHold) {
  lib.addDataType(u"Size").attribute(u"extra", StandardTypes::stringToStringMapMeta);
  lib.addPrimitive<Colour>(
      u"Colour", [](const Colour&) { return ustring(); }, [](const ustring&) { return Colour(); });
  auto& book = lib.addClass(u"Book");
  book.attribute(u"size", u"Size");
  book.attribute(u"notes", StandardTypes::stringToStringMapMeta);
  book.attribute(u"colour", u"Colour");
  book.attribute(u"requiredSize", u"Size").required();
  book.attribute(u"sizes", u"Size").many();
  book.attribute(u"cached", u"Size").transient();
  book.attribute(u"computed", u"Colour").derived();
  lib.registerPackage();
  const auto* const end = ": make it required(), or derived() or transient()";
  EXPECT_THAT(lib.warnings(),
              ElementsAre("data type \"lib.Size\", property \"extra\": the binary format cannot hold an optional "
                          "single value of primitive type \"StringToStringMap\"" +
                              std::string(end),
                          "class \"lib.Book\", property \"size\": the binary format cannot hold an optional single "
                          "value of data type \"lib.Size\"" +
                              std::string(end),
                          "class \"lib.Book\", property \"notes\": the binary format cannot hold an optional single "
                          "value of primitive type \"StringToStringMap\"" +
                              std::string(end),
                          "class \"lib.Book\", property \"colour\": the binary format cannot hold an optional single "
                          "value of primitive type \"lib.Colour\"" +
                              std::string(end)));
}

TEST_F(PackageBuilderWarnings, QualifiedReferencesThatOwnNothing) {
  auto& book = lib.addClass(u"Book");
  book.attribute(u"isbn", StandardTypes::stringMeta);
  book.reference(u"others", u"Book").many().qualifiedBy(u"isbn");
  book.composite(u"parts", u"Book").many().qualifiedBy(u"isbn");
  book.reference(u"seen", u"Book").many().qualifiedBy(u"isbn").transient();
  lib.registerPackage();
  EXPECT_THAT(lib.warnings(),
              ElementsAre("class \"lib.Book\", property \"others\": the binary format cannot hold a qualified "
                          "reference that is not composite: drop qualifiedBy(), or make it derived() or transient()"));
}

TEST_F(PackageBuilderWarnings, OppositesOfWhichNeitherOwnsTheOtherAreToldOnce) {
  auto& book = lib.addClass(u"Book");
  book.reference(u"authors", u"Person").many().opposite(u"books");
  book.reference(u"lender", u"Person").opposite(u"lent").transient();
  auto& person = lib.addClass(u"Person");
  person.reference(u"books", u"Book").many().opposite(u"authors");
  person.reference(u"lent", u"Book").many().opposite(u"lender");
  person.composite(u"children", u"Person").many().opposite(u"parent");
  person.reference(u"parent", u"Person").opposite(u"children");
  lib.registerPackage();
  const auto* const end = ", as neither is composite: make one of them composite(), or both derived() or transient()";
  EXPECT_THAT(lib.warnings(),
              ElementsAre("class \"lib.Book\", property \"authors\": the binary format cannot hold it and its opposite "
                          "\"books\" of class \"lib.Person\"" +
                              std::string(end),
                          "class \"lib.Person\", property \"lent\": the binary format cannot hold it and its opposite "
                          "\"lender\" of class \"lib.Book\"" +
                              std::string(end)));
}

TEST_F(PackageBuilderWarnings, AreToldOnceForEachOfTwoPackagesRegisteredTogether) {
  PackageBuilder other(u"other");
  lib.addClass(u"Book").attribute(u"notes", StandardTypes::stringToStringMapMeta);
  other.addClass(u"Map").attribute(u"legend", StandardTypes::stringToStringMapMeta);
  PackageBuilder::registerAll({&lib, &other});
  ASSERT_EQ(lib.warnings().size(), 1U);
  ASSERT_EQ(other.warnings().size(), 1U);
  EXPECT_THAT(lib.warnings().front(), testing::StartsWith("class \"lib.Book\", property \"notes\": "));
  EXPECT_THAT(other.warnings().front(), testing::StartsWith("class \"other.Map\", property \"legend\": "));
}

TEST_F(PackageBuilderWarnings, AreLoggedAndKnowTheirPackage) {
  PackageBuilder& inner = lib.addPackage(u"inner");
  inner.addClass(u"Book").attribute(u"notes", StandardTypes::stringToStringMapMeta);
  PackageBuilder& quiet = lib.addPackage(u"quiet");
  EXPECT_THAT(lib.warnings(), IsEmpty());
  lib.registerPackage();
  ASSERT_EQ(inner.warnings().size(), 1U);
  EXPECT_EQ(lib.warnings(), inner.warnings());
  EXPECT_THAT(quiet.warnings(), IsEmpty());
  EXPECT_EQ(fLog, "Warning: " + inner.warnings().front() + "\n");
}

TEST_F(PackageBuilderWarnings, ARefusedPackageHasNone) {
  lib.addClass(u"Book").extends(u"Nobody").attribute(u"notes", StandardTypes::stringToStringMapMeta);
  EXPECT_THROW(lib.registerPackage(), MetaModelError);
  EXPECT_THAT(lib.warnings(), IsEmpty());
  EXPECT_EQ(fLog, "");
}

TEST_F(PackageBuilderTest, TakesTimeInProportionToTheNumberOfPackages) {
  const auto secondsFor = [&](int count) {
    registry().reset();
    PackageBuilder outermost(u"p");
    PackageBuilder* deepest = &outermost;
    for (int i = 0; i < count; ++i) {
      outermost.addPackage(u"beside" + ustring(1, static_cast<char16_t>(0x4E00 + i)));
      if (i % 10 == 0) deepest = &deepest->addPackage(u"d");
    }
    const auto begin = std::chrono::steady_clock::now();
    outermost.registerPackage();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  EXPECT_LT(secondsFor(15'000), 10.0);  // where each is compared with all others it takes minutes
}

}  // namespace
}  // namespace tarn::kern::meta
