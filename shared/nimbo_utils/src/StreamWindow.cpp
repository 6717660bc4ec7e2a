#include "StreamWindow.h"

#include <algorithm>
#include <limits>
#include <streambuf>

namespace quillon::nimbo {

namespace {

/// The get area of any stream buffer. Its bounds are for derived classes only, but a pointer to member that a derived
/// class forms is one to a member of the base, and works on every object of the base.
class GetArea : public std::streambuf {
 public:
  GetArea() = delete;
  static const char* next(const std::streambuf& buffer) { return (buffer.*&GetArea::gptr)(); }
  static const char* end(const std::streambuf& buffer) { return (buffer.*&GetArea::egptr)(); }

  static void advance(std::streambuf& buffer, std::ptrdiff_t bytes) {
    constexpr std::ptrdiff_t kMost = std::numeric_limits<int>::max();  // all that one call can be told
    while (bytes > 0) {
      const std::ptrdiff_t step = std::min(bytes, kMost);
      (buffer.*&GetArea::gbump)(static_cast<int>(step));
      bytes -= step;
    }
  }
};

}  // namespace

void StreamWindow::open() noexcept {
  const std::istream& stream = *fArchive.stream();
  fHasFailed = stream.fail();
  if (!stream.good()) return;
  fBegin = fNext = GetArea::next(*stream.rdbuf());
  fEnd = GetArea::end(*stream.rdbuf());
}

void StreamWindow::close() noexcept {
  if (fNext != fBegin) GetArea::advance(*fArchive.stream()->rdbuf(), fNext - fBegin);
  fPassed += static_cast<std::uint64_t>(fNext - fBegin);
  fBegin = fNext = fEnd = nullptr;
}

std::size_t StreamWindow::readBytes(void* target, std::size_t size) {
  const auto came = lend([&](StreamIArchive& archive) {
    archive.stream()->read(static_cast<char*>(target), static_cast<std::streamsize>(size));
    return static_cast<std::size_t>(archive.stream()->gcount());
  });
  fPassed += came;
  return came;
}

}  // namespace quillon::nimbo
