#include <strata/StoreError.h>

namespace strata {

StoreError::StoreError(Kind kind, const std::string& path, const std::string& text)
    : KernelError((path.empty() ? std::string("store") : path) + ": " + text), fKind(kind) {}

StoreError::~StoreError() = default;

}  // namespace strata
