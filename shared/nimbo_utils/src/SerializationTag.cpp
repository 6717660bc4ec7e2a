#include "quillon/nimbo/SerializationTag.h"

#include <ostream>
#include <string>

namespace quillon::nimbo {

namespace {

/// Null for a value that is no enumerator. No default label, so that the compiler names a tag that is missing here.
const char* nameOf(SerializationTag tag) {
  switch (tag) {
    case SerializationTag::MODEL_ELEMENT:
      return "MODEL_ELEMENT";
    case SerializationTag::DATA_TYPE:
      return "DATA_TYPE";
    case SerializationTag::COLLECTION:
      return "COLLECTION";
    case SerializationTag::ENUM:
      return "ENUM";
    case SerializationTag::NONE:
      return "NONE";
    case SerializationTag::USTRING:
      return "USTRING";
    case SerializationTag::STRING:
      return "STRING";
    case SerializationTag::INT:
      return "INT";
    case SerializationTag::INT8:
      return "INT8";
    case SerializationTag::INT16:
      return "INT16";
    case SerializationTag::INT64:
      return "INT64";
    case SerializationTag::DOUBLE:
      return "DOUBLE";
    case SerializationTag::BOOL:
      return "BOOL";
    case SerializationTag::UINT:
      return "UINT";
    case SerializationTag::UINT8:
      return "UINT8";
    case SerializationTag::UINT16:
      return "UINT16";
    case SerializationTag::UINT64:
      return "UINT64";
    case SerializationTag::UUID:
      return "UUID";
    case SerializationTag::NATIVE:
      return "NATIVE";
    case SerializationTag::DATETIME:
      return "DATETIME";
    case SerializationTag::STRINGTOSTRINGMAP:
      return "STRINGTOSTRINGMAP";
  }
  return nullptr;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, SerializationTag tag) {
  if (const char* const name = nameOf(tag)) return stream << name;
  return stream << "<unknown " + std::to_string(static_cast<int>(tag)) + ">";
}

}  // namespace quillon::nimbo
