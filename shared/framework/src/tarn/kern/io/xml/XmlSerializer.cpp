#include <tarn/kern/io/XmlSerializer.h>

#include "XmiWriter.h"

namespace tarn::kern::io {

struct XmlSerializer::Choices {
  xml::XmiWriter::SchemaLocations schemaLocations;
};

XmlWriteError::~XmlWriteError() = default;

XmlSerializer::XmlSerializer() : fChoices(std::make_unique<Choices>()) {}
XmlSerializer::~XmlSerializer() = default;

void XmlSerializer::setSchemaLocation(const ustring& packageUri, const ustring& location) {
  fChoices->schemaLocations[packageUri] = location;
}

void XmlSerializer::write(const std::vector<ModelElement>& elements, std::string& text) {
  xml::XmiWriter(customizer().getShouldSkipDefaultValues(), fChoices->schemaLocations).write(elements, text);
}

}  // namespace tarn::kern::io
