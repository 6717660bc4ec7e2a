#include "html/StreamBuf.h"

#include <string_view>

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

}  // namespace

StreamBuf::int_type StreamBuf::overflow(int_type ch) {
  if (traits_type::eq_int_type(ch, traits_type::eof())) return ch;

  if (escape) {
    if (const std::string_view text = escapedForHtml(ch); !text.empty()) {
      target->write(text.data(), static_cast<std::streamsize>(text.size()));
      if (ch != '\n') return ch;
    }
  }
  if (jsString && needsBackslash(ch, escape)) target->put('\\');
  target->put(traits_type::to_char_type(ch));
  return ch;
}

int htmlFlagsIndex() { return kFlagsIndex; }

void setHtmlAware(std::ostream& os) { os.iword(kFlagsIndex) |= kHtmlAware; }

StreamBuf* htmlBuffer(std::ostream& os) {
  if ((os.iword(kFlagsIndex) & kHtmlAware) == 0) return nullptr;
  return dynamic_cast<StreamBuf*>(os.rdbuf());
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
