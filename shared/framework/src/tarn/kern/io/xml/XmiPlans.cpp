#include "XmiPlans.h"

#include <cstring>

#include <bedrock/i18n.h>

#include "../../Layout.h"
#include "../../ecore/Facets.h"
#include "XmlNames.h"

namespace tarn::kern::io::xml {

using bedrock::i18n::ustring_to_utf8;

TypePlan::TypePlan(const meta::StructuredType& type, XmiPlans& plans) : fType(type), fClass(narrow<meta::Class>(type)) {
  for (const meta::Property& property : type->getAllProperties()) {
    Feature& feature = fFeatures.emplace_back();
    feature.property = property;
    feature.name = xmlName(property->getName());
    feature.storage = kern::internal::storageTypeOf(property->getType());
    feature.isCollection = property->isCollection();
    feature.isComposite = property->isComposite;
    feature.isOmitted = property->isOmitted || (property->getOpposite() && property->getOpposite()->isComposite);
    feature.isId = !feature.isCollection && ecore::hasFacet(property, u"iD");
    if (feature.storage == StorageType::Enum) {
      feature.literals = &plans.literalsOf(narrow<meta::Enum>(property->getType()));
    }
    fByName.emplace(feature.name, &feature);
  }
}

const Feature* TypePlan::find(std::string_view name) const {
  const auto at = fByName.find(name);
  return at == fByName.end() ? nullptr : at->second;
}

const Feature* TypePlan::findAttribute(const char* name) {
  if (fNext < fByAddress.size() && fByAddress[fNext].first == name) return fByAddress[fNext++].second;
  for (std::size_t i = 0; i < fByAddress.size(); ++i) {
    if (fByAddress[i].first != name) continue;
    fNext = i + 1;
    return fByAddress[i].second;
  }
  const char* colon = std::strchr(name, ':');
  const Feature* feature = find(colon == nullptr ? name : colon + 1);
  if (feature != nullptr) {
    fByAddress.emplace_back(name, feature);
    fNext = fByAddress.size();
  }
  return feature;
}

TypePlan& XmiPlans::of(const meta::StructuredType& type) {
  const auto at = fPlans.find(type.get());
  if (at != fPlans.end()) return at->second;
  return fPlans.try_emplace(type.get(), type, *this).first->second;
}

meta::Type XmiPlans::typeNamed(const meta::Package& package, std::string_view name) {
  const auto [at, isNew] = fTypes.try_emplace(package.get());
  if (isNew) {
    for (const meta::Type& type : package->getTypesInOrder()) at->second.emplace(xmlName(type->getName()), type);
  }
  const auto type = at->second.find(std::string(name));
  return type == at->second.end() ? meta::Type() : type->second;
}

const std::unordered_map<std::string, std::int64_t>& XmiPlans::literalsOf(const meta::Enum& type) {
  const auto [at, isNew] = fLiterals.try_emplace(type.get());
  if (!isNew) return at->second;
  // Ecore distinguishes a literal's name from its text; files hold the text, some the name.
  for (const meta::EnumLiteral& literal : type->getLiteralsInOrder()) {
    const ustring* text = ecore::findFacet(type, u"literal:" + literal->getName());
    if (text != nullptr) at->second.emplace(ustring_to_utf8(*text), literal->getValue());
  }
  for (const meta::EnumLiteral& literal : type->getLiteralsInOrder()) {
    at->second.emplace(ustring_to_utf8(literal->getName()), literal->getValue());
  }
  return at->second;
}

void XmiPlans::forgetAddresses() {
  for (auto& [type, plan] : fPlans) plan.forgetAddresses();
}

}  // namespace tarn::kern::io::xml
