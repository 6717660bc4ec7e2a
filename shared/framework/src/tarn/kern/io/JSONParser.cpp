#include <optional>
#include <utility>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/kern/evolution/Evolver.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "JsonDocument.h"
#include "JsonModelReader.h"
#include "JsonRawReader.h"
#include "MentionedElements.h"
#include "ModelLoader.h"
#include "PackageVersions.h"

namespace tarn::kern::io {

using bedrock::i18n::to_string;

namespace {

constexpr const char* kVersion = "1.0";

/// The outermost object of a document.
struct Frame {
  JsonNode entries;
  std::vector<ustring> packageUris;
};

JsonNode& placeOf(const JsonNode& key, JsonNode& version, JsonNode& packageUris, JsonNode& entries) {
  if (key.says("version")) return version;
  if (key.says("packageUris")) return packageUris;
  if (key.says("entries")) return entries;
  throw ParseError(key.place(), R"("version", "packageUris" or "entries" as a key)",
                   "\"" + to_string(key.text()) + "\"");
}

Frame readFrame(const JsonNode& root) {
  if (!root.isObject()) root.fail("an object with \"entries\"");
  JsonNode version;
  JsonNode packageUris;
  JsonNode entries;
  for (const JsonMember& member : root.members()) {
    JsonNode& place = placeOf(member.key, version, packageUris, entries);
    if (place) member.key.failWith("the key \"" + to_string(member.key.text()) + "\" comes twice in one object");
    place = member.value;
  }
  if (version && !(version.isString() && version.says(kVersion))) version.fail(std::string("\"") + kVersion + "\"");
  if (!entries) root.fail("an object with \"entries\"");
  if (!entries.isArray()) entries.fail("an array of elements");
  Frame frame{entries, {}};
  if (!packageUris) return frame;
  if (!packageUris.isArray()) packageUris.fail("an array of package URIs");
  for (const JsonNode& uri : packageUris.entries()) {
    if (!uri.isString()) uri.fail("a package URI");
    frame.packageUris.push_back(uri.text());
  }
  return frame;
}

/// Content that fits the meta-model as it is.
void readCurrent(const JsonDocument& document, const Frame& frame, const Model& model) {
  constexpr std::size_t kUsualNodes = 48;  // of an element and what refers to it
  MentionedElements elements(model, document.nodeCount() / kUsualNodes);
  Transaction transaction = model->beginTransaction(false);
  JsonModelReader(elements).entries(frame.entries);
  elements.finish();
  transaction.commit(boost::none);
  elements.destroyDangling();
}

/// A root of older content that has been brought up to date.
struct EvolvedRoot {
  RawElement element;
  bool hasContents;
  std::string path;
};

std::optional<EvolvedRoot> evolved(const evolution::Evolver& evolver, RawValue root, std::string path) {
  if (root.isNull()) return std::nullopt;
  const bool isReference = root.kind() == RawValue::Kind::Reference;
  // What the class of a reference is called now, an element of it would tell.
  RawElement element = isReference ? RawElement{root.reference().typeName, root.reference().uuid, {}, root.position}
                                   : std::move(root.element());
  if (!evolver.evolve(element)) return std::nullopt;
  return EvolvedRoot{std::move(element), !isReference, std::move(path)};
}

/// Older content goes by way of its raw form. All roots are mentioned before any is filled: they stand in the model in
/// their order, whatever refers to which of them.
void readOlder(const JsonDocument& document, const Frame& frame, const Model& model,
               const evolution::Evolver& evolver) {
  ModelLoader loader(model, document.sourceName());
  Transaction transaction = model->beginTransaction(false);
  JsonRawReader reader(document);
  std::vector<EvolvedRoot> roots;
  std::size_t position = 0;
  for (const JsonNode& entry : frame.entries.entries()) {
    auto root = evolved(evolver, reader.entry(entry), "entries[" + std::to_string(position++) + "]");
    if (!root) continue;
    loader.mention(root->element, root->path);
    roots.push_back(*std::move(root));
  }
  for (EvolvedRoot& root : roots) {
    if (root.hasContents) loader.load(root.element, root.path);
    root.element = {};  // its memory is of use for the next
  }
  loader.finish();
  transaction.commit(boost::none);
  loader.destroyDangling();
}

}  // namespace

JSONParser::JSONParser() = default;
JSONParser::~JSONParser() = default;

void JSONParser::parseString(const std::string& text) {
  const Model& model = target();
  const std::string& name = customizer().getSourceName();
  const JsonDocument document(text, name.empty() ? JsonDocument::kDefaultSourceName : name);
  const Frame frame = readFrame(document.root());
  if (customizer().getEvolveIfNeeded()) {
    const evolution::Evolver evolver(frame.packageUris);
    return evolver.isNeeded() ? readOlder(document, frame, model, evolver) : readCurrent(document, frame, model);
  }
  try {
    readCurrent(document, frame, model);
  } catch (const ParseError& error) {
    const std::string advice = adviceForStalePackages(frame.packageUris);
    if (advice.empty()) throw;
    throw error.with(advice);
  }
}

}  // namespace tarn::kern::io
