#include "ModelOutput.h"

#include <algorithm>
#include <array>
#include <sstream>

#include <bedrock/i18n.h>
#include <quillon/nimbo/BinSerializationException.h>
#include <quillon/nimbo/BinSerializer.h>
#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "BinaryLimits.h"
#include "Interruption.h"
#include "OutputFile.h"
#include "Progress.h"
#include "ToolError.h"

namespace nimbo_tool {

namespace {

using quillon::nimbo::BinFormat;
using tarn::kern::Model;

constexpr std::array kForms = {"B", "Z", "z", "J", "C", "c", "json", "xml", "store", "ecore"};

struct Ending {
  std::string_view ending;
  std::string_view form;
};
constexpr Ending kEndings[] = {{".json", "json"},    {".xmi", "xml"},     {".xml", "xml"},  {".ecore", "ecore"},
                               {".sqlite", "store"}, {".store", "store"}, {".db", "store"}, {".B", "B"},
                               {".Z", "Z"},          {".z", "z"},         {".J", "J"},      {".C", "C"},
                               {".c", "c"}};

bool isContainer(const std::string& form) { return form.size() == 1; }
bool isBinary(const std::string& form) { return form == "B" || form == "Z" || form == "z"; }

/// The gzip forms keep sizes in 32 bits.
constexpr std::uint64_t kGzipLimit = std::uint64_t{1} << 32U;

std::string containerBytes(const std::vector<tarn::kern::ModelElement>& roots, char letter) {
  std::ostringstream stream;
  quillon::nimbo::BinSerializer().serialize(roots, stream, static_cast<BinFormat>(letter));
  return std::move(stream).str();
}

void refuseLargeGzip(const std::vector<tarn::kern::ModelElement>& roots, char letter) {
  if (letter != 'Z' && letter != 'C') return;
  const std::string payload = containerBytes(roots, letter == 'Z' ? 'B' : 'J');
  if (payload.size() >= kGzipLimit) {
    throw ToolError("the content is " + std::to_string(payload.size()) +
                    " bytes long, and gzip containers hold less than 4 GiB; B, z, json, xml and store hold it");
  }
}

template <class Serializer>
std::string asText(const Model& model) {
  std::string text;
  Serializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(model, tarn::kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

std::string contentAs(const Model& model, const std::string& form) {
  if (form == "json") return asText<tarn::kern::io::JSONSerializer>(model);
  if (form == "xml" || form == "ecore") return asText<tarn::kern::io::XmlSerializer>(model);
  const auto roots = model->getTopLevelElements();
  refuseLargeGzip(roots, form[0]);
  return containerBytes(roots, form[0]);
}

std::string otherForms(const std::string& form) {
  if (isBinary(form)) return "json, J, C, c, xml and store are the forms to try";
  if (form == "xml" || form == "ecore") return "json and store hold any text";
  return "store and json hold everything";
}

void requireEcore(const Model& model) {
  for (const auto& root : model->getTopLevelElements()) {
    const auto& type = *root->getMetaClass().get();
    const auto package = type.getOwningPackage();
    if (!package || package->getName() != u"ecore") {
      throw ToolError(kWrongUsage, "only meta-models can be written as ecore, and the file holds " +
                                       bedrock::i18n::to_string(type.getQualifiedName()) +
                                       "; `nimbo metamodel --to ecore` writes the meta-model of a file");
    }
  }
}

/// Fills a store beside the place, which it takes when it is complete.
void writeStore(const Model& model, const std::string& path, bool force) {
  if (path == "-") throw ToolError(kWrongUsage, "a store cannot be written to standard output: name a file");
  refuseExisting(path, force);
  model->resetDataSource();  // of a model that came from a store, everything comes into memory
  TemporaryFile file(temporaryNameFor(path));
  using Source = tarn::kern::datasource::DataSource;
  const auto place = strata::Uri::createSQLite().setLocation(file.path());
  strata_datasource::DataSource::create(place, model, Source::ToModelSync::OnTouch, Source::ToDataSourceSync::Changes,
                                        Source::SyncTiming::OnCommit);
  model->resetDataSource();
  file.keepAs(path);
}

}  // namespace

std::string targetForm(const std::string& path, const std::string& to) {
  if (!to.empty()) {
    if (std::find(kForms.begin(), kForms.end(), to) == kForms.end()) {
      throw ToolError(kWrongUsage,
                      "--to " + to + ": no such form; there are B, Z, z, J, C, c, json, xml, store and ecore");
    }
    return to;
  }
  for (const Ending& ending : kEndings) {
    if (path.ends_with(ending.ending)) return std::string(ending.form);
  }
  throw ToolError(kWrongUsage,
                  (path == "-" ? "standard output" : path) +
                      ": its name does not tell the form; --to takes B, Z, z, J, C, c, json, xml, store or ecore");
}

void writeModel(const Model& model, const std::string& path, const WritingOptions& options) {
  const std::string form = targetForm(path, options.to);
  if (!options.header.empty() && !isContainer(form)) {
    throw ToolError(kWrongUsage, "a header stands in front of containers only (B, Z, z, J, C, c), not of " + form);
  }
  refuseExisting(path, options.force);
  if (form == "ecore") requireEcore(model);
  std::string content;
  try {
    const Progress progress("writing " + path);
    if (form == "store") {
      writeStore(model, path, options.force);
      return;
    }
    content = options.header + contentAs(model, form);
  } catch (const ToolError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    const std::string refusal = isBinary(form) ? binaryRefusal(model) : std::string();
    throw ToolError(path + ": cannot be written as " + form + ": " + (refusal.empty() ? error.what() : refusal) + "; " +
                    otherForms(form));
  }
  writeFile(path, content, options.force);
}

}  // namespace nimbo_tool
