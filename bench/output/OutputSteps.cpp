#include "OutputSteps.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include <quillon/nimbo/Cloner.h>
#include <quillon/nimbo/PrettyPrinter.h>
#include <quillon/nimbo/html/OFStream.h>
#include <tarn/kern/ModelCompare.h>
#include <unistd.h>

#include "KernelModel.h"
#include "LimitCopy.h"
#include "LimitModel.h"
#include "LimitPage.h"
#include "LimitText.h"
#include "support/Measure.h"

namespace bench::output {
namespace {

namespace fs = std::filesystem;
using tarn::kern::Model;

/// A file of its own for each process, gone with it.
class PageFile {
 public:
  PageFile() : fPath(fs::temp_directory_path() / ("nimbo-bench-" + std::to_string(::getpid()) + ".html")) {}
  PageFile(const PageFile&) = delete;
  PageFile& operator=(const PageFile&) = delete;
  ~PageFile() { fs::remove(fPath); }

  [[nodiscard]] std::string path() const { return fPath.string(); }

  [[nodiscard]] std::string content() const {
    std::ifstream file(fPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  fs::path fPath;
};

limit::PageFrame readFrame() {
  const PageFile file;
  quillon::nimbo::generateHTMLFile(file.path(), Model::create(tarn::kern::ModelSpec()));
  const std::string page = file.content();
  const std::string opening = "oncontextmenu='return processContextMenu(event);'>\n";
  const std::string dummy = "'Ddummy': \"";
  const std::size_t tree = page.find(opening) + opening.size();
  const std::size_t descriptions = page.find(dummy, tree) + dummy.size();
  return {page.substr(0, tree), page.substr(tree, descriptions - tree), page.substr(descriptions)};
}

void writeFile(const std::string& path, std::string_view bytes) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  require(file != nullptr, "the page's file cannot be created");
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  require(std::fclose(file) == 0 && isWritten, "the page cannot be written");
}

/// Addresses are no part of what is compared. By hand: a regular expression takes longer than all that is measured.
std::string withoutAddresses(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t found = text.find("0x", at);
    if (found == std::string_view::npos) return result.append(text.substr(at));
    result.append(text.substr(at, found + 2 - at));
    at = text.find_first_not_of("0123456789abcdef", found + 2);
  }
  return result;
}

void requireSameText(std::string_view limit, std::string_view library, const char* what) {
  if (limit == library) return;
  std::size_t at = 0;
  while (at < limit.size() && at < library.size() && limit[at] == library[at]) ++at;
  const std::size_t from = at < 60 ? 0 : at - 60;
  std::fprintf(stderr, "%s differs at %zu:\n  limit:   %s\n  library: %s\n", what, at,
               std::string(limit.substr(from, 120)).c_str(), std::string(library.substr(from, 120)).c_str());
  require(false, what);
}

std::string printed(const Model& model) {
  std::ostringstream out;
  quillon::nimbo::print(out, model);
  return std::move(out).str();
}

Model cloned(const Model& model) {
  quillon::nimbo::Cloner cloner;
  cloner.clone(model);
  return cloner.getTargetModel();
}

}  // namespace

Figures limitSteps(const Description& description) {
  const std::size_t count = description.size();
  const std::unique_ptr<limit::Model> model = limit::build(description);
  const limit::PageFrame frame = readFrame();
  std::unique_ptr<limit::Model> copy;
  limit::ByteBuffer text;
  const PageFile file;
  Figures figures;
  figures.emplace_back("clone", nanosecondsPer(count, [&] { copy = limit::copyOf(*model); }));
  figures.emplace_back("print", nanosecondsPer(count, [&] { text = limit::textOf(*model); }));
  figures.emplace_back("page",
                       nanosecondsPer(count, [&] { writeFile(file.path(), limit::pageOf(*model, frame).view()); }));
  const auto difference = limit::firstDifference(*model, *copy);
  require(!difference, difference.value_or("").c_str());
  return figures;
}

Figures librarySteps(const Description& description, const model::BenchMetaModel& meta) {
  const std::size_t count = description.size();
  const Model model = model::build(description, meta);
  Model copy;
  std::string text;
  const PageFile file;
  Figures figures;
  figures.emplace_back("clone", nanosecondsPer(count, [&] { copy = cloned(model); }));
  figures.emplace_back("print", nanosecondsPer(count, [&] { text = printed(model); }));
  figures.emplace_back("page", nanosecondsPer(count, [&] { quillon::nimbo::generateHTMLFile(file.path(), model); }));
  const auto difference = tarn::kern::firstDifference(model, copy);
  require(!difference, difference ? difference->text().c_str() : "");
  require(text == printed(copy), "the clone prints another text");
  return figures;
}

void verifyOutputs(const Description& description, const model::BenchMetaModel& meta) {
  const std::unique_ptr<limit::Model> plain = limit::build(description);
  const Model model = model::build(description, meta);
  requireSameText(limit::textOf(*plain).view(), printed(model), "the text");
  const PageFile file;
  quillon::nimbo::generateHTMLFile(file.path(), model);
  requireSameText(withoutAddresses(limit::pageOf(*plain, readFrame()).view()), withoutAddresses(file.content()),
                  "the page");
}

}  // namespace bench::output
