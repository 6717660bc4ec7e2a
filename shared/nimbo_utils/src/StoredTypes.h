#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <type_traits>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo::detail {

/// Calls `visit` with std::type_identity<T>, T being the C++ type that models hold for values of a plain standard type.
/// False, and no call, for all other tags: enums, maps, data types, custom values, and what is no value's tag.
template <class Visit>
bool visitStoredType(SerializationTag tag, const Visit& visit) {
  // clang-format off
  switch (tag) {
    case SerializationTag::USTRING:  visit(std::type_identity<std::u16string>()); return true;
    case SerializationTag::STRING:   visit(std::type_identity<std::string>()); return true;
    case SerializationTag::INT:      visit(std::type_identity<std::int32_t>()); return true;
    case SerializationTag::INT8:     visit(std::type_identity<std::int8_t>()); return true;
    case SerializationTag::INT16:    visit(std::type_identity<std::int16_t>()); return true;
    case SerializationTag::INT64:    visit(std::type_identity<std::int64_t>()); return true;
    case SerializationTag::DOUBLE:   visit(std::type_identity<double>()); return true;
    case SerializationTag::BOOL:     visit(std::type_identity<bool>()); return true;
    case SerializationTag::UINT:     visit(std::type_identity<std::uint32_t>()); return true;
    case SerializationTag::UINT8:    visit(std::type_identity<std::uint8_t>()); return true;
    case SerializationTag::UINT16:   visit(std::type_identity<std::uint16_t>()); return true;
    case SerializationTag::UINT64:   visit(std::type_identity<std::uint64_t>()); return true;
    case SerializationTag::UUID:     visit(std::type_identity<boost::uuids::uuid>()); return true;
    case SerializationTag::DATETIME: visit(std::type_identity<boost::posix_time::ptime>()); return true;
    case SerializationTag::MODEL_ELEMENT:
    case SerializationTag::DATA_TYPE:
    case SerializationTag::COLLECTION:
    case SerializationTag::ENUM:
    case SerializationTag::NONE:
    case SerializationTag::NATIVE:
    case SerializationTag::STRINGTOSTRINGMAP:
      break;
  }
  // clang-format on
  return false;
}

/// The same answer as comparing two Values of the same plain type that hold the objects. nullptr is an absent value.
template <class T>
[[nodiscard]] bool areEqualStored(const T* a, const T* b) {
  if (a == nullptr || b == nullptr) return a == b;
  if constexpr (std::is_same_v<T, double>) {  // bits, so that -0.0 is not lost to 0.0
    return std::bit_cast<std::uint64_t>(*a) == std::bit_cast<std::uint64_t>(*b);
  } else {
    return *a == *b;
  }
}

}  // namespace quillon::nimbo::detail
