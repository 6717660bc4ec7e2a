

#include <sstream>

#include <quillon/nimbo/BinParser.h>
#include <unistd.h>

#include "OutputFile.h"
#include "PrettyJson.h"
#include "Progress.h"
#include "StreamFile.h"
#include "Verbs.h"

namespace nimbo_tool {

ExitCode runDump(const DumpOptions& options) {
  refuseExisting(options.out, options.force);
  InputFile file(options.file, {options.magic, std::string(kDefaultMagic)});
  requireContainer(file, "dump");
  std::string text;
  {
    const Progress progress("dumping " + file.name());
    try {
      std::istringstream stream(file.payload());
      text = quillon::nimbo::BinParser().parseToJSON(stream);
    } catch (const std::exception& error) {
      throw ToolError(file.name() + ": " + faultText(error) + "; `nimbo explain` shows what there is up to that place");
    }
  }
  if (options.pretty) text = prettyJson(text);
  const bool endsLine =
      !options.pretty && options.out == "-" && ::isatty(STDOUT_FILENO) != 0;  // for the prompt behind it
  writeFile(options.out, endsLine ? text + "\n" : text, options.force);
  return kFine;
}

}  // namespace nimbo_tool
