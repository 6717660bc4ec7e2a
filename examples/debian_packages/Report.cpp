#include "Report.h"

#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace debian_packages {
namespace {

std::string counted(std::size_t number, const char* one, const char* many) {
  return grouped(number) + ' ' + (number == 1 ? one : many);
}

std::string seconds(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << value;
  return text.str();
}

/// A step too short for the clock has no speed.
std::string perSecond(std::size_t elements, double time) {
  if (time <= 0) return "-";
  return grouped(static_cast<std::uint64_t>(std::llround(static_cast<double>(elements) / time)));
}

/// Each cell to the right of its column but the first, which is to the left.
void printRow(std::ostream& out, const std::vector<int>& widths, const std::vector<std::string>& cells) {
  out << std::left << std::setw(widths[0]) << cells[0] << std::right;
  for (std::size_t i = 1; i < cells.size(); ++i) out << std::setw(widths[i]) << cells[i];
  out << '\n';
}

}  // namespace

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t end = text.size(); end > 3;) {
    end -= 3;
    text.insert(end, 1, ',');
  }
  return text;
}

void printDatabase(const PlainDatabase& database, const std::string& statusFile, std::ostream& out) {
  out << statusFile << ": " << counted(database.packages.size(), "package", "packages");
  const FileTree& tree = database.fileTree;
  if (!tree.directories.empty()) {
    out << ", " << counted(tree.directories.size(), "directory", "directories") << ", "
        << counted(tree.files.size(), "file", "files");
  }
  std::size_t offered = 0;
  std::size_t repeated = 0;
  for (const PlainArchive& archive : database.archives) {
    offered += archive.packages.size();
    repeated += archive.repeatedStanzas;
  }
  if (!database.archives.empty()) {
    out << "; " << counted(database.archives.size(), "archive", "archives") << ": "
        << counted(offered, "package", "packages");
    if (repeated != 0) out << ", " << counted(repeated, "repeated one", "repeated ones") << " left out";
  }
  out << '\n';
}

void printFigures(const JobFigures& job, std::ostream& out) {
  out << grouped(job.elements) << " elements, " << grouped(job.properties) << " properties saved\n\n";

  const std::vector<int> stepWidths = {16, 10, 13};
  printRow(out, stepWidths, {"step", "seconds", "elements/s"});
  printRow(out, stepWidths, {"read the files", seconds(job.readSeconds), perSecond(job.elements, job.readSeconds)});
  printRow(out, stepWidths, {"build the model", seconds(job.buildSeconds), perSecond(job.elements, job.buildSeconds)});

  const std::vector<int> formWidths = {4, 14, 12, 10, 14, 10, 14, 11, 14};
  out << '\n';
  printRow(
      out, formWidths,
      {"form", "bytes", "per element", "save s", "elements/s", "load s", "elements/s", "compare s", "save again s"});
  for (const auto& [letter, figures] : job.forms) {
    printRow(out, formWidths,
             {letter, grouped(figures.fileBytes), grouped(figures.fileBytes / job.elements),
              seconds(figures.saveSeconds), perSecond(job.elements, figures.saveSeconds), seconds(figures.loadSeconds),
              perSecond(job.elements, figures.loadSeconds), seconds(figures.compareSeconds),
              seconds(figures.saveAgainSeconds)});
  }
}

}  // namespace debian_packages
