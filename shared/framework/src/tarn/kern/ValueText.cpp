#include "ValueText.h"

#include <array>
#include <charconv>
#include <concepts>
#include <exception>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "Layout.h"
#include "StorageDispatch.h"
#include "ValueAccess.h"

namespace tarn::kern {

std::string Value::describe() const { return internal::ValueText().describe(*this); }

namespace internal {

namespace {

template <class Number>
std::string numberText(Number number) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return std::string(digits.data(), end);
}

std::string plainText(bool value) { return value ? "true" : "false"; }
std::string plainText(double value) { return numberText(value); }
template <std::integral T>
std::string plainText(T value) {
  return numberText(value);
}
std::string plainText(const boost::uuids::uuid& value) { return boost::uuids::to_string(value); }
std::string plainText(const boost::posix_time::ptime& value) {
  return bedrock::i18n::to_string(DateTimeUtils::Conversion::toUstring(value));
}

}  // namespace

std::string ValueText::describe(const Value& value) {
  writeTyped(value);
  return std::move(fText);
}

void ValueText::writeTyped(const Value& value) {
  fText += value.getType() ? bedrock::i18n::to_string(value.getType()->getQualifiedName()) : "(no type)";
  fText += ' ';
  if (!value.hasObject()) {
    fText += "(absent)";
    return;
  }
  try {
    writeContent(value);
  } catch (const DestroyedElementError&) {
    fText += "(of a destroyed element)";
  } catch (const std::exception& error) {  // a custom type's text form, a time out of the calendar
    fText += std::string("(cannot be shown: ") + error.what() + ")";
  }
}

void ValueText::writeContent(const Value& value) {
  switch (ValueAccess::kind(value)) {
    case StoredKind::PrimitiveCollection:
    case StoredKind::ElementCollection:
      return writeEntries(value);
    case StoredKind::Map:
      return writeMap(ValueAccess::map(value));
    case StoredKind::Plain:
      return writePlain(value);
  }
}

void ValueText::writePlain(const Value& value) {
  if (const auto* element = ValueAccess::stored<ModelElement>(value)) return writeElement(*element);
  if (const auto* data = ValueAccess::stored<ReflectiveDataType>(value)) return writeData(*data);
  if (const auto* text = ValueAccess::stored<ustring>(value)) return writeQuoted(*text);
  if (const auto* text = ValueAccess::stored<std::string>(value)) {
    return writeQuoted(bedrock::i18n::utf8_to_ustring(*text));
  }
  if (isEnumType(value.getType())) return writeEnum(value);
  const auto primitive = narrow<meta::PrimitiveType>(value.getType());
  if (primitive && primitive->storedType() == *ValueAccess::ops(value).type) return writePrimitive(primitive, value);
  writeForeign();
}

void ValueText::writeForeign() { fText += "(an object of a foreign C++ type)"; }

void ValueText::writePrimitive(const meta::PrimitiveType& type, const Value& value) {
  if (!type->isStandard()) return writeQuoted(type->toText(value));
  dispatchSingle(storageTypeOf(type), [&]<class T>(TypeTag<T>) {
    if constexpr (requires(const T& object) { plainText(object); }) fText += plainText(*ValueAccess::stored<T>(value));
  });
}

void ValueText::writeEnum(const Value& value) {
  const auto* number = ValueAccess::stored<std::int64_t>(value);
  if (number == nullptr) return writeForeign();
  const meta::EnumLiteral literal = narrow<meta::Enum>(value.getType())->getLiteral(*number);
  fText += literal ? bedrock::i18n::to_string(literal->getName()) : std::string("without literal");
  fText += " (" + numberText(*number) + ")";
}

void ValueText::writeElement(const ModelElement& element) {
  if (!element) {
    fText += "(null)";
    return;
  }
  fText += '{' + boost::uuids::to_string(element->getUuid()) + '}';
  if (element->isDestroyed()) fText += " (destroyed)";
}

void ValueText::writeData(const ReflectiveDataType& data) {
  if (!data.getType() || fDepth == kDeepest) {
    fText += "{...}";
    return;
  }
  ++fDepth;
  writeList(data.getType()->getAllProperties(), [&](const meta::Property& property) {
    fText += bedrock::i18n::to_string(property->getName()) + ": ";
    const Value value = data.getPropertyValue(property);
    if (value.hasObject()) {
      writeContent(value);
    } else {
      fText += "(absent)";
    }
  });
  --fDepth;
}

void ValueText::writeMap(const StringToStringMap& map) {
  writeList(map, [&](const StringToStringMap::Entry& entry) {
    writeQuoted(entry.first);
    fText += ": ";
    writeQuoted(entry.second);
  });
}

void ValueText::writeEntries(const Value& value) {
  const bool isOfElements = ValueAccess::kind(value) == StoredKind::ElementCollection;
  const AbstractOwnedCollection& all =
      isOfElements ? static_cast<const AbstractOwnedCollection&>(ValueAccess::elements(value))
                   : static_cast<const AbstractOwnedCollection&>(ValueAccess::primitives(value));
  fText += '[' + numberText(all.size()) + "] ";
  if (fDepth == kDeepest) {
    fText += "{...}";
    return;
  }
  ++fDepth;
  std::vector<std::size_t> positions;
  for (std::size_t i = 0; i < all.size() && i <= kFullBytes; ++i) positions.push_back(i);
  writeList(positions, [&](std::size_t i) {
    if (isOfElements) {
      writeElement(ValueAccess::elements(value).getElement(i));
    } else {
      writeContent(ValueAccess::primitives(value).getValue(i));
    }
  });
  --fDepth;
}

template <class Range, class Write>
void ValueText::writeList(const Range& range, Write write) {
  fText += '{';
  bool isFirst = true;
  for (const auto& entry : range) {
    if (!isFirst) fText += ", ";
    isFirst = false;
    if (isFull()) {
      fText += "...";
      break;
    }
    write(entry);
  }
  fText += '}';
}

void ValueText::writeQuoted(std::u16string_view text) {
  const bool isLong = text.size() > kLongText;
  if (isLong) {
    text = text.substr(0, kLongText);
    if (bedrock::i18n::findLoneSurrogate(text) == text.size() - 1) text.remove_suffix(1);  // half of a pair
  }
  fText += '"';
  for (const char unit : bedrock::i18n::to_string(ustring(text))) {
    if (unit == '\n') {
      fText += "\\n";
    } else if (unit == '"') {
      fText += "\\\"";
    } else {
      fText += unit;
    }
  }
  fText += isLong ? "...\"" : "\"";
}

}  // namespace internal

}  // namespace tarn::kern
