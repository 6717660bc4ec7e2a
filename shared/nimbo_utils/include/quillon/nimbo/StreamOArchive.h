#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// Writes primitive values to a `std::ostream`: a value is its bytes and nothing else, with no framing and no state
/// between two values. StreamIArchive reads the same bytes back.
///
/// A value that only points to the stream: copies write to the same stream, and the stream must outlive them all.
/// Failures are the stream's: a write to a failed stream is ignored, and whoever owns the stream tests it in the end.
/// Threads: as the stream.
///
/// | Value                       | Bytes, always little-endian                                    |
/// | integers, `double`          | their size; a double's bit pattern passes unchanged            |
/// | `bool`                      | one byte, 'T' or 'F'                                           |
/// | `boost::uuids::uuid`        | 16 bytes in the order of its text form                         |
/// | `std::u16string`            | `uint64_t` count of code units, then 2 bytes for each          |
/// | `std::string`               | `uint64_t` count of bytes, then the bytes                      |
/// | vector of `std::u16string`  | `uint64_t` count of texts, then each text                      |
/// | vector of `uint8_t`         | `uint64_t` count of bytes, then the bytes                      |
class NIMBO_EXPORT StreamOArchive {
 public:
  explicit StreamOArchive(std::ostream& stream) noexcept : fStream(&stream) {}

  StreamOArchive& operator<<(std::int8_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::uint8_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::int16_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::uint16_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::int32_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::uint32_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::int64_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(std::uint64_t value) { return writeFixed(value); }
  StreamOArchive& operator<<(double value) { return writeFixed(value); }
  StreamOArchive& operator<<(bool value) { return put(value ? 'T' : 'F'); }
  StreamOArchive& operator<<(const boost::uuids::uuid& value) { return writeBytes(value.data, sizeof value.data); }
  StreamOArchive& operator<<(const std::u16string& value);
  StreamOArchive& operator<<(const std::string& value);
  StreamOArchive& operator<<(const std::vector<std::u16string>& value);
  StreamOArchive& operator<<(const std::vector<std::uint8_t>& value);

  /// Every other scalar and every array is refused. Without this a string literal would be written as the bool `true`,
  /// a `char` as four bytes and an enumerator as whatever its integer promotes to. Name the intended type instead.
  template <typename T>
  requires(std::is_scalar_v<T> || std::is_array_v<T>) StreamOArchive& operator<<(const T&) = delete;

  /// Writes one byte: a tag, a letter, a flag.
  StreamOArchive& put(char byte);

  /// The stream that the bytes go to, never null; for raw bytes between the values.
  [[nodiscard]] std::ostream* stream() const noexcept { return fStream; }

 private:
  static_assert(std::endian::native == std::endian::little, "values go out as memory holds them");
  static_assert(sizeof(double) == 8, "doubles are binary64");

  template <typename T>
  StreamOArchive& writeFixed(T value) {
    return writeBytes(&value, sizeof value);
  }

  /// What `std::ostream::write` does, without its cost where nothing but the buffer is concerned: a third of the time
  /// of a save to memory is spent in the sentries of eight-byte writes otherwise.
  StreamOArchive& writeBytes(const void* data, std::size_t size);

  /// True when a sentry would do nothing, neither before nor after the write.
  [[nodiscard]] bool needsNoSentry() const {
    return fStream->good() && fStream->tie() == nullptr && (fStream->flags() & std::ios_base::unitbuf) == 0;
  }

  /// Called while an exception of the buffer is handled: sets badbit and passes the exception on only if the stream's
  /// exception mask asks for it.
  void reportBufferException();

  std::ostream* fStream;
};

inline StreamOArchive& StreamOArchive::writeBytes(const void* data, std::size_t size) {
  const auto* const chars = static_cast<const char*>(data);
  const auto count = static_cast<std::streamsize>(size);
  if (!needsNoSentry()) {
    fStream->write(chars, count);
    return *this;
  }
  bool written = true;
  try {
    written = fStream->rdbuf()->sputn(chars, count) == count;
  } catch (...) {
    reportBufferException();
  }
  if (!written) fStream->setstate(std::ios_base::badbit);
  return *this;
}

inline StreamOArchive& StreamOArchive::put(char byte) {
  if (!needsNoSentry()) {
    fStream->put(byte);
    return *this;
  }
  using Traits = std::ostream::traits_type;
  bool written = true;
  try {
    written = !Traits::eq_int_type(fStream->rdbuf()->sputc(byte), Traits::eof());
  } catch (...) {
    reportBufferException();
  }
  if (!written) fStream->setstate(std::ios_base::badbit);
  return *this;
}

}  // namespace quillon::nimbo
