#include "TestMetaModel.h"

#include <stdexcept>

#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;

namespace {

using Name = std::u16string;

Name text(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return Name(digits.begin(), digits.end());
}

std::int64_t number(const Name& digits) { return std::stoll(std::string(digits.begin(), digits.end())); }

void addMoneyType(meta::PackageBuilder& package, const Name& name) {
  package.addPrimitive<Money>(
      name, [](const Money& money) { return text(money.cents); },
      [](const Name& digits) { return Money{number(digits)}; });
}

bool isMap(const Name& kind) { return kind == u"StringToStringMap"; }
/// The binary form has no "absent" for these.
bool canBeAbsent(const Name& kind) { return !isMap(kind) && kind != u"Point" && kind != u"Money"; }

void defineTypes(meta::PackageBuilder& package) {
  package.addEnum(u"Color").literal(u"red", 0).literal(u"green", 1).literal(u"blue", 7);
  package.addEnum(u"Grade").literal(u"good", 1).literal(u"fair", 2);
  addMoneyType(package, u"Money");
  addMoneyType(package, u"Opaque");

  auto& point = package.addDataType(u"Point");
  point.attribute(u"x", StandardTypes::integerMeta).required();
  point.attribute(u"y", StandardTypes::integerMeta).required();

  auto& line = package.addDataType(u"Line");
  line.attribute(u"from", point).required();
  line.attribute(u"to", point).required();
  line.attribute(u"color", u"Color").required().defaultsTo(u"green");
  line.attribute(u"labels", StandardTypes::stringMeta).many();
  line.attribute(u"target", u"Box");
  line.attribute(u"via", point).many();
  line.attribute(u"scratch", StandardTypes::integerMeta).transient();
}

void defineClassesOfOneValue(meta::PackageBuilder& package) {
  for (const Name& kind : kindNames()) {
    package.addClass(u"Required" + kind).attribute(u"value", kind).required();
    package.addClass(u"Optional" + kind).attribute(u"value", kind);
    if (isMap(kind)) continue;
    package.addClass(u"Many" + kind).attribute(u"value", kind).many();
    package.addClass(u"Generic" + kind).attribute(u"value", kind).many().genericStorage();
  }
}

void defineEverything(meta::PackageBuilder& package) {
  auto& everything = package.addClass(u"Everything");
  everything.attribute(u"name", StandardTypes::stringMeta);
  for (const Name& kind : kindNames()) {
    everything.attribute(u"required" + kind, kind).required();
    if (canBeAbsent(kind)) everything.attribute(u"optional" + kind, kind);
    if (isMap(kind)) continue;
    everything.attribute(u"many" + kind, kind).many();
    everything.attribute(u"generic" + kind, kind).many().genericStorage();
  }
}

void defineDefaults(meta::PackageBuilder& package) {
  auto& defaults = package.addClass(u"Defaults");
  defaults.attribute(u"count", StandardTypes::integerMeta).required().defaultsTo(kern::Value(std::int32_t{5}));
  defaults.attribute(u"ratio", StandardTypes::realMeta).defaultsTo(kern::Value(0.5));
  defaults.attribute(u"color", u"Color").required().defaultsTo(u"blue");
  defaults.attribute(u"text", StandardTypes::stringMeta).defaultsTo(u"none");
  defaults.attribute(u"plain", StandardTypes::integerMeta);
}

void defineBoxes(meta::PackageBuilder& package) {
  auto& box = package.addClass(u"Box");
  box.attribute(u"name", StandardTypes::stringMeta);
  box.composite(u"content", box);
  box.composite(u"parts", box).many().opposite(u"owner");
  box.reference(u"owner", box).opposite(u"parts");
  box.reference(u"link", box);
  box.reference(u"links", box).many().unique(false);

  package.addClass(u"BigBox").extends(box).attribute(u"size", StandardTypes::integerMeta);
  package.addClass(u"Bag").composite(u"items", box).many().qualifiedBy(u"name");
  package.addClass(u"Index").reference(u"entries", box).many().qualifiedBy(u"name");
}

void defineSpecialClasses(meta::PackageBuilder& package) {
  auto& chain = package.addClass(u"Chain");
  chain.attribute(u"zeta", StandardTypes::integerMeta);
  chain.attribute(u"alpha", StandardTypes::integerMeta);
  auto& tail = package.addClass(u"ChainTail").extends(chain);
  tail.attribute(u"mid", StandardTypes::integerMeta);
  tail.attribute(u"beta", StandardTypes::integerMeta);

  auto& omitting = package.addClass(u"Omitting");
  omitting.attribute(u"derived", StandardTypes::integerMeta).derived();
  omitting.attribute(u"transient", StandardTypes::integerMeta).transient();
  omitting.attribute(u"kept", StandardTypes::integerMeta);

  auto& friendClass = package.addClass(u"Friend");
  friendClass.reference(u"friends", friendClass).many().opposite(u"friendOf");
  friendClass.reference(u"friendOf", friendClass).many().opposite(u"friends");

  package.addClass(u"Graded").attribute(u"grade", u"Grade");
  auto& lines = package.addClass(u"Lines");
  lines.attribute(u"line", u"Line").required();
  lines.attribute(u"lines", u"Line").many();
  package.addClass(u"Opaques").attribute(u"value", u"Opaque").required();
}

DemoMetaModel defineDemo() {
  meta::PackageBuilder builder(u"demo");
  builder.uri(u"urn:demo");
  auto& nodeBuilder = builder.addClass(u"Node");
  nodeBuilder.attribute(u"count", StandardTypes::integerMeta).required();
  nodeBuilder.attribute(u"label", StandardTypes::stringMeta);
  const meta::Package package = builder.registerPackage();
  const auto node = narrow<meta::Class>(package->getTypes().at(u"Node"));
  return {package, node, node->getProperty(u"count"), node->getProperty(u"label")};
}

SampleMetaModel defineSample() {
  meta::PackageBuilder builder(u"sample");
  builder.uri(u"urn:sample");
  defineTypes(builder);
  defineClassesOfOneValue(builder);
  defineEverything(builder);
  defineDefaults(builder);
  defineBoxes(builder);
  defineSpecialClasses(builder);
  return {builder.registerPackage()};
}

template <class Handle>
Handle narrowed(const meta::Type& type) {
  const auto handle = narrow<Handle>(type);
  if (!handle) throw std::invalid_argument("a type of \"sample\" is not of the kind asked for");
  return handle;
}

}  // namespace

const DemoMetaModel& demoMetaModel() {
  static const DemoMetaModel kDemo = defineDemo();
  return kDemo;
}

const SampleMetaModel& sampleMetaModel() {
  static const SampleMetaModel kSample = defineSample();
  return kSample;
}

meta::Type SampleMetaModel::type(const Name& name) const { return package->getTypes().at(name); }
meta::Class SampleMetaModel::classNamed(const Name& name) const { return narrowed<meta::Class>(type(name)); }
meta::DataType SampleMetaModel::dataTypeNamed(const Name& name) const { return narrowed<meta::DataType>(type(name)); }
meta::Enum SampleMetaModel::enumNamed(const Name& name) const { return narrowed<meta::Enum>(type(name)); }

const std::vector<Name>& kindNames() {
  static const std::vector<Name> kNames = {
      u"String",    u"StdString", u"Integer",    u"Integer8",   u"Integer16",
      u"Integer64", u"UInteger8", u"UInteger16", u"UInteger64", u"UnlimitedNatural",
      u"Real",      u"Boolean",   u"UUID",       u"DateTime",   u"StringToStringMap",
      u"Color",     u"Point",     u"Money"};
  return kNames;
}

boost::uuids::uuid uuidEndingIn(std::uint8_t last) {
  boost::uuids::uuid uuid{};
  uuid.data[15] = last;
  return uuid;
}

kern::Model emptyModel() { return kern::Model::create(kern::ModelSpec()); }

kern::ModelElement newSample(const kern::Model& model, const Name& className, std::uint8_t last) {
  return sampleMetaModel().classNamed(className)->instantiate(model, uuidEndingIn(last));
}

}  // namespace testsupport
