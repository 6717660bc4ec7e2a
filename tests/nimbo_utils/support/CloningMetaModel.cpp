#include "CloningMetaModel.h"

#include <random>

#include <tarn/kern/Collections.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using meta::StandardTypes;

namespace {

void defineReferences(meta::ClassBuilder& node) {
  node.composite(u"child", node);
  node.composite(u"children", node).many().opposite(u"parent");
  node.reference(u"parent", node).opposite(u"children");
  node.composite(u"items", node).many().qualifiedBy(u"name");
  node.composite(u"scratch", node).transient();
  node.reference(u"next", node);
  node.reference(u"refs", node).many().unique(false);
  node.reference(u"nowhere", node).bounds(0, 0);
  node.reference(u"index", node).many().qualifiedBy(u"name");
  node.reference(u"hidden", node).transient();
  node.reference(u"boss", node).opposite(u"staff");
  node.reference(u"staff", node).many().opposite(u"boss");
  node.reference(u"friends", node).many().opposite(u"friendOf");
  node.reference(u"friendOf", node).many().opposite(u"friends");
  node.reference(u"partner", node).opposite(u"partnerOf");
  node.reference(u"partnerOf", node).opposite(u"partner");
}

meta::Package definePackage() {
  meta::PackageBuilder package(u"cloning");
  auto& inner = package.addDataType(u"Inner");
  auto& link = package.addDataType(u"Link");
  auto& node = package.addClass(u"Node");
  inner.attribute(u"label", StandardTypes::stringMeta);
  inner.attribute(u"target", node);
  link.attribute(u"label", StandardTypes::stringMeta);
  link.attribute(u"target", node);
  link.attribute(u"targets", node).many();
  link.attribute(u"inner", inner);
  link.attribute(u"inners", link).many();

  node.attribute(u"name", StandardTypes::stringMeta);
  node.attribute(u"tags", StandardTypes::stringToStringMapMeta);
  node.attribute(u"numbers", StandardTypes::integerMeta).many();
  node.attribute(u"distinct", StandardTypes::integerMeta).many().unique();
  node.attribute(u"times", StandardTypes::dateTimeMeta).many();
  node.attribute(u"link", link);
  node.attribute(u"links", link).many();
  node.attribute(u"never", StandardTypes::integerMeta).bounds(0, 0);
  defineReferences(node);

  package.addClass(u"Leaf").extends(node).attribute(u"size", StandardTypes::integerMeta);
  auto& oneway = package.addClass(u"Oneway").extends(node);
  oneway.reference(u"to", oneway).many().opposite(u"from");
  oneway.reference(u"from", oneway).many().opposite(u"to").transient();
  auto& other = package.addClass(u"Other");
  other.attribute(u"name", StandardTypes::stringMeta);
  other.attribute(u"note", StandardTypes::stringMeta);
  return package.registerPackage();
}

const meta::Package& cloningPackage() {
  static const meta::Package kPackage = definePackage();
  return kPackage;
}

boost::uuids::uuid uuidOf(std::uint64_t number) {
  boost::uuids::uuid uuid{};
  for (std::size_t i = 0; i < 8; ++i) uuid.data[15 - i] = static_cast<std::uint8_t>(number >> (8 * i));
  return uuid;
}

class ChanceModel {
 public:
  ChanceModel(const Model& model, std::uint32_t seed) : fModel(model), fRandom(seed) {}

  ModelElement fill(std::uint64_t count) {
    for (std::uint64_t number = 1; number <= count; ++number) addNode(number);
    for (const ModelElement& node : fNodes) refer(node);
    return fNodes.front();
  }

 private:
  std::uint64_t below(std::uint64_t limit) { return fRandom() % limit; }
  const ModelElement& anyNode() { return fNodes[below(fNodes.size())]; }

  void addNode(std::uint64_t number) {
    const ModelElement node = newNode(fModel, number, below(3) == 0 ? u"" : u"node", below(4) == 0 ? u"Leaf" : u"Node");
    for (std::uint64_t i = below(4); i > 0; --i) {
      const auto value = static_cast<std::int32_t>(below(5));
      valueOf(node, u"numbers").toPrimitiveCollection().addValue(value);
      valueOf(node, u"distinct").toPrimitiveCollection().addValue(value);
    }
    if (below(3) == 0) {
      valueOf(node, u"tags").toStringToStringMap().insert(u"key", u"value", kern::CollisionResolution::Replace);
    }
    if (below(3) == 0) node->set(u"link", kern::ReflectiveDataType(linkType()).set(u"label", u"x"));
    if (!fNodes.empty()) contain(anyNode(), node);
    fNodes.push_back(node);
  }

  void contain(const ModelElement& container, const ModelElement& node) {
    if (below(4) == 0 && !targetOf(container, u"child")) {
      container->set(u"child", node);
    } else {
      addTo(container, below(5) == 0 ? u"items" : u"children", node);
    }
  }

  void refer(const ModelElement& node) {
    if (below(2) == 0) node->set(u"next", anyNode());
    for (std::uint64_t i = below(4); i > 0; --i) addTo(node, u"refs", anyNode());
    for (std::uint64_t i = below(4); i > 0; --i) addTo(node, u"friends", anyNode());
    if (below(2) == 0) node->set(u"boss", anyNode());
    if (below(3) == 0) node->set(u"partner", anyNode());
  }

  Model fModel;
  std::mt19937 fRandom;
  std::vector<ModelElement> fNodes;
};

}  // namespace

meta::Class cloningClass(const std::u16string& name) {
  return narrow<meta::Class>(cloningPackage()->getTypes().at(name));
}

meta::DataType linkType() { return narrow<meta::DataType>(cloningPackage()->getTypes().at(u"Link")); }
meta::DataType innerType() { return narrow<meta::DataType>(cloningPackage()->getTypes().at(u"Inner")); }

ModelElement newNode(const Model& model, std::uint64_t number, const std::u16string& name,
                     const std::u16string& className) {
  ModelElement node = cloningClass(className)->instantiate(model, uuidOf(number));
  if (!name.empty()) node->set(u"name", name);
  return node;
}

ModelElement nodeIn(const Model& model, std::uint64_t number) {
  return model->findElement(uuidOf(number), kern::FindElementBehavior::Anywhere);
}

kern::Value valueOf(const ModelElement& element, const std::u16string& property) {
  return element->getPropertyValue(element->property(property), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

void addTo(const ModelElement& element, const std::u16string& property, const ModelElement& member) {
  valueOf(element, property).toElementCollection().addElement(member);
}

std::vector<ModelElement> membersOf(const ModelElement& element, const std::u16string& property) {
  return valueOf(element, property).toElementCollection().getAllElements();
}

ModelElement targetOf(const ModelElement& element, const std::u16string& property) {
  return valueOf(element, property).get<ModelElement>();
}

ModelElement fillNodesByChance(const Model& model, std::uint32_t seed, std::uint64_t nodes) {
  return ChanceModel(model, seed).fill(nodes);
}

}  // namespace testsupport
