#include <ostream>
#include <streambuf>

#include <quillon/nimbo/PrettyPrinter.h>

#include "MetaModels.h"
#include "OutputFile.h"
#include "Selection.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

/// Standard output as a stream whose failures end the run: a closed pipe is noticed at the next piece.
class StandardOutputBuf final : public std::streambuf {
 public:
  void flushAll() {
    const std::string text = std::move(fText);
    fText.clear();
    writeOut(text);
  }

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    const char byte = traits_type::to_char_type(c);
    xsputn(&byte, 1);
    return c;
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    fText.append(text, static_cast<std::size_t>(size));
    if (fText.size() >= kPiece) flushAll();
    return size;
  }

 private:
  static constexpr std::size_t kPiece = 65536;
  std::string fText;
};

}  // namespace

ExitCode runPrint(const PrintOptions& options) {
  loadMetaModels(options.reading.metaModels);
  const tarn::kern::Model input = readModel(options.file, options.reading);
  StandardOutputBuf buffer;
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit);  // lets ClosedPipe out of the printing
  quillon::nimbo::PrettyPrinter printer;
  printer.emitDefaultValues(options.defaults).emitEmptyCollections(options.emptyCollections);
  if (options.select.empty()) {
    printer.print(stream, input);
  } else {
    for (const auto& element : selectElements(input, options.select)) {
      printer.emitElement(stream, element, "", true);
    }
  }
  buffer.flushAll();
  return kFine;
}

}  // namespace nimbo_tool
