#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "DebianMetaModel.h"
#include "FileTree.h"
#include "PackageEnums.h"

namespace debian_packages {
namespace {

using bedrock::i18n::ustring_to_utf8;
using tarn::kern::narrow;
using tarn::kern::meta::Class;
using tarn::kern::meta::DataType;
using tarn::kern::meta::Enum;
using tarn::kern::meta::EnumLiteral;
using tarn::kern::meta::Package;
using tarn::kern::meta::Property;
using tarn::kern::meta::StructuredType;
using tarn::kern::meta::Type;

std::string nameOf(const tarn::kern::meta::NamedElement& element) { return ustring_to_utf8(element->getName()); }

std::string boundsOf(const Property& property) {
  const bool isUnlimited = property->upper == Property::Impl::kUnlimited;
  const std::string upper = isUnlimited ? "*" : std::to_string(property->upper);
  if (property->lower == 0 && isUnlimited) return "[*]";
  if (property->lower == property->upper) return "[" + upper + "]";
  return "[" + std::to_string(property->lower) + ".." + upper + "]";
}

std::string defaultOf(const Property& property) {
  const auto& value = property->defaultValue();
  if (!value) return "";
  if (property->getType() == tarn::kern::meta::StandardTypes::booleanMeta) {
    return value->get<bool>() ? " = true" : " = false";
  }
  return " = " + std::to_string(value->get<std::uint8_t>());
}

/// "composite packages: InstalledPackage [*] by key"
std::string line(const Property& property) {
  std::string text = property->isComposite ? "  composite " : property->isReference() ? "  reference " : "  ";
  text += nameOf(property) + ": " + nameOf(property->getType()) + " " + boundsOf(property) + defaultOf(property);
  if (property->getQualifiedBy()) text += " by " + nameOf(property->getQualifiedBy());
  if (property->getOpposite() || property->isOmitted || property->isReadOnly || property->isGuarded)
    text += " (special)";
  return text + "\n";
}

std::string lines(const StructuredType& type) {
  std::string text;
  for (const Property& property : type->getOwnedAttributesInOrder()) text += line(property);
  return text;
}

std::string describe(const Type& type) {
  if (const Enum words = narrow<Enum>(type)) {
    std::string text = "enum " + nameOf(type) + ":";
    std::int64_t number = 0;
    for (const EnumLiteral& literal : words->getLiteralsInOrder()) {
      text += " " + nameOf(literal);
      if (literal->getValue() != number++) text += "(" + std::to_string(literal->getValue()) + ")";
    }
    return text + "\n";
  }
  if (const DataType data = narrow<DataType>(type)) return "data type " + nameOf(type) + "\n" + lines(data);
  const Class itsClass = narrow<Class>(type);
  std::string text = itsClass->isAbstract() ? "abstract class " : "class ";
  text += nameOf(type);
  if (itsClass->getSuperclass() != tarn::kern::ModelElement::metaClass())
    text += " : " + nameOf(itsClass->getSuperclass());
  return text + "\n" + lines(itsClass);
}

TEST(DebianMetaModel, IsVersion1_0OfTheFamilyDebian) {
  const Package& package = debianMetaModel().package;
  EXPECT_EQ(package->getQualifiedName(), u"debian_packages");
  EXPECT_EQ(package->getFamily(), u"debian");
  EXPECT_EQ(package->getVersion(), u"1.0");
  EXPECT_EQ(tarn::kern::meta::MetaRegistry::getInstance()->getPackageForFamily(u"debian"), package);
}

TEST(DebianMetaModel, IsRegisteredOnce) { EXPECT_EQ(&debianMetaModel(), &debianMetaModel()); }

TEST(DebianMetaModel, HasTheTypesAndPropertiesThatTheReadmeTellsOf) {
  std::string text;
  for (const Type& type : debianMetaModel().package->getTypesInOrder()) text += describe(type);
  EXPECT_EQ(text, R"(enum Want: unknown install hold deinstall purge
enum Flag: ok reinstreq
enum State: not-installed config-files half-installed unpacked half-configured triggers-awaited triggers-pending installed
enum Priority: unknown required important standard optional extra other
enum MultiArch: no same foreign allowed
enum RelationKind: Depends Pre-Depends Recommends Suggests Enhances Breaks Conflicts Replaces Provides
enum VersionOperator: any << <= = >= >>
enum FileRole: unlisted shipped conffile
data type Version
  epoch: Integer [1]
  upstream: StdString [1]
  revision: StdString [1]
data type Conffile
  path: String [1]
  md5: StdString [1]
  obsolete: Boolean [1] = false
  removeOnUpgrade: Boolean [1] = false
abstract class Named
  name: String [1]
class Database : Named
  composite packages: InstalledPackage [*] by key
  composite archives: Archive [*] by name
  composite names: PackageName [*] by name
  composite sections: Section [*] by name
  composite maintainers: Maintainer [*] by name
  composite sources: Source [*] by name
  composite root: Directory [0..1]
class Section : Named
class Source : Named
class PackageName : Named
class Maintainer : Named
  email: String [0..1]
abstract class Package : Named
  key: String [1]
  fingerprint: UUID [1]
  line: Integer [1]
  version: Version [1]
  sourceVersion: Version [1]
  architecture: StdString [1]
  priority: Priority [1]
  multiArch: MultiArch [1]
  essential: Boolean [1] = false
  protected: Boolean [1] = false
  installedSizeKiB: Integer64 [0..1]
  synopsis: String [1]
  description: String [0..1]
  homepage: String [0..1]
  tags: String [*]
  otherFields: StringToStringMap [1]
  reference section: Section [0..1]
  reference maintainer: Maintainer [0..1]
  reference source: Source [1]
  composite relations: Relation [*]
class InstalledPackage : Package
  want: Want [1]
  flag: Flag [1]
  state: State [1]
  installedAt: DateTime [0..1]
  configVersion: Version [1]
  conffiles: Conffile [*]
class ArchivePackage : Package
  sizeBytes: UInteger64 [0..1]
  fileName: String [1]
  md5: StdString [0..1]
  sha256: StdString [0..1]
  phasedUpdatePercentage: UInteger8 [1] = 100
class Archive : Named
  composite packages: ArchivePackage [*] by key
class Relation
  kind: RelationKind [1]
  position: UInteger16 [1]
  composite alternatives: Alternative [*]
class Alternative
  reference target: PackageName [1]
  architecture: StdString [0..1]
  operator: VersionOperator [1]
  version: Version [1]
  architectures: StdString [*]
abstract class FileSystemEntry : Named
  reference owners: InstalledPackage [*]
class Directory : FileSystemEntry
  composite directories: Directory [*] by name
  composite files: File [*] by name
  depth: UInteger16 [1]
class File : FileSystemEntry
  role: FileRole [1]
  md5: StdString [0..1]
)");
  EXPECT_TRUE(debianMetaModel().fileSystemEntry.owners->isUnique);
}

/// The numbers are what buildModel sets, so each must mean the word of the enumeration.
template <class E>
void expectWords(const Enum& words, E last) {
  ASSERT_EQ(words->getLiteralsInOrder().size(), static_cast<std::size_t>(last) + 1);
  for (const EnumLiteral& literal : words->getLiteralsInOrder()) {
    const std::string word(text(static_cast<E>(literal->getValue())));
    EXPECT_EQ(nameOf(literal), word.empty() ? "any" : word);
  }
}

TEST(DebianMetaModel, NumbersItsLiteralsAsTheEnumerationsDo) {
  const DebianMetaModel& meta = debianMetaModel();
  expectWords(meta.want, Want::kPurge);
  expectWords(meta.flag, Flag::kReinstReq);
  expectWords(meta.state, State::kInstalled);
  expectWords(meta.priority, Priority::kOther);
  expectWords(meta.multiArch, MultiArch::kAllowed);
  expectWords(meta.relationKind, RelationKind::kProvides);
  expectWords(meta.versionOperator, VersionOperator::kLater);
  EXPECT_EQ(meta.fileRole->getLiteral(static_cast<std::int64_t>(FileRole::kUnlisted))->getName(), u"unlisted");
  EXPECT_EQ(meta.fileRole->getLiteral(static_cast<std::int64_t>(FileRole::kShipped))->getName(), u"shipped");
  EXPECT_EQ(meta.fileRole->getLiteral(static_cast<std::int64_t>(FileRole::kConffile))->getName(), u"conffile");
}

TEST(DebianMetaModel, HasAHandleForEachProperty) {
  const DebianMetaModel& meta = debianMetaModel();
  EXPECT_EQ(meta.anyPackage.isProtected, meta.installedPackage.type->getProperty(u"protected"));
  EXPECT_EQ(meta.anyPackage.isEssential, meta.archivePackage.type->getProperty(u"essential"));
  EXPECT_EQ(meta.alternative.versionOperator, meta.alternative.type->getProperty(u"operator"));
  EXPECT_EQ(meta.named.name, meta.file.type->getProperty(u"name"));
  EXPECT_NE(meta.file.md5, meta.archivePackage.md5);
}

}  // namespace
}  // namespace debian_packages
