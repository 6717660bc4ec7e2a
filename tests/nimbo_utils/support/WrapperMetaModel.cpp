#include "WrapperMetaModel.h"

#include <bedrock/i18n.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "Saving.h"

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;

namespace {

meta::Package defineWrapping() {
  meta::PackageBuilder package(u"wrapping");
  package.uri(u"urn:wrapping");
  auto& base = package.addClass(u"Base");
  base.attribute(u"name", StandardTypes::stringMeta);
  base.composite(u"zulu", base).many();
  base.composite(u"alpha", base);

  auto& node = package.addClass(u"Node").extends(base);
  node.composite(u"mike", base).many();
  node.composite(u"bravo", base);
  node.attribute(u"count", StandardTypes::integerMeta).required().defaultsTo(std::int32_t{5});
  node.reference(u"next", base);
  node.reference(u"peers", base).many().unique(false);
  node.reference(u"nowhere", base).bounds(0, 0);
  node.attribute(u"tags", StandardTypes::stringMeta).many();

  auto& root = package.addClass(u"Root").extends(node);
  root.attribute(u"title", StandardTypes::stringMeta);
  package.addClass(u"SpecialRoot").extends(root);
  package.addClass(u"Vault").extends(base).composite(u"secret", base).guarded();
  package.addClass(u"Ghost").makeAbstract();

  auto& friendClass = package.addClass(u"Friend");
  friendClass.reference(u"friends", friendClass).many().opposite(u"friendOf");
  friendClass.reference(u"friendOf", friendClass).many().opposite(u"friends");
  return package.registerPackage();
}

meta::Package defineWrapped(const char16_t* version) {
  meta::PackageBuilder package(u"wrapped");
  package.family(u"wrapped", version);
  package.addClass(u"Thing").attribute(u"name", StandardTypes::stringMeta);
  return package.registerPackage();
}

struct Wrapped {
  meta::Package older = defineWrapped(u"1");
  meta::Package current = defineWrapped(u"2");
};

const Wrapped& wrapped() {
  static const Wrapped kWrapped;
  return kWrapped;
}

std::string uriOf(const meta::Package& package) { return bedrock::i18n::ustring_to_utf8(package->getUri()); }

}  // namespace

meta::Class wrappingClass(const std::u16string& name) {
  static const meta::Package kPackage = defineWrapping();
  return narrow<meta::Class>(kPackage->getTypes().at(name));
}

std::string olderWrappedUri() { return uriOf(wrapped().older); }
std::string currentWrappedUri() { return uriOf(wrapped().current); }
meta::Class wrappedThing() { return narrow<meta::Class>(wrapped().current->getTypes().at(u"Thing")); }

kern::ModelElement newNamed(const kern::Model& model, const std::u16string& className, const std::u16string& name) {
  const kern::ModelElement element = wrappingClass(className)->instantiate(model, {});
  if (className != u"Friend") element->set(u"name", name);
  return element;
}

kern::ModelElement added(const kern::ModelElement& owner, const std::u16string& property,
                         const kern::ModelElement& member) {
  owner->getPropertyValue(owner->property(property), kern::ReflectionPrivateTag::PUBLIC_ACCESS)
      .toElementCollection()
      .addElement(member);
  return member;
}

std::string nameOf(const kern::ModelElement& element) {
  return bedrock::i18n::ustring_to_utf8(element->get<std::u16string>(u"name"));
}

std::string containerOf(const std::initializer_list<std::u16string>& classNames) {
  const kern::Model model = kern::Model::create(kern::ModelSpec());
  for (const std::u16string& name : classNames) newNamed(model, name, name);
  return saved(model->getTopLevelElements());
}

}  // namespace testsupport
