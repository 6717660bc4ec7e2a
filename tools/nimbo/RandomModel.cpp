#include "RandomModel.h"

#include <algorithm>
#include <random>
#include <unordered_map>
#include <vector>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "MetaModels.h"
#include "ToolError.h"

namespace nimbo_tool {

namespace {

using namespace tarn::kern;
using namespace tarn::kern::meta;

constexpr std::u16string_view kSyllables[] = {u"ka", u"lo",  u"mi",      u"ren",     u"sol",     u"ta",
                                              u"vi", u"wun", u"\u00e4l", u"\u00f8r", u"\u03bba", u"\u65e5"};

/// The source of all chance. The standard fixes the engine's numbers; distributions it leaves open, so they are ours.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : fEngine(seed) {}
  /// 0 to count - 1.
  std::size_t below(std::size_t count) { return count == 0 ? 0 : static_cast<std::size_t>(fEngine() % count); }
  bool happens(unsigned percent) { return below(100) < percent; }
  std::uint64_t bits() { return fEngine(); }

 private:
  std::mt19937_64 fEngine;
};

ustring randomText(Chance& chance) {
  ustring text;
  for (std::size_t i = 0, n = 2 + chance.below(4); i < n; ++i) text += kSyllables[chance.below(std::size(kSyllables))];
  return text;
}

boost::uuids::uuid randomUuid(Chance& chance) {
  boost::uuids::uuid uuid{};
  for (std::size_t i = 0; i < uuid.size(); i += 8) {
    const std::uint64_t bits = chance.bits();
    for (std::size_t k = 0; k < 8; ++k) uuid.data[i + k] = static_cast<std::uint8_t>(bits >> (8 * k));
  }
  uuid.data[6] = static_cast<std::uint8_t>((uuid.data[6] & 0x0FU) | 0x40U);
  uuid.data[8] = static_cast<std::uint8_t>((uuid.data[8] & 0x3FU) | 0x80U);
  return uuid;
}

boost::posix_time::ptime randomTime(Chance& chance) {
  const boost::posix_time::ptime start(boost::gregorian::date(2000, 1, 1));
  return start + boost::posix_time::seconds(static_cast<long>(chance.below(800000000)));
}

StringToStringMap randomMap(Chance& chance) {
  StringToStringMap map;
  for (std::size_t i = 0, n = chance.below(4); i < n; ++i) {
    map.insert(randomText(chance), randomText(chance), static_cast<CollisionResolution>(1));
  }
  return map;
}

class Generator {
 public:
  Generator(std::uint64_t elements, std::uint64_t seed) : fWanted(elements), fChance(seed) {}

  Model make() {
    findClasses();
    fModel = Model::create(ModelSpec());
    Transaction transaction = fModel->beginTransaction(false);
    for (std::uint64_t i = 0; i < fWanted; ++i) add(pick(fClasses));
    // Elements that must contain others bring further ones: the list grows while it is walked.
    for (std::size_t i = 0; i < fElements.size(); ++i) fillRequiredContents(i);
    for (std::size_t i = 1; i < fElements.size(); ++i) findContainer(i);
    for (const ModelElement& element : fElements) fillValues(element);
    for (const ModelElement& element : fElements) fillReferences(element);
    transaction.commit(boost::none);
    return fModel;
  }

 private:
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[fChance.below(from.size())];
  }

  void findClasses() {
    std::vector<Package> open = knownPackages();
    for (std::size_t i = 0; i < open.size(); ++i) {
      const Package package = open[i];
      for (const Package& inner : package->getPackages()) open.push_back(inner);
      for (const Type& type : package->getTypesInOrder()) {
        const auto asClass = narrow<Class>(type);
        if (asClass && !asClass->isAbstract()) fClasses.push_back(asClass);
      }
    }
    if (fClasses.empty()) throw ToolError("the meta-model has no class that can be instantiated");
  }

  std::size_t add(const Class& type) {
    fElements.push_back(type->instantiate(fModel, randomUuid(fChance)));
    fByClass[type.get()].push_back(fElements.size() - 1);
    return fElements.size() - 1;
  }

  [[nodiscard]] std::vector<Class> concreteClassesOf(const Type& type) const {
    std::vector<Class> result;
    for (const Class& candidate : fClasses) {
      if (candidate->conformsTo(type)) result.push_back(candidate);
    }
    return result;
  }

  static std::size_t sizeOf(const ModelElement& element, const Property& property) {
    return property->isCollection() ? element->peekElements(property).size()
                                    : std::size_t{element->peekElement(property) != nullptr};
  }

  static void put(const ModelElement& element, const Property& property, const ModelElement& target) {
    if (property->isCollection()) {
      element->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS)
          .toElementCollection()
          .addElement(target);
    } else {
      element->setPropertyValue(property, Value(target), ReflectionPrivateTag::PRIVILEGED_ACCESS);
    }
  }

  void fillRequiredContents(std::size_t index) {
    constexpr std::size_t kMostExtra = 1000000;  // classes that require each other would never end
    const ModelElement element = fElements[index];
    for (const Property& property : element->getMetaClass()->getAllClassProperties()) {
      if (!property->isComposite || property->isOmitted) continue;
      const std::vector<Class> classes = concreteClassesOf(property->getType());
      while (sizeOf(element, property) < property->lower && !classes.empty() &&
             fElements.size() < fWanted + kMostExtra) {
        put(element, property, fElements[add(pick(classes))]);
      }
    }
  }

  /// Containers come from earlier in the list, so there can be no cycle.
  void findContainer(std::size_t index) {
    const ModelElement element = fElements[index];
    if (element->container() || fChance.happens(5)) return;
    for (int attempt = 0; attempt < 20; ++attempt) {
      const ModelElement container = fElements[fChance.below(index)];
      std::vector<Property> fitting;
      for (const Property& property : container->getMetaClass()->getAllClassProperties()) {
        if (property->isComposite && !property->isOmitted && element->getMetaClass()->conformsTo(property->getType()) &&
            sizeOf(container, property) < std::max<std::uint32_t>(property->upper, 1)) {
          fitting.push_back(property);
        }
      }
      if (fitting.empty()) continue;
      put(container, pick(fitting), element);
      return;
    }
  }

  void fillReferences(const ModelElement& element) {
    for (const Property& property : element->getMetaClass()->getAllClassProperties()) {
      if (property->isComposite || property->isOmitted) continue;
      const Property& opposite = property->getOpposite();
      if (opposite && opposite->isComposite) continue;
      std::vector<Class> classes = concreteClassesOf(property->getType());
      std::erase_if(classes, [this](const Class& type) { return fByClass.count(type.get()) == 0; });
      if (classes.empty()) continue;
      const std::size_t most =
          std::min<std::size_t>(std::max<std::uint32_t>(property->upper, 1), property->lower + std::size_t{3});
      const std::size_t wanted = std::max<std::size_t>(property->lower, fChance.below(most + 1));
      for (std::size_t attempt = 0; sizeOf(element, property) < wanted && attempt < 4 * wanted; ++attempt) {
        const ModelElement target = fElements[pick(fByClass[pick(classes).get()])];
        // A pair must fit at the other end too, without taking the place of another one.
        if (opposite && sizeOf(target, opposite) >= std::max<std::uint32_t>(opposite->upper, 1)) continue;
        put(element, property, target);
      }
    }
  }

  void fillValues(const ModelElement& element) {
    for (const Property& property : element->getMetaClass()->getAllPrimitiveProperties()) {
      if (property->isOmitted || property->getType() == StandardTypes::stringToStringMapMeta) {
        if (!property->isOmitted && !property->isCollection()) {
          element->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS)
              .toStringToStringMap()
              .assign(randomMap(fChance));
        }
        continue;
      }
      fillValue(property, [&](const Value& value) {
        if (property->isCollection()) {
          element->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS)
              .toPrimitiveCollection()
              .addValue(value);
        } else {
          element->setPropertyValue(property, value, ReflectionPrivateTag::PRIVILEGED_ACCESS);
        }
      });
    }
  }

  template <class Put>
  void fillValue(const Property& property, const Put& putValue) {
    std::size_t count = 1;
    if (property->isCollection()) {
      count = std::min<std::size_t>(property->upper, property->lower + fChance.below(4));
    } else if (property->lower == 0 && fChance.happens(40)) {
      return;
    }
    for (std::size_t i = 0; i < count; ++i) {
      const boost::optional<Value> value = randomValue(property->getType());
      if (value) putValue(*value);
    }
  }

  boost::optional<Value> randomValue(const Type& type) {
    if (const auto asEnum = narrow<Enum>(type)) {
      if (asEnum->getLiteralsInOrder().empty()) return boost::none;
      return Value::createEnumValue(pick(asEnum->getLiteralsInOrder()));
    }
    if (const auto asData = narrow<DataType>(type)) return Value(randomData(asData));
    const ustring& name = type->getName();
    if (!narrow<PrimitiveType>(type) || !narrow<PrimitiveType>(type)->isStandard()) return boost::none;
    if (name == u"String") return Value(randomText(fChance));
    if (name == u"StdString") return Value(bedrock::i18n::ustring_to_utf8(randomText(fChance)));
    if (name == u"Integer") return Value(static_cast<std::int32_t>(fChance.below(2000)) - 1000);
    if (name == u"Integer8") return Value(static_cast<std::int8_t>(fChance.below(128)));
    if (name == u"Integer16") return Value(static_cast<std::int16_t>(fChance.below(30000)));
    if (name == u"Integer64") return Value(static_cast<std::int64_t>(fChance.bits() >> 1U));
    if (name == u"UInteger8") return Value(static_cast<std::uint8_t>(fChance.below(256)));
    if (name == u"UInteger16") return Value(static_cast<std::uint16_t>(fChance.below(60000)));
    if (name == u"UInteger64") return Value(fChance.bits());
    if (name == u"UnlimitedNatural") return Value(static_cast<std::uint32_t>(fChance.below(100000)));
    if (name == u"Real") return Value(static_cast<double>(fChance.below(1000000)) / 64.0);
    if (name == u"Boolean") return Value(fChance.happens(50));
    if (name == u"UUID") return Value(randomUuid(fChance));
    if (name == u"DateTime") return Value(randomTime(fChance));
    return boost::none;
  }

  ReflectiveDataType randomData(const DataType& type) {
    ReflectiveDataType data(type);
    constexpr unsigned kDeepest = 4;
    if (fDataDepth >= kDeepest) return data;
    ++fDataDepth;
    for (const Property& property : type->getAllProperties()) {
      if (property->isOmitted || property->isReference() || property->isCollection() ||
          property->getType() == StandardTypes::stringToStringMapMeta) {
        continue;
      }
      fillValue(property, [&](const Value& value) { data.setPropertyValue(property, value); });
    }
    --fDataDepth;
    return data;
  }

  std::uint64_t fWanted;
  Chance fChance;
  Model fModel;
  std::vector<Class> fClasses;
  std::vector<ModelElement> fElements;
  std::unordered_map<const Class::Impl*, std::vector<std::size_t>> fByClass;
  unsigned fDataDepth = 0;
};

}  // namespace

Model randomModel(std::uint64_t elements, std::uint64_t seed) { return Generator(elements, seed).make(); }

}  // namespace nimbo_tool
