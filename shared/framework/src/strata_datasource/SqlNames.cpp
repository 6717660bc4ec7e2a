#include "SqlNames.h"

#include <cstddef>

#include <sqlite3.h>

namespace strata_datasource {

namespace {

constexpr std::size_t kLongestName = 100;  // room for a number behind it; nobody reads on

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool isNameCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || isDigit(c) || c == u'_';
}

/// Of ASCII letters only, as SQLite does it: no locale takes part.
std::string lowered(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string plainName(const bedrock::i18n::ustring& wanted) {
  std::string name;
  for (const char16_t c : wanted) {
    if (name.size() == kLongestName) break;
    name += isNameCharacter(c) ? static_cast<char>(c) : '_';
  }
  const bool isReserved = lowered(name).starts_with("sqlite_");
  if (name.empty() || isDigit(static_cast<char16_t>(name.front())) || isReserved) name.insert(0, 1, '_');
  if (sqlite3_keyword_check(name.data(), static_cast<int>(name.size())) != 0) name += '_';
  return name;
}

}  // namespace

std::string SqlNames::take(const bedrock::i18n::ustring& wanted) {
  const std::string plain = plainName(wanted);
  std::string name = plain;
  for (std::size_t number = 2; !add(name); ++number) name = plain + "_" + std::to_string(number);
  return name;
}

bool SqlNames::add(std::string_view name) { return fTaken.insert(lowered(name)).second; }
void SqlNames::release(std::string_view name) { fTaken.erase(lowered(name)); }
bool SqlNames::isTaken(std::string_view name) const { return fTaken.contains(lowered(name)); }

}  // namespace strata_datasource
