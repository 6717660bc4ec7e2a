#include "JsonRules.h"

#include <map>
#include <set>
#include <tuple>
#include <unordered_set>
#include <vector>

#include <nlohmann/json.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "Listing.h"

namespace nimbo_tool {

namespace {

using nlohmann::json;
using tarn::kern::meta::Property;
using tarn::kern::meta::StructuredType;

bool isElement(const json& value) { return value.is_object() && value.contains("uuid") && value.contains("type"); }

std::string textOf(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// Gathers both ends of every pair of references that are no containment.
class Walk {
 public:
  explicit Walk(Violations& violations) noexcept : fViolations(violations) {}

  void run(const json& document) {
    // Without recursion: documents may nest to any depth.
    fOpen.push_back(&document);
    while (!fOpen.empty()) {
      const json& value = *fOpen.back();
      fOpen.pop_back();
      if (isElement(value)) visitElement(value);
      for (const json& inner : value) {
        if (inner.is_structured()) fOpen.push_back(&inner);
      }
    }
    for (const auto& [uuid, ends] : fEnds) {
      for (const End& end : ends) checkEnd(uuid, end);
    }
  }

 private:
  struct End {
    Property property;
    std::string target;
    bool operator<(const End& other) const {
      return std::tie(property.get()->getName(), target) < std::tie(other.property.get()->getName(), other.target);
    }
  };

  void visitElement(const json& element) {
    const auto content = element.find("content");
    if (content == element.end() || !content->is_object()) return;
    const auto type = tarn::kern::narrow<StructuredType>(tarn::kern::meta::MetaRegistry::getInstance()->getType(
        bedrock::i18n::utf8_to_ustring(textOf(element, "type"))));
    if (!type) return;
    const std::string uuid = textOf(element, "uuid");
    fWithContents.insert(uuid);
    for (const auto& [name, value] : content->items()) {
      const Property property = type->getProperty(bedrock::i18n::utf8_to_ustring(name));
      if (property && property->isReference()) visitReference(uuid, property, value);
    }
  }

  void visitReference(const std::string& uuid, const Property& property, const json& value) {
    std::vector<std::string> targets;
    const auto take = [&targets](const json& target) {
      if (isElement(target)) targets.push_back(textOf(target, "uuid"));
    };
    if (value.is_array()) {
      for (const json& target : value) take(target);
    } else {
      take(value);
    }
    std::unordered_set<std::string> known;
    for (const std::string& target : targets) {
      if (!known.insert(target).second && property->isUnique) {
        fViolations.add({"unique.repeated", {}, place(uuid, property), forTerminal(target) + " stands twice"});
      }
      const Property opposite = property->getOpposite();
      if (opposite && !property->isComposite && !opposite->isComposite) fEnds[uuid].insert({property, target});
    }
  }

  void checkEnd(const std::string& uuid, const End& end) {
    if (fWithContents.count(end.target) == 0) return;  // it stands elsewhere
    const auto back = fEnds.find(end.target);
    if (back != fEnds.end() && back->second.count({end.property->getOpposite(), uuid}) > 0) return;
    fViolations.add({"opposite.one-sided",
                     {},
                     place(uuid, end.property),
                     "refers to " + forTerminal(end.target) + ", whose " +
                         bedrock::i18n::to_string(end.property->getOpposite()->getName()) + " does not refer back"});
  }

  static std::string place(const std::string& uuid, const Property& property) {
    return "{" + forTerminal(uuid) + "}." + bedrock::i18n::to_string(property->getName());
  }

  Violations& fViolations;
  std::vector<const json*> fOpen;
  std::map<std::string, std::set<End>> fEnds;
  std::unordered_set<std::string> fWithContents;
};

}  // namespace

void checkJsonText(std::string_view text, Violations& violations) {
  Walk(violations).run(json::parse(text.begin(), text.end()));
}

}  // namespace nimbo_tool
