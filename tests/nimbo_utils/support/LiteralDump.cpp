#include "LiteralDump.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <nlohmann/json.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "Loading.h"
#include "quillon/nimbo/Compression.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "quillon/nimbo/SerializationTag.h"
#include "quillon/nimbo/StreamIArchive.h"

namespace testsupport {

namespace {

using nlohmann::json;
using quillon::nimbo::SerializationTag;
using quillon::nimbo::StreamIArchive;

void check(bool condition, const char* expression) {
  if (!condition) throw std::runtime_error(failedCheck(expression));
}

template <class Entry>
class Table {
 public:
  void store(std::int64_t id, const Entry& entry) {
    fEntries.insert_or_assign(id, entry);
    fHighest = std::max(fHighest, id);
  }
  /// An empty entry where ids were skipped, as in a vector that has grown over them.
  [[nodiscard]] Entry at(std::int64_t id) const {
    check(~id < fHighest, "definition != nullptr");
    const auto found = fEntries.find(~id + 1);
    return found == fEntries.end() ? Entry() : found->second;
  }

 private:
  std::map<std::int64_t, Entry> fEntries;
  std::int64_t fHighest = 0;
};

class LiteralDump {
 public:
  explicit LiteralDump(std::istream& stream) : fIn(stream) {}

  std::string payload() {
    std::vector<std::u16string> uris;
    fIn >> uris;
    json document;
    document["entries"] = json::array();
    document["packageUris"] = json::array();
    for (const std::u16string& uri : uris) {
      if (isKnown(uri)) document["packageUris"].push_back(bedrock::i18n::ustring_to_utf8(uri));
    }
    document["version"] = "1.0";
    for (SerializationTag t = tag(); t != SerializationTag::NONE; t = tag()) document["entries"].push_back(element(t));
    return document.dump(-1, ' ', false, json::error_handler_t::strict);
  }

 private:
  template <class T>
  T read() {
    T value{};
    fIn >> value;
    return value;
  }
  SerializationTag tag() { return static_cast<SerializationTag>(static_cast<signed char>(fIn.get())); }
  std::string text() { return bedrock::i18n::ustring_to_utf8(read<std::u16string>()); }

  static bool isKnown(const std::u16string& uri) {
    const std::u16string& base = tarn::kern::meta::MetaRegistry::schemaBaseUri();
    const std::size_t slash =
        uri.size() > base.size() && uri.starts_with(base) ? uri.find(u'/', base.size()) : uri.npos;
    if (slash == uri.npos) return false;
    const auto family = uri.substr(base.size(), slash - base.size());
    return static_cast<bool>(tarn::kern::meta::MetaRegistry::getInstance()->getPackageForFamily(family));
  }

  std::string name(Table<std::string>& table) {
    const auto id = read<std::int64_t>();
    check(id != 0, "id != 0");
    if (id < 0) return table.at(id);
    const std::string name = text();
    table.store(id, name);
    return name;
  }

  std::string propertyName() {
    const auto id = read<std::int64_t>();
    if (id == 0) return {};
    if (id < 0) return fProperties.at(id);
    const std::string name = text();
    fProperties.store(id, name);
    return name;
  }

  json element(SerializationTag t) {
    check(t == SerializationTag::MODEL_ELEMENT, "t == SerializationTag::MODEL_ELEMENT");
    const auto id = read<std::int64_t>();
    if (id == 0) return nullptr;
    json object;
    if (id < 0) {
      object = fElements.at(id);
    } else {
      object["type"] = name(fTypes);
      object["uuid"] = boost::lexical_cast<std::string>(read<boost::uuids::uuid>());
      fElements.store(id, object);
    }
    if (fIn.get() != 'T') return object;
    contents(object["content"] = nullptr);
    return object;
  }

  void contents(json& content) {
    for (std::string name = propertyName(); !name.empty(); name = propertyName()) property(content, name);
  }

  void property(json& content, const std::string& name) {
    const SerializationTag t = tag();
    if (t == SerializationTag::COLLECTION) {
      const SerializationTag entryTag = tag();
      json array = json::array();
      for (auto count = read<std::uint64_t>(); count > 0; --count) {
        const bool isBehindEnd = fIn.stream()->fail();
        array.push_back(entryTag == SerializationTag::MODEL_ELEMENT ? element(entryTag) : value(entryTag));
        if (isBehindEnd) break;  // all others would be the same
        if (array.size() > 1'100'000) throw std::runtime_error("more entries than this plain dump takes");
      }
      content[name] = array;
    } else {
      content[name] = t == SerializationTag::MODEL_ELEMENT ? element(t) : value(t);
    }
  }

  json value(SerializationTag t) {
    switch (t) {
      case SerializationTag::UINT8:
        return read<std::uint8_t>();
      case SerializationTag::UINT16:
        return read<std::uint16_t>();
      case SerializationTag::UINT:
        return read<std::uint32_t>();
      case SerializationTag::UINT64:
        return read<std::uint64_t>();
      case SerializationTag::INT8:
        return read<std::int8_t>();
      case SerializationTag::INT16:
        return read<std::int16_t>();
      case SerializationTag::INT:
        return read<std::int32_t>();
      case SerializationTag::INT64:
        return read<std::int64_t>();
      case SerializationTag::DOUBLE:
        return read<double>();
      case SerializationTag::BOOL:
        return fIn.get() == 'T';
      case SerializationTag::USTRING:
      case SerializationTag::DATETIME:
        return text();
      case SerializationTag::STRING:
        return read<std::string>();
      case SerializationTag::UUID:
        return boost::lexical_cast<std::string>(read<boost::uuids::uuid>());
      case SerializationTag::ENUM:
        return name(fLiterals);
      case SerializationTag::NONE:
        return nullptr;
      case SerializationTag::STRINGTOSTRINGMAP:
        return map();
      case SerializationTag::DATA_TYPE: {
        json object;
        object["type"] = name(fTypes);
        contents(object["content"] = nullptr);
        return object;
      }
      case SerializationTag::NATIVE: {
        const auto type =
            tarn::kern::meta::MetaRegistry::getInstance()->getType(bedrock::i18n::utf8_to_ustring(name(fTypes)));
        const auto* const serializer = quillon::nimbo::CustomBinSerializerBase::getCustomBinSerializer(type);
        check(serializer != nullptr, "pCustomBinSerializer != nullptr");
        return serializer->parseToJSON(fIn);
      }
      case SerializationTag::MODEL_ELEMENT:
      case SerializationTag::COLLECTION:
        break;
    }
    std::ostringstream text;
    text << "Unexpected serialization tag " << t << ".";
    throw std::runtime_error(text.str());
  }

  json map() {
    json object = json::object();
    for (auto count = read<std::uint64_t>(); count > 0 && !fIn.stream()->fail(); --count) {
      const std::string key = text();
      object.emplace(key, text());
    }
    return object;
  }

  StreamIArchive fIn;
  Table<json> fElements;
  Table<std::string> fTypes;
  Table<std::string> fProperties;
  Table<std::string> fLiterals;
};

}  // namespace

std::string dumpLiterally(const std::string& container) {
  std::istringstream stream(container);
  StreamIArchive archive(stream);
  const int letter = archive.get();
  if (letter == 'B') return LiteralDump(stream).payload();
  if (letter != 'Z' && letter != 'z' && letter != 'C' && letter != 'c' && letter != 'J') return {};
  std::string text;
  std::vector<std::uint8_t> block;
  if (letter == 'J') {
    archive >> text;
    return text;
  }
  archive >> block;
  text = letter == 'z' || letter == 'c' ? quillon::nimbo::uncompressZSTD(block)
                                        : quillon::nimbo::uncompress(block.data(), block.size());
  if (letter == 'C' || letter == 'c') return text;
  std::istringstream payload(text);
  return LiteralDump(payload).payload();
}

}  // namespace testsupport
