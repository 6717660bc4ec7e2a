#pragma once

#include <charconv>
#include <cstddef>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace quillon::nimbo::detail {

/// Collects a text in front of a stream and hands it on in large pieces. The lines of a tree are made of half a dozen
/// short pieces each, and what each of these costs on its way through a stream is more than what it takes to make it.
///
/// It is the buffer of a stream as well, so that what can only be written to a stream goes the same way, in its place.
/// Nothing is handed on before there is a large piece, and not by the destructor, since that may throw: who writes
/// calls handOn on every way out. What the target's exceptions say of a failure comes out of whatever is writing just
/// then.
class TextStage final : public std::streambuf {
 public:
  explicit TextStage(std::ostream& target) : fTarget(target), fRoom(new char[kCapacity]) { beginPiece(); }
  TextStage(const TextStage&) = delete;
  TextStage& operator=(const TextStage&) = delete;

  void put(char ch) {
    *room(1) = ch;
    advance(1);
  }
  void put(std::string_view text) {
    if (text.size() > kCapacity) return putLarge(text);
    text.copy(room(text.size()), text.size());  // not memcpy, which takes no null pointer for an empty text
    advance(text.size());
  }
  void putBlanks(std::size_t count);
  /// As UTF-8.
  void put(std::u16string_view text);
  template <class Number>
  void putNumber(Number number) {
    char* const first = room(kLongestNumber);
    advance(static_cast<std::size_t>(std::to_chars(first, first + kLongestNumber, number).ptr - first));
  }

  void handOn();

 protected:
  int_type overflow(int_type ch) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;

 private:
  /// Small enough to stay in the processor's cache, large enough that a file stream passes it on undivided.
  static constexpr std::size_t kCapacity = std::size_t{64} * 1024;
  static constexpr std::size_t kLongestNumber = 24;

  void beginPiece() { setp(fRoom.get(), fRoom.get() + kCapacity); }
  /// The place for the next `size` characters. @pre size <= kCapacity
  char* room(std::size_t size) {
    if (static_cast<std::size_t>(epptr() - pptr()) < size) handOn();
    return pptr();
  }
  void advance(std::size_t size) { pbump(static_cast<int>(size)); }
  void putLarge(std::string_view text);

  std::ostream& fTarget;
  std::unique_ptr<char[]> fRoom;
  std::string fConverted;
};

}  // namespace quillon::nimbo::detail
