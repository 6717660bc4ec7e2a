#pragma once

#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>

#include "quillon/nimbo/export.h"

/// Copies that are elements of their own: each bears a fresh uuid. For copies that stand for the same element in
/// another model, and for swapping elements on the way, see Cloner.h.
///
/// What is copied: the given elements and all that they contain; an element that is given and also lies in another
/// given one is copied once, within that. All properties of the copied elements are, but for derived and transient
/// ones.
///
/// Where the copies stand: inside the copy of their container; those whose container is not copied are top-level in the
/// target, in the order in which they were given. Adding them to a container is up to the caller.
///
/// References, also those within data values and qualified ones:
///   - to an element that is copied: the copy points to its copy;
///   - to another element that lives in the target model: the copy points to that same element;
///   - to anything else: left out. A single reference stays unset, a collection has one member less.
/// So a duplicate within one model goes on using what its original uses, and one in another model is complete in
/// itself.
///
/// Opposites: what already exists gains references to copies and never loses or changes one. Where the other end of a
/// reference is many-valued, the element outside gets the copy as one more member. Where it is single-valued, it
/// belongs to the original: the copy's reference to the outside is left out.
///
/// Collections keep their order and their null members. Nothing else in the target changes. All happens in one
/// transaction, which may lie within one that the caller has open; on a failure the target is as it was.
///
/// Time and memory grow with the size of what is copied, whatever its depth; only data values that hold references cost
/// a copy for each level that they are nested. Threads: those of both models.
namespace quillon::nimbo {

/// Gives the copy of each element, in order: null for a null element, the same copy for one that is named twice.
/// @throws std::invalid_argument for a null target; what the framework throws, for a destroyed element among others
[[nodiscard]] NIMBO_EXPORT std::vector<tarn::kern::ModelElement> duplicate(
    const std::vector<tarn::kern::ModelElement>& elements, const tarn::kern::Model& target);

/// The same for one element.
NIMBO_EXPORT tarn::kern::ModelElement duplicate(const tarn::kern::ModelElement& element,
                                                const tarn::kern::Model& target);

/// A new model with a copy of everything in `model`. @throws std::invalid_argument for a null model
[[nodiscard]] NIMBO_EXPORT tarn::kern::Model duplicate(const tarn::kern::Model& model);

}  // namespace quillon::nimbo
