#include "quillon/nimbo/html/Manipulators.h"

#include <string_view>

#include "html/PageTemplate.h"
#include "html/StreamBuf.h"

namespace quillon::nimbo::html {
namespace {

/// The page's script knows the views of a thing by these letters: the list has a twin in the script's class2char.
/// The two differ in that the script also knows letters for classes that carry no id here, such as "keyword".
char idPrefix(std::string_view cls) {
  if (cls == "desc") return 'D';
  if (cls == "desc_hdr") return 'B';
  if (cls == "descName") return 'S';
  if (cls == "descAddr") return 'T';
  if (cls == "expander") return 'Q';
  if (cls == "tree") return 'O';
  return 'J';
}

/// Unformatted, so that a width or fill that the caller has set for a value does not end up inside the markup.
void put(std::ostream& os, std::string_view text) {
  StreamBuf* const buffer = os.good() ? htmlBuffer(os) : nullptr;
  if (buffer != nullptr) {
    buffer->write(text);
  } else {
    os.write(text.data(), static_cast<std::streamsize>(text.size()));
  }
}

/// Text that is shown, which takes a width that the caller has set.
void putShown(std::ostream& os, std::string_view text) {
  if (os.width() == 0) {
    put(os, text);
  } else {
    os << text;
  }
}

/// A piece of markup, put together before it goes out: a page is tags for the most part.
class Markup {
 public:
  Markup() { fText.reserve(100); }

  Markup& operator<<(std::string_view text) {
    fText += text;
    return *this;
  }
  Markup& operator<<(char ch) {
    fText += ch;
    return *this;
  }
  Markup& attribute(std::string_view start, std::string_view value) {
    return value.empty() ? *this : *this << start << value << '\'';
  }
  /// Keeps the lines of the file short. Within the descriptions it comes out as a line continuation.
  Markup& endLineAfterDiv(std::string_view name) { return name == "div" ? *this << '\n' : *this; }

  [[nodiscard]] std::string_view text() const { return fText; }

 private:
  std::string fText;
};

void putRaw(std::ostream& os, std::string_view text) {
  const RawStretch raw(os);
  put(os, text);
}

void setJsString(std::ostream& os, bool on) {
  if (StreamBuf* const buffer = htmlBuffer(os)) buffer->jsString = on;
}

void putHrefOpening(std::ostream& os, const href& x) {
  Markup markup;
  markup << "<a";
  markup.attribute(" target='", x.target).attribute(" class='", x.cls) << " href='" << x.link << "'>";
  putRaw(os, markup.text());
}

/// The head of an entry of the map of descriptions, which is script text, not part of any string.
void putEntryHead(std::ostream& os, const std::string& id) {
  setJsString(os, false);
  os << preformatted{"\",\n'D" + id + "': \""};
  setJsString(os, true);
}

void putAddress(std::ostream& os, const def& x) {
  if (x.id.empty()) return;
  os << tag{"span", "descAddr", x.id};
  if (x.link.empty()) {
    os << x.addr;
  } else {
    os << href{x.link, x.addr};
  }
  os << etag{"span"};
}

}  // namespace

bool isHTMLStream(std::ostream& os) { return htmlBuffer(os) != nullptr; }

std::ostream& operator<<(std::ostream& os, const tag& x) {
  if (!isHTMLStream(os)) return os;
  Markup markup;
  markup << '<' << x.name;
  markup.attribute(" class='", x.cls);
  if (!x.id.empty()) markup << " id='" << idPrefix(x.cls) << x.id << '\'';
  markup << '>';
  putRaw(os, markup.endLineAfterDiv(x.name).text());
  return os;
}

std::ostream& operator<<(std::ostream& os, const tag2& x) {
  if (!isHTMLStream(os)) return os << x.contents;
  os << tag{x.name, x.cls, x.id};
  putShown(os, x.contents);
  return os << etag{x.name};
}

std::ostream& operator<<(std::ostream& os, const etag& x) {
  if (!isHTMLStream(os)) return os;
  Markup markup;
  markup << "</" << x.name << '>';
  putRaw(os, markup.endLineAfterDiv(x.name).text());
  return os;
}

std::ostream& operator<<(std::ostream& os, const preformatted& x) {
  putRaw(os, x.text);
  return os;
}

std::ostream& operator<<(std::ostream& os, const href& x) {
  if (!isHTMLStream(os)) return os << x.text;
  if (x.link.empty()) return os << tag2{"span", x.text, x.cls};
  putHrefOpening(os, x);
  return os << x.text << etag{"a"};
}

std::ostream& operator<<(std::ostream& os, const expander& x) {
  if (isHTMLStream(os)) return os << tag2{"span", "-", "expander", x.id} << ' ';
  return x.noPadding ? os : os << "  ";
}

std::ostream& operator<<(std::ostream& os, const def& x) {
  if (!isHTMLStream(os)) {
    os << x.name;
    return x.id.empty() ? os : os << x.addr;
  }
  putEntryHead(os, x.id);
  os << tag{"div", "desc", x.id} << tag{"div", "desc_hdr", x.id};
  os << tag2{"span", x.name, "descName", x.id};
  putAddress(os, x);
  return os << etag{"div"};  // of "desc_hdr"; "desc" stays open
}

std::ostream& operator<<(std::ostream& os, const tree&) {
  if (isHTMLStream(os)) putRaw(os, contentOpening());
  return os;
}

std::ostream& operator<<(std::ostream& os, const etree&) {
  if (isHTMLStream(os)) putRaw(os, "</div>\n");
  return os;
}

std::ostream& operator<<(std::ostream& os, const defs&) {
  if (!isHTMLStream(os)) return os;
  putRaw(os, definitionsOpening());
  putRaw(os, dummyDefinitionHead());
  setJsString(os, true);
  return os;
}

std::ostream& operator<<(std::ostream& os, const edefs&) {
  if (!isHTMLStream(os)) return os;
  setJsString(os, false);
  putRaw(os, definitionsClosing());
  return os;
}

}  // namespace quillon::nimbo::html
