#pragma once

#include <string>

#include <tarn/kern/Model.h>

/// What the two targets of the store have in common: a small meta-model, good stores of it, and the trial of a file.
namespace fuzz::store {

/// Sets SQLite up for one thread that opens a thousand files in a second. To be called before anything else.
void prepare();

/// A good store: every kind of table has rows in it. Small pages keep it near 16 KiB, so that most flipped bits matter.
/// `variant` counts from 0 to kVariants - 1; the last one is a store without content.
inline constexpr unsigned kVariants = 3;
[[nodiscard]] std::string goodStore(unsigned variant);

/// Binds the bytes as a store, reads all, changes something, and reads again. Every step may be refused with a
/// StoreError; what is bound is a sound model, and a file that was refused is as it was.
void tryStore(const std::string& bytes, bool withChanges);

/// How much of the last store could be read: for the seeds, which must be good.
[[nodiscard]] bool wasReadToTheEnd() noexcept;

}  // namespace fuzz::store
