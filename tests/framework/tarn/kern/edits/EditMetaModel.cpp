#include "framework/tarn/kern/edits/EditMetaModel.h"

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace edittest {

using namespace tarn::kern;        // NOLINT: the vocabulary of these tests
using namespace tarn::kern::meta;  // NOLINT

namespace {

struct Money {
  std::int64_t cents = 0;
  friend bool operator==(const Money&, const Money&) = default;
};

ustring textOf(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

/// Short and long ones: some lie within a Value, others do not.
ustring textNumber(int number) { return ustring(static_cast<std::size_t>(number % 40), u'x') + textOf(number); }

struct Named {
  const char16_t* name;
  TypeRef type;
};

std::vector<Named> kinds(EnumBuilder& color, PrimitiveBuilder& money, DataTypeBuilder& point, DataTypeBuilder& sheet) {
  return {{u"text", StandardTypes::stringMeta},
          {u"stdText", StandardTypes::stdstringMeta},
          {u"int8", StandardTypes::integer8Meta},
          {u"int16", StandardTypes::integer16Meta},
          {u"int32", StandardTypes::integerMeta},
          {u"int64", StandardTypes::integer64Meta},
          {u"uint8", StandardTypes::uinteger8Meta},
          {u"uint16", StandardTypes::uinteger16Meta},
          {u"uint64", StandardTypes::uinteger64Meta},
          {u"natural", StandardTypes::unlimitedNaturalMeta},
          {u"real", StandardTypes::realMeta},
          {u"flag", StandardTypes::booleanMeta},
          {u"id", StandardTypes::uuidMeta},
          {u"time", StandardTypes::dateTimeMeta},
          {u"map", StandardTypes::stringToStringMapMeta},
          {u"color", color},
          {u"money", money},
          {u"point", point},
          {u"sheet", sheet}};
}

void addValueProperties(ClassBuilder& thing, const std::vector<Named>& types) {
  for (const auto& [name, type] : types) {
    const bool isMap = ustring(name) == u"map";
    const ustring suffix = u"_" + ustring(name);
    if (!isMap) thing.attribute(u"optional" + suffix, type);
    thing.attribute(u"required" + suffix, type).required();
    thing.attribute(u"list" + suffix, type).many();
    thing.attribute(u"set" + suffix, type).many().unique();
    thing.attribute(u"generic" + suffix, type).many().genericStorage();
    thing.attribute(u"unordered" + suffix, type).many().ordered(false);
  }
  thing.attribute(u"default_text", StandardTypes::stringMeta).defaultsTo(u"a default of some length, to be put back");
  thing.attribute(u"default_int32", StandardTypes::integerMeta).required().defaultsTo(std::int32_t{-5});
  thing.attribute(u"default_color", u"Color").defaultsTo(u"green");
}

void addReferences(ClassBuilder& thing) {
  thing.attribute(u"name", StandardTypes::stringMeta);
  thing.composite(u"part", thing).opposite(u"partOf");
  thing.reference(u"partOf", thing).opposite(u"part");
  thing.composite(u"parts", thing).many().opposite(u"whole");
  thing.reference(u"whole", thing).opposite(u"parts");
  thing.composite(u"ownOne", thing);
  thing.composite(u"ownMany", thing).many();
  thing.composite(u"ownKeyed", thing).many().qualifiedBy(u"name");
  thing.composite(u"ownUnordered", thing).many().ordered(false);
  thing.reference(u"one", thing);
  thing.reference(u"many", thing).many();
  thing.reference(u"path", thing).many().unique(false);
  thing.reference(u"keyed", thing).many().qualifiedBy(u"name");
  thing.reference(u"unordered", thing).many().ordered(false);
  thing.reference(u"left", thing).opposite(u"right");
  thing.reference(u"right", thing).opposite(u"left");
  thing.reference(u"owner", thing).opposite(u"owned");
  thing.reference(u"owned", thing).many().opposite(u"owner");
  thing.reference(u"friends", thing).many().opposite(u"friendOf");
  thing.reference(u"friendOf", thing).many().opposite(u"friends");
  thing.reference(u"keyedFriends", thing).many().qualifiedBy(u"name").opposite(u"keyedFriendOf");
  thing.reference(u"keyedFriendOf", thing).many().ordered(false).opposite(u"keyedFriends");
}

Package definePackage() {
  PackageBuilder package(u"edits");
  auto& color = package.addEnum(u"Color").literal(u"red", 0).literal(u"green", 1).literal(u"blue", -7);
  auto& money = package.addPrimitive<Money>(
      u"Money", [](const Money& amount) { return textOf(amount.cents); },
      [](const ustring& text) { return Money{std::stoll(bedrock::i18n::to_string(text))}; });
  auto& point = package.addDataType(u"Point");
  point.attribute(u"x", StandardTypes::integerMeta).required();
  point.attribute(u"y", StandardTypes::integer64Meta);
  auto& sheet = package.addDataType(u"Sheet");
  sheet.attribute(u"title", StandardTypes::stringMeta);
  sheet.attribute(u"numbers", StandardTypes::integerMeta).many();
  sheet.attribute(u"points", point).many();
  sheet.attribute(u"inner", u"Sheet").many();
  sheet.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
  auto& thing = package.addClass(u"Thing");
  addValueProperties(thing, kinds(color, money, point, sheet));
  thing.attribute(u"entries", StandardTypes::stringToStringMapMeta).required();
  addReferences(thing);
  return package.registerPackage();
}

const Package& package() {
  static const Package kPackage = definePackage();
  return kPackage;
}

Type typeNamed(const char16_t* name) { return package()->getTypes().find(ustring(name))->second; }

ReflectiveDataType point(int number) {
  ReflectiveDataType made(narrow<DataType>(typeNamed(u"Point")));
  made.set(u"x", std::int32_t{number});
  if (number % 3 != 0) made.set(u"y", std::int64_t{-number});
  return made;
}

ReflectiveDataType sheet(int number) {
  const DataType type = narrow<DataType>(typeNamed(u"Sheet"));
  ReflectiveDataType made(type);
  made.set(u"title", textNumber(number));
  const auto values = [&](const char16_t* name) { return made.getPropertyValue(type->getProperty(name)); };
  for (int i = 0; i < number % 4; ++i) {
    values(u"numbers").toPrimitiveCollection().addValue(Value(std::int32_t{i}));
    values(u"points").toPrimitiveCollection().addValue(Value(point(i)));
  }
  if (number % 5 == 1) values(u"inner").toPrimitiveCollection().addValue(Value(sheet(number - 1)));
  StringToStringMap notes;
  if (number % 2 == 1) notes.insert(u"key", textNumber(number), CollisionResolution::Replace);
  made.set(u"notes", notes);
  return made;
}

StringToStringMap map(int number) {
  StringToStringMap made;
  for (int i = 0; i <= number % 3; ++i) made.insert(textOf(i), textNumber(number), CollisionResolution::Replace);
  return made;
}

Kind kindOf(const std::string& suffix) {
  static const char* const kNames[kKinds] = {"text",   "stdText", "int8",    "int16", "int32", "int64", "uint8",
                                             "uint16", "uint64",  "natural", "real",  "flag",  "id",    "time",
                                             "map",    "color",   "money",   "point", "sheet"};
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    if (suffix == kNames[kind]) return static_cast<Kind>(kind);
  }
  return Kind::Text;
}

PropertyInfo describe(const Property& property) {
  PropertyInfo info;
  info.property = property;
  info.name = bedrock::i18n::to_string(property->getName());
  info.isUnique = property->isUnique;
  info.isComposite = property->isComposite;
  info.isQualified = static_cast<bool>(property->getQualifiedBy());
  if (property->isReference()) {
    const bool isBack = property->getOpposite() && property->getOpposite()->isComposite;
    info.shape = property->isCollection() ? Shape::Elements : isBack ? Shape::WayBack : Shape::Reference;
    return info;
  }
  info.kind = kindOf(info.name.substr(info.name.find('_') + 1));
  info.shape = property->isCollection() ? Shape::Values : info.name == "entries" ? Shape::LiveMap : Shape::Value;
  info.mayBeAbsent = info.shape == Shape::Value && property->lower == 0;
  return info;
}

std::vector<PropertyInfo> describeAll() {
  std::vector<PropertyInfo> all;
  for (const Property& property : thing()->getAllProperties()) {
    if (property->getOwner() == thing()) all.push_back(describe(property));
  }
  for (PropertyInfo& info : all) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (info.property->getOpposite() == all[i].property) info.opposite = i;
    }
  }
  return all;
}

}  // namespace

int valuesOf(Kind kind) {
  switch (kind) {
    case Kind::Boolean:
      return 2;
    case Kind::Color:
      return 3;
    case Kind::Int8:
    case Kind::UInt8:
      return 120;
    default:
      return 150;
  }
}

Value valueOf(Kind kind, int number) {
  const auto byte = static_cast<std::uint8_t>(number);
  switch (kind) {
    case Kind::Text:
      return textNumber(number);
    case Kind::StdText:
      return std::string(static_cast<std::size_t>(number), '\xff');
    case Kind::Int8:
      return static_cast<std::int8_t>(-number);
    case Kind::Int16:
      return static_cast<std::int16_t>(number * -200);
    case Kind::Int32:
      return std::int32_t{number};
    case Kind::Int64:
      return std::int64_t{number} << 40U;
    case Kind::UInt8:
      return byte;
    case Kind::UInt16:
      return static_cast<std::uint16_t>(number * 400);
    case Kind::UInt64:
      return ~std::uint64_t{byte};
    case Kind::Natural:
      return std::uint32_t{byte};
    case Kind::Real:
      return number / 8.0;
    case Kind::Boolean:
      return number == 1;
    case Kind::Uuid: {
      boost::uuids::uuid uuid{};
      uuid.data[7] = byte;
      return uuid;
    }
    case Kind::Time:
      return boost::posix_time::ptime(boost::gregorian::date(2001, 2, 3), boost::posix_time::microseconds(number));
    case Kind::Map:
      return map(number);
    case Kind::Color: {
      static constexpr std::int64_t kNumbers[] = {0, 1, -7};
      return Value::createEnumValue(narrow<Enum>(typeNamed(u"Color"))->getLiteral(kNumbers[number]));
    }
    case Kind::Money:
      return {ValueMeta(typeNamed(u"Money"), ValueFlags::Single), Money{number}};
    case Kind::Point:
      return point(number);
    case Kind::Sheet:
      return sheet(number);
  }
  return {u""};
}

const std::vector<PropertyInfo>& properties() {
  static const std::vector<PropertyInfo> kAll = describeAll();
  return kAll;
}

Class thing() { return narrow<Class>(typeNamed(u"Thing")); }

}  // namespace edittest
