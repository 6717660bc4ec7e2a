// docs/formats/json.md shows a document; these tests hold it to its word.
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

namespace tarn::kern::jsontest {
namespace {

/// The example of that name, as it stands.
std::string documented(const std::string& name) {
  std::ifstream file(NIMBO_SOURCE_ROOT "/docs/formats/json.md", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string begin = "<!-- example: " + name + " -->\n```json\n";
  const std::size_t at = text.find(begin);
  if (at == std::string::npos) throw std::runtime_error("docs/formats/json.md has no example \"" + name + "\"");
  return text.substr(at + begin.size(), text.find("```", at + begin.size()) - at - begin.size());
}

/// Without blanks and line breaks outside of strings.
std::string compact(const std::string& text) {
  std::string compacted;
  bool isInString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"' && (i == 0 || text[i - 1] != '\\')) isInString = !isInString;
    if (isInString || (text[i] != ' ' && text[i] != '\n')) compacted += text[i];
  }
  return compacted;
}

Model exampleModel() {
  const Model model = emptyModel();
  const ModelElement root = newElement(model, u"Node", 1);
  const ModelElement child = newElement(model, u"Special", 2);
  const ModelElement plain = newElement(model, u"Plain", 3);
  newElement(model, u"Node", 4);
  root->set(u"name", u"root");
  add(root, u"children", child);
  child->set(u"count", std::int32_t{7});
  child->set(u"next", root);
  plain->set(u"real", std::numeric_limits<double>::quiet_NaN());
  plain->unset(plain->property(u"defaultReal"));
  plain->set(u"color", std::int64_t{1});
  plain->set(u"defaultColor", std::int64_t{99});
  plain->set(u"money", Money{12, u"EUR"});
  ReflectiveDataType point(dataTypeNamed(u"Point"));
  point.set(u"x", std::int32_t{1});
  point.set(u"label", ustring{u'a', u' ', 0xD800} + u" stands alone");
  plain->set(u"requiredPoint", point);
  plain->set(plain->property(u"map"), StringToStringMap{{u"z", u"first"}, {u"a", u"second"}});
  return model;
}

TEST(JsonFormatDocument, ShowsWhatIsWritten) {
  EXPECT_EQ(written(exampleModel()), compact(documented("written")));
  const Model model = exampleModel();
  EXPECT_TRUE(modelsEqual(model, read(documented("written"))));
}

TEST(JsonFormatDocument, ShowsSortedKeysThatReadAsTheSameModel) {
  const Model model = exampleModel();
  const ModelElement plain = elementOf(model, 3);
  plain->set(plain->property(u"map"), StringToStringMap{{u"a", u"second"}, {u"z", u"first"}});
  const auto difference = firstDifference(model, read(documented("sorted")));
  EXPECT_FALSE(difference) << difference->text();
}

}  // namespace
}  // namespace tarn::kern::jsontest
