#pragma once

#include <tarn/export.h>
#include <tarn/kern/ElementHandle.h>

/// Copying the values of elements, for code that copies whole models.
namespace tarn::kern::bulk {

/// Gives `target` the values that `source` has in the properties of no class type: single values, absent ones included,
/// collections and maps. Derived and transient properties (Property::Impl::isOmitted) are left alone, and so are
/// references and what is contained. A data value is copied as it is: elements in it are those that `source` refers to.
///
/// The result is that of reading each property of `source` and writing it to `target` with privileged access, and so
/// are what is thrown, what is announced and what can be undone; but for a new element of the class of `source` this is
/// one pass through its memory, where property by property each value would be looked up twice.
/// @throws PropertyError when the class of `target` lacks one of the properties; those before it have been written
/// then. Threads: those of both models.
TARN_EXPORT void copyValues(const ModelElement::Impl& source, ModelElement::Impl& target);

}  // namespace tarn::kern::bulk
