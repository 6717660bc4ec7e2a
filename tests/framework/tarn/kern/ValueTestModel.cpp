#include "framework/tarn/kern/ValueTestModel.h"

#include <tarn/kern/meta/PackageBuilder.h>

#include "support/Sanitizers.h"

namespace tarn::kern::valuetest {

namespace {

using meta::StandardTypes;

ustring numberText(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return ustring(digits.begin(), digits.end());
}

std::int64_t numberOf(const ustring& text) { return std::stoll(std::string(text.begin(), text.end())); }

void addSheet(meta::PackageBuilder& package) {
  auto& sheet = package.addDataType(u"Sheet");
  sheet.attribute(u"text", StandardTypes::stringMeta);
  sheet.attribute(u"stdText", StandardTypes::stdstringMeta);
  sheet.attribute(u"int32", StandardTypes::integerMeta);
  sheet.attribute(u"int8", StandardTypes::integer8Meta);
  sheet.attribute(u"int16", StandardTypes::integer16Meta);
  sheet.attribute(u"int64", StandardTypes::integer64Meta);
  sheet.attribute(u"uint8", StandardTypes::uinteger8Meta);
  sheet.attribute(u"uint16", StandardTypes::uinteger16Meta);
  sheet.attribute(u"uint64", StandardTypes::uinteger64Meta);
  sheet.attribute(u"natural", StandardTypes::unlimitedNaturalMeta);
  sheet.attribute(u"real", StandardTypes::realMeta);
  sheet.attribute(u"flag", StandardTypes::booleanMeta);
  sheet.attribute(u"id", StandardTypes::uuidMeta);
  sheet.attribute(u"time", StandardTypes::dateTimeMeta);
  sheet.attribute(u"color", u"Color").defaultsTo(u"green");
  sheet.attribute(u"title", StandardTypes::stringMeta).defaultsTo(u"untitled");
  sheet.attribute(u"point", u"Point");
  sheet.attribute(u"price", u"Money");
  sheet.attribute(u"target", u"Box");
  sheet.attribute(u"notes", StandardTypes::stringToStringMapMeta);
  sheet.attribute(u"numbers", StandardTypes::integerMeta).many();
  sheet.attribute(u"flags", StandardTypes::booleanMeta).many();
  sheet.attribute(u"texts", StandardTypes::stringMeta).many();
  sheet.attribute(u"reals", StandardTypes::realMeta).many();
  sheet.attribute(u"generic", StandardTypes::integerMeta).many().genericStorage();
  sheet.attribute(u"colors", u"Color").many();
  sheet.attribute(u"points", u"Point").many();
  sheet.attribute(u"prices", u"Money").many();
  sheet.attribute(u"targets", u"Box").many();
}

void addBoxes(meta::PackageBuilder& package) {
  auto& box = package.addClass(u"Box");
  box.attribute(u"name", StandardTypes::stringMeta);
  box.attribute(u"numbers", StandardTypes::integerMeta).many();
  box.attribute(u"notes", StandardTypes::stringToStringMapMeta);
  box.composite(u"parts", box).many();
  box.reference(u"friend", box);
  box.reference(u"friends", box).many();
  box.attribute(u"sheet", u"Sheet");
  box.attribute(u"nest", u"Nest");
  box.attribute(u"sheets", u"Sheet").many();
  box.attribute(u"colors", u"Color").many();
  box.attribute(u"computed", StandardTypes::integerMeta).derived();
  package.addClass(u"BigBox").extends(box);
}

meta::Package definePackage() {
  meta::PackageBuilder package(u"valuetest");
  package.addEnum(u"Color").literal(u"red", 0).literal(u"green", 1).literal(u"blue", -7).literal(u"alsoBlue", -7);
  package.addEnum(u"Size").literal(u"small", 0).literal(u"huge", 4294967296);
  package.addPrimitive<Money>(
      u"Money", [](const Money& money) { return numberText(money.cents); },
      [](const ustring& text) { return Money{numberOf(text)}; });
  package.addPrimitive<Blob>(
      u"Blob", [](const Blob& blob) { return blob.content; },
      [](const ustring& text) {
        return Blob{u"", text};
      });
  auto& point = package.addDataType(u"Point");
  point.attribute(u"x", StandardTypes::integerMeta).required();
  point.attribute(u"y", StandardTypes::integerMeta).required();
  addSheet(package);
  auto& nest = package.addDataType(u"Nest");
  nest.attribute(u"number", StandardTypes::integerMeta);
  nest.attribute(u"inner", u"Nest").many();
  addBoxes(package);
  return package.registerPackage();
}

meta::Type typeNamed(std::u16string_view name) {
  static const meta::Package kPackage = definePackage();
  return kPackage->getTypes().find(name)->second;
}

}  // namespace

meta::Enum color() { return narrow<meta::Enum>(typeNamed(u"Color")); }
meta::Enum size() { return narrow<meta::Enum>(typeNamed(u"Size")); }
meta::Type money() { return typeNamed(u"Money"); }
meta::Type blob() { return typeNamed(u"Blob"); }
meta::DataType point() { return narrow<meta::DataType>(typeNamed(u"Point")); }
meta::DataType sheet() { return narrow<meta::DataType>(typeNamed(u"Sheet")); }
meta::DataType nest() { return narrow<meta::DataType>(typeNamed(u"Nest")); }
meta::Class box() { return narrow<meta::Class>(typeNamed(u"Box")); }
meta::Class bigBox() { return narrow<meta::Class>(typeNamed(u"BigBox")); }

meta::Property propertyOf(const meta::StructuredType& type, std::u16string_view name) {
  return type->getProperty(ustring(name));
}

meta::EnumLiteral literalOf(const meta::Enum& type, std::u16string_view name) {
  return type->getLiterals().find(name)->second;
}

Model emptyModel() { return Model::create(ModelSpec()); }

ModelElement newElement(const Model& model, const meta::Class& type, std::uint8_t last) {
  boost::uuids::uuid id{};
  id.data[15] = last;
  return type->instantiate(model, id);
}

ReflectiveDataType nested(std::size_t depth) {
  const meta::Property number = propertyOf(nest(), u"number");
  const meta::Property inner = propertyOf(nest(), u"inner");
  ReflectiveDataType outermost(nest());
  for (std::size_t i = 1; i < depth; ++i) {
    ReflectiveDataType around(nest());
    around.setPropertyValue(number, Value(static_cast<std::int32_t>(i)));
    std::vector<Value> inside;
    inside.emplace_back(std::move(outermost));
    around.getPropertyValue(inner).toPrimitiveCollection().assignValues(std::move(inside));
    outermost = std::move(around);
  }
  return outermost;
}

std::size_t deep() noexcept { return testsupport::kManyLevels / 5; }

}  // namespace tarn::kern::valuetest
