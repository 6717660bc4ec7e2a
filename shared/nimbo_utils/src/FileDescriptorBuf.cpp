#include "FileDescriptorBuf.h"

#include <cerrno>

#include <unistd.h>

namespace quillon::nimbo {

FileDescriptorBuf::FileDescriptorBuf(int descriptor) noexcept : fDescriptor(descriptor) {
  setp(fBytes.data(), fBytes.data() + fBytes.size());
}

bool FileDescriptorBuf::writeAll(const char* data, std::size_t size) noexcept {
  while (size > 0 && fError == 0) {
    const ssize_t written = ::write(fDescriptor, data, size);
    if (written > 0) {  // perhaps not all of it: a signal came, or the disk filled up
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      fError = EIO;  // no progress and no reason: better an error than a loop without end
    } else if (errno != EINTR) {
      fError = errno;
    }
  }
  return fError == 0;
}

bool FileDescriptorBuf::flush() noexcept {
  const bool written = writeAll(pbase(), static_cast<std::size_t>(pptr() - pbase()));
  setp(fBytes.data(), fBytes.data() + fBytes.size());
  return written;
}

FileDescriptorBuf::int_type FileDescriptorBuf::overflow(int_type unit) {
  if (!flush()) return traits_type::eof();
  if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
  return sputc(traits_type::to_char_type(unit));
}

std::streamsize FileDescriptorBuf::xsputn(const char* data, std::streamsize size) {
  if (size < epptr() - pptr()) return std::streambuf::xsputn(data, size);
  // Large pieces need no second copy.
  return flush() && writeAll(data, static_cast<std::size_t>(size)) ? size : 0;
}

int FileDescriptorBuf::sync() { return flush() ? 0 : -1; }

}  // namespace quillon::nimbo
