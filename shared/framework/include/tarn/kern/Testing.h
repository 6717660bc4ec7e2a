#pragma once

#include <string>

#include <tarn/export.h>
#include <tarn/kern/Model.h>

/// Hooks for tests of code that uses models.
namespace tarn::kern::testhooks {

/// Makes the next outermost commit of the model throw a TransactionError with this text; the transaction stays open.
TARN_EXPORT void failNextCommit(const Model& model, std::string text);

/// True when the element's properties are in memory; false while it is only known to be in the bound store, and when it
/// is destroyed. Asking loads nothing.
[[nodiscard]] TARN_EXPORT bool isLoaded(const ModelElement& element);

}  // namespace tarn::kern::testhooks
