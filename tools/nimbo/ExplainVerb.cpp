
#include "Explanation.h"
#include "Listing.h"
#include "OutputFile.h"
#include "StreamFile.h"
#include "Uuids.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

/// Gathers lines and hands them on in pieces: a system call per line would be most of the work.
class LineWriter {
 public:
  void add(const std::string& line) {
    fText += line;
    if (fText.size() >= kPiece) flush();
  }
  void flush() {
    const std::string text = std::move(fText);
    fText.clear();
    writeOut(text);
  }

 private:
  static constexpr std::size_t kPiece = 65536;
  std::string fText;
};

}  // namespace

ExitCode runExplain(const ExplainOptions& options) {
  InputFile file(options.file, {options.magic, std::string(kDefaultMagic)});
  requireContainer(file, "explain");
  Explanation::Selection selection;
  selection.offset = options.offset;
  if (!options.element.empty()) selection.element = parseUuid(options.element);

  LineWriter writer;
  if (file.form().headerSize > 0 && !selection.offset && !selection.element) {
    writer.add("header of " + std::to_string(file.form().headerSize) + " bytes: \"" +
               forTerminal(file.bytes().substr(0, file.form().headerSize)) +
               "\"; the container's offsets begin behind it\n");
  }
  Explanation explanation(std::string_view(file.bytes()).substr(file.form().headerSize), selection,
                          [&writer](const std::string& line) { writer.add(line); });
  try {
    const std::uint64_t taken = walkContainer(file, explanation) + file.form().headerSize;
    if (taken < file.bytes().size() && !selection.offset && !selection.element) {
      writer.add(withSeparators(file.bytes().size() - taken) + " bytes follow behind the container, at " +
                 std::to_string(taken) + " of the file\n");
    }
  } catch (const ClosedPipe&) {
    throw;
  } catch (const std::exception& error) {
    const std::string fault = faultText(error);
    writer.add("FAULT: " + fault + "\n");
    writer.flush();
    throw ToolError(file.name() + ": " + fault);
  }
  writer.flush();
  if (explanation.hasLines()) return kFine;
  throw ToolError(file.name() + (selection.element ? ": holds no element " + options.element
                                                   : ": its payload has no byte " + std::to_string(*options.offset)));
}

}  // namespace nimbo_tool
