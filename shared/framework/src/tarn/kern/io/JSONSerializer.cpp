#include <tarn/kern/io/JSONSerializer.h>

#include "JsonModelWriter.h"

namespace tarn::kern::io {

JSONSerializer::JSONSerializer() = default;
JSONSerializer::~JSONSerializer() = default;

void JSONSerializer::write(const std::vector<ModelElement>& elements, std::string& text) {
  JsonModelWriter(text, customizer().getShouldSkipDefaultValues()).write(elements);
}

}  // namespace tarn::kern::io
