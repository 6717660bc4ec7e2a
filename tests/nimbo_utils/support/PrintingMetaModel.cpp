#include "PrintingMetaModel.h"

#include <regex>

#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "TestMetaModel.h"

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;

namespace {

const kern::Value kOne(std::int32_t{1});
const kern::Value kFive(std::int32_t{5});

void defineDataTypes(meta::PackageBuilder& package) {
  package.addDataType(u"Blank");
  auto& nest = package.addDataType(u"Nest");
  nest.attribute(u"depth", StandardTypes::integerMeta).required();
  nest.attribute(u"inner", nest).many();
  auto& holder = package.addDataType(u"Holder");
  holder.attribute(u"team", u"Team");
  holder.attribute(u"teams", u"Team").many();
  holder.attribute(u"count", StandardTypes::integerMeta).defaultsTo(kFive);
  holder.attribute(u"sizes", StandardTypes::integerMeta).many();
}

void definePackages(meta::PackageBuilder& package) {
  auto& printed = package.addClass(u"Package");
  printed.attribute(u"name", StandardTypes::stringMeta);
  printed.composite(u"parts", u"Part").many();
  printed.reference(u"owner", u"Team");
  package.addClass(u"Part").attribute(u"size", StandardTypes::integerMeta).defaultsTo(kOne);
  package.addClass(u"Team");
}

void defineSpecialClasses(meta::PackageBuilder& package) {
  auto& quiet = package.addClass(u"Quiet");
  quiet.attribute(u"count", StandardTypes::integerMeta).defaultsTo(kFive);
  quiet.attribute(u"sizes", StandardTypes::integerMeta).many();
  quiet.composite(u"parts", u"Part").many();
  quiet.reference(u"owner", u"Team");

  auto& safe = package.addClass(u"Safe");
  safe.attribute(u"before", StandardTypes::integerMeta);
  safe.attribute(u"code", StandardTypes::integerMeta).guarded();
  safe.reference(u"keys", u"Part").many().guarded();
  safe.attribute(u"codes", StandardTypes::integerMeta).many().guarded();
  safe.attribute(u"after", StandardTypes::integerMeta);

  auto& shelf = package.addClass(u"Shelf");
  shelf.reference(u"links", u"Part").many();
  shelf.composite(u"packages", u"Package").many();
  shelf.attribute(u"numbers", StandardTypes::integerMeta).bounds(1, meta::Property::Impl::kUnlimited);

  auto& zero = package.addClass(u"Zero");
  zero.reference(u"part", u"Part").bounds(0, 0);
  zero.attribute(u"size", StandardTypes::integerMeta).bounds(0, 0);

  auto& papers = package.addClass(u"Papers");
  papers.attribute(u"blank", u"Blank").required();
  papers.attribute(u"nest", u"Nest").required();
  papers.attribute(u"holder", u"Holder").required();
}

meta::Package definePrinted() {
  meta::PackageBuilder builder(u"printed");
  builder.uri(u"urn:printed");
  defineDataTypes(builder);
  definePackages(builder);
  defineSpecialClasses(builder);
  return builder.registerPackage();
}

kern::Value collectionOf(const kern::ModelElement& owner, const std::u16string& name) {
  return owner->getPropertyValue(owner->property(name), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

}  // namespace

meta::Package printingMetaModel() {
  static const meta::Package kPackage = definePrinted();
  return kPackage;
}

meta::Class printedClass(const std::u16string& name) {
  return kern::narrow<meta::Class>(printingMetaModel()->getTypes().at(name));
}

meta::DataType printedDataType(const std::u16string& name) {
  return kern::narrow<meta::DataType>(printingMetaModel()->getTypes().at(name));
}

kern::ModelElement newPrinted(const kern::Model& model, const std::u16string& className, std::uint8_t last) {
  return printedClass(className)->instantiate(model, uuidEndingIn(last));
}

void addElement(const kern::ModelElement& owner, const std::u16string& collection, const kern::ModelElement& member) {
  collectionOf(owner, collection).toElementCollection().addElement(member);
}

void addValue(const kern::ModelElement& owner, const std::u16string& collection, const kern::Value& value) {
  collectionOf(owner, collection).toPrimitiveCollection().addValue(value);
}

std::string withoutAddresses(const std::string& text) {
  return std::regex_replace(text, std::regex("0x[0-9a-f]+"), "@");
}

}  // namespace testsupport
