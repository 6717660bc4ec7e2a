#pragma once

#include <optional>
#include <string_view>

/// The closed word lists of the package files. Each enumeration has two functions: text() gives the word as the files
/// spell it, and parse...() the value of a word in any case, or none. The number 0 is what a package has that does not
/// say.
namespace debian_packages {

/// First word of Status: what was asked for.
enum class Want { kUnknown, kInstall, kHold, kDeinstall, kPurge };
/// Second word of Status: whether the package is broken so badly that it must be installed anew.
enum class Flag { kOk, kReinstReq };
/// Third word of Status: how far the package has come.
enum class State {
  kNotInstalled,
  kConfigFiles,
  kHalfInstalled,
  kUnpacked,
  kHalfConfigured,
  kTriggersAwaited,
  kTriggersPending,
  kInstalled
};
/// kOther stands for a word that is none of dpkg's, which a package may well use.
enum class Priority { kUnknown, kRequired, kImportant, kStandard, kOptional, kExtra, kOther };
enum class MultiArch { kNo, kSame, kForeign, kAllowed };
enum class RelationKind {
  kDepends,
  kPreDepends,
  kRecommends,
  kSuggests,
  kEnhances,
  kBreaks,
  kConflicts,
  kReplaces,
  kProvides
};
/// kAny is a relation without a version.
enum class VersionOperator { kAny, kEarlier, kEarlierOrEqual, kEqual, kLaterOrEqual, kLater };

std::string_view text(Want value);
std::string_view text(Flag value);
std::string_view text(State value);
std::string_view text(Priority value);
std::string_view text(MultiArch value);
std::string_view text(RelationKind value);     ///< the name of the field, such as "Pre-Depends"
std::string_view text(VersionOperator value);  ///< "", "<<", "<=", "=", ">=", ">>"

std::optional<Want> parseWant(std::string_view word);
std::optional<Flag> parseFlag(std::string_view word);
std::optional<State> parseState(std::string_view word);
std::optional<Priority> parsePriority(std::string_view word);  ///< never kOther, which has no word
std::optional<MultiArch> parseMultiArch(std::string_view word);
std::optional<RelationKind> parseRelationKind(std::string_view fieldName);
/// Besides its own words also "<" and ">", which old packages use and dpkg reads as "<=" and ">=".
std::optional<VersionOperator> parseVersionOperator(std::string_view sign);

}  // namespace debian_packages
