#include <tarn/kern/Handle.h>

namespace tarn::kern::internal {

CountedImpl::~CountedImpl() = default;

void CountedImpl::lastHandleGone() const noexcept {}

}  // namespace tarn::kern::internal
