#include <cstddef>
#include <utility>

#include <tarn/kern/Errors.h>

namespace tarn::kern {
namespace {

std::string textOf(const std::vector<std::string>& faults) {
  if (faults.size() == 1) return "the meta-model is refused: " + faults.front();
  std::string text = "the meta-model is refused for " + std::to_string(faults.size()) + " faults:";
  for (std::size_t i = 0; i < faults.size(); ++i) {
    text += "\n  " + std::to_string(i + 1) + ". " + faults[i];
  }
  return text;
}

}  // namespace

// Out of line, so that each type's identity lies in this library alone and its users catch it by that.
KernelError::~KernelError() = default;
PropertyError::~PropertyError() = default;
DestroyedElementError::~DestroyedElementError() = default;
ContainmentError::~ContainmentError() = default;
InstantiationError::~InstantiationError() = default;
TransactionError::~TransactionError() = default;
SnapshotError::~SnapshotError() = default;

MetaModelError::MetaModelError(std::vector<std::string> faults)
    : KernelError(textOf(faults)), fFaults(std::move(faults)) {}
MetaModelError::~MetaModelError() = default;

}  // namespace tarn::kern
