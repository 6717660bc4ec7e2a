#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "PlainDatabase.h"

namespace debian_packages {

/// Arguments that make no sense together or by themselves: one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the user asked for.
struct CommandLine {
  ReadOptions read;
  std::filesystem::path outDirectory = ".";
  std::string section;  ///< the one to clone; empty: let the program choose
  bool usesSample = false;
  bool namesDatabase = false;  ///< by --status, --root or --sample: then there is nothing to fall back to
  bool wantsHelp = false;
};

/// `arguments` without the program's name. `sample` is the directory of the sample database. Throws UsageError.
CommandLine parseCommandLine(const std::vector<std::string>& arguments, const std::filesystem::path& sample);

/// Makes the command line read the sample; whether it reads file lists and archives stays.
void useSample(CommandLine& line, const std::filesystem::path& sample);

/// What --help prints.
std::string usageText();

}  // namespace debian_packages
