#include "quillon/nimbo/html/StringStream.h"

#include <memory>
#include <sstream>

#include "html/StreamBuf.h"

namespace quillon::nimbo::html {
namespace {

std::unique_ptr<StreamBuf> makeTextBuffer() {
  auto text = std::make_unique<std::stringstream>();
  auto buffer = std::make_unique<StreamBuf>(text.get());
  text.release();  // the buffer deletes it now
  return buffer;
}

/// Null only if the user has redirected the stream.
StreamBuf* bufferOf(const std::ostream& os) { return dynamic_cast<StreamBuf*>(os.rdbuf()); }

}  // namespace

StringStream::StringStream(bool html) : std::ostream(makeTextBuffer().release()) {
  if (!html) return;
  setHtmlAware(*this);
  if (StreamBuf* const buffer = htmlBuffer(*this)) buffer->escape = true;
}

StringStream::~StringStream() {
  exceptions(std::ios_base::goodbit);  // letting go of the buffer sets badbit, and a destructor must not throw
  if (StreamBuf* const buffer = bufferOf(*this)) {
    rdbuf(nullptr);
    delete buffer;
  }
}

std::string StringStream::str() {
  const StreamBuf* const buffer = bufferOf(*this);
  const auto* const text = buffer == nullptr ? nullptr : dynamic_cast<const std::stringstream*>(buffer->target);
  return text == nullptr ? std::string() : text->str();
}

}  // namespace quillon::nimbo::html
