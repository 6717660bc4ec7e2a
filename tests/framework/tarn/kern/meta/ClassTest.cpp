#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelElement.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ClassTest : public MetaModelTest {
 protected:
  void registerLibrary() {
    lib.registerPackage();
    object = ModelElement::metaClass();
  }
  static Class named(const char16_t* name) { return find<Class>(u"lib." + ustring(name)); }

  PackageBuilder lib{u"lib"};
  Class object;
};

TEST_F(ClassTest, WithoutASuperclassAClassDerivesFromTheRoot) {
  lib.addClass(u"Book");
  registerLibrary();
  EXPECT_EQ(named(u"Book")->getSuperclass(), object);
  EXPECT_FALSE(object->getSuperclass());
}

TEST_F(ClassTest, TheRootMayBeNamedAsTheSuperclass) {
  PackageBuilder builder(u"rooted");
  builder.addClass(u"Book").extends(ModelElement::metaClass());
  builder.registerPackage();
  EXPECT_EQ(find<Class>(u"rooted.Book")->getSuperclass(), ModelElement::metaClass());
}

TEST_F(ClassTest, AWalkUpTheSuperclassesEndsAtTheRoot) {
  lib.addClass(u"Novel").extends(u"Book");
  lib.addClass(u"Book").extends(u"Medium");
  lib.addClass(u"Medium");
  registerLibrary();
  std::vector<ustring> chain;
  for (Class type = named(u"Novel"); type; type = type->getSuperclass()) chain.push_back(type->getQualifiedName());
  EXPECT_THAT(chain, ElementsAre(u"lib.Novel", u"lib.Book", u"lib.Medium", u"tarn.kern.meta.ModelElement"));
}

TEST_F(ClassTest, ConformsToItselfAndAllItDerivesFrom) {
  lib.addClass(u"Medium");
  lib.addClass(u"Lendable");
  lib.addClass(u"Insurable").extends(u"Lendable");
  lib.addClass(u"Book").extends(u"Medium").alsoConformsTo(u"Insurable");
  lib.addClass(u"Novel").extends(u"Book");
  lib.addEnum(u"Genre");
  registerLibrary();
  for (const char16_t* super : {u"Novel", u"Book", u"Medium", u"Insurable", u"Lendable"}) {
    EXPECT_TRUE(named(u"Novel")->conformsTo(named(super)));
  }
  EXPECT_TRUE(named(u"Novel")->conformsTo(object));
  EXPECT_TRUE(object->conformsTo(object));
  EXPECT_FALSE(object->conformsTo(named(u"Novel")));
  EXPECT_FALSE(named(u"Book")->conformsTo(named(u"Novel")));
  EXPECT_FALSE(named(u"Medium")->conformsTo(named(u"Lendable")));
  EXPECT_FALSE(named(u"Novel")->conformsTo(registry().getType(u"lib.Genre")));
  EXPECT_FALSE(named(u"Novel")->conformsTo(nullptr));
  EXPECT_FALSE(named(u"Novel")->conformsTo(Class::metaClass()));
}

TEST_F(ClassTest, OtherTypesConformToThemselvesAlone) {
  lib.addEnum(u"Genre");
  lib.addDataType(u"Size");
  registerLibrary();
  const Type genre = registry().getType(u"lib.Genre");
  const Type size = registry().getType(u"lib.Size");
  EXPECT_TRUE(genre->conformsTo(genre));
  EXPECT_TRUE(size->conformsTo(size));
  EXPECT_FALSE(genre->conformsTo(size));
  EXPECT_FALSE(size->conformsTo(object));
}

TEST_F(ClassTest, AllPropertiesAreInheritedOnesFirstEachTypesInTheOrderOfTheDefinition) {
  auto& book = lib.addClass(u"Book").extends(u"Medium");
  book.attribute(u"title", StandardTypes::stringMeta);
  book.reference(u"author", u"Book");
  book.attribute(u"isbn", StandardTypes::stringMeta);
  auto& medium = lib.addClass(u"Medium");
  medium.attribute(u"shelf", StandardTypes::integerMeta);
  medium.composite(u"copies", u"Book").many();
  registerLibrary();
  const Class made = named(u"Book");
  EXPECT_THAT(namesOf(made->getAllProperties()), ElementsAre(u"shelf", u"copies", u"title", u"author", u"isbn"));
  EXPECT_THAT(namesOf(made->getAllPrimitiveProperties()), ElementsAre(u"shelf", u"title", u"isbn"));
  EXPECT_THAT(namesOf(made->getAllClassProperties()), ElementsAre(u"copies", u"author"));
  EXPECT_THAT(namesOf(made->getOwnedAttributesInOrder()), ElementsAre(u"title", u"author", u"isbn"));
  std::vector<ustring> owned;
  for (const auto& [name, property] : made->getOwnedAttributes()) owned.push_back(name);
  EXPECT_THAT(owned, ElementsAre(u"author", u"isbn", u"title"));
}

TEST_F(ClassTest, OwnedAttributesAreOrderedByCodeUnits) {
  auto& book = lib.addClass(u"Book");
  for (const char16_t* name : {u"\U0001F4D6", u"\uFF21", u"b", u"B", u"a"}) {
    book.attribute(name, StandardTypes::stringMeta);
  }
  registerLibrary();
  std::vector<ustring> owned;
  for (const auto& [name, property] : named(u"Book")->getOwnedAttributes()) owned.push_back(name);
  EXPECT_THAT(owned, ElementsAre(u"B", u"a", u"b", u"\U0001F4D6", u"\uFF21"));  // the surrogate D83D before FF21
}

TEST_F(ClassTest, PropertiesAreFoundByNameInheritedOnesToo) {
  lib.addClass(u"Medium").attribute(u"shelf", StandardTypes::integerMeta);
  lib.addClass(u"Book").extends(u"Medium").attribute(u"title", StandardTypes::stringMeta);
  registerLibrary();
  EXPECT_EQ(named(u"Book")->getProperty(u"shelf"), named(u"Medium")->getProperty(u"shelf"));
  EXPECT_EQ(named(u"Book")->getProperty(u"title")->getOwner(), named(u"Book"));
  EXPECT_FALSE(named(u"Medium")->getProperty(u"title"));
  EXPECT_FALSE(named(u"Book")->getProperty(u""));
}

TEST_F(ClassTest, AnInheritedPropertyKeepsItsIndex) {
  lib.addClass(u"Medium").attribute(u"shelf", StandardTypes::integerMeta);
  lib.addClass(u"Book").extends(u"Medium").attribute(u"title", StandardTypes::stringMeta);
  lib.addClass(u"Novel").extends(u"Book").attribute(u"plot", StandardTypes::stringMeta);
  registerLibrary();
  for (const char16_t* type : {u"Medium", u"Book", u"Novel"}) {
    const std::vector<Property>& all = named(type)->getAllProperties();
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i]->slotIndex(), i);
  }
}

TEST_F(ClassTest, AbstractClassesSaySo) {
  lib.addClass(u"Medium").makeAbstract();
  lib.addClass(u"Book").extends(u"Medium");
  registerLibrary();
  EXPECT_TRUE(named(u"Medium")->isAbstract());
  EXPECT_FALSE(named(u"Book")->isAbstract());
  EXPECT_TRUE(object->isAbstract());
}

// --- Further supertypes.

TEST_F(ClassTest, PropertiesOfFurtherSupertypesAreCopiedInBeforeTheClasssOwn) {
  lib.addClass(u"Lendable").attribute(u"borrower", StandardTypes::stringMeta).required().defaultsTo(u"nobody");
  lib.addClass(u"Medium").attribute(u"shelf", StandardTypes::integerMeta);
  lib.addClass(u"Book").extends(u"Medium").alsoConformsTo(u"Lendable").attribute(u"title", StandardTypes::stringMeta);
  registerLibrary();
  const Class book = named(u"Book");
  EXPECT_THAT(book->getFurtherSupertypes(), ElementsAre(named(u"Lendable")));
  EXPECT_THAT(namesOf(book->getAllProperties()), ElementsAre(u"shelf", u"borrower", u"title"));
  EXPECT_THAT(namesOf(book->getOwnedAttributesInOrder()), ElementsAre(u"borrower", u"title"));
  const Property copy = book->getProperty(u"borrower");
  const Property origin = named(u"Lendable")->getProperty(u"borrower");
  EXPECT_NE(copy, origin);
  EXPECT_EQ(copy->getOrigin(), origin);
  EXPECT_EQ(copy->getOwner(), book);
  EXPECT_EQ(copy->getType(), origin->getType());
  EXPECT_EQ(copy->lower, 1U);
  EXPECT_EQ(*copy->defaultValue(), Value(u"nobody"));
  EXPECT_FALSE(origin->getOrigin());
}

TEST_F(ClassTest, EachPropertyIsCopiedOnceHoweverManyWaysLeadToIt) {
  lib.addClass(u"Named").attribute(u"name", StandardTypes::stringMeta);
  lib.addClass(u"A").extends(u"Named").attribute(u"a", StandardTypes::stringMeta);
  lib.addClass(u"B").alsoConformsTo(u"Named").attribute(u"b", StandardTypes::stringMeta);
  lib.addClass(u"Both").alsoConformsTo(u"A").alsoConformsTo(u"B").alsoConformsTo(u"A");
  lib.addClass(u"Under").extends(u"B").alsoConformsTo(u"Named").alsoConformsTo(u"Both");
  lib.addClass(u"Direct").extends(u"A").alsoConformsTo(u"B");
  registerLibrary();
  const Property name = named(u"Named")->getProperty(u"name");
  EXPECT_THAT(namesOf(named(u"Both")->getAllProperties()), ElementsAre(u"name", u"a", u"b"));
  EXPECT_THAT(named(u"Both")->getFurtherSupertypes(), ElementsAre(named(u"A"), named(u"B")));
  EXPECT_EQ(named(u"Both")->getProperty(u"name")->getOrigin(), name);
  EXPECT_EQ(named(u"Both")->getProperty(u"b")->getOrigin(), named(u"B")->getProperty(u"b"));
  EXPECT_THAT(namesOf(named(u"Under")->getAllProperties()), ElementsAre(u"name", u"b", u"a"));
  EXPECT_EQ(named(u"Under")->getProperty(u"name"), named(u"B")->getProperty(u"name"));
  EXPECT_EQ(named(u"Under")->getProperty(u"a")->getOrigin(), named(u"A")->getProperty(u"a"));
  EXPECT_THAT(namesOf(named(u"Direct")->getAllProperties()), ElementsAre(u"name", u"a", u"b"));
  EXPECT_EQ(named(u"Direct")->getProperty(u"name"), name);
}

TEST_F(ClassTest, ACopyHasTheOppositeAndQualifierOfItsOrigin) {
  auto& lendable = lib.addClass(u"Lendable");
  lendable.reference(u"desk", u"Desk").opposite(u"items");
  lendable.composite(u"marks", u"Mark").many().qualifiedBy(u"key");
  lib.addClass(u"Desk").composite(u"items", u"Lendable").many().opposite(u"desk");
  lib.addClass(u"Mark").attribute(u"key", StandardTypes::stringMeta);
  lib.addClass(u"Book").alsoConformsTo(u"Lendable");
  registerLibrary();
  const Property items = named(u"Desk")->getProperty(u"items");
  EXPECT_EQ(named(u"Book")->getProperty(u"desk")->getOpposite(), items);
  EXPECT_EQ(items->getOpposite(), named(u"Lendable")->getProperty(u"desk"));
  const Property marks = named(u"Book")->getProperty(u"marks");
  EXPECT_TRUE(marks->isComposite);
  EXPECT_TRUE(marks->isUnique);
  EXPECT_EQ(marks->getQualifiedBy(), named(u"Mark")->getProperty(u"key"));
}

TEST_F(ClassTest, SupertypesMayBeRegisteredBefore) {
  PackageBuilder base(u"base");
  base.addClass(u"Named").attribute(u"name", StandardTypes::stringMeta);
  base.addClass(u"Owned").attribute(u"owner", StandardTypes::stringMeta);
  base.registerPackage();
  lib.addClass(u"Book").extends(u"base.Named").alsoConformsTo(registry().getType(u"base.Owned"));
  registerLibrary();
  EXPECT_THAT(namesOf(named(u"Book")->getAllProperties()), ElementsAre(u"name", u"owner"));
  EXPECT_TRUE(named(u"Book")->conformsTo(registry().getType(u"base.Owned")));
}

// --- Data types.

TEST_F(ClassTest, DataTypesHaveAttributesInTheSameWay) {
  auto& size = lib.addDataType(u"Size");
  size.attribute(u"width", StandardTypes::integerMeta).required();
  size.attribute(u"book", u"Book");
  size.attribute(u"depth", StandardTypes::integerMeta).required();
  lib.addClass(u"Book");
  registerLibrary();
  const DataType made = find<DataType>(u"lib.Size");
  EXPECT_THAT(namesOf(made->getAllProperties()), ElementsAre(u"width", u"book", u"depth"));
  EXPECT_THAT(namesOf(made->getOwnedAttributesInOrder()), ElementsAre(u"width", u"book", u"depth"));
  EXPECT_EQ(made->getProperty(u"width")->getOwner(), made);
  EXPECT_TRUE(made->getProperty(u"book")->isReference());
  EXPECT_FALSE(made->getProperty(u"height"));
}

}  // namespace
}  // namespace tarn::kern::meta
