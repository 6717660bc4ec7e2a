#include "ModelText.h"

#include <cstddef>

namespace debian_packages {

using bedrock::i18n::ustring;

ustring modelText(std::string_view bytes) {
  constexpr char16_t kReplacement = u'\uFFFD';
  ustring text = bedrock::i18n::utf8_to_ustring(bytes);
  // The conversion keeps the three-byte forms of surrogates, which are no UTF-8 either.
  std::size_t checked = 0;
  for (;;) {
    const std::size_t found = bedrock::i18n::findLoneSurrogate(std::u16string_view(text).substr(checked));
    if (found == std::u16string_view::npos) return text;
    text[checked + found] = kReplacement;
    checked += found + 1;
  }
}

std::string modelBytes(std::string_view bytes) {
  if (bedrock::i18n::isValidUtf8(bytes)) return std::string(bytes);
  return bedrock::i18n::ustring_to_utf8(modelText(bytes));
}

}  // namespace debian_packages
