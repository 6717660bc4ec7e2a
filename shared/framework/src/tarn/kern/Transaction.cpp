#include <tarn/kern/Transaction.h>

#include "ErrorTexts.h"
#include "ModelCore.h"
#include "TransactionLevel.h"

namespace tarn::kern {

Transaction::Level::Level(internal::ModelCore& core, std::uint64_t id) noexcept : fCore(core), fId(id) {
  fCore.addUser();
}

Transaction::Level::~Level() {
  fCore.abandon(fId);
  fCore.removeUser();
}

Transaction::Transaction(std::unique_ptr<Level> level) noexcept : fLevel(std::move(level)) {}
Transaction::Transaction(Transaction&& other) noexcept = default;
Transaction& Transaction::operator=(Transaction&& other) noexcept = default;
Transaction::~Transaction() = default;

TransactionResult Transaction::commit(const boost::optional<Value>& note) {
  if (fLevel == nullptr) throw TransactionError(internal::texts::transactionEnded());
  return fLevel->core().commit(fLevel->id(), note);
}

TransactionResult Transaction::rollBack() {
  if (fLevel == nullptr) throw TransactionError(internal::texts::transactionEnded());
  return fLevel->core().rollBack(fLevel->id());
}

bool Transaction::isOpen() const noexcept { return fLevel != nullptr && fLevel->core().isOpen(fLevel->id()); }

}  // namespace tarn::kern
