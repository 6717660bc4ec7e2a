#include "TypeTags.h"

#include <array>

#include <tarn/kern/meta/StandardTypes.h>

namespace quillon::nimbo {

namespace meta = tarn::kern::meta;

namespace {

struct StandardTag {
  meta::PrimitiveType type;
  SerializationTag tag;
};

/// A standard type is null until its first user fetches it. Several threads may do so at once: all store the same type.
template <class Wrapper>
meta::PrimitiveType resolved(Wrapper& standardType) {
  if (!standardType) standardType = meta::internal::getPrimitiveTypeFromMetaRegistry(Wrapper::name());
  return standardType;
}

std::array<StandardTag, 15> makeStandardTags() {
  using Types = meta::StandardTypes;
  return {{
      {resolved(Types::stringMeta), SerializationTag::USTRING},
      {resolved(Types::integerMeta), SerializationTag::INT},
      {resolved(Types::integer8Meta), SerializationTag::INT8},
      {resolved(Types::integer16Meta), SerializationTag::INT16},
      {resolved(Types::integer64Meta), SerializationTag::INT64},
      {resolved(Types::realMeta), SerializationTag::DOUBLE},
      {resolved(Types::booleanMeta), SerializationTag::BOOL},
      {resolved(Types::unlimitedNaturalMeta), SerializationTag::UINT},
      {resolved(Types::uinteger8Meta), SerializationTag::UINT8},
      {resolved(Types::uinteger16Meta), SerializationTag::UINT16},
      {resolved(Types::uinteger64Meta), SerializationTag::UINT64},
      {resolved(Types::uuidMeta), SerializationTag::UUID},
      {resolved(Types::stdstringMeta), SerializationTag::STRING},
      {resolved(Types::stringToStringMapMeta), SerializationTag::STRINGTOSTRINGMAP},
      {resolved(Types::dateTimeMeta), SerializationTag::DATETIME},
  }};
}

SerializationTag tagOfKind(const meta::Type& type) {
  const meta::Class& kind = type->getMetaClass();
  if (kind == meta::Class::metaClass()) return SerializationTag::MODEL_ELEMENT;
  if (kind == meta::DataType::metaClass()) return SerializationTag::DATA_TYPE;
  if (kind == meta::Enum::metaClass()) return SerializationTag::ENUM;
  return SerializationTag::NATIVE;
}

}  // namespace

SerializationTag tagOfType(const meta::Type& type) {
  if (!type) return SerializationTag::NATIVE;
  static const std::array<StandardTag, 15> kStandardTags = makeStandardTags();
  for (const StandardTag& standard : kStandardTags) {
    if (type == standard.type) return standard.tag;
  }
  return tagOfKind(type);
}

}  // namespace quillon::nimbo
