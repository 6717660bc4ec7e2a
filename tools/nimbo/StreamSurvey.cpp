#include "StreamSurvey.h"

#include <optional>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "ToolError.h"

namespace nimbo_tool {

using namespace quillon::nimbo;

void StreamSurvey::container(const ContainerEvent& event) {
  fSurvey.letter = event.letter;
  fSurvey.payloadBytes = event.storedBytes;
}

void StreamSurvey::decompression(const DecompressionEvent& event) { fSurvey.payloadBytes = event.payloadBytes; }

void StreamSurvey::jsonText(const ByteRange&, std::string_view text) {
  surveyJson(text, fSurvey, "the JSON text in the container");
}

void StreamSurvey::package(const PackageEvent& event) { fSurvey.packages.emplace_back(event.uri); }

void StreamSurvey::beginElement(const ElementEvent& event) {
  const bool isRoot = fDepth == 0;
  if (isRoot) ++fSurvey.roots;
  if (!event.hasContents) {
    if (!isRoot) ++fSurvey.references;
    return;
  }
  ++fSurvey.elements;
  ++fSurvey.elementsPerClass[std::string(event.typeName)];
  fSurvey.depth = std::max(fSurvey.depth, ++fDepth);
}

void StreamSurvey::endElement(const ElementEndEvent& event) {
  if (event.bytes.length > 0 && fDepth > 0) --fDepth;  // only contents have an end of their own
}

void StreamSurvey::end(const ByteRange& bytes) {
  if (fSurvey.letter == 'B') fSurvey.payloadBytes = bytes.end();
}

void StreamSurvey::dangling(const DanglingEvent&) { ++fSurvey.dangling; }

namespace {

/// Walks JSON text without keeping it: an object with "uuid" is an element, with contents when its "content" is no
/// null.
class JsonSurvey final : public nlohmann::json_sax<nlohmann::json> {
 public:
  JsonSurvey(Survey& survey, const std::string& name) : fSurvey(survey), fName(name) {}

  bool null() override { return value({}); }
  bool boolean(bool) override { return value({}); }
  bool number_integer(number_integer_t) override { return value({}); }
  bool number_unsigned(number_unsigned_t) override { return value({}); }
  bool number_float(number_float_t, const string_t&) override { return value({}); }
  bool string(string_t& text) override { return value(text); }
  bool binary(binary_t&) override { return true; }

  bool start_object(std::size_t) override {
    if (!fObjects.empty() && fObjects.back().key == kContent) fObjects.back().hasContents = true;
    fObjects.emplace_back();
    return true;
  }
  bool end_object() override {
    const Object object = std::move(fObjects.back());
    fObjects.pop_back();
    if (object.key == kContent) --fOpenContents;
    if (object.uuid) countElement(object);
    return true;
  }
  bool start_array(std::size_t) override { return true; }
  bool end_array() override { return true; }
  bool key(string_t& key) override {
    std::string& current = fObjects.back().key;
    if (current == kContent) --fOpenContents;
    current = std::move(key);
    if (current == kContent) ++fOpenContents;
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
    throw ToolError(fName + ": is no JSON: " + error.what());
  }

  void finish() {
    for (const auto& uuid : fDefined) fMentioned.erase(uuid);
    fSurvey.dangling = fMentioned.size();
  }

 private:
  static constexpr std::string_view kContent = "content";

  struct Object {
    std::string key;
    std::string type;
    std::optional<std::string> uuid;
    bool hasContents = false;
  };

  bool value(std::optional<std::string> text) {
    if (fObjects.empty()) return true;
    Object& object = fObjects.back();
    if (text && object.key == "type") object.type = *text;
    if (text && object.key == "uuid") object.uuid = text;
    if (text && object.key == "packageUris" && fObjects.size() == 1) fSurvey.packages.push_back(*text);
    return true;
  }

  void countElement(const Object& object) {
    const bool isRoot = fOpenContents == 0;
    if (isRoot) ++fSurvey.roots;
    if (object.hasContents) {
      ++fSurvey.elements;
      ++fSurvey.elementsPerClass[object.type];
      fDefined.insert(*object.uuid);
    } else if (!isRoot) {
      ++fSurvey.references;
      fMentioned.insert(*object.uuid);
    }
  }

  Survey& fSurvey;
  const std::string& fName;
  std::vector<Object> fObjects;     // those that are open
  std::uint64_t fOpenContents = 0;  // of these, those whose content is being read
  std::unordered_set<std::string> fDefined;
  std::unordered_set<std::string> fMentioned;
};

}  // namespace

void surveyJson(std::string_view text, Survey& survey, const std::string& name) {
  JsonSurvey handler(survey, name);
  nlohmann::json::sax_parse(text.begin(), text.end(), &handler);
  handler.finish();
}

}  // namespace nimbo_tool
