#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Model text as XML text in UTF-8.
namespace tarn::kern::io::xml {

/// Where a text stands: in an attribute, line breaks and tabs must be escaped, too, since parsers turn them into
/// blanks.
enum class TextPlace : bool { Attribute, Content };

inline constexpr std::size_t kNoOffender = static_cast<std::size_t>(-1);

/// Appends the escaped text. @return the index of the first unit that XML cannot carry, or kNoOffender; what was
/// appended is of no use then.
[[nodiscard]] std::size_t appendEscaped(std::string& out, std::u16string_view text, TextPlace place);

/// The same for text that is UTF-8 already; the index is that of a byte. Bytes that are no UTF-8 are refused as well.
[[nodiscard]] std::size_t appendEscapedUtf8(std::string& out, std::string_view utf8, TextPlace place);

}  // namespace tarn::kern::io::xml
