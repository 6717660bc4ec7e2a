#pragma once

#include <boost/uuid/uuid.hpp>

namespace tarn::kern::internal {

/// A fresh random uuid (version 4) from the system's entropy. Fetched in batches per thread, because a system call per
/// uuid would cost more than making the element; a forked child never repeats its parent's.
[[nodiscard]] boost::uuids::uuid randomUuid();

}  // namespace tarn::kern::internal
