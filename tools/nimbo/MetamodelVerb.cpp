#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/meta/MetaModelFile.h>

#include "MetaModelText.h"
#include "MetaModels.h"
#include "OutputFile.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

std::string textAs(const std::string& form) {
  const auto packages = knownPackages();
  if (form == "ecore") return tarn::kern::ecore::EcoreExporter().toText(packages);
  if (form == "json") return tarn::kern::meta::writeMetaModel(packages);
  if (form == "dot") return classDiagram(packages);
  return metaModelText(packages);
}

}  // namespace

ExitCode runMetamodel(const MetamodelOptions& options) {
  refuseExisting(options.out, options.force);
  loadMetaModels(options.files);
  writeFile(options.out, textAs(options.to), options.force);
  return kFine;
}

}  // namespace nimbo_tool
