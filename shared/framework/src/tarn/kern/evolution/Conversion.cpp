#include "Conversion.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <tarn/kern/DateTimeUtils.h>

#include "../NearestName.h"
#include "../io/PlainText.h"

namespace tarn::kern::evolution::internal {

using Kind = ContentType::Kind;

namespace {

template <class T>
ContentType integer(const ustring& name) {
  ContentType type;
  type.kind = Kind::Integer;
  type.name = name;
  type.lowest = static_cast<std::int64_t>(std::numeric_limits<T>::min());
  type.highest = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
  return type;
}

ContentType ofKind(Kind kind, const ustring& name) {
  ContentType type;
  type.kind = kind;
  type.name = name;
  return type;
}

ContentType standardType(const ustring& name) {
  if (name == u"String" || name == u"StdString") return ofKind(Kind::Text, name);
  if (name == u"Integer") return integer<std::int32_t>(name);
  if (name == u"Integer8") return integer<std::int8_t>(name);
  if (name == u"Integer16") return integer<std::int16_t>(name);
  if (name == u"Integer64") return integer<std::int64_t>(name);
  if (name == u"UInteger8") return integer<std::uint8_t>(name);
  if (name == u"UInteger16") return integer<std::uint16_t>(name);
  if (name == u"UInteger64") return integer<std::uint64_t>(name);
  if (name == u"UnlimitedNatural") return integer<std::uint32_t>(name);
  if (name == u"Real") return ofKind(Kind::Real, name);
  if (name == u"Boolean") return ofKind(Kind::Boolean, name);
  if (name == u"UUID") return ofKind(Kind::Uuid, name);
  if (name == u"DateTime") return ofKind(Kind::DateTime, name);
  if (name == u"StringToStringMap") return ofKind(Kind::Map, name);
  return ofKind(Kind::Unknown, name);
}

}  // namespace

ContentType ContentType::of(const ustring& qualifiedName, const TypeTable& types) {
  const KnownType* known = types.find(qualifiedName);
  if (known == nullptr) return standardType(qualifiedName);
  switch (known->kind) {
    case TypeKind::Class:
      return ofKind(Kind::Element, qualifiedName);
    case TypeKind::DataType:
      return ofKind(Kind::Data, qualifiedName);
    case TypeKind::Primitive:
      return ofKind(Kind::Custom, qualifiedName);
    case TypeKind::Enum:
      break;
  }
  ContentType type = ofKind(Kind::Literal, qualifiedName);
  type.literals = known->literals;
  return type;
}

std::string faultOfConversion(const ContentType& from, const ContentType& to) {
  const auto isOneOf = [](Kind kind, auto... kinds) { return ((kind == kinds) || ...); };
  const auto isPlain = [&](Kind kind) { return !isOneOf(kind, Kind::Unknown, Kind::Map, Kind::Data, Kind::Element); };
  for (const ContentType* type : {&from, &to}) {
    if (type->kind == Kind::Unknown) return "the type " + quoted(type->name) + " is not known";
  }
  if (from.kind == to.kind) return {};
  const bool isThroughText =
      isPlain(from.kind) && isPlain(to.kind) && (from.kind == Kind::Text || to.kind == Kind::Text);
  if (isThroughText) return {};
  if (from.kind == Kind::Integer && isOneOf(to.kind, Kind::Real, Kind::Boolean, Kind::Literal)) return {};
  if (to.kind == Kind::Integer && isOneOf(from.kind, Kind::Real, Kind::Boolean, Kind::Literal)) return {};
  return "there is no standard conversion from " + quoted(from.name) + " to " + quoted(to.name) + ": declare custom()";
}

namespace {

std::string notOf(const std::string& found, const ContentType& type, const std::string& expected) {
  return found + " is no value of " + quoted(type.name) + (expected.empty() ? std::string() : ": expected " + expected);
}

/// A whole number of up to 64 bits, signed or not.
struct Whole {
  bool isNegative = false;
  std::uint64_t magnitude = 0;

  static std::optional<Whole> fromText(std::string_view text) {
    Whole whole;
    whole.isNegative = text.starts_with('-');
    if (whole.isNegative || text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole.magnitude);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return whole;
  }

  static std::optional<Whole> fromReal(double real) {
    constexpr double kEnd = 18446744073709551616.0;  // 2 to the 64th
    if (!(std::fabs(real) < kEnd) || std::trunc(real) != real) return std::nullopt;
    Whole whole;
    whole.isNegative = real < 0;
    whole.magnitude = static_cast<std::uint64_t>(std::fabs(real));
    return whole;
  }

  static Whole of(std::int64_t number) {
    return {number < 0, number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number)};
  }

  [[nodiscard]] bool isWithin(const ContentType& type) const noexcept {
    if (!isNegative) return magnitude <= type.highest;
    return magnitude <= 0 - static_cast<std::uint64_t>(type.lowest);
  }

  [[nodiscard]] std::string text() const {
    return (isNegative && magnitude != 0 ? "-" : "") + std::to_string(magnitude);
  }
};

std::optional<double> realFromText(std::string_view text) {
  if (const std::optional<double> special = io::specialRealNamed(text)) return special;
  if (text.starts_with('+')) text.remove_prefix(1);
  return io::readReal(text);
}

/// The text that every plain value has; nothing for other kinds.
std::optional<ustring> textOf(const io::RawValue& value) {
  switch (value.kind()) {
    case io::RawValue::Kind::Boolean:
      return ustring(value.boolean() ? u"true" : u"false");
    case io::RawValue::Kind::Number:
      return bedrock::i18n::utf8_to_ustring(value.number());
    case io::RawValue::Kind::Text:
      return value.text();
    default:
      return std::nullopt;
  }
}

std::string rangeOf(const ContentType& type) {
  return "a whole number from " + std::to_string(type.lowest) + " to " + std::to_string(type.highest);
}

/// One conversion of one value; each operation returns the fault.
class Converter {
 public:
  Converter(io::RawValue& value, const ContentType& from, const ContentType& to, ustring text)
      : fValue(value), fFrom(from), fTo(to), fText(std::move(text)), fNarrow(bedrock::i18n::ustring_to_utf8(fText)) {}

  std::string convert() {
    switch (fTo.kind) {
      case Kind::Text:
        return put(fText);
      case Kind::Custom:
        return fFrom.kind == Kind::Custom || fFrom.kind == Kind::Text ? put(fText) : fault("its text");
      case Kind::Integer:
        return toInteger();
      case Kind::Real:
        return toReal();
      case Kind::Boolean:
        return toBoolean();
      case Kind::Uuid:
        return toUuid();
      case Kind::DateTime:
        return toDateTime();
      case Kind::Literal:
        return toLiteral();
      default:
        return {};
    }
  }

 private:
  template <class Content>
  std::string put(Content content) {
    const io::RawPosition position = fValue.position;
    fValue = io::RawValue(std::move(content));
    fValue.position = position;
    return {};
  }
  [[nodiscard]] std::string fault(const std::string& expected) const { return notOf(shown(fValue), fTo, expected); }

  std::string toInteger() {
    std::optional<Whole> whole;
    if (fFrom.kind == Kind::Literal) {
      const auto at = fFrom.literals.find(fText);
      if (at != fFrom.literals.end() && at->second) whole = Whole::of(*at->second);
      if (!whole && fValue.kind() != io::RawValue::Kind::Number) return fault("a literal whose number is known");
    } else if (fText == u"true" || fText == u"false") {
      if (fFrom.kind == Kind::Boolean) whole = Whole::of(fText == u"true" ? 1 : 0);
    } else if (fFrom.kind == Kind::Real) {
      if (const std::optional<double> real = realFromText(fNarrow)) whole = Whole::fromReal(*real);
    }
    if (!whole) whole = Whole::fromText(fNarrow);
    if (!whole || !whole->isWithin(fTo)) return fault(rangeOf(fTo));
    return put(io::RawNumber{whole->text()});
  }

  std::string toReal() {
    if (!realFromText(fNarrow)) return fault("a number");
    const bool isPlus = fNarrow.starts_with('+');
    return put(io::RawNumber{isPlus ? fNarrow.substr(1) : fNarrow});
  }

  std::string toBoolean() {
    if (fText == u"true" || fText == u"1") return put(true);
    if (fText == u"false" || fText == u"0") return put(false);
    return fault("true, false, 1 or 0");
  }

  std::string toUuid() {
    try {
      static_cast<void>(boost::lexical_cast<boost::uuids::uuid>(fNarrow));
    } catch (const boost::bad_lexical_cast&) {
      return fault("hexadecimal digits in groups of 8, 4, 4, 4 and 12");
    }
    return put(fText);
  }

  std::string toDateTime() {
    try {
      static_cast<void>(DateTimeUtils::Conversion::fromUstring(fText));
    } catch (const DateTimeError&) {
      return fault("a point in time such as \"2020-01-31T13:05:09\"");
    }
    return put(fText);
  }

  std::string toLiteral() {
    if (fFrom.kind == Kind::Integer) {
      const std::optional<Whole> whole = Whole::fromText(fNarrow);
      for (const auto& [name, number] : fTo.literals) {
        if (whole && number && Whole::of(*number).text() == whole->text()) return put(name);
      }
      return fault("the number of a literal");
    }
    if (fTo.literals.contains(fText)) return put(fText);
    const bool isNumberWithoutLiteral = fFrom.kind == Kind::Literal && fValue.kind() == io::RawValue::Kind::Number;
    if (isNumberWithoutLiteral) return {};
    return fault("a literal") + kern::internal::suggestionAmong(fTo.literals, fText);
  }

  io::RawValue& fValue;
  const ContentType& fFrom;
  const ContentType& fTo;
  ustring fText;
  std::string fNarrow;
};

}  // namespace

std::string convert(io::RawValue& value, const ContentType& from, const ContentType& to) {
  if (value.isNull()) return {};
  if (to.kind == Kind::Map || to.kind == Kind::Element) return {};
  if (to.kind == Kind::Data) {
    if (value.kind() == io::RawValue::Kind::Data && value.data().typeName == from.name) value.data().typeName = to.name;
    return {};
  }
  std::optional<ustring> text = textOf(value);
  if (!text) return notOf(shown(value), to, "a plain value");
  return Converter(value, from, to, std::move(*text)).convert();
}

std::string faultOfContent(const io::RawValue& value, const ContentType& type) {
  using RawKind = io::RawValue::Kind;
  const auto needs = [&](RawKind kind, const char* expected) {
    return value.kind() == kind ? std::string() : notOf(shown(value), type, expected);
  };
  std::string wrong;
  switch (type.kind) {
    case Kind::Unknown:
      return {};
    case Kind::Map:
    case Kind::Data:
    case Kind::Element:
      return "a property of " + quoted(type.name) + " takes no plain value: declare custom()";
    case Kind::Text:
    case Kind::Custom:
      return needs(RawKind::Text, "a text");
    case Kind::Boolean:
      return needs(RawKind::Boolean, "true or false");
    case Kind::Literal:
      wrong = needs(RawKind::Text, "the name of a literal");
      break;
    case Kind::Integer:
      wrong = needs(RawKind::Number, "a whole number");
      break;
    case Kind::Real:
      if (value.kind() == RawKind::Text && io::specialRealNamed(bedrock::i18n::ustring_to_utf8(value.text())))
        return {};
      wrong = needs(RawKind::Number, "a number");
      break;
    case Kind::Uuid:
    case Kind::DateTime:
      wrong = needs(RawKind::Text, "a text");
      break;
  }
  if (!wrong.empty()) return wrong;
  io::RawValue tried = value;
  return convert(tried, type, type);
}

}  // namespace tarn::kern::evolution::internal
