#pragma once

#include <memory>
#include <string>

#include <tarn/export.h>
#include <tarn/kern/io/Parser.h>

namespace tarn::kern::io {

/// Reads the XML form of a model: XMI documents, our own and those of other modelling tools (docs/formats/xml.md). The
/// packages must be registered, from Ecore files for example (ecore/EcoreImporter.h).
///
/// Text may be UTF-8, UTF-16 or ISO-8859-1, with a byte-order mark or without. A document with a DOCTYPE is refused,
/// and no document makes the parser reach over a network. Nesting may have any depth.
///
/// An element without a uuid gets one that is made from its `xmi:id`, or from its place in the document: reading a file
/// twice gives equal models.
///
/// References into other documents: documents whose place is known (see setDocumentPath and mapUri), and the
/// meta-models of registered packages, are read into the same model, once each; their elements are further top-level
/// elements. A reference into a document that is not to be found is left out, with a warning in the log.
class TARN_EXPORT XmlParser : public Parser {
 public:
  XmlParser();
  ~XmlParser() override;

  void parseString(const std::string& text) override;

  /// The same for a file; errors name it, and references of other documents are looked for beside it.
  /// @throws ParseError also when the file cannot be read.
  void parseFile(const ustring& path);

  /// Where the text of parseString lies: what references into other documents are relative to. Empty in the start
  /// state: then relative references lead nowhere.
  void setDocumentPath(const ustring& path);
  /// The file that stands for a document URI, or for all URIs that begin with one ending in "/".
  void mapUri(const ustring& uri, const ustring& path);

 private:
  struct Places;
  std::unique_ptr<Places> fPlaces;
};

}  // namespace tarn::kern::io
