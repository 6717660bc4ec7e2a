#include "ExchangeForms.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>

#include <bedrock/i18n.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "Report.h"
#include "RoundTrip.h"
#include "Stopwatch.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using tarn::kern::Model;
using tarn::kern::meta::MetaRegistry;
using tarn::kern::meta::Package;

constexpr const char16_t* kMetaModelFile = u"debian.ecore";

void writeText(const fs::path& file, const std::string& text) {
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (out) return;
  throw RoundTripError(file.native() + ": cannot be written" +
                       (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
}

/// The model is of one package: that of its root.
Package packageOf(const Model& model) { return model->getTopLevelElements().at(0)->getMetaClass()->getOwningPackage(); }

std::string xmiOf(const Model& model) {
  tarn::kern::io::XmlSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.setSchemaLocation(packageOf(model)->getUri(), kMetaModelFile);
  std::string text;
  serializer.serialize(model, tarn::kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

Model modelOf(const fs::path& file) {
  Model model = Model::create(tarn::kern::ModelSpec());
  tarn::kern::io::XmlParser parser;
  parser.setModel(model);
  parser.parseFile(file.u16string());
  return model;
}

std::ostream& lineAbout(std::ostream& out, const fs::path& file) {
  return out << std::left << std::setw(18) << file.filename().native() << std::right << std::setw(13)
             << grouped(fs::file_size(file)) << " bytes  ";
}

std::string seconds(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << value << " s";
  return text.str();
}

}  // namespace

void showExchangeForms(const Model& model, const fs::path& outDirectory, std::ostream& out) {
  const fs::path metaModelFile = outDirectory / fs::path(kMetaModelFile);
  const fs::path modelFile = outDirectory / "debian.xmi";
  try {
    writeText(metaModelFile, tarn::kern::ecore::EcoreExporter().toText(packageOf(model)));
    Stopwatch watch;
    writeText(modelFile, xmiOf(model));
    const double writing = watch.lap();
    const Model loaded = modelOf(modelFile);
    const double reading = watch.lap();
    requireEqual(model, loaded);
    out << '\n';
    lineAbout(out, metaModelFile) << "the meta-model, for other tools\n";
    lineAbout(out, modelFile) << "written in " << seconds(writing) << ", read in " << seconds(reading) << '\n';
  } catch (const RoundTripError&) {
    throw;
  } catch (const std::exception& e) {  // the libraries know no file
    throw RoundTripError(modelFile.native() + ": " + e.what());
  }
}

}  // namespace debian_packages
