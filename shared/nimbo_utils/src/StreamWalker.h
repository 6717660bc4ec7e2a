#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "IdTable.h"
#include "StoredTypes.h"
#include "StreamWindow.h"
#include "quillon/nimbo/BinEventReader.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {

/// Why a stream cannot be walked on.
struct StreamFault {
  enum class Kind {
    CutShort,       ///< the stream ends inside of what was expected; strict walks only
    TooLong,        ///< a text that came short announces more than any padding honours; lenient walks only
    NoElement,      ///< a root's tag is neither "m" nor "n"
    ZeroId,         ///< a type or literal of id 0
    UnknownId,      ///< a later mention of something that was never defined; lenient walks: beyond all that was
    UnexpectedTag,  ///< no value has this tag
    NoSerializer,   ///< a custom value that nobody can read
    TooManyAbsent,  ///< entries of collections that take no byte each
  };
  Kind kind;
  std::uint64_t offset;
  const char* expected;                           ///< what was due there, as a phrase
  std::int64_t id = 0;                            ///< of ZeroId, UnknownId
  SerializationTag tag = SerializationTag::NONE;  ///< of NoElement, UnexpectedTag
  std::string_view name = {};                     ///< of NoSerializer: the type
  std::uint64_t count = 0;                        ///< of TooLong, TooManyAbsent
};

/// Entries of collections that are absent (tag "n") take no bytes, so that a short stream could claim any number of
/// them. No writer writes them; this many are taken from one stream nevertheless.
inline constexpr std::uint64_t kMostAbsentEntries = std::uint64_t{1} << 20;

/// The names that a stream has numbered in one of its spaces, in UTF-8. A name stays where it is when its id is defined
/// again, because whoever mentioned it before may still use it.
class NameTable {
 public:
  using Names = IdTable<const std::string*>;

  const std::string& define(std::int64_t id, std::string name) {
    fTexts.push_back(std::move(name));
    return *fById.store(Names::indexOfNew(id), &fTexts.back());
  }
  /// Null for what was not defined.
  const std::string* find(std::int64_t id) noexcept {
    const std::string* const* const found = fById.find(Names::indexOfKnown(id));
    return found == nullptr ? nullptr : *found;
  }
  /// True where a higher id was defined, so that this one lies in a gap.
  [[nodiscard]] bool reaches(std::int64_t id) const noexcept { return Names::indexOfKnown(id) < fById.size(); }

 private:
  std::deque<std::string> fTexts;
  Names fById;
};

/// Walks the payload of a binary stream by its grammar alone and tells a sink what there is: the one place that knows
/// the layout without a meta-model.
///
/// The sink has the operations of BinEventHandler, but not virtual, `plain` instead of `plainValue`:
///   template <class T> void plain(const ByteRange&, SerializationTag, const T&, bool isWellSpelled);
///   void absent(const ByteRange&);
///   std::string parseCustom(StreamWindow&, const CustomBinSerializerBase&, std::uint64_t& bytesTaken);
///   [[noreturn]] void fail(const StreamFault&);
///   static constexpr bool kIsStrict
/// A strict walk fails at the first byte that is missing. A lenient one takes what is missing for zeros, blanks and no
/// tag, as StreamIArchive has it, and ends at the next check of a tag, at that of the next root at the latest.
/// A later mention whose id lies in a gap, below one that was defined, is an error of a strict walk, unless it is a
/// property's. A lenient one takes the empty name for it; for an element, beginElement gets a typeName without data().
///
/// Elements and data values nest to any depth: element, value and collection call each other, and the two ways down
/// pass callDeep.
template <class Sink>
class StreamWalker {
 public:
  StreamWalker(StreamIArchive& archive, Sink& sink) : fIn(archive), fSink(sink) {}

  void readPackages();
  /// Up to the end tag, and that.
  void readRoots();
  /// A u64 that stands alone.
  std::uint64_t readCount(const char* expected) { return read<std::uint64_t>(expected); }
  bool isAtEnd() {
    return fIn.lend(
        [](StreamIArchive& archive) { return archive.stream()->peek() == std::istream::traits_type::eof(); });
  }
  [[nodiscard]] std::uint64_t position() const noexcept { return fIn.position() + fTakenByCustom; }

 private:
  struct Element {
    const std::string* typeName = nullptr;
    boost::uuids::uuid uuid = {};
    std::uint64_t start = 0;
    bool hasContents = false;
  };

  [[nodiscard]] ByteRange since(std::uint64_t start) const noexcept { return {start, position() - start}; }

  void element();
  ElementEvent newElement(std::int64_t id, std::uint64_t start);
  ElementEvent knownElement(std::int64_t id, std::uint64_t start);
  ElementEvent elementInGap(std::int64_t id, std::uint64_t start);
  ByteRange contents();
  void reportDangling();

  void value();
  void collection(std::uint64_t start);
  void plainOrNestedValue(SerializationTag tag, std::uint64_t start);
  template <class T>
  void plainValue(SerializationTag tag, std::uint64_t start);
  void map(std::uint64_t start);
  void data(std::uint64_t start);
  void custom(std::uint64_t start);
  void countAbsentEntries(std::uint64_t count, std::uint64_t start);

  const std::string& typeReference();
  void literalReference(std::uint64_t start);
  const std::string* propertyReference();
  const std::string& laterName(NameTable& names, std::int64_t id, std::uint64_t start, const char* expected);

  template <class Body>
  void repeat(std::uint64_t count, Body body);

  // What is read. `expected` names it in the error of a strict walk.
  template <class T>
  T read(const char* expected);
  int readByte(const char* expected);
  SerializationTag readTag(const char* expected) {
    return static_cast<SerializationTag>(static_cast<signed char>(readByte(expected)));
  }
  template <class Char>
  void readText(std::basic_string<Char>& text, const char* expected);
  template <class Char>
  void readTextStepwise(std::basic_string<Char>& text, const char* expected);
  void readName(std::string& utf8, const char* expected);
  [[noreturn, gnu::noinline, gnu::cold]] void failCut(std::uint64_t offset, const char* expected) {
    fSink.fail(StreamFault{.kind = StreamFault::Kind::CutShort, .offset = offset, .expected = expected});
  }

  StreamWindow fIn;
  Sink& fSink;
  std::uint64_t fTakenByCustom = 0;
  IdTable<Element> fElements;
  NameTable fTypes;
  NameTable fProperties;
  NameTable fLiterals;
  std::uint64_t fAbsentEntries = 0;
  std::u16string fUnits;  ///< scratch of readName
  std::string fText;      ///< scratch of the value being read
  std::string fKey;       ///< scratch of the map entry being read
};

// --- The frame.

template <class Sink>
void StreamWalker<Sink>::readPackages() {
  const std::uint64_t start = position();
  const auto count = read<std::uint64_t>("the number of package URIs");
  fSink.packageCount({since(start), count});
  repeat(count, [this] {
    const std::uint64_t uriStart = position();
    readName(fText, "a package URI");
    fSink.package({since(uriStart), fText});
  });
}

template <class Sink>
void StreamWalker<Sink>::readRoots() {
  constexpr const char* kExpected = "the tag \"m\" of a root, or \"n\" at the end";
  for (;;) {
    const std::uint64_t start = position();
    const SerializationTag tag = readTag(kExpected);
    if (tag == SerializationTag::NONE) {
      fSink.end(since(start));
      return reportDangling();
    }
    if (tag != SerializationTag::MODEL_ELEMENT) {
      fSink.fail(StreamFault{.kind = StreamFault::Kind::NoElement, .offset = start, .expected = kExpected, .tag = tag});
    }
    fSink.tag({since(start), tag});
    element();
  }
}

template <class Sink>
void StreamWalker<Sink>::reportDangling() {
  if constexpr (Sink::kIsStrict) {
    fElements.forEachWithIndex([this](std::uint64_t index, const Element& entry) {
      if (entry.hasContents) return;
      fSink.dangling({static_cast<std::int64_t>(index + 1), *entry.typeName, entry.uuid, entry.start});
    });
  }
}

/// Runs `body` for each of `count` items. The count is what the stream claims: once a read has come short there is
/// nothing to come, and a single run behind the end decides which failure it is. A strict walk fails by itself.
template <class Sink>
template <class Body>
void StreamWalker<Sink>::repeat(std::uint64_t count, Body body) {
  for (; count > 0; --count) {
    const bool isBehindEnd = !Sink::kIsStrict && fIn.hasFailed();
    body();
    if (isBehindEnd) return;
  }
}

// --- Elements.

template <class Sink>
void StreamWalker<Sink>::element() {
  const std::uint64_t start = position();
  const auto id = read<std::int64_t>("the id of an element");
  if (id == 0) return fSink.noElement(since(start));
  fSink.elementId({since(start), id});
  const ElementEvent event = id > 0 ? newElement(id, start) : knownElement(id, start);
  fSink.beginElement(event);
  ByteRange end{position(), 0};
  if (event.hasContents) end = bedrock::stack::callDeep([this] { return contents(); });
  fSink.endElement({end, since(start), event.id});
}

template <class Sink>
[[gnu::noinline]] ElementEvent StreamWalker<Sink>::newElement(std::int64_t id, std::uint64_t start) {
  const std::string& typeName = typeReference();
  const std::uint64_t ownStart = position();
  const auto uuid = read<boost::uuids::uuid>("the uuid of an element");
  const int flag = readByte("the flag of an element");
  const bool hasContents = flag == 'T';
  fElements.store(IdTable<Element>::indexOfNew(id), Element{&typeName, uuid, start, hasContents});
  return {since(ownStart), start, id, true, hasContents, false, static_cast<char>(flag), typeName, uuid};
}

template <class Sink>
[[gnu::noinline]] ElementEvent StreamWalker<Sink>::knownElement(std::int64_t id, std::uint64_t start) {
  constexpr const char* kExpected = "the id of an element, 0, or the negative of one that was defined";
  const auto index = IdTable<Element>::indexOfKnown(id);
  Element* const entry = fElements.find(index);
  if (entry == nullptr) {
    if (!Sink::kIsStrict && index < fElements.size()) return elementInGap(static_cast<std::int64_t>(index + 1), start);
    fSink.fail(StreamFault{.kind = StreamFault::Kind::UnknownId, .offset = start, .expected = kExpected, .id = id});
  }
  const std::uint64_t ownStart = position();
  const int flag = readByte("the flag of an element");
  const bool hadContents = entry->hasContents;
  entry->hasContents = hadContents || flag == 'T';
  return {since(ownStart),
          start,
          static_cast<std::int64_t>(index + 1),
          false,
          flag == 'T',
          hadContents,
          static_cast<char>(flag),
          *entry->typeName,
          entry->uuid};
}

/// A mention has a flag, and contents where that says so, whether or not there is an element.
template <class Sink>
[[gnu::noinline, gnu::cold]] ElementEvent StreamWalker<Sink>::elementInGap(std::int64_t id, std::uint64_t start) {
  const std::uint64_t ownStart = position();
  const int flag = readByte("the flag of an element");
  return {since(ownStart), start, id, false, flag == 'T', false, static_cast<char>(flag), {}, {}};
}

/// Reads properties up to what ends them, and returns where that stands.
template <class Sink>
ByteRange StreamWalker<Sink>::contents() {
  for (;;) {
    const std::uint64_t start = position();
    const std::string* const name = propertyReference();
    if (name == nullptr) return since(start);
    value();
  }
}

// --- Values.

template <class Sink>
void StreamWalker<Sink>::value() {
  const std::uint64_t start = position();
  const SerializationTag tag = readTag("the tag of a value");
  switch (tag) {
    case SerializationTag::COLLECTION:
      return collection(start);
    case SerializationTag::MODEL_ELEMENT:
      fSink.tag({since(start), tag});
      return element();
    default:
      return plainOrNestedValue(tag, start);
  }
}

template <class Sink>
void StreamWalker<Sink>::collection(std::uint64_t start) {
  const SerializationTag entryTag = readTag("the tag of a collection's entries");
  const auto count = read<std::uint64_t>("the number of a collection's entries");
  if (entryTag == SerializationTag::NONE) countAbsentEntries(count, start);
  fSink.beginCollection({since(start), entryTag, count});
  if (entryTag == SerializationTag::MODEL_ELEMENT) {
    repeat(count, [this] { element(); });
  } else {
    repeat(count, [this, entryTag] { plainOrNestedValue(entryTag, position()); });
  }
  fSink.endCollection();
}

template <class Sink>
void StreamWalker<Sink>::countAbsentEntries(std::uint64_t count, std::uint64_t start) {
  fAbsentEntries += std::min(count, kMostAbsentEntries + 1);
  if (fAbsentEntries <= kMostAbsentEntries) return;
  fSink.fail(StreamFault{.kind = StreamFault::Kind::TooManyAbsent,
                         .offset = start,
                         .expected = "entries that take bytes",
                         .count = count});
}

/// A value whose tag is known. `start` is the tag's place if it has one, else that of the value.
template <class Sink>
void StreamWalker<Sink>::plainOrNestedValue(SerializationTag tag, std::uint64_t start) {
  if (detail::visitStoredType(tag, [&]<class T>(std::type_identity<T>) { plainValue<T>(tag, start); })) return;
  switch (tag) {
    case SerializationTag::NONE:
      return fSink.absent(since(start));
    case SerializationTag::ENUM:
      return literalReference(start);
    case SerializationTag::STRINGTOSTRINGMAP:
      return map(start);
    case SerializationTag::DATA_TYPE:
      return data(start);
    case SerializationTag::NATIVE:
      return custom(start);
    default:
      fSink.fail(StreamFault{
          .kind = StreamFault::Kind::UnexpectedTag, .offset = start, .expected = "the tag of a value", .tag = tag});
  }
}

template <class Sink>
template <class T>
[[gnu::noinline]] void StreamWalker<Sink>::plainValue(SerializationTag tag, std::uint64_t start) {
  if constexpr (std::is_same_v<T, bool>) {
    const int byte = readByte("a truth value");
    fSink.plain(since(start), tag, byte == 'T', byte == 'T' || byte == 'F');
  } else if constexpr (std::is_same_v<T, std::string>) {
    readText(fText, "a string");
    fSink.plain(since(start), tag, std::string_view(fText), true);
  } else if constexpr (std::is_same_v<T, std::u16string> || std::is_same_v<T, boost::posix_time::ptime>) {
    readName(fText, "a text");
    fSink.plain(since(start), tag, std::string_view(fText), true);
  } else {
    const T number = read<T>("a number");
    fSink.plain(since(start), tag, number, true);
  }
}

template <class Sink>
[[gnu::noinline]] void StreamWalker<Sink>::map(std::uint64_t start) {
  const auto count = read<std::uint64_t>("the number of a map's entries");
  fSink.beginMap({since(start), count});
  repeat(count, [this] {
    const std::uint64_t entryStart = position();
    readName(fKey, "the key of a map's entry");
    readName(fText, "the value of a map's entry");
    fSink.mapEntry({since(entryStart), fKey, fText});
  });
  fSink.endMap();
}

template <class Sink>
[[gnu::noinline]] void StreamWalker<Sink>::data(std::uint64_t start) {
  if (position() != start) fSink.tag({since(start), SerializationTag::DATA_TYPE});
  fSink.beginData(typeReference());
  fSink.endData({bedrock::stack::callDeep([this] { return contents(); })});
}

template <class Sink>
[[gnu::noinline]] void StreamWalker<Sink>::custom(std::uint64_t start) {
  if (position() != start) fSink.tag({since(start), SerializationTag::NATIVE});
  const std::string& name = typeReference();
  const auto type = tarn::kern::meta::MetaRegistry::getInstance()->getType(bedrock::i18n::utf8_to_ustring(name));
  const CustomBinSerializerBase* const serializer = CustomBinSerializerBase::getCustomBinSerializer(type);
  const std::uint64_t ownStart = position();
  if (serializer == nullptr) {
    fSink.fail(StreamFault{
        .kind = StreamFault::Kind::NoSerializer, .offset = ownStart, .expected = "a custom value", .name = name});
  }
  std::uint64_t taken = 0;
  const std::string text = fSink.parseCustom(fIn, *serializer, taken);
  fTakenByCustom += taken;
  if (Sink::kIsStrict && fIn.hasFailed()) failCut(position(), "the rest of a custom value");
  fSink.custom({since(ownStart), name, text});
}

// --- References to names.

template <class Sink>
const std::string& StreamWalker<Sink>::typeReference() {
  constexpr const char* kExpected = "the id of a type, or the negative of one that was defined";
  const std::uint64_t start = position();
  const auto id = read<std::int64_t>("the id of a type");
  if (id < 0) {
    const std::string& name = laterName(fTypes, id, start, kExpected);
    fSink.type({since(start), id, false, name});
    return name;
  }
  if (id == 0) {
    fSink.fail(StreamFault{.kind = StreamFault::Kind::ZeroId, .offset = start, .expected = kExpected});
  }
  readName(fText, "the name of a type");
  const std::string& name = fTypes.define(id, fText);
  fSink.type({since(start), id, true, name});
  return name;
}

template <class Sink>
[[gnu::noinline]] void StreamWalker<Sink>::literalReference(std::uint64_t start) {
  constexpr const char* kExpected = "the id of an enum literal, or the negative of one that was defined";
  const std::uint64_t idStart = position();
  const auto id = read<std::int64_t>("the id of an enum literal");
  if (id < 0) return fSink.literal({since(start), id, false, laterName(fLiterals, id, idStart, kExpected)});
  if (id == 0) {
    fSink.fail(StreamFault{.kind = StreamFault::Kind::ZeroId, .offset = idStart, .expected = kExpected});
  }
  readName(fText, "the name of an enum literal");
  const std::string& name = fLiterals.define(id, fText);
  fSink.literal({since(start), id, true, name});
}

/// Null at the end of a list of properties, which the id 0, an empty name and a gap in the ids all mark. What marks it
/// is not reported, the property is.
template <class Sink>
const std::string* StreamWalker<Sink>::propertyReference() {
  const std::uint64_t start = position();
  const auto id = read<std::int64_t>("the id of a property");
  if (id == 0) return nullptr;
  if (id < 0) {
    const std::string* const known = fProperties.find(id);
    if (known == nullptr && fProperties.reaches(id)) return nullptr;
    const std::string& name =
        known != nullptr
            ? *known
            : laterName(fProperties, id, start, "the id of a property, 0, or the negative of one that was defined");
    if (name.empty()) return nullptr;
    fSink.property({since(start), id, false, name});
    return &name;
  }
  readName(fText, "the name of a property");
  const std::string& name = fProperties.define(id, fText);
  if (name.empty()) return nullptr;
  fSink.property({since(start), id, true, name});
  return &name;
}

template <class Sink>
const std::string& StreamWalker<Sink>::laterName(NameTable& names, std::int64_t id, std::uint64_t start,
                                                 const char* expected) {
  const std::string* const name = names.find(id);
  if (name != nullptr) [[likely]]
    return *name;
  static const std::string kNoName;
  if (!Sink::kIsStrict && names.reaches(id)) return kNoName;
  fSink.fail(StreamFault{.kind = StreamFault::Kind::UnknownId, .offset = start, .expected = expected, .id = id});
}

// --- Bytes.

template <class Sink>
template <class T>
T StreamWalker<Sink>::read(const char* expected) {
  const std::uint64_t start = position();
  const T value = fIn.read<T>();
  if (Sink::kIsStrict && fIn.hasFailed()) [[unlikely]]
    failCut(start, expected);
  return value;
}

template <class Sink>
int StreamWalker<Sink>::readByte(const char* expected) {
  const std::uint64_t start = position();
  const int byte = fIn.get();
  if (Sink::kIsStrict && byte < 0) [[unlikely]]
    failCut(start, expected);
  return byte;
}

template <class Sink>
template <class Char>
void StreamWalker<Sink>::readText(std::basic_string<Char>& text, const char* expected) {
  if (fIn.readTextInSight(text)) [[likely]]
    return;
  readTextStepwise(text, expected);
}

/// A text that the stream's buffer does not hold in full: it grows as bytes come. Of one that comes short a lenient
/// walk keeps what came and a single blank in place of all that were announced, since nobody sees such a text: what
/// counts is whether it is empty.
template <class Sink>
template <class Char>
[[gnu::noinline]] void StreamWalker<Sink>::readTextStepwise(std::basic_string<Char>& text, const char* expected) {
  constexpr std::uint64_t kStep = 64 * 1024 / sizeof(Char);
  constexpr Char kBlank = 0x20;
  const std::uint64_t start = position();
  const auto count = read<std::uint64_t>(expected);
  text.clear();
  while (text.size() < count) {
    const std::size_t done = text.size();
    const auto step = static_cast<std::size_t>(std::min(count - done, kStep));
    text.resize(done + step, kBlank);
    const std::size_t came = fIn.readBytes(text.data() + done, step * sizeof(Char));
    if (came == step * sizeof(Char)) continue;
    if constexpr (Sink::kIsStrict) failCut(start, expected);
    if (count > StreamIArchive::kPaddingBound) {
      fSink.fail(
          StreamFault{.kind = StreamFault::Kind::TooLong, .offset = start, .expected = expected, .count = count});
    }
    text.resize(done + (came + sizeof(Char) - 1) / sizeof(Char));
    if (text.size() < count) text.push_back(kBlank);
    return;
  }
}

template <class Sink>
void StreamWalker<Sink>::readName(std::string& utf8, const char* expected) {
  readText(fUnits, expected);
  utf8.clear();
  bedrock::i18n::appendUtf8(utf8, fUnits);
}

}  // namespace quillon::nimbo
