#pragma once

#include <cstdint>

#include <tarn/kern/Transaction.h>

namespace tarn::kern {

namespace internal {
class ModelCore;
}

/// What a Transaction holds: the number of its level, and the core, which it keeps alive beyond the model.
struct Transaction::Level {
 public:
  Level(internal::ModelCore& core, std::uint64_t id) noexcept;
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;
  ~Level();

  [[nodiscard]] internal::ModelCore& core() const noexcept { return fCore; }
  [[nodiscard]] std::uint64_t id() const noexcept { return fId; }

 private:
  internal::ModelCore& fCore;
  std::uint64_t fId;
};

}  // namespace tarn::kern
