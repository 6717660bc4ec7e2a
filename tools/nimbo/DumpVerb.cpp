

#include <sstream>

#include <quillon/nimbo/BinParser.h>

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
  // On a terminal a line must end; in a file the text stays what the library gives.
  writeFile(options.out, options.pretty ? prettyJson(text) : options.out == "-" ? text + "\n" : text, options.force);
  return kFine;
}

}  // namespace nimbo_tool
