#include "XmlValues.h"

#include <limits>
#include <optional>

#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>

#include "../../NearestName.h"
#include "../../StorageDispatch.h"
#include "../PlainText.h"

namespace tarn::kern::io::xml {

using kern::internal::TypeTag;

ValueTextError::ValueTextError(const std::string& itsExpected, const std::string& itsFound)
    : std::runtime_error("expected " + itsExpected + ", found " + itsFound), expected(itsExpected), found(itsFound) {}
ValueTextError::~ValueTextError() = default;

std::string quotedText(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  if (text.size() <= kLongest) return '"' + std::string(text) + '"';
  std::size_t end = kLongest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;  // not within a character
  return '"' + std::string(text.substr(0, end)) + "...\"";
}

namespace {

bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view withoutPlus(std::string_view text) noexcept {
  return text.size() > 1 && text.front() == '+' && text[1] != '-' ? text.substr(1) : text;
}

std::optional<double> realFromText(std::string_view text) {
  if (const std::optional<double> number = readReal(text)) return number;
  if (text == "Infinity" || text == "INF") return std::numeric_limits<double>::infinity();
  if (text == "-Infinity" || text == "-INF") return -std::numeric_limits<double>::infinity();
  return specialRealNamed(text);
}

std::optional<bool> booleanFromText(std::string_view text) noexcept {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return std::nullopt;
}

std::optional<std::int64_t> literalFromText(const Feature& feature, std::string_view text) {
  const auto literal = feature.literals->find(std::string(text));
  if (literal != feature.literals->end()) return literal->second;
  return readInteger<std::int64_t>(text);
}

[[noreturn]] void refuse(const Feature& feature, std::string_view text) {
  const std::string name = bedrock::i18n::to_string(feature.property->getType()->getQualifiedName());
  const std::string found = quotedText(text);
  if (feature.storage != StorageType::Enum) throw ValueTextError("a value of the type \"" + name + "\"", found);
  const ustring sought = bedrock::i18n::utf8_to_ustring(text);  // the search keeps a view of it
  kern::internal::NearestName nearest(sought);
  for (const auto& literal : *feature.literals) nearest.offer(bedrock::i18n::utf8_to_ustring(literal.first));
  throw ValueTextError("a literal of the enum \"" + name + "\"", found + nearest.suggestion());
}

/// The C++ object for one value of storage type T.
template <class T>
T objectFromText(const Feature& feature, std::string_view text) {
  if constexpr (std::same_as<T, ustring>) {
    return bedrock::i18n::utf8_to_ustring(text);
  } else if constexpr (std::same_as<T, std::string>) {
    return std::string(text);
  } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
    try {
      return DateTimeUtils::Conversion::fromUstring(bedrock::i18n::utf8_to_ustring(trimmed(text)));
    } catch (const DateTimeError&) {
      refuse(feature, text);
    }
  } else {
    const std::string_view content = trimmed(text);
    std::optional<T> object;
    if constexpr (std::same_as<T, bool>) {
      object = booleanFromText(content);
    } else if constexpr (std::same_as<T, double>) {
      object = realFromText(withoutPlus(content));
    } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
      object = readUuid(content);
    } else if constexpr (std::same_as<T, std::int64_t>) {
      object = feature.storage == StorageType::Enum ? literalFromText(feature, content)
                                                    : readInteger<T>(withoutPlus(content));
    } else {
      object = readInteger<T>(withoutPlus(content));
    }
    if (!object) refuse(feature, text);
    return *object;
  }
}

Value customFromText(const Feature& feature, std::string_view text) {
  try {
    return narrow<meta::PrimitiveType>(feature.property->getType())->fromText(bedrock::i18n::utf8_to_ustring(text));
  } catch (const std::exception& error) {
    throw ValueTextError(
        "a value of the type \"" + bedrock::i18n::to_string(feature.property->getType()->getQualifiedName()) + "\"",
        quotedText(text) + " (" + error.what() + ")");
  }
}

}  // namespace

Value valueFromText(const Feature& feature, std::string_view text) {
  if (feature.storage == StorageType::Custom) return customFromText(feature, text);
  return kern::internal::dispatchSingle(feature.storage, [&]<class T>(TypeTag<T>) -> Value {
    if constexpr (std::same_as<T, Value>) {
      refuse(feature, text);  // data values are no text
    } else {
      return Value(ValueMeta(feature.property->getType(), ValueFlags::Single), objectFromText<T>(feature, text));
    }
  });
}

void setFromText(ModelElement::Impl& element, const Feature& feature, std::string_view text) {
  const ReflectionPrivateTag& access = ReflectionPrivateTag::PRIVILEGED_ACCESS;
  if (feature.storage == StorageType::Custom) {
    element.setPropertyValue(feature.property, customFromText(feature, text), access);
    return;
  }
  kern::internal::dispatchSingle(feature.storage, [&]<class T>(TypeTag<T>) {
    if constexpr (std::same_as<T, Value>) {
      refuse(feature, text);
    } else {
      element.set<T>(feature.property, objectFromText<T>(feature, text), access);
    }
  });
}

}  // namespace tarn::kern::io::xml
