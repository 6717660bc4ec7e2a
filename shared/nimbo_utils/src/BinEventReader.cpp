#include "quillon/nimbo/BinEventReader.h"

#include <algorithm>
#include <istream>
#include <type_traits>
#include <utility>
#include <vector>

#include "CompressedBytes.h"
#include "CountedStreamBuf.h"
#include "MemoryStreamBuf.h"
#include "StreamWalker.h"

namespace quillon::nimbo {

// --- The handler that wants nothing.

BinEventHandler::~BinEventHandler() = default;
void BinEventHandler::container(const ContainerEvent&) {}
void BinEventHandler::decompression(const DecompressionEvent&) {}
void BinEventHandler::jsonText(const ByteRange&, std::string_view) {}
void BinEventHandler::packageCount(const PackageCountEvent&) {}
void BinEventHandler::package(const PackageEvent&) {}
void BinEventHandler::tag(const TagEvent&) {}
void BinEventHandler::noElement(const ByteRange&) {}
void BinEventHandler::elementId(const ElementIdEvent&) {}
void BinEventHandler::type(const NameEvent&) {}
void BinEventHandler::beginElement(const ElementEvent&) {}
void BinEventHandler::endElement(const ElementEndEvent&) {}
void BinEventHandler::property(const NameEvent&) {}
void BinEventHandler::plainValue(const ValueEvent&) {}
void BinEventHandler::literal(const NameEvent&) {}
void BinEventHandler::beginCollection(const CollectionEvent&) {}
void BinEventHandler::endCollection() {}
void BinEventHandler::beginMap(const MapEvent&) {}
void BinEventHandler::mapEntry(const MapEntryEvent&) {}
void BinEventHandler::endMap() {}
void BinEventHandler::beginData(std::string_view) {}
void BinEventHandler::endData(const DataEndEvent&) {}
void BinEventHandler::custom(const CustomEvent&) {}
void BinEventHandler::end(const ByteRange&) {}
void BinEventHandler::dangling(const DanglingEvent&) {}
void BinEventHandler::blockLength(const BlockLengthEvent&) {}

// --- Errors.

BinStreamError::BinStreamError(std::uint64_t offset, std::string expected, std::string found)
    : std::runtime_error("offset " + std::to_string(offset) + ": expected " + expected + ", found " + found),
      fOffset(offset),
      fExpected(std::move(expected)),
      fFound(std::move(found)) {}

BinStreamError::~BinStreamError() = default;

namespace {

constexpr const char* kEndOfStream = "the end of the stream";

/// A byte as a reader of a hex dump looks for it, with its letter where it has one.
std::string byteText(unsigned char byte) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text = std::string("the byte 0x") + kDigits[byte >> 4U] + kDigits[byte & 15U];
  if (byte > ' ' && byte < 0x7F) text += std::string(" (\"") + static_cast<char>(byte) + "\")";
  return text;
}

std::string foundText(const StreamFault& fault) {
  switch (fault.kind) {
    case StreamFault::Kind::CutShort:
    case StreamFault::Kind::TooLong:
      return kEndOfStream;
    case StreamFault::Kind::NoElement:
    case StreamFault::Kind::UnexpectedTag:
      return byteText(static_cast<unsigned char>(fault.tag));
    case StreamFault::Kind::ZeroId:
      return "the id 0";
    case StreamFault::Kind::UnknownId:
      return "the id " + std::to_string(fault.id) + ", which was never defined";
    case StreamFault::Kind::NoSerializer:
      return "one of the type \"" + std::string(fault.name) +
             "\", for which this process has no serializer: its bytes tell no length, so that nothing behind them can "
             "be found; run where the serializer is registered";
    case StreamFault::Kind::TooManyAbsent:
      return "a collection of " + std::to_string(fault.count) + " absent ones";
  }
  return {};
}

/// Hands everything on to a handler.
class HandlerSink {
 public:
  static constexpr bool kIsStrict = true;

  explicit HandlerSink(BinEventHandler& handler) : fHandler(handler) {}

  void packageCount(const PackageCountEvent& event) { fHandler.packageCount(event); }
  void package(const PackageEvent& event) { fHandler.package(event); }
  void tag(const TagEvent& event) { fHandler.tag(event); }
  void noElement(const ByteRange& bytes) { fHandler.noElement(bytes); }
  void elementId(const ElementIdEvent& event) { fHandler.elementId(event); }
  void type(const NameEvent& event) { fHandler.type(event); }
  void beginElement(const ElementEvent& event) { fHandler.beginElement(event); }
  void endElement(const ElementEndEvent& event) { fHandler.endElement(event); }
  void property(const NameEvent& event) { fHandler.property(event); }
  void literal(const NameEvent& event) { fHandler.literal(event); }
  void beginCollection(const CollectionEvent& event) { fHandler.beginCollection(event); }
  void endCollection() { fHandler.endCollection(); }
  void beginMap(const MapEvent& event) { fHandler.beginMap(event); }
  void mapEntry(const MapEntryEvent& event) { fHandler.mapEntry(event); }
  void endMap() { fHandler.endMap(); }
  void beginData(std::string_view typeName) { fHandler.beginData(typeName); }
  void endData(const DataEndEvent& event) { fHandler.endData(event); }
  void custom(const CustomEvent& event) { fHandler.custom(event); }
  void end(const ByteRange& bytes) { fHandler.end(bytes); }
  void dangling(const DanglingEvent& event) { fHandler.dangling(event); }

  template <class T>
  void plain(const ByteRange& bytes, SerializationTag tag, const T& content, bool isWellSpelled) {
    ValueEvent event{bytes, tag, {}, isWellSpelled};
    if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
      event.content = static_cast<std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>(content);
    } else {
      event.content = content;
    }
    fHandler.plainValue(event);
  }

  void absent(const ByteRange& bytes) { fHandler.plainValue({bytes, SerializationTag::NONE, {}, true}); }

  static std::string parseCustom(StreamWindow& window, const CustomBinSerializerBase& serializer,
                                 std::uint64_t& bytesTaken) {
    return window.lend([&](StreamIArchive& archive) {
      std::istream& stream = *archive.stream();
      CountedStreamBuf counted(*stream.rdbuf());
      std::istream countedStream(&counted);
      StreamIArchive countedArchive(countedStream);
      std::string text = serializer.parseToJSON(countedArchive);
      bytesTaken = static_cast<std::uint64_t>(counted.taken());
      if (countedStream.fail()) stream.setstate(std::ios_base::failbit);
      return text;
    });
  }

  [[noreturn]] static void fail(const StreamFault& fault) {
    throw BinStreamError(fault.offset, fault.expected, foundText(fault));
  }

 private:
  BinEventHandler& fHandler;
};

/// The letter's length and that many bytes, which must all be there. Memory grows as they come.
std::vector<std::uint8_t> readBlock(std::istream& stream, std::uint64_t size) {
  constexpr std::uint64_t kStep = std::uint64_t{1} << 20;
  std::vector<std::uint8_t> block;
  while (block.size() < size) {
    const std::size_t done = block.size();
    const auto step = static_cast<std::size_t>(std::min(size - done, kStep));
    block.resize(done + step);
    stream.read(reinterpret_cast<char*>(block.data() + done), static_cast<std::streamsize>(step));
    if (static_cast<std::size_t>(stream.gcount()) == step) continue;
    throw BinStreamError(
        1, "a block of the " + std::to_string(size) + " bytes that its length announces",
        "the end of the stream after " + std::to_string(done + static_cast<std::size_t>(stream.gcount())) + " of them");
  }
  return block;
}

constexpr std::uint64_t kLetterBytes = 1;
constexpr std::uint64_t kLengthBytes = 8;

}  // namespace

// --- Containers.

void BinEventReader::read(std::istream& stream) {
  StreamIArchive archive(stream);
  read(archive);
}

void BinEventReader::read(const std::string& bytes) {
  MemoryStreamBuf buffer(bytes);
  std::istream stream(&buffer);
  read(stream);
}

void BinEventReader::read(StreamIArchive& archive) {
  const int letter = archive.get();
  switch (letter) {
    case 'B':
      fHandler->container({{0, kLetterBytes}, 'B', 0});
      return readPayload(archive, true);
    case 'Z':
    case 'z':
    case 'J':
    case 'C':
    case 'c':
      return readStored(archive, static_cast<char>(letter));
    default:
      throw BinStreamError(0, R"(a container's letter, one of "B" "Z" "z" "J" "C" "c")",
                           letter < 0 ? kEndOfStream : byteText(static_cast<unsigned char>(letter)));
  }
}

void BinEventReader::readStored(StreamIArchive& archive, char letter) {
  std::uint64_t size = 0;
  archive >> size;
  if (archive.stream()->fail()) throw BinStreamError(kLetterBytes, "the length of the block", kEndOfStream);
  fHandler->container({{0, kLetterBytes + kLengthBytes}, letter, size});
  const bool isText = letter == 'J' || letter == 'C' || letter == 'c';
  std::string payload;
  {
    const std::vector<std::uint8_t> block = readBlock(*archive.stream(), size);
    if (letter == 'J') {
      payload.assign(block.begin(), block.end());
    } else {
      const bool isZstd = letter == 'z' || letter == 'c';
      payload = detail::decompressed(block, isZstd);
      if (payload.empty() && !isZstd && !isText) {
        throw BinStreamError(kLetterBytes + kLengthBytes, "a stream in gzip form", "data that is damaged or cut short");
      }
      fHandler->decompression({{kLetterBytes + kLengthBytes, size}, payload.size()});
    }
  }
  if (isText) return fHandler->jsonText({0, payload.size()}, payload);
  MemoryStreamBuf buffer(payload);
  std::istream stream(&buffer);
  StreamIArchive payloadArchive(stream);
  readPayload(payloadArchive, false);
}

void BinEventReader::readPayload(StreamIArchive& archive, bool hasBlockLength) {
  HandlerSink sink(*fHandler);
  StreamWalker<HandlerSink> walker(archive, sink);
  walker.readPackages();
  walker.readRoots();
  const std::uint64_t end = walker.position();
  if (hasBlockLength) {
    const std::uint64_t length = walker.readCount("the length of the empty block behind the stream");
    fHandler->blockLength({{end, kLengthBytes}, length});
  } else if (!walker.isAtEnd()) {
    throw BinStreamError(end, "the end of the payload", "more bytes");
  }
}

}  // namespace quillon::nimbo
