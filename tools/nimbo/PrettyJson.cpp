#include "PrettyJson.h"

namespace nimbo_tool {

namespace {

/// The end of the string that begins at `at`, behind its closing quote.
std::size_t endOfString(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return at < text.size() ? at + 1 : text.size();
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

class Printer {
 public:
  explicit Printer(std::string_view text) : fText(text) { fOut.reserve(text.size() + text.size() / 2); }

  std::string print() {
    for (std::size_t at = 0; at < fText.size();) at = takeToken(at);
    fOut += '\n';
    return std::move(fOut);
  }

 private:
  void newLine() {
    fOut += '\n';
    fOut.append(2 * fDepth, ' ');
  }

  std::size_t takeToken(std::size_t at) {
    const char c = fText[at];
    if (isBlank(c)) return at + 1;
    if ((c == '}' || c == ']') && fDepth > 0) {
      --fDepth;
      if (!fIsFresh) newLine();
      fIsFresh = false;
      fOut += c;
      return at + 1;
    }
    if (fIsFresh) newLine();
    fIsFresh = false;
    switch (c) {
      case '{':
      case '[':
        fOut += c;
        ++fDepth;
        fIsFresh = true;
        return at + 1;
      case ',':
        fOut += c;
        newLine();
        return at + 1;
      case ':':
        fOut += ": ";
        return at + 1;
      case '"': {
        const std::size_t end = endOfString(fText, at);
        fOut += fText.substr(at, end - at);
        return end;
      }
      default:
        fOut += c;
        return at + 1;
    }
  }

  std::string_view fText;
  std::string fOut;
  std::size_t fDepth = 0;
  bool fIsFresh = false;  // an object or array has just begun: nothing stands in it yet
};

}  // namespace

std::string prettyJson(std::string_view text) { return Printer(text).print(); }

}  // namespace nimbo_tool
