#include <cerrno>
#include <cstring>

#include <quillon/nimbo/PrettyPrinter.h>
#include <sys/stat.h>

#include "Interruption.h"
#include "MetaModels.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runReport(const ReportOptions& options) {
  if (options.out == "-") throw ToolError(kWrongUsage, "a page cannot be written to standard output: name a file");
  refuseExisting(options.out, options.force);
  loadMetaModels(options.reading.metaModels);
  const tarn::kern::Model input = readModel(options.file, options.reading);
  const Progress progress("writing " + options.out);
  TemporaryFile file(temporaryNameFor(options.out));
  quillon::nimbo::generateHTMLFile(file.path(), input);
  // A page whose file could not be opened or filled is lost in silence: what is there is looked at.
  struct stat facts {};
  if (::stat(file.path().c_str(), &facts) != 0) {
    throw ToolError(options.out + ": cannot be written: " + std::strerror(errno));
  }
  const std::string end = "</html>";
  InputFile written(file.path(), {});
  if (written.bytes().find(end, written.bytes().size() < 64 ? 0 : written.bytes().size() - 64) == std::string::npos) {
    throw ToolError(options.out + ": cannot be written as a whole; is the disk full?");
  }
  file.keepAs(options.out);
  return kFine;
}

}  // namespace nimbo_tool
