#include <stdexcept>

#include <bedrock/i18n.h>
#include <tarn/kern/ecore/EcoreImporter.h>

#include "EcoreBuilding.h"
#include "EcoreLinks.h"

namespace tarn::kern::ecore {

using bedrock::i18n::ustring_to_utf8;

struct EcoreImporter::Choices {
  io::xml::XmiDocuments places;
  std::vector<std::string> warnings;
  std::vector<Document> documents;

  std::vector<meta::Package> run(const std::string& path, const std::string& source, const std::string& text) {
    warnings.clear();
    documents.clear();
    EcoreLinks links(places);
    links.read(path, source, text);
    EcoreBuilding building(links, warnings);
    building.run();
    for (const EcoreDocument& document : links.documents()) {
      documents.push_back({document.path, building.packagesOf(document)});
    }
    return documents.front().packages;
  }
};

EcoreImporter::EcoreImporter() : fChoices(std::make_unique<Choices>()) {}
EcoreImporter::~EcoreImporter() = default;

void EcoreImporter::mapUri(const ustring& uri, const ustring& path) { fChoices->places.mapUri(uri, path); }

std::vector<meta::Package> EcoreImporter::importFile(const ustring& path) {
  const std::string name = ustring_to_utf8(path);
  std::string text;
  try {
    text = io::xml::readFile(name);
  } catch (const std::runtime_error& error) {
    throw EcoreError(io::ParsePlace{name, 0, 0, {}}, error.what());
  }
  return fChoices->run(io::xml::XmiDocuments::canonicalPath(name), name, text);
}

std::vector<meta::Package> EcoreImporter::importText(const std::string& text, const std::string& name) {
  return fChoices->run({}, name, text);
}

const std::vector<std::string>& EcoreImporter::warnings() const noexcept { return fChoices->warnings; }
const std::vector<EcoreImporter::Document>& EcoreImporter::documents() const noexcept { return fChoices->documents; }

}  // namespace tarn::kern::ecore
