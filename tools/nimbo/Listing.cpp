#include "Listing.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <bedrock/i18n.h>
#include <unistd.h>

namespace nimbo_tool {

std::string withSeparators(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
  return digits;
}

namespace {

void appendEscaped(std::string& line, unsigned char c) {
  switch (c) {
    case '\n':
      line += "\\n";
      return;
    case '\t':
      line += "\\t";
      return;
    case '\\':
      line += "\\\\";
      return;
    case '"':
      line += "\\\"";
      return;
    default:
      break;
  }
  if (c >= 0x20 && c != 0x7F) {
    line += static_cast<char>(c);
    return;
  }
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\x%02X", c);
  line += escape;
}

}  // namespace

std::string forTerminal(std::string_view text, std::size_t limit) {
  std::size_t cut = text.size();
  if (cut > limit) {
    cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0U) == 0x80U) --cut;  // not within a character
  }
  // There and back: what is not well-formed shows as a replacement or an escape.
  const std::string shown = bedrock::i18n::to_string(bedrock::i18n::utf8_to_ustring(text.substr(0, cut)));
  std::string line;
  line.reserve(shown.size() + 2);
  for (const char c : shown) appendEscaped(line, static_cast<unsigned char>(c));
  if (cut < text.size()) line += "...";
  return line;
}

bool mayColour() {
  const char* off = std::getenv("NO_COLOR");
  if (off != nullptr && *off != '\0') return false;
  const char* terminal = std::getenv("TERM");
  if (terminal == nullptr || std::strcmp(terminal, "dumb") == 0) return false;
  return ::isatty(STDOUT_FILENO) != 0;
}

}  // namespace nimbo_tool
