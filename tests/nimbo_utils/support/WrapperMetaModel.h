#pragma once

#include <string>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>

/// A meta-model for the tests of the wrapper of one model. Registered at first use, once per process.
namespace testsupport {

/// The class of that name of the package "wrapping", URI "urn:wrapping".
///
/// Base:        name (String), zulu (Base, composite, many), alpha (Base, composite)
/// Node:        a Base with mike (Base, composite, many), bravo (Base, composite), count (Integer, required, default
/// 5),
///              next (Base), peers (Base, many, not unique), nowhere (Base, upper 0), tags (String, many)
/// Root:        a Node with title (String)
/// SpecialRoot: a Root
/// Vault:       a Base with secret (Base, composite, guarded)
/// Ghost:       abstract
/// Friend:      friends (Friend, many, opposite friendOf), friendOf (Friend, many): refused by the binary form
[[nodiscard]] tarn::kern::meta::Class wrappingClass(const std::u16string& name);

/// The URIs of two versions of the family "wrapped"; the second is the current one.
[[nodiscard]] std::string olderWrappedUri();
[[nodiscard]] std::string currentWrappedUri();
/// Class Thing of the current version: a root of its own.
[[nodiscard]] tarn::kern::meta::Class wrappedThing();

/// A new top-level element with that name.
tarn::kern::ModelElement newNamed(const tarn::kern::Model& model, const std::u16string& className,
                                  const std::u16string& name);
/// Puts the member at the end of the collection; gives the member back.
tarn::kern::ModelElement added(const tarn::kern::ModelElement& owner, const std::u16string& property,
                               const tarn::kern::ModelElement& member);
[[nodiscard]] std::string nameOf(const tarn::kern::ModelElement& element);

/// A container with one top-level element of each class, in this order, named after its class.
[[nodiscard]] std::string containerOf(const std::initializer_list<std::u16string>& classNames);

}  // namespace testsupport
