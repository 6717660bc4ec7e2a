#include "PackageEnums.h"

#include <array>
#include <cstddef>

#include "Ascii.h"

namespace debian_packages {
namespace {

// The words of each enumeration, in the order of its numbers.
constexpr std::array<std::string_view, 5> kWants = {"unknown", "install", "hold", "deinstall", "purge"};
constexpr std::array<std::string_view, 2> kFlags = {"ok", "reinstreq"};
constexpr std::array<std::string_view, 8> kStates = {"not-installed",    "config-files",    "half-installed",
                                                     "unpacked",         "half-configured", "triggers-awaited",
                                                     "triggers-pending", "installed"};
constexpr std::array<std::string_view, 7> kPriorities = {"unknown",  "required", "important", "standard",
                                                         "optional", "extra",    "other"};
constexpr std::array<std::string_view, 4> kMultiArchs = {"no", "same", "foreign", "allowed"};
constexpr std::array<std::string_view, 9> kRelationKinds = {
    "Depends", "Pre-Depends", "Recommends", "Suggests", "Enhances", "Breaks", "Conflicts", "Replaces", "Provides"};
constexpr std::array<std::string_view, 6> kVersionOperators = {"", "<<", "<=", "=", ">=", ">>"};

template <class E, std::size_t N>
std::string_view wordOf(E value, const std::array<std::string_view, N>& words) {
  return words.at(static_cast<std::size_t>(value));
}

template <class E, std::size_t N>
std::optional<E> valueOf(std::string_view word, const std::array<std::string_view, N>& words) {
  for (std::size_t i = 0; i < N; ++i) {
    if (equalIgnoringCase(word, words[i])) return static_cast<E>(i);
  }
  return std::nullopt;
}

}  // namespace

std::string_view text(Want value) { return wordOf(value, kWants); }
std::string_view text(Flag value) { return wordOf(value, kFlags); }
std::string_view text(State value) { return wordOf(value, kStates); }
std::string_view text(Priority value) { return wordOf(value, kPriorities); }
std::string_view text(MultiArch value) { return wordOf(value, kMultiArchs); }
std::string_view text(RelationKind value) { return wordOf(value, kRelationKinds); }
std::string_view text(VersionOperator value) { return wordOf(value, kVersionOperators); }

std::optional<Want> parseWant(std::string_view word) { return valueOf<Want>(word, kWants); }
std::optional<Flag> parseFlag(std::string_view word) { return valueOf<Flag>(word, kFlags); }
std::optional<State> parseState(std::string_view word) { return valueOf<State>(word, kStates); }

std::optional<Priority> parsePriority(std::string_view word) {
  const std::optional<Priority> priority = valueOf<Priority>(word, kPriorities);
  return priority == Priority::kOther ? std::nullopt : priority;
}

std::optional<MultiArch> parseMultiArch(std::string_view word) { return valueOf<MultiArch>(word, kMultiArchs); }

std::optional<RelationKind> parseRelationKind(std::string_view fieldName) {
  return valueOf<RelationKind>(fieldName, kRelationKinds);
}

std::optional<VersionOperator> parseVersionOperator(std::string_view sign) {
  if (sign == "<") return VersionOperator::kEarlierOrEqual;
  if (sign == ">") return VersionOperator::kLaterOrEqual;
  return valueOf<VersionOperator>(sign, kVersionOperators);
}

}  // namespace debian_packages
