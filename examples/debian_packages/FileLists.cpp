#include "FileLists.h"

#include <algorithm>

#include "Ascii.h"
#include "Relations.h"

namespace debian_packages {
namespace {

constexpr std::size_t kMd5Digits = 32;

/// Calls `take(line, lineNumber)` for each line. The line's end is not part of it.
template <class Take>
void forEachLine(std::istream& in, const std::string& file, Take take) {
  std::string line;
  std::size_t number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (in.eof()) throw ReadError(file, number, "the last line lacks its end, so the file may have been cut short");
    take(std::string_view(line), number);
  }
  if (in.bad()) throw ReadError(file, 0, "reading failed behind line " + std::to_string(number));
}

/// "/" and the components of `relative`, without "." and empty ones.
std::string absolutePath(std::string_view relative, const std::string& file, std::size_t line) {
  std::string path;
  path.reserve(relative.size() + 1);
  while (!relative.empty()) {
    const std::size_t slash = std::min(relative.find('/'), relative.size());
    const std::string_view component = relative.substr(0, slash);
    relative.remove_prefix(std::min(slash + 1, relative.size()));
    if (component.empty() || component == ".") continue;
    if (component == "..") throw ReadError(file, line, "path with '..'");
    path.append(1, '/').append(component);
  }
  if (path.size() > kMaxPathBytes) throw ReadError(file, line, "path of " + std::to_string(path.size()) + " bytes");
  return path.empty() ? "/" : path;
}

FileDigest parseDigestLine(std::string_view line, const std::string& file, std::size_t number) {
  const std::string_view digest = line.substr(0, kMd5Digits);
  const bool isDigest = digest.size() == kMd5Digits && std::all_of(digest.begin(), digest.end(), isHexDigit);
  // Behind the digest a blank, then a blank or an asterisk for text or binary mode.
  if (!isDigest || line.size() < kMd5Digits + 3 || line[kMd5Digits] != ' ' ||
      (line[kMd5Digits + 1] != ' ' && line[kMd5Digits + 1] != '*')) {
    throw ReadError(file, number, "expected an MD5 digest, two blanks and a path");
  }
  return {absolutePath(line.substr(kMd5Digits + 2), file, number), toLower(digest)};
}

}  // namespace

std::vector<std::string> readFileList(std::istream& in, const std::string& file) {
  std::vector<std::string> paths;
  forEachLine(in, file, [&](std::string_view line, std::size_t number) {
    if (line.empty()) throw ReadError(file, number, "empty file name");
    if (line.front() != '/') throw ReadError(file, number, "file name does not begin with '/'");
    paths.push_back(absolutePath(line, file, number));
  });
  return paths;
}

std::vector<FileDigest> readMd5Sums(std::istream& in, const std::string& file) {
  std::vector<FileDigest> digests;
  forEachLine(in, file, [&](std::string_view line, std::size_t number) {
    digests.push_back(parseDigestLine(line, file, number));
  });
  return digests;
}

std::optional<std::filesystem::path> findInfoFile(const std::filesystem::path& infoDirectory, std::string_view package,
                                                  std::string_view architecture, std::string_view kind) {
  if (packageNameFault(package)) return std::nullopt;
  const std::string name(package);
  const std::string ending = '.' + std::string(kind);
  std::error_code ignored;  // a file that cannot be looked at is as good as none
  if (isArchitectureName(architecture)) {
    const auto qualified = infoDirectory / (name + ':' + std::string(architecture) + ending);
    if (std::filesystem::is_regular_file(qualified, ignored)) return qualified;
  }
  const auto plain = infoDirectory / (name + ending);
  if (std::filesystem::is_regular_file(plain, ignored)) return plain;
  return std::nullopt;
}

}  // namespace debian_packages
