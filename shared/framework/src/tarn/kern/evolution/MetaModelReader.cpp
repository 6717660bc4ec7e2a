#include "MetaModelReader.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

#include <bedrock/deep_call.h>
#include <bedrock/filesystem.h>
#include <tarn/kern/meta/MetaModelFile.h>

#include "../Layout.h"
#include "../NearestName.h"
#include "../StorageDispatch.h"
#include "../io/JsonValues.h"
#include "../meta/Registration.h"
#include "Chain.h"
#include "EvolutionRegistry.h"

namespace tarn::kern::meta {

namespace {

std::string textOf(const std::vector<io::ParseError>& faults) {
  if (faults.size() == 1) return faults.front().what();
  std::string text = "the meta-model is refused for " + std::to_string(faults.size()) + " faults:";
  for (std::size_t i = 0; i < faults.size(); ++i) text += "\n  " + std::to_string(i + 1) + ". " + faults[i].what();
  return text;
}

}  // namespace

MetaModelFileError::MetaModelFileError(std::vector<io::ParseError> faults)
    : KernelError(textOf(faults)), fFaults(std::move(faults)) {}
MetaModelFileError::~MetaModelFileError() = default;

namespace internal {

using evolution::internal::Definition;
using evolution::internal::Step;
using evolution::internal::TypeKind;
using io::JsonNode;

// --- Faults and fields.

void FileFaults::add(const JsonNode& node, const std::string& problem) {
  if (fFaults.size() < kMost) fFaults.emplace_back(node.place(), problem);
}

void FileFaults::add(const io::ParseError& error) {
  if (fFaults.size() < kMost) fFaults.push_back(error);
}

void FileFaults::throwIfAny() {
  if (fFaults.empty()) return;
  std::stable_sort(fFaults.begin(), fFaults.end(), [](const io::ParseError& a, const io::ParseError& b) {
    return std::pair(a.line(), a.column()) < std::pair(b.line(), b.column());
  });
  throw MetaModelFileError(std::move(fFaults));
}

namespace {

/// Runs a reading of one value; a ParseError becomes a fault, and the result is the default.
template <class Read>
auto attempt(FileFaults& faults, Read read) -> decltype(read()) {
  try {
    return read();
  } catch (const io::ParseError& error) {
    faults.add(error);
    return decltype(read())();
  }
}

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

}  // namespace

FileFields::FileFields(FileFaults& faults, const JsonNode& object, const std::vector<std::string_view>& keys)
    : fFaults(faults), fObject(object) {
  if (!object.isObject()) {
    attempt(faults, [&]() -> bool { object.fail("an object"); });
    return;
  }
  for (const io::JsonMember& member : object.members()) {
    const std::string key = member.key.utf8();
    const auto known = std::find(keys.begin(), keys.end(), key);
    if (known == keys.end()) {
      const ustring wanted = bedrock::i18n::utf8_to_ustring(key);
      kern::internal::NearestName nearest(wanted);
      for (const std::string_view candidate : keys) nearest.offer(bedrock::i18n::utf8_to_ustring(candidate));
      faults.add(member.key, "unknown key " + inQuotes(key) + nearest.suggestion());
    } else if (find(*known)) {
      faults.add(member.key, "the key " + inQuotes(key) + " stands here twice");
    } else {
      fMembers.emplace_back(*known, member.value);
    }
  }
}

JsonNode FileFields::find(std::string_view key) const {
  for (const auto& [name, node] : fMembers) {
    if (name == key) return node;
  }
  return {};
}

std::optional<ustring> FileFields::optionalText(std::string_view key) {
  const JsonNode node = find(key);
  if (!node) return std::nullopt;
  return attempt(fFaults, [&]() -> std::optional<ustring> { return io::json::string(node); });
}

ustring FileFields::text(std::string_view key) {
  if (!find(key) && fObject.isObject()) fFaults.add(fObject, "the key " + inQuotes(key) + " is missing");
  return optionalText(key).value_or(ustring());
}

std::optional<bool> FileFields::optionalFlag(std::string_view key) {
  const JsonNode node = find(key);
  if (!node) return std::nullopt;
  return attempt(fFaults, [&]() -> std::optional<bool> { return io::json::boolean(node); });
}

bool FileFields::flag(std::string_view key) { return optionalFlag(key).value_or(false); }

std::vector<JsonNode> FileFields::entries(std::string_view key) {
  const JsonNode node = find(key);
  if (!node) return {};
  return attempt(fFaults, [&]() -> std::vector<JsonNode> {
    if (!node.isArray()) node.fail("an array");
    return {node.entries().begin(), node.entries().end()};
  });
}

// --- The document.

MetaModelReader::~MetaModelReader() = default;

std::vector<Package> MetaModelReader::read() {
  readDocument();
  fFaults.throwIfAny();
  return registerAll();
}

void MetaModelReader::readDocument() {
  FileFields fields(fFaults, fDocument.root(), {"metamodel", "packages", "evolution"});
  const bool isKnownFormat = fields.text("metamodel") == u"1.0";
  const JsonNode format = fields.find("metamodel");
  if (!isKnownFormat && format && format.isString()) {
    fFaults.add(format, "this is no version of the format that is known here: expected \"1.0\"");
  }
  readPackages(fields, nullptr);
  for (const JsonNode& stage : fields.entries("evolution")) readStage(stage);
}

void MetaModelReader::readPackages(FileFields& owner, PackageBuilder* outer) {
  for (const JsonNode& node : owner.entries("packages")) {
    bedrock::stack::callDeep([&] { readPackage(node, outer); });
  }
}

void MetaModelReader::readPackage(const JsonNode& node, PackageBuilder* outer) {
  FileFields fields(fFaults, node, {"name", "family", "version", "uri", "annotations", "types", "packages"});
  const ustring name = fields.text("name");
  PackageBuilder* package = nullptr;
  if (outer == nullptr) {
    package = fPackages.emplace_back(std::make_unique<PackageBuilder>(name)).get();
  } else {
    package = &outer->addPackage(name);
  }
  fPlaces.push_back(node);
  identify(fields, *package);
  readAnnotations(fields, *package);
  for (const JsonNode& type : fields.entries("types")) readType(type, *package);
  readPackages(fields, package);
}

void MetaModelReader::identify(FileFields& fields, PackageBuilder& package) {
  const bool isVersioned = fields.find("family") || fields.find("version");
  if (isVersioned && fields.find("uri")) {
    fFaults.add(fields.find("uri"), "a package has either a family and version or a URI");
  } else if (isVersioned) {
    const ustring family = fields.text("family");
    package.family(family, fields.text("version"));
  } else if (const std::optional<ustring> uri = fields.optionalText("uri")) {
    package.uri(*uri);
  }
}

template <class Builder>
void MetaModelReader::readAnnotations(FileFields& fields, Builder& builder) {
  for (const JsonNode& node : fields.entries("annotations")) {
    FileFields parts(fFaults, node, {"source", "details"});
    Annotation annotation;
    annotation.source = parts.optionalText("source").value_or(ustring());
    for (const JsonNode& detail : parts.entries("details")) {
      FileFields pair(fFaults, detail, {"key", "value"});
      ustring key = pair.text("key");
      annotation.details.emplace_back(std::move(key), pair.text("value"));
    }
    builder.annotate(std::move(annotation));
  }
}

// --- Types.

void MetaModelReader::readType(const JsonNode& node, PackageBuilder& package) {
  if (!node.isObject()) return attempt(fFaults, [&] { node.fail("an object"); });
  if (node.find("class")) return readClass(node, package);
  if (node.find("dataType")) return readDataType(node, package);
  if (node.find("enum")) return readEnum(node, package);
  if (node.find("primitive")) return readPrimitive(node, package);
  fFaults.add(node, "a type has its name under one of the keys \"class\", \"dataType\", \"enum\" and \"primitive\"");
}

void MetaModelReader::readClass(const JsonNode& node, PackageBuilder& package) {
  FileFields fields(fFaults, node,
                    {"class", "abstract", "superclass", "furtherSupertypes", "annotations", "properties"});
  ClassBuilder& type = package.addClass(fields.text("class"));
  fPlaces.push_back(node);
  if (fields.flag("abstract")) type.makeAbstract();
  if (const std::optional<ustring> superclass = fields.optionalText("superclass")) type.extends(*superclass);
  for (const JsonNode& supertype : fields.entries("furtherSupertypes")) {
    const ustring name = attempt(fFaults, [&] { return io::json::string(supertype); });
    type.alsoConformsTo(name);
  }
  readAnnotations(fields, type);
  readProperties(fields, type);
}

void MetaModelReader::readDataType(const JsonNode& node, PackageBuilder& package) {
  FileFields fields(fFaults, node, {"dataType", "annotations", "properties"});
  DataTypeBuilder& type = package.addDataType(fields.text("dataType"));
  fPlaces.push_back(node);
  readAnnotations(fields, type);
  readProperties(fields, type);
}

void MetaModelReader::readEnum(const JsonNode& node, PackageBuilder& package) {
  FileFields fields(fFaults, node, {"enum", "annotations", "literals"});
  EnumBuilder& type = package.addEnum(fields.text("enum"));
  fPlaces.push_back(node);
  readAnnotations(fields, type);
  for (const JsonNode& literal : fields.entries("literals")) {
    FileFields parts(fFaults, literal, {"name", "number"});
    fPlaces.push_back(literal);
    const ustring name = parts.text("name");
    const JsonNode number = parts.find("number");
    if (!number && literal.isObject()) fFaults.add(literal, "the key \"number\" is missing");
    type.literal(name, !number ? 0 : attempt(fFaults, [&] { return io::json::integer<std::int64_t>(number); }));
  }
}

void MetaModelReader::readPrimitive(const JsonNode& node, PackageBuilder& package) {
  FileFields fields(fFaults, node, {"primitive", "annotations"});
  PrimitiveBuilder& type = package.addPrimitive<CustomText>(
      fields.text("primitive"), [](const CustomText& value) { return value.text; },
      [](const ustring& text) { return CustomText{text}; });
  fPlaces.push_back(node);
  readAnnotations(fields, type);
}

// --- Properties.

template <class Owner>
void MetaModelReader::readProperties(FileFields& fields, Owner& owner) {
  static const std::vector<std::string_view> sKeys = {
      "attribute", "composite", "reference",   "type",           "lower",      "upper",
      "default",   "opposite",  "qualifiedBy", "unique",         "ordered",    "derived",
      "transient", "readOnly",  "guarded",     "genericStorage", "annotations"};
  constexpr bool kIsClass = std::is_same_v<Owner, ClassBuilder>;
  for (const JsonNode& node : fields.entries("properties")) {
    FileFields parts(fFaults, node, sKeys);
    fPlaces.push_back(node);
    const int kinds =
        (parts.find("attribute") ? 1 : 0) + (parts.find("composite") ? 1 : 0) + (parts.find("reference") ? 1 : 0);
    if (!node.isObject()) continue;
    if (kinds != 1 || (!kIsClass && !parts.find("attribute"))) {
      fFaults.add(
          node, kIsClass ? "a property of a class has its name under one of the keys \"attribute\", \"composite\" and "
                           "\"reference\""
                         : "a property of a data type has its name under the key \"attribute\"");
      continue;
    }
    const ustring type = parts.text("type");
    if constexpr (kIsClass) {
      PropertyBuilder property = parts.find("composite")   ? owner.composite(parts.text("composite"), type)
                                 : parts.find("reference") ? owner.reference(parts.text("reference"), type)
                                                           : owner.attribute(parts.text("attribute"), type);
      refineProperty(parts, property, type);
    } else {
      PropertyBuilder property = owner.attribute(parts.text("attribute"), type);
      refineProperty(parts, property, type);
    }
  }
}

void MetaModelReader::refineProperty(FileFields& fields, PropertyBuilder& property, const ustring& type) {
  readBounds(fields, property);
  if (const JsonNode value = fields.find("default")) readDefault(value, property, type);
  if (const std::optional<ustring> name = fields.optionalText("opposite")) property.opposite(*name);
  if (const std::optional<ustring> name = fields.optionalText("qualifiedBy")) property.qualifiedBy(*name);
  if (const std::optional<bool> on = fields.optionalFlag("unique")) property.unique(*on);
  if (const std::optional<bool> on = fields.optionalFlag("ordered")) property.ordered(*on);
  if (fields.flag("derived")) property.derived();
  if (fields.flag("transient")) property.transient();
  if (fields.flag("readOnly")) property.readOnly();
  if (fields.flag("guarded")) property.guarded();
  if (fields.flag("genericStorage")) property.genericStorage();
  readAnnotations(fields, property);
}

void MetaModelReader::readBounds(FileFields& fields, PropertyBuilder& property) {
  const auto bound = [&](std::string_view key, std::uint32_t otherwise) {
    const JsonNode node = fields.find(key);
    if (!node) return otherwise;
    if (node.isString() && node.says("*")) return Property::Impl::kUnlimited;
    return attempt(fFaults, [&]() -> std::uint32_t {
      if (node.isNumber()) return io::json::integer<std::uint32_t>(node);
      node.fail("a whole number, or \"*\" for no limit");
    });
  };
  const std::uint32_t lower = bound("lower", 0);
  property.bounds(lower, bound("upper", 1));
}

void MetaModelReader::readDefault(const JsonNode& node, PropertyBuilder& property, const ustring& type) {
  const Type standard = MetaRegistry::getInstance()->getType(type);
  if (!standard || standard->getOwningPackage()) {
    // The type decides what the text is, a literal or the text form of a custom value, once it is known.
    const ustring text = attempt(fFaults, [&] { return io::json::string(node); });
    if (text.find(u'\0') != ustring::npos) return fFaults.add(node, "a NUL in a default");
    property.defaultsTo(text.c_str());
    return;
  }
  attempt(fFaults, [&]() -> bool {
    if (node.isNull()) node.fail("a value of " + bedrock::i18n::to_string(type));
    if (standard == StandardTypes::stringToStringMapMeta) node.failWith("a map has no default: it always starts empty");
    kern::internal::dispatchSingle(kern::internal::storageTypeOf(standard), [&](auto tag) {
      using T = typename decltype(tag)::Type;
      if constexpr (!std::is_same_v<T, Value>) property.defaultsTo(io::json::object<T>(node));
    });
    return true;
  });
}

// --- Evolution.

void MetaModelReader::readStage(const JsonNode& node) {
  FileFields fields(fFaults, node, {"family", "from", "to", "steps"});
  const ustring family = fields.text("family");
  const auto same = [&](const Definition& definition) { return definition.family == family; };
  auto at = std::find_if(fEvolutions.begin(), fEvolutions.end(), same);
  if (at == fEvolutions.end()) {
    at = fEvolutions.insert(fEvolutions.end(), Definition());
    at->family = family;
    fEvolutionNodes.emplace_back();
  }
  evolution::internal::Stage& stage = at->stages.emplace_back();
  stage.from = fields.text("from");
  stage.to = fields.text("to");
  StageNodes& nodes = fEvolutionNodes[static_cast<std::size_t>(at - fEvolutions.begin())].emplace_back();
  nodes.stage = node;
  for (const JsonNode& entry : fields.entries("steps")) {
    std::optional<Step> step = readStep(entry);
    if (!step) continue;
    stage.steps.push_back(std::move(*step));
    nodes.steps.push_back(entry);
  }
}

namespace {

/// The form of a step: its keys, besides "step", and what makes a step of them. A key that ends in "?" may be missing.
struct StepForm {
  std::vector<std::string_view> keys;
  std::function<Step(FileFields&, const std::optional<io::RawValue>&)> make;
  std::string_view valueKey = {};  // of a plain value
};

const std::map<std::string_view, StepForm>& stepForms() {
  using namespace evolution::internal;
  using Value = std::optional<io::RawValue>;
  const auto rename = [](TypeKind kind) {
    return [kind](FileFields& f, const Value&) -> Step { return RenameType{kind, f.text("from"), f.text("to")}; };
  };
  static const std::map<std::string_view, StepForm> sForms = {
      {"renamePackage",
       {{"from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return RenamePackage{f.text("from"), f.text("to")};
        }}},
      {"renameClass", {{"from", "to"}, rename(TypeKind::Class)}},
      {"renameDataType", {{"from", "to"}, rename(TypeKind::DataType)}},
      {"renameEnum", {{"from", "to"}, rename(TypeKind::Enum)}},
      {"mergeClass",
       {{"from", "into"},
        [](FileFields& f, const Value&) -> Step {
          return MergeClass{f.text("from"), f.text("into")};
        }}},
      {"removeClass",
       {{"class"},
        [](FileFields& f, const Value&) -> Step {
          return RemoveType{TypeKind::Class, f.text("class")};
        }}},
      {"removeDataType",
       {{"dataType"},
        [](FileFields& f, const Value&) -> Step {
          return RemoveType{TypeKind::DataType, f.text("dataType")};
        }}},
      {"changeSuperclass",
       {{"class", "from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return ChangeSuperclass{f.text("class"), f.text("from"), f.text("to")};
        }}},
      {"renameProperty",
       {{"type", "from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return RenameProperty{f.text("type"), f.text("from"), f.text("to")};
        }}},
      {"removeProperty",
       {{"type", "property"},
        [](FileFields& f, const Value&) -> Step {
          return RemoveProperty{f.text("type"), f.text("property")};
        }}},
      {"addProperty",
       {{"type", "property", "value"},
        [](FileFields& f, const Value& value) -> Step {
          return AddProperty{f.text("type"), f.text("property"), value};
        },
        "value"}},
      {"changeType",
       {{"type", "property", "from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return ChangeType{f.text("type"), f.text("property"), f.text("from"), f.text("to")};
        }}},
      {"toCollection",
       {{"type", "property"},
        [](FileFields& f, const Value&) -> Step {
          return ToCollection{f.text("type"), f.text("property")};
        }}},
      {"toSingle",
       {{"type", "property", "keepFirst"},
        [](FileFields& f, const Value&) -> Step {
          return ToSingle{f.text("type"), f.text("property"),
                          f.flag("keepFirst") ? evolution::Surplus::KeepFirst : evolution::Surplus::Refuse};
        }}},
      {"moveProperty",
       {{"type", "from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return MoveProperty{f.text("type"), f.text("from"), f.text("to")};
        }}},
      {"newDefault",
       {{"type", "property", "oldDefault"},
        [](FileFields& f, const Value& value) -> Step {
          return NewDefault{f.text("type"), f.text("property"), value.value_or(io::RawValue())};
        },
        "oldDefault"}},
      {"renameLiteral",
       {{"enum", "from", "to"},
        [](FileFields& f, const Value&) -> Step {
          return RenameLiteral{f.text("enum"), f.text("from"), f.text("to")};
        }}},
      {"removeLiteral",
       {{"enum", "literal", "replacement"},
        [](FileFields& f, const Value&) -> Step {
          return RemoveLiteral{f.text("enum"), f.text("literal"), f.text("replacement")};
        }}},
      {"custom",
       {{"type", "function"},
        [](FileFields& f, const Value&) -> Step {
          return Custom{f.text("type"), nullptr, nullptr, f.text("function")};
        }}},
  };
  return sForms;
}

}  // namespace

std::optional<Step> MetaModelReader::readStep(const JsonNode& node) {
  const JsonNode kind = node.isObject() ? node.find("step") : JsonNode();
  if (!kind || !kind.isString()) {
    fFaults.add(node, "a step is an object with its kind under the key \"step\"");
    return std::nullopt;
  }
  const std::string name = kind.utf8();
  const auto form = stepForms().find(name);
  if (form == stepForms().end()) {
    const ustring wanted = kind.text();
    kern::internal::NearestName nearest(wanted);
    for (const auto& [known, itsForm] : stepForms()) nearest.offer(bedrock::i18n::utf8_to_ustring(known));
    fFaults.add(kind, "unknown step " + inQuotes(name) + nearest.suggestion());
    return std::nullopt;
  }
  std::vector<std::string_view> keys = form->second.keys;
  keys.emplace_back("step");
  FileFields fields(fFaults, node, keys);
  std::optional<io::RawValue> value;
  if (!form->second.valueKey.empty()) {
    if (const JsonNode given = fields.find(form->second.valueKey)) {
      value = plainContent(given);
    } else if (form->second.valueKey == "oldDefault") {
      fFaults.add(node, "the key \"oldDefault\" is missing");
    }
  }
  return form->second.make(fields, value);
}

std::optional<io::RawValue> MetaModelReader::plainContent(const JsonNode& node) {
  if (node.isBoolean()) return io::RawValue(node.kind() == io::JsonKind::True);
  if (node.isNumber()) return io::RawValue(io::RawNumber{std::string(node.raw())});
  if (node.isString()) return io::RawValue(node.text());
  return attempt(fFaults, [&]() -> std::optional<io::RawValue> { node.fail("a text, a number, or true or false"); });
}

// --- Registration.

std::vector<Package> MetaModelReader::registerAll() {
  std::vector<PackageBuilder*> builders;
  builders.reserve(fPackages.size());
  for (const auto& package : fPackages) builders.push_back(package.get());
  std::vector<Package> registered;
  try {
    registered =
        registerPackages(builders, [this](const std::vector<Package>& packages) { checkEvolutions(packages); });
  } catch (const PlacedMetaModelError& error) {
    for (std::size_t i = 0; i < error.faults().size(); ++i) fFaults.add(fPlaces[error.places()[i]], error.faults()[i]);
    fFaults.throwIfAny();
  }
  evolution::internal::EvolutionRegistry::instance().add(std::move(fEvolutions));
  return registered;
}

void MetaModelReader::checkEvolutions(const std::vector<Package>& packages) {
  const evolution::internal::KnownPackages known(packages);
  for (std::size_t i = 0; i < fEvolutions.size(); ++i) {
    for (const evolution::internal::DefinitionFault& fault : faultsOf(fEvolutions[i], known)) {
      constexpr std::size_t kNone = evolution::internal::DefinitionFault::kNone;
      const StageNodes& nodes = fEvolutionNodes[i][fault.stage == kNone ? 0 : fault.stage];
      const std::string family = "the evolution of the family " + evolution::internal::quoted(fEvolutions[i].family);
      fFaults.add(fault.step == kNone ? nodes.stage : nodes.steps[fault.step], family + ": " + fault.text);
    }
  }
  fFaults.throwIfAny();
}

}  // namespace internal

std::vector<Package> readMetaModel(std::string_view json, const std::string& sourceName) {
  std::optional<io::JsonDocument> document;
  try {
    document.emplace(json, sourceName);
  } catch (const io::ParseError& error) {
    throw MetaModelFileError({error});
  }
  return internal::MetaModelReader(*document).read();
}

std::vector<Package> readMetaModelFile(const ustring& path) {
  const std::string name = bedrock::i18n::ustring_to_utf8(path);
  bedrock::filesystem::ifstream file(path, std::ios_base::in | std::ios_base::binary);
  std::ostringstream content;
  // An empty file gives no characters, which is a failure of the output only.
  if (file && file.peek() != std::ifstream::traits_type::eof()) content << file.rdbuf();
  if (!file || file.bad() || content.fail()) {
    const std::error_code error(errno, std::generic_category());
    throw std::filesystem::filesystem_error("the meta-model file cannot be read", name, error);
  }
  return readMetaModel(content.str(), name);
}

}  // namespace tarn::kern::meta
