#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include <tarn/kern/io/ParseError.h>

struct XML_ParserStruct;

/// The way in for XML: a streaming reader that hands out start tags, end tags and text. It is the only place that knows
/// the parser library behind it.
namespace tarn::kern::io::xml {

/// The attributes of a start tag: names and values in turn, ended by a null pointer. All UTF-8. The address of a name
/// stays the same for all attributes of that name in a document; values live until the call returns.
using AttributeList = const char* const*;

/// Is told what stands in a document. What it throws ends the reading and arrives at the caller of XmlReader::parse.
class XmlHandler {
 public:
  XmlHandler() = default;
  XmlHandler(const XmlHandler&) = delete;
  XmlHandler& operator=(const XmlHandler&) = delete;
  virtual ~XmlHandler() = default;

  virtual void startElement(const char* name, AttributeList attributes) = 0;
  virtual void endElement() = 0;
  /// Character data, in as many pieces as it pleases the parser.
  virtual void text(std::string_view piece) = 0;
};

/// Reads one document. UTF-8, UTF-16 and ISO-8859-1 are understood, with a byte-order mark or without. A DOCTYPE is
/// refused: with it go entities, and with them all that a document could make a reader fetch or blow up. Depth and the
/// number of attributes have no limit of their own; time and memory are in proportion to the text.
class XmlReader {
 public:
  /// `source` is what errors call the document.
  XmlReader(XmlHandler& handler, std::string source);
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;
  ~XmlReader();

  /// @throws ParseError for text that is no well-formed XML; what the handler throws.
  void parse(std::string_view bytes);

  /// Where the reader stands, in bytes of the document: for errors that show only later.
  [[nodiscard]] std::uint64_t offset() const noexcept;
  /// Line and column of the current event.
  [[nodiscard]] ParsePlace place() const;
  /// Line and column of an offset. Takes time in proportion to the text before it.
  [[nodiscard]] ParsePlace placeOf(std::uint64_t offset) const;

 private:
  struct Callbacks;
  friend struct Callbacks;
  void stop() noexcept;
  [[noreturn]] void failOfParser() const;

  XmlHandler& fHandler;
  std::string fSource;
  std::string_view fBytes;
  struct Release {
    void operator()(XML_ParserStruct* parser) const noexcept;
  };
  std::unique_ptr<XML_ParserStruct, Release> fParser;
  std::exception_ptr fThrown;
};

}  // namespace tarn::kern::io::xml
