#include "MetaModels.h"
#include "ModelOutput.h"
#include "OutputFile.h"
#include "Progress.h"
#include "RandomModel.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runGenerate(const GenerateOptions& options) {
  static_cast<void>(targetForm(options.out, options.to));
  refuseExisting(options.out, options.force);
  loadMetaModels(options.metaModels);
  WritingOptions writing;
  writing.to = options.to;
  writing.force = options.force;
  tarn::kern::Model model;
  {
    const Progress progress("making a model");
    model = randomModel(options.elements, options.seed);
  }
  writeModel(model, options.out, writing);
  return kFine;
}

}  // namespace nimbo_tool
