#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>

#include "support/Sanitizers.h"

/// A meta-model for the tests of what copies and compares whole models.
namespace testsupport {

/// How long a chain the tests walk.
inline constexpr int kLongChain = static_cast<int>(kManyLevels);

/// Class Node of the package "cloning":
///   name (String), tags (StringToStringMap), numbers (Integer, many), distinct (Integer, many, unique),
///   times (DateTime, many), link (Link), links (Link, many), never (Integer, upper 0)
///   child (Node, composite), children (Node, composite, many, opposite parent), parent,
///   items (Node, composite, many, qualified by name), scratch (Node, composite, transient)
///   next (Node), refs (Node, many, not unique), nowhere (Node, upper 0), index (Node, many, qualified by name),
///   hidden (Node, transient)
///   boss / staff (one to many), friends / friendOf (many to many), partner / partnerOf (one to one)
/// Class Leaf extends Node with size (Integer). Class Other: name (String), note (String).
/// Class Oneway extends Node: to (Oneway, many, opposite from), from (Oneway, many, transient).
/// Data type Link: label (String), target (Node), targets (Node, many), inner (Inner), inners (Link, many).
/// Data type Inner: label (String), target (Node).
[[nodiscard]] tarn::kern::meta::Class cloningClass(const std::u16string& name);
[[nodiscard]] tarn::kern::meta::DataType linkType();
[[nodiscard]] tarn::kern::meta::DataType innerType();

/// A new top-level element with that name; its uuid is `number` in its last eight bytes.
tarn::kern::ModelElement newNode(const tarn::kern::Model& model, std::uint64_t number, const std::u16string& name = u"",
                                 const std::u16string& className = u"Node");
[[nodiscard]] tarn::kern::ModelElement nodeIn(const tarn::kern::Model& model, std::uint64_t number);

void addTo(const tarn::kern::ModelElement& element, const std::u16string& property,
           const tarn::kern::ModelElement& member);
[[nodiscard]] std::vector<tarn::kern::ModelElement> membersOf(const tarn::kern::ModelElement& element,
                                                              const std::u16string& property);
[[nodiscard]] tarn::kern::ModelElement targetOf(const tarn::kern::ModelElement& element,
                                                const std::u16string& property);
[[nodiscard]] tarn::kern::Value valueOf(const tarn::kern::ModelElement& element, const std::u16string& property);

/// A tree of that many nodes below one root, with attributes, data values and references of all kinds drawn by chance.
tarn::kern::ModelElement fillNodesByChance(const tarn::kern::Model& model, std::uint32_t seed, std::uint64_t nodes);

}  // namespace testsupport
