#pragma once

#include <cstddef>
#include <cstdlib>
#include <ios>
#include <memory>
#include <streambuf>
#include <string_view>

namespace quillon::nimbo {

/// Collects in memory what a stream writes, as a string buffer does: appending, telling and seeking within what is
/// there.
///
/// It grows by realloc, which moves the pages of a large block where a string copies them into fresh ones; and a fresh
/// page costs more than all that is written onto it. For payloads of many megabytes.
/// Failures: std::bad_alloc. Set the stream's exception mask to badbit, or it will be swallowed.
class PayloadBuffer final : public std::streambuf {
 public:
  /// Everything written so far; valid until more is written.
  [[nodiscard]] std::string_view bytes() const noexcept { return {fBytes.get(), end()}; }

 protected:
  int_type overflow(int_type byte) override;
  std::streamsize xsputn(const char* data, std::streamsize size) override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }  // NOLINT(cppcoreguidelines-no-malloc): realloc's partner
  };

  [[nodiscard]] std::size_t position() const noexcept { return static_cast<std::size_t>(pptr() - fBytes.get()); }
  [[nodiscard]] std::size_t end() const noexcept { return position() > fEnd ? position() : fEnd; }
  void makeRoom(std::size_t size);
  /// The put area begins where the next byte goes: pbump could not go further than an int.
  void continueAt(std::size_t position) noexcept { setp(fBytes.get() + position, fBytes.get() + fCapacity); }

  std::unique_ptr<char, Free> fBytes;
  std::size_t fCapacity = 0;
  std::size_t fEnd = 0;  ///< up to where was written before the latest seek
};

}  // namespace quillon::nimbo
