// JSON text: the tape against another parser of the same language, and documents on their way into a model and back.

#include <nlohmann/json.hpp>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>

#include "FuzzTarget.h"
#include "JsonDocument.h"
#include "PlainText.h"
#include "framework/tarn/kern/io/JsonTestModel.h"

namespace {

using tarn::kern::Model;
using tarn::kern::io::JsonDocument;
using tarn::kern::io::JsonKind;
using tarn::kern::io::JsonMember;
using tarn::kern::io::JsonNode;

/// What a text says, one piece after the other. Numbers are as they are spelled where both parsers know that.
using Pieces = std::vector<std::string>;

/// The text as our tape has it. Notes what the other parser is known to refuse.
class Ours {
 public:
  explicit Ours(const JsonNode& root) { add(root); }
  Pieces pieces;
  bool hasLoneSurrogate = false;
  bool hasHugeNumber = false;

 private:
  void add(const JsonNode& node) {  // inputs are too short to be deep
    switch (node.kind()) {
      case JsonKind::Null:
        return pieces.push_back("null");
      case JsonKind::True:
      case JsonKind::False:
        return pieces.push_back(node.kind() == JsonKind::True ? "true" : "false");
      case JsonKind::Number:
        hasHugeNumber = hasHugeNumber || !tarn::kern::io::readReal(node.raw());
        return pieces.push_back("number " + std::string(node.raw()));
      case JsonKind::String:
        return addText(node);
      case JsonKind::Array:
        pieces.push_back("[");
        for (const JsonNode& entry : node.entries()) add(entry);
        return pieces.push_back("]");
      case JsonKind::Object:
        pieces.push_back("{");
        for (const JsonMember& member : node.members()) {
          addText(member.key);
          add(member.value);
        }
        return pieces.push_back("}");
    }
  }
  void addText(const JsonNode& node) {
    if (bedrock::i18n::findLoneSurrogate(node.text()) != std::u16string_view::npos) hasLoneSurrogate = true;
    pieces.push_back("text " + node.utf8());
  }
};

/// The text as the other parser tells it.
class Theirs : public nlohmann::json_sax<nlohmann::json> {
 public:
  Pieces pieces;

  bool null() override { return add("null"); }
  bool boolean(bool value) override { return add(value ? "true" : "false"); }
  bool number_integer(std::int64_t value) override { return add("number " + std::to_string(value)); }
  bool number_unsigned(std::uint64_t value) override { return add("number " + std::to_string(value)); }
  bool number_float(double, const std::string& spelling) override { return add("number " + spelling); }
  bool string(std::string& value) override { return add("text " + value); }
  bool binary(nlohmann::json::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return add("{"); }
  bool key(std::string& value) override { return add("text " + value); }
  bool end_object() override { return add("}"); }
  bool start_array(std::size_t) override { return add("["); }
  bool end_array() override { return add("]"); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

 private:
  bool add(std::string piece) {
    pieces.push_back(piece == "number 0" ? "number -0" : std::move(piece));  // the sign of an integer zero is not told
    return true;
  }
};

void compareParsers(std::string_view text) {
  const bool isKnownToDiffer = text.substr(0, 3) == "\xEF\xBB\xBF" || text.find('\0') != std::string_view::npos;
  Theirs theirs;
  const bool isTheirs = nlohmann::json::sax_parse(text.begin(), text.end(), &theirs);
  try {
    const JsonDocument document(text);
    Ours ours(document.root());
    if (ours.hasLoneSurrogate || ours.hasHugeNumber) return;
    fuzz::require(isTheirs, "what we take for JSON is JSON");
    for (std::string& piece : ours.pieces) {
      if (piece == "number 0") piece = "number -0";
    }
    fuzz::require(ours.pieces == theirs.pieces, "both parsers read the same");
  } catch (const tarn::kern::io::ParseError& error) {
    fuzz::require(!isTheirs || isKnownToDiffer, "what we refuse is no JSON");
    fuzz::require(error.line() > 0 && error.column() > 0, "an error names its place");
  }
}

void readModel(const std::string& text) {
  const Model model = tarn::kern::jsontest::emptyModel();
  try {
    tarn::kern::jsontest::readInto(model, text);
  } catch (const tarn::kern::KernelError&) {
    fuzz::require(model->getElementCount() == 0, "a refused document leaves nothing behind");
    return;
  }
  const std::string again = tarn::kern::jsontest::written(model);
  const Model copy = tarn::kern::jsontest::read(again);
  fuzz::require(tarn::kern::modelsEqual(model, copy), "what is written reads as what was written");
  fuzz::require(tarn::kern::jsontest::written(copy) == again, "the same content gives the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(fuzz::viewOf(data, size));
  compareParsers(text);
  readModel(text);
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all = {
      R"([null,true,false,0,-0,1.5e-3,"\"\\\/\b\f\n\r\t\u00e4\ud83d\ude00",{"":{}},[[]],{"a":1,"a":2}])",
      R"({"entries":[],"packageUris":[],"version":"1.0"})",
      R"({"entries":[{"content":{"children":[{"content":null,"type":"jsontest.Node","uuid":)"
      R"("00000000-0000-0000-0000-000000000002"}],"path":[null]},"type":"jsontest.Node","uuid":)"
      R"("00000000-0000-0000-0000-000000000001"}]})"};
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    const Model model = tarn::kern::jsontest::emptyModel();
    tarn::kern::jsontest::fillByChance(model, seed, 3);
    all.push_back(tarn::kern::jsontest::written(model));
  }
  return all;
}
