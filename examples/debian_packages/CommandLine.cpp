#include "CommandLine.h"

#include <cstddef>

namespace debian_packages {
namespace {

/// Walks along the arguments.
class Parser {
 public:
  Parser(const std::vector<std::string>& arguments, const std::filesystem::path& sample)
      : fArguments(arguments), fSample(sample) {}

  CommandLine parse() {
    for (; fAt < fArguments.size(); ++fAt) parseOption(fArguments[fAt]);
    return std::move(fLine);
  }

 private:
  void parseOption(const std::string& option) {
    if (option == "--help") {
      fLine.wantsHelp = true;
    } else if (option == "--files") {
      fLine.read.readsFileLists = true;
    } else if (option == "--archive") {
      fLine.read.readsArchives = true;
    } else if (option == "--out") {
      fLine.outDirectory = argumentOf(option);
    } else if (option == "--section") {
      fLine.section = argumentOf(option);
    } else if (option == "--apt-helper") {
      fLine.read.aptHelper = argumentOf(option);
    } else if (option == "--sample") {
      nameDatabase(option);
      useSample(fLine, fSample);
    } else if (option == "--status") {
      nameDatabase(option);
      fLine.read.statusFile = argumentOf(option);
    } else if (option == "--root") {
      nameDatabase(option);
      useRoot(argumentOf(option));
    } else {
      throw UsageError("unknown argument \"" + option + "\"");
    }
  }

  const std::string& argumentOf(const std::string& option) {
    if (++fAt == fArguments.size() || fArguments[fAt].empty()) throw UsageError(option + " needs an argument");
    return fArguments[fAt];
  }

  void nameDatabase(const std::string& option) {
    if (fLine.namesDatabase) throw UsageError(option + " names a second database");
    fLine.namesDatabase = true;
  }

  void useRoot(const std::filesystem::path& root) {
    fLine.read.statusFile = root / fLine.read.statusFile.relative_path();
    fLine.read.listsDirectory = root / fLine.read.listsDirectory.relative_path();
  }

  const std::vector<std::string>& fArguments;
  const std::filesystem::path& fSample;
  std::size_t fAt = 0;
  CommandLine fLine;
};

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments, const std::filesystem::path& sample) {
  return Parser(arguments, sample).parse();
}

void useSample(CommandLine& line, const std::filesystem::path& sample) {
  line.usesSample = true;
  line.read.statusFile = sample / "status";
  line.read.listsDirectory = sample / "lists";
}

std::string usageText() {
  return R"(usage: debian_packages [option...]

Builds a model of a package database, saves it as "B", "Z" and "z", loads each file back and compares. Then clones a
section's packages, prints them as debian.txt and debian.html, and tells what an edit of them changed.

  --out DIR          where these files go; made if missing (default: the current directory)
  --files            also the file tree, from the packages' lists and digests
  --archive          also the packages that apt knows of, from its lists
  --section NAME     the section to clone (default: one of moderate size)
  --status FILE      this status file; the packages' lists lie in "info" beside it (default: /var/lib/dpkg/status)
  --root DIR         the database of the system whose root directory this is
  --sample           the sample database of this example; also used where there is no /var/lib/dpkg/status
  --apt-helper FILE  what unpacks apt's lists (default: /usr/lib/apt/apt-helper)
  --help             this text

Ends with 0 when every model came back equal, with 1 when one did not or something failed, with 2 when the arguments
make no sense.
)";
}

}  // namespace debian_packages
