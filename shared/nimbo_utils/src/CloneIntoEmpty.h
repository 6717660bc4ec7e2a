#pragma once

#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>

namespace quillon::nimbo::detail {

/// Clones the elements of one model, with all they contain and refer to, into an empty one: the frequent case.
///
/// What arises is what the Cloner's own walk makes, element by element in the same order. But that walk jumps to and
/// fro between two models at each reference, however deep the chain of references is by then, and each jump waits for
/// memory. Where nothing but this call puts anything into the target, the walk can go first, without the target; then
/// the elements are made one after the other, and the references come last.
///
/// False when a reference is copied one way but not the way back, so that the order of the steps would show in the way
/// back; nothing has been done then. @pre the target is empty and bound to no store; all elements live in one model
[[nodiscard]] bool cloneIntoEmpty(const tarn::kern::Model& target,
                                  const std::vector<tarn::kern::ModelElement>& elements);

}  // namespace quillon::nimbo::detail
