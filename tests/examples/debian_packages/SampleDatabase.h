#pragma once

#include <filesystem>

#include "PlainDatabase.h"
#include "TestSupport.h"

namespace debian_packages {

inline const std::filesystem::path kSample = DEBIAN_PACKAGES_SAMPLE;

/// What stands in for apt's helper: the sample's list is not compressed.
inline std::filesystem::path writeHelper(const TempDirectory& directory) {
  return directory.writeProgram("helper", "exec cat \"$2\"");
}

/// The sample with its file lists and its archive.
inline PlainDatabase readSample() {
  const TempDirectory directory;
  ReadOptions options;
  options.statusFile = kSample / "status";
  options.readsFileLists = true;
  options.readsArchives = true;
  options.listsDirectory = kSample / "lists";
  options.aptHelper = writeHelper(directory);
  return readDatabase(options);
}

}  // namespace debian_packages
