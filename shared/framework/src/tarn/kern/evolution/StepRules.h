#pragma once

#include <string>

#include "Steps.h"
#include "TypeTable.h"

/// What each step means for what is known of the types, in both directions. Undoing leads from the registered version
/// to an older one that nobody registered, and is where the steps are checked; redoing leads from an older one that
/// somebody did.
namespace tarn::kern::evolution::internal {

struct Moment {
  TypeTable types;
  ustring package;       // its qualified name at this moment
  bool isExact = false;  // the types are those of a registered version, with steps undone: what they lack is not there
};

/// Takes `moment` from after the step to before it.
/// @return what contradicts the types: nothing, or the end of a message. What can be undone has been undone all the
/// same.
std::string undo(const Step& step, Moment& moment);

/// Takes `moment` from before the step to after it, as far as the step and the types at the end of its stage tell.
void redo(const Step& step, Moment& moment, const TypeTable& atEnd);

/// The type that holds the last property of a path, and that property's name; nothing when the path leads into the
/// unknown.
struct PathEnd {
  ustring owner;
  ustring property;
  std::string fault;  // of the path itself
};
[[nodiscard]] PathEnd followPath(const TypeTable& types, const ustring& type, const ustring& path);
/// The names of a path.
[[nodiscard]] std::vector<ustring> partsOf(const ustring& path);

}  // namespace tarn::kern::evolution::internal
