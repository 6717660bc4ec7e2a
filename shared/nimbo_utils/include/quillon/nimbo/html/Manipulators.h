#pragma once

#include <ostream>
#include <string>

#include <quillon/nimbo/export.h>

/// Markup as stream manipulators: `os << tag{"b"} << text << etag{"b"}`.
///
/// One print routine serves both plain text and HTML with the same statements. On an HTML aware stream (OFStream,
/// StringStream) a manipulator writes markup and what is streamed around it is escaped; on any other stream it writes
/// nothing, or the part of it that a reader of plain text wants to see.
///
/// A manipulator holds its texts by value and is meant for one statement. An empty text means that the part is absent.
/// Texts that become markup (names, classes, ids, links, preformatted text) are written as they are: they come from the
/// program, not from a model. Texts that are shown (contents, text, name, addr) are escaped.
namespace quillon::nimbo::html {

/// True when `os` is one of this layer's HTML aware streams. Code needs it only where the two outputs really differ.
NIMBO_EXPORT bool isHTMLStream(std::ostream& os);

/// Opens an element: `<div class='desc' id='D12'>`. Plain: nothing.
/// In front of the id goes one letter that follows from the class and tells which view of a thing this is, so that one
/// number can name a thing in all its places: D desc, B desc_hdr, S descName, T descAddr, Q expander, O tree, J all
/// else. A line end follows after "div", to keep the page's text in lines.
struct tag {
  std::string name;
  std::string cls = {};  ///< the CSS class
  std::string id = {};   ///< without its letter
};

/// An element with its text: `<span class='keyword'>size</span>`. Plain: the text.
struct tag2 {
  std::string name;
  std::string contents;
  std::string cls = {};
  std::string id = {};
};

/// Closes an element: `</span>`, after "div" with a line end. Plain: nothing.
struct etag {
  std::string name;
};

/// Text that goes out as it is, on every stream: markup of one's own. Mind that a plain stream shows it too.
struct preformatted {
  std::string text;
};

/// A link around a text, or with an empty `link` a span around it. Plain: the text.
struct href {
  std::string link;
  std::string text;
  std::string target = {};
  std::string cls = {};
};

/// The button that folds the tree of the same id, and a space. Plain: the two columns that these take, so that both
/// outputs are indented alike; nothing with `noPadding`, which does not matter on a page.
struct expander {
  std::string id;
  bool noPadding = false;
};

/// Begins the description of one thing within `defs`: closes the entry before and opens its own, down to the end of the
/// header line. The description's "div" stays open: whoever writes it closes it with etag{"div"}.
/// Plain: the name, and the address if there is an id, with nothing between them.
struct def {
  std::string name;
  std::string addr = {};  ///< shown at the right of the header; needs an id
  std::string id = {};
  std::string link = {};  ///< makes the address a link
};

/// Opens and closes the pane that shows the tree. Plain: nothing.
struct tree {};
struct etree {};

/// Open and close the table of descriptions. What is written between the two becomes text of a script, which is why it
/// is escaped for that as well; it may hold nothing but `def` and what belongs to each. Plain: nothing.
struct defs {};
struct edefs {};

NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const tag& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const tag2& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const etag& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const preformatted& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const href& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const expander& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const def& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const tree& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const etree& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const defs& x);
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const edefs& x);

}  // namespace quillon::nimbo::html
