#pragma once

#include <memory>
#include <string>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/export.h>
#include <tarn/kern/ecore/EcoreError.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::ecore {

using bedrock::i18n::ustring;

/// Reads Ecore documents (.ecore) as meta-models and registers their packages (docs/formats/ecore.md).
///
///     EcoreImporter importer;
///     std::vector<meta::Package> packages = importer.importFile(u"library.ecore");
///
/// Documents that a document refers to are read as well, by their path relative to it or by the URI map; all packages
/// are registered together or not at all. A package whose URI is registered already is not registered again: the
/// present one is used. What Ecore can say and the kernel cannot is kept in annotations and written back by
/// EcoreExporter; what had to be bent or left out is told in warnings().
///
/// Threads: one at a time; registration as for MetaRegistry.
class TARN_EXPORT EcoreImporter {
 public:
  EcoreImporter();
  EcoreImporter(const EcoreImporter&) = delete;
  EcoreImporter& operator=(const EcoreImporter&) = delete;
  ~EcoreImporter();

  /// The file that stands for a document URI, or for all URIs that begin with one ending in "/".
  void mapUri(const ustring& uri, const ustring& path);

  /// @return the packages at the top of the document, in its order.
  /// @throws EcoreError; MetaModelError when a package contradicts what is registered.
  std::vector<meta::Package> importFile(const ustring& path);
  /// The same for a text; `name` is what errors call it. References to other documents work by the URI map only.
  std::vector<meta::Package> importText(const std::string& text, const std::string& name = "Ecore text");

  /// What the last import had to bend or to leave out, each with file and line.
  [[nodiscard]] const std::vector<std::string>& warnings() const noexcept;

  /// A document that the last import read, the first one included.
  struct Document {
    std::string path;  ///< canonical; empty for a text
    std::vector<meta::Package> packages;
  };
  [[nodiscard]] const std::vector<Document>& documents() const noexcept;

 private:
  struct Choices;
  std::unique_ptr<Choices> fChoices;
};

/// Ecore's own meta-model as a registered package: what .ecore files are models of. Registered at the first call,
/// unless a package of its URI is registered already.
[[nodiscard]] TARN_EXPORT meta::Package ecorePackage();

/// The URI of that package.
inline constexpr const char16_t* kEcoreUri = u"http://www.eclipse.org/emf/2002/Ecore";

}  // namespace tarn::kern::ecore
