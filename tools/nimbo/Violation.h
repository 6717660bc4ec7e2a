#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nimbo_tool {

/// Something in a file that breaks a rule.
struct Violation {
  std::string rule;                     ///< such as "bounds.lower"; the manual lists them
  std::optional<std::uint64_t> offset;  ///< in the payload of a binary stream
  std::string where;                    ///< element and property; empty where the offset says it all
  std::string text;
};

/// Keeps the violations of a file; beyond a number that nobody reads on, they are only counted.
class Violations {
 public:
  void add(Violation violation) {
    ++fCount;
    if (fKept.size() < kKept) fKept.push_back(std::move(violation));
  }
  [[nodiscard]] std::uint64_t count() const noexcept { return fCount; }
  [[nodiscard]] const std::vector<Violation>& kept() const noexcept { return fKept; }

 private:
  static constexpr std::size_t kKept = 1000;
  std::uint64_t fCount = 0;
  std::vector<Violation> fKept;
};

}  // namespace nimbo_tool
