#include "DebianModel.h"
#include "MetaModels.h"
#include "ModelOutput.h"
#include "OutputFile.h"
#include "PlainDatabase.h"
#include "Progress.h"
#include "Talk.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runImportDebian(const ImportOptions& options) {
  static_cast<void>(targetForm(options.out, options.to));
  refuseExisting(options.out, options.force);
  tarn::kern::Model model;
  try {
    const Progress progress("reading " + options.status);
    debian_packages::ReadOptions reading;
    reading.statusFile = options.status;
    const debian_packages::PlainDatabase database = debian_packages::readDatabase(reading);
    for (const std::string& warning : database.warnings) warn(warning);
    model = debian_packages::buildModel(database);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw ToolError(error.what());
  }
  WritingOptions writing;
  writing.to = options.to;
  writing.force = options.force;
  writeModel(model, options.out, writing);
  return kFine;
}

}  // namespace nimbo_tool
