#include "DebianModel.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Transaction.h>

#include "DebianMetaModel.h"
#include "ModelText.h"

namespace debian_packages {
namespace {

using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ReflectiveDataType;
using tarn::kern::StringToStringMap;
using tarn::kern::TypedCollection;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::meta::Class;
using tarn::kern::meta::Property;

/// Sets an enum property: the enumerations and the enums of the meta-model have the same numbers.
template <class E>
void setEnum(const ModelElement& element, const Property& property, E value) {
  element->set(property, static_cast<std::int64_t>(value));
}

/// An empty text is an absent value.
void setText(const ModelElement& element, const Property& property, std::string_view bytes) {
  if (!bytes.empty()) element->set(property, modelText(bytes));
}
void setBytes(const ModelElement& element, const Property& property, std::string_view bytes) {
  if (!bytes.empty()) element->set(property, modelBytes(bytes));
}

template <class T>
void assignValues(const ModelElement& element, const Property& property, std::vector<T> values) {
  if (values.empty()) return;
  const Value live = element->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS);
  dynamic_cast<TypedCollection<T>&>(live.toPrimitiveCollection()).assign(std::move(values));
}

void assignElements(const ModelElement& element, const Property& property, const std::vector<ModelElement>& members) {
  if (members.empty()) return;
  element->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS).toElementCollection().assign(members);
}

Value versionValue(const DebianMetaModel& meta, const DebianVersion& version) {
  ReflectiveDataType data(meta.version.type);
  data.setPropertyValue(meta.version.epoch, version.epoch());
  data.setPropertyValue(meta.version.upstream, modelBytes(version.upstream()));
  data.setPropertyValue(meta.version.revision, modelBytes(version.revision()));
  return data;
}

/// A name that is no UTF-8 may look like another one once it has been made readable; it gets further marks then, so
/// that no field is lost.
StringToStringMap mapOf(const std::vector<std::pair<std::string, std::string>>& fields) {
  StringToStringMap map;
  for (const auto& [name, value] : fields) {
    ustring key = modelText(name);
    while (map.contains(key)) key += u'\uFFFD';
    map.insert(key, modelText(value), tarn::kern::CollisionResolution::KeepOld);
  }
  return map;
}

/// Builds the model of one database, in one pass from top to bottom. What is referred to comes first: names, then
/// packages, then files.
class ModelBuilder {
 public:
  ModelBuilder(const PlainDatabase& plain, const DebianMetaModel& meta)
      : fMeta(meta),
        fPlain(plain),
        fModel(Model::create(tarn::kern::ModelSpec())),
        fNoVersion(versionValue(fMeta, DebianVersion())) {}

  Model build() {
    tarn::kern::Transaction transaction = fModel->beginTransaction(false);
    fDatabase = make(fMeta.database.type, databaseUuid());
    fDatabase->set(fMeta.named.name, ustring(u"dpkg"));
    addNames();
    addInstalledPackages();
    addArchives();
    addFileTree();
    transaction.commit(boost::none);
    return fModel;
  }

 private:
  ModelElement make(const Class& type, const Uuid& uuid) const { return type->instantiate(fModel, uuid); }

  ModelElement makeNamed(const Class& type, const Uuid& uuid, std::string_view name) const {
    const ModelElement element = make(type, uuid);
    element->set(fMeta.named.name, modelText(name));
    return element;
  }

  void addNames() {
    fNames = addTable(fPlain.names, fMeta.packageName.type, fMeta.database.names, packageNameUuid);
    fSections = addTable(fPlain.sections, fMeta.section.type, fMeta.database.sections, sectionUuid);
    fSources = addTable(fPlain.sources, fMeta.source.type, fMeta.database.sources, sourceUuid);
    addMaintainers();
  }

  /// One person may have several addresses, so the name of a maintainer is not unique, only the whole text is.
  void addMaintainers() {
    for (std::uint32_t i = 0; i < fPlain.maintainers.size(); ++i) {
      const std::string& whole = fPlain.maintainers.at(i);
      const auto [name, email] = splitMaintainer(whole);
      const ModelElement maintainer = makeNamed(fMeta.maintainer.type, maintainerUuid(whole), name);
      setText(maintainer, fMeta.maintainer.email, email);
      fMaintainers.push_back(maintainer);
    }
    assignElements(fDatabase, fMeta.database.maintainers, fMaintainers);
  }

  /// One element for each name of a table.
  std::vector<ModelElement> addTable(const NameTable& table, const Class& type, const Property& property,
                                     Uuid (*uuidOf)(std::string_view)) {
    std::vector<ModelElement> elements;
    elements.reserve(table.size());
    for (std::uint32_t i = 0; i < table.size(); ++i) {
      elements.push_back(makeNamed(type, uuidOf(table.at(i)), table.at(i)));
    }
    assignElements(fDatabase, property, elements);
    return elements;
  }

  void addInstalledPackages() {
    const auto& meta = fMeta.installedPackage;
    for (const PlainInstalledPackage& plain : fPlain.packages) {
      const Uuid uuid = installedPackageUuid(plain.key());
      const ModelElement package = makePackage(meta.type, uuid, plain.key(), plain);
      setEnum(package, meta.want, plain.want);
      setEnum(package, meta.flag, plain.flag);
      setEnum(package, meta.state, plain.state);
      if (plain.installedAt) package->set(meta.installedAt, *plain.installedAt);
      setVersion(package, meta.configVersion, plain.configVersion);
      addConffiles(package, plain.conffiles);
      fPackages.push_back(package);
    }
    assignElements(fDatabase, fMeta.database.packages, fPackages);
  }

  void addConffiles(const ModelElement& package, const std::vector<PlainConffile>& conffiles) const {
    if (conffiles.empty()) return;
    const auto& meta = fMeta.conffile;
    std::vector<Value> values;
    for (const PlainConffile& plain : conffiles) {
      ReflectiveDataType conffile(meta.type);
      conffile.setPropertyValue(meta.path, modelText(plain.path));
      conffile.setPropertyValue(meta.md5, modelBytes(plain.md5));
      conffile.setPropertyValue(meta.obsolete, plain.isObsolete);
      conffile.setPropertyValue(meta.removeOnUpgrade, plain.isRemovedOnUpgrade);
      values.emplace_back(conffile);
    }
    package->getPropertyValue(fMeta.installedPackage.conffiles, ReflectionPrivateTag::PUBLIC_ACCESS)
        .toPrimitiveCollection()
        .assignValues(std::move(values));
  }

  void addArchives() {
    std::vector<ModelElement> archives;
    for (const PlainArchive& plain : fPlain.archives) {
      const Uuid uuid = archiveUuid(plain.name);
      archives.push_back(makeNamed(fMeta.archive.type, uuid, plain.name));
      std::vector<ModelElement> packages;
      packages.reserve(plain.packages.size());
      for (const PlainArchivePackage& package : plain.packages) packages.push_back(makeArchivePackage(uuid, package));
      assignElements(archives.back(), fMeta.archive.packages, packages);
    }
    assignElements(fDatabase, fMeta.database.archives, archives);
  }

  ModelElement makeArchivePackage(const Uuid& archive, const PlainArchivePackage& plain) const {
    const auto& meta = fMeta.archivePackage;
    const std::string key = plain.key();
    const ModelElement package = makePackage(meta.type, archivePackageUuid(archive, key), key, plain);
    if (plain.sizeBytes) package->set(meta.sizeBytes, *plain.sizeBytes);
    package->set(meta.fileName, modelText(plain.fileName));
    setBytes(package, meta.md5, plain.md5);
    setBytes(package, meta.sha256, plain.sha256);
    package->set(meta.phasedUpdatePercentage, plain.phasedUpdatePercentage);
    return package;
  }

  /// What all packages have.
  ModelElement makePackage(const Class& type, const Uuid& uuid, std::string_view key, const PlainPackage& plain) const {
    const auto& meta = fMeta.anyPackage;
    const ModelElement package = makeNamed(type, uuid, plain.name);
    package->set(meta.key, modelText(key));
    package->set(meta.fingerprint, plain.fingerprint);
    package->set(meta.line, lineNumber(plain.line));
    setVersion(package, meta.version, plain.version);
    setVersion(package, meta.sourceVersion, plain.sourceVersion);
    package->set(meta.architecture, modelBytes(plain.architecture));
    setEnum(package, meta.priority, plain.priority);
    setEnum(package, meta.multiArch, plain.multiArch);
    package->set(meta.isEssential, plain.isEssential);
    package->set(meta.isProtected, plain.isProtected);
    if (plain.installedSizeKiB) package->set(meta.installedSizeKiB, *plain.installedSizeKiB);
    package->set(meta.synopsis, modelText(plain.synopsis));
    setText(package, meta.description, plain.description);
    setText(package, meta.homepage, plain.homepage);
    assignValues(package, meta.tags, textsOf(plain.tags));
    if (!plain.otherFields.empty()) package->set(meta.otherFields, mapOf(plain.otherFields));
    refer(package, meta.section, fSections, plain.section);
    refer(package, meta.maintainer, fMaintainers, plain.maintainer);
    refer(package, meta.source, fSources, plain.source);
    addRelations(package, uuid, plain.relations);
    return package;
  }

  void addRelations(const ModelElement& package, const Uuid& packageUuid,
                    const std::vector<PlainRelation>& plainRelations) const {
    std::vector<ModelElement> relations;
    relations.reserve(plainRelations.size());
    for (const PlainRelation& plain : plainRelations) relations.push_back(makeRelation(packageUuid, plain));
    assignElements(package, fMeta.anyPackage.relations, relations);
  }

  ModelElement makeRelation(const Uuid& package, const PlainRelation& plain) const {
    const Uuid uuid = relationUuid(package, plain.kind, plain.position);
    const ModelElement relation = make(fMeta.relation.type, uuid);
    setEnum(relation, fMeta.relation.kind, plain.kind);
    relation->set(fMeta.relation.position, plain.position);
    std::vector<ModelElement> alternatives;
    alternatives.reserve(plain.alternatives.size());
    for (std::size_t i = 0; i < plain.alternatives.size(); ++i) {
      alternatives.push_back(makeAlternative(alternativeUuid(uuid, i), plain.alternatives[i]));
    }
    assignElements(relation, fMeta.relation.alternatives, alternatives);
    return relation;
  }

  ModelElement makeAlternative(const Uuid& uuid, const PlainAlternative& plain) const {
    const auto& meta = fMeta.alternative;
    const ModelElement alternative = make(meta.type, uuid);
    refer(alternative, meta.target, fNames, plain.name);
    setBytes(alternative, meta.architecture, plain.architecture);
    setEnum(alternative, meta.versionOperator, plain.op);
    setVersion(alternative, meta.version, plain.version);
    std::vector<std::string> architectures;
    for (const std::string& architecture : plain.architectures) architectures.push_back(modelBytes(architecture));
    assignValues(alternative, meta.architectures, std::move(architectures));
    return alternative;
  }

  void addFileTree() {
    const FileTree& tree = fPlain.fileTree;
    if (tree.directories.empty()) return;
    std::vector<Uuid> uuids;
    std::vector<ModelElement> directories;
    for (const PlainDirectory& plain : tree.directories) {
      const bool isRoot = directories.empty();
      uuids.push_back(isRoot ? rootDirectoryUuid() : directoryUuid(uuids[plain.parent], plain.name));
      directories.push_back(makeEntry(fMeta.directory.type, uuids.back(), plain.name, plain.owners));
      directories.back()->set(fMeta.directory.depth, plain.depth);
      if (isRoot) {
        fDatabase->set(fMeta.database.root, directories.back());
      } else {
        append(directories[plain.parent], fMeta.directory.directories, directories.back());
      }
    }
    for (const PlainFile& plain : tree.files) {
      const Uuid uuid = fileUuid(uuids[plain.directory], plain.name);
      const ModelElement file = makeEntry(fMeta.file.type, uuid, plain.name, plain.owners);
      setEnum(file, fMeta.file.role, plain.role);
      setBytes(file, fMeta.file.md5, plain.md5);
      append(directories[plain.directory], fMeta.directory.files, file);
    }
  }

  ModelElement makeEntry(const Class& type, const Uuid& uuid, std::string_view name,
                         const std::vector<std::uint32_t>& owners) const {
    const ModelElement entry = makeNamed(type, uuid, name);
    std::vector<ModelElement> packages;
    packages.reserve(owners.size());
    for (const std::uint32_t owner : owners) packages.push_back(fPackages[owner]);
    assignElements(entry, fMeta.fileSystemEntry.owners, packages);
    return entry;
  }

  static void append(const ModelElement& parent, const Property& property, const ModelElement& child) {
    parent->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS).toElementCollection().addElement(child);
  }

  static void refer(const ModelElement& element, const Property& property, const std::vector<ModelElement>& targets,
                    std::uint32_t index) {
    if (index != kNoName) element->set(property, targets[index]);
  }

  /// Most alternatives have no version: those share one.
  void setVersion(const ModelElement& element, const Property& property, const DebianVersion& version) const {
    element->setPropertyValue(property, version.isEmpty() ? fNoVersion : versionValue(fMeta, version),
                              ReflectionPrivateTag::PUBLIC_ACCESS);
  }

  static std::vector<ustring> textsOf(const std::vector<std::string>& bytes) {
    std::vector<ustring> texts;
    texts.reserve(bytes.size());
    for (const std::string& text : bytes) texts.push_back(modelText(text));
    return texts;
  }

  /// No file of more lines can be read into memory; were there one, the lines behind would have the highest number.
  static std::int32_t lineNumber(std::size_t line) {
    constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min<std::size_t>(line, kHighest));
  }

  const DebianMetaModel& fMeta;
  const PlainDatabase& fPlain;
  Model fModel;
  Value fNoVersion;
  ModelElement fDatabase;
  // As numbered in the plain database.
  std::vector<ModelElement> fNames;
  std::vector<ModelElement> fSections;
  std::vector<ModelElement> fSources;
  std::vector<ModelElement> fMaintainers;
  std::vector<ModelElement> fPackages;
};

/// What savedPropertyCount needs to know of a class.
struct ClassCount {
  std::size_t alwaysSaved = 0;
  std::vector<Property> withDefault;
};

ClassCount countOf(const Class& type) {
  ClassCount count;
  for (const Property& property : type->getAllProperties()) {
    if (property->isOmitted) continue;
    if (property->defaultValue()) {
      count.withDefault.push_back(property);
    } else {
      ++count.alwaysSaved;
    }
  }
  return count;
}

}  // namespace

Model buildModel(const PlainDatabase& database, const DebianMetaModel& meta) {
  return ModelBuilder(database, meta).build();
}

DebianVersion versionOf(const ReflectiveDataType& version) {
  const auto& meta = debianMetaModel().version;
  return DebianVersion(version.getPropertyValue(meta.epoch).get<std::int32_t>(),
                       version.getPropertyValue(meta.upstream).get<std::string>(),
                       version.getPropertyValue(meta.revision).get<std::string>());
}

std::size_t savedPropertyCount(const Model& model) {
  std::unordered_map<Class, ClassCount> counts;
  std::size_t total = 0;
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::InMemory)) {
    const Class& type = element->getMetaClass();
    auto found = counts.find(type);
    if (found == counts.end()) found = counts.emplace(type, countOf(type)).first;
    total += found->second.alwaysSaved;
    for (const Property& property : found->second.withDefault) {
      const Value value = element->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS);
      if (value != *property->defaultValue()) ++total;
    }
  }
  return total;
}

}  // namespace debian_packages
