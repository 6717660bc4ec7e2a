#include "Tour.h"

#include <iomanip>
#include <ostream>
#include <sstream>

#include <quillon/nimbo/ModelDiff.h>

#include "DebianPrinter.h"
#include "Report.h"
#include "SectionCopy.h"
#include "Stopwatch.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using tarn::kern::Model;

/// A browser takes this many within some seconds (see the report page's tests).
constexpr std::size_t kElementsOfAPage = 100'000;

std::string seconds(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << value << " s";
  return text.str();
}

Model showCopy(const Model& model, const std::string& section, std::ostream& out) {
  Stopwatch watch;
  const SectionCopy copy = copySection(model, section);
  const double time = watch.lap();
  requireCopied(model, section, copy);
  out << "section \"" << section << "\" cloned, packages: " << grouped(copy.packages)
      << ", elements in all: " << grouped(copy.model->getElementCount())
      << ", maintainers replaced: " << grouped(copy.maintainers) << " (" << seconds(time) << ")\n";
  return copy.model;
}

/// Names the file, its size and the time.
template <class Write>
void showFile(const fs::path& file, const char* what, std::ostream& out, Write write) {
  Stopwatch watch;
  write(file);
  const double time = watch.lap();
  out << file.filename().native() << ": " << what << ", " << grouped(fs::file_size(file)) << " bytes (" << seconds(time)
      << ")\n";
}

}  // namespace

void takeTour(const Model& model, const std::string& wanted, const fs::path& outDirectory, std::ostream& out) {
  out << '\n';
  const std::string section = wanted.empty() ? sectionToShow(model) : wanted;
  Model copy;
  if (section.empty()) {
    out << "note: no package names a section, so none is cloned\n";
  } else {
    copy = showCopy(model, section, out);
    showFile(outDirectory / "debian.txt", "that section as text", out,
             [&](const fs::path& file) { writeText(copy, file); });
  }
  const bool isWhole = !copy || model->getElementCount() <= kElementsOfAPage;
  showFile(outDirectory / "debian.html", isWhole ? "all as a page to browse in" : "that section as a page to browse in",
           out, [&](const fs::path& file) { writePage(isWhole ? model : copy, file); });
  if (copy) out << "\nAn edit of the section, and what it changed:\n" << quillon::nimbo::diff(copy, editedCopy(copy));
}

}  // namespace debian_packages
