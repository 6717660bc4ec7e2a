#pragma once

#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include <boost/uuid/uuid.hpp>

#include "quillon/nimbo/SerializationTag.h"
#include "quillon/nimbo/StreamIArchive.h"
#include "quillon/nimbo/export.h"

/// A binary model stream as a sequence of events, without a model and without the meta-model: for whoever wants to look
/// into a file, count what is in it, check it, or turn it into something else. The bytes: docs/formats/binary.md.
///
/// The two steps: derive from BinEventHandler, override what is of interest, and hand the handler to a BinEventReader.
///
///   class ElementCount : public BinEventHandler {
///    public:
///     void beginElement(const ElementEvent& event) override { count += event.isDefinition ? 1 : 0; }
///     std::size_t count = 0;
///   };
///   ElementCount handler;
///   BinEventReader(handler).read(file);
namespace quillon::nimbo {

/// A piece of the payload. Offset 0 is the payload's first byte: the second byte of a "B" container, the tenth of a "J"
/// one, and the first decompressed byte of the others.
struct ByteRange {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  [[nodiscard]] std::uint64_t end() const noexcept { return offset + length; }
  friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

// What the events bring. `bytes` are the event's own: each byte of a payload belongs to exactly one event, the ranges
// come in ascending order, and a range is empty where an event has no bytes of its own. Texts are UTF-8 in which half a
// surrogate pair has its three-byte form (bedrock/i18n.h); they live as long as the call that brings them.

/// The container's head. These bytes are the container's, offset 0 being the letter.
struct ContainerEvent {
  ByteRange bytes;                ///< 1 byte for "B"; for the others 9, with the length of what is stored
  char letter = 0;                ///< one of the six
  std::uint64_t storedBytes = 0;  ///< the length behind the letter; 0 for "B"
};

/// A compressed payload has been decompressed.
struct DecompressionEvent {
  ByteRange bytes;  ///< of the compressed block, in the container
  std::uint64_t payloadBytes = 0;
};

struct PackageCountEvent {
  ByteRange bytes;
  std::uint64_t count = 0;
};

struct PackageEvent {
  ByteRange bytes;
  std::string_view uri;
};

/// A tag that has bytes of its own: "m" in front of a root or of a single element, "r" in front of a single data value,
/// "N" in front of a single custom value.
struct TagEvent {
  ByteRange bytes;
  SerializationTag tag = SerializationTag::NONE;
};

/// The id in front of an element that is not null.
struct ElementIdEvent {
  ByteRange bytes;
  std::int64_t id = 0;  ///< as it stands: positive for a definition, negative for a later mention
};

/// A type, property or enum literal is named. The name is known in both cases.
struct NameEvent {
  ByteRange bytes;
  std::int64_t id = 0;  ///< as it stands: positive for a definition, negative for a later mention
  bool isDefinition = false;
  std::string_view name;
};

/// An element is mentioned.
struct ElementEvent {
  ByteRange bytes;            ///< uuid and flag of a definition, the flag of a later mention
  std::uint64_t start = 0;    ///< where its record begins, with the id
  std::int64_t id = 0;        ///< positive in both cases
  bool isDefinition = false;  ///< first mention
  bool hasContents = false;   ///< its properties follow; otherwise it is only referred to here
  bool hadContents = false;   ///< its properties came before; together with `hasContents` no reader of models takes it
  char flag = 0;              ///< 'T' and 'F' are what writers write; all but 'T' mean that no contents follow
  std::string_view typeName;
  boost::uuids::uuid uuid = {};
};

struct ElementEndEvent {
  ByteRange bytes;   ///< what ended the properties, 0 or none
  ByteRange record;  ///< all of it, contents included
  std::int64_t id = 0;
};

struct DanglingEvent {
  std::int64_t id = 0;
  std::string_view typeName;
  boost::uuids::uuid uuid = {};
  std::uint64_t firstMention = 0;  ///< offset of the record that defined it
};

struct CollectionEvent {
  ByteRange bytes;  ///< "[", the tag of the entries, the count
  SerializationTag entryTag = SerializationTag::NONE;
  std::uint64_t count = 0;
};

/// What a plain value holds; monostate for an absent one. Text, time and 8-bit string are texts (the latter as it
/// stands, whatever its encoding), signed numbers of all widths std::int64_t, unsigned ones std::uint64_t.
using PlainContent =
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string_view, boost::uuids::uuid>;

struct ValueEvent {
  ByteRange bytes;  ///< with the tag, outside of collections
  SerializationTag tag = SerializationTag::NONE;
  PlainContent content;
  /// False for a truth value that is spelled by another byte than 'T' and 'F'; it reads as false.
  bool isWellSpelled = true;
};

struct MapEvent {
  ByteRange bytes;  ///< the count, and outside of collections the tag
  std::uint64_t count = 0;
};

struct MapEntryEvent {
  ByteRange bytes;
  std::string_view key;
  std::string_view value;
};

struct DataEndEvent {
  ByteRange bytes;  ///< what ended the properties
};

struct CustomEvent {
  ByteRange bytes;
  std::string_view typeName;
  std::string_view text;  ///< what the custom serializer's parseToJSON gave
};

struct BlockLengthEvent {
  ByteRange bytes;
  std::uint64_t length = 0;
};

/// Receives the events; each does nothing unless it is overridden. What an override throws ends the reading and comes
/// out of it.
///
///   container decompression? ( jsonText | packageCount package* root* end dangling* blockLength? )
///   root       = tag element
///   element    = noElement | elementId type? beginElement (property value)* endElement
///   value      = tag? element | plainValue | literal | beginCollection value* endCollection
///              | beginMap mapEntry* endMap | tag? type beginData (property value)* endData | tag? type custom
class NIMBO_EXPORT BinEventHandler {
 public:
  BinEventHandler() = default;
  BinEventHandler(const BinEventHandler&) = default;
  BinEventHandler& operator=(const BinEventHandler&) = default;
  virtual ~BinEventHandler();

  virtual void container(const ContainerEvent& event);
  virtual void decompression(const DecompressionEvent& event);
  /// The text in a container "J", "C" or "c", as it stands. `bytes` is all of the payload.
  virtual void jsonText(const ByteRange& bytes, std::string_view text);

  virtual void packageCount(const PackageCountEvent& event);
  virtual void package(const PackageEvent& event);

  virtual void tag(const TagEvent& event);
  /// The id 0 where an element is due.
  virtual void noElement(const ByteRange& bytes);
  virtual void elementId(const ElementIdEvent& event);
  virtual void type(const NameEvent& event);
  virtual void beginElement(const ElementEvent& event);
  virtual void endElement(const ElementEndEvent& event);

  virtual void property(const NameEvent& event);
  virtual void plainValue(const ValueEvent& event);
  /// The value of an enum. `bytes` includes the tag, outside of collections.
  virtual void literal(const NameEvent& event);
  virtual void beginCollection(const CollectionEvent& event);
  virtual void endCollection();
  virtual void beginMap(const MapEvent& event);
  virtual void mapEntry(const MapEntryEvent& event);
  virtual void endMap();
  virtual void beginData(std::string_view typeName);
  virtual void endData(const DataEndEvent& event);
  virtual void custom(const CustomEvent& event);

  /// The tag "n" behind the last root.
  virtual void end(const ByteRange& bytes);
  /// An element that was mentioned and whose contents never came; after `end`, in the order of the ids.
  virtual void dangling(const DanglingEvent& event);
  /// The length of the empty block behind a "B" stream; writers write 0.
  virtual void blockLength(const BlockLengthEvent& event);
};

/// A stream that cannot be read on: its text names offset, what was expected and what was found.
class NIMBO_EXPORT BinStreamError : public std::runtime_error {
 public:
  BinStreamError(std::uint64_t offset, std::string expected, std::string found);
  BinStreamError(const BinStreamError&) = default;
  BinStreamError& operator=(const BinStreamError&) = default;
  ~BinStreamError() override;

  /// In the payload; in the container, where the fault is in front of the payload.
  [[nodiscard]] std::uint64_t offset() const noexcept { return fOffset; }
  [[nodiscard]] const std::string& expected() const noexcept { return fExpected; }
  [[nodiscard]] const std::string& found() const noexcept { return fFound; }

 private:
  std::uint64_t fOffset;
  std::string fExpected;
  std::string fFound;
};

/// Walks one container from its letter to its last byte and tells a handler what there is.
///
/// Nothing is looked up: names are texts, and a stream of a meta-model that this process has never heard of is as good
/// as any other. The one exception are custom values, whose bytes carry no length: where a process has the type and a
/// serializer for it, its parseToJSON is asked, and where it has not, reading stops there with an error.
///
/// It is stricter than BinParser about where a stream ends, since its users want to know: what is cut short is an error
/// at the first missing byte. It takes all that BinParser::parse takes otherwise: ids with gaps or defined again, bytes
/// other than 'T' and 'F' for flags and truth values, names that nobody knows. As there, a later mention of an id in a
/// gap ends the properties where one of them is due, and is an error elsewhere; only BinParser::parseToJSON goes on.
///
/// Streams may be of any size and nest to any depth. Memory holds the names, a record of some 40 bytes per element that
/// the stream defines, and of the content what one event shows; plus the payload, if it is compressed, since it is
/// decompressed as a whole. Damaged input ends in an exception, in time and memory proportional to what is there; the
/// exceptions are BinStreamError, those of decompression (Compression.h), and those of handler and custom serializers.
///
/// Of the caller's stream, the bytes of one container are taken and none behind it, so that containers can follow each
/// other. Threads: one at a time for a reader and its handler.
class NIMBO_EXPORT BinEventReader {
 public:
  /// The handler must outlive the reader.
  explicit BinEventReader(BinEventHandler& handler) noexcept : fHandler(&handler) {}

  void read(std::istream& stream);
  void read(StreamIArchive& archive);
  void read(const std::string& bytes);

 private:
  void readPayload(StreamIArchive& archive, bool hasBlockLength);
  void readStored(StreamIArchive& archive, char letter);

  BinEventHandler* fHandler;
};

}  // namespace quillon::nimbo
