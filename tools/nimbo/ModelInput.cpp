#include "ModelInput.h"

#include <bedrock/i18n.h>
#include <quillon/nimbo/BinParser.h>
#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/XmlParser.h>

#include "MetaModels.h"
#include "Progress.h"
#include "ToolError.h"

namespace nimbo_tool {

namespace {

using tarn::kern::Model;

void readContainer(InputFile& file, const Model& model, bool evolve) {
  quillon::nimbo::BinParser parser;
  parser.setModel(model);
  parser.setEvolveIfNeeded(evolve);
  parser.parse(file.payload());
}

void readJson(InputFile& file, const Model& model, bool evolve) {
  tarn::kern::io::JSONParser parser;
  parser.getCustomizer()->setEvolveIfNeeded(evolve);
  parser.getCustomizer()->setSourceName(file.name());
  parser.setModel(model);
  parser.parseString(file.bytes());
}

void readXml(InputFile& file, const Model& model, bool evolve) {
  tarn::kern::io::XmlParser parser;
  parser.getCustomizer()->setEvolveIfNeeded(evolve);
  parser.getCustomizer()->setSourceName(file.name());
  parser.setModel(model);
  if (!file.isStandardInput()) parser.setDocumentPath(bedrock::i18n::utf8_to_ustring(file.path()));
  parser.parseString(file.bytes());
}

void bindStore(const InputFile& file, const Model& model, bool evolve) {
  if (file.isStandardInput()) throw ToolError("standard input: a store is read from a file, not from a stream");
  using Source = tarn::kern::datasource::DataSource;
  strata_datasource::DataSource::Options options;
  options.evolveIfNeeded = evolve;
  strata_datasource::DataSource::create(strata::Uri::createSQLite().setLocation(file.path()), model,
                                        Source::ToModelSync::OnTouch, Source::ToDataSourceSync::Never,
                                        Source::SyncTiming::OnCommit, options);
}

void readInto(InputFile& file, const Model& model, const ReadingOptions& options) {
  switch (file.form().form) {
    case Form::Container:
      if (file.form().letter == 0) break;
      readContainer(file, model, options.evolve);
      return;
    case Form::Json:
      readJson(file, model, options.evolve);
      return;
    case Form::Ecore:
      static_cast<void>(tarn::kern::ecore::ecorePackage());  // an Ecore file is a model of Ecore
      readXml(file, model, options.evolve);
      return;
    case Form::Xml:
      readXml(file, model, options.evolve);
      return;
    case Form::Store:
      bindStore(file, model, options.evolve);
      return;
    case Form::MetaJson:
      throw ToolError(file.name() +
                      ": is a meta-model, not a model; `nimbo metamodel` shows it, and --metamodel uses it");
    case Form::Empty:
    case Form::Unknown:
      break;
  }
  throw ToolError(
      file.name() + ": is " + formName(file.form()) +
      ": neither a container, nor JSON, XML or a store; a header in front of a container is named by --magic");
}

/// The file in front, unless the text begins with it.
std::string located(const InputFile& file, const std::string& text) {
  return text.starts_with(file.name()) ? text : file.name() + ": " + text;
}

}  // namespace

std::vector<std::string> ReadingOptions::magics() const { return {magic, std::string(kDefaultMagic)}; }

Model readModel(InputFile& file, const ReadingOptions& options) {
  Model model = Model::create(tarn::kern::ModelSpec());
  const Progress progress("reading " + file.name());
  try {
    readInto(file, model, options);
  } catch (const ToolError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw ToolError(located(file, error.what()) + (knownPackages().empty() ? metaModelHint() : std::string()));
  }
  return model;
}

Model readModel(const std::string& path, const ReadingOptions& options) {
  InputFile file(path, options.magics());
  return readModel(file, options);
}

}  // namespace nimbo_tool
