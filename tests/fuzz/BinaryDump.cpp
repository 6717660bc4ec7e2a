// A binary model stream, looked into without a model: the event reader and the dump to JSON. Each byte of a stream that
// is walked to its end belongs to one event, what is walked can be dumped, and a dump is JSON in its canonical form.

#include <sstream>
#include <string_view>

#include <nlohmann/json.hpp>

#include "FuzzTarget.h"
#include "nimbo_utils/support/MoneySerializer.h"
#include "nimbo_utils/support/SampleContent.h"
#include "quillon/nimbo/BinEventReader.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"

namespace {

namespace nimbo = quillon::nimbo;
using tarn::kern::Model;

void prepare() {
  static const bool kPrepared = [] {
    fuzz::silenceCerr();
    testsupport::moneySerializer();
    return true;
  }();
  static_cast<void>(kPrepared);
}

/// Holds the events to their promise: their bytes follow each other without a gap, and what begins ends.
class Coverage : public nimbo::BinEventHandler {
 public:
  std::uint64_t next = 0;
  std::int64_t depth = 0;

  void packageCount(const nimbo::PackageCountEvent& e) override { cover(e.bytes); }
  void package(const nimbo::PackageEvent& e) override { cover(e.bytes); }
  void tag(const nimbo::TagEvent& e) override { cover(e.bytes); }
  void noElement(const nimbo::ByteRange& bytes) override { cover(bytes); }
  void elementId(const nimbo::ElementIdEvent& e) override { cover(e.bytes); }
  void type(const nimbo::NameEvent& e) override { cover(e.bytes); }
  void beginElement(const nimbo::ElementEvent& e) override { cover(e.bytes), ++depth; }
  void endElement(const nimbo::ElementEndEvent& e) override {
    cover(e.bytes), --depth;
    fuzz::require(e.record.end() == next, "an element's record ends where its last event does");
  }
  void property(const nimbo::NameEvent& e) override { cover(e.bytes); }
  void plainValue(const nimbo::ValueEvent& e) override { cover(e.bytes); }
  void literal(const nimbo::NameEvent& e) override { cover(e.bytes); }
  void beginCollection(const nimbo::CollectionEvent& e) override { cover(e.bytes), ++depth; }
  void endCollection() override { --depth; }
  void beginMap(const nimbo::MapEvent& e) override { cover(e.bytes), ++depth; }
  void mapEntry(const nimbo::MapEntryEvent& e) override { cover(e.bytes); }
  void endMap() override { --depth; }
  void beginData(std::string_view) override { ++depth; }
  void endData(const nimbo::DataEndEvent& e) override { cover(e.bytes), --depth; }
  void custom(const nimbo::CustomEvent& e) override { cover(e.bytes); }
  void end(const nimbo::ByteRange& bytes) override { cover(bytes); }
  void blockLength(const nimbo::BlockLengthEvent& e) override { cover(e.bytes); }

 private:
  void cover(const nimbo::ByteRange& bytes) {
    fuzz::require(bytes.offset == next, "each byte belongs to one event");
    next = bytes.end();
  }
};

/// Whether the container was walked from its letter to its last byte.
bool isWalked(const std::string& container) {
  Coverage coverage;
  try {
    nimbo::BinEventReader(coverage).read(container);
  } catch (const std::exception&) {
    fuzz::require(coverage.next < container.size(), "no event reports more bytes than there are");
    return false;
  }
  fuzz::require(coverage.next < container.size() && coverage.depth == 0, "all that begins ends");
  return true;
}

void requireCanonicalJson(const std::string& text) {
  const auto document = nlohmann::json::parse(text);
  fuzz::require(document.dump(-1, ' ', false, nlohmann::json::error_handler_t::strict) == text,
                "a dump is what the JSON library would write");
  fuzz::require(document.size() == 3 && document.at("version") == "1.0" && document.at("entries").is_array(),
                "a dump has its three keys");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  prepare();
  const std::string container = "B" + std::string(fuzz::viewOf(data, size)) + std::string(8, '\0');
  const bool walked = isWalked(container);
  try {
    std::istringstream stream(container);
    requireCanonicalJson(nimbo::BinParser().parseToJSON(stream));
  } catch (const nlohmann::json::type_error&) {  // text that is no UTF-8
  } catch (const nlohmann::json::exception&) {
    fuzz::require(false, "a dump is JSON");
  } catch (const std::exception&) {
    fuzz::require(!walked, "what is walked can be dumped");
  }
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  prepare();
  std::vector<std::string> all;
  const auto add = [&all](auto fill) {
    const Model model = Model::create(tarn::kern::ModelSpec());
    fill(model);
    std::ostringstream stream;
    nimbo::BinSerializer().serialize(model->getTopLevelElements(), stream, nimbo::BinFormat::Binary);
    const std::string container = stream.str();
    all.push_back(container.substr(1, container.size() - 9));  // without the letter and the length behind the stream
  };
  add([](const Model&) {});
  add([](const Model& model) { testsupport::fillEverything(model); });
  add([](const Model& model) { testsupport::fillReferences(model); });
  add([](const Model& model) { testsupport::fillLines(model, testsupport::newSample(model, u"Box", 1)); });
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    add([seed](const Model& model) { testsupport::fillByChance(model, seed, seed * 3); });
  }
  return all;
}
