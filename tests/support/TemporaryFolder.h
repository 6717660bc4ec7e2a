#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

namespace testsupport {

/// A folder of its own for one test, removed with all it holds. Its name is not ASCII, since users' folders are not.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nimbo-földer-ж-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    fPath = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::permissions(fPath, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(fPath, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return fPath; }
  [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return fPath / name; }
  /// The path of a file in it as the libraries take it.
  [[nodiscard]] std::u16string file(const std::u16string& name) const { return fPath.u16string() + u"/" + name; }

  /// The names in the folder, sorted.
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(fPath)) names.insert(entry.path().filename().string());
    return names;
  }

 private:
  std::filesystem::path fPath;
};

inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios_base::binary);
  if (!stream) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream stream(path, std::ios_base::binary);
  stream << bytes;
  if (!stream.flush()) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace testsupport
