#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <string>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/StorageType.h>

#include "JsonDocument.h"
#include "JsonReadPlan.h"
#include "PlainText.h"

/// Plain values as a JSON document spells them. Each function throws the ParseError of the node when it holds none.
namespace tarn::kern::io::json {

[[nodiscard]] bool boolean(const JsonNode& node);
/// null is NaN here; who wants it to be absence asks before.
[[nodiscard]] double real(const JsonNode& node);
[[nodiscard]] ustring string(const JsonNode& node);
/// Undoes JsonText::bytes.
[[nodiscard]] std::string bytes(const JsonNode& node);
[[nodiscard]] boost::uuids::uuid uuid(const JsonNode& node);
[[nodiscard]] boost::posix_time::ptime time(const JsonNode& node);
[[nodiscard]] std::int64_t enumNumber(const JsonReadProperty& plan, const JsonNode& node);
[[noreturn]] void failInteger(StorageType storage, const JsonNode& node);

template <std::integral T>
[[nodiscard]] T integer(const JsonNode& node) {
  if (node.isNumber()) {
    if (const auto number = readInteger<T>(node.raw())) return *number;
  }
  failInteger(internal::StorageOf<T>::kType, node);
}

template <class T>
[[nodiscard]] T object(const JsonNode& node) {
  if constexpr (std::same_as<T, bool>) {
    return boolean(node);
  } else if constexpr (std::same_as<T, double>) {
    return real(node);
  } else if constexpr (std::integral<T>) {
    return integer<T>(node);
  } else if constexpr (std::same_as<T, ustring>) {
    return string(node);
  } else if constexpr (std::same_as<T, std::string>) {
    return bytes(node);
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    return uuid(node);
  } else {
    static_assert(std::same_as<T, boost::posix_time::ptime>);
    return time(node);
  }
}

}  // namespace tarn::kern::io::json
