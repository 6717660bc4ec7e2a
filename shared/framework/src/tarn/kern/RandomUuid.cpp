#include "RandomUuid.h"

#include <array>
#include <atomic>
#include <cstring>
#include <system_error>

#include <pthread.h>
#include <unistd.h>

namespace tarn::kern::internal {

namespace {

std::atomic<unsigned> forks = 0;

void watchForks() {
  static const int registered = pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); });
  static_cast<void>(registered);
}

struct Batch {
  static constexpr std::size_t kBytes = 256;  // the most that one getentropy call gives
  std::array<unsigned char, kBytes> bytes;
  std::size_t used = kBytes;
  unsigned fork = 0;
};

}  // namespace

boost::uuids::uuid randomUuid() {
  thread_local Batch batch;
  watchForks();
  const unsigned fork = forks.load(std::memory_order_relaxed);
  if (batch.used == Batch::kBytes || batch.fork != fork) {
    if (::getentropy(batch.bytes.data(), Batch::kBytes) != 0) {
      throw std::system_error(errno, std::generic_category(), "no random numbers for a new uuid");
    }
    batch.used = 0;
    batch.fork = fork;
  }
  boost::uuids::uuid uuid;
  std::memcpy(uuid.data, batch.bytes.data() + batch.used, sizeof uuid.data);
  batch.used += sizeof uuid.data;
  uuid.data[6] = static_cast<std::uint8_t>((uuid.data[6] & 0x0FU) | 0x40U);  // version 4
  uuid.data[8] = static_cast<std::uint8_t>((uuid.data[8] & 0x3FU) | 0x80U);  // the usual variant
  return uuid;
}

}  // namespace tarn::kern::internal
