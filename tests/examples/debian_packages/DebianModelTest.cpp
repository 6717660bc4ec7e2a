#include <algorithm>
#include <functional>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Enum.h>

#include "DebianMetaModel.h"
#include "DebianModel.h"
#include "SampleDatabase.h"

namespace debian_packages {
namespace {

using bedrock::i18n::utf8_to_ustring;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ReflectiveDataType;
using tarn::kern::StringToStringMap;
using tarn::kern::ustring;
using tarn::kern::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

Value valueOf(const ModelElement& element, std::u16string_view property) {
  return element->getPropertyValue(element->property(property), ReflectionPrivateTag::PUBLIC_ACCESS);
}

std::vector<ModelElement> members(const ModelElement& element, std::u16string_view property) {
  return valueOf(element, property).toElementCollection().getAllElements();
}

template <class T>
std::vector<T> values(const ModelElement& element, std::u16string_view property) {
  std::vector<T> all;
  for (const Value& value : valueOf(element, property).toPrimitiveCollection().getAllValues()) {
    all.push_back(value.get<T>());
  }
  return all;
}

bool isAbsent(const ModelElement& element, std::u16string_view property) {
  return !valueOf(element, property).hasObject();
}

ModelElement rootOf(const Model& model) {
  const auto roots = model->getTopLevelElements();
  if (roots.size() != 1) throw std::runtime_error("not one root");
  return roots.front();
}

/// Compares a model, property by property and by name, with the structs that it was built from.
class ModelAgainstStructs {
 public:
  ModelAgainstStructs(const Model& model, const PlainDatabase& plain) : fPlain(plain), fDatabase(rootOf(model)) {}

  void expectSame() {
    EXPECT_EQ(fDatabase->getUuid(), databaseUuid());
    EXPECT_EQ(fDatabase->get<ustring>(u"name"), u"dpkg");
    expectTable(fPlain.names, u"PackageName", u"names", packageNameUuid);
    expectTable(fPlain.sections, u"Section", u"sections", sectionUuid);
    expectTable(fPlain.sources, u"Source", u"sources", sourceUuid);
    expectMaintainers();
    expectInstalledPackages();
    expectArchives();
    expectFileTree();
  }

 private:
  static void expectNamed(const ModelElement& element, const char16_t* type, const Uuid& uuid,
                          const std::string& name) {
    EXPECT_EQ(element->getMetaClass()->getName(), type);
    EXPECT_EQ(element->getUuid(), uuid);
    EXPECT_EQ(element->get<ustring>(u"name"), utf8_to_ustring(name));
  }

  void expectTable(const NameTable& table, const char16_t* type, std::u16string_view property,
                   Uuid (*uuidOf)(std::string_view)) const {
    const auto elements = members(fDatabase, property);
    ASSERT_EQ(elements.size(), table.size());
    for (std::uint32_t i = 0; i < elements.size(); ++i) {
      expectNamed(elements[i], type, uuidOf(table.at(i)), table.at(i));
      EXPECT_EQ(elements[i]->container(), fDatabase);
    }
  }

  void expectMaintainers() const {
    const auto elements = members(fDatabase, u"maintainers");
    ASSERT_EQ(elements.size(), fPlain.maintainers.size());
    for (std::uint32_t i = 0; i < elements.size(); ++i) {
      const std::string& whole = fPlain.maintainers.at(i);
      const auto [name, email] = splitMaintainer(whole);
      expectNamed(elements[i], u"Maintainer", maintainerUuid(whole), name);
      expectText(elements[i], u"email", email);
    }
  }

  void expectInstalledPackages() {
    fPackages = members(fDatabase, u"packages");
    ASSERT_EQ(fPackages.size(), fPlain.packages.size());
    for (std::size_t i = 0; i < fPackages.size(); ++i) {
      const PlainInstalledPackage& plain = fPlain.packages[i];
      const ModelElement& package = fPackages[i];
      SCOPED_TRACE(plain.key());
      expectNamed(package, u"InstalledPackage", installedPackageUuid(plain.key()), plain.name);
      EXPECT_EQ(package->get<ustring>(u"key"), utf8_to_ustring(plain.key()));
      expectPackage(package, plain);
      expectEnum(package, u"want", plain.want);
      expectEnum(package, u"flag", plain.flag);
      expectEnum(package, u"state", plain.state);
      EXPECT_EQ(isAbsent(package, u"installedAt"), !plain.installedAt.has_value());
      if (plain.installedAt) {
        EXPECT_EQ(package->get<boost::posix_time::ptime>(u"installedAt"), *plain.installedAt);
      }
      expectVersion(package, u"configVersion", plain.configVersion);
      expectConffiles(package, plain.conffiles);
    }
  }

  static void expectConffiles(const ModelElement& package, const std::vector<PlainConffile>& plain) {
    const auto conffiles = values<ReflectiveDataType>(package, u"conffiles");
    ASSERT_EQ(conffiles.size(), plain.size());
    for (std::size_t i = 0; i < conffiles.size(); ++i) {
      EXPECT_EQ(conffiles[i].get<ustring>(u"path"), utf8_to_ustring(plain[i].path));
      EXPECT_EQ(conffiles[i].get<std::string>(u"md5"), plain[i].md5);
      EXPECT_EQ(conffiles[i].get<bool>(u"obsolete"), plain[i].isObsolete);
      EXPECT_EQ(conffiles[i].get<bool>(u"removeOnUpgrade"), plain[i].isRemovedOnUpgrade);
    }
  }

  void expectArchives() const {
    const auto archives = members(fDatabase, u"archives");
    ASSERT_EQ(archives.size(), fPlain.archives.size());
    for (std::size_t i = 0; i < archives.size(); ++i) {
      const PlainArchive& plain = fPlain.archives[i];
      expectNamed(archives[i], u"Archive", archiveUuid(plain.name), plain.name);
      const auto packages = members(archives[i], u"packages");
      ASSERT_EQ(packages.size(), plain.packages.size());
      for (std::size_t j = 0; j < packages.size(); ++j) {
        expectArchivePackage(packages[j], archives[i]->getUuid(), plain.packages[j]);
      }
    }
  }

  void expectArchivePackage(const ModelElement& package, const Uuid& archive, const PlainArchivePackage& plain) const {
    SCOPED_TRACE(plain.key());
    expectNamed(package, u"ArchivePackage", archivePackageUuid(archive, plain.key()), plain.name);
    EXPECT_EQ(package->get<ustring>(u"key"), utf8_to_ustring(plain.key()));
    expectPackage(package, plain);
    EXPECT_EQ(isAbsent(package, u"sizeBytes"), !plain.sizeBytes.has_value());
    EXPECT_EQ(package->get<std::uint64_t>(u"sizeBytes"), plain.sizeBytes.value_or(0));
    EXPECT_EQ(package->get<ustring>(u"fileName"), utf8_to_ustring(plain.fileName));
    expectBytes(package, u"md5", plain.md5);
    expectBytes(package, u"sha256", plain.sha256);
    EXPECT_EQ(package->get<std::uint8_t>(u"phasedUpdatePercentage"), plain.phasedUpdatePercentage);
  }

  void expectPackage(const ModelElement& package, const PlainPackage& plain) const {
    EXPECT_EQ(package->get<Uuid>(u"fingerprint"), plain.fingerprint);
    EXPECT_EQ(package->get<std::int32_t>(u"line"), static_cast<std::int32_t>(plain.line));
    expectVersion(package, u"version", plain.version);
    expectVersion(package, u"sourceVersion", plain.sourceVersion);
    EXPECT_EQ(package->get<std::string>(u"architecture"), plain.architecture);
    EXPECT_FALSE(isAbsent(package, u"architecture"));
    expectEnum(package, u"priority", plain.priority);
    expectEnum(package, u"multiArch", plain.multiArch);
    EXPECT_EQ(package->get<bool>(u"essential"), plain.isEssential);
    EXPECT_EQ(package->get<bool>(u"protected"), plain.isProtected);
    EXPECT_EQ(isAbsent(package, u"installedSizeKiB"), !plain.installedSizeKiB.has_value());
    EXPECT_EQ(package->get<std::int64_t>(u"installedSizeKiB"), plain.installedSizeKiB.value_or(0));
    EXPECT_EQ(package->get<ustring>(u"synopsis"), utf8_to_ustring(plain.synopsis));
    EXPECT_FALSE(isAbsent(package, u"synopsis"));
    expectText(package, u"description", plain.description);
    expectText(package, u"homepage", plain.homepage);
    EXPECT_EQ(values<ustring>(package, u"tags"), textsOf(plain.tags));
    expectFields(package, plain.otherFields);
    expectReference(package, u"section", fPlain.sections, plain.section, sectionUuid);
    expectReference(package, u"maintainer", fPlain.maintainers, plain.maintainer, maintainerUuid);
    expectReference(package, u"source", fPlain.sources, plain.source, sourceUuid);
    expectRelations(package, plain.relations);
  }

  static void expectFields(const ModelElement& package, const std::vector<std::pair<std::string, std::string>>& plain) {
    std::vector<std::pair<ustring, ustring>> expected;
    for (const auto& [name, value] : plain) expected.emplace_back(utf8_to_ustring(name), utf8_to_ustring(value));
    const Value live = valueOf(package, u"otherFields");
    const StringToStringMap& map = live.toStringToStringMap();
    std::vector<std::pair<ustring, ustring>> found(map.begin(), map.end());
    EXPECT_EQ(found, expected);
  }

  void expectRelations(const ModelElement& package, const std::vector<PlainRelation>& plain) const {
    const auto relations = members(package, u"relations");
    ASSERT_EQ(relations.size(), plain.size());
    for (std::size_t i = 0; i < relations.size(); ++i) {
      EXPECT_EQ(relations[i]->getUuid(), relationUuid(package->getUuid(), plain[i].kind, plain[i].position));
      expectEnum(relations[i], u"kind", plain[i].kind);
      EXPECT_EQ(relations[i]->get<std::uint16_t>(u"position"), plain[i].position);
      const auto alternatives = members(relations[i], u"alternatives");
      ASSERT_EQ(alternatives.size(), plain[i].alternatives.size());
      for (std::size_t j = 0; j < alternatives.size(); ++j) {
        EXPECT_EQ(alternatives[j]->getUuid(), alternativeUuid(relations[i]->getUuid(), j));
        expectAlternative(alternatives[j], plain[i].alternatives[j]);
      }
    }
  }

  void expectAlternative(const ModelElement& alternative, const PlainAlternative& plain) const {
    expectReference(alternative, u"target", fPlain.names, plain.name, packageNameUuid);
    expectBytes(alternative, u"architecture", plain.architecture);
    expectEnum(alternative, u"operator", plain.op);
    expectVersion(alternative, u"version", plain.version);
    EXPECT_EQ(values<std::string>(alternative, u"architectures"), plain.architectures);
  }

  void expectFileTree() const {
    const FileTree& tree = fPlain.fileTree;
    const auto root = fDatabase->get<ModelElement>(u"root");
    ASSERT_EQ(static_cast<bool>(root), !tree.directories.empty());
    std::vector<ModelElement> directories;
    std::vector<std::size_t> children(tree.directories.size());
    for (const PlainDirectory& plain : tree.directories) {
      const bool isRoot = directories.empty();
      directories.push_back(isRoot ? root : memberNamed(directories[plain.parent], u"directories", plain.name));
      const Uuid uuid = isRoot ? rootDirectoryUuid() : directoryUuid(directories[plain.parent]->getUuid(), plain.name);
      expectNamed(directories.back(), u"Directory", uuid, plain.name);
      EXPECT_EQ(directories.back()->get<std::uint16_t>(u"depth"), plain.depth);
      expectOwners(directories.back(), plain.owners);
      if (!isRoot) ++children[plain.parent];
    }
    for (const PlainFile& plain : tree.files) {
      const ModelElement file = memberNamed(directories[plain.directory], u"files", plain.name);
      expectNamed(file, u"File", fileUuid(directories[plain.directory]->getUuid(), plain.name), plain.name);
      expectLiteral(file, u"role", static_cast<std::int64_t>(plain.role));
      expectBytes(file, u"md5", plain.md5);
      expectOwners(file, plain.owners);
      ++children[plain.directory];
    }
    for (std::size_t i = 0; i < directories.size(); ++i) {
      EXPECT_EQ(directories[i]->contents().size(), children[i]) << "nothing else lies in a directory";
    }
  }

  static ModelElement memberNamed(const ModelElement& parent, std::u16string_view property, const std::string& name) {
    const auto found = valueOf(parent, property).toElementCollection().findByQualifier(Value(utf8_to_ustring(name)));
    if (found.size() != 1) throw std::runtime_error("not one entry named " + name);
    return found.front();
  }

  void expectOwners(const ModelElement& entry, const std::vector<std::uint32_t>& plain) const {
    std::vector<ModelElement> expected;
    for (const std::uint32_t owner : plain) expected.push_back(fPackages.at(owner));
    EXPECT_EQ(members(entry, u"owners"), expected);
  }

  static void expectReference(const ModelElement& element, std::u16string_view property, const NameTable& table,
                              std::uint32_t index, Uuid (*uuidOf)(std::string_view)) {
    const auto target = element->get<ModelElement>(property);
    ASSERT_EQ(static_cast<bool>(target), index != kNoName);
    if (!target) return;
    EXPECT_EQ(target->getUuid(), uuidOf(table.at(index)));
  }

  template <class E>
  static void expectEnum(const ModelElement& element, std::u16string_view property, E expected) {
    expectLiteral(element, property, static_cast<std::int64_t>(expected));
  }
  static void expectLiteral(const ModelElement& element, std::u16string_view property, std::int64_t expected) {
    const Value value = valueOf(element, property);
    EXPECT_TRUE(value.hasObject()) << "also the first literal is set, not left out";
    EXPECT_EQ(value.get<std::int64_t>(), expected);
  }

  static void expectVersion(const ModelElement& element, std::u16string_view property, const DebianVersion& expected) {
    ASSERT_FALSE(isAbsent(element, property));
    const DebianVersion version = versionOf(element->get<ReflectiveDataType>(property));
    EXPECT_TRUE(version.isIdentical(expected)) << version.text() << " instead of " << expected.text();
  }

  static void expectText(const ModelElement& element, std::u16string_view property, const std::string& expected) {
    EXPECT_EQ(isAbsent(element, property), expected.empty());
    EXPECT_EQ(element->get<ustring>(property), utf8_to_ustring(expected));
  }
  static void expectBytes(const ModelElement& element, std::u16string_view property, const std::string& expected) {
    EXPECT_EQ(isAbsent(element, property), expected.empty());
    EXPECT_EQ(element->get<std::string>(property), expected);
  }

  static std::vector<ustring> textsOf(const std::vector<std::string>& plain) {
    std::vector<ustring> texts;
    for (const std::string& text : plain) texts.push_back(utf8_to_ustring(text));
    return texts;
  }

  const PlainDatabase& fPlain;
  ModelElement fDatabase;
  std::vector<ModelElement> fPackages;
};

TEST(DebianModel, HoldsEveryValueOfTheSample) {
  const PlainDatabase plain = readSample();
  const Model model = buildModel(plain);
  EXPECT_EQ(model->getElementCount(), elementCount(plain));
  ModelAgainstStructs(model, plain).expectSame();
}

TEST(DebianModel, HoldsEveryValueOfThisMachinesPackages) {
  if (!std::filesystem::exists("/var/lib/dpkg/status")) GTEST_SKIP() << "no package database on this machine";
  const PlainDatabase plain = readDatabase({});
  const Model model = buildModel(plain);
  EXPECT_EQ(model->getElementCount(), elementCount(plain));
  ModelAgainstStructs(model, plain).expectSame();
}

TEST(DebianModel, OfAnEmptyDatabaseIsOneElement) {
  const Model model = buildModel(PlainDatabase());
  EXPECT_THAT(model->getTopLevelElements(), SizeIs(1));
  EXPECT_EQ(model->getElementCount(), 1u);
  EXPECT_FALSE(rootOf(model)->get<ModelElement>(u"root"));
}

TEST(DebianModel, IsTheSameWheneverItIsBuilt) {
  const Model first = buildModel(readSample());
  const Model second = buildModel(readSample());
  const auto difference = tarn::kern::firstDifference(first, second);
  EXPECT_FALSE(difference) << difference->text();
}

/// One change of the sample, and the property where the comparison must find it.
struct Change {
  const char* property;
  std::function<void(PlainDatabase&)> make;
};

void PrintTo(const Change& change, std::ostream* out) { *out << change.property; }

class ChangedSample : public testing::TestWithParam<Change> {};

TEST_P(ChangedSample, GivesAnotherModel) {
  PlainDatabase changed = readSample();
  GetParam().make(changed);
  const auto difference = tarn::kern::firstDifference(buildModel(readSample()), buildModel(changed));
  ASSERT_TRUE(difference);
  EXPECT_THAT(difference->where, HasSubstr(GetParam().property));
}

PlainInstalledPackage& pen(PlainDatabase& plain) { return plain.packages.at(5); }
PlainArchivePackage& offered(PlainDatabase& plain) { return plain.archives.at(0).packages.at(0); }
PlainAlternative& paperAlternative(PlainDatabase& plain) { return offered(plain).relations.at(2).alternatives.at(0); }

const Change kChanges[] = {
    {"fingerprint", [](PlainDatabase& plain) { pen(plain).fingerprint.data[15] ^= 1; }},
    {"line", [](PlainDatabase& plain) { ++pen(plain).line; }},
    {"version", [](PlainDatabase& plain) { pen(plain).version = DebianVersion(2, "1.9.3", "5"); }},
    {"sourceVersion", [](PlainDatabase& plain) { pen(plain).sourceVersion = DebianVersion(2, "1.9.03", "4"); }},
    {"architecture", [](PlainDatabase& plain) { paperAlternative(plain).architecture = "native"; }},
    {"priority", [](PlainDatabase& plain) { pen(plain).priority = Priority::kExtra; }},
    {"multiArch", [](PlainDatabase& plain) { pen(plain).multiArch = MultiArch::kNo; }},
    {"essential", [](PlainDatabase& plain) { pen(plain).isEssential = true; }},
    {"protected", [](PlainDatabase& plain) { pen(plain).isProtected = true; }},
    {"installedSizeKiB", [](PlainDatabase& plain) { pen(plain).installedSizeKiB.reset(); }},
    {"synopsis", [](PlainDatabase& plain) { pen(plain).synopsis += "."; }},
    {"description", [](PlainDatabase& plain) { pen(plain).description.clear(); }},
    {"homepage", [](PlainDatabase& plain) { pen(plain).homepage += "x"; }},
    {"tags", [](PlainDatabase& plain) { std::swap(pen(plain).tags.at(0), pen(plain).tags.at(1)); }},
    {"otherFields", [](PlainDatabase& plain) { pen(plain).otherFields.at(0).second = "left"; }},
    {"section", [](PlainDatabase& plain) { pen(plain).section = 0; }},
    {"maintainer", [](PlainDatabase& plain) { pen(plain).maintainer = kNoName; }},
    {"source", [](PlainDatabase& plain) { pen(plain).source = 0; }},
    {"relations", [](PlainDatabase& plain) { pen(plain).relations.pop_back(); }},
    {"want", [](PlainDatabase& plain) { pen(plain).want = Want::kUnknown; }},
    {"flag", [](PlainDatabase& plain) { pen(plain).flag = Flag::kReinstReq; }},
    {"state", [](PlainDatabase& plain) { pen(plain).state = State::kUnpacked; }},
    {"installedAt", [](PlainDatabase& plain) { *pen(plain).installedAt += boost::posix_time::microseconds(1); }},
    {"configVersion", [](PlainDatabase& plain) { pen(plain).configVersion = DebianVersion(0, "0", ""); }},
    {"conffiles", [](PlainDatabase& plain) { pen(plain).conffiles.at(0).isObsolete ^= true; }},
    {"sizeBytes", [](PlainDatabase& plain) { ++*offered(plain).sizeBytes; }},
    {"fileName", [](PlainDatabase& plain) { offered(plain).fileName.clear(); }},
    {"md5", [](PlainDatabase& plain) { offered(plain).md5.clear(); }},
    {"sha256", [](PlainDatabase& plain) { offered(plain).sha256.back() = '0'; }},
    {"phasedUpdatePercentage", [](PlainDatabase& plain) { offered(plain).phasedUpdatePercentage = 100; }},
    {"target", [](PlainDatabase& plain) { paperAlternative(plain).name = 0; }},
    {"operator", [](PlainDatabase& plain) { paperAlternative(plain).op = VersionOperator::kLater; }},
    {"architectures", [](PlainDatabase& plain) { paperAlternative(plain).architectures.pop_back(); }},
    {"depth", [](PlainDatabase& plain) { ++plain.fileTree.directories.at(1).depth; }},
    {"owners", [](PlainDatabase& plain) { plain.fileTree.files.at(0).owners.clear(); }},
    {"role", [](PlainDatabase& plain) { plain.fileTree.files.at(0).role = FileRole::kUnlisted; }},
    {"md5", [](PlainDatabase& plain) { plain.fileTree.files.at(0).md5 = "0"; }},
};

INSTANTIATE_TEST_SUITE_P(EachProperty, ChangedSample, testing::ValuesIn(kChanges),
                         [](const auto& change) { return std::to_string(change.index) + "_" + change.param.property; });

PlainDatabase statusOf(const std::string& text) {
  PlainDatabase plain;
  std::istringstream in(text);
  readStatus(in, "given", plain);
  return plain;
}

const std::string kStanza = "Package: a\nStatus: install ok installed\nVersion: 1\n";

TEST(DebianModel, ReplacesWhatIsNoUtf8) {
  const Model model = buildModel(statusOf(kStanza + "Description: caf\xE9\nArchitecture: \xFF\nOdd: \xE9\n"));
  const auto package = members(rootOf(model), u"packages").at(0);
  EXPECT_EQ(package->get<ustring>(u"synopsis"), u"caf\uFFFD");
  EXPECT_EQ(package->get<std::string>(u"architecture"), "\xEF\xBF\xBD");
  EXPECT_EQ(valueOf(package, u"otherFields").toStringToStringMap().find(u"Odd")->second, u"\uFFFD");
}

TEST(DebianModel, LosesNoFieldWhoseNameIsNoUtf8) {
  const Model model = buildModel(statusOf(kStanza + "\xE9: first\n\xE8: second\n\xE7: third\n"));
  const auto package = members(rootOf(model), u"packages").at(0);
  const Value live = valueOf(package, u"otherFields");
  std::vector<ustring> texts;
  for (const auto& [name, value] : live.toStringToStringMap()) texts.push_back(name + u"=" + value);
  EXPECT_THAT(texts, ElementsAre(u"\uFFFD=first", u"\uFFFD\uFFFD=second", u"\uFFFD\uFFFD\uFFFD=third"));
}

TEST(DebianModel, TellsNamesApartThatLookAlike) {
  const Model model =
      buildModel(statusOf(kStanza + "Section: \xE9\n\nPackage: b\nStatus: install ok installed\nVersion: 1\n"
                                    "Section: \xE8\n"));
  EXPECT_THAT(members(rootOf(model), u"sections"), SizeIs(2));
  EXPECT_THAT(valueOf(rootOf(model), u"sections").toElementCollection().findByQualifier(Value(u"\uFFFD")), SizeIs(2));
}

TEST(DebianModel, FindsAPackageByItsKey) {
  const Model model = buildModel(readSample());
  const auto find = [&](const char16_t* key) {
    return valueOf(rootOf(model), u"packages").toElementCollection().findByQualifier(Value(key));
  };
  ASSERT_THAT(find(u"libquill1:i386"), SizeIs(1));
  EXPECT_EQ(find(u"libquill1:i386")[0]->getUuid(), installedPackageUuid("libquill1:i386"));
  EXPECT_THAT(find(u"libquill1"), IsEmpty());
}

TEST(DebianModel, FindsAllAddressesOfAMaintainer) {
  const Model model = buildModel(
      statusOf(kStanza + "Maintainer: A B <a@x.example>\n\nPackage: b\nStatus: install ok installed\nVersion: 1\n"
                         "Maintainer: A B <b@x.example>\n"));
  EXPECT_THAT(valueOf(rootOf(model), u"maintainers").toElementCollection().findByQualifier(Value(u"A B")), SizeIs(2));
}

TEST(DebianModel, KnowsWhoNeedsAPackage) {
  const Model model = buildModel(readSample());
  const auto name = model->findElement(packageNameUuid("parchment"), tarn::kern::FindElementBehavior::InMemory);
  ASSERT_TRUE(name);
  std::vector<ustring> users;
  for (const auto& incoming : name->incomingReferences()) {
    EXPECT_EQ(incoming.property, debianMetaModel().alternative.target);
    users.push_back(incoming.element->container()->container()->get<ustring>(u"key"));
  }
  std::sort(users.begin(), users.end());
  EXPECT_THAT(users, ElementsAre(u"paper:amd64", u"quillpen:amd64", u"quillpen:amd64=2:2.0-1"));
}

TEST(DebianModel, ComparesVersionsAsDpkgDoes) {
  const Model model =
      buildModel(statusOf("Package: a\nStatus: install ok installed\nVersion: 1.0~rc1-1\n"
                          "Config-Version: 1.0\nSource: s (1.00-0)\n"));
  const auto package = members(rootOf(model), u"packages").at(0);
  const auto version = package->get<ReflectiveDataType>(u"version");
  const auto configVersion = package->get<ReflectiveDataType>(u"configVersion");
  const auto sourceVersion = package->get<ReflectiveDataType>(u"sourceVersion");
  EXPECT_LT(versionOf(version), versionOf(configVersion));
  EXPECT_EQ(versionOf(configVersion), versionOf(sourceVersion));
  EXPECT_NE(configVersion, sourceVersion) << "as values they differ: their texts do";
}

TEST(DebianModel, CountsThePropertiesThatAFileHasARecordFor) {
  EXPECT_EQ(savedPropertyCount(buildModel(PlainDatabase())), 8u) << "name and the seven of Database";
  // Package name: 1. Source: 1. Installed package: name, 20 of all packages, 6 of its own; two show their default.
  EXPECT_EQ(savedPropertyCount(buildModel(statusOf(kStanza))), 8u + 1 + 1 + (1 + 20 + 6 - 2));
  EXPECT_EQ(savedPropertyCount(buildModel(statusOf(kStanza + "Essential: yes\n"))), 8u + 1 + 1 + (1 + 20 + 6 - 1));
}

TEST(DebianModel, KeepsTheHighestLineNumberThatItCan) {
  PlainDatabase plain = statusOf(kStanza);
  plain.packages[0].line = std::size_t{1} << 40;
  const Model model = buildModel(plain);
  EXPECT_EQ(members(rootOf(model), u"packages").at(0)->get<std::int32_t>(u"line"), 2147483647);
}

}  // namespace
}  // namespace debian_packages
