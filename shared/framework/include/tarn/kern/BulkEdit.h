#pragma once

#include <span>

#include <tarn/export.h>
#include <tarn/kern/ElementHandle.h>

/// Setting references without handles, for code that builds whole models: readers, copiers, generators.
///
/// The targets of references lie anywhere in memory. Copying a handle to one counts it, which waits for the target's
/// record to come from there, and for a large model that takes longer than all the rest. Here targets are named by
/// plain addresses, and where the kernel can tell from an address what lies there, it does not look.
///
/// The result is that of ModelElement::Impl::set<ModelElement> and ElementCollection::assign, and so are what is
/// thrown, what is announced and what can be undone. A target is a record that a handle or another element keeps, as
/// the `get` of a handle and the peek functions give it; nullptr stands for null. Threads: those of the model.
namespace tarn::kern::bulk {

/// Writes a single-valued reference.
TARN_EXPORT void setTarget(ModelElement::Impl& element, const meta::Property& property, ModelElement::Impl* target,
                           const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

/// Replaces the content of a class-typed collection by exactly these elements in this order, as one change.
TARN_EXPORT void assignTargets(ModelElement::Impl& element, const meta::Property& property,
                               std::span<ModelElement::Impl* const> targets,
                               const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

}  // namespace tarn::kern::bulk
