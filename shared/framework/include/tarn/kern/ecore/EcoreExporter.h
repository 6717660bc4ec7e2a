#pragma once

#include <map>
#include <string>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/export.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::ecore {

using bedrock::i18n::ustring;

/// Writes registered packages as Ecore documents, which other modelling tools open (docs/formats/ecore.md). What
/// EcoreImporter has read comes out as it was, as far as Ecore gives it a meaning; packages that were defined in C++
/// come out with what Ecore can say, and with notes that the importer understands for the rest.
///
/// Threads: any; the meta-model is only read.
class TARN_EXPORT EcoreExporter {
 public:
  EcoreExporter();
  ~EcoreExporter();

  /// Where the document of another package will lie, relative to the one that is written: `books.ecore`. References to
  /// packages without a location name their URI.
  void setLocation(const ustring& packageUri, const std::string& location);

  /// The document of a package and of those inside it.
  [[nodiscard]] std::string toText(const meta::Package& package) const;
  /// One document with several packages.
  [[nodiscard]] std::string toText(const std::vector<meta::Package>& packages) const;

 private:
  std::map<ustring, std::string> fLocations;
};

}  // namespace tarn::kern::ecore
