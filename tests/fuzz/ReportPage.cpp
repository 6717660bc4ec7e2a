// A binary model stream on its way through a model to text and to the parts of a report page that come from the model.
// Whatever the content says: markup stays whole, and both outputs are the same each time.

#include <algorithm>
#include <array>
#include <iostream>
#include <sstream>

#include "FuzzTarget.h"
#include "nimbo_utils/support/MoneySerializer.h"
#include "nimbo_utils/support/ReaderMetaModel.h"
#include "nimbo_utils/support/SampleContent.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "quillon/nimbo/html/Manipulators.h"
#include "quillon/nimbo/html/StringStream.h"

namespace {

namespace html = quillon::nimbo::html;
using quillon::nimbo::PrettyPrinter;
using tarn::kern::Model;
using tarn::kern::ModelElement;

void prepare() {
  static const bool kPrepared = [] {
    fuzz::silenceCerr();
    testsupport::moneySerializer();
    testsupport::registerReaderMetaModel();
    return true;
  }();
  static_cast<void>(kPrepared);
}

/// A printer that might have overrides, and so takes none of the shorter ways of the default one.
class PlainDerived final : public PrettyPrinter {};

template <class Printer>
std::string textOf(const Model& model, bool withAll) {
  std::ostringstream text;
  Printer printer;
  printer.emitDefaultValues(withAll).emitEmptyCollections(withAll).emitNullElements(withAll);
  printer.print(text, model);
  return std::move(text).str();
}

/// What generateHTMLFile puts between the fixed beginning of a page and its end.
std::string pageOf(const Model& model, bool withAll) {
  html::StringStream page;
  PrettyPrinter printer;
  printer.emitDefaultValues(withAll).emitEmptyCollections(withAll).emitNullElements(withAll);
  page << html::tree{};
  printer.print(page, model);
  page << html::etree{} << html::defs{};
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::Anywhere)) {
    printer.emitElementDef(page, element);
  }
  page << html::edefs{};
  return page.str();
}

/// Collections are named by their addresses; those inside values are there only while they are printed.
std::string withoutAddresses(const std::string& page) {
  std::string text;
  std::size_t done = 0;
  for (auto at = page.find("0x"); at != std::string::npos; at = page.find("0x", done)) {
    text.append(page, done, at - done);
    done = std::min(page.find_first_not_of("0123456789abcdef", at + 2), page.size());
  }
  return text.append(page, done);
}

/// Reads markup as far as it must be whole: every "<" begins a tag that a page has, quotes in it are closed, and what
/// opens closes in order. Descriptions, which stand in a script as texts, keep to the same.
class Markup {
 public:
  explicit Markup(std::string_view page) : fRest(page) {}

  void check() {
    for (auto at = fRest.find('<'); at != std::string_view::npos; at = fRest.find('<')) {
      fRest.remove_prefix(at + 1);
      tag();
    }
    fuzz::require(fOpen.empty(), "every tag of a page is closed");
  }

 private:
  void tag() {
    const bool closes = take('/');
    const std::size_t length = std::min(fRest.find_first_of(" />\n"), fRest.size());
    const std::string_view name = fRest.substr(0, length);
    fRest.remove_prefix(length);
    static constexpr std::array<std::string_view, 5> kNames = {"div", "span", "a", "br", "script"};
    fuzz::require(std::find(kNames.begin(), kNames.end(), name) != kNames.end(), "a page has no tags but its own");
    skipAttributes();
    if (name == "br") return;
    if (!closes) return fOpen.push_back(name);
    fuzz::require(!fOpen.empty() && fOpen.back() == name, "tags close in order");
    fOpen.pop_back();
  }

  void skipAttributes() {
    while (!fRest.empty() && !take('>')) {
      const char next = fRest.front();
      fRest.remove_prefix(1);
      if (next != '\'' && next != '"') continue;
      const auto end = fRest.find(next);
      fuzz::require(end != std::string_view::npos, "quotes in a tag are closed");
      fRest.remove_prefix(end + 1);
    }
  }

  bool take(char expected) {
    if (fRest.empty() || fRest.front() != expected) return false;
    fRest.remove_prefix(1);
    return true;
  }

  std::string_view fRest;
  std::vector<std::string_view> fOpen;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  prepare();
  const Model model = Model::create(tarn::kern::ModelSpec());
  quillon::nimbo::BinParser parser;
  parser.setModel(model);
  const bool withAll = size % 2 == 0;
  try {
    parser.parse("B" + std::string(fuzz::viewOf(data, size)));
    static_cast<void>(textOf<PrettyPrinter>(model, withAll));
  } catch (const std::exception&) {
    return 0;  // no model, or one with a number that its enum has no literal for
  }
  const std::string text = textOf<PrettyPrinter>(model, withAll);
  fuzz::require(textOf<PlainDerived>(model, withAll) == text, "a derived printer prints the same");
  const std::string page = pageOf(model, withAll);
  Markup(page).check();
  fuzz::require(withoutAddresses(pageOf(model, withAll)) == withoutAddresses(page), "a page is the same each time");
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  prepare();
  std::vector<std::string> all;
  const auto add = [&all](auto fill) {
    const Model model = Model::create(tarn::kern::ModelSpec());
    fill(model);
    std::ostringstream stream;
    quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), stream, quillon::nimbo::BinFormat::Binary);
    all.push_back(stream.str().substr(1));  // without the letter
    const std::string page = pageOf(model, true);
    require(model->getElementCount() == 0 || page.find("<span") != std::string::npos, "a good model has a page");
  };
  add([](const Model&) {});
  add([](const Model& model) { testsupport::fillEverything(model); });
  add([](const Model& model) { testsupport::fillReferences(model); });
  add([](const Model& model) { testsupport::fillLines(model, testsupport::newSample(model, u"Box", 1)); });
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    add([seed](const Model& model) { testsupport::fillByChance(model, seed, seed * 2); });
  }
  return all;
}
