#include "XmiReader.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>

#include <boost/uuid/name_generator_sha1.hpp>

#include <bedrock/except.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/evolution/Evolver.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "../../NearestName.h"
#include "../../ecore/Facets.h"
#include "../PlainText.h"
#include "XmiDataValues.h"
#include "XmlNames.h"
#include "XmlValues.h"

namespace tarn::kern::io::xml {

using bedrock::i18n::to_string;
using bedrock::i18n::utf8_to_ustring;

// --- Names for elements.

boost::uuids::uuid uuidByName(const boost::uuids::uuid& space, std::string_view name) {
  return boost::uuids::name_generator_sha1(space)(name.data(), name.size());
}

const boost::uuids::uuid& spaceOfNames() noexcept {
  static constexpr boost::uuids::uuid kSpace = {
      {0x5e, 0x1d, 0x0c, 0x0a, 0x8c, 0x3e, 0x4d, 0x57, 0x9b, 0x52, 0x6f, 0x0a, 0x61, 0x37, 0xc4, 0x2e}};
  return kSpace;
}

std::optional<boost::uuids::uuid> uuidInId(std::string_view id) noexcept {
  if (id.size() != kUuidLength + 1 || id.front() != '_') return std::nullopt;
  return readUuid(id.substr(1));
}

std::string keyOfId(std::string_view keyPrefix, std::string_view id) {
  return std::string(keyPrefix) + "#" + std::string(id);
}

namespace {

bool isBlank(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

constexpr std::string_view kNilWord = "\x01";

/// Calls `place(feature, first, last)` for each run of items of one feature, in the order of the document.
template <class Item, class F>
void forEachFeature(std::vector<Item>& items, std::size_t begin, F&& place) {
  const auto first = items.begin() + static_cast<std::ptrdiff_t>(begin);
  const auto byFeature = [](const Item& a, const Item& b) { return std::less<>()(a.feature, b.feature); };
  if (!std::is_sorted(first, items.end(), byFeature)) std::stable_sort(first, items.end(), byFeature);
  for (auto at = first; at != items.end();) {
    const auto end = std::find_if(at, items.end(), [&](const Item& item) { return item.feature != at->feature; });
    place(*at->feature, at, end);
    at = end;
  }
  items.erase(first, items.end());
}

}  // namespace

// --- The document.

XmiReader::XmiReader(XmiContent& content, std::uint32_t document, bool evolves)
    : fContent(content), fNumber(document), fDocument(content.documents[document]), fEvolves(evolves) {}

void XmiReader::read() {
  fContent.plans.forgetAddresses();
  fDocument.reader = std::make_unique<XmlReader>(*this, fDocument.source);
  push(FrameKind::Document);
  fDocument.reader->parse(fDocument.text);
}

ParsePlace XmiReader::here() const {
  ParsePlace place = fDocument.reader->place();
  place.path = path();
  return place;
}

void XmiReader::fail(const std::string& problem) const { throw ParseError(here(), problem); }

std::string XmiReader::path() const {
  std::string path;
  for (const Frame& frame : fFrames) {
    if (frame.kind == FrameKind::Document || frame.kind == FrameKind::Xmi) continue;
    if (frame.feature == nullptr) {
      path += frame.position == 0 ? "/" : "/" + std::to_string(frame.position);
    } else {
      path += "/@" + frame.feature->name;
      if (frame.feature->isCollection) path += "." + std::to_string(frame.position);
    }
    if (path.size() > 400) return path + "/...";  // deep documents
  }
  return path;
}

template <class F>
decltype(auto) XmiReader::atThisPlace(F&& change) {
  try {
    return change();
  } catch (const ValueTextError& error) {
    throw ParseError(here(), error.expected, error.found);
  } catch (const ParseError&) {
    throw;
  } catch (const KernelError& error) {
    throw ParseError(here(), error.what());
  } catch (const bedrock::except::IMsgIDException& error) {
    throw ParseError(here(), error.what());
  }
}

XmiReader::Frame& XmiReader::push(FrameKind kind) {
  Frame& frame = fFrames.emplace_back();
  frame.kind = kind;
  frame.offset = fDocument.reader->offset();
  frame.children = fChildren.size();
  frame.values = fValues.size();
  frame.counters = fCounters.size();
  frame.references = fReferences.size();
  frame.drafts = fContent.drafts.size();
  return frame;
}

// --- Start tags.

XmiReader::Specials XmiReader::specialsOf(AttributeList attributes) {
  Specials specials;
  for (; *attributes != nullptr; attributes += 2) {
    const char* value = attributes[1];
    switch (fDocument.namespaces.roleOf(attributes[0])) {
      case AttributeRole::Feature:
        if (std::strcmp(attributes[0], "href") == 0) specials.href = value;
        break;
      case AttributeRole::Id:
        specials.id = value;
        break;
      case AttributeRole::Uuid:
        specials.uuid = value;
        break;
      case AttributeRole::Type:
        specials.type = value;
        break;
      case AttributeRole::IdReference:
        specials.idReference = value;
        break;
      case AttributeRole::Nil:
        specials.isNil = std::strcmp(value, "true") == 0 || std::strcmp(value, "1") == 0;
        break;
      case AttributeRole::Unbound:
        fail("the prefix \"" + std::string(splitName(attributes[0]).first) + "\" of the attribute \"" + attributes[0] +
             "\" is not declared");
        break;
      case AttributeRole::Namespace:
      case AttributeRole::Ignored:
        break;
    }
  }
  return specials;
}

void XmiReader::startElement(const char* name, AttributeList attributes) {
  if (top().kind == FrameKind::Skipped) {
    ++top().depth;
    return;
  }
  const std::size_t declared = fDocument.namespaces.enter(attributes);
  if (declared != 0) checkPackages();
  const Specials specials = specialsOf(attributes);
  const std::size_t before = fFrames.size();
  switch (top().kind) {
    case FrameKind::Document:
    case FrameKind::Xmi:
      startRoot(name, attributes, specials);
      break;
    case FrameKind::Element:
    case FrameKind::Data:
      startInElement(name, attributes, specials);
      break;
    case FrameKind::MapEntry:
      startMapPart(name);
      break;
    case FrameKind::Text:
    case FrameKind::Reference:
    case FrameKind::MapPart:
    case FrameKind::Skipped:
      fail("an element <" + std::string(name) + "> stands inside a plain value or a reference, which have none");
  }
  if (fFrames.size() > before) fFrames.back().namespaces = declared;
}

void XmiReader::startRoot(const char* name, AttributeList attributes, const Specials& specials) {
  const auto [prefix, local] = splitName(name);
  if (fDocument.namespaces.isXmi(prefix)) {
    push(top().kind == FrameKind::Document && local == "XMI" ? FrameKind::Xmi : FrameKind::Skipped);
    return;
  }
  const meta::StructuredType type = typeNamed(specials.type != nullptr ? specials.type : name);
  TypePlan& plan = fContent.plans.of(type);
  if (!plan.classType()) fail("\"" + std::string(name) + "\" is a data type: only elements can be roots");
  startElementFrame(plan, nullptr, attributes, specials, static_cast<std::uint32_t>(fDocument.roots.size()));
  fDocument.roots.push_back(top().element);
}

void XmiReader::startInElement(const char* name, AttributeList attributes, const Specials& specials) {
  const auto [prefix, local] = splitName(name);
  const Feature* feature = top().plan->find(local);
  if (feature == nullptr) {
    if (!fDocument.namespaces.isXmi(prefix)) failOfFeature(*top().plan, local);
    push(FrameKind::Skipped);  // xmi:Extension: what other tools note down
    return;
  }
  if (feature->isOmitted) {
    push(FrameKind::Skipped).feature = feature;
    return;
  }
  switch (feature->storage) {
    case StorageType::Element: {
      const bool isContained = feature->isComposite && top().kind == FrameKind::Element;
      if (isContained) return startContained(*feature, attributes, specials);
      return startReference(*feature, attributes, specials);
    }
    case StorageType::Data:
      return startData(*feature, attributes, specials);
    case StorageType::Map:
      return startMapEntry(*feature, attributes);
    default: {
      Frame& frame = push(FrameKind::Text);
      frame.feature = feature;
      frame.isNil = specials.isNil;
      fText.clear();
    }
  }
}

void XmiReader::startContained(const Feature& feature, AttributeList attributes, const Specials& specials) {
  const std::uint32_t position = countUp(feature);
  if (specials.isNil) {
    fChildren.push_back({&feature, nullptr});
    push(FrameKind::Skipped).feature = &feature;
    return;
  }
  const meta::StructuredType type =
      specials.type != nullptr ? typeNamed(specials.type) : narrow<meta::Class>(feature.property->getType());
  TypePlan& plan = fContent.plans.of(type);
  const bool isElsewhere =
      specials.idReference != nullptr || (specials.href != nullptr && plan.find("href") == nullptr);
  if (isElsewhere) return startReference(feature, attributes, specials);
  if (!plan.classType())
    fail("an element is expected, but \"" + to_string(type->getQualifiedName()) + "\" is no class");
  startElementFrame(plan, &feature, attributes, specials, position);
}

void XmiReader::startElementFrame(TypePlan& plan, const Feature* feature, AttributeList attributes,
                                  const Specials& specials, std::uint32_t position) {
  Frame* parent = feature == nullptr ? nullptr : &top();
  const boost::uuids::uuid uuid = uuidOf(specials, parent, feature, position);
  ModelElement element = atThisPlace([&] { return plan.classType()->instantiate(fContent.model, uuid); });
  Frame& frame = push(FrameKind::Element);
  frame.feature = feature;
  frame.element = element.get();
  frame.plan = &plan;
  frame.position = position;
  if (specials.id != nullptr) noteId(specials, *frame.element);
  takeAttributes(frame, attributes);
}

void XmiReader::startReference(const Feature& feature, AttributeList attributes, const Specials& specials) {
  Frame& frame = push(FrameKind::Reference);
  frame.feature = &feature;
  fText.clear();
  if (specials.isNil) {
    fText = kNilWord;
  } else if (specials.href != nullptr) {
    fText = specials.href;
  } else if (specials.idReference != nullptr) {
    fText = specials.idReference;
  } else {
    for (; *attributes != nullptr; attributes += 2) {
      if (fDocument.namespaces.roleOf(attributes[0]) != AttributeRole::Feature) continue;
      fail("\"" + feature.name +
           "\" refers to an element and does not contain it: expected href or xmi:idref, found \"" + attributes[0] +
           "\"");
    }
  }
}

void XmiReader::startData(const Feature& feature, AttributeList attributes, const Specials& specials) {
  if (specials.isNil) {
    push(FrameKind::Skipped).feature = &feature;
    return;
  }
  const auto number = static_cast<std::uint32_t>(fContent.drafts.size());
  TypePlan& plan = fContent.plans.of(narrow<meta::DataType>(feature.property->getType()));
  fContent.drafts.push_back({&plan, fDocument.reader->offset()});
  const std::uint32_t position = countUp(feature);
  Frame& frame = push(FrameKind::Data);
  frame.feature = &feature;
  frame.plan = &plan;
  frame.draft = number;
  frame.position = position;
  takeDataAttributes(fContent.drafts[number], attributes);
}

void XmiReader::startMapEntry(const Feature& feature, AttributeList attributes) {
  push(FrameKind::MapEntry).feature = &feature;
  fMapKey.clear();
  fMapValue.clear();
  for (; *attributes != nullptr; attributes += 2) {
    if (fDocument.namespaces.roleOf(attributes[0]) != AttributeRole::Feature) continue;
    const std::string_view name = attributes[0];
    if (name == "key") {
      fMapKey = attributes[1];
    } else if (name == "value") {
      fMapValue = attributes[1];
    } else {
      fail("an entry of a map has a \"key\" and a \"value\", but no \"" + std::string(name) + "\"");
    }
  }
}

void XmiReader::startMapPart(const char* name) {
  const std::string_view local = splitName(name).second;
  if (local != "key" && local != "value") {
    fail("an entry of a map has a \"key\" and a \"value\", but no \"" + std::string(local) + "\"");
  }
  Frame& frame = push(FrameKind::MapPart);
  frame.position = local == "key" ? 0 : 1;
  fText.clear();
}

// --- Attributes.

void XmiReader::takeAttributes(Frame& frame, AttributeList attributes) {
  for (; *attributes != nullptr; attributes += 2) {
    if (fDocument.namespaces.roleOf(attributes[0]) != AttributeRole::Feature) continue;
    const Feature* feature = frame.plan->findAttribute(attributes[0]);
    if (feature == nullptr) failOfFeature(*frame.plan, splitName(attributes[0]).second);
    takeAttribute(*frame.element, *feature, attributes[1]);
  }
}

void XmiReader::takeAttribute(ModelElement::Impl& element, const Feature& feature, const char* value) {
  if (feature.isOmitted) return;
  if (feature.isReference()) {
    const std::size_t begin = fContent.arena.size();
    fContent.arena += value;
    const std::size_t size = fContent.arena.size() - begin;
    if (size != 0) fContent.references.push_back({&element, &feature, top().offset, begin, size, fNumber});
    return;
  }
  if (feature.storage == StorageType::Data || feature.storage == StorageType::Map) {
    fail("\"" + feature.name + "\" has parts of its own: expected a child element, found an attribute");
  }
  if (feature.isCollection) return takeWords(feature, value);
  atThisPlace([&] { setFromText(element, feature, value); });
  if (feature.isId) fDocument.keys.emplace(value, &element);
}

void XmiReader::takeWords(const Feature& feature, std::string_view words) {
  while (true) {
    const std::size_t begin = words.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) return;
    words.remove_prefix(begin);
    const std::size_t size = std::min(words.find_first_of(" \t\r\n"), words.size());
    fValues.push_back({&feature, atThisPlace([&] { return valueFromText(feature, words.substr(0, size)); }), 0});
    words.remove_prefix(size);
  }
}

void XmiReader::takeDataAttributes(DataDraft& draft, AttributeList attributes) {
  for (; *attributes != nullptr; attributes += 2) {
    if (fDocument.namespaces.roleOf(attributes[0]) != AttributeRole::Feature) continue;
    const Feature* feature = draft.plan->findAttribute(attributes[0]);
    if (feature == nullptr) failOfFeature(*draft.plan, splitName(attributes[0]).second);
    if (feature->isOmitted) continue;
    if (feature->isReference()) {
      addDataItem(top().draft, {feature, DataDraft::Item::Kind::References, boost::none, attributes[1]});
    } else if (feature->storage == StorageType::Data || feature->storage == StorageType::Map || feature->isCollection) {
      fail("\"" + feature->name + "\" has parts of its own: expected child elements, found an attribute");
    } else {
      addDataItem(top().draft, {feature, DataDraft::Item::Kind::Value,
                                atThisPlace([&] { return valueFromText(*feature, attributes[1]); })});
    }
  }
}

void XmiReader::addDataItem(std::uint32_t draft, DataDraft::Item item) {
  DataDraft& owner = fContent.drafts[draft];
  const bool bringsReferences = item.kind == DataDraft::Item::Kind::References ||
                                (item.kind == DataDraft::Item::Kind::Data && fContent.drafts[item.draft].hasReferences);
  owner.hasReferences = owner.hasReferences || bringsReferences;
  owner.items.push_back(std::move(item));
}

// --- Text and end tags.

void XmiReader::text(std::string_view piece) {
  switch (top().kind) {
    case FrameKind::Text:
    case FrameKind::Reference:
    case FrameKind::MapPart:
      fText += piece;
      return;
    case FrameKind::Skipped:
      return;
    default:
      break;
  }
  if (isBlank(piece)) return;
  if (top().kind == FrameKind::Element && ecore::hasFacet(top().plan->classType(), u"mixed")) return;
  fail("text stands where elements are expected: " + quotedText(piece));
}

void XmiReader::endElement() {
  Frame& frame = top();
  if (frame.kind == FrameKind::Skipped && frame.depth > 0) {
    --frame.depth;
    return;
  }
  endOf(frame);
  const std::size_t declared = fFrames.back().namespaces;
  fCounters.erase(fCounters.begin() + static_cast<std::ptrdiff_t>(fFrames.back().counters), fCounters.end());
  fFrames.pop_back();
  fDocument.namespaces.leave(declared);
}

void XmiReader::endOf(Frame& frame) {
  switch (frame.kind) {
    case FrameKind::Element:
      return endElementFrame(frame);
    case FrameKind::Data:
      return endData(frame);
    case FrameKind::Text:
      return endText(frame);
    case FrameKind::Reference:
      return endReference(frame);
    case FrameKind::MapEntry:
      return endMapEntry(frame);
    case FrameKind::MapPart:
      (frame.position == 0 ? fMapKey : fMapValue) = fText;
      return;
    case FrameKind::Document:
    case FrameKind::Xmi:
    case FrameKind::Skipped:
      return;
  }
}

void XmiReader::endElementFrame(Frame& frame) {
  if (fReferences.size() > frame.references) placeReferences(frame);
  if (fValues.size() > frame.values) placeValues(frame);
  if (fChildren.size() > frame.children) placeChildren(frame);
  if (frame.feature != nullptr) fChildren.push_back({frame.feature, ModelElement(frame.element)});
}

void XmiReader::endData(Frame& frame) {
  Frame& parent = fFrames[fFrames.size() - 2];
  if (parent.kind == FrameKind::Data) {
    addDataItem(parent.draft, {frame.feature, DataDraft::Item::Kind::Data, boost::none, {}, {}, frame.draft});
  } else {
    fValues.push_back({frame.feature, boost::none, frame.draft});
  }
}

void XmiReader::endText(Frame& frame) {
  Frame& parent = fFrames[fFrames.size() - 2];
  const Feature& feature = *frame.feature;
  if (parent.kind == FrameKind::Data) {
    using Kind = DataDraft::Item::Kind;
    if (frame.isNil) return addDataItem(parent.draft, {&feature, Kind::Absent});
    addDataItem(parent.draft, {&feature, Kind::Value, atThisPlace([&] { return valueFromText(feature, fText); })});
    return;
  }
  if (feature.isCollection) {
    if (frame.isNil) return;  // a collection of values has no gaps
    fValues.push_back({&feature, atThisPlace([&] { return valueFromText(feature, fText); }), 0});
  } else if (frame.isNil) {
    atThisPlace([&] { parent.element->unset(feature.property, ReflectionPrivateTag::PRIVILEGED_ACCESS); });
  } else {
    atThisPlace([&] { setFromText(*parent.element, feature, fText); });
    if (feature.isId) fDocument.keys.emplace(fText, parent.element);
  }
}

void XmiReader::endReference(Frame& frame) {
  if (isBlank(fText)) {
    fail("\"" + frame.feature->name + "\" refers to an element and does not contain it: expected href or xmi:idref");
  }
  Frame& parent = fFrames[fFrames.size() - 2];
  if (parent.kind == FrameKind::Data) {
    addDataItem(parent.draft, {frame.feature, DataDraft::Item::Kind::References, boost::none, fText});
    return;
  }
  const std::size_t begin = fContent.arena.size();
  fContent.arena += fText;
  fReferences.push_back({frame.feature, frame.offset, begin, fText.size()});
}

void XmiReader::endMapEntry(Frame& frame) {
  Frame& parent = fFrames[fFrames.size() - 2];
  if (parent.kind == FrameKind::Data) {
    addDataItem(parent.draft, {frame.feature, DataDraft::Item::Kind::MapEntry, boost::none, fMapKey, fMapValue});
    return;
  }
  atThisPlace([&] {
    const Value value =
        parent.element->getPropertyValue(frame.feature->property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
    value.toStringToStringMap().insert(utf8_to_ustring(fMapKey), utf8_to_ustring(fMapValue),
                                       CollisionResolution::Replace);
  });
}

// --- What an element's end tag completes.

void XmiReader::placeChildren(Frame& frame) {
  forEachFeature(fChildren, frame.children, [&](const Feature& feature, auto first, auto last) {
    atThisPlace([&] {
      if (!feature.isCollection) {
        if (last - first > 1) fail("\"" + feature.name + "\" holds one element, but several stand here");
        frame.element->set<ModelElement>(feature.property, std::move(first->element),
                                         ReflectionPrivateTag::PRIVILEGED_ACCESS);
        return;
      }
      const Value value = frame.element->getPropertyValue(feature.property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
      ElementCollection& collection = value.toElementCollection();
      if (last - first == 1) return collection.addElement(first->element);
      std::vector<ModelElement> elements;
      elements.reserve(static_cast<std::size_t>(last - first));
      for (auto at = first; at != last; ++at) elements.push_back(std::move(at->element));
      collection.assign(elements);
    });
  });
}

void XmiReader::placeValues(Frame& frame) {
  bool keepsDrafts = false;
  forEachFeature(fValues, frame.values, [&](const Feature& feature, auto first, auto last) {
    if (!feature.isCollection && last - first > 1) {
      fail("\"" + feature.name + "\" holds one value, but several stand here");
    }
    if (feature.storage == StorageType::Data) {
      std::vector<std::uint32_t> drafts;
      bool hasReferences = false;
      for (auto at = first; at != last; ++at) {
        drafts.push_back(at->draft);
        hasReferences = hasReferences || fContent.drafts[at->draft].hasReferences;
      }
      if (hasReferences) {
        keepsDrafts = true;
        fContent.data.push_back({frame.element, &feature, fNumber, std::move(drafts)});
      } else {
        atThisPlace([&] { setDataValues(fContent, *frame.element, feature, drafts, nullptr); });
      }
      return;
    }
    std::vector<Value> values;
    values.reserve(static_cast<std::size_t>(last - first));
    for (auto at = first; at != last; ++at) values.push_back(std::move(*at->value));
    atThisPlace([&] {
      const Value value = frame.element->getPropertyValue(feature.property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
      value.toPrimitiveCollection().assignValues(std::move(values));
    });
  });
  if (!keepsDrafts && fContent.data.empty()) {
    fContent.drafts.erase(fContent.drafts.begin() + static_cast<std::ptrdiff_t>(frame.drafts), fContent.drafts.end());
  }
}

void XmiReader::placeReferences(Frame& frame) {
  forEachFeature(fReferences, frame.references, [&](const Feature& feature, auto first, auto last) {
    const std::size_t begin = fContent.arena.size();
    for (auto at = first; at != last; ++at) {
      const std::string words = fContent.arena.substr(at->begin, at->size);
      if (at != first) fContent.arena += ' ';
      fContent.arena += words;
    }
    fContent.references.push_back(
        {frame.element, &feature, first->offset, begin, fContent.arena.size() - begin, fNumber});
  });
}

// --- Identity.

boost::uuids::uuid XmiReader::uuidOf(const Specials& specials, Frame* parent, const Feature* feature,
                                     std::uint32_t position) {
  if (specials.uuid != nullptr) {
    const std::optional<boost::uuids::uuid> uuid = readUuid(specials.uuid);
    return uuid ? *uuid : uuidByName(spaceOfNames(), "uuid:" + std::string(specials.uuid));
  }
  if (specials.id != nullptr) {
    const std::optional<boost::uuids::uuid> uuid = uuidInId(specials.id);
    return uuid ? *uuid : uuidByName(spaceOfNames(), keyOfId(fDocument.keyPrefix, specials.id));
  }
  if (parent == nullptr) {
    return uuidByName(spaceOfNames(), fDocument.keyPrefix + "/" + std::to_string(position));
  }
  return uuidByName(pathKeyOf(*parent), "@" + feature->name + "." + std::to_string(position));
}

/// A chain of hashes instead of one over the whole path: the path of a deep element is long.
boost::uuids::uuid XmiReader::pathKeyOf(Frame& frame) {
  auto at = fFrames.begin() + (&frame - fFrames.data());
  while (!at->hasPathKey && at->feature != nullptr) --at;
  for (;; ++at) {
    if (!at->hasPathKey) {
      const std::string position = std::to_string(at->position);
      at->pathKey = at->feature == nullptr ? uuidByName(spaceOfNames(), fDocument.keyPrefix + "/" + position)
                                           : uuidByName((at - 1)->pathKey, "@" + at->feature->name + "." + position);
      at->hasPathKey = true;
    }
    if (&*at == &frame) return at->pathKey;
  }
}

std::uint32_t XmiReader::countUp(const Feature& feature) {
  for (std::size_t i = fCounters.size(); i > top().counters; --i) {
    if (fCounters[i - 1].feature == &feature) return fCounters[i - 1].count++;
  }
  fCounters.push_back({&feature, 1});
  return 0;
}

void XmiReader::noteId(const Specials& specials, ModelElement::Impl& element) {
  // An id that is made from the uuid needs no entry: the model finds the element by it.
  if (uuidInId(specials.id) == element.getUuid()) return;
  if (!fDocument.ids.emplace(specials.id, &element).second) {
    fail("the xmi:id " + quotedText(specials.id) + " is given to two elements");
  }
}

// --- Types.

void XmiReader::checkPackages() {
  std::vector<ustring> uris = fDocument.namespaces.packageUris();
  const meta::MetaRegistry& registry = *meta::MetaRegistry::getInstance();
  const auto isStale = [&](const ustring& uri) {
    return uri.starts_with(meta::MetaRegistry::schemaBaseUri()) && !registry.isVersionCurrentForFamily(uri);
  };
  const bool mustEvolve = fEvolves && std::any_of(uris.begin(), uris.end(), isStale);
  if (mustEvolve) throw StaleContent{std::move(uris)};
  fDocument.packageUris = std::move(uris);
}

meta::Package XmiReader::packageOf(std::string_view prefix) {
  const std::string* uri = fDocument.namespaces.find(prefix);
  if (uri == nullptr && prefix.empty()) {
    fail("the document names a type without a prefix, but declares no default namespace");
  } else if (uri == nullptr) {
    fail("the prefix \"" + std::string(prefix) + "\" is not declared");
  }
  const meta::MetaRegistry& registry = *meta::MetaRegistry::getInstance();
  const ustring wanted = utf8_to_ustring(*uri);
  const ustring& base = meta::MetaRegistry::schemaBaseUri();
  if (wanted.starts_with(base)) {
    const std::size_t slash = std::min(wanted.find(u'/', base.size()), wanted.size());
    if (meta::Package current = registry.getPackageForFamily(wanted.substr(base.size(), slash - base.size()))) {
      return current;
    }
  }
  if (meta::Package package = registry.getPackage(wanted)) return package;
  kern::internal::NearestName nearest(wanted);
  for (const meta::Package& known : registry.getPackages()) nearest.offer(known->getUri());
  fail("no package with the URI \"" + *uri + "\" is registered: load its meta-model first" + nearest.suggestion());
}

meta::StructuredType XmiReader::typeNamed(std::string_view qualifiedName) {
  if (fTypesGeneration != fDocument.namespaces.generation()) {
    fTypes.clear();
    fTypesGeneration = fDocument.namespaces.generation();
  }
  std::string spelling(qualifiedName);
  if (const auto at = fTypes.find(spelling); at != fTypes.end()) return at->second;
  const auto [prefix, local] = splitName(qualifiedName);
  const meta::Package package = packageOf(prefix);
  const auto type = narrow<meta::StructuredType>(fContent.plans.typeNamed(package, local));
  if (!type) {
    const ustring sought = utf8_to_ustring(local);  // the search keeps a view of it
    kern::internal::NearestName nearest(sought);
    for (const meta::Type& known : package->getTypesInOrder()) nearest.offer(known->getName());
    fail("the package \"" + to_string(package->getUri()) + "\" has no class \"" + std::string(local) + "\"" +
         nearest.suggestion());
  }
  fTypes.emplace(std::move(spelling), type);
  return type;
}

void XmiReader::failOfFeature(const TypePlan& plan, std::string_view name) const {
  const ustring sought = utf8_to_ustring(name);  // the search keeps a view of it
  kern::internal::NearestName nearest(sought);
  for (const Feature& known : plan.features()) nearest.offer(known.property->getName());
  fail("\"" + to_string(plan.type()->getQualifiedName()) + "\" has no property \"" + std::string(name) + "\"" +
       nearest.suggestion());
}

}  // namespace tarn::kern::io::xml
