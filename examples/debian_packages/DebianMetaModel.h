#pragma once

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Package.h>

namespace debian_packages {

/// The meta-model of a package database, package "debian_packages" in version 1.0 of the family "debian": all types and
/// all properties as handles, fetched once, since a model of a million elements is not built by looking up names. What
/// each property is for: README.md.
///
/// A class has its own properties only; the inherited ones stand with the class that declares them. The literals of an
/// enum have the numbers of the enumeration of the same name in PackageEnums.h and FileTree.h.
struct DebianMetaModel {
  using Class = tarn::kern::meta::Class;
  using DataType = tarn::kern::meta::DataType;
  using Enum = tarn::kern::meta::Enum;
  using Property = tarn::kern::meta::Property;

  tarn::kern::meta::Package package;

  Enum want, flag, state, priority, multiArch, relationKind, versionOperator, fileRole;

  struct {
    DataType type;
    Property epoch, upstream, revision;
  } version;
  struct {
    DataType type;
    Property path, md5, obsolete, removeOnUpgrade;
  } conffile;

  struct {
    Class type;  ///< abstract
    Property name;
  } named;
  struct {
    Class type;
    Property packages, archives, names, sections, maintainers, sources, root;
  } database;
  struct {
    Class type;
  } section, source, packageName;
  struct {
    Class type;
    Property email;
  } maintainer;
  struct {
    Class type;  ///< abstract
    Property key, fingerprint, line, version, sourceVersion, architecture, priority, multiArch, isEssential,
        isProtected, installedSizeKiB, synopsis, description, homepage, tags, otherFields, section, maintainer, source,
        relations;
  } anyPackage;
  struct {
    Class type;
    Property want, flag, state, installedAt, configVersion, conffiles;
  } installedPackage;
  struct {
    Class type;
    Property sizeBytes, fileName, md5, sha256, phasedUpdatePercentage;
  } archivePackage;
  struct {
    Class type;
    Property packages;
  } archive;
  struct {
    Class type;
    Property kind, position, alternatives;
  } relation;
  struct {
    Class type;
    Property target, architecture, versionOperator, version, architectures;
  } alternative;
  struct {
    Class type;  ///< abstract
    Property owners;
  } fileSystemEntry;
  struct {
    Class type;
    Property directories, files, depth;
  } directory;
  struct {
    Class type;
    Property role, md5;
  } file;
};

/// The meta-model. The first call registers it, which must have happened before a file of such a model is loaded; any
/// thread may call. Throws tarn::kern::MetaModelError where another package took its place.
const DebianMetaModel& debianMetaModel();

/// The same in version 0.9, and what changed since then: PackageName was called Name, a package's synopsis summary, a
/// version's upstream text, and the literal "any" "unversioned". The handles bear the names of today. After the first
/// call, files of that version are read as well.
const DebianMetaModel& olderDebianMetaModel();

}  // namespace debian_packages
