#include <algorithm>
#include <sstream>

#include <nlohmann/json.hpp>

#include <bedrock/i18n.h>

#include "Listing.h"
#include "MetaModels.h"
#include "OutputFile.h"
#include "Progress.h"
#include "StreamFile.h"
#include "StreamSurvey.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

using tarn::kern::ModelElement;

/// What can be told of one file.
struct FileInfo {
  std::string name;
  RecognisedForm form;
  std::uint64_t bytes = 0;
  bool isSurveyed = false;
  Survey survey;
  std::string advice;  ///< what would tell more
};

/// Counts through a model what no file of that form tells without one.
void surveyModel(const tarn::kern::Model& model, Survey& survey) {
  const auto utf8 = [](const tarn::kern::ustring& text) { return bedrock::i18n::to_string(text); };
  for (const auto& uri : model->getUsedPackageUris()) survey.packages.push_back(utf8(uri));
  survey.roots = model->getTopLevelElements().size();
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::Anywhere)) {
    ++survey.elements;
    ++survey.elementsPerClass[utf8(element->getMetaClass()->getQualifiedName())];
    for (const auto& property : element->getMetaClass()->getAllClassProperties()) {
      if (property->isComposite || property->isOmitted) continue;
      if (property->getOpposite() && property->getOpposite()->isComposite) continue;
      const auto targets = property->isCollection() ? element->peekElements(property).size()
                                                    : std::size_t{element->peekElement(property) != nullptr};
      survey.references += targets;
    }
  }
}

FileInfo look(const std::string& path, const InfoOptions& options) {
  InputFile file(path, options.reading.magics());
  FileInfo info;
  info.name = file.name();
  info.form = file.form();
  info.bytes = file.size();
  const Progress progress("reading " + file.name());
  switch (file.form().form) {
    case Form::Container:
      if (file.form().letter == 0) break;
      try {
        StreamSurvey survey;
        walkContainer(file, survey);
        info.survey = std::move(survey.result());
        info.isSurveyed = true;
      } catch (const std::exception& error) {
        throw ToolError(file.name() + ": " + faultText(error) +
                        "; `nimbo explain` shows what there is up to that place");
      }
      break;
    case Form::Json:
      surveyJson(file.bytes(), info.survey, file.name());
      info.isSurveyed = true;
      break;
    case Form::Xml:
    case Form::Store:
      if (options.reading.metaModels.empty()) {
        info.advice = "its content can be counted when --metamodel names its meta-model";
        break;
      }
      surveyModel(readModel(file, options.reading), info.survey);
      info.isSurveyed = true;
      break;
    case Form::Ecore:
    case Form::MetaJson:
      info.advice = "`nimbo metamodel` shows it";
      break;
    case Form::Empty:
    case Form::Unknown:
      throw ToolError(file.name() + ": is " + formName(file.form()) +
                      ": neither a container, nor JSON, XML or a store; a header in front of a container is named by "
                      "--magic");
  }
  return info;
}

std::string ratioText(double ratio) {
  std::ostringstream text;
  text.precision(2);
  text << std::fixed << ratio << " : 1";
  return text.str();
}

void appendClasses(std::string& text, const Survey& survey) {
  std::vector<std::pair<std::string, std::uint64_t>> classes(survey.elementsPerClass.begin(),
                                                             survey.elementsPerClass.end());
  std::stable_sort(classes.begin(), classes.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  for (const auto& [name, count] : classes) {
    const std::string number = withSeparators(count);
    text += "  " + std::string(number.size() < 12 ? 12 - number.size() : 0, ' ') + number + "  " +
            forTerminal(name, 200) + "\n";
  }
}

std::string asText(const FileInfo& info) {
  const Survey& survey = info.survey;
  std::string text = info.name + ": " + formName(info.form) + ", " + withSeparators(info.bytes) + " bytes\n";
  const auto line = [&text](const char* label, const std::string& value) {
    text += "  " + std::string(label) + std::string(12 - std::string_view(label).size(), ' ') + value + "\n";
  };
  if (!info.advice.empty()) line("note", info.advice);
  if (!info.isSurveyed) return text;
  if (survey.payloadBytes > 0) {
    std::string payload = withSeparators(survey.payloadBytes) + " bytes";
    if (std::string_view("ZzCc").find(survey.letter) != std::string_view::npos && info.bytes > 0) {
      payload +=
          ", compressed " + ratioText(static_cast<double>(survey.payloadBytes) / static_cast<double>(info.bytes));
    }
    line("payload", payload);
  }
  for (const std::string& uri : survey.packages) line("package", forTerminal(uri, 200));
  line("roots", withSeparators(survey.roots));
  line("elements", withSeparators(survey.elements) +
                       (survey.depth > 0 ? ", at most " + withSeparators(survey.depth) + " deep" : std::string()));
  line("references", withSeparators(survey.references) + ", " + withSeparators(survey.dangling) + " elements missing");
  appendClasses(text, survey);
  return text;
}

nlohmann::ordered_json asJson(const FileInfo& info) {
  nlohmann::ordered_json object;
  object["file"] = info.name;
  object["form"] = formWord(info.form);
  object["bytes"] = info.bytes;
  if (!info.isSurveyed) return object;
  const Survey& survey = info.survey;
  if (survey.payloadBytes > 0) object["payloadBytes"] = survey.payloadBytes;
  object["packages"] = survey.packages;
  object["roots"] = survey.roots;
  object["elements"] = survey.elements;
  if (survey.depth > 0) object["depth"] = survey.depth;
  object["references"] = survey.references;
  object["missingElements"] = survey.dangling;
  object["classes"] = nlohmann::ordered_json::object();
  for (const auto& [name, count] : survey.elementsPerClass) object["classes"][name] = count;
  return object;
}

}  // namespace

ExitCode runInfo(const InfoOptions& options) {
  loadMetaModels(options.reading.metaModels);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const std::string& path : options.files) {
    const FileInfo info = look(path, options);
    if (options.json) {
      all.push_back(asJson(info));
    } else {
      writeOut(asText(info));
    }
  }
  if (options.json) {
    writeOut(all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  }
  return kFine;
}

}  // namespace nimbo_tool
