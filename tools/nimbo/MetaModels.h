#pragma once

#include <string>
#include <vector>

#include <tarn/kern/meta/Package.h>

namespace nimbo_tool {

/// Registers the meta-models that `--metamodel` names: Ecore files, files of our JSON form, and folders, whose files of
/// both kinds are all taken. Files may refer to each other, in any order. What is only doubtful goes to standard error
/// as a line each. @throws ToolError naming file, place and fault
void loadMetaModels(const std::vector<std::string>& paths);

/// The registered packages, in the order of registration.
[[nodiscard]] std::vector<tarn::kern::meta::Package> knownPackages();

/// What to do about types that nobody knows: a sentence for the end of an error.
[[nodiscard]] std::string metaModelHint();

}  // namespace nimbo_tool
