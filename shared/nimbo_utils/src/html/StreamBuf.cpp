#include "html/StreamBuf.h"

#include <algorithm>
#include <array>
#include <cstddef>
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

/// For each character whether it goes on as it is, by the modes.
using Passing = std::array<bool, 256>;

constexpr Passing passing(bool escape, bool jsString) {
  Passing passes{};
  passes.fill(true);
  const auto stop = [&passes](std::string_view characters) {
    for (const char ch : characters) passes[static_cast<unsigned char>(ch)] = false;
  };
  if (escape) stop("\n \"&<>");
  if (jsString) std::fill_n(passes.begin(), std::size_t{' '}, false);
  if (jsString && !escape) stop("\"\\");
  return passes;
}

constexpr std::array<Passing, 4> kPassing = {passing(false, false), passing(false, true), passing(true, false),
                                             passing(true, true)};

constexpr std::size_t kBlanksAtOnce = 64;
constexpr std::string_view kEscapedBlank = "&nbsp;";

constexpr auto kEscapedBlanks = [] {
  std::array<char, kBlanksAtOnce * kEscapedBlank.size()> blanks{};
  for (std::size_t i = 0; i < blanks.size(); ++i) blanks[i] = kEscapedBlank[i % kEscapedBlank.size()];
  return blanks;
}();

void writeEscapedBlanks(std::ostream& target, std::size_t count) {
  for (std::size_t left = count; left > 0;) {
    const std::size_t now = std::min(left, kBlanksAtOnce);
    writeTo(target, {kEscapedBlanks.data(), now * kEscapedBlank.size()});
    left -= now;
  }
}

}  // namespace

void StreamBuf::write(std::string_view text) {
  const Passing& passes = kPassing[(escape ? 2U : 0U) + (jsString ? 1U : 0U)];
  const auto isStop = [&passes](char ch) { return !passes[static_cast<unsigned char>(ch)]; };
  while (!text.empty()) {
    const auto stop = std::find_if(text.begin(), text.end(), isStop);
    std::size_t done = static_cast<std::size_t>(stop - text.begin());
    if (done > 0) {
      writeTo(*target, text.substr(0, done));
    } else if (escape && text.front() == ' ') {
      done = std::min(text.find_first_not_of(' '), text.size());
      writeEscapedBlanks(*target, done);
    } else {
      overflow(traits_type::to_int_type(text.front()));
      done = 1;
    }
    text.remove_prefix(done);
  }
}

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
