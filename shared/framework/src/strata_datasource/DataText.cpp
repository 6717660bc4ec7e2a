#include "DataText.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Property.h>

#include "tarn/kern/Layout.h"
#include "tarn/kern/io/JsonDocument.h"

namespace strata_datasource::data_text {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using bedrock::i18n::utf8_to_ustring;
using tarn::kern::ModelElement;
using tarn::kern::ReflectiveDataType;
using tarn::kern::StorageType;
using tarn::kern::StringToStringMap;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::ValueFlags;
using tarn::kern::ValueMeta;
using tarn::kern::io::JsonDocument;
using tarn::kern::io::JsonMember;
using tarn::kern::io::JsonNode;
namespace meta = tarn::kern::meta;

namespace {

using Conversion = tarn::kern::DateTimeUtils::Conversion;

constexpr std::uint64_t kUsualNaN = 0x7FF8000000000000ULL;
constexpr char kHexDigits[] = "0123456789abcdef";

std::string hexOf(std::uint64_t bits) {
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += kHexDigits[(bits >> static_cast<unsigned>(shift)) & 15U];
  return text;
}

}  // namespace

std::string textOfReal(double value) {
  if (std::isnan(value)) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return bits == kUsualNaN ? "NaN" : "NaN:" + hexOf(bits);
  }
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  std::array<char, 32> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end};  // the shortest text that gives the same bits: it always fits
}

bool realOfText(std::string_view text, double& value) {
  if (text == "inf" || text == "-inf") {
    value = text.front() == '-' ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
    return true;
  }
  std::uint64_t bits = kUsualNaN;
  if (text != "NaN") {
    if (text.size() != 20 || !text.starts_with("NaN:")) return false;
    const auto [end, error] = std::from_chars(text.data() + 4, text.data() + text.size(), bits, 16);
    if (error != std::errc() || end != text.data() + text.size()) return false;
  }
  value = std::bit_cast<double>(bits);
  return std::isnan(value);
}

namespace {

// --- Writing.

class Writer {
 public:
  std::string take() { return std::move(fText); }

  void object(const ReflectiveDataType& data) {
    fText += '{';
    bool isFirst = true;
    for (const meta::Property& property : data.getType()->getAllProperties()) {
      if (property->isOmitted) continue;
      const Value value = data.getPropertyValue(property);
      if (!value.hasObject()) continue;
      if (property->isReference() && !property->isCollection() && !value.get<ModelElement>()) continue;
      if (!isFirst) fText += ", ";
      isFirst = false;
      string(property->getName());
      fText += ": ";
      if (property->isCollection()) {
        collection(property, value);
      } else {
        single(property->getType(), value);
      }
    }
    fText += '}';
  }

  void map(const StringToStringMap& entries) {
    fText += '[';
    bool isFirst = true;
    for (const auto& [key, value] : entries) {
      if (!isFirst) fText += ", ";
      isFirst = false;
      fText += '[';
      string(key);
      fText += ", ";
      string(value);
      fText += ']';
    }
    fText += ']';
  }

 private:
  void collection(const meta::Property& property, const Value& value) {
    fText += '[';
    bool isFirst = true;
    const auto separate = [&] {
      if (!isFirst) fText += ", ";
      isFirst = false;
    };
    if (property->isReference()) {
      for (const ModelElement& element : value.toElementCollection().getAllElements()) {
        separate();
        reference(element);
      }
    } else {
      for (const Value& entry : value.toPrimitiveCollection().getAllValues()) {
        separate();
        single(property->getType(), entry);
      }
    }
    fText += ']';
  }

  void single(const meta::Type& type, const Value& value) {
    switch (tarn::kern::internal::storageTypeOf(type)) {
      case StorageType::String:
        return string(*value.peek<ustring>());
      case StorageType::Integer:
        return integer(*value.peek<std::int32_t>());
      case StorageType::Integer8:
        return integer(*value.peek<std::int8_t>());
      case StorageType::Integer16:
        return integer(*value.peek<std::int16_t>());
      case StorageType::Integer64:
        return integer(*value.peek<std::int64_t>());
      case StorageType::UnlimitedNatural:
        return integer(*value.peek<std::uint32_t>());
      case StorageType::UInteger8:
        return integer(*value.peek<std::uint8_t>());
      case StorageType::UInteger16:
        return integer(*value.peek<std::uint16_t>());
      case StorageType::UInteger64:
        return integer(*value.peek<std::uint64_t>());
      case StorageType::Real:
        return real(*value.peek<double>());
      case StorageType::Boolean:
        fText += *value.peek<bool>() ? "true" : "false";
        return;
      case StorageType::Uuid:
        return quoted(boost::lexical_cast<std::string>(*value.peek<boost::uuids::uuid>()));
      case StorageType::StdString:
        return bytes(*value.peek<std::string>());
      case StorageType::DateTime:
        return string(Conversion::toUstring(*value.peek<boost::posix_time::ptime>()));
      case StorageType::Map:
        return map(value.toStringToStringMap());
      case StorageType::Enum:
        return literal(tarn::kern::narrow<meta::Enum>(type), *value.peek<std::int64_t>());
      case StorageType::Data:
        return bedrock::stack::callDeep([&] { object(*value.peek<ReflectiveDataType>()); });
      case StorageType::Custom:
        return string(tarn::kern::narrow<meta::PrimitiveType>(type)->toText(value));
      case StorageType::Element:
        return reference(value.get<ModelElement>());
    }
  }

  template <class T>
  void integer(T number) {
    fText += std::to_string(number);
  }
  void real(double value) {
    const std::string text = textOfReal(value);
    std::isfinite(value) ? void(fText += text) : quoted(text);
  }
  void literal(const meta::Enum& type, std::int64_t number) {
    const meta::EnumLiteral found = type->getLiteral(number);
    found ? string(found->getName()) : integer(number);
  }
  void reference(const ModelElement& element) {
    if (!element) {
      fText += "null";
    } else {
      quoted(boost::lexical_cast<std::string>(element->getUuid()));
    }
  }
  void bytes(const std::string& content) {
    if (bedrock::i18n::isValidUtf8(content)) return string(utf8_to_ustring(content));
    fText += "{\"hex\": \"";
    for (const char c : content) {
      const auto byte = static_cast<unsigned char>(c);
      fText += kHexDigits[byte >> 4U];
      fText += kHexDigits[byte & 15U];
    }
    fText += "\"}";
  }

  void quoted(const std::string& plain) { fText += '"' + plain + '"'; }
  void escape(char16_t unit) {
    fText += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) fText += kHexDigits[(unit >> static_cast<unsigned>(shift)) & 15U];
  }
  void string(std::u16string_view text) {
    fText += '"';
    while (!text.empty()) {
      // Well-formed runs go as they are, up to what needs an escape.
      std::size_t run = 0;
      const std::size_t lone = bedrock::i18n::findLoneSurrogate(text);
      while (run < text.size() && run != lone && text[run] >= 0x20 && text[run] != u'"' && text[run] != u'\\') ++run;
      bedrock::i18n::appendUtf8(fText, text.substr(0, run));
      text.remove_prefix(run);
      if (text.empty()) break;
      if (text.front() == u'"' || text.front() == u'\\') {
        fText += '\\';
        fText += static_cast<char>(text.front());
      } else {
        escape(text.front());
      }
      text.remove_prefix(1);
    }
    fText += '"';
  }

  std::string fText;
};

// --- Reading.

class Reader {
 public:
  explicit Reader(const FindElement& find) : fFind(find) {}

  ReflectiveDataType object(const JsonNode& node, const meta::DataType& type) {
    if (!node.isObject()) node.fail("an object of " + to_string(type->getQualifiedName()));
    ReflectiveDataType data = empty(type);
    for (const JsonMember& member : node.members()) {
      const meta::Property property = type->getProperty(member.key.text());
      if (!property) member.key.failWith(to_string(type->getQualifiedName()) + " has no attribute of that name");
      if (property->isCollection()) {
        collection(data, property, member.value);
      } else if (property->isReference()) {
        data.setPropertyValue(property,
                              Value(ValueMeta(property->getType(), ValueFlags::Single), element(member.value)));
      } else {
        data.setPropertyValue(property, single(property->getType(), member.value));
      }
    }
    return data;
  }

  StringToStringMap map(const JsonNode& node) {
    if (!node.isArray()) node.fail("an array of pairs");
    StringToStringMap entries;
    for (const JsonNode& pair : node.entries()) {
      std::vector<ustring> texts;
      if (pair.isArray()) {
        for (const JsonNode& text : pair.entries()) texts.push_back(string(text));
      }
      if (texts.size() != 2) pair.fail("a pair of texts");
      entries.insert(texts[0], texts[1], tarn::kern::CollisionResolution::KeepOld);
    }
    return entries;
  }

 private:
  /// What is not written is absent, whatever the default is.
  static ReflectiveDataType empty(const meta::DataType& type) {
    ReflectiveDataType data(type);
    for (const meta::Property& property : type->getAllProperties()) {
      if (property->isOmitted || !property->defaultValue()) continue;
      data.setPropertyValue(property, Value::createEmptyValue(property->getType(), false));
    }
    return data;
  }

  void collection(ReflectiveDataType& data, const meta::Property& property, const JsonNode& node) {
    if (!node.isArray()) node.fail("an array for " + to_string(property->getName()));
    const Value live = data.getPropertyValue(property);
    for (const JsonNode& entry : node.entries()) {
      if (property->isReference()) {
        live.toElementCollection().addElement(element(entry));
      } else {
        live.toPrimitiveCollection().addValue(single(property->getType(), entry));
      }
    }
  }

  Value single(const meta::Type& type, const JsonNode& node) {
    const ValueMeta valueMeta(type, ValueFlags::Single);
    switch (tarn::kern::internal::storageTypeOf(type)) {
      case StorageType::String:
        return string(node);
      case StorageType::Integer:
        return number<std::int32_t>(node);
      case StorageType::Integer8:
        return number<std::int8_t>(node);
      case StorageType::Integer16:
        return number<std::int16_t>(node);
      case StorageType::Integer64:
        return number<std::int64_t>(node);
      case StorageType::UnlimitedNatural:
        return number<std::uint32_t>(node);
      case StorageType::UInteger8:
        return number<std::uint8_t>(node);
      case StorageType::UInteger16:
        return number<std::uint16_t>(node);
      case StorageType::UInteger64:
        return number<std::uint64_t>(node);
      case StorageType::Real:
        return real(node);
      case StorageType::Boolean:
        if (!node.isBoolean()) node.fail("true or false");
        return node.kind() == tarn::kern::io::JsonKind::True;
      case StorageType::Uuid:
        return uuid(node);
      case StorageType::StdString:
        return bytes(node);
      case StorageType::DateTime:
        return Conversion::fromUstring(string(node));
      case StorageType::Map:
        return map(node);
      case StorageType::Enum:
        return {valueMeta, literal(tarn::kern::narrow<meta::Enum>(type), node)};
      case StorageType::Data: {
        const meta::DataType data = tarn::kern::narrow<meta::DataType>(type);
        return bedrock::stack::callDeep([&]() -> Value { return {object(node, data)}; });
      }
      case StorageType::Custom:
        return tarn::kern::narrow<meta::PrimitiveType>(type)->fromText(string(node));
      case StorageType::Element:
        return {valueMeta, element(node)};
    }
    node.fail("a value");
  }

  static ustring string(const JsonNode& node) {
    if (!node.isString()) node.fail("a text");
    return node.text();
  }
  template <class T>
  static T number(const JsonNode& node) {
    T value{};
    if (node.isNumber()) {
      const std::string_view text = node.raw();
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error == std::errc() && end == text.data() + text.size()) return value;
    }
    node.fail("a number of the attribute's range");
  }
  static double real(const JsonNode& node) {
    double value = 0;
    if (node.isString() && realOfText(node.utf8(), value)) return value;
    return number<double>(node);
  }
  static boost::uuids::uuid uuid(const JsonNode& node) {
    if (!node.isString()) node.fail("a uuid");
    try {
      return boost::uuids::string_generator()(node.utf8());
    } catch (const std::runtime_error&) {
      node.fail("a uuid");
    }
  }
  static std::string bytes(const JsonNode& node) {
    if (node.isString()) return node.utf8();
    const JsonNode hex = node.isObject() ? node.find("hex") : JsonNode();
    if (!hex || !hex.isString() || hex.raw().size() % 2 != 0) node.fail("a text, or bytes in hex");
    std::string content;
    for (std::size_t i = 0; i < hex.raw().size(); i += 2) {
      unsigned byte = 0;
      const char* digits = hex.raw().data() + i;
      const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
      if (error != std::errc() || end != digits + 2) node.fail("bytes in hex");
      content += static_cast<char>(byte);
    }
    return content;
  }
  static std::int64_t literal(const meta::Enum& type, const JsonNode& node) {
    if (node.isNumber()) return number<std::int64_t>(node);
    const auto found = type->getLiterals().find(string(node));
    if (found == type->getLiterals().end()) node.fail("a literal of " + to_string(type->getQualifiedName()));
    return found->second->getValue();
  }
  ModelElement element(const JsonNode& node) { return node.isNull() ? ModelElement() : fFind(uuid(node)); }

  const FindElement& fFind;
};

}  // namespace

std::string write(const ReflectiveDataType& data) {
  Writer writer;
  writer.object(data);
  return writer.take();
}

std::string write(const StringToStringMap& map) {
  Writer writer;
  writer.map(map);
  return writer.take();
}

ReflectiveDataType readData(std::string_view text, const meta::DataType& type, const FindElement& find) {
  const JsonDocument document(text, "data value");
  return Reader(find).object(document.root(), type);
}

StringToStringMap readMap(std::string_view text) {
  const JsonDocument document(text, "map");
  const FindElement none;
  return Reader(none).map(document.root());
}

}  // namespace strata_datasource::data_text
