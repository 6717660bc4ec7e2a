// JSON text: the tape against another parser of the same language.

#include <nlohmann/json.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/io/ParseError.h>

#include "FuzzTarget.h"
#include "JsonDocument.h"
#include "PlainText.h"

namespace {

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  compareParsers(fuzz::viewOf(data, size));
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  return {R"([null,true,false,0,-0,1.5e-3,"\"\\\/\b\f\n\r\t\u00e4\ud83d\ude00",{"":{}},[[]],{"a":1,"a":2}])",
          R"({"entries":[],"packageUris":[],"version":"1.0"})", R"([-1E+2,0.0e-0,18446744073709551616,1e999,"\ud800"])",
          " \t\r\n[ ] ", "\xEF\xBB\xBF\"\xC3\xA4\xF0\x9F\x98\x80\""};
}
