#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace debian_packages {

/// What dpkg knows of a file's content. kUnlisted are links, empty directories and files that no digest was kept of:
/// the lists do not tell these apart.
enum class FileRole { kUnlisted, kShipped, kConffile };

struct PlainDirectory {
  std::string name;          ///< empty for the root
  std::uint32_t parent = 0;  ///< index into FileTree::directories, smaller than the own index but for the root
  std::uint16_t depth = 0;   ///< 0 for the root; paths of at most 4,095 bytes cannot exceed it
  std::vector<std::uint32_t> owners;
};

struct PlainFile {
  std::string name;
  std::uint32_t directory = 0;  ///< index into FileTree::directories
  FileRole role = FileRole::kUnlisted;
  std::string md5;                    ///< 32 hexadecimal digits, or empty
  std::vector<std::uint32_t> owners;  ///< several packages may share a file
};

/// One path as one package lists it.
struct FileListEntry {
  std::string path;  ///< absolute, without "." and empty components
  std::uint32_t owner = 0;
  FileRole role = FileRole::kUnlisted;
  std::string md5;
};

/// The files of all packages as a tree. A path is a directory when another path leads through it, else a file.
/// Invariants: directories[0] is the root unless the tree is empty; a directory stands behind its parent; names are
/// unique within their directory; owners are in the order of the entries, each once.
struct FileTree {
  std::vector<PlainDirectory> directories;
  std::vector<PlainFile> files;
};

/// Directories that no package lists but that lie on the way to a file become directories without owners. Of a file
/// that several packages list, the first digest counts.
FileTree buildFileTree(std::vector<FileListEntry> entries);

}  // namespace debian_packages
