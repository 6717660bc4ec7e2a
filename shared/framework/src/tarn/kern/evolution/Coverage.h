#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Pass.h"

namespace tarn::kern::evolution::internal {

/// Finds content that the current versions have no place for, after all steps: a type, a property or a literal that is
/// not there. What content there is at all is the reader's business; here it is told which version it came from and
/// what to declare. A visitor of Walk.
class Coverage {
 public:
  /// @param packageNames all names that packages of evolved families have or had, with their chains.
  explicit Coverage(std::unordered_map<ustring, const Chain*> packageNames) : fByPackageName(std::move(packageNames)) {}

  bool enter(const Subject& subject);
  void leave(const Subject&) const noexcept {}
  void property(const Subject& holder, io::RawProperty& property);
  bool reference(const Subject& holder, const io::RawProperty& property, io::RawValue& value);

 private:
  struct Fit {
    meta::Type type;               // null when there is none of that name
    const Chain* chain = nullptr;  // of the family that it belongs to, or would; nullptr when none was evolved
  };

  [[nodiscard]] const Fit& fitOf(const ustring& typeName);
  void refuseUnknownType(const Subject& subject, const ustring& typeName, const io::RawPosition& position,
                         const ustring& property, const Fit& fit) const;
  void checkLiteral(const Subject& holder, const ustring& property, const io::RawValue& value, const meta::Enum& type,
                    const Chain& chain) const;

  std::unordered_map<ustring, const Chain*> fByPackageName;
  std::unordered_map<ustring, Fit> fFits;
};

}  // namespace tarn::kern::evolution::internal
