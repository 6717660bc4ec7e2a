#include "Journal.h"

namespace tarn::kern::internal {

JournalPayload::~JournalPayload() = default;
ValuePayload::~ValuePayload() = default;
ListPayload::~ListPayload() = default;
PositionsPayload::~PositionsPayload() = default;
MapPayload::~MapPayload() = default;

}  // namespace tarn::kern::internal
