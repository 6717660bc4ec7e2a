#include "ModelLoader.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "../Layout.h"
#include "../StorageDispatch.h"
#include "ContentTarget.h"
#include "KnownNames.h"
#include "PlainText.h"

namespace tarn::kern::io {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using internal::SlotInfo;
using internal::SlotShape;
using internal::TypeTag;
using Kind = RawValue::Kind;

namespace {

constexpr std::size_t kNoIndex = static_cast<std::size_t>(-1);

std::string shortened(const std::string& text) {
  constexpr std::size_t kLongest = 60;
  return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

std::string describe(const RawValue& value) {
  switch (value.kind()) {
    case Kind::Null:
      return "nothing";
    case Kind::Boolean:
      return value.boolean() ? "true" : "false";
    case Kind::Number:
      return "the number " + shortened(value.number());
    case Kind::Text:
      return "the text \"" + shortened(to_string(value.text())) + "\"";
    case Kind::List:
      return "a list";
    case Kind::Map:
      return "a map";
    case Kind::Data:
      return "a data value of " + to_string(value.data().typeName);
    case Kind::Reference:
      return "a reference to an element of " + to_string(value.reference().typeName);
    case Kind::Element:
      return "an element of " + to_string(value.element().typeName);
  }
  return {};
}

}  // namespace

/// Goes down one root. Elements and data values nest to any depth; the ways down pass callDeep.
class ModelLoader::Filler {
 public:
  Filler(ModelLoader& loader, const std::string& pathToRoot) : fLoader(loader), fRoot(pathToRoot) {}

  ModelElement::Impl* element(const RawElement& raw);
  ModelElement::Impl* mention(const RawElement& raw) { return known(raw.typeName, raw.uuid, raw.position, false); }

 private:
  /// The way from the root to what is being read, as a chain through the frames: written out only for an error.
  struct Step {
    const Step* outer;
    const ustring* name;
    std::size_t index;
  };
  class Inside {
   public:
    Inside(Filler& filler, const ustring* name, std::size_t index)
        : fFiller(filler), fStep{filler.fInnermost, name, index} {
      filler.fInnermost = &fStep;
    }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() { fFiller.fInnermost = fStep.outer; }

   private:
    Filler& fFiller;
    Step fStep;
  };

  /// The element of that uuid; `isDefinition` where contents follow.
  ModelElement::Impl* known(const ustring& typeName, const boost::uuids::uuid& uuid, const RawPosition& position,
                            bool isDefinition);
  template <class Target>
  void contents(Target target, const meta::StructuredType& type, const std::vector<RawProperty>& properties,
                const RawPosition& position);
  template <class Target>
  void property(Target target, const meta::Property& property, const RawValue& value);
  template <class Target>
  void single(Target target, const meta::Property& property, const SlotInfo& slot, const RawValue& value);
  template <class Target>
  void map(Target target, const meta::Property& property, const RawValue& value);
  template <class Target>
  void targets(Target target, const meta::Property& property, const RawValue& value);
  template <class Target>
  void values(Target target, const meta::Property& property, const SlotInfo& slot, const RawValue& value);

  /// nullptr for Null.
  ModelElement::Impl* target(const meta::Property& property, const RawValue& value);
  Value plain(const meta::Property& property, const SlotInfo& slot, const RawValue& value);
  template <class T>
  T object(const RawValue& value);
  Value enumValue(const meta::Type& type, const RawValue& value);
  Value customValue(const meta::Type& type, const RawValue& value);
  Value dataValue(const meta::Type& type, const RawValue& value);

  template <class Change>
  auto at(const RawPosition& position, Change change) {
    try {
      return change();
    } catch (const ParseError&) {
      throw;
    } catch (const KernelError& error) {
      throw ParseError(place(position), error.what());
    }
  }
  [[nodiscard]] ParsePlace place(const RawPosition& position) const;
  [[noreturn]] void fail(const RawValue& value, const std::string& expected, const std::string& advice = {}) const {
    throw ParseError(place(value.position), expected, describe(value), advice);
  }

  ModelLoader& fLoader;
  const std::string& fRoot;
  const Step* fInnermost = nullptr;
};

ParsePlace ModelLoader::Filler::place(const RawPosition& position) const {
  constexpr std::size_t kShown = 16;
  std::vector<std::string> steps;  // innermost first
  bool isLong = false;
  for (const Step* step = fInnermost; step != nullptr; step = step->outer) {
    isLong = steps.size() == kShown;
    if (isLong) break;
    steps.push_back(step->name != nullptr ? "." + to_string(*step->name) : "[" + std::to_string(step->index) + "]");
  }
  std::string path = fRoot;
  if (isLong) path += "...";
  for (std::size_t i = steps.size(); i-- > 0;) path += steps[i];
  if (path.starts_with('.') && !path.starts_with("...")) path.erase(0, 1);
  return {fLoader.fSourceName, position.line, position.column, path};
}

// --- Elements.

ModelElement::Impl* ModelLoader::Filler::known(const ustring& typeName, const boost::uuids::uuid& uuid,
                                               const RawPosition& position, bool isDefinition) {
  const auto type = narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(typeName));
  if (!type) {
    throw ParseError(place(position), "the qualified name of a registered class", "\"" + to_string(typeName) + "\"",
                     nearestClass(typeName));
  }
  if (uuid.is_nil()) throw ParseError(place(position), "a uuid that is not nil", "the nil uuid");
  MentionedElements& elements = fLoader.fElements;
  return at(position, [&] { return isDefinition ? elements.define(type, uuid) : elements.mention(type, uuid); });
}

ModelElement::Impl* ModelLoader::Filler::element(const RawElement& raw) {
  ModelElement::Impl* const element = known(raw.typeName, raw.uuid, raw.position, true);
  bedrock::stack::callDeep(
      [&] { contents(ElementTarget{*element}, element->getMetaClass(), raw.properties, raw.position); });
  return element;
}

template <class Target>
void ModelLoader::Filler::contents(Target target, const meta::StructuredType& type,
                                   const std::vector<RawProperty>& properties, const RawPosition& position) {
  for (const RawProperty& raw : properties) {
    const Inside step(*this, &raw.name, kNoIndex);
    const meta::Property found = type->getProperty(raw.name);
    if (!found) {
      const RawPosition& shown = raw.value.position.line != 0 ? raw.value.position : position;
      throw ParseError(place(shown), "a property of " + to_string(type->getQualifiedName()),
                       "\"" + to_string(raw.name) + "\"", nearestProperty(type, raw.name));
    }
    property(target, found, raw.value);
  }
}

template <class Target>
void ModelLoader::Filler::property(Target target, const meta::Property& property, const RawValue& value) {
  const SlotInfo& slot = *property->getOwner()->layout().find(property.get());
  switch (slot.shape) {
    case SlotShape::Single:
      return slot.storage == StorageType::Map ? map(target, property, value) : single(target, property, slot, value);
    case SlotShape::Reference:
    case SlotShape::Container: {
      ModelElement::Impl* const read = this->target(property, value);
      return at(value.position, [&] {
        if (read != nullptr) return target.setObject(property, ModelElement(read));
        target.set(property, Value::createEmptyValue(property->getType(), property->lower != 0));
      });
    }
    case SlotShape::Elements:
      return targets(target, property, value);
    case SlotShape::Typed:
    case SlotShape::Generic:
      return values(target, property, slot, value);
  }
}

ModelElement::Impl* ModelLoader::Filler::target(const meta::Property& property, const RawValue& value) {
  const auto wanted = narrow<meta::Class>(property->getType());
  ModelElement::Impl* read = nullptr;
  if (value.kind() == Kind::Element) {
    read = element(value.element());
  } else if (value.kind() == Kind::Reference) {
    const RawReference& reference = value.reference();
    // A file that names no class means the declared one.
    read = known(reference.typeName.empty() ? wanted->getQualifiedName() : reference.typeName, reference.uuid,
                 value.position, false);
  } else if (!value.isNull()) {
    fail(value, "an element or a reference to one");
  }
  if (read != nullptr && !read->getMetaClass()->conformsTo(wanted)) {
    fail(value, "an element of " + to_string(wanted->getQualifiedName()));
  }
  return read;
}

template <class Target>
void ModelLoader::Filler::targets(Target target, const meta::Property& property, const RawValue& value) {
  if (value.kind() != Kind::List) fail(value, "a list of elements");
  const Value live = target.get(property);
  ListedTargets listed(live.toElementCollection(), value.list().size());
  for (std::size_t i = 0; i < value.list().size(); ++i) {
    const RawValue& entry = value.list()[i];
    const Inside step(*this, nullptr, i);
    ModelElement::Impl* const read = this->target(property, entry);
    at(entry.position, [&] { listed.add(read); });
  }
  at(value.position, [&] { listed.finish(); });
}

// --- Values.

namespace {

/// What a number or a text spells; empty for any other value.
std::string spelling(const RawValue& value) {
  if (value.kind() == Kind::Number) return value.number();
  if (value.kind() == Kind::Text) return ustring_to_utf8(value.text());
  return {};
}

std::optional<bool> truthValue(const RawValue& value) {
  if (value.kind() == Kind::Boolean) return value.boolean();
  if (value.kind() != Kind::Text) return std::nullopt;
  if (value.text() == u"true" || value.text() == u"1") return true;
  if (value.text() == u"false" || value.text() == u"0") return false;
  return std::nullopt;
}

std::optional<double> realNumber(const RawValue& value) {
  if (value.isNull()) return std::numeric_limits<double>::quiet_NaN();
  const std::string text = spelling(value);
  const auto number = readReal(text);
  return number ? number : specialRealNamed(text);
}

}  // namespace

/// Defined before its use in a generic lambda, where clang 14 instantiates nothing that comes later.
template <class T>
T ModelLoader::Filler::object(const RawValue& value) {
  if constexpr (std::same_as<T, bool>) {
    if (const auto truth = truthValue(value)) return *truth;
    fail(value, "true or false");
  } else if constexpr (std::same_as<T, double>) {
    if (const auto number = realNumber(value)) return *number;
    fail(value, R"(a number within the range of a Real, "NaN", "inf" or "-inf")");
  } else if constexpr (std::integral<T>) {
    if (const auto number = readInteger<T>(spelling(value))) return *number;
    fail(value, "a whole number " + rangeOf(internal::StorageOf<T>::kType));
  } else if constexpr (std::same_as<T, ustring>) {
    if (value.kind() == Kind::Text) return value.text();
    fail(value, "a text");
  } else if constexpr (std::same_as<T, std::string>) {
    if (value.kind() != Kind::Text) fail(value, "a text");
    if (auto bytes = bytesOf(value.text())) return *std::move(bytes);
    fail(value, "a text of bytes, in which only U+DC80 to U+DCFF may stand alone");
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    if (value.kind() == Kind::Text) {
      if (const auto uuid = readUuid(ustring_to_utf8(value.text()))) return *uuid;
    }
    fail(value, R"(a uuid such as "00112233-4455-6677-8899-aabbccddeeff")");
  } else {
    static_assert(std::same_as<T, boost::posix_time::ptime>);
    const char* const expected = R"(a time such as "2020-01-31T13:05:09.000000")";
    if (value.kind() != Kind::Text) fail(value, expected);
    try {
      return DateTimeUtils::Conversion::fromUstring(value.text());
    } catch (const DateTimeError& error) {
      fail(value, expected, std::string("; ") + error.what());
    }
  }
}

template <class Target>
void ModelLoader::Filler::map(Target target, const meta::Property& property, const RawValue& value) {
  const Value live = target.get(property);
  StringToStringMap& map = live.toStringToStringMap();
  map.clear();
  const auto insert = [&](const ustring& key, const ustring& text) {
    map.insert(key, text, CollisionResolution::Replace);
  };
  if (value.kind() == Kind::Map) {
    for (const auto& [key, text] : value.map()) insert(key, text);
  } else if (value.kind() == Kind::Reference) {  // a reader without meta-model cannot tell these apart
    insert(u"type", value.reference().typeName);
    std::string uuid(kUuidLength, '\0');
    writeUuid(uuid.data(), value.reference().uuid);
    insert(u"uuid", bedrock::i18n::utf8_to_ustring(uuid));
  } else if (!value.isNull()) {
    fail(value, "a map of texts");
  }
}

template <class Target>
void ModelLoader::Filler::single(Target target, const meta::Property& property, const SlotInfo& slot,
                                 const RawValue& value) {
  const bool hasDefault = property->defaultValue() && property->defaultValue()->hasObject();
  const bool readsNullAsNan = slot.storage == StorageType::Real && property->lower > 0 && !hasDefault;
  at(value.position, [&] {
    if (value.isNull() && !readsNullAsNan) {
      target.set(property, Value::createEmptyValue(property->getType(), property->lower != 0));
    } else {
      target.set(property, plain(property, slot, value));
    }
  });
}

template <class Target>
void ModelLoader::Filler::values(Target target, const meta::Property& property, const SlotInfo& slot,
                                 const RawValue& value) {
  if (value.kind() != Kind::List) fail(value, "a list of values");
  std::vector<Value> entries;
  entries.reserve(value.list().size());
  for (std::size_t i = 0; i < value.list().size(); ++i) {
    const Inside step(*this, nullptr, i);
    entries.push_back(plain(property, slot, value.list()[i]));
  }
  const Value live = target.get(property);
  live.toPrimitiveCollection().assignValues(std::move(entries));
}

Value ModelLoader::Filler::plain(const meta::Property& property, const SlotInfo& slot, const RawValue& value) {
  const meta::Type& type = property->getType();
  switch (slot.storage) {
    case StorageType::Enum:
      return enumValue(type, value);
    case StorageType::Custom:
      return customValue(type, value);
    case StorageType::Data:
      return bedrock::stack::callDeep([&] { return dataValue(type, value); });
    default:
      return internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) -> Value {
        if constexpr (std::same_as<T, Value>) {
          std::abort();  // handled above
        } else {
          return Value(object<T>(value));
        }
      });
  }
}

Value ModelLoader::Filler::enumValue(const meta::Type& type, const RawValue& value) {
  const auto enumeration = narrow<meta::Enum>(type);
  if (value.kind() == Kind::Text) {
    const auto found = enumeration->getLiterals().find(value.text());
    if (found != enumeration->getLiterals().end()) return Value::createEnumValue(found->second);
  }
  if (const auto number = readInteger<std::int64_t>(spelling(value))) {
    return Value(ValueMeta(type, ValueFlags::Single), *number);
  }
  fail(value, "a literal of " + to_string(type->getQualifiedName()),
       value.kind() == Kind::Text ? nearestLiteral(enumeration, value.text()) : std::string());
}

Value ModelLoader::Filler::customValue(const meta::Type& type, const RawValue& value) {
  const std::string expected = "the text of a " + to_string(type->getQualifiedName());
  if (value.kind() != Kind::Text) fail(value, expected);
  try {
    return narrow<meta::PrimitiveType>(type)->fromText(value.text());
  } catch (const std::exception& error) {  // of the application's own kind
    fail(value, expected, std::string("; ") + error.what());
  }
}

Value ModelLoader::Filler::dataValue(const meta::Type& type, const RawValue& value) {
  const std::string expected = "a data value of " + to_string(type->getQualifiedName());
  if (value.kind() != Kind::Data) fail(value, expected);
  const RawData& raw = value.data();
  if (!raw.typeName.empty() && raw.typeName != type->getQualifiedName()) fail(value, expected);
  const auto dataType = narrow<meta::DataType>(type);
  ReflectiveDataType data(dataType);
  contents(DataTarget{data}, dataType, raw.properties, value.position);
  return *std::move(data).toNonReflectiveDataTypeValue();
}

// --- The class itself.

ModelLoader::ModelLoader(const Model& model, std::string sourceName)
    : fSourceName(std::move(sourceName)), fElements(model) {}

ModelElement ModelLoader::load(const RawElement& root, const std::string& pathToRoot) {
  return ModelElement(Filler(*this, pathToRoot).element(root));
}

ModelElement ModelLoader::mention(const RawElement& root, const std::string& pathToRoot) {
  return ModelElement(Filler(*this, pathToRoot).mention(root));
}

}  // namespace tarn::kern::io
