#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ControlFile.h"

namespace debian_packages {

/// A directory of the test's own, gone with the object.
class TempDirectory {
 public:
  TempDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "debian_packages_XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    fPath = name;
  }
  ~TempDirectory() { std::filesystem::remove_all(fPath); }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& path() const { return fPath; }

  std::filesystem::path write(const std::string& name, const std::string& content) const {
    const auto file = fPath / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

  /// A shell script that can be run.
  std::filesystem::path writeProgram(const std::string& name, const std::string& commands) const {
    const auto file = write(name, "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file;
  }

 private:
  std::filesystem::path fPath;
};

/// All stanzas of a text that stands for the file "given".
inline std::vector<Stanza> stanzasOf(const std::string& text) {
  std::istringstream in(text);
  ControlReader reader(in, "given");
  std::vector<Stanza> stanzas;
  Stanza stanza;
  while (reader.next(stanza)) stanzas.push_back(stanza);
  return stanzas;
}

/// The message of the exception of type E that `action` throws.
template <class E, class Action>
std::string messageOf(Action action) {
  try {
    action();
  } catch (const E& e) {
    return e.what();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

}  // namespace debian_packages
