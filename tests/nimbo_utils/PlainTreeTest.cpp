#include <array>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/meta/Class.h>

#include "../support/SmallStack.h"
#include "quillon/nimbo/PrettyPrinter.h"
#include "support/PrintingMetaModel.h"
#include "support/SampleContent.h"
#include "support/TestMetaModel.h"

/// A printer that overrides nothing takes a shorter way to the text of a model. Nobody may be able to tell.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using testsupport::emptyModel;
using testsupport::newPrinted;

/// Overrides nothing either, but might: it has to take the long way.
class LongWay : public PrettyPrinter {};

using Format = std::function<void(std::ostream&)>;

template <class Printer>
std::string textOf(
    Printer& printer, const Model& model, const Format& format = [](std::ostream&) {}) {
  std::ostringstream os;
  format(os);
  printer.print(os, model);
  return std::move(os).str();
}

void setFlags(PrettyPrinter& printer, unsigned flags) {
  printer.emitDefaultValues((flags & 1U) != 0)
      .emitEmptyCollections((flags & 2U) != 0)
      .emitNullElements((flags & 4U) != 0);
}

/// Both ways give the same text and the same numbers, whatever the flags.
void expectSame(const Model& model, const std::string& what) {
  for (unsigned flags = 0; flags < 8; ++flags) {
    SCOPED_TRACE(what + ", flags " + std::to_string(flags));
    PrettyPrinter shortWay;
    LongWay longWay;
    setFlags(shortWay, flags);
    setFlags(longWay, flags);
    EXPECT_EQ(textOf(shortWay, model), textOf(longWay, model));
    for (const ModelElement& element : model->getAllElements(kern::FindElementBehavior::Anywhere)) {
      EXPECT_EQ(shortWay.elemId(element), longWay.elemId(element));
    }
    EXPECT_EQ(shortWay.indent(true), "");
  }
}

void addOneOfEachClass(const Model& model, const meta::Package& package) {
  for (const auto& [name, type] : package->getTypes()) {
    const meta::Class found = kern::narrow<meta::Class>(type);
    if (found && !found->isAbstract()) static_cast<void>(found->instantiate(model, {}));
  }
}

TEST(PlainTree, ShowsNewElementsOfEveryClassAsTheLongWayDoes) {
  const Model model = emptyModel();
  addOneOfEachClass(model, testsupport::sampleMetaModel().package);
  addOneOfEachClass(model, testsupport::printingMetaModel());
  expectSame(model, "new elements");
}

TEST(PlainTree, ShowsValuesOfEveryKindAsTheLongWayDoes) {
  const Model model = emptyModel();
  testsupport::fillEverything(model);
  expectSame(model, "something in every place");
  const Model boxes = emptyModel();
  testsupport::fillLines(boxes, testsupport::fillReferences(boxes));
  expectSame(boxes, "data values and references");
}

TEST(PlainTree, ShowsModelsOfAllShapesAsTheLongWayDoes) {
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    const Model model = emptyModel();
    testsupport::fillByChance(model, seed, 5 * seed);
    expectSame(model, "seed " + std::to_string(seed));
  }
}

TEST(PlainTree, ShowsDefaultsAndNullMembersAsTheLongWayDoes) {
  const Model model = emptyModel();
  const ModelElement changed = testsupport::newSample(model, u"Defaults", 1);
  changed->set(u"count", std::int32_t{6});
  changed->set(u"ratio", -0.5);
  changed->set(u"color", std::int64_t{99});  // no literal
  changed->set(u"text", u"some");
  const ModelElement absent = testsupport::newSample(model, u"Defaults", 2);
  for (const meta::Property& property : absent->getMetaClass()->getAllProperties()) absent->unset(property);
  const ModelElement shelf = newPrinted(model, u"Shelf", 3);
  testsupport::addElement(shelf, u"links", ModelElement());
  testsupport::addElement(shelf, u"links", newPrinted(model, u"Part", 4));
  testsupport::addElement(shelf, u"links", ModelElement());
  const ModelElement nulls = newPrinted(model, u"Shelf", 5);
  testsupport::addElement(nulls, u"links", ModelElement());
  expectSame(model, "defaults and nulls");
}

TEST(PlainTree, NumbersOnWhereAnEarlierPrintHasEnded) {
  const Model first = emptyModel();
  const Model second = emptyModel();
  testsupport::fillReferences(first);
  testsupport::fillByChance(second, 3, 30);
  PrettyPrinter shortWay;
  LongWay longWay;
  for (const Model& model : {first, second, first}) EXPECT_EQ(textOf(shortWay, model), textOf(longWay, model));
  for (const ModelElement& element : second->getAllElements(kern::FindElementBehavior::Anywhere)) {
    EXPECT_EQ(shortWay.elemId(element), longWay.elemId(element));
  }
}

TEST(PlainTree, KeepsToTheFormatOfTheStream) {
  class Grouping : public std::numpunct<char> {
   protected:
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::vector<Format> formats = {
      [](std::ostream& os) { os.precision(3); },
      [](std::ostream& os) { os.precision(17); },
      [](std::ostream& os) { os.precision(60); },
      [](std::ostream& os) { os << std::fixed; },
      [](std::ostream& os) { os << std::hex << std::showbase; },
      [](std::ostream& os) { os << std::showpos << std::boolalpha; },
      [](std::ostream& os) { os << std::setw(9) << std::setfill('.'); },
      [](std::ostream& os) { os << std::unitbuf; },
      [](std::ostream& os) { os.imbue(std::locale(std::locale::classic(), new Grouping)); }};
  const Model model = emptyModel();
  testsupport::fillEverything(model);
  testsupport::fillLines(model, ModelElement());
  for (std::size_t i = 0; i < formats.size(); ++i) {
    PrettyPrinter shortWay;
    LongWay longWay;
    EXPECT_EQ(textOf(shortWay, model, formats[i]), textOf(longWay, model, formats[i])) << "format " << i;
  }
}

TEST(PlainTree, ShowsTextsThatAreLongerThanAnyPiece) {
  const Model model = emptyModel();
  for (const std::size_t length : {10U, 65'000U, 65'536U, 70'000U, 1'000'000U}) {
    newPrinted(model, u"Package")
        ->set(u"name", std::u16string(length, u'x') + u"\u00e9\U0001F600\n" + std::u16string(1, char16_t{0xD800}));
    for (int i = 0; i < 100; ++i) newPrinted(model, u"Package")->set(u"name", u"short");
  }
  expectSame(model, "long texts");
}

/// A buffer that takes so many characters and then fails, by its result or by throwing.
class Limited : public std::streambuf {
 public:
  Limited(std::size_t limit, bool throws) : fLimit(limit), fThrows(throws) {}
  [[nodiscard]] const std::string& text() const { return fText; }

 protected:
  int_type overflow(int_type ch) override {
    if (fText.size() == fLimit) return fThrows ? throw 42 : traits_type::eof();
    fText += traits_type::to_char_type(ch);
    return ch;
  }

 private:
  std::size_t fLimit;
  bool fThrows;
  std::string fText;
};

/// What has arrived, the stream's state, and what came out.
template <class Printer>
std::string resultOf(const Model& model, std::size_t limit, bool throws, std::ios_base::iostate exceptions) {
  Limited buffer(limit, throws);
  std::ostream os(&buffer);
  os.exceptions(exceptions);
  std::string outcome = "returned";
  try {
    Printer().print(os, model);
  } catch (const std::ios_base::failure&) {
    outcome = "failure";
  } catch (int) {
    outcome = "42";
  }
  return outcome + " " + std::to_string(os.bad()) + std::to_string(os.exceptions()) + "\n" + buffer.text();
}

TEST(PlainTree, FailsAsTheLongWayDoesWhenTheStreamDoes) {
  const Model model = emptyModel();
  testsupport::fillByChance(model, 7, 2000);  // several pieces
  PrettyPrinter printer;
  const std::size_t whole = textOf(printer, model).size();
  ASSERT_GT(whole, 200'000U);
  using Ios = std::ios_base;
  for (const Ios::iostate exceptions : {Ios::goodbit, Ios::badbit, Ios::failbit, Ios::badbit | Ios::failbit}) {
    for (const std::size_t limit : {std::size_t{0}, std::size_t{100}, std::size_t{100'000}, whole - 1, whole}) {
      for (const bool throws : {false, true}) {
        EXPECT_TRUE(resultOf<PrettyPrinter>(model, limit, throws, exceptions) ==
                    resultOf<LongWay>(model, limit, throws, exceptions))
            << limit << ", " << throws << ", " << exceptions;
      }
    }
  }
}

/// The text would be gigabytes of blanks; a stream that has failed takes none.
TEST(PlainTree, WalksDeepContainmentOnASmallStack) {
  const Model model = emptyModel();
  const meta::Class box = testsupport::sampleMetaModel().classNamed(u"Box");
  const meta::Property content = box->getProperty(u"content");
  ModelElement last = box->instantiate(model, {});
  for (int i = 1; i < 100'000; ++i) {
    const ModelElement next = box->instantiate(model, {});
    last->set(content, next);
    last = next;
  }
  Limited buffer(1000, false);
  std::ostream os(&buffer);
  PrettyPrinter printer;
  testsupport::onSmallStack([&] { printer.print(os, model); });
  EXPECT_TRUE(os.bad());
  EXPECT_EQ(buffer.text().size(), 1000U);
  EXPECT_EQ(printer.elemId(last), "100000");
}

TEST(PlainTree, HandsEverythingOnBeforeItReturns) {
  const Model model = emptyModel();
  newPrinted(model, u"Team", 1);
  std::ostringstream os;
  os << "before\n";
  print(os, model);
  os << "after\n";
  EXPECT_EQ(os.str(), "before\n  Team\nafter\n");
}

}  // namespace
}  // namespace quillon::nimbo
