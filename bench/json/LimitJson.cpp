#include "LimitJson.h"

#include <array>
#include <charconv>
#include <string_view>

#include "TimeText.h"

namespace bench::limit {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

class Writer {
 public:
  explicit Writer(ByteBuffer& out) : fOut(out) {}

  void document(const Item& root) {
    put(R"({"version":"1.0","packageUris":["urn:bench"],"entries":[)");
    contained(root);
    put("]}");
  }

 private:
  /// Recursion follows the containment, which is a few levels deep in this model.
  void contained(const Item& item) {
    head(item);
    put(R"(,"content":{)");
    if (item.documentation) {
      put(R"("documentation":)");
      text(*item.documentation);
      put(R"(,"name":)");
    } else {
      put(R"("name":)");
    }
    text(item.name);
    if (item.abstract) put(R"(,"abstract":true)");
    if (item.base != nullptr) {
      put(R"(,"base":)");
      reference(*item.base);
    }
    lists(item);
    put(R"(,"revision":)");
    number(item.revision);
    if (!item.tags.empty()) {
      put(R"(,"tags":)");
      list(item.tags, [&](const std::u16string& tag) { text(tag); });
    }
    visibility(item.visibility);
    put(R"(,"weight":)");
    number(item.weight);
    if (item.isFolder) children(static_cast<const Folder&>(item));
    put("}}");
  }

  void lists(const Item& item) {
    if (!item.marks.empty()) {
      put(R"(,"marks":)");
      list(item.marks, [&](std::int32_t mark) { number(mark); });
    }
    if (item.modified != kNoTime) {
      put(R"(,"modified":)");
      const TimeText time = toText(item.modified);
      text({time.data(), time.size()});
    }
    if (item.multiplicity != 1) {
      put(R"(,"multiplicity":)");
      number(item.multiplicity);
    }
    if (!item.related.empty()) {
      put(R"(,"related":)");
      list(item.related, [&](const Item* target) { reference(*target); });
    }
  }

  void children(const Folder& folder) {
    if (folder.children.empty()) return;
    put(R"(,"children":)");
    list(folder.children, [&](const Item* child) { contained(*child); });
  }

  void visibility(Visibility value) {
    static constexpr std::array<std::string_view, 4> kMembers = {
        R"(,"visibility":"public")", R"(,"visibility":"protected")", R"(,"visibility":"private")",
        R"(,"visibility":"package")"};
    put(kMembers[static_cast<std::size_t>(value)]);
  }

  void reference(const Item& target) {
    head(target);
    put("}");
  }

  void head(const Item& item) {
    put(item.isFolder ? std::string_view(R"({"type":"bench.Folder","uuid":")")
                      : std::string_view(R"({"type":"bench.Item","uuid":")"));
    char* at = fOut.extend(36);
    for (std::size_t i = 0; i < item.uuid.size(); ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) *at++ = '-';
      *at++ = kDigits[item.uuid[i] >> 4U];
      *at++ = kDigits[item.uuid[i] & 15U];
    }
    put("\"");
  }

  template <class List, class Write>
  void list(const List& entries, Write write) {
    char separator = '[';
    for (const auto& entry : entries) {
      fOut.put(separator);
      separator = ',';
      write(entry);
    }
    put("]");
  }

  template <class T>
  void number(T value) {
    constexpr std::size_t kLongest = 32;
    char* const begin = fOut.extend(kLongest);
    fOut.shrink(kLongest - static_cast<std::size_t>(std::to_chars(begin, begin + kLongest, value).ptr - begin));
  }

  void text(std::u16string_view units) {
    const std::size_t room = 2 + 6 * units.size();
    char* const begin = fOut.extend(room);
    char* at = begin;
    *at++ = '"';
    for (std::size_t i = 0; i < units.size(); ++i) {
      const char16_t unit = units[i];
      if (unit >= 0x20 && unit < 0x80 && unit != u'"' && unit != u'\\') {
        *at++ = static_cast<char>(unit);
      } else {
        at = special(at, units, i);
      }
    }
    *at++ = '"';
    fOut.shrink(room - static_cast<std::size_t>(at - begin));
  }

  static char* special(char* at, std::u16string_view units, std::size_t& i) {
    const unsigned unit = units[i];
    if (unit == '"' || unit == '\\') {
      *at++ = '\\';
      *at++ = static_cast<char>(unit);
    } else if (unit == '\n') {
      *at++ = '\\';
      *at++ = 'n';
    } else if (unit < 0x800) {
      *at++ = static_cast<char>(0xC0U | unit >> 6U);
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    } else if (unit >= 0xD800 && unit < 0xDC00) {
      const unsigned number = 0x10000U + ((unit & 0x3FFU) << 10U) + (units[++i] & 0x3FFU);
      *at++ = static_cast<char>(0xF0U | number >> 18U);
      *at++ = static_cast<char>(0x80U | (number >> 12U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (number >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (number & 0x3FU));
    } else {
      *at++ = static_cast<char>(0xE0U | unit >> 12U);
      *at++ = static_cast<char>(0x80U | (unit >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    }
    return at;
  }

  void put(std::string_view text) { fOut.putBytes(text.data(), text.size()); }

  ByteBuffer& fOut;
};

}  // namespace

ByteBuffer saveJson(const Model& model) {
  ByteBuffer text;
  Writer(text).document(*model.root());
  return text;
}

}  // namespace bench::limit
