#include "TextFormats.h"

#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>

namespace quillon::nimbo {

namespace io = tarn::kern::io;

std::string serializeJson(const std::vector<tarn::kern::ModelElement>& elements) {
  io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  std::string text;
  {
    const io::SerializationOutput output = io::SerializationOutput::forUTF8String(text);
    serializer.serialize(elements, output);
  }  // only then the text is complete
  return text;
}

void parseJson(const std::string& text, const tarn::kern::Model& model, bool evolveIfNeeded) {
  io::JSONParser parser;
  parser.getCustomizer()->setEvolveIfNeeded(evolveIfNeeded);
  parser.setModel(model);
  parser.parseString(text);
}

}  // namespace quillon::nimbo
