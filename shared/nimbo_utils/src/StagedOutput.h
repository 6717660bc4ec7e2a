#pragma once

#include <concepts>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "quillon/nimbo/StreamOArchive.h"

namespace quillon::nimbo {

/// Collects small writes in front of an archive; what it writes are the archive's bytes. A write of a few bytes to a
/// stream costs ten times what it costs here, and most writes of a model are of one byte or eight.
///
/// Nothing reaches the archive before `flush`, and there is no flush in the destructor, since it may throw: whoever
/// writes flushes on every way out, and before anybody else writes to the archive.
class StagedOutput {
 public:
  explicit StagedOutput(StreamOArchive& archive) : fArchive(archive), fBuffer(new char[kCapacity]) {}
  StagedOutput(const StagedOutput&) = delete;
  StagedOutput& operator=(const StagedOutput&) = delete;

  void put(char byte) { *take(1) = byte; }

  template <class T>
  requires(std::is_arithmetic_v<T> && !std::same_as<T, bool>) void write(T value) {
    std::memcpy(take(sizeof value), &value, sizeof value);
  }
  /// Two values behind each other, at the price of one.
  template <class T>
  requires std::is_arithmetic_v<T>
  void write(T value, char byte) {
    char* const place = take(sizeof value + 1);
    std::memcpy(place, &value, sizeof value);
    place[sizeof value] = byte;
  }
  void write(bool value) { put(value ? 'T' : 'F'); }
  void write(const boost::uuids::uuid& value) { std::memcpy(take(sizeof value.data), value.data, sizeof value.data); }
  void write(const std::u16string& value) { writeText(value.data(), value.size(), sizeof(char16_t)); }
  void write(const std::string& value) { writeText(value.data(), value.size(), sizeof(char)); }

  /// The values of a contiguous collection, without their count.
  template <class T>
  requires std::is_arithmetic_v<T>
  void writeAll(const std::vector<T>& values) { writeBytes(values.data(), values.size() * sizeof(T)); }

  /// Hands everything over. If the archive's stream throws, the bytes count as handed over.
  void flush() {
    const std::size_t size = fUsed;
    fUsed = 0;
    if (size != 0) writeThrough(fBuffer.get(), size);
  }

  /// The archive, for others to write to. @pre flushed
  [[nodiscard]] StreamOArchive& archive() noexcept { return fArchive; }

 private:
  /// Small enough to stay in the processor's cache, large enough that a file stream passes it on undivided.
  static constexpr std::size_t kCapacity = std::size_t{64} * 1024;

  /// The place for the next `size` bytes. @pre size <= kCapacity
  char* take(std::size_t size) {
    if (kCapacity - fUsed < size) flush();
    char* const place = fBuffer.get() + fUsed;
    fUsed += size;
    return place;
  }

  void writeText(const void* units, std::size_t count, std::size_t unitSize) {
    write(std::uint64_t{count});
    writeBytes(units, count * unitSize);
  }

  void writeBytes(const void* data, std::size_t size) {
    if (size == 0) return;
    if (size <= kCapacity) {
      std::memcpy(take(size), data, size);
    } else {
      flush();
      writeThrough(data, size);
    }
  }

  void writeThrough(const void* data, std::size_t size) {
    fArchive.stream()->write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
  }

  StreamOArchive& fArchive;
  std::unique_ptr<char[]> fBuffer;
  std::size_t fUsed = 0;
};

}  // namespace quillon::nimbo
