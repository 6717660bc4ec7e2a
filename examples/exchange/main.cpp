/// Models of other tools, and for them: reads an Ecore meta-model and an XMI model of it, given nothing else, writes
/// both again, and proves that what was written is what was read.
///
///     exchange META_MODEL.ecore MODEL.xmi [FOLDER]
///
/// The new files go to FOLDER (the current one) under the names of the old ones. Exit status 0 when both came back
/// equal.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>

namespace {

namespace fs = std::filesystem;
using namespace tarn::kern;

void write(const fs::path& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) throw std::runtime_error(file.string() + ": cannot be written");
}

std::vector<meta::Package> importMetaModel(const fs::path& file) {
  ecore::EcoreImporter importer;
  std::vector<meta::Package> packages = importer.importFile(file.u16string());
  for (const std::string& warning : importer.warnings()) std::cerr << "note: " << warning << '\n';
  return packages;
}

Model readModel(const fs::path& file) {
  const Model model = Model::create(ModelSpec());
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseFile(file.u16string());
  return model;
}

std::string textOf(const Model& model, const std::vector<meta::Package>& packages, const fs::path& metaModel) {
  io::XmlSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  for (const meta::Package& package : packages) {
    serializer.setSchemaLocation(package->getUri(), metaModel.filename().u16string());
  }
  std::string text;
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

void run(const fs::path& metaModel, const fs::path& modelFile, const fs::path& folder) {
  const std::vector<meta::Package> packages = importMetaModel(metaModel);
  const std::string metaModelText = ecore::EcoreExporter().toText(packages);
  const Model model = readModel(modelFile);
  const std::string modelText = textOf(model, packages, metaModel);
  fs::create_directories(folder);
  const fs::path newMetaModel = folder / metaModel.filename();
  const fs::path newModel = folder / modelFile.filename();
  if (fs::exists(newMetaModel) && fs::equivalent(newMetaModel, metaModel)) {
    throw std::runtime_error(folder.string() + ": the files lie there already; name another folder");
  }
  write(newMetaModel, metaModelText);
  write(newModel, modelText);

  const Model sameMetaModel = readModel(newModel);
  if (const auto difference = firstDifference(model, sameMetaModel)) throw std::runtime_error(difference->text());
  meta::MetaRegistry::getInstance()->reset();  // as if this were another program
  const std::vector<meta::Package> packagesAgain = importMetaModel(newMetaModel);
  if (ecore::EcoreExporter().toText(packagesAgain) != metaModelText)
    throw std::runtime_error("the meta-model has changed");
  if (textOf(readModel(newModel), packagesAgain, metaModel) != modelText)
    throw std::runtime_error("the model has changed");
  std::cout << newMetaModel.string() << " and " << newModel.string() << ": " << model->getElementCount()
            << " elements, equal to what was read\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: exchange META_MODEL.ecore MODEL.xmi [FOLDER]\n";
    return 2;
  }
  try {
    run(argv[1], argv[2], argc > 3 ? fs::path(argv[3]) : fs::current_path());
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "exchange: " << error.what() << '\n';
    return 1;
  }
}
