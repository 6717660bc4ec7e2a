#include <algorithm>
#include <array>
#include <string_view>

#include <resource_core/BaseMsgID.h>

namespace resource_core {
namespace {

using bedrock::i18n::ustring;

struct Entry {
  std::string_view catalogue;
  std::string_view identifier;
  std::u16string_view sentence;  ///< {0} to {9} stand for the arguments
};

constexpr std::array kEntries{
    Entry{"nimbo:messages", "CannotCastIncompatibleTypes",
          u"cannot read a value of type \"{0}\" as the requested type"},
};

/// Index of the argument that a place at the beginning of `text` stands for, or npos when there is no place.
std::size_t argumentAt(std::u16string_view text, std::size_t argumentCount) {
  const bool isPlace = text.size() >= 3 && text[0] == u'{' && text[1] >= u'0' && text[1] <= u'9' && text[2] == u'}';
  const std::size_t index = isPlace ? static_cast<std::size_t>(text[1] - u'0') : ustring::npos;
  return index < argumentCount ? index : ustring::npos;
}

ustring fillIn(std::u16string_view sentence, const std::vector<ustring>& arguments) {
  ustring text;
  while (!sentence.empty()) {
    const std::size_t argument = argumentAt(sentence, arguments.size());
    if (argument == ustring::npos) {
      text += sentence.front();
      sentence.remove_prefix(1);
    } else {
      text += arguments[argument];
      sentence.remove_prefix(3);
    }
  }
  return text;
}

ustring listArguments(const std::vector<ustring>& arguments) {
  ustring text = u"(";
  for (const ustring& argument : arguments) {
    if (text.size() > 1) text += u", ";
    text += u'"';
    text += argument;
    text += u'"';
  }
  return text + u")";
}

}  // namespace

ustring messageText(const BaseMsgID& message) {
  const ustring identifier = bedrock::i18n::utf8_to_ustring(message.identifier());
  const auto entry = std::find_if(kEntries.begin(), kEntries.end(), [&](const Entry& candidate) {
    return candidate.catalogue == message.catalogue() && candidate.identifier == message.identifier();
  });
  if (entry == kEntries.end()) return identifier + listArguments(message.arguments());
  return identifier + u": " + fillIn(entry->sentence, message.arguments());
}

}  // namespace resource_core
