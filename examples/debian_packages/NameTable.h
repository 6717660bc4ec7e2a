#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace debian_packages {

/// Gives each different text a number, counted from 0 in the order of first use. A text is stored once however often it
/// is used: an archive's relations name a few ten thousand packages a million times.
/// Moving a table keeps its texts where they are; it cannot be copied.
class NameTable {
 public:
  NameTable() = default;
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;
  NameTable(NameTable&&) noexcept = default;
  NameTable& operator=(NameTable&&) noexcept = default;
  ~NameTable() = default;

  std::uint32_t intern(std::string_view name) {
    if (const auto found = fNumbers.find(name); found != fNumbers.end()) return found->second;
    const auto number = static_cast<std::uint32_t>(fNames.size());
    fNames.push_back(&fNumbers.emplace(name, number).first->first);
    return number;
  }

  const std::string& at(std::uint32_t number) const { return *fNames.at(number); }
  std::size_t size() const noexcept { return fNames.size(); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };

  std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> fNumbers;
  std::vector<const std::string*> fNames;  // points into fNumbers, whose nodes never move
};

}  // namespace debian_packages
