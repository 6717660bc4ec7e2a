#include <concepts>
#include <cstdint>
#include <locale>
#include <ostream>
#include <type_traits>

#include <boost/date_time/posix_time/posix_time_io.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "DescriptionRows.h"
#include "PlainText.h"
#include "PrintingParts.h"
#include "StoredTypes.h"
#include "TypeTags.h"
#include "quillon/nimbo/PrettyPrinter.h"

/// The looks of single values: inline in the tree, as rows in a description. Both read a value in the same way and
/// differ on purpose in how they write it.
namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using bedrock::i18n::ustring_to_utf8;
using html::descItem;
using kern::Value;

namespace {

// --- Reading.

/// Calls form.show(object) with the value read as T, or form.absent<T>(). Integers are also read from enums.
template <class T, class Form>
void showStored(const Value& value, bool optional, const Form& form) {
  if constexpr (kern::IntegerValueType<T>) {
    const boost::optional<T> number = optional ? value.getOptional<T>() : value.get<T>();
    return number ? form.show(*number) : form.template absent<T>();
  } else {
    const T* const object = value.peek<T>();
    if (object != nullptr) return form.show(*object);
    return optional ? form.template absent<T>() : form.show(T());
  }
}

/// A number without literal has no name to show.
template <class Form>
void showLiteral(const meta::Type& type, const Value& value, bool optional, const Form& form) {
  const boost::optional<std::int64_t> number = optional ? value.getOptional<std::int64_t>() : value.get<std::int64_t>();
  const auto literal = number ? kern::narrow<meta::Enum>(type)->getLiteral(*number) : meta::EnumLiteral();
  return literal ? form.show(literal) : form.template absent<meta::EnumLiteral>();
}

/// All that is neither a map nor a data value. Unsigned numbers of 64 bits have no form, although their smaller
/// siblings do: readers of these texts know them as unsupported.
template <class Form>
void showPlainValue(SerializationTag tag, const meta::Type& type, const Value& value, bool optional, const Form& form) {
  if (tag == SerializationTag::ENUM) return showLiteral(type, value, optional, form);
  const bool isStored = detail::visitStoredType(tag, [&]<class T>(std::type_identity<T>) {
    if constexpr (std::same_as<T, std::uint64_t>) {
      form.unsupported();
    } else {
      showStored<T>(value, optional, form);
    }
  });
  if (!isStored) form.unsupported();
}

/// The data value in place where there is one, as copies of nested ones are deep; an absent one by its defaults. These
/// come to an end: no data type holds itself but through a collection.
template <class Show>
void showData(const Value& value, const Show& show) {
  if (const auto* const data = value.peek<kern::ReflectiveDataType>()) return show(*data);
  show(value.toReflectiveDataType());
}

// --- In the tree.

/// What streaming the time gives. To do so adds a facet to the stream's locale, which is not ours to change, and which
/// a file that has failed answers with an exception later on; it is slow besides. So that is left to streams whose
/// locale may give months other names, or times another form.
void putTime(std::ostream& os, const boost::posix_time::ptime& time) {
  if (os.getloc() == std::locale::classic()) {
    detail::putText(os, detail::TimeText(time).view());
  } else {
    os << time;
  }
}

/// As a reader of source text expects them. Quotes within a text stay as they are.
class TreeForm {
 public:
  explicit TreeForm(std::ostream& os) : fOs(os) {}

  void show(bool value) const { detail::putText(fOs, value ? "true" : "false"); }
  void show(double value) const { detail::putReal(fOs, value); }
  void show(std::int8_t value) const { fOs << static_cast<char>(value); }
  void show(std::uint8_t value) const { fOs << static_cast<char>(value); }
  void show(const std::string& text) const { fOs << '"' << text << '"'; }
  void show(const std::u16string& text) const {
    std::string quoted = "\"";
    bedrock::i18n::appendUtf8(quoted, text);
    detail::putText(fOs, quoted += '"');
  }
  void show(const meta::EnumLiteral& literal) const { detail::putText(fOs, detail::nameOf(literal)); }
  void show(const boost::posix_time::ptime& time) const { putTime(fOs, time); }
  template <class T>
  void show(const T& value) const {
    fOs << value;
  }

  template <class T>
  void absent() const {
    fOs << detail::kNullText;
  }
  void unsupported() const { fOs << detail::kUnsupportedText; }

 private:
  std::ostream& fOs;
};

void putMap(std::ostream& os, const kern::StringToStringMap& map) {
  os << '{';
  const char* separator = "";
  for (const auto& [key, text] : map) {
    os << separator << '"' << ustring_to_utf8(key) << "\" -> \"" << ustring_to_utf8(text) << '"';
    separator = ", ";
  }
  os << '}';
}

// --- In a description.

/// Bare texts in the colours of their kinds.
class RowForm {
 public:
  RowForm(std::ostream& os, const std::string& name) : fOs(os), fName(name) {}

  void show(bool value) const { put<bool>(value ? "TRUE" : "FALSE"); }
  void show(const meta::EnumLiteral& literal) const { put<meta::EnumLiteral>(detail::nameOf(literal)); }
  template <class T>
  void show(const T& value) const {
    put<T>(value);
  }

  /// An absent Boolean is not told from a true one here; the tree does tell it.
  template <class T>
  void absent() const {
    put<T>(std::same_as<T, bool> ? "TRUE" : detail::kNullText);
  }
  void unsupported() const { put<std::string>(detail::kUnsupportedText); }

 private:
  template <class T>
  static constexpr const char* kClass = std::same_as<T, bool>                ? "attrBool"
                                        : std::is_arithmetic_v<T>            ? "attrNum"
                                        : std::same_as<T, meta::EnumLiteral> ? "attrEnum"
                                                                             : "attrId";

  template <class T, class Shown>
  void put(const Shown& shown) const {
    fOs << descItem{fName, kClass<T>, shown};
  }

  std::ostream& fOs;
  const std::string& fName;
};

void putMapRows(std::ostream& os, const std::string& name, const kern::StringToStringMap& map) {
  os << descItem{name, "attrId", map.empty() ? "{}" : ""};
  for (const auto& [key, text] : map) os << descItem{ustring_to_utf8(u"  " + key), "attrId", text};
}

/// Each attribute in the order of their names, on fresh stack where needed: data values nest as deep as they like.
template <class Visit>
void forEachAttribute(const meta::Type& type, const kern::ReflectiveDataType& data, Visit visit) {
  for (const auto& [name, property] : kern::narrow<meta::DataType>(type)->getOwnedAttributes()) {
    bedrock::stack::callDeep([&, &attribute = property] { visit(attribute, data.getPropertyValue(attribute)); });
  }
}

}  // namespace

void PrettyPrinter::emitValue(std::ostream& os, const Type& type, const Value& value, bool optional) {
  const SerializationTag tag = tagOfType(type);
  if (tag == SerializationTag::DATA_TYPE) {
    return showData(value, [&](const kern::ReflectiveDataType& data) { emitDataTree(os, type, data); });
  }
  if (tag == SerializationTag::STRINGTOSTRINGMAP) return putMap(os, value.toStringToStringMap());
  showPlainValue(tag, type, value, optional, TreeForm(os));
}

void PrettyPrinter::emitValueDescItem(std::ostream& os, const std::string& name, const Type& type, const Value& value,
                                      bool optional) {
  const SerializationTag tag = tagOfType(type);
  if (tag == SerializationTag::DATA_TYPE) {
    return showData(value, [&](const kern::ReflectiveDataType& data) { emitDataDef(os, name, type, data); });
  }
  if (tag == SerializationTag::STRINGTOSTRINGMAP) return putMapRows(os, name, value.toStringToStringMap());
  showPlainValue(tag, type, value, optional, RowForm(os, name));
}

// --- Data values.

/// Every attribute shows, default or not: what the tree hides is told of elements only.
void PrettyPrinter::emitDataTree(std::ostream& os, const Type& type, const kern::ReflectiveDataType& data) {
  os << "{\n";
  ++fIndentLevel;
  forEachAttribute(type, data,
                   [&](const Property& property, const Value& value) { emitPropertyTree(os, property, value); });
  --fIndentLevel;
  emitIndent(os, false);
  os << '}';
}

/// The prefix is the same at every depth.
void PrettyPrinter::emitDataDef(std::ostream& os, const std::string& name, const Type& type,
                                const kern::ReflectiveDataType& data) {
  os << descItem{name, "attrId", ""};
  forEachAttribute(type, data, [&](const Property& property, const Value& value) {
    emitPropertyDef(os, property, value, "  ", false);
  });
}

}  // namespace quillon::nimbo
