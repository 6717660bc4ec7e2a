#include "quillon/nimbo/StreamOArchive.h"

#include "BufferException.h"

namespace quillon::nimbo {

StreamOArchive& StreamOArchive::operator<<(const std::u16string& value) {
  *this << std::uint64_t{value.size()};
  return writeBytes(value.data(), value.size() * sizeof(char16_t));
}

StreamOArchive& StreamOArchive::operator<<(const std::string& value) {
  *this << std::uint64_t{value.size()};
  return writeBytes(value.data(), value.size());
}

StreamOArchive& StreamOArchive::operator<<(const std::vector<std::u16string>& value) {
  *this << std::uint64_t{value.size()};
  for (const std::u16string& text : value) *this << text;
  return *this;
}

StreamOArchive& StreamOArchive::operator<<(const std::vector<std::uint8_t>& value) {
  *this << std::uint64_t{value.size()};
  return writeBytes(value.data(), value.size());
}

void StreamOArchive::reportBufferException() { detail::reportBufferException(*fStream); }

}  // namespace quillon::nimbo
