#pragma once

#include <memory>
#include <string>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/io/Serializer.h>

namespace tarn::kern::io {

/// What in a model an XML document cannot carry: a control character, a lone surrogate, U+FFFE or U+FFFF, or bytes that
/// are no UTF-8. The text names the element and the property. Nothing was written.
class TARN_EXPORT XmlWriteError : public KernelError {
 public:
  using KernelError::KernelError;
  XmlWriteError(const XmlWriteError&) = default;
  XmlWriteError& operator=(const XmlWriteError&) = default;
  ~XmlWriteError() override;
};

/// Writes the XML form of a model: an XMI 2.0 document (docs/formats/xml.md) that other modelling tools open as well,
/// given the meta-model (see ecore/EcoreExporter.h).
///
/// Every element bears its identity twice, as `xmi:uuid` and as `xmi:id`; single plain values and references are
/// attributes, all else are child elements. Text is UTF-8, with one element per line.
class TARN_EXPORT XmlSerializer : public Serializer {
 public:
  XmlSerializer();
  ~XmlSerializer() override;

  /// Tells other tools where the meta-model of a package URI lies, as an `xsi:schemaLocation` of the document: a path
  /// relative to it, or a URI. Only those of packages that the document uses are written.
  void setSchemaLocation(const ustring& packageUri, const ustring& location);

 private:
  void write(const std::vector<ModelElement>& elements, std::string& text) override;

  struct Choices;
  std::unique_ptr<Choices> fChoices;
};

}  // namespace tarn::kern::io
