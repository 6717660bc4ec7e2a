#include "StreamDump.h"

#include <cstdint>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include <bedrock/i18n.h>

#include "JsonArena.h"
#include "JsonText.h"

namespace quillon::nimbo {

using json = ArenaJson;

namespace {

ArenaString uuidText(const boost::uuids::uuid& uuid) {
  constexpr const char* kDigits = "0123456789abcdef";
  ArenaString text(36, '-');
  std::size_t at = 0;
  for (const std::uint8_t byte : uuid.data) {
    if (at == 8 || at == 13 || at == 18 || at == 23) ++at;
    text[at++] = kDigits[byte >> 4U];
    text[at++] = kDigits[byte & 15U];
  }
  return text;
}

/// Builds the document as the events come.
///
/// Invariant: the last of fOpen is where the next value goes; what lies below it is not touched until it is closed
/// again, so that the pointers, into arrays too, stay good.
class DumpSink {
 public:
  static constexpr bool kIsStrict = false;

  explicit DumpSink(json::array_t& entries) { fOpen.push_back({.array = &entries}); }

  void noElement(const ByteRange&) { place() = nullptr; }

  void beginElement(const ElementEvent& event) {
    if (event.typeName.data() == nullptr) return beginElementInGap(event.hasContents);
    json::object_t& object = startObject();
    json* const content = event.hasContents ? &append(object, "content", nullptr) : nullptr;
    append(object, "type", ArenaString(event.typeName));
    append(object, "uuid", uuidText(event.uuid));
    fOpen.push_back({.content = content});
  }
  void endElement(const ElementEndEvent&) { fOpen.pop_back(); }

  void beginData(std::string_view typeName) {
    json::object_t& object = startObject();
    json* const content = &append(object, "content", nullptr);
    append(object, "type", ArenaString(typeName));
    fOpen.push_back({.content = content});
  }
  void endData(const DataEndEvent&) { fOpen.pop_back(); }

  /// The content is null until it has a property. One that comes again takes the place of the earlier one.
  void property(const NameEvent& event) {
    json& content = *fOpen.back().content;
    if (content.is_null()) content = json::object();
    auto& object = content.get_ref<json::object_t&>();
    fOpen.back().slot = &object.try_emplace(object.end(), ArenaString(event.name))->second;
  }

  void beginCollection(const CollectionEvent&) {
    json& value = place();
    value = json::array();
    fOpen.push_back({.array = &value.get_ref<json::array_t&>()});
  }
  void endCollection() { fOpen.pop_back(); }

  void beginMap(const MapEvent&) { fMap = &startObject(); }
  void mapEntry(const MapEntryEvent& event) { fMap->emplace(ArenaString(event.key), ArenaString(event.value)); }
  void endMap() {}

  void literal(const NameEvent& event) { place() = ArenaString(event.name); }
  void custom(const CustomEvent& event) { place() = ArenaString(event.text); }
  void absent(const ByteRange&) { place() = nullptr; }

  template <class T>
  void plain(const ByteRange&, SerializationTag, const T& content, bool) {
    if constexpr (std::is_same_v<T, std::string_view>) {
      place() = ArenaString(content);
    } else if constexpr (std::is_same_v<T, boost::uuids::uuid>) {
      place() = uuidText(content);
    } else {
      place() = content;
    }
  }

  static std::string parseCustom(StreamWindow& window, const CustomBinSerializerBase& serializer, std::uint64_t&) {
    return window.lend([&](StreamIArchive& archive) { return serializer.parseToJSON(archive); });
  }

  [[noreturn]] static void fail(const StreamFault& fault) { throw DumpFailure{fault.kind, fault.tag, fault.count}; }

  // What leaves no trace in the document.
  static void tag(const TagEvent&) {}
  static void elementId(const ElementIdEvent&) {}
  static void type(const NameEvent&) {}
  static void end(const ByteRange&) {}

 private:
  /// An array, or an object by whose properties the values go.
  struct Open {
    json::array_t* array = nullptr;
    json* content = nullptr;
    json* slot = nullptr;
  };

  json& place() {
    Open& open = fOpen.back();
    if (open.array != nullptr) return open.array->emplace_back(nullptr);
    return *open.slot;
  }

  /// Nobody knows what it is: it is null, or all that there is are its contents.
  void beginElementInGap(bool hasContents) {
    json* content = nullptr;
    if (hasContents) {
      content = &append(startObject(), "content", nullptr);
    } else {
      place() = nullptr;
    }
    fOpen.push_back({.content = content});
  }

  json::object_t& startObject() {
    json& value = place();
    value = json::object();
    return value.get_ref<json::object_t&>();
  }

  /// Keys come in ascending order.
  template <class Value>
  static json& append(json::object_t& object, const char* key, Value value) {
    return object.emplace_hint(object.end(), key, std::move(value))->second;
  }

  std::vector<Open> fOpen;
  json::object_t* fMap = nullptr;
};

}  // namespace

std::string dumpStream(StreamIArchive& archive, const std::vector<std::u16string>& packageUris) {
  JsonArena arena;
  json& document = arena.make<json>();
  auto& entries = (document["entries"] = json::array()).get_ref<json::array_t&>();
  {
    DumpSink sink(entries);
    StreamWalker<DumpSink>(archive, sink).readRoots();
  }
  json& uris = document["packageUris"] = json::array();
  for (const std::u16string& uri : packageUris) uris.push_back(ArenaString(bedrock::i18n::ustring_to_utf8(uri)));
  document["version"] = "1.0";
  std::string text;
  appendJsonText(text, document);
  return text;
}

}  // namespace quillon::nimbo
