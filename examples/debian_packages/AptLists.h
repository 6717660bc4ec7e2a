#pragma once

#include <filesystem>
#include <functional>
#include <istream>
#include <string>
#include <vector>

namespace debian_packages {

/// The package lists that apt has fetched into a directory: files named ..._Packages, compressed or not, by name. Of a
/// list that is there twice, compressed in two ways, the first by name. A directory that does not exist holds none; one
/// that cannot be read throws std::filesystem::filesystem_error.
std::vector<std::filesystem::path> findPackageLists(const std::filesystem::path& listsDirectory);

/// What a list is called whichever way it is compressed: its file's name up to "_Packages".
std::string packageListName(const std::filesystem::path& list);

/// Runs `helper` (apt-helper) to unpack a list and hands its text to `read`, along with the list's path for errors.
/// Throws ProcessError when the helper cannot be run or fails, also where `read` failed for that reason; else what
/// `read` throws.
void readPackageList(const std::filesystem::path& list, const std::filesystem::path& helper,
                     const std::function<void(std::istream&, const std::string&)>& read);

}  // namespace debian_packages
