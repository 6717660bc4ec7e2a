#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

#include "PlainText.h"

namespace tarn::kern::io {

/// The JSON text in the making: its tokens, appended to a string by way of a buffer that stays in the cache. The string
/// is complete after flush().
class JsonText {
 public:
  explicit JsonText(std::string& out);

  void put(char c) {
    need(1);
    *fAt++ = c;
  }
  /// Text that is JSON already.
  void put(std::string_view text) {
    if (text.size() > kBufferBytes / 2) return putLong(text);
    need(text.size());
    std::memcpy(fAt, text.data(), text.size());
    fAt += text.size();
  }
  template <std::integral T>
  void number(T value) {
    need(kLongestInteger);
    fAt = std::to_chars(fAt, fAt + kLongestInteger, value).ptr;
  }
  /// What JSON has no number for is a string then.
  void real(double value);
  void uuid(const boost::uuids::uuid& value) {
    need(kUuidLength + 2);
    *fAt = '"';
    writeUuid(fAt + 1, value);
    fAt[kUuidLength + 1] = '"';
    fAt += kUuidLength + 2;
  }
  /// A string with its quotes. A lone surrogate is escaped.
  void string(std::u16string_view text);
  /// Bytes that are UTF-8, as a string. A byte that is not part of a well-formed sequence becomes the escape of the low
  /// surrogate U+DC00 plus the byte: the reader of such strings makes the byte of it again.
  void bytes(std::string_view text);

  void flush();

 private:
  static constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;
  static constexpr std::size_t kLongestInteger = 20;
  static constexpr std::size_t kLongestUnit = 6;  // an escape

  void need(std::size_t count) {
    if (static_cast<std::size_t>(fEnd - fAt) < count) flush();
  }
  void putLong(std::string_view text);
  void escapeControl(char c);
  void escapeUnit(char16_t unit);
  void wellFormed(std::string_view utf8);
  const char16_t* unitsOneByOne(const char16_t* at, const char16_t* stop, const char16_t* end);

  std::string& fOut;
  std::unique_ptr<char[]> fBuffer;
  char* fAt;
  char* fEnd;
};

/// The text as a JSON string, for what is put together once and written often.
[[nodiscard]] std::string asJsonString(std::u16string_view text);

}  // namespace tarn::kern::io
