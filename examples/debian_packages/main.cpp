/// The main job on real input: a package database becomes a model, the model becomes a file in each binary form, each
/// file becomes a model again, and that must be the model which was saved. See README.md.

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "CommandLine.h"
#include "DebianModel.h"
#include "ExchangeForms.h"
#include "PlainDatabase.h"
#include "Report.h"
#include "RoundTrip.h"
#include "Stopwatch.h"
#include "StoreTour.h"
#include "TextForms.h"
#include "Tour.h"

namespace debian_packages {
namespace {

using quillon::nimbo::BinFormat;
using tarn::kern::Model;

constexpr std::array kForms = {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd};

/// Where there is no package database, the sample shows what would be done with one.
void fallBackToSample(CommandLine& line) {
  if (line.namesDatabase || std::filesystem::exists(line.read.statusFile)) return;
  std::cout << "note: this machine has no " << line.read.statusFile.native()
            << ", so the sample is used, a few invented packages; --status names another file\n";
  useSample(line, DEBIAN_PACKAGES_SAMPLE);
}

/// Faults that cost no more than a package's file list: a few are told, the others counted.
void printWarnings(const std::vector<std::string>& warnings) {
  constexpr std::size_t kShown = 5;
  const std::size_t shown = std::min(kShown, warnings.size());
  for (std::size_t i = 0; i < shown; ++i) std::cerr << "warning: " << warnings[i] << '\n';
  if (warnings.size() > shown) std::cerr << "warning: and " << warnings.size() - shown << " more like these\n";
}

void noteMissingLists(const CommandLine& line, const PlainDatabase& database) {
  if (!line.read.readsArchives || !database.archives.empty()) return;
  std::cout << "note: apt has no package lists in " << line.read.listsDirectory.native()
            << "; \"apt-get update\" fetches them\n";
}

PlainDatabase read(const CommandLine& line) {
  PlainDatabase database = readDatabase(line.read);
  printDatabase(database, line.usesSample ? "sample" : line.read.statusFile.native(), std::cout);
  noteMissingLists(line, database);
  printWarnings(database.warnings);
  return database;
}

Model build(const PlainDatabase& database) {
  Model model = buildModel(database);
  const std::size_t expected = elementCount(database);
  if (model->getElementCount() == expected) return model;
  throw RoundTripError("the model has " + std::to_string(model->getElementCount()) + " elements instead of " +
                       std::to_string(expected));
}

void run(CommandLine line) {
  fallBackToSample(line);
  JobFigures job;
  Stopwatch watch;
  Model model;
  {
    const PlainDatabase database = read(line);
    job.readSeconds = watch.lap();
    model = build(database);
    job.buildSeconds = watch.lap();
    std::filesystem::create_directories(line.outDirectory);
    saveOlderVersion(database, line.outDirectory);
  }
  job.elements = model->getElementCount();
  job.properties = savedPropertyCount(model);

  for (const BinFormat format : kForms) {
    const std::string letter(1, static_cast<char>(format));
    job.forms.push_back({letter, roundTrip(model, format, line.outDirectory / ("debian." + letter))});
  }
  printFigures(job, std::cout);
  std::cout << "\nEach file was loaded into a new model that is equal to the one saved and saves as the same bytes.\n";
  showTextForms(model, line.outDirectory, std::cout);
  showExchangeForms(model, line.outDirectory, std::cout);
  takeStoreTour(model, line.outDirectory, std::cout);
  takeTour(model, line.section, line.outDirectory, std::cout);
}

/// 0 when all is well; see usageText().
int runProgram(const std::vector<std::string>& arguments) {
  try {
    CommandLine line = parseCommandLine(arguments, DEBIAN_PACKAGES_SAMPLE);
    if (line.wantsHelp) {
      std::cout << usageText();
    } else {
      run(std::move(line));
    }
    std::cout.flush();
    if (std::cout) return 0;
    std::cerr << "debian_packages: standard output cannot be written\n";
  } catch (const UsageError& e) {
    std::cerr << "debian_packages: " << e.what() << "; --help tells what there is\n";
    return 2;
  } catch (const std::exception& e) {
    std::cerr << "debian_packages: " << e.what() << '\n';
  }
  return 1;
}

}  // namespace
}  // namespace debian_packages

int main(int argc, char** argv) { return debian_packages::runProgram({argv + std::min(argc, 1), argv + argc}); }
