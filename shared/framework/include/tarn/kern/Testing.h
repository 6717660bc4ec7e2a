#pragma once

#include <string>

#include <tarn/export.h>
#include <tarn/kern/Model.h>

/// Hooks for tests of code that uses models.
namespace tarn::kern::testhooks {

/// Makes the next outermost commit of the model throw a TransactionError with this text; the transaction stays open.
TARN_EXPORT void failNextCommit(const Model& model, std::string text);

}  // namespace tarn::kern::testhooks
