#include "html/StreamBuf.h"

#include <string_view>
#include <typeinfo>

namespace quillon::nimbo::html {
namespace {

const int kFlagsIndex = std::ios_base::xalloc();

/// Inside HTML text. A backslash stays single, also inside a script's string: the page's script allows for that.
std::string_view escapedForHtml(int ch) {
  switch (ch) {
    case '\n':
      return "<br/>";  // and then the line end itself
    case ' ':
      return "&nbsp;";
    case '"':
      return "&quot;";
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return {};
  }
}

/// True for what a string literal of a script cannot hold as it is. A line end becomes a line continuation by this,
/// which lets one literal run over many lines of the file.
bool needsBackslash(int ch, bool escape) {
  if (ch < ' ') return true;
  return !escape && (ch == '"' || ch == '\\');
}

// What put and write of a stream do, without the guard object that each call of those makes: a page comes here one
// character at a time, and the guards were a fifth of its time.

void putTo(std::ostream& target, char ch) {
  if (!target.good()) return;
  if (target.rdbuf()->sputc(ch) == std::char_traits<char>::eof()) target.setstate(std::ios_base::badbit);
}

void writeTo(std::ostream& target, std::string_view text) {
  if (!target.good()) return;
  const auto size = static_cast<std::streamsize>(text.size());
  if (target.rdbuf()->sputn(text.data(), size) != size) target.setstate(std::ios_base::badbit);
}

}  // namespace

StreamBuf::int_type StreamBuf::overflow(int_type ch) {
  if (traits_type::eq_int_type(ch, traits_type::eof())) return ch;

  if (escape) {
    if (const std::string_view text = escapedForHtml(ch); !text.empty()) {
      writeTo(*target, text);
      if (ch != '\n') return ch;
    }
  }
  if (jsString && needsBackslash(ch, escape)) putTo(*target, '\\');
  putTo(*target, traits_type::to_char_type(ch));
  return ch;
}

int htmlFlagsIndex() { return kFlagsIndex; }

void setHtmlAware(std::ostream& os) { os.iword(kFlagsIndex) |= kHtmlAware; }

StreamBuf* htmlBuffer(std::ostream& os) {
  if ((os.iword(kFlagsIndex) & kHtmlAware) == 0) return nullptr;
  std::streambuf* const buffer = os.rdbuf();
  // The class is final; asking for the very type is much faster than a cast that allows for others.
  return buffer != nullptr && typeid(*buffer) == typeid(StreamBuf) ? static_cast<StreamBuf*>(buffer) : nullptr;
}

void suspendEscaping(std::ostream& os) {
  StreamBuf* const buffer = htmlBuffer(os);
  if (buffer == nullptr) return;

  long& flags = os.iword(kFlagsIndex);
  if (buffer->escape) {
    flags |= kEscapeSuspended;
  } else {
    flags &= ~kEscapeSuspended;
  }
  buffer->escape = false;
}

void resumeEscaping(std::ostream& os) {
  StreamBuf* const buffer = htmlBuffer(os);
  if (buffer == nullptr) return;
  if ((os.iword(kFlagsIndex) & kEscapeSuspended) != 0) buffer->escape = true;
}

}  // namespace quillon::nimbo::html
