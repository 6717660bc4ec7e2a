#include "Selection.h"

#include <unordered_set>

#include <bedrock/i18n.h>

#include "ToolError.h"
#include "Uuids.h"

namespace nimbo_tool {

namespace {

using tarn::kern::FindElementBehavior;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::meta::Class;

bool isNamed(const Class& type, const tarn::kern::ustring& name) {
  for (Class at = type; at; at = at->getSuperclass()) {
    if (at->getName() == name || at->getQualifiedName() == name) return true;
  }
  return false;
}

std::vector<ModelElement> elementsNamed(const Model& model, const std::string& word) {
  if (isUuid(word)) {
    const ModelElement element = model->findElement(parseUuid(word), FindElementBehavior::Anywhere);
    if (!element) throw ToolError("the model has no element " + word);
    return {element};
  }
  const tarn::kern::ustring name = bedrock::i18n::utf8_to_ustring(word);
  std::vector<ModelElement> result;
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    if (isNamed(element->getMetaClass(), name)) result.push_back(element);
  }
  if (result.empty()) {
    throw ToolError("the model has no element of a class \"" + word +
                    "\"; `nimbo info` lists the classes that there are");
  }
  return result;
}

}  // namespace

std::vector<ModelElement> selectElements(const Model& model, const std::vector<std::string>& words) {
  std::vector<ModelElement> result;
  std::unordered_set<ModelElement> known;
  for (const std::string& word : words) {
    for (const ModelElement& element : elementsNamed(model, word)) {
      if (known.insert(element).second) result.push_back(element);
    }
  }
  return result;
}

}  // namespace nimbo_tool
