#include "PlainText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <locale>
#include <streambuf>

#include "html/StreamBuf.h"

namespace quillon::nimbo::detail {
namespace {

/// What a guard object would have to do: pad to a width, flush a tied stream before or this one afterwards, refuse a
/// stream that has failed.
bool needsGuard(const std::ostream& os) {
  return os.width() != 0 || os.tie() != nullptr || (os.flags() & std::ios_base::unitbuf) != 0 || !os.good();
}

/// Formatted as "%g" with the stream's precision.
bool hasUsualNumbers(const std::ostream& os) {
  constexpr auto kThatMatter =
      std::ios_base::floatfield | std::ios_base::showpos | std::ios_base::showpoint | std::ios_base::uppercase;
  return (os.flags() & kThatMatter) == std::ios_base::fmtflags{} && os.getloc() == std::locale::classic();
}

}  // namespace

void putText(std::ostream& os, std::string_view text) {
  if (needsGuard(os)) {
    os << text;
    return;
  }
  if (html::StreamBuf* const page = html::htmlBuffer(os)) return page->write(text);
  const auto size = static_cast<std::streamsize>(text.size());
  try {
    if (os.rdbuf()->sputn(text.data(), size) == size) return;
  } catch (...) {  // as a stream's own output does: the stream fails, and throws on only if it was told to
    if ((os.exceptions() & std::ios_base::badbit) != 0) throw;
  }
  os.setstate(std::ios_base::badbit);
}

void putReal(std::ostream& os, double number) {
  std::array<char, 64> text;  // "%g" takes precision and 8 characters at most
  const std::streamsize precision = os.precision();
  if (!std::isfinite(number) || precision <= 0 || precision > 40 || !hasUsualNumbers(os)) {
    os << number;
    return;
  }
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general,
                                 static_cast<int>(precision));
  putText(os, {text.data(), end.ptr});
}

}  // namespace quillon::nimbo::detail
