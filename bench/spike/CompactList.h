#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace bench::spike {

/// Small blocks of fixed classes out of chunks; what is given back waits in the list of its class.
class Arena {
 public:
  ~Arena() {
    for (char* chunk : fChunks) std::free(chunk);
  }
  void* take(std::size_t size) {
    const std::size_t sizeClass = (size + 7) / 8;
    if (sizeClass >= kClasses) return std::malloc(size);
    if (fFree[sizeClass] != nullptr) return std::exchange(fFree[sizeClass], *static_cast<void**>(fFree[sizeClass]));
    return bump(sizeClass * 8);
  }
  void give(void* place, std::size_t size) {
    const std::size_t sizeClass = (size + 7) / 8;
    if (sizeClass >= kClasses) return std::free(place);
    *static_cast<void**>(place) = std::exchange(fFree[sizeClass], place);
  }

 private:
  static constexpr std::size_t kChunk = 1 << 18;
  static constexpr std::size_t kClasses = 65;
  void* bump(std::size_t size) {
    if (static_cast<std::size_t>(fEnd - fAt) < size) {
      fChunks.push_back(fAt = static_cast<char*>(std::malloc(kChunk)));
      fEnd = fAt + kChunk;
    }
    return std::exchange(fAt, fAt + size);
  }
  char* fAt = nullptr;
  char* fEnd = nullptr;
  void* fFree[kClasses] = {};
  std::vector<char*> fChunks;
};

/// One arena for the process: only what is measured here uses it.
Arena& arena() {
  static Arena instance;
  return instance;
}

struct GeneralMemory {
  static void* take(std::size_t size) { return std::malloc(size); }
  static void give(void* place, std::size_t) { std::free(place); }
};

struct ArenaMemory {
  static void* take(std::size_t size) { return arena().take(size); }
  static void give(void* place, std::size_t size) { arena().give(place, size); }
};

/// One pointer; the length precedes the content. Elements of a list are trivially copyable or compact themselves.
template <class T, class Memory>
class CompactList {
 public:
  CompactList() = default;
  CompactList(const CompactList&) = delete;
  CompactList(CompactList&& other) noexcept : fHead(std::exchange(other.fHead, nullptr)) {}
  CompactList& operator=(CompactList&& other) noexcept {
    std::swap(fHead, other.fHead);
    return *this;
  }
  ~CompactList() {
    if (fHead == nullptr) return;
    std::destroy(begin(), end());
    Memory::give(fHead, bytes(fHead->capacity));
  }
  [[nodiscard]] std::size_t size() const { return fHead == nullptr ? 0 : fHead->size; }
  T* begin() { return fHead == nullptr ? nullptr : reinterpret_cast<T*>(fHead + 1); }
  T* end() { return fHead == nullptr ? nullptr : begin() + fHead->size; }
  void reserve(std::size_t count) {
    if (count == 0 || (fHead != nullptr && fHead->capacity >= count)) return;
    Head* head = static_cast<Head*>(Memory::take(bytes(count)));
    *head = {static_cast<std::uint32_t>(size()), static_cast<std::uint32_t>(count)};
    std::uninitialized_move(begin(), end(), reinterpret_cast<T*>(head + 1));
    CompactList old;
    std::swap(old.fHead, fHead);
    fHead = head;
  }
  void push_back(T item) {
    if (fHead == nullptr || fHead->size == fHead->capacity) reserve(std::max<std::size_t>(2, size() * 2));
    new (begin() + fHead->size) T(std::move(item));
    ++fHead->size;
  }
  void assign(const T* from, const T* to) {
    reserve(static_cast<std::size_t>(to - from));
    if (from == to) return;
    std::uninitialized_copy(from, to, begin());
    fHead->size = static_cast<std::uint32_t>(to - from);
  }

 private:
  struct Head {
    std::uint32_t size;
    std::uint32_t capacity;
  };
  static std::size_t bytes(std::size_t count) { return sizeof(Head) + count * sizeof(T); }
  Head* fHead = nullptr;
};

}  // namespace bench::spike
