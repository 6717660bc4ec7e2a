#include "framework/tarn/kern/io/JsonTestModel.h"

#include <bit>
#include <limits>
#include <stdexcept>
#include <utility>

#include <quillon/logging/Logger.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace tarn::kern::jsontest {

namespace {

using meta::StandardTypes;
using quillon::logging::internal::Logger;

ustring moneyText(const Money& money) {
  const std::string digits = std::to_string(money.amount);
  return ustring(digits.begin(), digits.end()) + u" " + money.currency;
}

Money moneyOf(const ustring& text) {
  const std::size_t blank = text.find(u' ');
  if (blank == 0 || blank == ustring::npos) throw std::invalid_argument("money is an amount, a blank, a currency");
  return {std::stoll(std::string(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(blank))),
          text.substr(blank + 1)};
}

void addShapes(meta::ClassBuilder& plain, const ustring& name, const meta::TypeRef& type) {
  ustring small = name;
  small[0] = static_cast<char16_t>(small[0] - u'A' + u'a');
  plain.attribute(small, type);
  plain.attribute(u"required" + name, type).required();
  plain.attribute(u"many" + name, type).many();
}

template <class T>
void addStandard(meta::ClassBuilder& plain, const meta::TypeRef& type, const ustring& name, T shown) {
  addShapes(plain, name, type);
  plain.attribute(u"default" + name, type).defaultsTo(std::move(shown));
}

void addPlain(meta::PackageBuilder& package) {
  auto& plain = package.addClass(u"Plain");
  const boost::posix_time::ptime noon(boost::gregorian::date(2020, 1, 31), boost::posix_time::hours(12));
  addStandard(plain, StandardTypes::stringMeta, u"String", ustring(u"shown"));
  addStandard(plain, StandardTypes::stdstringMeta, u"StdString", std::string("shown"));
  addStandard(plain, StandardTypes::integerMeta, u"Integer", std::int32_t{7});
  addStandard(plain, StandardTypes::integer8Meta, u"Integer8", std::int8_t{7});
  addStandard(plain, StandardTypes::integer16Meta, u"Integer16", std::int16_t{7});
  addStandard(plain, StandardTypes::integer64Meta, u"Integer64", std::int64_t{7});
  addStandard(plain, StandardTypes::uinteger8Meta, u"UInteger8", std::uint8_t{7});
  addStandard(plain, StandardTypes::uinteger16Meta, u"UInteger16", std::uint16_t{7});
  addStandard(plain, StandardTypes::uinteger64Meta, u"UInteger64", std::uint64_t{7});
  addStandard(plain, StandardTypes::unlimitedNaturalMeta, u"UnlimitedNatural", std::uint32_t{7});
  addStandard(plain, StandardTypes::realMeta, u"Real", 0.5);
  addStandard(plain, StandardTypes::booleanMeta, u"Boolean", true);
  addStandard(plain, StandardTypes::uuidMeta, u"UUID", uuidOf(7));
  addStandard(plain, StandardTypes::dateTimeMeta, u"DateTime", noon);
  addShapes(plain, u"Color", u"Color");
  plain.attribute(u"defaultColor", u"Color").defaultsTo(u"green");
  addShapes(plain, u"Money", u"Money");
  addShapes(plain, u"Point", u"Point");
  plain.attribute(u"generic", StandardTypes::integerMeta).many().genericStorage();
  plain.attribute(u"map", StandardTypes::stringToStringMapMeta).required();
  plain.attribute(u"optionalMap", StandardTypes::stringToStringMapMeta);
}

void addDataTypes(meta::PackageBuilder& package) {
  auto& point = package.addDataType(u"Point");
  point.attribute(u"x", StandardTypes::integerMeta).required();
  point.attribute(u"y", StandardTypes::integerMeta).required();
  point.attribute(u"label", StandardTypes::stringMeta);
  auto& line = package.addDataType(u"Line");
  line.attribute(u"name", StandardTypes::stringMeta).defaultsTo(u"line");
  line.attribute(u"points", u"Point").many();
  line.attribute(u"inner", u"Line").many();
  line.attribute(u"target", u"Node");
  line.attribute(u"targets", u"Node").many();
  line.attribute(u"numbers", StandardTypes::integerMeta).many();
  line.attribute(u"ratio", StandardTypes::realMeta);
  line.attribute(u"notes", StandardTypes::stringToStringMapMeta);
  line.attribute(u"color", u"Color");
  line.attribute(u"price", u"Money");
  line.attribute(u"nested", u"Point");
}

void addNodes(meta::PackageBuilder& package) {
  auto& node = package.addClass(u"Node");
  node.attribute(u"name", StandardTypes::stringMeta);
  node.attribute(u"count", StandardTypes::integerMeta).required().defaultsTo(std::int32_t{5});
  node.composite(u"children", node).many().opposite(u"parent");
  node.reference(u"parent", node).opposite(u"children");
  node.composite(u"only", node);
  node.reference(u"next", node);
  node.reference(u"others", node).many();
  node.reference(u"path", node).many().unique(false);
  node.reference(u"left", node).opposite(u"right");
  node.reference(u"right", node).opposite(u"left");
  node.reference(u"owner", node).opposite(u"owned");
  node.reference(u"owned", node).many().opposite(u"owner");
  node.reference(u"friends", node).many().opposite(u"friendOf");
  node.reference(u"friendOf", node).many().opposite(u"friends");
  node.composite(u"keyed", node).many().qualifiedBy(u"name");
  package.addClass(u"Special").extends(node);
  package.addClass(u"Shape").makeAbstract().attribute(u"name", StandardTypes::stringMeta);
  package.addClass(u"Stranger").attribute(u"name", StandardTypes::stringMeta);
  auto& lines = package.addClass(u"Lines");
  lines.attribute(u"line", u"Line").required();
  lines.attribute(u"lines", u"Line").many();
  auto& hidden = package.addClass(u"Hidden");
  hidden.attribute(u"derived", StandardTypes::integerMeta).derived();
  hidden.attribute(u"transient", StandardTypes::integerMeta).transient();
  hidden.attribute(u"guarded", StandardTypes::integerMeta).guarded();
  hidden.attribute(u"readOnly", StandardTypes::integerMeta).readOnly();
  hidden.attribute(u"marks", StandardTypes::stringMeta).many().unique();
}

meta::Package definePackage() {
  meta::PackageBuilder package(u"jsontest");
  package.addEnum(u"Color")
      .literal(u"red", 0)
      .literal(u"green", 1)
      .literal(u"blue", -7)
      .literal(u"alsoBlue", -7)
      .literal(u"far", 4294967296);
  package.addPrimitive<Money>(u"Money", moneyText, moneyOf);
  addDataTypes(package);
  addNodes(package);
  addPlain(package);
  return package.registerPackage();
}

meta::Type typeNamed(std::u16string_view name) {
  static const meta::Package kPackage = definePackage();
  return kPackage->getTypes().find(name)->second;
}

}  // namespace

meta::Class classNamed(std::u16string_view name) { return narrow<meta::Class>(typeNamed(name)); }
meta::DataType dataTypeNamed(std::u16string_view name) { return narrow<meta::DataType>(typeNamed(name)); }
meta::Enum color() { return narrow<meta::Enum>(typeNamed(u"Color")); }

Model emptyModel() {
  static_cast<void>(color());  // what is read must be registered
  return Model::create(ModelSpec());
}

boost::uuids::uuid uuidOf(std::uint8_t last) {
  boost::uuids::uuid uuid{};
  uuid.data[15] = last;
  return uuid;
}

ModelElement newElement(const Model& model, std::u16string_view className, std::uint8_t last) {
  return classNamed(className)->instantiate(model, uuidOf(last));
}

ModelElement elementOf(const Model& model, std::uint8_t last) {
  return model->findElement(uuidOf(last), FindElementBehavior::Anywhere);
}

void add(const ModelElement& element, std::u16string_view collection, const ModelElement& member) {
  const Value live = element->getPropertyValue(element->property(collection), ReflectionPrivateTag::PRIVILEGED_ACCESS);
  live.toElementCollection().addElement(member);
}

// --- Content by chance.

namespace {

const ReflectionPrivateTag& kPrivileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;

class Filler {
 public:
  Filler(Model model, std::uint32_t seed) : fModel(std::move(model)), fRandom(seed) {}

  void fill(std::size_t count) {
    static constexpr const char16_t* kClasses[] = {u"Node", u"Node", u"Special", u"Stranger", u"Plain", u"Lines"};
    for (std::size_t i = 0; i < count; ++i) {
      const ModelElement element = classNamed(kClasses[below(std::size(kClasses))])->instantiate(fModel, randomUuid());
      if (element->getMetaClass()->conformsTo(classNamed(u"Node"))) fNodes.push_back(element);
      fAll.push_back(element);
    }
    for (const ModelElement& element : fAll) {
      for (const meta::Property& property : element->getMetaClass()->getAllProperties()) {
        if (chance(2)) set(element, property);
      }
    }
  }

 private:
  std::size_t below(std::size_t end) { return fRandom() % end; }
  bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

  boost::uuids::uuid randomUuid() {
    boost::uuids::uuid uuid{};
    for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(fRandom());
    return uuid;
  }

  void set(const ModelElement& element, const meta::Property& property) {
    if (property->isReference()) return setReference(element, property);
    const Value live = element->getPropertyValue(property, kPrivileged);
    if (property->isCollection()) {
      PrimitiveCollection& values = live.toPrimitiveCollection();
      for (std::size_t i = below(5); i-- > 0;) values.addValue(valueOf(property->getType(), 2));
    } else if (property->getType() == StandardTypes::stringToStringMapMeta) {
      for (std::size_t i = below(5); i-- > 0;) {
        live.toStringToStringMap().insert(text(), text(), CollisionResolution::Replace);
      }
    } else if (chance(6)) {
      element->unset(property, kPrivileged);
    } else {
      element->setPropertyValue(property, valueOf(property->getType(), 2), kPrivileged);
    }
  }

  void setReference(const ModelElement& element, const meta::Property& property) {
    if (fNodes.empty()) return;
    try {
      if (!property->isCollection()) {
        const ModelElement target = chance(6) ? ModelElement() : fNodes[below(fNodes.size())];
        return element->set(property, target, kPrivileged);
      }
      const Value live = element->getPropertyValue(property, kPrivileged);
      for (std::size_t i = below(5); i-- > 0;) live.toElementCollection().addElement(fNodes[below(fNodes.size())]);
      if (property->getName() == u"path" && chance(4)) live.toElementCollection().addElement(nullptr);
    } catch (const ContainmentError&) {  // a cycle was drawn
    }
  }

  Value valueOf(const meta::Type& type, std::size_t depth) {
    if (type == StandardTypes::stringMeta) return text();
    if (type == StandardTypes::stdstringMeta) return bytes();
    if (type == StandardTypes::integerMeta) return number<std::int32_t>();
    if (type == StandardTypes::integer8Meta) return number<std::int8_t>();
    if (type == StandardTypes::integer16Meta) return number<std::int16_t>();
    if (type == StandardTypes::integer64Meta) return number<std::int64_t>();
    if (type == StandardTypes::uinteger8Meta) return number<std::uint8_t>();
    if (type == StandardTypes::uinteger16Meta) return number<std::uint16_t>();
    if (type == StandardTypes::uinteger64Meta) return number<std::uint64_t>();
    if (type == StandardTypes::unlimitedNaturalMeta) return number<std::uint32_t>();
    if (type == StandardTypes::realMeta) return real();
    if (type == StandardTypes::booleanMeta) return chance(2);
    if (type == StandardTypes::uuidMeta) return randomUuid();
    if (type == StandardTypes::dateTimeMeta) return time();
    if (type == color()) {
      static constexpr std::int64_t kNumbers[] = {0, 1, -7, 4294967296, 99, -99};
      return Value(ValueMeta(type, ValueFlags::Single), kNumbers[below(std::size(kNumbers))]);
    }
    if (const auto data = narrow<meta::DataType>(type)) return dataOf(data, depth);
    return Value(ValueMeta(type, ValueFlags::Single), Money{number<std::int64_t>(), text()});
  }

  Value dataOf(const meta::DataType& type, std::size_t depth) {
    ReflectiveDataType data(type);
    for (const meta::Property& property : type->getAllProperties()) {
      if (chance(2)) continue;
      const Value live = data.getPropertyValue(property);
      if (property->isReference()) {
        if (fNodes.empty()) continue;
        if (!property->isCollection()) {
          data.setPropertyValue(property, Value(fNodes[below(fNodes.size())]));
        } else {
          for (std::size_t i = below(4); i-- > 0;) live.toElementCollection().addElement(fNodes[below(fNodes.size())]);
        }
      } else if (property->isCollection()) {
        if (depth == 0) continue;
        for (std::size_t i = below(4); i-- > 0;) {
          live.toPrimitiveCollection().addValue(valueOf(property->getType(), depth - 1));
        }
      } else if (property->getType() == StandardTypes::stringToStringMapMeta) {
        for (std::size_t i = below(3); i-- > 0;) {
          live.toStringToStringMap().insert(text(), text(), CollisionResolution::Replace);
        }
      } else {
        data.setPropertyValue(property, valueOf(property->getType(), depth));
      }
    }
    return *std::move(data).toNonReflectiveDataTypeValue();
  }

  template <class T>
  T number() {
    switch (below(4)) {
      case 0:
        return std::numeric_limits<T>::max();
      case 1:
        return std::numeric_limits<T>::min();
      default:
        return static_cast<T>(std::uint64_t{fRandom()} << 32U | fRandom());
    }
  }

  double real() {
    static constexpr double kReals[] = {0.0,
                                        -0.0,
                                        0.1,
                                        1e300,
                                        5e-324,
                                        -1.7976931348623157e308,
                                        std::numeric_limits<double>::infinity(),
                                        -std::numeric_limits<double>::infinity(),
                                        std::numeric_limits<double>::quiet_NaN(),
                                        std::bit_cast<double>(std::uint64_t{0xFFF8000000000001})};
    if (chance(2)) return kReals[below(std::size(kReals))];
    const auto drawn = std::bit_cast<double>(std::uint64_t{fRandom()} << 32U | fRandom());
    return drawn;
  }

  ustring text() {
    static constexpr char16_t kUnits[] = {u'a', u'Z',  u'0',  u'"',   u'\\',  u'/',   u'\n',  0,      0x1F,  0x7F,
                                          0xE4, 0x7FF, 0x800, 0xD800, 0xDC80, 0xDFFF, 0xFFFF, 0xFEFF, 0x2028};
    ustring drawn(below(20), u'x');
    for (char16_t& unit : drawn) {
      if (chance(3)) unit = kUnits[below(std::size(kUnits))];
    }
    return drawn;
  }

  std::string bytes() {
    std::string drawn(below(20), 'x');
    for (char& byte : drawn) {
      if (chance(3)) byte = static_cast<char>(fRandom());
    }
    return chance(3) ? "\xC3\xA4\xF0\x9F\x98\x80" + drawn : drawn;
  }

  boost::posix_time::ptime time() {
    if (chance(6)) return boost::posix_time::ptime(boost::posix_time::not_a_date_time);
    if (chance(6)) return boost::posix_time::ptime(boost::posix_time::neg_infin);
    return {boost::gregorian::date(1970, 1, 1),
            boost::posix_time::microseconds(static_cast<std::int64_t>(fRandom()) * 1'000'003)};
  }

  Model fModel;
  std::mt19937 fRandom;
  std::vector<ModelElement> fNodes;
  std::vector<ModelElement> fAll;
};

template <class Content>
std::string serialized(const Content& content, bool skipsDefaults) {
  std::string text;
  io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(skipsDefaults);
  serializer.serialize(content, io::SerializationOutput::forUTF8String(text));
  return text;
}

}  // namespace

void fillByChance(const Model& model, std::uint32_t seed, std::size_t elements) { Filler(model, seed).fill(elements); }

// --- Texts.

std::string written(const Model& model, bool skipsDefaults) { return serialized(model, skipsDefaults); }
std::string written(const std::vector<ModelElement>& elements, bool skipsDefaults) {
  return serialized(elements, skipsDefaults);
}

void readInto(const Model& model, const std::string& text) {
  io::JSONParser parser;
  parser.setModel(model);
  parser.parseString(text);
}

Model read(const std::string& text) {
  const Model model = emptyModel();
  readInto(model, text);
  return model;
}

std::string document(const std::string& entries) {
  return R"({"version":"1.0","packageUris":["urn:jsontest"],"entries":[)" + entries + "]}";
}

std::string errorOf(const std::string& text) {
  const Model model = emptyModel();
  try {
    readInto(model, text);
  } catch (const io::ParseError& error) {
    return model->getElementCount() == 0 ? error.what() : "the model is not empty";
  }
  return "no error";
}

std::string errorOfContent(const std::string& className, const std::string& content) {
  const std::string error = errorOf(
      document("\n"
               R"({"type":"jsontest.)" +
               className + R"(","uuid":"00000000-0000-0000-0000-000000000001","content":)" + "\n" + content + "}"));
  const std::string place = "JSON text:3:";
  return error.starts_with(place) ? error.substr(place.size()) : error;
}

CapturedLog::CapturedLog() {
  Logger::setLevel(Logger::kDebugLevel);
  Logger::setSink([this](unsigned, int, std::string_view text) { fText += text; });
}

CapturedLog::~CapturedLog() {
  Logger::setSink({});
  Logger::setLevel(Logger::kQuietLevel);
}

}  // namespace tarn::kern::jsontest
