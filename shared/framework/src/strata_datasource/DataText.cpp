#include "DataText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
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
#include "tarn/kern/io/PlainText.h"

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

constexpr char kHexDigits[] = "0123456789abcdef";

}  // namespace

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
      key(property->getName());
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
    fText += "{\"$map\": [";
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
    fText += "]}";
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
    if (!std::isfinite(value)) return quoted(tarn::kern::io::nameOfSpecialReal(value));
    std::array<char, tarn::kern::io::kLongestReal> text{};
    fText.append(text.data(), tarn::kern::io::writeReal(text.data(), value));
  }
  void literal(const meta::Enum& type, std::int64_t number) {
    const meta::EnumLiteral found = type->getLiteral(number);
    found ? string(found->getName()) : integer(number);
  }
  void reference(const ModelElement& element) {
    if (!element) {
      fText += "null";
    } else {
      fText += "{\"$ref\": ";
      quoted(boost::lexical_cast<std::string>(element->getUuid()));
      fText += '}';
    }
  }
  void bytes(const std::string& content) {
    if (bedrock::i18n::isValidUtf8(content)) return string(utf8_to_ustring(content));
    fText += "{\"$hex\": \"";
    for (const char c : content) {
      const auto byte = static_cast<unsigned char>(c);
      fText += kHexDigits[byte >> 4U];
      fText += kHexDigits[byte & 15U];
    }
    fText += "\"}";
  }

  void key(const ustring& name) { string(name.starts_with(u'$') ? u'$' + name : name); }
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
      const ustring key = member.key.text();
      const meta::Property property = type->getProperty(key.starts_with(u"$$") ? key.substr(1) : key);
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
    const JsonNode hex = node.isObject() ? node.find("$hex") : JsonNode();
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
  static StringToStringMap map(const JsonNode& node) {
    const JsonNode pairs = node.isObject() ? node.find("$map") : JsonNode();
    if (!pairs || !pairs.isArray()) node.fail("{\"$map\": pairs}");
    StringToStringMap entries;
    for (const JsonNode& pair : pairs.entries()) {
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
    const auto value = node.isString()   ? tarn::kern::io::specialRealNamed(node.utf8())
                       : node.isNumber() ? tarn::kern::io::readReal(node.raw())
                                         : std::nullopt;
    if (!value) node.fail("a number");
    return *value;
  }
  static std::int64_t literal(const meta::Enum& type, const JsonNode& node) {
    if (node.isNumber()) return number<std::int64_t>(node);
    const auto found = type->getLiterals().find(string(node));
    if (found == type->getLiterals().end()) node.fail("a literal of " + to_string(type->getQualifiedName()));
    return found->second->getValue();
  }
  ModelElement element(const JsonNode& node) {
    if (node.isNull()) return {};
    const JsonNode reference = node.isObject() ? node.find("$ref") : JsonNode();
    if (!reference) node.fail("{\"$ref\": uuid}");
    return fFind(uuid(reference));
  }

  const FindElement& fFind;
};

// --- Reading without a meta-model.

using tarn::kern::io::JsonKind;
using tarn::kern::io::RawValue;

class RawReader {
 public:
  RawValue value(const JsonNode& node) {
    switch (node.kind()) {
      case JsonKind::Null:
        return {};
      case JsonKind::False:
        return false;
      case JsonKind::True:
        return true;
      case JsonKind::Number:
        return tarn::kern::io::RawNumber{std::string(node.raw())};
      case JsonKind::String:
        return node.text();
      case JsonKind::Array:
        return list(node);
      case JsonKind::Object:
        return object(node);
    }
    return {};
  }

 private:
  RawValue list(const JsonNode& node) {
    RawValue::List entries;
    for (const JsonNode& entry : node.entries()) {
      entries.push_back(bedrock::stack::callDeep([&] { return value(entry); }));
    }
    return entries;
  }
  RawValue object(const JsonNode& node) {
    if (const JsonNode reference = node.find("$ref")) return tarn::kern::io::RawReference{{}, Reader::uuid(reference)};
    if (node.find("$hex")) return textOfBytes(Reader::bytes(node));
    if (node.find("$map")) {
      RawValue::Map entries;
      for (const auto& [key, text] : Reader::map(node)) entries.emplace_back(key, text);
      return entries;
    }
    tarn::kern::io::RawData data;
    for (const JsonMember& member : node.members()) {
      const ustring key = member.key.text();
      data.properties.push_back({key.starts_with(u"$$") ? key.substr(1) : key,
                                 bedrock::stack::callDeep([&] { return value(member.value); })});
    }
    return data;
  }
};

}  // namespace

ustring textOfBytes(std::string_view bytes) {
  ustring text;
  while (!bytes.empty()) {
    const std::size_t valid = std::min(bedrock::i18n::findInvalidUtf8(bytes), bytes.size());
    bedrock::i18n::appendUstring(text, bytes.substr(0, valid));
    bytes.remove_prefix(valid);
    if (bytes.empty()) break;
    text += static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(bytes.front()));
    bytes.remove_prefix(1);
  }
  return text;
}

RawValue readRaw(std::string_view text) {
  const JsonDocument document(text, "data value");
  return RawReader().value(document.root());
}

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
  return Reader::map(document.root());
}

}  // namespace strata_datasource::data_text
