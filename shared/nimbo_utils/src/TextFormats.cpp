#include "TextFormats.h"

#include "quillon/nimbo/BinSerializationException.h"

namespace quillon::nimbo {

namespace {

[[noreturn]] void refuseJson() {
  throw BinSerializationException(
      "Limitation: JSON text is not available in this version of the library: use one of the containers \"B\", \"Z\" "
      "and "
      "\"z\", which hold the same content");
}

}  // namespace

std::string serializeJson(const std::vector<tarn::kern::ModelElement>&) { refuseJson(); }

void parseJson(const std::string&, const tarn::kern::Model&, bool) { refuseJson(); }

}  // namespace quillon::nimbo
