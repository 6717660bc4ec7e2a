#include <tarn/kern/io/Serializer.h>

namespace tarn::kern::io {

SerializationOutput SerializationOutput::forUTF8String(std::string& text) { return SerializationOutput(text); }
SerializationOutput::~SerializationOutput() = default;

Serializer::Serializer() = default;
Serializer::~Serializer() = default;

void Serializer::serialize(const Model& model, const SerializationOutput& output) {
  if (!model) throw KernelError("a null model was to be written: pass the model that holds the content");
  serialize(model->getTopLevelElements(), output);
}

void Serializer::serialize(const std::vector<ModelElement>& elements, const SerializationOutput& output) {
  std::string& text = output.text();
  const std::size_t before = text.size();
  try {
    write(elements, text);
  } catch (...) {
    text.resize(before);
    throw;
  }
}

}  // namespace tarn::kern::io
