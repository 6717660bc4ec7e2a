#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Runs the tool as a user does: as a process, from a shell where that matters.
namespace tool_test {

struct Outcome {
  int code = 0;  ///< exit code; 128 + the signal's number where one ended it
  std::string out;
  std::string err;
};

/// A scratch folder with the process's files, gone with the object.
class Scratch {
 public:
  Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch();

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return fPath; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return (fPath / name).string(); }
  /// Names in the folder, sorted.
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::filesystem::path fPath;
};

/// Runs a shell line in the scratch folder; "nimbo" in it is the tool that was built.
[[nodiscard]] Outcome shell(const Scratch& scratch, const std::string& line);

[[nodiscard]] std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace tool_test
