#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "DebianVersion.h"
#include "PackageEnums.h"

namespace debian_packages {

/// A relation field that cannot be parsed. The offset counts bytes into the field's value.
class RelationError : public std::invalid_argument {
 public:
  RelationError(std::size_t offset, const std::string& what) : std::invalid_argument(what), fOffset(offset) {}
  std::size_t offset() const noexcept { return fOffset; }

 private:
  std::size_t fOffset;
};

/// One package that would do: name[:architecture] [(operator version)] [[architectures]].
struct Alternative {
  std::string name;          ///< in lower case, as dpkg folds it
  std::string architecture;  ///< behind the colon, such as "any"; empty where none is given
  VersionOperator op = VersionOperator::kAny;
  DebianVersion version;                   ///< empty exactly when `op` is kAny
  std::vector<std::string> architectures;  ///< of "[amd64 !i386]", exclamation marks kept; source packages use it

  std::string text() const;
  /// Whether a package of this version satisfies operator and version; name and architecture are the caller's matter.
  bool accepts(const DebianVersion& candidate) const noexcept;
};

/// What is between two commas: any one of the alternatives will do.
struct Relation {
  std::vector<Alternative> alternatives;  ///< at least one
};

/// Parses the value of a Depends field or of one of its kin; blank or empty gives no relations.
/// As strict as dpkg is with its database: a missing name, an open bracket, an unknown operator or alternatives in a
/// field that has none (Breaks, Conflicts, Replaces, Provides) throw RelationError.
std::vector<Relation> parseRelations(std::string_view value, RelationKind kind);

/// The field's value again, in the usual spelling.
std::string relationsText(const std::vector<Relation>& relations);

/// What is wrong with a package's name, or none. Names may only hold letters, digits and "-+._", with a letter or digit
/// in front, so they are safe to be part of a file name.
std::optional<std::string> packageNameFault(std::string_view name);

/// Whether the text is a possible architecture: letters, digits and hyphens, not beginning with a hyphen.
bool isArchitectureName(std::string_view name);

}  // namespace debian_packages
