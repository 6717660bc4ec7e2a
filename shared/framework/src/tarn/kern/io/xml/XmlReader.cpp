#include "XmlReader.h"

#include <algorithm>
#include <new>
#include <utility>

#include <expat.h>

namespace tarn::kern::io::xml {

namespace {

// Each piece is a call into the parser; its lengths are ints. The text itself is not copied, but for what a border
// cuts.
constexpr std::size_t kPieceBytes = std::size_t{64} << 20U;

XML_Parser asParser(XML_ParserStruct* parser) noexcept { return parser; }

}  // namespace

/// The C side. No exception may pass through the parser's frames: it is kept, and thrown when they are gone.
struct XmlReader::Callbacks {
  template <class F>
  static void guarded(void* self, F&& action) noexcept {
    auto& reader = *static_cast<XmlReader*>(self);
    if (reader.fThrown) return;  // the parser may deliver what it has begun
    try {
      action(reader);
    } catch (...) {
      reader.fThrown = std::current_exception();
      reader.stop();
    }
  }

  static void XMLCALL start(void* self, const char* name, const char** attributes) noexcept {
    guarded(self, [&](XmlReader& reader) { reader.fHandler.startElement(name, attributes); });
  }
  static void XMLCALL end(void* self, const char* /*name*/) noexcept {
    guarded(self, [](XmlReader& reader) { reader.fHandler.endElement(); });
  }
  static void XMLCALL text(void* self, const char* piece, int size) noexcept {
    guarded(self,
            [&](XmlReader& reader) { reader.fHandler.text(std::string_view(piece, static_cast<std::size_t>(size))); });
  }
  /// Names of encodings that tools use for what the parser knows under other names.
  static int XMLCALL encoding(void* /*data*/, const char* name, XML_Encoding* info) noexcept {
    const auto isNamed = [name](std::string_view other) {
      const std::string_view given(name);
      return std::equal(given.begin(), given.end(), other.begin(), other.end(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
      });
    };
    const bool isAscii = isNamed("ascii");
    const bool isLatin = isNamed("latin1") || isNamed("iso8859-1") || isNamed("iso_8859-1");
    if (!isAscii && !isLatin) return XML_STATUS_ERROR;
    for (int i = 0; i < 256; ++i) info->map[i] = isAscii && i > 127 ? -1 : i;
    info->data = nullptr;
    info->convert = nullptr;
    info->release = nullptr;
    return XML_STATUS_OK;
  }
  static void XMLCALL doctype(void* self, const char* name, const char* /*systemId*/, const char* /*publicId*/,
                              int /*hasInternalSubset*/) noexcept {
    guarded(self, [&](XmlReader& reader) {
      throw ParseError(reader.place(), "a document type declaration (<!DOCTYPE " + std::string(name) +
                                           ">) is not accepted, since entities could make a document reach for other "
                                           "files or grow without bound: remove it");
    });
  }
};

void XmlReader::Release::operator()(XML_ParserStruct* parser) const noexcept { XML_ParserFree(asParser(parser)); }

XmlReader::XmlReader(XmlHandler& handler, std::string source)
    : fHandler(handler), fSource(std::move(source)), fParser(XML_ParserCreate(nullptr)) {
  if (!fParser) throw std::bad_alloc();
  XML_SetUserData(fParser.get(), this);
  XML_SetElementHandler(fParser.get(), &Callbacks::start, &Callbacks::end);
  XML_SetCharacterDataHandler(fParser.get(), &Callbacks::text);
  XML_SetUnknownEncodingHandler(fParser.get(), &Callbacks::encoding, nullptr);
  XML_SetStartDoctypeDeclHandler(fParser.get(), &Callbacks::doctype);
}

XmlReader::~XmlReader() = default;

void XmlReader::stop() noexcept { static_cast<void>(XML_StopParser(fParser.get(), XML_FALSE)); }

void XmlReader::parse(std::string_view bytes) {
  fBytes = bytes;
  bool isLast = false;
  while (!isLast) {
    const std::string_view piece = bytes.substr(0, kPieceBytes);
    bytes.remove_prefix(piece.size());
    isLast = bytes.empty();
    const XML_Status status =
        XML_Parse(fParser.get(), piece.data(), static_cast<int>(piece.size()), isLast ? XML_TRUE : XML_FALSE);
    if (fThrown) std::rethrow_exception(fThrown);
    if (status == XML_STATUS_ERROR) failOfParser();
  }
}

void XmlReader::failOfParser() const {
  const XML_Error code = XML_GetErrorCode(fParser.get());
  if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
  const auto fail = [&](const std::string& problem) { throw ParseError(place(), problem); };
  switch (code) {
    case XML_ERROR_UNKNOWN_ENCODING:
    case XML_ERROR_INCORRECT_ENCODING:
      fail("the encoding that the document declares is not understood: save it as UTF-8, UTF-16 or ISO-8859-1");
      break;
    case XML_ERROR_UNDEFINED_ENTITY:
      fail("an entity is used that nothing defines: only &lt; &gt; &amp; &quot; &apos; and numbers are understood");
      break;
    case XML_ERROR_NO_ELEMENTS:
      fail("the document ends before an element has begun or ended: it is empty or cut off");
      break;
    case XML_ERROR_UNCLOSED_TOKEN:
    case XML_ERROR_PARTIAL_CHAR:
      fail("the document ends in the middle of something: it is cut off");
      break;
    default:
      fail(std::string("no well-formed XML: ") + XML_ErrorString(code));
      break;
  }
  throw ParseError(place(), "no well-formed XML");
}

std::uint64_t XmlReader::offset() const noexcept {
  const XML_Index index = XML_GetCurrentByteIndex(fParser.get());
  return index < 0 ? fBytes.size() : static_cast<std::uint64_t>(index);
}

ParsePlace XmlReader::place() const {
  ParsePlace place;
  place.source = fSource;
  place.line = XML_GetCurrentLineNumber(fParser.get());
  place.column = XML_GetCurrentColumnNumber(fParser.get()) + 1;
  return place;
}

ParsePlace XmlReader::placeOf(std::uint64_t offset) const {
  const std::string_view before = fBytes.substr(0, static_cast<std::size_t>(offset));
  const bool isWide = fBytes.starts_with("\xFE\xFF") || fBytes.starts_with("\xFF\xFE") ||
                      fBytes.substr(0, 2).find('\0') != std::string_view::npos;
  const std::size_t width = isWide ? 2 : 1;
  ParsePlace place;
  place.source = fSource;
  place.line = 1;
  std::size_t lineBegin = 0;
  for (std::size_t i = 0; i + width <= before.size(); i += width) {
    const bool isLineFeed = isWide ? (before[i] ^ before[i + 1]) == '\n' && (before[i] & before[i + 1]) == 0 &&
                                         (before[i] == '\n' || before[i + 1] == '\n')
                                   : before[i] == '\n';
    if (!isLineFeed) continue;
    ++place.line;
    lineBegin = i + width;
  }
  place.column = before.size() - lineBegin + 1;
  return place;
}

}  // namespace tarn::kern::io::xml
