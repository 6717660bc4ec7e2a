#pragma once

#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ReadError.h"

namespace debian_packages {

/// The longest path a list may hold: one byte less than the system's PATH_MAX, which counts the final zero.
inline constexpr std::size_t kMaxPathBytes = 4095;

/// One line of a package's md5sums file.
struct FileDigest {
  std::string path;  ///< absolute
  std::string md5;   ///< 32 lower-case hexadecimal digits
};

/// Reads a package's .list: one absolute path a line, directories included. Paths come back without "." and empty
/// components, "/" for the root. `file` is used in errors: ReadError for an empty, relative or overlong path, for a
/// path with ".." and for a last line without its end.
std::vector<std::string> readFileList(std::istream& in, const std::string& file);

/// Reads a package's .md5sums: "digest  path" a line, the path without its leading slash. Throws ReadError as above,
/// and for a line without a digest.
std::vector<FileDigest> readMd5Sums(std::istream& in, const std::string& file);

/// The file that dpkg keeps about a package, such as its "list". A package that can be installed for several
/// architectures at once has the architecture in the file's name, others have not. None when there is no such file, or
/// when name or architecture could lead out of the directory.
std::optional<std::filesystem::path> findInfoFile(const std::filesystem::path& infoDirectory, std::string_view package,
                                                  std::string_view architecture, std::string_view kind);

}  // namespace debian_packages
