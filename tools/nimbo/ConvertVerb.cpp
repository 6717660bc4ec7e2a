#include "MetaModels.h"
#include "ModelOutput.h"
#include "OutputFile.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runConvert(const ConvertOptions& options) {
  // What is wrong with the command line shows before a large file has been read.
  static_cast<void>(targetForm(options.out, options.to));
  refuseExisting(options.out, options.force);
  loadMetaModels(options.reading.metaModels);
  const tarn::kern::Model input = readModel(options.in, options.reading);
  WritingOptions writing;
  writing.to = options.to;
  writing.force = options.force;
  if (options.withHeader)
    writing.header = options.reading.magic.empty() ? std::string(kDefaultMagic) : options.reading.magic;
  writeModel(input, options.out, writing);
  return kFine;
}

}  // namespace nimbo_tool
