#include "quillon/nimbo/html/OFStream.h"

#include <fstream>
#include <memory>

#include "html/PageTemplate.h"
#include "html/StreamBuf.h"

namespace quillon::nimbo::html {
namespace {

std::unique_ptr<StreamBuf> makeFileBuffer(const std::string& path) {
  auto file = std::make_unique<std::ofstream>(path);
  auto buffer = std::make_unique<StreamBuf>(file.get());
  file.release();  // the buffer deletes it now
  return buffer;
}

void writeVerbatim(std::ostream& os, std::string_view text) {
  os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

OFStream::OFStream(const std::string& path) : std::ostream(makeFileBuffer(path).release()) {
  setHtmlAware(*this);
  writeVerbatim(*this, pageHead());
  if (StreamBuf* const buffer = htmlBuffer(*this)) buffer->escape = true;
}

OFStream::~OFStream() {
  exceptions(std::ios_base::goodbit);  // a destructor must not throw, and letting go of the buffer sets badbit
  clear();                             // the end of the page belongs there whatever failed before
  suspendEscaping(*this);
  if (auto* const buffer = dynamic_cast<StreamBuf*>(rdbuf())) {
    buffer->jsString = false;  // still on when an exception cut the descriptions short
    writeVerbatim(*this, legendAndEnd());
    rdbuf(nullptr);
    delete buffer;  // and with it the file
  }
}

}  // namespace quillon::nimbo::html
