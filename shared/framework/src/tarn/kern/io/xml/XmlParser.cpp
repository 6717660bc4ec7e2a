#include <map>
#include <utility>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/kern/evolution/Evolver.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/io/XmlParser.h>

#include "../ModelLoader.h"
#include "../PackageVersions.h"
#include "XmiDocuments.h"
#include "XmiRawReader.h"
#include "XmiReader.h"
#include "XmiReferences.h"

namespace tarn::kern::io {

using bedrock::i18n::ustring_to_utf8;
using xml::XmiContent;
using xml::XmiDocument;

struct XmlParser::Places {
  xml::XmiDocuments documents;
  std::string documentPath;
};

namespace {

/// One reading: the document, and those that it refers to.
class Reading {
 public:
  Reading(const Model& model, const xml::XmiDocuments& places, bool evolves)
      : fContent(model), fPlaces(places), fEvolves(evolves) {}

  /// @throws xml::StaleContent
  void run(const std::string& text, const std::string& path, const std::string& source) {
    XmiDocument& document = fContent.documents.emplace_back();
    document.name = path.empty() ? std::string() : xml::XmiDocuments::canonicalPath(path);
    document.source = source;
    document.text = text;
    if (!path.empty()) fNumbers.emplace(document.name, 0);
    xml::XmiReader(fContent, 0, fEvolves).read();
    const auto find = [&](std::uint32_t from, std::string_view uri) { return numberOf(from, uri); };
    xml::XmiReferences(fContent, find).resolve();
  }

  [[nodiscard]] std::vector<ustring> packageUris() const {
    return fContent.documents.empty() ? std::vector<ustring>() : fContent.documents.front().packageUris;
  }

 private:
  std::optional<std::uint32_t> numberOf(std::uint32_t from, std::string_view uri) {
    const auto place = fPlaces.find(fContent.documents[from].name, uri);
    if (!place) return std::nullopt;
    const auto number = static_cast<std::uint32_t>(fContent.documents.size());
    const auto [at, isNew] = fNumbers.emplace(place->name, number);
    if (!isNew) return at->second;
    XmiDocument& document = fContent.documents.emplace_back();
    document.name = place->name;
    document.source = place->name;
    document.keyPrefix =
        place->isPackage ? place->name : xml::XmiDocuments::relativeTo(fContent.documents.front().name, place->name);
    try {
      document.ownText = fPlaces.read(*place);
    } catch (const std::runtime_error& error) {
      throw ParseError(ParsePlace{place->name, 0, 0, {}}, error.what());
    }
    document.text = document.ownText;
    try {
      xml::XmiReader(fContent, number, fEvolves).read();
    } catch (const xml::StaleContent&) {
      throw ParseError(ParsePlace{place->name, 0, 0, {}},
                       "the document is referred to by another one, but is of an older package version: read it by "
                       "itself first, and write it again");
    }
    return number;
  }

  XmiContent fContent;
  const xml::XmiDocuments& fPlaces;
  const bool fEvolves;
  std::map<std::string, std::uint32_t> fNumbers;
};

/// Content of older package versions, by way of its raw form.
void readOlder(const std::string& text, const std::string& source, const Model& model,
               const std::vector<ustring>& packageUris) {
  const evolution::Evolver evolver(packageUris);
  xml::XmiRawReader reader(text, source);
  std::vector<RawElement> roots = reader.read();
  std::erase_if(roots, [&](RawElement& root) { return !evolver.evolve(root); });
  reader.fitToCurrent(roots, model);
  ModelLoader loader(model, source);
  Transaction transaction = model->beginTransaction(false);
  for (const RawElement& root : roots) loader.mention(root);  // so that they stand in the model in their order
  for (const RawElement& root : roots) loader.load(root);
  loader.finish();
  transaction.commit(boost::none);
  loader.destroyDangling();
}

}  // namespace

XmlParser::XmlParser() : fPlaces(std::make_unique<Places>()) {}
XmlParser::~XmlParser() = default;

void XmlParser::setDocumentPath(const ustring& path) { fPlaces->documentPath = ustring_to_utf8(path); }
void XmlParser::mapUri(const ustring& uri, const ustring& path) { fPlaces->documents.mapUri(uri, path); }

void XmlParser::parseString(const std::string& text) {
  const Model& model = target();
  const std::string& path = fPlaces->documentPath;
  std::string source = customizer().getSourceName();
  if (source.empty()) source = path.empty() ? "XML text" : path;
  Reading reading(model, fPlaces->documents, customizer().getEvolveIfNeeded());
  try {
    Transaction transaction = model->beginTransaction(false);
    reading.run(text, path, source);
    transaction.commit(boost::none);
  } catch (const xml::StaleContent& stale) {
    readOlder(text, source, model, stale.packageUris);
  } catch (const ParseError& error) {
    const std::string advice = adviceForStalePackages(reading.packageUris());
    if (advice.empty()) throw;
    throw error.with(advice);
  }
}

void XmlParser::parseFile(const ustring& path) {
  const std::string name = ustring_to_utf8(path);
  std::string text;
  try {
    text = xml::readFile(name);
  } catch (const std::runtime_error& error) {
    throw ParseError(ParsePlace{name, 0, 0, {}}, error.what());
  }
  const std::string before = std::exchange(fPlaces->documentPath, name);
  try {
    parseString(text);
  } catch (...) {
    fPlaces->documentPath = before;
    throw;
  }
  fPlaces->documentPath = before;
}

}  // namespace tarn::kern::io
