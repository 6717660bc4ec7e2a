#include <quillon/nimbo/Cloner.h>

#include "MetaModels.h"
#include "ModelOutput.h"
#include "OutputFile.h"
#include "Selection.h"
#include "Uuids.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runExtract(const ExtractOptions& options) {
  if (options.uuidsAndOut.size() < 2) {
    throw ToolError(kWrongUsage, "expected FILE UUID... OUT: at least one uuid, and the file to write");
  }
  std::vector<std::string> uuids = options.uuidsAndOut;
  const std::string out = uuids.back();
  uuids.pop_back();
  for (const std::string& uuid : uuids) static_cast<void>(parseUuid(uuid));
  if (isUuid(out)) throw ToolError(kWrongUsage, "the last argument is the file to write, and " + out + " is a uuid");
  static_cast<void>(targetForm(out, options.to));
  refuseExisting(out, options.force);

  loadMetaModels(options.reading.metaModels);
  const tarn::kern::Model input = readModel(options.file, options.reading);
  quillon::nimbo::Cloner cloner;
  cloner.clone(selectElements(input, uuids));
  WritingOptions writing;
  writing.to = options.to;
  writing.force = options.force;
  writeModel(cloner.getTargetModel(), out, writing);
  return kFine;
}

}  // namespace nimbo_tool
