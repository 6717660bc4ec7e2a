#include "JsonRawReader.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>

#include "PlainText.h"

namespace tarn::kern::io {

/// The keys of an object, as far as they tell what it is.
struct JsonRawReader::Shape {
  explicit Shape(const JsonNode& node) {
    for (const JsonMember& member : node.members()) {
      JsonNode* const place = placeOf(member.key);
      isMap = isMap || place == nullptr || *place;  // a map's own way of refusing repeated keys is good enough
      if (place != nullptr) *place = member.value;
    }
    if (type && !type.isString()) isMap = true;
    if (content && !content.isObject() && !content.isNull()) isMap = true;
    if (uuid) {
      if (uuid.isString()) id = readUuid(uuid.utf8());
      isMap = isMap || !id || !type;
    } else {
      isMap = isMap || !content;
    }
  }

  [[nodiscard]] ustring typeName() const { return type ? type.text() : ustring(); }

  JsonNode type;
  JsonNode uuid;
  JsonNode content;
  std::optional<boost::uuids::uuid> id;
  bool isMap = false;

 private:
  [[nodiscard]] JsonNode* placeOf(const JsonNode& key) {
    if (key.says("type")) return &type;
    if (key.says("uuid")) return &uuid;
    return key.says("content") ? &content : nullptr;
  }
};

RawPosition JsonRawReader::positionOf(const JsonNode& node) {
  const std::size_t offset = node.offset();
  if (offset < fOffset) {
    fOffset = fLineStart = 0;
    fLine = 1;
  }
  for (; fOffset < offset; ++fOffset) {
    if (fText[fOffset] != '\n') continue;
    ++fLine;
    fLineStart = fOffset + 1;
  }
  return {fLine, static_cast<std::uint32_t>(offset - fLineStart + 1)};
}

RawValue JsonRawReader::entry(const JsonNode& node) {
  RawValue read = value(node);
  using Kind = RawValue::Kind;
  if (read.kind() != Kind::Null && read.kind() != Kind::Element && read.kind() != Kind::Reference) {
    node.fail("an element with \"type\" and \"uuid\", or null");
  }
  return read;
}

RawValue JsonRawReader::value(const JsonNode& node) {
  const RawPosition position = positionOf(node);
  RawValue read = [&]() -> RawValue {
    switch (node.kind()) {
      case JsonKind::Null:
        return {};
      case JsonKind::False:
      case JsonKind::True:
        return node.kind() == JsonKind::True;
      case JsonKind::Number:
        return RawNumber{std::string(node.raw())};
      case JsonKind::String:
        return node.text();
      case JsonKind::Array:
        return bedrock::stack::callDeep([&]() -> RawValue {
          RawValue::List list;
          for (const JsonNode& each : node.entries()) list.push_back(value(each));
          return list;
        });
      case JsonKind::Object:
        return bedrock::stack::callDeep([&] { return object(node); });
    }
    return {};
  }();
  read.position = position;
  return read;
}

RawValue JsonRawReader::object(const JsonNode& node) {
  const Shape shape(node);
  if (shape.isMap) return map(node);
  if (shape.id && !shape.content) return RawReference{shape.typeName(), *shape.id};
  const RawPosition position = positionOf(node);
  std::vector<RawProperty> contents = properties(shape.content);
  if (!shape.id) {
    RawData data;
    data.typeName = shape.typeName();
    data.properties = std::move(contents);
    return data;
  }
  return RawElement{shape.typeName(), *shape.id, std::move(contents), position};
}

RawValue JsonRawReader::map(const JsonNode& node) {
  RawValue::Map map;
  std::unordered_set<ustring> keys;
  for (const JsonMember& member : node.members()) {
    if (!member.value.isString()) {
      node.fail(R"(an element with "type" and "uuid", a data value with "content", or an object of texts)");
    }
    ustring key = member.key.text();
    if (!keys.insert(key).second) {
      member.key.failWith("the key \"" + bedrock::i18n::to_string(key) + "\" comes twice in one object");
    }
    map.emplace_back(std::move(key), member.value.text());
  }
  return map;
}

std::vector<RawProperty> JsonRawReader::properties(const JsonNode& content) {
  std::vector<RawProperty> properties;
  if (content.isNull()) return properties;
  std::unordered_set<ustring> names;
  for (const JsonMember& member : content.members()) {
    ustring name = member.key.text();
    if (!names.insert(name).second) {
      member.key.failWith("the key \"" + bedrock::i18n::to_string(name) + "\" comes twice in one object");
    }
    properties.push_back({std::move(name), value(member.value)});
  }
  return properties;
}

}  // namespace tarn::kern::io
