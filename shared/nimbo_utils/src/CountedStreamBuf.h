#pragma once

#include <cstdint>
#include <ios>
#include <streambuf>

namespace quillon::nimbo {

/// Passes everything on to another buffer and counts the bytes that are taken: how far a custom serializer has read is
/// not to be learned otherwise, where the stream cannot tell its position. Reading and seeking only.
class CountedStreamBuf final : public std::streambuf {
 public:
  explicit CountedStreamBuf(std::streambuf& inner) noexcept : fInner(&inner) {}

  /// Bytes taken so far; negative after seeking back in front of the beginning.
  [[nodiscard]] std::int64_t taken() const noexcept { return fTaken; }

 protected:
  int_type underflow() override { return fInner->sgetc(); }
  int_type uflow() override {
    const int_type byte = fInner->sbumpc();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) ++fTaken;
    return byte;
  }
  std::streamsize xsgetn(char* target, std::streamsize size) override {
    const std::streamsize came = fInner->sgetn(target, size);
    fTaken += came;
    return came;
  }
  int_type pbackfail(int_type byte) override {
    const int_type back =
        traits_type::eq_int_type(byte, traits_type::eof()) ? fInner->sungetc() : fInner->sputbackc(char(byte));
    if (!traits_type::eq_int_type(back, traits_type::eof())) --fTaken;
    return back;
  }
  std::streamsize showmanyc() override { return fInner->in_avail(); }
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override {
    const pos_type before = fInner->pubseekoff(0, std::ios_base::cur, std::ios_base::in);
    return counted(before, fInner->pubseekoff(offset, from, which));
  }
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    const pos_type before = fInner->pubseekoff(0, std::ios_base::cur, std::ios_base::in);
    return counted(before, fInner->pubseekpos(position, which));
  }

 private:
  pos_type counted(pos_type before, pos_type after) {
    const pos_type failed(off_type(-1));
    if (before != failed && after != failed) fTaken += after - before;
    return after;
  }

  std::streambuf* fInner;
  std::int64_t fTaken = 0;
};

}  // namespace quillon::nimbo
