#include "AptLists.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_set>

#include "ChildProcess.h"
#include "ReadError.h"

namespace debian_packages {
namespace {

constexpr std::string_view kMark = "_Packages";
// What apt may leave its lists packed with. Other endings, such as .diff_Index, are no lists.
constexpr std::array<std::string_view, 7> kEndings = {"", ".lz4", ".xz", ".gz", ".bz2", ".zst", ".lzma"};

bool isListName(std::string_view name) {
  return std::any_of(kEndings.begin(), kEndings.end(), [&](std::string_view ending) {
    return name.ends_with(ending) && name.substr(0, name.size() - ending.size()).ends_with(kMark);
  });
}

}  // namespace

std::vector<std::filesystem::path> findPackageLists(const std::filesystem::path& listsDirectory) {
  std::vector<std::filesystem::path> lists;
  if (!std::filesystem::exists(listsDirectory)) return lists;
  for (const auto& entry : std::filesystem::directory_iterator(listsDirectory)) {
    if (isListName(entry.path().filename().native()) && entry.is_regular_file()) lists.push_back(entry.path());
  }
  std::sort(lists.begin(), lists.end());
  std::unordered_set<std::string> names;
  std::erase_if(lists, [&](const auto& list) { return !names.insert(packageListName(list)).second; });
  return lists;
}

std::string packageListName(const std::filesystem::path& list) {
  const std::string name = list.filename().native();
  return name.substr(0, name.rfind(kMark));
}

void readPackageList(const std::filesystem::path& list, const std::filesystem::path& helper,
                     const std::function<void(std::istream&, const std::string&)>& read) {
  ChildProcess process({helper.native(), "cat-file", list.native()});
  try {
    read(process.output(), list.native());
  } catch (const ReadError&) {
    // A helper that gave up in the middle of the list makes the reader complain first, but is the fault to report.
    process.finish();
    throw;
  }
  process.finish();
}

}  // namespace debian_packages
