#pragma once

#include <ostream>
#include <streambuf>
#include <string_view>

/// The escaping buffer behind the HTML aware streams, and the flag word by which a stream is known to be one.
namespace quillon::nimbo::html {

/// Passes characters on to another stream, on their way escaped as the two modes ask.
/// It has no put area, so every character comes through overflow, and the modes may change between any two characters.
/// The buffering that makes this fast enough is that of the stream behind it; nothing here forwards a flush.
class StreamBuf final : public std::streambuf {
 public:
  /// Takes `owned` over: the stream is deleted with this buffer.
  explicit StreamBuf(std::ostream* owned) : target(owned) {}
  StreamBuf(const StreamBuf&) = delete;
  StreamBuf& operator=(const StreamBuf&) = delete;
  ~StreamBuf() override { delete target; }

  /// The same as putting the characters one by one; what passes unchanged, and blanks, go on in one piece.
  void write(std::string_view text);

  std::ostream* target;   ///< the complete stream object that the characters end in; owned
  bool escape = false;    ///< HTML escaping is on
  bool jsString = false;  ///< what is written lies inside a string literal of a script

 protected:
  /// Writes one character in its escaped form. Never reports a failure: a page that cannot be written is lost silently.
  int_type overflow(int_type ch) override;
};

/// The bits of a stream's word iword(htmlFlagsIndex()). A stream that nobody touched has 0 there and is plain.
enum HtmlFlag : long {
  kHtmlAware = 1,        ///< set by the constructors of OFStream and StringStream only
  kEscapeSuspended = 2,  ///< escaping was on at the last suspendEscaping and has to come back
};

/// The index of that word, taken once while the library loads.
int htmlFlagsIndex();

/// Makes `os`, whose buffer must be a StreamBuf, an HTML aware stream. Escaping stays as it is.
void setHtmlAware(std::ostream& os);

/// The escaping buffer of an HTML aware stream, or null for any other stream. The word alone is not enough to go by:
/// std::ios::copyfmt copies it to streams that have another kind of buffer.
StreamBuf* htmlBuffer(std::ostream& os);

/// Turn escaping off for a stretch of raw markup and back to what it was. They do nothing on a plain stream.
/// The pair does not nest: an inner pair leaves escaping off for good, so a manipulator brackets only text of its own.
void suspendEscaping(std::ostream& os);
void resumeEscaping(std::ostream& os);

/// One stretch of raw markup, closed also when a stream with exceptions enabled throws.
class RawStretch {
 public:
  explicit RawStretch(std::ostream& os) : fStream(os) { suspendEscaping(fStream); }
  RawStretch(const RawStretch&) = delete;
  RawStretch& operator=(const RawStretch&) = delete;
  ~RawStretch() { resumeEscaping(fStream); }

 private:
  std::ostream& fStream;
};

}  // namespace quillon::nimbo::html
