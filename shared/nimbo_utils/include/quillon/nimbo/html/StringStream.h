#pragma once

#include <ostream>
#include <string>

#include <quillon/nimbo/export.h>

namespace quillon::nimbo::html {

/// A stream into memory, in two kinds: HTML aware, where text is escaped and the manipulators (Manipulators.h) write
/// markup, or plain, where text passes as it is and the manipulators write at most their visible text.
/// It gives a fragment of a page: unlike OFStream it writes neither a page head nor an end.
/// Threads: one at a time.
class NIMBO_EXPORT StringStream : public std::ostream {
 public:
  StringStream(bool html = true);  // not explicit: this is how it has always been callable
  StringStream(const StringStream&) = delete;
  StringStream& operator=(const StringStream&) = delete;
  virtual ~StringStream();

  /// A copy of everything that was written, as it stands after escaping.
  std::string str();
};

}  // namespace quillon::nimbo::html
