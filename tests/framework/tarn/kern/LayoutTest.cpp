#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>

#include "meta/MetaModelFixture.h"
#include "tarn/kern/Layout.h"

namespace tarn::kern::internal {
namespace {

using meta::Class;
using meta::DataType;
using meta::PackageBuilder;
using meta::Property;
using meta::StandardTypes;
using testing::ElementsAre;
using testing::IsEmpty;

class LayoutTest : public meta::MetaModelTest {
 protected:
  static const Layout& layoutOf(const char16_t* type) {
    return find<meta::StructuredType>(u"lib." + ustring(type))->layout();
  }
  static const SlotInfo& slotOf(const char16_t* type, const char16_t* property) {
    const auto owner = find<meta::StructuredType>(u"lib." + ustring(type));
    return *owner->layout().find(owner->getProperty(property).get());
  }

  /// One property of each standard type, in an order that would cost padding.
  static void addOneOfEach(meta::ClassBuilder& type) {
    type.attribute(u"boolean", StandardTypes::booleanMeta);
    type.attribute(u"string", StandardTypes::stringMeta);
    type.attribute(u"integer8", StandardTypes::integer8Meta);
    type.attribute(u"real", StandardTypes::realMeta);
    type.attribute(u"uinteger16", StandardTypes::uinteger16Meta);
    type.attribute(u"integer64", StandardTypes::integer64Meta);
    type.attribute(u"uuid", StandardTypes::uuidMeta);
    type.attribute(u"integer", StandardTypes::integerMeta);
    type.attribute(u"stdstring", StandardTypes::stdstringMeta);
    type.attribute(u"integer16", StandardTypes::integer16Meta);
    type.attribute(u"dateTime", StandardTypes::dateTimeMeta);
    type.attribute(u"uinteger8", StandardTypes::uinteger8Meta);
    type.attribute(u"uinteger64", StandardTypes::uinteger64Meta);
    type.attribute(u"natural", StandardTypes::unlimitedNaturalMeta);
    type.attribute(u"map", StandardTypes::stringToStringMapMeta).required();
  }

  PackageBuilder lib{u"lib"};
};

struct Extent {
  std::size_t bytes;
  std::size_t alignment;
};

/// What the content of a slot needs, said once more and independently of the library.
Extent extentOf(const SlotInfo& slot, bool isData) {
  if (slot.shape == SlotShape::Container) return {0, 1};
  if (slot.shape == SlotShape::Reference) return {sizeof(void*), alignof(void*)};
  if (slot.shape == SlotShape::Elements && isData) return {sizeof(std::vector<ModelElement>), alignof(void*)};
  if (slot.shape == SlotShape::Elements) return {kElementListBytes, alignof(void*)};
  if (slot.shape == SlotShape::Generic) return {sizeof(std::vector<Value>), alignof(void*)};
  if (slot.shape == SlotShape::Typed && slot.storage == StorageType::Boolean) {
    return {sizeof(std::vector<bool>), alignof(void*)};
  }
  if (slot.shape == SlotShape::Typed) return {sizeof(std::vector<double>), alignof(void*)};
  switch (slot.storage) {
    case StorageType::Boolean:
    case StorageType::Integer8:
    case StorageType::UInteger8:
      return {1, 1};
    case StorageType::Integer16:
    case StorageType::UInteger16:
      return {2, 2};
    case StorageType::Integer:
    case StorageType::UnlimitedNatural:
      return {4, 4};
    case StorageType::Integer64:
    case StorageType::UInteger64:
    case StorageType::Real:
    case StorageType::DateTime:
    case StorageType::Enum:
      return {8, 8};
    case StorageType::Uuid:
      return {16, 1};
    case StorageType::String:
    case StorageType::StdString:
      return {32, 8};
    case StorageType::Map:
      return {std::max(kMapSlotBytes, sizeof(StringToStringMap)), 8};
    case StorageType::Data:
    case StorageType::Custom:
      return {sizeof(Value), alignof(Value)};
    case StorageType::Element:
      break;
  }
  ADD_FAILURE() << "a single value of an element";
  return {0, 1};
}

/// Every slot is aligned and lies behind the presence words, within the area, and in nobody else's place.
void expectSound(const Layout& layout) {
  std::vector<std::pair<std::size_t, std::size_t>> taken{{0, layout.presenceWords * sizeof(std::uint64_t)}};
  for (const SlotInfo& slot : layout.slots) {
    const Extent extent = extentOf(slot, layout.isData);
    EXPECT_EQ(slot.offset % extent.alignment, 0U);
    EXPECT_EQ(&layout.slots[slot.index], &slot);
    EXPECT_EQ(layout.find(slot.property), &slot);
    if (extent.bytes > 0) taken.emplace_back(slot.offset, slot.offset + extent.bytes);
  }
  std::sort(taken.begin(), taken.end());
  for (std::size_t i = 1; i < taken.size(); ++i) EXPECT_LE(taken[i - 1].second, taken[i].first);
  EXPECT_LE(taken.back().second, layout.sizeBytes);
  EXPECT_EQ(layout.sizeBytes % kSlotAlignment, 0U);
}

TEST_F(LayoutTest, AClassWithoutPropertiesTakesNoRoom) {
  lib.addClass(u"Empty");
  lib.registerPackage();
  EXPECT_EQ(layoutOf(u"Empty").sizeBytes, 0U);
  EXPECT_EQ(layoutOf(u"Empty").presenceWords, 0U);
  EXPECT_THAT(layoutOf(u"Empty").slots, IsEmpty());
  EXPECT_EQ(layoutOf(u"Empty").find(nullptr), nullptr);
}

TEST_F(LayoutTest, SlotsAreAlignedAndDoNotOverlap) {
  auto& book = lib.addClass(u"Book");
  addOneOfEach(book);
  lib.registerPackage();
  expectSound(layoutOf(u"Book"));
}

TEST_F(LayoutTest, NothingIsLostBetweenSlots) {
  auto& book = lib.addClass(u"Book");
  addOneOfEach(book);
  lib.registerPackage();
  const Layout& layout = layoutOf(u"Book");
  std::size_t used = layout.presenceWords * sizeof(std::uint64_t);
  for (const SlotInfo& slot : layout.slots) used += extentOf(slot, false).bytes;
  EXPECT_LT(layout.sizeBytes - used, kSlotAlignment);
}

TEST_F(LayoutTest, APropertyKeepsItsIndexInSubclassesWhereverItLies) {
  auto& medium = lib.addClass(u"Medium");
  medium.attribute(u"small", StandardTypes::booleanMeta);
  auto& book = lib.addClass(u"Book").extends(medium);
  addOneOfEach(book);
  lib.addClass(u"Novel").extends(book).attribute(u"plot", StandardTypes::stringMeta);
  lib.registerPackage();
  for (const char16_t* type : {u"Medium", u"Book", u"Novel"}) {
    expectSound(layoutOf(type));
    EXPECT_EQ(slotOf(type, u"small").index, 0U);
  }
  EXPECT_EQ(slotOf(u"Novel", u"map").index, slotOf(u"Book", u"map").index);
  EXPECT_EQ(slotOf(u"Novel", u"plot").index, 16U);
}

TEST_F(LayoutTest, APropertyThatTheClassLacksHasNoSlot) {
  lib.addClass(u"Medium").attribute(u"shelf", StandardTypes::integerMeta);
  lib.addClass(u"Book").extends(u"Medium").attribute(u"title", StandardTypes::stringMeta);
  lib.addClass(u"Other").attribute(u"title", StandardTypes::stringMeta);
  lib.registerPackage();
  const Property title = find<Class>(u"lib.Book")->getProperty(u"title");
  EXPECT_EQ(layoutOf(u"Medium").find(title.get()), nullptr);
  EXPECT_EQ(layoutOf(u"Other").find(title.get()), nullptr);
  EXPECT_EQ(layoutOf(u"Book").find(nullptr), nullptr);
}

TEST_F(LayoutTest, APropertyOfAFurtherSupertypeIsFoundByItsOriginAlsoInSubclasses) {
  auto& lendable = lib.addClass(u"Lendable");
  lendable.attribute(u"first", StandardTypes::stringMeta);
  lendable.attribute(u"second", StandardTypes::integerMeta);
  auto& insurable = lib.addClass(u"Insurable");
  insurable.attribute(u"value", StandardTypes::realMeta);
  auto& book = lib.addClass(u"Book").alsoConformsTo(lendable).alsoConformsTo(insurable);
  book.attribute(u"title", StandardTypes::stringMeta);
  lib.addClass(u"Novel").extends(book).attribute(u"plot", StandardTypes::stringMeta);
  lib.registerPackage();
  for (const char16_t* type : {u"Book", u"Novel"}) {
    for (const char16_t* name : {u"first", u"second"}) {
      const Property origin = find<Class>(u"lib.Lendable")->getProperty(name);
      EXPECT_EQ(layoutOf(type).find(origin.get()), &slotOf(type, name));
    }
    const Property value = find<Class>(u"lib.Insurable")->getProperty(u"value");
    EXPECT_EQ(layoutOf(type).find(value.get()), &slotOf(type, u"value"));
  }
  const Property copy = find<Class>(u"lib.Book")->getProperty(u"first");
  EXPECT_EQ(layoutOf(u"Lendable").find(copy.get()), nullptr);
}

TEST_F(LayoutTest, EachSingleValueButAMapHasAPresenceBit) {
  auto& book = lib.addClass(u"Book");
  addOneOfEach(book);
  book.reference(u"sequel", u"Book");
  book.attribute(u"tags", StandardTypes::stringMeta).many();
  lib.registerPackage();
  std::vector<std::uint16_t> bits;
  for (const SlotInfo& slot : layoutOf(u"Book").slots) {
    if (slot.presenceBit != SlotInfo::kNoPresence) bits.push_back(slot.presenceBit);
  }
  EXPECT_THAT(bits, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13));
  EXPECT_EQ(slotOf(u"Book", u"map").presenceBit, SlotInfo::kNoPresence);
  EXPECT_EQ(slotOf(u"Book", u"sequel").presenceBit, SlotInfo::kNoPresence);
  EXPECT_EQ(slotOf(u"Book", u"tags").presenceBit, SlotInfo::kNoPresence);
  EXPECT_EQ(layoutOf(u"Book").presenceWords, 1U);
}

TEST_F(LayoutTest, MoreThan64SingleValuesTakeMorePresenceWords) {
  auto& many = lib.addClass(u"Many");
  for (char16_t c = u'!'; c < u'!' + 65; ++c) many.attribute(ustring(1, c), StandardTypes::booleanMeta);
  lib.registerPackage();
  EXPECT_EQ(layoutOf(u"Many").presenceWords, 2U);
  EXPECT_EQ(layoutOf(u"Many").slots.back().presenceBit, 64U);
  expectSound(layoutOf(u"Many"));
}

struct Stone {
  int weight = 0;
  friend bool operator==(const Stone&, const Stone&) = default;
};

TEST_F(LayoutTest, TheShapeFollowsFromTypeAndBounds) {
  lib.addEnum(u"Genre").literal(u"novel", 0);
  lib.addDataType(u"Size");
  lib.addPrimitive<Stone>(
      u"Stone", [](const Stone&) { return ustring(); }, [](const ustring&) { return Stone(); });
  auto& book = lib.addClass(u"Book");
  book.attribute(u"title", StandardTypes::stringMeta);
  book.attribute(u"zero", StandardTypes::stringMeta).bounds(0, 0);
  book.attribute(u"tags", StandardTypes::stringMeta).many();
  book.attribute(u"flags", StandardTypes::booleanMeta).many();
  book.attribute(u"generic", StandardTypes::integerMeta).many().genericStorage();
  book.attribute(u"times", StandardTypes::dateTimeMeta).many();
  book.attribute(u"genre", u"Genre");
  book.attribute(u"genres", u"Genre").many();
  book.attribute(u"size", u"Size");
  book.attribute(u"sizes", u"Size").bounds(0, 2);
  book.attribute(u"stone", u"Stone");
  book.attribute(u"stones", u"Stone").many();
  book.attribute(u"maps", StandardTypes::stringToStringMapMeta).many();
  book.reference(u"sequel", u"Book");
  book.reference(u"others", u"Book").many();
  lib.registerPackage();
  const auto shape = [](const char16_t* name) { return slotOf(u"Book", name).shape; };
  const auto storage = [](const char16_t* name) { return slotOf(u"Book", name).storage; };
  for (const char16_t* name : {u"title", u"zero", u"genre", u"size", u"stone"}) {
    EXPECT_EQ(shape(name), SlotShape::Single);
  }
  for (const char16_t* name : {u"tags", u"flags"}) EXPECT_EQ(shape(name), SlotShape::Typed);
  for (const char16_t* name : {u"generic", u"times", u"genres", u"sizes", u"stones", u"maps"}) {
    EXPECT_EQ(shape(name), SlotShape::Generic);
  }
  EXPECT_EQ(shape(u"sequel"), SlotShape::Reference);
  EXPECT_EQ(shape(u"others"), SlotShape::Elements);
  EXPECT_EQ(storage(u"genre"), StorageType::Enum);
  EXPECT_EQ(storage(u"sizes"), StorageType::Data);
  EXPECT_EQ(storage(u"stone"), StorageType::Custom);
  EXPECT_EQ(storage(u"maps"), StorageType::Map);
  EXPECT_EQ(storage(u"sequel"), StorageType::Element);
  EXPECT_EQ(storage(u"flags"), StorageType::Boolean);
  expectSound(layoutOf(u"Book"));
}

TEST_F(LayoutTest, ReferencesAreSortedByWhatTheyMean) {
  auto& shelf = lib.addClass(u"Shelf");
  shelf.composite(u"books", u"Book").many().opposite(u"shelf");
  shelf.composite(u"label", u"Book");
  shelf.reference(u"readers", u"Book").many().opposite(u"readAt");
  shelf.reference(u"favourite", u"Book");
  auto& book = lib.addClass(u"Book");
  book.reference(u"shelf", u"Shelf").opposite(u"books");
  book.reference(u"readAt", u"Shelf").opposite(u"readers");
  lib.addClass(u"Box").alsoConformsTo(u"Book");
  lib.registerPackage();
  EXPECT_THAT(layoutOf(u"Shelf").composites, ElementsAre(0, 1));
  EXPECT_THAT(layoutOf(u"Shelf").paired, ElementsAre(2));
  EXPECT_THAT(layoutOf(u"Shelf").plainReferences, ElementsAre(3));
  EXPECT_TRUE(slotOf(u"Shelf", u"books").isComposite);
  EXPECT_FALSE(slotOf(u"Shelf", u"books").isPaired);
  EXPECT_EQ(slotOf(u"Book", u"shelf").shape, SlotShape::Container);
  EXPECT_EQ(slotOf(u"Box", u"shelf").shape, SlotShape::Container);
  EXPECT_THAT(layoutOf(u"Book").plainReferences, IsEmpty());
  EXPECT_THAT(layoutOf(u"Book").paired, ElementsAre(1));
  EXPECT_TRUE(slotOf(u"Book", u"readAt").isPaired);
}

TEST_F(LayoutTest, ObjectsAndDefaultsAreListed) {
  auto& book = lib.addClass(u"Book");
  addOneOfEach(book);
  book.reference(u"sequel", u"Book");
  book.reference(u"others", u"Book").many();
  book.attribute(u"tags", StandardTypes::integerMeta).many();
  book.attribute(u"language", StandardTypes::stringMeta).defaultsTo(u"en");
  lib.registerPackage();
  // The two texts, the map, the two collections, the last text: all others are numbers and pointers.
  EXPECT_THAT(layoutOf(u"Book").constructed, ElementsAre(1, 8, 14, 16, 17, 18));
  EXPECT_THAT(layoutOf(u"Book").withDefault, ElementsAre(18));
}

TEST_F(LayoutTest, ADataTypeHoldsHandles) {
  lib.addClass(u"Book");
  auto& mention = lib.addDataType(u"Mention");
  mention.attribute(u"book", u"Book");
  mention.attribute(u"books", u"Book").many();
  mention.attribute(u"page", StandardTypes::integerMeta);
  lib.registerPackage();
  const Layout& layout = layoutOf(u"Mention");
  EXPECT_TRUE(layout.isData);
  EXPECT_FALSE(layoutOf(u"Book").isData);
  EXPECT_EQ(layout.type, find<DataType>(u"lib.Mention"));
  EXPECT_THAT(layout.constructed, ElementsAre(0, 1));
  EXPECT_THAT(layout.plainReferences, ElementsAre(0, 1));
  expectSound(layout);
}

}  // namespace
}  // namespace tarn::kern::internal
