#pragma once

#include <tarn/kern/meta/Handles.h>

#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {

/// The tag under which values of `type` stand on a binary model stream; writer and readers agree through it. It depends
/// on the type alone: the fifteen standard types have a tag each, classes, data types and enums one per kind, and every
/// other type, a null handle included, is NATIVE. Never COLLECTION or NONE.
/// Fifteen comparisons at worst: who visits many values asks once per property. Threads: any number at once.
[[nodiscard]] SerializationTag tagOfType(const tarn::kern::meta::Type& type);

}  // namespace quillon::nimbo
