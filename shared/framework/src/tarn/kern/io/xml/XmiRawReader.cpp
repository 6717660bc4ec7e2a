#include "XmiRawReader.h"

#include <algorithm>
#include <cstring>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../PlainText.h"
#include "XmiReader.h"
#include "XmlValues.h"

namespace tarn::kern::io::xml {

using bedrock::i18n::ustring_to_utf8;
using bedrock::i18n::utf8_to_ustring;

namespace {

// Marks a text that is the name of an element for certain; no document can hold that character.
constexpr char16_t kReferenceMark = u'\x02';

std::vector<std::string_view> wordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  constexpr std::string_view kBlanks = " \t\r\n";
  for (std::size_t at = text.find_first_not_of(kBlanks); at != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
    words.push_back(text.substr(at, end - at));
    at = text.find_first_not_of(kBlanks, end);
  }
  return words;
}

}  // namespace

XmiRawReader::XmiRawReader(std::string_view text, std::string source)
    : fText(text), fSource(std::move(source)), fReader(*this, fSource) {}

std::vector<RawElement> XmiRawReader::read() {
  fFrames.emplace_back().isDocument = true;
  fReader.parse(fText);
  for (RawElement& root : fRoots) placeReferences(root);
  return fRoots;
}

RawPosition XmiRawReader::here() const {
  const ParsePlace place = fReader.place();
  return {static_cast<std::uint32_t>(place.line), static_cast<std::uint32_t>(place.column)};
}

/// The qualified name, whether the package version is registered or only another one of its family.
ustring XmiRawReader::typeNamed(std::string_view qualifiedName) const {
  const auto [prefix, local] = splitName(qualifiedName);
  const std::string* uri = fNamespaces.find(prefix);
  if (uri == nullptr) throw ParseError(fReader.place(), "the prefix \"" + std::string(prefix) + "\" is not declared");
  const ustring wanted = utf8_to_ustring(*uri);
  const meta::MetaRegistry& registry = *meta::MetaRegistry::getInstance();
  meta::Package package = registry.getPackage(wanted);
  const ustring& base = meta::MetaRegistry::schemaBaseUri();
  if (!package && wanted.starts_with(base)) {
    const std::size_t slash = std::min(wanted.find(u'/', base.size()), wanted.size());
    package = registry.getPackageForFamily(wanted.substr(base.size(), slash - base.size()));
  }
  if (!package) {
    throw ParseError(fReader.place(),
                     "no package with the URI \"" + *uri + "\" is registered: load its meta-model first");
  }
  return package->getQualifiedName() + u"." + utf8_to_ustring(local);
}

void XmiRawReader::startElement(const char* name, AttributeList attributes) {
  const std::size_t declared = fNamespaces.enter(attributes);
  const auto [prefix, local] = splitName(name);
  Frame& parent = fFrames.back();
  const bool isRoot = parent.isDocument;
  const bool isSkipped = parent.isSkipped;
  std::string key;
  if (!isRoot) {
    parent.hasParts = true;
    key = parent.key + "/@" + std::string(local) + "." + std::to_string(parent.counts[std::string(local)]++);
  } else {
    key = "/" + std::to_string(fRoots.size());
  }
  Frame& frame = fFrames.emplace_back();
  frame.namespaces = declared;
  frame.isSkipped = isSkipped;
  if (isSkipped) return;
  if (fNamespaces.isXmi(prefix)) {
    if (isRoot && local == "XMI") {
      frame.isDocument = true;
    } else {
      frame.isSkipped = true;
    }
    return;
  }
  frame.name = utf8_to_ustring(local);
  frame.key = std::move(key);
  frame.content.position = here();
  if (isRoot) frame.content.typeName = typeNamed(name);
  for (; *attributes != nullptr; attributes += 2) takeAttribute(frame, attributes[0], attributes[1]);
}

void XmiRawReader::takeAttribute(Frame& frame, const char* name, const char* value) {
  switch (fNamespaces.roleOf(name)) {
    case AttributeRole::Uuid: {
      const std::optional<boost::uuids::uuid> uuid = readUuid(value);
      frame.content.uuid = uuid ? *uuid : uuidByName(spaceOfNames(), "uuid:" + std::string(value));
      frame.hasIdentity = true;
      fHasIds = true;
      return;
    }
    case AttributeRole::Id:
      if (frame.content.uuid.is_nil()) {
        const std::optional<boost::uuids::uuid> uuid = uuidInId(value);
        frame.content.uuid = uuid ? *uuid : uuidByName(spaceOfNames(), keyOfId({}, value));
      }
      fIds.emplace(value, frame.content.uuid);
      frame.hasIdentity = true;
      fHasIds = true;
      return;
    case AttributeRole::Type:
      frame.content.typeName = typeNamed(value);
      return;
    case AttributeRole::IdReference:
      frame.href = value;
      return;
    case AttributeRole::Nil:
      frame.isNil = std::strcmp(value, "true") == 0 || std::strcmp(value, "1") == 0;
      return;
    case AttributeRole::Namespace:
    case AttributeRole::Ignored:
      return;
    case AttributeRole::Unbound:
      throw ParseError(fReader.place(), "the prefix of the attribute \"" + std::string(name) + "\" is not declared");
    case AttributeRole::Feature:
      break;
  }
  if (std::strcmp(name, "href") == 0) frame.href = value;
  frame.hasParts = true;
  RawProperty& property = frame.content.properties.emplace_back();
  property.name = utf8_to_ustring(splitName(name).second);
  property.value = RawValue(utf8_to_ustring(value));
  property.value.position = here();
}

void XmiRawReader::text(std::string_view piece) {
  if (!fFrames.back().isSkipped) fFrames.back().text += piece;
}

void XmiRawReader::endElement() {
  Frame frame = std::move(fFrames.back());
  fFrames.pop_back();
  fNamespaces.leave(frame.namespaces);
  if (frame.isSkipped || frame.isDocument) return;
  Frame& parent = fFrames.back();
  if (parent.isDocument) {
    if (frame.content.uuid.is_nil()) frame.content.uuid = uuidByName(spaceOfNames(), frame.key);
    fRoots.push_back(std::move(frame.content));
    return;
  }
  const ustring name = frame.name;
  RawValue value = valueOf(frame);
  RawValue* present = parent.content.find(name);
  if (present == nullptr) {
    parent.content.properties.push_back({name, std::move(value)});
  } else if (present->kind() == RawValue::Kind::List) {
    present->list().push_back(std::move(value));
  } else {
    RawValue::List list;
    list.push_back(std::move(*present));
    list.push_back(std::move(value));
    *present = RawValue(std::move(list));
  }
}

RawValue XmiRawReader::valueOf(Frame& frame) {
  RawValue value;
  if (frame.isNil) {
    // stays Null
  } else if (!frame.href.empty() && !frame.hasIdentity) {
    value = RawValue(kReferenceMark + utf8_to_ustring(frame.href));
  } else if (frame.hasIdentity || !frame.content.typeName.empty() || (frame.hasParts && !fHasIds)) {
    if (frame.content.uuid.is_nil()) frame.content.uuid = uuidByName(spaceOfNames(), frame.key);
    value = RawValue(std::move(frame.content));
  } else if (frame.hasParts) {
    RawData data;
    data.properties = std::move(frame.content.properties);
    value = RawValue(std::move(data));
  } else {
    value = RawValue(utf8_to_ustring(frame.text));
  }
  value.position = frame.content.position;
  return value;
}

// --- References.

void XmiRawReader::placeReferences(RawElement& element) { placeReferences(element.properties); }

void XmiRawReader::placeReferences(std::vector<RawProperty>& properties) {
  for (RawProperty& property : properties) property.value = withReferences(std::move(property.value));
}

RawValue XmiRawReader::withReferences(RawValue value) {
  switch (value.kind()) {
    case RawValue::Kind::Text:
      if (std::optional<RawValue> references = referencesIn(value.text(), false, value.position)) return *references;
      return value;
    case RawValue::Kind::List:
      for (RawValue& entry : value.list()) entry = withReferences(std::move(entry));
      return value;
    case RawValue::Kind::Element:
      bedrock::stack::callDeep([&] { placeReferences(value.element().properties); });
      return value;
    case RawValue::Kind::Data:
      bedrock::stack::callDeep([&] { placeReferences(value.data().properties); });
      return value;
    default:
      return value;
  }
}

/// The references that a text consists of; none when it is, or may be, just a text.
std::optional<RawValue> XmiRawReader::referencesIn(const ustring& names, bool takesAnyId, RawPosition position) const {
  const bool isCertain = names.starts_with(kReferenceMark);
  const std::string text = ustring_to_utf8(isCertain ? names.substr(1) : names);
  const std::vector<std::string_view> words = wordsOf(text);
  if (words.empty()) return std::nullopt;
  RawValue::List references;
  for (const std::string_view word : words) {
    std::optional<boost::uuids::uuid> target = findTarget(word, takesAnyId || isCertain);
    if (!target && isCertain) {
      quillon::logging::internal::Logger::logger(0).debug(false)
          << "Warning: " << fSource << ":" << position.line << ": a reference to " << quotedText(word)
          << ", which is not in the document, is left out\n";
      return RawValue();
    }
    if (!target) return std::nullopt;
    references.emplace_back(RawReference{{}, *target}).position = position;
  }
  if (references.size() == 1) return std::move(references.front());
  RawValue list(std::move(references));
  list.position = position;
  return list;
}

std::optional<boost::uuids::uuid> XmiRawReader::findTarget(std::string_view name, bool takesAnyId) const {
  constexpr std::string_view kUuidScheme = "urn:uuid:";
  if (name.starts_with(kUuidScheme)) return readUuid(name.substr(kUuidScheme.size()));
  if (name.starts_with('#')) name.remove_prefix(1);
  if (name.starts_with('/')) return findByPath(name);
  // A word that happens to be an id of the document may be plain text; one of the form that we write is no accident.
  const std::optional<boost::uuids::uuid> ownForm = uuidInId(name);
  const auto at = fIds.find(std::string(name));
  if (at != fIds.end() && (ownForm || takesAnyId)) return at->second;
  return std::nullopt;
}

std::optional<boost::uuids::uuid> XmiRawReader::findByPath(std::string_view path) const {
  path.remove_prefix(1);
  const std::string_view first = path.substr(0, path.find('/'));
  const std::optional<std::uint64_t> rootNumber = first.empty() ? 0 : readInteger<std::uint64_t>(first);
  if (!rootNumber || *rootNumber >= fRoots.size()) return std::nullopt;
  path.remove_prefix(first.size());
  const RawElement* at = &fRoots[*rootNumber];
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::string_view segment = path.substr(0, path.find('/'));
    path.remove_prefix(segment.size());
    if (!segment.starts_with('@')) return std::nullopt;
    const std::size_t dot = segment.rfind('.');
    std::optional<std::uint64_t> number;
    if (dot != std::string_view::npos) number = readInteger<std::uint64_t>(segment.substr(dot + 1));
    const std::uint64_t index = number ? *number : 0;
    const std::string_view name = number ? segment.substr(1, dot - 1) : segment.substr(1);
    const RawValue* value = at->find(utf8_to_ustring(name));
    if (value == nullptr) return std::nullopt;
    if (value->kind() == RawValue::Kind::List) {
      if (index >= value->list().size()) return std::nullopt;
      value = &value->list()[index];
    } else if (index != 0) {
      return std::nullopt;
    }
    if (value->kind() != RawValue::Kind::Element) return std::nullopt;
    at = &value->element();
  }
  return at->uuid;
}

// --- The shape that the current meta-model asks for.

void XmiRawReader::fitToCurrent(std::vector<RawElement>& roots, const Model& model) {
  fModel = model;
  for (const RawElement& root : roots) noteTypes(root);
  for (RawElement& root : roots) fitElement(root);
}

void XmiRawReader::noteTypes(const RawElement& element) {
  if (!element.typeName.empty()) fTypes.emplace(element.uuid, element.typeName);
  for (const RawProperty& property : element.properties) noteTypes(property.value);
}

void XmiRawReader::noteTypes(const RawValue& value) {
  if (value.kind() == RawValue::Kind::Element) {
    bedrock::stack::callDeep([&] { noteTypes(value.element()); });
  } else if (value.kind() == RawValue::Kind::List) {
    for (const RawValue& entry : value.list()) noteTypes(entry);
  }
}

void XmiRawReader::fitElement(RawElement& element) {
  const auto type = narrow<meta::StructuredType>(meta::MetaRegistry::getInstance()->getType(element.typeName));
  if (type) fit(element.properties, type);
}

void XmiRawReader::fit(std::vector<RawProperty>& properties, const meta::StructuredType& type) {
  for (RawProperty& named : properties) {
    const meta::Property property = type->getProperty(named.name);
    if (property) named.value = fitted(std::move(named.value), property);
  }
}

RawValue XmiRawReader::fitted(RawValue value, const meta::Property& property) {
  const RawPosition position = value.position;
  if (property->getType() == meta::StandardTypes::stringToStringMapMeta) return fittedMap(std::move(value));
  if (value.kind() == RawValue::Kind::Text && property->isReference()) {
    if (std::optional<RawValue> references = referencesIn(value.text(), true, position)) value = std::move(*references);
  }
  if (!property->isCollection()) {
    const bool isListOfOne = value.kind() == RawValue::Kind::List && value.list().size() == 1;
    if (isListOfOne) value = RawValue(std::move(value.list().front()));
    return value.kind() == RawValue::Kind::List ? value : fittedEntry(std::move(value), property);
  }
  RawValue::List entries;
  const bool isWords = value.kind() == RawValue::Kind::Text && !property->isReference() &&
                       property->getType() != meta::StandardTypes::stringMeta &&
                       property->getType() != meta::StandardTypes::stdstringMeta;
  if (value.kind() == RawValue::Kind::List) {
    for (RawValue& entry : value.list()) {
      const bool isReference = entry.kind() == RawValue::Kind::Reference;
      RawValue fitted = fittedEntry(std::move(entry), property);
      const bool wasLeftOut = isReference && fitted.isNull();
      if (!wasLeftOut) entries.push_back(std::move(fitted));
    }
  } else if (isWords) {
    const std::string text = ustring_to_utf8(value.text());  // which the words are views of
    for (const std::string_view word : wordsOf(text)) entries.emplace_back(utf8_to_ustring(word));
  } else if (!value.isNull()) {
    RawValue fitted = fittedEntry(std::move(value), property);
    if (!fitted.isNull()) entries.push_back(std::move(fitted));
  }
  RawValue list(std::move(entries));
  list.position = position;
  return list;
}

RawValue XmiRawReader::fittedMap(RawValue value) {
  RawValue::Map map;
  const auto add = [&](const RawValue& entry) {
    const std::vector<RawProperty>* parts = nullptr;
    if (entry.kind() == RawValue::Kind::Data) parts = &entry.data().properties;
    if (entry.kind() == RawValue::Kind::Element) parts = &entry.element().properties;
    if (parts == nullptr) return;
    std::pair<ustring, ustring>& made = map.emplace_back();
    for (const RawProperty& part : *parts) {
      if (part.value.kind() != RawValue::Kind::Text) continue;
      if (part.name == u"key") made.first = part.value.text();
      if (part.name == u"value") made.second = part.value.text();
    }
  };
  if (value.kind() == RawValue::Kind::Map) return value;
  if (value.kind() == RawValue::Kind::List) {
    for (const RawValue& entry : value.list()) add(entry);
  } else {
    add(value);
  }
  RawValue made(std::move(map));
  made.position = value.position;
  return made;
}

RawValue XmiRawReader::fittedEntry(RawValue value, const meta::Property& property) {
  const RawPosition position = value.position;
  const auto type = narrow<meta::StructuredType>(property->getType());
  if (value.kind() == RawValue::Kind::Element && type && !property->isReference()) {
    RawData data;
    data.properties = std::move(value.element().properties);
    value = RawValue(std::move(data));
  }
  switch (value.kind()) {
    case RawValue::Kind::Element: {
      RawElement& element = value.element();
      if (element.typeName.empty()) {
        element.typeName = property->getType()->getQualifiedName();
        fTypes.emplace(element.uuid, element.typeName);
      }
      bedrock::stack::callDeep([&] { fitElement(element); });
      break;
    }
    case RawValue::Kind::Data:
      if (value.data().typeName.empty()) value.data().typeName = property->getType()->getQualifiedName();
      if (type) bedrock::stack::callDeep([&] { fit(value.data().properties, type); });
      break;
    case RawValue::Kind::Reference:
      value = fittedReference(std::move(value), property);
      break;
    case RawValue::Kind::Text:
      value = fittedText(std::move(value), property);
      break;
    default:
      break;
  }
  value.position = position;
  return value;
}

/// The loader makes an element at its first mention, of the class that the mention names: it must be the right one.
RawValue XmiRawReader::fittedReference(RawValue value, const meta::Property& property) {
  const boost::uuids::uuid& uuid = value.reference().uuid;
  if (const auto at = fTypes.find(uuid); at != fTypes.end()) {
    value.reference().typeName = at->second;
    return value;
  }
  if (const ModelElement present = fModel->findElement(uuid, FindElementBehavior::Anywhere)) {
    value.reference().typeName = present->getMetaClass()->getQualifiedName();
    return value;
  }
  quillon::logging::internal::Logger::logger(0).debug(false)
      << "Warning: " << fSource << ":" << value.position.line << ": \"" << bedrock::i18n::to_string(property->getName())
      << "\" refers to an element that is not in the model any more: the reference is left out\n";
  return RawValue();
}

/// Spellings of XML that other text formats do not share.
RawValue XmiRawReader::fittedText(RawValue value, const meta::Property& property) {
  const meta::Type& type = property->getType();
  if (const auto ofLiterals = narrow<meta::Enum>(type)) {
    if (ofLiterals->getLiterals().contains(value.text())) return value;
    const auto& literals = fPlans.literalsOf(ofLiterals);
    const auto literal = literals.find(ustring_to_utf8(value.text()));
    return literal == literals.end() ? value : RawValue(RawNumber{std::to_string(literal->second)});
  }
  if (type == meta::StandardTypes::realMeta) {
    if (value.text() == u"Infinity" || value.text() == u"INF") return RawValue(u"inf");
    if (value.text() == u"-Infinity" || value.text() == u"-INF") return RawValue(u"-inf");
  }
  return value;
}

}  // namespace tarn::kern::io::xml
