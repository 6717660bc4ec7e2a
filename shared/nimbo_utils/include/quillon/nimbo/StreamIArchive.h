#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// Reads what StreamOArchive wrote, value by value; the table of the bytes stands there.
///
/// A value that only points to the stream: copies read from the same stream, and the stream must outlive them all. No
/// byte is taken from the stream beyond those of the values asked for. Threads: as the stream.
///
/// Reading past the end is no error here. The stream's failure bits are set, and the target holds the bytes that came
/// and, behind them,
/// - zeros in a number or a uuid; a bool is false;
/// - blanks up to the announced count in a text;
/// - 0xFF up to the announced count in a vector of bytes;
/// - a list of texts ends with the text that was cut.
///
/// So a caller can read on and will trip over the next tag. An announced count is never trusted with memory: targets
/// grow as bytes arrive, and only what came short by an announcement of at most `kPaddingBound` is padded.
/// Failures: `std::length_error` when a count is beyond what the target's type can hold, or when a text comes short
/// that announced more than `kPaddingBound` code units; `std::bad_alloc` for such a vector of bytes.
class NIMBO_EXPORT StreamIArchive {
 public:
  /// Up to this many code units (or bytes, in a vector of bytes) a value that came short gets its announced length. It
  /// keeps what damaged data can cost to 128 MiB, and is far above any text that belongs to a model.
  static constexpr std::uint64_t kPaddingBound = std::uint64_t{1} << 26;

  explicit StreamIArchive(std::istream& stream) noexcept : fStream(&stream) {}

  StreamIArchive& operator>>(std::int8_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::uint8_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::int16_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::uint16_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::int32_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::uint32_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::int64_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::uint64_t& value) { return readFixed(value); }
  StreamIArchive& operator>>(double& value) { return readFixed(value); }
  /// True for the byte 'T' and false for every other.
  StreamIArchive& operator>>(bool& value) {
    value = get() == 'T';
    return *this;
  }
  StreamIArchive& operator>>(boost::uuids::uuid& value) { return readFixed(value); }
  StreamIArchive& operator>>(std::u16string& value);
  StreamIArchive& operator>>(std::string& value);
  StreamIArchive& operator>>(std::vector<std::u16string>& value);
  StreamIArchive& operator>>(std::vector<std::uint8_t>& value);

  /// Reads one byte, 0 to 255: a tag, a letter, a flag. -1 at the end of the stream, as `std::istream::get`.
  int get();

  /// The stream that the bytes come from, never null; for raw bytes between the values. What its `gcount` gives after a
  /// value was read is unspecified.
  [[nodiscard]] std::istream* stream() const noexcept { return fStream; }

 private:
  static_assert(std::endian::native == std::endian::little, "values come in as memory holds them");
  static_assert(sizeof(boost::uuids::uuid) == 16, "a uuid is its bytes");

  template <typename T>
  StreamIArchive& readFixed(T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    T read{};
    readBytes(&read, sizeof read);
    value = read;
    return *this;
  }

  template <typename Char>
  StreamIArchive& readText(std::basic_string<Char>& text);

  /// What `std::istream::read` does, without its sentry where that has nothing to do. Returns how many bytes came.
  std::size_t readBytes(void* target, std::size_t size);

  [[nodiscard]] bool needsNoSentry() const { return fStream->good() && fStream->tie() == nullptr; }

  /// Called while an exception of the buffer is handled: sets badbit and passes the exception on only if the stream's
  /// exception mask asks for it.
  void reportBufferException();

  std::istream* fStream;
};

inline std::size_t StreamIArchive::readBytes(void* target, std::size_t size) {
  auto* const chars = static_cast<char*>(target);
  const auto wanted = static_cast<std::streamsize>(size);
  if (!needsNoSentry()) {
    fStream->read(chars, wanted);
    return static_cast<std::size_t>(fStream->gcount());
  }
  std::streamsize came = 0;
  try {
    came = fStream->rdbuf()->sgetn(chars, wanted);
  } catch (...) {
    reportBufferException();
    return 0;
  }
  if (came != wanted) fStream->setstate(std::ios_base::eofbit | std::ios_base::failbit);
  return static_cast<std::size_t>(came);
}

inline int StreamIArchive::get() {
  if (!needsNoSentry()) return fStream->get();
  using Traits = std::istream::traits_type;
  int byte = Traits::eof();
  try {
    byte = fStream->rdbuf()->sbumpc();
  } catch (...) {
    reportBufferException();
    return byte;
  }
  if (Traits::eq_int_type(byte, Traits::eof())) fStream->setstate(std::ios_base::eofbit | std::ios_base::failbit);
  return byte;
}

}  // namespace quillon::nimbo
