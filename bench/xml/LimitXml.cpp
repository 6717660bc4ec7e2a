#include "LimitXml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "TimeText.h"

namespace bench::limit {
namespace {

class Writer {
 public:
  explicit Writer(ByteBuffer& out) : fOut(out) {}

  void document(const Item& root) {
    put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<bench:");
    put(root.isFolder ? "Folder" : "Item");
    put(" xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:bench=\"urn:bench\"");
    content(root, 0, root.isFolder ? "bench:Folder" : "bench:Item");
  }

 private:
  /// Recursion follows the containment, which is a few levels deep in this model.
  void contained(const Item& item, std::size_t depth) {
    indent(depth);
    put("<children");
    if (item.isFolder) put(" xsi:type=\"bench:Folder\"");
    content(item, depth, "children");
  }

  void content(const Item& item, std::size_t depth, std::string_view tag) {
    put(" xmi:uuid=\"");
    uuid(item.uuid);
    put("\" xmi:id=\"_");
    uuid(item.uuid);
    put("\"");
    attributes(item);
    const bool hasChildren = item.isFolder && !static_cast<const Folder&>(item).children.empty();
    if (item.marks.empty() && item.tags.empty() && !hasChildren) return put("/>\n");
    put(">\n");
    for (const std::int32_t mark : item.marks) {
      indent(depth + 1);
      put("<marks>");
      number(mark);
      put("</marks>\n");
    }
    for (const std::u16string& word : item.tags) {
      indent(depth + 1);
      put("<tags>");
      text(word, false);
      put("</tags>\n");
    }
    if (hasChildren) {
      for (const Item* child : static_cast<const Folder&>(item).children) contained(*child, depth + 1);
    }
    indent(depth);
    put("</");
    put(tag);
    put(">\n");
  }

  void attributes(const Item& item) {
    if (item.documentation) {
      put(" documentation=\"");
      text(*item.documentation);
      put("\"");
    }
    put(" name=\"");
    text(item.name);
    put("\"");
    if (item.abstract) put(" abstract=\"true\"");
    if (item.base != nullptr) {
      put(" base=\"_");
      uuid(item.base->uuid);
      put("\"");
    }
    if (item.modified != kNoTime) {
      put(" modified=\"");
      const TimeText time = toText(item.modified);
      text({time.data(), time.size()});
      put("\"");
    }
    if (item.multiplicity != 1) {
      put(" multiplicity=\"");
      number(item.multiplicity);
      put("\"");
    }
    if (!item.related.empty()) {
      put(" related=\"");
      bool isFirst = true;
      for (const Item* target : item.related) {
        put(isFirst ? "_" : " _");
        isFirst = false;
        uuid(target->uuid);
      }
      put("\"");
    }
    put(" revision=\"");
    number(item.revision);
    static constexpr std::array<std::string_view, 4> kLiterals = {"public", "protected", "private", "package"};
    put("\" visibility=\"");
    put(kLiterals[static_cast<std::size_t>(item.visibility)]);
    put("\" weight=\"");
    number(item.weight);
    put("\"");
  }

  void indent(std::size_t depth) {
    constexpr std::string_view kBlanks = "                                                ";
    put(kBlanks.substr(0, std::min<std::size_t>(2 * depth, kBlanks.size())));
  }

  void put(std::string_view bytes) { fOut.putBytes(bytes.data(), bytes.size()); }

  template <class Number>
  void number(Number value) {
    char* begin = fOut.extend(32);
    const char* end = std::to_chars(begin, begin + 32, value).ptr;
    fOut.shrink(32 - static_cast<std::size_t>(end - begin));
  }

  void uuid(const Uuid& value) {
    constexpr const char* kDigits = "0123456789abcdef";
    char* to = fOut.extend(36);
    for (std::size_t i = 0; i < value.size(); ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) *to++ = '-';
      *to++ = kDigits[value[i] >> 4U];
      *to++ = kDigits[value[i] & 15U];
    }
  }

  /// The benchmark's texts are well-formed and hold nothing that XML refuses.
  void text(std::u16string_view units, bool isAttribute = true) {
    const std::size_t room = 6 * units.size();
    char* const begin = fOut.extend(room);
    char* at = begin;
    for (std::size_t i = 0; i < units.size(); ++i) {
      const unsigned unit = units[i];
      if (unit >= 0x20 && unit < 0x80 && unit != '&' && unit != '<' && unit != '>' && unit != '"') {
        *at++ = static_cast<char>(unit);
      } else {
        at = special(at, units, i, isAttribute);
      }
    }
    fOut.shrink(room - static_cast<std::size_t>(at - begin));
  }

  static char* copy(char* at, std::string_view bytes) { return std::copy(bytes.begin(), bytes.end(), at); }

  static char* special(char* at, std::u16string_view units, std::size_t& i, bool isAttribute) {
    unsigned unit = units[i];
    if (unit == '&') return copy(at, "&amp;");
    if (unit == '<') return copy(at, "&lt;");
    if (unit == '>' && !isAttribute) return copy(at, "&gt;");
    if (unit == '"' && isAttribute) return copy(at, "&quot;");
    if (unit == '\n' && isAttribute) return copy(at, "&#10;");
    if (unit == '\t' && isAttribute) return copy(at, "&#9;");
    if (unit < 0x80) {
      *at++ = static_cast<char>(unit);
    } else if (unit < 0x800) {
      *at++ = static_cast<char>(0xC0U | unit >> 6U);
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    } else if (unit >= 0xD800 && unit < 0xDC00) {
      unit = 0x10000U + ((unit & 0x3FFU) << 10U) + (units[++i] & 0x3FFU);
      *at++ = static_cast<char>(0xF0U | unit >> 18U);
      *at++ = static_cast<char>(0x80U | (unit >> 12U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (unit >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    } else {
      *at++ = static_cast<char>(0xE0U | unit >> 12U);
      *at++ = static_cast<char>(0x80U | (unit >> 6U & 0x3FU));
      *at++ = static_cast<char>(0x80U | (unit & 0x3FU));
    }
    return at;
  }

  ByteBuffer& fOut;
};

}  // namespace

ByteBuffer saveXml(const Model& model) {
  ByteBuffer text;
  Writer(text).document(*model.root());
  return text;
}

}  // namespace bench::limit
