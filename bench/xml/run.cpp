// XML: the serializer against a straight-line writer of the same text, and the parser against the bare parse of the
// same text by expat with handlers that do nothing, on the benchmark model, in turns. And the import of an Ecore
// meta-model.
//
//   bench_xml [elements [rounds]]             the table, with both columns and the ratio
//   bench_xml --growth [elements [rounds]]    also for ten times as many elements, and what each step grows by
//   bench_xml --ecore [classes [rounds]]      import and export of a meta-model, and of one of ten times the size
//   bench_xml --verify [elements]             one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 1,000 classes, 5 rounds. Times are nanoseconds of the processor per element or
// class.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include <expat.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "KernelModel.h"
#include "LimitXml.h"
#include "RatioTable.h"
#include "support/Measure.h"

namespace {

using bench::Description;
using bench::Figures;
using bench::nanosecondsPer;
using bench::require;
using bench::model::BenchMetaModel;
using bench::model::RatioTable;

// --- Models.

void XMLCALL ignoreStart(void* count, const char*, const char**) { ++*static_cast<std::size_t*>(count); }
void XMLCALL ignoreEnd(void*, const char*) {}
void XMLCALL ignoreText(void*, const char*, int) {}

std::size_t parseBarely(const std::string& text) {
  std::size_t elements = 0;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &elements);
  XML_SetElementHandler(parser, &ignoreStart, &ignoreEnd);
  XML_SetCharacterDataHandler(parser, &ignoreText);
  require(XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK,
          "the text is not XML");
  XML_ParserFree(parser);
  return elements;
}

Figures limitSteps(const Description& description) {
  const auto model = bench::limit::build(description);
  Figures figures;
  bench::limit::ByteBuffer text;
  figures.emplace_back("write", nanosecondsPer(description.size(), [&] { text = bench::limit::saveXml(*model); }));
  const std::string document(text.view());
  std::size_t elements = 0;
  figures.emplace_back("read", nanosecondsPer(description.size(), [&] { elements = parseBarely(document); }));
  require(elements >= description.size(), "the number of elements");
  return figures;
}

Figures librarySteps(const Description& description, const BenchMetaModel& meta, std::string_view expected) {
  const tarn::kern::Model model = bench::model::build(description, meta);
  Figures figures;
  std::string text;
  figures.emplace_back("write", nanosecondsPer(description.size(), [&] {
                         tarn::kern::io::XmlSerializer serializer;
                         serializer.getCustomizer()->setShouldSkipDefaultValues(true);
                         serializer.serialize(model, tarn::kern::io::SerializationOutput::forUTF8String(text));
                       }));
  require(text == expected, "the text differs from the limit's");
  const tarn::kern::Model again = tarn::kern::Model::create(tarn::kern::ModelSpec());
  figures.emplace_back("read", nanosecondsPer(description.size(), [&] {
                         tarn::kern::io::XmlParser parser;
                         parser.setModel(again);
                         parser.parseString(text);
                       }));
  const auto difference = tarn::kern::firstDifference(model, again);
  require(!difference, difference ? difference->text().c_str() : "");
  return figures;
}

RatioTable measure(const BenchMetaModel& meta, std::size_t count, std::size_t rounds) {
  const Description description = bench::describe(count);
  const bench::limit::ByteBuffer text = bench::limit::saveXml(*bench::limit::build(description));
  std::vector<bench::Result> results =
      bench::compare({{"limit", [&] { return limitSteps(description); }},
                      {"library", [&] { return librarySteps(description, meta, text.view()); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

// --- Meta-models.

/// Classes with five features each, every fourth with two supertypes.
std::string metaModel(std::size_t classes) {
  std::string text =
      "<ecore:EPackage xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"large\" nsURI=\"urn:large\" nsPrefix=\"large\">\n";
  const auto nameOf = [](std::size_t i) { return "Class" + std::to_string(i); };
  const std::string dataType = " eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//";
  for (std::size_t i = 0; i < classes; ++i) {
    const std::string number = std::to_string(i);
    text += "  <eClassifiers xsi:type=\"ecore:EClass\" name=\"" + nameOf(i) + "\"";
    if (i % 4 == 3) text += " eSuperTypes=\"#//" + nameOf(i - 1) + " #//" + nameOf(i - 2) + "\"";
    text += ">\n    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"name" + number + "\"" + dataType +
            "EString\"/>\n";
    text += "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"count" + number + "\"" + dataType +
            "EInt\" defaultValueLiteral=\"1\"/>\n";
    text += "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"tags" + number + "\" upperBound=\"-1\"" +
            dataType + "EString\"/>\n";
    text += "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"next" + number + "\" eType=\"#//" +
            nameOf((i + 7) % classes) + "\"/>\n";
    text += "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"parts" + number +
            "\" upperBound=\"-1\" containment=\"true\" eType=\"#//" + nameOf((i * 13) % classes) +
            "\"/>\n  </eClassifiers>\n";
  }
  return text + "</ecore:EPackage>\n";
}

Figures ecoreSteps(const std::string& text, std::size_t classes) {
  Figures figures;
  tarn::kern::meta::Package package;
  figures.emplace_back("import", nanosecondsPer(classes, [&] {
                         package = tarn::kern::ecore::EcoreImporter().importText(text).front();
                       }));
  require(package->getTypes().size() == classes, "the number of classes");
  std::string written;
  figures.emplace_back("export",
                       nanosecondsPer(classes, [&] { written = tarn::kern::ecore::EcoreExporter().toText(package); }));
  tarn::kern::meta::MetaRegistry::getInstance()->reset();
  const auto again = tarn::kern::ecore::EcoreImporter().importText(written).front();
  require(tarn::kern::ecore::EcoreExporter().toText(again) == written, "what was written reads as something else");
  return figures;
}

void measureEcore(std::size_t classes, std::size_t rounds) {
  const std::string small = metaModel(classes);
  const std::string large = metaModel(classes * 10);
  const auto results =
      bench::compare({{std::to_string(classes) + " classes", [&] { return ecoreSteps(small, classes); }},
                      {std::to_string(classes * 10) + " classes", [&] { return ecoreSteps(large, classes * 10); }}},
                     rounds);
  bench::print("Ecore, nanoseconds per class of five features", results);
}

std::string title(std::size_t count, std::size_t rounds) {
  return "XML, " + std::to_string(count) + " elements, medians of " + std::to_string(rounds) + " rounds";
}

[[noreturn]] void refuse() {
  std::fprintf(
      stderr, "usage: bench_xml [--growth | --ecore | --verify] [elements or classes [rounds]]; at least 2, 1 round\n");
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  int at = 1;
  const std::string_view option = at < argc && argv[at][0] == '-' ? argv[at++] : "";
  const std::size_t usual = option == "--ecore" ? 1'000 : 100'000;
  const std::size_t count = at < argc ? std::strtoul(argv[at++], nullptr, 10) : usual;
  const std::size_t rounds = at < argc ? std::strtoul(argv[at++], nullptr, 10) : 5;
  const bool isKnown = option.empty() || option == "--growth" || option == "--ecore" || option == "--verify";
  if (!isKnown || count < 2 || rounds == 0 || at < argc) refuse();

  if (option == "--ecore") {
    measureEcore(count, rounds);
    return 0;
  }
  const BenchMetaModel meta = bench::model::registerBenchMetaModel();
  if (option == "--verify") {
    static_cast<void>(measure(meta, count, 1));
    static_cast<void>(ecoreSteps(metaModel(100), 100));
    std::printf("%zu elements: every step gave what it should\n", count);
    return 0;
  }
  const RatioTable table = measure(meta, count, rounds);
  bench::model::printRatios(title(count, rounds), table);
  if (option != "--growth") return 0;
  const RatioTable large = measure(meta, count * 10, rounds);
  bench::model::printRatios(title(count * 10, rounds), large);
  bench::model::printGrowth("growth to ten times as many elements", table, large);
  return 0;
}
