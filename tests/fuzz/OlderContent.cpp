// Content of older package versions, brought up to date while it is read: binary, JSON or XML, as the first byte says.
// What is accepted is content of the current version, and reads as such.

#include <sstream>

#include <quillon/logging/Logger.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "FuzzTarget.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"

namespace {

namespace io = tarn::kern::io;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ustring;
using tarn::kern::Value;

constexpr char kBinary = 0;
constexpr char kJson = 1;
constexpr char kXml = 2;
constexpr std::size_t kForms = 3;

const tarn::kern::ReflectionPrivateTag& kPrivileged = tarn::kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;

// --- Version 1.0, which seeds are made of, and 2.0, which is current.

void registerOld() {
  meta::PackageBuilder package(u"ages");
  package.family(u"ages", u"1.0");
  package.addEnum(u"Kind").literal(u"pump", 0).literal(u"valve", 1).literal(u"other", 2);
  auto& size = package.addDataType(u"Size");
  size.attribute(u"w", StandardTypes::integerMeta).required();
  size.attribute(u"unit", StandardTypes::stringMeta);
  package.addClass(u"Base").attribute(u"name", StandardTypes::stringMeta);
  auto& part = package.addClass(u"Part").extends(u"Base");
  part.attribute(u"label", StandardTypes::stringMeta);
  part.attribute(u"weight", StandardTypes::stringMeta);
  part.attribute(u"kind", u"Kind");
  part.attribute(u"kinds", u"Kind").many();
  part.attribute(u"size", size).required();
  part.attribute(u"sizes", size).many();
  part.attribute(u"count", StandardTypes::integerMeta);
  part.attribute(u"tag", StandardTypes::stringMeta);
  part.attribute(u"codes", StandardTypes::stringMeta).many();
  part.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
  part.attribute(u"street", StandardTypes::stringMeta);
  part.attribute(u"old", StandardTypes::integerMeta);
  part.attribute(u"level", StandardTypes::integerMeta).defaultsTo(std::int32_t{3});
  part.composite(u"parts", u"Base").many();
  part.reference(u"next", u"Part");
  part.reference(u"others", u"Base").many();
  package.addClass(u"Gone").extends(u"Base").composite(u"inner", u"Part");
  package.addClass(u"Merged").extends(u"Part");
  package.registerPackage();
}

void registerCurrent() {
  meta::PackageBuilder package(u"ages");
  package.family(u"ages", u"2.0");
  package.addEnum(u"Kind").literal(u"pump", 0).literal(u"tap", 1);
  auto& extent = package.addDataType(u"Extent");
  extent.attribute(u"width", StandardTypes::integerMeta).required();
  extent.attribute(u"unit", StandardTypes::stringMeta);
  package.addClass(u"Named").attribute(u"name", StandardTypes::stringMeta);
  package.addClass(u"Address").attribute(u"street", StandardTypes::stringMeta);
  auto& component = package.addClass(u"Component").extends(u"Named");
  component.attribute(u"title", StandardTypes::stringMeta);
  component.attribute(u"weight", StandardTypes::realMeta);
  component.attribute(u"kind", u"Kind");
  component.attribute(u"kinds", u"Kind").many();
  component.attribute(u"size", extent).required();
  component.attribute(u"sizes", extent).many();
  component.attribute(u"count", StandardTypes::integer8Meta);
  component.attribute(u"tags", StandardTypes::stringMeta).many();
  component.attribute(u"code", StandardTypes::stringMeta);
  component.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
  component.composite(u"address", u"Address");
  component.attribute(u"level", StandardTypes::integerMeta).defaultsTo(std::int32_t{5});
  component.attribute(u"fresh", StandardTypes::integerMeta);
  component.composite(u"parts", u"Named").many();
  component.reference(u"next", u"Component");
  component.reference(u"others", u"Named").many();
  package.registerPackage();
}

void declareEvolution() {
  using tarn::kern::evolution::Evolution;
  using tarn::kern::evolution::Surplus;
  Evolution evolution(u"ages");
  evolution.from(u"1.0").to(u"1.1");
  evolution.mergeClass(u"Merged", u"Part")
      .renameClass(u"Base", u"Named")
      .renameClass(u"Part", u"Component")
      .renameDataType(u"Size", u"Extent");
  evolution.renameProperty(u"Component", u"label", u"title").renameProperty(u"Extent", u"w", u"width");
  evolution.changeType(u"Component", u"weight", u"String", u"Real");
  evolution.changeType(u"Component", u"count", u"Integer", u"Integer8");
  evolution.removeProperty(u"Component", u"old");
  evolution.renameLiteral(u"Kind", u"valve", u"tap").removeLiteral(u"Kind", u"other", u"tap");
  evolution.from(u"1.1").to(u"2.0");
  evolution.toCollection(u"Component", u"tag").renameProperty(u"Component", u"tag", u"tags");
  evolution.toSingle(u"Component", u"codes", Surplus::KeepFirst).renameProperty(u"Component", u"codes", u"code");
  evolution.addProperty(u"Component", u"address").moveProperty(u"Component", u"street", u"address.street");
  evolution.removeClass(u"Gone");
  evolution.newDefault(u"Component", u"level", 3).addProperty(u"Component", u"fresh", 7);
  evolution.custom(u"Component", [](io::RawElement& component) { static_cast<void>(component.get(u"name")); });
  evolution.customData(u"Extent", [](io::RawData& extent) {
    for (io::RawProperty& property : extent.properties) {
      if (property.name == u"unit" && property.value.isNull()) property.value = io::RawValue(u"mm");
    }
  });
  evolution.registerEvolution();
}

// --- Content of 1.0.

meta::Class oldClass(const char16_t* name) {
  const meta::Package package = meta::MetaRegistry::getInstance()->getPackage(u"tarn://schema/ages/1.0");
  return tarn::kern::narrow<meta::Class>(package->getTypes().at(name));
}

void add(const ModelElement& element, const char16_t* collection, const ModelElement& member) {
  element->getPropertyValue(element->property(collection), kPrivileged).toElementCollection().addElement(member);
}

void addValue(const ModelElement& element, const char16_t* collection, const Value& value) {
  element->getPropertyValue(element->property(collection), kPrivileged).toPrimitiveCollection().addValue(value);
}

ModelElement newPart(const Model& model, const char16_t* className, std::uint8_t last) {
  boost::uuids::uuid uuid{};
  uuid.data[15] = last;
  ModelElement part = oldClass(className)->instantiate(model, uuid);
  part->set(u"name", ustring(u"part"));
  if (!part->getMetaClass()->getProperty(u"label")) return part;
  const auto kind = tarn::kern::narrow<meta::Enum>(part->property(u"kind")->getType());
  tarn::kern::ReflectiveDataType size(tarn::kern::narrow<meta::DataType>(part->property(u"size")->getType()));
  size.set(u"w", std::int32_t{7});
  part->set(u"label", ustring(u"label"));
  part->set(u"weight", ustring(u"1.5"));
  part->setPropertyValue(part->property(u"kind"), Value::createEnumValue(kind->getLiteral(1)), kPrivileged);
  addValue(part, u"kinds", Value::createEnumValue(kind->getLiteral(2)));
  part->set(u"size", size);
  addValue(part, u"sizes", Value(size));
  part->set(u"count", std::int32_t{12});
  part->set(u"tag", ustring(u"tag"));
  addValue(part, u"codes", Value(u"code"));
  addValue(part, u"codes", Value(u"more"));
  part->set(u"notes", tarn::kern::StringToStringMap({{u"key", u"value"}}));
  part->set(u"street", ustring(u"street"));
  part->set(u"old", std::int32_t{1});
  return part;
}

void fill(const Model& model) {
  const ModelElement root = newPart(model, u"Part", 1);
  const ModelElement gone = newPart(model, u"Gone", 2);
  const ModelElement merged = newPart(model, u"Merged", 3);
  const ModelElement inner = newPart(model, u"Part", 4);
  add(root, u"parts", gone);
  add(root, u"parts", merged);
  gone->set(u"inner", inner);
  root->set(u"next", merged);
  merged->set(u"next", inner);
  add(root, u"others", gone);
  add(root, u"others", root);
}

std::string asJson(const Model& model) {
  std::string text;
  io::JSONSerializer().serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

std::vector<std::string> oldContent() {
  const Model model = Model::create(tarn::kern::ModelSpec());
  fill(model);
  std::ostringstream binary;
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), binary, quillon::nimbo::BinFormat::Binary);
  std::string xml;
  io::XmlSerializer().serialize(model, io::SerializationOutput::forUTF8String(xml));
  return {std::string(1, kBinary) + binary.str(), std::string(1, kJson) + asJson(model), std::string(1, kXml) + xml};
}

/// Content of 1.0, made while that was current. From then on 2.0 is.
const std::vector<std::string>& prepared() {
  static const std::vector<std::string> kOldContent = [] {
    fuzz::silenceCerr();
    quillon::logging::internal::Logger::setSink([](unsigned, int, std::string_view) {});
    registerOld();
    std::vector<std::string> content = oldContent();
    registerCurrent();
    declareEvolution();
    return content;
  }();
  return kOldContent;
}

// --- The trial.

template <class Parser>
void readText(const std::string& text, const Model& model) {
  Parser parser;
  parser.setModel(model);
  parser.parseString(text);
}

void read(char form, const std::string& bytes, const Model& model) {
  if (form == kJson) return readText<io::JSONParser>(bytes, model);
  if (form == kXml) return readText<io::XmlParser>(bytes, model);
  quillon::nimbo::BinParser parser;
  parser.setModel(model);
  parser.parse(bytes);
}

bool isAccepted(char form, const std::string& bytes, const Model& model) {
  try {
    read(form, bytes, model);
    return true;
  } catch (const std::exception& error) {
    fuzz::require(form == kBinary || dynamic_cast<const tarn::kern::KernelError*>(&error) != nullptr,
                  "a text is refused with an error of the kernel");
    fuzz::require(model->getElementCount() == 0, "refused content leaves nothing in the model");
    fuzz::require(model->getTransactionDepth() == 0, "refused content leaves no transaction open");
    return false;
  }
}

bool isOfCurrentVersion(const Model& model) {
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::Anywhere)) {
    const meta::Package package = element->getMetaClass()->getOwningPackage();
    if (package->getUri() != u"tarn://schema/ages/2.0") return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static_cast<void>(prepared());
  if (size == 0) return 0;
  const Model model = Model::create(tarn::kern::ModelSpec());
  const auto form = static_cast<char>(data[0] % kForms);
  if (!isAccepted(form, std::string(fuzz::viewOf(data + 1, size - 1)), model)) return 0;
  fuzz::require(isOfCurrentVersion(model), "what was read is of the current version");
  const Model again = Model::create(tarn::kern::ModelSpec());
  fuzz::require(isAccepted(kJson, asJson(model), again), "content that was brought up to date reads as current");
  fuzz::require(tarn::kern::modelsEqual(model, again), "content that was brought up to date stays as it is");
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all = prepared();
  for (const std::string& seed : std::vector<std::string>(all)) {
    const Model model = Model::create(tarn::kern::ModelSpec());
    require(isAccepted(seed[0], seed.substr(1), model) && model->getElementCount() == 4, "good content is read");
    // What an author of a newer file could have written.
    std::string newer = seed;
    for (auto at = newer.find("ages/1.0"); at != std::string::npos; at = newer.find("ages/1.0")) newer[at + 7] = '1';
    all.push_back(newer);
  }
  return all;
}
