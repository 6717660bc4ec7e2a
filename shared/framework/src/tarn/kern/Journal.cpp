#include "Journal.h"

namespace tarn::kern::internal {

JournalPayload::~JournalPayload() = default;
ValuePayload::~ValuePayload() = default;
ListPayload::~ListPayload() = default;
PositionsPayload::~PositionsPayload() = default;
MapPayload::~MapPayload() = default;

void Journal::addChunk() {
  std::vector<JournalEntry> chunk;
  chunk.reserve(sizeOf(fChunks.size()));
  fChunks.push_back(std::move(chunk));
  fCapacity += sizeOf(fChunks.size() - 1);
}

void Journal::clear() noexcept {
  for (std::vector<JournalEntry>& chunk : fChunks) chunk.clear();
  if (fChunks.size() > kDoublings + 1) {
    fChunks.erase(fChunks.begin() + kDoublings + 1, fChunks.end());
    fCapacity = kLargestChunk;
  }
  fSize = 0;
}

}  // namespace tarn::kern::internal
