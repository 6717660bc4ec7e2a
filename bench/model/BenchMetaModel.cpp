#include "BenchMetaModel.h"

#include <cstdint>

#include <tarn/kern/meta/PackageBuilder.h>

namespace bench::model {
namespace {

using tarn::kern::meta::Class;
using tarn::kern::meta::ClassBuilder;
using tarn::kern::meta::EnumBuilder;
using tarn::kern::meta::Package;
using tarn::kern::meta::PackageBuilder;
using tarn::kern::meta::StandardTypes;

EnumBuilder& addVisibility(PackageBuilder& package) {
  return package.addEnum(u"Visibility")
      .literal(u"public", 0)
      .literal(u"protected", 1)
      .literal(u"private", 2)
      .literal(u"package", 3);
}

ClassBuilder& addNamed(PackageBuilder& package) {
  ClassBuilder& named = package.addClass(u"Named").makeAbstract();
  named.attribute(u"documentation", StandardTypes::stringMeta);
  named.attribute(u"name", StandardTypes::stringMeta).required();
  return named;
}

ClassBuilder& addItem(PackageBuilder& package, const ClassBuilder& named, const EnumBuilder& visibility) {
  ClassBuilder& item = package.addClass(u"Item").extends(named);
  item.attribute(u"abstract", StandardTypes::booleanMeta).required().defaultsTo(false);
  item.reference(u"base", item);
  item.attribute(u"marks", StandardTypes::integerMeta).many();
  item.attribute(u"modified", StandardTypes::dateTimeMeta);
  item.attribute(u"multiplicity", StandardTypes::integerMeta).required().defaultsTo(std::int32_t{1});
  item.reference(u"parent", u"Folder").opposite(u"children");
  item.reference(u"related", item).many();
  item.attribute(u"revision", StandardTypes::integer64Meta).required();
  item.attribute(u"tags", StandardTypes::stringMeta).many();
  item.attribute(u"visibility", visibility).required();
  item.attribute(u"weight", StandardTypes::realMeta).required();
  return item;
}

void addFolder(PackageBuilder& package, const ClassBuilder& item) {
  ClassBuilder& folder = package.addClass(u"Folder").extends(item);
  folder.composite(u"children", item).many().opposite(u"parent");
}

BenchMetaModel handles(const Package& package) {
  BenchMetaModel meta;
  meta.item = tarn::kern::narrow<Class>(package->getTypes().at(u"Item"));
  meta.folder = tarn::kern::narrow<Class>(package->getTypes().at(u"Folder"));
  meta.documentation = meta.item->getProperty(u"documentation");
  meta.name = meta.item->getProperty(u"name");
  meta.abstract = meta.item->getProperty(u"abstract");
  meta.base = meta.item->getProperty(u"base");
  meta.marks = meta.item->getProperty(u"marks");
  meta.modified = meta.item->getProperty(u"modified");
  meta.multiplicity = meta.item->getProperty(u"multiplicity");
  meta.parent = meta.item->getProperty(u"parent");
  meta.related = meta.item->getProperty(u"related");
  meta.revision = meta.item->getProperty(u"revision");
  meta.tags = meta.item->getProperty(u"tags");
  meta.visibility = meta.item->getProperty(u"visibility");
  meta.weight = meta.item->getProperty(u"weight");
  meta.children = meta.folder->getProperty(u"children");
  return meta;
}

}  // namespace

BenchMetaModel registerBenchMetaModel() {
  PackageBuilder package(u"bench");
  package.uri(u"urn:bench");
  const EnumBuilder& visibility = addVisibility(package);
  const ClassBuilder& named = addNamed(package);
  const ClassBuilder& item = addItem(package, named, visibility);
  addFolder(package, item);
  return handles(package.registerPackage());
}

}  // namespace bench::model
