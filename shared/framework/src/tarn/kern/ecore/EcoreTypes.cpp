#include "EcoreTypes.h"

#include <array>
#include <cmath>
#include <utility>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../Layout.h"
#include "../StorageDispatch.h"
#include "../io/PlainText.h"

namespace tarn::kern::ecore {

using bedrock::i18n::utf8_to_ustring;
using internal::TypeTag;
using meta::StandardTypes;

namespace {

using Entry = std::pair<std::string_view, const char16_t*>;

constexpr std::array<Entry, 15> kEcoreTypes = {{{"EBoolean", u"Boolean"},
                                                {"EBooleanObject", u"Boolean"},
                                                {"EByte", u"Integer8"},
                                                {"EByteObject", u"Integer8"},
                                                {"EDouble", u"Real"},
                                                {"EDoubleObject", u"Real"},
                                                {"EFloat", u"Real"},
                                                {"EFloatObject", u"Real"},
                                                {"EInt", u"Integer"},
                                                {"EIntegerObject", u"Integer"},
                                                {"ELong", u"Integer64"},
                                                {"ELongObject", u"Integer64"},
                                                {"EShort", u"Integer16"},
                                                {"EShortObject", u"Integer16"},
                                                {"EString", u"String"}}};

constexpr std::array<Entry, 18> kXmlTypes = {{{"Boolean", u"Boolean"},
                                              {"BooleanObject", u"Boolean"},
                                              {"Byte", u"Integer8"},
                                              {"ByteObject", u"Integer8"},
                                              {"Double", u"Real"},
                                              {"DoubleObject", u"Real"},
                                              {"Float", u"Real"},
                                              {"FloatObject", u"Real"},
                                              {"Int", u"Integer"},
                                              {"IntObject", u"Integer"},
                                              {"Long", u"Integer64"},
                                              {"LongObject", u"Integer64"},
                                              {"Short", u"Integer16"},
                                              {"ShortObject", u"Integer16"},
                                              {"UnsignedByte", u"UInteger8"},
                                              {"UnsignedShort", u"UInteger16"},
                                              {"UnsignedInt", u"UnlimitedNatural"},
                                              {"UnsignedLong", u"UInteger64"}}};

constexpr std::array<Entry, 14> kInstanceClasses = {{{"boolean", u"Boolean"},
                                                     {"java.lang.Boolean", u"Boolean"},
                                                     {"byte", u"Integer8"},
                                                     {"java.lang.Byte", u"Integer8"},
                                                     {"short", u"Integer16"},
                                                     {"java.lang.Short", u"Integer16"},
                                                     {"int", u"Integer"},
                                                     {"java.lang.Integer", u"Integer"},
                                                     {"long", u"Integer64"},
                                                     {"java.lang.Long", u"Integer64"},
                                                     {"float", u"Real"},
                                                     {"java.lang.Float", u"Real"},
                                                     {"double", u"Real"},
                                                     {"java.lang.Double", u"Real"}}};

template <std::size_t size>
meta::PrimitiveType lookUp(const std::array<Entry, size>& table, std::string_view name) {
  for (const Entry& entry : table) {
    if (entry.first == name) return meta::internal::getPrimitiveTypeFromMetaRegistry(entry.second);
  }
  return StandardTypes::stringMeta;
}

std::string ecoreType(const char* name) { return "ecore:EDataType " + std::string(kEcoreNamespace) + "#//" + name; }
std::string xmlType(const char* name) { return "ecore:EDataType " + std::string(kXmlTypeNamespace) + "#//" + name; }

}  // namespace

meta::PrimitiveType typeOfEcoreName(std::string_view name) { return lookUp(kEcoreTypes, name); }
meta::PrimitiveType typeOfXmlName(std::string_view name) { return lookUp(kXmlTypes, name); }
meta::PrimitiveType typeOfInstanceClass(std::string_view name) { return lookUp(kInstanceClasses, name); }

meta::PrimitiveType standardTypeNamed(const ustring& name) {
  return meta::internal::getPrimitiveTypeFromMetaRegistry(name.c_str());
}

std::string dataTypeFor(const meta::Type& type, bool canBeAbsent) {
  switch (internal::storageTypeOf(type)) {
    case StorageType::Integer:
      return ecoreType(canBeAbsent ? "EIntegerObject" : "EInt");
    case StorageType::Integer8:
      return ecoreType(canBeAbsent ? "EByteObject" : "EByte");
    case StorageType::Integer16:
      return ecoreType(canBeAbsent ? "EShortObject" : "EShort");
    case StorageType::Integer64:
      return ecoreType(canBeAbsent ? "ELongObject" : "ELong");
    case StorageType::Real:
      return ecoreType(canBeAbsent ? "EDoubleObject" : "EDouble");
    case StorageType::Boolean:
      return ecoreType(canBeAbsent ? "EBooleanObject" : "EBoolean");
    case StorageType::UInteger8:
      return xmlType("UnsignedByte");
    case StorageType::UInteger16:
      return xmlType("UnsignedShort");
    case StorageType::UnlimitedNatural:
      return xmlType("UnsignedInt");
    case StorageType::UInteger64:
      return xmlType("UnsignedLong");
    case StorageType::DateTime:
      return xmlType("DateTime");
    default:
      return ecoreType("EString");
  }
}

bool isToldByDataType(const meta::Type& type) {
  switch (internal::storageTypeOf(type)) {
    case StorageType::DateTime:
    case StorageType::Uuid:
    case StorageType::StdString:
    case StorageType::Custom:
      return false;
    default:
      return true;
  }
}

std::string textOfDefault(const Value& value) {
  return internal::dispatchSingle(internal::storageTypeOf(value.getType()), [&]<class T>(TypeTag<T>) -> std::string {
    if constexpr (std::same_as<T, ustring>) {
      return bedrock::i18n::ustring_to_utf8(*value.peek<T>());
    } else if constexpr (std::same_as<T, std::string>) {
      return *value.peek<T>();
    } else if constexpr (std::same_as<T, bool>) {
      return *value.peek<T>() ? "true" : "false";
    } else if constexpr (std::same_as<T, double>) {
      const double number = *value.peek<T>();
      if (std::isinf(number)) return number < 0 ? "-Infinity" : "Infinity";
      if (std::isnan(number)) return "NaN";
      std::array<char, io::kLongestReal> digits;
      return std::string(digits.data(), io::writeReal(digits.data(), number));
    } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
      return boost::uuids::to_string(*value.peek<T>());
    } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
      return bedrock::i18n::ustring_to_utf8(DateTimeUtils::Conversion::toUstring(*value.peek<T>()));
    } else if constexpr (std::same_as<T, Value>) {
      return bedrock::i18n::ustring_to_utf8(narrow<meta::PrimitiveType>(value.getType())->toText(value));
    } else {
      return std::to_string(*value.peek<T>());
    }
  });
}

std::optional<Value> defaultFromText(const meta::PrimitiveType& type, std::string_view text) {
  const StorageType storage = internal::storageTypeOf(type);
  if (storage == StorageType::Map) return std::nullopt;
  return internal::dispatchSingle(storage, [&]<class T>(TypeTag<T>) -> std::optional<Value> {
    if constexpr (std::same_as<T, ustring>) {
      return Value(utf8_to_ustring(text));
    } else if constexpr (std::same_as<T, std::string>) {
      return Value(std::string(text));
    } else if constexpr (std::same_as<T, bool>) {
      if (text == "true" || text == "1") return Value(true);
      if (text == "false" || text == "0") return Value(false);
      return std::nullopt;
    } else if constexpr (std::same_as<T, double>) {
      if (text == "Infinity") return Value(HUGE_VAL);
      if (text == "-Infinity") return Value(-HUGE_VAL);
      std::optional<double> number = text == "NaN" ? io::specialRealNamed(text) : io::readReal(text);
      // A literal of Java's kind may end in the letter of its type.
      const bool hasSuffix = text.size() > 1 && std::string_view("fFdD").find(text.back()) != std::string_view::npos;
      if (!number && hasSuffix) number = io::readReal(text.substr(0, text.size() - 1));
      return number ? std::optional(Value(*number)) : std::nullopt;
    } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
      const std::optional<T> uuid = io::readUuid(text);
      return uuid ? std::optional(Value(*uuid)) : std::nullopt;
    } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
      try {
        return Value(DateTimeUtils::Conversion::fromUstring(utf8_to_ustring(text)));
      } catch (const DateTimeError&) {
        return std::nullopt;
      }
    } else if constexpr (std::same_as<T, Value>) {
      return std::nullopt;
    } else {
      const std::optional<T> number = io::readInteger<T>(text);
      return number ? std::optional(Value(*number)) : std::nullopt;
    }
  });
}

}  // namespace tarn::kern::ecore
