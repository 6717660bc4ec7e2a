#include "framework/tarn/kern/KernelTestModel.h"

#include <set>
#include <sstream>
#include <unordered_set>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace kerneltest {

using namespace tarn::kern;        // NOLINT: the vocabulary of these tests
using namespace tarn::kern::meta;  // NOLINT

namespace {

const ReflectionPrivateTag& kPrivileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;

Types makeTypes() {
  PackageBuilder package(u"kerneltest");
  auto& color = package.addEnum(u"Color").literal(u"red", 0).literal(u"green", 1).literal(u"deep", -7);
  auto& place = package.addDataType(u"Place");
  place.attribute(u"x", StandardTypes::integerMeta).required();
  place.attribute(u"name", StandardTypes::stringMeta);
  auto& base = package.addClass(u"AbstractNode").makeAbstract();
  base.attribute(u"name", StandardTypes::stringMeta).required();
  auto& node = package.addClass(u"Node").extends(base);
  node.attribute(u"note", StandardTypes::stringMeta);
  node.attribute(u"count", StandardTypes::integerMeta).required().defaultsTo(Value(std::int32_t{5}));
  node.attribute(u"big", StandardTypes::integer64Meta);
  node.attribute(u"flag", StandardTypes::booleanMeta);
  node.attribute(u"when", StandardTypes::dateTimeMeta);
  node.attribute(u"color", color).required().defaultsTo(u"green");
  node.attribute(u"place", place).required();
  node.attribute(u"fields", StandardTypes::stringToStringMapMeta).required();
  node.attribute(u"numbers", StandardTypes::integerMeta).many();
  node.attribute(u"labels", StandardTypes::stringMeta).many().unique();
  node.attribute(u"times", StandardTypes::dateTimeMeta).many();
  node.attribute(u"places", place).many();
  node.composite(u"children", node).many().opposite(u"parent");
  node.reference(u"parent", node).opposite(u"children");
  node.composite(u"only", node).opposite(u"onlyOf");
  node.reference(u"onlyOf", node).opposite(u"only");
  node.composite(u"keyed", node).many().qualifiedBy(u"name");
  node.reference(u"next", node);
  node.reference(u"others", node).many();
  node.reference(u"path", node).many().unique(false);
  node.reference(u"left", node).opposite(u"right");
  node.reference(u"right", node).opposite(u"left");
  node.reference(u"owner", node).opposite(u"owned");
  node.reference(u"owned", node).many().opposite(u"owner");
  node.reference(u"friends", node).many().opposite(u"friendOf");
  node.reference(u"friendOf", node).many().opposite(u"friends");
  node.attribute(u"hidden", StandardTypes::integerMeta).guarded();
  node.attribute(u"fixed", StandardTypes::integerMeta).readOnly();
  package.addClass(u"Special").extends(node);
  package.addClass(u"Unrelated").attribute(u"name", StandardTypes::stringMeta);
  package.registerPackage();
  const auto classNamed = [](const char16_t* name) {
    return narrow<Class>(MetaRegistry::getInstance()->getType(ustring(u"kerneltest.") + name));
  };
  return {classNamed(u"Node"),
          classNamed(u"Special"),
          classNamed(u"Unrelated"),
          classNamed(u"AbstractNode"),
          narrow<DataType>(MetaRegistry::getInstance()->getType(u"kerneltest.Place")),
          narrow<Enum>(MetaRegistry::getInstance()->getType(u"kerneltest.Color"))};
}

std::string uuidText(const ModelElement& element) {
  return element ? boost::lexical_cast<std::string>(element->getUuid()) : "-";
}

void dumpProperty(std::ostream& out, const ModelElement& element, const Property& property) {
  out << "  " << bedrock::i18n::to_string(property->getName()) << " = ";
  const Value value = element->getPropertyValue(property, kPrivileged);
  if (property->isReference()) {
    if (!property->isCollection()) {
      out << uuidText(value.get<ModelElement>());
    } else {
      for (const ModelElement& member : value.toElementCollection().getAllElements()) out << uuidText(member) << ' ';
    }
  } else if (property->isCollection()) {
    for (const Value& entry : value.toPrimitiveCollection().getAllValues()) out << entry.describe() << ' ';
  } else if (property->getType() == StandardTypes::stringToStringMapMeta) {
    for (const auto& [key, text] : value.toStringToStringMap()) {
      out << bedrock::i18n::to_string(key) << "->" << bedrock::i18n::to_string(text) << ' ';
    }
  } else {
    out << value.describe();
  }
  out << '\n';
}

}  // namespace

const Types& types() {
  static const Types kTypes = makeTypes();
  return kTypes;
}

Property property(const char16_t* name) { return types().node->getProperty(name); }

Model newModel() { return Model::create(ModelSpec()); }

ModelElement newNode(const Model& model, const char16_t* name) {
  ModelElement node = types().node->instantiate(model, boost::uuids::uuid{});
  node->set(u"name", name);
  return node;
}

Value live(const ModelElement& element, const char16_t* name) {
  return element->getPropertyValue(property(name), kPrivileged);
}

std::string nameOf(const ModelElement& element) {
  return element ? bedrock::i18n::to_string(element->get<ustring>(u"name")) : "-";
}

std::vector<std::string> names(const ModelElement& element, const char16_t* collection) {
  const Value value = live(element, collection);
  std::vector<std::string> found;
  for (const ModelElement& member : value.toElementCollection().getAllElements()) found.push_back(nameOf(member));
  return found;
}

std::string nameOf(const ModelElement& element, const char16_t* reference) {
  return nameOf(element->get<ModelElement>(reference));
}

void add(const ModelElement& element, const char16_t* collection, const ModelElement& member) {
  const Value value = live(element, collection);
  value.toElementCollection().addElement(member);
}

void set(const ModelElement& element, const char16_t* reference, const ModelElement& target) {
  element->set(reference, target);
}

std::string dump(const Model& model) {
  std::ostringstream out;
  out << "top:";
  for (const ModelElement& element : model->getTopLevelElements()) out << ' ' << uuidText(element);
  out << '\n';
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    out << uuidText(element) << ' ' << bedrock::i18n::to_string(element->getMetaClass()->getName()) << " in "
        << uuidText(element->container()) << '\n';
    for (const Property& property : element->getMetaClass()->getAllProperties()) dumpProperty(out, element, property);
  }
  return out.str();
}

namespace {

std::vector<ModelElement> targets(const ModelElement& element, const Property& property) {
  const Value value = element->getPropertyValue(property, kPrivileged);
  if (property->isCollection()) return value.toElementCollection().getAllElements();
  const ModelElement target = value.get<ModelElement>();
  return target ? std::vector<ModelElement>{target} : std::vector<ModelElement>{};
}

bool holds(const ModelElement& element, const Property& property, const ModelElement& wanted) {
  for (const ModelElement& target : targets(element, property)) {
    if (target == wanted) return true;
  }
  return false;
}

}  // namespace

std::string inconsistencies(const Model& model) {
  std::ostringstream out;
  std::set<ModelElement> top;
  for (const ModelElement& element : model->getTopLevelElements()) top.insert(element);
  std::size_t count = 0;
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    ++count;
    if (model->findElement(element->getUuid(), FindElementBehavior::Anywhere) != element) {
      out << element->describe() << " is not found by its uuid\n";
    }
    const ModelElement container = element->container();
    if (top.contains(element) == static_cast<bool>(container)) {
      out << element->describe() << " is top-level and contained, or neither\n";
    }
    if (container && !holds(container, element->containerProperty(), element)) {
      out << element->describe() << " is not held by its container\n";
    }
    for (const Property& property : element->getMetaClass()->getAllClassProperties()) {
      std::set<ModelElement> seen;
      for (const ModelElement& target : targets(element, property)) {
        const std::string where = element->describe() + " " + bedrock::i18n::to_string(property->getName());
        if (!target) continue;
        if (target->isDestroyed()) {
          out << where << " refers to a destroyed element\n";
          continue;
        }
        if (property->isUnique && !seen.insert(target).second) out << where << " holds a member twice\n";
        if (property->isComposite && (target->container() != element || target->containerProperty() != property)) {
          out << where << " holds an element that is contained elsewhere\n";
        }
        if (property->getOpposite() && !holds(target, property->getOpposite(), element)) {
          out << where << " and its opposite disagree\n";
        }
        if (!property->isComposite && !property->getOpposite()) {
          bool known = false;
          for (const IncomingReference& incoming : target->incomingReferences()) {
            known = known || (incoming.element == element && incoming.property == property);
          }
          if (!known) out << where << " is not among its target's incoming references\n";
        }
      }
    }
  }
  if (count != model->getElementCount()) out << "the count of elements is wrong\n";
  return out.str();
}

}  // namespace kerneltest
