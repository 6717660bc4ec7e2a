#include "XmlNames.h"

#include <array>

#include <bedrock/i18n.h>

namespace tarn::kern::io::xml {

bool isXmiUri(std::string_view uri) noexcept {
  return uri.starts_with("http://www.omg.org/XMI") || uri.starts_with("http://schema.omg.org/spec/XMI") ||
         uri.starts_with("http://www.omg.org/spec/XMI");
}

namespace {

struct Range {
  char16_t first;
  char16_t last;
};

// Letters that every edition of XML 1.0 allows to begin a name. The rest of Unicode is escaped: parsers differ there.
constexpr std::array<Range, 16> kLetters = {{{u'A', u'Z'},
                                             {u'_', u'_'},
                                             {u'a', u'z'},
                                             {u'\u00C0', u'\u00D6'},
                                             {u'\u00D8', u'\u00F6'},
                                             {u'\u00F8', u'\u0131'},
                                             {u'\u0134', u'\u013E'},
                                             {u'\u0141', u'\u0148'},
                                             {u'\u014A', u'\u017E'},
                                             {u'\u0391', u'\u03A1'},
                                             {u'\u03A3', u'\u03CE'},
                                             {u'\u0410', u'\u044F'},
                                             {u'\u3041', u'\u3094'},
                                             {u'\u30A1', u'\u30FA'},
                                             {u'\u4E00', u'\u9FA5'},
                                             {u'\uAC00', u'\uD7A3'}}};

bool isLetter(char16_t unit) noexcept {
  for (const Range& range : kLetters) {
    if (unit >= range.first && unit <= range.last) return true;
  }
  return false;
}

bool isNameUnit(char16_t unit, bool isFirst) noexcept {
  if (isLetter(unit)) return true;
  return !isFirst && ((unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.');
}

bool isHexDigit(char16_t unit) noexcept {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F') || (unit >= u'a' && unit <= u'f');
}

bool looksEscaped(std::u16string_view rest) noexcept {
  return rest.size() >= 7 && rest[0] == u'_' && rest[1] == u'x' && isHexDigit(rest[2]) && isHexDigit(rest[3]) &&
         isHexDigit(rest[4]) && isHexDigit(rest[5]) && rest[6] == u'_';
}

void appendEscaped(std::string& text, char16_t unit) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  text += "_x";
  for (unsigned shift = 16; shift > 0; shift -= 4) text += kDigits[(static_cast<unsigned>(unit) >> (shift - 4)) & 0xFU];
  text += '_';
}

}  // namespace

std::string xmlName(std::u16string_view name) {
  // An attribute of that name would be taken for a declaration of a namespace.
  const bool isReserved = name == u"xmlns";
  std::string text;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const bool isFine = isNameUnit(name[i], i == 0) && !looksEscaped(name.substr(i)) && !(isReserved && i == 0);
    if (isFine) {
      bedrock::i18n::appendUtf8(text, name.substr(i, 1));
    } else {
      appendEscaped(text, name[i]);
    }
  }
  return text;
}

}  // namespace tarn::kern::io::xml
