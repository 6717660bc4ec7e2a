#include "SampleContent.h"

#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <tarn/kern/Collections.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/Enum.h>

#include "TestMetaModel.h"

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;

namespace {

using Name = std::u16string;
const auto& kPrivileged = kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;

ReflectiveDataType point(std::int32_t x, std::int32_t y) {
  ReflectiveDataType made(sampleMetaModel().dataTypeNamed(u"Point"));
  made.set(u"x", x).set(u"y", y);
  return made;
}

/// Two values of a kind of kindNames(), chosen for their bytes: extremes, signs, characters beyond the basic plane.
std::pair<Value, Value> twoValues(const Name& kind) {
  using Pair = std::pair<Value, Value>;
  const SampleMetaModel& sample = sampleMetaModel();
  if (kind == u"String") return {u"", Value(Name{u'z', char16_t{0xd83d}, char16_t{0xde00}, u'\u00e4'})};
  if (kind == u"StdString") return {std::string(), std::string("\0\xff", 2)};
  if (kind == u"Integer") return {std::int32_t{-1}, std::numeric_limits<std::int32_t>::max()};
  if (kind == u"Integer8") return {std::int8_t{-128}, std::int8_t{1}};
  if (kind == u"Integer16") return {std::int16_t{-2}, std::int16_t{300}};
  if (kind == u"Integer64") return {std::numeric_limits<std::int64_t>::min(), std::int64_t{9}};
  if (kind == u"UInteger8") return {std::uint8_t{255}, std::uint8_t{2}};
  if (kind == u"UInteger16") return {std::uint16_t{65535}, std::uint16_t{3}};
  if (kind == u"UInteger64") return {std::numeric_limits<std::uint64_t>::max(), std::uint64_t{4}};
  if (kind == u"UnlimitedNatural") return {std::uint32_t{4'000'000'000U}, std::uint32_t{5}};
  if (kind == u"Real") return {-0.0, std::numeric_limits<double>::infinity()};
  if (kind == u"Boolean") return {true, false};
  if (kind == u"UUID") return {uuidEndingIn(200), uuidEndingIn(201)};
  if (kind == u"DateTime") {
    using Conversion = kern::DateTimeUtils::Conversion;
    return {Conversion::fromUstring(u"1999-12-31T23:59:59.999999"), boost::posix_time::ptime()};
  }
  if (kind == u"StringToStringMap") {
    const kern::StringToStringMap map = {{u"z", u"last"}, {u"a", u""}};
    return {map, map};
  }
  if (kind == u"Color") {
    const meta::Enum color = sample.enumNamed(u"Color");
    return {Value::createEnumValue(color->getLiteral(7)), Value::createEnumValue(color->getLiteral(0))};
  }
  if (kind == u"Point") return {point(-3, 4), point(0, 0)};
  const kern::ValueMeta money(sample.type(u"Money"), kern::ValueFlags::Single);
  return Pair{Value(money, Money{-42}), Value(money, Money{0})};
}

void setValue(const ModelElement& element, const meta::Property& property, const Value& value) {
  element->setPropertyValue(property, value, kPrivileged);
}

void addValue(const ModelElement& element, const meta::Property& property, const Value& value) {
  element->getPropertyValue(property, kPrivileged).toPrimitiveCollection().addValue(value);
}

void addElement(const ModelElement& element, const Name& property, const ModelElement& member) {
  element->getPropertyValue(element->property(property), kPrivileged).toElementCollection().addElement(member);
}

ReflectiveDataType line(std::int32_t length, const ModelElement& target) {
  ReflectiveDataType made(sampleMetaModel().dataTypeNamed(u"Line"));
  made.set(u"from", point(0, 0)).set(u"to", point(length, -length));
  if (length % 2 == 0) made.set(u"color", std::int64_t{7});
  made.set(u"target", target);
  const auto collection = [&made](const Name& name) {
    return made.getPropertyValue(made.getType()->getProperty(name));
  };
  for (std::int32_t step = 0; step < length % 4; ++step) {
    collection(u"labels").toPrimitiveCollection().addValue(Name(static_cast<std::size_t>(step), u'\u20ac'));
    collection(u"via").toPrimitiveCollection().addValue(point(step, step));
  }
  return made;
}

}  // namespace

ModelElement fillEverything(const kern::Model& model) {
  const ModelElement everything = newSample(model, u"Everything", 1);
  everything->set(u"name", Name(u"all"));
  for (const Name& kind : kindNames()) {
    const auto [first, second] = twoValues(kind);
    for (const char16_t* const shape : {u"required", u"optional", u"many", u"generic"}) {
      const meta::Property property = everything->getMetaClass()->getProperty(shape + kind);
      if (!property) continue;
      if (property->isCollection()) {
        addValue(everything, property, first);
        addValue(everything, property, second);
      } else {
        setValue(everything, property, first);
      }
    }
  }
  return everything;
}

ModelElement fillReferences(const kern::Model& model) {
  const ModelElement root = newSample(model, u"Box", 1);
  root->set(u"name", Name(u"root"));
  std::vector<ModelElement> parts;
  for (std::uint8_t last = 2; last < 6; ++last) {
    parts.push_back(newSample(model, last % 2 == 0 ? u"Box" : u"BigBox", last));
    addElement(root, u"parts", parts.back());
  }
  root->set(u"link", parts[2]);
  parts[0]->set(u"link", parts[3]);
  parts[1]->set(u"link", root);
  parts[2]->set(u"link", parts[2]);
  parts[1]->set(u"size", std::int32_t{12});
  for (const ModelElement& target : {parts[3], ModelElement(), parts[0], parts[3]})
    addElement(parts[0], u"links", target);
  const ModelElement content = newSample(model, u"BigBox", 9);
  parts[3]->set(u"content", content);
  content->set(u"link", parts[0]);
  return root;
}

ModelElement fillLines(const kern::Model& model, const ModelElement& target) {
  const ModelElement lines = newSample(model, u"Lines", 50);
  lines->set(u"line", line(2, target));
  for (std::int32_t length = 0; length < 4; ++length) {
    addValue(lines, lines->property(u"lines"), line(length, length == 1 ? target : ModelElement()));
  }
  return lines;
}

ModelElement fillByChance(const kern::Model& model, std::uint32_t seed, std::size_t elements) {
  std::mt19937 random(seed);
  const auto upTo = [&random](std::size_t most) { return static_cast<std::size_t>(random() % (most + 1)); };
  const auto text = [&] {
    Name made(upTo(12), u'x');
    for (char16_t& unit : made) unit = static_cast<char16_t>(random() % 0x600);
    return made;
  };
  const SampleMetaModel& sample = sampleMetaModel();
  const auto newUuid = [&random] {
    boost::uuids::uuid uuid{};
    for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(random());
    return uuid;
  };
  std::vector<ModelElement> boxes = {sample.classNamed(u"Box")->instantiate(model, newUuid())};
  while (boxes.size() < elements) {
    const ModelElement owner = boxes[upTo(boxes.size() - 1)];
    const ModelElement box = sample.classNamed(upTo(2) == 0 ? u"BigBox" : u"Box")->instantiate(model, newUuid());
    if (upTo(4) == 0 && !owner->get<ModelElement>(u"content")) {
      owner->set(u"content", box);
    } else {
      addElement(owner, u"parts", box);
    }
    boxes.push_back(box);
  }
  const auto anyBox = [&] { return boxes[upTo(boxes.size() - 1)]; };
  for (const ModelElement& box : boxes) {
    if (upTo(3) != 0) box->set(u"name", text());
    if (upTo(2) == 0) box->set(u"link", anyBox());
    for (std::size_t link = upTo(3); link > 0; --link)
      addElement(box, u"links", upTo(5) == 0 ? ModelElement() : anyBox());
    if (box->getMetaClass()->getName() == u"BigBox" && upTo(1) == 0)
      box->set(u"size", static_cast<std::int32_t>(random()));
  }
  return boxes.front();
}

}  // namespace testsupport
