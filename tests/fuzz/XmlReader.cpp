// XMI documents on their way into a model and back.

#include <quillon/logging/Logger.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "FuzzTarget.h"
#include "framework/tarn/kern/io/JsonTestModel.h"

namespace {

using tarn::kern::Model;
namespace io = tarn::kern::io;

/// False when the text was refused.
bool read(const std::string& text, const Model& model) {
  io::XmlParser parser;
  parser.setModel(model);
  try {
    parser.parseString(text);
    return true;
  } catch (const tarn::kern::KernelError&) {
    fuzz::require(model->getElementCount() == 0, "a refused document leaves nothing in the model");
    return false;
  }
}

std::string written(const Model& model) {
  io::XmlSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  std::string text;
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

void tryModel(const std::string& text) {
  const Model model = tarn::kern::jsontest::emptyModel();
  if (!read(text, model)) return;
  const std::string first = written(model);  // what XML brought, XML can carry
  const Model again = tarn::kern::jsontest::emptyModel();
  fuzz::require(read(first, again), "what was written is read");
  fuzz::require(!tarn::kern::firstDifference(model, again), "what was written is the model");
  fuzz::require(written(again) == first, "what was written is written again");
}

const char* const kDeclarations =
    " xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool kIsQuiet = [] {
    quillon::logging::internal::Logger::setSink([](unsigned, int, std::string_view) {});
    return true;
  }();
  static_cast<void>(kIsQuiet);
  tryModel(std::string(fuzz::viewOf(data, size)));
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  const std::string declarations = std::string(kDeclarations) + " xmlns:j=\"urn:jsontest\"";
  const std::string model =
      "<xmi:XMI" + declarations +
      "><j:Node name=\"r\" xmi:id=\"r\" next=\"//@children.0\" friends=\"r c\"><children xsi:type=\"j:Special\" "
      "xmi:id=\"c\" name=\"c\"/><children name=\"d\" others=\"r #c //c /0/@children.1\" owner=\"/\"/>"
      "<only xsi:nil=\"true\"/><path href=\"#c\"/><path xsi:nil=\"true\"/></j:Node>"
      "<j:Plain color=\"green\" real=\"0.5\" manyInteger=\"1 2\" money=\"12 EUR\"/></xmi:XMI>";
  const std::string values = "<j:Plain" + declarations +
                             " integer=\"-1\" dateTime=\"2020-01-31T13:05:09\"><map key=\"k\" value=\"v\"/><point "
                             "x=\"1\" y=\"2\"><label>l</label>"
                             "</point><manyString>s &amp; t</manyString><defaultString xsi:nil=\"true\"/></j:Plain>";
  const std::string data = "<xmi:XMI" + declarations +
                           "><j:Lines><line target=\"n\"><inner name=\"i\"><targets href=\"#n\"/><notes key=\"a\" "
                           "value=\"b\"/></inner></line></j:Lines><j:Node xmi:id=\"n\"/></xmi:XMI>";
  return {model, values, data};
}
