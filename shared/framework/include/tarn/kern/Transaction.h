#pragma once

#include <cstdint>
#include <memory>

#include <boost/optional.hpp>

#include <tarn/export.h>
#include <tarn/kern/Value.h>

namespace tarn::kern {

/// How a transaction ended.
enum class TransactionResult : std::uint32_t {
  Done = 0,     ///< something had changed
  Nothing = 1,  ///< nothing had changed
};

/// One level of change of a model, begun by Model::Impl::beginTransaction.
///
/// Levels nest: the inner one ends first, and what it committed is undone when the outer one rolls back. A level that
/// is destroyed without an end rolls back, together with levels inside it that are still open; it never throws. It is
/// harmless when its model is gone. The outermost commit writes the bound store first (it may throw: the transaction
/// then stays open), is then final, and then tells the observers once.
class TARN_EXPORT Transaction {
 public:
  struct Level;

  explicit Transaction(std::unique_ptr<Level> level) noexcept;
  Transaction(Transaction&& other) noexcept;
  /// Ends the assigned-to level as its destruction would.
  Transaction& operator=(Transaction&& other) noexcept;
  ~Transaction();

  /// Makes the changes final. The argument is a note that is handed to the observers.
  /// @throws TransactionError when a level inside is open or this one has ended; what the store throws. Nothing changes
  /// then.
  TransactionResult commit(const boost::optional<Value>& note);
  /// Undoes the changes. @throws TransactionError as above.
  TransactionResult rollBack();

  [[nodiscard]] bool isOpen() const noexcept;

 private:
  std::unique_ptr<Level> fLevel;
};

}  // namespace tarn::kern
