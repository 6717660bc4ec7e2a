#include "MetaModels.h"

#include <algorithm>
#include <filesystem>

#include <bedrock/i18n.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/meta/MetaModelFile.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "InputFile.h"
#include "Talk.h"
#include "ToolError.h"

namespace nimbo_tool {

namespace {

/// A folder stands for the meta-models in it, in the order of their names.
std::vector<std::string> filesOf(const std::string& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
    if (!entry.is_regular_file()) continue;
    const std::string name = entry.path().string();
    if (name.ends_with(".ecore") || (name.ends_with(".json") && InputFile(name, {}).form().form == Form::MetaJson)) {
      files.push_back(name);
    }
  }
  if (files.empty()) throw ToolError(path + ": there is no meta-model in this folder (*.ecore, or *.json in our form)");
  std::sort(files.begin(), files.end());
  return files;
}

void loadEcore(const std::string& path) {
  tarn::kern::ecore::EcoreImporter importer;
  importer.importFile(bedrock::i18n::utf8_to_ustring(path));
  for (const std::string& warning : importer.warnings()) warn(warning);
}

void loadFile(const std::string& path) {
  InputFile file(path, {});
  switch (file.form().form) {
    case Form::Ecore:
      loadEcore(path);
      return;
    case Form::MetaJson:
      tarn::kern::meta::readMetaModelFile(bedrock::i18n::utf8_to_ustring(path));
      return;
    default:
      throw ToolError(path + ": is " + formName(file.form()) +
                      ", and a meta-model is an Ecore file or one of our JSON form");
  }
}

}  // namespace

void loadMetaModels(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    std::string current = path;  // what is being looked at, for errors that do not say it
    try {
      for (const std::string& file : filesOf(path)) {
        current = file;
        loadFile(file);
      }
    } catch (const ToolError&) {
      throw;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      const std::string text = error.what();
      throw ToolError(text.starts_with(current) ? text : current + ": " + text);
    }
  }
}

std::vector<tarn::kern::meta::Package> knownPackages() {
  return tarn::kern::meta::MetaRegistry::getInstance()->getPackages();
}

std::string metaModelHint() {
  return "; no meta-model is given: --metamodel takes the Ecore or JSON file of the packages that `nimbo info` lists";
}

}  // namespace nimbo_tool
