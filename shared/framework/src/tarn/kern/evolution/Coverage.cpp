#include "Coverage.h"

#include <algorithm>
#include <map>

#include <tarn/kern/evolution/Evolver.h>

#include "../NearestName.h"

namespace tarn::kern::evolution::internal {

namespace {

ustring packagePartOf(const ustring& typeName) {
  const std::size_t dot = typeName.rfind(u'.');
  return dot == ustring::npos ? ustring() : typeName.substr(0, dot);
}

[[noreturn]] void refuse(const Chain& chain, const Subject& subject, const ustring& property,
                         const io::RawPosition& position, const std::string& what, const std::string& remedy) {
  const io::RawPosition& at = position.line != 0 ? position : subject.position;
  throw EvolutionError("family " + quoted(chain.family) + ", content of version " + quoted(chain.version) +
                           " does not fit version " + quoted(chain.current->getVersion()) +
                           ", and no step covers it: " + placeOf(subject, property, position) + ": " + what +
                           "; declare " + remedy + " in the evolution of the family",
                       at);
}

}  // namespace

const Coverage::Fit& Coverage::fitOf(const ustring& typeName) {
  const auto known = fFits.find(typeName);
  if (known != fFits.end()) return known->second;
  Fit fit;
  fit.type = meta::MetaRegistry::getInstance()->getType(typeName);
  const auto chain = fByPackageName.find(packagePartOf(typeName));
  if (chain != fByPackageName.end()) fit.chain = chain->second;
  return fFits.emplace(typeName, std::move(fit)).first->second;
}

void Coverage::refuseUnknownType(const Subject& subject, const ustring& typeName, const io::RawPosition& position,
                                 const ustring& property, const Fit& fit) const {
  const ustring& package = fit.chain->current->getQualifiedName();
  kern::internal::NearestName nearest(std::u16string_view(typeName).substr(packagePartOf(typeName).size() + 1));
  for (const auto& [name, type] : fit.chain->current->getTypes()) nearest.offer(name);
  const std::string suggestion =
      nearest.found() ? "; did you mean " + quoted(package + u"." + nearest.name()) + "?" : std::string();
  refuse(*fit.chain, subject, property, position, "there is no type " + quoted(typeName) + suggestion,
         "renameClass, mergeClass or removeClass");
}

bool Coverage::enter(const Subject& subject) {
  const Fit& fit = fitOf(subject.typeName());
  if (fit.chain == nullptr) return true;
  if (!fit.type) refuseUnknownType(subject, subject.typeName(), subject.position, {}, fit);
  return true;
}

void Coverage::property(const Subject& holder, io::RawProperty& property) {
  const Fit& fit = fitOf(holder.typeName());
  if (fit.chain == nullptr) return;
  const meta::StructuredType type = narrow<meta::StructuredType>(fit.type);
  if (!type) return;  // an enum where an element should stand: the reader says so
  const meta::Property known = type->getProperty(property.name);
  if (!known) {
    kern::internal::NearestName nearest(property.name);
    for (const meta::Property& other : type->getAllProperties()) nearest.offer(other->getName());
    refuse(*fit.chain, holder, property.name, property.value.position,
           "there is no such property" + nearest.suggestion(), "renameProperty, moveProperty or removeProperty");
  }
  const meta::Enum ofLiterals = narrow<meta::Enum>(known->getType());
  if (!ofLiterals) return;
  const Fit& enumFit = fitOf(ofLiterals->getQualifiedName());
  const Chain& chain = enumFit.chain != nullptr ? *enumFit.chain : *fit.chain;
  if (property.value.kind() != io::RawValue::Kind::List) {
    return checkLiteral(holder, property.name, property.value, ofLiterals, chain);
  }
  for (const io::RawValue& entry : property.value.list()) checkLiteral(holder, property.name, entry, ofLiterals, chain);
}

void Coverage::checkLiteral(const Subject& holder, const ustring& property, const io::RawValue& value,
                            const meta::Enum& type, const Chain& chain) const {
  if (value.kind() != io::RawValue::Kind::Text || type->getLiterals().contains(value.text())) return;
  const ustring& text = value.text();
  const bool isNumber = !text.empty() && text.find_first_not_of(u"+-0123456789") == ustring::npos;
  if (isNumber) return;  // a number without literal, in a format whose values are all text
  refuse(chain, holder, property, value.position,
         "the enum " + quoted(type->getQualifiedName()) + " has no literal " + shown(value) +
             kern::internal::suggestionAmong(type->getLiterals(), text),
         "renameLiteral or removeLiteral");
}

bool Coverage::reference(const Subject& holder, const io::RawProperty& property, io::RawValue& value) {
  const ustring& typeName = value.reference().typeName;
  if (typeName.empty()) return true;
  const Fit& fit = fitOf(typeName);
  if (fit.chain != nullptr && !fit.type) refuseUnknownType(holder, typeName, value.position, property.name, fit);
  return true;
}

}  // namespace tarn::kern::evolution::internal
