#include "FileTree.h"

#include <algorithm>
#include <string_view>

namespace debian_packages {
namespace {

/// Orders paths so that everything in a directory follows right behind it: the slash before all other bytes.
bool isBefore(std::string_view a, std::string_view b) {
  const auto rank = [](char c) { return c == '/' ? 0 : static_cast<unsigned char>(c) + 1; };
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [&](char x, char y) { return rank(x) < rank(y); });
}

bool leadsThrough(std::string_view directory, std::string_view path) {
  return path.size() > directory.size() && path[directory.size()] == '/' && path.starts_with(directory);
}

void addOwner(std::vector<std::uint32_t>& owners, std::uint32_t owner) {
  if (std::find(owners.rbegin(), owners.rend(), owner) == owners.rend()) owners.push_back(owner);
}

/// Takes paths in the order of isBefore and keeps the directories on the way to the latest one open.
class TreeBuilder {
 public:
  TreeBuilder() {
    fTree.directories.emplace_back();
    fOpen.push_back({std::string(), 0});
  }

  /// The root is the empty path here, so that every path below begins with its directory's path and a slash.
  PlainDirectory& directoryAt(std::string_view path) {
    while (fOpen.back().path != path && !leadsThrough(fOpen.back().path, path)) fOpen.pop_back();
    while (fOpen.back().path != path) openNext(path);
    return fTree.directories[fOpen.back().index];
  }

  PlainFile& addFile(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    directoryAt(path.substr(0, slash));
    PlainFile& file = fTree.files.emplace_back();
    file.name = path.substr(slash + 1);
    file.directory = fOpen.back().index;
    return file;
  }

  FileTree take() { return std::move(fTree); }

 private:
  struct OpenDirectory {
    std::string path;
    std::uint32_t index;
  };

  /// Opens the directory one level further down on the way to `path`.
  void openNext(std::string_view path) {
    const std::size_t begin = fOpen.back().path.size() + 1;
    const std::string_view next = path.substr(0, path.find('/', begin));
    const std::uint32_t parent = fOpen.back().index;
    PlainDirectory directory;
    directory.name = next.substr(begin);
    directory.parent = parent;
    directory.depth = static_cast<std::uint16_t>(fTree.directories[parent].depth + 1);
    fOpen.push_back({std::string(next), static_cast<std::uint32_t>(fTree.directories.size())});
    fTree.directories.push_back(std::move(directory));
  }

  FileTree fTree;
  std::vector<OpenDirectory> fOpen;  // the root and the directories down to the latest path; never empty
};

using EntryIterator = std::vector<FileListEntry>::iterator;

/// Adds the entries of one path, which begin at `begin` and end before `end`.
void addPath(TreeBuilder& builder, EntryIterator begin, EntryIterator end, bool isDirectory) {
  if (isDirectory) {
    auto& owners = builder.directoryAt(begin->path).owners;
    std::for_each(begin, end, [&](const FileListEntry& entry) { addOwner(owners, entry.owner); });
    return;
  }
  PlainFile& file = builder.addFile(begin->path);
  for (auto entry = begin; entry != end; ++entry) {
    addOwner(file.owners, entry->owner);
    if (file.role == FileRole::kUnlisted) file.role = entry->role;
    if (file.md5.empty()) file.md5 = std::move(entry->md5);
  }
}

}  // namespace

FileTree buildFileTree(std::vector<FileListEntry> entries) {
  if (entries.empty()) return {};
  for (FileListEntry& entry : entries) {
    if (entry.path == "/") entry.path.clear();
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const FileListEntry& a, const FileListEntry& b) { return isBefore(a.path, b.path); });
  TreeBuilder builder;
  for (auto begin = entries.begin(); begin != entries.end();) {
    const auto end = std::find_if(begin, entries.end(), [&](const FileListEntry& e) { return e.path != begin->path; });
    const bool isDirectory = begin->path.empty() || (end != entries.end() && leadsThrough(begin->path, end->path));
    addPath(builder, begin, end, isDirectory);
    begin = end;
  }
  return builder.take();
}

}  // namespace debian_packages
