#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include <bedrock/i18n.h>

namespace strata_datasource {

/// The names of one scope of SQL: the tables of a file, or the columns of a table. SQL compares names ignoring the case
/// of ASCII letters, and a person wants to type them without quotes; a meta-model knows neither restriction.
class SqlNames {
 public:
  /// A name that nobody has yet and that needs no quotes, as close to `wanted` as can be: what is no ASCII letter,
  /// digit or underscore becomes an underscore, a keyword gets one behind it, and what is taken gets a number.
  [[nodiscard]] std::string take(const bedrock::i18n::ustring& wanted);
  /// Marks a name as taken, whatever it is. @return false when it was.
  bool add(std::string_view name);
  void release(std::string_view name);
  [[nodiscard]] bool isTaken(std::string_view name) const;

 private:
  std::unordered_set<std::string> fTaken;  // in lower case
};

}  // namespace strata_datasource
