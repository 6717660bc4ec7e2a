#include "DebianMetaModel.h"

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <bedrock/i18n.h>
#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "FileTree.h"
#include "PackageEnums.h"
#include "PlainDatabase.h"

namespace debian_packages {
namespace {

using tarn::kern::ustring;
using tarn::kern::meta::ClassBuilder;
using tarn::kern::meta::DataTypeBuilder;
using tarn::kern::meta::EnumBuilder;
using tarn::kern::meta::PackageBuilder;
using tarn::kern::meta::StandardTypes;
using tarn::kern::meta::Type;

/// What has not always been called as it is.
struct Wording {
  const char16_t* version;
  const char16_t* packageName;  ///< a class
  const char16_t* synopsis;     ///< of a package
  const char16_t* upstream;     ///< of a version
  const char16_t* anyVersion;   ///< a literal
};

constexpr Wording kOlder{u"0.9", u"Name", u"summary", u"text", u"unversioned"};
constexpr Wording kCurrent{u"1.0", u"PackageName", u"synopsis", u"upstream", u"any"};

std::string_view text(FileRole role) {
  switch (role) {
    case FileRole::kUnlisted:
      return "unlisted";
    case FileRole::kShipped:
      return "shipped";
    case FileRole::kConffile:
      return "conffile";
  }
  return "";
}

/// An enum with a literal for each number from 0 to `last`, named by its word. The one without a word is `nameless`.
template <class E>
EnumBuilder& addEnum(PackageBuilder& package, std::u16string_view name, E last, std::u16string_view nameless = {}) {
  EnumBuilder& builder = package.addEnum(name);
  for (std::int64_t number = 0; number <= static_cast<std::int64_t>(last); ++number) {
    const std::string_view word = text(static_cast<E>(number));
    builder.literal(word.empty() ? ustring(nameless) : bedrock::i18n::utf8_to_ustring(word), number);
  }
  return builder;
}

/// The types that the classes are made of.
struct ValueTypes {
  EnumBuilder &want, &flag, &state, &priority, &multiArch, &relationKind, &versionOperator, &fileRole;
  DataTypeBuilder &version, &conffile;
};

ValueTypes defineValueTypes(PackageBuilder& package, const Wording& wording) {
  ValueTypes types{addEnum(package, u"Want", Want::kPurge),
                   addEnum(package, u"Flag", Flag::kReinstReq),
                   addEnum(package, u"State", State::kInstalled),
                   addEnum(package, u"Priority", Priority::kOther),
                   addEnum(package, u"MultiArch", MultiArch::kAllowed),
                   addEnum(package, u"RelationKind", RelationKind::kProvides),
                   addEnum(package, u"VersionOperator", VersionOperator::kLater, wording.anyVersion),
                   addEnum(package, u"FileRole", FileRole::kConffile),
                   package.addDataType(u"Version"),
                   package.addDataType(u"Conffile")};

  types.version.attribute(u"epoch", StandardTypes::integerMeta).required();
  types.version.attribute(wording.upstream, StandardTypes::stdstringMeta).required();
  types.version.attribute(u"revision", StandardTypes::stdstringMeta).required();

  types.conffile.attribute(u"path", StandardTypes::stringMeta).required();
  types.conffile.attribute(u"md5", StandardTypes::stdstringMeta).required();
  types.conffile.attribute(u"obsolete", StandardTypes::booleanMeta).required().defaultsTo(false);
  types.conffile.attribute(u"removeOnUpgrade", StandardTypes::booleanMeta).required().defaultsTo(false);
  return types;
}

ClassBuilder& defineNamed(PackageBuilder& package) {
  ClassBuilder& named = package.addClass(u"Named").makeAbstract();
  named.attribute(u"name", StandardTypes::stringMeta).required();
  return named;
}

/// What thousands of packages have in common, so elements to refer to.
void defineSharedNames(PackageBuilder& package, const ClassBuilder& named, const Wording& wording) {
  package.addClass(u"Section").extends(named);
  package.addClass(u"Source").extends(named);
  package.addClass(wording.packageName).extends(named);
  ClassBuilder& maintainer = package.addClass(u"Maintainer").extends(named);
  maintainer.attribute(u"email", StandardTypes::stringMeta);
}

void defineRelations(PackageBuilder& package, const ValueTypes& types, const Wording& wording) {
  ClassBuilder& relation = package.addClass(u"Relation");
  relation.attribute(u"kind", types.relationKind).required();
  relation.attribute(u"position", StandardTypes::uinteger16Meta).required();
  relation.composite(u"alternatives", u"Alternative").many();

  ClassBuilder& alternative = package.addClass(u"Alternative");
  alternative.reference(u"target", wording.packageName).required();
  alternative.attribute(u"architecture", StandardTypes::stdstringMeta);
  alternative.attribute(u"operator", types.versionOperator).required();
  alternative.attribute(u"version", types.version).required();
  alternative.attribute(u"architectures", StandardTypes::stdstringMeta).many();
}

ClassBuilder& definePackage(PackageBuilder& package, const ValueTypes& types, const ClassBuilder& named,
                            const Wording& wording) {
  ClassBuilder& any = package.addClass(u"Package").makeAbstract().extends(named);
  any.attribute(u"key", StandardTypes::stringMeta).required();
  any.attribute(u"fingerprint", StandardTypes::uuidMeta).required();
  any.attribute(u"line", StandardTypes::integerMeta).required();
  any.attribute(u"version", types.version).required();
  any.attribute(u"sourceVersion", types.version).required();
  any.attribute(u"architecture", StandardTypes::stdstringMeta).required();
  any.attribute(u"priority", types.priority).required();
  any.attribute(u"multiArch", types.multiArch).required();
  any.attribute(u"essential", StandardTypes::booleanMeta).required().defaultsTo(false);
  any.attribute(u"protected", StandardTypes::booleanMeta).required().defaultsTo(false);
  any.attribute(u"installedSizeKiB", StandardTypes::integer64Meta);
  any.attribute(wording.synopsis, StandardTypes::stringMeta).required();
  any.attribute(u"description", StandardTypes::stringMeta);
  any.attribute(u"homepage", StandardTypes::stringMeta);
  any.attribute(u"tags", StandardTypes::stringMeta).many();
  any.attribute(u"otherFields", StandardTypes::stringToStringMapMeta).required();
  any.reference(u"section", u"Section");
  any.reference(u"maintainer", u"Maintainer");
  any.reference(u"source", u"Source").required();
  any.composite(u"relations", u"Relation").many();
  return any;
}

void defineInstalledPackage(PackageBuilder& package, const ValueTypes& types, const ClassBuilder& anyPackage) {
  ClassBuilder& installed = package.addClass(u"InstalledPackage").extends(anyPackage);
  installed.attribute(u"want", types.want).required();
  installed.attribute(u"flag", types.flag).required();
  installed.attribute(u"state", types.state).required();
  installed.attribute(u"installedAt", StandardTypes::dateTimeMeta);
  installed.attribute(u"configVersion", types.version).required();
  installed.attribute(u"conffiles", types.conffile).many();
}

void defineArchive(PackageBuilder& package, const ClassBuilder& named, const ClassBuilder& anyPackage) {
  ClassBuilder& offered = package.addClass(u"ArchivePackage").extends(anyPackage);
  offered.attribute(u"sizeBytes", StandardTypes::uinteger64Meta);
  offered.attribute(u"fileName", StandardTypes::stringMeta).required();
  offered.attribute(u"md5", StandardTypes::stdstringMeta);
  offered.attribute(u"sha256", StandardTypes::stdstringMeta);
  offered.attribute(u"phasedUpdatePercentage", StandardTypes::uinteger8Meta)
      .required()
      .defaultsTo(PlainArchivePackage().phasedUpdatePercentage);

  ClassBuilder& archive = package.addClass(u"Archive").extends(named);
  archive.composite(u"packages", offered).many().qualifiedBy(u"key");
}

void defineFileTree(PackageBuilder& package, const ValueTypes& types, const ClassBuilder& named) {
  ClassBuilder& entry = package.addClass(u"FileSystemEntry").makeAbstract().extends(named);
  entry.reference(u"owners", u"InstalledPackage").many();

  ClassBuilder& directory = package.addClass(u"Directory").extends(entry);
  directory.composite(u"directories", u"Directory").many().qualifiedBy(u"name");
  directory.composite(u"files", u"File").many().qualifiedBy(u"name");
  directory.attribute(u"depth", StandardTypes::uinteger16Meta).required();

  ClassBuilder& file = package.addClass(u"File").extends(entry);
  file.attribute(u"role", types.fileRole).required();
  file.attribute(u"md5", StandardTypes::stdstringMeta);
}

void defineDatabase(PackageBuilder& package, const ClassBuilder& named, const Wording& wording) {
  ClassBuilder& database = package.addClass(u"Database").extends(named);
  database.composite(u"packages", u"InstalledPackage").many().qualifiedBy(u"key");
  database.composite(u"archives", u"Archive").many().qualifiedBy(u"name");
  database.composite(u"names", wording.packageName).many().qualifiedBy(u"name");
  database.composite(u"sections", u"Section").many().qualifiedBy(u"name");
  database.composite(u"maintainers", u"Maintainer").many().qualifiedBy(u"name");
  database.composite(u"sources", u"Source").many().qualifiedBy(u"name");
  database.composite(u"root", u"Directory");
}

tarn::kern::meta::Package registerMetaModel(const Wording& wording) {
  PackageBuilder package(u"debian_packages");
  package.family(u"debian", wording.version);
  const ValueTypes types = defineValueTypes(package, wording);
  const ClassBuilder& named = defineNamed(package);
  defineDatabase(package, named, wording);
  defineSharedNames(package, named, wording);
  const ClassBuilder& anyPackage = definePackage(package, types, named, wording);
  defineInstalledPackage(package, types, anyPackage);
  defineArchive(package, named, anyPackage);
  defineRelations(package, types, wording);
  defineFileTree(package, types, named);
  tarn::kern::meta::Package registered = package.registerPackage();
  // A warning is about what is legal but cannot be saved in every form, such as an optional data type.
  if (!package.warnings().empty()) throw std::logic_error(package.warnings().front());
  return registered;
}

/// Fetches the handles of the registered package by name. A name that is not there is a slip of this file.
class HandleFetcher {
 public:
  explicit HandleFetcher(const DebianMetaModel& meta) : fTypes(meta.package->getTypes()) {}

  template <class TypeHandle>
  void fetch(std::u16string_view name, TypeHandle& type) const {
    const auto found = fTypes.find(name);
    if (found != fTypes.end()) type = tarn::kern::narrow<TypeHandle>(found->second);
    if (!type) refuse(name);
  }

  using Properties = std::initializer_list<std::pair<std::u16string_view, DebianMetaModel::Property*>>;
  template <class TypeHandle>
  void fetch(std::u16string_view name, TypeHandle& type, Properties properties) const {
    fetch(name, type);
    for (const auto& [propertyName, property] : properties) {
      *property = type->getProperty(ustring(propertyName));
      if (!*property) refuse(propertyName);
    }
  }

 private:
  [[noreturn]] static void refuse(std::u16string_view name) {
    throw std::logic_error("the meta-model has no " + bedrock::i18n::ustring_to_utf8(name));
  }

  const tarn::kern::meta::ElementMap<ustring, Type>& fTypes;
};

void fetchValueTypes(const HandleFetcher& types, const Wording& wording, DebianMetaModel& meta) {
  types.fetch(u"Want", meta.want);
  types.fetch(u"Flag", meta.flag);
  types.fetch(u"State", meta.state);
  types.fetch(u"Priority", meta.priority);
  types.fetch(u"MultiArch", meta.multiArch);
  types.fetch(u"RelationKind", meta.relationKind);
  types.fetch(u"VersionOperator", meta.versionOperator);
  types.fetch(u"FileRole", meta.fileRole);
  types.fetch(u"Version", meta.version.type,
              {{u"epoch", &meta.version.epoch},
               {wording.upstream, &meta.version.upstream},
               {u"revision", &meta.version.revision}});
  types.fetch(u"Conffile", meta.conffile.type,
              {{u"path", &meta.conffile.path},
               {u"md5", &meta.conffile.md5},
               {u"obsolete", &meta.conffile.obsolete},
               {u"removeOnUpgrade", &meta.conffile.removeOnUpgrade}});
}

void fetchDatabase(const HandleFetcher& types, const Wording& wording, DebianMetaModel& meta) {
  types.fetch(u"Named", meta.named.type, {{u"name", &meta.named.name}});
  types.fetch(u"Database", meta.database.type,
              {{u"packages", &meta.database.packages},
               {u"archives", &meta.database.archives},
               {u"names", &meta.database.names},
               {u"sections", &meta.database.sections},
               {u"maintainers", &meta.database.maintainers},
               {u"sources", &meta.database.sources},
               {u"root", &meta.database.root}});
  types.fetch(u"Section", meta.section.type);
  types.fetch(u"Source", meta.source.type);
  types.fetch(wording.packageName, meta.packageName.type);
  types.fetch(u"Maintainer", meta.maintainer.type, {{u"email", &meta.maintainer.email}});
}

void fetchPackages(const HandleFetcher& types, const Wording& wording, DebianMetaModel& meta) {
  auto& any = meta.anyPackage;
  types.fetch(u"Package", any.type,
              {{u"key", &any.key},
               {u"fingerprint", &any.fingerprint},
               {u"line", &any.line},
               {u"version", &any.version},
               {u"sourceVersion", &any.sourceVersion},
               {u"architecture", &any.architecture},
               {u"priority", &any.priority},
               {u"multiArch", &any.multiArch},
               {u"essential", &any.isEssential},
               {u"protected", &any.isProtected},
               {u"installedSizeKiB", &any.installedSizeKiB},
               {wording.synopsis, &any.synopsis},
               {u"description", &any.description},
               {u"homepage", &any.homepage},
               {u"tags", &any.tags},
               {u"otherFields", &any.otherFields},
               {u"section", &any.section},
               {u"maintainer", &any.maintainer},
               {u"source", &any.source},
               {u"relations", &any.relations}});
  auto& installed = meta.installedPackage;
  types.fetch(u"InstalledPackage", installed.type,
              {{u"want", &installed.want},
               {u"flag", &installed.flag},
               {u"state", &installed.state},
               {u"installedAt", &installed.installedAt},
               {u"configVersion", &installed.configVersion},
               {u"conffiles", &installed.conffiles}});
  auto& offered = meta.archivePackage;
  types.fetch(u"ArchivePackage", offered.type,
              {{u"sizeBytes", &offered.sizeBytes},
               {u"fileName", &offered.fileName},
               {u"md5", &offered.md5},
               {u"sha256", &offered.sha256},
               {u"phasedUpdatePercentage", &offered.phasedUpdatePercentage}});
  types.fetch(u"Archive", meta.archive.type, {{u"packages", &meta.archive.packages}});
}

void fetchRelations(const HandleFetcher& types, DebianMetaModel& meta) {
  types.fetch(u"Relation", meta.relation.type,
              {{u"kind", &meta.relation.kind},
               {u"position", &meta.relation.position},
               {u"alternatives", &meta.relation.alternatives}});
  types.fetch(u"Alternative", meta.alternative.type,
              {{u"target", &meta.alternative.target},
               {u"architecture", &meta.alternative.architecture},
               {u"operator", &meta.alternative.versionOperator},
               {u"version", &meta.alternative.version},
               {u"architectures", &meta.alternative.architectures}});
}

void fetchFileTree(const HandleFetcher& types, DebianMetaModel& meta) {
  types.fetch(u"FileSystemEntry", meta.fileSystemEntry.type, {{u"owners", &meta.fileSystemEntry.owners}});
  types.fetch(u"Directory", meta.directory.type,
              {{u"directories", &meta.directory.directories},
               {u"files", &meta.directory.files},
               {u"depth", &meta.directory.depth}});
  types.fetch(u"File", meta.file.type, {{u"role", &meta.file.role}, {u"md5", &meta.file.md5}});
}

DebianMetaModel makeMetaModel(const Wording& wording) {
  DebianMetaModel meta;
  meta.package = registerMetaModel(wording);
  const HandleFetcher types(meta);
  fetchValueTypes(types, wording, meta);
  fetchDatabase(types, wording, meta);
  fetchPackages(types, wording, meta);
  fetchRelations(types, meta);
  fetchFileTree(types, meta);
  return meta;
}

/// What brings content of the older version up to date. @pre both versions are registered
void registerEvolution() {
  tarn::kern::evolution::Evolution(u"debian")
      .from(kOlder.version)
      .to(kCurrent.version)
      .renameClass(kOlder.packageName, kCurrent.packageName)
      .renameProperty(u"Package", kOlder.synopsis, kCurrent.synopsis)
      .renameProperty(u"Version", kOlder.upstream, kCurrent.upstream)
      .renameLiteral(u"VersionOperator", kOlder.anyVersion, kCurrent.anyVersion)
      .registerEvolution();
}

}  // namespace

const DebianMetaModel& debianMetaModel() {
  static const DebianMetaModel kMeta = makeMetaModel(kCurrent);
  return kMeta;
}

const DebianMetaModel& olderDebianMetaModel() {
  static const DebianMetaModel kMeta = [] {
    static_cast<void>(debianMetaModel());  // names resolve to the current version, whichever was registered first
    DebianMetaModel older = makeMetaModel(kOlder);
    registerEvolution();
    return older;
  }();
  return kMeta;
}

}  // namespace debian_packages
