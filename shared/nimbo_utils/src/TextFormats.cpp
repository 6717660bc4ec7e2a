#include "TextFormats.h"

#include <bedrock/i18n.h>

#include "quillon/nimbo/BinSerializationException.h"

namespace quillon::nimbo {

namespace {

[[noreturn]] void refuseJson() {
  throw BinSerializationException(
      "Limitation: JSON text is not available in this version of the library: use one of the containers \"B\", \"Z\" "
      "and \"z\", which hold the same content");
}

std::string listed(const std::vector<std::u16string>& uris) {
  std::string list;
  for (const std::u16string& uri : uris) list += (list.empty() ? "" : ", ") + bedrock::i18n::to_string(uri);
  return list;
}

}  // namespace

std::string serializeJson(const std::vector<tarn::kern::ModelElement>&) { refuseJson(); }

void parseJson(const std::string&, const tarn::kern::Model&, bool) { refuseJson(); }

void parseOlderStream(StreamIArchive&, const std::vector<std::u16string>& packageUris, const tarn::kern::Model&, bool) {
  throw BinSerializationException(
      "Limitation: the stream is of package versions that are not all current (" + listed(packageUris) +
      "), and this version of the library cannot adapt older content: read it where these versions are registered");
}

}  // namespace quillon::nimbo
