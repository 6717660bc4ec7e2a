#include "OutputSteps.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <streambuf>
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

/// A file of its own for each process, one at a time, gone with the object.
class TextFile {
 public:
  TextFile() : fPath(fs::temp_directory_path() / ("nimbo-bench-" + std::to_string(::getpid()) + ".html")) {}
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile() { fs::remove(fPath); }

  [[nodiscard]] std::string path() const { return fPath.string(); }

  [[nodiscard]] std::string content() const {
    std::ifstream file(fPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  fs::path fPath;
};

limit::PageFrame readFrame() {
  const TextFile file;
  quillon::nimbo::generateHTMLFile(file.path(), Model::create(tarn::kern::ModelSpec()));
  const std::string page = file.content();
  const std::string opening = "oncontextmenu='return processContextMenu(event);'>\n";
  const std::string dummy = "'Ddummy': \"";
  const std::size_t tree = page.find(opening) + opening.size();
  const std::size_t descriptions = page.find(dummy, tree) + dummy.size();
  return {page.substr(0, tree), page.substr(tree, descriptions - tree), page.substr(descriptions)};
}

/// A file as a straight-line program writes it: without a buffer, since the pieces are large.
class PlainFile {
 public:
  explicit PlainFile(const std::string& path) : fFile(std::fopen(path.c_str(), "wb")) {
    require(fFile != nullptr, "a file cannot be created");
    std::setvbuf(fFile, nullptr, _IONBF, 0);
  }
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;
  ~PlainFile() { require(std::fclose(fFile) == 0, "a file cannot be written"); }

  void write(std::string_view bytes) const {
    require(std::fwrite(bytes.data(), 1, bytes.size(), fFile) == bytes.size(), "a file cannot be written");
  }

 private:
  std::FILE* fFile;
};

/// What formatting alone takes: whatever is written is forgotten.
class Nowhere : public std::streambuf {
 public:
  Nowhere() { setp(fRoom.data(), fRoom.data() + fRoom.size()); }
  [[nodiscard]] std::size_t size() const { return fGone + static_cast<std::size_t>(pptr() - pbase()); }

 protected:
  int_type overflow(int_type ch) override {
    fGone += static_cast<std::size_t>(pptr() - pbase());
    setp(fRoom.data(), fRoom.data() + fRoom.size());
    return traits_type::eq_int_type(ch, traits_type::eof()) ? traits_type::not_eof(ch)
                                                            : sputc(traits_type::to_char_type(ch));
  }

 private:
  std::array<char, 1 << 16> fRoom{};
  std::size_t fGone = 0;
};

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

std::size_t formatted(const Model& model) {
  Nowhere nowhere;
  std::ostream out(&nowhere);
  quillon::nimbo::print(out, model);
  return nowhere.size();
}

void printTo(const std::string& path, const Model& model) {
  std::ofstream out(path, std::ios::binary);
  quillon::nimbo::print(out, model);
}

template <class Write>
std::string collected(Write write) {
  std::string all;
  write([&all](std::string_view piece) { all.append(piece); });
  return all;
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
  const TextFile text;
  std::unique_ptr<limit::Model> copy;
  std::size_t size = 0;
  Figures figures;
  figures.emplace_back("clone", nanosecondsPer(count, [&] { copy = limit::copyOf(*model); }));
  figures.emplace_back("format text", nanosecondsPer(count, [&] {
                         limit::writeText(*model, [&size](std::string_view piece) { size += piece.size(); });
                       }));
  figures.emplace_back("print to file", nanosecondsPer(count, [&] {
                         const PlainFile file(text.path());
                         limit::writeText(*model, [&file](std::string_view piece) { file.write(piece); });
                       }));
  require(text.content().size() == size, "the two texts differ in size");
  figures.emplace_back("page", nanosecondsPer(count, [&] {
                         const PlainFile file(text.path());
                         limit::writePage(*model, frame, [&file](std::string_view piece) { file.write(piece); });
                       }));
  const auto difference = limit::firstDifference(*model, *copy);
  require(!difference, difference.value_or("").c_str());
  return figures;
}

Figures librarySteps(const Description& description, const model::BenchMetaModel& meta) {
  const std::size_t count = description.size();
  const Model model = model::build(description, meta);
  const TextFile text;
  Model copy;
  std::size_t size = 0;
  Figures figures;
  figures.emplace_back("clone", nanosecondsPer(count, [&] { copy = cloned(model); }));
  figures.emplace_back("format text", nanosecondsPer(count, [&] { size = formatted(model); }));
  figures.emplace_back("print to file", nanosecondsPer(count, [&] { printTo(text.path(), model); }));
  require(text.content().size() == size, "the two texts differ in size");
  figures.emplace_back("page", nanosecondsPer(count, [&] { quillon::nimbo::generateHTMLFile(text.path(), model); }));
  const auto difference = tarn::kern::firstDifference(model, copy);
  require(!difference, difference ? difference->text().c_str() : "");
  return figures;
}

void verifyOutputs(const Description& description, const model::BenchMetaModel& meta) {
  const std::unique_ptr<limit::Model> plain = limit::build(description);
  const Model model = model::build(description, meta);
  requireSameText(collected([&](const limit::Sink& sink) { limit::writeText(*plain, sink); }), printed(model),
                  "the text");
  const limit::PageFrame frame = readFrame();
  const TextFile file;
  quillon::nimbo::generateHTMLFile(file.path(), model);
  requireSameText(withoutAddresses(collected([&](const limit::Sink& sink) { limit::writePage(*plain, frame, sink); })),
                  withoutAddresses(file.content()), "the page");
}

}  // namespace bench::output
