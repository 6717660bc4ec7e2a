#include <type_traits>
#include <unordered_set>
#include <utility>

#include <gtest/gtest.h>

#include <tarn/kern/ModelElement.h>

#include "MetaModelFixture.h"

namespace tarn::kern::meta {
namespace {

template <class Handle>
class HandlesTest : public testing::Test {};

using AllHandles = testing::Types<NamedElement, Package, EnumLiteral, TypedElement, Property, Type, StructuredType,
                                  Class, DataType, PrimitiveType, Enum>;
TYPED_TEST_SUITE(HandlesTest, AllHandles);

TYPED_TEST(HandlesTest, ANullHandleTestsFalseAndCopyingItIsHarmless) {
  TypeParam null;
  EXPECT_FALSE(null);
  EXPECT_FALSE(TypeParam(nullptr));
  TypeParam copy = null;
  copy = null;
  const TypeParam moved = std::move(copy);
  EXPECT_FALSE(moved);
  EXPECT_EQ(moved.get(), nullptr);
  EXPECT_EQ(moved, null);
  EXPECT_EQ(std::hash<TypeParam>()(moved), std::hash<TypeParam>()(null));
}

class MetaHandles : public MetaModelTest {
 protected:
  MetaHandles() {
    PackageBuilder lib(u"lib");
    lib.addClass(u"Book").attribute(u"title", StandardTypes::stringMeta);
    lib.addClass(u"Twin").attribute(u"title", StandardTypes::stringMeta);
    lib.addDataType(u"Size");
    lib.addEnum(u"Genre").literal(u"novel", 0);
    package = lib.registerPackage();
    book = find<Class>(u"lib.Book");
  }

  Package package;
  Class book;
};

TEST_F(MetaHandles, AMovedFromHandleIsNullAndACopyNamesTheSameRecord) {
  Class source = book;
  EXPECT_EQ(source, book);
  const Class target = std::move(source);
  EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): what moving leaves behind is the point
  EXPECT_EQ(target, book);
}

TEST_F(MetaHandles, EqualityIsThatOfTheRecord) {
  const Property title = book->getProperty(u"title");
  EXPECT_EQ(title, book->getProperty(u"title"));
  EXPECT_NE(title, find<Class>(u"lib.Twin")->getProperty(u"title"));
  const std::unordered_set<Type> types{book, find<Class>(u"lib.Twin"), registry().getType(u"lib.Book")};
  EXPECT_EQ(types.size(), 2U);
}

TEST_F(MetaHandles, AClassMayStandForATypeAndIsNarrowedBack) {
  const Type type = book;
  EXPECT_EQ(narrow<Class>(type), book);
  EXPECT_EQ(narrow<StructuredType>(type), book);
  EXPECT_EQ(narrow<NamedElement>(type), book);
  EXPECT_FALSE(narrow<DataType>(type));
  EXPECT_FALSE(narrow<Enum>(type));
  EXPECT_FALSE(narrow<PrimitiveType>(type));
  EXPECT_FALSE(narrow<Property>(type));
  EXPECT_FALSE(narrow<Package>(type));
  EXPECT_FALSE(narrow<Class>(Type()));
  EXPECT_NE(dynamic_cast<Class::Impl*>(type.get()), nullptr);
}

TEST_F(MetaHandles, EveryHandleIsNarrowedByTheKindOfItsRecord) {
  const NamedElement type = book;
  const NamedElement title = book->getProperty(u"title");
  EXPECT_EQ(narrow<Type>(type), book);
  EXPECT_FALSE(narrow<Type>(title));
  EXPECT_EQ(narrow<TypedElement>(title)->getType(), StandardTypes::stringMeta);
  EXPECT_FALSE(narrow<TypedElement>(type));
  EXPECT_EQ(type->getName(), u"Book");
  EXPECT_EQ(title->getName(), u"title");
}

TEST_F(MetaHandles, AnnotationsAreEqualByAllTheyHold) {
  const Annotation note{u"tool", {{u"key", u"value"}}};
  EXPECT_EQ(note, (Annotation{u"tool", {{u"key", u"value"}}}));
  EXPECT_NE(note, (Annotation{u"loot", {{u"key", u"value"}}}));
  EXPECT_NE(note, (Annotation{u"tool", {}}));
}

TEST_F(MetaHandles, EveryElementOfTheMetaModelHasAMetaClass) {
  EXPECT_EQ(book->getMetaClass(), Class::metaClass());
  EXPECT_EQ(find<DataType>(u"lib.Size")->getMetaClass(), DataType::metaClass());
  const Enum genre = find<Enum>(u"lib.Genre");
  EXPECT_EQ(genre->getMetaClass(), Enum::metaClass());
  EXPECT_EQ(StandardTypes::stringMeta->getMetaClass(), PrimitiveType::metaClass());
  EXPECT_EQ(Class::metaClass()->getMetaClass(), Class::metaClass());
  EXPECT_EQ(ModelElement::metaClass()->getMetaClass(), Class::metaClass());
  EXPECT_EQ(package->getMetaClass()->getName(), u"Package");
  EXPECT_EQ(book->getProperty(u"title")->getMetaClass()->getName(), u"Property");
  EXPECT_EQ(genre->getLiteral(0)->getMetaClass()->getName(), u"EnumLiteral");
}

TEST_F(MetaHandles, TheMetaClassTellsClassesFromOtherTypes) {
  const auto isClass = [](const Type& type) { return type->getMetaClass()->conformsTo(Class::metaClass()); };
  EXPECT_TRUE(isClass(book));
  EXPECT_TRUE(isClass(Class::metaClass()));
  EXPECT_FALSE(isClass(registry().getType(u"lib.Size")));
  EXPECT_FALSE(isClass(registry().getType(u"lib.Genre")));
  EXPECT_FALSE(isClass(PrimitiveType(StandardTypes::uuidMeta)));
}

TEST_F(MetaHandles, TheMetaModelsOwnClassesHaveNoAttributesAndNoInstances) {
  for (const char16_t* name :
       {u"ModelElement", u"NamedElement", u"Package", u"EnumLiteral", u"TypedElement", u"Property", u"Type",
        u"StructuredType", u"Class", u"DataType", u"PrimitiveType", u"Enum"}) {
    const Class type = find<Class>(u"tarn.kern.meta." + ustring(name));
    ASSERT_TRUE(type);
    EXPECT_TRUE(type->isAbstract());
    EXPECT_TRUE(type->getAllProperties().empty());
    EXPECT_TRUE(type->conformsTo(ModelElement::metaClass()));
  }
  EXPECT_TRUE(Class::metaClass()->conformsTo(find<Class>(u"tarn.kern.meta.StructuredType")));
  EXPECT_TRUE(DataType::metaClass()->conformsTo(find<Class>(u"tarn.kern.meta.Type")));
  EXPECT_FALSE(DataType::metaClass()->conformsTo(Class::metaClass()));
}

TEST_F(MetaHandles, OppositeAndQualifierAreReferencesToNullHandlesWhereThereIsNone) {
  const Property title = book->getProperty(u"title");
  static_assert(std::is_same_v<decltype(title->getOpposite()), const Property&>);
  static_assert(std::is_same_v<decltype(title->getQualifiedBy()), const Property&>);
  EXPECT_FALSE(title->getOpposite());
  EXPECT_FALSE(title->getQualifiedBy());
}

}  // namespace
}  // namespace tarn::kern::meta
