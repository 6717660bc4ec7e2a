#pragma once

#include <tarn/kern/Collections.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>

#include "Layout.h"

namespace tarn::kern {

namespace internal {

/// What a live map value stores: the map in its slot, and the owner that keeps the slot's memory. Copying it gives a
/// detached snapshot: a map of its own that refuses changes.
class LiveMap;

}  // namespace internal

/// Makes the Values of collection and map properties, and reads them back.
class LiveValueFactory {
 public:
  /// The live value of a slot of shape Typed, Generic or Elements, or of a map. `owner` is the element or data record.
  [[nodiscard]] static Value make(internal::CountedImpl& owner, const internal::SlotInfo& slot);
};

}  // namespace tarn::kern
