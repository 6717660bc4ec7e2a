#include "SectionCopy.h"

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/none.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <quillon/nimbo/Cloner.h>
#include <quillon/nimbo/Duplicate.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/Transaction.h>

#include "DebianMetaModel.h"
#include "NameUuids.h"

namespace debian_packages {
namespace {

using bedrock::i18n::ustring_to_utf8;
using quillon::nimbo::Cloner;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ReflectiveDataType;
using tarn::kern::ustring;
using tarn::kern::Value;

constexpr std::size_t kPackagesToShow = 40;

std::string nameOf(const ModelElement& named) {
  return ustring_to_utf8(named->get<ustring>(debianMetaModel().named.name));
}

std::vector<ModelElement> installedPackages(const Model& model) {
  return model->getElementsOfClass(debianMetaModel().installedPackage.type, false);
}

std::string sectionOf(const ModelElement& package) {
  const auto section = package->get<ModelElement>(debianMetaModel().anyPackage.section);
  return section ? nameOf(section) : std::string();
}

std::vector<ModelElement> packagesOf(const Model& model, const std::string& section) {
  std::vector<ModelElement> packages;
  for (const ModelElement& package : installedPackages(model)) {
    if (sectionOf(package) == section) packages.push_back(package);
  }
  return packages;
}

/// Stands in for all maintainers.
ModelElement makeNobody(const Model& model) {
  const DebianMetaModel& meta = debianMetaModel();
  tarn::kern::Transaction transaction = model->beginTransaction(false);
  ModelElement nobody = meta.maintainer.type->instantiate(model, maintainerUuid(""));
  nobody->set(meta.named.name, ustring(u"a maintainer"));
  transaction.commit(boost::none);
  return nobody;
}

[[noreturn]] void failCopy(const std::string& section, const std::string& what) {
  throw SectionError("the copy of section \"" + section + "\" " + what);
}

/// The same package: its stanza's fingerprint says so of all that the stanza tells.
void requireSamePackage(const std::string& section, const ModelElement& original, const ModelElement& copy) {
  const auto& meta = debianMetaModel().anyPackage;
  const std::string name = nameOf(original);
  if (!copy) failCopy(section, "lacks the package " + name);
  if (copy->get<Uuid>(meta.fingerprint) != original->get<Uuid>(meta.fingerprint)) failCopy(section, "changed " + name);
  const std::size_t relations = original->peekElements(meta.relations).size();
  if (copy->peekElements(meta.relations).size() != relations) failCopy(section, "lost relations of " + name);
}

void upgrade(const ModelElement& package) {
  const DebianMetaModel& meta = debianMetaModel();
  const Value old = package->getPropertyValue(meta.anyPackage.version, ReflectionPrivateTag::PUBLIC_ACCESS);
  ReflectiveDataType version = old.toReflectiveDataType();
  version.set(u"revision", version.get<std::string>(u"revision") + "+edited");
  package->set(meta.anyPackage.version, version);
  package->set(meta.anyPackage.synopsis, package->get<ustring>(meta.anyPackage.synopsis) + u" (edited)");
}

void addRenamedDuplicate(const ModelElement& package, const Model& model) {
  const DebianMetaModel& meta = debianMetaModel();
  const ModelElement copy = quillon::nimbo::duplicate(package, model);
  copy->set(meta.named.name, package->get<ustring>(meta.named.name) + u"-new");
}

/// Of the first package that has several relations the last one becomes the first.
void turnRelations(const std::vector<ModelElement>& packages) {
  const auto& meta = debianMetaModel().anyPackage;
  for (const ModelElement& package : packages) {
    const std::size_t count = package->peekElements(meta.relations).size();
    if (count < 2) continue;
    const Value relations = package->getPropertyValue(meta.relations, ReflectionPrivateTag::PUBLIC_ACCESS);
    return relations.toElementCollection().move(count - 1, 0);
  }
}

}  // namespace

std::string sectionToShow(const Model& model) {
  std::map<std::string, std::size_t> sizes;
  for (const ModelElement& package : installedPackages(model)) ++sizes[sectionOf(package)];
  sizes.erase("");
  std::string best;
  for (const auto& [name, size] : sizes) {
    const std::size_t bestSize = best.empty() ? 0 : sizes.at(best);
    const bool isBetter = size <= kPackagesToShow ? size > bestSize || bestSize > kPackagesToShow : size < bestSize;
    if (best.empty() || isBetter) best = name;
  }
  return best;
}

SectionCopy copySection(const Model& model, const std::string& section) {
  const DebianMetaModel& meta = debianMetaModel();
  const std::vector<ModelElement> packages = packagesOf(model, section);
  if (packages.empty()) throw SectionError("no installed package is in section \"" + section + "\"");

  const Model aside = Model::create(tarn::kern::ModelSpec());  // what replaces an element may live in any model
  const ModelElement nobody = makeNobody(aside);
  std::unordered_map<ModelElement, ModelElement> replacements;
  for (const ModelElement& package : packages) {
    if (const auto maintainer = package->get<ModelElement>(meta.anyPackage.maintainer)) {
      replacements[maintainer] = nobody;
    }
  }
  Cloner cloner;
  cloner.cloneAndReplace(packages, replacements);
  return {cloner.getTargetModel(), packages.size(), replacements.size()};
}

void requireCopied(const Model& model, const std::string& section, const SectionCopy& copy) {
  const DebianMetaModel& meta = debianMetaModel();
  const std::vector<ModelElement> originals = packagesOf(model, section);
  if (installedPackages(copy.model).size() != originals.size()) failCopy(section, "has too many packages");
  for (const ModelElement& original : originals) {
    const auto clone = copy.model->findElement(original->getUuid(), tarn::kern::FindElementBehavior::Anywhere);
    requireSamePackage(section, original, clone);
  }
  for (const ModelElement& maintainer : copy.model->getElementsOfClass(meta.maintainer.type, false)) {
    if (maintainer->getOptional<ustring>(meta.maintainer.email)) failCopy(section, "tells a maintainer's address");
  }
}

Model editedCopy(const Model& section) {
  Cloner cloner;
  cloner.clone(section);
  Model edited = cloner.getTargetModel();
  const std::vector<ModelElement> packages = installedPackages(edited);
  tarn::kern::Transaction transaction = edited->beginTransaction(false);
  upgrade(packages.front());
  turnRelations(packages);
  if (packages.size() > 2) addRenamedDuplicate(packages[2], edited);
  if (packages.size() > 1) packages[1]->destroy();
  transaction.commit(boost::none);
  return edited;
}

}  // namespace debian_packages
