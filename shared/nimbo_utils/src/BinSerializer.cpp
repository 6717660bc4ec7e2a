#include "quillon/nimbo/BinSerializer.h"

#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>
#include <tarn/kern/Model.h>

#include "CompressedBytes.h"
#include "PayloadBuffer.h"
#include "PlainValues.h"
#include "StoredTypes.h"
#include "TextFormats.h"
#include "WriteRun.h"
#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"

// The text of a failed check names its line, so that each check stands where it is made.
#define NIMBO_WRITER_ASSERT(expression)                             \
  do {                                                              \
    if (!(expression)) throwFailedAssertion(__LINE__, #expression); \
  } while (false)

namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using detail::PropertyPlan;
using detail::WriteRun;
using detail::writeTag;
using kern::ModelElement;
using kern::Value;

namespace {

constexpr int kZstdLevel = 1;

[[noreturn]] void throwFailedAssertion(int line, const char* expression) {
  throw BinSerializationException("shared/nimbo_utils/src/BinSerializer:" + std::to_string(line) +
                                  "Assertion failed during binary serialization: `" + expression + "'");
}

[[noreturn]] void refuse(const meta::Type& type) {
  throw BinSerializationException("Limitation: Unexpected type encountered during binary serialization: " +
                                  bedrock::i18n::ustring_to_utf8(type->getName()));
}

std::vector<kern::ustring> usedPackageUris(const std::vector<ModelElement>& elements) {
  if (elements.empty() || !elements.front()) return {};
  const kern::Model model = elements.front()->getModel();
  if (!model) return {};
  return model->getUsedPackageUris();
}

void writeCompressed(StreamOArchive& archive, BinFormat letter, std::string_view payload) {
  if (letter == BinFormat::BinaryZlib || letter == BinFormat::JsonZlib) {
    std::vector<std::uint8_t> bytes;
    if (!detail::compressGzip(bytes, payload)) throw std::bad_alloc();
    archive << bytes;
  } else {
    const detail::CompressedFrame frame = detail::compressZstd(payload, kZstdLevel);
    archive << std::uint64_t{frame.size};
    archive.stream()->write(reinterpret_cast<const char*>(frame.bytes.get()), static_cast<std::streamsize>(frame.size));
  }
}

void serializeJsonContainer(const std::vector<ModelElement>& elements, StreamOArchive& archive, BinFormat letter) {
  const std::string text = serializeJson(elements);
  if (letter == BinFormat::Json) {
    archive << text;
  } else {
    writeCompressed(archive, letter, text);
  }
}

/// Writes the id of a thing. True when its definition must follow: behind a positive id, at the first appearance.
template <class Handle>
bool serializeId(StagedOutput& out, detail::PtrMap<Handle, std::uint64_t>& ids, std::uint64_t& count,
                 const Handle& handle) {
  const auto [id, isNew] = ids.tryEmplace(handle.get(), count + 1);
  if (isNew) ++count;
  const auto signedId = static_cast<std::int64_t>(*id);
  out.write(isNew ? signedId : -signedId);
  return isNew;
}

/// A plain value, or a property's optional one, that was read as a Value.
template <class T>
void writeThroughValue(StagedOutput& out, SerializationTag tag, const Value& value, bool isOptional) {
  if (!isOptional) {
    detail::writePlain<T>(out, value.get<T>());
  } else if (const boost::optional<T> object = value.getOptional<T>()) {
    writeTag(out, tag);
    detail::writePlain<T>(out, *object);
  } else {
    writeTag(out, SerializationTag::NONE);
  }
}

}  // namespace

BinSerializer::BinSerializer() = default;
BinSerializer::BinSerializer(const BinSerializer& other) = default;
BinSerializer::BinSerializer(BinSerializer&& other) noexcept = default;
BinSerializer& BinSerializer::operator=(const BinSerializer& other) = default;
BinSerializer& BinSerializer::operator=(BinSerializer&& other) noexcept = default;
BinSerializer::~BinSerializer() = default;

// --- The container.

void BinSerializer::serialize(const std::vector<ModelElement>& elements, std::ostream& stream, BinFormat format) {
  StreamOArchive archive(stream);
  serialize(elements, archive, format);
}

void BinSerializer::serialize(const std::vector<ModelElement>& elements, StreamOArchive& archive, BinFormat format) {
  const BinFormat letter = format == BinFormat::Default ? BinFormat::BinaryZstd : format;
  archive.put(static_cast<char>(letter));
  switch (letter) {
    case BinFormat::Binary:
    case BinFormat::BinaryZlib:
    case BinFormat::BinaryZstd:
      serializeBinaryContainer(elements, archive, letter);
      break;
    case BinFormat::Json:
    case BinFormat::JsonZlib:
    case BinFormat::JsonZstd:
      serializeJsonContainer(elements, archive, letter);
      break;
    case BinFormat::Default:
      break;
  }
}

void BinSerializer::serializeBinaryContainer(const std::vector<ModelElement>& elements, StreamOArchive& archive,
                                             BinFormat letter) {
  reset();
  if (letter == BinFormat::Binary) {
    serializeStream(elements, archive);
    archive << std::vector<std::uint8_t>();  // every container has a length; here the stream has gone out before it
  } else {
    PayloadBuffer payload;
    std::ostream stream(&payload);
    stream.exceptions(std::ios_base::badbit);  // running out of memory must not end in half a payload
    StreamOArchive payloadArchive(stream);
    serializeStream(elements, payloadArchive);
    writeCompressed(archive, letter, payload.bytes());
  }
  reportDanglingReferences();
  reset();
}

void BinSerializer::serializeStream(const std::vector<ModelElement>& elements, StreamOArchive& archive) {
  WriteRun run(archive, fDefaultValues);
  try {
    serializeRoots(run, elements);
  } catch (...) {
    run.out.flush();  // what was written stays written
    throw;
  }
  run.out.flush();
}

void BinSerializer::serializeRoots(WriteRun& run, const std::vector<ModelElement>& elements) {
  const std::vector<kern::ustring> uris = usedPackageUris(elements);
  run.out.write(std::uint64_t{uris.size()});
  for (const kern::ustring& uri : uris) run.out.write(uri);
  for (const ModelElement& element : elements) {
    writeTag(run.out, SerializationTag::MODEL_ELEMENT);
    serializeModelElement(run, element.get(), true);
  }
  writeTag(run.out, SerializationTag::NONE);
}

void BinSerializer::reportDanglingReferences() const {
  auto& logger = logging::internal::Logger::logger(0);
  if (logger.getLevel() > logging::internal::Logger::kDebugLevel) return;
  fElements.forEach([&](const ModelElement& element, const ElementEntry& entry) {
    if (entry.full) return;
    logger.debug(false) << "Note: A dangling reference to the "
                        << bedrock::i18n::to_string(element->getMetaClass()->getName()) << " element with UUID "
                        << boost::lexical_cast<std::string>(element->getUuid()) << " was serialized.\n";
  });
}

void BinSerializer::reset() {
  fElementCount = 0;
  fTypeCount = 0;
  fPropertyCount = 0;
  fEnumLiteralCount = 0;
  fElements.clear();
  fTypes.clear();
  fProperties.clear();
  fEnumLiterals.clear();
}

// --- What has an id.

void BinSerializer::serializeMetaEnumLiteral(WriteRun& run, const meta::EnumLiteral& metaEnumLit) {
  NIMBO_WRITER_ASSERT(static_cast<bool>(metaEnumLit));
  if (serializeId(run.out, fEnumLiterals, fEnumLiteralCount, metaEnumLit)) run.out.write(metaEnumLit->getName());
}

void BinSerializer::serializeMetaProperty(WriteRun& run, const meta::Property& metaProp) {
  NIMBO_WRITER_ASSERT(static_cast<bool>(metaProp));
  if (serializeId(run.out, fProperties, fPropertyCount, metaProp)) run.out.write(metaProp->getName());
}

void BinSerializer::serializeMetaType(WriteRun& run, const meta::Type& metaType) {
  NIMBO_WRITER_ASSERT(static_cast<bool>(metaType));
  if (!serializeId(run.out, fTypes, fTypeCount, metaType)) return;
  const meta::Package package = metaType->getOwningPackage();
  run.out.write(package ? package->getQualifiedName() + u"." + metaType->getName() : metaType->getName());
}

void BinSerializer::serializeTypeReference(WriteRun& run, const meta::Type& type, detail::StructurePlan& plan) {
  if (plan.typeReference != 0) {
    run.out.write(plan.typeReference);
    return;
  }
  serializeMetaType(run, type);
  plan.typeReference = -static_cast<std::int64_t>(*fTypes.find(type.get()));
}

void BinSerializer::serializeModelElement(WriteRun& run, ModelElement::Impl* element, bool full) {
  if (element == nullptr) {
    run.out.write(std::int64_t{0});
    return;
  }
  const auto [entry, isNew] = fElements.tryEmplace(element, ElementEntry(fElementCount + 1, full));
  if (!isNew) {  // then the target itself, which may lie anywhere in memory, is left alone
    run.out.write(-static_cast<std::int64_t>(entry->id), full ? 'T' : 'F');
    entry->full = entry->full || full;
  } else {
    ++fElementCount;
    run.out.write(static_cast<std::int64_t>(fElementCount));
    serializeTypeReference(run, element->getMetaClass(), run.planOf(element->getMetaClass()));
    run.out.write(element->getUuid());
    run.out.write(full);
  }
  if (!full) return;

  bedrock::stack::callDeep([&] {  // containment may be deeper than the stack
    for (PropertyPlan& property : run.planOf(element->getMetaClass()).properties) {
      serializeProperty(run, *element, property);
    }
  });
  run.out.write(std::int64_t{0});
}

// --- Values.

void BinSerializer::serializeValue(WriteRun& run, const meta::Type& type, SerializationTag tag, const Value& value,
                                   bool isOptional) {
  const bool isPlain = detail::visitStoredType(
      tag, [&]<class T>(std::type_identity<T>) { writeThroughValue<T>(run.out, tag, value, isOptional); });
  if (isPlain) return;
  switch (tag) {
    case SerializationTag::ENUM: {
      const boost::optional<std::int64_t> number = value.getOptional<std::int64_t>();
      if (isOptional) writeTag(run.out, number ? SerializationTag::ENUM : SerializationTag::NONE);
      if (number || !isOptional) serializeLiteralOf(run, type, number.value_or(0));
      break;
    }
    case SerializationTag::STRINGTOSTRINGMAP:
      NIMBO_WRITER_ASSERT(!isOptional);
      detail::writeMap(run.out, value.toStringToStringMap());
      break;
    case SerializationTag::DATA_TYPE:
      NIMBO_WRITER_ASSERT(!isOptional);
      if (const auto* const data = value.peek<kern::ReflectiveDataType>()) {
        serializeDataType(run, type, *data);
      } else {
        serializeDataType(run, type, value.toReflectiveDataType());
      }
      break;
    case SerializationTag::NATIVE:
      NIMBO_WRITER_ASSERT(!isOptional);
      serializeNative(run, type, value);
      break;
    default:  // elements and collections are no values, and "none" is only ever a mark
      refuse(type);
  }
}

void BinSerializer::serializeLiteralOf(WriteRun& run, const meta::Type& type, std::int64_t number) {
  serializeMetaEnumLiteral(run, kern::narrow<meta::Enum>(type)->getLiteral(number));
}

void BinSerializer::serializeDataType(WriteRun& run, const meta::Type& type, const kern::ReflectiveDataType& data) {
  detail::StructurePlan& plan = run.planOf(kern::narrow<meta::DataType>(type));
  serializeTypeReference(run, type, plan);
  bedrock::stack::callDeep([&] {  // data values nest as deep as they like
    for (PropertyPlan& property : plan.properties) serializeDataTypeProperty(run, data, property);
  });
  run.out.write(std::int64_t{0});
}

void BinSerializer::serializeNative(WriteRun& run, const meta::Type& type, const Value& value) {
  const CustomBinSerializerBase* const serializer = CustomBinSerializerBase::getCustomBinSerializer(type);
  if (serializer == nullptr) refuse(type);
  serializeMetaType(run, type);
  run.out.flush();
  serializer->serialize(run.out.archive(), value);
}

}  // namespace quillon::nimbo
