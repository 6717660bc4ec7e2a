#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

namespace bench::limit {

/// Bytes that are appended. It grows with realloc, which moves the pages of a large block instead of copying their
/// content, and does not fill what will be written anyway. All numbers are little-endian, as is every machine this runs
/// on.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(ByteBuffer&& other) noexcept
      : fBegin(std::exchange(other.fBegin, nullptr)),
        fAt(std::exchange(other.fAt, nullptr)),
        fEnd(std::exchange(other.fEnd, nullptr)) {}
  ByteBuffer& operator=(ByteBuffer&& other) noexcept {
    std::swap(fBegin, other.fBegin);
    std::swap(fAt, other.fAt);
    std::swap(fEnd, other.fEnd);
    return *this;
  }
  ~ByteBuffer() { std::free(fBegin); }

  template <class T>
  requires std::is_trivially_copyable_v<T>
  void put(const T& value) { std::memcpy(extend(sizeof value), &value, sizeof value); }

  void putBytes(const void* from, std::size_t size) {
    if (size != 0) std::memcpy(extend(size), from, size);
  }

  void putText(std::u16string_view text) {
    put<std::uint64_t>(text.size());
    putBytes(text.data(), text.size() * sizeof(char16_t));
  }

  /// Makes room for bytes that the caller fills. The place is good until the next call.
  char* extend(std::size_t size) {
    if (static_cast<std::size_t>(fEnd - fAt) < size) grow(size);
    return std::exchange(fAt, fAt + size);
  }

  /// Overwrites what has been put at this offset.
  template <class T>
  void patch(std::size_t offset, const T& value) {
    std::memcpy(fBegin + offset, &value, sizeof value);
  }

  /// Gives back the last bytes. @pre size <= size()
  void shrink(std::size_t size) { fAt -= size; }

  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(fAt - fBegin); }
  [[nodiscard]] std::string_view view() const { return {fBegin, size()}; }

 private:
  void grow(std::size_t size) {
    constexpr std::size_t kSmallest = 1 << 16;
    const std::size_t used = this->size();
    const std::size_t capacity = std::max({kSmallest, used * 2, used + size});
    char* bytes = static_cast<char*>(std::realloc(fBegin, capacity));
    if (bytes == nullptr) throw std::bad_alloc();
    fBegin = bytes;
    fAt = bytes + used;
    fEnd = bytes + capacity;
  }

  char* fBegin = nullptr;
  char* fAt = nullptr;
  char* fEnd = nullptr;
};

}  // namespace bench::limit
