#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "DebianVersion.h"
#include "FileTree.h"
#include "NameTable.h"
#include "NameUuids.h"
#include "PackageEnums.h"

/// Everything that is read of a package database, as plain structs: the ground the model is built from, and what tests
/// compare it with. All texts are the bytes of the files, so UTF-8 unless a package broke that rule.
namespace debian_packages {

/// In an index into one of the name tables: the package does not say.
inline constexpr std::uint32_t kNoName = std::numeric_limits<std::uint32_t>::max();

struct PlainAlternative {
  std::uint32_t name = kNoName;  ///< into PlainDatabase::names, never kNoName
  VersionOperator op = VersionOperator::kAny;
  std::string architecture;
  DebianVersion version;
  std::vector<std::string> architectures;
};

struct PlainRelation {
  RelationKind kind = RelationKind::kDepends;
  std::uint16_t position = 0;  ///< within its field
  std::vector<PlainAlternative> alternatives;
};

/// A configuration file of a package.
struct PlainConffile {
  std::string path;
  std::string md5;  ///< as shipped; empty for one that is not yet installed
  bool isObsolete = false;
  bool isRemovedOnUpgrade = false;
};

/// What installed packages and those in an archive have in common.
struct PlainPackage {
  std::string name;
  std::string architecture;  ///< may be empty
  DebianVersion version;     ///< empty for a package that was never installed
  std::uint32_t section = kNoName;
  std::uint32_t maintainer = kNoName;
  std::uint32_t source = kNoName;  ///< never kNoName: the package's own name where the stanza has no Source
  DebianVersion sourceVersion;     ///< the package's own version where Source has none
  Priority priority = Priority::kUnknown;
  MultiArch multiArch = MultiArch::kNo;
  bool isEssential = false;
  bool isProtected = false;
  std::optional<std::int64_t> installedSizeKiB;
  std::string synopsis;     ///< first line of Description
  std::string description;  ///< the other lines, without the blank in front and the dot of empty ones
  std::string homepage;
  std::vector<std::string> tags;
  std::vector<PlainRelation> relations;  ///< in the order of the fields and within them
  /// Fields that have no place above, and those whose value does not fit there (such as a size that is no number).
  std::vector<std::pair<std::string, std::string>> otherFields;
  Uuid fingerprint{};
  std::size_t line = 0;  ///< where the stanza begins
};

struct PlainInstalledPackage : PlainPackage {
  Want want = Want::kUnknown;
  Flag flag = Flag::kOk;
  State state = State::kNotInstalled;
  DebianVersion configVersion;  ///< last version that was configured, where that is not the current one
  std::optional<boost::posix_time::ptime> installedAt;  ///< UTC: when dpkg last wrote the package's file list
  std::vector<PlainConffile> conffiles;

  std::string key() const { return name + ':' + architecture; }  ///< unique within the database
};

struct PlainArchivePackage : PlainPackage {
  std::optional<std::uint64_t> sizeBytes;
  std::string fileName;
  std::string md5;
  std::string sha256;
  std::uint8_t phasedUpdatePercentage = 100;

  std::string key() const { return name + ':' + architecture + '=' + version.text(); }  ///< unique within its archive
};

struct PlainArchive {
  std::string name;
  std::vector<PlainArchivePackage> packages;
  std::size_t repeatedStanzas = 0;  ///< left out because an earlier one has the same key
};

struct PlainDatabase {
  NameTable names;  ///< of packages, installed or mentioned in a relation
  NameTable sections;
  NameTable maintainers;  ///< "Name <address>"
  NameTable sources;      ///< names of source packages
  std::vector<PlainInstalledPackage> packages;
  std::vector<PlainArchive> archives;
  FileTree fileTree;                  ///< owners are indices into packages; empty unless asked for
  std::vector<std::string> warnings;  ///< faults that cost no more than a package's file list or digests
};

struct ReadOptions {
  std::filesystem::path statusFile = "/var/lib/dpkg/status";
  std::filesystem::path
      infoDirectory;  ///< where the file lists are; empty for the directory "info" beside the status file
  bool readsFileLists = false;
  bool readsArchives = false;
  std::filesystem::path listsDirectory = "/var/lib/apt/lists";
  std::filesystem::path aptHelper = "/usr/lib/apt/apt-helper";
};

/// Reads what the options ask for. Throws ReadError for a file that cannot be read or parsed, ProcessError when a
/// package list cannot be unpacked.
PlainDatabase readDatabase(const ReadOptions& options);

/// Appends the packages of a status file. Throws ReadError, also for a package that is there already; what was appended
/// until then stays.
void readStatus(std::istream& in, const std::string& file, PlainDatabase& database);

/// Appends an archive of this name with the packages of one package list. Throws ReadError.
void readArchive(std::istream& in, const std::string& file, std::string name, PlainDatabase& database);

/// The number of elements that a model of the database has: one for the database itself and one for each name, package,
/// relation, alternative, archive, directory and file.
std::size_t elementCount(const PlainDatabase& database);

/// "Name <address>" in its two parts; the address is empty where there is none.
std::pair<std::string, std::string> splitMaintainer(const std::string& maintainer);

}  // namespace debian_packages
