#include "TextStage.h"

#include <algorithm>
#include <cstring>

#include <bedrock/i18n.h>

#include "PlainText.h"

namespace quillon::nimbo::detail {

void TextStage::handOn() {
  const std::string_view piece(pbase(), static_cast<std::size_t>(pptr() - pbase()));
  beginPiece();
  if (!piece.empty()) putText(fTarget, piece);
}

/// A target that has failed takes no blanks any more: the lines of a deep tree are nearly all blanks, and making them
/// would be most of the time of a walk that is lost anyway.
void TextStage::putBlanks(std::size_t count) {
  while (count > 0 && fTarget.good()) {
    const std::size_t now = std::min(count, kCapacity);
    std::memset(room(now), ' ', now);
    advance(now);
    count -= now;
  }
}

void TextStage::put(std::u16string_view text) {
  fConverted.clear();
  bedrock::i18n::appendUtf8(fConverted, text);
  put(std::string_view(fConverted));
}

void TextStage::putLarge(std::string_view text) {
  handOn();
  putText(fTarget, text);
}

TextStage::int_type TextStage::overflow(int_type ch) {
  if (!traits_type::eq_int_type(ch, traits_type::eof())) put(traits_type::to_char_type(ch));
  return traits_type::not_eof(ch);
}

std::streamsize TextStage::xsputn(const char* text, std::streamsize size) {
  put(std::string_view(text, static_cast<std::size_t>(size)));
  return size;
}

}  // namespace quillon::nimbo::detail
