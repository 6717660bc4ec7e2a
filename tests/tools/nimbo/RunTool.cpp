#include "RunTool.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <sys/wait.h>

namespace tool_test {

Scratch::Scratch() {
  std::string pattern = (std::filesystem::temp_directory_path() / "nimbo-tool-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch folder");
  fPath = pattern;
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(fPath, ignored);
}

std::vector<std::string> Scratch::names() const {
  std::vector<std::string> result;
  for (const auto& entry : std::filesystem::directory_iterator(fPath))
    result.push_back(entry.path().filename().string());
  std::sort(result.begin(), result.end());
  return result;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return std::move(content).str();
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

Outcome shell(const Scratch& scratch, const std::string& line) {
  const Scratch captured;
  const std::string command = "cd '" + scratch.path().string() + "' && nimbo() { '" NIMBO_TOOL "' \"$@\"; } && { " +
                              line + "\n} > '" + (captured / "out") + "' 2> '" + (captured / "err") + "'";
  writeFile(captured / "line", command);
  const int status = std::system(("bash '" + (captured / "line") + "'").c_str());
  Outcome outcome;
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  outcome.out = readFile(captured / "out");
  outcome.err = readFile(captured / "err");
  return outcome;
}

}  // namespace tool_test
