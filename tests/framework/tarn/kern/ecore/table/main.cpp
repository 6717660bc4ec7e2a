// Tries every meta-model and model below a folder: each is read, written, read again, and compared. Prints a table.
// Usage: ecore_table FOLDER. Exit status 1 when a file that should load does not come back equal.

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <unistd.h>

#include "../PackageText.h"

namespace {

namespace fs = std::filesystem;
using bedrock::i18n::utf8_to_ustring;
using namespace tarn::kern;

struct Row {
  std::string file;
  std::string kind;
  bool isGood = false;
  std::string text;
};

std::string read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool isMetaModel(const fs::path& path) { return path.extension() == ".ecore"; }

bool isModel(const fs::path& path) {
  if (isMetaModel(path) || path.extension() == ".md") return false;
  const std::string head = read(path).substr(0, 2000);
  return head.find("<?xml") != std::string::npos && head.find("xmi:version") != std::string::npos;
}

/// The first line of an error, without the folder.
std::string shortened(std::string text, const fs::path& folder) {
  const std::string prefix = folder.string() + "/";
  for (std::size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix))
    text.erase(at, prefix.size());
  text = text.substr(0, text.find('\n'));
  return text.size() > 220 ? text.substr(0, 220) + "..." : text;
}

Row tryMetaModel(const fs::path& file, const fs::path& folder, std::vector<std::string>& remarks) {
  Row row{fs::relative(file, folder).string(), "meta-model", false, {}};
  meta::MetaRegistry::getInstance()->reset();
  try {
    ecore::EcoreImporter importer;
    const std::vector<meta::Package> first = importer.importFile(utf8_to_ustring(file.string()));
    for (const std::string& warning : importer.warnings()) remarks.push_back(shortened(warning, folder));
    const std::size_t warnings = importer.warnings().size();

    // Written to a folder of the same shape, so that the documents find each other.
    const fs::path target = fs::temp_directory_path() / ("ecore_table_" + std::to_string(::getpid()));
    fs::path written;
    std::size_t elsewhere = 0;
    for (const ecore::EcoreImporter::Document& document : importer.documents()) {
      const fs::path relative = fs::path(document.path).lexically_relative(fs::canonical(folder));
      const fs::path place = target / relative;
      fs::create_directories(place.parent_path());
      ecore::EcoreExporter exporter;
      for (const ecore::EcoreImporter::Document& other : importer.documents()) {
        const std::string location =
            fs::path(other.path).lexically_relative(fs::path(document.path).parent_path()).string();
        for (const meta::Package& package : other.packages) exporter.setLocation(package->getUri(), location);
      }
      std::ofstream(place, std::ios::binary) << exporter.toText(document.packages);
      if (written.empty()) {
        written = place;
      } else {
        ++elsewhere;
      }
    }
    meta::MetaRegistry::getInstance()->reset();
    ecore::EcoreImporter again;
    const std::vector<meta::Package> second = again.importFile(utf8_to_ustring(written.string()));
    fs::remove_all(target);
    std::string left;
    std::string right;
    for (const meta::Package& package : first) left += ecore_tests::packageText(package);
    for (const meta::Package& package : second) right += ecore_tests::packageText(package);
    const auto difference = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    row.isGood = left == right;
    const auto count = static_cast<std::size_t>(std::count(left.begin(), left.end(), '\n'));
    row.text = std::to_string(count) + " lines of description, " + std::to_string(warnings) + " remarks";
    if (elsewhere != 0) row.text += ", " + std::to_string(elsewhere) + " further documents";
    if (!row.isGood) {
      const std::size_t at = static_cast<std::size_t>(difference.first - left.begin());
      row.text = "comes back different: \"" + left.substr(at < 40 ? 0 : at - 40, 100) + "\" / \"" +
                 right.substr(at < 40 ? 0 : at - 40, 100) + "\"";
    }
  } catch (const std::exception& error) {
    row.text = "refused: " + shortened(error.what(), folder);
  }
  return row;
}

/// The meta-models below the folder by the URIs that they define.
std::multimap<std::string, fs::path> metaModelsByUri(const std::vector<fs::path>& files) {
  std::multimap<std::string, fs::path> byUri;
  const std::regex uri("nsURI=\"([^\"]*)\"");
  for (const fs::path& file : files) {
    if (!isMetaModel(file)) continue;
    const std::string text = read(file);
    for (std::sregex_iterator at(text.begin(), text.end(), uri), end; at != end; ++at) byUri.emplace((*at)[1], file);
  }
  return byUri;
}

Row tryModel(const fs::path& file, const fs::path& folder, const std::multimap<std::string, fs::path>& byUri) {
  Row row{fs::relative(file, folder).string(), isMetaModel(file) ? "model of Ecore" : "model", false, {}};
  meta::MetaRegistry::getInstance()->reset();
  try {
    static_cast<void>(ecore::ecorePackage());
    const std::string text = read(file);
    const std::regex declaration("xmlns:?[A-Za-z0-9_.]*=\"([^\"]*)\"");
    for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end; ++at) {
      const std::string uri = (*at)[1];
      if (meta::MetaRegistry::getInstance()->getPackage(utf8_to_ustring(uri))) continue;
      const auto definition = byUri.find(uri);
      if (definition != byUri.end()) {
        ecore::EcoreImporter().importFile(utf8_to_ustring(definition->second.string()));
      }
    }
    const Model model = Model::create(ModelSpec());
    io::XmlParser parser;
    parser.setModel(model);
    parser.parseFile(utf8_to_ustring(file.string()));
    io::XmlSerializer serializer;
    serializer.getCustomizer()->setShouldSkipDefaultValues(true);
    std::string written;
    serializer.serialize(model, io::SerializationOutput::forUTF8String(written));
    const Model again = Model::create(ModelSpec());
    io::XmlParser second;
    second.setModel(again);
    second.parseString(written);
    const auto difference = firstDifference(model, again);
    row.isGood = !difference;
    row.text = std::to_string(model->getElementCount()) + " elements, " +
               std::to_string(model->getTopLevelElements().size()) + " roots";
    if (difference) row.text = "comes back different: " + difference->text();
  } catch (const std::exception& error) {
    row.text = "refused: " + shortened(error.what(), folder);
  }
  return row;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: ecore_table FOLDER\n";
    return 2;
  }
  const fs::path folder = fs::canonical(arguments[1]);
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file() && (isMetaModel(entry.path()) || isModel(entry.path()))) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  const auto byUri = metaModelsByUri(files);

  std::vector<std::string> remarks;
  std::vector<Row> rows;
  for (const fs::path& file : files) {
    if (isMetaModel(file)) rows.push_back(tryMetaModel(file, folder, remarks));
  }
  for (const fs::path& file : files) rows.push_back(tryModel(file, folder, byUri));

  std::size_t good = 0;
  std::cout << "| file | read as | result | |\n|---|---|---|---|\n";
  for (const Row& row : rows) {
    good += row.isGood ? 1 : 0;
    std::cout << "| `" << row.file << "` | " << row.kind << " | " << (row.isGood ? "equal" : "**no**") << " | "
              << row.text << " |\n";
  }
  std::cout << "\n" << good << " of " << rows.size() << " come back equal.\n\nRemarks of the importer:\n\n";
  for (const std::string& remark : remarks) std::cout << "- " << remark << "\n";
  return good == rows.size() ? 0 : 1;
}
