#include "Explanation.h"

#include <array>
#include <charconv>
#include <cstdio>

#include <boost/uuid/uuid_io.hpp>

#include <quillon/nimbo/Compression.h>

#include "Listing.h"

namespace nimbo_tool {

using namespace quillon::nimbo;

namespace {

constexpr std::size_t kHexBytes = 8;  // shown per record; more are counted

std::string quoted(std::string_view text) { return "\"" + forTerminal(text) + "\""; }

std::string tagName(SerializationTag tag) {
  switch (tag) {
    case SerializationTag::MODEL_ELEMENT:
      return "element";
    case SerializationTag::DATA_TYPE:
      return "data value";
    case SerializationTag::COLLECTION:
      return "collection";
    case SerializationTag::ENUM:
      return "enum";
    case SerializationTag::NONE:
      return "absent";
    case SerializationTag::USTRING:
      return "text";
    case SerializationTag::STRING:
      return "8-bit string";
    case SerializationTag::INT:
      return "32-bit number";
    case SerializationTag::INT8:
      return "8-bit number";
    case SerializationTag::INT16:
      return "16-bit number";
    case SerializationTag::INT64:
      return "64-bit number";
    case SerializationTag::DOUBLE:
      return "real number";
    case SerializationTag::BOOL:
      return "truth value";
    case SerializationTag::UINT:
      return "unsigned 32-bit number";
    case SerializationTag::UINT8:
      return "unsigned 8-bit number";
    case SerializationTag::UINT16:
      return "unsigned 16-bit number";
    case SerializationTag::UINT64:
      return "unsigned 64-bit number";
    case SerializationTag::UUID:
      return "uuid";
    case SerializationTag::NATIVE:
      return "custom value";
    case SerializationTag::DATETIME:
      return "time";
    case SerializationTag::STRINGTOSTRINGMAP:
      return "map";
  }
  return "unknown";
}

struct ContentText {
  std::string operator()(std::monostate) const { return "absent"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    std::array<char, 40> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return std::string(text.data(), end);
  }
  std::string operator()(std::string_view value) const { return quoted(value); }
  std::string operator()(const boost::uuids::uuid& value) const { return boost::uuids::to_string(value); }
};

std::string nameText(const char* what, const NameEvent& event) {
  return std::string(what) + " " + forTerminal(event.name, 200) +
         (event.isDefinition ? ", from here on id " + std::to_string(event.id)
                             : " (id " + std::to_string(-event.id) + ")");
}

}  // namespace

Explanation::Explanation(std::string_view container, Selection selection, Line line)
    : fContainer(container), fSelection(std::move(selection)), fLine(std::move(line)) {}

std::string Explanation::hex(const ByteRange& bytes, bool isOfContainer) const {
  const std::string_view source = isOfContainer ? fContainer : fPayload;
  std::string text;
  std::array<char, 4> digits{};
  for (std::uint64_t i = bytes.offset; i < bytes.end() && i < source.size() && i < bytes.offset + kHexBytes; ++i) {
    std::snprintf(digits.data(), digits.size(), "%02X ",
                  static_cast<unsigned char>(source[static_cast<std::size_t>(i)]));
    text += digits.data();
  }
  if (bytes.length > kHexBytes) text += "+" + std::to_string(bytes.length - kHexBytes);
  constexpr std::size_t kWidth = 3 * kHexBytes + 8;
  if (text.size() < kWidth) text.resize(kWidth, ' ');
  return text;
}

bool Explanation::isWanted(const ByteRange& bytes) const {
  if (fSelection.offset) return *fSelection.offset >= bytes.offset && *fSelection.offset < bytes.end();
  if (fSelection.element) return fWantedDepth.has_value();
  return true;
}

void Explanation::show(const ByteRange& bytes, const std::string& meaning, bool isOfContainer) {
  if (isOfContainer && (fSelection.offset || fSelection.element)) return;
  if (!isOfContainer && !isWanted(bytes)) return;
  fHasLines = true;
  std::string offset = std::to_string(bytes.offset);
  if (offset.size() < 10) offset.insert(0, 10 - offset.size(), ' ');
  fLine((isOfContainer ? "file " : "     ") + offset + "  " + hex(bytes, isOfContainer) +
        std::string(2 * std::min<std::size_t>(fDepth, 40), ' ') + meaning + "\n");
}

void Explanation::container(const ContainerEvent& event) {
  std::string meaning = std::string("container ") + event.letter;
  if (event.letter != 'B') meaning += ", " + withSeparators(event.storedBytes) + " bytes are stored";
  show(event.bytes, meaning, true);
  if (event.letter == 'B') {
    fPayload =
        fContainer.substr(static_cast<std::size_t>(std::min<std::uint64_t>(event.bytes.end(), fContainer.size())));
  }
}

void Explanation::decompression(const DecompressionEvent& event) {
  show(event.bytes, "compressed; " + withSeparators(event.payloadBytes) + " bytes of payload, whose offsets follow",
       true);
  const auto block =
      fContainer.substr(static_cast<std::size_t>(event.bytes.offset), static_cast<std::size_t>(event.bytes.length));
  const bool isZstd = !fContainer.empty() && (fContainer[0] == 'z' || fContainer[0] == 'c');
  fDecompressed = isZstd ? uncompressZSTD(std::vector<std::uint8_t>(block.begin(), block.end()))
                         : uncompress(block.data(), block.size());
  fPayload = fDecompressed;
}

void Explanation::jsonText(const ByteRange& bytes, std::string_view text) {
  if (fPayload.empty()) fPayload = text;
  show(bytes, "JSON text: " + forTerminal(text));
}

void Explanation::packageCount(const PackageCountEvent& event) {
  show(event.bytes, withSeparators(event.count) + (event.count == 1 ? " package" : " packages"));
}

void Explanation::package(const PackageEvent& event) { show(event.bytes, "package " + quoted(event.uri)); }

void Explanation::tag(const TagEvent& event) {
  if (fSelection.element && !fWantedDepth) {
    fPending.push_back({event.bytes, "tag: " + tagName(event.tag)});
    return;
  }
  show(event.bytes, "tag: " + tagName(event.tag));
}

void Explanation::noElement(const ByteRange& bytes) {
  fPending.clear();
  show(bytes, "no element");
}

void Explanation::elementId(const ElementIdEvent& event) {
  const std::string meaning =
      event.id > 0 ? "element " + std::to_string(event.id) + " begins" : "element " + std::to_string(-event.id);
  if (fSelection.element && !fWantedDepth) {
    fPending.push_back({event.bytes, meaning});
    return;
  }
  show(event.bytes, meaning);
}

void Explanation::type(const NameEvent& event) {
  if (fSelection.element && !fWantedDepth) {
    fPending.push_back({event.bytes, nameText("type", event)});
    return;
  }
  show(event.bytes, nameText("type", event));
}

void Explanation::flushPending() {
  for (const Pending& pending : fPending) show(pending.bytes, pending.meaning);
  fPending.clear();
}

void Explanation::beginElement(const ElementEvent& event) {
  const bool opensWanted = fSelection.element && !fWantedDepth && event.uuid == *fSelection.element;
  if (opensWanted) fWantedDepth = fDepth;
  flushPending();
  std::string meaning = event.isDefinition
                            ? boost::uuids::to_string(event.uuid) + ", "
                            : forTerminal(event.typeName, 200) + " " + boost::uuids::to_string(event.uuid) + ", ";
  meaning += event.hasContents    ? "contents follow"
             : event.isDefinition ? "contents elsewhere or nowhere"
                                  : "no contents here";
  if (event.flag != 'T' && event.flag != 'F') meaning += " (odd flag " + quoted(std::string_view(&event.flag, 1)) + ")";
  if (event.hasContents && event.hadContents) meaning += " A SECOND TIME";
  show(event.bytes, meaning);
  ++fDepth;
}

void Explanation::endElement(const ElementEndEvent& event) {
  --fDepth;
  if (event.bytes.length > 0) show(event.bytes, "end of element " + std::to_string(event.id));
  if (fWantedDepth && *fWantedDepth == fDepth) fWantedDepth.reset();
}

void Explanation::property(const NameEvent& event) {
  fPending.clear();
  show(event.bytes, nameText("property", event));
}

void Explanation::plainValue(const ValueEvent& event) {
  std::string meaning = tagName(event.tag);
  if (event.tag != SerializationTag::NONE) meaning += " " + std::visit(ContentText(), event.content);
  if (!event.isWellSpelled) meaning += " (an odd byte for it)";
  show(event.bytes, meaning);
}

void Explanation::literal(const NameEvent& event) { show(event.bytes, nameText("literal", event)); }

void Explanation::beginCollection(const CollectionEvent& event) {
  show(event.bytes, "collection of " + withSeparators(event.count) + " x " + tagName(event.entryTag));
  ++fDepth;
}

void Explanation::endCollection() { --fDepth; }

void Explanation::beginMap(const MapEvent& event) {
  show(event.bytes, "map of " + withSeparators(event.count) + (event.count == 1 ? " entry" : " entries"));
  ++fDepth;
}

void Explanation::mapEntry(const MapEntryEvent& event) {
  show(event.bytes, quoted(event.key) + " -> " + quoted(event.value));
}

void Explanation::endMap() { --fDepth; }

void Explanation::beginData(std::string_view) {
  flushPending();
  ++fDepth;
}

void Explanation::endData(const DataEndEvent& event) {
  --fDepth;
  show(event.bytes, "end of data value");
}

void Explanation::custom(const CustomEvent& event) {
  flushPending();
  show(event.bytes, "custom value " + forTerminal(event.typeName, 200) + ": " + forTerminal(event.text));
}

void Explanation::end(const ByteRange& bytes) { show(bytes, "end of the roots"); }

void Explanation::dangling(const DanglingEvent& event) {
  if (fSelection.offset || (fSelection.element && event.uuid != *fSelection.element)) return;
  fHasLines = true;
  fLine("missing: element " + std::to_string(event.id) + ", " + forTerminal(event.typeName, 200) + " " +
        boost::uuids::to_string(event.uuid) + ", first mentioned at offset " + std::to_string(event.firstMention) +
        "\n");
}

void Explanation::blockLength(const BlockLengthEvent& event) {
  show(event.bytes, event.length == 0 ? "length of an empty block"
                                      : "length of a block: " + std::to_string(event.length) + " (odd)");
}

}  // namespace nimbo_tool
