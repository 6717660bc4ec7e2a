#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "Slots.h"
#include "StorageDispatch.h"
#include "framework/tarn/kern/ValueTestModel.h"

namespace tarn::kern::internal {
namespace {

using CastFailure = bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;
using valuetest::Money;

/// Makes maps and element lists, counts what it has made, and fails at a given one.
class CountingMaker final : public SlotMaker {
 public:
  void constructElements(void* slot, const SlotInfo&) override {
    countOne();
    new (slot) std::vector<ModelElement>();
  }
  void destroyElements(void* slot, const SlotInfo&) noexcept override {
    --fAlive;
    std::destroy_at(static_cast<std::vector<ModelElement>*>(slot));
  }
  void constructMap(void* slot, const SlotInfo&) override {
    countOne();
    new (slot) StringToStringMap();
  }
  void destroyMap(void* slot, const SlotInfo&) noexcept override {
    --fAlive;
    std::destroy_at(static_cast<StringToStringMap*>(slot));
  }
  void failAt(int number) { fFailAt = number; }
  [[nodiscard]] int alive() const { return fAlive; }

 private:
  void countOne() {
    if (fAlive == fFailAt) throw std::bad_alloc();
    ++fAlive;
  }
  int fAlive = 0;
  int fFailAt = -1;
};

/// Raw memory for the slots of a Sheet, filled with rubbish at first.
class SlotsOfASheet : public ::testing::Test {
 protected:
  void SetUp() override {
    fBlock.reset(static_cast<std::byte*>(::operator new(layout().sizeBytes)));
    std::memset(fBlock.get(), 0xA5, layout().sizeBytes);
  }
  void construct() {
    constructSlots(layout(), area(), fMaker);
    fIsConstructed = true;
  }
  void TearDown() override {
    if (fIsConstructed) destroySlots(layout(), area(), fMaker);
    EXPECT_EQ(fMaker.alive(), 0);
  }

  [[nodiscard]] static const Layout& layout() { return valuetest::sheet()->layout(); }
  [[nodiscard]] static const SlotInfo& slot(std::u16string_view name) {
    return *layout().find(valuetest::propertyOf(valuetest::sheet(), name).get());
  }
  [[nodiscard]] std::byte* area() { return fBlock.get(); }
  [[nodiscard]] Value read(std::u16string_view name) { return readSingle(slot(name), area()); }
  void put(std::u16string_view name, Value value) {
    putSingle(slot(name), area(), normalised(slot(name), std::move(value), false));
  }

  struct Free {
    void operator()(std::byte* block) const { ::operator delete(block); }
  };
  std::unique_ptr<std::byte, Free> fBlock;
  CountingMaker fMaker;
  bool fIsConstructed = false;
};

/// One value for each single attribute of plain type, by name.
std::vector<std::pair<std::u16string_view, Value>> samples() {
  ReflectiveDataType point(valuetest::point());
  point.set(u"x", 1);
  return {{u"text", Value(u"a text that is too long to be kept inside")},
          {u"stdText", Value(std::string("a narrow text that is too long to be kept inside"))},
          {u"int32", Value(-32)},
          {u"int8", Value(std::int8_t{-8})},
          {u"int16", Value(std::int16_t{-16})},
          {u"int64", Value(std::int64_t{-64})},
          {u"uint8", Value(std::uint8_t{8})},
          {u"uint16", Value(std::uint16_t{16})},
          {u"uint64", Value(std::uint64_t{64})},
          {u"natural", Value(std::uint32_t{32})},
          {u"real", Value(0.5)},
          {u"flag", Value(true)},
          {u"id", Value(boost::uuids::uuid{{1, 2, 3}})},
          {u"time", Value(boost::posix_time::ptime(boost::gregorian::date(2020, 1, 31)))},
          {u"color", Value::createEnumValue(valuetest::literalOf(valuetest::color(), u"blue"))},
          {u"point", Value(point)},
          {u"price", Value(ValueMeta(valuetest::money(), ValueFlags::Single), Money{5})}};
}

TEST_F(SlotsOfASheet, AreAbsentAtFirstButForTheirDefaults) {
  construct();
  for (const auto& [name, value] : samples()) {
    if (name == u"color") continue;
    EXPECT_EQ(read(name), Value::createEmptyValue(value.getType(), false));
  }
  EXPECT_EQ(read(u"color").get<std::int64_t>(), 1);
  EXPECT_EQ(read(u"title").get<ustring>(), u"untitled");
}

TEST_F(SlotsOfASheet, CanBeMadeWithoutDefaults) {
  constructEmptySlots(layout(), area(), fMaker);
  fIsConstructed = true;
  EXPECT_FALSE(read(u"color").hasObject());
  EXPECT_FALSE(read(u"title").hasObject());
}

TEST_F(SlotsOfASheet, LeaveNothingBehindWhenMakingThemFails) {
  construct();
  const int all = fMaker.alive();
  EXPECT_EQ(all, 2) << "a map and a list of elements";
  destroySlots(layout(), area(), fMaker);
  fIsConstructed = false;
  for (int i = 0; i < all; ++i) {
    fMaker.failAt(i);
    EXPECT_THROW(constructSlots(layout(), area(), fMaker), std::bad_alloc);
    EXPECT_EQ(fMaker.alive(), 0);
  }
}

TEST_F(SlotsOfASheet, GiveBackWhatWasPut) {
  construct();
  for (const auto& [name, value] : samples()) put(name, value);
  for (const auto& [name, value] : samples()) {
    EXPECT_EQ(read(name), value) << value.describe();
    EXPECT_TRUE(isPresent(area(), slot(name)));
  }
}

TEST_F(SlotsOfASheet, AreAbsentAfterAnEmptyValueWasPut) {
  construct();
  for (const auto& [name, value] : samples()) {
    put(name, value);
    put(name, Value::createEmptyValue(value.getType(), false));
    EXPECT_EQ(read(name), Value::createEmptyValue(value.getType(), false));
  }
}

TEST_F(SlotsOfASheet, AreAbsentAfterTheirContentWasTaken) {
  construct();
  for (const auto& [name, value] : samples()) {
    put(name, value);
    EXPECT_EQ(takeSingle(slot(name), area()), value);
    EXPECT_EQ(read(name), Value::createEmptyValue(value.getType(), false));
    EXPECT_EQ(takeSingle(slot(name), area()), Value::createEmptyValue(value.getType(), false));
    put(name, value);
    EXPECT_EQ(read(name), value);
  }
}

TEST_F(SlotsOfASheet, TakeOnlyValuesOfTheirType) {
  for (const auto& [name, value] : samples()) {
    EXPECT_EQ(normalised(slot(name), value, false), value);
    EXPECT_EQ(normalised(slot(name), value, true), value);
    const Value absent = Value::createEmptyValue(value.getType(), false);
    EXPECT_EQ(normalised(slot(name), absent, false), absent);
    EXPECT_THROW(static_cast<void>(normalised(slot(name), absent, true)), CastFailure);
    const Value many(ValueMeta(value.getType(), ValueFlags::Collection), 1);
    EXPECT_THROW(static_cast<void>(normalised(slot(name), many, false)), CastFailure);
    for (const auto& [otherName, other] : samples()) {
      if (otherName != name) {
        EXPECT_THROW(static_cast<void>(normalised(slot(name), other, false)), CastFailure);
      }
    }
  }
}

TEST_F(SlotsOfASheet, UntieAMapThatBecomesAnEntry) {
  ReflectiveDataType sheet(valuetest::sheet());
  Value live = sheet.getPropertyValue(valuetest::propertyOf(valuetest::sheet(), u"notes"));
  const Value entry = normalised(slot(u"notes"), std::move(live), true);
  entry.toStringToStringMap().insert(u"a", u"1", CollisionResolution::Replace);
  EXPECT_TRUE(sheet.get<StringToStringMap>(u"notes").empty());
}

TEST_F(SlotsOfASheet, TakeElementsThatConform) {
  const Model model = valuetest::emptyModel();
  const ModelElement big = valuetest::newElement(model, valuetest::bigBox(), 1);
  EXPECT_EQ(elementOf(slot(u"target"), Value(big)), big);
  EXPECT_FALSE(elementOf(slot(u"target"), Value(ModelElement())));
  EXPECT_FALSE(elementOf(slot(u"target"), Value::createEmptyValue(valuetest::box(), false)));
  EXPECT_THROW(static_cast<void>(elementOf(slot(u"target"), Value(valuetest::box()))), CastFailure);
  EXPECT_THROW(static_cast<void>(elementOf(slot(u"target"), Value(1))), CastFailure);
  const Value many(ValueMeta(valuetest::box(), ValueFlags::Collection), big);
  EXPECT_THROW(static_cast<void>(elementOf(slot(u"target"), many)), CastFailure);
}

}  // namespace
}  // namespace tarn::kern::internal
