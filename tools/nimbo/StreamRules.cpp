#include "StreamRules.h"

#include <algorithm>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "Listing.h"

namespace nimbo_tool {

using namespace quillon::nimbo;
using tarn::kern::meta::MetaRegistry;
using tarn::kern::meta::StructuredType;

namespace {

StructuredType registeredType(std::string_view name) {
  const auto type = MetaRegistry::getInstance()->getType(bedrock::i18n::utf8_to_ustring(name));
  return tarn::kern::narrow<StructuredType>(type);
}

struct MemberText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return std::to_string(value); }
  // Reals are the same when their bits are.
  std::string operator()(double value) const {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
  }
  std::string operator()(std::string_view value) const { return std::string(value); }
  std::string operator()(const boost::uuids::uuid& value) const { return boost::uuids::to_string(value); }
};

}  // namespace

void StreamRules::add(const char* rule, std::uint64_t offset, std::string text) {
  fViolations.add({rule, offset, where(), std::move(text)});
}

std::string StreamRules::where() const {
  if (fOwners.empty()) return {};
  const Owner& owner = fOwners.back();
  return forTerminal(owner.name, 200) + (owner.property.empty() ? "" : "." + forTerminal(owner.property, 200));
}

/// Writers count from 1 without gaps.
void StreamRules::checkId(std::int64_t id, std::int64_t& highest, const char* what, std::uint64_t offset) {
  if (id <= 0) return;
  if (id != highest + 1) {
    add("id.canonical", offset,
        std::string(what) + " is defined with id " + std::to_string(id) + ", and the next free one is " +
            std::to_string(highest + 1));
  }
  highest = std::max(highest, id);
}

void StreamRules::package(const PackageEvent& event) {
  const std::string uri(event.uri);
  if (std::find(fPackages.begin(), fPackages.end(), uri) != fPackages.end()) {
    add("package.repeated", event.bytes.offset, "the package " + forTerminal(uri, 200) + " is listed twice");
  }
  fPackages.push_back(uri);
}

void StreamRules::elementId(const ElementIdEvent& event) {
  checkId(event.id, fElements, "an element", event.bytes.offset);
}

void StreamRules::type(const NameEvent& event) {
  checkId(event.id, fTypes, "a type", event.bytes.offset);
  if (!event.isDefinition) return;
  const bool isAnyKnown = !MetaRegistry::getInstance()->getPackages().empty();
  const auto type = MetaRegistry::getInstance()->getType(bedrock::i18n::utf8_to_ustring(event.name));
  if (isAnyKnown && !type) {
    add("type.unknown", event.bytes.offset, "no given meta-model has a type " + forTerminal(event.name, 200));
  }
}

void StreamRules::noElement(const ByteRange& bytes) {
  if (!fOwners.empty() && fOwners.back().isUniqueCollection) checkMember("", bytes.offset);
}

void StreamRules::open(std::string_view typeName) {
  fOwners.push_back({std::string(typeName), registeredType(typeName), {}, {}, false, {}});
}

void StreamRules::beginElement(const ElementEvent& event) {
  if (!fOwners.empty()) checkMember(boost::uuids::to_string(event.uuid), event.start);
  if (event.flag != 'T' && event.flag != 'F') {
    add("flag.spelling", event.bytes.offset, "the flag of an element is neither T nor F");
  }
  if (event.hasContents && event.hadContents) {
    add("element.repeated", event.start,
        "the contents of " + boost::uuids::to_string(event.uuid) + " come a second time: no reader takes that");
  }
  open(event.typeName);
}

void StreamRules::endElement(const ElementEndEvent&) { fOwners.pop_back(); }

void StreamRules::property(const NameEvent& event) {
  checkId(event.id, fProperties, "a property", event.bytes.offset);
  if (fOwners.empty()) return;
  Owner& owner = fOwners.back();
  owner.property = std::string(event.name);
  owner.isUniqueCollection = false;
  owner.members.clear();
  if (!owner.properties.insert(owner.property).second) {
    add("property.repeated", event.bytes.offset, "the property comes a second time in one element or value");
  }
  if (!owner.type) return;
  const auto property = owner.type->getProperty(bedrock::i18n::utf8_to_ustring(event.name));
  if (!property) {
    add("property.unknown", event.bytes.offset, forTerminal(owner.name, 200) + " has no property of this name");
  } else {
    owner.isUniqueCollection = property->isUnique && property->isCollection();
  }
}

void StreamRules::checkMember(const std::string& member, std::uint64_t offset) {
  if (fOwners.empty() || !fOwners.back().isUniqueCollection) return;
  if (!fOwners.back().members.insert(member).second) {
    add("unique.repeated", offset, "a member stands twice in a collection whose members are distinct");
  }
}

void StreamRules::plainValue(const ValueEvent& event) {
  if (!event.isWellSpelled) add("flag.spelling", event.bytes.offset, "a truth value is neither T nor F");
  checkMember(std::visit(MemberText(), event.content), event.bytes.offset);
}

void StreamRules::literal(const NameEvent& event) {
  checkId(event.id, fLiterals, "a literal", event.bytes.offset);
  checkMember(std::string(event.name), event.bytes.offset);
}

void StreamRules::beginMap(const MapEvent&) { fKeys.clear(); }

void StreamRules::mapEntry(const MapEntryEvent& event) {
  if (!fKeys.insert(std::string(event.key)).second) {
    add("map.repeated-key", event.bytes.offset, "the key \"" + forTerminal(event.key) + "\" stands twice in a map");
  }
}

void StreamRules::beginData(std::string_view typeName) { open(typeName); }
void StreamRules::endData(const DataEndEvent&) { fOwners.pop_back(); }

void StreamRules::dangling(const DanglingEvent& event) {
  add("reference.dangling", event.firstMention,
      forTerminal(event.typeName, 200) + " " + boost::uuids::to_string(event.uuid) +
          " is referred to, and its contents never come: readers drop the references");
}

void StreamRules::blockLength(const BlockLengthEvent& event) {
  if (event.length != 0) add("end.block-length", event.bytes.offset, "the length behind the stream is not 0");
}

}  // namespace nimbo_tool
