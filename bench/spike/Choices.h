#pragma once

// The choices that decide what the kernel costs, each as the variants of a bare prototype:
// docs/decisions/0001-kernel-cost.md holds the figures and what follows from them. A prototype has just what its
// question needs, and is not used by the kernel.

#include <cstddef>
#include <vector>

#include "Description.h"
#include "support/Comparison.h"

namespace bench::spike {

/// Nanoseconds per copy of a handle: of one target over and over, of `count` targets in order and at random.
[[nodiscard]] std::vector<Variant> handleCounting(std::size_t count);

/// Nanoseconds per property that is read into a value.
[[nodiscard]] std::vector<Variant> valueStorage();

/// Nanoseconds per reference that is set; bytes per element for references and back references; milliseconds for the
/// first element destroyed; nanoseconds per element when every tenth is destroyed. The description must outlive the
/// variants.
[[nodiscard]] std::vector<Variant> backReferences(const Description& description);

/// Nanoseconds and bytes per element, filled from the description or from bytes without names. Likewise.
[[nodiscard]] std::vector<Variant> builtSlots(const Description& description);
[[nodiscard]] std::vector<Variant> loadedSlots(const Description& description);

/// Nanoseconds per member that leaves a list of `count` or is appended to it; milliseconds for the first that leaves.
[[nodiscard]] std::vector<Variant> longLists(std::size_t count);

/// The same for a vector that closes up at once, which would take minutes for all members.
[[nodiscard]] std::vector<Variant> longPlainLists(std::size_t count, std::size_t removals);

}  // namespace bench::spike
