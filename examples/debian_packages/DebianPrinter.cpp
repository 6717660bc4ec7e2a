#include "DebianPrinter.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

#include <bedrock/i18n.h>
#include <quillon/nimbo/html/Manipulators.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "DebianMetaModel.h"
#include "RoundTrip.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using bedrock::i18n::ustring_to_utf8;
using tarn::kern::ModelElement;
using tarn::kern::ustring;

std::string quotedName(const ModelElement& named) {
  return " \"" + ustring_to_utf8(named->get<ustring>(debianMetaModel().named.name)) + '"';
}

std::string relationKind(const ModelElement& relation) {
  const auto& meta = debianMetaModel();
  const auto literal = meta.relationKind->getLiteral(relation->get<std::int64_t>(meta.relation.kind));
  return literal ? " " + ustring_to_utf8(literal->getName()) : std::string();
}

/// What tells the element from others of its class.
std::string mark(const ModelElement& element) {
  const auto& meta = debianMetaModel();
  const auto& type = element->getMetaClass();
  if (type->conformsTo(meta.named.type)) return quotedName(element);
  if (type == meta.relation.type) return relationKind(element);
  if (type != meta.alternative.type) return {};
  const auto target = element->get<ModelElement>(meta.alternative.target);
  return target ? quotedName(target) : std::string();
}

[[noreturn]] void fail(const fs::path& file, const char* what) {
  const int reason = errno;
  throw RoundTripError(file.native() + ": " + what + (reason == 0 ? "" : std::string(": ") + std::strerror(reason)));
}

}  // namespace

void DebianPrinter::emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) {
  if (!element) return PrettyPrinter::emitElementEntry(os, element, composite);
  const std::string text = ustring_to_utf8(element->getMetaClass()->getName()) + mark(element);
  os << quillon::nimbo::html::tag2{"span", text, "entry", elemId(element)};
}

void writeText(const tarn::kern::Model& model, const fs::path& file) {
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!out) fail(file, "cannot be created");
  DebianPrinter().print(out, model);
  out.close();
  if (!out) fail(file, "cannot be written");
}

/// A page is lost in silence where it cannot be written; so it is looked at afterwards.
void writePage(const tarn::kern::Model& model, const fs::path& file) {
  errno = 0;
  fs::remove(file);
  DebianPrinter().generateHTMLFile(file.native(), model);
  std::ifstream page(file, std::ios::binary);
  if (!page) fail(file, "cannot be created");
  const std::string end = "</html>\n";
  std::string last(end.size(), ' ');
  page.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end);
  page.read(last.data(), static_cast<std::streamsize>(last.size()));
  if (last != end) fail(file, "cannot be written to its end");
}

}  // namespace debian_packages
