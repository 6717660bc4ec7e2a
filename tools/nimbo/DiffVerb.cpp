#include <sstream>

#include <boost/uuid/uuid_io.hpp>
#include <nlohmann/json.hpp>

#include <quillon/nimbo/ModelDiff.h>

#include "MetaModels.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

using quillon::nimbo::ElementChange;

const char* kindName(ElementChange::Kind kind) {
  switch (kind) {
    case ElementChange::Kind::Removed:
      return "removed";
    case ElementChange::Kind::Added:
      return "added";
    case ElementChange::Kind::Moved:
      return "moved";
    case ElementChange::Kind::Changed:
      return "changed";
  }
  return "";
}

nlohmann::ordered_json asJson(const quillon::nimbo::ModelDiff& difference) {
  nlohmann::ordered_json changes = nlohmann::ordered_json::array();
  for (const ElementChange& change : difference.changes) {
    nlohmann::ordered_json object;
    object["kind"] = kindName(change.kind);
    object["uuid"] = boost::uuids::to_string(change.uuid);
    object["element"] = change.element;
    if (!change.oldPlace.empty()) object["oldPlace"] = change.oldPlace;
    if (!change.newPlace.empty()) object["newPlace"] = change.newPlace;
    for (const auto& property : change.properties) {
      object["properties"].push_back(
          {{"property", property.property}, {"old", property.oldValue}, {"new", property.newValue}});
    }
    changes.push_back(std::move(object));
  }
  return changes;
}

}  // namespace

ExitCode runDiff(const DiffOptions& options) {
  loadMetaModels(options.reading.metaModels);
  const tarn::kern::Model before = readModel(options.oldFile, options.reading);
  const tarn::kern::Model after = readModel(options.newFile, options.reading);
  quillon::nimbo::ModelDiff difference;
  {
    const Progress progress("comparing");
    difference = quillon::nimbo::diff(before, after);
  }
  if (options.json) {
    writeOut(asJson(difference).dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  } else {
    std::ostringstream text;
    text << difference;
    writeOut(text.str());
  }
  return difference.empty() ? kFine : kDifferent;
}

}  // namespace nimbo_tool
