#include "quillon/nimbo/BinParser.h"

#include <cstdint>
#include <istream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/except.h>
#include <bedrock/i18n.h>
#include <nimbo/messages.h>
#include <quillon/logging/Logger.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "BinParserTables.h"
#include "CompressedBytes.h"
#include "MemoryStreamBuf.h"
#include "PackageUris.h"
#include "PendingReferences.h"
#include "StoredTypes.h"
#include "StreamDump.h"
#include "StreamWindow.h"
#include "TextFormats.h"
#include "TypeTags.h"
#include "quillon/nimbo/BinFormat.h"
#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using bedrock::i18n::ustring;
using bedrock::i18n::ustring_to_utf8;
using kern::ModelElement;
using kern::Value;
using logging::internal::Logger;

namespace {

[[noreturn, gnu::cold, gnu::noinline]] void failAssertion(const char* expression, int line) {
  throw BinSerializationException("shared/nimbo_utils/src/BinParser:" + std::to_string(line) +
                                  ": Assertion failed during binary parsing: `" + expression + "'");
}

// Checks of the input, never of ourselves: they are always on.
#define NIMBO_PARSE_ASSERT(expression)                               \
  do {                                                               \
    if (!(expression)) [[unlikely]]         /* the damaged stream */ \
      failAssertion(#expression, __LINE__); /* shown in the text */  \
  } while (false)

[[noreturn, gnu::cold, gnu::noinline]] void failUnknownName(const char* what, const ustring& name, const char* where,
                                                            const ustring& owner) {
  throw BinSerializationException(std::string("Could not find ") + what + " \"" + ustring_to_utf8(name) + "\" in " +
                                  where + " " + ustring_to_utf8(owner) + ".");
}

[[noreturn, gnu::cold, gnu::noinline]] void failUnexpectedTag(SerializationTag tag) {
  std::ostringstream text;
  text << "Unexpected serialization tag " << tag << ".";
  throw BinSerializationException(text.str());
}

std::string uuidText(const ModelElement::Impl& element) { return boost::lexical_cast<std::string>(element.getUuid()); }

[[noreturn, gnu::cold, gnu::noinline]] void failOtherClass(const meta::Class& parsed, const ModelElement& existing) {
  throw BinSerializationException("Error: A reference to the " + ustring_to_utf8(parsed->getName()) +
                                  " element with UUID " + uuidText(*existing) + " was parsed but matches an existing " +
                                  ustring_to_utf8(existing->getMetaClass()->getName()) +
                                  " element in the target model.");
}

[[noreturn, gnu::cold, gnu::noinline]] void failContentsTwice(const ModelElement::Impl& element) {
  throw BinSerializationException("Error: A " + ustring_to_utf8(element.getMetaClass()->getName()) +
                                  " element with UUID " + uuidText(element) + " already exists in the target model.");
}

/// Fails as every checked read of a value of that type fails that wants another one.
[[noreturn, gnu::cold, gnu::noinline]] void failCast(const meta::Type& type) {
  throw bedrock::except::Exception<::nimbo::messages::CannotCastIncompatibleTypes, std::exception>(
      type->getQualifiedName());
}

// The texts below cost more than reading an element, and most often nobody listens.

void noteExisting(const ModelElement::Impl& element) {
  auto line = Logger::logger(0).debug(false);
  if (!line) return;
  line << "Note: A reference to the already existing " << ustring_to_utf8(element.getMetaClass()->getName())
       << " element with UUID " << uuidText(element) << " was parsed.\n";
}

void warnDangling(const ModelElement::Impl& element) {
  auto line = Logger::logger(0).debug(false);
  if (!line) return;
  line << "Warning: A dangling reference to the " << bedrock::i18n::to_string(element.getMetaClass()->getName())
       << " element with UUID " << uuidText(element) << " was parsed.\n";
}

/// What a property is read into: an element, or a value of a structured data type.
struct ElementTarget {
  ModelElement::Impl& element;

  [[nodiscard]] Value get(const meta::Property& property) const {
    return element.getPropertyValue(property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  void set(const meta::Property& property, const Value& value) const {
    element.setPropertyValue(property, value, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  template <class T>
  void setObject(const meta::Property& property, T object) const {
    element.set<T>(property, std::move(object), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
};

struct DataTarget {
  kern::ReflectiveDataType& data;

  [[nodiscard]] Value get(const meta::Property& property) const { return data.getPropertyValue(property); }
  void set(const meta::Property& property, Value value) const { data.setPropertyValue(property, std::move(value)); }
  template <class T>
  void setObject(const meta::Property& property, T object) const {
    set(property, Value(std::move(object)));
  }
};

/// Reads the roots of one payload, from behind its package URIs to its end tag.
///
/// Elements and data values nest to any depth, and the functions call each other accordingly: parseContents reads
/// properties, parseProperty and parseValue read what contains contents again. The two ways down pass callDeep. What
/// lies in their frames is paid for once per level of nesting, so what need not be there has a function of its own.
///
/// A read behind the end of the stream is no error here: it gives zeros and no tag, and the next check of a tag fails,
/// that of the next root at the latest.
class PayloadReader {
 public:
  PayloadReader(const kern::Model& model, BinParserTables& tables, StreamIArchive& archive)
      : fModel(model), fTables(tables), fIn(archive), fPending(tables.elements) {}

  void parseRoots();

 private:
  SerializationTag parseTag() { return static_cast<SerializationTag>(static_cast<signed char>(fIn.get())); }

  meta::Type parseMetaType();
  const ParsedProperty* parseMetaProperty(const meta::StructuredType& owner);
  meta::EnumLiteral parseMetaEnumLiteral(const meta::Enum& owner);

  ModelElement parseModelElement(SerializationTag t);
  IdTable<ParsedElement>::Index parseElementReference(std::int64_t id);
  ModelElement parseElementContents(ParsedElement& entry);
  ParsedElement parseNewElement();

  template <class Target>
  void parseContents(Target target, const meta::StructuredType& type);
  template <class Target>
  void parseProperty(Target target, const ParsedProperty& property);
  template <class Target>
  void parseSingleElement(Target target, const ParsedProperty& property, SerializationTag t);
  void parsePlainTarget(ElementTarget target, const ParsedProperty& property);
  void parsePlainMember(ElementTarget target, const ParsedProperty& property);
  template <class Target>
  void parseMap(Target target, const meta::Property& property);
  template <class Target>
  void parseSingleValue(Target target, const ParsedProperty& property, SerializationTag t);

  template <class Target>
  void parseCollection(Target target, const ParsedProperty& property);
  void addElements(kern::ElementCollection& collection, std::uint64_t count);
  void addValues(kern::PrimitiveCollection& collection, const ParsedProperty& property, SerializationTag entryTag,
                 std::uint64_t count);
  void assignObjects(kern::PrimitiveCollection& collection, SerializationTag entryTag, std::uint64_t count);
  template <class T>
  std::vector<T> parseObjects(std::uint64_t count);

  Value parseValue(const ParsedProperty& property, SerializationTag t, bool isOptional);
  Value parseStandardValue(const ParsedProperty& property, SerializationTag t);
  template <class T>
  T parseObject();
  template <class T>
  Value checkedValue(T object, const ParsedProperty& property, SerializationTag t);
  meta::EnumLiteral parseLiteral(const meta::Type& type);
  Value parseDataTypeValue(const meta::Type& type);
  Value parseNativeValue(const meta::Type& metaType);

  template <class Body>
  void repeat(std::uint64_t count, Body body);

  const kern::Model& fModel;
  BinParserTables& fTables;
  StreamWindow fIn;
  PendingReferences fPending;
};

/// Runs `body` for each of `count` items. The count is what the stream claims: once a read has come short there is
/// nothing to come, and the whole reading will end in an exception. Which one, a single run behind the end decides; all
/// further ones would do the same.
template <class Body>
void PayloadReader::repeat(std::uint64_t count, Body body) {
  for (; count > 0; --count) {
    const bool isBehindEnd = fIn.hasFailed();
    body();
    if (isBehindEnd) return;
  }
}

void PayloadReader::parseRoots() {
  for (SerializationTag tag = parseTag(); tag != SerializationTag::NONE; tag = parseTag()) parseModelElement(tag);
  fPending.flush();
}

// --- References to the meta-model.

meta::Type PayloadReader::parseMetaType() {
  const auto id = fIn.read<std::int64_t>();
  NIMBO_PARSE_ASSERT(id != 0);
  if (id < 0) {
    const meta::Type* const type = fTables.types.find(fTables.types.indexOfKnown(id));
    NIMBO_PARSE_ASSERT(type != nullptr);
    return *type;
  }
  static const meta::MetaRegistry* const kRegistry = meta::MetaRegistry::getInstance();
  const auto name = fIn.readText<char16_t>();
  const meta::Type type = kRegistry->getType(name);
  if (!type) {
    throw BinSerializationException("Could not find type \"" + ustring_to_utf8(name) + "\" in meta-registry.");
  }
  return fTables.types.store(fTables.types.indexOfNew(id), type);
}

/// Null at the end of a list of properties. Valid until the end of the payload.
const ParsedProperty* PayloadReader::parseMetaProperty(const meta::StructuredType& owner) {
  const auto id = fIn.read<std::int64_t>();
  if (id == 0) return nullptr;
  if (id < 0) {
    const auto index = fTables.properties.indexOfKnown(id);
    NIMBO_PARSE_ASSERT(index < fTables.properties.size());
    const auto* const property = fTables.properties.find(index);
    return property != nullptr ? property->get() : nullptr;  // a gap holds no property, which ends the list
  }
  const auto name = fIn.readText<char16_t>();
  const meta::Property property = owner->getProperty(name);
  if (!property) failUnknownName("property", name, "type", owner->getName());
  const auto index = fTables.properties.indexOfNew(id);
  if (auto* const former = fTables.properties.find(index)) fTables.formerProperties.push_back(*former);
  return fTables.properties.store(index, std::make_shared<const ParsedProperty>(property)).get();
}

meta::EnumLiteral PayloadReader::parseMetaEnumLiteral(const meta::Enum& owner) {
  const auto id = fIn.read<std::int64_t>();
  NIMBO_PARSE_ASSERT(id != 0);
  if (id < 0) {
    const meta::EnumLiteral* const literal = fTables.enumLiterals.find(fTables.enumLiterals.indexOfKnown(id));
    NIMBO_PARSE_ASSERT(literal != nullptr);
    return *literal;
  }
  const auto name = fIn.readText<char16_t>();
  const auto& literals = owner->getLiterals();
  const auto found = literals.find(name);
  if (found == literals.end()) failUnknownName("literal", name, "enum", owner->getName());
  return fTables.enumLiterals.store(fTables.enumLiterals.indexOfNew(id), found->second);
}

// --- Elements.

ModelElement PayloadReader::parseModelElement(SerializationTag t) {
  NIMBO_PARSE_ASSERT(t == SerializationTag::MODEL_ELEMENT);
  const auto id = fIn.read<std::int64_t>();
  if (id == 0) return nullptr;
  ParsedElement& entry = *fTables.elements.find(parseElementReference(id));
  if (fIn.get() != 'T') return entry.element;
  return parseElementContents(entry);
}

ModelElement PayloadReader::parseElementContents(ParsedElement& entry) {
  ModelElement element = entry.element;
  if (entry.defined) failContentsTwice(*element);
  entry.defined = true;  // before the contents: they may mention the element, but not bring it again
  bedrock::stack::callDeep([&] { parseContents(ElementTarget{*element}, element->getMetaClass()); });
  return element;
}

/// Where the element that is mentioned stands in the table.
[[gnu::noinline]] IdTable<ParsedElement>::Index PayloadReader::parseElementReference(std::int64_t id) {
  IdTable<ParsedElement>& elements = fTables.elements;
  if (id > 0) {
    const auto index = elements.indexOfNew(id);
    if (index < elements.size()) fPending.flush();  // what was read so far means the former element
    elements.store(index, parseNewElement());
    return index;
  }
  const auto index = elements.indexOfKnown(id);
  const ParsedElement* const entry = elements.find(index);
  NIMBO_PARSE_ASSERT(entry != nullptr);
  return index;
}

/// The element is made at its first mention, so that whatever refers to it gets the real one and nothing is left to be
/// mended once its contents come.
ParsedElement PayloadReader::parseNewElement() {
  const auto metaClass = kern::narrow<meta::Class>(parseMetaType());
  NIMBO_PARSE_ASSERT(static_cast<bool>(metaClass));
  const auto uuid = fIn.read<boost::uuids::uuid>();
  ModelElement existing = fModel->findElement(uuid, kern::FindElementBehavior::Anywhere);
  if (!existing) return {metaClass->instantiate(fModel, uuid), false};
  if (existing->getMetaClass() != metaClass) failOtherClass(metaClass, existing);
  noteExisting(*existing);
  return {std::move(existing), true};
}

// --- Properties.

template <class Target>
void PayloadReader::parseContents(Target target, const meta::StructuredType& type) {
  while (const ParsedProperty* const property = parseMetaProperty(type)) parseProperty(target, *property);
}

template <class Target>
void PayloadReader::parseProperty(Target target, const ParsedProperty& property) {
  const SerializationTag t = parseTag();
  switch (t) {
    case SerializationTag::COLLECTION:
      return parseCollection(target, property);
    case SerializationTag::MODEL_ELEMENT:
      if constexpr (std::is_same_v<Target, ElementTarget>) {
        if (property.isPlainReference && !property.isCollection) return parsePlainTarget(target, property);
      }
      return parseSingleElement(target, property, t);
    case SerializationTag::STRINGTOSTRINGMAP:
      return parseMap(target, property.property);
    default:
      return parseSingleValue(target, property, t);
  }
}

template <class Target>
[[gnu::noinline]] void setElement(Target target, const ParsedProperty& property, ModelElement element) {
  if (element) return target.setObject(property.property, std::move(element));
  target.set(property.property, Value::createEmptyValue(property.property->getType(), !property.isOptional));
}

template <class Target>
void PayloadReader::parseSingleElement(Target target, const ParsedProperty& property, SerializationTag t) {
  setElement(target, property, parseModelElement(t));
}

/// The target of a single-valued plain reference. It is set later, unless it brings its contents along.
[[gnu::noinline]] void PayloadReader::parsePlainTarget(ElementTarget target, const ParsedProperty& property) {
  const auto id = fIn.read<std::int64_t>();
  if (id == 0) return fPending.set(target.element, property, PendingReferences::kNull);
  const auto index = parseElementReference(id);
  if (fIn.get() != 'T') return fPending.set(target.element, property, index);
  ModelElement element = parseElementContents(*fTables.elements.find(index));
  fPending.flush();
  setElement(target, property, std::move(element));
}

/// A member of a collection of plain references, likewise.
[[gnu::noinline]] void PayloadReader::parsePlainMember(ElementTarget target, const ParsedProperty& property) {
  const auto id = fIn.read<std::int64_t>();
  if (id == 0) return fPending.append(target.element, property, PendingReferences::kNull);
  const auto index = parseElementReference(id);
  if (fIn.get() != 'T') return fPending.append(target.element, property, index);
  const ModelElement element = parseElementContents(*fTables.elements.find(index));
  fPending.flush();
  target.get(property.property).toElementCollection().addElement(element);
}

/// The entries go into the map that is there.
template <class Target>
[[gnu::noinline]] void PayloadReader::parseMap(Target target, const meta::Property& property) {
  const Value value = target.get(property);
  kern::StringToStringMap& map = value.toStringToStringMap();
  repeat(fIn.read<std::uint64_t>(), [&] {
    const auto key = fIn.readText<char16_t>();
    const auto text = fIn.readText<char16_t>();
    map.insert(key, text, kern::CollisionResolution::Replace);
  });
}

/// Most values have the tag of their property's type. They are then of the C++ type that the property holds, and need
/// neither a check nor a way through Value.
template <class Target>
[[gnu::noinline]] void PayloadReader::parseSingleValue(Target target, const ParsedProperty& property,
                                                       SerializationTag t) {
  const auto setObject = [&]<class T>(std::type_identity<T>) {
    target.template setObject<T>(property.property, parseObject<T>());
  };
  if (t == property.typeTag && detail::visitStoredType(t, setObject)) return;
  if constexpr (std::is_same_v<Target, ElementTarget>) {
    if (t == SerializationTag::ENUM && t == property.typeTag) {
      const std::int64_t number = parseLiteral(property.property->getType())->getValue();
      return target.template setObject<std::int64_t>(property.property, number);
    }
  }
  if (property.isPlainReference) fPending.flush();  // it may have been set before
  target.set(property.property, parseValue(property, t, property.isOptional));
}

// --- Collections.

template <class Target>
void PayloadReader::parseCollection(Target target, const ParsedProperty& property) {
  const SerializationTag entryTag = parseTag();
  const auto count = fIn.read<std::uint64_t>();
  if constexpr (std::is_same_v<Target, ElementTarget>) {
    if (entryTag == SerializationTag::MODEL_ELEMENT && property.isPlainReference && property.isCollection &&
        count > 0) {
      return repeat(count, [&] { parsePlainMember(target, property); });
    }
  }
  const Value value = target.get(property.property);
  if (entryTag == SerializationTag::MODEL_ELEMENT) return addElements(value.toElementCollection(), count);
  kern::PrimitiveCollection& collection = value.toPrimitiveCollection();
  if (collection.getStorageKind() == kern::PrimitiveCollection::kContiguous) {
    // A range is for entries of the storage's own type alone; one of any other is refused before a byte of it is read.
    if (entryTag == property.typeTag && property.hasRangeForm) return assignObjects(collection, entryTag, count);
    if (entryTag != property.typeTag && hasRangeForm(entryTag)) failCast(property.property->getType());
  }
  addValues(collection, property, entryTag, count);
}

void PayloadReader::addElements(kern::ElementCollection& collection, std::uint64_t count) {
  repeat(count, [&] { collection.addElement(parseModelElement(SerializationTag::MODEL_ELEMENT)); });
}

void PayloadReader::addValues(kern::PrimitiveCollection& collection, const ParsedProperty& property,
                              SerializationTag entryTag, std::uint64_t count) {
  repeat(count, [&] { collection.addValue(parseValue(property, entryTag, false)); });
}

/// Replaces the content by `count` objects, as one change. @pre the collection is contiguous, `entryTag` its type's and
/// has a range form.
void PayloadReader::assignObjects(kern::PrimitiveCollection& collection, SerializationTag entryTag,
                                  std::uint64_t count) {
  detail::visitStoredType(entryTag, [&]<class T>(std::type_identity<T>) {
    if constexpr (kHasRangeForm<T>) {
      static_cast<kern::TypedCollection<T>&>(collection).assign(parseObjects<T>(count));
    }
  });
}

template <class T>
std::vector<T> PayloadReader::parseObjects(std::uint64_t count) {
  std::vector<T> objects;
  if constexpr (std::is_trivially_copyable_v<T>) {
    if (fIn.readAllInSight(objects, count)) return objects;
  }
  repeat(count, [&] { objects.push_back(parseObject<T>()); });
  return objects;
}

// --- Plain values.

/// A value that stands on the stream by itself.
template <class T>
T PayloadReader::parseObject() {
  if constexpr (std::is_same_v<T, bool>) {
    return fIn.get() == 'T';
  } else if constexpr (std::is_same_v<T, ustring> || std::is_same_v<T, std::string>) {
    return fIn.readText<typename T::value_type>();
  } else if constexpr (std::is_same_v<T, boost::posix_time::ptime>) {
    return kern::DateTimeUtils::Conversion::fromUstring(fIn.readText<char16_t>());
  } else {
    return fIn.read<T>();
  }
}

/// A plain value whose tag `t` has been read.
Value PayloadReader::parseValue(const ParsedProperty& property, SerializationTag t, bool isOptional) {
  const meta::Type& type = property.property->getType();
  switch (t) {
    case SerializationTag::NONE:
      NIMBO_PARSE_ASSERT(isOptional);
      return Value::createEmptyValue(type, false);
    case SerializationTag::ENUM:
      return Value::createEnumValue(parseLiteral(type));
    case SerializationTag::DATA_TYPE:
      return bedrock::stack::callDeep([&] { return parseDataTypeValue(type); });
    case SerializationTag::NATIVE:
      return parseNativeValue(type);
    default:
      return parseStandardValue(property, t);
  }
}

[[gnu::noinline]] Value PayloadReader::parseStandardValue(const ParsedProperty& property, SerializationTag t) {
  std::optional<Value> value;
  detail::visitStoredType(t,
                          [&]<class T>(std::type_identity<T>) { value = checkedValue(parseObject<T>(), property, t); });
  if (!value) failUnexpectedTag(t);
  return std::move(*value);
}

/// The object as a value of the property, which must be of the tag's type: nothing is converted to another width. Only
/// an enum takes integers of any kind, whether or not it has a literal for them.
template <class T>
Value PayloadReader::checkedValue(T object, const ParsedProperty& property, SerializationTag t) {
  if (t == property.typeTag) return Value(std::move(object));
  const meta::Type& type = property.property->getType();
  if constexpr (kern::IntegerValueType<T>) {
    if (property.typeTag == SerializationTag::ENUM) {
      return Value(kern::ValueMeta(type, kern::ValueFlags::Single), static_cast<std::int64_t>(object));
    }
  }
  failCast(type);
}

[[gnu::noinline]] meta::EnumLiteral PayloadReader::parseLiteral(const meta::Type& type) {
  const auto metaEnum = kern::narrow<meta::Enum>(type);
  if (!metaEnum) failCast(type);
  meta::EnumLiteral literal = parseMetaEnumLiteral(metaEnum);
  if (literal->getEnum() != metaEnum) failCast(type);
  return literal;
}

[[gnu::noinline]] Value PayloadReader::parseDataTypeValue(const meta::Type& type) {
  const auto metaDataType = kern::narrow<meta::DataType>(type);
  const meta::Type parsedMetaType = parseMetaType();
  if (!metaDataType && parsedMetaType == type) failCast(type);
  NIMBO_PARSE_ASSERT(parsedMetaType == metaDataType);
  kern::ReflectiveDataType data(metaDataType);
  parseContents(DataTarget{data}, metaDataType);
  return *std::move(data).toNonReflectiveDataTypeValue();
}

[[gnu::noinline]] Value PayloadReader::parseNativeValue(const meta::Type& metaType) {
  const meta::Type parsedMetaType = parseMetaType();
  NIMBO_PARSE_ASSERT(parsedMetaType == metaType);
  const CustomBinSerializerBase* const pCustomBinSerializer = CustomBinSerializerBase::getCustomBinSerializer(metaType);
  NIMBO_PARSE_ASSERT(pCustomBinSerializer != nullptr);
  fPending.flush();  // the application may look at the model
  return fIn.lend([&](StreamIArchive& archive) { return pCustomBinSerializer->parse(archive); });
}

#undef NIMBO_PARSE_ASSERT

}  // namespace

// --- The class itself.

BinParser::BinParser() = default;
BinParser::BinParser(const BinParser& other)
    : fModel(other.fModel),
      fTables(other.fTables ? std::make_unique<BinParserTables>(*other.fTables) : nullptr),
      fEvolveIfNeeded(other.fEvolveIfNeeded) {}
BinParser::BinParser(BinParser&& other) noexcept = default;
BinParser& BinParser::operator=(const BinParser& other) {
  BinParser copy(other);
  return *this = std::move(copy);
}
BinParser& BinParser::operator=(BinParser&& other) noexcept = default;
BinParser::~BinParser() = default;

void BinParser::parse(std::istream& stream) {
  StreamIArchive archive(stream);
  parse(archive);
}

void BinParser::parse(const std::string& bytes) {
  MemoryStreamBuf buffer(bytes);
  std::istream stream(&buffer);
  parse(stream);
}

void BinParser::parse(StreamIArchive& archive) {
  if (!fModel) fModel = kern::Model::create(kern::ModelSpec());
  const int letter = archive.get();
  switch (letter) {
    case 'B':
      return parseBinaryPayload(archive);
    case 'Z':
    case 'z':
      return parseCompressedPayload(archive, static_cast<char>(letter));
    case 'J':
    case 'C':
    case 'c':
      return parseJsonPayload(archive, static_cast<char>(letter));
    default:
      return;
  }
}

namespace {

/// The bytes behind a letter that promises a compressed payload.
std::string decompressedPayload(StreamIArchive& archive, bool isZstd) {
  std::vector<std::uint8_t> compressed;
  archive >> compressed;
  return detail::decompressed(compressed, isZstd);
}

/// The text in a container of JSON, as it stands.
std::string storedText(StreamIArchive& archive, char letter) {
  if (letter != 'J') return decompressedPayload(archive, letter == 'c');
  std::string text;
  archive >> text;
  return text;
}

/// The checks that a dump makes, under the names that they have here.
[[noreturn, gnu::cold]] void failAs(const DumpFailure& failure) {
  switch (failure.kind) {
    case StreamFault::Kind::NoElement:
      failAssertion("t == SerializationTag::MODEL_ELEMENT", __LINE__);
    case StreamFault::Kind::ZeroId:
      failAssertion("id != 0", __LINE__);
    case StreamFault::Kind::UnknownId:
      failAssertion("definition != nullptr", __LINE__);
    case StreamFault::Kind::NoSerializer:
      failAssertion("pCustomBinSerializer != nullptr", __LINE__);
    case StreamFault::Kind::UnexpectedTag:
      failUnexpectedTag(failure.tag);
    case StreamFault::Kind::CutShort:  // passed over by a dump
    case StreamFault::Kind::TooLong:
      break;
    case StreamFault::Kind::TooManyAbsent:
      throw std::length_error("a collection of " + std::to_string(failure.count) +
                              " absent entries: together with those before it that is more than any writer's");
  }
  throw std::length_error("a text of announced length " + std::to_string(failure.count) +
                          " is longer than memory or the stream can hold: the data is damaged");
}

std::string dumpRoots(StreamIArchive& archive, const std::vector<ustring>& packageUris) {
  try {
    return dumpStream(archive, packageUris);
  } catch (const DumpFailure& failure) {
    failAs(failure);
  }
}

std::string dumpPayload(StreamIArchive& archive) {
  std::vector<ustring> packageUris;
  archive >> packageUris;
  keepKnownPackageUris(packageUris);
  return dumpRoots(archive, packageUris);
}

}  // namespace

std::string BinParser::parseToJSON(std::istream& stream) {
  StreamIArchive archive(stream);
  return parseToJSON(archive);
}

std::string BinParser::parseToJSON(StreamIArchive& archive) {
  const int letter = archive.get();
  switch (letter) {
    case 'B':
      return dumpPayload(archive);
    case 'Z':
    case 'z': {
      const std::string payload = decompressedPayload(archive, letter == 'z');
      MemoryStreamBuf buffer(payload);
      std::istream stream(&buffer);
      StreamIArchive payloadArchive(stream);
      return dumpPayload(payloadArchive);
    }
    case 'J':
    case 'C':
    case 'c':
      return storedText(archive, static_cast<char>(letter));
    default:
      return {};
  }
}

void BinParser::parseCompressedPayload(StreamIArchive& archive, char letter) {
  const std::string payload = decompressedPayload(archive, letter == 'z');
  MemoryStreamBuf buffer(payload);
  std::istream stream(&buffer);
  StreamIArchive payloadArchive(stream);
  parseBinaryPayload(payloadArchive);
}

void BinParser::parseJsonPayload(StreamIArchive& archive, char letter) {
  parseJson(storedText(archive, letter), fModel, fEvolveIfNeeded);
}

void BinParser::parseBinaryPayload(StreamIArchive& archive) {
  std::vector<ustring> packageUris;
  archive >> packageUris;
  keepKnownPackageUris(packageUris);
  const bool needsEvolving = anyPackageIsStale(packageUris);
  reset();
  kern::Transaction transaction = fModel->beginTransaction(false);
  if (needsEvolving) {
    // By way of JSON text, whose reader knows how content evolves; also where it is told not to evolve any.
    parseJson(dumpRoots(archive, packageUris), fModel, fEvolveIfNeeded);
  } else {
    readRoots(archive);
  }
  transaction.commit(boost::none);
  destroyDangling();
  reset();
}

void BinParser::readRoots(StreamIArchive& archive) {
  if (!fTables) fTables = std::make_unique<BinParserTables>();
  PayloadReader(fModel, *fTables, archive).parseRoots();
}

/// Each destruction is a change of its own, after the commit: the stream's content is complete without them.
void BinParser::destroyDangling() {
  if (!fTables) return;
  fTables->elements.forEach([](const ParsedElement& entry) {
    if (entry.defined || entry.element->isDestroyed()) return;
    warnDangling(*entry.element);
    entry.element->destroy();
  });
}

void BinParser::reset() noexcept {
  if (fTables) fTables->clear();
}

}  // namespace quillon::nimbo
