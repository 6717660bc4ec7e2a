#pragma once

#include <ios>
#include <streambuf>
#include <string_view>

namespace quillon::nimbo {

/// Lets a stream read bytes where they lie: a decompressed payload is as large as the model's data, and a string stream
/// would hold it a second time. The bytes must outlive the buffer. Reading and seeking only.
class MemoryStreamBuf final : public std::streambuf {
 public:
  explicit MemoryStreamBuf(std::string_view bytes) {
    char* const begin = const_cast<char*>(bytes.data());  // the interface wants it so; a get area is never written to
    setg(begin, begin, begin + bytes.size());
  }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override {
    const off_type size = egptr() - eback();
    off_type target = offset;
    if (from == std::ios_base::cur) target += gptr() - eback();
    if (from == std::ios_base::end) target += size;
    if ((which & std::ios_base::in) == 0 || target < 0 || target > size) return pos_type(off_type(-1));
    setg(eback(), eback() + target, egptr());
    return pos_type(target);
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }
};

}  // namespace quillon::nimbo
