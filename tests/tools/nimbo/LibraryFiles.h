#pragma once

#include <tarn/kern/Model.h>

#include "RunTool.h"

namespace tool_test {

/// A small library of books as a meta-model, in C++ and as files, with a model of it: what the tool is tried on.
/// The registry holds the meta-model after the first call.
[[nodiscard]] tarn::kern::Model libraryModel();

inline constexpr const char* kShelf = "11111111-2222-4333-8444-555555555501";
inline constexpr const char* kEmma = "11111111-2222-4333-8444-555555555502";
inline constexpr const char* kUlysses = "11111111-2222-4333-8444-555555555503";
inline constexpr const char* kReader = "11111111-2222-4333-8444-555555555504";

/// Writes library.metamodel.json, library.ecore, and the model as library.B, .z and .json into the folder.
void writeLibraryFiles(const Scratch& scratch);

}  // namespace tool_test
