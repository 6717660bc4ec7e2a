#pragma once

#include <string>
#include <vector>

#include <bedrock/i18n.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

/// XMI documents of the meta-model "jsontest" (see JsonTestModel.h), written and read in one line each.
namespace tarn::kern::xmltest {

using jsontest::add;
using jsontest::elementOf;
using jsontest::emptyModel;
using jsontest::newElement;
using jsontest::uuidOf;

inline std::string written(const Model& model, bool skipsDefaults = true) {
  io::XmlSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(skipsDefaults);
  std::string text;
  serializer.serialize(model, io::SerializationOutput::forUTF8String(text));
  return text;
}

inline std::string written(const std::vector<ModelElement>& elements) {
  io::XmlSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  std::string text;
  serializer.serialize(elements, io::SerializationOutput::forUTF8String(text));
  return text;
}

inline void readInto(const Model& model, const std::string& text) {
  io::XmlParser parser;
  parser.setModel(model);
  parser.parseString(text);
}

inline Model read(const std::string& text) {
  const Model model = emptyModel();
  readInto(model, text);
  return model;
}

inline std::string errorOf(const std::string& text) {
  const Model model = emptyModel();
  std::string message = "no error";
  try {
    readInto(model, text);
  } catch (const io::ParseError& error) {
    message = error.what();
  }
  if (message != "no error" && model->getElementCount() != 0) message += " (and elements are left)";
  return message;
}

inline const std::string kDeclarations =
    R"( xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:j="urn:jsontest")";

/// A document with one root: `<j:Node ... attributes>content</j:Node>`.
inline std::string document(const std::string& className, const std::string& attributes,
                            const std::string& content = {}) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<j:" + className + kDeclarations + " " + attributes + ">" +
         content + "</j:" + className + ">";
}

/// A document with several roots.
inline std::string documentOf(const std::string& roots) {
  return "<xmi:XMI" + kDeclarations + ">" + roots + "</xmi:XMI>";
}

/// The name of the target of a single reference; "-" for none.
inline std::string nameOf(const ModelElement& element) {
  return element ? bedrock::i18n::to_string(element->get<ustring>(u"name")) : std::string("-");
}
inline std::string targetOf(const ModelElement& element, const char16_t* reference) {
  return nameOf(element->get<ModelElement>(reference));
}
inline std::vector<std::string> targetsOf(const ModelElement& element, const char16_t* collection) {
  const Value live = element->getPropertyValue(element->property(collection), ReflectionPrivateTag::PRIVILEGED_ACCESS);
  std::vector<std::string> names;
  for (const ModelElement& member : live.toElementCollection().getAllElements()) names.push_back(nameOf(member));
  return names;
}

/// The only root.
inline ModelElement rootOf(const Model& model) { return model->getTopLevelElements().at(0); }

}  // namespace tarn::kern::xmltest
