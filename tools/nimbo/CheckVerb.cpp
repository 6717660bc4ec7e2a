#include <nlohmann/json.hpp>

#include <quillon/logging/Logger.h>

#include "JsonRules.h"
#include "Listing.h"
#include "MetaModels.h"
#include "ModelRules.h"
#include "OutputFile.h"
#include "Progress.h"
#include "StoreRules.h"
#include "StreamFile.h"
#include "StreamRules.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

using quillon::logging::internal::Logger;

/// What the library notes while it reads: references into nothing, elements that were there already.
class ReadingNotes {
 public:
  explicit ReadingNotes(Violations& violations) : fLevel(Logger::getLevel()) {
    fSink = Logger::setSink([&violations](unsigned, int, std::string_view text) {
      while (text.ends_with('\n')) text.remove_suffix(1);
      violations.add({"reference.dangling", {}, "", forTerminal(text, 300)});
    });
    Logger::setLevel(Logger::kDebugLevel);
  }
  ReadingNotes(const ReadingNotes&) = delete;
  ReadingNotes& operator=(const ReadingNotes&) = delete;
  ~ReadingNotes() {
    Logger::setLevel(fLevel);
    Logger::setSink(std::move(fSink));
  }

 private:
  Logger::Sink fSink;
  int fLevel;
};

void checkStream(InputFile& file, Violations& violations) {
  StreamRules rules(violations);
  try {
    const std::uint64_t taken = walkContainer(file, rules) + file.form().headerSize;
    if (taken < file.bytes().size()) {
      violations.add({"end.trailing-bytes",
                      {},
                      "",
                      withSeparators(file.bytes().size() - taken) + " bytes follow behind the container"});
    }
  } catch (const quillon::nimbo::BinStreamError& error) {
    violations.add({"stream.grammar", error.offset(), "", error.what()});
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    violations.add({"stream.unreadable", {}, "", error.what()});
  }
}

void checkContent(InputFile& file, const CheckOptions& options, Violations& violations) {
  try {
    checkModel(readModel(file, options.reading), violations);
  } catch (const ToolError& error) {
    if (error.code() != kUnusable) throw;
    violations.add({"model.unreadable", {}, "", error.what()});
  }
}

/// @return whether the meta-model took part
bool checkFile(const std::string& path, const CheckOptions& options, Violations& violations) {
  InputFile file(path, options.reading.magics());
  const Progress progress("checking " + file.name());
  const bool hasMetaModel = !options.reading.metaModels.empty();
  switch (file.form().form) {
    case Form::Container: {
      checkStream(file, violations);
      const bool isReadable = violations.count() == 0;
      if (isReadable && hasMetaModel) checkContent(file, options, violations);
      return hasMetaModel;
    }
    case Form::Json:
    case Form::Xml: {
      if (!hasMetaModel) {
        throw ToolError(file.name() + ": " + formName(file.form()) + " is checked against its meta-model" +
                        metaModelHint());
      }
      const ReadingNotes notes(violations);
      checkContent(file, options, violations);
      if (file.form().form == Form::Json && violations.count() == 0) checkJsonText(file.bytes(), violations);
      return true;
    }
    case Form::Store:
      checkStore(path, violations);
      if (violations.count() == 0 && hasMetaModel) checkContent(file, options, violations);
      return hasMetaModel;
    case Form::Ecore:
    case Form::MetaJson:
      try {
        loadMetaModels({path});
      } catch (const ToolError& error) {
        violations.add({"metamodel.faulty", {}, "", error.what()});
      }
      return true;
    case Form::Empty:
    case Form::Unknown:
      break;
  }
  violations.add({"form.unknown", {}, "", "the file is " + formName(file.form())});
  return true;
}

nlohmann::ordered_json asJson(const std::string& name, const Violations& violations, bool hasMetaModel) {
  nlohmann::ordered_json object;
  object["file"] = name;
  object["violations"] = violations.count();
  object["againstMetaModel"] = hasMetaModel;
  object["list"] = nlohmann::ordered_json::array();
  for (const Violation& violation : violations.kept()) {
    nlohmann::ordered_json entry;
    entry["rule"] = violation.rule;
    if (violation.offset) entry["offset"] = *violation.offset;
    if (!violation.where.empty()) entry["where"] = violation.where;
    entry["text"] = violation.text;
    object["list"].push_back(std::move(entry));
  }
  return object;
}

std::string asText(const std::string& name, const Violations& violations, bool hasMetaModel) {
  std::string text;
  for (const Violation& violation : violations.kept()) {
    text += name + ": " + violation.rule;
    if (violation.offset) text += " at offset " + std::to_string(*violation.offset);
    if (!violation.where.empty()) text += " in " + violation.where;
    text += ": " + violation.text + "\n";
  }
  if (violations.count() > violations.kept().size()) {
    text += name + ": and " + withSeparators(violations.count() - violations.kept().size()) + " more\n";
  }
  if (violations.count() == 0) {
    text += name + ": fine" + (hasMetaModel ? "" : ", as far as can be told without --metamodel") + "\n";
  }
  return text;
}

}  // namespace

ExitCode runCheck(const CheckOptions& options) {
  loadMetaModels(options.reading.metaModels);
  bool isFine = true;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const std::string& path : options.files) {
    Violations violations;
    const bool hasMetaModel = checkFile(path, options, violations);
    isFine = isFine && violations.count() == 0;
    if (options.json) {
      all.push_back(asJson(path, violations, hasMetaModel));
    } else {
      writeOut(asText(path, violations, hasMetaModel));
    }
  }
  if (options.json) writeOut(all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  return isFine ? kFine : kDifferent;
}

}  // namespace nimbo_tool
