#pragma once

#include <ostream>
#include <string>

#include <quillon/nimbo/export.h>

namespace quillon::nimbo::html {

/// The file of a report page, written as a stream.
///
/// Opening it writes the head of the page, closing it writes the legend and the end of the page; what is streamed in
/// between is escaped for HTML, and the manipulators (Manipulators.h) write the markup. PrettyPrinter::generateHTMLFile
/// is the usual user; a program that lays out pages of its own may use it directly.
///
/// A file that cannot be opened is lost in silence: the constructor and the destructor return normally, this stream
/// stays good, and no file is made. Who must know checks the folder before or the file afterwards.
///
/// std::flush and std::endl do not reach the file, which is buffered on its own and complete once this object is gone.
/// rdbuf() belongs to this stream; whoever redirects it must put it back before the stream is destroyed.
/// Threads: one at a time.
class NIMBO_EXPORT OFStream : public std::ostream {
 public:
  /// Creates or truncates `path` and writes the page head to it.
  OFStream(const std::string& path);  // not explicit: this is how it has always been callable
  OFStream(const OFStream&) = delete;
  OFStream& operator=(const OFStream&) = delete;

  /// Writes the legend and the end of the page, and closes the file. Runs also when an exception cuts the page short.
  virtual ~OFStream();
};

}  // namespace quillon::nimbo::html
