#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <istream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "quillon/nimbo/StreamIArchive.h"

namespace quillon::nimbo {

/// Reads the same values as the archive that it stands before, but takes them straight out of the stream buffer's get
/// area: a load is millions of values of a few bytes, and a call into the buffer for each costs more than all the rest
/// of reading them. What the get area does not hold in full is read by the archive itself, so that short reads, refused
/// counts and the stream's state are the archive's business alone.
///
/// Invariant: no byte is taken that was not asked for. While the window is open, the stream does not know yet how far
/// reading has come; it learns that when the window is lent or dies.
/// Threads: as the stream.
class StreamWindow {
 public:
  explicit StreamWindow(StreamIArchive& archive) noexcept : fArchive(archive) { open(); }
  StreamWindow(const StreamWindow&) = delete;
  StreamWindow& operator=(const StreamWindow&) = delete;
  ~StreamWindow() { close(); }

  /// True once a read has come short. Everything read from then on is made up: zeros, blanks, no tag.
  [[nodiscard]] bool hasFailed() const noexcept { return fHasFailed; }

  /// How many bytes have been taken through this window. What a borrower of the archive took is not among them.
  [[nodiscard]] std::uint64_t position() const noexcept { return fPassed + static_cast<std::uint64_t>(fNext - fBegin); }

  /// One byte, 0 to 255, or -1.
  int get() {
    if (fNext != fEnd) [[likely]]
      return static_cast<unsigned char>(*fNext++);
    const int byte = lend([](StreamIArchive& archive) { return archive.get(); });
    if (byte >= 0) ++fPassed;
    return byte;
  }

  /// A number or a uuid.
  template <class T>
  T read() {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool>);
    T value{};
    if (available() >= sizeof value) [[likely]] {
      std::memcpy(&value, fNext, sizeof value);
      fNext += sizeof value;
      return value;
    }
    lend([&value](StreamIArchive& archive) { archive >> value; });
    fPassed += sizeof value;
    return value;
  }

  template <class Char>
  std::basic_string<Char> readText();

  /// Replaces `text` by the next one, in the memory that it has, if the get area holds all of it. Otherwise does
  /// nothing and returns false.
  template <class Char>
  bool readTextInSight(std::basic_string<Char>& text);

  /// Fills `target` with the next bytes. Returns how many came.
  std::size_t readBytes(void* target, std::size_t size);

  /// Fills `values` with `count` numbers or uuids, without a call for each, if the get area holds them all. Otherwise
  /// does nothing and returns false.
  template <class T>
  bool readAllInSight(std::vector<T>& values, std::uint64_t count);

  /// Hands the archive to `use`, which may read from it on its own, and goes on behind what it took.
  template <class Use>
  std::invoke_result_t<Use, StreamIArchive&> lend(Use&& use) {
    close();
    const Reopening reopening{*this};
    return std::forward<Use>(use)(fArchive);
  }

 private:
  struct Reopening {
    StreamWindow& window;
    ~Reopening() { window.open(); }
  };

  [[nodiscard]] std::size_t available() const noexcept { return static_cast<std::size_t>(fEnd - fNext); }

  void open() noexcept;
  void close() noexcept;

  StreamIArchive& fArchive;
  const char* fBegin = nullptr;
  const char* fNext = nullptr;
  const char* fEnd = nullptr;
  std::uint64_t fPassed = 0;  ///< bytes taken before `fBegin`
  bool fHasFailed = false;
};

template <class Char>
std::basic_string<Char> StreamWindow::readText() {
  std::basic_string<Char> text;
  if (readTextInSight(text)) [[likely]]
    return text;
  lend([&text](StreamIArchive& archive) { archive >> text; });
  fPassed += sizeof(std::uint64_t) + text.size() * sizeof(Char);
  return text;
}

template <class Char>
bool StreamWindow::readTextInSight(std::basic_string<Char>& text) {
  std::uint64_t count = 0;
  if (available() < sizeof count) return false;
  std::memcpy(&count, fNext, sizeof count);
  if (count > (available() - sizeof count) / sizeof(Char)) return false;
  text.resize(static_cast<std::size_t>(count));
  std::memcpy(text.data(), fNext + sizeof count, text.size() * sizeof(Char));
  fNext += sizeof count + text.size() * sizeof(Char);
  return true;
}

template <class T>
bool StreamWindow::readAllInSight(std::vector<T>& values, std::uint64_t count) {
  static_assert(std::is_trivially_copyable_v<T> && !std::is_same_v<T, bool>);
  if (count > available() / sizeof(T)) return false;
  values.resize(static_cast<std::size_t>(count));
  if (count == 0) return true;  // an empty vector has no address to copy to
  std::memcpy(values.data(), fNext, values.size() * sizeof(T));
  fNext += values.size() * sizeof(T);
  return true;
}

}  // namespace quillon::nimbo
