#include "RandomMetaModel.h"

#include <utility>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;
using meta::StandardTypes;

namespace {

using Name = std::u16string;

Name numbered(const Name& stem, std::size_t number) {
  const std::string digits = std::to_string(number);
  return stem + Name(digits.begin(), digits.end());
}

const std::vector<Name>& standardNames() {
  static const std::vector<Name> kNames = {
      u"String",     u"StdString",  u"Integer", u"Integer8", u"Integer16",        u"Integer64", u"UInteger8",
      u"UInteger16", u"UInteger64", u"Real",    u"Boolean",  u"UnlimitedNatural", u"UUID",      u"DateTime"};
  return kNames;
}

/// Defines the package; draws from the same source as the models.
class Definition {
 public:
  Definition(std::uint32_t seed, std::mt19937& random) : fRandom(random), fBuilder(numbered(u"random", seed)) {
    fBuilder.uri(numbered(u"urn:random:", seed));
  }

  meta::Package make() {
    for (std::size_t i = 0; i < 1 + below(3); ++i) addEnum(i);
    for (std::size_t i = 0; i < 1 + below(3); ++i) addDataType(i);
    meta::ClassBuilder& base = fBuilder.addClass(u"Base").makeAbstract();
    base.attribute(u"name", StandardTypes::stringMeta);
    fBuilder.addClass(u"Root").composite(u"all", base).many();
    fClasses.push_back(&base);
    for (std::size_t i = 0; i < 2 + below(5); ++i) addClass(i);
    return fBuilder.registerPackage();
  }

 private:
  std::size_t below(std::size_t end) { return fRandom() % end; }
  bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

  void addEnum(std::size_t number) {
    meta::EnumBuilder& added = fBuilder.addEnum(numbered(u"Enum", number)).literal(u"none", 0);
    for (std::size_t i = 0; i < below(5); ++i) {
      added.literal(numbered(u"literal", i), static_cast<std::int64_t>(i * 3 + 1) - 5);
    }
    fEnums.push_back(numbered(u"Enum", number));
  }

  void addDataType(std::size_t number) {
    const Name name = numbered(u"Data", number);
    meta::DataTypeBuilder& added = fBuilder.addDataType(name);
    for (std::size_t i = 0; i < 1 + below(5); ++i) {
      const bool isData = !fDataTypes.empty() && chance(4);
      const Name type = isData ? fDataTypes[below(fDataTypes.size())] : plainName();
      meta::PropertyBuilder attribute = added.attribute(numbered(u"part", i), type);
      if (isData) {
        chance(2) ? attribute.many() : attribute.required();
      } else {
        shape(attribute);
      }
    }
    fDataTypes.push_back(name);
  }

  Name plainName() {
    if (chance(5)) return fEnums[below(fEnums.size())];
    return standardNames()[below(standardNames().size())];
  }

  void shape(meta::PropertyBuilder& attribute) {
    switch (below(5)) {
      case 0:
        attribute.required();
        return;
      case 1:
        attribute.many();
        return;
      case 2:
        attribute.many().unique();
        return;
      case 3:
        attribute.many().genericStorage();
        return;
      default:
        return;
    }
  }

  void addClass(std::size_t number) {
    meta::ClassBuilder& added =
        fBuilder.addClass(numbered(u"Class", number)).extends(*fClasses[below(fClasses.size())]);
    const Name prefix = numbered(u"of", number);
    for (std::size_t i = 0; i < below(7); ++i) addAttribute(added, numbered(prefix + u"_value", i));
    for (std::size_t i = 0; i < below(4); ++i) addReference(added, numbered(prefix + u"_link", i));
    fClasses.push_back(&added);
  }

  void addAttribute(meta::ClassBuilder& owner, const Name& name) {
    switch (below(8)) {
      case 0:
        owner.attribute(name, StandardTypes::stringToStringMapMeta).required();
        return;
      case 1: {
        meta::PropertyBuilder data = owner.attribute(name, fDataTypes[below(fDataTypes.size())]);
        chance(2) ? data.many() : data.required();
        return;
      }
      case 2:
        owner.attribute(name, StandardTypes::integerMeta).defaultsTo(Value(static_cast<std::int32_t>(below(9))));
        return;
      case 3:
        owner.attribute(name, StandardTypes::stringMeta).required().defaultsTo(u"the default");
        return;
      case 4:
        owner.attribute(name, StandardTypes::realMeta).transient();
        return;
      default: {
        meta::PropertyBuilder attribute = owner.attribute(name, plainName());
        shape(attribute);
        return;
      }
    }
  }

  void addReference(meta::ClassBuilder& owner, const Name& name) {
    meta::ClassBuilder& target = *fClasses[below(fClasses.size())];
    switch (below(5)) {
      case 0:
        owner.composite(name, target).many();
        return;
      case 1:
        owner.composite(name, target);
        return;
      case 2: {  // the way back is not written, but must come back
        meta::PropertyBuilder composite = owner.composite(name, target);
        composite.opposite(name + u"_back");
        if (chance(2)) composite.many();
        target.reference(name + u"_back", owner).opposite(name);
        return;
      }
      case 3:
        owner.reference(name, target).many().unique(chance(2));
        return;
      default:
        owner.reference(name, target);
        return;
    }
  }

  std::mt19937& fRandom;
  meta::PackageBuilder fBuilder;
  std::vector<Name> fEnums;
  std::vector<Name> fDataTypes;
  std::vector<meta::ClassBuilder*> fClasses;
};

}  // namespace

RandomMetaModel::RandomMetaModel(std::uint32_t seed) : fRandom(seed) {
  fPackage = Definition(seed, fRandom).make();
  for (const auto& [name, type] : fPackage->getTypes()) {
    const auto found = kern::narrow<meta::Class>(type);
    if (!found) continue;
    if (name == u"Root") {
      fRoot = found;
    } else if (name != u"Base") {
      fClasses.push_back(found);
    }
  }
}

kern::Model RandomMetaModel::drawModel(std::size_t elements, Roots roots) {
  kern::Model model = kern::Model::create(kern::ModelSpec());
  kern::Transaction building = model->beginTransaction(false);
  const ModelElement root = fRoot->instantiate(model, boost::uuids::uuid{});
  const Value live = root->getPropertyValue(fRoot->getProperty(u"all"), kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  std::vector<ModelElement> all;
  for (std::size_t i = 0; i < elements; ++i) {
    all.push_back(fClasses[below(fClasses.size())]->instantiate(model, boost::uuids::uuid{}));
    if (roots == Roots::One || !chance(3)) live.toElementCollection().addElement(all.back());
    fill(all.back());
  }
  for (const ModelElement& element : all) refer(element, all);
  building.commit(boost::none);
  return model;
}

std::u16string RandomMetaModel::text() {
  static const std::u16string kUnits = u"abc xyz \u00e4\u00df\u20ac\U0001F600\n\"";
  std::u16string drawn;
  for (std::size_t i = below(24); i > 0; --i) drawn.push_back(kUnits[below(kUnits.size())]);
  return drawn;
}

Value RandomMetaModel::valueOf(const meta::Type& type) {
  if (const auto data = kern::narrow<meta::DataType>(type)) {
    ReflectiveDataType drawn(data);
    fillStructure(drawn);
    return Value(std::move(drawn));
  }
  if (const auto choice = kern::narrow<meta::Enum>(type)) {
    auto literal = choice->getLiterals().begin();
    std::advance(literal, static_cast<std::ptrdiff_t>(below(choice->getLiterals().size())));
    return Value::createEnumValue(literal->second);
  }
  const auto bits = (std::uint64_t{fRandom()} << 32U) | fRandom();
  if (type == StandardTypes::stringMeta) return Value(text());
  if (type == StandardTypes::stdstringMeta) return Value(std::string(below(20), static_cast<char>(bits)));
  if (type == StandardTypes::integerMeta) return Value(static_cast<std::int32_t>(bits));
  if (type == StandardTypes::integer8Meta) return Value(static_cast<std::int8_t>(bits));
  if (type == StandardTypes::integer16Meta) return Value(static_cast<std::int16_t>(bits));
  if (type == StandardTypes::integer64Meta) return Value(static_cast<std::int64_t>(bits));
  if (type == StandardTypes::uinteger8Meta) return Value(static_cast<std::uint8_t>(bits));
  if (type == StandardTypes::uinteger16Meta) return Value(static_cast<std::uint16_t>(bits));
  if (type == StandardTypes::uinteger64Meta) return Value(bits);
  if (type == StandardTypes::unlimitedNaturalMeta) return Value(static_cast<std::uint32_t>(bits));
  if (type == StandardTypes::realMeta) return Value(static_cast<double>(static_cast<std::int64_t>(bits)) / 1024.0);
  if (type == StandardTypes::booleanMeta) return Value(chance(2));
  if (type == StandardTypes::dateTimeMeta) {
    return Value(boost::posix_time::ptime(boost::gregorian::date(1990, 1, 1)) +
                 boost::posix_time::seconds(static_cast<long>(bits % 1'000'000'000)));
  }
  boost::uuids::uuid uuid{};
  for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(fRandom());
  return Value(uuid);
}

void RandomMetaModel::fillStructure(ReflectiveDataType& data) {
  for (const meta::Property& property : data.getType()->getAllProperties()) {
    if (!property->isCollection()) {
      if (property->lower > 0 || chance(2)) data.setPropertyValue(property, valueOf(property->getType()));
      continue;
    }
    const Value live = data.getPropertyValue(property);
    for (std::size_t i = below(3); i > 0; --i) live.toPrimitiveCollection().addValue(valueOf(property->getType()));
  }
}

void RandomMetaModel::fill(const ModelElement& element) {
  for (const meta::Property& property : element->getMetaClass()->getAllProperties()) {
    if (!property->isReference() && !property->isOmitted) fillValues(element, property);
  }
}

void RandomMetaModel::fillValues(const ModelElement& element, const meta::Property& property) {
  const auto& access = kern::ReflectionPrivateTag::PUBLIC_ACCESS;
  if (property->getType() == StandardTypes::stringToStringMapMeta) {
    const Value live = element->getPropertyValue(property, access);
    for (std::size_t i = below(4); i > 0; --i) {
      live.toStringToStringMap().insert(text(), text(), kern::CollisionResolution::Replace);
    }
  } else if (property->isCollection()) {
    const Value live = element->getPropertyValue(property, access);
    for (std::size_t i = below(5); i > 0; --i) live.toPrimitiveCollection().addValue(valueOf(property->getType()));
  } else if (property->lower > 0 || chance(2)) {
    element->setPropertyValue(property, valueOf(property->getType()), access);
  } else if (chance(2)) {
    element->unset(property);  // absent is not the same as the default
  }
}

void RandomMetaModel::refer(const ModelElement& element, const std::vector<ModelElement>& all) {
  for (const meta::Property& property : element->getMetaClass()->getAllClassProperties()) {
    const bool isWayBack = property->getOpposite() && !property->isComposite;
    if (isWayBack) continue;
    for (std::size_t i = below(property->isCollection() ? 6 : 2); i > 0; --i) {
      const ModelElement& target = all[below(all.size())];
      if (!target->getMetaClass()->conformsTo(property->getType())) continue;
      try {
        if (property->isCollection()) {
          const Value live = element->getPropertyValue(property, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
          live.toElementCollection().addElement(target);
        } else {
          element->set(property, target);
        }
      } catch (const kern::ContainmentError&) {  // it would contain itself: then not
      }
    }
  }
}

}  // namespace testsupport
