#include "PlainDatabase.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <unordered_map>
#include <unordered_set>

#include <boost/date_time/posix_time/conversion.hpp>

#include <sys/stat.h>

#include "AptLists.h"
#include "Ascii.h"
#include "FileLists.h"
#include "PackageStanza.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;

std::ifstream openFile(const fs::path& file) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) throw ReadError(file.native(), 0, std::string("cannot be opened: ") + std::strerror(errno));
  return in;
}

/// When the file was last written, in UTC; none where that is outside the years 1970 to 9999.
std::optional<boost::posix_time::ptime> modificationTime(const fs::path& file) {
  constexpr std::int64_t kYear10000 = 253402300800;
  constexpr long kNanosPerMicro = 1000;
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) return std::nullopt;
  if (status.st_mtim.tv_sec < 0 || status.st_mtim.tv_sec >= kYear10000) return std::nullopt;
  return boost::posix_time::from_time_t(status.st_mtim.tv_sec) +
         boost::posix_time::microseconds(status.st_mtim.tv_nsec / kNanosPerMicro);
}

/// Runs `read`; a fault in the file becomes a warning.
template <class Read>
void readOrWarn(PlainDatabase& database, Read read) {
  try {
    read();
  } catch (const ReadError& e) {
    database.warnings.emplace_back(e.what());
  }
}

/// Collects the file lists of all packages.
class FileListCollector {
 public:
  FileListCollector(const fs::path& infoDirectory, PlainDatabase& database)
      : fInfoDirectory(infoDirectory), fDatabase(database) {}

  void collect() {
    for (std::uint32_t i = 0; i < fDatabase.packages.size(); ++i) {
      readOrWarn(fDatabase, [&] { collectPackage(i); });
    }
    fDatabase.fileTree = buildFileTree(std::move(fEntries));
  }

 private:
  void collectPackage(std::uint32_t index) {
    const PlainInstalledPackage& package = fDatabase.packages[index];
    const auto list = findInfoFile(fInfoDirectory, package.name, package.architecture, "list");
    if (!list) {
      if (package.state == State::kInstalled) fDatabase.warnings.push_back(package.key() + " has no file list");
      return;
    }
    auto in = openFile(*list);
    std::vector<std::string> paths = readFileList(in, list->native());
    readDigests(package);
    for (std::string& path : paths) {
      FileListEntry entry;
      entry.owner = index;
      if (const auto found = fDigests.find(path); found != fDigests.end()) {
        entry.role = found->second.role;
        entry.md5 = found->second.md5;
      }
      entry.path = std::move(path);
      fEntries.push_back(std::move(entry));
    }
  }

  void readDigests(const PlainInstalledPackage& package) {
    fDigests.clear();
    for (const PlainConffile& conffile : package.conffiles) {
      fDigests[conffile.path] = {FileRole::kConffile, conffile.md5};
    }
    const auto file = findInfoFile(fInfoDirectory, package.name, package.architecture, "md5sums");
    if (!file) return;
    readOrWarn(fDatabase, [&] {
      auto in = openFile(*file);
      for (FileDigest& digest : readMd5Sums(in, file->native())) {
        fDigests.try_emplace(std::move(digest.path), Digest{FileRole::kShipped, std::move(digest.md5)});
      }
    });
  }

  struct Digest {
    FileRole role = FileRole::kUnlisted;
    std::string md5;
  };

  const fs::path& fInfoDirectory;
  PlainDatabase& fDatabase;
  std::vector<FileListEntry> fEntries;
  std::unordered_map<std::string, Digest> fDigests;  // of the current package, by path
};

void readInstallTimes(const fs::path& infoDirectory, PlainDatabase& database) {
  for (PlainInstalledPackage& package : database.packages) {
    if (const auto list = findInfoFile(infoDirectory, package.name, package.architecture, "list")) {
      package.installedAt = modificationTime(*list);
    }
  }
}

std::size_t elementCount(const PlainPackage& package) {
  std::size_t count = 1 + package.relations.size();
  for (const PlainRelation& relation : package.relations) count += relation.alternatives.size();
  return count;
}

}  // namespace

void readStatus(std::istream& in, const std::string& file, PlainDatabase& database) {
  std::unordered_set<std::string> keys;
  for (const PlainInstalledPackage& package : database.packages) keys.insert(package.key());
  ControlReader reader(in, file);
  Stanza stanza;
  while (reader.next(stanza)) {
    PlainInstalledPackage package = readInstalledPackage(stanza, file, database);
    if (!keys.insert(package.key()).second)
      throw ReadError(file, stanza.line, "package " + package.key() + " is there twice");
    database.packages.push_back(std::move(package));
  }
}

void readArchive(std::istream& in, const std::string& file, std::string name, PlainDatabase& database) {
  PlainArchive archive;
  archive.name = std::move(name);
  std::unordered_set<std::string> keys;
  ControlReader reader(in, file);
  Stanza stanza;
  while (reader.next(stanza)) {
    PlainArchivePackage package = readArchivePackage(stanza, file, database);
    if (keys.insert(package.key()).second) {
      archive.packages.push_back(std::move(package));
    } else {
      ++archive.repeatedStanzas;
    }
  }
  database.archives.push_back(std::move(archive));
}

PlainDatabase readDatabase(const ReadOptions& options) {
  PlainDatabase database;
  auto status = openFile(options.statusFile);
  readStatus(status, options.statusFile.native(), database);

  const fs::path infoDirectory =
      options.infoDirectory.empty() ? options.statusFile.parent_path() / "info" : options.infoDirectory;
  readInstallTimes(infoDirectory, database);
  if (options.readsFileLists) FileListCollector(infoDirectory, database).collect();
  if (options.readsArchives) {
    for (const fs::path& list : findPackageLists(options.listsDirectory)) {
      readPackageList(list, options.aptHelper, [&](std::istream& in, const std::string& file) {
        readArchive(in, file, packageListName(list), database);
      });
    }
  }
  return database;
}

std::size_t elementCount(const PlainDatabase& database) {
  std::size_t count = 1 + database.names.size() + database.sections.size() + database.maintainers.size() +
                      database.sources.size() + database.archives.size() + database.fileTree.directories.size() +
                      database.fileTree.files.size();
  for (const PlainInstalledPackage& package : database.packages) count += elementCount(package);
  for (const PlainArchive& archive : database.archives) {
    for (const PlainArchivePackage& package : archive.packages) count += elementCount(package);
  }
  return count;
}

std::pair<std::string, std::string> splitMaintainer(const std::string& maintainer) {
  const std::size_t open = maintainer.rfind('<');
  if (open == std::string::npos || maintainer.back() != '>') return {maintainer, ""};
  return {std::string(trimmed(std::string_view(maintainer).substr(0, open))),
          maintainer.substr(open + 1, maintainer.size() - open - 2)};
}

}  // namespace debian_packages
