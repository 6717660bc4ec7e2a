#include "Relations.h"

#include <algorithm>

#include "Ascii.h"

namespace debian_packages {
namespace {

bool allowsAlternatives(RelationKind kind) {
  switch (kind) {
    case RelationKind::kDepends:
    case RelationKind::kPreDepends:
    case RelationKind::kRecommends:
    case RelationKind::kSuggests:
    case RelationKind::kEnhances:
      return true;
    case RelationKind::kBreaks:
    case RelationKind::kConflicts:
    case RelationKind::kReplaces:
    case RelationKind::kProvides:
      return false;
  }
  return false;
}

/// One pass over a field's value. Invariant: fAt <= fText.size().
class RelationParser {
 public:
  RelationParser(std::string_view text, RelationKind kind) : fText(text), fKind(kind) {}

  std::vector<Relation> parse() {
    std::vector<Relation> relations;
    skipSpace();
    if (atEnd()) return relations;
    do {
      relations.push_back(parseRelation());
    } while (take(','));
    if (!atEnd()) fail("syntax error after reference to package '" + relations.back().alternatives.back().name + "'");
    return relations;
  }

 private:
  Relation parseRelation() {
    Relation relation;
    do {
      relation.alternatives.push_back(parseAlternative());
    } while (takeBar());
    return relation;
  }

  Alternative parseAlternative() {
    Alternative alternative;
    skipSpace();
    const std::size_t begin = fAt;
    alternative.name = toLower(takeUntil(":,|([<"));
    if (alternative.name.empty()) fail("missing package name, or garbage where package name expected");
    if (const auto fault = packageNameFault(alternative.name)) {
      fAt = begin;
      fail("invalid package name '" + alternative.name + "': " + *fault);
    }
    if (!atEnd() && fText[fAt] == ':') alternative.architecture = parseArchitecture(alternative.name);
    if (take('(')) parseVersion(alternative);
    if (take('[')) parseArchitectures(alternative);
    skipSpace();
    return alternative;
  }

  std::string parseArchitecture(const std::string& name) {
    ++fAt;  // the colon
    const std::string_view architecture = takeUntil(",|([<");
    if (architecture.empty()) fail("missing architecture name, or garbage where architecture name expected");
    if (!isArchitectureName(architecture)) {
      failAbout(name, "invalid architecture name '" + std::string(architecture) + "'");
    }
    return std::string(architecture);
  }

  /// From behind the opening bracket to behind the closing one.
  void parseVersion(Alternative& alternative) {
    skipSpace();
    const std::size_t begin = fAt;
    while (!atEnd() && (fText[fAt] == '<' || fText[fAt] == '=' || fText[fAt] == '>')) ++fAt;
    const std::string_view sign = fText.substr(begin, fAt - begin);
    const std::optional<VersionOperator> op = parseVersionOperator(sign);
    if (!op) failAbout(alternative.name, "bad version relationship " + std::string(sign));
    alternative.op = *op == VersionOperator::kAny ? VersionOperator::kEqual : *op;  // "(1.0)" means "(= 1.0)"
    skipSpace();
    const std::string_view version = takeUntil("()");
    skipSpace();
    if (atEnd()) failAbout(alternative.name, "version unterminated");
    if (fText[fAt] != ')') {
      failAbout(alternative.name, "version contains '" + std::string(1, fText[fAt]) + "' instead of ')'");
    }
    ++fAt;
    try {
      alternative.version = DebianVersion::parse(version);
    } catch (const VersionError& e) {
      failAbout(alternative.name, e.what());
    }
  }

  void parseArchitectures(Alternative& alternative) {
    for (;;) {
      skipSpace();
      if (atEnd()) failAbout(alternative.name, "architecture list unterminated");
      if (take(']')) break;
      const std::string_view entry = takeUntil("]");
      const std::string_view name = !entry.empty() && entry.front() == '!' ? entry.substr(1) : entry;
      if (!isArchitectureName(name)) failAbout(alternative.name, "invalid architecture '" + std::string(entry) + "'");
      alternative.architectures.emplace_back(entry);
    }
    if (alternative.architectures.empty()) failAbout(alternative.name, "empty architecture list");
  }

  bool takeBar() {
    if (!take('|')) return false;
    if (!allowsAlternatives(fKind)) fail("alternatives ('|') not allowed");
    return true;
  }

  /// Up to white space, one of the stops, or the end.
  std::string_view takeUntil(std::string_view stops) {
    const std::size_t begin = fAt;
    while (!atEnd() && !isSpace(fText[fAt]) && stops.find(fText[fAt]) == std::string_view::npos) ++fAt;
    return fText.substr(begin, fAt - begin);
  }

  bool take(char c) {
    skipSpace();
    if (atEnd() || fText[fAt] != c) return false;
    ++fAt;
    return true;
  }

  void skipSpace() {
    while (!atEnd() && isSpace(fText[fAt])) ++fAt;
  }

  bool atEnd() const { return fAt == fText.size(); }

  [[noreturn]] void fail(const std::string& what) const { throw RelationError(fAt, what); }
  [[noreturn]] void failAbout(const std::string& name, const std::string& what) const {
    fail("reference to '" + name + "': " + what);
  }

  std::string_view fText;
  RelationKind fKind;
  std::size_t fAt = 0;
};

}  // namespace

std::string Alternative::text() const {
  std::string result = name;
  if (!architecture.empty()) result += ':' + architecture;
  if (op != VersionOperator::kAny) result.append(" (").append(debian_packages::text(op)) += ' ' + version.text() + ')';
  for (std::size_t i = 0; i < architectures.size(); ++i) result += (i == 0 ? " [" : " ") + architectures[i];
  if (!architectures.empty()) result += ']';
  return result;
}

bool Alternative::accepts(const DebianVersion& candidate) const noexcept {
  switch (op) {
    case VersionOperator::kAny:
      return true;
    case VersionOperator::kEarlier:
      return candidate < version;
    case VersionOperator::kEarlierOrEqual:
      return candidate <= version;
    case VersionOperator::kEqual:
      return candidate == version;
    case VersionOperator::kLaterOrEqual:
      return candidate >= version;
    case VersionOperator::kLater:
      return candidate > version;
  }
  return false;
}

std::vector<Relation> parseRelations(std::string_view value, RelationKind kind) {
  return RelationParser(value, kind).parse();
}

std::string relationsText(const std::vector<Relation>& relations) {
  std::string result;
  for (const Relation& relation : relations) {
    if (!result.empty()) result += ", ";
    for (std::size_t i = 0; i < relation.alternatives.size(); ++i) {
      if (i != 0) result += " | ";
      result += relation.alternatives[i].text();
    }
  }
  return result;
}

std::optional<std::string> packageNameFault(std::string_view name) {
  if (name.empty()) return "may not be empty string";
  if (!isLetter(name.front()) && !isDigit(name.front())) return "must start with an alphanumeric character";
  const auto bad = std::find_if_not(name.begin(), name.end(), [](char c) {
    return isLetter(c) || isDigit(c) || c == '-' || c == '+' || c == '.' || c == '_';
  });
  if (bad == name.end()) return std::nullopt;
  return "character '" + std::string(1, *bad) + "' not allowed (only letters, digits and characters '-+._')";
}

bool isArchitectureName(std::string_view name) {
  return !name.empty() && name.front() != '-' &&
         std::all_of(name.begin(), name.end(), [](char c) { return isLetter(c) || isDigit(c) || c == '-'; });
}

}  // namespace debian_packages
