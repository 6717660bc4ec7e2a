#pragma once

#include <cstdint>

#include <tarn/kern/Model.h>

namespace testsupport {

/// Models of "sample" with something in every place, for tests that save, damage and load them.

/// An element of Everything: all properties set, each collection with two entries.
tarn::kern::ModelElement fillEverything(const tarn::kern::Model& model);

/// A tree of boxes below one root, with references forward, backward, to themselves and to null.
tarn::kern::ModelElement fillReferences(const tarn::kern::Model& model);

/// An element of Lines with nested data values that refer to `target`, a Box or null.
tarn::kern::ModelElement fillLines(const tarn::kern::Model& model, const tarn::kern::ModelElement& target);

/// A tree of that many boxes below one root, with values, references and nesting drawn by chance. The same seed gives
/// the same model.
tarn::kern::ModelElement fillByChance(const tarn::kern::Model& model, std::uint32_t seed, std::size_t elements);

}  // namespace testsupport
