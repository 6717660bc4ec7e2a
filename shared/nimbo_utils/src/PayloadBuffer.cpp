#include "PayloadBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace quillon::nimbo {

namespace {
constexpr std::size_t kFirstCapacity = 64 * 1024;
}

PayloadBuffer::int_type PayloadBuffer::overflow(int_type byte) {
  if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
  makeRoom(1);
  *pptr() = traits_type::to_char_type(byte);
  continueAt(position() + 1);
  return byte;
}

std::streamsize PayloadBuffer::xsputn(const char* data, std::streamsize size) {
  if (size <= 0) return 0;
  const auto count = static_cast<std::size_t>(size);
  makeRoom(count);
  std::memcpy(pptr(), data, count);
  continueAt(position() + count);
  return size;
}

void PayloadBuffer::makeRoom(std::size_t size) {
  const std::size_t used = position();
  if (fCapacity - used >= size) return;
  const std::size_t capacity = std::max({kFirstCapacity, fCapacity * 2, used + size});
  auto* const grown = static_cast<char*>(std::realloc(fBytes.get(), capacity));  // NOLINT(cppcoreguidelines-no-malloc)
  if (grown == nullptr) throw std::bad_alloc();
  static_cast<void>(fBytes.release());  // realloc has freed it, or it is the same block
  fBytes.reset(grown);
  fCapacity = capacity;
  continueAt(used);
}

PayloadBuffer::pos_type PayloadBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                               std::ios_base::openmode which) {
  const std::size_t size = end();
  off_type target = offset;
  if (from == std::ios_base::cur) target += static_cast<off_type>(position());
  if (from == std::ios_base::end) target += static_cast<off_type>(size);
  const bool isWithin = target >= 0 && static_cast<std::size_t>(target) <= size;
  if ((which & std::ios_base::out) == 0 || !isWithin) return pos_type(off_type(-1));
  fEnd = size;
  continueAt(static_cast<std::size_t>(target));
  return pos_type(target);
}

PayloadBuffer::pos_type PayloadBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
  return seekoff(off_type(position), std::ios_base::beg, which);
}

}  // namespace quillon::nimbo
